// The sum over pairs of charges behind the Coulombic binding energies. A plain loop defines the result; vector versions
// give the same bits faster. Private to the module; C++ only.
//
// For each target atom i in order, and for each ligand atom j in order, leaving out charges of exactly 0 on both sides:
//   r2 = (dx * dx + dy * dy) + dz * dz           in float, dx = x_i - x_j
//   inner = float(double(inner) + double(q_j) / sqrt(double(r2)))
//                                                quotient, root and addition in double, rounded to float at each step
//   total = total + inner * q_i                  in float, once per i
// A pair whose r2 is exactly 0 is left out of the sum and counted.
#ifndef NXBRIOCHEM_GEOMETRY_COULOMB_KERNELS_INTERNAL_H
#define NXBRIOCHEM_GEOMETRY_COULOMB_KERNELS_INTERNAL_H

#include <cmath>
#include <cstddef>

#include <span>

#include <nxbriochem/geometry/mol_func2.h>

namespace coulomb {

// The versions of the sum, by vector width. The two newton versions use no square roots and divisions in double.
enum class Kernel { plain, sse2, avx2, avx512, avx2_newton, avx512_newton };

// Those that the processor and the operating system support: at least plain.
std::span<const Kernel> supported_kernels();
// The fastest of them, found by a short timing at the first call. The choice does not affect results.
Kernel fastest_kernel();
const char* name_of(Kernel kernel);

// Charged atoms: `count` records of NX_RECORD_FLOATS floats, x y z first, and `count` charges.
struct Sites {
  const float* records;
  const float* charges;
  int count;

  const float* record(int i) const { return records + static_cast<std::ptrdiff_t>(i) * NX_RECORD_FLOATS; }
};

struct PairSum {
  float total = 0.0F;
  // Pairs left out because both atoms were at the same place.
  long long coincident = 0;
};

// The sum, by a supported version. Every version gives the same bits (of a NaN, only that it is one). The vector
// versions take a work array of the ligand's size from the tracked allocator.
PairSum sum_pairs(const Sites& target, const Sites& ligand, Kernel kernel);

inline float squared_distance(const float* a, const float* b) {
  const float dx = a[0] - b[0];
  const float dy = a[1] - b[1];
  const float dz = a[2] - b[2];
  return dx * dx + dy * dy + dz * dz;
}

// The plain loop. `capped(i, j, distance)` returns the distance to use for a pair at distance sqrt(double(r2)).
// Returning it unchanged gives the sum above.
template <class Capped>
PairSum sum_pairs_in_order(const Sites& target, const Sites& ligand, Capped capped) {
  PairSum sum;
  for (int i = 0; i < target.count; ++i) {
    if (target.charges[i] == 0.0F) {
      continue;
    }
    float inner = 0.0F;
    for (int j = 0; j < ligand.count; ++j) {
      if (ligand.charges[j] == 0.0F) {
        continue;
      }
      const float r2 = squared_distance(target.record(i), ligand.record(j));
      if (r2 == 0.0F) {
        ++sum.coincident;
        continue;
      }
      const double term = static_cast<double>(ligand.charges[j]) / capped(i, j, std::sqrt(static_cast<double>(r2)));
      inner = static_cast<float>(static_cast<double>(inner) + term);
    }
    sum.total += inner * target.charges[i];
  }
  return sum;
}

}  // namespace coulomb

#endif
