// Lists of molecules as files, read back by other software: RDKit and gemmi.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <gemmi/pdb.hpp>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/objects/list_obj.h>
#include <nxbriochem/toolkit/nxelements.h>

#include "tests/support/run.h"
#include "tests/toolkit/functional_groups.h"

namespace {

using namespace NxChem;
using test_support::read_file;
using test_support::run;
using test_support::ScratchDirectory;

template <class Call>
std::string warned(Call call) {
  testing::internal::CaptureStderr();
  call();
  return testing::internal::GetCapturedStderr();
}

NxMolBase& model(int mol) { return *NxBrioChem::NxDerefMolHandle(mol); }

int list_of(const std::vector<int>& members) {
  const int list = nx_make_list();
  for (const int member : members) {
    nx_add_to_list(member, list);
  }
  return list;
}

void delete_all(const std::vector<int>& molecules) {
  for (const int mol : molecules) {
    nx_delete_molecule(mol);
  }
}

// ---- Molecules with all that files show of them ----

constexpr std::array<unsigned, 11> kElements = {1, 6, 7, 8, 9, 15, 16, 17, 26, 30, 35};

// An atom of a residue that goes on for some atoms; chains and numbers tell residues apart.
void add_random_atom(NxMolBase& mol, int i, std::mt19937& random) {
  std::uniform_real_distribution<float> place(-99.0F, 999.0F);
  std::uniform_real_distribution<float> charge(-1.0F, 1.0F);
  NxAtomBase& atom = *mol.NewAtom(kElements.at(random() % kElements.size()));
  atom.SetName(std::string(NxGetAtomicSymbol(atom.GetAtomicNum())) + std::to_string(i % 100));
  atom.SetPartialCharge(charge(random));
  atom.SetRadius(1.0F + charge(random) / 2);
  atom.SetFormalCharge(random() % 4 == 0 ? static_cast<int>(random() % 5) - 2 : 0);
  NxResidue residue;
  residue.SetName(i / 7 % 2 == 0 ? "ALA" : "LIG");
  residue.SetResidueNumber(1 + i / 7);
  residue.SetChainID(static_cast<char>('A' + i / 14));
  residue.SetHetAtom(i / 7 % 2 == 1);
  NxAtomSetResidue(atom, residue);
  const float xyz[3] = {place(random), place(random), place(random)};
  mol.SetCoords(atom, xyz);
}

// A tree of bonds with a ring or two, some bonds without ends, and an atom deleted.
int random_molecule(std::mt19937& random) {
  const int mol = nx_make_molecule();
  NxMolBase& molecule = model(mol);
  nx_set_molecule_name(("molecule " + std::to_string(random() % 1000)).c_str(), mol);
  const int n = 2 + static_cast<int>(random() % 40);
  std::set<std::pair<int, int>> bonded;
  for (int i = 0; i < n; ++i) {
    add_random_atom(molecule, i, random);
    for (unsigned tries = random() % 6 == 0 ? 2 : 1; i > 0 && tries > 0; --tries) {
      const int other = static_cast<int>(random() % static_cast<unsigned>(i));
      if (bonded.emplace(other, i).second) {
        molecule.NewBond(molecule.GetAtom(other), molecule.GetAtom(i), 1 + static_cast<int>(random() % 3));
      }
    }
  }
  molecule.NewBond(nullptr, nullptr, 0);
  if (n > 10) {
    molecule.DeleteAtom(molecule.GetAtom(5));
  }
  return mol;
}

std::vector<int> random_molecules(int n, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<int> molecules;
  for (int i = 0; i < n; ++i) {
    molecules.push_back(random_molecule(random));
  }
  return molecules;
}

// ---- What the other software reads, as tests/support/read_structures.py lists it ----

struct ReadAtom {
  std::string symbol;
  std::array<double, 3> xyz{};
  std::map<std::string, std::string> keys;
};

struct ReadBond {
  int begin = 0;
  int end = 0;
  double order = 0;
};

struct ReadMolecule {
  std::string title;
  std::vector<ReadAtom> atoms;
  std::vector<ReadBond> bonds;
};

ReadAtom parse_atom(std::istream& words) {
  ReadAtom atom;
  words >> atom.symbol >> atom.xyz[0] >> atom.xyz[1] >> atom.xyz[2];
  for (std::string pair; words >> pair;) {
    const std::size_t at = pair.find('=');
    atom.keys[pair.substr(0, at)] = pair.substr(at + 1);
  }
  return atom;
}

std::vector<ReadMolecule> parse_listing(const std::string& listing) {
  std::vector<ReadMolecule> molecules;
  std::istringstream lines(listing);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string kind;
    words >> kind >> std::ws;
    if (kind == "molecule") {
      std::getline(words, molecules.emplace_back().title);
    } else if (kind == "atom") {
      molecules.at(molecules.size() - 1).atoms.push_back(parse_atom(words));
    } else {
      ReadBond bond;
      words >> bond.begin >> bond.end >> bond.order;
      molecules.at(molecules.size() - 1).bonds.push_back(bond);
    }
  }
  return molecules;
}

std::vector<ReadMolecule> read_back(const std::string& format, const std::string& path) {
  const auto result = run({"/usr/bin/python3", NXBRIO_READ_STRUCTURES, "list", format, path});
  EXPECT_EQ(result.status, 0) << result.err;
  return parse_listing(result.out);
}

// What a format shows: the keys are those of the listing. RDKit sets formal charges of its own where it reads pdb and
// mol2, so they are taken from sdf, and from pdb by gemmi.
struct Format {
  const char* word;
  int decimals;  // of coordinates
  bool has_title;
  bool has_symbols;
  bool has_bonds;
  std::vector<std::string> keys;
};

const std::vector<Format>& formats() {
  static const std::vector<Format> all = {
      {"pdb", 3, false, true, true, {"name", "number", "residue"}},
      {"delphi_pdb", 3, false, true, true, {"name", "number", "residue"}},
      {"mol2", 4, true, true, true, {"charge", "name"}},
      {"sdf", 4, true, true, true, {"formal"}},
      {"xyz", 6, true, true, false, {}},
      {"pqr", 3, true, false, false, {"charge", "name", "number", "radius", "residue"}},
  };
  return all;
}

// Half a unit of the last decimal, and what a float has in error.
double tolerance(int decimals) { return 0.5001 * std::pow(10.0, -decimals) + 1e-6; }

void expect_same_keys(const Format& format, const NxAtomBase& atom, const ReadAtom& read) {
  const NxResidue& residue = NxAtomGetResidue(atom);
  for (const std::string& key : format.keys) {
    ASSERT_TRUE(read.keys.contains(key)) << key;
    const std::string& text = read.keys.at(key);
    if (key == "name") {
      EXPECT_EQ(text, atom.GetName());
    } else if (key == "residue") {
      EXPECT_EQ(text, residue.GetName());
    } else if (key == "number") {
      EXPECT_EQ(text, std::to_string(residue.GetResidueNumber()));
    } else if (key == "formal") {
      EXPECT_EQ(text, std::to_string(atom.GetFormalCharge()));
    } else {
      EXPECT_NEAR(std::stod(text), static_cast<double>(key == "charge" ? atom.GetPartialCharge() : atom.GetRadius()),
                  tolerance(4));
    }
  }
}

// Six-membered rings of alternating bonds are aromatic in mol2 files, of order 1.5 to the reader; bonds of metals and
// the like have no order there.
bool is_same_order(const Format& format, const NxBondBase& bond, double order) {
  const bool is_aromatic = std::string(format.word) == "mol2" && order == 1.5 && bond.GetSmallestRingSize() == 6;
  return is_aromatic || order == bond.GetOrder();
}

void expect_same_bonds(const Format& format, const NxMolBase& mol, const ReadMolecule& read) {
  std::vector<int> places(mol.GetMaxAtomIdx(), -1);
  int n_atoms = 0;
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    places[atom.GetIdx()] = n_atoms++;
  }
  std::map<std::pair<int, int>, double> orders;
  for (const ReadBond& bond : read.bonds) {
    orders[std::minmax(bond.begin, bond.end)] = bond.order;
  }
  std::size_t n_bonds = 0;
  for (const NxBondBase& bond : mol.GetBonds()) {
    if (bond.GetBgn() != nullptr && bond.GetEnd() != nullptr) {
      ++n_bonds;
      const int begin = places[bond.GetBgn()->GetIdx()];
      const int end = places[bond.GetEnd()->GetIdx()];
      const auto found = orders.find(std::minmax(begin, end));
      ASSERT_NE(found, orders.end()) << begin << " " << end;
      EXPECT_TRUE(is_same_order(format, bond, found->second)) << bond.GetOrder() << " is read as " << found->second;
    }
  }
  EXPECT_EQ(read.bonds.size(), n_bonds);
}

void expect_same(const Format& format, const NxMolBase& mol, const ReadMolecule& read) {
  if (format.has_title) {
    EXPECT_EQ(read.title, mol.GetTitle());
  }
  ASSERT_EQ(read.atoms.size(), mol.NumAtoms());
  auto at = read.atoms.begin();
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    SCOPED_TRACE("atom " + std::to_string(atom.GetIdx()));
    float xyz[3];
    mol.GetCoords(atom, xyz);
    for (std::size_t k = 0; k < 3; ++k) {
      EXPECT_NEAR(at->xyz[k], static_cast<double>(xyz[k]), tolerance(format.decimals));
    }
    if (format.has_symbols) {
      EXPECT_EQ(at->symbol, NxGetAtomicSymbol(atom.GetAtomicNum()));
    }
    expect_same_keys(format, atom, *at);
    ++at;
  }
  if (format.has_bonds) {
    expect_same_bonds(format, mol, read);
  }
}

void expect_same(const Format& format, const std::vector<int>& molecules, const std::string& path) {
  const std::vector<ReadMolecule> read = read_back(format.word, path);
  ASSERT_EQ(read.size(), molecules.size());
  for (std::size_t i = 0; i < read.size(); ++i) {
    SCOPED_TRACE(std::string(format.word) + ", molecule " + std::to_string(i));
    expect_same(format, model(molecules[i]), read[i]);
  }
}

// gemmi reads the models of a PDB file, and the atoms of each in the order of the molecule's.
void expect_same_by_gemmi(const std::vector<int>& molecules, const std::string& path) {
  const gemmi::Structure read = gemmi::read_pdb_file(path);
  ASSERT_EQ(read.models.size(), molecules.size());
  for (std::size_t i = 0; i < molecules.size(); ++i) {
    EXPECT_EQ(read.models[i].name, std::to_string(i + 1));
    std::map<int, gemmi::const_CRA> by_serial;
    for (const gemmi::const_CRA place : read.models[i].all()) {
      by_serial[place.atom->serial] = place;
    }
    const NxMolBase& mol = model(molecules[i]);
    ASSERT_EQ(by_serial.size(), mol.NumAtoms());
    int serial = 0;
    for (const NxAtomBase& atom : mol.GetAtoms()) {
      const gemmi::const_CRA& place = by_serial[++serial];
      float xyz[3];
      mol.GetCoords(atom, xyz);
      EXPECT_NEAR(place.atom->pos.x, static_cast<double>(xyz[0]), tolerance(3));
      EXPECT_EQ(place.atom->name, atom.GetName());
      EXPECT_EQ(place.atom->charge, atom.GetFormalCharge());
      EXPECT_EQ(place.atom->element.atomic_number(), static_cast<int>(atom.GetAtomicNum()));
      EXPECT_EQ(place.chain->name, std::string(1, NxAtomGetResidue(atom).GetChainID()));
      EXPECT_EQ(*place.residue->seqid.num, NxAtomGetResidue(atom).GetResidueNumber());
      EXPECT_EQ(place.residue->het_flag, NxAtomGetResidue(atom).IsHetAtom() ? 'H' : 'A');
    }
  }
}

TEST(BriochemFiles, ListsReadBackInEveryFormat) {
  const ScratchDirectory directory;
  for (const unsigned seed : {1U, 2U, 3U}) {
    const std::vector<int> molecules = random_molecules(40, seed);
    const int list = list_of(molecules);
    for (const Format& format : formats()) {
      const std::string path = directory.path(format.word);
      ASSERT_EQ(warned([&] { EXPECT_EQ(nx_write_list_of_molecules(path.c_str(), format.word, list), 1); }), "");
      ASSERT_NO_FATAL_FAILURE(expect_same(format, molecules, path)) << "seed " << seed;
    }
    ASSERT_NO_FATAL_FAILURE(expect_same_by_gemmi(molecules, directory.path("pdb"))) << "seed " << seed;
    nx_delete_list(list);
    delete_all(molecules);
  }
}

TEST(BriochemFiles, DelphiColumnsHoldRadiusAndChargeInEveryModel) {
  const ScratchDirectory directory;
  const std::string path = directory.path("list.pdb");
  const std::vector<int> molecules = random_molecules(3, 4);
  ASSERT_EQ(nx_write_list_of_molecules(path.c_str(), "delphi_pdb", list_of(molecules)), 1);
  std::istringstream lines(read_file(path));
  for (const int mol : molecules) {
    for (const NxAtomBase& atom : model(mol).GetAtoms()) {
      std::string line;
      while (!line.starts_with("ATOM") && !line.starts_with("HETATM")) {
        ASSERT_TRUE(std::getline(lines, line));
      }
      EXPECT_NEAR(std::stod(line.substr(54, 6)), static_cast<double>(atom.GetRadius()), tolerance(2));
      EXPECT_NEAR(std::stod(line.substr(60, 7)), static_cast<double>(atom.GetPartialCharge()), tolerance(3));
    }
  }
  delete_all(molecules);
}

TEST(BriochemFiles, ListsAreWalkedInOrderIntoNestedOnesAndKeepTheirCursor) {
  const ScratchDirectory directory;
  const std::string path = directory.path("list.sdf");
  const std::vector<int> m = random_molecules(4, 5);
  NxSystem::NxBrioGrid grid;
  const int deleted = list_of({m[0]});
  const int inner = list_of({m[2], list_of({m[1]}), NxBrioChem::NxAcquireGridHandle(grid)});
  const int list = list_of({m[0], inner, deleted, list_of({}), m[0], m[3]});
  nx_delete_list(deleted);
  nx_go_to_list_object(m[3], list);
  nx_go_to_list_end(inner);

  ASSERT_EQ(nx_write_list_of_molecules(path.c_str(), "sdf", list), 1);
  ASSERT_NO_FATAL_FAILURE(expect_same(formats()[3], {m[0], m[2], m[1], m[0], m[3]}, path));
  int current = 0;
  EXPECT_EQ(nx_get_list_current_object(&current, list), 1);
  EXPECT_EQ(current, m[3]);
  EXPECT_EQ(nx_increment_list(inner), 0);
  delete_all(m);
}

TEST(BriochemFiles, ListsOfOneAndOfNone) {
  const ScratchDirectory directory;
  const std::string path = directory.path("list");
  const std::vector<int> one = random_molecules(1, 6);
  for (const Format& format : formats()) {
    ASSERT_EQ(nx_write_molecule(path.c_str(), format.word, one[0]), 1);
    const std::string single = read_file(path);
    ASSERT_EQ(nx_write_list_of_molecules(path.c_str(), format.word, list_of(one)), 1);
    EXPECT_EQ(read_file(path), single);
    ASSERT_EQ(nx_write_list_of_molecules(path.c_str(), format.word, nx_make_list()), 1);
    const std::string word = format.word;
    EXPECT_EQ(read_file(path), word.ends_with("pdb") || word == "pqr" ? "END\n" : "");
  }
  delete_all(one);
}

TEST(BriochemFiles, ListWritingChecksInOrderAndLeavesNoFile) {
  const ScratchDirectory directory;
  const std::string path = directory.path("list.pdb");
  const std::vector<int> molecules = random_molecules(2, 7);
  const int list = list_of(molecules);
  const auto warning = [&](const char* filename, const char* format, int handle) {
    return warned([&] { EXPECT_EQ(nx_write_list_of_molecules(filename, format, handle), 0); });
  };
  EXPECT_EQ(warning(nullptr, nullptr, 0), "Warning: Unrecognized blank filename\n");
  EXPECT_EQ(warning(path.c_str(), nullptr, 0), "Warning: Unrecognized blank file format\n");
  EXPECT_EQ(warning("/nonexistent/x", "what", 0),
            "Warning: Unable to open /nonexistent/x for writing: No such file or directory\n");
  EXPECT_EQ(warning(path.c_str(), "what", 0), "Warning: Unrecognized file format 'what'\n");
  for (const int no_list : {0, molecules[0], list + 1}) {
    EXPECT_EQ(warning(path.c_str(), "pdb", no_list), "Warning: Unrecognized list " + std::to_string(no_list) + "\n");
  }
  const float nowhere[3] = {0, 0, NAN};
  model(molecules[1]).SetCoords(*model(molecules[1]).GetAtom(0), nowhere);
  EXPECT_NE(warning(path.c_str(), "pdb", list).find("Unable to write molecule"), std::string::npos);
  nx_delete_molecule(molecules[1]);
  EXPECT_EXIT(nx_write_list_of_molecules(path.c_str(), "pdb", list), testing::ExitedWithCode(1),
              "Assertion failed at line [0-9]+ of memmgr");
  EXPECT_EQ(directory.names(), std::vector<std::string>());
  nx_delete_molecule(molecules[0]);
}

// ---- Points ----

TEST(BriochemFiles, PointsAreDummyAtomsOfOneResidue) {
  const ScratchDirectory directory;
  const std::string path = directory.path("points.pdb");
  std::mt19937 random(8);
  std::uniform_real_distribution<float> place(-999.0F, 9999.0F);
  std::vector<float> points(3 * 1000);
  for (float& x : points) {
    x = place(random);
  }
  ASSERT_EQ(nx_write_points_as_pdb(path.c_str(), points.data(), 1000), 1);
  const gemmi::Structure read = gemmi::read_pdb_file(path);
  ASSERT_EQ(read.models.size(), 1U);
  ASSERT_EQ(read.models[0].chains.size(), 1U);
  ASSERT_EQ(read.models[0].chains[0].residues.size(), 1U);
  const gemmi::Residue& residue = read.models[0].chains[0].residues[0];
  EXPECT_EQ(residue.name, "PTS");
  EXPECT_EQ(*residue.seqid.num, 1);
  EXPECT_EQ(residue.het_flag, 'H');
  ASSERT_EQ(residue.atoms.size(), 1000U);
  for (std::size_t i = 0; i < 1000; ++i) {
    const gemmi::Atom& atom = residue.atoms[i];
    EXPECT_EQ(atom.serial, static_cast<int>(i) + 1);
    EXPECT_EQ(atom.name, "DU");
    EXPECT_EQ(atom.element.atomic_number(), 0);
    EXPECT_NEAR(atom.pos.x, static_cast<double>(points[3 * i]), 0.0006);
    EXPECT_NEAR(atom.pos.y, static_cast<double>(points[3 * i + 1]), 0.0006);
    EXPECT_NEAR(atom.pos.z, static_cast<double>(points[3 * i + 2]), 0.0006);
  }
}

TEST(BriochemFiles, PointsThatCannotBeWrittenLeaveNoFile) {
  const ScratchDirectory directory;
  const std::string path = directory.path("points.pdb");
  const float points[3] = {0, INFINITY, 0};
  EXPECT_EQ(warned([&] {
              EXPECT_EQ(nx_write_points_as_pdb(path.c_str(), nullptr, 1), 0);
              EXPECT_EQ(nx_write_points_as_pdb(path.c_str(), points, -1), 0);
            }),
            "");
  EXPECT_EQ(warned([&] { EXPECT_EQ(nx_write_points_as_pdb(nullptr, points, 1), 0); }),
            "Warning: Unrecognized blank filename\n");
  EXPECT_NE(warned([&] { EXPECT_EQ(nx_write_points_as_pdb("/nonexistent/x", points, 1), 0); }), "");
  EXPECT_NE(warned([&] { EXPECT_EQ(nx_write_points_as_pdb(path.c_str(), points, 1), 0); }), "");
  EXPECT_EQ(directory.names(), std::vector<std::string>());
  EXPECT_EQ(nx_write_points_as_pdb(path.c_str(), nullptr, 0), 1);
  EXPECT_EQ(read_file(path), "END\n");
}

// ---- Bonds from coordinates ----

// A molecule of one of the groups in functional_groups.h, without its bonds.
int group_molecule(const std::string& wanted) {
  std::istringstream text(kFunctionalGroups);
  std::string name;
  int n_atoms = 0;
  int n_bonds = 0;
  while (text >> name >> n_atoms >> n_bonds) {
    const int mol = nx_make_molecule();
    nx_set_molecule_atom_number(n_atoms, mol);
    std::string symbol;
    for (int i = 0; i < n_atoms; ++i) {
      text >> symbol;
      nx_set_molecule_element_element(symbol[0], i, mol);
      for (int k = 0; k < 3; ++k) {
        float x = 0;
        text >> x;
        nx_set_molecule_coordinates_element(x, 3 * i + k, mol);
      }
    }
    for (int i = 0, skipped = 0; i < 3 * n_bonds; ++i) {
      text >> skipped;
    }
    if (name == wanted) {
      return mol;
    }
    nx_delete_molecule(mol);
  }
  ADD_FAILURE() << "no " << wanted;
  return nx_make_molecule();
}

int acetazolamide() {
  const int mol = nx_make_molecule();
  std::istringstream lines(read_file(APBS_EXAMPLES "/hca-bind/acet.pqr"));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::array<std::string, 8> fields;
    for (std::string& field : fields) {
      words >> field;
    }
    if (fields[0] == "ATOM" || fields[0] == "HETATM") {
      const int atom = nx_get_molecule_atom_number(mol);
      model(mol).NewAtom(NxGetAtomicNum(fields[2].substr(0, 1)));
      for (std::size_t k = 0; k < 3; ++k) {
        nx_set_molecule_coordinates_element(std::stof(fields.at(5 + k)), 3 * atom + static_cast<int>(k), mol);
      }
    }
  }
  return mol;
}

// The formulas as RDKit understands them, against what it reads from the SD file: orders, charges and rings at once.
TEST(BriochemFiles, BondsByDistanceAreChemicallyRight) {
  const ScratchDirectory directory;
  const std::vector<std::pair<std::string, std::string>> known = {
      {"benzene", "c1ccccc1"},
      {"imidazole", "c1c[nH]cn1"},
      {"acetate", "CC(=O)[O-]"},
      {"N-methylacetamide", "CNC(C)=O"},
      {"nitrobenzene", "[O-][N+](=O)c1ccccc1"},
      {"methylguanidinium", "CNC(N)=[NH2+]"},
      {"adenine", "Nc1ncnc2[nH]cnc12"},
      {"caffeine", "Cn1cnc2c1c(=O)n(C)c(=O)n2C"},
      {"methyl_phosphate", "COP(=O)([O-])[O-]"},
  };
  std::vector<int> molecules;
  std::vector<std::string> command = {"/usr/bin/python3", NXBRIO_READ_STRUCTURES, "smiles", directory.path("groups")};
  for (const auto& [name, smiles] : known) {
    molecules.push_back(group_molecule(name));
    command.push_back(smiles);
  }
  molecules.push_back(acetazolamide());
  command.emplace_back("CC(=O)Nc1nnc(s1)S(=O)(=O)[NH-]");
  for (const int mol : molecules) {
    EXPECT_EQ(nx_make_bonds_by_distance(mol), 1);
    const int n_bonds = nx_get_molecule_bond_number(mol);
    EXPECT_EQ(nx_make_bonds_by_distance(mol), 1);
    EXPECT_EQ(nx_get_molecule_bond_number(mol), n_bonds);
  }
  ASSERT_EQ(nx_write_list_of_molecules(directory.path("groups").c_str(), "sdf", list_of(molecules)), 1);
  const auto result = run(command);
  ASSERT_EQ(result.status, 0) << result.err;
  std::istringstream lines(result.out);
  for (std::size_t i = 0; i < molecules.size(); ++i) {
    std::string read;
    std::string expected;
    ASSERT_TRUE(lines >> read >> expected);
    EXPECT_EQ(read, expected);
  }
  delete_all(molecules);
}

}  // namespace
