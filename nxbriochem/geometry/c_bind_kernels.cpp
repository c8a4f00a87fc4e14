// Vector versions of the pair sum. Lanes are target atoms: each keeps an inner sum of its own and meets the ligand's
// atoms in their order, so that nothing is reordered and every operation is the plain loop's, rounded as there. What
// bounds the speed is the processor's divider; several vectors at a time keep it busy while each waits for its sum.
//
// There is no branch for pairs at one place: their squared distance is made 1, so that the division is harmless, and
// the lane keeps the sum that it had.
#include <nxbriochem/geometry/c_bind_kernels.h>

#include <cstdint>

#include <nxbriochem/objects/memory.h>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace c_bind {
namespace {

PairSum sum_pairs_plain(const Sites& target, const Sites& ligand) {
  return sum_pairs_in_order(target, ligand, [](int, int, double distance) { return distance; });
}

#if defined(__x86_64__)

// Vectors of rows that run side by side, at most, and lanes in the widest of them.
constexpr int kMaxVectors = 6;
constexpr int kMaxLanes = 8;
constexpr int kMaxRows = kMaxVectors * kMaxLanes;

// A charged atom of the ligand.
struct Column {
  float x, y, z;
  double charge;
};

// Charged atoms of the target, side by side; `live` of them, the rest of the last vector being copies of the first.
struct Rows {
  alignas(64) float x[kMaxRows];
  alignas(64) float y[kMaxRows];
  alignas(64) float z[kMaxRows];
  alignas(64) float inner[kMaxRows];
  alignas(64) int32_t coincident[kMaxRows];
  float charge[kMaxRows];
  int live = 0;
};

// What the two versions with four rows to a vector share. Inlined, these take on the instruction set of their caller.
__attribute__((always_inline)) inline __m128 four_squared_distances(const Rows& rows, int row, const Column& column) {
  const __m128 dx = _mm_sub_ps(_mm_load_ps(rows.x + row), _mm_set1_ps(column.x));
  const __m128 dy = _mm_sub_ps(_mm_load_ps(rows.y + row), _mm_set1_ps(column.y));
  const __m128 dz = _mm_sub_ps(_mm_load_ps(rows.z + row), _mm_set1_ps(column.z));
  return _mm_add_ps(_mm_add_ps(_mm_mul_ps(dx, dx), _mm_mul_ps(dy, dy)), _mm_mul_ps(dz, dz));
}

__attribute__((always_inline)) inline void store_four(Rows& rows, int row, __m128 inner, __m128i coincident) {
  _mm_store_ps(rows.inner + row, inner);
  _mm_store_si128(reinterpret_cast<__m128i*>(rows.coincident + row), coincident);
}

// The inner sums of the first `Vectors` vectors of rows over all columns. The three differ in nothing but the width.
template <int Vectors>
void run_sse2(const Column* columns, int count, Rows& rows) {
  __m128 inner[Vectors];
  __m128i coincident[Vectors];
  for (int v = 0; v < Vectors; ++v) {
    inner[v] = _mm_setzero_ps();
    coincident[v] = _mm_setzero_si128();
  }
  for (const Column* column = columns; column != columns + count; ++column) {
    const __m128d charge = _mm_set1_pd(column->charge);
    for (int v = 0; v < Vectors; ++v) {
      const __m128 r2 = four_squared_distances(rows, 4 * v, *column);
      const __m128 zero = _mm_cmpeq_ps(r2, _mm_setzero_ps());
      const __m128 divisible = _mm_or_ps(r2, _mm_and_ps(zero, _mm_set1_ps(1.0F)));
      const __m128d term01 = _mm_div_pd(charge, _mm_sqrt_pd(_mm_cvtps_pd(divisible)));
      const __m128d term23 = _mm_div_pd(charge, _mm_sqrt_pd(_mm_cvtps_pd(_mm_movehl_ps(divisible, divisible))));
      const __m128d sum01 = _mm_add_pd(_mm_cvtps_pd(inner[v]), term01);
      const __m128d sum23 = _mm_add_pd(_mm_cvtps_pd(_mm_movehl_ps(inner[v], inner[v])), term23);
      const __m128 sum = _mm_movelh_ps(_mm_cvtpd_ps(sum01), _mm_cvtpd_ps(sum23));
      inner[v] = _mm_or_ps(_mm_and_ps(zero, inner[v]), _mm_andnot_ps(zero, sum));
      coincident[v] = _mm_sub_epi32(coincident[v], _mm_castps_si128(zero));
    }
  }
  for (int v = 0; v < Vectors; ++v) {
    store_four(rows, 4 * v, inner[v], coincident[v]);
  }
}

template <int Vectors>
__attribute__((target("avx2"))) void run_avx2(const Column* columns, int count, Rows& rows) {
  __m128 inner[Vectors];
  __m128i coincident[Vectors];
  for (int v = 0; v < Vectors; ++v) {
    inner[v] = _mm_setzero_ps();
    coincident[v] = _mm_setzero_si128();
  }
  for (const Column* column = columns; column != columns + count; ++column) {
    const __m256d charge = _mm256_set1_pd(column->charge);
    for (int v = 0; v < Vectors; ++v) {
      const __m128 r2 = four_squared_distances(rows, 4 * v, *column);
      const __m128 zero = _mm_cmpeq_ps(r2, _mm_setzero_ps());
      const __m128 divisible = _mm_or_ps(r2, _mm_and_ps(zero, _mm_set1_ps(1.0F)));
      const __m256d term = _mm256_div_pd(charge, _mm256_sqrt_pd(_mm256_cvtps_pd(divisible)));
      const __m128 sum = _mm256_cvtpd_ps(_mm256_add_pd(_mm256_cvtps_pd(inner[v]), term));
      inner[v] = _mm_blendv_ps(sum, inner[v], zero);
      coincident[v] = _mm_sub_epi32(coincident[v], _mm_castps_si128(zero));
    }
  }
  for (int v = 0; v < Vectors; ++v) {
    store_four(rows, 4 * v, inner[v], coincident[v]);
  }
}

template <int Vectors>
__attribute__((target("avx512f,avx2"))) void run_avx512(const Column* columns, int count, Rows& rows) {
  // The forms with a mask, all of it set: g++ 12 takes the undefined operand inside the plain ones for a fault of ours.
  constexpr __mmask8 all = 0xff;
  __m256 inner[Vectors];
  __m256i coincident[Vectors];
  for (int v = 0; v < Vectors; ++v) {
    inner[v] = _mm256_setzero_ps();
    coincident[v] = _mm256_setzero_si256();
  }
  for (const Column* column = columns; column != columns + count; ++column) {
    const __m512d charge = _mm512_set1_pd(column->charge);
    for (int v = 0; v < Vectors; ++v) {
      const __m256 dx = _mm256_sub_ps(_mm256_load_ps(rows.x + 8 * v), _mm256_set1_ps(column->x));
      const __m256 dy = _mm256_sub_ps(_mm256_load_ps(rows.y + 8 * v), _mm256_set1_ps(column->y));
      const __m256 dz = _mm256_sub_ps(_mm256_load_ps(rows.z + 8 * v), _mm256_set1_ps(column->z));
      const __m256 r2 =
          _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(dx, dx), _mm256_mul_ps(dy, dy)), _mm256_mul_ps(dz, dz));
      const __m256 zero = _mm256_cmp_ps(r2, _mm256_setzero_ps(), _CMP_EQ_OQ);
      const __m256 divisible = _mm256_or_ps(r2, _mm256_and_ps(zero, _mm256_set1_ps(1.0F)));
      const __m512d term = _mm512_div_pd(charge, _mm512_maskz_sqrt_pd(all, _mm512_maskz_cvtps_pd(all, divisible)));
      const __m256 sum = _mm512_maskz_cvtpd_ps(all, _mm512_add_pd(_mm512_maskz_cvtps_pd(all, inner[v]), term));
      inner[v] = _mm256_blendv_ps(sum, inner[v], zero);
      coincident[v] = _mm256_sub_epi32(coincident[v], _mm256_castps_si256(zero));
    }
  }
  for (int v = 0; v < Vectors; ++v) {
    _mm256_store_ps(rows.inner + 8 * v, inner[v]);
    _mm256_store_si256(reinterpret_cast<__m256i*>(rows.coincident + 8 * v), coincident[v]);
  }
}

// One instruction set's loops, by the number of vectors less 1, and the rows that a vector takes.
struct Kernels {
  int lanes;
  void (*run[kMaxVectors])(const Column* columns, int count, Rows& rows);
};

Kernels kernels_of(InstructionSet set) {
  switch (set) {
    case InstructionSet::avx512:
      return {8, {run_avx512<1>, run_avx512<2>, run_avx512<3>, run_avx512<4>, run_avx512<5>, run_avx512<6>}};
    case InstructionSet::avx2:
      return {4, {run_avx2<1>, run_avx2<2>, run_avx2<3>, run_avx2<4>, run_avx2<5>, run_avx2<6>}};
    default:
      return {4, {run_sse2<1>, run_sse2<2>, run_sse2<3>, run_sse2<4>, run_sse2<5>, run_sse2<6>}};
  }
}

// The ligand's charged atoms, in order. Their number.
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

// Fills rows with the next charged atoms of the target, from index i on, as many as `most`. The index to go on from.
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

PairSum sum_pairs_in_lanes(const Sites& target, const Sites& ligand, const Kernels& kernels) {
  PairSum sum;
  if (target.count <= 0) {
    return sum;
  }
  const int64_t room = ligand.count > 0 ? ligand.count : 1;
  auto* columns = static_cast<Column*>(nx_malloc(room * static_cast<int64_t>(sizeof(Column))));
  const int column_count = gather_columns(ligand, columns);
  Rows rows;
  for (int i = 0; i < target.count;) {
    i = gather_rows(target, i, kMaxVectors * kernels.lanes, rows);
    if (rows.live == 0) {
      break;
    }
    kernels.run[(rows.live - 1) / kernels.lanes](columns, column_count, rows);
    for (int row = 0; row < rows.live; ++row) {
      sum.total += rows.inner[row] * rows.charge[row];
      sum.coincident += rows.coincident[row];
    }
  }
  nx_free(columns);
  return sum;
}

#endif

}  // namespace

#if defined(__x86_64__)

PairSum sum_pairs(const Sites& target, const Sites& ligand, InstructionSet set) {
  return set == InstructionSet::plain ? sum_pairs_plain(target, ligand)
                                      : sum_pairs_in_lanes(target, ligand, kernels_of(set));
}

#else

PairSum sum_pairs(const Sites& target, const Sites& ligand, InstructionSet) { return sum_pairs_plain(target, ligand); }

#endif

}  // namespace c_bind
