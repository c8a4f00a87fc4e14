// Molecules that are kept in text files beside the tests.
#ifndef NXBRIOCHEM_TESTS_TOOLKIT_KEPT_MOLECULES_H
#define NXBRIOCHEM_TESTS_TOOLKIT_KEPT_MOLECULES_H

#include <gtest/gtest.h>
#include <nxbriochem/toolkit/nxchem.h>
#include <nxbriochem/toolkit/nxelements.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

namespace kept_molecules {

// The lines of a file, without comments.
inline std::vector<std::string> ReadLines(const std::string& file) {
  std::ifstream text(NXBRIO_TOOLKIT_TESTS "/" + file);
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) {
    if (!line.starts_with('#')) {
      lines.push_back(line);
    }
  }
  EXPECT_FALSE(lines.empty()) << file;
  return lines;
}

// Adds an atom given as a symbol followed by a sign for each charge: "C", "N+", "Zn++".
inline NxChem::NxAtomBase& AddElement(NxChem::NxMolBase& mol, const std::string& symbol) {
  NxChem::NxAtomBase& atom = *mol.NewAtom(NxChem::NxGetAtomicNum(symbol.substr(0, symbol.find_first_of("+-"))));
  atom.SetFormalCharge(static_cast<int>(std::ranges::count(symbol, '+') - std::ranges::count(symbol, '-')));
  return atom;
}

// Reads at most n bonds, each as begin, end and order.
inline void AddBonds(NxChem::NxMolBase& mol, std::istream& text, int n) {
  int bgn = 0;
  int end = 0;
  int order = 0;
  for (int i = 0; i < n && text >> bgn >> end >> order; ++i) {
    mol.NewBond(mol.GetAtom(bgn), mol.GetAtom(end), order);
  }
}

}  // namespace kept_molecules

#endif
