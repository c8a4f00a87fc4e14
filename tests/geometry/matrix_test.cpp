#include <gtest/gtest.h>
#include <nxbriochem/geometry/matrix.h>
#include <nxbriochem/objects/memory.h>

#include <Eigen/Geometry>

#include <tests/support/printed.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

using test_support::printed;

template <class Real>
std::vector<Real> random_elements(std::mt19937& random, int count) {
  std::normal_distribution<double> normal;
  std::vector<Real> elements;
  for (int k = 0; k < count; ++k) {
    elements.push_back(static_cast<Real>(normal(random)));
  }
  return elements;
}

// The product by its definition, in the type of the elements.
template <class Real, class Multiply>
void expect_product(std::mt19937& random, Multiply multiply, int ra, int ca, int cb) {
  const auto a = random_elements<Real>(random, ra * ca);
  const auto b = random_elements<Real>(random, ca * cb);
  std::vector<Real> c(static_cast<std::size_t>(ra * cb));
  ASSERT_EQ(multiply(a.data(), ra, ca, b.data(), ca, cb, c.data()), 1);
  for (int at = 0; at < ra * cb; ++at) {
    Real sum = 0;
    for (int k = 0; k < ca; ++k) {
      sum += a[static_cast<std::size_t>(at / cb * ca + k)] * b[static_cast<std::size_t>(k * cb + at % cb)];
    }
    ASSERT_EQ(c[static_cast<std::size_t>(at)], sum);
  }
}

TEST(Matrix, Products) {
  std::mt19937 random(3);
  std::uniform_int_distribution<int> size(1, 9);
  for (int round = 0; round < 500; ++round) {
    expect_product<double>(random, nx_multiply_matrices, size(random), size(random), size(random));
    expect_product<float>(random, nx_multiply_matrices_f, size(random), size(random), size(random));
  }
  const float m[6] = {1, 2, 3, 4, 5, 6};
  const float v[3] = {1, 10, 100};
  float out[2];
  EXPECT_EQ(nx_multiply_vector_by_matrix_f(m, v, 2, 3, out), 1);
  EXPECT_TRUE(out[0] == 321 && out[1] == 654);
}

TEST(Matrix, ProductsOfOddDimensions) {
  const double a[6] = {1, 2, 3, 4, 5, 6};
  const double b[3] = {1, 10, 100};
  double c[2] = {7, 7};
  EXPECT_EQ(printed([&] { EXPECT_EQ(nx_multiply_matrices(a, 2, 3, b, 2, 1, c), 1); }),
            "cant multiple two matrices with dimensions 2 (3*2) 1\n");
  EXPECT_TRUE(c[0] == 321 && c[1] == 654);
  EXPECT_EQ(printed([&] {
              EXPECT_EQ(nx_multiply_matrices(a, 0, 3, b, 3, 1, c) + nx_multiply_matrices(a, 2, 3, b, 2, -1, c), 2);
            }),
            "cant multiple two matrices with dimensions 2 (3*2) -1\n");
  EXPECT_EQ(nx_multiply_matrices(a, 2, 3, nullptr, 3, 1, c), 0);
  EXPECT_TRUE(c[0] == 321 && c[1] == 654);
  EXPECT_EQ(nx_multiply_matrices(a, 2, 0, b, 0, 1, c), 1);
  EXPECT_TRUE(c[0] == 0 && c[1] == 0);
}

TEST(Matrix, CopiesIdentitiesTransposes) {
  double m[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  EXPECT_EQ(nx_transpose_matrix(m, 3), 1);
  EXPECT_EQ(std::vector<double>(m, m + 9), (std::vector<double>{1, 4, 7, 2, 5, 8, 3, 6, 9}));
  EXPECT_EQ(nx_transpose_matrix(m + 1, 1) + nx_transpose_matrix(m, -3), 2);
  EXPECT_EQ(nx_copy_matrix(m, 2, 4, m + 1), 1);
  EXPECT_EQ(std::vector<double>(m, m + 9), (std::vector<double>{1, 1, 4, 7, 2, 5, 8, 3, 6}));
  EXPECT_EQ(nx_set_to_identity(m, 2), 1);
  EXPECT_EQ(std::vector<double>(m, m + 5), (std::vector<double>{1, 0, 0, 1, 2}));
  EXPECT_EQ(nx_transpose_matrix_f(nullptr, 3) + nx_copy_matrix(nullptr, 1, 1, m) + nx_set_to_identity(nullptr, 1), 0);
  const float shown[6] = {1, 2, 3, 4, 5, 6.25F};
  EXPECT_EQ(printed([&] { EXPECT_EQ(nx_print_matrix(shown, 3, 2), 1); }),
            "1.000000 2.000000 3.000000 \n4.000000 5.000000 6.250000 \n");
}

// Negative dimensions: success, and nothing is written.
TEST(Matrix, NegativeDimensions) {
  double m[4] = {1, 2, 3, 4};
  float f[4] = {1, 2, 3, 4};
  for (const auto& [a, b] : {std::pair{-1, 2}, {2, -1}, {-2, -2}}) {
    EXPECT_EQ(nx_copy_matrix(m + 1, a, b, m) + nx_copy_matrix_f(f + 1, a, b, f), 2);
    EXPECT_EQ(nx_multiply_vector_by_matrix_f(f, f, a, b, f), 1);
    EXPECT_EQ(nx_multiply_matrices(m, a, 2, m, 2, b, m) + nx_multiply_matrices_f(f, a, 2, f, 2, b, f), 2);
    EXPECT_EQ(printed([&] { EXPECT_EQ(nx_print_matrix(f, a, b), 1); }), "");
  }
  EXPECT_EQ(nx_set_to_identity(m, -2) + nx_set_to_identity_f(f, -2), 2);
  EXPECT_EQ(nx_transpose_matrix(m, -2) + nx_transpose_matrix_f(f, -2), 2);
  EXPECT_EQ(nx_get_3_point_coords(f, f, f, -1) + nx_regenerate_from_3_point_coords(f, f, f, -1), 2);
  EXPECT_EQ(nx_solve_bilinear_equation_f(f, f, f, -2), 1);
  EXPECT_EQ(nx_set_to_identity(nullptr, -2) + nx_copy_matrix(nullptr, -1, 1, nullptr), 2);
  EXPECT_EQ(std::vector<double>(m, m + 4), (std::vector<double>{1, 2, 3, 4}));
  EXPECT_EQ(std::vector<float>(f, f + 4), (std::vector<float>{1, 2, 3, 4}));
}

TEST(Matrix, TorsionTurnsAboutItsAxis) {
  std::mt19937 random(4);
  for (int round = 0; round < 2000; ++round) {
    const auto n = random_elements<double>(random, 4);
    const Eigen::Vector3d axis(n[0], n[1], n[2]);
    Eigen::Matrix<double, 3, 3, Eigen::RowMajor> m;
    ASSERT_EQ(nx_get_tortion_matrix(m.data(), 3 * n[3], n[0], n[1], n[2]), 1);
    ASSERT_LT((m - Eigen::AngleAxisd(3 * n[3], axis.normalized()).toRotationMatrix()).norm(), 1e-13) << round;
  }
  double m[9];
  EXPECT_EQ(nx_get_tortion_matrix(m, 1, 0, 0, 2), 1);
  EXPECT_TRUE(std::isnan(m[0]));
}

// The steps as they are defined. Every element is a float after every step: compilers must not keep what volatile ones
// were rounded from.
std::vector<float> reorthogonalized(const std::vector<float>& m) {
  volatile float rows[3][3];
  for (std::size_t k = 0; k < 9; ++k) {
    rows[k / 3][k % 3] = m[k];
  }
  const auto product = [&rows](int i, int j) {
    double sum = 0;
    for (int k = 0; k < 3; ++k) {
      sum += static_cast<double>(rows[i][k]) * static_cast<double>(rows[j][k]);
    }
    return sum;
  };
  const auto normalise = [&](int i) {
    const double factor = std::sqrt(1.0 / product(i, i));
    for (int k = 0; k < 3; ++k) {
      rows[i][k] = static_cast<float>(factor * static_cast<double>(rows[i][k]));
    }
  };
  const auto take_off = [&](int i, int j) {
    const double along = product(i, j);
    for (int k = 0; k < 3; ++k) {
      rows[i][k] = static_cast<float>(static_cast<double>(rows[i][k]) - along * static_cast<double>(rows[j][k]));
    }
  };
  normalise(0), normalise(1), normalise(2);
  take_off(1, 0), take_off(2, 0);
  normalise(1), normalise(2);
  take_off(2, 1);
  normalise(2);
  return {&rows[0][0], &rows[0][0] + 9};
}

TEST(Matrix, ReorthogonalizedRowsStayInOrder) {
  std::mt19937 random(9);
  for (int round = 0; round < 200; ++round) {
    auto m = random_elements<float>(random, 9);
    const std::vector<float> steps = reorthogonalized(m);
    ASSERT_EQ(nx_reorthogonalize_rotation(m.data()), 1);
    ASSERT_EQ(m, steps) << round;
  }
  // Rows far from length 1; the expected values are Gram-Schmidt by hand.
  const float expected[9] = {0.6F, 0.8F, 0, -0.8F, 0.6F, 0, 0, 0, 1};
  for (const float scale : {1e-18F, 1.0F, 1e18F}) {
    float m[9] = {0.3F, 0.4F, 0, 0.6F - 0.8F, 0.8F + 0.6F, 0, 0.5F, 0.25F, 2};
    std::transform(m, m + 9, m, [scale](float element) { return scale * element; });
    ASSERT_EQ(nx_reorthogonalize_rotation(m), 1);
    for (std::size_t k = 0; k < 9; ++k) {
      EXPECT_NEAR(m[k], expected[k], 2e-7);
    }
  }
  float zero[9] = {2, 0, 0, 0, 3, 0, 0, 0, 0};
  EXPECT_EQ(nx_reorthogonalize_rotation(zero), 0);
  EXPECT_EQ(std::vector<float>(zero, zero + 5), (std::vector<float>{1, 0, 0, 0, 1})) << "changed so far";
  float parallel[9] = {2, 0, 0, 4, 0, 0, 0, 0, 1};
  EXPECT_EQ(nx_reorthogonalize_rotation(parallel) + nx_reorthogonalize_rotation(nullptr), 0);
}

TEST(Matrix, FramesOfThreePoints) {
  const float at_origin[9] = {0, 1, 2, 0, 4, 2, 0, 5, 7};
  const float point[3] = {1, 2, 3};
  float out[3];
  // e1 = y. e2 = z: the direction of (0, 5, 7) without its y component. e3 = x.
  EXPECT_EQ(nx_get_3_point_coords(at_origin, point, out, 1), 1);
  EXPECT_EQ(std::vector<float>(out, out + 3), (std::vector<float>{1, 1, 1}));
  // The x of the first point is subtracted from all three components of the third: v = (0, 2, -1), not (0, 2, 1).
  const float quirk[9] = {1, 1, 0, 1, 2, 0, 1, 3, 0};
  float r[9];
  EXPECT_EQ(nx_rotation_matrix_from_3_atoms(quirk, at_origin, r), 1);
  EXPECT_EQ(std::vector<float>(r, r + 9), (std::vector<float>{1, 0, 0, 0, -1, 0, 0, 0, -1}));

  std::mt19937 random(9);
  for (int round = 0; round < 500; ++round) {
    const auto triplet = random_elements<float>(random, 9);
    const auto points = random_elements<float>(random, 30);
    auto moved = points;
    ASSERT_EQ(nx_get_3_point_coords(triplet.data(), moved.data(), moved.data(), 10), 1);
    ASSERT_EQ(nx_regenerate_from_3_point_coords(triplet.data(), moved.data(), moved.data(), 10), 1);
    for (std::size_t k = 0; k < 30; ++k) {
      ASSERT_NEAR(moved[k], points[k], 4e-6);
    }
  }
  // The step is perpendicular to e1, so that the coordinate shows rounding errors only: those of multiplying by the
  // square root of 1 / |d|^2.
  for (int round = 0; round < 200; ++round) {
    std::array<float, 9> p = {};
    std::generate_n(p.begin(), 8, [&random] { return static_cast<float>(random() % 100); });
    const double dx = p[3] - p[0];
    const double dy = p[4] - p[1] + 100;
    p[4] += 100;
    p[5] = p[2];
    const float q[3] = {p[0] - static_cast<float>(dy), p[1] + static_cast<float>(dx), p[2]};
    const double factor = std::sqrt(1.0 / (dx * dx + dy * dy));
    ASSERT_EQ(nx_get_3_point_coords(p.data(), q, out, 1), 1);
    const double there = factor * dx * q[0] + factor * dy * q[1];
    ASSERT_EQ(out[0], static_cast<float>(there - (factor * dx * p[0] + factor * dy * p[1])));
  }
  EXPECT_EQ(nx_get_3_point_coords(quirk, point, nullptr, 1) + nx_regenerate_from_3_point_coords(quirk, nullptr, out, 1),
            0);
}

TEST(Matrix, SymmetricSystems) {
  std::mt19937 random(12);
  const auto held = nx_total_memory_allocated();
  for (int n = 1; n <= 12; ++n) {
    Eigen::MatrixXf a = Eigen::MatrixXf::NullaryExpr(n, n, [&] { return random_elements<float>(random, 1)[0]; });
    a = (a + a.transpose()).eval();
    a.diagonal().array() += static_cast<float>(n) * (n % 2 == 0 ? 5.0F : -5.0F);
    const auto b = random_elements<float>(random, n);
    Eigen::VectorXf x(n);
    ASSERT_EQ(nx_solve_bilinear_equation_f(a.data(), b.data(), x.data(), n), 1) << n;
    EXPECT_LT((a.lazyProduct(x) - Eigen::Map<const Eigen::VectorXf>(b.data(), n)).norm(), 1e-5) << n;
  }
  // The eigenvalues are 1 and 6e-8. The latter counts as 0, so the result is the shortest least-squares solution.
  const float singular[4] = {0.5F + 6e-8F, 0.5F, 0.5F, 0.5F + 6e-8F};
  const float right[2] = {3, 1};
  float x[2] = {7, 7};
  EXPECT_EQ(nx_solve_bilinear_equation_f(singular, right, x, 2), 1);
  EXPECT_NEAR(x[0], 2, 1e-6);
  EXPECT_NEAR(x[1], 2, 1e-6);
  const float infinite[1] = {std::numeric_limits<float>::infinity()};
  x[0] = 7;
  EXPECT_EQ(nx_solve_bilinear_equation_f(infinite, right, x, 1) + nx_solve_bilinear_equation_f(nullptr, right, x, 1),
            0);
  EXPECT_EQ(x[0], 7);
  EXPECT_EQ(nx_total_memory_allocated(), held);
}

}  // namespace
