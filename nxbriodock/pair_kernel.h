// The pair formulas and the loop over the target, for one width of vectors: a source that defines NXD_WIDTH (1, 2 or 4
// doubles) and NXD_SUM_PAIRS (the function to define) includes it. All but that function is local to the source, which
// may be compiled for a newer processor than the rest: nothing of it may be shared with other sources, and so it uses
// no templates of the standard library.
#include "pair_sums.h"

#if defined(__x86_64__) && NXD_WIDTH > 1
#include <immintrin.h>
#endif

namespace nxbriodock {
namespace {

// ---- Vectors

#if NXD_WIDTH == 1

using Real = double;
using Mask = bool;

inline Real square_root(Real v) { return __builtin_sqrt(v); }
inline bool any(Mask mask) { return mask; }
inline Real load(const double* from) { return *from; }
inline void store(double* to, Real v) { *to = v; }
inline Real spread(double v) { return v; }
// 2^k times v, where `shifted` is k + 1.5 * 2^52.
inline Real scaled(Real v, Real shifted) {
  long long power = 0;
  long long bits = 0;
  __builtin_memcpy(&power, &shifted, sizeof power);
  __builtin_memcpy(&bits, &v, sizeof bits);
  bits = static_cast<long long>(static_cast<unsigned long long>(bits) + (static_cast<unsigned long long>(power) << 52));
  __builtin_memcpy(&v, &bits, sizeof v);
  return v;
}

#else

using Real = double __attribute__((vector_size(8 * NXD_WIDTH)));
using Mask = long long __attribute__((vector_size(8 * NXD_WIDTH)));
using Bits = unsigned long long __attribute__((vector_size(8 * NXD_WIDTH)));

#if defined(__x86_64__) && NXD_WIDTH == 4
inline Real square_root(Real v) { return _mm256_sqrt_pd(v); }
inline bool any(Mask mask) { return _mm256_movemask_pd((__m256d)mask) != 0; }
#elif defined(__x86_64__)
inline Real square_root(Real v) { return _mm_sqrt_pd(v); }
inline bool any(Mask mask) { return _mm_movemask_pd((__m128d)mask) != 0; }
#else
inline Real square_root(Real v) {
  for (int k = 0; k < NXD_WIDTH; ++k) {
    v[k] = __builtin_sqrt(v[k]);
  }
  return v;
}
inline bool any(Mask mask) {
  long long either = 0;
  for (int k = 0; k < NXD_WIDTH; ++k) {
    either |= mask[k];
  }
  return either != 0;
}
#endif

inline Real load(const double* from) {
  Real v;
  __builtin_memcpy(&v, from, sizeof v);
  return v;
}
inline void store(double* to, Real v) { __builtin_memcpy(to, &v, sizeof v); }
inline Real spread(double v) { return v - Real{}; }
inline Real scaled(Real v, Real shifted) { return (Real)((Bits)v + ((Bits)shifted << 52)); }

#endif

inline Real larger(Real a, Real b) { return a > b ? a : b; }

// exp(-y) for y >= 0, accurate to two units in the last place: 2^k times a series in the remainder, which is at most
// ln(2) / 2. Beyond 690 it stays at exp(-690), which is negligible beside any other term.
inline Real decay(Real y) {
  constexpr double kMost = 690.0;
  constexpr double kShift = 6755399441055744.0;  // 1.5 * 2^52: adding it rounds to a whole number
  constexpr double kLog2E = 1.44269504088896340736;
  constexpr double kLn2High = 6.93147180369123816490e-01;  // its last 21 bits are 0
  constexpr double kLn2Low = 1.90821492927058770002e-10;
  const Real x = -(y < kMost ? y : spread(kMost));
  const Real shifted = x * kLog2E + kShift;
  const Real k = shifted - kShift;
  const Real rest = (x - k * kLn2High) - k * kLn2Low;
  // The series is summed in two independent halves, so that neither waits for the other.
  const Real square = rest * rest;
  Real even = spread(1.0 / 479001600);
  even = even * square + 1.0 / 3628800;
  even = even * square + 1.0 / 40320;
  even = even * square + 1.0 / 720;
  even = even * square + 1.0 / 24;
  even = even * square + 0.5;
  Real odd = spread(1.0 / 6227020800.0);
  odd = odd * square + 1.0 / 39916800;
  odd = odd * square + 1.0 / 362880;
  odd = odd * square + 1.0 / 5040;
  odd = odd * square + 1.0 / 120;
  odd = odd * square + 1.0 / 6;
  return scaled(1.0 + (rest + square * (even + odd * rest)), shifted);
}

// ---- Pairs

// A term of a pair: its energy e, -2 de/ds and 4 d2e/ds2.
struct Term {
  Real energy;
  Real pull;
  Real bend;
};

// At s, of which the inverse is given.
template <Coulomb C, bool Second>
inline Term coulomb_at(Real s, Real inverse, Real charges, double kappa) {
  Term term{};
  if constexpr (C == Coulomb::Uniform) {
    term.energy = charges * square_root(inverse);
    term.pull = term.energy * inverse;
    if constexpr (Second) {
      term.bend = 3.0 * term.pull * inverse;
    }
  } else if constexpr (C == Coulomb::DistanceDependent) {
    term.energy = charges * inverse;
    term.pull = 2.0 * term.energy * inverse;
    if constexpr (Second) {
      term.bend = 4.0 * term.pull * inverse;
    }
  } else if constexpr (C == Coulomb::Screened) {
    const Real root = square_root(inverse);
    const Real t = kappa * (s * root);
    term.energy = charges * root * decay(t);
    const Real slope = term.energy * inverse;
    term.pull = slope * (1.0 + t);
    if constexpr (Second) {
      term.bend = slope * inverse * (3.0 + t * (3.0 + t));
    }
  }
  return term;
}

template <bool Second>
inline Term twelve_six_at(Real inverse, Real least, Real depth) {
  const Real u = least * inverse;
  const Real u3 = u * u * u;
  const Real six = depth * u3;
  const Real twelve = six * u3;
  const Real difference = twelve - six;
  Term term{};
  term.energy = difference - six;
  term.pull = 12.0 * difference * inverse;
  if constexpr (Second) {
    term.bend = (168.0 * twelve - 96.0 * six) * (inverse * inverse);
  }
  return term;
}

// Below the wall, replaces a term taken at the wall by its parabola at s. Elsewhere the term keeps all its bits.
inline void beyond_wall(Term& term, Real s, Real wall) {
  term.energy = term.energy - 0.5 * term.pull * (s - wall);
  term.bend = s < wall ? Real{} : term.bend;
}

template <TwelveSix R>
inline Real least_square(Real a, Real b) {
  if constexpr (R == TwelveSix::Arithmetic) {
    const Real sum = a + b;
    return sum * sum;
  } else {
    return a * b;
  }
}

// ---- Sums

enum Sum { kCoulomb, kTwelveSix, kX, kY, kZ, kPull, kXX, kXY, kXZ, kYY, kYZ, kZZ, kSums };

struct Lanes {
  alignas(32) double sum[kSums][kLanes];
};

// The pairs of one atom of the ligand with the target's atoms from `begin` to `end`, multiples of kLanes.
template <Coulomb C, TwelveSix R, bool Second>
inline void add_pairs(const TargetArrays& target, int begin, int end, const LigandAtom& atom, const Model& model,
                      Lanes& lanes) {
  constexpr int kParts = kLanes / NXD_WIDTH;
  constexpr int kUsed = Second ? kSums : kPull;
  Real sum[kParts][kUsed];
  for (int p = 0; p < kParts; ++p) {
    for (int i = 0; i < kUsed; ++i) {
      sum[p][i] = load(lanes.sum[i] + p * NXD_WIDTH);
    }
  }
  for (int block = begin; block < end; block += kLanes) {
    for (int p = 0; p < kParts; ++p) {
      const int j = block + p * NXD_WIDTH;
      const Real dx = atom.x - load(target.x + j);
      const Real dy = atom.y - load(target.y + j);
      const Real dz = atom.z - load(target.z + j);
      const Real s = dx * dx + dy * dy + dz * dz;
      const Real charges = atom.charge * load(target.charge + j);
      const Real least = least_square<R>(spread(atom.distance), load(target.distance + j));
      const Real depth = atom.depth * load(target.depth + j);
      Term coulomb{};
      Term twelve_six{};
      if (__builtin_expect(any(s < atom.near), 0)) {
        if constexpr (C != Coulomb::Off) {
          const Real wall = larger(s, spread(model.coulomb_wall));
          coulomb = coulomb_at<C, Second>(wall, 1.0 / wall, charges, model.kappa);
          beyond_wall(coulomb, s, wall);
        }
        if constexpr (R != TwelveSix::Off) {
          const Real wall = larger(s, larger(model.twelve_six_wall * least, spread(kLeastSquare)));
          twelve_six = twelve_six_at<Second>(1.0 / wall, least, depth);
          beyond_wall(twelve_six, s, wall);
        }
      } else {
        const Real inverse = 1.0 / s;
        coulomb = coulomb_at<C, Second>(s, inverse, charges, model.kappa);
        if constexpr (R != TwelveSix::Off) {
          twelve_six = twelve_six_at<Second>(inverse, least, depth);
        }
      }
      Real* const own = sum[p];
      const Real pull = coulomb.pull + twelve_six.pull;
      own[kCoulomb] += coulomb.energy;
      own[kTwelveSix] += twelve_six.energy;
      own[kX] += pull * dx;
      own[kY] += pull * dy;
      own[kZ] += pull * dz;
      if constexpr (Second) {
        const Real bend = coulomb.bend + twelve_six.bend;
        const Real bx = bend * dx;
        const Real by = bend * dy;
        own[kPull] += pull;
        own[kXX] += bx * dx;
        own[kXY] += bx * dy;
        own[kXZ] += bx * dz;
        own[kYY] += by * dy;
        own[kYZ] += by * dz;
        own[kZZ] += bend * dz * dz;
      }
    }
  }
  for (int p = 0; p < kParts; ++p) {
    for (int i = 0; i < kUsed; ++i) {
      store(lanes.sum[i] + p * NXD_WIDTH, sum[p][i]);
    }
  }
}

inline double total(const double* lane) { return (lane[0] + lane[1]) + (lane[2] + lane[3]); }

template <bool Second>
inline void take_sums(const Lanes& lanes, AtomSums& sums) {
  sums.coulomb = total(lanes.sum[kCoulomb]);
  sums.twelve_six = total(lanes.sum[kTwelveSix]);
  sums.gradient[0] = -total(lanes.sum[kX]);
  sums.gradient[1] = -total(lanes.sum[kY]);
  sums.gradient[2] = -total(lanes.sum[kZ]);
  if constexpr (Second) {
    const double pull = total(lanes.sum[kPull]);
    for (int i = 0; i < 6; ++i) {
      sums.hessian[i] = total(lanes.sum[kXX + i]);
    }
    sums.hessian[0] -= pull;
    sums.hessian[3] -= pull;
    sums.hessian[5] -= pull;
  }
}

// The target is processed in tiles, so that a tile stays in the first-level cache while all atoms of the ligand use it.
constexpr int kTile = 512;
constexpr int kGroup = 16;

template <Coulomb C, TwelveSix R, bool Second>
void sum_atoms(const TargetArrays& target, const LigandAtom* ligand, int count, const Model& model, AtomSums* sums) {
  for (int first = 0; first < count; first += kGroup) {
    const int atoms = count - first < kGroup ? count - first : kGroup;
    Lanes lanes[kGroup] = {};
    for (int begin = 0; begin < target.count; begin += kTile) {
      const int end = target.count - begin < kTile ? target.count : begin + kTile;
      for (int i = 0; i < atoms; ++i) {
        add_pairs<C, R, Second>(target, begin, end, ligand[first + i], model, lanes[i]);
      }
    }
    for (int i = 0; i < atoms; ++i) {
      take_sums<Second>(lanes[i], sums[first + i]);
    }
  }
}

using SumAtoms = void (*)(const TargetArrays& target, const LigandAtom* ligand, int count, const Model& model,
                          AtomSums* sums);

template <Coulomb C, TwelveSix R>
SumAtoms chosen(Derivatives derivatives) {
  return derivatives == Derivatives::Second ? sum_atoms<C, R, true> : sum_atoms<C, R, false>;
}

template <Coulomb C>
SumAtoms chosen(TwelveSix twelve_six, Derivatives derivatives) {
  switch (twelve_six) {
    case TwelveSix::Geometric:
      return chosen<C, TwelveSix::Geometric>(derivatives);
    case TwelveSix::Arithmetic:
      return chosen<C, TwelveSix::Arithmetic>(derivatives);
    default:
      return chosen<C, TwelveSix::Off>(derivatives);
  }
}

SumAtoms chosen(const Model& model, Derivatives derivatives) {
  switch (model.coulomb) {
    case Coulomb::Uniform:
      return chosen<Coulomb::Uniform>(model.twelve_six, derivatives);
    case Coulomb::DistanceDependent:
      return chosen<Coulomb::DistanceDependent>(model.twelve_six, derivatives);
    case Coulomb::Screened:
      return chosen<Coulomb::Screened>(model.twelve_six, derivatives);
    default:
      return chosen<Coulomb::Off>(model.twelve_six, derivatives);
  }
}

}  // namespace

void NXD_SUM_PAIRS(const TargetArrays& target, const LigandAtom* ligand, int count, const Model& model,
                   Derivatives derivatives, AtomSums* sums) {
  chosen(model, derivatives)(target, ligand, count, model, sums);
}

}  // namespace nxbriodock
