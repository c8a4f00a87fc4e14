// Atoms as an array of records, one per atom with all fields of a PDB file, and functions that write them to files and
// convert them to molecules and back.
#ifndef NXBRIOCHEM_MOLECULES_PDB_STRUCT_H
#define NXBRIOCHEM_MOLECULES_PDB_STRUCT_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// One atom. Texts end in a NUL and may be empty; characters that are not known are blanks. A record whose bytes are all
// zero is an atom at the origin with nothing else known, and NUL characters count as blanks.
typedef struct PdbStruct {
  float coordinates[3];      // x, y, z, angstrom
  float radius;              // angstrom
  float charge;              // elementary charges
  float occupancy;           // 1 for an atom that is always there
  float temperature_factor;  // square angstrom
  int residue_number;        // resSeq, the author's numbering
  char atom_name[8];         // as a PDB file has it
  char residue_name[8];      // three characters are usual
  char element[4];           // symbol; empty: told from the atom's name
  char chain;                // its letter
  char insertion_code;       // behind the residue number
  char alternate_location;   // its letter
  char het_atom;             // 1: HETATM, 0: ATOM
} PdbStruct;

// Writes records as a PDB file. Type 0 is plain PDB; type 1 has radius and charge in the columns of occupancy and
// temperature factor; a type above 1 gives a warning and is written as type 0, as negative ones are. `bonds` holds
// 3 ints per bond: the places of its two atoms in the array, and its order. `radii` and `charges`, one float per atom,
// replace those of the records; either may be null, and so may `bonds` when `nbonds` is 0 and `atoms` when `natoms` is.
// Bonds with an atom outside the array give a warning and are left out. 1; 0 with a warning when there is no file name,
// the file cannot be made, or a record does not fit into PDB columns; 0 for null arrays and negative counts. Then there
// is no file, or the old one.
NX_API int nxi_write_pdb(const char* filename, int type, const PdbStruct* atoms, int natoms, const int* bonds,
                         int nbonds, const float* radii, const float* charges);

NX_END_DECLS

#endif
