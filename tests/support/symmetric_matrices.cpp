#include "tests/support/symmetric_matrices.h"

#include <Eigen/Eigenvalues>
#include <Eigen/QR>

namespace test_support {

ExactSquare product(const ExactSquare& a, const ExactSquare& b) { return a * b; }

std::vector<long double> eigenvalues_of(const ExactSquare& a) {
  const auto values = Eigen::SelfAdjointEigenSolver<ExactSquare>(a, Eigen::EigenvaluesOnly).eigenvalues().eval();
  return {values.begin(), values.end()};
}

long double largest_element(const ExactSquare& a) { return a.cwiseAbs().maxCoeff<Eigen::PropagateNaN>(); }

long double skew_of(const ExactSquare& v) {
  return largest_element(product(v.transpose(), v) - ExactSquare::Identity(v.rows(), v.cols()));
}

template <class T>
Square<T> with_spectrum(std::mt19937& random, const std::vector<double>& values) {
  const auto n = static_cast<int>(values.size());
  const ExactSquare random_matrix = exact_square(random_symmetric<double>(random, n));
  const ExactSquare q = Eigen::HouseholderQR<ExactSquare>(random_matrix).householderQ();
  const ExactSquare scaled = q * Eigen::VectorXd::Map(values.data(), n).cast<long double>().asDiagonal();
  const ExactSquare a = product(scaled, q.transpose());
  Square<T> result(n);
  for (std::size_t i = 0; i < result.n; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      result.at(i, j) = result.at(j, i) = static_cast<T>(a(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j)));
    }
  }
  return result;
}
template Square<float> with_spectrum<float>(std::mt19937& random, const std::vector<double>& values);
template Square<double> with_spectrum<double>(std::mt19937& random, const std::vector<double>& values);

EigenErrors eigen_errors(const ExactSquare& a, const ExactSquare& values, const ExactSquare& v) {
  const long double largest = largest_element(values);
  const ExactSquare error =
      (product(a, v) - ExactSquare(v * values.col(0).asDiagonal())) / (largest == 0 ? 1 : largest);
  return {error.colwise().norm().maxCoeff<Eigen::PropagateNaN>(), largest_element(error), skew_of(v)};
}

}  // namespace test_support
