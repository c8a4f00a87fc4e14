// SDF and mol2 through RDKit, nothing perceived or corrected but bonds that are given as aromatic: they get the orders
// of one Kekule structure.
#include <GraphMol/Conformer.h>
#include <GraphMol/FileParsers/FileParsers.h>
#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>
#include <RDGeneral/FileParseException.h>
#include <RDGeneral/RDLog.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>
#include <memory>
#include <new>
#include <sstream>

#include "failure.h"
#include "parsers.h"
#include "text.h"

namespace nxbrio::files {
namespace {

// RDKit's log goes to standard error; what matters comes as an exception or is looked at here.
class QuietLog {
 public:
  QuietLog() { boost::logging::disable_logs("rdApp.*"); }
};

// RDKit counts lines within the record; the message names that of the file.
std::string one_line(std::string_view text) {
  text = text.substr(0, std::min(text.find(" on line "), text.find(" in line ")));
  std::string line(text.substr(0, std::min(text.find_first_of("\r\n"), std::size_t{200})));
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return line;
}

// What a parser of RDKit's makes of the record; it counts the lines that it reads.
template <class Parse>
std::unique_ptr<RDKit::RWMol> parse(const RecordText& record, Parse parse_stream) {
  static const QuietLog quiet;
  std::istringstream stream{std::string(record.text)};
  stream.exceptions(std::ios::badbit);  // memory that runs out is no end of the record
  unsigned line = 0;
  const auto fail = [&](const char* what) -> Failure {
    const std::size_t lines = static_cast<std::size_t>(std::count(record.text.begin(), record.text.end(), '\n'));
    const std::size_t at = std::clamp<std::size_t>(line, 1, std::max<std::size_t>(lines, 1));
    return {record.path, record.first_line + at - 1, one_line(what)};
  };
  try {
    std::unique_ptr<RDKit::RWMol> mol(parse_stream(stream, line));
    if (!mol || mol->getNumAtoms() == 0) {
      throw Failure(record.path, record.first_line, "no atoms");
    }
    if (mol->getNumConformers() == 0) {
      throw Failure(record.path, record.first_line, "no coordinates");
    }
    return mol;
  } catch (const Failure&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const RDKit::FileParseException& error) {
    throw fail(error.what());
  } catch (const std::exception& error) {
    throw fail(error.what());
  }
}

int order_of(const RDKit::Bond& bond) {
  switch (bond.getBondType()) {
    case RDKit::Bond::DOUBLE:
      return 2;
    case RDKit::Bond::TRIPLE:
      return 3;
    case RDKit::Bond::QUADRUPLE:
      return 4;
    default:
      return 1;
  }
}

// Orders of a Kekule structure for aromatic bonds.
void give_orders(RDKit::RWMol& mol, Structure& structure) {
  int aromatic = 0;
  for (const RDKit::Bond* bond : mol.bonds()) {
    aromatic += bond->getBondType() == RDKit::Bond::AROMATIC ? 1 : 0;
  }
  if (aromatic > 0) {
    try {
      mol.updatePropertyCache(false);
      RDKit::MolOps::Kekulize(mol, false);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception&) {
      structure.notes.push_back(formatted("%d aromatic bonds have no Kekule structure and count as single", aromatic));
    }
  }
  for (const RDKit::Bond* bond : mol.bonds()) {
    structure.bonds.push_back(
        {static_cast<int>(bond->getBeginAtomIdx()), static_cast<int>(bond->getEndAtomIdx()), order_of(*bond)});
  }
}

// Elements, formal charges, places and bonds.
Structure structure_of(RDKit::RWMol& mol, const RecordText& record) {
  Structure structure;
  structure.model = record.number;
  const RDKit::Conformer& conformer = mol.getConformer();
  for (const RDKit::Atom* from : mol.atoms()) {
    Atom atom;
    atom.element = from->getAtomicNum();
    atom.formal_charge = from->getFormalCharge();
    atom.het = true;
    const RDGeom::Point3D& at = conformer.getAtomPos(from->getIdx());
    atom.position = {static_cast<float>(at.x), static_cast<float>(at.y), static_cast<float>(at.z)};
    for (const float coordinate : atom.position) {
      if (!std::isfinite(coordinate)) {
        throw Failure(record.path, record.first_line,
                      formatted("atom %u has a coordinate that is no number or out of range", from->getIdx() + 1));
      }
    }
    structure.atoms.push_back(std::move(atom));
  }
  give_orders(mol, structure);
  return structure;
}

// ---- SDF ----

// "> <NAME> ..." and lines up to an empty one, behind the structure.
void read_fields(std::string_view text, Structure& structure) {
  bool behind_structure = false;
  bool in_field = false;
  for (Lines lines(text); lines.next();) {
    const std::string_view line = lines.line();
    if (starts_with(line, "M  END")) {
      behind_structure = true;
    } else if (behind_structure && starts_with(line, "$$$$")) {
      return;
    } else if (behind_structure && !in_field && starts_with(line, ">")) {
      const std::size_t begin = line.find('<');
      const std::size_t end = line.rfind('>');
      if (begin != std::string_view::npos && end > begin + 1) {
        structure.fields.emplace_back(line.substr(begin + 1, end - begin - 1), "");
        in_field = true;
      }
    } else if (trimmed(line).empty()) {
      in_field = false;
    } else if (in_field) {
      std::string& value = structure.fields.back().second;
      value.append(value.empty() ? "" : "\n").append(line);
    }
  }
}

// ---- mol2 ----

// What a group of oxygens, or of a cation's nitrogens, gets instead of what the file says of it: writers give such
// bonds any order, "ar", "1" and "un" among them, so that their orders and charges come from the atoms' types.
class Mol2Groups {
 public:
  explicit Mol2Groups(RDKit::RWMol& mol) : mol_(mol) {}

  void resolve() {
    bool hydrogens = false;
    for (const RDKit::Atom* const atom : mol_.atoms()) {
      hydrogens = hydrogens || atom->getAtomicNum() == 1;
    }
    for (RDKit::Atom* const atom : mol_.atoms()) {
      // RDKit makes charges of valences that lack their hydrogens. An ion by itself lacks none.
      if (!hydrogens && atom->getDegree() > 0) {
        atom->setFormalCharge(type_of(*atom) == "N.4" ? 1 : 0);
      }
    }
    for (RDKit::Atom* const atom : mol_.atoms()) {
      if (type_of(*atom) == "C.cat") {
        resolve_cation(*atom);
      } else if (atom->getAtomicNum() != 1 && atom->getAtomicNum() != 8) {
        resolve_oxygens(*atom);
      }
    }
  }

 private:
  static std::string type_of(const RDKit::Atom& atom) {
    std::string type;
    atom.getPropIfPresent("_TriposAtomType", type);
    return type;
  }

  static bool is_plain(const RDKit::Bond& bond) {
    return bond.getBondType() == RDKit::Bond::SINGLE || bond.getBondType() == RDKit::Bond::DOUBLE;
  }

  static bool is_double(const RDKit::Bond& bond) { return bond.getBondType() == RDKit::Bond::DOUBLE; }

  // To atoms of an element, or of any (0); those that the file has as double first.
  std::vector<RDKit::Bond*> bonds_of(const RDKit::Atom& centre, int element, bool terminal) {
    std::vector<RDKit::Bond*> bonds;
    for (const bool doubles : {true, false}) {
      for (RDKit::Bond* const bond : mol_.atomBonds(&centre)) {
        const RDKit::Atom& other = *bond->getOtherAtom(&centre);
        if (is_double(*bond) == doubles && (element == 0 || other.getAtomicNum() == element) &&
            (!terminal || other.getDegree() == 1)) {
          bonds.push_back(bond);
        }
      }
    }
    return bonds;
  }

  static void set(RDKit::Bond& bond, RDKit::Atom& outer, bool is_double, int charge) {
    bond.setBondType(is_double ? RDKit::Bond::DOUBLE : RDKit::Bond::SINGLE);
    bond.setIsAromatic(false);
    outer.setFormalCharge(charge);
  }

  void settle(RDKit::Atom& centre, int charge) {
    const std::vector<RDKit::Bond*> bonds = bonds_of(centre, 0, false);
    centre.setFormalCharge(charge);
    centre.setIsAromatic(
        std::any_of(bonds.begin(), bonds.end(), [](const RDKit::Bond* bond) { return bond->getIsAromatic(); }));
    for (RDKit::Bond* const bond : bonds) {
      RDKit::Atom& outer = *bond->getOtherAtom(&centre);
      outer.setIsAromatic(outer.getIsAromatic() && (outer.getDegree() > 1 || bond->getIsAromatic()));
    }
  }

  // Carboxylates, phosphates, sulfonates, nitro groups: the oxygens that have no other neighbour share as many double
  // bonds as the centre has room for, and the others are charged.
  void resolve_oxygens(RDKit::Atom& centre) {
    const std::vector<RDKit::Bond*> bonds = bonds_of(centre, 8, true);
    if (std::none_of(bonds.begin(), bonds.end(), [&](const RDKit::Bond* bond) {
          return !is_plain(*bond) || type_of(*bond->getOtherAtom(&centre)) == "O.co2";
        })) {
      return;
    }
    const bool nitrogen = centre.getAtomicNum() == 7;
    const std::size_t room = centre.getAtomicNum() == 16 && centre.getDegree() >= 4 ? 2 : 1;
    for (std::size_t i = 0; i < bonds.size(); ++i) {
      set(*bonds[i], *bonds[i]->getOtherAtom(&centre), i < room, i < room ? 0 : -1);
    }
    settle(centre, nitrogen && bonds.size() > 1 ? 1 : 0);
  }

  // Guanidinium, amidinium: one nitrogen has the double bond and the charge, one with few neighbours beside hydrogens.
  void resolve_cation(RDKit::Atom& centre) {
    const std::vector<RDKit::Bond*> bonds = bonds_of(centre, 7, false);
    if (bonds.empty()) {
      return;
    }
    const auto heavy = [&](const RDKit::Bond* bond) {
      int count = 0;
      for (const RDKit::Atom* const neighbour : mol_.atomNeighbors(bond->getOtherAtom(&centre))) {
        count += neighbour->getAtomicNum() != 1 ? 1 : 0;
      }
      return count;
    };
    const auto fewest = std::min_element(
        bonds.begin(), bonds.end(), [&](const RDKit::Bond* a, const RDKit::Bond* b) { return heavy(a) < heavy(b); });
    const RDKit::Bond* const first = is_double(*bonds.front()) ? bonds.front() : *fewest;
    for (RDKit::Bond* const bond : bonds) {
      set(*bond, *bond->getOtherAtom(&centre), bond == first, bond == first ? 1 : 0);
    }
    settle(centre, 0);
  }

  RDKit::RWMol& mol_;
};

// "ALA12" is residue 12, an alanine.
void set_residue(Atom& atom, std::string_view name, std::string_view id) {
  std::size_t digits = name.size();
  while (digits > 0 && std::isdigit(static_cast<unsigned char>(name[digits - 1])) != 0) {
    --digits;
  }
  const std::optional<int> number = parse_integer(name.substr(digits));
  const std::optional<int> id_number = parse_integer(id);
  if (number && digits > 0) {
    name = name.substr(0, digits);
  }
  atom.residue = name;
  atom.residue_number = number && digits > 0 ? *number : id_number.value_or(0);
}

// RDKit makes room for as many atoms as are promised before it looks for them.
void check_count(const RecordText& record) {
  const auto lines_in_all = std::count(record.text.begin(), record.text.end(), '\n');
  int line_in_section = -1;
  for (Lines lines(record.text, record.first_line); lines.next() && line_in_section < 2;) {
    const std::string_view line = trimmed(lines.line());
    if (starts_with(line, "@<TRIPOS>MOLECULE")) {
      line_in_section = 0;
    } else if (line_in_section >= 0 && !starts_with(line, "#") && ++line_in_section == 2) {
      const std::vector<std::string_view> counts = fields(line, 1);
      const std::optional<int> atoms = counts.empty() ? std::nullopt : parse_integer(counts.front());
      if (atoms && *atoms > lines_in_all) {
        throw Failure(record.path, lines.number(),
                      formatted("%d atoms are promised, and there are fewer lines", *atoms));
      }
    }
  }
}

// What RDKit leaves out: names, substructures with their chains, and whether there are charges.
void read_tables(const RecordText& record, Structure& structure) {
  std::string_view section;
  std::size_t line_in_section = 0;
  std::size_t atom = 0;
  std::vector<std::string> substructures(structure.atoms.size());
  std::map<std::string, std::string, std::less<>> chains;
  for (Lines lines(record.text, record.first_line); lines.next();) {
    const std::string_view line = trimmed(lines.line());
    if (starts_with(line, "@<TRIPOS>")) {
      section = line.substr(9);
      line_in_section = 0;
      continue;
    }
    ++line_in_section;
    const std::vector<std::string_view> f = fields(line, 10);
    if (section == "MOLECULE" && line_in_section == 1) {
      structure.title = line;
    } else if (section == "MOLECULE" && line_in_section == 4 && line != "NO_CHARGES") {
      structure.charges = Charges::File;
    } else if (section == "ATOM" && f.size() >= 6 && f[0][0] != '#' && atom < structure.atoms.size()) {
      Atom& to = structure.atoms[atom];
      to.name = f[1];
      if (f.size() > 7) {
        set_residue(to, f[7], f[6]);
        substructures[atom] = f[6];
      }
      if (f.size() < 9) {
        structure.charges = Charges::None;
      }
      ++atom;
    } else if (section == "SUBSTRUCTURE" && f.size() > 5 && f[5] != "****") {
      chains.emplace(f[0], f[5]);
    }
  }
  if (chains.empty()) {
    return;
  }
  ChainLetters letters;
  for (std::size_t i = 0; i < structure.atoms.size(); ++i) {
    const auto chain = chains.find(substructures[i]);
    letters.set(structure.atoms[i], chain != chains.end() ? chain->second : std::string());
  }
}

}  // namespace

Structure parse_sdf(const RecordText& record) {
  const auto mol = parse(record, [](std::istream& stream, unsigned& line) {
    return RDKit::MolDataStreamToMol(stream, line, false, false, true);
  });
  Structure structure = structure_of(*mol, record);
  int number = 0;
  for (Atom& atom : structure.atoms) {
    atom.name = mol->getAtomWithIdx(static_cast<unsigned>(number))->getSymbol() + std::to_string(number + 1);
    atom.residue = "UNL";
    atom.residue_number = 1;
    ++number;
  }
  Lines lines(record.text);
  structure.title = lines.next() ? std::string(trimmed(lines.line())) : std::string();
  read_fields(record.text, structure);
  return structure;
}

Structure parse_mol2(const RecordText& record) {
  check_count(record);
  const auto mol = parse(record, [](std::istream& stream, unsigned& line) {
    static_cast<void>(line);
    return RDKit::Mol2DataStreamToMol(stream, false, false, RDKit::CORINA, false);
  });
  Mol2Groups(*mol).resolve();
  Structure structure = structure_of(*mol, record);
  read_tables(record, structure);
  for (std::size_t i = 0; i < structure.atoms.size() && structure.charges == Charges::File; ++i) {
    std::string text;
    std::string fault;
    const RDKit::Atom& from = *mol->getAtomWithIdx(static_cast<unsigned>(i));
    from.getPropIfPresent("_TriposPartialCharge", text);
    const std::optional<float> charge = parse_real(trimmed(text), fault);
    if (!charge) {
      throw Failure(record.path, record.first_line,
                    formatted("charge %s of atom %zu ", in_quotes(text).c_str(), i + 1) + fault);
    }
    structure.atoms[i].charge = *charge;
  }
  return structure;
}

}  // namespace nxbrio::files
