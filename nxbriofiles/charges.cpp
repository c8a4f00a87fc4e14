// Formal charges by residue and name, as ionised at neutral pH; those that the file gives come first, residue by
// residue. Charges shared by equivalent atoms, as nx_charge_protein has them for side chains.
#include "charges.h"

#include <algorithm>
#include <array>
#include <gemmi/elem.hpp>
#include <gemmi/resinfo.hpp>
#include <map>
#include <set>
#include <utility>

#include "element.h"
#include "text.h"

namespace nxbrio::files {
namespace {

struct SideChainAtom {
  std::string_view residue;
  std::string_view name;
  float charge;
};
constexpr std::array<SideChainAtom, 12> kSideChains{{{"LYS", "NZ", 1.0F},
                                                     {"ARG", "NH1", 0.5F},
                                                     {"ARG", "NH2", 0.5F},
                                                     {"ASP", "OD1", -0.5F},
                                                     {"ASP", "OD2", -0.5F},
                                                     {"GLU", "OE1", -0.5F},
                                                     {"GLU", "OE2", -0.5F},
                                                     // Names of force fields.
                                                     {"HIP", "ND1", 0.5F},
                                                     {"HIP", "NE2", 0.5F},
                                                     {"HSP", "ND1", 0.5F},
                                                     {"HSP", "NE2", 0.5F},
                                                     {"CYM", "SG", -1.0F}}};

// Ions of one atom, by the names that the Chemical Component Dictionary and force fields give their residues, with
// the dictionary's charges.
struct Ion {
  std::string_view residue;
  float charge;
};
constexpr std::array<Ion, 32> kIons{
    {{"LI", 1.0F},   {"NA", 1.0F},   {"NA+", 1.0F}, {"SOD", 1.0F}, {"K", 1.0F},  {"K+", 1.0F}, {"POT", 1.0F},
     {"RB", 1.0F},   {"CS", 1.0F},   {"AG", 1.0F},  {"CU1", 1.0F}, {"MG", 2.0F}, {"CA", 2.0F}, {"CAL", 2.0F},
     {"SR", 2.0F},   {"BA", 2.0F},   {"MN", 2.0F},  {"FE2", 2.0F}, {"CO", 2.0F}, {"NI", 2.0F}, {"CU", 2.0F},
     {"ZN", 2.0F},   {"CD", 2.0F},   {"HG", 2.0F},  {"AL", 3.0F},  {"FE", 3.0F}, {"F", -1.0F}, {"CL", -1.0F},
     {"CL-", -1.0F}, {"CLA", -1.0F}, {"BR", -1.0F}, {"IOD", -1.0F}}};

constexpr int kPhosphorus = 15;

// The atoms of one residue, which stand together.
class Residue {
 public:
  Residue(Atom* begin, Atom* end) : begin_(begin), end_(end), kind_(residue_kind(begin->residue)) {}

  Atom* begin() const { return begin_; }
  Atom* end() const { return end_; }
  const std::string& kind() const { return kind_; }
  std::size_t size() const { return static_cast<std::size_t>(end_ - begin_); }

  Atom* find(std::string_view name) const {
    Atom* const at = std::find_if(begin_, end_, [name](const Atom& atom) { return upper_case(atom.name) == name; });
    return at != end_ ? at : nullptr;
  }
  Atom* find(std::string_view name, std::string_view other) const {
    Atom* const at = find(name);
    return at != nullptr ? at : find(other);
  }
  bool has_charges() const {
    return std::any_of(begin_, end_, [](const Atom& atom) { return atom.charge != 0.0F; });
  }
  int hydrogens_named(std::initializer_list<std::string_view> names) const {
    return static_cast<int>(
        std::count_if(names.begin(), names.end(), [&](std::string_view name) { return find(name); }));
  }
  int count(int element) const {
    return static_cast<int>(
        std::count_if(begin_, end_, [element](const Atom& atom) { return atom.element == element; }));
  }
  bool has_hydrogens() const { return count(1) > 0; }

 private:
  Atom* begin_;
  Atom* end_;
  std::string kind_;
};

class Charging {
 public:
  explicit Charging(Structure& structure) : structure_(structure) {}

  void run() {
    find_residues();
    for (Atom& atom : structure_.atoms) {
      atom.charge = static_cast<float>(atom.formal_charge);
    }
    for (const Residue& residue : residues_) {
      given_.push_back(residue.has_charges());
    }
    for (std::size_t i = 0; i < residues_.size(); ++i) {
      charge_residue(residues_[i], given_[i]);
    }
    charge_chain_ends();
  }

 private:
  void find_residues() {
    Atom* const end = structure_.atoms.data() + structure_.atoms.size();
    for (Atom* at = structure_.atoms.data(); at != end;) {
      Atom* const next = std::find_if(at, end, [at](const Atom& other) {
        return chain_of(other) != chain_of(*at) || other.sequence_number != at->sequence_number;
      });
      residues_.emplace_back(at, next);
      at = next;
    }
  }

  void charge_residue(const Residue& residue, bool given) {
    const gemmi::ResidueInfo& info = gemmi::find_tabulated_residue(residue.kind());
    if (given || is_water(residue.kind())) {
      return;
    }
    const bool amino_acid = is_amino_acid(residue.kind());
    if (residue.find("P") != nullptr && (amino_acid || residue.find("O5'", "O5*") != nullptr)) {
      remark_phosphates(residue, charge_phosphate(residue));
    } else if (amino_acid) {
      charge_side_chain(residue);
      // Selenomethionine is as neutral as methionine.
      if (!info.is_standard() && info.found() && residue.kind() != "MSE") {
        remark(residue, kNeutralModified);
      }
    } else if (residue.size() == 1 && is_ion_element(residue.begin()->element)) {
      charge_ion(*residue.begin());
    } else if (!info.is_nucleic_acid() && (residue.begin()->het || !info.found())) {
      remark(residue, kNeutralLigand);
    } else {
      remark_phosphates(residue, false);
    }
  }

  static void remark(const Residue& residue, Remark remark) {
    std::for_each(residue.begin(), residue.end(), [remark](Atom& atom) { atom.remarks |= remark; });
  }

  static void remark_phosphates(const Residue& residue, bool first_is_charged) {
    for (Atom* atom = residue.begin(); atom != residue.end(); ++atom) {
      if (atom->element == kPhosphorus && !std::exchange(first_is_charged, false)) {
        atom->remarks |= kNeutralPhosphate;
      }
    }
  }

  // Hydrogens of an acid, or of both nitrogens of a histidine, are heeded where they are.
  static void charge_side_chain(const Residue& residue) {
    if (residue.kind() == "HIS" && residue.hydrogens_named({"HD1", "HE2"}) == 2) {
      residue.find("ND1", "NE2")->charge = residue.find("NE2", "ND1")->charge = 0.5F;
    }
    if ((residue.kind() == "ASP" && residue.hydrogens_named({"HD1", "HD2"}) > 0) ||
        (residue.kind() == "GLU" && residue.hydrogens_named({"HE1", "HE2"}) > 0)) {
      return;
    }
    for (const SideChainAtom& side_chain : kSideChains) {
      if (side_chain.residue == residue.kind()) {
        if (Atom* const atom = residue.find(side_chain.name)) {
          atom->charge = side_chain.charge;
        }
      }
    }
  }

  // -1 between two others, -2 at an end or a side chain; a hydrogen on an oxygen takes one back. Whether it is
  // charged.
  static bool charge_phosphate(const Residue& residue) {
    std::vector<Atom*> oxygens;
    for (const auto& [name, other] : {std::pair{"OP1", "O1P"}, {"OP2", "O2P"}, {"OP3", "O3P"}}) {
      if (Atom* const atom = residue.find(name, other)) {
        oxygens.push_back(atom);
      }
    }
    const int charge = 1 - static_cast<int>(oxygens.size()) + residue.hydrogens_named({"HOP2", "HOP3", "HO2P", "HO3P"});
    if (oxygens.size() < 2) {
      return false;
    }
    for (Atom* const oxygen : oxygens) {
      oxygen->charge = static_cast<float>(charge) / static_cast<float>(oxygens.size());
    }
    return true;
  }

  // Metals and halogens.
  static bool is_ion_element(int number) {
    const gemmi::Element element(number);
    return element.is_metal() || number == 9 || number == 17 || number == 35 || number == 53;
  }

  static void charge_ion(Atom& atom) {
    const std::string name = upper_case(trimmed(atom.residue));
    const auto* const ion =
        std::find_if(kIons.begin(), kIons.end(), [&](const Ion& row) { return row.residue == name; });
    if (ion != kIons.end()) {
      atom.charge = ion->charge;
      atom.remarks |= kIonByName;
    } else {
      atom.remarks |= kNeutralIon;
    }
  }

  // The first residue of a protein chain and the one behind a terminal oxygen begin it; the one with a terminal oxygen
  // ends it. A last residue without one is an end that stays neutral.
  void charge_chain_ends() {
    std::set<ChainKey> begun;
    // The carbons of last residues.
    std::map<ChainKey, Atom*> open;
    for (std::size_t i = 0; i < residues_.size(); ++i) {
      const Residue& residue = residues_[i];
      const ChainKey chain = chain_of(*residue.begin());
      if (residue.kind() == "NME" || residue.kind() == "NH2") {
        open.erase(chain);
      }
      if (!is_amino_acid(residue.kind()) || residue.find("N") == nullptr || residue.find("CA") == nullptr) {
        continue;
      }
      if (begun.insert(chain).second && !is_capped(i)) {
        charge_n_terminus(residue, given_[i]);
      }
      open[chain] = residue.find("C", "CA");
      if (has_terminal_oxygen(residue)) {
        charge_c_terminus(residue, given_[i]);
        begun.erase(chain);
        open.erase(chain);
      }
    }
    for (const auto& [chain, carbon] : open) {
      carbon->remarks |= kNeutralEnd;
    }
  }

  static bool has_terminal_oxygen(const Residue& residue) { return residue.find("OXT", "OT2") != nullptr; }

  // An acetyl group or the like before the residue.
  bool is_capped(std::size_t i) const {
    return i > 0 && chain_of(*residues_[i - 1].begin()) == chain_of(*residues_[i].begin()) &&
           (residues_[i - 1].kind() == "ACE" || residues_[i - 1].kind() == "FOR");
  }

  // Where there are hydrogens they tell whether the end is charged.
  static void charge_n_terminus(const Residue& residue, bool given) {
    if (given && residue.find("N")->charge != 0.0F) {
      return;
    }
    const int needed = residue.kind() == "PRO" ? 2 : 3;
    if (residue.has_hydrogens() && residue.hydrogens_named({"H1", "H2", "H3", "HT1", "HT2", "HT3", "1H", "2H", "3H",
                                                            "HN1", "HN2", "HN3", "H"}) < needed) {
      residue.find("N")->remarks |= kNeutralEnd;
      return;
    }
    residue.find("N")->charge = 1.0F;
  }

  static void charge_c_terminus(const Residue& residue, bool given) {
    Atom* const first = residue.find("O", "OT1");
    Atom* const second = residue.find("OXT", "OT2");
    const bool told = given && ((first != nullptr && first->charge != 0.0F) || second->charge != 0.0F);
    if (told || residue.hydrogens_named({"HXT", "HO", "HOXT"}) > 0) {
      return;
    }
    second->charge = first != nullptr ? -0.5F : -1.0F;
    if (first != nullptr) {
      first->charge = -0.5F;
    }
  }

  Structure& structure_;
  std::vector<Residue> residues_;
  // Whether the file gives formal charges in a residue.
  std::vector<bool> given_;
};

// How many atoms a remark was made on, or of how many residues.
int count_remarked(const Structure& structure, Remark remark, bool residues) {
  int count = 0;
  const Atom* before = nullptr;
  for (const Atom& atom : structure.atoms) {
    if ((atom.remarks & remark) != 0) {
      const bool same = residues && before != nullptr && chain_of(*before) == chain_of(atom) &&
                        before->sequence_number == atom.sequence_number;
      count += same ? 0 : 1;
      before = &atom;
    }
  }
  return count;
}

// "1 ion, 2 ligands"
std::string neutral_parts(const Structure& structure) {
  struct Part {
    Remark remark;
    bool residues;
    const char* one;
    const char* several;
  };
  constexpr std::array<Part, 5> kParts{{{kNeutralPhosphate, false, "phosphate", "phosphates"},
                                        {kNeutralIon, false, "ion", "ions"},
                                        {kNeutralLigand, true, "ligand", "ligands"},
                                        {kNeutralModified, true, "modified residue", "modified residues"},
                                        {kNeutralEnd, false, "chain end", "chain ends"}}};
  std::string text;
  for (const Part& part : kParts) {
    if (const int n = count_remarked(structure, part.remark, part.residues); n > 0) {
      text += formatted("%s%d %s", text.empty() ? "" : ", ", n, n == 1 ? part.one : part.several);
    }
  }
  return text;
}

}  // namespace

void assign_formal_charges(Structure& structure) { Charging(structure).run(); }

void note_formal_charges(Structure& structure) {
  bool any = false;
  std::set<std::string> ions;
  for (const Atom& atom : structure.atoms) {
    any = any || atom.charge != 0.0F;
    if ((atom.remarks & kIonByName) != 0) {
      ions.insert(formatted("%s %+g", upper_case(trimmed(atom.residue)).c_str(), static_cast<double>(atom.charge)));
    }
  }
  structure.charges = any ? Charges::Formal : Charges::None;
  if (!ions.empty()) {
    std::string list;
    for (const std::string& ion : ions) {
      list.append(list.empty() ? "" : ", ").append(ion);
    }
    structure.notes.push_back("ions have the charges of their residues' names: " + list);
  }
  const std::string neutral = neutral_parts(structure);
  if (!any) {
    structure.notes.push_back("no charges" + (neutral.empty() ? "" : ": neutral are " + neutral));
  } else if (!neutral.empty()) {
    structure.notes.push_back("left neutral: " + neutral);
  }
}

}  // namespace nxbrio::files
