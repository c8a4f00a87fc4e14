// The eigenvalues and eigenvectors of a symmetric 3 x 3 matrix in double precision, accurate for every finite matrix:
// used by the principal axes and the superpositions of this directory. Private to the directory; C++ only.
#ifndef NXBRIOCHEM_GEOMETRY_SYMMETRIC3_INTERNAL_H
#define NXBRIOCHEM_GEOMETRY_SYMMETRIC3_INTERNAL_H

#include <array>

#include <nxbriochem/export.h>

namespace symmetric3 {

struct PrincipalAxes {
  std::array<double, 3> values;  // descending
  std::array<double, 9> axes;    // row i is the unit eigenvector of values[i]; orthonormal, of either handedness
};

// The upper triangle of the row-major m is read; the elements must be finite. R^T diag(l) R of the result differs from
// m by some 1e-15 of its norm, also for clustered eigenvalues. Eigenvalues far below the largest keep the digits that m
// determines. Only plain arithmetic and square roots are used, so that every compiler gives the same bits.
NX_LOCAL PrincipalAxes principal_axes(const std::array<double, 9>& m);

// As principal_axes, by cyclic Jacobi rotations from an orthonormal guess at the axes (rows). The closer the guess, the
// fewer rotations.
NX_LOCAL PrincipalAxes jacobi_axes(const std::array<double, 9>& m, const std::array<double, 9>& guess);

}  // namespace symmetric3

#endif
