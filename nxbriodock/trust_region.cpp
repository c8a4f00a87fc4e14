// The model's least point within a sphere, by its eigenvectors (More and Sorensen, SIAM J. Sci. Stat. Comput. 4 (1983)
// 553): p = -(H + shift)^-1 g, with the least shift that makes H + shift positive and p short enough. In six variables
// eigenvectors cost next to nothing beside the sum over pairs, and bisection finds the shift.
#include "trust_region.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>

namespace nxbriodock {
namespace {

// Axes of less curvature and slope than this part of the largest are none: those about which nothing turns.
constexpr double kNothing = 1e-15;
constexpr int kHalvings = 100;

}  // namespace

QuadraticModel::QuadraticModel(const Vector6& gradient, const Matrix6& hessian) {
  const Eigen::SelfAdjointEigenSolver<Matrix6> solver(hessian);
  curvatures_ = solver.eigenvalues();
  axes_ = solver.eigenvectors();
  slopes_ = axes_.transpose() * gradient;
}

Vector6 QuadraticModel::lowest_within(double radius, double& gain) const {
  const double steepest = slopes_.norm();
  const double most_curved = curvatures_.cwiseAbs().maxCoeff();
  const auto steps_at = [&](double shift) {
    Vector6 steps = Vector6::Zero();
    for (int i = 0; i < 6; ++i) {
      const double curvature = curvatures_[i] + shift;
      if (curvature > kNothing * most_curved) {
        steps[i] = -slopes_[i] / curvature;
      } else if (std::abs(slopes_[i]) > kNothing * steepest) {
        steps[i] = slopes_[i] < 0.0 ? INFINITY : -INFINITY;
      }
    }
    return steps;
  };
  double low = std::max(0.0, -curvatures_[0]);
  Vector6 steps = steps_at(low);
  if (steps.norm() > radius) {
    double high = low + steepest / radius;
    for (int k = 0; k < kHalvings; ++k) {
      const double middle = 0.5 * (low + high);
      (steps_at(middle).norm() > radius ? low : high) = middle;
    }
    steps = steps_at(high);
  } else if (curvatures_[0] < 0.0) {
    // No slope along the axis of most negative curvature: both directions are equal.
    steps[0] += std::sqrt(std::max(0.0, radius * radius - steps.squaredNorm()));
  }
  gain = -(slopes_.dot(steps) + 0.5 * steps.dot(curvatures_.cwiseProduct(steps)));
  return axes_ * steps;
}

}  // namespace nxbriodock
