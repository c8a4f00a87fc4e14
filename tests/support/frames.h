// What tests of frames and superpositions share: centres, products, eigenvalues and RMS deviations in long double, by
// Eigen, and coordinates.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_FRAMES_H
#define NXBRIOCHEM_TESTS_SUPPORT_FRAMES_H

#include <algorithm>
#include <cmath>
#include <vector>

#include <Eigen/Dense>

#include <nxbriochem/molecules/briochem.h>

namespace test_support {

template <int N>
using ExactMatrix = Eigen::Matrix<long double, N, N>;
using ExactVector = Eigen::Matrix<long double, 3, 1>;
using Weights = Eigen::Matrix<long double, Eigen::Dynamic, 1>;
using ExactPoints = Eigen::Matrix<long double, 3, Eigen::Dynamic>;

inline ExactPoints exact(const std::vector<float>& xyz) {
  return Eigen::Matrix3Xf::Map(xyz.data(), 3, static_cast<Eigen::Index>(xyz.size() / 3)).cast<long double>();
}

inline ExactVector centre_of(const ExactPoints& p, const Weights& weights) { return p * weights / weights.sum(); }
inline ExactVector centre_of(const ExactPoints& p) { return centre_of(p, Weights::Ones(p.cols())); }

// Ascending, of a symmetric matrix.
template <int N>
Eigen::Matrix<long double, N, 1> exact_eigenvalues(const ExactMatrix<N>& m) {
  return Eigen::SelfAdjointEigenSolver<ExactMatrix<N>>(m, Eigen::EigenvaluesOnly).eigenvalues();
}

// The least RMS over proper rotations from the largest eigenvalue of Horn's quaternion matrix (J. Opt. Soc. Am. A 4
// (1987) 629).
inline double exact_rms(const std::vector<float>& first, const std::vector<float>& second) {
  ExactPoints a = exact(first);
  ExactPoints b = exact(second);
  a.colwise() -= centre_of(a);
  b.colwise() -= centre_of(b);
  const ExactMatrix<3> s = b * a.transpose();
  const ExactVector axial(s(1, 2) - s(2, 1), s(2, 0) - s(0, 2), s(0, 1) - s(1, 0));
  ExactMatrix<4> horn;
  horn << s.trace(), axial.transpose(), axial, s + s.transpose() - s.trace() * ExactMatrix<3>::Identity();
  const long double left = a.squaredNorm() + b.squaredNorm() - 2 * exact_eigenvalues<4>(horn)[3];
  return static_cast<double>(std::sqrt(std::max(left, 0.0L) / static_cast<long double>(a.cols())));
}

inline double determinant(const float* m) { return Eigen::Matrix3f::Map(m).cast<double>().determinant(); }

inline std::vector<float> coordinates_of(int mol) {
  std::vector<float> xyz(static_cast<std::size_t>(nx_get_molecule_coordinates_length(mol)));
  nx_get_molecule_coordinates(xyz.data(), mol);
  return xyz;
}

inline bool has_negative_zero(const std::vector<float>& values) {
  return std::any_of(values.begin(), values.end(), [](float x) { return x == 0 && std::signbit(x); });
}

}  // namespace test_support

#endif
