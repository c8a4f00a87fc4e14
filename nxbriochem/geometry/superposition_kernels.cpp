// Vector versions of the sums over pairs. Lanes are pairs of points: with 256-bit vectors four at a time, with 128-bit
// ones lanes 0 and 1 of all pairs first, then lanes 2 and 3, so that most of the sums stay in registers. Up to three
// pairs are left over, which the plain version adds to their lanes.
#include <nxbriochem/geometry/superposition_kernels_internal.h>

#include <cstddef>

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

// Pairs of points, and the points that differences are taken to.
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

// Two points from 6 floats: x, y and z of both.
__attribute__((always_inline)) inline void load_two(const float* at, __m128d* out) {
  const __m128 a = _mm_loadu_ps(at);                                                     // x0 y0 z0 x1
  const __m128 b = _mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double*>(at + 4)));  // y1 z1
  out[0] = _mm_cvtps_pd(_mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 0, 3, 0)));
  const __m128 yz = _mm_unpacklo_ps(_mm_shuffle_ps(a, a, _MM_SHUFFLE(2, 1, 2, 1)), b);  // y0 y1 z0 z1
  out[1] = _mm_cvtps_pd(yz);
  out[2] = _mm_cvtps_pd(_mm_movehl_ps(yz, yz));
}

void add_pairs_sse2(const Pairs& pairs, LaneSums& sums) {
  for (std::ptrdiff_t half = 0; half < kLanes; half += 2) {
    __m128d sum[kSums];
    for (__m128d& lanes : sum) {
      lanes = _mm_setzero_pd();
    }
    const float* first = pairs.first + 3 * half;
    const float* second = pairs.second + 3 * half;
    for (std::ptrdiff_t i = 0; i + kLanes <= pairs.count; i += kLanes, first += kFloats, second += kFloats) {
      __m128d x[3];
      __m128d y[3];
      load_two(first, x);
      load_two(second, y);
      for (std::size_t k = 0; k < 3; ++k) {
        x[k] -= pairs.first_origin[k];
        y[k] -= pairs.second_origin[k];
      }
      __m128d squares[3];
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
      _mm_storeu_pd(sums[k].data() + half, sum[k]);
    }
  }
}

void add_residuals_sse2(const Pairs& pairs, const Matrix& turn, const Vector& shift, Residuals& sums) {
  for (std::ptrdiff_t half = 0; half < kLanes; half += 2) {
    __m128d sum = _mm_setzero_pd();
    const float* first = pairs.first + 3 * half;
    const float* second = pairs.second + 3 * half;
    for (std::ptrdiff_t i = 0; i + kLanes <= pairs.count; i += kLanes, first += kFloats, second += kFloats) {
      __m128d x[3];
      __m128d y[3];
      load_two(first, x);
      load_two(second, y);
      for (std::size_t k = 0; k < 3; ++k) {
        const __m128d turned = (turn[3 * k] * y[0] + turn[3 * k + 1] * y[1]) + turn[3 * k + 2] * y[2];
        x[k] = (x[k] - turned) - shift[k];
      }
      sum += (x[0] * x[0] + x[1] * x[1]) + x[2] * x[2];
    }
    _mm_storeu_pd(sums.data() + half, sum);
  }
}

// Four points from 12 floats.
__attribute__((always_inline, target("avx2"))) inline void load_four(const float* at, __m256d* out) {
  const __m128 a = _mm_loadu_ps(at);                                  // x0 y0 z0 x1
  const __m128 b = _mm_loadu_ps(at + 4);                              // y1 z1 x2 y2
  const __m128 c = _mm_loadu_ps(at + 8);                              // z2 x3 y3 z3
  const __m128 low = _mm_shuffle_ps(a, b, _MM_SHUFFLE(1, 0, 2, 1));   // y0 z0 y1 z1
  const __m128 high = _mm_shuffle_ps(b, c, _MM_SHUFFLE(2, 1, 3, 2));  // x2 y2 x3 y3
  const __m128 x = _mm_shuffle_ps(a, high, _MM_SHUFFLE(2, 0, 3, 0));
  const __m128 y = _mm_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 2, 0));
  const __m128 z = _mm_shuffle_ps(low, c, _MM_SHUFFLE(3, 0, 3, 1));
  out[0] = _mm256_cvtps_pd(x);
  out[1] = _mm256_cvtps_pd(y);
  out[2] = _mm256_cvtps_pd(z);
}

__attribute__((target("avx2"))) void add_pairs_avx2(const Pairs& pairs, LaneSums& sums) {
  __m256d sum[kSums];
  for (__m256d& lanes : sum) {
    lanes = _mm256_setzero_pd();
  }
  const float* first = pairs.first;
  const float* second = pairs.second;
  for (std::ptrdiff_t i = 0; i + kLanes <= pairs.count; i += kLanes, first += kFloats, second += kFloats) {
    __m256d x[3];
    __m256d y[3];
    load_four(first, x);
    load_four(second, y);
    for (std::size_t k = 0; k < 3; ++k) {
      x[k] -= pairs.first_origin[k];
      y[k] -= pairs.second_origin[k];
    }
    __m256d squares[3];
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
    _mm256_storeu_pd(sums[k].data(), sum[k]);
  }
}

__attribute__((target("avx2"))) void add_residuals_avx2(const Pairs& pairs, const Matrix& turn, const Vector& shift,
                                                        Residuals& sums) {
  __m256d sum = _mm256_setzero_pd();
  const float* first = pairs.first;
  const float* second = pairs.second;
  for (std::ptrdiff_t i = 0; i + kLanes <= pairs.count; i += kLanes, first += kFloats, second += kFloats) {
    __m256d x[3];
    __m256d y[3];
    load_four(first, x);
    load_four(second, y);
    for (std::size_t k = 0; k < 3; ++k) {
      const __m256d turned = (turn[3 * k] * y[0] + turn[3 * k + 1] * y[1]) + turn[3 * k + 2] * y[2];
      x[k] = (x[k] - turned) - shift[k];
    }
    sum += (x[0] * x[0] + x[1] * x[1]) + x[2] * x[2];
  }
  _mm256_storeu_pd(sums.data(), sum);
}

#endif

// One instruction set's loops. The vector versions set the lanes to their sums over the whole fours of pairs.
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
