// The command that moves a rigid ligand to the nearest minimum of its energy with the target.
#include <nxbriochem/nxbriochem.h>
#include <nxbriodock/nxbriodock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <numbers>
#include <numeric>

#include "commands.h"
#include "failure.h"
#include "formula.h"
#include "nxbriofiles/text.h"
#include "progress.h"
#include "refine_report.h"
#include "report.h"

namespace nxbrio {
namespace {

// The inside of a protein, where a ligand sits, of which the charges' full strength in vacuum would make too much and
// water next to nothing.
constexpr float kUsualDielectric = 4.0F;

using Pose = std::array<double, NXD_POSE>;
constexpr Pose kStart{1, 0, 0, 0, 0, 0, 0};

// Owns an energy object.
class Energy {
 public:
  Energy() : handle_(nxd_make_energy()) {
    if (handle_ == 0) {
      throw Failure("the library has no energy object left");
    }
  }
  Energy(const Energy&) = delete;
  Energy& operator=(const Energy&) = delete;
  ~Energy() { nxd_delete_energy(handle_); }
  int handle() const { return handle_; }

 private:
  int handle_;
};

float parse_dielectric(const RefineOptions& options) {
  Formulas formulas;
  for (const std::string& path : options.parameters) {
    formulas.read_parameters(path);
  }
  const float dielectric =
      options.dielectric ? formulas.positive_value("--dielectric", *options.dielectric) : kUsualDielectric;
  forget_variables();
  return dielectric;
}

// OUT, and what else is to be written.
struct Outputs {
  WrittenFile ligand;
  std::optional<WrittenFile> trajectory;
  std::optional<WrittenFile> complex;
};

bool ends_as_pdb(const std::string& path) {
  const std::string ending = lower_case(std::filesystem::path(path).extension().string());
  return ending == ".pdb" || ending == ".ent";
}

Outputs check_outputs(const RefineOptions& options) {
  std::vector<std::string> inputs = options.parameters;
  inputs.insert(inputs.end(), {options.target, options.ligand});
  Outputs outputs{checked_output("OUT", options.output, options.format, inputs), {}, {}};
  std::vector<WrittenFile> all{outputs.ligand};
  const auto add = [&](const char* option, const std::optional<std::string>& path,
                       const std::optional<std::string>& format) -> std::optional<WrittenFile> {
    if (!path) {
      return std::nullopt;
    }
    refuse_written(option, *path, all);
    return all.emplace_back(checked_output(option, *path, format, inputs));
  };
  if (options.trajectory && !ends_as_pdb(*options.trajectory)) {
    throw UsageError("--trajectory: " + *options.trajectory + " ends in neither .pdb nor .ent");
  }
  outputs.trajectory = add("--trajectory", options.trajectory, "pdb");
  outputs.complex = add("--complex", options.complex, std::nullopt);
  for (const WrittenFile& output : all) {
    check_writable(output.path);
  }
  return outputs;
}

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

// What makes the terms say less than they could.
void add_notes(const Structure& structure, Summary& summary) {
  const auto& atoms = structure.atoms;
  if (std::none_of(atoms.begin(), atoms.end(), [](const Atom& atom) { return atom.element == 1; })) {
    summary.notes.emplace_back("no hydrogens: the 12-6 term has none to keep off");
  }
}

using Place = std::array<double, 3>;

// Where what belongs to the ligand goes at a pose.
class Mover {
 public:
  explicit Mover(const Pose& pose) {
    require(nxd_get_pose_matrix(pose.data(), rotation_.data(), translation_.data()), "a pose");
  }
  Place operator()(const Place& p) const {
    Place to = translation_;
    for (std::size_t k = 0; k < 3; ++k) {
      to[k] += rotation_[3 * k] * p[0] + rotation_[3 * k + 1] * p[1] + rotation_[3 * k + 2] * p[2];
    }
    return to;
  }
  Motion motion() const {
    Motion motion;
    const auto single = [](double value) { return static_cast<float>(value); };
    std::transform(rotation_.begin(), rotation_.end(), motion.rotation.begin(), single);
    std::transform(translation_.begin(), translation_.end(), motion.translation.begin(), single);
    return motion;
  }

 private:
  std::array<double, 9> rotation_{};
  Place translation_{};
};

Place place_of(const Atom& atom) {
  return {static_cast<double>(atom.position[0]), static_cast<double>(atom.position[1]),
          static_cast<double>(atom.position[2])};
}

Structure moved(const Structure& ligand, const Pose& pose) {
  Structure copy = ligand;
  const Mover move(pose);
  for (Atom& atom : copy.atoms) {
    const Place to = move(place_of(atom));
    std::transform(to.begin(), to.end(), atom.position.begin(), [](double value) { return static_cast<float>(value); });
  }
  return copy;
}

double energy_at(const Energy& energy, const Pose& pose) {
  double coulomb = 0.0;
  double twelve_six = 0.0;
  require(nxd_get_energy_at_pose(pose.data(), &coulomb, &twelve_six, nullptr, energy.handle()), "a pose");
  return coulomb + twelve_six;
}

RefinedPlace place_at(const Energy& energy, const Pose& pose, const Structure& target, const Structure& ligand) {
  RefinedPlace place;
  std::array<double, NXD_VARIABLES> gradient{};
  require(nxd_get_energy_at_pose(pose.data(), &place.energy.coulomb, &place.energy.twelve_six, gradient.data(),
                                 energy.handle()),
          "a pose");
  place.energy.gradient = std::sqrt(std::inner_product(gradient.begin(), gradient.end(), gradient.begin(), 0.0));
  Contact& contact = place.contact;
  require(nxd_get_closest_contact(pose.data(), &contact.target_atom, &contact.ligand_atom, &contact.distance,
                                  &contact.fraction, energy.handle()),
          "a pose");
  // Where nothing can be told apart there is no closest pair.
  if (!std::isfinite(place.energy.total()) || !std::isfinite(place.energy.gradient) || contact.target_atom < 0) {
    throw Failure(ligand.label, "its energy with " + target.label + " is too large to be told");
  }
  place.target_atom = atom_label(target.atoms[static_cast<std::size_t>(contact.target_atom)]);
  place.ligand_atom = atom_label(ligand.atoms[static_cast<std::size_t>(contact.ligand_atom)]);
  return place;
}

// The ligand's way, on which the energy only falls: poses that a later one lies above are left out, the start never.
class Way {
 public:
  explicit Way(double start) : energies_{start}, poses_{kStart} {}

  void add(const Pose& pose, double energy) {
    if (!(energy < energies_.front()) || pose == poses_.back()) {
      return;
    }
    while (poses_.size() > 1 && energies_.back() < energy) {
      energies_.pop_back();
      poses_.pop_back();
    }
    energies_.push_back(energy);
    poses_.push_back(pose);
  }
  void back_to_start() {
    energies_.resize(1);
    poses_.resize(1);
  }
  const std::vector<Pose>& poses() const { return poses_; }

 private:
  std::vector<double> energies_;
  std::vector<Pose> poses_;
};

// What is told of a run while it goes.
struct Told {
  const Energy& energy;
  Way& way;
};

int tell_iteration(int iteration, const double* pose, double value, int pushing, void* data) {
  const Told& told = *static_cast<Told*>(data);
  Pose at{};
  std::copy_n(pose, at.size(), at.begin());
  if (pushing != 0) {
    progress_line(formatted("pushing out, iteration %d: soft 12-6 term %.4f kcal/mol", iteration, value));
    value = energy_at(told.energy, at);
  } else {
    progress_line(formatted("iteration %d: %.4f kcal/mol", iteration, value));
  }
  told.way.add(at, value);
  return 0;
}

// Goes downhill, out of the target first where the ligand starts inside it.
Pose refine_pose(const Energy& energy, RefineReport& report, Way& way) {
  Told told{energy, way};
  Pose pose = kStart;
  require(nxd_set_refine_iterations(report.most_iterations, energy.handle()), "the number of iterations");
  require(nxd_set_refine_tolerance(kGradientTolerance, energy.handle()), "the tolerance");
  require(nxd_set_iteration_callback(tell_iteration, &told, energy.handle()), "to be followed");
  require(nxd_refine_pose(pose.data(), &report.run, energy.handle()), "to refine the ligand");
  if (report.run.start_kept != 0) {
    way.back_to_start();
  }
  return pose;
}

// How the ligand has moved.
void tell_motion(const Energy& energy, const Structure& ligand, const Pose& pose, RefineReport& report) {
  const Mover move(pose);
  Place centre{};
  for (const Atom& atom : ligand.atoms) {
    const Place at = place_of(atom);
    for (std::size_t k = 0; k < 3; ++k) {
      centre[k] += at[k] / static_cast<double>(ligand.atoms.size());
    }
  }
  const Place to = move(centre);
  report.motion = move.motion();
  report.translation = std::hypot(to[0] - centre[0], to[1] - centre[1], to[2] - centre[2]);
  report.rotation = 2.0 * std::atan2(std::hypot(pose[1], pose[2], pose[3]), pose[0]) * 180.0 / std::numbers::pi;
  require(nxd_get_pose_rms(kStart.data(), pose.data(), &report.rms, energy.handle()), "a pose");
}

void write_trajectory(StagedFiles& files, const WrittenFile& file, const Structure& ligand,
                      const std::vector<Pose>& poses, RefineReport& report) {
  std::vector<Structure> structures;
  for (const Pose& pose : poses) {
    structures.push_back(moved(ligand, pose));
    structures.back().model = static_cast<int>(structures.size());
  }
  write_models(files, file,
               make_written_models(file, BondSource::Auto, std::move(structures), report.trajectory.emplace()));
}

// Writes all that is to be written, and all or nothing of it.
void write_outputs(const Outputs& outputs, const Structure& target, const Structure& ligand,
                   const std::vector<Pose>& poses, RefineReport& report) {
  StagedFiles files;
  const Structure refined = moved(ligand, poses.back());
  write_models(files, outputs.ligand, make_written_models(outputs.ligand, BondSource::Auto, {refined}, report.written));
  if (outputs.trajectory) {
    write_trajectory(files, *outputs.trajectory, ligand, poses, report);
  }
  if (outputs.complex) {
    report.complex = outputs.complex;
    report.notes = write_complex(files, {*outputs.complex}, target, refined);
  }
  files.commit();
}

RefineReport refine_files(const RefineOptions& options) {
  RefineReport report;
  report.dielectric = parse_dielectric(options);
  report.most_iterations = options.iterations;
  const Outputs outputs = check_outputs(options);
  Structure target = read_structure(options.target, {"--target-select", options.target_select});
  Structure ligand = read_structure(options.ligand, {"--ligand-select", options.ligand_select});
  const Energy energy;
  {
    // The molecules find the charges that the files do not give.
    const Molecule target_molecule(target);
    const Molecule ligand_molecule(ligand);
    report.target = summarise(target, target_molecule);
    report.ligand = summarise(ligand, ligand_molecule);
    require_parameters(target);
    require_parameters(ligand);
    require(nxd_set_target(target_molecule.handle(), energy.handle()), "the target");
    require(nxd_set_ligand(ligand_molecule.handle(), energy.handle()), "the ligand");
  }
  add_notes(target, report.target);
  add_notes(ligand, report.ligand);
  require(nxd_set_uniform_dielectric(static_cast<double>(report.dielectric), energy.handle()), "the dielectric");
  require(nxd_set_threads(0, energy.handle()), "the number of threads");

  report.before = place_at(energy, kStart, target, ligand);
  Way way(report.before.energy.total());
  const Pose pose = refine_pose(energy, report, way);
  report.after = place_at(energy, pose, target, ligand);
  way.add(pose, report.after.energy.total());
  tell_motion(energy, ligand, pose, report);
  write_outputs(outputs, target, ligand, way.poses(), report);
  return report;
}

}  // namespace

void refine(const RefineOptions& options) {
  print_report(refine_files(options), options.json, refine_text, refine_json);
}

}  // namespace nxbrio
