// Energy objects: the energy between a target and a rigid ligand, over all pairs of an atom of the one and an atom of
// the other, with exact derivatives in the ligand's six variables.
//
// Two terms, each times its weight. Coulomb: 332.063713 q_i q_j / (eps r), with eps the same everywhere, or growing
// with the distance (eps r in its place), or the charges screened by salt (times exp(-kappa r)). 12-6: D (u^6 - 2 u^3)
// with u = x^2 / r^2, so that two atoms attract most at a distance x, by D; D = sqrt(D_i D_j) and x = sqrt(x_i x_j), or
// (x_i + x_j) / 2. Below a small distance, the wall, each term continues as the parabola a + b r^2 with the same value
// and slope at the wall, so that it stays finite and smooth down to r = 0.
//
// The six variables x turn the ligand about the mean of its atoms by the rotation vector (x[3], x[4], x[5]) / arm,
// after the turn of the base pose, and move it by (x[0], x[1], x[2]) on top of the base pose's move. All are lengths in
// angstrom: the arm is the ligand's radius of gyration, so that they move atoms alike. The derivatives hold for
// rotations of any size (left Jacobian of the exponential map: Chirikjian, Stochastic Models, Information Theory, and
// Lie Groups 2, 2012, section 10.7). At a full turn the Jacobian is singular, and derivatives may vanish that should
// not. To avoid that, make the pose reached the new base pose.
#ifndef NXBRIODOCK_ENERGY_H
#define NXBRIODOCK_ENERGY_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// The variables of a rigid ligand.
enum { NXD_VARIABLES = 6 };

// ---- Energy objects ----

// A new energy object without target and ligand and its handle, a positive number; 0 when memory has no room.
NX_API int nxd_make_energy(void);
// A new energy object that equals this one, and its handle. They share the target's data, so that each of several
// threads may have an object of its own at next to no cost. 0 when it fails.
NX_API int nxd_copy_energy(int energy);
// Deletes the object.
NX_API int nxd_delete_energy(int energy);

// ---- Target and ligand ----
//
// Coordinates, charges and elements are copied, so that later changes of the molecule or the arrays have no effect.
// Either side may be set again at any time, the other one and all settings staying; the target's data are prepared
// once, for any number of ligands. Coordinates of a molecule are those of its active conformer as they stand; a
// transform that it has set is not looked at. Its atoms are counted from 0 in the order of their indices, without the
// places of deleted ones. Each atom gets the 12-6 parameters of its element from UFF (uff.h): 0 for a side with an atom
// of an element that has none, without atoms, or with a number that is not finite.

// Sets the target from a molecule.
NX_API int nxd_set_target(int mol, int energy);
// Sets the ligand from a molecule; its place becomes the base pose.
NX_API int nxd_set_ligand(int mol, int energy);
// Sets the target from n atoms: 3n coordinates, n charges and n atomic numbers. Null charges mean no charges; with null
// elements the atoms take no part in the 12-6 term until nxd_set_target_parameters is called. All are one residue.
NX_API int nxd_set_target_arrays(const double* coordinates, const double* charges, const int* elements, int n,
                                 int energy);
// As nxd_set_target_arrays, for the ligand; its place becomes the base pose.
NX_API int nxd_set_ligand_arrays(const double* coordinates, const double* charges, const int* elements, int n,
                                 int energy);
// Replaces the 12-6 parameters of the target's atoms by n distances x_i (angstrom) and n well depths D_i (kcal/mol),
// none negative; 0 when n is not the number of its atoms.
NX_API int nxd_set_target_parameters(const double* distances, const double* well_depths, int n, int energy);
// As nxd_set_target_parameters, for the ligand's atoms.
NX_API int nxd_set_ligand_parameters(const double* distances, const double* well_depths, int n, int energy);
// Replaces the charges of the target's atoms, in double where the molecule's are floats.
NX_API int nxd_set_target_charges(const double* charges, int n, int energy);
// As nxd_set_target_charges, for the ligand's atoms.
NX_API int nxd_set_ligand_charges(const double* charges, int n, int energy);
// The number of atoms; 0 when there is no target, and with an error when there is no such object.
NX_API int nxd_get_target_atom_number(int energy);
// As nxd_get_target_atom_number, for the ligand.
NX_API int nxd_get_ligand_atom_number(int energy);

// ---- Terms ----

// Coulomb's energy at the same dielectric everywhere, which is above 0; 1 at first.
NX_API int nxd_set_uniform_dielectric(double dielectric, int energy);
// Coulomb's energy at a dielectric that grows with the distance, `dielectric` times r.
NX_API int nxd_set_distance_dielectric(double dielectric, int energy);
// Coulomb's energy at the same dielectric everywhere, screened by salt as Debye and Hueckel have it: 1 / kappa is
// nxd_get_debye_length. An ionic strength of 0 screens nothing.
NX_API int nxd_set_screened_dielectric(double dielectric, double ionic_strength, double temperature, int energy);
// Writes the Debye length, angstrom: sqrt(eps0 eps k T / (2 N e^2 I)) with an ionic strength I in mol/l and a
// temperature in kelvin (CODATA 2018 constants). Infinite where I is 0. 0 for numbers that are not above 0 otherwise.
NX_API int nxd_get_debye_length(double dielectric, double ionic_strength, double temperature, double* length);
// Both terms' weights, 1 at first; a term with weight 0 is not computed.
NX_API int nxd_set_weights(double coulomb, double twelve_six, int energy);
// The rule of the 12-6 distances: 0, at first, the geometric mean, which is UFF's; 1 the arithmetic one (Lorentz).
NX_API int nxd_set_distance_rule(int arithmetic, int energy);
// Sets the walls: that of the Coulomb term in angstrom, that of the 12-6 term as a fraction of x, above 0 and at most
// 1. Both start as 0.1. A higher wall makes a softer term, in which overlapping atoms can move apart.
NX_API int nxd_set_walls(double coulomb, double twelve_six, int energy);
// A restraint for minimisers that do not limit their steps: where |x| > length, the callbacks below add
// strength (|x|^2 - length^2)^2, kcal/mol, which keeps the ligand near the base pose. A strength of 0, the default,
// switches it off. Only the callbacks' values contain it.
NX_API int nxd_set_leash(double length, double strength, int energy);
// How many threads a call may use, 1 at first; 0 stands for as many as there are processors. Results have the same bits
// for any number; small sums use one.
NX_API int nxd_set_threads(int threads, int energy);

// ---- Value and derivatives ----
//
// These have the types of the callbacks of nxbriochem/optimise: `n` is NXD_VARIABLES. On failure they return NaN.

// The energy at x, about the base pose; for nx_set_opt_function_with_handle, and as an extended value term of a list.
NX_API double nxd_energy(double* x, int n, int energy);
// The energy at x, and its 6 derivatives into gradient; for nx_set_opt_gradient_with_handle.
NX_API double nxd_energy_gradient(double* x, double* gradient, int n, int energy);
// The energy at x. Its 6 derivatives are added to gradient. For use as an extended gradient term of a list.
NX_API double nxd_add_energy_gradient(double* x, double* gradient, int n, int energy);

// Writes both terms at a pose (pose.h), each times its weight, and the 6 derivatives there; each may be null.
NX_API int nxd_get_energy_at_pose(const double* pose, double* coulomb, double* twelve_six, double* gradient,
                                  int energy);
// Writes the closest contact at a pose, which is the least distance as a fraction of x: the indices of its two atoms,
// their distance and the fraction; each may be null. For pairs whose x is 0 the fraction is replaced by the distance.
NX_API int nxd_get_closest_contact(const double* pose, int* target_atom, int* ligand_atom, double* distance,
                                   double* fraction, int energy);

NX_END_DECLS

#endif
