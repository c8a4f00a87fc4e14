#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriochem/toolkit/nxmolostream.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <map>
#include <random>
#include <sstream>

#include "tests/toolkit/written_files.h"

namespace {

using NxChem::NxFileType;
using NxChem::NxMol;
using NxChem::nxmolostream;
using NxChem::NxResidue;
using test_support::read_file;
using test_support::ScratchDirectory;
using written_files::AddAtom;
using written_files::SetResidue;
using written_files::Written;

bool WriteCarbon(const std::string& filename, float x = 0.0F) {
  NxMol mol;
  AddAtom(mol, 6, "C", x);
  nxmolostream stream;
  stream.SetFormat(NxFileType::Xyz);
  return stream.open(filename.c_str()) && stream.write(mol) && stream.close();
}

// Writes one carbon atom and returns the warnings.
std::string WriteTo(const std::string& filename, bool expected, float x = 0.0F) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(WriteCarbon(filename, x), expected) << filename;
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
  const ScratchDirectory directory;
  const std::string file = directory.path("mol.xyz");
  {
    NxMol mol;
    nxmolostream stream;
    ASSERT_TRUE(stream.open(file.c_str()));
    stream.SetFormat(NxFileType::Xyz);
    EXPECT_TRUE(stream.write(mol));
    EXPECT_EQ(directory.names().size(), 0U);
  }
  EXPECT_EQ(directory.names().size(), 0U);  // never closed
  EXPECT_NE(WriteTo(file, false, NAN), "");
  EXPECT_EQ(directory.names().size(), 0U);

  EXPECT_EQ(WriteTo(file, true), "");
  EXPECT_EQ(read_file(file), kCarbon);
  EXPECT_EQ(WriteTo(file, false, INFINITY), "Warning: Unable to write molecule \"\": atom 1 (C): coordinate inf\n");
  EXPECT_EQ(read_file(file), kCarbon);
  EXPECT_EQ(directory.names().size(), 1U);
}

TEST(NxMolOStream, ARefusedMoleculeSpoilsTheWholeFile) {
  NxMol good;
  AddAtom(good, 6, "C");
  NxChem::NxMCMolBase no_conformer;
  no_conformer.NewAtom(6);
  testing::internal::CaptureStderr();
  for (const auto type : {NxFileType::Pdb, NxFileType::Mol2, NxFileType::Sdf, NxFileType::Xyz, NxFileType::Pqr}) {
    EXPECT_EQ(Written(type, {&good, &no_conformer, &good}), "refused");
  }
  testing::internal::GetCapturedStderr();
}

TEST(NxMolOStream, MisuseIsReported) {
  const ScratchDirectory directory;
  const NxMol mol;
  nxmolostream stream;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(stream.write(mol));
  EXPECT_FALSE(stream.close());
  ASSERT_TRUE(stream.open(directory.path("out").c_str()));
  EXPECT_FALSE(stream.write(mol));
  EXPECT_FALSE(stream.close());
  EXPECT_FALSE(stream.open(nullptr));
  EXPECT_FALSE(stream.open(""));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Warning: Unable to write a molecule: no file is open\n"
            "Warning: Unable to write a molecule: no format is set\n"
            "Warning: Unable to open  for writing: No such file or directory\n"
            "Warning: Unable to open  for writing: No such file or directory\n");
  EXPECT_EQ(directory.names().size(), 0U);
}

TEST(NxMolOStream, FilesThatCannotBeMadeAreReported) {
  const ScratchDirectory directory;
  EXPECT_NE(WriteTo(directory.path(std::string(300, 'x')), false), "");
  EXPECT_EQ(WriteTo("/dev/null", true), "");
  std::filesystem::create_symlink("loop", directory.path("loop"));
  EXPECT_NE(WriteTo(directory.path("loop"), false), "");
  std::filesystem::remove(directory.path("loop"));
  EXPECT_EQ(directory.names().size(), 0U);
  EXPECT_EQ(WriteTo(directory.path(std::string(255, 'x')), true), "");  // the longest possible name
}

TEST(NxMolOStream, PermissionsAndLinksSurvive) {
  const ScratchDirectory directory;
  const std::string file = directory.path("mol.xyz");
  const auto mode = [&file] {
    struct stat status {};
    stat(file.c_str(), &status);
    return status.st_mode & 07777U;
  };
  umask(027);
  WriteTo(file, true);
  EXPECT_EQ(mode(), 0640U);
  chmod(file.c_str(), 0604);
  std::filesystem::create_symlink("mol.xyz", directory.path("link"));
  std::ofstream(file) << "old";
  WriteTo(directory.path("link"), true);
  EXPECT_EQ(mode(), 0604U);
  EXPECT_EQ(read_file(file), kCarbon);
  EXPECT_TRUE(std::filesystem::is_symlink(directory.path("link")));

  std::filesystem::create_symlink("later.xyz", directory.path("dangling"));
  WriteTo(directory.path("dangling"), true);
  EXPECT_EQ(read_file(directory.path("later.xyz")), kCarbon);
  EXPECT_EQ(directory.names().size(), 4U);
}

// Runs a job in a child process as another user with one more group. The job's result is the child's status; `said` is
// the expected report.
#define EXPECT_AS(user, group, job, said) \
  EXPECT_EXIT(                            \
      {                                   \
        become(user, group);              \
        _exit((job) ? 0 : 1);             \
      },                                  \
      testing::ExitedWithCode(0), said)

void become(uid_t user, gid_t group) {
  if (setgroups(1, &group) != 0 || setgid(user) != 0 || setuid(user) != 0) {
    _exit(99);
  }
}

class WrittenByOthers : public testing::Test {
 protected:
  static constexpr uid_t kOwner = 40001;
  static constexpr gid_t kGroup = 40002;
  static constexpr uid_t kOther = 40003;

  void SetUp() override {
    if (geteuid() != 0) {
      GTEST_SKIP() << "only root may be another user";
    }
    chmod(directory_.path("").c_str(), 0777);
  }

  struct stat status() const {
    struct stat status {};
    EXPECT_EQ(stat(file_.c_str(), &status), 0);
    return status;
  }
  void make(mode_t mode) const {
    std::filesystem::remove(file_);
    std::ofstream(file_) << "old and long enough to be seen when it is not cut off";
    ASSERT_EQ(chown(file_.c_str(), kOwner, kGroup), 0);
    ASSERT_EQ(chmod(file_.c_str(), mode), 0);
  }
  void expect(uid_t owner, gid_t group, mode_t mode) const {
    EXPECT_EQ(status().st_uid, owner);
    EXPECT_EQ(status().st_gid, group);
    EXPECT_EQ(status().st_mode & 07777U, mode);
    EXPECT_EQ(read_file(file_), kCarbon);
    EXPECT_EQ(directory_.names(), std::vector<std::string>{"mol.xyz"});
  }

  const ScratchDirectory directory_;
  const std::string file_ = directory_.path("mol.xyz");
};

TEST_F(WrittenByOthers, OwnersAndGroupsAreKeptWhereTheyCanBe) {
  umask(022);
  make(06664);
  WriteTo(file_, true);  // root may restore owner and group, but the set-ID bits must be dropped
  expect(kOwner, kGroup, 0664);
  make(0660);
  EXPECT_AS(kOther, kGroup, WriteCarbon(file_), "");
  expect(kOther, kGroup, 0660);
  make(0672);  // the user cannot restore the group: the new group gets the permissions of others
  EXPECT_AS(kOther, kOther, WriteCarbon(file_), "");
  expect(kOther, kOther, 0622);
}

TEST_F(WrittenByOthers, WhatCannotBeReplacedIsWrittenInPlace) {
  for (const mode_t folder : {0555U, 01777U}) {
    make(0666);
    const ino_t before = status().st_ino;
    chmod(directory_.path("").c_str(), folder);
    EXPECT_AS(kOther, kOther, WriteCarbon(file_), "");
    expect(kOwner, kGroup, 0666);
    EXPECT_EQ(status().st_ino, before);
  }
  chmod(directory_.path("").c_str(), 0555);
  const std::string other = directory_.path("new.xyz");
  EXPECT_AS(kOther, kOther, !WriteCarbon(other), "Unable to open .*new.xyz for writing: Permission denied\n");
  make(0600);
  EXPECT_AS(kOther, kOther, !WriteCarbon(file_), "Unable to open .*mol.xyz for writing: Permission denied\n");
  EXPECT_TRUE(read_file(file_).starts_with("old"));
}

// Writing to a descriptor continues at its position, after what was printed before, any number of times.
TEST(NxMolOStream, DescriptorsAreNotTruncated) {
  const ScratchDirectory directory;
  const std::string file = directory.path("out");
  const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(write(descriptor, "head\n", 5), 5);
  EXPECT_EQ(WriteTo("/dev/fd/" + std::to_string(descriptor), true), "");
  EXPECT_EQ(WriteTo("/proc/self/fd/" + std::to_string(descriptor), true), "");
  EXPECT_EXIT(
      {
        dup2(descriptor, STDOUT_FILENO);
        std::printf("printed\n");
        _exit(WriteCarbon("/dev/stdout") ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  EXPECT_EQ(read_file(file), std::string("head\n") + kCarbon + kCarbon + "printed\n" + kCarbon);
  close(descriptor);
  const int reading = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_TRUE(WriteTo("/dev/fd/" + std::to_string(reading), false).ends_with(": Bad file descriptor\n"));
  close(reading);
}

TEST(NxMolOStream, TheDirectoryIsThatOfOpen) {
  const ScratchDirectory directory;
  std::filesystem::create_directory(directory.path("a"));
  std::filesystem::current_path(directory.path("a"));
  NxMol mol;
  nxmolostream stream;
  stream.SetFormat(NxFileType::Xyz);
  ASSERT_TRUE(stream.open("mol.xyz"));
  std::filesystem::current_path(directory.path(""));
  EXPECT_TRUE(stream.write(mol) && stream.close());
  EXPECT_TRUE(std::filesystem::exists(directory.path("a/mol.xyz")));
  std::filesystem::current_path("/");
}

// ---- The formats that are read by white space ----

// Names that are not plain words, and the word that a mol2 file has instead; "" stands for the element's symbol.
const std::map<std::string, std::string> kHostileNames = {
    {"", ""},
    {" ", ""},
    {"\n", "X"},
    {"C 1", "C_1"},
    {"H\t1'", "H_1'"},
    {"a long name", "a_long_name"},
    {"@<TRIPOS>ATOM", "@<TRIPOS>ATOM"},
    {"$$$$", "$$$$"},
    {"#", "#"},
};

// A molecule of n atoms with hostile names, deleted atoms, and some bonds without ends or with both ends at one atom.
// No two bonds join the same atoms, and none is in a ring.
void FillHostile(NxMol& mol, int n, unsigned seed) {
  std::mt19937 random(seed);
  const auto below = [&random](std::size_t end) { return static_cast<int>(random() % end); };
  const auto name = [&] { return std::next(kHostileNames.begin(), below(kHostileNames.size()))->first; };
  std::uniform_real_distribution<float> exponent(-4.0F, 3.9F);
  mol.SetTitle("@<TRIPOS>ATOM\nM  END\r\n$$$$");
  NxResidue residue;
  for (int i = 0; i < n; ++i) {
    float xyz[3];
    for (float& x : xyz) {
      x = std::pow(10.0F, exponent(random)) * (below(2) == 0 ? 1.0F : -1.0F);
    }
    auto& atom = AddAtom(mol, static_cast<unsigned>(1 + below(118)), name(), xyz[0], xyz[1], xyz[2]);
    atom.SetPartialCharge(xyz[0]);
    atom.SetRadius(xyz[1]);
    atom.SetFormalCharge(below(4) == 0 ? below(31) - 15 : 0);
    if (below(3) != 0) {
      residue.SetInsertCode(below(2) == 0 ? ' ' : 'x');
      SetResidue(atom, residue, name(), static_cast<int>(random()), " A\n"[below(3)], below(2) == 0);
    }
    mol.NewBond(below(5) == 0 ? nullptr : mol.GetAtom(below(static_cast<std::size_t>(i) + 1)), &atom, 1 + below(3));
  }
  for (int i = 3; i < n; i += 50) {
    mol.DeleteAtom(mol.GetAtom(i));
  }
}

// The expected output of tests/support/read_structures.py for a hostile molecule.
std::string Listing(const std::string& format, const NxMol& mol) {
  std::ostringstream out;
  out << std::fixed << std::setprecision(format == "xyz" ? 6 : 4);
  out << "molecule " << (format == "mol2" ? " " : "") << "@<TRIPOS>ATOM M  END  $$$$\n";
  std::map<const NxChem::NxAtomBase*, std::size_t> places;
  for (const auto& atom : mol.GetAtoms()) {
    places.emplace(&atom, places.size());
    const std::string symbol = NxChem::NxGetAtomicSymbol(atom.GetAtomicNum());
    float xyz[3];
    mol.GetCoords(atom, xyz);
    out << "atom " << symbol << " " << xyz[0] << " " << xyz[1] << " " << xyz[2];
    if (format == "mol2") {
      const std::string& word = kHostileNames.at(atom.GetName());
      out << " " << (word.empty() ? symbol : word) << " " << atom.GetPartialCharge();
    } else if (format == "sdf") {
      out << " " << atom.GetFormalCharge();
    }
    out << "\n";
  }
  for (const auto& bond : mol.GetBonds()) {
    if (bond.GetBgn() != nullptr && bond.GetEnd() != nullptr && bond.GetBgn() != bond.GetEnd() && format != "xyz") {
      out << "bond " << places[bond.GetBgn()] << " " << places[bond.GetEnd()] << " " << bond.GetOrder() << "\n";
    }
  }
  return out.str();
}

// SD files have another layout beyond 999 atoms.
TEST(NxMolOStream, RdkitReadsBackHostileMolecules) {
  const ScratchDirectory directory;
  for (const int n : {400, 1200}) {
    NxMol mol;
    FillHostile(mol, n, 3);
    for (const std::string format : {"mol2", "sdf", "xyz"}) {
      const std::string file = directory.write("out." + format, Written(NxChem::NxGetFileType(format.c_str()), {&mol}));
      const auto read = test_support::run({"/usr/bin/python3", NXBRIO_READ_STRUCTURES, format, file});
      EXPECT_EQ(read.status, 0) << read.err;
      EXPECT_EQ(read.out, Listing(format, mol)) << format;
    }
    const std::string sdf = read_file(directory.path("out.sdf"));
    EXPECT_NE(sdf.find(n < 1000 ? " V2000\n" : " V3000\n"), std::string::npos);
    EXPECT_EQ(sdf.find("M  CHG  9"), std::string::npos);  // a line holds eight
    EXPECT_TRUE(sdf.ends_with("M  END\n$$$$\n"));
  }
}

// The fields of the next line.
std::vector<std::string> Fields(std::istream& text) {
  std::string line;
  std::getline(text, line);
  std::istringstream words(line);
  return {std::istream_iterator<std::string>(words), {}};
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
    ASSERT_EQ(fields.size(), 11U);
    ASSERT_EQ(fields[4], residue.GetChainID() == 'A' ? "A" : "_");
    ASSERT_EQ(fields[0], residue.IsHetAtom() || !NxHasResidue(atom) ? "HETATM" : "ATOM");
    ASSERT_EQ(fields[1], std::to_string(++serial));
    const int number = NxHasResidue(atom) ? residue.GetResidueNumber() : 1;
    ASSERT_EQ(fields[5], std::to_string(number) + (residue.GetInsertCode() == 'x' ? "x" : ""));
    float numbers[5] = {0, 0, 0, atom.GetPartialCharge(), atom.GetRadius()};
    mol.GetCoords(atom, numbers);
    for (std::size_t k = 0; k < 5; ++k) {
      ASSERT_NEAR(std::stod(fields[fields.size() - 5 + k]), static_cast<double>(numbers[k]), k < 3 ? 5.01e-4 : 5.01e-5);
    }
  }
  EXPECT_EQ(Fields(text).at(0), "TER");
  EXPECT_EQ(Fields(text).at(0), "END");
}

// Either all atom records of a file have a chain field or none, in all its models.
TEST(NxMolOStream, PqrChainsAreOfTheWholeFile) {
  NxMol with_chain;
  NxMol without;
  NxResidue residue;
  for (const char chain : {'A', ' ', 'B'}) {
    SetResidue(AddAtom(with_chain, 6, "CA"), residue, "ALA", 1, chain);
    SetResidue(AddAtom(without, 6, "CA"), residue, "ALA", 1);
  }
  const auto fields = [](const std::vector<const NxChem::NxMolBase*>& mols) {
    std::istringstream text(Written(NxFileType::Pqr, mols));
    std::string counts;
    while (text.peek() != EOF) {
      const std::vector<std::string> line = Fields(text);
      counts += line.at(0) == "ATOM" ? std::to_string(line.size()) + line[4] + " " : "";
    }
    return counts;
  };
  EXPECT_EQ(fields({&without, &without}), "101 101 101 101 101 101 ");
  EXPECT_EQ(fields({&without, &with_chain}), "11_ 11_ 11_ 11A 11_ 11B ");
}

// Where fields leave blanks between them, readers of PDB columns find the same values as in a PDB file.
TEST(NxMolOStream, PqrHasThePdbColumns) {
  NxMol mol;
  NxResidue residue;
  residue.SetInsertCode('x');
  SetResidue(AddAtom(mol, 7, "N", -999.5F, 999.25F, -99.125F), residue, "ALA", -99, 'A');
  residue.SetInsertCode(' ');
  SetResidue(AddAtom(mol, 1, "HG11", 9999.5F, 0, 999), residue, "VAL", 999, 'b');
  SetResidue(AddAtom(mol, 20, "CA"), residue, "CA", 7, ' ', true);
  SetResidue(AddAtom(mol, 6, "CA"), residue, "A", 8, 'A', true);
  std::istringstream pdb(Written(NxFileType::Pdb, {&mol}));
  std::istringstream pqr(Written(NxFileType::Pqr, {&mol}));
  for (int i = 0; i < 4; ++i) {
    std::string in_pdb;
    std::string in_pqr;
    std::getline(pdb, in_pdb);
    if (in_pdb.starts_with("TER")) {
      std::getline(pdb, in_pdb);
    }
    std::getline(pqr, in_pqr);
    in_pqr.at(21) = in_pqr[21] == '_' ? ' ' : in_pqr[21];
    EXPECT_EQ(in_pqr.substr(0, 54), in_pdb.substr(0, 54));
  }
}

TEST(NxMolOStream, Mol2TellsOfSubstructures) {
  NxMol mol;
  NxResidue residue;
  for (const char* name : {"N", "CA", "C"}) {
    SetResidue(AddAtom(mol, name[0] == 'N' ? 7 : 6, name), residue, "ALA", -2, 'A');
  }
  residue.SetInsertCode('x');
  SetResidue(AddAtom(mol, 30, "ZN"), residue, "Z N", 5, ' ', true);
  const std::string text = Written(NxFileType::Mol2, {&mol});
  EXPECT_TRUE(text.starts_with("@<TRIPOS>MOLECULE\n****\n    4     0     2     0     0\nBIOPOLYMER\nNO_CHARGES\n\n"));
  EXPECT_NE(text.find(" N.3       1 ALA-2\n"), std::string::npos) << text;  // no column of charges
  EXPECT_EQ(text.substr(text.find("@<TRIPOS>SUBSTRUCTURE")),
            "@<TRIPOS>SUBSTRUCTURE\n"
            "     1 ALA-2          2 RESIDUE 0 A    ALA\n"
            "     2 Z_N5x          4 GROUP   0 **** Z_N\n");
}

TEST(NxMolOStream, TheActiveConformerIsWritten) {
  NxMol mol;
  AddAtom(mol, 6, "C", 1.5F);
  mol.SetActive(mol.NewConf());
  const float xyz[3] = {0.0F, 0.0F, 0.0F};
  mol.GetActive()->SetCoords(xyz);
  EXPECT_EQ(Written(NxFileType::Xyz, {&mol, &mol}), std::string(kCarbon) + kCarbon);
}

}  // namespace
