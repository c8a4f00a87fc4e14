// Builds molecules through the flat interface, for tests.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_FLAT_MOLECULE_H
#define NXBRIOCHEM_TESTS_SUPPORT_FLAT_MOLECULE_H

#include <string>
#include <vector>

#include <nxbriochem/molecules/briochem.h>

namespace test_support {

struct FlatAtom {
  std::string name;
  std::string residue;
  float x = 0;
  float y = 0;
  float z = 0;
  float charge = 0;
};

// The handle of a molecule with these atoms; the caller deletes it. Without any name or residue name, none is set.
inline int make_molecule(const std::vector<FlatAtom>& atoms) {
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(static_cast<int>(atoms.size()), mol);
  std::vector<float> xyz;
  std::vector<float> charges;
  std::string names;
  std::string residues;
  bool named = false;
  bool in_residues = false;
  for (const FlatAtom& atom : atoms) {
    xyz.insert(xyz.end(), {atom.x, atom.y, atom.z});
    charges.push_back(atom.charge);
    names += atom.name + '\0';
    residues += atom.residue + '\0';
    named = named || !atom.name.empty();
    in_residues = in_residues || !atom.residue.empty();
  }
  nx_set_molecule_coordinates(xyz.data(), mol);
  nx_set_molecule_charges(charges.data(), mol);
  if (named) {
    nx_set_molecule_atom_names(names.c_str(), mol);
  }
  if (in_residues) {
    nx_set_molecule_residue_names(residues.c_str(), mol);
  }
  return mol;
}

}  // namespace test_support

#endif
