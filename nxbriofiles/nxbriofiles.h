// libnxbriofiles: reads structure files into molecules of libnxbriochem and writes them, selects atoms by a text, and
// gives access to data of a file for which libnxbriochem has no arrays. Valid C11 and C++.
//
// Conventions are nxbriochem.h's: status results are 1 and 0, an output argument comes first and the handle last, a
// function that returns a pointer fails with null, nothing is thrown, and the library is used from one thread at a
// time. A handle that names no molecule ends the process with a fatal report, as in the molecule layer. A failure
// queues one error message, "FILE: what is wrong" or "FILE:LINE: what is wrong" (error.h cuts it at 200 characters;
// nxf_last_error has it whole), and changes nothing. Running out of memory is a failure, too; but inside functions of
// libnxbriochem, which make molecules and write most formats, it ends the process.
//
// A format is a word: "pqr", "pdb", "mmcif", "sdf", "mol2" or "xyz", in writing also "delphi_pdb" (PDB with radius and
// charge in the columns of occupancy and temperature factor; reading detects this itself). With null or "" the file's
// ending decides (.pqr, .pdb .ent, .cif .mmcif, .sdf .sd .mol, .mol2, .xyz), or in reading, when the ending is another
// one, the content. Files compressed by gzip are read under any name; in writing, ".gz" at the end of the path or of
// the word ("sdf.gz") asks for it. CR, LF and CR LF each end a line.
//
// A record is the part of a file that holds one molecule: a model of a PDB, mmCIF or PQR file, an entry of an SD or
// mol2 file, a frame of an XYZ file. Models without atoms are skipped.
#ifndef NXBRIOFILES_NXBRIOFILES_H
#define NXBRIOFILES_NXBRIOFILES_H

#include <stddef.h>

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// ---- Reading at once ----

// Reads the file's first molecule. Its handle; the caller deletes it with nx_delete_molecule. 0 on failure. A note says
// what else the file holds. Charges and radii: see nxf_charge_source and nxf_radius_source.
NX_API int nxf_read_molecule(const char* path, const char* format);
// As nxf_read_molecule, from the `size` bytes of such a file, gzipped or not. The bytes are not used after the call.
// `name` takes the place of the path: it appears in messages, and its ending tells the format. Null means "memory".
NX_API int nxf_read_molecule_from_memory(const void* bytes, size_t size, const char* name, const char* format);
// Reads all molecules of a file and appends them to a list. On failure, a faulty record among them, nothing is
// appended.
NX_API int nxf_add_molecules_to_list(const char* path, const char* format, int list);
// As nxf_add_molecules_to_list, from bytes as in nxf_read_molecule_from_memory.
NX_API int nxf_add_molecules_to_list_from_memory(const void* bytes, size_t size, const char* name, const char* format,
                                                 int list);

// ---- Reading record by record ----
//
// A reader holds one record at a time, so that a file of a million records takes no more memory than one of ten, also
// through a pipe. Only mmCIF, and PDB through a pipe, are held whole. Readers are named by positive integers, which are
// not handles of the registry. A value that names no reader gives 0 or null, with an error message.

// Opens a file. The reader; close it with nxf_close_reader. 0 on failure.
NX_API int nxf_open_reader(const char* path, const char* format);
// As nxf_open_reader, from bytes as in nxf_read_molecule_from_memory. The bytes must stay valid until the reader is
// closed.
NX_API int nxf_open_memory_reader(const void* bytes, size_t size, const char* name, const char* format);
// Reads the next record. 1 when there was one, 0 at the end of the file. *mol becomes its molecule, which the caller
// deletes, or 0 when the record is faulty. A faulty record queues an error message, and the next call continues after
// it. A null `mol` is refused.
NX_API int nxf_read_record(int* mol, int reader);
// Skips the next record: only its end is looked for. Its text is then available from nxf_record_text. 1 when there was
// one, 0 at the end of the file. A record that cannot be read to its end (the last of a damaged file) counts as one: it
// queues an error message and has no text.
NX_API int nxf_skip_record(int reader);
// The text of the record last read or skipped, with LF as line ends, NUL-terminated. Its length goes to `size` unless
// that is null. A PDB record includes the LINK, SSBOND and CONECT lines of the whole file, so that the text is a
// complete file. Valid until the next call for the reader. Null before the first record. For mmCIF, whose models share
// one table, it is the whole file.
NX_API const char* nxf_record_text(size_t* size, int reader);
// The number of the record last read or skipped, counted from 1; 0 before the first.
NX_API int nxf_record_number(int reader);
// The line on which that record begins, counted from 1; 0 before the first.
NX_API size_t nxf_record_line(int reader);
// The format word of the file.
NX_API const char* nxf_reader_format(int reader);
// Closes the reader. Its molecules stay.
NX_API int nxf_close_reader(int reader);

// ---- What reading says of a molecule ----
//
// This is stored with the molecule: nx_copy_molecule copies it, nx_clear_molecule and nx_delete_molecule remove it.
// Texts belong to the molecule and are valid until it is changed or deleted. For a molecule that was not read by this
// library the texts are empty and the numbers 0.

// The format word of the file.
NX_API const char* nxf_molecule_format(int mol);
// The model's number in the file; for formats without model numbers, that of the record.
NX_API int nxf_molecule_model(int mol);
// The title in the file: PDB's TITLE, mmCIF's _struct.title, the name or comment of an SDF, mol2 or XYZ entry. For the
// latter three it is also the molecule's name (nx_get_molecule_name); otherwise that is the file's name without
// endings.
NX_API const char* nxf_molecule_title(int mol);
// Where the charges come from: "file" for partial charges in the file (PQR, mol2, delphi_pdb); "formal" for formal
// ones: those in the file, and in residues that have none there +1 on LYS NZ and +1/2 on ARG NH1 and NH2, -1/2 on ASP
// OD1 and OD2 and GLU OE1 and OE2 (nx_charge_protein), none on an acid with its hydrogen, +1/2 on ND1 and NE2 of HIP
// and HSP and of a HIS with both hydrogens, -1 on CYM SG, +1 on the N of a protein chain's first residue, -1/2 on O and
// OXT, -1 shared by the outer oxygens of a nucleotide's phosphate (-2 by those of one at a chain's end or on a side
// chain) and an ion's by its residue's name; "none" when every atom is neutral by these rules. Notes count what was
// left neutral: phosphates, ions, ligands, modified residues and chain ends.
NX_API const char* nxf_charge_source(int mol);
// Where the radii come from: "file", or "Bondi" (nx_assign_bondi_radii).
NX_API const char* nxf_radius_source(int mol);

// How many notes there are: what the reader had to decide, and what is missing.
NX_API int nxf_number_of_notes(int mol);
// The k-th note, from 0, one sentence; null when there is none.
NX_API const char* nxf_note(int k, int mol);

// How many residues there are. A residue begins where residue name, number or insertion code differ from those of the
// chain's atom before.
NX_API int nxf_number_of_residues(int mol);
// How many chains there are.
NX_API int nxf_number_of_chains(int mol);
// The k-th chain's letter, from 0 in the order of the file, as nx_get_molecule_chain_names has it; NUL when there is
// none. Chains with longer names have been given free letters, of which there are 91; where those end, a blank.
NX_API char nxf_chain_letter(int k, int mol);
// The k-th chain's name in the file; null when there is none.
NX_API const char* nxf_chain_name(int k, int mol);

// ---- Data fields ----
//
// The named data fields of an SD file. They are written back into SD files.

// How many fields there are.
NX_API int nxf_number_of_fields(int mol);
// The k-th field's name, from 0; null when there is none.
NX_API const char* nxf_field_name(int k, int mol);
// The text of the field of that name, with LF between lines; null when there is none.
NX_API const char* nxf_field(const char* name, int mol);
// Sets or replaces a field. 0 for null, for a name that is empty or has line ends or '>' in it, and for a text with an
// empty line in it or "$$$$" on one, which no SD file can hold.
NX_API int nxf_set_field(const char* name, const char* text, int mol);
// Deletes a field; 0 when there is none of that name.
NX_API int nxf_delete_field(const char* name, int mol);

// ---- Atoms beyond the flat arrays ----
//
// Arrays have an entry per atom index, nx_get_molecule_charges_length in all. Getters leave the entries of deleted
// atoms unchanged. They work for any molecule. 0 for a null array.

// Atomic numbers; 0 for an unknown element.
NX_API int nxf_get_atomic_numbers(int* numbers, int mol);
// Sets the atomic numbers. 0, with nothing changed, when one is negative or above 118.
NX_API int nxf_set_atomic_numbers(const int* numbers, int mol);
// Formal charges, elementary charges.
NX_API int nxf_get_formal_charges(int* charges, int mol);
// Sets the formal charges.
NX_API int nxf_set_formal_charges(const int* charges, int mol);
// Insertion codes, one character each, a blank for none.
NX_API int nxf_get_insertion_codes(char* codes, int mol);
// 1 where the file's record is HETATM, else 0.
NX_API int nxf_get_hetero_flags(int* flags, int mol);
// Occupancies, 0 to 1.
NX_API int nxf_get_occupancies(float* occupancies, int mol);
// Temperature factors, square angstrom.
NX_API int nxf_get_b_factors(float* factors, int mol);

// ---- Choosing atoms ----

// Writes 1 for each selected atom and 0 for the others, with an entry per atom index, as nx_set_molecule_atom_mask
// takes them. The language is gemmi's, "/model/chains/residues/atoms" with parts left out ("A", "A/10-20", "(ALA,GLY)",
// "CA[C]", "*;q<0.5"), and the words `protein`, `nucleic`, `water`, `hetero` and `all`, which look at residue names, or
// for hetero at the HETATM flag. They are joined by `not`, `and`, `or` and brackets, each with blanks around: "protein
// and not A". Chains are named as in the file. 0, with an error message, for null and for a text that is no selection.
NX_API int nxf_select(int* mask, const char* selection, int mol);

// A new molecule of the atoms whose mask is not 0, in their order, with the bonds between them, their charges and
// radii, and the molecule's fields. Residues and chains are counted anew, a chain without a letter gets a free one, and
// notes and nxf_charge_source are about the chosen atoms. The mask has an entry per atom index. Coordinates are those
// of the active conformer. Its handle; the caller deletes it with nx_delete_molecule. 0, with an error message, for
// null and when no atom is chosen.
NX_API int nxf_extract_atoms(const int* mask, int mol);

// ---- Writing ----

// Writes the molecule. The file appears whole or not at all; a path that is a device or a pipe is written in place.
// PQR and PDB are refused where chains have no letter.
NX_API int nxf_write_molecule(const char* path, const char* format, int mol);
// Writes the molecules of a list, and of lists within it, into one file, as models or records in order.
NX_API int nxf_write_list_of_molecules(const char* path, const char* format, int list);
// The bytes of the file that nxf_write_molecule would write, followed by a NUL. Their number goes to `size` unless that
// is null. They belong to the library and are valid until the next call of this function or nxf_list_text. Null on
// failure. Here `format` must be a format word.
NX_API const char* nxf_molecule_text(size_t* size, const char* format, int mol);
// As nxf_molecule_text, for the molecules of a list.
NX_API const char* nxf_list_text(size_t* size, const char* format, int list);

// ---- Failures ----

// The whole message of the last failed call of this library; "" when none has failed. It belongs to the library and is
// valid until the next call that fails.
NX_API const char* nxf_last_error(void);

NX_END_DECLS

#endif
