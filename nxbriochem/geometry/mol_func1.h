// Principal axes of molecules, their superposition, and lists of molecules from list files.
#ifndef NXBRIOCHEM_GEOMETRY_MOL_FUNC1_H
#define NXBRIOCHEM_GEOMETRY_MOL_FUNC1_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// ---- Principal axes of a molecule ----
//
// The second moments of the atoms about their centre give three principal axes and the extents along them, in
// descending order. Unless a function says "with hydrogens", atoms whose name starts with H or h take no part; in all
// functions atoms of radius 0 take no part once some radius is set. When no atom is left, all take part, with a warning
// in the warning queue. "Mass weighted" means weighted by the cube of the radius, where radii are set. A molecule
// without atoms ends the process with status 1 after "no atoms" on standard output. Moments are sqrt(sum w d^2 / n)
// over the n atoms that take part, at the distances d from the centre along an axis: root mean square extents in
// angstrom; weighted, w is the radius cubed and n still the number of atoms, which makes the unit angstrom^2.5.
//
// Second moments are summed in single precision. The error of an extent that should be 0 therefore grows with the
// number of atoms: for atoms in a tilted plane from 1e-4 of the largest extent (100 atoms) to some 2e-3 (100,000
// atoms). Axes are those of make_rmat (matrix.h), whose thresholds of 1e-6 are absolute: a molecule that is already
// within sqrt(1e-6 / sum w d^2) radians of the axes may be left as it is. For two atoms 0.7 angstrom apart that is 2e-3
// radians; for small weights it is more.
//
// Where second moments are not finite numbers, moments are not numbers, and the other functions give 0 and change
// nothing. This happens for coordinates that are not finite or beyond some 1e19 angstrom, and in weighted moments for
// radii that are not finite or whose cubes add up to 0. The results are the same when there is no memory for the work
// arrays.
//
// The moments functions, and so both nx_perceive_top_symmetry, nx_orient_m_i_base2 and the coordinate functions leave
// eigenvalues in Roots (roots.h). The others of this header leave Roots alone.

// Moves all atoms of the active conformer so that the centre is at the origin, the largest extent along x and the
// smallest along z. The motion is kept as the molecule's transform, and nx_untransform_molecule takes it back: from all
// conformers, although only the active one was moved. The rotation is proper, so it never gives the mirror image. 1.
NX_API int nx_orient_by_moments_of_inertia(int mol);
// As nx_orient_by_moments_of_inertia, with hydrogens.
NX_API int nx_orient_by_moments_of_inertia_with_hydrogens(int mol);
// As nx_orient_by_moments_of_inertia, mass weighted.
NX_API int nx_orient_by_moments_of_inertia_mass_weighted(int mol);
// As nx_orient_by_moments_of_inertia, mass weighted and with hydrogens.
NX_API int nx_orient_by_moments_of_inertia_with_hydrogens_mass_weighted(int mol);

// The three moments, descending. 1 always; nothing is written to a null array.
NX_API int nx_moments_of_inertia(int mol, float* moments);
// As nx_moments_of_inertia, with hydrogens.
NX_API int nx_moments_of_inertia_with_hydrogens(int mol, float* moments);
// As nx_moments_of_inertia, mass weighted.
NX_API int nx_moments_of_inertia_mass_weighted(int mol, float* moments);
// As nx_moments_of_inertia_mass_weighted, without hydrogens. Kept: programs rely on these numbers, although the name
// says otherwise.
NX_API int nx_moments_of_inertia_with_hydrogens_mass_weighted(int mol, float* moments);

// The proper rotation into the principal frame, 9 floats row by row; its rows are the axes. 2; 0 for a null array.
NX_API int nx_inertial_matrix(int mol, float* rotation);
// As nx_inertial_matrix, with hydrogens.
NX_API int nx_inertial_matrix_with_hydrogens(int mol, float* rotation);

// The functions above by number: 0 and 1 orient, 2 and 3 write the moments, 4 and 5 the rotation, 6 and 7 orient mass
// weighted, 8 and above write the moments mass weighted. 0, 2, 4, 6 and 8 are with hydrogens, all others without; a
// negative flag is as 1. Orienting ignores `out`; the others give 0 when it is null.
NX_API int nx_orient_m_i_base(int mol, int flag, float* out);
// An older orientation, about the unweighted centroid, by a proper rotation from make_rmat. It ignores radii and stores
// no transform on the molecule. Hydrogens take part for flag 0. 1.
NX_API int nx_orient_m_i_base2(int mol, int flag);

// Moves n + m points (3 floats each) into the principal frame of the first n, by a proper rotation; a negative m counts
// as 0. 1; 0, with nothing moved, for a null array, an n below 1, and second moments that are not finite.
NX_API int nx_orient_coordinates_to_inertial_frame(float* coordinates, int n, int m);
// As nx_orient_coordinates_to_inertial_frame, in the plane: points are pairs x, y.
NX_API int nx_orient_2d_coordinates_to_inertial_frame(float* coordinates, int n, int m);

// Which moments m1 >= m2 >= m3 of nx_moments_of_inertia are equal within a fraction `tolerance`: 3 all; 1 the two
// largest; 2 the two smallest; 0 none, and also when m1 or m2 is exactly 0. In a linear molecule m2 may be a rounding
// error instead of 0.
NX_API int nx_perceive_top_symmetry(int mol, float tolerance);
// As nx_perceive_top_symmetry, of the moments of nx_moments_of_inertia_with_hydrogens_mass_weighted.
NX_API int nx_perceive_top_symmetry_mass_weighted(int mol, float tolerance);

// ---- Superposition ----
//
// The best rotation is Kabsch's (Acta Cryst. A 32 (1976) 922). It is computed as a quaternion where that is accurate
// (Horn, J. Opt. Soc. Am. A 4 (1987) 629; Theobald, Acta Cryst. A 61 (2005) 478).
//
// Atom i of one molecule is matched with atom i of the other; names are not compared. The motion is the proper rotation
// and the translation of least root mean square deviation over the atoms that take part: all atoms in the functions
// with hydrogens, else those whose name in the first molecule does not start with H or h. Active conformers are
// compared. Only the second molecule's active conformer is moved, and the molecule's transform stays what it was. The
// result is 0, with nothing done, when the atom counts differ, for a null array, for a mode outside 0 to 5, and where
// memory has no room for the work arrays. When no atom takes part, or coordinates are not finite, the deviation is not
// a number, nothing is moved, and the functions that move atoms or write a motion give 0. Between a molecule and its
// copy the deviation is exactly 0 and the motion exactly none.

// The least RMS deviation, angstrom, into one float. 1. The sum of squares is rounded to single precision, so that the
// last digit may differ from that of the other functions.
NX_API int nx_get_rms(int first, int second, float* rms);
// As nx_get_rms, with hydrogens.
NX_API int nx_get_rms_using_hydrogens(int first, int second, float* rms);
// Moves all atoms of the second molecule onto the first and writes the RMS deviation. 1.
NX_API int nx_superimpose_second_onto_first(int first, int second, float* rms);
// As nx_superimpose_second_onto_first, with hydrogens.
NX_API int nx_superimpose_second_onto_first_with_hydrogens(int first, int second, float* rms);
// The motion x' = R x + t that moves the second molecule onto the first: 9 floats of R row by row (determinant 1), then
// 3 of t. t is computed for R as rounded to floats. 1.
NX_API int nx_get_superimpose_matrix(int first, int second, float* matrix);
// As nx_get_superimpose_matrix, with hydrogens.
NX_API int nx_get_superimpose_matrix_using_hydrogens(int first, int second, float* matrix);
// The six functions above by number: 0 is nx_get_rms, and so on in their order to 5.
NX_API int nx_rms_base(int first, int second, int mode, float* out);

// The least RMS deviation of two lists of n points (3n floats each). 1; 0 for null arrays and an n below 1.
NX_API int nx_rms_between_points(const float* first, const float* second, int n, float* rms);
// The smallest least RMS deviation over all pairs of a conformation of the first set and one of the second, of n points
// each, laid one after the other; pairs with coordinates that are not finite do not count. 1; 0 for null arrays and
// counts below 1.
NX_API int nx_minimum_pair_rms(const float* first, int nfirst, const float* second, int nsecond, int n, float* rms);

// ---- List files ----
//
// Text files that name structure files. Each function ends in the fatal report of nxi_file_input_list
// (molecule_readers.h), since this library reads no structure files.

// Reads the molecules that a list file names into a new list, handle written to *list. `format` is that of the
// structure files: "pdb", "delphi_pdb", "mol2" or "mol2_charged" ("mol2_charge" means the same here). `kind` is that of
// the list file, "alist" or "nlist". Results as for nx_add_molecules_to_list_from_list_file; also 0, with a warning,
// for another format.
NX_API int nx_get_list_of_molecules_from_list_file(const char* filename, const char* format, const char* kind,
                                                   int* list);
// Appends the molecules of the PDB files that a list file names to a list. `kind` is "alist" or "nlist". 0 with a
// warning for null arguments, another kind, a file that cannot be opened, or a handle of no list.
NX_API int nx_add_molecules_to_list_from_list_file(const char* filename, const char* kind, int list);
// As nx_add_molecules_to_list_from_list_file, for PDB files with radius and charge in the columns of occupancy and
// temperature factor.
NX_API int nx_add_delphi_molecules_to_list_from_list_file(const char* filename, const char* kind, int list);
// As nx_add_molecules_to_list_from_list_file, for mol2 files.
NX_API int nx_add_mol2_molecules_to_list_from_list_file(const char* filename, const char* kind, int list);

NX_END_DECLS

#endif
