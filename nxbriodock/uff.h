// Van der Waals parameters by element, for the 12-6 term: the nonbond distances x_I and energies D_I of the Universal
// Force Field (Rappe, Casewit, Colwell, Goddard, Skiff, J. Am. Chem. Soc. 114 (1992) 10024, table 1), which has them
// for every element up to lawrencium. Two atoms attract most at sqrt(x_I x_J), by sqrt(D_I D_J).
#ifndef NXBRIODOCK_UFF_H
#define NXBRIODOCK_UFF_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// Writes an element's distance, angstrom, and well depth, kcal/mol; either may be null. 0, without a message, for an
// atomic number that is not from 1 to 103.
NX_API int nxd_get_uff_parameters(int atomic_number, double* distance, double* well_depth);

NX_END_DECLS

#endif
