// Vectors of three doubles and 3 x 3 matrices. Private to the library; C++ only.
#ifndef NXBRIOCHEM_UTIL_VECTOR3_INTERNAL_H
#define NXBRIOCHEM_UTIL_VECTOR3_INTERNAL_H

#include <array>
#include <cmath>
#include <cstddef>

namespace vector3 {

using Vector = std::array<double, 3>;
using Matrix = std::array<double, 9>;  // row by row

// Three floats, one after the other.
inline Vector vector_at(const float* at) {
  return {static_cast<double>(at[0]), static_cast<double>(at[1]), static_cast<double>(at[2])};
}

inline double dot(const Vector& a, const Vector& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

inline Vector cross(const Vector& a, const Vector& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline Vector plus(const Vector& a, const Vector& b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }

inline Vector minus(const Vector& a, const Vector& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }

inline Vector times(double factor, const Vector& v) { return {factor * v[0], factor * v[1], factor * v[2]}; }

// The matrix m times the column v.
inline Vector times(const Matrix& m, const Vector& v) {
  return {m[0] * v[0] + m[1] * v[1] + m[2] * v[2], m[3] * v[0] + m[4] * v[1] + m[5] * v[2],
          m[6] * v[0] + m[7] * v[1] + m[8] * v[2]};
}

// Not a number for a vector of length 0.
inline Vector unit(const Vector& v) {
  const double length = std::sqrt(dot(v, v));
  return {v[0] / length, v[1] / length, v[2] / length};
}

// Expanded along the first row, in the precision of the elements.
template <class Real>
Real determinant(const std::array<Real, 9>& m) {
  return m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) + m[2] * (m[3] * m[7] - m[4] * m[6]);
}

// The determinant of a symmetric matrix; reads the upper triangle.
inline double symmetric_determinant(const Matrix& m) {
  return determinant<double>({m[0], m[1], m[2], m[1], m[4], m[5], m[2], m[5], m[8]});
}

// The longest of the cross products of pairs of rows of the symmetric b - x 1 (upper triangle read). It lies along the
// eigenvector of x, the more accurately the farther that eigenvalue is from the others. The choice has no branches,
// since they would be mispredicted.
inline Vector along_null_vector(const Matrix& b, double x) {
  const Vector row0 = {b[0] - x, b[1], b[2]};
  const Vector row1 = {b[1], b[4] - x, b[5]};
  const Vector row2 = {b[2], b[5], b[8] - x};
  const std::array<Vector, 3> products = {cross(row0, row1), cross(row1, row2), cross(row2, row0)};
  const Vector squares = {dot(products[0], products[0]), dot(products[1], products[1]), dot(products[2], products[2])};
  std::size_t longest = squares[1] > squares[0] ? 1 : 0;
  longest = squares[2] > squares[longest] ? 2 : longest;
  return products[longest];
}

}  // namespace vector3

#endif
