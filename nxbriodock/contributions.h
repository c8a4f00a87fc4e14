// What each atom and each residue of either side contributes to the energy at a pose: its energy with the whole of the
// other side. The sum over the atoms, or residues, of one side is the whole, to rounding.
//
// A side is 0 for the target and 1 for the ligand. A residue is a run of atoms with the same chain, residue number,
// insertion code and residue name; a side that was set from arrays is one residue until nxd_set_residues is called.
#ifndef NXBRIODOCK_CONTRIBUTIONS_H
#define NXBRIODOCK_CONTRIBUTIONS_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// The two sides.
enum { NXD_TARGET = 0, NXD_LIGAND = 1 };

// Writes both terms of each atom of a side, kcal/mol, each times its weight; either may be null.
NX_API int nxd_get_atom_energies(const double* pose, int side, double* coulomb, double* twelve_six, int energy);
// As nxd_get_atom_energies, for each residue.
NX_API int nxd_get_residue_energies(const double* pose, int side, double* coulomb, double* twelve_six, int energy);
// The residues of a side; 0 when it is not set.
NX_API int nxd_get_residue_number(int side, int energy);
// Writes each atom's residue, counted from 0.
NX_API int nxd_get_residues(int side, int* residues, int energy);
// Sets each atom's residue, any number from 0 to n - 1; 0 when n is not the number of atoms.
NX_API int nxd_set_residues(int side, const int* residues, int n, int energy);

NX_END_DECLS

#endif
