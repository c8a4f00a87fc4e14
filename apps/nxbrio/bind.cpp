// The command that gives the Coulombic binding energy of a target and its ligands.
#include <algorithm>
#include <cmath>
#include <limits>

#include "bind_report.h"
#include "commands.h"
#include "failure.h"
#include "formula.h"
#include "molecule.h"
#include "nxbriofiles/text.h"
#include "output.h"
#include "progress.h"
#include "sudden_end.h"

namespace nxbrio {
namespace {

// Vacuum, the inside of a protein, water.
constexpr float kUsualDielectrics[] = {1.0F, 4.0F, 80.0F};

void parse_formulas(const BindOptions& options, BindReport& report) {
  Formulas formulas;
  for (const std::string& path : options.parameters) {
    formulas.read_parameters(path);
  }
  for (const std::string& text : options.dielectrics) {
    report.dielectrics.push_back(formulas.positive_value("--dielectric", text));
  }
  report.medium = parse_medium(options.medium, formulas);
  forget_variables();
  if (report.dielectrics.empty()) {
    report.dielectrics.assign(std::begin(kUsualDielectrics), std::end(kUsualDielectrics));
  }
}

// The output files, checked before any work is done.
void check_outputs(const BindOptions& options, BindReport& report) {
  std::vector<std::string> inputs = options.parameters;
  const std::vector<std::string> files = options.sides.files();
  inputs.insert(inputs.end(), files.begin(), files.end());
  for (const std::string& path : options.outputs) {
    refuse_written("--write", path, report.written);
    report.written.push_back(checked_output("--write", path, std::nullopt, inputs));
  }
  std::vector<WrittenFile> all = report.written;
  add_table("--csv", options.csv, inputs, all);
  add_table("--residue-csv", options.residue_csv, inputs, all);
  for (const WrittenFile& output : all) {
    check_writable(output.path);
  }
  report.csv = options.csv;
  report.residue_csv = options.residue_csv;
}

// Computes the energies of all ligands, and keeps the ligand of the lowest one for the complex.
class Binding {
 public:
  Binding(const BindOptions& options, BindReport& report)
      : options_(options),
        report_(report),
        target_(read_target(options.sides)),
        molecule_(target_),
        ligands_(options.sides, target_) {
    if (options.orient) {
      report.orientation = orient_molecule(molecule_, {});
      take_positions(molecule_, target_);
    }
  }

  void run() {
    report_.target = summarise(target_, molecule_);
    CoulombEnergies energies(target_, molecule_, report_.dielectrics, report_.medium);
    if (!ligands_.are_several()) {
      Structure ligand = read_only_ligand(ligands_);
      add(energies, std::move(ligand), true);
    } else {
      run_all(energies);
    }
    report_.ligand_notes = notes_.notes();
    std::stable_sort(report_.ligands.begin(), report_.ligands.end(), [](const BoundLigand& a, const BoundLigand& b) {
      return a.energies.front().kcal < b.energies.front().kcal;
    });
  }

  const Structure& target() const { return target_; }
  const Structure& best() const { return *best_; }

 private:
  void run_all(CoulombEnergies& energies) {
    Progress progress("ligands", count_ligands(options_.sides));
    while (std::optional<Ligand> ligand = ligands_.next()) {
      try {
        if (!ligand->structure) {
          throw Failure(ligand->fault);
        }
        add(energies, std::move(*ligand->structure), false);
      } catch (const Failure& failure) {
        if (memory_ran_out()) {
          throw;
        }
        progress.clear();
        tell_fault(failure.what());
        ++report_.faults;
      }
      progress.step();
    }
  }

  void add(CoulombEnergies& energies, Structure ligand, bool alone) {
    const Molecule molecule(ligand);
    if (options_.orient) {
      move_along(molecule_, molecule);
      take_positions(molecule, ligand);
    }
    BoundLigand bound{LigandName(ligand), {}, {}, coincident_pairs(target_, ligand)};
    try {
      bound.energies = energies.of(ligand, molecule);
    } catch (const Failure& failure) {
      throw alone ? failure : Failure(ligand.label, failure.what());
    }
    if (options_.residues > 0 || options_.residue_csv) {
      bound.residues = energies.by_residue(ligand);
    }
    if (alone) {
      report_.ligand = summarise(ligand, molecule);
      drop_repeated_notes(report_.target, *report_.ligand);
    } else {
      notes_.add(ligand.notes);
      if (bound.coincident_pairs > 0) {
        notes_.add("charged atoms at the same place as charged atoms of the target");
      }
    }
    const double energy = bound.energies.front().kcal;
    report_.ligands.push_back(std::move(bound));
    if (!report_.written.empty() && (!best_ || energy < lowest_)) {
      best_ = std::move(ligand);
      lowest_ = energy;
    }
  }

  const BindOptions& options_;
  BindReport& report_;
  Structure target_;
  Molecule molecule_;
  Ligands ligands_;
  NoteCounts notes_;
  std::optional<Structure> best_;
  double lowest_ = std::numeric_limits<double>::infinity();
};

// Does the job; the molecules are deleted on return, before the report is printed.
BindReport bind_molecules(const BindOptions& options) {
  BindReport report;
  report.residues = static_cast<std::size_t>(options.residues);
  report.library_unit = options.library_unit;
  check_sides(options.sides);
  parse_formulas(options, report);
  check_outputs(options, report);
  Binding binding(options, report);
  binding.run();
  if (report.ligands.empty()) {
    return report;
  }
  StagedFiles files;
  if (!report.written.empty()) {
    report.notes = write_complex(files, report.written, binding.target(), binding.best());
  }
  if (report.csv) {
    write_text(files, *report.csv, bind_csv(report));
  }
  if (report.residue_csv) {
    write_text(files, *report.residue_csv, residue_csv(report));
  }
  files.commit();
  return report;
}

}  // namespace

void bind(const BindOptions& options) {
  const BindReport report = bind_molecules(options);
  if (!report.ligands.empty()) {
    print_report(report, options.print, bind_text, bind_json);
  }
  if (report.faults > 0) {
    throw Failure(formatted("%zu of %zu ligands failed", report.faults, report.faults + report.ligands.size()));
  }
}

}  // namespace nxbrio
