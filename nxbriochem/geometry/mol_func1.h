// Lists of molecules from list files: text files that name structure files. Each entry point ends as
// molecule_readers.h says, in the fatal report of nxi_file_input_list, since this library reads no structure files.
#ifndef NXBRIOCHEM_GEOMETRY_MOL_FUNC1_H
#define NXBRIOCHEM_GEOMETRY_MOL_FUNC1_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// Reads the molecules that a list file names into a new list, handle written to *list. `format` is that of the files:
// "pdb", "delphi_pdb", "mol2" or "mol2_charged" (here "mol2_charge" says the same); `kind` is the list file's, "alist"
// or "nlist". Results as below, 0 with a warning for another format too.
NX_API int nx_get_list_of_molecules_from_list_file(const char* filename, const char* format, const char* kind,
                                                   int* list);
// Appends the molecules of the PDB files that a list file names to a list; the format is the function's own. `kind` is
// "alist" or "nlist". 0 with a warning for null arguments, another kind, a file that cannot be opened or what is no
// list.
NX_API int nx_add_molecules_to_list_from_list_file(const char* filename, const char* kind, int list);
// The same for PDB files with radius and charge in the columns of occupancy and temperature factor.
NX_API int nx_add_delphi_molecules_to_list_from_list_file(const char* filename, const char* kind, int list);
// The same for mol2 files.
NX_API int nx_add_mol2_molecules_to_list_from_list_file(const char* filename, const char* kind, int list);

NX_END_DECLS

#endif
