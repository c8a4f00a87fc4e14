#include <gtest/gtest.h>
#include <nxbriochem/geometry/eigen_jag.h>
#include <nxbriochem/geometry/instruction_set_internal.h>
#include <nxbriochem/geometry/jacobi_sweeps_internal.h>
#include <nxbriochem/objects/memory.h>

#include <tests/support/plain_jacobi.h>
#include <tests/support/printed.h>
#include <tests/support/symmetric_matrices.h>
#include <Eigen/LU>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

using namespace test_support;
using instruction_set::InstructionSet;

namespace {

template <class T>
bool same_bits(const std::vector<T>& x, const std::vector<T>& y) {
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (std::memcmp(&x[i], &y[i], sizeof(T)) != 0 && !(std::isnan(x[i]) && std::isnan(y[i]))) {
      return false;
    }
  }
  return true;
}

// The results of a run.
template <class T>
struct Outcome {
  explicit Outcome(const Square<T>& matrix) : a(matrix), v(matrix.size()), d(matrix.n), b(matrix.n), z(matrix.n) {}

  Square<T> a;
  Square<T> v;
  std::vector<T> d;
  std::vector<T> b;
  std::vector<T> z;
  int nrot = -1;
  bool converged = false;
};

template <class T>
void expect_all_equal(const Square<T>& matrix, const char* what) {
  Outcome<T> expected(matrix);
  expected.converged = plain_jacobi(expected.a.rows(), matrix.size(), expected.d.data(), expected.v.rows(),
                                    &expected.nrot, expected.b.data(), expected.z.data());
  for (const InstructionSet set : instruction_set::supported()) {
    const char* name = instruction_set::name_of(set);
    Outcome<T> run(matrix);
    run.converged = eigen_jag::diagonalise(run.a.rows(), matrix.size(), run.d.data(), run.v.rows(), &run.nrot,
                                           run.b.data(), run.z.data(), set);
    EXPECT_EQ(run.converged, expected.converged) << what << matrix.n << " by " << name;
    EXPECT_EQ(run.nrot, expected.nrot) << what << matrix.n << " by " << name;
    EXPECT_TRUE(same_bits(run.d, expected.d) && same_bits(run.v.elements, expected.v.elements) &&
                same_bits(run.a.elements, expected.a.elements))
        << what << matrix.n << " by " << name;
  }
}

// Spectra that exercise the different thresholds and the skipping of negligible rotations.
template <class T>
void expect_all_equal_for_size(std::mt19937& random, int n) {
  using Limits = std::numeric_limits<T>;
  std::uniform_real_distribution<double> uniform(-1, 1);
  const auto size = static_cast<std::size_t>(n);
  const Square<T> dense = random_symmetric<T>(random, n);
  expect_all_equal(dense, "dense ");
  std::vector<double> clustered(size);
  std::vector<double> graded(size);
  std::vector<double> rank_one(size);
  rank_one[0] = 1;
  for (std::size_t i = 0; i < size; ++i) {
    clustered[i] = (i % 2 == 0 ? 1 : -1) + 1e-9 * uniform(random);
    graded[i] = std::pow(10, -30.0 * static_cast<double>(i) / n);
  }
  expect_all_equal(with_spectrum<T>(random, clustered), "clustered ");
  expect_all_equal(with_spectrum<T>(random, graded), "graded ");
  expect_all_equal(with_spectrum<T>(random, rank_one), "rank one ");
  Square<T> sparse = dense;
  Square<T> extreme = dense;
  Square<T> unusual = dense;
  const T values[] = {0, -T{0}, Limits::denorm_min(), -Limits::min(), Limits::max(), T{1e-30F}, 1};
  for (std::size_t i = 0; i < size; ++i) {
    for (std::size_t j = 0; j < size; ++j) {
      sparse.at(i, j) = (i * j) % 3 == 0 ? sparse.at(i, j) : (i < j ? -T{0} : T{0});
      extreme.at(i, j) = values[random() % std::size(values)];
    }
  }
  expect_all_equal(sparse, "sparse ");
  expect_all_equal(extreme, "extreme ");
  unusual.at(0, size - 1) = random() % 2 == 0 ? Limits::infinity() : Limits::quiet_NaN();
  expect_all_equal(unusual, "not finite ");
}

template <class T>
void expect_accurate(const Square<T>& matrix, double limit) {
  Outcome<T> run(matrix);
  if constexpr (sizeof(T) == sizeof(float)) {
    vf_jacobi(run.a.rows(), matrix.size(), run.d.data(), run.v.rows(), &run.nrot);
  } else {
    vf_jacobi_double_precision(run.a.rows(), matrix.size(), run.d.data(), run.v.rows(), &run.nrot);
  }
  const EigenErrors errors = eigen_errors(matrix, run.d, exact_square(run.v));
  EXPECT_LE(errors.element, limit) << matrix.n;
  EXPECT_LE(errors.orthonormal, 6 * limit) << matrix.n;
  // The upper triangle is destroyed, the rest unchanged.
  for (std::size_t i = 0; i < matrix.n; ++i) {
    for (std::size_t j = 0; j < matrix.n; ++j) {
      ASSERT_EQ(run.a.at(i, j), j > i ? T{0} : matrix.at(i, j));
    }
  }
}

}  // namespace

TEST(JacobiSweeps, AllVersionsGiveThePlainSweepsBits) {
  std::mt19937 random(41);
  for (int n = 1; n <= 36; ++n) {
    expect_all_equal_for_size<float>(random, n);
    expect_all_equal_for_size<double>(random, n);
  }
  for (const int n : {64, 97}) {
    expect_all_equal(random_symmetric<float>(random, n), "dense ");
    expect_all_equal(random_symmetric<double>(random, n), "dense ");
  }
  EXPECT_EQ(nx_total_number_of_active_pointers(), 0);
}

TEST(Jacobi, IsAccurateAgainstLongDouble) {
  std::mt19937 random(42);
  for (int round = 0; round < 2000; ++round) {
    expect_accurate(random_symmetric<float>(random, 3), 6e-7);
    expect_accurate(random_symmetric<double>(random, 3), 2e-15);
  }
  for (const int n : {1, 2, 4, 7, 13, 30, 60, 200}) {
    expect_accurate(random_symmetric<float>(random, n), 6e-7);
    expect_accurate(random_symmetric<double>(random, n), 2e-15);
  }
  EXPECT_EQ(nx_total_number_of_active_pointers(), 0);
}

// With it the sum above the diagonal never becomes 0.
TEST(Jacobi, SaysSoAfterFiftySweepsAndKeepsTwoWorkVectors) {
  for (const int n : {3, 40}) {
    std::mt19937 random(43);
    Square<float> a = random_symmetric<float>(random, n);
    a.at(0, 1) = std::numeric_limits<float>::quiet_NaN();
    Square<double> wide(n);
    std::copy(a.elements.begin(), a.elements.end(), wide.elements.begin());
    Outcome<float> run(a);
    Outcome<double> wide_run(wide);
    const int blocks = nx_total_number_of_active_pointers();
    const uint32_t bytes = nx_total_memory_allocated();
    EXPECT_EQ(printed([&] { vf_jacobi(run.a.rows(), n, run.d.data(), run.v.rows(), &run.nrot); }),
              "Error : too many iterations in routine vf_jacobi\n");
    EXPECT_EQ(nx_total_number_of_active_pointers() - blocks, 2);
    EXPECT_EQ(nx_total_memory_allocated() - bytes, 2U * static_cast<unsigned>(n) * sizeof(float));
    EXPECT_EQ(
        printed([&] { eigen_solve_double_precision(wide_run.a.rows(), n, wide_run.d.data(), wide_run.v.rows()); }),
        "Error : too many iterations in routine vf_jacobi_double_precision\n");
    EXPECT_EQ(nx_total_number_of_active_pointers() - blocks, 4);
  }
  nx_free_all_memory();
}

TEST(EigenSort, OfEqualValuesTheLaterComesFirst) {
  float d[] = {1, 3, 3};
  Square<float> v(3);
  v.elements = {0, 1, 2, 10, 11, 12, 20, 21, 22};
  eigsrt(d, v.rows(), 3);
  EXPECT_EQ(std::vector<float>(d, d + 3), (std::vector<float>{3, 3, 1}));
  EXPECT_EQ(v.elements, (std::vector<float>{2, 1, 0, 12, 11, 10, 22, 21, 20}));
}

TEST(EigenSolve, LeavesTheMatrixWhole) {
  std::mt19937 random(45);
  for (const int n : {1, 2, 3, 9, 31}) {
    const Square<float> a = random_symmetric<float>(random, n);
    Outcome<float> raw(a);
    Outcome<float> run(a);
    vf_jacobi(raw.a.rows(), n, raw.d.data(), raw.v.rows(), nullptr);
    eigen_solve(run.a.rows(), n, run.d.data(), run.v.rows());
    EXPECT_EQ(run.a.elements, a.elements);
    EXPECT_EQ(run.d, raw.d);  // not sorted
    EXPECT_EQ(run.v.elements, raw.v.elements);

    const Square<double> wide = random_symmetric<double>(random, n);
    Outcome<double> wide_run(wide);
    eigen_solve_double_precision(wide_run.a.rows(), n, wide_run.d.data(), wide_run.v.rows());
    EXPECT_EQ(wide_run.a.elements, wide.elements);
    EXPECT_TRUE(std::is_sorted(wide_run.d.rbegin(), wide_run.d.rend()));
  }
}

TEST(EigenSolve, FramesOfThreeAreRightHandedAndSorted) {
  std::mt19937 random(46);
  for (int round = 0; round < 3000; ++round) {
    // Whole numbers, so that equal eigenvalues and zeros occur.
    Square<float> a(3);
    for (std::size_t i = 0; i < 3; ++i) {
      for (std::size_t j = 0; j <= i; ++j) {
        a.at(i, j) = a.at(j, i) = static_cast<float>(random() % 5) - 2;
      }
    }
    Outcome<float> run(a);
    eigen_solve_3_by_3(run.a.rows(), run.d.data(), run.v.rows());
    const ExactSquare v = exact_square(run.v);
    ASSERT_NEAR(static_cast<double>(Eigen::Matrix<long double, 3, 3>(v).determinant()), 1, 2e-6);
    ASSERT_TRUE(run.d[0] >= run.d[1] && run.d[1] >= run.d[2]);
    ASSERT_EQ(run.a.elements, a.elements);
    ASSERT_LE(eigen_errors(a, run.d, v).residual, 1e-6);
  }
}

TEST(Jacobi, NullArraysAndNoRowsChangeNothing) {
  float d = 5;
  float element = 7;
  float* row = &element;
  int nrot = -1;
  vf_jacobi(nullptr, 1, &d, &row, &nrot);
  vf_jacobi(&row, 1, nullptr, &row, &nrot);
  vf_jacobi(&row, 1, &d, nullptr, &nrot);
  vf_jacobi(&row, -3, &d, &row, &nrot);
  eigen_solve(nullptr, 1, &d, &row);
  eigen_solve_3_by_3(nullptr, &d, &row);
  eigen_solve_double_precision(nullptr, 1, nullptr, nullptr);
  eigsrt(nullptr, &row, 1);
  eigsrt(&d, &row, INT_MIN);
  EXPECT_EQ(nrot, -1);
  double* no_row = nullptr;
  double wide = 5;
  vf_jacobi_double_precision(&no_row, 0, &wide, &no_row, nullptr);
  vf_jacobi_double_precision(&no_row, 0, &wide, &no_row, &nrot);
  EXPECT_EQ(nrot, 0);
  nrot = -1;
  vf_jacobi(&row, 0, &d, &row, &nrot);
  EXPECT_EQ(nrot, 0);
  EXPECT_EQ(d, 5);
  EXPECT_EQ(wide, 5);
  EXPECT_EQ(element, 7);
}
