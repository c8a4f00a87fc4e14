// Callbacks of every type that optimisers and function lists take: a sum of squares, and one that returns NaN.
#ifndef NXBRIOCHEM_TESTS_DRIVER_CALLBACKS_H
#define NXBRIOCHEM_TESTS_DRIVER_CALLBACKS_H

#include <limits>

namespace driver {

template <typename T>
T sum_of_squares(const T* x, int n) {
  T sum = 0;
  for (int i = 0; i < n; ++i) {
    const T d = x[i] - static_cast<T>(i);
    sum += d * d;
  }
  return sum;
}

template <typename T>
T with_derivatives(const T* x, T* derivatives, int n) {
  for (int i = 0; i < n; ++i) {
    derivatives[i] += 2 * (x[i] - static_cast<T>(i));
  }
  return sum_of_squares(x, n);
}

template <typename F>
struct Callback;

// Values, plain or with handles.
template <typename T, typename... Handle>
struct Callback<T (*)(T*, int, Handle...)> {
  using Function = T (*)(T*, int, Handle...);
  static T sum(T* x, int n, Handle...) { return sum_of_squares(x, n); }
  static T no_number(T*, int, Handle...) { return std::numeric_limits<T>::quiet_NaN(); }
  static Function of(int which) { return which == 0 ? &sum : &no_number; }
};

// Gradients and hessians, of which the first row is written.
template <typename T, typename... Handle>
struct Callback<T (*)(T*, T*, int, Handle...)> {
  using Function = T (*)(T*, T*, int, Handle...);
  static T sum(T* x, T* out, int n, Handle...) { return with_derivatives(x, out, n); }
  static T no_number(T*, T* out, int n, Handle...) {
    for (int i = 0; i < n; ++i) {
      out[i] = std::numeric_limits<T>::quiet_NaN();
    }
    return 0;
  }
  static Function of(int which) { return which == 0 ? &sum : &no_number; }
};

}  // namespace driver

#endif
