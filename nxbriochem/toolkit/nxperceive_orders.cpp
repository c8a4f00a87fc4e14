// Bond orders and formal charges from geometry and valence.
//
// 1. Each atom's missing bond orders beyond single bonds: from its valence where all its hydrogens are present, else
//    from its geometry.
// 2. Groups that exceed the normal valence (sulfones, phosphates, perchlorate, nitro, azide) are set by rule.
// 3. The rest is a minimum-cost matching. Raising a bond gives both its atoms one order. An atom that is left short has
//    a cost: high for carbon, lower for nitrogen and oxygen, which become anions. A nitrogen or oxygen above its normal
//    valence costs as a cation. Of equal solutions the one with the shorter double bonds wins.
// Alternating bonds in aromatic rings, protonated guanidine and imidazole, carboxylates and quinones follow from these
// costs.
#include <algorithm>
#include <cmath>
#include <iterator>
#include <tuple>
#include <vector>

#include <nxbriochem/toolkit/nxbond_graph_internal.h>
#include <nxbriochem/toolkit/nxmatching_internal.h>
#include <nxbriochem/toolkit/nxperceive.h>
#include <nxbriochem/toolkit/nxvalence_internal.h>

namespace NxChem {
namespace {

constexpr unsigned kBoron = 5;
constexpr unsigned kCarbon = 6;
constexpr unsigned kNitrogen = 7;
constexpr unsigned kOxygen = 8;
constexpr unsigned kFluorine = 9;
constexpr unsigned kSilicon = 14;
constexpr unsigned kPhosphorus = 15;
constexpr unsigned kSulfur = 16;
constexpr unsigned kArsenic = 33;

// Costs of a missing bond order: highest for carbon; nitrogen and oxygen become anions. An atom whose hydrogens are not
// known may carry one instead, which costs less.
constexpr int kCarbonUnmet = 1000;
constexpr int kNitrogenUnmet = 300;
constexpr int kSulfurUnmet = 120;
constexpr int kOxygenUnmet = 100;
constexpr int kPhosphorusUnmet = 50;
constexpr int kSureUnmet = 600;
constexpr int kCarbonylOxygenUnmet = 400;
constexpr int kPyridineNitrogenUnmet = 60;
constexpr int kOpenCarbonUnmet = 250;
constexpr int kPyrroleNitrogenUnmet = 45;
constexpr int kThioneUnmet = 50;
constexpr int kOpenNitrogenUnmet = 20;
constexpr int kTerminalUnmet = 10;
// Costs of one bond order too many.
constexpr int kNitrogenCation = 200;
constexpr int kChalcogenCation = 400;

// Length less sum of covalent radii, angstrom, up to which a bond can be a multiple one: in open chains, in flat rings
// or to a cation, between two heteroatoms of a flat ring; and up to which it is a triple bond, a carbonyl, an N-oxide.
constexpr double kDoubleExcess = -0.11;
constexpr double kConjugatedExcess = -0.04;
constexpr double kHeteroExcess = 0.06;
constexpr double kTripleExcess = -0.27;
constexpr double kCarbonylExcess = -0.125;
constexpr double kNitroxideExcess = -0.01;
// Costs of an edge: none for a full double bond, then by length.
constexpr double kFreeExcess = -0.18;
constexpr double kCostPerAngstrom = 600.0;
constexpr int kMaxEdgeCost = 120;

struct Wish {
  // Bond orders that the atom lacks, and the cost of each that it does not get.
  int need = 0;
  int unmet = 0;
  // What one order beyond the need costs; 0 when there can be none.
  int extra = 0;
};

// Wishes by valence, of atoms whose hydrogens are all present. Elements without a row have none.
struct ValenceRule {
  unsigned element;
  int unmet;
  int cation_degree;  // bonds of an atom that may become a cation; 0: none
  int extra;
};
constexpr ValenceRule kValenceRules[] = {
    {kCarbon, kCarbonUnmet, 0, 0},
    {kNitrogen, kNitrogenUnmet, 3, kNitrogenCation},
    {kOxygen, kOxygenUnmet, 2, kChalcogenCation},
    {kPhosphorus, kPhosphorusUnmet, 0, 0},
    {kSulfur, kSulfurUnmet, 2, kChalcogenCation},
};

// Wishes of nitrogen by geometry; the first row that fits counts.
struct NitrogenRule {
  unsigned degree;
  unsigned flat_ring;  // its size; 0: any or none
  Wish wish;
};
constexpr NitrogenRule kNitrogenRules[] = {
    {1, 0, {1, kTerminalUnmet, 0}},          // terminal
    {2, 6, {1, kPyridineNitrogenUnmet, 0}},  // pyridine's
    {2, 5, {1, kPyrroleNitrogenUnmet, 0}},   // pyrrole's or imidazole's
    {2, 0, {1, kOpenNitrogenUnmet, 0}},      // an imine or an amine
    {3, 0, {0, 0, kNitrogenCation}},         // an iminium ion or an amine
};

// Wishes of a terminal atom beside a linear N+, by what is on its other side; the first row that fits counts.
enum class Beyond { aryl, carbon, any };
struct LinearNitrogenRule {
  unsigned terminal;
  Beyond beyond;
  Wish wish;
};
constexpr LinearNitrogenRule kLinearNitrogenRules[] = {
    {kNitrogen, Beyond::aryl, {2, kNitrogenUnmet, 0}},  // diazonium
    {kNitrogen, Beyond::any, {1, kNitrogenUnmet, 0}},   // azide, diazo compound, nitrous oxide
    {kCarbon, Beyond::carbon, {2, kCarbonUnmet, 0}},    // isonitrile
};

// Formal charges by valence; 0 where no row fits.
struct ChargeRule {
  unsigned element;
  int valence;
  unsigned degree;   // 0: any
  bool if_complete;  // only where all hydrogens are present; else the structure may break off at the atom
  int charge;
};
constexpr ChargeRule kChargeRules[] = {
    {kBoron, 4, 0, false, -1},       // borate
    {kCarbon, 3, 1, true, -1},       // isonitrile
    {kNitrogen, 4, 0, false, 1},     // ammonium, iminium
    {kNitrogen, 2, 0, true, -1},     // amide anion
    {kPhosphorus, 4, 0, false, 1},   // phosphonium
    {kPhosphorus, 6, 0, false, -1},  // hexafluorophosphate
    {kPhosphorus, 2, 0, true, -1},   // phosphide
    {kSulfur, 3, 0, false, 1},       // sulfonium, oxonium
    {kSulfur, 1, 0, true, -1},       // thiolate, alkoxide
    {kFluorine, 2, 2, false, 1},     // halonium
};

// The element whose rules an element follows: phosphorus for arsenic, sulfur for chalcogens (oxygen has a valence rule
// of its own), fluorine for halogens.
unsigned ElementOfRules(unsigned z) {
  if (z == kArsenic) {
    return kPhosphorus;
  }
  if (NxIsChalcogen(z)) {
    return kSulfur;
  }
  return NxIsHalogen(z) ? kFluorine : z;
}

class OrderPerception {
 public:
  explicit OrderPerception(const NxMolBase& mol) : s_(mol), wishes_(s_.atoms.size()) {}

  void Run() {
    for (unsigned atom = 0; atom < s_.atoms.size(); ++atom) {
      wishes_[atom] = s_.atoms[atom].is_complete ? WishByValence(atom) : WishByGeometry(atom);
    }
    for (unsigned atom = 0; atom < s_.atoms.size(); ++atom) {
      if (s_.AtomicNum(atom) == kNitrogen) {
        SettleLinearNitrogen(atom);
        SettleNitrogenOxide(atom);
      }
      SettleHypervalent(atom);
    }
    RaiseOrders();
    Store();
  }

 private:
  Wish WishByValence(unsigned atom) const;
  Wish WishByGeometry(unsigned atom);
  Wish CarbonByGeometry(unsigned atom) const;
  Wish NitrogenByGeometry(unsigned atom) const;
  Wish OxygenByGeometry(unsigned atom);
  bool HasTripleBondLength(unsigned atom) const;
  bool IsTerminal(unsigned atom) const { return s_.Degree(atom) == 1; }
  bool IsBareOxygen(unsigned atom) const {
    return s_.AtomicNum(atom) == kOxygen && IsTerminal(atom) && s_.atoms[atom].is_complete;
  }
  // The neighbour of a terminal atom.
  unsigned OnlyNeighbour(unsigned atom) const { return s_.Other(s_.atoms[atom].bonds[0], atom); }

  bool Is(Beyond kind, unsigned atom) const;
  void SettleLinearNitrogen(unsigned atom);
  void SettleNitrogenOxide(unsigned atom);
  void SettleHypervalent(unsigned atom);
  int HypervalentTarget(unsigned atom) const;

  void RaiseOrders();
  bool CanRaise(const NxGraphBond& bond) const;
  void Store() const;
  int FormalCharge(unsigned atom) const;

  NxBondGraph s_;
  std::vector<Wish> wishes_;
};

Wish OrderPerception::WishByValence(unsigned atom) const {
  const unsigned z = s_.AtomicNum(atom);
  const int degree = static_cast<int>(s_.Degree(atom));
  const unsigned element = z == kOxygen ? kOxygen : ElementOfRules(z);
  for (const ValenceRule& rule : kValenceRules) {
    if (rule.element == element) {
      return {std::max(0, NxNormalValence(z) - degree), rule.unmet, degree == rule.cation_degree ? rule.extra : 0};
    }
  }
  return {};
}

Wish OrderPerception::WishByGeometry(unsigned atom) {
  if (s_.Degree(atom) == 0) {
    return {};
  }
  switch (s_.AtomicNum(atom)) {
    case kCarbon:
      return CarbonByGeometry(atom);
    case kNitrogen:
      return NitrogenByGeometry(atom);
    case kOxygen:
      return OxygenByGeometry(atom);
    case kSulfur:
      if (IsTerminal(atom) && s_.AtomicNum(OnlyNeighbour(atom)) == kCarbon) {
        return {1, kThioneUnmet, 0};
      }
      return {0, 0, s_.atoms[atom].flat_ring != 0 ? kChalcogenCation : 0};
    default:
      return {};
  }
}

Wish OrderPerception::CarbonByGeometry(unsigned atom) const {
  if (s_.IsLinear(atom) || (s_.Degree(atom) <= 2 && HasTripleBondLength(atom))) {
    return {2, kSureUnmet, 0};
  }
  if (s_.IsFlat(atom) || (s_.Degree(atom) == 2 && s_.atoms[atom].flat_ring != 0)) {
    return {1, kSureUnmet, 0};
  }
  return s_.Degree(atom) <= 2 ? Wish{1, kOpenCarbonUnmet, 0} : Wish{};
}

Wish OrderPerception::NitrogenByGeometry(unsigned atom) const {
  if (IsTerminal(atom) && (HasTripleBondLength(atom) ||
                           (s_.AtomicNum(OnlyNeighbour(atom)) == kCarbon && s_.IsLinear(OnlyNeighbour(atom))))) {
    return {2, kNitrogenUnmet, 0};
  }
  for (const NitrogenRule& rule : kNitrogenRules) {
    if (rule.degree == s_.Degree(atom) && (rule.flat_ring == 0 || rule.flat_ring == s_.atoms[atom].flat_ring)) {
      return rule.wish;
    }
  }
  return {};
}

// A short terminal bond shows that the oxygen carries no hydrogen: it is double bonded or an anion.
Wish OrderPerception::OxygenByGeometry(unsigned atom) {
  if (!IsTerminal(atom)) {
    return {0, 0, s_.atoms[atom].flat_ring != 0 ? kChalcogenCation : 0};
  }
  const unsigned other = s_.AtomicNum(OnlyNeighbour(atom));
  const double excess = s_.bonds[s_.atoms[atom].bonds[0]].excess;
  if (other == kCarbon && excess <= kCarbonylExcess) {
    s_.atoms[atom].is_complete = true;
    return {1, kCarbonylOxygenUnmet, 0};
  }
  if (other == kNitrogen && (excess <= kNitroxideExcess || s_.Degree(OnlyNeighbour(atom)) == 4)) {
    s_.atoms[atom].is_complete = true;
    return {1, kOxygenUnmet, 0};
  }
  return {1, other == kOxygen ? kOxygenUnmet : kTerminalUnmet, 0};
}

bool OrderPerception::HasTripleBondLength(unsigned atom) const {
  return std::any_of(s_.atoms[atom].bonds.begin(), s_.atoms[atom].bonds.end(), [&](unsigned bond) {
    const unsigned z = s_.AtomicNum(s_.Other(bond, atom));
    return (z == kCarbon || z == kNitrogen) && s_.bonds[bond].excess <= kTripleExcess;
  });
}

bool OrderPerception::Is(Beyond kind, unsigned atom) const {
  switch (kind) {
    case Beyond::aryl:
      return s_.AtomicNum(atom) == kCarbon && s_.Degree(atom) == 3 && s_.atoms[atom].atom->GetSmallestRingSize() == 6;
    case Beyond::carbon:
      return s_.AtomicNum(atom) == kCarbon;
    default:
      return true;
  }
}

// N+ between two multiple bonds or beside a triple one: azides, diazo compounds and diazonium ions, isonitriles,
// nitrous oxide, nitronium. The nitrogen of an isocyanate or isothiocyanate can be all but linear without being one of
// these.
void OrderPerception::SettleLinearNitrogen(unsigned atom) {
  if (!s_.IsLinear(atom)) {
    return;
  }
  for (const unsigned bond : s_.atoms[atom].bonds) {
    const unsigned nbr = s_.Other(bond, atom);
    const unsigned z = s_.AtomicNum(nbr);
    if (z != kCarbon && z != kNitrogen && z != kOxygen) {
      return;
    }
    if (z == kCarbon && s_.Degree(nbr) == 2 && s_.IsLinear(nbr)) {
      const unsigned first = s_.atoms[nbr].bonds[0];
      const unsigned beyond = s_.Other(first == bond ? s_.atoms[nbr].bonds[1] : first, nbr);
      if (NxIsChalcogen(s_.AtomicNum(beyond))) {
        return;
      }
    }
  }
  s_.atoms[atom].is_complete = true;
  wishes_[atom] = {2, kSureUnmet, 0};
  for (const unsigned bond : s_.atoms[atom].bonds) {
    const unsigned nbr = s_.Other(bond, atom);
    const unsigned beyond = s_.Other(s_.atoms[atom].bonds[s_.atoms[atom].bonds[0] == bond ? 1 : 0], atom);
    const auto* const rule = std::find_if(
        std::begin(kLinearNitrogenRules), std::end(kLinearNitrogenRules),
        [&](const auto& candidate) { return candidate.terminal == s_.AtomicNum(nbr) && Is(candidate.beyond, beyond); });
    if (IsTerminal(nbr) && rule != std::end(kLinearNitrogenRules)) {
      s_.atoms[nbr].is_complete = true;
      wishes_[nbr] = rule->wish;
    }
  }
}

// Nitro groups, nitrate, nitrones and aromatic N-oxides: a flat N+ with one double bond, to an oxygen or into a ring.
void OrderPerception::SettleNitrogenOxide(unsigned atom) {
  if (s_.Degree(atom) != 3) {
    return;
  }
  const auto oxygens = std::count_if(s_.atoms[atom].bonds.begin(), s_.atoms[atom].bonds.end(),
                                     [&](unsigned bond) { return IsBareOxygen(s_.Other(bond, atom)); });
  if (oxygens == 0 || (oxygens == 1 && !s_.IsFlat(atom))) {
    return;
  }
  s_.atoms[atom].is_complete = true;
  wishes_[atom] = {1, kSureUnmet, 0};
  if (oxygens == 1) {
    // The double bond goes elsewhere if it can: the oxygen is the anion of an N-oxide, nitrone or azoxy group.
    for (const unsigned bond : s_.atoms[atom].bonds) {
      if (IsBareOxygen(s_.Other(bond, atom))) {
        wishes_[s_.Other(bond, atom)].unmet = kTerminalUnmet;
      }
    }
  }
}

// The valence that a centre reaches through double bonds to its terminal neighbours; 0 when it has none beyond the
// normal one.
int OrderPerception::HypervalentTarget(unsigned atom) const {
  const unsigned z = s_.AtomicNum(atom);
  const unsigned degree = s_.Degree(atom);
  const auto oxygens =
      static_cast<unsigned>(std::count_if(s_.atoms[atom].bonds.begin(), s_.atoms[atom].bonds.end(), [&](unsigned bond) {
        return s_.AtomicNum(s_.Other(bond, atom)) == kOxygen && IsTerminal(s_.Other(bond, atom));
      }));
  if (z == kPhosphorus || z == kArsenic) {
    return degree == 4 || (degree == 3 && oxygens >= 2) ? 5 : 0;
  }
  if (NxIsChalcogen(z) && z != kOxygen) {
    if (degree == 4 || degree == 5 || (degree == 3 && oxygens == 3)) {
      return 6;
    }
    return degree == 3 || (degree == 2 && oxygens == 2) ? 4 : 0;
  }
  if (NxIsHalogen(z) && degree >= 2 && oxygens >= 1) {
    return 2 * static_cast<int>(degree) - 1;
  }
  return 0;
}

// The terminal chalcogens, then imide nitrogens, take the double bonds, the shortest first. Terminal ones that get none
// become anions: without hydrogens in the structure, acids of sulphur and phosphorus are assumed to be ionised, as in
// water.
void OrderPerception::SettleHypervalent(unsigned atom) {
  const int target = HypervalentTarget(atom);
  if (target == 0) {
    return;
  }
  std::vector<std::tuple<int, double, unsigned>> acceptors;
  for (const unsigned bond : s_.atoms[atom].bonds) {
    const unsigned nbr = s_.Other(bond, atom);
    const double excess = std::isnan(s_.bonds[bond].excess) ? 0.0 : s_.bonds[bond].excess;
    if (IsTerminal(nbr) && NxIsChalcogen(s_.AtomicNum(nbr))) {
      acceptors.emplace_back(s_.AtomicNum(nbr) == kOxygen ? 0 : 1, excess, bond);
    } else if (s_.AtomicNum(nbr) == kNitrogen && wishes_[nbr].need > 0 &&
               (s_.atoms[nbr].is_complete || excess <= kDoubleExcess)) {
      acceptors.emplace_back(2, excess, bond);
    }
  }
  std::sort(acceptors.begin(), acceptors.end());
  int open = target - s_.Valence(atom);
  for (const auto& [rank, excess, bond] : acceptors) {
    const unsigned nbr = s_.Other(bond, atom);
    if (rank < 2) {
      s_.atoms[nbr].is_complete = true;
      wishes_[nbr] = {};
    }
    if (open > 0) {
      ++s_.bonds[bond].order;
      --open;
      if (rank == 2) {
        --wishes_[nbr].need;
      }
    }
  }
  wishes_[atom] = {};
}

bool OrderPerception::CanRaise(const NxGraphBond& bond) const {
  const Wish& a = wishes_[bond.a];
  const Wish& b = wishes_[bond.b];
  if ((a.need == 0 && a.extra == 0) || (b.need == 0 && b.extra == 0)) {
    return false;
  }
  if (a.need == 0 && b.need == 0) {
    return false;
  }
  if (a.need > 0 && b.need > 0 && s_.atoms[bond.a].is_complete && s_.atoms[bond.b].is_complete) {
    return true;
  }
  const bool has_carbon = s_.AtomicNum(bond.a) == kCarbon || s_.AtomicNum(bond.b) == kCarbon;
  if (bond.in_flat_ring) {
    return bond.excess <= (has_carbon ? kConjugatedExcess : kHeteroExcess);
  }
  // An atom that certainly needs a double bond may take it along a longer bond. For one that may carry hydrogens
  // instead the bond must be short.
  const auto is_open_carbon = [this](unsigned atom) {
    return s_.AtomicNum(atom) == kCarbon && wishes_[atom].unmet < kSureUnmet;
  };
  const bool one_is_certain = a.unmet >= kSureUnmet || b.unmet >= kSureUnmet;
  const bool is_open = !one_is_certain || is_open_carbon(bond.a) || is_open_carbon(bond.b);
  return bond.excess <= (is_open ? kDoubleExcess : kConjugatedExcess);
}

// An atom that lacks two orders stands for two vertices, so that it can get them from one bond or from two.
void OrderPerception::RaiseOrders() {
  NxMatching matching;
  std::vector<std::vector<unsigned>> vertices(s_.atoms.size());
  const auto vertices_of = [&](unsigned atom) -> const std::vector<unsigned>& {
    if (vertices[atom].empty()) {
      const Wish& wish = wishes_[atom];
      vertices[atom].push_back(matching.AddVertex(wish.need > 0 ? wish.unmet : -wish.extra));
      if (wish.need > 1) {
        vertices[atom].push_back(matching.AddVertex(wish.unmet));
      }
    }
    return vertices[atom];
  };
  // The bond of each edge.
  std::vector<unsigned> bond_of;
  for (unsigned number = 0; number < s_.bonds.size(); ++number) {
    const NxGraphBond& bond = s_.bonds[number];
    if (!CanRaise(bond)) {
      continue;
    }
    const double cost = std::isnan(bond.excess) ? kMaxEdgeCost : (bond.excess - kFreeExcess) * kCostPerAngstrom;
    const int bounded = static_cast<int>(std::clamp(cost, 0.0, static_cast<double>(kMaxEdgeCost)));
    for (const unsigned a : vertices_of(bond.a)) {
      for (const unsigned b : vertices_of(bond.b)) {
        matching.AddEdge(a, b, bounded);
        bond_of.push_back(number);
      }
    }
  }
  matching.Solve();
  for (unsigned edge = 0; edge < bond_of.size(); ++edge) {
    if (matching.IsChosen(edge)) {
      ++s_.bonds[bond_of[edge]].order;
    }
  }
}

void OrderPerception::Store() const {
  for (const NxGraphBond& bond : s_.bonds) {
    bond.bond->SetOrder(bond.order);
  }
  for (unsigned atom = 0; atom < s_.atoms.size(); ++atom) {
    const unsigned z = s_.AtomicNum(atom);
    if (s_.Degree(atom) > 0) {
      s_.atoms[atom].atom->SetFormalCharge(FormalCharge(atom));
    } else if (NxMetalIonCharge(z) != 0 || NxIsHalogen(z)) {
      s_.atoms[atom].atom->SetFormalCharge(NxIsHalogen(z) ? -1 : NxMetalIonCharge(z));
    }
  }
}

int OrderPerception::FormalCharge(unsigned atom) const {
  const unsigned z = s_.AtomicNum(atom);
  const int valence = s_.Valence(atom);
  if (z == kSilicon && valence > 4) {
    return 4 - valence;
  }
  const auto* const rule =
      std::find_if(std::begin(kChargeRules), std::end(kChargeRules), [&](const ChargeRule& candidate) {
        return candidate.element == ElementOfRules(z) && candidate.valence == valence &&
               (candidate.degree == 0 || candidate.degree == s_.Degree(atom)) &&
               (!candidate.if_complete || s_.atoms[atom].is_complete);
      });
  return rule != std::end(kChargeRules) ? rule->charge : 0;
}

}  // namespace

void NxPerceiveBondOrders(NxMolBase& mol) { OrderPerception(mol).Run(); }

}  // namespace NxChem
