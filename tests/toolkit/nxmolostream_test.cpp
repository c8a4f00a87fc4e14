#include <gtest/gtest.h>
#include <nxbriochem/toolkit/nxmolostream.h>
#include <sys/stat.h>

#include <cmath>
#include <fstream>
#include <random>
#include <sstream>

#include "tests/toolkit/written_files.h"

namespace {

using NxChem::NxFileType;
using NxChem::NxMol;
using NxChem::nxmolostream;
using NxChem::NxResidue;
using written_files::AddAtom;
using written_files::Contents;
using written_files::Directory;
using written_files::SetResidue;
using written_files::Written;

// Writes one carbon atom; the warnings that came of it.
std::string WriteTo(const std::string& filename, bool expected, float x = 0.0F) {
  NxMol mol;
  AddAtom(mol, 6, "C", x);
  testing::internal::CaptureStderr();
  nxmolostream stream;
  stream.SetFormat(NxFileType::Xyz);
  const bool opened = stream.open(filename.c_str());
  EXPECT_EQ(opened && stream.write(mol) && stream.close(), expected) << filename;
  return testing::internal::GetCapturedStderr();
}

constexpr char kCarbon[] = "1\n\nC       0.000000      0.000000      0.000000\n";

TEST(NxMolOStream, FormatWordsAreExact) {
  EXPECT_EQ(NxChem::NxGetFileType("pdb"), NxFileType::Pdb);
  EXPECT_EQ(NxChem::NxGetFileType("mol2"), NxFileType::Mol2);
  EXPECT_EQ(NxChem::NxGetFileType("sdf"), NxFileType::Sdf);
  EXPECT_EQ(NxChem::NxGetFileType("xyz"), NxFileType::Xyz);
  EXPECT_EQ(NxChem::NxGetFileType("pqr"), NxFileType::Pqr);
  for (const char* word : {"PDB", "pdb ", "", "delphi_pdb", "mol"}) {
    EXPECT_EQ(NxChem::NxGetFileType(word), NxFileType::Undefined) << word;
  }
  EXPECT_EQ(NxChem::NxGetFileType(nullptr), NxFileType::Undefined);
}

TEST(NxMolOStream, NothingAppearsBeforeCloseOrAfterARefusal) {
  const Directory directory;
  const std::string file = directory.File("mol.xyz");
  {
    NxMol mol;
    nxmolostream stream;
    ASSERT_TRUE(stream.open(file.c_str()));
    stream.SetFormat(NxFileType::Xyz);
    EXPECT_TRUE(stream.write(mol));
    EXPECT_EQ(directory.Count(), 0U);
  }
  EXPECT_EQ(directory.Count(), 0U);  // never closed
  EXPECT_NE(WriteTo(file, false, NAN), "");
  EXPECT_EQ(directory.Count(), 0U);

  EXPECT_EQ(WriteTo(file, true), "");
  EXPECT_EQ(Contents(file), kCarbon);
  EXPECT_EQ(WriteTo(file, false, INFINITY), "Warning: Unable to write molecule \"\": atom 1 (C): coordinate inf\n");
  EXPECT_EQ(Contents(file), kCarbon);
  EXPECT_EQ(directory.Count(), 1U);
}

TEST(NxMolOStream, ARefusedMoleculeSpoilsTheWholeFile) {
  NxMol good;
  AddAtom(good, 6, "C");
  NxMol bad;
  AddAtom(bad, 6, "C", NAN);
  testing::internal::CaptureStderr();
  EXPECT_EQ(Written(NxFileType::Xyz, {&good, &bad, &good}), "refused");
  NxChem::NxMCMolBase no_conformer;
  no_conformer.NewAtom(6);
  for (const auto type : {NxFileType::Pdb, NxFileType::Mol2, NxFileType::Sdf, NxFileType::Xyz, NxFileType::Pqr}) {
    EXPECT_EQ(Written(type, {&no_conformer}), "refused");
  }
  testing::internal::GetCapturedStderr();
}

TEST(NxMolOStream, MisuseIsReported) {
  const Directory directory;
  const NxMol mol;
  nxmolostream stream;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(stream.write(mol));
  EXPECT_FALSE(stream.close());
  ASSERT_TRUE(stream.open(directory.File("out").c_str()));
  EXPECT_FALSE(stream.write(mol));
  EXPECT_FALSE(stream.close());
  EXPECT_FALSE(stream.open(nullptr));
  EXPECT_FALSE(stream.open(""));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Warning: Unable to write a molecule: no file is open\n"
            "Warning: Unable to write a molecule: no format is set\n"
            "Warning: Unable to open  for writing: No such file or directory\n"
            "Warning: Unable to open  for writing: No such file or directory\n");
  EXPECT_EQ(directory.Count(), 0U);
}

TEST(NxMolOStream, FilesThatCannotBeMadeAreReported) {
  const Directory directory;
  const std::string missing = directory.File("none/mol.xyz");
  EXPECT_EQ(WriteTo(missing, false),
            "Warning: Unable to open " + missing + " for writing: No such file or directory\n");
  const std::string itself = directory.File("");
  EXPECT_EQ(WriteTo(itself, false), "Warning: Unable to open " + itself + " for writing: Is a directory\n");
  EXPECT_NE(WriteTo(directory.File(std::string(300, 'x')), false), "");
  EXPECT_EQ(WriteTo("/dev/full", false), "Warning: Unable to write /dev/full: No space left on device\n");
  EXPECT_EQ(WriteTo("/dev/null", true), "");
  std::filesystem::create_symlink("loop", directory.File("loop"));
  EXPECT_NE(WriteTo(directory.File("loop"), false), "");
  std::filesystem::remove(directory.File("loop"));
  if (geteuid() != 0) {  // root may write anywhere
    std::filesystem::permissions(directory.File(""), std::filesystem::perms(0555));
    EXPECT_NE(WriteTo(directory.File("mol.xyz"), false), "");
    std::filesystem::permissions(directory.File(""), std::filesystem::perms(0755));
  }
  EXPECT_EQ(directory.Count(), 0U);
  EXPECT_EQ(WriteTo(directory.File(std::string(255, 'x')), true), "");  // as long as names can be
}

TEST(NxMolOStream, PermissionsAndLinksSurvive) {
  const Directory directory;
  const std::string file = directory.File("mol.xyz");
  const auto mode = [&file] {
    struct stat status {};
    stat(file.c_str(), &status);
    return status.st_mode & 07777U;
  };
  umask(027);
  WriteTo(file, true);
  EXPECT_EQ(mode(), 0640U);
  chmod(file.c_str(), 0604);
  std::filesystem::create_symlink("mol.xyz", directory.File("link"));
  std::ofstream(file) << "old";
  WriteTo(directory.File("link"), true);
  EXPECT_EQ(mode(), 0604U);
  EXPECT_EQ(Contents(file), kCarbon);
  EXPECT_TRUE(std::filesystem::is_symlink(directory.File("link")));

  std::filesystem::create_symlink("later.xyz", directory.File("dangling"));
  WriteTo(directory.File("dangling"), true);
  EXPECT_EQ(Contents(directory.File("later.xyz")), kCarbon);
  EXPECT_EQ(directory.Count(), 4U);
}

TEST(NxMolOStream, TheDirectoryIsThatOfOpen) {
  const Directory directory;
  std::filesystem::create_directory(directory.File("a"));
  std::filesystem::current_path(directory.File("a"));
  NxMol mol;
  nxmolostream stream;
  stream.SetFormat(NxFileType::Xyz);
  ASSERT_TRUE(stream.open("mol.xyz"));
  std::filesystem::current_path(directory.File(""));
  EXPECT_TRUE(stream.write(mol) && stream.close());
  EXPECT_TRUE(std::filesystem::exists(directory.File("a/mol.xyz")));
  std::filesystem::current_path("/");
}

// ---- The formats that are read by white space, against small readers ----

// A molecule of n atoms with hostile names, deleted atoms, and bonds of which some are placeholders.
void FillHostile(NxMol& mol, int n, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> exponent(-4.0F, 7.0F);
  const std::string names[] = {"", " ", "C 1", "\n", "H\t1'", "a long name", "@<TRIPOS>ATOM", "$$$$", "#", "CA"};
  mol.SetTitle("@<TRIPOS>ATOM\nM  END\r\n$$$$");
  NxResidue residue;
  for (int i = 0; i < n; ++i) {
    float xyz[3];
    for (float& x : xyz) {
      x = std::pow(10.0F, exponent(random)) * (random() % 2 == 0 ? 1.0F : -1.0F);
    }
    auto& atom = AddAtom(mol, static_cast<unsigned>(random() % 119), names[random() % 10], xyz[0], xyz[1], xyz[2]);
    atom.SetPartialCharge(xyz[0]);
    atom.SetRadius(xyz[1]);
    atom.SetFormalCharge(random() % 4 == 0 ? static_cast<int>(random() % 31) - 15 : 0);
    if (random() % 3 != 0) {
      residue.SetInsertCode(random() % 2 == 0 ? ' ' : 'x');
      SetResidue(atom, residue, names[random() % 10], static_cast<int>(random()), " A\n"[random() % 3],
                 random() % 2 == 0);
    }
  }
  for (int i = 0; i < n; ++i) {
    mol.NewBond(random() % 5 == 0 ? nullptr : mol.GetAtom(static_cast<int>(random() % static_cast<unsigned>(n))),
                mol.GetAtom(static_cast<int>(random() % static_cast<unsigned>(n))), static_cast<int>(random() % 4));
  }
  for (int i = 3; i < n; i += 50) {
    mol.DeleteAtom(mol.GetAtom(i));
  }
}

struct Bond {
  int bgn;
  int end;
  bool operator==(const Bond&) const = default;
};

std::vector<Bond> WiredBonds(const NxMol& mol) {
  std::vector<int> serials(mol.GetMaxAtomIdx());
  int serial = 0;
  for (const auto& atom : mol.GetAtoms()) {
    serials[atom.GetIdx()] = ++serial;
  }
  std::vector<Bond> bonds;
  for (const auto& bond : mol.GetBonds()) {
    if (bond.GetBgnIdx() >= 0 && bond.GetEndIdx() >= 0 && bond.GetBgnIdx() != bond.GetEndIdx()) {
      bonds.push_back({serials[bond.GetBgn()->GetIdx()], serials[bond.GetEnd()->GetIdx()]});
    }
  }
  return bonds;
}

// Fields of the next line.
std::vector<std::string> Fields(std::istream& text) {
  std::string line;
  std::getline(text, line);
  std::istringstream words(line);
  return {std::istream_iterator<std::string>(words), {}};
}

// The number is the float that was written, to the decimals that the format has.
void ExpectNear(const std::string& field, float value, double decimals) {
  std::size_t end = 0;
  ASSERT_NEAR(std::stod(field, &end), static_cast<double>(value), 0.5001 * std::pow(10.0, -decimals));
  ASSERT_EQ(end, field.size());
}

void ExpectCoordinates(const NxMol& mol, const NxChem::NxAtomBase& atom, const std::vector<std::string>& fields,
                       std::size_t first, double decimals) {
  float xyz[3];
  mol.GetCoords(atom, xyz);
  for (std::size_t k = 0; k < 3; ++k) {
    ASSERT_NO_FATAL_FAILURE(ExpectNear(fields.at(first + k), xyz[k], decimals));
  }
}

TEST(NxMolOStream, XyzReadsBack) {
  NxMol mol;
  FillHostile(mol, 400, 1);
  std::istringstream text(Written(NxFileType::Xyz, {&mol}));
  EXPECT_EQ(Fields(text).at(0), std::to_string(mol.NumAtoms()));
  EXPECT_EQ(Fields(text).at(0), "@<TRIPOS>ATOM");
  for (const auto& atom : mol.GetAtoms()) {
    const auto fields = Fields(text);
    ASSERT_EQ(fields.size(), 4U);
    ASSERT_NO_FATAL_FAILURE(ExpectCoordinates(mol, atom, fields, 1, 6));
  }
  EXPECT_TRUE(Fields(text).empty());
}

TEST(NxMolOStream, PqrReadsBack) {
  NxMol mol;
  FillHostile(mol, 400, 2);
  std::istringstream text(Written(NxFileType::Pqr, {&mol}));
  EXPECT_EQ(Fields(text).at(0), "REMARK");
  int serial = 0;
  for (const auto& atom : mol.GetAtoms()) {
    const NxResidue& residue = NxAtomGetResidue(atom);
    const auto fields = Fields(text);
    const bool chain = residue.GetChainID() == 'A';
    ASSERT_EQ(fields.size(), chain ? 11U : 10U);
    ASSERT_EQ(fields[0], residue.IsHetAtom() || !NxHasResidue(atom) ? "HETATM" : "ATOM");
    ASSERT_EQ(fields[1], std::to_string(++serial));
    const int number = NxHasResidue(atom) ? residue.GetResidueNumber() : 1;
    ASSERT_EQ(fields[chain ? 5 : 4], std::to_string(number) + (residue.GetInsertCode() == 'x' ? "x" : ""));
    ASSERT_NO_FATAL_FAILURE(ExpectCoordinates(mol, atom, fields, fields.size() - 5, 3));
    ASSERT_NO_FATAL_FAILURE(ExpectNear(fields[fields.size() - 2], atom.GetPartialCharge(), 4));
    ASSERT_NO_FATAL_FAILURE(ExpectNear(fields[fields.size() - 1], atom.GetRadius(), 4));
  }
  EXPECT_EQ(Fields(text).at(0), "TER");
  EXPECT_EQ(Fields(text).at(0), "END");
}

TEST(NxMolOStream, Mol2ReadsBack) {
  NxMol mol;
  FillHostile(mol, 400, 3);
  std::istringstream text(Written(NxFileType::Mol2, {&mol}));
  EXPECT_EQ(Fields(text).at(0), "@<TRIPOS>MOLECULE");
  std::string title;
  std::getline(text, title);
  EXPECT_TRUE(title.starts_with(" @"));
  const auto counts = Fields(text);
  const auto bonds = WiredBonds(mol);
  EXPECT_EQ(counts.at(0), std::to_string(mol.NumAtoms()));
  EXPECT_EQ(counts.at(1), std::to_string(bonds.size()));
  EXPECT_EQ(Fields(text).at(0), "BIOPOLYMER");
  EXPECT_EQ(Fields(text).at(0), "USER_CHARGES");
  Fields(text);
  EXPECT_EQ(Fields(text).at(0), "@<TRIPOS>ATOM");
  const int n_substructures = std::stoi(counts.at(2));
  for (const auto& atom : mol.GetAtoms()) {
    const auto fields = Fields(text);
    ASSERT_EQ(fields.size(), 9U);
    ASSERT_LE(std::stoi(fields[6]), n_substructures);
    ASSERT_NO_FATAL_FAILURE(ExpectCoordinates(mol, atom, fields, 2, 4));
    ASSERT_NO_FATAL_FAILURE(ExpectNear(fields[8], atom.GetPartialCharge(), 4));
  }
  EXPECT_EQ(Fields(text).at(0), "@<TRIPOS>BOND");
  for (const Bond& bond : bonds) {
    const auto fields = Fields(text);
    ASSERT_EQ(fields.size(), 4U);
    ASSERT_EQ((Bond{std::stoi(fields[1]), std::stoi(fields[2])}), bond);
  }
  EXPECT_EQ(Fields(text).at(0), "@<TRIPOS>SUBSTRUCTURE");
  for (int i = 0; i < n_substructures; ++i) {
    ASSERT_EQ(Fields(text).size(), 7U);
  }
  EXPECT_TRUE(Fields(text).empty());
}

// Skips to the atoms of an SD record, checking the counts.
void ExpectSdfHead(std::istream& text, const NxMol& mol, std::size_t n_bonds, bool v3000) {
  std::string line;
  for (int i = 0; i < 4; ++i) {
    std::getline(text, line);
  }
  EXPECT_TRUE(line.ends_with(v3000 ? " V3000" : " V2000")) << line;
  if (v3000) {
    Fields(text);
    EXPECT_EQ(Fields(text), (std::vector<std::string>{"M", "V30", "COUNTS", std::to_string(mol.NumAtoms()),
                                                      std::to_string(n_bonds), "0", "0", "0"}));
    Fields(text);
  } else {
    EXPECT_EQ(std::stoul(line.substr(0, 3)), mol.NumAtoms());
    EXPECT_EQ(std::stoul(line.substr(3, 3)), n_bonds);
  }
}

void ExpectSdfBonds(std::istream& text, const std::vector<Bond>& bonds, bool v3000) {
  for (const Bond& bond : bonds) {
    std::string line;
    std::getline(text, line);
    std::istringstream words(line);
    const auto fields = Fields(words);
    const Bond read = v3000 ? Bond{std::stoi(fields.at(4)), std::stoi(fields.at(5))}
                            : Bond{std::stoi(line.substr(0, 3)), std::stoi(line.substr(3, 3))};
    ASSERT_EQ(read, bond);
  }
}

TEST(NxMolOStream, SdfReadsBackInBothVersions) {
  for (const int n : {400, 1200}) {
    NxMol mol;
    FillHostile(mol, n, 4);
    const bool v3000 = mol.NumAtoms() > 999;
    std::vector<int> expected_charges;
    for (const auto& atom : mol.GetAtoms()) {
      expected_charges.push_back(atom.GetFormalCharge());
      float xyz[3];
      mol.GetCoords(atom, xyz);
      for (float& x : xyz) {
        x = std::fmod(x, 9999.0F);  // within what V2000 columns hold
      }
      mol.SetCoords(atom, xyz);
    }
    const auto bonds = WiredBonds(mol);
    std::istringstream text(Written(NxFileType::Sdf, {&mol}));
    ExpectSdfHead(text, mol, bonds.size(), v3000);
    std::string line;
    std::vector<int> charges;
    for (const auto& atom : mol.GetAtoms()) {
      std::getline(text, line);
      if (!v3000) {  // fixed columns, which may touch
        line = line.substr(0, 10) + ' ' + line.substr(10, 10) + ' ' + line.substr(20);
      }
      std::istringstream words(line);
      const auto fields = Fields(words);
      ASSERT_NO_FATAL_FAILURE(ExpectCoordinates(mol, atom, fields, v3000 ? 4 : 0, 4));
      charges.push_back(v3000 && fields.size() == 9 ? std::stoi(fields[8].substr(4)) : 0);
    }
    for (int i = 0; v3000 && i < 2; ++i) {
      Fields(text);
    }
    ASSERT_NO_FATAL_FAILURE(ExpectSdfBonds(text, bonds, v3000));
    while (std::getline(text, line) && line.starts_with("M  CHG")) {
      for (int i = 0; i < std::stoi(line.substr(6, 3)); ++i) {
        const auto at = static_cast<std::size_t>(9 + 8 * i);
        charges.at(std::stoul(line.substr(at, 4)) - 1) = std::stoi(line.substr(at + 4, 4));
      }
    }
    EXPECT_EQ(charges, expected_charges);
    EXPECT_TRUE(text.str().ends_with("M  END\n$$$$\n"));
  }
}

TEST(NxMolOStream, TheActiveConformerIsWritten) {
  NxMol mol;
  AddAtom(mol, 6, "C");
  auto* const second = mol.NewConf();
  const float xyz[3] = {1.5F, 0.0F, 0.0F};
  second->SetCoords(xyz);
  EXPECT_EQ(Written(NxFileType::Xyz, {&mol}), kCarbon);
  mol.SetActive(second);
  EXPECT_EQ(Written(NxFileType::Xyz, {&mol, &mol}),
            "1\n\nC       1.500000      0.000000      0.000000\n1\n\nC       1.500000      0.000000      0.000000\n");
}

}  // namespace
