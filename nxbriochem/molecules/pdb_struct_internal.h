// From records of atoms to molecules and back. Not exported.
//
// A record has what a PDB file says of an atom, and its radius and partial charge. Formal charge, integer type,
// sequence number and the characters of a name beyond seven are lost.
#ifndef NXBRIOCHEM_MOLECULES_PDB_STRUCT_INTERNAL_H
#define NXBRIOCHEM_MOLECULES_PDB_STRUCT_INTERNAL_H

#include <vector>

#include <nxbriochem/molecules/pdb_struct.h>
#include <nxbriochem/toolkit/nxchem.h>

namespace briochem {

// Adds an atom per record to a molecule. `radii` and `charges`, one float per record, replace the records' own; either
// may be null.
void add_records(NxChem::NxMolBase& mol, const PdbStruct* atoms, int natoms, const float* radii, const float* charges);

// The record of an atom, in the active conformer; an atom without residue is in the unknown ligand "UNL" 1.
PdbStruct record_of(const NxChem::NxMolBase& mol, const NxChem::NxAtomBase& atom);

// Records of several molecules one after the other, as low-level readers hand them over. The arrays belong to others.
struct PdbArray {
  PdbStruct* atoms = nullptr;
  std::vector<int> natoms;  // records of each molecule
  float* radii = nullptr;   // over all records, as above
  float* charges = nullptr;
};

// Makes a molecule of each molecule's records and appends their handles to a list; the caller deletes them. 1; 0 with
// the warning "no atoms sent to extract_molecules_from_pdb_array\n" when there are no molecules or one of them has no
// atoms, and 0 with a warning for what is no list or when handles are used up. Then the list is as it was.
int extract_molecules_from_pdb_array(const PdbArray& array, int list);

}  // namespace briochem

#endif
