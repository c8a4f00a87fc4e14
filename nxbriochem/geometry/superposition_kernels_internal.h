// The sums over pairs of points behind a least-squares superposition: a plain version, which defines the results, and
// vector versions that give the same bits faster. Private to the module; C++ only.
//
// Everything is computed in double. Pair i belongs to lane i % 4; each lane adds up its pairs in order, and a sum is
// (lane 0 + lane 1) + (lane 2 + lane 3).
#ifndef NXBRIOCHEM_GEOMETRY_SUPERPOSITION_KERNELS_INTERNAL_H
#define NXBRIOCHEM_GEOMETRY_SUPERPOSITION_KERNELS_INTERNAL_H

#include <array>

#include <nxbriochem/geometry/instruction_set_internal.h>
#include <nxbriochem/util/vector3_internal.h>

namespace superposition {

using instruction_set::InstructionSet;

using vector3::Matrix;
using vector3::Vector;

// Two sets of `count` points, 3 floats each; point i of one is matched with point i of the other. At least one.
struct PointPairs {
  const float* first;
  const float* second;
  int count;
};

// The sums that determine the superposition. x and y are the points of the first and the second set, each relative to
// the set's first point. These differences are exact, so that sets far from the origin lose no digits.
struct PairSums {
  Vector x;        // sum of x
  Vector y;        // sum of y
  double squares;  // sum of |x|^2 + |y|^2
  Matrix product;  // [3 i + j]: sum of x_i y_j
};

// Computes the sums by the given version, which must be supported. Instruction sets without a version of their own use
// the next narrower one. Every version gives the same bits (of a NaN, only that it is one).
PairSums sum_pairs(const PointPairs& pairs, InstructionSet set);

// The sum of |x - (turn y + shift)|^2 over the points as they are, by the given version. The bits are the same for all
// versions, as in sum_pairs.
double sum_squared_residuals(const PointPairs& pairs, const Matrix& turn, const Vector& shift, InstructionSet set);

}  // namespace superposition

#endif
