// The least-squares superposition of two sets of points: the proper rotation and the translation that move the second
// onto the first with the least sum of squared distances. Private to the module; C++ only.
#ifndef NXBRIOCHEM_GEOMETRY_SUPERPOSITION_INTERNAL_H
#define NXBRIOCHEM_GEOMETRY_SUPERPOSITION_INTERNAL_H

#include <nxbriochem/geometry/superposition_kernels_internal.h>

namespace superposition {

struct Fit {
  Matrix rotation;  // determinant 1; exactly none for a set and its copy
  Vector centre1;
  Vector centre2;
  double sum_of_squares;  // of the distances after the fit

  // Where a point of the second set goes.
  Vector moved(const float* point) const;
  // What is added to a rotated point: centre1 - rotation * centre2.
  Vector translation() const;
};

// Computes the fit by a supported instruction set. False without pairs and for points that are not finite.
bool fit(const PointPairs& pairs, InstructionSet set, Fit& out);

// Only the sum of squares of the distances after the fit, which takes less time.
bool sum_of_squares(const PointPairs& pairs, InstructionSet set, double& out);

}  // namespace superposition

#endif
