// The commands that compare molecules of as many atoms: rms and superpose.
#include <algorithm>
#include <iterator>

#include "commands.h"
#include "failure.h"
#include "geometry_report.h"
#include "nxbriofiles/text.h"
#include "progress.h"
#include "report.h"

namespace nxbrio {
namespace {

// All models of all files.
std::vector<Structure> read_all(const std::vector<std::string>& paths) {
  std::vector<Structure> structures;
  for (const std::string& path : paths) {
    std::vector<Structure> models = read_models(path);
    std::move(models.begin(), models.end(), std::back_inserter(structures));
  }
  return structures;
}

// Adds a note about a file unless it is there already: a file's models share their notes.
void add_note(const Structure& structure, const std::string& what, std::vector<std::string>& notes) {
  std::string note = structure.path + ": " + what;
  if (std::find(notes.begin(), notes.end(), note) == notes.end()) {
    notes.push_back(std::move(note));
  }
}

// Atoms are paired by their order in the files. Throws Failure for another number of atoms; notes other names.
void check_pairing(const Structure& reference, const std::vector<Structure>& others, std::vector<std::string>& notes) {
  for (const Structure& other : others) {
    if (other.atoms.size() != reference.atoms.size()) {
      throw Failure(other.label, formatted("%zu atoms, but %zu in %s", other.atoms.size(), reference.atoms.size(),
                                           reference.label.c_str()));
    }
    std::size_t differ = 0;
    for (std::size_t i = 0; i < other.atoms.size(); ++i) {
      differ += other.atoms[i].name != reference.atoms[i].name ? 1 : 0;
    }
    for (const std::string& note : other.notes) {
      add_note(other, note, notes);
    }
    if (differ > 0) {
      add_note(other,
               formatted("%zu of %zu atoms are named otherwise than in %s; atoms are paired by their order", differ,
                         other.atoms.size(), reference.label.c_str()),
               notes);
    }
  }
}

int checked_fitted_atoms(const Structure& structure, const Molecule& molecule, bool hydrogens) {
  const int fitted = fitted_atoms(molecule, hydrogens);
  if (fitted == 0) {
    throw Failure(structure.label, "no atoms but hydrogens, which only --hydrogens takes in");
  }
  return fitted;
}

// Starts the report of rms and superpose: the reference, and how the others pair with it.
FitReport start_fits(const Structure& reference, const Molecule& molecule, const std::vector<Structure>& others,
                     bool hydrogens) {
  FitReport report;
  report.hydrogens = hydrogens;
  report.reference = reference.label;
  for (const std::string& note : reference.notes) {
    add_note(reference, note, report.notes);
  }
  check_pairing(reference, others, report.notes);
  report.atoms = static_cast<int>(reference.atoms.size());
  report.fitted_atoms = checked_fitted_atoms(reference, molecule, hydrogens);
  return report;
}

FitReport compare(const RmsOptions& options) {
  Structure reference = read_structure(options.reference);
  std::vector<Structure> others = read_all(options.files);
  const Molecule first(reference);
  FitReport report = start_fits(reference, first, others, options.hydrogens);
  Progress progress("RMS deviations", others.size());
  for (Structure& other : others) {
    const Molecule second(other);
    report.fits.push_back({other.label, least_rms(first, second, options.hydrogens), std::nullopt});
    progress.step();
  }
  return report;
}

PairsReport compare_all(const RmsOptions& options) {
  PairsReport report;
  report.hydrogens = options.hydrogens;
  std::vector<std::string> files = options.files;
  files.insert(files.begin(), options.reference);
  std::vector<Structure> structures = read_all(files);
  check_pairing(structures.front(), structures, report.notes);
  const Ensemble models = make_models(std::move(structures));
  const std::size_t n = models.size();
  const Model& first = models.front();
  report.atoms = static_cast<int>(first.structure.atoms.size());
  report.fitted_atoms = checked_fitted_atoms(first.structure, first.molecule, options.hydrogens);
  report.rms.assign(n, std::vector<float>(n, 0.0F));
  Progress progress("RMS deviations", n * (n - 1) / 2);
  for (std::size_t i = 0; i < n; ++i) {
    report.molecules.push_back(models[i].structure.label);
    for (std::size_t j = i + 1; j < n; ++j) {
      report.rms[i][j] = report.rms[j][i] = least_rms(models[i].molecule, models[j].molecule, options.hydrogens);
      progress.step();
    }
  }
  return report;
}

FitReport superpose_files(const SuperposeOptions& options) {
  std::vector<std::string> inputs = options.moving;
  inputs.push_back(options.reference);
  const WrittenFile output = checked_output("OUT", options.output, options.format, inputs);
  check_writable(output.path);
  Structure reference = read_structure(options.reference);
  std::vector<Structure> others = read_all(options.moving);
  const Molecule first(reference);
  FitReport report = start_fits(reference, first, others, options.hydrogens);
  const Ensemble moving = make_written_models(output, BondSource::Auto, std::move(others), report.written.emplace());
  Progress progress("superposing", moving.size());
  for (const Model& model : moving) {
    Motion motion;
    FitReport::Fit& fit = report.fits.emplace_back();
    fit.molecule = model.structure.label;
    fit.rms = move_onto(first, model.molecule, options.hydrogens, motion);
    if (options.matrix) {
      fit.motion = motion;
    }
    progress.step();
  }
  StagedFiles files;
  write_models(files, output, moving);
  files.commit();
  return report;
}

}  // namespace

void rms(const RmsOptions& options) {
  if (!options.all && options.files.empty()) {
    throw UsageError("rms: FILE or --all is required");
  }
  if (options.all) {
    print_report(compare_all(options), options.print, pairs_text, pairs_json);
  } else {
    print_report(compare(options), options.print, fit_text, fit_json);
  }
}

void superpose(const SuperposeOptions& options) {
  print_report(superpose_files(options), options.print, fit_text, fit_json);
}

}  // namespace nxbrio
