// Jacobi's sweeps, in place and on mirrored copies in vector registers, which give the same bits. Private to the
// module; C++ only.
//
// A rotation in the plane of p and q takes each pair (g, h) of elements in rows (and columns) p and q to
//   g - s (h + g tau),  h + s (g - h tau)
// every operation rounded to the working precision. Pairs are independent, so that each lane can take one.
#ifndef NXBRIOCHEM_GEOMETRY_JACOBI_SWEEPS_INTERNAL_H
#define NXBRIOCHEM_GEOMETRY_JACOBI_SWEEPS_INTERNAL_H

#include <nxbriochem/geometry/instruction_set_internal.h>

namespace eigen_jag {

using instruction_set::InstructionSet;

constexpr int kMaxSweeps = 50;

// The fastest version for n rows that this processor can run.
InstructionSet best_instruction_set(int n);

// Diagonalises a (its upper triangle is read) by the given version, which must be supported: eigenvalues into d[n],
// eigenvectors into the columns of v, the number of rotations into nrot. False when kMaxSweeps sweeps do not suffice. b
// and z are work vectors of n elements; the vector versions also allocate a tracked block, and free it. Every version
// gives the same bits (of a NaN, only that it is one). T is float or double.
template <class T>
bool diagonalise(T** a, int n, T* d, T** v, int* nrot, T* b, T* z, InstructionSet set);

}  // namespace eigen_jag

#endif
