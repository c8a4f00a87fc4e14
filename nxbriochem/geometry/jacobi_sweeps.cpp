// The sweeps are written once, over a matrix class with its own rotate(). The plain class rotates the caller's arrays
// in place; half of the elements that a rotation touches then lie in columns, one per cache line. The mirrored class
// keeps a full symmetric copy and the eigenvectors as rows, so that a rotation takes whole rows p and q, in vectors.
//
// Updating both mirror images of every element in each rotation would cost more than it saves. So an image is copied
// only when it is about to be read. Rotation (p, q) reads row p, and of row q only what later rotations of the sweep
// read:
//   - column q below row p is copied from row q after each rotation;
//   - column p below row p is copied when p is done;
//   - images above row p are read only in the next sweep, and copied at the end of this one.
#include <nxbriochem/geometry/jacobi_sweeps_internal.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <nxbriochem/util/work_array_internal.h>

namespace eigen_jag {
namespace {

using work_array::size_of;
using work_array::Work;

// From this many rows on, the mirrored copies pay for the copying: with vectors of 128 bits, and with wider ones.
constexpr int kMirroredFrom = 24;
constexpr int kMirroredFromWide = 12;

template <class T>
struct Rotation {
  T s;
  T tau;

  void turn(T& p, T& q) const {
    const T g = p;
    const T h = q;
    p = g - s * (h + g * tau);
    q = h + s * (g - h * tau);
  }
};

// Works on the caller's arrays.
template <class T>
class InPlace {
 public:
  InPlace(T** a, T** v, int n) : a_(a), v_(v), n_(n) {
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) {
        v[i][j] = i == j ? T{1} : T{0};
      }
    }
  }

  const T* row(int i) const { return a_[i]; }
  void clear(int p, int q) { a_[p][q] = 0; }

  void rotate(int p, int q, const Rotation<T>& rotation) {
    a_[p][q] = 0;
    for (int j = 0; j < p; ++j) {
      rotation.turn(a_[j][p], a_[j][q]);
    }
    for (int j = p + 1; j < q; ++j) {
      rotation.turn(a_[p][j], a_[j][q]);
    }
    for (int j = q + 1; j < n_; ++j) {
      rotation.turn(a_[p][j], a_[q][j]);
    }
    for (int j = 0; j < n_; ++j) {
      rotation.turn(v_[j][p], v_[j][q]);
    }
  }

  void finish_row(int) {}
  void finish_sweep() {}

 private:
  T** a_;
  T** v_;
  int n_;
};

// Rotates `count` pairs; `count` is a multiple of the widest vector.
template <class T>
using TurnRows = void (*)(T* p, T* q, std::size_t count, Rotation<T> rotation);

// Works on copies whose rows are padded to whole vectors. A row takes an odd number of cache lines, so that the
// elements of a column spread over many sets of the cache.
template <class T>
class Mirrored {
 public:
  Mirrored(T** a, T** v, int n, TurnRows<T> turn_rows)
      : a_(a), v_(v), n_(n), turn_rows_(turn_rows), stride_(stride_of(n)), block_(2 * size_of(n) * stride_ + kInLine) {
    const std::size_t elements = 2 * size_of(n) * stride_;
    matrix_ = block_.data() + (kLine - reinterpret_cast<std::uintptr_t>(block_.data()) % kLine) / sizeof(T);
    std::memset(matrix_, 0, elements * sizeof(T));
    vectors_ = matrix_ + elements / 2;
    for (int i = 0; i < n; ++i) {
      vectors_of(i)[i] = 1;
      for (int j = i + 1; j < n; ++j) {
        at(i)[j] = a[i][j];
        at(j)[i] = a[i][j];
      }
    }
  }
  const T* row(int i) const { return matrix_ + static_cast<std::size_t>(i) * stride_; }
  void clear(int p, int q) { at(p)[q] = 0; }

  void rotate(int p, int q, const Rotation<T>& rotation) {
    T* row_p = at(p);
    T* row_q = at(q);
    turn_rows_(row_p, row_q, stride_, rotation);
    row_p[p] = row_p[q] = row_q[p] = row_q[q] = 0;
    T* column_q = at(p + 1) + q;
    for (int j = p + 1; j < n_; ++j, column_q += stride_) {
      *column_q = row_q[j];
    }
    turn_rows_(vectors_of(p), vectors_of(q), stride_, rotation);
  }

  void finish_row(int p) {
    for (int j = p + 1; j < n_; ++j) {
      at(j)[p] = at(p)[j];
    }
  }

  void finish_sweep() {
    for (int j = 1; j < n_; ++j) {
      for (int i = 0; i < j; ++i) {
        at(i)[j] = at(j)[i];
      }
    }
  }

  // Makes the caller's arrays what the sweeps in place would make them.
  void copy_out() {
    for (int i = 0; i < n_; ++i) {
      for (int j = i + 1; j < n_; ++j) {
        a_[i][j] = at(i)[j];
      }
      for (int j = 0; j < n_; ++j) {
        v_[i][j] = vectors_of(j)[i];
      }
    }
  }

 private:
  static constexpr std::size_t kLine = 64;
  static constexpr std::size_t kInLine = kLine / sizeof(T);

  static std::size_t stride_of(int n) { return ((size_of(n) + kInLine - 1) / kInLine | 1U) * kInLine; }

  T* at(int i) { return matrix_ + static_cast<std::size_t>(i) * stride_; }
  T* vectors_of(int i) { return vectors_ + static_cast<std::size_t>(i) * stride_; }

  T** a_;
  T** v_;
  int n_;
  TurnRows<T> turn_rows_;
  std::size_t stride_;
  Work<T> block_;
  T* matrix_ = nullptr;
  T* vectors_ = nullptr;
};

// The state of the sweeps besides the matrix.
template <class T>
struct Spectrum {
  int n;
  T* d;
  T* z;
  int rotations;
};

template <class T, class Matrix>
T sum_above_diagonal(const Matrix& matrix, int n) {
  T sum = 0;
  for (int p = 0; p < n - 1; ++p) {
    const T* row = matrix.row(p);
    for (int q = p + 1; q < n; ++q) {
      sum += std::abs(row[q]);
    }
  }
  return sum;
}

template <class T, class Matrix>
void rotate_away(Matrix& matrix, Spectrum<T>& spectrum, int p, int q, T apq, T g) {
  T* d = spectrum.d;
  T* z = spectrum.z;
  T h = d[q] - d[p];
  T t;
  if (std::abs(h) + g == std::abs(h)) {
    t = apq / h;
  } else {
    const T theta = T{0.5} * h / apq;
    t = T{1} / (std::abs(theta) + std::sqrt(T{1} + theta * theta));
    if (theta < 0) {
      t = -t;
    }
  }
  const T c = T{1} / std::sqrt(T{1} + t * t);
  const T s = t * c;
  h = t * apq;
  z[p] -= h;
  z[q] += h;
  d[p] -= h;
  d[q] += h;
  matrix.rotate(p, q, {s, s / (T{1} + c)});
  ++spectrum.rotations;
}

template <class T, class Matrix>
void sweep_once(Matrix& matrix, Spectrum<T>& spectrum, int sweep, T threshold) {
  const T* d = spectrum.d;
  for (int p = 0; p < spectrum.n - 1; ++p) {
    for (int q = p + 1; q < spectrum.n; ++q) {
      const T apq = matrix.row(p)[q];
      const T g = T{100} * std::abs(apq);
      if (sweep > 4 && std::abs(d[p]) + g == std::abs(d[p]) && std::abs(d[q]) + g == std::abs(d[q])) {
        matrix.clear(p, q);
      } else if (std::abs(apq) > threshold) {
        rotate_away(matrix, spectrum, p, q, apq, g);
      }
    }
    matrix.finish_row(p);
  }
  matrix.finish_sweep();
}

// b adds up the changes of the diagonal once per sweep. That loses less to rounding than d, which changes at every
// rotation.
template <class T, class Matrix>
bool sweep_until_diagonal(Matrix& matrix, Spectrum<T>& spectrum, T* b) {
  const int n = spectrum.n;
  for (int sweep = 1; sweep <= kMaxSweeps; ++sweep) {
    const T sum = sum_above_diagonal<T>(matrix, n);
    if (sum == 0) {
      return true;
    }
    const T size = static_cast<T>(n);
    sweep_once(matrix, spectrum, sweep, sweep < 4 ? static_cast<T>(0.2) * sum / (size * size) : T{0});
    for (int i = 0; i < n; ++i) {
      b[i] += spectrum.z[i];
      spectrum.d[i] = b[i];
      spectrum.z[i] = 0;
    }
  }
  return false;
}

// The versions differ only in vector width. The loop is inlined and compiled for the instruction set of its caller.
template <class Vector, class T>
__attribute__((always_inline)) inline void turn_rows(T* p, T* q, std::size_t count, Rotation<T> rotation) {
  constexpr std::size_t lanes = sizeof(Vector) / sizeof(T);
  for (std::size_t i = 0; i < count; i += lanes) {
    Vector g;
    Vector h;
    std::memcpy(&g, p + i, sizeof g);
    std::memcpy(&h, q + i, sizeof h);
    const Vector new_p = g - rotation.s * (h + g * rotation.tau);
    const Vector new_q = h + rotation.s * (g - h * rotation.tau);
    std::memcpy(p + i, &new_p, sizeof new_p);
    std::memcpy(q + i, &new_q, sizeof new_q);
  }
}

#if defined(__x86_64__)

template <class T>
void turn_rows_sse2(T* p, T* q, std::size_t count, Rotation<T> rotation) {
  typedef T Vector __attribute__((vector_size(16)));
  turn_rows<Vector>(p, q, count, rotation);
}

template <class T>
__attribute__((target("avx2"))) void turn_rows_avx2(T* p, T* q, std::size_t count, Rotation<T> rotation) {
  typedef T Vector __attribute__((vector_size(32)));
  turn_rows<Vector>(p, q, count, rotation);
}

template <class T>
__attribute__((target("avx512f"))) void turn_rows_avx512(T* p, T* q, std::size_t count, Rotation<T> rotation) {
  typedef T Vector __attribute__((vector_size(64)));
  turn_rows<Vector>(p, q, count, rotation);
}

template <class T>
TurnRows<T> turn_rows_of(InstructionSet set) {
  switch (set) {
    case InstructionSet::avx512:
      return turn_rows_avx512<T>;
    case InstructionSet::avx2:
      return turn_rows_avx2<T>;
    case InstructionSet::sse2:
      return turn_rows_sse2<T>;
    default:
      return nullptr;
  }
}

#else

template <class T>
TurnRows<T> turn_rows_of(InstructionSet) {
  return nullptr;
}

#endif

}  // namespace

InstructionSet best_instruction_set(int n) {
  const InstructionSet best = instruction_set::best();
  return n < (best == InstructionSet::sse2 ? kMirroredFrom : kMirroredFromWide) ? InstructionSet::plain : best;
}

template <class T>
bool diagonalise(T** a, int n, T* d, T** v, int* nrot, T* b, T* z, InstructionSet set) {
  for (int i = 0; i < n; ++i) {
    b[i] = d[i] = a[i][i];
    z[i] = 0;
  }
  Spectrum<T> spectrum{n, d, z, 0};
  bool converged = false;
  if (const TurnRows<T> turn = turn_rows_of<T>(set); turn != nullptr) {
    Mirrored<T> matrix(a, v, n, turn);
    converged = sweep_until_diagonal(matrix, spectrum, b);
    matrix.copy_out();
  } else {
    InPlace<T> matrix(a, v, n);
    converged = sweep_until_diagonal(matrix, spectrum, b);
  }
  *nrot = spectrum.rotations;
  return converged;
}

template bool diagonalise<float>(float**, int, float*, float**, int*, float*, float*, InstructionSet);
template bool diagonalise<double>(double**, int, double*, double**, int*, double*, double*, InstructionSet);

}  // namespace eigen_jag
