// The sums over pairs behind an energy: for each atom of the ligand its energy with the whole target, and the first and
// second derivatives of it by the atom's place. One set of formulas (pair_kernel.h), compiled at three widths, which
// give the same bits. Private to the library.
//
// With r the distance of a pair, q its charges and s = r^2:
//   Coulomb   uniform dielectric q q' / r; distance-dependent q q' / r^2; screened q q' exp(-kappa r) / r, where the
//             ligand's charge comes times the factor over the dielectric
//   12-6      D (u^6 - 2 u^3) with u = x^2 / s, D = sqrt(D_i D_j) and x = sqrt(x_i x_j), or (x_i + x_j) / 2
// Below its wall, a term continues as the parabola a + b s with the same value and slope at the wall.
//
// A ligand atom's sums have kLanes lanes: the target's atom j goes to lane j modulo kLanes, in order, and in the end
// the lanes are added up as (0 + 1) + (2 + 3). That defines the bits, however many lanes a processor's vectors have.
#ifndef NXBRIODOCK_PAIR_SUMS_H
#define NXBRIODOCK_PAIR_SUMS_H

namespace nxbriodock {

constexpr int kLanes = 4;

enum class Coulomb { Off, Uniform, DistanceDependent, Screened };
enum class TwelveSix { Off, Geometric, Arithmetic };

// The terms to sum; walls are given as squares.
struct Model {
  Coulomb coulomb = Coulomb::Uniform;
  TwelveSix twelve_six = TwelveSix::Geometric;
  // 1/angstrom.
  double kappa = 0.0;
  double coulomb_wall = 0.0;
  // The 12-6 wall as a fraction of x^2. Pairs without extent, whose x is 0, have their wall at kLeastSquare.
  double twelve_six_wall = 0.0;
};
constexpr double kLeastSquare = 1e-6;

// The target's atoms, an array for each quantity, filled up to a multiple of kLanes with atoms without charge and
// depth. `distance` is x_i, or half of it for the arithmetic rule; `depth` is sqrt(D_i).
struct TargetArrays {
  const double* x;
  const double* y;
  const double* z;
  const double* charge;
  const double* distance;
  const double* depth;
  int count;
};

// An atom of the ligand, in the same form. No pair with an s of `near` or more touches a wall.
struct LigandAtom {
  double x, y, z;
  double charge;
  double distance;
  double depth;
  double near;
};

// The energy of an atom of the ligand with the whole target: both terms, the derivatives by its coordinates, and the
// second derivatives xx xy xz yy yz zz.
struct AtomSums {
  double coulomb, twelve_six;
  double gradient[3];
  double hessian[6];
};

enum class Derivatives { First, Second };

// Sums of `count` atoms.
using SumPairs = void (*)(const TargetArrays& target, const LigandAtom* ligand, int count, const Model& model,
                          Derivatives derivatives, AtomSums* sums);

void sum_pairs_plain(const TargetArrays& target, const LigandAtom* ligand, int count, const Model& model,
                     Derivatives derivatives, AtomSums* sums);
void sum_pairs_128(const TargetArrays& target, const LigandAtom* ligand, int count, const Model& model,
                   Derivatives derivatives, AtomSums* sums);
// For processors with AVX2 alone.
void sum_pairs_256(const TargetArrays& target, const LigandAtom* ligand, int count, const Model& model,
                   Derivatives derivatives, AtomSums* sums);

// The versions that this processor can run, the fastest last.
struct Version {
  const char* name;
  SumPairs sum;
};
struct Versions {
  Version version[3];
  int count;

  const Version& best() const { return version[count - 1]; }
};
const Versions& versions();

}  // namespace nxbriodock

#endif
