// What tests of frames and superpositions share: centres, products, eigenvalues and RMS deviations in long double, by
// Eigen, and coordinates.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_FRAMES_H
#define NXBRIOCHEM_TESTS_SUPPORT_FRAMES_H

#include <algorithm>
#include <cmath>
#include <vector>

#include <Eigen/Geometry>

#include <nxbriochem/molecules/briochem.h>

namespace test_support {

template <int N>
using ExactMatrix = Eigen::Matrix<long double, N, N>;
using ExactVector = Eigen::Matrix<long double, 3, 1>;
using Weights = Eigen::Matrix<long double, Eigen::Dynamic, 1>;
using ExactPoints = Eigen::Matrix<long double, 3, Eigen::Dynamic>;

ExactPoints exact(const std::vector<float>& xyz);

ExactVector centre_of(const ExactPoints& p, const Weights& weights);
ExactVector centre_of(const ExactPoints& p);

// The sum of w p p^T.
ExactMatrix<3> second_moments_of(const ExactPoints& p, const Weights& weights);

// Ascending, of a symmetric matrix.
ExactVector exact_eigenvalues(const ExactMatrix<3>& m);

// The least RMS over proper rotations from the largest eigenvalue of Horn's quaternion matrix (J. Opt. Soc. Am. A 4
// (1987) 629).
double exact_rms(const std::vector<float>& first, const std::vector<float>& second);

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
