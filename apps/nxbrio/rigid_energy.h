// The energy between a target and a rigid ligand, as two terms with exact derivatives in the ligand's six variables.
//
// Coulomb: factor * q_i q_j / r. 12-6: D (u^6 - 2 u^3) with u = x_i x_j / r^2 and D = sqrt(D_i D_j), so that two atoms
// attract most at sqrt(x_i x_j), by D. Over all pairs of an atom of the target and one of the ligand, in double.
//
// The pose that x stands for turns the ligand about its centre by the rotation vector (x[3], x[4], x[5]) / arm, after
// the turn of the base pose, and moves the centre by (x[0], x[1], x[2]) on top of the base pose's move. All six are
// lengths in angstrom: the arm is the ligand's radius of gyration, so that they move atoms alike. The derivatives hold
// for rotations of any size (left Jacobian of the exponential map: Chirikjian, Stochastic Models, Information Theory,
// and Lie Groups 2, 2012, section 10.7). At a whole turn the Jacobian is singular, and derivatives may vanish that
// should not; taking the pose reached as the new base cures that.
#ifndef NXBRIOCHEM_APPS_NXBRIO_RIGID_ENERGY_H
#define NXBRIOCHEM_APPS_NXBRIO_RIGID_ENERGY_H

#include <array>
#include <cstddef>
#include <vector>

namespace nxbrio {

using Vector3 = std::array<double, 3>;

// One atom: angstrom, elementary charges, and the parameters of the 12-6 term in angstrom and kcal/mol.
struct Site {
  Vector3 place;
  double charge;
  double distance;
  double well_depth;
};

// An atom of the ligand at p goes to rotation (p - centre) + centre + translation. The rotation is row by row.
struct Pose {
  std::array<double, 9> rotation{1, 0, 0, 0, 1, 0, 0, 0, 1};
  Vector3 translation{};

  bool operator==(const Pose&) const = default;
};

// The turn of a pose, in radians, from 0 to pi.
double angle_of(const Pose& pose);

// The pair that stands closest, measured by where its 12-6 energy is least.
struct Contact {
  std::size_t target_atom = 0;
  std::size_t ligand_atom = 0;
  // Angstrom.
  double distance = 0.0;
  // distance / sqrt(x_i x_j)
  double fraction = 0.0;
};

class RigidEnergy {
 public:
  static constexpr int kVariables = 6;
  // Below this fraction of sqrt(x_i x_j), and below kCoulombWall angstrom, a pair's energy goes on as the parabola
  // a + b r^2 that has its value and slope there: it stays finite, and smooth, down to r = 0. Real contacts are wider
  // by far.
  static constexpr double kWall = 0.1;
  static constexpr double kCoulombWall = 0.1;

  // Neither is empty; `coulomb_factor` in kcal/mol angstrom.
  RigidEnergy(const std::vector<Site>& target, const std::vector<Site>& ligand, double coulomb_factor);

  // The 12-6 term's wall; a high one makes for a soft term, which lets atoms pass out of one another.
  void set_wall(double fraction) { wall_ = fraction; }
  void set_base(const Pose& base) { base_ = base; }

  // Where a point that belongs to the ligand goes.
  Vector3 moved(const Vector3& point, const Pose& pose) const;
  Pose pose_at(const double* x) const;
  // Kcal/mol. Derivatives are added to the gradient, kcal/mol/angstrom, unless it is null.
  double coulomb(const double* x, double* gradient) const;
  double twelve_six(const double* x, double* gradient) const;

  Contact closest_contact(const Pose& pose) const;
  // The root mean square distance of the ligand's atoms from where they were at first.
  double rms_displacement(const Pose& pose) const;

 private:
  // The target's atoms, an array for each quantity, filled up with atoms that take no part to a multiple of the lanes
  // of the pair loop.
  struct Sites {
    std::vector<double> x, y, z, charge, distance, root_depth;
  };
  // What a pair, or all of them, give: the energy and its derivative by r^2.
  struct Pair {
    double energy;
    double slope;
  };

  // Of a point given from the centre.
  Vector3 place_of(const Vector3& arm, const Pose& pose) const;
  template <class PairOf>
  double sum(const double* x, double* gradient, PairOf pair_of) const;

  Sites target_;
  std::size_t target_atoms_;
  // Places from the centre.
  std::vector<Site> ligand_;
  Vector3 centre_{};
  double arm_ = 1.0;
  double factor_;
  double wall_ = kWall;
  Pose base_;
};

}  // namespace nxbrio

#endif
