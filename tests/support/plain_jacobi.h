// Jacobi's sweeps as one writes them down from their definition: what the library's must match bit for bit, and the
// yardstick of their speed.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_PLAIN_JACOBI_H
#define NXBRIOCHEM_TESTS_SUPPORT_PLAIN_JACOBI_H

#include <cmath>

namespace test_support {

// b and z are work vectors of n elements. False after 50 sweeps.
template <class T>
bool plain_jacobi(T** a, int n, T* d, T** v, int* nrot, T* b, T* z) {
  const auto turn = [](T& x, T& y, T s, T tau) {
    const T g = x;
    const T h = y;
    x = g - s * (h + g * tau);
    y = h + s * (g - h * tau);
  };
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      v[i][j] = static_cast<T>(i == j);
    }
    b[i] = d[i] = a[i][i];
    z[i] = 0;
  }
  *nrot = 0;
  for (int sweep = 1; sweep <= 50; ++sweep) {
    T sm = 0;
    for (int p = 0; p < n - 1; ++p) {
      for (int q = p + 1; q < n; ++q) {
        sm += std::fabs(a[p][q]);
      }
    }
    if (sm == 0) {
      return true;
    }
    const T tresh = sweep < 4 ? static_cast<T>(0.2) * sm / static_cast<T>(n * n) : static_cast<T>(0);
    for (int p = 0; p < n - 1; ++p) {
      for (int q = p + 1; q < n; ++q) {
        const T g = 100 * std::fabs(a[p][q]);
        if (sweep > 4 && std::fabs(d[p]) + g == std::fabs(d[p]) && std::fabs(d[q]) + g == std::fabs(d[q])) {
          a[p][q] = 0;
          continue;
        }
        if (!(std::fabs(a[p][q]) > tresh)) {
          continue;
        }
        T h = d[q] - d[p];
        T t = 0;
        if (std::fabs(h) + g == std::fabs(h)) {
          t = a[p][q] / h;
        } else {
          const T theta = static_cast<T>(0.5) * h / a[p][q];
          t = 1 / (std::fabs(theta) + std::sqrt(1 + theta * theta));
          t = theta < 0 ? -t : t;
        }
        const T c = 1 / std::sqrt(1 + t * t);
        const T s = t * c;
        const T tau = s / (1 + c);
        h = t * a[p][q];
        z[p] -= h;
        z[q] += h;
        d[p] -= h;
        d[q] += h;
        a[p][q] = 0;
        for (int j = 0; j < p; ++j) {
          turn(a[j][p], a[j][q], s, tau);
        }
        for (int j = p + 1; j < q; ++j) {
          turn(a[p][j], a[j][q], s, tau);
        }
        for (int j = q + 1; j < n; ++j) {
          turn(a[p][j], a[q][j], s, tau);
        }
        for (int j = 0; j < n; ++j) {
          turn(v[j][p], v[j][q], s, tau);
        }
        ++*nrot;
      }
    }
    for (int i = 0; i < n; ++i) {
      b[i] += z[i];
      d[i] = b[i];
      z[i] = 0;
    }
  }
  return false;
}

}  // namespace test_support

#endif
