// Vector versions of the sums over pairs, from one source for every width. Lanes are pairs of points. 256-bit vectors
// take four at a time; 128-bit ones take lanes 0 and 1 of all pairs first, then lanes 2 and 3, so that most sums stay
// in registers. The plain version adds the last pairs, up to three, to their lanes.
#include <nxbriochem/geometry/superposition_kernels_internal.h>

#include <cstddef>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace superposition {
namespace {

using vector3::minus;
using vector3::vector_at;

constexpr std::ptrdiff_t kLanes = 4;
constexpr std::ptrdiff_t kFloats = 3 * kLanes;  // of four points

// The sums of the lanes, in the order of PairSums.
constexpr std::size_t kOfX = 0;
constexpr std::size_t kOfY = 3;
constexpr std::size_t kOfSquares = 6;
constexpr std::size_t kOfProduct = 7;
constexpr std::size_t kSums = 16;

using LaneSums = std::array<std::array<double, kLanes>, kSums>;
using Residuals = std::array<double, kLanes>;

// Pairs of points, and the two points that are subtracted from them.
struct Pairs {
  const float* first;
  const float* second;
  std::ptrdiff_t count;
  Vector first_origin;
  Vector second_origin;
};

double total(const std::array<double, kLanes>& lanes) { return (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]); }

void add_pairs_plain(const Pairs& pairs, LaneSums& sums) {
  for (std::ptrdiff_t i = 0; i < pairs.count; ++i) {
    const auto lane = static_cast<std::size_t>(i % kLanes);
    const Vector x = minus(vector_at(pairs.first + 3 * i), pairs.first_origin);
    const Vector y = minus(vector_at(pairs.second + 3 * i), pairs.second_origin);
    for (std::size_t k = 0; k < 3; ++k) {
      sums[kOfX + k][lane] += x[k];
      sums[kOfY + k][lane] += y[k];
      for (std::size_t j = 0; j < 3; ++j) {
        sums[kOfProduct + 3 * k + j][lane] += x[k] * y[j];
      }
    }
    sums[kOfSquares][lane] += ((x[0] * x[0] + y[0] * y[0]) + (x[1] * x[1] + y[1] * y[1])) + (x[2] * x[2] + y[2] * y[2]);
  }
}

void add_residuals_plain(const Pairs& pairs, const Matrix& turn, const Vector& shift, Residuals& sums) {
  for (std::ptrdiff_t i = 0; i < pairs.count; ++i) {
    const Vector x = vector_at(pairs.first + 3 * i);
    const Vector y = vector_at(pairs.second + 3 * i);
    Vector off{};
    for (std::size_t k = 0; k < 3; ++k) {
      const double turned = (turn[3 * k] * y[0] + turn[3 * k + 1] * y[1]) + turn[3 * k + 2] * y[2];
      off[k] = (x[k] - turned) - shift[k];
    }
    sums[static_cast<std::size_t>(i % kLanes)] += (off[0] * off[0] + off[1] * off[1]) + off[2] * off[2];
  }
}

#if defined(__x86_64__)

// The sums below are templates over the number of lanes; only the loads differ. They are inlined and compiled for the
// instruction set of the caller.
template <int Lanes>
struct Vectors {
  typedef double Doubles __attribute__((vector_size(8 * Lanes)));
};
template <int Lanes>
using Doubles = typename Vectors<Lanes>::Doubles;

// x, y and z of two points, from 6 floats.
__attribute__((always_inline)) inline void load(const float* at, Doubles<2>* out) {
  const __m128 a = _mm_loadu_ps(at);                                                     // x0 y0 z0 x1
  const __m128 b = _mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double*>(at + 4)));  // y1 z1
  const __m128 yz = _mm_unpacklo_ps(_mm_shuffle_ps(a, a, _MM_SHUFFLE(2, 1, 2, 1)), b);   // y0 y1 z0 z1
  out[0] = _mm_cvtps_pd(_mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 0, 3, 0)));
  out[1] = _mm_cvtps_pd(yz);
  out[2] = _mm_cvtps_pd(_mm_movehl_ps(yz, yz));
}

// g++ 12 converts the four lanes in one instruction. The asm hides where the floats come from; otherwise the compiler
// splits the shuffles that made them.
__attribute__((always_inline)) inline void widen(__m128 floats, Doubles<4>& out) {
  asm("" : "+x"(floats));
  for (int lane = 0; lane < 4; ++lane) {
    out[lane] = floats[lane];
  }
}

// x, y and z of four points, from 12 floats.
__attribute__((always_inline)) inline void load(const float* at, Doubles<4>* out) {
  const __m128 a = _mm_loadu_ps(at);                                  // x0 y0 z0 x1
  const __m128 b = _mm_loadu_ps(at + 4);                              // y1 z1 x2 y2
  const __m128 c = _mm_loadu_ps(at + 8);                              // z2 x3 y3 z3
  const __m128 low = _mm_shuffle_ps(a, b, _MM_SHUFFLE(1, 0, 2, 1));   // y0 z0 y1 z1
  const __m128 high = _mm_shuffle_ps(b, c, _MM_SHUFFLE(2, 1, 3, 2));  // x2 y2 x3 y3
  widen(_mm_shuffle_ps(a, high, _MM_SHUFFLE(2, 0, 3, 0)), out[0]);
  widen(_mm_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 2, 0)), out[1]);
  widen(_mm_shuffle_ps(low, c, _MM_SHUFFLE(3, 0, 3, 1)), out[2]);
}

template <int Lanes>
__attribute__((always_inline)) inline void add_pairs(const Pairs& pairs, LaneSums& sums) {
  for (std::ptrdiff_t part = 0; part < kLanes; part += Lanes) {
    Doubles<Lanes> sum[kSums] = {};
    const float* first = pairs.first + 3 * part;
    const float* second = pairs.second + 3 * part;
    for (std::ptrdiff_t i = 0; i + kLanes <= pairs.count; i += kLanes, first += kFloats, second += kFloats) {
      Doubles<Lanes> x[3];
      Doubles<Lanes> y[3];
      load(first, x);
      load(second, y);
      for (std::size_t k = 0; k < 3; ++k) {
        x[k] -= pairs.first_origin[k];
        y[k] -= pairs.second_origin[k];
      }
      Doubles<Lanes> squares[3];
      for (std::size_t k = 0; k < 3; ++k) {
        sum[kOfX + k] += x[k];
        sum[kOfY + k] += y[k];
        squares[k] = x[k] * x[k] + y[k] * y[k];
        for (std::size_t j = 0; j < 3; ++j) {
          sum[kOfProduct + 3 * k + j] += x[k] * y[j];
        }
      }
      sum[kOfSquares] += (squares[0] + squares[1]) + squares[2];
    }
    for (std::size_t k = 0; k < kSums; ++k) {
      std::memcpy(sums[k].data() + part, &sum[k], sizeof sum[k]);
    }
  }
}

template <int Lanes>
__attribute__((always_inline)) inline void add_residuals(const Pairs& pairs, const Matrix& turn, const Vector& shift,
                                                         Residuals& sums) {
  for (std::ptrdiff_t part = 0; part < kLanes; part += Lanes) {
    Doubles<Lanes> sum = {};
    const float* first = pairs.first + 3 * part;
    const float* second = pairs.second + 3 * part;
    for (std::ptrdiff_t i = 0; i + kLanes <= pairs.count; i += kLanes, first += kFloats, second += kFloats) {
      Doubles<Lanes> x[3];
      Doubles<Lanes> y[3];
      load(first, x);
      load(second, y);
      for (std::size_t k = 0; k < 3; ++k) {
        const Doubles<Lanes> turned = (turn[3 * k] * y[0] + turn[3 * k + 1] * y[1]) + turn[3 * k + 2] * y[2];
        x[k] = (x[k] - turned) - shift[k];
      }
      sum += (x[0] * x[0] + x[1] * x[1]) + x[2] * x[2];
    }
    std::memcpy(sums.data() + part, &sum, sizeof sum);
  }
}

void add_pairs_sse2(const Pairs& pairs, LaneSums& sums) { add_pairs<2>(pairs, sums); }

void add_residuals_sse2(const Pairs& pairs, const Matrix& turn, const Vector& shift, Residuals& sums) {
  add_residuals<2>(pairs, turn, shift, sums);
}

__attribute__((target("avx2"))) void add_pairs_avx2(const Pairs& pairs, LaneSums& sums) { add_pairs<4>(pairs, sums); }

__attribute__((target("avx2"))) void add_residuals_avx2(const Pairs& pairs, const Matrix& turn, const Vector& shift,
                                                        Residuals& sums) {
  add_residuals<4>(pairs, turn, shift, sums);
}

#endif

// The loops of one instruction set. The vector versions set the lanes to their sums over the complete groups of four
// pairs.
struct Kernels {
  void (*add_pairs)(const Pairs& pairs, LaneSums& sums);
  void (*add_residuals)(const Pairs& pairs, const Matrix& turn, const Vector& shift, Residuals& sums);
};

Kernels kernels_of(InstructionSet set) {
  switch (set) {
#if defined(__x86_64__)
    case InstructionSet::avx512:
    case InstructionSet::avx2:
      return {add_pairs_avx2, add_residuals_avx2};
    case InstructionSet::sse2:
      return {add_pairs_sse2, add_residuals_sse2};
#endif
    default:
      return {add_pairs_plain, add_residuals_plain};
  }
}

Pairs pairs_of(const PointPairs& pairs) {
  return {pairs.first, pairs.second, pairs.count, vector_at(pairs.first), vector_at(pairs.second)};
}

// The pairs that are left over when lanes are worked on together.
Pairs rest_of(const Pairs& pairs) {
  const std::ptrdiff_t done = pairs.count - pairs.count % kLanes;
  return {pairs.first + 3 * done, pairs.second + 3 * done, pairs.count - done, pairs.first_origin, pairs.second_origin};
}

}  // namespace

PairSums sum_pairs(const PointPairs& point_pairs, InstructionSet set) {
  const Pairs pairs = pairs_of(point_pairs);
  LaneSums lanes{};
  kernels_of(set).add_pairs(pairs, lanes);
  if (set != InstructionSet::plain) {
    add_pairs_plain(rest_of(pairs), lanes);
  }
  PairSums sums{};
  for (std::size_t k = 0; k < 3; ++k) {
    sums.x[k] = total(lanes[kOfX + k]);
    sums.y[k] = total(lanes[kOfY + k]);
  }
  sums.squares = total(lanes[kOfSquares]);
  for (std::size_t k = 0; k < 9; ++k) {
    sums.product[k] = total(lanes[kOfProduct + k]);
  }
  return sums;
}

double sum_squared_residuals(const PointPairs& point_pairs, const Matrix& turn, const Vector& shift,
                             InstructionSet set) {
  const Pairs pairs = pairs_of(point_pairs);
  Residuals lanes{};
  kernels_of(set).add_residuals(pairs, turn, shift, lanes);
  if (set != InstructionSet::plain) {
    add_residuals_plain(rest_of(pairs), turn, shift, lanes);
  }
  return total(lanes);
}

}  // namespace superposition
