// Atomic radii, by element and by atom name, and the electrostatics of two charged molecules in a uniform dielectric:
// Coulombic binding energies, monopole and dipole, formal charges of side chains, Gaussian widths.
//
// Charges are in elementary charges, distances and radii in angstrom. Energies are DFactor2 times sums of q_i q_j / r.
// Warnings and reports of this module go through nx_printf with handle 0.
#ifndef NXBRIOCHEM_GEOMETRY_MOL_FUNC2_H
#define NXBRIOCHEM_GEOMETRY_MOL_FUNC2_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// ---- Radii by element ----
//
// A table of 256 radii, indexed by a one-character element code (a negative char by its unsigned value), with defaults
// that a program may override one by one. It is never reset. Defaults: C 1.7, H 1.0, N 1.65, O 1.6, F 1.2001, P S U
// 1.9, digits 1 to 4 1.0 (a name that begins with a digit is a hydrogen's), Z 1.34, X 0.0, all others 1.9.

// Fills in the defaults of all codes that were not set with nx_set_element_radius. Z and X get theirs in any case.
NX_API void set_default_element_radii(void);
// Sets one code's radius and prints that on standard output. A radius set before the defaults are filled in stays,
// except those of Z and X. Always 1.
NX_API int nx_set_element_radius(char code, float radius);
// One code's radius; the first call fills in the defaults. 1, or 0 for a null `out`.
NX_API int nx_get_element_radius(char code, float* out);
// Gives every atom the radius of its element code. A molecule without elements gets them from nx_make_element_list. 1,
// or 0 for a molecule without atoms.
NX_API int nx_assign_radii_by_element(int mol);

// Sets every atom's element code from its name, as PDB and PQR files write names. Leading blanks and digits are
// skipped; case does not matter.
// - An atom whose name equals that of its residue is an ion: LI NA MG AL K MN FE BR CL I and so on; F is fluoride.
// - CL and BR are chlorine and bromine when no letter follows, FE and SE iron and selenium when nothing does; MG and MN
//   always are magnesium and manganese. LP, a lone pair, is Z: its radius by element is 1.34, while
//   nx_assign_bondi_radii gives it 0.
// - Else the first letter decides: B C N O F P S K I as they are, H and D hydrogen.
// Any other name gets Z. Codes are limited to the elements of nx_convert_one_letter_symbol_to_element_number: calcium,
// zinc, silicon and others that no letter stands for become Z, a dummy atom. 1, or 0 for a molecule without atoms.
NX_API int nx_make_element_list(int mol);

// ---- Radii by name ----

// Gives every atom a van der Waals radius in the manner of Bondi, from its name; when no atom of the molecule has
// a name, from its integer atom type, read as an atomic number. 1, or 0 when there are neither names nor atom types.
// (J. Phys. Chem. 1964, 68, 441.)
//
// The first letter of the name decides, and the second where the table has one. Leading blanks are skipped; case does
// not matter.
//
//     1 2 3 H     1.20
//     B           1.85 (bromine); BO 1.17 (boron)
//     C           1.70; CL 1.75; CA in a residue whose name begins with CA 1.14 (calcium)
//     F           1.47
//     I           1.98
//     L           1.8002; LI 1.82; LP 0 (a lone pair)
//     N           1.55
//     O           1.52
//     P           1.8001
//     S           1.80; SE 1.90; SI 2.10
//     Z           0; ZN 1.39
//     all others  1.90, also the digits 0 and 4 to 9
//
// So most metals get the radius of another element: FE that of fluorine, HG of hydrogen, NA and NI of nitrogen, CU and
// CO of carbon; MG and K get 1.90. Kept: programs rely on these numbers; set the radii of such atoms afterwards
// (nx_set_molecule_radii_element).
NX_API int nx_assign_bondi_radii(int mol);

// ---- Coulombic binding ----
//
// Atoms are passed as records of NX_RECORD_FLOATS floats: x, y, z, and at NX_RECORD_ELEMENT the atomic number (0 when
// not known; only functions that treat hydrogens separately read it). The other floats are not read. Charges are one
// float per atom. Null arrays and counts below 0 stand for no atoms. eps, the relative permittivity, is not checked: 0
// gives an infinite factor.

enum { NX_RECORD_FLOATS = 9, NX_RECORD_ELEMENT = 3 };

// Converts sums of q_i q_j / r into the energy unit; a program may change it. It starts as 560.73706, for energies in
// kT at 298 K: 332.06 kcal/mol angstrom divided by 0.5922 kcal/mol.
extern NX_API float DFactor2;

// Energy of the first set's charges in the field of the second's: DFactor2 / eps times the sum of q_i q_j / r_ij. The
// order of summation and the precision of each step are fixed, so that the same input gives the same bits everywhere
// (see coulomb_kernels_internal.h): distances squared in float, quotients and square roots in double, each inner sum
// over the second set in float. Charges of exactly 0 take no part. Pairs at the same place are left out and counted,
// and reported in one warning per call.
NX_API float nxi_c_bind(const float* records1, const float* charges1, int count1, const float* records2,
                        const float* charges2, int count2, float eps);

// As nxi_c_bind, for two molecules with their partial charges. Writes the energy to `out` unless that is null. Always
// returns 0. Kept: programs rely on 0 on success, too.
NX_API int nx_calculate_coulombic_binding(int mol1, int mol2, float* out, float eps);

// As nxi_c_bind, with the distance of every pair that has a hydrogen on either side (NX_RECORD_ELEMENT 1) taken as
// `cap` angstrom when it is smaller. Rigid placement leaves hydrogens too close, and their energy would outweigh all
// others. 1.0 to 1.5 is usual. Pairs at the same place are left out and counted as in nxi_c_bind, hydrogen or not. One
// warning per call reports capped pairs. A cap of 0 or less caps nothing.
NX_API float nxi_c_bind_cut1(const float* records1, const float* charges1, int count1, const float* records2,
                             const float* charges2, int count2, float eps, float cap);

// As nxi_c_bind, with the energies of the target's (first set's) point dipoles in the field of the ligand's charges,
// and of the ligand's dipoles in the field of the target's. `dipoles1` and `dipoles2` have 3 floats per atom,
// elementary charges times angstrom, located at the atom; null means no dipoles. A dipole p and a charge q at the
// vector r from it have the energy DFactor2 / eps * q p.r / r^3, or 0 at the same place. Dipole-dipole terms are left
// out. Reports the hydrogens of both sets and the two dipole energies, which the result includes.
NX_API float nxi_c_bind_dipolar(const float* records1, const float* charges1, int count1, const float* records2,
                                const float* charges2, int count2, float eps, const float* dipoles1,
                                const float* dipoles2);

// ---- Charges ----

// Monopole and dipole of n charges q at xyz (3n floats). With P the sum of positive charges and N that of the negative
// ones' magnitudes, and their centres p and m (positions weighted by charge):
// - both signs: the centre is that of the larger sum (p when they are equal), monopole P - N, dipole p - m, the vector
//   in angstrom from the negative centre to the positive one. For a neutral set this vector times P is the dipole
//   moment, in elementary charges times angstrom; else it times the smaller of P and N is the moment of the part of the
//   charge that cancels.
// - only positive: centre p, monopole P, dipole 0.
// - only negative: the centre is the weighted sum itself, not divided by N, and the monopole is +N. Kept: programs rely
//   on both.
// - none: all 0.
// `extra` receives the number of atoms that took no part because their charge is 0 or not a number. Sums are in double.
// Each of the four results may be null. 1, or 0, with all results 0, for n below 1 or null xyz or q.
NX_API int nx_calculate_monopole_and_dipole(const float* xyz, const float* q, int n, float centre[3], float* monopole,
                                            float dipole[3], int* extra);

// Sets the charges of charged side chains, as ionised at neutral pH: +1 on a lysine's NZ, +0.5 on each of an arginine's
// NH1 and NH2, -0.5 on each of an aspartate's OD1 and OD2 and a glutamate's OE1 and OE2. Atom names decide, in upper or
// in lower case, with or without their blanks, whatever the residue's name, or without one. Left out are atoms that are
// neutral in their residue: OD1 of ASN and HYP, OE1 of GLN, the neutral forms ASH (ASPP, ASPH), GLH (GLUP, GLUH), LYN
// (LSN), ARN and AR0 of the four residues, and the acylated lysines KCX and ALY. Each may have in front the N or C that
// marks a chain's end. Other atoms keep their charges, unless the molecule's name is the keyword "full": then they get
// 0, so that the molecule carries the formal charges alone. 1, or 0 when no atom has a name.
NX_API int nx_charge_protein(int mol);

// ---- For the library's modules ----

// Writes every atom's default Gaussian width in angstrom at its index into an array with an entry per index (as long as
// nx_get_molecule_radii_length says). The width w gives the density 2 sqrt(2) exp(-(r / w)^2) the same volume as the
// sphere of the element's Bondi radius R: w = R / sqrt(2.41799) (Grant and Pickup, J. Phys. Chem. 1995, 99, 3503).
// Elements H C N O F Si P S Cl Br I have one; any other atom is reported by index and gets 0. A molecule without
// elements gets them from nx_make_element_list. 1, or 0 for a null array or a molecule without atoms.
NX_API int nxi_assign_default_gaussians(float* widths, int mol);

NX_END_DECLS

#endif
