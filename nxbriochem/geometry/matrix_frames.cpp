// Rotations and the frames of three points. Points and rotations are floats; the computation is in double.
#include <nxbriochem/geometry/matrix.h>

#include <array>
#include <cmath>
#include <cstddef>

#include <nxbriochem/util/vector3_internal.h>

namespace {

using vector3::cross;
using vector3::dot;
using vector3::minus;
using vector3::times;
using vector3::Vector;
using vector3::vector_at;

// Scales v to length 1. The result is not a number for a length of 0 or one that is not a number.
Vector normalised(const Vector& v) { return times(std::sqrt(1.0 / dot(v, v)), v); }

struct Frame {
  Vector origin, e1, e2, e3;

  // The frame of a triplet of points, 9 floats. Points that coincide or lie on a line are not checked for.
  explicit Frame(const float* p) : origin(vector_at(p)), e1(normalised(minus(vector_at(p + 3), origin))) {
    // Kept: programs rely on x being taken from all three components, in frames that they stored.
    const Vector v = minus(vector_at(p + 6), {origin[0], origin[0], origin[0]});
    e2 = normalised(minus(v, times(dot(e1, v), e1)));
    e3 = cross(e1, e2);
  }

  std::array<Vector, 3> axes() const { return {e1, e2, e3}; }
};

// A row of three floats.
class Row {
 public:
  explicit Row(float* at) : at_(at) {}

  // Scales to length 1. False, with nothing changed, for a length that is 0 or not a number.
  bool normalise() const {
    const Vector v = vector_at(at_);
    const double square = dot(v, v);
    if (square == 0.0 || std::isnan(square)) {
      return false;
    }
    store(normalised(v));
    return true;
  }

  // Subtracts the component along a unit vector.
  void take_off(const Row& other) const {
    const Vector v = vector_at(at_);
    const Vector along = vector_at(other.at_);
    store(minus(v, times(dot(along, v), along)));
  }

 private:
  void store(const Vector& v) const {
    for (std::size_t i = 0; i < 3; ++i) {
      at_[i] = static_cast<float>(v[i]);
    }
  }

  float* at_;
};

}  // namespace

int nx_get_tortion_matrix(double* m, double angle, double x, double y, double z) {
  if (m == nullptr) {
    return 0;
  }
  const double rxy = std::sqrt(x * x + y * y);
  const double r = std::sqrt(x * x + y * y + z * z);
  // Turns the axis into the plane of x and z, then onto x; rotates about x; and turns back. An axis along z makes rxy 0
  // and the result not a number.
  const double into_plane[9] = {x / rxy, y / rxy, 0, -y / rxy, x / rxy, 0, 0, 0, 1};
  const double onto_x[9] = {rxy / r, 0, z / r, 0, 1, 0, -z / r, 0, rxy / r};
  const double about_x[9] = {1, 0, 0, 0, std::cos(angle), -std::sin(angle), 0, std::sin(angle), std::cos(angle)};
  double there[9];
  double turned[9];
  double back[9];
  nx_multiply_matrices(onto_x, 3, 3, into_plane, 3, 3, there);
  nx_multiply_matrices(about_x, 3, 3, there, 3, 3, turned);
  nx_copy_matrix(there, 3, 3, back);
  nx_transpose_matrix(back, 3);
  return nx_multiply_matrices(back, 3, 3, turned, 3, 3, m);
}

int nx_reorthogonalize_rotation(float* m) {
  if (m == nullptr) {
    return 0;
  }
  const Row r0(m);
  const Row r1(m + 3);
  const Row r2(m + 6);
  if (!r0.normalise() || !r1.normalise() || !r2.normalise()) {
    return 0;
  }
  r1.take_off(r0);
  r2.take_off(r0);
  if (!r1.normalise() || !r2.normalise()) {
    return 0;
  }
  r2.take_off(r1);
  return r2.normalise() ? 1 : 0;
}

int nx_rotation_matrix_from_3_atoms(const float* a, const float* b, float* r) {
  if (a == nullptr || b == nullptr || r == nullptr) {
    return 0;
  }
  const std::array<Vector, 3> of_a = Frame(a).axes();
  const std::array<Vector, 3> of_b = Frame(b).axes();
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      r[3 * i + j] = static_cast<float>(dot(of_a[i], of_b[j]));
    }
  }
  return 1;
}

int nx_get_3_point_coords(const float* p, const float* in, float* out, int n) {
  if (n < 1) {
    return 1;
  }
  if (p == nullptr || in == nullptr || out == nullptr) {
    return 0;
  }
  const Frame frame(p);
  const std::array<Vector, 3> axes = frame.axes();
  for (std::size_t k = 0; k < static_cast<std::size_t>(n); ++k) {
    const Vector q = vector_at(in + 3 * k);
    for (std::size_t i = 0; i < 3; ++i) {
      out[3 * k + i] = static_cast<float>(dot(axes[i], q) - dot(axes[i], frame.origin));
    }
  }
  return 1;
}

int nx_regenerate_from_3_point_coords(const float* p, const float* in, float* out, int n) {
  if (n < 1) {
    return 1;
  }
  if (p == nullptr || in == nullptr || out == nullptr) {
    return 0;
  }
  const Frame frame(p);
  for (std::size_t k = 0; k < static_cast<std::size_t>(n); ++k) {
    const Vector q = vector_at(in + 3 * k);
    for (std::size_t i = 0; i < 3; ++i) {
      out[3 * k + i] =
          static_cast<float>(frame.origin[i] + q[0] * frame.e1[i] + q[1] * frame.e2[i] + q[2] * frame.e3[i]);
    }
  }
  return 1;
}
