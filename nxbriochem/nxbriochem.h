// All that a calling program needs. Valid C11 and C++.
//
// Conventions. Status results are 1 for success and 0 for failure, a look-up that finds nothing gives -1, a pointer
// that cannot be given is null; each function's comment states only what differs. Objects are named by integer handles
// in three number spaces: positive ones for registry objects (obj_man.h), -1 to -999999999 for molecules, -1000000001
// and below for grids. Molecule functions take the molecule handle last. Flat arrays lie one item after another;
// coordinates are float triples x, y, z in angstrom. Failures are queued as messages (error.h); the molecule layer
// reports on standard error instead. The library is used from one thread at a time.
//
// From C++17 on, molecules as objects come with it too (memmgr.h, and the toolkit's classes in nxchem.h).
#ifndef NXBRIOCHEM_NXBRIOCHEM_H
#define NXBRIOCHEM_NXBRIOCHEM_H

#include <nxbriochem/geometry/eigen_jag.h>
#include <nxbriochem/geometry/matrix.h>
#include <nxbriochem/geometry/mol_func1.h>
#include <nxbriochem/geometry/mol_func2.h>
#include <nxbriochem/geometry/r_eig.h>
#include <nxbriochem/geometry/roots.h>
#include <nxbriochem/molecules/bits.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/molecule_readers.h>
#include <nxbriochem/molecules/pdb_struct.h>
#include <nxbriochem/objects/error.h>
#include <nxbriochem/objects/files.h>
#include <nxbriochem/objects/list_obj.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/obj_man.h>
#include <nxbriochem/objects/object_memory.h>
#include <nxbriochem/objects/print.h>
#include <nxbriochem/optimise/func_list.h>
#include <nxbriochem/optimise/line_search.h>
#include <nxbriochem/optimise/opt.h>
#include <nxbriochem/util/parser.h>
#include <nxbriochem/util/prand.h>

#if defined(__cplusplus) && __cplusplus >= 201703L
#include <nxbriochem/molecules/memmgr.h>
#endif

#endif
