// The Householder reduction and the search for eigenpairs behind the interface of r_eig.h. Matrices are flat,
// row-major, n x n, n at least 1. Private to the directory; C++ only.
#ifndef NXBRIOCHEM_GEOMETRY_R_EIG_PAIRS_INTERNAL_H
#define NXBRIOCHEM_GEOMETRY_R_EIG_PAIRS_INTERNAL_H

#include <nxbriochem/export.h>
#include <nxbriochem/util/work_array_internal.h>

namespace r_eig {

inline double* row_of(double* matrix, int i, int n) { return matrix + work_array::size_of(i) * work_array::size_of(n); }

enum class Outcome { found, too_many_iterations, too_many_restarts, zero_dot_product };

// Reduces the symmetric a (only its lower triangle is read) from its last row to its first: diagonal into d,
// subdiagonal into e. Row i of a then holds the vector u of its reflection, of i elements; it is 0 where no reflection
// was needed. `work` has n elements.
NX_LOCAL void reduce(double* a, double* d, double* e, double* work, int n);

// Overwrites a by the product of the reflections that reduce() left in its rows. `work` has n elements.
NX_LOCAL void accumulate(double* a, double* work, int n);

// Writes the eigenvalues of a into values, in descending order of magnitude, and the eigenvectors into the rows of a.
// Both stay unchanged unless all are found.
NX_LOCAL Outcome find_eigenpairs(double* a, double* values, int n);

}  // namespace r_eig

#endif
