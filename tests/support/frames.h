// What tests of frames and superpositions share: eigenvalues and RMS deviations in long double, coordinates,
// determinants.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_FRAMES_H
#define NXBRIOCHEM_TESTS_SUPPORT_FRAMES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <vector>

#include <nxbriochem/molecules/briochem.h>

#include "tests/support/plain_jacobi.h"

namespace test_support {

template <std::size_t N>
using ExactMatrix = std::array<std::array<long double, N>, N>;

// Descending.
template <std::size_t N>
std::array<long double, N> exact_eigenvalues(ExactMatrix<N> m) {
  ExactMatrix<N> vectors{};
  std::array<long double*, N> rows{};
  std::array<long double*, N> vector_rows{};
  for (std::size_t i = 0; i < N; ++i) {
    rows[i] = m[i].data();
    vector_rows[i] = vectors[i].data();
  }
  std::array<long double, N> values{};
  std::array<long double, N> b{};
  std::array<long double, N> z{};
  int rotations = 0;
  EXPECT_TRUE(plain_jacobi(rows.data(), static_cast<int>(N), values.data(), vector_rows.data(), &rotations, b.data(),
                           z.data()));
  std::sort(values.begin(), values.end(), std::greater<>());
  return values;
}

inline std::vector<float> coordinates_of(int mol) {
  std::vector<float> xyz(static_cast<std::size_t>(nx_get_molecule_coordinates_length(mol)));
  nx_get_molecule_coordinates(xyz.data(), mol);
  return xyz;
}

inline double determinant(const float* m) {
  return static_cast<double>(m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
                             m[2] * (m[3] * m[7] - m[4] * m[6]));
}

inline std::array<long double, 3> centre_of(const std::vector<float>& p) {
  std::array<long double, 3> c{};
  for (std::size_t i = 0; i < p.size(); ++i) {
    c[i % 3] += p[i];
  }
  for (long double& x : c) {
    x /= static_cast<long double>(p.size() / 3);
  }
  return c;
}

// The least RMS over proper rotations from the largest eigenvalue of Horn's quaternion matrix (J. Opt. Soc. Am. A 4
// (1987) 629), in long double.
inline double exact_rms(const std::vector<float>& a, const std::vector<float>& b) {
  const auto ca = centre_of(a);
  const auto cb = centre_of(b);
  long double squares = 0;
  std::array<std::array<long double, 3>, 3> s{};
  for (std::size_t at = 0; at < a.size(); at += 3) {
    for (std::size_t i = 0; i < 3; ++i) {
      const long double x = a[at + i] - ca[i];
      const long double y = b[at + i] - cb[i];
      squares += x * x + y * y;
      for (std::size_t j = 0; j < 3; ++j) {
        s[i][j] += (b[at + i] - cb[i]) * (a[at + j] - ca[j]);
      }
    }
  }
  const auto eigenvalues =
      exact_eigenvalues<4>({{{s[0][0] + s[1][1] + s[2][2], s[1][2] - s[2][1], s[2][0] - s[0][2], s[0][1] - s[1][0]},
                             {s[1][2] - s[2][1], s[0][0] - s[1][1] - s[2][2], s[0][1] + s[1][0], s[2][0] + s[0][2]},
                             {s[2][0] - s[0][2], s[0][1] + s[1][0], s[1][1] - s[0][0] - s[2][2], s[1][2] + s[2][1]},
                             {s[0][1] - s[1][0], s[2][0] + s[0][2], s[1][2] + s[2][1], s[2][2] - s[0][0] - s[1][1]}}});
  const long double left = squares - 2 * eigenvalues[0];
  return static_cast<double>(std::sqrt(std::max(left, 0.0L) / static_cast<long double>(a.size() / 3)));
}

}  // namespace test_support

#endif
