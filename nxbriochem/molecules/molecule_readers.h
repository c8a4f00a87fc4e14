// Reading molecules from files: the entry points, and the low-level readers behind them. This library reads no
// structure files: every low-level reader ends the process with a fatal report that says so. Programs read files by
// themselves and hand the atoms over (briochem.h).
//
// The entry points check what they are given first, so that only calls with valid arguments end the process. They give
// 0 with a warning for a null file name ("Unrecognized blank filename"), a null format word ("Unrecognized blank file
// format"), a word that is not theirs ("Unrecognized file format '%s'"), and a file that cannot be opened ("Unable to
// open %s for reading: %s", or "writing"), in this order; and 0 without a warning for a null out-pointer.
#ifndef NXBRIOCHEM_MOLECULES_MOLECULE_READERS_H
#define NXBRIOCHEM_MOLECULES_MOLECULE_READERS_H

#include <stdio.h>

#include <nxbriochem/export.h>
#include <nxbriochem/molecules/pdb_struct.h>

NX_BEGIN_DECLS

// The names of several files.
typedef struct File_list {
  int number;    // of names
  char** names;  // NUL-terminated, the caller's
} File_list;

// A record of a file of charges or radii; its layout is that of the reader that is not here.
typedef struct CRecord CRecord;

// Reads one molecule into a new one, handle written to *mol: "delphi", "delphi_pdb" (nxi_read_pdb_connect), "mol2",
// "mol2_charged" (nxi_read_mol2).
NX_API int nx_get_molecule_object_from_file(const char* filename, const char* format, int* mol);
// Reads all molecules of a file into a new list, handle written to *list: "delphi_pdb" (nxi_read_pdb), "mol2",
// "mol2_charged" (nxi_read_mol2).
NX_API int nx_get_list_of_molecules_from_file(const char* filename, const char* format, int* list);
// Reads a binary file into a new list: "binary_pdb" (nxi_read_binary_pdb), "delphi_binary_pdb"
// (nxi_read_binary_pdb_r_q), the latter with radii and charges.
NX_API int nx_get_list_of_molecules_from_binary_file(const char* filename, const char* format, int* list);
// Writes the molecules of a list to a binary file: "binary_pdb" (nxi_write_binary_pdb), "delphi_binary_pdb"
// (nxi_write_binary_pdb_q_r). The latter needs radii and charges: 0 with the warning "molecule radii not all set!\n" or
// "molecule charges not all set!\n" when a molecule has none. The file is not touched.
NX_API int nx_write_list_of_molecules_to_binary_file(const char* filename, const char* format, int list);

// ---- The low-level readers and writers: a fatal report each, unless said otherwise ----
//
// Each names itself and says "not implemented". A reader in their place would give 1, and 0 when a file cannot be read;
// arrays that it returns would belong to it. `type` is 0 for PDB and 1 for radius and charge in the columns of
// occupancy and temperature factor; with `connect` not 0, bonds are read too.

// Would write one molecule to a stream.
NX_API int nxi_write_molecule(FILE* stream, int mol);
// Would read one molecule from a stream; its handle.
NX_API int nxi_read_molecule(FILE* stream);
// Would read one molecule from a file, handle written to *mol.
NX_API int nx_read_molecule_object(const char* filename, int* mol);
// Would read the molecules of several mol2 files.
NX_API int nx_read_mol2s(void);
// Would read one record.
NX_API int nxi_read_PdbStruct(void);
// Would read a mol2 file.
NX_API int nxi_read_mol2(void);
// Would read a PDB file with its bonds.
NX_API int nxi_read_pdb_connect(void);
// Would read the names in a list file; kind 0 is "alist", 1 "nlist".
NX_API int nxi_file_input_list(int kind, const char* filename, File_list* files);
// Would read a file of charges or radii.
NX_API int nxi_read_delphi_crg_or_rad_record(int kind, const char* filename, CRecord** records, int* count, int hash);
// Would read the records of one PDB file.
NX_API int nxi_read_pdb(int type, const char* filename, int connect, PdbStruct** atoms, int* natoms, float** radii,
                        float** charges);
// Would read the records of several PDB files, one after the other; `natoms` has an entry per file.
NX_API int nxi_read_pdbs(int type, File_list files, PdbStruct** atoms, int* natoms, int* nmolecules, int connect,
                         float** radii, float** charges);
// Would read the records of a binary file; *natoms has an entry per name in *files.
NX_API int nxi_read_binary_pdb(int type, const char* filename, File_list* files, PdbStruct** atoms, int** natoms);
// As nxi_read_binary_pdb, with radii and charges.
NX_API int nxi_read_binary_pdb_r_q(int type, const char* filename, File_list* files, PdbStruct* atoms, int** natoms,
                                   float** radii, float** charges);
// Would write the records of several molecules, one after the other, to a binary file; `natoms` has an entry per name.
NX_API int nxi_write_binary_pdb(const char* filename, File_list files, PdbStruct* atoms, int* natoms);
// As nxi_write_binary_pdb, with charges and radii.
NX_API int nxi_write_binary_pdb_q_r(const char* filename, File_list files, PdbStruct* atoms, int* natoms,
                                    float* charges, float* radii);

// Reports an error and returns 1, alone among these.
NX_API int nx_write_molecule_object(const char* filename, int mol);

NX_END_DECLS

#endif
