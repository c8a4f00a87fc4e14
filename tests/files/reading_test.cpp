// Reading: what files contain, what the library adds where they leave it out, and faulty files.
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include <nxbriochem/nxbriochem.h>
#include <nxbriofiles/nxbriofiles.h>

namespace {

class Reading : public testing::Test {
 protected:
  ~Reading() override {
    if (mol_ != 0) {
      nx_delete_molecule(mol_);
    }
  }

  void read(const std::string& text, const char* name) {
    mol_ = nxf_read_molecule_from_memory(text.data(), text.size(), name, nullptr);
    ASSERT_NE(mol_, 0) << nxf_last_error();
  }

  // The message of the refusal; "" when the text is read.
  static std::string refusal(const std::string& text, const char* name) {
    const int errors = nx_number_of_errors();
    const int mol = nxf_read_molecule_from_memory(text.data(), text.size(), name, nullptr);
    if (mol != 0) {
      nx_delete_molecule(mol);
      return "";
    }
    EXPECT_EQ(nx_number_of_errors(), errors + 1);
    return nxf_last_error();
  }

  std::vector<int> elements() const {
    std::vector<int> numbers(static_cast<std::size_t>(nx_get_molecule_atom_number(mol_)));
    EXPECT_EQ(nxf_get_atomic_numbers(numbers.data(), mol_), 1);
    return numbers;
  }

  // The charges of the charged atoms, by name.
  std::string charges() const {
    std::string found;
    for (int i = 0; i < nx_get_molecule_atom_number(mol_); ++i) {
      float charge = 0.0F;
      char name[8] = "";
      nx_get_molecule_charges_element(&charge, i, mol_);
      nx_get_molecule_atom_names_element(name, i, sizeof name - 1, mol_);
      char text[32] = "";
      std::snprintf(text, sizeof text, "%s %+g, ", name, static_cast<double>(charge));
      found += charge != 0.0F ? text : "";
    }
    return found;
  }

  std::string notes() const {
    std::string found;
    for (int k = 0; k < nxf_number_of_notes(mol_); ++k) {
      found.append(nxf_note(k, mol_)) += "\n";
    }
    return found;
  }

  int mol_ = 0;
};

// A PDB record; `rest` is the text after column 54.
std::string pdb(const char* record, int serial, const char* name, const char* residue, char chain, int number,
                const char* tail = "  1.00  0.00") {
  char line[128];
  std::snprintf(line, sizeof line, "%-6s%5d %4s %3s %c%4d    %8.3f%8.3f%8.3f%s\n", record, serial, name, residue, chain,
                number, 1.5 * serial, 0.0, 0.0, tail);
  return line;
}

TEST_F(Reading, SideChainsChainEndsPhosphatesAndIonsAreCharged) {
  std::string text;
  int serial = 0;
  for (const char* name : {" N  ", " CA ", " C  ", " O  ", " OD1", " OD2"}) {
    text += pdb("ATOM", ++serial, name, "ASP", 'A', 1);
  }
  for (const char* name : {" N  ", " CA ", " C  ", " O  ", " NZ ", " OXT"}) {
    text += pdb("ATOM", ++serial, name, "LYS", 'A', 2);
  }
  for (const char* name : {" P  ", " OP1", " OP2", " O5'", " C5'"}) {
    text += pdb("ATOM", ++serial, name, " DG", 'B', 1);
  }
  text += pdb("HETATM", 21, "ZN  ", " ZN", 'C', 1) + pdb("HETATM", 22, " C1 ", "LIG", 'C', 2) +
          pdb("HETATM", 23, " O1 ", "LIG", 'C', 2) + pdb("HETATM", 24, " O  ", "HOH", 'C', 3) +
          pdb("HETATM", 25, "TB  ", " TB", 'C', 4) + pdb("ATOM", 26, " N  ", "GLY", 'D', 1) +
          pdb("ATOM", 27, " CA ", "GLY", 'D', 1);
  read(text, "a.pdb");
  EXPECT_EQ(charges(), "N +1, OD1 -0.5, OD2 -0.5, O -0.5, NZ +1, OXT -0.5, OP1 -0.5, OP2 -0.5, ZN +2, N +1, ");
  EXPECT_STREQ(nxf_charge_source(mol_), "formal");
  EXPECT_NE(notes().find("left neutral: 1 ion, 1 ligand, 1 chain end\n"), std::string::npos) << notes();
}

TEST_F(Reading, HydrogensAndPhosphatesOfSideChainsAreHeeded) {
  std::string text;
  int serial = 0;
  const auto residue = [&](const char* name, std::initializer_list<const char*> atoms) {
    const int number = serial + 1;
    for (const char* atom : atoms) {
      text += pdb("ATOM", ++serial, atom, name, 'A', number);
    }
  };
  residue("ASP", {" OD1", " OD2", " HD2"});
  residue("GLU", {" OE1", " OE2"});
  residue("HIS", {" ND1", " NE2", " HD1", " HE2"});
  residue("HIS", {" ND1", " NE2", " HE2"});
  residue("HIP", {" ND1", " NE2"});
  residue("TPO", {" P  ", " O1P", " O2P", " O3P"});
  residue("KCX", {" NZ ", " CX "});
  residue("ADP", {" PA ", " PB "});
  read(text, "a.pdb");
  EXPECT_EQ(charges(),
            "OE1 -0.5, OE2 -0.5, ND1 +0.5, NE2 +0.5, ND1 +0.5, NE2 +0.5, O1P -0.666667, O2P -0.666667, "
            "O3P -0.666667, ");
  EXPECT_NE(notes().find("left neutral: 2 phosphates, 1 modified residue\n"), std::string::npos) << notes();
}

// Formal charges in a file count for their whole residue; other residues are charged by rule.
TEST_F(Reading, FormalChargesOfTheFileComeFirst) {
  read(pdb("ATOM", 1, " OD1", "ASP", 'A', 2, "  1.00  0.00           O  ") +
           pdb("ATOM", 2, " OD2", "ASP", 'A', 2, "  1.00  0.00           O1-") +
           pdb("ATOM", 3, " OD1", "ASP", 'A', 3, "  1.00  0.00           O  ") +
           pdb("HETATM", 4, "FE  ", " FE", 'A', 4, "  1.00  0.00          FE2+"),
       "a.pdb");
  EXPECT_EQ(charges(), "OD2 -1, OD1 -0.5, FE +2, ");
}

TEST_F(Reading, ElementsWithoutColumnsGoByResidueAndName) {
  // All names start in column 13, although the alpha carbon should be " CA ".
  read(pdb("ATOM", 1, "CA  ", "ALA", 'A', 1) + pdb("ATOM", 2, "CD  ", "PRO", 'A', 2) +
           pdb("ATOM", 3, "HE1 ", "HIS", 'A', 3) + pdb("HETATM", 4, " CA ", " CA", 'A', 4) +
           pdb("HETATM", 5, "CA  ", "LIG", 'A', 5),
       "a.pdb");
  EXPECT_EQ(elements(), (std::vector<int>{6, 6, 1, 20, 6}));
  EXPECT_NE(notes().find("the elements of 5 atoms are guessed"), std::string::npos) << notes();
}

TEST_F(Reading, TextInOldColumnsIsPassedOver) {
  read(pdb("ATOM", 1, " N  ", "GLY", 'A', 1, "  1.00 10.00      1CRN  70") +
           pdb("ATOM", 2, " CA ", "GLY", 'A', 1, "  1.00 10.00      1CRN 771"),
       "a.pdb");
  EXPECT_EQ(elements(), (std::vector<int>{7, 6}));
  EXPECT_NE(notes().find("columns 73 to 80"), std::string::npos) << notes();
  // A digit without a sign is no charge.
  nx_delete_molecule(mol_);
  read(pdb("HETATM", 1, " C1 ", "LIG", 'A', 1, "  1.00 10.00      1ABC   7"), "a.pdb");
  EXPECT_EQ(charges(), "");
  EXPECT_NE(notes().find("columns 73 to 80"), std::string::npos) << notes();
}

constexpr const char* kCif =
    "data_x\nloop_\n_atom_site.label_atom_id\n_atom_site.label_comp_id\n_atom_site.label_asym_id\n"
    "_atom_site.label_seq_id\n_atom_site.Cartn_x\n_atom_site.Cartn_y\n_atom_site.Cartn_z\n"
    "CA CA A 1 0 0 0\nCA GLY A 2 1 1 1\n";

TEST_F(Reading, AnAtomCaOfAResidueCaIsCalciumInEveryFormat) {
  read(kCif, "a.cif");
  EXPECT_EQ(elements(), (std::vector<int>{20, 6}));
  nx_delete_molecule(mol_);
  read("ATOM 1 CA CA 1 0 0 0 2.0 1.7\nATOM 2 CA GLY 2 1 1 1 0.0 1.7\n", "a.pqr");
  EXPECT_EQ(elements(), (std::vector<int>{20, 6}));
}

TEST_F(Reading, LinesOfPqrAreWholeRecords) {
  const std::string one = "ATOM 1 N GLY 1 0.0 0.0 0.0 0.5 1.8";
  const std::string two = "ATOM 2 C GLY 1 1.0 0.0 0.0 0.5 1.8";
  read(one + "\r" + two + "\r", "a.pqr");
  EXPECT_EQ(nx_get_molecule_atom_number(mol_), 2);
  EXPECT_EQ(refusal(one + " " + two + "\n", "a.pqr"), "a.pqr:1: 17 fields where an atom has 10 or, with a chain, 11");
  const std::string by_columns = "ATOM      1  N   GLY A   1       0.000   0.000   0.000  0.5000 1.8000";
  EXPECT_NE(refusal(by_columns + " " + by_columns + "\n", "a.pqr"), "");
}

TEST_F(Reading, APdbFileNamedPqrDoesNotTakeOccupanciesForCharges) {
  read(pdb("ATOM", 1, " OD1", "ASP", 'A', 2, "  1.00 22.50           O"), "a.pqr");
  EXPECT_EQ(charges(), "OD1 -0.5, ");
  EXPECT_NE(notes().find("read as a PDB file"), std::string::npos) << notes();
  // An ion's charge and radius in the same columns.
  nx_delete_molecule(mol_);
  read(pdb("HETATM", 1, "NA  ", " NA", 'A', 2, "  3.00  1.87"), "a.pqr");
  EXPECT_EQ(charges(), "NA +3, ");
}

TEST_F(Reading, RefusalsNameFileAndPlace) {
  EXPECT_EQ(refusal("", "a.pdb"), "a.pdb: no atoms");
  EXPECT_EQ(refusal("hello\n", "a.txt"), "a.txt: not a PQR, PDB, mmCIF, SDF, mol2 or XYZ file");
  EXPECT_EQ(refusal(std::string("ATOM\0", 5), "a.pdb"), "a.pdb: binary data, not a structure file");
  std::string cif = kCif;
  cif.replace(cif.find("label_comp_id"), 13, "label_xyz_id ");
  EXPECT_EQ(refusal(cif, "a.cif"), "a.cif:2: _atom_site has no column label_comp_id or auth_comp_id");
  cif = kCif;
  cif.replace(cif.find("1 1 1"), 5, "1 x 1");
  EXPECT_EQ(refusal(cif, "a.cif"), "a.cif:11: y coordinate 'x' is not a number");
  EXPECT_EQ(refusal("2\n\nC 0 0 0\nO 0 0\n", "a.xyz"),
            "a.xyz:4: fewer than 4 fields where an atom has an element and x, y, z");
  EXPECT_EQ(refusal("@<TRIPOS>MOLECULE\none\n99999999 0\nSMALL\nNO_CHARGES\n@<TRIPOS>ATOM\n1 C 0 0 0 C.3\n", "a.mol2"),
            "a.mol2:3: 99999999 atoms are promised, and there are fewer lines");
  EXPECT_EQ(refusal("3\n\nC 0 0 0\n", "a.xyz"), "a.xyz:1: 3 atoms are promised and 1 there");
  EXPECT_EQ(refusal("\x1f\x8b\b", "a.pdb"), "a.pdb: gzipped file is cut short");
  EXPECT_EQ(nxf_read_molecule("/nowhere/a.pdb", nullptr), 0);
  EXPECT_STREQ(nxf_last_error(), "/nowhere/a.pdb: No such file or directory");
  EXPECT_EQ(nxf_read_molecule("/tmp", nullptr), 0);
  EXPECT_STREQ(nxf_last_error(), "/tmp: is a directory");
  EXPECT_EQ(nxf_read_molecule(nullptr, nullptr), 0);
  EXPECT_EQ(nxf_read_molecule("a.pdb", "png"), 0);
  EXPECT_STREQ(nxf_last_error(), "a.pdb: 'png' is no format word");
}

std::string sdf(const std::string& name, const std::string& x) {
  return name + "\n\n\n  1  0  0  0  0  0  0  0  0  0999 V2000\n" + std::string(10 - x.size(), ' ') + x +
         "    0.0000    0.0000 O   0  0\nM  END\n> <n>\n" + name + "\n\n$$$$\n";
}

TEST_F(Reading, AFaultyRecordIsToldAndPassedOver) {
  const std::string text = sdf("one", "0.0000") + sdf("two", "0.0x00") + sdf("three", "0.0000");
  const int reader = nxf_open_memory_reader(text.data(), text.size(), "a.sdf", nullptr);
  ASSERT_GT(reader, 0);
  EXPECT_EQ(nxf_record_text(nullptr, reader), nullptr);
  std::vector<std::string> seen;
  while (nxf_read_record(&mol_, reader) == 1) {
    char name[16] = "fault";
    if (mol_ != 0) {
      nx_get_molecule_name(name, mol_);
      EXPECT_STREQ(nxf_field("n", mol_), name);
      nx_delete_molecule(mol_);
    }
    seen.emplace_back(name);
    // The text of a record can be read as a file.
    std::size_t size = 0;
    const std::string record = nxf_record_text(&size, reader);
    EXPECT_EQ(record.size(), size);
    EXPECT_EQ(refusal(record, "r.sdf").empty(), seen.back() != "fault");
  }
  mol_ = 0;
  EXPECT_EQ(seen, (std::vector<std::string>{"one", "fault", "three"}));
  EXPECT_EQ(nxf_close_reader(reader), 1);
  EXPECT_EQ(nxf_close_reader(reader), 0);
  EXPECT_EQ(nxf_skip_record(reader), 0);

  const int list = nx_make_list();
  EXPECT_EQ(nxf_add_molecules_to_list_from_memory(text.data(), text.size(), "a.sdf", nullptr, list), 0);
  EXPECT_EQ(std::string(nxf_last_error()).substr(0, 9), "a.sdf:15:") << nxf_last_error();
  EXPECT_EQ(nx_get_list_length(list), 0);
}

// The readable part of a damaged file is read; the rest is a fault, not an end of file.
TEST_F(Reading, AFileThatBreaksOffIsAFaultyRecord) {
  std::string text;
  for (int i = 0; i < 4000; ++i) {
    text += sdf("record " + std::to_string(i), "0.0000");
  }
  const int list = nx_make_list();
  ASSERT_EQ(nxf_add_molecules_to_list_from_memory(text.data(), text.size(), "a.sdf", nullptr, list), 1);
  std::size_t size = 0;
  const char* const packed = nxf_list_text(&size, "sdf.gz", list);
  const std::string cut(packed, size - 9);
  const int reader = nxf_open_memory_reader(cut.data(), cut.size(), "a.sdf.gz", nullptr);
  ASSERT_GT(reader, 0);
  std::vector<bool> whole;
  while (nxf_skip_record(reader) == 1) {
    whole.push_back(nxf_record_text(nullptr, reader) != nullptr);
  }
  EXPECT_GT(whole.size(), 2000U);
  EXPECT_EQ(std::find(whole.begin(), whole.end(), false), whole.end() - 1);
  EXPECT_STREQ(nxf_last_error(), "a.sdf.gz: gzipped file is cut short");
  EXPECT_EQ(nxf_close_reader(reader), 1);
  EXPECT_NE(refusal(cut, "a.sdf.gz"), "");
  nx_delete_list(list);
}

// CONECT records after the models belong to each model, also in the text of a record.
TEST_F(Reading, ModelsOfPdbShareTheirConnections) {
  const std::string model = pdb("HETATM", 1, " C1 ", "LIG", 'A', 1) + pdb("HETATM", 2, " O1 ", "LIG", 'A', 1);
  const std::string text =
      "MODEL        3\n" + model + "ENDMDL\nMODEL        5\n" + model + "ENDMDL\nCONECT    1    2\nEND\n";
  const int reader = nxf_open_memory_reader(text.data(), text.size(), "a.pdb", nullptr);
  for (const int number : {3, 5}) {
    ASSERT_EQ(nxf_read_record(&mol_, reader), 1);
    EXPECT_EQ(nxf_molecule_model(mol_), number);
    EXPECT_EQ(nx_get_molecule_bond_number(mol_), 1);
    nx_delete_molecule(mol_);
    read(nxf_record_text(nullptr, reader), "r.pdb");
    EXPECT_EQ(nx_get_molecule_bond_number(mol_), 1);
    nx_delete_molecule(mol_);
  }
  EXPECT_EQ(nxf_read_record(&mol_, reader), 0);
  nxf_close_reader(reader);

  // Through a pipe, which can be read once.
  int ends[2] = {};
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  close(ends[1]);
  const int list = nx_make_list();
  EXPECT_EQ(nxf_add_molecules_to_list(("/dev/fd/" + std::to_string(ends[0])).c_str(), nullptr, list), 1);
  close(ends[0]);
  EXPECT_EQ(nx_get_list_length(list), 2);
  nx_go_to_list_end(list);
  nx_get_list_current_object(&mol_, list);
  EXPECT_EQ(nxf_molecule_model(mol_), 5);
  EXPECT_EQ(nx_get_molecule_bond_number(mol_), 1);
}

TEST_F(Reading, MemoryDoesNotGrowWithTheNumberOfRecords) {
  constexpr int kRecords = 4000;
  std::string text;
  for (int i = 0; i < kRecords; ++i) {
    text += sdf("record", "0.0000");
  }
  const int reader = nxf_open_memory_reader(text.data(), text.size(), "a.sdf", nullptr);
  std::size_t before = 0;
  for (int i = 0; i < kRecords; ++i) {
    int mol = 0;
    ASSERT_EQ(nxf_read_record(&mol, reader), 1);
    nx_delete_molecule(mol);
    before = i == kRecords / 4 ? mallinfo2().uordblks : before;
  }
  EXPECT_LT(mallinfo2().uordblks, before + 4096);
  nxf_close_reader(reader);
}

TEST_F(Reading, SelectionsKnowKindsOfResiduesAndGemmisLanguage) {
  read(pdb("ATOM", 1, " N  ", "GLY", 'A', 1) + pdb("ATOM", 2, " CA ", "GLY", 'A', 1) +
           pdb("ATOM", 3, " CA ", "ALA", 'B', 12) + pdb("ATOM", 4, " P  ", " DG", 'C', 1) +
           pdb("HETATM", 5, " O  ", "HOH", 'C', 2) + pdb("HETATM", 6, "ZN  ", " ZN", 'C', 3),
       "a.pdb");
  const auto chosen = [&](const char* text) {
    int mask[6] = {};
    std::string found;
    EXPECT_EQ(nxf_select(mask, text, mol_), 1) << nxf_last_error();
    for (const int one : mask) {
      found += static_cast<char>('0' + one);
    }
    return found;
  };
  EXPECT_EQ(chosen("protein"), "111000");
  EXPECT_EQ(chosen("nucleic or water"), "000110");
  EXPECT_EQ(chosen("hetero and not water"), "000001");
  EXPECT_EQ(chosen("not ( protein or hetero )"), "000100");
  EXPECT_EQ(chosen("A"), "110000");
  EXPECT_EQ(chosen("B/10-20 or [Zn]"), "001001");
  EXPECT_EQ(chosen("protein and CA[C]"), "011000");
  EXPECT_EQ(chosen("all"), "111111");
  int mask[6] = {7, 7, 7, 7, 7, 7};
  for (const char* text : {"", "protein and", "( protein", "protein )", "[Qq]", "and"}) {
    EXPECT_EQ(nxf_select(mask, text, mol_), 0) << text;
  }
  EXPECT_EQ(mask[0], 7);
  EXPECT_EQ(nxf_select(nullptr, "all", mol_), 0);
}

TEST_F(Reading, ChosenAtomsBecomeAMolecule) {
  read(pdb("ATOM", 1, " N  ", "LYS", 'A', 7) + pdb("ATOM", 2, " NZ ", "LYS", 'A', 7) +
           pdb("HETATM", 3, "ZN  ", " ZN", 'B', 1) + pdb("HETATM", 4, " O  ", "HOH", 'C', 2) + "CONECT    2    3\n",
       "a.pdb");
  ASSERT_EQ(nxf_set_field("score", "-1", mol_), 1);
  const int all[] = {1, 1, 1, 1};
  const int same = nxf_extract_atoms(all, mol_);
  std::size_t size = 0;
  const std::string text = nxf_molecule_text(&size, "pdb", mol_);
  EXPECT_EQ(text, nxf_molecule_text(&size, "pdb", same));
  nx_delete_molecule(same);
  const int mask[] = {0, 1, 1, 0};
  const int part = nxf_extract_atoms(mask, mol_);
  ASSERT_NE(part, 0) << nxf_last_error();
  float charges[2] = {};
  int numbers[2] = {};
  int bonds[3] = {};
  nx_get_molecule_charges(charges, part);
  nxf_get_atomic_numbers(numbers, part);
  EXPECT_EQ(charges[0], 1.0F);
  EXPECT_EQ(charges[1], 2.0F);
  EXPECT_EQ(numbers[1], 30);
  ASSERT_EQ(nx_get_molecule_bond_number(part), 1);
  nx_get_molecule_bonds(bonds, part);
  EXPECT_EQ(bonds[0] + bonds[1], 1);
  EXPECT_EQ(nxf_number_of_residues(part), 2);
  EXPECT_EQ(nxf_number_of_chains(part), 2);
  EXPECT_EQ(nxf_chain_letter(1, part), 'B');
  EXPECT_STREQ(nxf_charge_source(part), nxf_charge_source(mol_));
  EXPECT_EQ(nxf_number_of_notes(part), nxf_number_of_notes(mol_));
  EXPECT_STREQ(nxf_field("score", part), "-1");
  nx_delete_molecule(part);
  const int none[] = {0, 0, 0, 0};
  EXPECT_EQ(nxf_extract_atoms(none, mol_), 0);
  EXPECT_EQ(nxf_extract_atoms(nullptr, mol_), 0);

  // Bonds without ends are not copied.
  nx_set_molecule_bond_number(nx_get_molecule_bond_number(mol_) + 2, mol_);
  const int without_ends = nxf_extract_atoms(all, mol_);
  EXPECT_EQ(nx_get_molecule_bond_number(without_ends), nx_get_molecule_bond_number(mol_) - 2);
  nx_delete_molecule(without_ends);
}

// Notes on charges and the charges' source speak of the chosen atoms, a residue of which some are left out counts.
TEST_F(Reading, NotesOnChosenAtomsGoByThem) {
  read(pdb("ATOM", 1, " N  ", "LYS", 'A', 7) + pdb("ATOM", 2, " CA ", "LYS", 'A', 7) +
           pdb("HETATM", 3, "ZN  ", " ZN", 'B', 1) + pdb("HETATM", 4, "TB  ", " TB", 'B', 2) +
           pdb("HETATM", 5, " C1 ", "LIG", 'C', 1) + pdb("HETATM", 6, " C2 ", "LIG", 'C', 1) +
           pdb("HETATM", 7, " PB ", "ADP", 'C', 2) + pdb("ATOM", 8, " P  ", " DG", 'D', 1),
       "a.pdb");
  const int whole = mol_;
  const std::string radius =
      "1 Tb without their element's Bondi radius, which goes by the first letters of atom names\n";
  const struct {
    const char* chosen;
    const char* source;
    std::string notes;
  } rows[] = {
      {"all", "formal",
       "ions have the charges of their residues' names: ZN +2\n"
       "left neutral: 1 phosphate, 1 ion, 2 ligands, 1 chain end\n" +
           radius},
      {"A and CA[C]", "none", "no charges: neutral are 1 chain end\n"},
      {"A and N[N]", "formal", ""},
      {"B", "formal", "ions have the charges of their residues' names: ZN +2\nleft neutral: 1 ion\n" + radius},
      {"C and C2[C]", "none", "no charges: neutral are 1 ligand\n"},
      {"nucleic", "none", "no charges: neutral are 1 phosphate\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.chosen);
    int mask[8] = {};
    ASSERT_EQ(nxf_select(mask, row.chosen, whole), 1) << nxf_last_error();
    mol_ = nxf_extract_atoms(mask, whole);
    EXPECT_STREQ(nxf_charge_source(mol_), row.source);
    const std::string on_file = "the elements of 8 atoms are guessed from their names\n";
    EXPECT_EQ(notes(), on_file + row.notes);
    nx_delete_molecule(mol_);
  }
  mol_ = whole;
}

// More chains than there are letters keep their names through mmCIF, and their charged ends; PDB and PQR cannot hold
// them.
TEST_F(Reading, AThousandChainsSurviveInMmcif) {
  std::string cif = std::string(kCif).substr(0, std::string(kCif).find("CA CA"));
  for (int i = 0; i < 1000; ++i) {
    const std::string place = " GLY Ch" + std::to_string(i) + " 1 " + std::to_string(4 * i) + " 0 0\n";
    cif.append("CA").append(place).append("N").append(place);
  }
  read(cif, "a.cif");
  std::size_t size = 0;
  const std::string text = nxf_molecule_text(&size, "mmcif", mol_);
  nx_delete_molecule(mol_);
  read(text, "b.cif");
  ASSERT_EQ(nxf_number_of_chains(mol_), 1000);
  EXPECT_EQ(nxf_number_of_residues(mol_), 1000);
  EXPECT_NE(notes().find("'Ch0' as A"), std::string::npos) << notes();
  EXPECT_NE(notes().find("\n909 chains have no letter"), std::string::npos) << notes();
  EXPECT_NE(notes().find("left neutral: 1000 chain ends\n"), std::string::npos) << notes();
  EXPECT_STREQ(nxf_chain_name(79, mol_), "Ch79");
  EXPECT_STREQ(nxf_chain_name(999, mol_), "Ch999");
  EXPECT_EQ(nxf_chain_letter(999, mol_), ' ');
  float last = 0.0F;
  EXPECT_EQ(nx_get_molecule_charges_element(&last, 1999, mol_), 1);
  EXPECT_EQ(last, 1.0F);
  for (const char* word : {"pdb", "delphi_pdb", "pqr"}) {
    EXPECT_EQ(nxf_molecule_text(&size, word, mol_), nullptr);
    EXPECT_EQ(std::string(nxf_last_error()).substr(0, 33), "memory: 909 chains have no letter") << nxf_last_error();
  }
  EXPECT_NE(nxf_molecule_text(&size, "xyz", mol_), nullptr);
  std::vector<int> mask(2000);
  EXPECT_EQ(nxf_select(mask.data(), "Ch41 or Ch500 or Ch999", mol_), 1);
  EXPECT_EQ(std::count(mask.begin(), mask.end(), 1), 6);
  EXPECT_EQ(mask[82] + mask[1000] + mask[1999], 3);
  const int part = nxf_extract_atoms(mask.data(), mol_);
  EXPECT_STREQ(nxf_chain_name(1, part), "Ch500");
  EXPECT_GT(nxf_chain_letter(1, part), ' ');
  EXPECT_NE(nxf_molecule_text(&size, "pdb", part), nullptr) << nxf_last_error();
  nx_delete_molecule(part);
}

// Types of oxygens and cations decide, whatever orders their bonds have. The numbers are those of the ions' usual
// formulas.
TEST_F(Reading, Mol2GroupsGoByTheirAtomsTypes) {
  const struct {
    const char* name;
    const char* types;  // the atom that the others are bonded to, then those
    int hydrogens;      // on the last atom but for those that stand there
    int doubles;
    const char* charges;
  } rows[] = {
      {"carboxylate", "C.2 O.co2 O.co2 C.3", 3, 1, "-1"},
      {"carboxylate, centre as of single bonds", "C.3 O.co2 O.co2 C.3", 3, 1, "-1"},
      {"carboxylate, one oxygen of another type", "C.2 O.co2 O.3 C.3", 3, 1, "-1"},
      {"phosphate", "P.3 O.co2 O.co2 O.co2 C.3", 3, 1, "-1 -1"},
      {"sulfonate", "S.o2 O.co2 O.co2 O.co2 C.3", 3, 2, "-1"},
      {"sulfinate", "S.o O.co2 O.co2 C.3", 3, 1, "-1"},
      {"nitrate", "N.pl3 O.co2 O.co2 O.co2", 0, 1, "-1 -1 +1"},
      {"carboxylate without hydrogens", "C.2 O.co2 O.co2 C.3", 0, 1, "-1"},
      {"amidinium without hydrogens", "C.cat N.pl3 N.pl3 C.3", 0, 1, "+1"},
      {"ammonium without hydrogens", "C.3 N.4", 0, 0, "+1"},
  };
  for (const auto& row : rows) {
    for (const std::string order : {"1", "2", "ar", "un"}) {
      SCOPED_TRACE(std::string(row.name).append(", bonds ").append(order));
      std::istringstream types(row.types);
      std::string atoms;
      std::string bonds;
      int n = 0;
      const auto add = [&](const std::string& type, const std::string& bond, int to) {
        const std::string number = std::to_string(++n);
        atoms.append(number).append(" ").append(type, 0, 1).append(number).append(" ").append(number);
        atoms.append(" 0 0 ").append(type).append("\n");
        if (to > 0) {
          bonds.append(std::to_string(n - 1)).append(" ").append(number).append(" ").append(std::to_string(to));
          bonds.append(" ").append(bond).append("\n");
        }
      };
      for (std::string type; types >> type;) {
        add(type, type == "C.3" || type == "N.4" ? "1" : order, n > 0 ? 1 : 0);
      }
      const int last = n;
      for (int i = 0; i < row.hydrogens; ++i) {
        add("H", "1", last);
      }
      const std::string counts = std::to_string(n) + " " + std::to_string(n - 1);
      read("@<TRIPOS>MOLECULE\nion\n" + counts + "\nSMALL\nNO_CHARGES\n@<TRIPOS>ATOM\n" + atoms + "@<TRIPOS>BOND\n" +
               bonds,
           "a.mol2");
      std::vector<int> charges(static_cast<std::size_t>(n));
      nxf_get_formal_charges(charges.data(), mol_);
      std::sort(charges.begin(), charges.end());
      std::string found;
      for (const int charge : charges) {
        char text[16] = "";
        std::snprintf(text, sizeof text, "%s%+d", found.empty() ? "" : " ", charge);
        found += charge != 0 ? text : "";
      }
      EXPECT_EQ(found, row.charges);
      std::vector<int> triples(3 * static_cast<std::size_t>(n - 1));
      nx_get_molecule_bonds(triples.data(), mol_);
      int doubles = 0;
      for (std::size_t i = 2; i < triples.size(); i += 3) {
        doubles += triples[i] == 2 ? 1 : 0;
      }
      EXPECT_EQ(doubles, row.doubles);
      EXPECT_EQ(notes().find("Kekule"), std::string::npos) << notes();
      nx_delete_molecule(mol_);
      mol_ = 0;
    }
  }
}

TEST_F(Reading, DataFieldsAreKeptWithTheMolecule) {
  read(sdf("one", "0.0000"), "a.sdf");
  EXPECT_EQ(nxf_set_field("energy", "-1.5\nsecond", mol_), 1);
  EXPECT_EQ(nxf_set_field("n", "2", mol_), 1);
  for (const char* bad : {"", "a>b", "a\nb"}) {
    EXPECT_EQ(nxf_set_field(bad, "x", mol_), 0);
  }
  EXPECT_EQ(nxf_set_field("x", "a\n\nb", mol_), 0);
  EXPECT_EQ(nxf_set_field("x", "$$$$", mol_), 0);
  const std::string text = nxf_molecule_text(nullptr, "sdf", mol_);
  nx_delete_molecule(mol_);
  read(text, "b.sdf");
  EXPECT_EQ(nxf_number_of_fields(mol_), 2);
  EXPECT_STREQ(nxf_field_name(1, mol_), "energy");
  EXPECT_STREQ(nxf_field("energy", mol_), "-1.5\nsecond");
  EXPECT_STREQ(nxf_field("n", mol_), "2");
  EXPECT_EQ(nxf_delete_field("n", mol_), 1);
  EXPECT_EQ(nxf_delete_field("n", mol_), 0);
}

}  // namespace
