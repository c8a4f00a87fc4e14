// Molecules as callers see them: a handle and a set of flat per-atom and per-bond arrays, read and written one element
// at a time or all at once, and written as structure files.
//
// The molecule handle is always the last argument, an output buffer the first. Element getters take (output pointer,
// index, molecule), element setters (value, index, molecule). Results are 1 for success or true and 0 for failure or
// false unless a comment says otherwise. A handle that names no molecule ends the process with a fatal report. Null
// arrays and buffers give 0 and change nothing, unless they have no element to read or write.
//
// An atom's place in an array is its atom index. Arrays have an entry per index up to the index bound, which exceeds
// the atom count once atoms were deleted; getters leave the places of deleted atoms as they were. The bound is what
// nx_get_molecule_*_length gives; for coordinates and bonds that is 3 times their bounds; for names it is the bytes of
// the packed array, and their bound is nx_get_molecule_*_size. Only the packed arrays of names skip deleted atoms: they
// hold the existing atoms in index order. The usual order of building a molecule is atom number, per-atom arrays, bond
// number, bonds.
//
// Two more headers come with this one: pdb_struct.h (nxi_write_pdb) and molecule_readers.h (the reading entry points).
#ifndef NXBRIOCHEM_MOLECULES_BRIOCHEM_H
#define NXBRIOCHEM_MOLECULES_BRIOCHEM_H

#include <nxbriochem/export.h>
#include <nxbriochem/molecules/molecule_readers.h>
#include <nxbriochem/molecules/pdb_struct.h>

NX_BEGIN_DECLS

// ---- Molecules ----

// A new empty molecule with one conformer, which is active. Its handle; the caller deletes it with nx_delete_molecule.
// 0 with a warning when handles are used up.
NX_API int nx_make_molecule(void);
// Destroys the molecule and drops one reference to its handle; the last one frees the handle. A handle that was
// acquired more often (memmgr.h) stays with the other holders until they have released it: it is not given out again,
// and any use but releasing it ends the process with a fatal report. 1.
NX_API int nx_delete_molecule(int mol);
// Makes the molecule empty: no atoms, bonds, name or data; it keeps its handle.
NX_API int nx_clear_molecule(int mol);

// The molecule's title.
NX_API int nx_set_molecule_name(const char* name, int mol);
// Copies the title with its NUL into `name`, which has room for nx_get_molecule_name_length characters.
NX_API int nx_get_molecule_name(char* name, int mol);
// The title's length with its NUL.
NX_API int nx_get_molecule_name_length(int mol);
// 1 when the title is not empty.
NX_API int nx_is_molecule_name_set(int mol);

// The name of the file that the molecule belongs to, kept with the molecule and not otherwise used.
NX_API int nx_set_molecule_file_name(const char* name, int mol);
// Copies the file name with its NUL; 0 when none is set.
NX_API int nx_get_molecule_file_name(char* name, int mol);
// The file name's length with its NUL; 0 when none is set.
NX_API int nx_get_molecule_file_name_length(int mol);
// 1 when a file name was set, an empty one too.
NX_API int nx_is_molecule_file_name_set(int mol);

// Sets the number of atoms to n. Missing ones are added with atomic number 0; surplus ones are deleted, with their
// bonds, from the front. Kept: programs rely on the last atoms being the ones that remain, under the indices they had.
// 0 for a negative n and for atoms that memory has no room for.
NX_API int nx_set_molecule_atom_number(int n, int mol);
// The atom count.
NX_API int nx_get_molecule_atom_number(int mol);
// 1 when there are atoms.
NX_API int nx_is_molecule_atom_number_set(int mol);

// Sets the number of bonds to n. Missing ones are added without ends and with order 0, to be wired by
// nx_set_molecule_bonds; surplus ones are deleted from the front. 0 for a negative n and for bonds that memory has no
// room for.
NX_API int nx_set_molecule_bond_number(int n, int mol);
// The bond count.
NX_API int nx_get_molecule_bond_number(int mol);
// 1 when there are bonds.
NX_API int nx_is_molecule_bond_number_set(int mol);

// The index of the first atom of this name (as the name getters give it, whole), or -1.
NX_API int nx_get_index_for_atom(const char* name, int mol);

// 1 when the atom is in a ring; 0 with a warning for an index that no atom has.
NX_API int nx_is_atom_in_ring(int atom, int mol);
// 1 when the bond is in a ring; 0 with a warning for an index that no bond has.
NX_API int nx_is_bond_in_ring(int bond, int mol);
// 1 for a single bond outside rings whose ends both have another heavy neighbour; 0 with a warning for an index that no
// bond has.
NX_API int nx_is_bond_a_rotor(int bond, int mol);

// ---- Coordinates: 3 floats x, y, z per atom, angstrom, of the active conformer ----

// Sets all coordinates from 3 floats per index.
NX_API int nx_set_molecule_coordinates(const float* coordinates, int mol);
// Writes 3 floats per index.
NX_API int nx_get_molecule_coordinates(float* coordinates, int mol);
// 1 when some atom has a component that is not zero.
NX_API int nx_is_molecule_coordinates_set(int mol);
// 3 * index bound.
NX_API int nx_get_molecule_coordinates_length(int mol);
// Copies "atom_number*3" when coordinates are set; 0 when not or for a null buffer.
NX_API int nx_get_molecule_coordinates_length_string(char* out, int mol);
// One component, at flat index 3 * atom + component. 0 below 0, beyond 3 * bound, and for an atom that is not there.
// Kept: programs rely on 1 for the index 3 * bound itself, which reads 0.
NX_API int nx_get_molecule_coordinates_element(float* out, int i, int mol);
// Sets one component; the index 3 * bound gives 1 and changes nothing.
NX_API int nx_set_molecule_coordinates_element(float value, int i, int mol);

// ---- Radii: 1 float per atom, angstrom ----

// Sets every atom's radius from an array with an entry per index.
NX_API int nx_set_molecule_radii(const float* radii, int mol);
// Writes every atom's radius into an array with an entry per index.
NX_API int nx_get_molecule_radii(float* radii, int mol);
// 1 when some atom's radius is not zero.
NX_API int nx_is_molecule_radii_set(int mol);
// The index bound.
NX_API int nx_get_molecule_radii_length(int mol);
// Copies "atom_number" when the array is set; 0 when not or for a null buffer.
NX_API int nx_get_molecule_radii_length_string(char* out, int mol);
// One atom's radius; 0 when no atom has the index.
NX_API int nx_get_molecule_radii_element(float* out, int atom, int mol);
// Sets one atom's radius; 0 when no atom has the index.
NX_API int nx_set_molecule_radii_element(float value, int atom, int mol);
// 1 when some atom's radius is not zero.
NX_API int nx_are_molecule_radii_non_zero(int mol);
// 1 when every atom's radius is zero.
NX_API int nx_are_molecule_radii_all_zero(int mol);

// ---- Partial charges: 1 float per atom, elementary charges ----

// Sets every atom's partial charge from an array with an entry per index.
NX_API int nx_set_molecule_charges(const float* charges, int mol);
// Writes every atom's partial charge into an array with an entry per index.
NX_API int nx_get_molecule_charges(float* charges, int mol);
// 1 when some atom's partial charge is not zero.
NX_API int nx_is_molecule_charges_set(int mol);
// The index bound.
NX_API int nx_get_molecule_charges_length(int mol);
// Copies "atom_number" when the array is set; 0 when not or for a null buffer.
NX_API int nx_get_molecule_charges_length_string(char* out, int mol);
// One atom's partial charge; 0 when no atom has the index.
NX_API int nx_get_molecule_charges_element(float* out, int atom, int mol);
// Sets one atom's partial charge; 0 when no atom has the index.
NX_API int nx_set_molecule_charges_element(float value, int atom, int mol);
// 1 when some atom's partial charge is not zero.
NX_API int nx_are_molecule_charges_non_zero(int mol);
// 1 when every atom's partial charge is zero.
NX_API int nx_are_molecule_charges_all_zero(int mol);

// ---- Atom types: 1 int per atom, the caller's numbers ----

// Sets every atom's integer type from an array with an entry per index.
NX_API int nx_set_molecule_atom_type(const int* atom_type, int mol);
// Writes every atom's integer type into an array with an entry per index.
NX_API int nx_get_molecule_atom_type(int* atom_type, int mol);
// 1 when some atom's integer type is not zero.
NX_API int nx_is_molecule_atom_type_set(int mol);
// The index bound.
NX_API int nx_get_molecule_atom_type_length(int mol);
// Copies "atom_number" when the array is set; 0 when not or for a null buffer.
NX_API int nx_get_molecule_atom_type_length_string(char* out, int mol);
// One atom's integer type; 0 when no atom has the index.
NX_API int nx_get_molecule_atom_type_element(int* out, int atom, int mol);
// Sets one atom's integer type; 0 when no atom has the index.
NX_API int nx_set_molecule_atom_type_element(int value, int atom, int mol);

// ---- Elements: 1 character per atom, one-letter codes ----

// Sets every atom's element from an array with an entry per index.
NX_API int nx_set_molecule_element(const char* element, int mol);
// Writes every atom's element into an array with an entry per index.
NX_API int nx_get_molecule_element(char* element, int mol);
// 1 when some atom's element is not 0 (a dummy atom).
NX_API int nx_is_molecule_element_set(int mol);
// The index bound.
NX_API int nx_get_molecule_element_length(int mol);
// Copies "atom_number" when the array is set; 0 when not or for a null buffer.
NX_API int nx_get_molecule_element_length_string(char* out, int mol);
// One atom's element; 0 when no atom has the index.
NX_API int nx_get_molecule_element_element(char* out, int atom, int mol);
// Sets one atom's element; 0 when no atom has the index.
NX_API int nx_set_molecule_element_element(char value, int atom, int mol);

// The letter of an atomic number, as an int; 'Z' for numbers without one. Kept: programs rely on code tables that are
// not inverse to each other. 26 and 34 both give E and E gives 34; 14 gives G and G gives 13; 29 gives U and U
// gives 26.
NX_API int nx_convert_element_number_to_one_letter_symbol(int atomic_number);
// The atomic number of a letter A to U, upper case; 0 for any other value.
NX_API int nx_convert_one_letter_symbol_to_element_number(int symbol);

// ---- Residue numbers: 1 int per atom, as a PDB file shows them ----
//
// Setting one gives an atom without residue the residue "UNL".

// Sets every atom's residue number from an array with an entry per index.
NX_API int nx_set_molecule_residue_number(const int* residue_number, int mol);
// Writes every atom's residue number into an array with an entry per index.
NX_API int nx_get_molecule_residue_number(int* residue_number, int mol);
// 1 when some atom's residue number is not zero.
NX_API int nx_is_molecule_residue_number_set(int mol);
// The index bound.
NX_API int nx_get_molecule_residue_number_length(int mol);
// Copies "atom_number" when the array is set; 0 when not or for a null buffer.
NX_API int nx_get_molecule_residue_number_length_string(char* out, int mol);
// One atom's residue number; 0 when no atom has the index.
NX_API int nx_get_molecule_residue_number_element(int* out, int atom, int mol);
// Sets one atom's residue number; 0 when no atom has the index.
NX_API int nx_set_molecule_residue_number_element(int value, int atom, int mol);

// ---- Sequence numbers: 1 int per atom, the residue's position in its chain's sequence ----
//
// Files do not show them. Setting one gives an atom without residue the residue "UNL".

// Sets every atom's sequence number from an array with an entry per index.
NX_API int nx_set_molecule_sequence_number(const int* sequence_number, int mol);
// Writes every atom's sequence number into an array with an entry per index.
NX_API int nx_get_molecule_sequence_number(int* sequence_number, int mol);
// 1 when some atom's sequence number is not zero.
NX_API int nx_is_molecule_sequence_number_set(int mol);
// The index bound.
NX_API int nx_get_molecule_sequence_number_length(int mol);
// Copies "atom_number" when the array is set; 0 when not or for a null buffer.
NX_API int nx_get_molecule_sequence_number_length_string(char* out, int mol);
// One atom's sequence number; 0 when no atom has the index.
NX_API int nx_get_molecule_sequence_number_element(int* out, int atom, int mol);
// Sets one atom's sequence number; 0 when no atom has the index.
NX_API int nx_set_molecule_sequence_number_element(int value, int atom, int mol);

// ---- Atom names: packed, each name cut to 4 characters and ended by a NUL, one after the other ----
//
// An atom without a name reads as its element symbol, or "Du" for atomic number 0.

// Gives each atom the next string of the buffer, which holds as many as there are atoms; names are kept whole.
NX_API int nx_set_molecule_atom_names(const char* names, int mol);
// Packs the names into a buffer of `length` bytes; 0, with the names that fit written, when it is too short.
NX_API int nx_get_molecule_atom_names(char* names, int length, int mol);
// 1 when some atom has a name of its own.
NX_API int nx_is_molecule_atom_names_set(int mol);
// The index bound.
NX_API int nx_get_molecule_atom_names_size(int mol);
// The bytes that the packed names take, and 1.
NX_API int nx_get_molecule_atom_names_length(int mol);
// Copies one atom's whole name with its NUL when `length` is at least the name's length, else its first `length`
// characters without a NUL. Kept: programs rely on a name of just `length` characters being copied whole, which writes
// one byte more. 0 when no atom has the index or `length` is negative.
NX_API int nx_get_molecule_atom_names_element(char* out, int atom, int length, int mol);
// The bytes that one atom's packed name takes, 5 at most; 0 when no atom has the index.
NX_API int nx_get_molecule_atom_names_element_length(int atom, int mol);
// Writes, at each atom's index, where its name starts in the packed names.
NX_API int nx_get_molecule_atom_names_index(int* index, int mol);
// Removes the names of all atoms.
NX_API int nxi_unset_molecule_atom_names(int mol);

// ---- Residue names: packed, each name whole and ended by a NUL, one per atom; empty for an atom without residue ----

// Gives each atom's residue the next string of the buffer, which holds as many as there are atoms.
NX_API int nx_set_molecule_residue_names(const char* names, int mol);
// Packs the names into a buffer of `length` bytes; 0, with the names that fit written, when it is too short.
NX_API int nx_get_molecule_residue_names(char* names, int length, int mol);
// 1 when some atom's residue has a name.
NX_API int nx_is_molecule_residue_names_set(int mol);
// The index bound.
NX_API int nx_get_molecule_residue_names_size(int mol);
// The bytes that the packed names take, and 1.
NX_API int nx_get_molecule_residue_names_length(int mol);
// Copies one name with its NUL, cut to fit `length` bytes. 1 and nothing copied for a length of 0, whatever the index;
// 0 when no atom has the index or `length` is negative.
NX_API int nx_get_molecule_residue_names_element(char* out, int atom, int length, int mol);
// One name's length with its NUL; 0 when no atom has the index or the atom has no residue.
NX_API int nx_get_molecule_residue_names_element_length(int atom, int mol);
// Writes, at each atom's index, where its residue's name starts in the packed names.
NX_API int nx_get_molecule_residue_names_index(int* index, int mol);

// ---- Chain names: one character per atom in atom order, without separators; a blank for none ----

// Sets the chain of each atom's residue, one character per atom in atom order. 0 when the text is shorter than the atom
// count; the remaining atoms keep their chains.
NX_API int nx_set_molecule_chain_names(const char* chains, int mol);
// Writes the characters and a NUL into a buffer of `length` bytes; 0, with those that fit written, when it is too
// short.
NX_API int nx_get_molecule_chain_names(char* chains, int length, int mol);
// 1 when some atom's chain is not blank.
NX_API int nx_is_molecule_chain_names_set(int mol);
// The index bound.
NX_API int nx_get_molecule_chain_names_size(int mol);
// The atom count and 1.
NX_API int nx_get_molecule_chain_names_length(int mol);
// Writes a blank and a NUL, and then the chain in place of the blank. 0 for a buffer of under 2 bytes; 0, with the
// blank written, when no atom has the index.
NX_API int nx_get_molecule_chain_names_element(char* out, int atom, int length, int mol);
// 2; 0 when no atom has the index.
NX_API int nx_get_molecule_chain_names_element_length(int atom, int mol);
// Writes, at each atom's index, where its character stands.
NX_API int nx_get_molecule_chain_names_index(int* index, int mol);

// ---- Bonds: 3 ints per bond at 3 * bond index: begin atom index, end atom index, order ----

// Rewires every bond. A bond to an atom that does not exist keeps what it had, with a warning.
NX_API int nx_set_molecule_bonds(const int* bonds, int mol);
// Writes 3 ints per bond; a bond that was never wired has ends -1 and order 0.
NX_API int nx_get_molecule_bonds(int* bonds, int mol);
// 1 when some bond has both its ends.
NX_API int nx_is_molecule_bonds_set(int mol);
// 3 * the bound of the bond indices.
NX_API int nx_get_molecule_bonds_length(int mol);
// Copies "bond_number*3" when bonds are set; 0 when not or for a null buffer.
NX_API int nx_get_molecule_bonds_length_string(char* out, int mol);
// One bond's 3 ints; 0 when no bond has the index.
NX_API int nx_get_molecule_bonds_element(int* bond_out, int bond, int mol);
// Rewires one bond from 3 ints; 0 when no bond has the index, or with a warning when an atom is not there.
NX_API int nx_set_molecule_bonds_element(const int* bond_in, int bond, int mol);

// ---- Atom masks: 1 int per atom; an entry that is not 0 selects the atom ----
//
// A molecule without mask counts as fully selected. Kept: programs rely on two defaults that differ. The combining
// functions and nx_mask_molecule_hydrogens start from entries of 16843009 (every byte 1),
// nx_set_molecule_atom_mask_element from entries of 1. Combining is bitwise, so that "and" with a mask of 1 keeps 1 of
// a default entry and "and" with a mask of 2 keeps nothing. Atoms made after a mask was set are not selected: their
// entries are 0. Data of another type than int under the mask's tag gives the toolkit's warning and counts as no mask,
// but for nx_is_molecule_atom_mask_set, which only asks whether there is data. The same holds for transforms.

// Sets the mask from an array with an entry per index.
NX_API int nx_set_molecule_atom_mask(const int* mask, int mol);
// Writes an entry per index; 0 when no mask is set.
NX_API int nx_get_molecule_atom_mask(int* mask, int mol);
// 1 when a mask is set.
NX_API int nx_is_molecule_atom_mask_set(int mol);
// One atom's entry; 0 when no mask is set or no atom has the index; 1 and nothing written when the index bound is 0.
NX_API int nx_get_molecule_atom_mask_element(int* value, int atom, int mol);
// Sets one atom's entry; 0 when no atom has the index; 1 and nothing set when the index bound is 0.
NX_API int nx_set_molecule_atom_mask_element(int value, int atom, int mol);
// The combining functions take an entry per index and give 1, with no mask set, when the index bound is 0.
//
// Sets to 0 every entry whose entry in `mask` is not 0. So this is "and not": it never selects an atom.
NX_API int nx_not_molecule_atom_mask(const int* mask, int mol);
// Each entry becomes its bitwise or with the entry in `mask`.
NX_API int nx_or_molecule_atom_mask(const int* mask, int mol);
// Each entry becomes its bitwise and with the entry in `mask`.
NX_API int nx_and_molecule_atom_mask(const int* mask, int mol);
// Sets the entries of hydrogens and dummy atoms (atomic numbers 1 and 0) to 0; as the combining functions.
NX_API int nx_mask_molecule_hydrogens(int mol);
// Entries that are not 0, those of deleted atoms too; the atom count when no mask is set.
NX_API int nx_atoms_masked(int mol);

// ---- Transforms: 7 floats a, b, c, d, tx, ty, tz: a quaternion, scalar first, and a translation in angstrom ----
//
// A transform is kept with the molecule until another is set; it moves nothing until it is applied. The quaternion may
// have any length but 0: it is normalised whenever it is used. A transform with a value that is not finite can be set
// but not used. It turns a point p, a column, into M p with the rows of M
//
//     aa+bb-cc-dd   2(bc+ad)      2(bd-ac)
//     2(bc-ad)      aa-bb+cc-dd   2(cd+ab)
//     2(bd+ac)      2(cd-ab)      aa-bb-cc+dd
//
// which is the transpose of the matrix that textbooks give for the quaternion: it turns by the quaternion's angle the
// other way round.

// Sets the transform.
NX_API int nx_set_molecule_transform(const float* transform, int mol);
// Writes the 7 floats; 0 when no transform is set.
NX_API int nx_get_molecule_transform(float* transform, int mol);
// 1 when a transform is set.
NX_API int nx_is_molecule_transform_set(int mol);
// Writes the 9 floats of M, row by row, and the 3 of the translation; either may be null, but not both. 0 when no
// transform is set; 0 too, where M is asked for, for a quaternion that is not finite, and with a warning for one of
// length 0.
NX_API int nx_get_molecule_transform_matrix(float* rotation, float* translation, int mol);
// Sets the transform whose M is the rotation (9 floats, row by row; null: no rotation) with the translation (3 floats;
// null: none). The quaternion comes out of unit length, with a not negative. `rotation` must be a rotation, as
// nx_reorthogonalize_rotation makes one of what is nearly one; of anything else the result is the quaternion of no
// rotation in particular, and 0 with nothing set when it is not finite.
NX_API int nx_set_molecule_transform_matrix(const float* rotation, const float* translation, int mol);
// Replaces the coordinates p of every atom, in every conformer, by M p + t, computed in double precision. The transform
// stays set. 0 when none is set or it is not finite, and with a warning for a quaternion of length 0.
NX_API int nx_transform_molecule(int mol);
// Takes the transform back: replaces p by the inverse of M times (p - t). Otherwise as nx_transform_molecule.
NX_API int nx_untransform_molecule(int mol);

// ---- Conformers ----
//
// All need a multi-conformer molecule, such as nx_make_molecule makes; for another one they warn and give 0. A
// conformer's index stays with it while it lives; deleting conformers leaves gaps.

// Writes the index of the active conformer.
NX_API int nx_get_molecule_conformer(int* conformer, int mol);
// Makes a conformer active; 0 when none has the index.
NX_API int nx_set_molecule_conformer(int conformer, int mol);
// Makes the conformer with the next higher index active and forgets the toolkit's stack of saved ones; 0, with nothing
// changed, at the last one.
NX_API int nx_increment_molecule_conformer(int mol);
// As nx_increment_molecule_conformer, to the next lower index; 0, with nothing changed, at the first one.
NX_API int nx_decrement_molecule_conformer(int mol);
// The number of conformers.
NX_API int nx_get_molecule_conformer_number(int mol);
// Sets the number of conformers to n. Missing ones are added with the coordinates of the active one; surplus ones are
// deleted from the front, and if the active one is among them, the first that is left becomes active. 0 for an n below
// 1 and for conformers that memory has no room for.
NX_API int nx_set_molecule_conformer_number(int n, int mol);
// 1 for a multi-conformer molecule.
NX_API int nx_is_molecule_conformer_number_set(int mol);

// ---- Copies ----

// A new molecule that equals this one: atoms and bonds under the same indices, names, residues, conformers and which is
// active, mask, transform and every other data item. Its handle; the caller deletes it with nx_delete_molecule. A
// multi-conformer molecule becomes one, as nx_make_molecule makes them; of any other the copy has one set of
// coordinates, those that the handle shows. 0 with a warning when handles are used up.
NX_API int nx_copy_molecule(int mol);
// A new molecule of the atoms that the mask selects, or of all atoms when no mask is set. The atoms keep their order
// and are numbered from 0; all their properties, names, residues and coordinates in every conformer are copied. Bonds
// with both ends kept are copied in their order and numbered from 0; bonds without ends are not. Title, transform,
// other data items and conformers (with indices, data and the active one) are copied unchanged; of the mask the entries
// of the kept atoms. The internal arrays of nxi_molecule_* are not copied. Returns its handle; 0 as for
// nx_copy_molecule.
NX_API int nx_make_molecule_from_mask(int mol);

// ---- Files ----

// Writes the molecule, active conformer, as a file that appears whole or not at all. `format` is "pdb", "mol2", "sdf",
// "xyz", "pqr", or "delphi_pdb": PDB with radius and charge in the columns of occupancy and temperature factor. 0 with
// a warning for a null name or format, a file that cannot be made, an unknown format, or a molecule that the format
// cannot hold; then there is no file, or the old one.
NX_API int nx_write_molecule(const char* filename, const char* format, int mol);
// Writes every molecule of a list to one file, in list order from the start. The list's cursor does not matter and is
// not moved. Nested lists are replaced by their molecules; other members are skipped. Several molecules are MODELs of a
// PDB or PQR file (9999 at most in PDB) and records of the other formats; an empty list makes a file without molecules.
// Otherwise as nx_write_molecule, and 0 with a warning for what is no list. A member that is the handle of a deleted
// molecule ends the process with a fatal report, as everywhere; there is no file then.
NX_API int nx_write_list_of_molecules(const char* filename, const char* format, int list);
// Writes n points (3n floats, angstrom) as a PDB file: one HETATM record per point, numbered from 1, of atom "DU", a
// dummy without element, in residue "PTS" 1 without chain. 1; 0, with a warning where the file cannot be made or has no
// name or a point does not fit into PDB columns, for null points and a negative n; with an n of 0, points may be null.
NX_API int nx_write_points_as_pdb(const char* filename, const float* points, int n);
// Makes bonds from the coordinates: single bonds between atoms at least 0.4 angstrom apart and at most the sum of their
// covalent radii and 0.45 angstrom, no more per atom than its element takes, and then bond orders and formal charges
// from geometry and valence. Metals bond to nonmetals other than hydrogen, within 0.3 angstrom of the sum; ions of
// alkali and alkaline-earth metals, noble gases, elements beyond curium and dummy atoms to nothing; atoms of different
// alternate locations not to one another. Bonds that were there stay, their orders are set anew. 1.
NX_API int nx_make_bonds_by_distance(int mol);

// ---- For the library's modules ----
//
// Copies of the arrays that the molecule owns, rebuilt at every call; the pointer is valid until the same function is
// called again on the molecule, or the molecule is cleared or deleted. Packed in atom order: as long as the atom
// count, so that an atom's place is its index only while no atom was deleted. Never null.

// 3 floats per atom, of the active conformer, angstrom.
NX_API float* nxi_molecule_coordinates(int mol);
// 1 float per atom, angstrom.
NX_API float* nxi_molecule_radii(int mol);
// 1 float per atom, elementary charges.
NX_API float* nxi_molecule_charges(int mol);
// 1 int per atom.
NX_API int* nxi_molecule_atom_type(int mol);
// As nx_get_molecule_atom_names packs them.
NX_API char* nxi_molecule_atom_names(int mol);
// As nx_get_molecule_residue_names packs them.
NX_API char* nxi_molecule_residue_names(int mol);

// The molecule's own mask, of as many entries as the index bound, or null when none is set; valid until the mask is set
// again, atoms are made, or the molecule is cleared or deleted. Changing its entries changes the mask.
NX_API int* nxi_molecule_atom_mask(int mol);

NX_END_DECLS

#endif
