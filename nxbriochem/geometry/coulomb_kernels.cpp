// Vector versions of the pair sum. Each lane takes one target atom: it keeps that atom's inner sum and adds the
// ligand's atoms in their order. Nothing is reordered, and every operation rounds as in the plain loop. The processor's
// divider bounds the speed; several vectors at a time keep it busy while each waits for its sum. The newton versions do
// not use the divider and are faster where it is slow.
//
// Coincident pairs (distance 0) take no branch: their squared distance is set to 1, so that the division is harmless,
// and the lane keeps its old sum.
#include <nxbriochem/geometry/coulomb_kernels_internal.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>

#include <nxbriochem/util/work_array_internal.h>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace coulomb {
namespace {

PairSum sum_pairs_plain(const Sites& target, const Sites& ligand) {
  return sum_pairs_in_order(target, ligand, [](int, int, double distance) { return distance; });
}

#if defined(__x86_64__)

// The most vectors of rows that run side by side, and the lanes of the widest vector.
constexpr int kMaxVectors = 6;
constexpr int kMaxLanes = 8;
constexpr int kMaxRows = kMaxVectors * kMaxLanes;

// A charged atom of the ligand.
struct Column {
  float x, y, z;
  double charge;
};

// Charged atoms of the target, side by side. `live` of them count; the rest of the last vector is filled with copies of
// the first.
struct Rows {
  alignas(64) float x[kMaxRows];
  alignas(64) float y[kMaxRows];
  alignas(64) float z[kMaxRows];
  alignas(64) float inner[kMaxRows];
  alignas(64) int32_t coincident[kMaxRows];
  float charge[kMaxRows];
  int live = 0;
};

template <int Lanes>
struct Vectors {
  typedef float Floats __attribute__((vector_size(4 * Lanes)));
  typedef double Doubles __attribute__((vector_size(8 * Lanes)));
  typedef int32_t Ints __attribute__((vector_size(4 * Lanes)));
};
template <int Lanes>
using Floats = typename Vectors<Lanes>::Floats;
template <int Lanes>
using Doubles = typename Vectors<Lanes>::Doubles;
template <int Lanes>
using Ints = typename Vectors<Lanes>::Ints;

// The functions below are inlined into callers of different instruction sets. Vectors are passed by reference, since
// passing them by value would require an instruction set here.

// Squared distances of rows from a column. Where one is 0, `zero` is set and the distance becomes 1.
template <int Lanes>
__attribute__((always_inline)) inline void squared_distances(const Rows& rows, int row, const Column& column,
                                                             Floats<Lanes>& r2, Ints<Lanes>& zero) {
  Floats<Lanes> x;
  Floats<Lanes> y;
  Floats<Lanes> z;
  std::memcpy(&x, rows.x + row, sizeof x);
  std::memcpy(&y, rows.y + row, sizeof y);
  std::memcpy(&z, rows.z + row, sizeof z);
  const Floats<Lanes> dx = x - column.x;
  const Floats<Lanes> dy = y - column.y;
  const Floats<Lanes> dz = z - column.z;
  r2 = (dx * dx + dy * dy) + dz * dz;
  zero = r2 == 0.0F;
  r2 = zero ? Floats<Lanes>{} + 1.0F : r2;
}

// Adds one column to the inner sums of rows, by the defining formula.
template <int Lanes>
__attribute__((always_inline)) inline void add_column(const Rows& rows, int row, const Column& column,
                                                      Floats<Lanes>& inner, Ints<Lanes>& zero) {
  Floats<Lanes> r2;
  squared_distances<Lanes>(rows, row, column, r2, zero);
  // Lane by lane: g++ 12 would widen a whole vector in two halves.
  Doubles<Lanes> root;
  Doubles<Lanes> before;
  for (int lane = 0; lane < Lanes; ++lane) {
    root[lane] = std::sqrt(static_cast<double>(r2[lane]));
    before[lane] = inner[lane];
  }
  const Doubles<Lanes> sum = before + column.charge / root;
  inner = zero ? inner : __builtin_convertvector(sum, Floats<Lanes>);
}

// Computes the inner sums of the first `Count` vectors of rows over all columns.
template <int Lanes, int Count>
__attribute__((always_inline)) inline void run(const Column* columns, int count, Rows& rows) {
  Floats<Lanes> inner[Count] = {};
  Ints<Lanes> coincident[Count] = {};
  for (const Column* column = columns; column != columns + count; ++column) {
    for (int v = 0; v < Count; ++v) {
      Ints<Lanes> zero;
      add_column<Lanes>(rows, Lanes * v, *column, inner[v], zero);
      coincident[v] -= zero;
    }
  }
  std::memcpy(rows.inner, inner, sizeof inner);
  std::memcpy(rows.coincident, coincident, sizeof coincident);
}

template <int Count>
void run_sse2(const Column* columns, int count, Rows& rows) {
  run<4, Count>(columns, count, rows);
}

template <int Count>
__attribute__((target("avx2"))) void run_avx2(const Column* columns, int count, Rows& rows) {
  run<4, Count>(columns, count, rows);
}

template <int Count>
__attribute__((target("avx512f,avx2"))) void run_avx512(const Column* columns, int count, Rows& rows) {
  run<8, Count>(columns, count, rows);
}

// The newton versions, for processors whose divider is slow. 1 / sqrt(r2) is computed from the processor's estimate y,
// whose relative error is at most 1.5 / 2^12, by one step of fourth order: with e = 1 - r2 y^2 it is y (1 + e / 2 + 3
// e^2 / 8 + 5 e^3 / 16), accurate to 2^-43. So a sum differs from the defined one by less than kDoubt times the term
// and the sum. Where a rounding boundary of floats lies within that distance, or where anything is not finite, the
// column is added again by the defining formula.
//
// Distance to the boundary: the sum s rounds to the float f. Half a unit in the last place of f is 2^-24 times the
// power of two below s, and |s - f| is at most that. For subnormal floats the unit is larger, so that a column may be
// added again needlessly, but is never missed.
constexpr double kDoubt = 0x1p-40;
constexpr double kNear = 0x1p-24 - kDoubt;
constexpr int64_t kExponent = int64_t{0x7ff} << 52;

template <int Count>
__attribute__((target("avx2,fma"))) void run_avx2_newton(const Column* columns, int count, Rows& rows) {
  const __m256d sign = _mm256_set1_pd(-0.0);
  const __m256d exponent = _mm256_castsi256_pd(_mm256_set1_epi64x(kExponent));
  __m256d inner[Count];
  __m128i coincident[Count];
  for (int v = 0; v < Count; ++v) {
    inner[v] = _mm256_setzero_pd();
    coincident[v] = _mm_setzero_si128();
  }
  for (const Column* column = columns; column != columns + count; ++column) {
    __m256d next[Count];
    __m256d doubt = _mm256_setzero_pd();
#pragma GCC unroll 8
    for (int v = 0; v < Count; ++v) {
      Floats<4> r2;
      Ints<4> zero;
      squared_distances<4>(rows, 4 * v, *column, r2, zero);
      const __m256d x = _mm256_cvtps_pd(r2);
      const __m256d y = _mm256_cvtps_pd(_mm_andnot_ps(reinterpret_cast<__m128&>(zero), _mm_rsqrt_ps(r2)));
      const __m256d e = _mm256_fnmadd_pd(_mm256_mul_pd(x, y), y, _mm256_set1_pd(1));
      const __m256d series = _mm256_fmadd_pd(e, _mm256_fmadd_pd(e, _mm256_set1_pd(5.0 / 16), _mm256_set1_pd(3.0 / 8)),
                                             _mm256_set1_pd(0.5));
      const __m256d inverse = _mm256_fmadd_pd(_mm256_mul_pd(y, e), series, y);
      const __m256d term = _mm256_mul_pd(_mm256_set1_pd(column->charge), inverse);
      const __m256d sum = _mm256_add_pd(inner[v], term);
      next[v] = _mm256_cvtps_pd(_mm256_cvtpd_ps(sum));
      const __m256d off = _mm256_andnot_pd(sign, _mm256_sub_pd(sum, next[v]));
      const __m256d most = _mm256_mul_pd(_mm256_and_pd(sum, exponent), _mm256_set1_pd(kNear));
      const __m256d reach = _mm256_fmadd_pd(_mm256_andnot_pd(sign, term), _mm256_set1_pd(kDoubt), off);
      doubt = _mm256_or_pd(doubt, _mm256_cmp_pd(reach, most, _CMP_NLT_UQ));
      coincident[v] = _mm_sub_epi32(coincident[v], reinterpret_cast<__m128i&>(zero));
    }
    if (__builtin_expect(_mm256_movemask_pd(doubt), 0) != 0) {
      for (int v = 0; v < Count; ++v) {
        Floats<4> exact = _mm256_cvtpd_ps(inner[v]);
        Ints<4> zero;
        add_column<4>(rows, 4 * v, *column, exact, zero);
        next[v] = _mm256_cvtps_pd(exact);
      }
    }
#pragma GCC unroll 8
    for (int v = 0; v < Count; ++v) {
      inner[v] = next[v];
    }
  }
  for (int v = 0; v < Count; ++v) {
    _mm_store_ps(rows.inner + 4 * v, _mm256_cvtpd_ps(inner[v]));
    _mm_store_si128(reinterpret_cast<__m128i*>(rows.coincident + 4 * v), coincident[v]);
  }
}

template <int Count>
__attribute__((target("avx512f,avx2"))) void run_avx512_newton(const Column* columns, int count, Rows& rows) {
  // The masked intrinsics with a full mask, because g++ 12 warns about an undefined operand inside the plain ones.
  constexpr __mmask8 all = 0xff;
  const __m512i exponent = _mm512_set1_epi64(kExponent);
  __m512d inner[Count];
  Ints<8> coincident[Count] = {};
  for (int v = 0; v < Count; ++v) {
    inner[v] = _mm512_setzero_pd();
  }
  for (const Column* column = columns; column != columns + count; ++column) {
    __m512d next[Count];
    __mmask8 doubt = 0;
#pragma GCC unroll 8
    for (int v = 0; v < Count; ++v) {
      Floats<8> r2;
      Ints<8> zero;
      squared_distances<8>(rows, 8 * v, *column, r2, zero);
      const __m512d x = _mm512_maskz_cvtps_pd(all, r2);
      const __m512d y = _mm512_maskz_rsqrt14_pd(all, x);
      const __m512d e = _mm512_fnmadd_pd(_mm512_mul_pd(x, y), y, _mm512_set1_pd(1));
      const __m512d series = _mm512_fmadd_pd(e, _mm512_fmadd_pd(e, _mm512_set1_pd(5.0 / 16), _mm512_set1_pd(3.0 / 8)),
                                             _mm512_set1_pd(0.5));
      const __m512d inverse = _mm512_fmadd_pd(_mm512_mul_pd(y, e), series, y);
      const Floats<8> dead = zero ? Floats<8>{} : Floats<8>{} + 1.0F;
      const __m512d term =
          _mm512_mul_pd(_mm512_set1_pd(column->charge), _mm512_mul_pd(inverse, _mm512_maskz_cvtps_pd(all, dead)));
      const __m512d sum = _mm512_add_pd(inner[v], term);
      next[v] = _mm512_maskz_cvtps_pd(all, _mm512_maskz_cvtpd_ps(all, sum));
      const __m512d off = _mm512_abs_pd(_mm512_sub_pd(sum, next[v]));
      const __m512d most = _mm512_mul_pd(_mm512_castsi512_pd(_mm512_and_si512(_mm512_castpd_si512(sum), exponent)),
                                         _mm512_set1_pd(kNear));
      const __m512d reach = _mm512_fmadd_pd(_mm512_abs_pd(term), _mm512_set1_pd(kDoubt), off);
      doubt |= _mm512_cmp_pd_mask(reach, most, _CMP_NLT_UQ);
      coincident[v] -= zero;
    }
    if (__builtin_expect(doubt, 0) != 0) {
      for (int v = 0; v < Count; ++v) {
        Floats<8> exact = _mm512_maskz_cvtpd_ps(all, inner[v]);
        Ints<8> zero;
        add_column<8>(rows, 8 * v, *column, exact, zero);
        next[v] = _mm512_maskz_cvtps_pd(all, exact);
      }
    }
#pragma GCC unroll 8
    for (int v = 0; v < Count; ++v) {
      inner[v] = next[v];
    }
  }
  for (int v = 0; v < Count; ++v) {
    _mm256_store_ps(rows.inner + 8 * v, _mm512_maskz_cvtpd_ps(all, inner[v]));
  }
  std::memcpy(rows.coincident, coincident, sizeof coincident);
}

// The loops of one version, indexed by the number of vectors less 1, and the rows per vector.
struct Loops {
  int lanes;
  void (*run[kMaxVectors])(const Column* columns, int count, Rows& rows);
};

Loops loops_of(Kernel kernel) {
  switch (kernel) {
    case Kernel::avx512:
      return {8, {run_avx512<1>, run_avx512<2>, run_avx512<3>, run_avx512<4>, run_avx512<5>, run_avx512<6>}};
    case Kernel::avx2:
      return {4, {run_avx2<1>, run_avx2<2>, run_avx2<3>, run_avx2<4>, run_avx2<5>, run_avx2<6>}};
    case Kernel::avx512_newton:
      return {8,
              {run_avx512_newton<1>, run_avx512_newton<2>, run_avx512_newton<3>, run_avx512_newton<4>,
               run_avx512_newton<5>, run_avx512_newton<6>}};
    case Kernel::avx2_newton:
      return {4,
              {run_avx2_newton<1>, run_avx2_newton<2>, run_avx2_newton<3>, run_avx2_newton<4>, run_avx2_newton<5>,
               run_avx2_newton<6>}};
    default:
      return {4, {run_sse2<1>, run_sse2<2>, run_sse2<3>, run_sse2<4>, run_sse2<5>, run_sse2<6>}};
  }
}

// Collects the ligand's charged atoms, in order. Returns their number.
int gather_columns(const Sites& ligand, Column* columns) {
  int count = 0;
  for (int j = 0; j < ligand.count; ++j) {
    if (ligand.charges[j] != 0.0F) {
      const float* at = ligand.record(j);
      columns[count++] = {at[0], at[1], at[2], static_cast<double>(ligand.charges[j])};
    }
  }
  return count;
}

// Fills rows with the next charged atoms of the target, starting at index i, at most `most` of them. Returns the index
// to continue from.
int gather_rows(const Sites& target, int i, int most, Rows& rows) {
  rows.live = 0;
  for (; i < target.count && rows.live < most; ++i) {
    if (target.charges[i] != 0.0F) {
      const float* at = target.record(i);
      rows.x[rows.live] = at[0];
      rows.y[rows.live] = at[1];
      rows.z[rows.live] = at[2];
      rows.charge[rows.live] = target.charges[i];
      ++rows.live;
    }
  }
  if (rows.live > 0) {
    for (int row = rows.live; row < most; ++row) {
      rows.x[row] = rows.x[0];
      rows.y[row] = rows.y[0];
      rows.z[row] = rows.z[0];
    }
  }
  return i;
}

PairSum sum_pairs_in_lanes(const Sites& target, const Sites& ligand, const Loops& loops) {
  PairSum sum;
  if (target.count <= 0) {
    return sum;
  }
  const work_array::Work<Column> columns(static_cast<std::size_t>(std::max(ligand.count, 0)));
  const int column_count = gather_columns(ligand, columns.data());
  Rows rows;
  for (int i = 0; i < target.count;) {
    i = gather_rows(target, i, kMaxVectors * loops.lanes, rows);
    if (rows.live == 0) {
      break;
    }
    loops.run[(rows.live - 1) / loops.lanes](columns.data(), column_count, rows);
    for (int row = 0; row < rows.live; ++row) {
      sum.total += rows.inner[row] * rows.charge[row];
      sum.coincident += rows.coincident[row];
    }
  }
  return sum;
}

// Seconds that a version takes for a few dozen rows and columns: the minimum of a few runs.
double seconds_of(Kernel kernel) {
  constexpr int kColumns = 96;
  constexpr int kTries = 5;
  Column columns[kColumns];
  for (int i = 0; i < kColumns; ++i) {
    columns[i] = {0.37F * static_cast<float>(i), static_cast<float>(i * i % 29), 1, 0.1 + 0.01 * (i % 7)};
  }
  Rows rows = {};
  std::fill(std::begin(rows.z), std::end(rows.z), -3.0F);
  const Loops loops = loops_of(kernel);
  // The same number of rows for every width.
  const int count = 4 * kMaxVectors / loops.lanes;
  double least = std::numeric_limits<double>::infinity();
  for (int k = 0; k < kTries; ++k) {
    const auto start = std::chrono::steady_clock::now();
    loops.run[count - 1](columns, kColumns, rows);
    least = std::min(least, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return least;
}

#endif

}  // namespace

#if defined(__x86_64__)

namespace {

// A list of fixed capacity, without allocation.
struct KernelList {
  Kernel kernels[6] = {};
  std::size_t count = 0;
  void add(Kernel kernel) { kernels[count++] = kernel; }
};

KernelList find_kernels() {
  KernelList found;
  found.add(Kernel::plain);
  found.add(Kernel::sse2);
  if (!__builtin_cpu_supports("avx2")) {
    return found;
  }
  found.add(Kernel::avx2);
  if (__builtin_cpu_supports("fma")) {
    found.add(Kernel::avx2_newton);
  }
  if (__builtin_cpu_supports("avx512f")) {
    found.add(Kernel::avx512);
    found.add(Kernel::avx512_newton);
  }
  return found;
}

}  // namespace

std::span<const Kernel> supported_kernels() {
  static const KernelList found = find_kernels();
  return std::span(found.kernels).first(found.count);
}

Kernel fastest_kernel() {
  static const Kernel fastest = [] {
    Kernel best = Kernel::sse2;
    double least = std::numeric_limits<double>::infinity();
    for (const Kernel kernel : supported_kernels()) {
      const double seconds = kernel == Kernel::plain ? least : seconds_of(kernel);
      if (seconds < least) {
        least = seconds;
        best = kernel;
      }
    }
    return best;
  }();
  return fastest;
}

PairSum sum_pairs(const Sites& target, const Sites& ligand, Kernel kernel) {
  return kernel == Kernel::plain ? sum_pairs_plain(target, ligand)
                                 : sum_pairs_in_lanes(target, ligand, loops_of(kernel));
}

#else

std::span<const Kernel> supported_kernels() {
  static constexpr Kernel plain = Kernel::plain;
  return {&plain, 1};
}

Kernel fastest_kernel() { return Kernel::plain; }

PairSum sum_pairs(const Sites& target, const Sites& ligand, Kernel) { return sum_pairs_plain(target, ligand); }

#endif

const char* name_of(Kernel kernel) {
  static constexpr const char* names[] = {"plain", "sse2", "avx2", "avx512", "avx2_newton", "avx512_newton"};
  return names[static_cast<int>(kernel)];
}

}  // namespace coulomb
