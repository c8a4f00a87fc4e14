// Symmetric matrices with known spectra, and how good eigenpairs of them are, for tests and benchmarks.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_SYMMETRIC_MATRICES_H
#define NXBRIOCHEM_TESTS_SUPPORT_SYMMETRIC_MATRICES_H

#include <Eigen/Core>
#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

namespace test_support {

// n x n, row-major, with the row pointers that some interfaces take.
template <class T>
struct Square {
  explicit Square(int size) : n(static_cast<std::size_t>(size)), elements(n * n) {}

  T& at(std::size_t i, std::size_t j) { return elements[i * n + j]; }
  const T& at(std::size_t i, std::size_t j) const { return elements[i * n + j]; }
  int size() const { return static_cast<int>(n); }

  // Valid until the next call.
  T** rows() {
    pointers.clear();
    for (std::size_t i = 0; i < n; ++i) {
      pointers.push_back(elements.data() + i * n);
    }
    return pointers.data();
  }

  std::size_t n;
  std::vector<T> elements;
  std::vector<T*> pointers;
};

template <class T>
Square<T> random_symmetric(std::mt19937& random, int n) {
  std::uniform_real_distribution<T> uniform(-1, 1);
  Square<T> a(n);
  for (std::size_t i = 0; i < a.n; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      a.at(i, j) = a.at(j, i) = uniform(random);
    }
  }
  return a;
}

// Matrices in long double. Operations on them are in the source file, since Eigen's products and decompositions take
// long to compile.
using ExactSquare = Eigen::Matrix<long double, Eigen::Dynamic, Eigen::Dynamic>;

template <class T>
ExactSquare exact_square(const std::vector<T>& elements, std::size_t size) {
  const auto n = static_cast<Eigen::Index>(size);
  using Rows = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
  return Rows::Map(elements.data(), n, n).template cast<long double>();
}

template <class T>
ExactSquare exact_square(const Square<T>& a) {
  return exact_square(a.elements, a.n);
}

ExactSquare product(const ExactSquare& a, const ExactSquare& b);

// Ascending; the lower triangle is read.
std::vector<long double> eigenvalues_of(const ExactSquare& a);

// NaN if an element is.
long double largest_element(const ExactSquare& a);

// The largest element of V^T V - I.
long double skew_of(const ExactSquare& v);

// diag(values) in a random orthonormal basis, rounded to float or double at the end.
template <class T>
Square<T> with_spectrum(std::mt19937& random, const std::vector<double>& values);

// Errors computed in long double. |A| is the largest magnitude of an eigenvalue.
struct EigenErrors {
  long double residual;     // the largest |A v - l v| / |A|
  long double element;      // the largest element of any A v - l v, over |A|
  long double orthonormal;  // the largest element of V^T V - I
};

// The eigenvectors are columns.
EigenErrors eigen_errors(const ExactSquare& a, const ExactSquare& values, const ExactSquare& v);
template <class T>
EigenErrors eigen_errors(const Square<T>& a, const std::vector<T>& values, const ExactSquare& v) {
  ExactSquare column(v.rows(), 1);
  std::copy(values.begin(), values.end(), column.data());
  return eigen_errors(exact_square(a), column, v);
}

}  // namespace test_support

#endif
