// Symmetric matrices with known spectra, and how good eigenpairs of them are, for tests and benchmarks.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_SYMMETRIC_MATRICES_H
#define NXBRIOCHEM_TESTS_SUPPORT_SYMMETRIC_MATRICES_H

#include <algorithm>
#include <cmath>
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

// diag(values) turned by random reflections, in long double until the end.
template <class T>
Square<T> with_spectrum(std::mt19937& random, const std::vector<double>& values) {
  std::normal_distribution<double> normal;
  const std::size_t n = values.size();
  std::vector<long double> a(n * n);
  for (std::size_t i = 0; i < n; ++i) {
    a[i * n + i] = values[i];
  }
  for (int reflection = 0; reflection < 3; ++reflection) {
    std::vector<long double> u(n);
    long double square = 0;
    for (long double& x : u) {
      x = normal(random);
      square += x * x;
    }
    std::vector<long double> p(n);
    long double along = 0;
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < n; ++j) {
        p[i] += 2 / square * a[i * n + j] * u[j];
      }
      along += p[i] * u[i] / square;
    }
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < n; ++j) {
        a[i * n + j] -= u[i] * (p[j] - along * u[j]) + (p[i] - along * u[i]) * u[j];
      }
    }
  }
  Square<T> result(static_cast<int>(n));
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      result.at(i, j) = result.at(j, i) = static_cast<T>(a[i * n + j]);
    }
  }
  return result;
}

// In long double, |A| being the largest magnitude of an eigenvalue.
struct EigenErrors {
  long double residual = 0;     // the largest |A v - l v| / |A|
  long double element = 0;      // the largest element of any A v - l v, over |A|
  long double orthonormal = 0;  // the largest element of V^T V - I
};

// `component(k, i)` is element i of eigenvector k.
template <class T, class Component>
EigenErrors eigen_errors(const Square<T>& a, const T* values, Component component) {
  EigenErrors errors;
  long double size = 0;
  for (std::size_t k = 0; k < a.n; ++k) {
    size = std::max(size, std::abs(static_cast<long double>(values[k])));
    long double square = 0;
    for (std::size_t i = 0; i < a.n; ++i) {
      long double sum = -static_cast<long double>(values[k]) * component(k, i);
      for (std::size_t j = 0; j < a.n; ++j) {
        sum += static_cast<long double>(a.at(i, j)) * component(k, j);
      }
      square += sum * sum;
      errors.element = std::max(errors.element, std::abs(sum));
    }
    errors.residual = std::max(errors.residual, std::sqrt(square));
    for (std::size_t other = 0; other <= k; ++other) {
      long double sum = other == k ? -1 : 0;
      for (std::size_t i = 0; i < a.n; ++i) {
        sum += static_cast<long double>(component(k, i)) * component(other, i);
      }
      errors.orthonormal = std::max(errors.orthonormal, std::abs(sum));
    }
  }
  if (size > 0) {
    errors.residual /= size;
    errors.element /= size;
  }
  return errors;
}

}  // namespace test_support

#endif
