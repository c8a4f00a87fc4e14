// The command that moves a rigid ligand to the nearest minimum of its energy with the target.
#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numbers>

#include "commands.h"
#include "element.h"
#include "failure.h"
#include "formula.h"
#include "progress.h"
#include "refine_report.h"
#include "report.h"
#include "text.h"
#include "uff.h"

namespace nxbrio {
namespace {

// The inside of a protein, where a ligand sits, of which the charges' full strength in vacuum would make too much and
// water next to nothing.
constexpr float kUsualDielectric = 4.0F;

// Where a ligand that starts inside the target is pushed out from: a tenth of an angstrom off, since at a place of
// symmetry, such as every atom upon another, no force would tell which way to go.
constexpr Pose kNudge{{1, 0, 0, 0, 1, 0, 0, 0, 1}, {0.07, 0.06, 0.04}};

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

std::vector<Site> sites_of(const Structure& structure) {
  std::vector<Site> sites;
  for (const Atom& atom : structure.atoms) {
    const std::optional<UffVanDerWaals> parameters = uff_van_der_waals(atom.element);
    if (!parameters) {
      throw Failure(structure.label,
                    formatted("atom %zu, %s: there are no 12-6 parameters for %s", sites.size() + 1,
                              in_quotes(atom_label(atom)).c_str(),
                              atom.element == 0 ? "an unknown element" : element_symbol(atom.element).c_str()));
    }
    const auto coordinate = [&](std::size_t k) { return static_cast<double>(atom.position[k]); };
    sites.push_back({{coordinate(0), coordinate(1), coordinate(2)},
                     static_cast<double>(atom.charge),
                     parameters->distance,
                     parameters->well_depth});
  }
  return sites;
}

// What makes the terms say less than they could.
void add_notes(const Structure& structure, Summary& summary) {
  const auto& atoms = structure.atoms;
  if (std::all_of(atoms.begin(), atoms.end(), [](const Atom& atom) { return atom.charge == 0.0F; })) {
    summary.notes.emplace_back("no charges: there is no Coulombic energy");
  }
  if (std::none_of(atoms.begin(), atoms.end(), [](const Atom& atom) { return atom.element == 1; })) {
    summary.notes.emplace_back("no hydrogens: the 12-6 term has none to keep off");
  }
}

Structure moved(const Structure& ligand, const RigidEnergy& energy, const Pose& pose) {
  Structure copy = ligand;
  for (Atom& atom : copy.atoms) {
    const Vector3 to = energy.moved({static_cast<double>(atom.position[0]), static_cast<double>(atom.position[1]),
                                     static_cast<double>(atom.position[2])},
                                    pose);
    for (std::size_t k = 0; k < 3; ++k) {
      atom.position[k] = static_cast<float>(to[k]);
    }
  }
  return copy;
}

RefinedPlace place_at(RigidEnergy& energy, const Pose& pose, const Structure& target, const Structure& ligand) {
  RefinedPlace place{energy_at(energy, pose), energy.closest_contact(pose), "", ""};
  place.target_atom = atom_label(target.atoms[place.contact.target_atom]);
  place.ligand_atom = atom_label(ligand.atoms[place.contact.ligand_atom]);
  if (!std::isfinite(place.energy.total()) || !std::isfinite(place.energy.gradient)) {
    throw Failure(ligand.label, "its energy with " + target.label + " is too large to be told");
  }
  return place;
}

// The ligand's way, on which the energy only falls: poses that a later one lies above are left out, the start never.
class Way {
 public:
  explicit Way(double start) : energies_{start}, poses_(1) {}

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

// Goes downhill, out of the target first where the ligand starts inside it.
Pose refine_pose(RigidEnergy& energy, RefineReport& report, Way& way) {
  Descent descent;
  int told = 0;
  if (is_inside(report.before) && report.most_iterations > 0) {
    descent.pose = kNudge;
    RigidEnergy real = energy;
    const OnIterate pushed = [&](const Pose& pose, double value) {
      progress_line(formatted("pushing out, iteration %d: soft 12-6 term %.4f kcal/mol", ++told, value));
      way.add(pose, energy_at(real, pose).total());
    };
    descend(energy, Terms::SoftTwelveSix, (report.most_iterations + 1) / 2, pushed, descent);
  }
  const OnIterate fallen = [&](const Pose& pose, double value) {
    progress_line(formatted("iteration %d: %.4f kcal/mol", ++told, value));
    way.add(pose, value);
  };
  descend(energy, Terms::All, report.most_iterations, fallen, descent);
  report.iterations = descent.iterations;
  report.evaluations = descent.evaluations;
  return descent.pose;
}

// How the ligand has moved.
void tell_motion(const RigidEnergy& energy, const Pose& pose, RefineReport& report) {
  const Vector3 to = energy.moved({0.0, 0.0, 0.0}, pose);
  for (std::size_t k = 0; k < 3; ++k) {
    report.motion.translation[k] = static_cast<float>(to[k]);
  }
  std::transform(pose.rotation.begin(), pose.rotation.end(), report.motion.rotation.begin(),
                 [](double value) { return static_cast<float>(value); });
  report.translation = std::hypot(pose.translation[0], pose.translation[1], pose.translation[2]);
  report.rotation = angle_of(pose) * 180.0 / std::numbers::pi;
  report.rms = energy.rms_displacement(pose);
}

void write_trajectory(StagedFiles& files, const WrittenFile& file, const Structure& ligand, const RigidEnergy& energy,
                      const std::vector<Pose>& poses, RefineReport& report) {
  std::vector<Structure> structures;
  for (const Pose& pose : poses) {
    structures.push_back(moved(ligand, energy, pose));
    structures.back().model = static_cast<int>(structures.size());
  }
  write_models(files, file,
               make_written_models(file, BondSource::Auto, std::move(structures), report.trajectory.emplace()));
}

// Writes all that is to be written, and all or nothing of it.
void write_outputs(const Outputs& outputs, const Structure& target, const Structure& ligand, const RigidEnergy& energy,
                   const std::vector<Pose>& poses, RefineReport& report) {
  StagedFiles files;
  const Structure refined = moved(ligand, energy, poses.back());
  write_models(files, outputs.ligand, make_written_models(outputs.ligand, BondSource::Auto, {refined}, report.written));
  if (outputs.trajectory) {
    write_trajectory(files, *outputs.trajectory, ligand, energy, poses, report);
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
  Structure target = read_structure(options.target);
  Structure ligand = read_structure(options.ligand);
  // The molecules find the charges that the files do not give.
  report.target = summarise(target, Molecule(target));
  report.ligand = summarise(ligand, Molecule(ligand));
  add_notes(target, report.target);
  add_notes(ligand, report.ligand);
  const double factor = static_cast<double>(DFactor2) * kcal_per_unit() / static_cast<double>(report.dielectric);
  RigidEnergy energy(sites_of(target), sites_of(ligand), factor);

  report.before = place_at(energy, {}, target, ligand);
  Way way(report.before.energy.total());
  Pose pose = refine_pose(energy, report, way);
  report.after = place_at(energy, pose, target, ligand);
  if (pose != Pose{} && !(report.after.energy.total() < report.before.energy.total())) {
    report.start_kept = true;
    report.after = report.before;
    pose = {};
    way.back_to_start();
  }
  way.add(pose, report.after.energy.total());
  report.at_minimum = at_minimum(energy, pose);
  tell_motion(energy, pose, report);
  write_outputs(outputs, target, ligand, energy, way.poses(), report);
  return report;
}

}  // namespace

void refine(const RefineOptions& options) {
  print_report(refine_files(options), options.json, refine_text, refine_json);
}

}  // namespace nxbrio
