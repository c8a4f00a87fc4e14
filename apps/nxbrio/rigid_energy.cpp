#include "rigid_energy.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace nxbrio {
namespace {

// Pairs that are summed side by side, so that the compiler makes vector code of the loop; they are added up at the end
// in a fixed order.
constexpr std::size_t kLanes = 4;

Vector3 cross(const Vector3& a, const Vector3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double dot(const Vector3& a, const Vector3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

Vector3 product(const std::array<double, 9>& m, const Vector3& v) {
  return {m[0] * v[0] + m[1] * v[1] + m[2] * v[2], m[3] * v[0] + m[4] * v[1] + m[5] * v[2],
          m[6] * v[0] + m[7] * v[1] + m[8] * v[2]};
}

std::array<double, 9> product(const std::array<double, 9>& a, const std::array<double, 9>& b) {
  std::array<double, 9> c{};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      c[3 * i + j] = a[3 * i] * b[j] + a[3 * i + 1] * b[3 + j] + a[3 * i + 2] * b[6 + j];
    }
  }
  return c;
}

// The coefficients of a rotation by a vector w of length t: with W v = w x v, the rotation is 1 + sine W + cosine W W,
// and its left Jacobian 1 + cosine W + rest W W.
struct Exponential {
  double sine;    // sin t / t
  double cosine;  // (1 - cos t) / t^2
  double rest;    // (t - sin t) / t^3

  explicit Exponential(const Vector3& w) {
    const double t2 = dot(w, w);
    if (t2 < 1e-2) {
      // Where the quotients lose digits; the terms left out are below the last place.
      sine = 1.0 - t2 / 6.0 * (1.0 - t2 / 20.0 * (1.0 - t2 / 42.0 * (1.0 - t2 / 72.0)));
      cosine = 0.5 - t2 / 24.0 * (1.0 - t2 / 30.0 * (1.0 - t2 / 56.0 * (1.0 - t2 / 90.0)));
      rest = (1.0 - t2 / 20.0 * (1.0 - t2 / 42.0 * (1.0 - t2 / 72.0 * (1.0 - t2 / 110.0)))) / 6.0;
      return;
    }
    const double t = std::sqrt(t2);
    const double half = std::sin(0.5 * t);
    sine = std::sin(t) / t;
    cosine = 2.0 * half * half / t2;
    rest = (t - std::sin(t)) / (t2 * t);
  }
};

std::array<double, 9> rotation_by(const Vector3& w) {
  const Exponential e(w);
  std::array<double, 9> rotation{};
  for (std::size_t j = 0; j < 3; ++j) {
    Vector3 axis{};
    axis[j] = 1.0;
    const Vector3 once = cross(w, axis);
    const Vector3 twice = cross(w, once);
    for (std::size_t i = 0; i < 3; ++i) {
      rotation[3 * i + j] = axis[i] + e.sine * once[i] + e.cosine * twice[i];
    }
  }
  return rotation;
}

// The derivative by the rotation vector from the derivative by a small turn of the turned body: the transpose of the
// left Jacobian, times the torque.
Vector3 by_rotation_vector(const Vector3& w, const Vector3& torque) {
  const Exponential e(w);
  const Vector3 once = cross(w, torque);
  const Vector3 twice = cross(w, once);
  Vector3 derivative{};
  for (std::size_t i = 0; i < 3; ++i) {
    derivative[i] = torque[i] - e.cosine * once[i] + e.rest * twice[i];
  }
  return derivative;
}

}  // namespace

double angle_of(const Pose& pose) {
  const std::array<double, 9>& r = pose.rotation;
  const Vector3 axis{r[7] - r[5], r[2] - r[6], r[3] - r[1]};
  return std::atan2(std::sqrt(dot(axis, axis)), r[0] + r[4] + r[8] - 1.0);
}

RigidEnergy::RigidEnergy(const std::vector<Site>& target, const std::vector<Site>& ligand, double coulomb_factor)
    : target_atoms_(target.size()), ligand_(ligand), factor_(coulomb_factor) {
  const std::size_t filled = (target.size() + kLanes - 1) / kLanes * kLanes;
  for (std::size_t j = 0; j < filled; ++j) {
    const Site site = j < target.size() ? target[j] : Site{target.front().place, 0.0, 1.0, 0.0};
    target_.x.push_back(site.place[0]);
    target_.y.push_back(site.place[1]);
    target_.z.push_back(site.place[2]);
    target_.charge.push_back(site.charge);
    target_.distance.push_back(site.distance);
    target_.root_depth.push_back(std::sqrt(site.well_depth));
  }
  const auto atoms = static_cast<double>(ligand.size());
  for (const Site& site : ligand) {
    for (std::size_t k = 0; k < 3; ++k) {
      centre_[k] += site.place[k] / atoms;
    }
  }
  double square = 0.0;
  for (Site& site : ligand_) {
    for (std::size_t k = 0; k < 3; ++k) {
      site.place[k] -= centre_[k];
    }
    square += dot(site.place, site.place) / atoms;
  }
  // A single atom does not turn.
  arm_ = square > 0.0 ? std::sqrt(square) : 1.0;
}

Pose RigidEnergy::pose_at(const double* x) const {
  Pose pose;
  pose.rotation = product(rotation_by({x[3] / arm_, x[4] / arm_, x[5] / arm_}), base_.rotation);
  for (std::size_t k = 0; k < 3; ++k) {
    pose.translation[k] = base_.translation[k] + x[k];
  }
  return pose;
}

Vector3 RigidEnergy::moved(const Vector3& point, const Pose& pose) const {
  return place_of({point[0] - centre_[0], point[1] - centre_[1], point[2] - centre_[2]}, pose);
}

Vector3 RigidEnergy::place_of(const Vector3& arm, const Pose& pose) const {
  const Vector3 turned = product(pose.rotation, arm);
  return {centre_[0] + pose.translation[0] + turned[0], centre_[1] + pose.translation[1] + turned[1],
          centre_[2] + pose.translation[2] + turned[2]};
}

// `pair_of` gives, for an atom of the ligand, the function of a target atom's index and r^2 that a pair is.
template <class PairOf>
double RigidEnergy::sum(const double* x, double* gradient, PairOf pair_of) const {
  const Pose pose = pose_at(x);
  const double* const tx = target_.x.data();
  const double* const ty = target_.y.data();
  const double* const tz = target_.z.data();
  double energy = 0.0;
  Vector3 force{};
  Vector3 torque{};
  for (const Site& site : ligand_) {
    const Vector3 at = place_of(site.place, pose);
    const auto pair = pair_of(site);
    double e[kLanes] = {};
    double fx[kLanes] = {};
    double fy[kLanes] = {};
    double fz[kLanes] = {};
    for (std::size_t j = 0; j < target_.x.size(); j += kLanes) {
      for (std::size_t k = 0; k < kLanes; ++k) {
        const double dx = at[0] - tx[j + k];
        const double dy = at[1] - ty[j + k];
        const double dz = at[2] - tz[j + k];
        const Pair one = pair(j + k, dx * dx + dy * dy + dz * dz);
        e[k] += one.energy;
        fx[k] += one.slope * dx;
        fy[k] += one.slope * dy;
        fz[k] += one.slope * dz;
      }
    }
    Vector3 on_atom{};
    for (std::size_t k = 0; k < kLanes; ++k) {
      energy += e[k];
      on_atom[0] += 2.0 * fx[k];
      on_atom[1] += 2.0 * fy[k];
      on_atom[2] += 2.0 * fz[k];
    }
    const Vector3 turn = cross(product(pose.rotation, site.place), on_atom);
    for (std::size_t k = 0; k < 3; ++k) {
      force[k] += on_atom[k];
      torque[k] += turn[k];
    }
  }
  if (gradient != nullptr) {
    const Vector3 turn = by_rotation_vector({x[3] / arm_, x[4] / arm_, x[5] / arm_}, torque);
    for (std::size_t k = 0; k < 3; ++k) {
      gradient[k] += force[k];
      gradient[3 + k] += turn[k] / arm_;
    }
  }
  return energy;
}

double RigidEnergy::coulomb(const double* x, double* gradient) const {
  const double* const charge = target_.charge.data();
  return sum(x, gradient, [charge, factor = factor_](const Site& site) {
    return [charge, q = factor * site.charge](std::size_t j, double r2) {
      constexpr double kNearest = kCoulombWall * kCoulombWall;
      const double s = r2 > kNearest ? r2 : kNearest;
      const double at_s = q * charge[j] / std::sqrt(s);
      const double slope = -0.5 * at_s / s;
      return Pair{at_s + slope * (r2 - s), slope};
    };
  });
}

double RigidEnergy::twelve_six(const double* x, double* gradient) const {
  const double* const distance = target_.distance.data();
  const double* const root_depth = target_.root_depth.data();
  return sum(x, gradient, [distance, root_depth, wall2 = wall_ * wall_](const Site& site) {
    return [distance, root_depth, wall2, own = site.distance, own_depth = std::sqrt(site.well_depth)](std::size_t j,
                                                                                                      double r2) {
      const double least = own * distance[j];
      const double s = r2 > wall2 * least ? r2 : wall2 * least;
      const double inverse = 1.0 / s;
      const double u = least * inverse;
      const double u3 = u * u * u;
      const double depth = own_depth * root_depth[j];
      const double slope = -6.0 * depth * u3 * (u3 - 1.0) * inverse;
      return Pair{depth * u3 * (u3 - 2.0) + slope * (r2 - s), slope};
    };
  });
}

Contact RigidEnergy::closest_contact(const Pose& pose) const {
  Contact closest;
  double least = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < ligand_.size(); ++i) {
    const Vector3 at = place_of(ligand_[i].place, pose);
    for (std::size_t j = 0; j < target_atoms_; ++j) {
      const Vector3 d{at[0] - target_.x[j], at[1] - target_.y[j], at[2] - target_.z[j]};
      const double ratio = dot(d, d) / (ligand_[i].distance * target_.distance[j]);
      if (ratio < least) {
        least = ratio;
        closest = {j, i, std::sqrt(dot(d, d)), std::sqrt(ratio)};
      }
    }
  }
  return closest;
}

double RigidEnergy::rms_displacement(const Pose& pose) const {
  double square = 0.0;
  for (const Site& site : ligand_) {
    const Vector3 at = place_of(site.place, pose);
    for (std::size_t k = 0; k < 3; ++k) {
      const double d = at[k] - centre_[k] - site.place[k];
      square += d * d;
    }
  }
  return std::sqrt(square / static_cast<double>(ligand_.size()));
}

}  // namespace nxbrio
