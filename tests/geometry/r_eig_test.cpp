#include <gtest/gtest.h>
#include <nxbriochem/geometry/eigen_jag.h>
#include <nxbriochem/geometry/r_eig.h>
#include <nxbriochem/objects/memory.h>

#include <tests/support/printed.h>
#include <tests/support/symmetric_matrices.h>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace test_support;

namespace {

// The numbers that rand() returns to the library, repeated; random ones when the list is empty.
std::vector<int> given_numbers;
std::size_t next_number = 0;

}  // namespace

extern "C" int rand() noexcept {
  return given_numbers.empty() ? static_cast<int>(random()) : given_numbers[next_number++ % given_numbers.size()];
}

namespace {

constexpr int kZeroNumber = RAND_MAX / 2;  // makes an element of a start vector 0

// Checks that the eigenpairs are those of A to rounding, and sorted; and the eigenvalues, where they are known.
void expect_eigenpairs(const Square<double>& a, std::vector<double> known, const char* what) {
  Square<double> v = a;
  std::vector<double> values(a.n);
  ASSERT_EQ(DetermineEigenVectors(v.elements.data(), values.data(), a.size(), 2), 1) << what << a.n;
  const EigenErrors errors = eigen_errors(a, values, exact_square(v).transpose());
  EXPECT_LE(errors.residual, 1e-14) << what << a.n;
  EXPECT_LE(errors.orthonormal, 1e-14) << what << a.n;
  for (std::size_t i = 1; i < a.n; ++i) {
    EXPECT_GE(std::abs(values[i - 1]), std::abs(values[i])) << what << a.n;
  }
  if (!known.empty()) {
    const double size = std::abs(values[0]);
    std::sort(known.begin(), known.end());
    std::sort(values.begin(), values.end());
    for (std::size_t i = 0; i < a.n; ++i) {
      EXPECT_NEAR(values[i], known[i], 2e-14 * size) << what << a.n;
    }
  }
  EXPECT_EQ(nx_total_number_of_active_pointers(), 0);
}

// The text on standard error with DebugFlag set.
std::string debug_output(int result, Square<double> a) {
  const Square<double> before = a;
  std::vector<double> values(a.n, 0.5);
  for (const int flag : {0, 1}) {
    DebugFlag = flag;
    next_number = 0;
    testing::internal::CaptureStderr();
    EXPECT_EQ(DetermineEigenVectors(a.elements.data(), values.data(), a.size(), 1), result);
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(nx_total_number_of_active_pointers(), 0);
    if (flag != 0) {
      DebugFlag = 0;
      return text;
    }
    EXPECT_EQ(text, "");
    if (result == 0) {
      EXPECT_EQ(values, std::vector<double>(a.n, 0.5));
      EXPECT_TRUE(std::equal(before.elements.begin(), before.elements.end(), a.elements.begin(),
                             [](double x, double y) { return x == y || (std::isnan(x) && std::isnan(y)); }));
    }
    a = before;
  }
  return "";
}

Square<double> two_by_two(double diagonal, double beside) {
  Square<double> a(2);
  a.elements = {diagonal, beside, beside, diagonal};
  return a;
}

// The tridiagonal matrix with this diagonal and subdiagonal (beside[0] is not used).
ExactSquare tridiagonal(const std::vector<double>& diagonal, const std::vector<double>& beside) {
  Square<double> a(static_cast<int>(diagonal.size()));
  for (std::size_t i = 0; i < a.n; ++i) {
    a.at(i, i) = diagonal[i];
    if (i > 0) {
      a.at(i, i - 1) = a.at(i - 1, i) = beside[i];
    }
  }
  return exact_square(a);
}

}  // namespace

TEST(EigenVectors, AreAccurateForEverySpectrum) {
  std::mt19937 random(51);
  std::uniform_real_distribution<double> uniform(-1, 1);
  for (const int n : {1, 2, 3, 4, 10, 25, 26, 61, 150}) {
    const auto size = static_cast<std::size_t>(n);
    std::vector<double> opposite(size);
    std::vector<double> projector(size);
    std::vector<double> tight(size);
    std::vector<double> two_clusters(size);
    std::vector<double> graded(size);
    for (std::size_t i = 0; i < size; ++i) {
      const double pair = static_cast<double>(i / 2 + 1);
      opposite[i] = i % 2 == 0 ? pair : -pair;
      projector[i] = i < size / 2 ? 0 : -3;
      tight[i] = 1 + 1e-14 * static_cast<double>(i);
      two_clusters[i] = (i % 3 == 0 ? 1 : -1) * (1 + 1e-9 * uniform(random));
      graded[i] = 100 * std::pow(10, -18.0 * static_cast<double>(i) / n);
    }
    expect_eigenpairs(random_symmetric<double>(random, n), {}, "random ");
    for (const auto& values : {opposite, projector, tight, two_clusters, graded}) {
      expect_eigenpairs(with_spectrum<double>(random, values), values, "spectrum ");
    }
    Square<double> chain(n);
    Square<double> identity(n);
    Square<double> ones(n);
    Square<double> barely_linked(n);
    std::vector<double> chain_values(size);
    for (std::size_t i = 0; i < size; ++i) {
      chain_values[i] = 2 * std::cos(std::acos(-1.0) * static_cast<double>(i + 1) / (n + 1));
      identity.at(i, i) = barely_linked.at(i, i) = 1;
      for (std::size_t j = 0; j < size; ++j) {
        ones.at(i, j) = 1;
        if (i + 1 == j || j + 1 == i) {
          chain.at(i, j) = 1;
          barely_linked.at(i, j) = std::min(i, j) % 2 == 0 ? 1e-17 : 1e-13;
        }
      }
    }
    expect_eigenpairs(chain, n > 1 ? chain_values : std::vector<double>{}, "chain ");
    expect_eigenpairs(identity, std::vector<double>(size, 1), "identity ");
    expect_eigenpairs(Square<double>(n), {}, "zero ");
    expect_eigenpairs(ones, {}, "ones ");
    expect_eigenpairs(barely_linked, {}, "barely linked ");
    for (const double factor : {1e300, 1e-300}) {
      Square<double> scaled = random_symmetric<double>(random, n);
      std::for_each(scaled.elements.begin(), scaled.elements.end(), [factor](double& x) { x *= factor; });
      expect_eigenpairs(scaled, {}, "scaled ");
    }
  }
}

TEST(EigenVectors, ModesAndEmptyMatrices) {
  Square<double> a = two_by_two(2, 1);
  double values[2] = {9, 9};
  for (const int mode : {1, 2}) {
    EXPECT_EQ(DetermineEigenVectors(a.elements.data(), values, 0, mode), 1);
    EXPECT_EQ(DetermineEigenVectors(nullptr, nullptr, 0, mode), 1);
    EXPECT_EQ(DetermineEigenVectors(nullptr, values, 2, mode), 0);
    EXPECT_EQ(DetermineEigenVectors(a.elements.data(), nullptr, 2, mode), 0);
    EXPECT_EQ(DetermineEigenVectors(a.elements.data(), values, -1, mode), 0);
  }
  EXPECT_EQ(DetermineEigenVectors(a.elements.data(), values, 0, 0), 0);
  EXPECT_EQ(DetermineEigenVectors(a.elements.data(), values, 2, -1), 0);
  EXPECT_EQ(values[0], 9);
  EXPECT_EQ(a.elements, two_by_two(2, 1).elements);
}

TEST(EigenVectors, ReportUnderTheDebugFlagOnly) {
  EXPECT_EQ(DebugFlag, 0);
  Square<double> unusual = two_by_two(2, 1);
  unusual.at(0, 0) = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(debug_output(0, unusual), "Exhaus iterations exceeded!\n");
  unusual.at(0, 0) = std::numeric_limits<double>::infinity();
  EXPECT_EQ(debug_output(0, unusual), "Exhaus iterations exceeded!\n");

  given_numbers = {kZeroNumber};
  EXPECT_EQ(debug_output(0, two_by_two(2, 1)), "Exhaus dot product is zero!\n");

  // Every start is the eigenvector (1, 0) of the diagonal matrix, so that no start is left for the second eigenvector.
  given_numbers = {RAND_MAX, kZeroNumber};
  EXPECT_EQ(debug_output(0, two_by_two(5, 0)),
            "Exhaus Eigen 0 Value 5 in 1 iterations\nExhaus negative eigen dimensions!\n");

  // A different seventh start is still accepted.
  given_numbers = {RAND_MAX, kZeroNumber, RAND_MAX, kZeroNumber, RAND_MAX, kZeroNumber, RAND_MAX,    kZeroNumber,
                   RAND_MAX, kZeroNumber, RAND_MAX, kZeroNumber, RAND_MAX, kZeroNumber, kZeroNumber, RAND_MAX};
  EXPECT_EQ(debug_output(1, two_by_two(5, 0)),
            "Exhaus Eigen 0 Value 5 in 1 iterations\nExhaus Eigen 1 Value 5 in 7 iterations\n");

  // The smaller one is found first, but is the second of the result.
  given_numbers = {kZeroNumber, RAND_MAX, RAND_MAX, kZeroNumber};
  Square<double> graded = two_by_two(5, 0);
  graded.at(1, 1) = 3;
  EXPECT_EQ(debug_output(1, graded),
            "Exhaus Eigen 0 Value 5 in 1 iterations\nExhaus Eigen 1 Value 3 in 1 iterations\n");
  given_numbers.clear();
}

TEST(HouseHolder, GivesTheTridiagonalFormAndItsBasis) {
  std::mt19937 random(52);
  for (const int n : {1, 2, 3, 8, 40}) {
    for (const double factor : {1.0, 1e200, 1e-200, 0.0}) {
      Square<double> a = random_symmetric<double>(random, n);
      for (double& x : a.elements) {
        x *= factor;
      }
      Square<double> q = a;
      std::vector<double> d(a.n);
      std::vector<double> e(a.n, 9);
      ASSERT_EQ(HouseHolderReduction(q.elements.data(), d.data(), e.data(), n), 1);
      EXPECT_EQ(e[0], 0);
      const ExactSquare v = exact_square(q);
      EXPECT_LE(largest_element(product(product(v.transpose(), exact_square(a)), v) - tridiagonal(d, e)),
                2e-14 * factor)
          << n;
      EXPECT_LE(skew_of(v), 4e-15) << n;
    }
  }
  EXPECT_EQ(HouseHolderReduction(nullptr, nullptr, nullptr, 2), 0);
}

TEST(Tridiagonalize, KeepsTheSpectrumAndPrintsEachStep) {
  std::mt19937 random(53);
  for (const int n : {1, 2, 3, 12}) {
    const Square<double> before = random_symmetric<double>(random, n);
    Square<double> after = before;
    std::vector<double> norms(before.n, 9);
    std::istringstream lines(
        printed([&] { EXPECT_EQ(nx_l_tridiagonalize(after.elements.data(), norms.data(), n), 1); }));
    EXPECT_EQ(nx_total_number_of_active_pointers(), 0);
    EXPECT_EQ(norms[0], 0);
    std::vector<double> diagonal{after.at(0, 0)};
    std::vector<double> beside{0};
    for (std::size_t i = 1; i < before.n; ++i) {
      diagonal.push_back(after.at(i, i));
      beside.push_back(after.at(i, i - 1));
    }
    for (std::size_t i = before.n - 1; i > 0; --i) {
      EXPECT_EQ(norms[i], std::abs(beside[i]));
      std::string line;
      std::getline(lines, line);
      EXPECT_EQ(line, std::to_string(norms[i]));
    }
    EXPECT_EQ(lines.peek(), EOF);
    EXPECT_EQ(exact_square(after), tridiagonal(diagonal, beside));
    const std::vector<long double> spectrum = eigenvalues_of(exact_square(before));
    const std::vector<long double> kept = eigenvalues_of(exact_square(after));
    for (std::size_t i = 0; i < before.n; ++i) {
      EXPECT_NEAR(static_cast<double>(kept[i] - spectrum[i]), 0, 1e-14 * n);
    }
  }
  double a = 5;
  double out = 5;
  EXPECT_EQ(printed([&] { EXPECT_EQ(nx_l_tridiagonalize(&a, &out, 0), 1); }), "");
  EXPECT_EQ(a, 1.0);
  EXPECT_EQ(out, 1.0);
  EXPECT_EQ(nx_l_tridiagonalize(nullptr, &out, 0), 0);
}

TEST(Inverse, TimesTheMatrixIsTheIdentity) {
  std::mt19937 random(54);
  for (const int n : {1, 2, 3, 30}) {
    std::vector<double> spectrum;
    for (int i = 0; i < n; ++i) {
      spectrum.push_back(i % 2 == 0 ? 1 + i : -0.5);
    }
    const Square<double> a = with_spectrum<double>(random, spectrum);
    Square<double> inverse(n);
    EXPECT_EQ(nx_invert_matrix_using_eigenvalues_double(a.elements.data(), inverse.elements.data(), n), 1);
    const std::vector<float> narrow(a.elements.begin(), a.elements.end());
    std::vector<float> narrow_inverse(narrow.size());
    EXPECT_EQ(nx_invert_matrix_using_eigenvalues(narrow.data(), narrow_inverse.data(), n), 1);
    EXPECT_LE(largest_element(product(exact_square(a), exact_square(inverse)) - ExactSquare::Identity(n, n)), 1e-12);
    EXPECT_LE(largest_element(exact_square(narrow_inverse, a.n) - exact_square(inverse)), 2e-5);
  }
  EXPECT_EQ(nx_total_number_of_active_pointers(), 0);
}

TEST(Inverse, OfASingularMatrixIsNotCalculatedAndSucceeds) {
  const std::vector<float> singular = {2, 0, 0, 0, 5e-8F, 0, 0, 0, -9e-8F};
  std::vector<float> out(9, 4);
  EXPECT_EQ(printed([&] { EXPECT_EQ(nx_invert_matrix_using_eigenvalues(singular.data(), out.data(), 3), 1); }),
            "small eigenvalue 1 = -0.000000\nsmall eigenvalue 2 = 0.000000\n"
            "2 small eigenvalues were found, inverse not calculated\n");
  const float unusual = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(printed([&] { EXPECT_EQ(nx_invert_matrix_using_eigenvalues(&unusual, out.data(), 1), 0); }), "");
  EXPECT_EQ(nx_invert_matrix_using_eigenvalues_base(singular.data(), out.data(), 3, 3), 0);
  EXPECT_EQ(nx_invert_matrix_using_eigenvalues_base(singular.data(), out.data(), -1, 1), 0);
  EXPECT_EQ(nx_invert_matrix_using_eigenvalues(nullptr, out.data(), 3), 0);
  EXPECT_EQ(nx_invert_matrix_using_eigenvalues_double(nullptr, nullptr, 3), 0);
  EXPECT_EQ(out, std::vector<float>(9, 4));
  EXPECT_EQ(nx_total_number_of_active_pointers(), 0);
}

TEST(MetricMatrix, HoldsTheScalarProductsAboutTheCentroid) {
  std::mt19937 random(55);
  std::uniform_real_distribution<double> uniform(-10, 10);
  for (const std::size_t n : {1U, 2U, 3U, 7U, 50U}) {
    // Points on a line; the last one brings the centroid to 0.
    std::vector<double> x(n);
    for (std::size_t i = 0; i + 1 < n; ++i) {
      x[i] = uniform(random);
      x[n - 1] -= x[i];
    }
    std::vector<float> matrix;
    for (const double from : x) {
      for (const double to : x) {
        matrix.push_back(static_cast<float>(std::abs(from - to)));
      }
    }
    ASSERT_EQ(nx_convert_distance_to_metric_matrix(matrix.data(), matrix.data(), static_cast<int>(n)), 1);
    for (std::size_t i = 0; i < matrix.size(); ++i) {
      EXPECT_NEAR(matrix[i], x[i / n] * x[i % n], 2e-7 * static_cast<double>(n) * 400) << n;
    }
  }
  float element = 3;
  EXPECT_EQ(nx_convert_distance_to_metric_matrix(&element, &element, -1), 0);
  EXPECT_EQ(nx_convert_distance_to_metric_matrix(nullptr, &element, 1), 0);
  EXPECT_EQ(element, 3);
  EXPECT_EQ(nx_total_number_of_active_pointers(), 0);
}
