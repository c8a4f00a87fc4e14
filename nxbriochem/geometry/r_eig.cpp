// The flat interface over the eigenpair search, and the functions that use it.
#include <nxbriochem/geometry/r_eig.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>

#include <nxbriochem/geometry/matrix.h>
#include <nxbriochem/geometry/r_eig_pairs_internal.h>
#include <nxbriochem/util/work_array_internal.h>

int DebugFlag = 0;

namespace {

using r_eig::Outcome;
using r_eig::row_of;
using work_array::size_of;
using work_array::Work;

constexpr double kSmallEigenvalue = 1e-7;

void report(Outcome outcome) {
  if (DebugFlag == 0) {
    return;
  }
  switch (outcome) {
    case Outcome::too_many_iterations:
      std::fputs("Exhaus iterations exceeded!\n", stderr);
      break;
    case Outcome::too_many_restarts:
      std::fputs("Exhaus negative eigen dimensions!\n", stderr);
      break;
    case Outcome::zero_dot_product:
      std::fputs("Exhaus dot product is zero!\n", stderr);
      break;
    default:
      break;
  }
}

// V^T diag(1 / values) V of the eigenvectors in v's rows, into `product`; `scaled` is a work array.
void invert_spectrum(double* v, const double* values, double* scaled, double* product, int n) {
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      row_of(scaled, i, n)[j] = row_of(v, i, n)[j] / values[i];
    }
  }
  nx_transpose_matrix(v, n);
  nx_multiply_matrices(v, n, n, scaled, n, n, product);
}

int print_small_eigenvalues(const double* values, int n) {
  int small = 0;
  for (int i = 0; i < n; ++i) {
    if (std::abs(values[i]) < kSmallEigenvalue) {
      std::printf("small eigenvalue %d = %f\n", i, values[i]);
      ++small;
    }
  }
  if (small > 0) {
    std::printf("%d small eigenvalues were found, inverse not calculated\n", small);
  }
  return small;
}

template <class T>
int invert(const T* in, T* out, int n) {
  const std::size_t elements = size_of(n) * size_of(n);
  const Work<double> work(3 * elements + size_of(n));
  double* v = work.data();
  double* values = v + 3 * elements;
  std::copy(in, in + elements, v);
  if (DetermineEigenVectors(v, values, n, NX_EIGENVECTORS_IN_ROWS) == 0) {
    return 0;
  }
  if (print_small_eigenvalues(values, n) == 0) {
    double* product = v + 2 * elements;
    invert_spectrum(v, values, v + elements, product, n);
    std::transform(product, product + elements, out, [](double x) { return static_cast<T>(x); });
  }
  return 1;
}

}  // namespace

int HouseHolderReduction(double* a, double* d, double* e, int n) {
  if (a == nullptr || d == nullptr || e == nullptr || n < 0) {
    return 0;
  }
  if (n > 0) {
    const Work<double> work(size_of(n));
    r_eig::reduce(a, d, e, work.data(), n);
    r_eig::accumulate(a, work.data(), n);
  }
  return 1;
}

int DetermineEigenVectors(double* a, double* values, int n, int mode) {
  if (n < 0 || mode < 1) {
    return 0;
  }
  if (n == 0) {
    return 1;
  }
  if (a == nullptr || values == nullptr) {
    return 0;
  }
  const Outcome outcome = r_eig::find_eigenpairs(a, values, n);
  report(outcome);
  return outcome == Outcome::found ? 1 : 0;
}

int nx_l_tridiagonalize(double* a, double* out, int n) {
  if (a == nullptr || out == nullptr) {
    return 0;
  }
  if (n < 1) {
    a[0] = 1.0;
    out[0] = 1.0;
    return 1;
  }
  const std::size_t elements = size_of(n) * size_of(n);
  const Work<double> reduced(elements);
  const Work<double> d(size_of(n));
  const Work<double> work(size_of(n));
  std::copy(a, a + elements, reduced.data());
  r_eig::reduce(reduced.data(), d.data(), out, work.data(), n);
  std::fill(a, a + elements, 0.0);
  for (int i = n - 1; i >= 0; --i) {
    row_of(a, i, n)[i] = d[size_of(i)];
    if (i > 0) {
      row_of(a, i, n)[i - 1] = row_of(a, i - 1, n)[i] = out[i];
      out[i] = std::abs(out[i]);
      std::printf("%f\n", out[i]);
    }
  }
  return 1;
}

int nx_convert_distance_to_metric_matrix(const float* distances, float* metric, int n) {
  if (distances == nullptr || metric == nullptr || n < 0) {
    return 0;
  }
  // Kept: programs rely on these two being floats.
  const float per_point = 1.0F / static_cast<float>(n);
  const float half_per_point = 0.5F / static_cast<float>(n);
  const Work<double> to_centroid(size_of(n));  // squared
  double total = 0;
  for (int i = 0; i < n; ++i) {
    double sum = 0;
    for (int j = 0; j < n; ++j) {
      const double distance = distances[size_of(i) * size_of(n) + size_of(j)];
      sum += distance * distance;
    }
    total += sum;
    to_centroid[size_of(i)] = per_point * sum;
  }
  const double spread = half_per_point * (per_point * total);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      const std::size_t at = size_of(i) * size_of(n) + size_of(j);
      const double distance = distances[at];
      metric[at] = static_cast<float>(
          0.5 * ((to_centroid[size_of(i)] - spread) + (to_centroid[size_of(j)] - spread) - distance * distance));
    }
  }
  return 1;
}

int nx_invert_matrix_using_eigenvalues_base(const void* in, void* out, int n, int mode) {
  if (in == nullptr || out == nullptr || n < 0) {
    return 0;
  }
  switch (mode) {
    case 1:
      return invert(static_cast<const float*>(in), static_cast<float*>(out), n);
    case 2:
      return invert(static_cast<const double*>(in), static_cast<double*>(out), n);
    default:
      return 0;
  }
}

int nx_invert_matrix_using_eigenvalues(const float* in, float* out, int n) {
  return nx_invert_matrix_using_eigenvalues_base(in, out, n, 1);
}

int nx_invert_matrix_using_eigenvalues_double(const double* in, double* out, int n) {
  return nx_invert_matrix_using_eigenvalues_base(in, out, n, 2);
}
