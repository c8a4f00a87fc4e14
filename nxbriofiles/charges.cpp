// Formal charges by residue and name, as ionised at neutral pH; those that the file gives come first, residue by
// residue. Charges shared by equivalent atoms, as nx_charge_protein has them for side chains.
#include "charges.h"

#include <algorithm>
#include <array>
#include <gemmi/elem.hpp>
#include <gemmi/resinfo.hpp>
#include <set>

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
    tell();
  }

 private:
  void find_residues() {
    Atom* const end = structure_.atoms.data() + structure_.atoms.size();
    for (Atom* at = structure_.atoms.data(); at != end;) {
      Atom* const next = std::find_if(at, end, [at](const Atom& other) {
        return other.chain != at->chain || other.sequence_number != at->sequence_number;
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
      phosphates_ += residue.count(kPhosphorus) - charge_phosphate(residue);
    } else if (amino_acid) {
      charge_side_chain(residue);
      // Selenomethionine is as neutral as methionine.
      modified_ += !info.is_standard() && info.found() && residue.kind() != "MSE" ? 1 : 0;
    } else if (residue.size() == 1 && is_ion_element(residue.begin()->element)) {
      charge_ion(*residue.begin());
    } else if (!info.is_nucleic_acid() && (residue.begin()->het || !info.found())) {
      ++ligands_;
    } else {
      phosphates_ += residue.count(kPhosphorus);
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

  // -1 between two others, -2 at an end or a side chain; a hydrogen on an oxygen takes one back. How many are charged.
  static int charge_phosphate(const Residue& residue) {
    std::vector<Atom*> oxygens;
    for (const auto& [name, other] : {std::pair{"OP1", "O1P"}, {"OP2", "O2P"}, {"OP3", "O3P"}}) {
      if (Atom* const atom = residue.find(name, other)) {
        oxygens.push_back(atom);
      }
    }
    const int charge = 1 - static_cast<int>(oxygens.size()) + residue.hydrogens_named({"HOP2", "HOP3", "HO2P", "HO3P"});
    if (oxygens.size() < 2) {
      return 0;
    }
    for (Atom* const oxygen : oxygens) {
      oxygen->charge = static_cast<float>(charge) / static_cast<float>(oxygens.size());
    }
    return 1;
  }

  // Metals and halogens.
  static bool is_ion_element(int number) {
    const gemmi::Element element(number);
    return element.is_metal() || number == 9 || number == 17 || number == 35 || number == 53;
  }

  void charge_ion(Atom& atom) {
    const std::string name = upper_case(trimmed(atom.residue));
    const auto* const ion =
        std::find_if(kIons.begin(), kIons.end(), [&](const Ion& row) { return row.residue == name; });
    if (ion != kIons.end()) {
      atom.charge = ion->charge;
      ions_charged_.insert(formatted("%s %+g", name.c_str(), static_cast<double>(ion->charge)));
    } else {
      ++ions_;
    }
  }

  // The first residue of a protein chain and the one behind a terminal oxygen begin it; the one with a terminal oxygen
  // ends it. A last residue without one is an end that stays neutral.
  void charge_chain_ends() {
    std::set<char> begun;
    std::set<char> open;
    for (std::size_t i = 0; i < residues_.size(); ++i) {
      const Residue& residue = residues_[i];
      const char chain = residue.begin()->chain;
      if (residue.kind() == "NME" || residue.kind() == "NH2") {
        open.erase(chain);
      }
      if (!is_amino_acid(residue.kind()) || residue.find("N") == nullptr || residue.find("CA") == nullptr) {
        continue;
      }
      if (begun.insert(chain).second && !is_capped(i)) {
        charge_n_terminus(residue, given_[i]);
      }
      open.insert(chain);
      if (has_terminal_oxygen(residue)) {
        charge_c_terminus(residue, given_[i]);
        begun.erase(chain);
        open.erase(chain);
      }
    }
    ends_ += static_cast<int>(open.size());
  }

  static bool has_terminal_oxygen(const Residue& residue) { return residue.find("OXT", "OT2") != nullptr; }

  // An acetyl group or the like before the residue.
  bool is_capped(std::size_t i) const {
    return i > 0 && residues_[i - 1].begin()->chain == residues_[i].begin()->chain &&
           (residues_[i - 1].kind() == "ACE" || residues_[i - 1].kind() == "FOR");
  }

  // Where there are hydrogens they tell whether the end is charged.
  void charge_n_terminus(const Residue& residue, bool given) {
    if (given && residue.find("N")->charge != 0.0F) {
      return;
    }
    const int needed = residue.kind() == "PRO" ? 2 : 3;
    if (residue.has_hydrogens() && residue.hydrogens_named({"H1", "H2", "H3", "HT1", "HT2", "HT3", "1H", "2H", "3H",
                                                            "HN1", "HN2", "HN3", "H"}) < needed) {
      ++ends_;
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

  void tell() {
    const bool any = std::any_of(structure_.atoms.begin(), structure_.atoms.end(),
                                 [](const Atom& atom) { return atom.charge != 0.0F; });
    structure_.charges = any ? Charges::Formal : Charges::None;
    std::string neutral;
    const auto count = [&](int n, const char* one, const char* several) {
      if (n > 0) {
        neutral += formatted("%s%d %s", neutral.empty() ? "" : ", ", n, n == 1 ? one : several);
      }
    };
    count(phosphates_, "phosphate", "phosphates");
    count(ions_, "ion", "ions");
    count(ligands_, "ligand", "ligands");
    count(modified_, "modified residue", "modified residues");
    count(ends_, "chain end", "chain ends");
    if (!ions_charged_.empty()) {
      std::string ions;
      for (const std::string& ion : ions_charged_) {
        ions.append(ions.empty() ? "" : ", ").append(ion);
      }
      structure_.notes.push_back("ions have the charges of their residues' names: " + ions);
    }
    if (!any) {
      structure_.notes.push_back("no charges" + (neutral.empty() ? "" : ": neutral are " + neutral));
    } else if (!neutral.empty()) {
      structure_.notes.push_back("left neutral: " + neutral);
    }
  }

  Structure& structure_;
  std::vector<Residue> residues_;
  // Whether the file gives formal charges in a residue.
  std::vector<bool> given_;
  int phosphates_ = 0;
  int ions_ = 0;
  int ligands_ = 0;
  int modified_ = 0;
  int ends_ = 0;
  std::set<std::string> ions_charged_;
};

}  // namespace

void assign_formal_charges(Structure& structure) { Charging(structure).run(); }

}  // namespace nxbrio::files
