#include "energy_object.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <unordered_map>

#include "fork_lock.h"
#include "parallel.h"
#include "reports.h"

namespace nxbriodock {
namespace {

constexpr double kCoulombKcal = 332.063713;  // N e^2 / (4 pi eps0), kcal/mol angstrom (CODATA 2018)

// Below this number of pairs one thread is faster than two, since starting a thread takes some 30 microseconds.
constexpr long long kWorthThreads = 300000;
// The most atoms of the ligand that a thread takes at a time.
constexpr int kMostInAPart = 16;

// The sums of single atoms with a whole side.
class Summation {
 public:
  Summation(const Terms& terms, const Packed& others)
      : arithmetic_(terms.arithmetic),
        factor_(terms.coulomb_factor()),
        weight_(terms.twelve_six_weight),
        model_(terms.model()),
        others_(others) {}

  LigandAtom atom(const Atoms& atoms, std::size_t i, const Vector3& at) const {
    const double distance = arithmetic_ ? 0.5 * atoms.distances[i] : atoms.distances[i];
    const double farthest = others_.largest_distance();
    const double least = arithmetic_ ? (distance + farthest) * (distance + farthest) : distance * farthest;
    // A little more than the wall, for rounding.
    const double near = std::max({model_.coulomb_wall, model_.twelve_six_wall * least * (1.0 + 1e-12), kLeastSquare});
    return {at[0], at[1], at[2], factor_ * atoms.charges[i], distance, weight_ * std::sqrt(atoms.depths[i]), near};
  }

  // Computes room.sums, the sums of room.atoms.
  void run(Derivatives derivatives, int most_threads, Workspace& room) const {
    const TargetArrays arrays = others_.arrays();
    const SumPairs sum = versions().best().sum;
    const auto count = static_cast<int>(room.atoms.size());
    room.sums.resize(room.atoms.size());
    if (most_threads < 2 || static_cast<long long>(count) * arrays.count < kWorthThreads) {
      sum(arrays, room.atoms.data(), count, model_, derivatives, room.sums.data());
      return;
    }
    const int size = std::clamp(count / (4 * most_threads), 1, kMostInAPart);
    in_parallel((count + size - 1) / size, most_threads, [&](int part) {
      const int first = part * size;
      sum(arrays, room.atoms.data() + first, std::min(size, count - first), model_, derivatives,
          room.sums.data() + first);
    });
  }

 private:
  bool arithmetic_;
  double factor_;
  double weight_;
  Model model_;
  const Packed& others_;
};

}  // namespace

int Atoms::residue_number() const {
  return residues.empty() ? 0 : *std::max_element(residues.begin(), residues.end()) + 1;
}

Packed::Packed(const Atoms& atoms, bool arithmetic) {
  const std::size_t n = (atoms.size() + kLanes - 1) / kLanes * kLanes;
  count_ = static_cast<int>(n);
  values_.assign(6 * n, 0.0);
  // The filling atoms are far away, so that they contribute nothing.
  std::fill_n(values_.begin(), 3 * n, 1e6);
  for (std::size_t j = 0; j < atoms.size(); ++j) {
    for (std::size_t k = 0; k < 3; ++k) {
      values_[k * n + j] = atoms.places[j][static_cast<Eigen::Index>(k)];
    }
    values_[3 * n + j] = atoms.charges[j];
    values_[4 * n + j] = arithmetic ? 0.5 * atoms.distances[j] : atoms.distances[j];
    values_[5 * n + j] = std::sqrt(atoms.depths[j]);
    largest_distance_ = std::max(largest_distance_, values_[4 * n + j]);
  }
}

TargetArrays Packed::arrays() const {
  const double* const v = values_.data();
  const std::ptrdiff_t n = count_;
  return {v, v + n, v + 2 * n, v + 3 * n, v + 4 * n, v + 5 * n, count_};
}

Model Terms::model() const {
  Model model;
  model.coulomb = coulomb_weight == 0.0 ? Coulomb::Off : coulomb;
  model.twelve_six = twelve_six_weight == 0.0 ? TwelveSix::Off
                     : arithmetic             ? TwelveSix::Arithmetic
                                              : TwelveSix::Geometric;
  model.kappa = kappa;
  model.coulomb_wall = coulomb_wall * coulomb_wall;
  model.twelve_six_wall = twelve_six_wall * twelve_six_wall;
  return model;
}

double Terms::coulomb_factor() const { return kCoulombKcal / dielectric * coulomb_weight; }

Target::Target(std::shared_ptr<const Atoms> all, bool arithmetic)
    : atoms(std::move(all)),
      packed(std::make_shared<const Packed>(*atoms, arithmetic)),
      low(atoms->places.front()),
      high(low) {
  for (const Vector3& place : atoms->places) {
    low = low.cwiseMin(place);
    high = high.cwiseMax(place);
  }
}

void Energy::set_target(Atoms atoms) {
  target = Target(std::make_shared<const Atoms>(std::move(atoms)), terms.arithmetic);
}

void Energy::set_distance_rule(bool arithmetic) {
  if (has_target()) {
    target = Target(target.atoms, arithmetic);
  }
  terms.arithmetic = arithmetic;
}

void Energy::set_ligand(Atoms atoms) {
  const auto n = static_cast<double>(atoms.size());
  Vector3 mean = Vector3::Zero();
  for (const Vector3& place : atoms.places) {
    mean += place / n;
  }
  std::vector<Vector3> from_centre;
  Matrix3 products = Matrix3::Zero();
  for (const Vector3& place : atoms.places) {
    from_centre.push_back(place - mean);
    products += from_centre.back() * from_centre.back().transpose() / n;
  }
  ligand = std::move(atoms);
  centre = mean;
  arms = std::move(from_centre);
  spread = products;
  // A single atom does not turn.
  arm = products.trace() > 0.0 ? std::sqrt(products.trace()) : 1.0;
  base = Placement();
}

void Energy::require_both() const {
  if (!has_target()) {
    throw Refused("the energy has no target");
  }
  if (!has_ligand()) {
    throw Refused("the energy has no ligand");
  }
}

Placement Energy::placement_at(const double* x) const {
  Placement placement;
  placement.rotation = rotation_by(Vector3(x[3], x[4], x[5]) / arm) * base.rotation;
  placement.move = base.move + Vector3(x[0], x[1], x[2]);
  return placement;
}

Placement Energy::placement_of_pose(const double* pose) const {
  Placement placement;
  if (!placement_of(needed(pose, "pose"), centre, placement)) {
    throw Refused("the pose has no rotation or is not finite");
  }
  return placement;
}

Value Energy::evaluate(const Terms& which, const Placement& placement, Derivatives derivatives, int most_threads,
                       Workspace& room) const {
  const std::size_t n = ligand.size();
  const Summation summation(which, *target.packed);
  room.atoms.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    room.atoms[i] = summation.atom(ligand, i, place_of(i, placement));
  }
  summation.run(derivatives, most_threads, room);

  Value value;
  Vector3 force = Vector3::Zero();
  Vector3 torque = Vector3::Zero();
  Matrix3 by_move = Matrix3::Zero();
  Matrix3 mixed = Matrix3::Zero();
  Matrix3 by_turn = Matrix3::Zero();
  for (std::size_t i = 0; i < n; ++i) {
    const AtomSums& sums = room.sums[i];
    const Vector3 a = placement.rotation * arms[i];
    const Vector3 g(sums.gradient);
    value.coulomb += sums.coulomb;
    value.twelve_six += sums.twelve_six;
    force += g;
    torque += a.cross(g);
    if (derivatives == Derivatives::Second) {
      const double* const h = sums.hessian;
      Matrix3 own;
      own << h[0], h[1], h[2], h[1], h[3], h[4], h[2], h[4], h[5];
      const Matrix3 w = cross_matrix(a);
      const Matrix3 turned = own * w;
      by_move += own;
      mixed -= turned;
      by_turn -= w * turned;
      // The curvature of the path of an atom that turns.
      by_turn += 0.5 * (g * a.transpose() + a * g.transpose());
      by_turn.diagonal().array() -= g.dot(a);
    }
  }
  value.gradient << force, torque / arm;
  if (derivatives == Derivatives::Second) {
    value.hessian << by_move, mixed / arm, mixed.transpose() / arm, by_turn / (arm * arm);
  }
  return value;
}

void Energy::evaluate_target_atoms(const Placement& placement, int most_threads, Workspace& room) const {
  Atoms moved = ligand;
  for (std::size_t i = 0; i < moved.size(); ++i) {
    moved.places[i] = place_of(i, placement);
  }
  const Packed packed(moved, terms.arithmetic);
  const Summation summation(terms, packed);
  const Atoms& own = *target.atoms;
  room.atoms.resize(own.size());
  for (std::size_t i = 0; i < own.size(); ++i) {
    room.atoms[i] = summation.atom(own, i, own.places[i]);
  }
  summation.run(Derivatives::First, most_threads, room);
}

Contact Energy::closest_contact(const Placement& placement) const {
  Contact closest;
  double least = std::numeric_limits<double>::infinity();
  const Atoms& others = *target.atoms;
  for (std::size_t i = 0; i < ligand.size(); ++i) {
    const Vector3 at = place_of(i, placement);
    for (std::size_t j = 0; j < others.size(); ++j) {
      const double square = (at - others.places[j]).squaredNorm();
      const double mean = 0.5 * (ligand.distances[i] + others.distances[j]);
      double scale = terms.arithmetic ? mean * mean : ligand.distances[i] * others.distances[j];
      scale = scale > 0.0 ? scale : 1.0;
      if (square < least * scale) {
        least = square / scale;
        closest = {static_cast<int>(j), static_cast<int>(i), std::sqrt(square), std::sqrt(least)};
      }
    }
  }
  return closest;
}

double Energy::distance_from_box(const Placement& placement) const {
  double least = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < arms.size(); ++i) {
    const Vector3 at = place_of(i, placement);
    least = std::min(least, (at - at.cwiseMax(target.low).cwiseMin(target.high)).squaredNorm());
  }
  return std::sqrt(least);
}

// ---- Handles

namespace {

std::shared_mutex& table_turn();

struct Table {
  ForkLock<std::shared_mutex, table_turn> turn;
  std::unordered_map<int, std::shared_ptr<Energy>> energies;
  int last = 0;
};

Table& table() {
  static Table all;
  return all;
}

std::shared_mutex& table_turn() { return table().turn; }

// Before there are threads.
[[maybe_unused]] const Table& made_at_start = table();

}  // namespace

std::shared_ptr<Energy> energy_of(int handle) {
  Table& all = table();
  const std::shared_lock lock(all.turn);
  const auto found = all.energies.find(handle);
  if (found == all.energies.end()) {
    throw Refused("%d is the handle of no energy", handle);
  }
  return found->second;
}

int keep_energy(std::shared_ptr<Energy> energy) {
  Table& all = table();
  const std::unique_lock lock(all.turn);
  if (all.last == std::numeric_limits<int>::max()) {
    throw Refused("handles are used up");
  }
  all.energies.emplace(all.last + 1, std::move(energy));
  return ++all.last;
}

bool delete_energy(int handle) {
  Table& all = table();
  // The deleted object is destroyed after the table's lock is released.
  std::shared_ptr<Energy> energy;
  const std::unique_lock lock(all.turn);
  const auto found = all.energies.find(handle);
  if (found == all.energies.end()) {
    return false;
  }
  energy = std::move(found->second);
  all.energies.erase(found);
  return true;
}

int threads_of(int setting) {
  constexpr int kMost = 1024;
  return std::clamp(setting > 0 ? setting : static_cast<int>(std::thread::hardware_concurrency()), 1, kMost);
}

}  // namespace nxbriodock
