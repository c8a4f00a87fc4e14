// Rotations: matrices, rotation vectors and the library's quaternions. Private to the library.
#ifndef NXBRIODOCK_RIGID_H
#define NXBRIODOCK_RIGID_H

#include <Eigen/Core>
#include <Eigen/Geometry>

namespace nxbriodock {

using Vector3 = Eigen::Vector3d;
using Matrix3 = Eigen::Matrix3d;
using Vector6 = Eigen::Matrix<double, 6, 1>;
using Matrix6 = Eigen::Matrix<double, 6, 6>;

// An atom of the ligand at p, as it was set, goes to rotation (p - centre) + centre + move, where the centre is the
// mean of the ligand's atoms.
struct Placement {
  Matrix3 rotation = Matrix3::Identity();
  Vector3 move = Vector3::Zero();
};

// The matrix of v x.
Matrix3 cross_matrix(const Vector3& v);
// The rotation by a vector: about its direction, by its length.
Matrix3 rotation_by(const Vector3& vector);
// Converts the derivative by a small rotation of the rotated body, the torque, into the derivative by the rotation
// vector.
Vector3 by_rotation_vector(const Vector3& vector, const Vector3& torque);

// Between placements and poses (pose.h). False for a quaternion of length 0 and for what is not finite.
bool placement_of(const double* pose, const Vector3& centre, Placement& placement);
void write_pose(const Placement& placement, const Vector3& centre, double* pose);

}  // namespace nxbriodock

#endif
