// The step of a trust-region method in six variables. Private to the library.
#ifndef NXBRIODOCK_TRUST_REGION_H
#define NXBRIODOCK_TRUST_REGION_H

#include "rigid.h"

namespace nxbriodock {

// A quadratic model g.p + p.H p / 2 in its principal axes.
class QuadraticModel {
 public:
  QuadraticModel(const Vector6& gradient, const Matrix6& hessian);

  double least_curvature() const { return curvatures_[0]; }
  double largest_curvature() const { return curvatures_[5]; }
  // The p of a length of up to `radius` at which the model is least, and how much lower it is there than at 0.
  Vector6 lowest_within(double radius, double& gain) const;

 private:
  Vector6 curvatures_;
  Matrix6 axes_;
  // Along the axes.
  Vector6 slopes_;
};

}  // namespace nxbriodock

#endif
