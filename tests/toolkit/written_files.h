// Molecules for the tests of structure files, and files in a directory of the test's own.
#ifndef TESTS_TOOLKIT_WRITTEN_FILES_H
#define TESTS_TOOLKIT_WRITTEN_FILES_H

#include <gtest/gtest.h>
#include <nxbriochem/toolkit/nxmolostream.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace written_files {

// A fresh directory that goes with the test.
class Directory {
 public:
  Directory() {
    std::string name = (std::filesystem::temp_directory_path() / "nxbriochem_test_XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  ~Directory() { std::filesystem::remove_all(path_); }

  std::string File(std::string_view name) const { return (path_ / name).string(); }
  std::size_t Count() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path_), {}));
  }

 private:
  std::filesystem::path path_;
};

inline std::string Contents(const std::string& filename) {
  std::ifstream file(filename, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline NxChem::NxAtomBase& AddAtom(NxChem::NxMolBase& mol, unsigned element, std::string_view name, float x = 0,
                                   float y = 0, float z = 0) {
  NxChem::NxAtomBase* const atom = mol.NewAtom(element);
  atom->SetName(name);
  const float xyz[3] = {x, y, z};
  mol.SetCoords(*atom, xyz);
  return *atom;
}

inline NxChem::NxResidue& SetResidue(NxChem::NxAtomBase& atom, NxChem::NxResidue& residue, std::string_view name,
                                     int number, char chain = ' ', bool het = false) {
  residue.SetName(name);
  residue.SetResidueNumber(number);
  residue.SetChainID(chain);
  residue.SetHetAtom(het);
  NxChem::NxAtomSetResidue(atom, residue);
  return residue;
}

// What the stream writes for these molecules; "refused" when it writes nothing.
inline std::string Written(NxChem::NxFileType type, const std::vector<const NxChem::NxMolBase*>& mols,
                           unsigned flavor = 0) {
  const Directory directory;
  NxChem::nxmolostream stream;
  EXPECT_TRUE(stream.open(directory.File("out").c_str()));
  stream.SetFormat(type);
  stream.SetFlavor(type, flavor);
  bool all = true;
  for (const NxChem::NxMolBase* mol : mols) {
    all = NxChem::NxWriteMolecule(stream, *mol) && all;
  }
  EXPECT_EQ(stream.close(), all);
  EXPECT_EQ(directory.Count(), all ? 1U : 0U);
  return all ? Contents(directory.File("out")) : "refused";
}

}  // namespace written_files

#endif
