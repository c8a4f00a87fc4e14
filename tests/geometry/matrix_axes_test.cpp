#include <gtest/gtest.h>
#include <nxbriochem/geometry/matrix.h>
#include <nxbriochem/geometry/roots.h>
#include <nxbriochem/geometry/symmetric3_internal.h>

#include <Eigen/Geometry>
#include <Eigen/Jacobi>

#include <tests/support/printed.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;
using RowsF = Eigen::Matrix<float, 3, 3, Eigen::RowMajor>;
using RowsD = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

// The eigenvalues, descending, by Jacobi's method in long double.
Vector3d reference_values(const RowsF& m) {
  Eigen::Matrix<long double, 3, 3> a = m.cast<long double>();
  for (int round = 0; round < 60; ++round) {
    const int p = round % 3 == 2 ? 1 : 0;
    const int q = round % 3 == 0 ? 1 : 2;
    Eigen::JacobiRotation<long double> rotation;
    rotation.makeJacobi(a, p, q);
    a.applyOnTheLeft(p, q, rotation.adjoint());
    a.applyOnTheRight(p, q, rotation);
    a(p, q) = a(q, p) = 0;
  }
  Vector3d values = a.diagonal().cast<double>();
  std::sort(values.data(), values.data() + 3, std::greater<>());
  return values;
}

double residual(const RowsF& m, const Matrix3d& r, const Vector3d& l) {
  const double size = m.cast<double>().norm();
  return size == 0 ? 0 : (m.cast<double>() - r.transpose() * l.asDiagonal() * r).norm() / size;
}

double skew(const Matrix3d& r) { return (r * r.transpose() - Matrix3d::Identity()).norm(); }

// Symmetric matrices of all the kinds that closed forms fail on.
class Adversary {
 public:
  RowsF next(int kind) {
    const double spread = std::pow(10.0, -18 * uniform_(random_));
    const double tiny = std::pow(10.0, -8 * uniform_(random_));
    // Kinds: along its own axes, turned, whole numbers, tiny off-diagonals, graded by rows and columns, a 2 x 2 block
    // and an axis.
    const std::array<Vector3d, 3> turned = {
        Vector3d(1, 1 + tiny, 1 + (uniform_(random_) < 0.5 ? tiny * tiny : normal())),
        Vector3d(1, spread, normal() * spread * tiny), Vector3d(normal(), small() * normal(), small())};
    const std::array<std::array<double, 6>, 5> written = {{
        {1, 1, 1, small(), small(), small()},
        {small(), small(), small(), small(), small(), small()},
        {normal(), normal(), normal(), normal() * tiny, normal() * spread, 0},
        {1, tiny * tiny, spread, 0.3 * tiny, 0.3 * std::sqrt(spread), 0.3 * tiny * std::sqrt(spread)},
        {normal(), normal(), normal() * tiny, normal(), 0, 0},
    }};
    const auto which = static_cast<std::size_t>(kind % 8);
    Matrix3d m;
    if (which < 3) {
      const Matrix3d turn = Eigen::Quaterniond(normal(), normal(), normal(), normal()).normalized().toRotationMatrix();
      m = turn * turned[which].asDiagonal() * turn.transpose();
    } else {
      const auto& e = written[which - 3];
      m << e[0], e[3], e[4], e[3], e[1], e[5], e[4], e[5], e[2];
      Eigen::PermutationMatrix<3> permutation(3);
      permutation.setIdentity();
      std::shuffle(permutation.indices().data(), permutation.indices().data() + 3, random_);
      m = permutation * m * permutation.transpose();
    }
    const double scale = uniform_(random_) < 0.3 ? 1 : std::pow(10.0, 36 * uniform_(random_) - 18);
    return RowsF((scale * m).cast<float>().selfadjointView<Eigen::Upper>());
  }

 private:
  double normal() { return normal_(random_); }
  double small() { return std::floor(5 * uniform_(random_)) - 2; }

  std::mt19937 random_{31};
  std::uniform_real_distribution<double> uniform_;
  std::normal_distribution<double> normal_;
};

struct Worst {
  double residual = 0, skew = 0, value = 0;
};

// Checks the answer of one function for m. Returns the status.
int check(const RowsF& m, int status, const RowsF& rows, const double* roots, Worst& worst) {
  const double size = m.cast<double>().norm();
  const Vector3d found(roots);
  const Matrix3d r = rows.cast<double>();
  const double one = residual(m, r, found);
  EXPECT_TRUE(roots[0] >= roots[1] && roots[1] >= roots[2]);
  if (status == 1) {
    const double off = (found - reference_values(m)).norm() / size;
    worst = {std::max(worst.residual, one), std::max(worst.skew, skew(r)), std::max(worst.value, off)};
    for (int i = 0; i < 3; ++i) {
      Eigen::Index pivot = 0;
      (m.diagonal().cast<double>().array() - roots[i]).abs().minCoeff(&pivot);
      EXPECT_GE(r(i, pivot), 0);
    }
    EXPECT_FALSE(std::any_of(r.data(), r.data() + 9, [](double x) { return x == 0 && std::signbit(x); }));
  } else {
    EXPECT_TRUE(status == 2 || status == 4) << status;
    // The error that off-diagonal elements below the tolerances may cause.
    EXPECT_LE(one * size, status == 4 ? 3e-6 : std::sqrt(3.5e-6 * size + 3e-12) + 2e-6 + 1e-7 * size);
    EXPECT_EQ(skew(r), 0);
  }
  return status;
}

TEST(MatrixAxes, AgreeWithJacobiInLongDouble) {
  Adversary adversary;
  Worst inner;
  Worst floats;
  Worst older;
  std::array<int, 5> met = {};
  for (int round = 0; round < 100000 && !testing::Test::HasFailure(); ++round) {
    const RowsF m = adversary.next(round);
    SCOPED_TRACE("round " + std::to_string(round));
    std::array<double, 9> wide;
    std::copy_n(m.data(), 9, wide.begin());
    const auto axes = symmetric3::principal_axes(wide);
    const Matrix3d unrounded = Eigen::Map<const RowsD>(axes.axes.data());
    inner.residual = std::max(inner.residual, residual(m, unrounded, Vector3d(axes.values.data())));
    inner.skew = std::max(inner.skew, skew(unrounded));

    RowsF r;
    RowsF other;
    double own[3];
    const int status = check(m, make_rmat(m.data(), r.data(), 0), r, Roots, floats);
    ++met[static_cast<std::size_t>(status)];
    EXPECT_EQ(nx_make_rmat_alt_d(wide.data(), other.data(), own), status);
    EXPECT_TRUE(std::equal(own, own + 3, Roots) && other == r);
    // At the tolerances the two methods may give different statuses.
    EXPECT_TRUE(check(m, make_rmat1(m.data(), other.data(), 0), other, Roots, older) == status || status != 4);
  }
  EXPECT_LT(inner.residual, 3e-15);
  EXPECT_LT(inner.skew, 3e-15);
  for (const Worst& worst : {floats, older}) {
    EXPECT_LT(worst.residual, 1.5e-7) << "the rounding of R to floats";
    EXPECT_LT(worst.skew, 2e-7);
    EXPECT_LT(worst.value, 3e-15);
  }
  EXPECT_TRUE(met[1] > 10000 && met[2] > 100 && met[4] > 1000) << met[1] << ' ' << met[2] << ' ' << met[4];
}

TEST(MatrixAxes, GradedMatricesKeepTheirSmallEigenvalues) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> exponent(-9, 9);
  for (int round = 0; round < 5000; ++round) {
    const Vector3d d(std::pow(10, exponent(random)), std::pow(10, exponent(random)), std::pow(10, exponent(random)));
    const Matrix3d inner = Matrix3d::Constant(0.3) + 0.7 * Matrix3d::Identity();
    const Matrix3d graded = d.asDiagonal() * inner * d.asDiagonal();
    const RowsF m = graded.cast<float>();
    std::array<double, 9> wide;
    std::copy_n(m.data(), 9, wide.begin());
    const auto found = symmetric3::principal_axes(wide).values;
    EXPECT_TRUE(Vector3d(found.data()).isApprox(reference_values(m), 1e-15));
    EXPECT_NEAR(found[2] / reference_values(m)[2], 1, 1e-9) << round;
  }
}

TEST(MatrixAxes, RangeAndClustersOfDoubles) {
  for (const double scale : {5e-324, 1e-200, 1e200, 5e307}) {
    const auto axes = symmetric3::principal_axes({2 * scale, scale, 0, scale, 2 * scale, 0, 0, 0, 2 * scale});
    EXPECT_LT(skew(Eigen::Map<const RowsD>(axes.axes.data())), 3e-15);
    EXPECT_NEAR(axes.values[0] / scale, 3, 3e-15);
    EXPECT_NEAR(axes.values[2] / scale, 1, 3e-15);
  }
  // The directions are compared on the matrix less its mean.
  RowsD left;
  left << 1, 2, 3, 2, -1.5, 5, 3, 5, 0.75;
  const RowsD m = RowsD(0.1 * RowsD::Identity() + 0x1p-40 * left);
  std::array<double, 9> wide;
  std::copy_n(m.data(), 9, wide.begin());
  const RowsD r = Eigen::Map<const RowsD>(symmetric3::principal_axes(wide).axes.data());
  const RowsD seen = r * RowsD(m - 0.1 * RowsD::Identity()) * r.transpose();
  EXPECT_LT((seen - RowsD(seen.diagonal().asDiagonal())).norm(), 1e-14 * seen.norm());
}

TEST(MatrixAxes, StatusesAndOrderOfChecks) {
  const float diagonal[9] = {1, 9e-7F, 0, 0, 3, 0, -9e-7F, 0, 2};
  const float near[9] = {3, 1e-4F, 0, 1e-4F, 2, 0, 0, 0, 1};
  const float full[9] = {2, 1, 0, 1, 2, 0, 0, 0, 5};
  float r[9];
  EXPECT_EQ(make_rmat(diagonal, r, 1), 4);
  EXPECT_EQ(std::vector<float>(r, r + 9), (std::vector<float>{0, 1, 0, 0, 0, 1, 1, 0, 0}));
  EXPECT_EQ(std::vector<double>(Roots, Roots + 3), (std::vector<double>{3, 2, 1}));
  EXPECT_EQ(nx_make_rmat(near, r, 1), 2);
  EXPECT_EQ(std::vector<float>(r, r + 9), (std::vector<float>{1, 0, 0, 0, 1, 0, 0, 0, 1}));
  EXPECT_GT(Roots[0], 3);
  std::fill_n(r, 9, 7.0F);
  EXPECT_EQ(make_rmat(full, r, 1), 0);
  EXPECT_EQ(std::vector<float>(r, r + 9), std::vector<float>(9, 7.0F));
  EXPECT_DOUBLE_EQ(Roots[1], 3);
  EXPECT_EQ(make_rmat1(full, r, -1), 0);

  // Bad input changes nothing.
  std::array<float, 9> bad = {2, 1, 0, 1, std::numeric_limits<float>::quiet_NaN(), 0, 0, 0, 5};
  double own[3] = {7, 7, 7};
  Roots[0] = 7;
  for (const float* m : {static_cast<const float*>(nullptr), static_cast<const float*>(bad.data())}) {
    EXPECT_EQ(make_rmat(m, r, 0), -1);
    EXPECT_EQ(make_rmat1(m, r, 0), -1);
    EXPECT_EQ(nx_make_rmat_alt(m, r, own), -1);
    EXPECT_EQ(get_roots_of_3_by_3(m, r) + make_rmat_2d(m == nullptr ? m : m + 3, r), 0);
    EXPECT_EQ(test_support::printed([&] { EXPECT_EQ(make_rmat2(m, r, 0), 0); }), "");
  }
  EXPECT_EQ(make_rmat(full, nullptr, 1), -1);
  EXPECT_EQ(nx_make_rmat2(full, r, nullptr), -1);
  EXPECT_EQ(get_roots_3(bad.data(), r) + get_roots_3_3(nullptr, r) + get_roots_3(bad.data(), nullptr), 0);
  EXPECT_TRUE(bad[1] == 1 && bad[2] == 0 && r[0] == 7 && own[0] == 7 && Roots[0] == 7);
}

TEST(MatrixAxes, Relatives) {
  // The upper triangle of one matrix and the lower one of the other hold [2 1; 1 2]. The result shows which triangle is
  // read.
  const float upper[9] = {2, 1, 0, 0, 2, 0, 0, 0, 5};
  float values[3];
  float m[9];
  nx_copy_matrix_f(upper, 3, 3, m);
  EXPECT_EQ(get_roots_3_3(m, values), 1);
  EXPECT_EQ(std::vector<float>(values, values + 3), (std::vector<float>{5, 3, 1}));
  EXPECT_EQ(std::vector<float>({m[0], m[3], m[6]}), (std::vector<float>{0, 0, 1})) << "eigenvectors are columns";
  nx_copy_matrix_f(upper, 3, 3, m);
  EXPECT_EQ(get_roots_3(m, values), 1);
  EXPECT_EQ(std::vector<float>(values, values + 3), (std::vector<float>{5, 2, 2}));
  const float diagonal[9] = {1, 0, 0, 0, 2, 0, 0, 0, 3};
  EXPECT_EQ(get_roots_of_3_by_3(diagonal, values), 1);
  EXPECT_TRUE(values[0] == 3 && Roots[0] == 5) << "Roots as the last decomposition left it";
  Roots[0] = 0;
  EXPECT_EQ(get_roots_of_3_by_3_matrix(upper, values), 1);
  EXPECT_TRUE(std::equal(values, values + 3, Roots, [](float v, double root) { return std::fabs(v - root) < 1e-6; }));
  EXPECT_EQ(std::vector<float>(values, values + 3), (std::vector<float>{5, 3, 1}));

  float r[9];
  const std::string expected_start = "status: 1 1\nmat1, mat2 0 0, 0.000000 0.000000, 0.000000\n";
  const std::string shown = test_support::printed([&] { EXPECT_EQ(make_rmat2(upper, r, 0), 1); });
  EXPECT_EQ(shown.substr(0, expected_start.size()), expected_start);
  EXPECT_NE(shown.find("\nmat1, mat2 1 0, 0.707107 0.707107, 0.000000\n"), std::string::npos);
  const float stretched[9] = {1, 0, 0, 0, 1, 0, 0.5F, 0, 1};
  EXPECT_EQ(test_support::printed([&] { EXPECT_EQ(test_rmat(stretched), 1); }),
            "0 0= 1.000000 1.000000\n0 1= 0.000000 0.000000\n0 2= 0.000000 0.500000\n"
            "1 0= 0.000000 0.000000\n1 1= 1.000000 1.000000\n1 2= 0.000000 0.000000\n"
            "2 0= 0.500000 0.500000\n2 1= 0.000000 0.000000\n2 2= 1.000000 1.250000\n"
            "failed at 2,2, 1.250000\ntested rmat");
}

TEST(MatrixAxes, InThePlane) {
  for (int degree = -89; degree < 90; ++degree) {
    const double c = std::cos(degree * M_PI / 180);
    const double s = std::sin(degree * M_PI / 180);
    const float m[4] = {static_cast<float>(c * c - 1e3 * s * s), static_cast<float>(1001 * c * s), 0,
                        static_cast<float>(s * s - 1e3 * c * c)};
    float r[4];
    ASSERT_EQ(make_rmat_2d(m, r), 1);
    EXPECT_NEAR(r[0], c, 3e-7);
    EXPECT_NEAR(r[1], s, 3e-7);
    EXPECT_TRUE(r[2] == -r[1] && r[3] == r[0]);
    EXPECT_NEAR(Roots[0], 1, 2e-4);
    EXPECT_NEAR(Roots[1], -1e3, 2e-4);
  }
}

}  // namespace
