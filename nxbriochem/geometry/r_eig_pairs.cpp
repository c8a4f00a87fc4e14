// Eigenpairs one after the other.
//
// find_eigenpairs reduces the matrix to tridiagonal form T (Householder) and finds each eigenpair by Rayleigh quotient
// iteration from a random start, which converges cubically from nearly every start, whatever the signs and
// multiplicities of the eigenvalues (Parlett, The Symmetric Eigenvalue Problem, ch. 4). Deflation keeps every iterate
// orthogonal to the eigenvectors found before. T itself is not changed, so errors do not accumulate from one eigenpair
// to the next. Power iteration would not converge between eigenvalues of equal magnitude. Known weakness: the start
// decides which eigenpair is found next; they are sorted at the end.
#include <nxbriochem/geometry/r_eig_pairs_internal.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <utility>

#include <nxbriochem/geometry/r_eig.h>
#include <nxbriochem/util/work_array_internal.h>

namespace {

using r_eig::Outcome;
using r_eig::row_of;
using work_array::size_of;
using work_array::Work;

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr int kMostRestarts = 6;

double dot(const double* x, const double* y, int n) {
  double sums[4] = {};
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    for (int lane = 0; lane < 4; ++lane) {
      sums[lane] += x[i + lane] * y[i + lane];
    }
  }
  for (; i < n; ++i) {
    sums[0] += x[i] * y[i];
  }
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

// y += factor x
void add_multiple(double* y, double factor, const double* x, int n) {
  for (int i = 0; i < n; ++i) {
    y[i] += factor * x[i];
  }
}

void divide(double* x, double divisor, int n) {
  for (int i = 0; i < n; ++i) {
    x[i] /= divisor;
  }
}

// Not a number when one of the elements is not.
double largest_magnitude(const double* x, std::size_t count) {
  double largest = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (std::isnan(x[i])) {
      return x[i];
    }
    largest = std::max(largest, std::abs(x[i]));
  }
  return largest;
}

// The Euclidean length, also where the squares would overflow or underflow.
double length(const double* x, int n) {
  const double largest = largest_magnitude(x, size_of(n));
  if (largest == 0 || !std::isfinite(largest)) {
    return largest;
  }
  double sum = 0;
  for (int i = 0; i < n; ++i) {
    const double part = x[i] / largest;
    sum += part * part;
  }
  return largest * std::sqrt(sum);
}

// A <- H A H on the leading count x count block, H = I - u u^T with |u|^2 = 2; only its lower triangle is updated.
void reflect_both_sides(double* a, const double* u, double* p, int count, int n) {
  std::fill(p, p + count, 0.0);
  for (int i = 0; i < count; ++i) {
    const double* row = row_of(a, i, n);
    p[i] += dot(row, u, i + 1);
    add_multiple(p, u[i], row, i);
  }
  add_multiple(p, -0.5 * dot(p, u, count), u, count);
  for (int i = 0; i < count; ++i) {
    double* row = row_of(a, i, n);
    for (int j = 0; j <= i; ++j) {
      row[j] -= u[i] * p[j] + p[i] * u[j];
    }
  }
}

// A symmetric tridiagonal matrix.
struct Tridiagonal {
  int n;
  const double* d;
  const double* e;  // e[i] stands between d[i - 1] and d[i]
  double size;      // the largest sum of magnitudes in a row

  void multiply(const double* x, double* y) const {
    for (int i = 0; i < n; ++i) {
      double sum = d[i] * x[i];
      if (i > 0) {
        sum += e[i] * x[i - 1];
      }
      if (i + 1 < n) {
        sum += e[i + 1] * x[i + 1];
      }
      y[i] = sum;
    }
  }

  // Solves (T - shift) x = x by elimination with row exchanges. A pivot of 0, as for a shift that is an eigenvalue, is
  // replaced by a tiny one: x then grows along the eigenvector, as wanted. `work` has 3 n elements.
  void solve_shifted(double shift, double* x, double* work) const {
    const double tiny = kEpsilon * size;
    double* pivots = work;
    double* above = work + n;
    double* second_above = above + n;
    double pivot = d[0] - shift;
    double right = n > 1 ? e[1] : 0;
    for (int i = 0; i + 1 < n; ++i) {
      const double below = e[i + 1];
      const double next = d[i + 1] - shift;
      const double next_right = i + 2 < n ? e[i + 2] : 0;
      if (std::abs(below) > std::abs(pivot)) {
        const double factor = pivot / below;
        pivots[i] = below;
        above[i] = next;
        second_above[i] = next_right;
        pivot = right - factor * next;
        right = -factor * next_right;
        std::swap(x[i], x[i + 1]);
        x[i + 1] -= factor * x[i];
      } else {
        pivots[i] = std::abs(pivot) < tiny ? std::copysign(tiny, pivot) : pivot;
        above[i] = right;
        second_above[i] = 0;
        const double factor = below / pivots[i];
        pivot = next - factor * right;
        right = next_right;
        x[i + 1] -= factor * x[i];
      }
    }
    pivots[n - 1] = std::abs(pivot) < tiny ? std::copysign(tiny, pivot) : pivot;
    for (int i = n - 1; i >= 0; --i) {
      if (i + 1 < n) {
        x[i] -= above[i] * x[i + 1];
      }
      if (i + 2 < n) {
        x[i] -= second_above[i] * x[i + 2];
      }
      x[i] /= pivots[i];
    }
  }
};

// The search for the eigenpairs of T, each vector a row of `found`.
class EigenpairSearch {
 public:
  // Eigenvectors go into the rows of `found`, their eigenvalues and numbers of iterations into the two other arrays.
  EigenpairSearch(const Tridiagonal& t, double* found, double* values, int* iterations)
      : t_(t),
        n_(t.n),
        found_(found),
        values_(values),
        iterations_(iterations),
        image_(size_of(t.n)),
        solver_(3 * size_of(t.n)) {}

  // `count` is the number of pairs that were found: all of them, or those before the failure.
  Outcome find_all(int& count) {
    for (count = 0; count < n_; ++count) {
      const Outcome outcome = find(count);
      if (outcome != Outcome::found) {
        return outcome;
      }
    }
    return Outcome::found;
  }

 private:
  enum class Projection { done, zero, lost, not_finite };

  static void fill_with_random_numbers(double* x, int n) {
    for (int i = 0; i < n; ++i) {
      x[i] = static_cast<double>(std::rand() - RAND_MAX / 2) / RAND_MAX;
    }
  }

  // Makes x orthogonal to the first k vectors found, and of length 1. A pass that removes most of x is repeated, since
  // what it leaves is less orthogonal. The result is `lost` when only rounding errors would remain.
  Projection deflate(double* x, int k) const {
    const double largest = largest_magnitude(x, size_of(n_));
    if (largest == 0) {
      return Projection::zero;
    }
    if (!std::isfinite(largest)) {
      return Projection::not_finite;
    }
    divide(x, largest, n_);
    double before = std::sqrt(dot(x, x, n_));
    const double nothing = n_ * kEpsilon * before;
    while (true) {
      for (int j = 0; j < k; ++j) {
        const double* other = row_of(found_, j, n_);
        add_multiple(x, -dot(other, x, n_), other, n_);
      }
      const double after = std::sqrt(dot(x, x, n_));
      if (after <= nothing) {
        return Projection::lost;
      }
      if (after >= 0.7 * before) {
        divide(x, after, n_);
        return Projection::done;
      }
      before = after;
    }
  }

  // The Rayleigh quotient of x. The residual is the length of T x less the quotient times x.
  double quotient(const double* x, double& residual) const {
    t_.multiply(x, image_.data());
    const double value = dot(x, image_.data(), n_);
    add_multiple(image_.data(), -value, x, n_);
    residual = std::sqrt(dot(image_.data(), image_.data(), n_));
    return value;
  }

  // Accepts a residual of a few rounding errors of T's size once it no longer shrinks, and a larger one in late
  // iterations, where the alternative is failure.
  bool is_converged(double residual, double last_residual, bool late) const {
    const double small = kEpsilon * t_.size;
    return residual <= small || (residual <= 8 * small && residual > 0.5 * last_residual) ||
           (late && residual <= n_ * small);
  }

  // Replaces x by the next iterate. The shift differs from the Rayleigh quotient by a few rounding errors, chosen anew
  // each time. If it were exactly an eigenvalue found before, the solution would be the eigenvector of that one.
  void advance(double* x, double value, int iteration) const {
    const double off = (1 + iteration % 8) * kEpsilon * t_.size;
    t_.solve_shifted(iteration % 2 == 0 ? value - off : value + off, x, solver_.data());
  }

  Outcome find(int k) {
    double* x = row_of(found_, k, n_);
    const int limit = n_ < 26 ? 100 : 4 * n_;
    double last_residual = std::numeric_limits<double>::infinity();
    fill_with_random_numbers(x, n_);
    for (int iteration = 1; iteration <= limit; ++iteration) {
      const Projection projection = deflate(x, k);
      if (projection == Projection::zero) {
        return Outcome::zero_dot_product;
      }
      if (projection != Projection::done) {
        if (projection == Projection::lost && ++restarts_ > kMostRestarts) {
          return Outcome::too_many_restarts;
        }
        fill_with_random_numbers(x, n_);
        continue;
      }
      double residual = 0;
      const double value = quotient(x, residual);
      if (is_converged(residual, last_residual, iteration > limit / 2)) {
        values_[k] = value;
        iterations_[k] = iteration;
        return Outcome::found;
      }
      last_residual = residual;
      advance(x, value, iteration);
    }
    return Outcome::too_many_iterations;
  }

  Tridiagonal t_;
  int n_;
  double* found_;
  double* values_;
  int* iterations_;
  Work<double> image_;
  Work<double> solver_;
  int restarts_ = 0;
};

// A power of two near the size of a's elements, so that dividing by it does not round; 1 where there is none.
double binary_scale(const double* a, std::size_t count) {
  const double largest = largest_magnitude(a, count);
  return largest > 0 && std::isfinite(largest) ? std::ldexp(1.0, std::clamp(std::ilogb(largest), -1000, 1000)) : 1.0;
}

Tridiagonal tridiagonal_of(const double* d, const double* e, int n) {
  double size = 0;
  for (int i = 0; i < n; ++i) {
    size = std::max(size, std::abs(d[i]) + std::abs(e[i]) + (i + 1 < n ? std::abs(e[i + 1]) : 0.0));
  }
  return {n, d, e, size};
}

// The indices 0 to count - 1, sorted by descending magnitude of their values; equal ones keep their order.
void sort_by_magnitude(const double* values, int count, int* order) {
  std::iota(order, order + count, 0);
  std::sort(order, order + count, [values](int i, int j) {
    const double left = std::abs(values[i]);
    const double right = std::abs(values[j]);
    return left != right ? left > right : i < j;
  });
}

// Stores the eigenvalues in the given order, and the eigenvectors in the rows of a: those of T (the rows of `found`),
// transformed back by the orthogonal matrix q of the reduction.
void store_in_order(double* a, double* values, const double* found_values, double* found, double* q, int n,
                    const int* order) {
  for (int i = 0; i < n; ++i) {
    const int source = order[i];
    values[i] = found_values[source];
    for (int j = 0; j < n; ++j) {
      row_of(a, i, n)[j] = dot(row_of(q, j, n), row_of(found, source, n), n);
    }
  }
}

}  // namespace

namespace r_eig {

void reduce(double* a, double* d, double* e, double* work, int n) {
  for (int i = n - 1; i > 0; --i) {
    double* u = row_of(a, i, n);
    d[i] = u[i];
    const double norm = length(u, i);
    if (i == 1 || largest_magnitude(u, size_of(i - 1)) == 0) {
      e[i] = u[i - 1];
      std::fill(u, u + i, 0.0);
      continue;
    }
    // The sign keeps the sum below from cancelling.
    e[i] = u[i - 1] > 0 ? -norm : norm;
    divide(u, norm, i);
    u[i - 1] -= e[i] / norm;
    divide(u, std::sqrt(std::abs(u[i - 1])), i);
    reflect_both_sides(a, u, work, i, n);
  }
  d[0] = a[0];
  e[0] = 0;
}

void accumulate(double* a, double* work, int n) {
  for (int i = 0; i < n; ++i) {
    // Rows and columns below i hold the product so far; Q <- Q - u (u^T Q).
    const double* u = row_of(a, i, n);
    std::fill(work, work + i, 0.0);
    for (int k = 0; k < i; ++k) {
      add_multiple(work, u[k], row_of(a, k, n), i);
    }
    for (int k = 0; k < i; ++k) {
      add_multiple(row_of(a, k, n), -u[k], work, i);
    }
    std::fill(row_of(a, i, n), row_of(a, i, n) + i, 0.0);
    for (int k = 0; k < i; ++k) {
      row_of(a, k, n)[i] = 0;
    }
    row_of(a, i, n)[i] = 1;
  }
}

Outcome find_eigenpairs(double* a, double* values, int n) {
  const std::size_t elements = size_of(n) * size_of(n);
  const Work<double> q(elements);
  const Work<double> found(elements);
  const Work<double> d(size_of(n));
  const Work<double> e(size_of(n));
  const Work<double> found_values(size_of(n));
  const Work<int> iterations(size_of(n));
  const Work<int> order(size_of(n));
  const double unit = binary_scale(a, elements);
  for (std::size_t i = 0; i < elements; ++i) {
    q[i] = a[i] / unit;
  }
  // `found` is still to be written to, and serves as the work array.
  reduce(q.data(), d.data(), e.data(), found.data(), n);
  accumulate(q.data(), found.data(), n);
  int count = 0;
  const Outcome outcome =
      EigenpairSearch(tridiagonal_of(d.data(), e.data(), n), found.data(), found_values.data(), iterations.data())
          .find_all(count);
  sort_by_magnitude(found_values.data(), count, order.data());
  for (int i = 0; DebugFlag != 0 && i < count; ++i) {
    const auto source = size_of(order[size_of(i)]);
    std::fprintf(stderr, "Exhaus Eigen %d Value %g in %d iterations\n", i, found_values[source] * unit,
                 iterations[source]);
  }
  if (outcome == Outcome::found) {
    store_in_order(a, values, found_values.data(), found.data(), q.data(), n, order.data());
    std::transform(values, values + n, values, [unit](double value) { return value * unit; });
  }
  return outcome;
}

}  // namespace r_eig
