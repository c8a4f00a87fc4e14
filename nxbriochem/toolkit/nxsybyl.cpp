#include <nxbriochem/toolkit/nxsybyl_internal.h>

#include <algorithm>
#include <array>
#include <utility>

#include <nxbriochem/toolkit/nxelements.h>

namespace NxChem {
namespace {

constexpr unsigned kDummy = 0;
constexpr unsigned kCarbon = 6;
constexpr unsigned kNitrogen = 7;
constexpr unsigned kOxygen = 8;
constexpr unsigned kPhosphorus = 15;
constexpr unsigned kSulfur = 16;
constexpr std::size_t kRingSize = 6;

// Null when the bond's other end is missing.
const NxAtomBase* OtherEnd(const NxBondBase& bond, const NxAtomBase& atom) {
  return bond.GetBgn() == &atom ? bond.GetEnd() : bond.GetBgn();
}

template <class Predicate>
unsigned CountBonds(const NxAtomBase& atom, Predicate predicate) {
  unsigned n = 0;
  for (const NxBondBase* bond : atom.GetBonds()) {
    const NxAtomBase* const other = OtherEnd(*bond, atom);
    n += other != nullptr && predicate(*bond, *other) ? 1 : 0;
  }
  return n;
}

unsigned CountOrder(const NxAtomBase& atom, int order) {
  return CountBonds(atom, [order](const NxBondBase& bond, const NxAtomBase&) { return bond.GetOrder() == order; });
}

unsigned CountNeighbours(const NxAtomBase& atom, unsigned element) {
  return CountBonds(atom,
                    [element](const NxBondBase&, const NxAtomBase& other) { return other.GetAtomicNum() == element; });
}

unsigned Degree(const NxAtomBase& atom) {
  return CountBonds(atom, [](const NxBondBase&, const NxAtomBase&) { return true; });
}

bool IsTerminalOxygen(const NxAtomBase& atom) { return atom.GetAtomicNum() == kOxygen && Degree(atom) == 1; }

unsigned CountTerminalOxygens(const NxAtomBase& atom) {
  return CountBonds(atom, [](const NxBondBase&, const NxAtomBase& other) { return IsTerminalOxygen(other); });
}

bool IsRingDoubleBond(const NxBondBase& bond) { return bond.GetOrder() == 2 && bond.IsInRing(); }

// Whether the atom may be a member of an aromatic ring.
bool IsCandidate(const NxAtomBase& atom) {
  if ((atom.GetAtomicNum() != kCarbon && atom.GetAtomicNum() != kNitrogen) || !atom.IsInRing() || Degree(atom) > 3) {
    return false;
  }
  const unsigned doubles =
      CountBonds(atom, [](const NxBondBase& bond, const NxAtomBase&) { return IsRingDoubleBond(bond); });
  return doubles == 1 && CountOrder(atom, 1) == Degree(atom) - 1;
}

// A walk along candidates that closes into rings of six; each ring is met once in each direction from its atom of
// lowest index.
class RingWalk {
 public:
  RingWalk(const std::vector<bool>& candidates, std::vector<bool>& atoms, std::vector<bool>& bonds)
      : candidates_(candidates), atoms_(atoms), bonds_(bonds) {}

  void From(const NxAtomBase& atom, std::size_t depth = 0) {
    path_[depth] = &atom;
    for (const NxBondBase* bond : atom.GetBonds()) {
      const NxAtomBase* const next = OtherEnd(*bond, atom);
      if (next == nullptr || !bond->IsInRing()) {
        continue;
      }
      path_bonds_[depth] = bond;
      if (depth + 1 == kRingSize) {
        if (next == path_[0] && IsAromatic()) {
          Mark();
        }
      } else if (next->GetIdx() > path_[0]->GetIdx() && candidates_[next->GetIdx()] &&
                 std::find(path_.begin(), path_.begin() + static_cast<std::ptrdiff_t>(depth) + 1, next) ==
                     path_.begin() + static_cast<std::ptrdiff_t>(depth) + 1) {
        From(*next, depth + 1);
      }
    }
  }

 private:
  // Every member's double bond is one of the ring's own or lies in another six-membered ring.
  bool IsAromatic() const {
    return std::all_of(path_.begin(), path_.end(), [this](const NxAtomBase* atom) {
      return CountBonds(*atom, [this](const NxBondBase& bond, const NxAtomBase&) {
               return IsRingDoubleBond(bond) && (bond.GetSmallestRingSize() == kRingSize || InPath(bond));
             }) == 1;
    });
  }
  bool InPath(const NxBondBase& bond) const {
    return std::find(path_bonds_.begin(), path_bonds_.end(), &bond) != path_bonds_.end();
  }
  void Mark() {
    for (std::size_t i = 0; i < kRingSize; ++i) {
      atoms_[path_[i]->GetIdx()] = true;
      bonds_[path_bonds_[i]->GetIdx()] = true;
    }
  }

  const std::vector<bool>& candidates_;
  std::vector<bool>& atoms_;
  std::vector<bool>& bonds_;
  std::array<const NxAtomBase*, kRingSize> path_{};
  std::array<const NxBondBase*, kRingSize> path_bonds_{};
};

// Sulfur and phosphorus oxides are also drawn with charges and single bonds, so terminal oxygens count, not orders.
std::string SulfurType(const NxAtomBase& atom) {
  const unsigned oxygens = CountTerminalOxygens(atom);
  if (oxygens >= 2 && Degree(atom) >= 3) {
    return "S.o2";
  }
  if (oxygens == 1 && Degree(atom) == 3) {
    return "S.o";
  }
  return CountOrder(atom, 2) > 0 && Degree(atom) <= 2 ? "S.2" : "S.3";
}

}  // namespace

NxSybylTypes::NxSybylTypes(const NxMolBase& mol)
    : aromatic_(mol.GetMaxAtomIdx()), aromatic_bonds_(mol.GetMaxBondIdx()) {
  FindAromaticRings(mol);
}

void NxSybylTypes::FindAromaticRings(const NxMolBase& mol) {
  std::vector<bool> candidates(mol.GetMaxAtomIdx());
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    candidates[atom.GetIdx()] = IsCandidate(atom);
  }
  RingWalk walk(candidates, aromatic_, aromatic_bonds_);
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    if (candidates[atom.GetIdx()]) {
      walk.From(atom);
    }
  }
}

std::string NxSybylTypes::AtomType(const NxAtomBase& atom) const {
  switch (atom.GetAtomicNum()) {
    case kDummy:
      return "Du";
    case kCarbon:
      return CarbonType(atom);
    case kNitrogen:
      return NitrogenType(atom);
    case kOxygen:
      return OxygenType(atom);
    case kPhosphorus:
      return "P.3";
    case kSulfur:
      return SulfurType(atom);
    default:
      return NxGetAtomicSymbol(atom.GetAtomicNum());
  }
}

const char* NxSybylTypes::BondType(const NxBondBase& bond) const {
  if (aromatic_bonds_[bond.GetIdx()]) {
    return "ar";
  }
  switch (bond.GetOrder()) {
    case 1:
      return IsAmide(bond) ? "am" : "1";
    case 2:
      return "2";
    case 3:
      return "3";
    default:
      return "un";
  }
}

// The single bond between nitrogen and a carbonyl or thiocarbonyl carbon.
bool NxSybylTypes::IsAmide(const NxBondBase& bond) const {
  const NxAtomBase* nitrogen = bond.GetBgn();
  const NxAtomBase* carbon = bond.GetEnd();
  if (nitrogen == nullptr || carbon == nullptr || bond.GetOrder() != 1) {
    return false;
  }
  if (nitrogen->GetAtomicNum() == kCarbon) {
    std::swap(nitrogen, carbon);
  }
  return nitrogen->GetAtomicNum() == kNitrogen && carbon->GetAtomicNum() == kCarbon && !IsAromatic(*nitrogen) &&
         CountOrder(*nitrogen, 1) == Degree(*nitrogen) && Degree(*nitrogen) <= 3 &&
         CountBonds(*carbon, [](const NxBondBase& other_bond, const NxAtomBase& other) {
           return other_bond.GetOrder() == 2 && (other.GetAtomicNum() == kOxygen || other.GetAtomicNum() == kSulfur);
         }) > 0;
}

std::string NxSybylTypes::CarbonType(const NxAtomBase& atom) const {
  if (IsAromatic(atom)) {
    return "C.ar";
  }
  if (CountOrder(atom, 3) > 0 || CountOrder(atom, 2) > 1) {
    return "C.1";
  }
  if (CountOrder(atom, 2) == 0) {
    return "C.3";
  }
  const unsigned charged = CountBonds(atom, [](const NxBondBase&, const NxAtomBase& other) {
    return other.GetAtomicNum() == kNitrogen && other.GetFormalCharge() > 0;
  });
  return charged == 1 && CountNeighbours(atom, kNitrogen) == 3 && !atom.IsInRing() ? "C.cat" : "C.2";
}

std::string NxSybylTypes::NitrogenType(const NxAtomBase& atom) const {
  if (IsAromatic(atom)) {
    return "N.ar";
  }
  if (CountOrder(atom, 3) > 0 || CountOrder(atom, 2) > 1) {
    return Degree(atom) < 3 ? "N.1" : "N.pl3";  // the latter: nitro groups drawn with two double bonds
  }
  if (CountOrder(atom, 2) == 1) {
    return Degree(atom) < 3 ? "N.2" : "N.pl3";
  }
  if (Degree(atom) == 4 || (atom.GetFormalCharge() > 0 && Degree(atom) > 0)) {
    return "N.4";
  }
  if (CountBonds(atom, [this](const NxBondBase& bond, const NxAtomBase&) { return IsAmide(bond); }) > 0) {
    return "N.am";
  }
  const unsigned conjugated = CountBonds(atom, [this](const NxBondBase&, const NxAtomBase& other) {
    return IsAromatic(other) || (other.GetAtomicNum() == kCarbon && CountOrder(other, 2) == 1);
  });
  return conjugated > 0 ? "N.pl3" : "N.3";
}

// O.co2 are the terminal oxygens of carboxylates and of phosphates with at least two of them.
std::string NxSybylTypes::OxygenType(const NxAtomBase& atom) const {
  const auto is_acid_centre = [](const NxBondBase&, const NxAtomBase& other) {
    return CountTerminalOxygens(other) >= 2 &&
           (other.GetAtomicNum() == kCarbon ? Degree(other) == 3 : other.GetAtomicNum() == kPhosphorus);
  };
  if (IsTerminalOxygen(atom) && CountBonds(atom, is_acid_centre) > 0) {
    return "O.co2";
  }
  return CountOrder(atom, 2) > 0 ? "O.2" : "O.3";
}

}  // namespace NxChem
