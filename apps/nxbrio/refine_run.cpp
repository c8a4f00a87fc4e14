#include "refine_run.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <numeric>
#include <system_error>
#include <thread>
#include <utility>

#include "failure.h"
#include "interruption.h"
#include "nxbriofiles/text.h"

namespace nxbrio {
namespace {

std::string atom_label(const Atom& atom) {
  std::string label = atom.name + " " + atom.residue + " " + std::to_string(atom.residue_number);
  return atom.chain == ' ' ? label : label + " " + atom.chain;
}

void require_parameters(const Structure& structure) {
  std::size_t number = 0;
  for (const Atom& atom : structure.atoms) {
    ++number;
    if (nxd_get_uff_parameters(atom.element, nullptr, nullptr) == 0) {
      throw Failure(
          structure.label,
          formatted("atom %zu, %s: there are no 12-6 parameters for %s", number, in_quotes(atom_label(atom)).c_str(),
                    atom.element == 0 ? "an unknown element" : element_symbol(atom.element).c_str()));
    }
  }
}

// The trajectory: the start, then poses of falling energy. Adding a pose drops earlier ones of lower energy, except the
// start.
class Way {
 public:
  Way(int energy, double start) : energy_(energy), energies_{start}, poses_{kStart} {}

  void add(const Pose& pose, double value) {
    if (!(value < energies_.front()) || pose == poses_.back()) {
      return;
    }
    while (poses_.size() > 1 && energies_.back() < value) {
      energies_.pop_back();
      poses_.pop_back();
    }
    energies_.push_back(value);
    poses_.push_back(pose);
  }
  void back_to_start() {
    energies_.resize(1);
    poses_.resize(1);
  }
  double energy_at(const Pose& pose) const {
    double coulomb = 0.0;
    double twelve_six = 0.0;
    require(nxd_get_energy_at_pose(pose.data(), &coulomb, &twelve_six, nullptr, energy_), "a pose");
    return coulomb + twelve_six;
  }
  std::vector<Pose> take() { return std::move(poses_); }

 private:
  int energy_;
  std::vector<double> energies_;
  std::vector<Pose> poses_;
};

int tell_iteration(int iteration, const double* pose, double value, int pushing, void* data) {
  Way& way = *static_cast<Way*>(data);
  Pose at{};
  std::copy_n(pose, at.size(), at.begin());
  if (pushing != 0) {
    progress_line(formatted("pushing out, iteration %d: soft 12-6 term %.4f kcal/mol", iteration, value));
    value = way.energy_at(at);
  } else {
    progress_line(formatted("iteration %d: %.4f kcal/mol", iteration, value));
  }
  way.add(at, value);
  return 0;
}

}  // namespace

RefineTarget::RefineTarget(const Structure& target, const Molecule& molecule, const Medium& medium, float dielectric,
                           int iterations)
    : structure_(target) {
  require_parameters(target);
  require(nxd_set_target(molecule.handle(), energy()), "the target");
  set_medium(medium, static_cast<double>(dielectric), energy());
  require(nxd_set_refine_iterations(iterations, energy()), "the number of iterations");
  require(nxd_set_refine_tolerance(kGradientTolerance, energy()), "the tolerance");
  require(nxd_set_interrupt_flag(Interruption::flag(), energy()), "to be interrupted");
}

RefineRun::RefineRun(const RefineTarget& target, Structure ligand, const Molecule& molecule, int threads)
    : target_(target.structure()),
      ligand_(std::move(ligand)),
      energy_(nxd_copy_energy(target.energy())),
      result_(ligand_) {
  require_parameters(ligand_);
  require(nxd_set_ligand(molecule.handle(), energy_.handle()), "the ligand");
  require(nxd_set_threads(threads, energy_.handle()), "the number of threads");
}

RefinedPlace RefineRun::place_at(const Pose& pose) const {
  RefinedPlace place;
  std::array<double, NXD_VARIABLES> gradient{};
  require(nxd_get_energy_at_pose(pose.data(), &place.energy.coulomb, &place.energy.twelve_six, gradient.data(),
                                 energy_.handle()),
          "a pose");
  place.energy.gradient = std::sqrt(std::inner_product(gradient.begin(), gradient.end(), gradient.begin(), 0.0));
  Contact& contact = place.contact;
  require(nxd_get_closest_contact(pose.data(), &contact.target_atom, &contact.ligand_atom, &contact.distance,
                                  &contact.fraction, energy_.handle()),
          "a pose");
  // Without finite energies there is no closest pair.
  if (!std::isfinite(place.energy.total()) || !std::isfinite(place.energy.gradient) || contact.target_atom < 0) {
    throw Failure(ligand_.label, "its energy with " + target_.label + " is too large to be told");
  }
  place.target_atom = atom_label(target_.atoms[static_cast<std::size_t>(contact.target_atom)]);
  place.ligand_atom = atom_label(ligand_.atoms[static_cast<std::size_t>(contact.ligand_atom)]);
  return place;
}

void RefineRun::run() {
  result_.before = place_at(kStart);
  require(nxd_refine_pose(pose_.data(), &result_.run, energy_.handle()), "to refine the ligand");
  result_.after = place_at(pose_);
  result_.moved = displacement(ligand_, pose_);
  require(nxd_get_pose_rms(kStart.data(), pose_.data(), &result_.rms, energy_.handle()), "a pose");
}

void RefineRun::run_and_tell() {
  Way way(energy_.handle(), place_at(kStart).energy.total());
  require(nxd_set_iteration_callback(tell_iteration, &way, energy_.handle()), "to be followed");
  run();
  if (result_.run.start_kept != 0) {
    way.back_to_start();
  }
  way.add(pose_, result_.after.energy.total());
  way_ = way.take();
}

std::vector<std::exception_ptr> run_all(std::deque<RefineRun>& runs, int threads, Progress& progress) {
  std::vector<std::exception_ptr> faults(runs.size());
  std::atomic<std::size_t> next{0};
  std::atomic<std::size_t> done{0};
  std::size_t working = 0;
  std::mutex turn;
  std::condition_variable ended;
  const auto work = [&]() noexcept {
    for (std::size_t i = next++; i < runs.size() && !Interruption::asked(); i = next++) {
      try {
        runs[i].run();
      } catch (...) {
        faults[i] = std::current_exception();
      }
      ++done;
    }
    const std::lock_guard lock(turn);
    --working;
    ended.notify_one();
  };
  std::vector<std::jthread> workers;
  for (std::size_t i = 0; i < std::min(runs.size(), static_cast<std::size_t>(threads)); ++i) {
    try {
      const std::lock_guard lock(turn);
      workers.emplace_back(work);
      ++working;
    } catch (const std::system_error&) {
      break;  // The system gives no more threads.
    }
  }
  if (workers.empty()) {
    working = 1;
    work();
  }
  std::size_t told = 0;
  const auto tell = [&] {
    const std::size_t now = done;
    progress.step(now - told);
    told = now;
  };
  std::unique_lock lock(turn);
  while (!ended.wait_for(lock, std::chrono::milliseconds(100), [&] { return working == 0; })) {
    tell();
  }
  tell();
  return faults;
}

}  // namespace nxbrio
