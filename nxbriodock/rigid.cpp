#include "rigid.h"

#include <cmath>

namespace nxbriodock {
namespace {

// The coefficients of a rotation by a vector w of length t: with W v = w x v, the rotation is 1 + sine W + cosine W W,
// and its left Jacobian 1 + cosine W + rest W W.
struct Exponential {
  double sine;    // sin t / t
  double cosine;  // (1 - cos t) / t^2
  double rest;    // (t - sin t) / t^3

  explicit Exponential(const Vector3& w) {
    const double t2 = w.squaredNorm();
    if (t2 < 1e-2) {
      // Where the quotients lose digits; the terms left out are below the last place.
      sine = 1.0 - t2 / 6.0 * (1.0 - t2 / 20.0 * (1.0 - t2 / 42.0 * (1.0 - t2 / 72.0)));
      cosine = 0.5 - t2 / 24.0 * (1.0 - t2 / 30.0 * (1.0 - t2 / 56.0 * (1.0 - t2 / 90.0)));
      rest = (1.0 - t2 / 20.0 * (1.0 - t2 / 42.0 * (1.0 - t2 / 72.0 * (1.0 - t2 / 110.0)))) / 6.0;
      return;
    }
    const double t = std::sqrt(t2);
    const double half = std::sin(0.5 * t);
    sine = std::sin(t) / t;
    cosine = 2.0 * half * half / t2;
    rest = (t - std::sin(t)) / (t2 * t);
  }
};

}  // namespace

Matrix3 cross_matrix(const Vector3& v) {
  Matrix3 m;
  m << 0.0, -v[2], v[1], v[2], 0.0, -v[0], -v[1], v[0], 0.0;
  return m;
}

Matrix3 rotation_by(const Vector3& vector) {
  const Exponential e(vector);
  const Matrix3 w = cross_matrix(vector);
  return Matrix3::Identity() + e.sine * w + e.cosine * (w * w);
}

// The transpose of the left Jacobian, times the torque.
Vector3 by_rotation_vector(const Vector3& vector, const Vector3& torque) {
  const Exponential e(vector);
  const Vector3 once = vector.cross(torque);
  return torque - e.cosine * once + e.rest * vector.cross(once);
}

bool placement_of(const double* pose, const Vector3& centre, Placement& placement) {
  // The library's M turns the other way round than the textbook's.
  Eigen::Quaterniond q(pose[0], -pose[1], -pose[2], -pose[3]);
  const double largest = q.coeffs().cwiseAbs().maxCoeff();
  const Vector3 translation(pose[4], pose[5], pose[6]);
  if (!(largest > 0.0) || !q.coeffs().allFinite() || !translation.allFinite()) {
    return false;
  }
  q.coeffs() /= largest;
  q.normalize();
  placement.rotation = q.toRotationMatrix();
  placement.move = translation + placement.rotation * centre - centre;
  return true;
}

void write_pose(const Placement& placement, const Vector3& centre, double* pose) {
  Eigen::Quaterniond q(placement.rotation);
  q.normalize();
  const double sign = q.w() < 0.0 ? -1.0 : 1.0;
  const Vector3 translation = centre + placement.move - placement.rotation * centre;
  pose[0] = sign * q.w();
  for (int k = 0; k < 3; ++k) {
    // Adding 0 makes -0 a 0.
    pose[1 + k] = -sign * q.vec()[k] + 0.0;
    pose[4 + k] = translation[k] + 0.0;
  }
}

}  // namespace nxbriodock
