// Sums over vectors. Private to this directory; C++ only.
//
// Each sum runs in four lanes: element i is added to lane i mod 4, and the last elements (up to three) to a separate
// sum. The lanes are added in a fixed order at the end. So the bits do not depend on the vector width, and four
// additions are in flight at a time.
#ifndef NXBRIOCHEM_OPTIMISE_VECTORS_INTERNAL_H
#define NXBRIOCHEM_OPTIMISE_VECTORS_INTERNAL_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace vectors {

inline constexpr int32_t kLanes = 4;

inline double total_of(const double* lanes) { return (lanes[0] + lanes[2]) + (lanes[1] + lanes[3]); }

template <class Term>
inline void add_lanes(double* lanes, int32_t i, Term term) {
  for (int32_t lane = 0; lane < kLanes; ++lane) {
    lanes[lane] += term(i + lane);
  }
}

// The sums of term(i) for i from 0 to n - 1, for several terms in one pass.
template <class... Term>
inline std::array<double, sizeof...(Term)> sums(int32_t n, Term... term) {
  double lanes[sizeof...(Term)][kLanes] = {};
  std::array<double, sizeof...(Term)> totals{};
  int32_t i = 0;
  for (; i <= n - kLanes; i += kLanes) {
    std::size_t k = 0;
    ((add_lanes(lanes[k++], i, term)), ...);
  }
  for (; i < n; ++i) {
    std::size_t k = 0;
    ((totals[k++] += term(i)), ...);
  }
  for (std::size_t k = 0; k < sizeof...(Term); ++k) {
    totals[k] += total_of(lanes[k]);
  }
  return totals;
}

// The terms of a scalar product, in double.
template <class A, class B>
auto product_of(const A* a, const B* b) {
  return [=](int32_t i) { return static_cast<double>(a[i]) * static_cast<double>(b[i]); };
}

template <class A, class B>
double dot(const A* a, const B* b, int32_t n) {
  return sums(n, product_of(a, b))[0];
}

template <class A>
double square(const A* a, int32_t n) {
  return dot(a, a, n);
}

// Element by element: squares of small elements underflow to 0.
inline bool all_zero(const double* a, int32_t n) {
  return std::all_of(a, a + n, [](double element) { return element == 0; });
}

// a += factor b
template <class B>
void add_scaled(double* a, double factor, const B* b, int32_t n) {
  for (int32_t i = 0; i < n; ++i) {
    a[i] += factor * static_cast<double>(b[i]);
  }
}

// a = scale (a + factor b), and a . c of the new a, in one pass. The three do not overlap.
template <class B, class C>
double add_scale_dot(double* __restrict a, double factor, const B* __restrict b, double scale, const C* __restrict c,
                     int32_t n) {
  double lanes[kLanes] = {};
  double rest = 0;
  int32_t i = 0;
  for (; i <= n - kLanes; i += kLanes) {
    for (int32_t lane = 0; lane < kLanes; ++lane) {
      const int32_t k = i + lane;
      a[k] = scale * (a[k] + factor * static_cast<double>(b[k]));
      lanes[lane] += a[k] * static_cast<double>(c[k]);
    }
  }
  for (; i < n; ++i) {
    a[i] = scale * (a[i] + factor * static_cast<double>(b[i]));
    rest += a[i] * static_cast<double>(c[i]);
  }
  return rest + total_of(lanes);
}

}  // namespace vectors

#endif
