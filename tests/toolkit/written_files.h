// Molecules for the tests of structure files, and the text that the stream writes for them.
#ifndef TESTS_TOOLKIT_WRITTEN_FILES_H
#define TESTS_TOOLKIT_WRITTEN_FILES_H

#include <gtest/gtest.h>
#include <nxbriochem/toolkit/nxmolostream.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/run.h"

namespace written_files {

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
  const test_support::ScratchDirectory directory;
  NxChem::nxmolostream stream;
  EXPECT_TRUE(stream.open(directory.path("out").c_str()));
  stream.SetFormat(type);
  stream.SetFlavor(type, flavor);
  bool all = true;
  for (const NxChem::NxMolBase* mol : mols) {
    all = NxChem::NxWriteMolecule(stream, *mol) && all;
  }
  EXPECT_EQ(stream.close(), all);
  EXPECT_EQ(directory.names().size(), all ? 1U : 0U);
  return all ? test_support::read_file(directory.path("out")) : "refused";
}

}  // namespace written_files

#endif
