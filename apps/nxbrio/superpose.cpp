// The commands that compare molecules: rms and superpose.
#include <algorithm>
#include <iterator>
#include <tuple>

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

// Notes on the files, and on how their atoms pair.
void add_notes(const Structure& reference, const std::vector<Structure>& others, const FitOptions& options,
               std::vector<std::string>& notes) {
  if (options.match == Match::Order) {
    check_pairing(reference, others, notes);
    return;
  }
  for (const Structure& other : others) {
    for (const std::string& note : other.notes) {
      add_note(other, note, notes);
    }
  }
}

// Starts the report of rms and superpose: the reference, and how the others pair with it.
FitReport start_fits(const Structure& reference, const std::vector<Structure>& others, const FitOptions& options) {
  FitReport report;
  report.options = options;
  report.reference = reference.label;
  for (const std::string& note : reference.notes) {
    add_note(reference, note, report.notes);
  }
  add_notes(reference, others, options, report.notes);
  report.atoms = static_cast<int>(reference.atoms.size());
  return report;
}

// The RMS deviation of two structures, and the number of pairs.
std::pair<float, int> compared(const Structure& first, const Structure& second, const FitOptions& options) {
  const Pairs pairs = matched(first, second, options);
  Motion ignored;
  const float rms = options.in_place ? rms_in_place(first, second, pairs) : least_rms(first, second, pairs, ignored);
  return {rms, static_cast<int>(pairs.size())};
}

FitReport compare(const RmsOptions& options) {
  const Structure reference = read_structure(options.reference);
  const std::vector<Structure> others = read_all(options.files);
  const Molecule first(reference);
  FitReport report = start_fits(reference, others, options.fit);
  const int all = options.fit.is_plain() ? checked_fitted_atoms(reference, first, options.fit.hydrogens) : 0;
  Progress progress("RMS deviations", others.size());
  for (const Structure& other : others) {
    FitReport::Fit& fit = report.fits.emplace_back();
    fit.molecule = other.label;
    if (options.fit.is_plain()) {
      fit.rms = least_rms(first, Molecule(other), options.fit.hydrogens);
      fit.pairs = all;
    } else {
      std::tie(fit.rms, fit.pairs) = compared(reference, other, options.fit);
    }
    progress.step();
  }
  return report;
}

PairsReport compare_all(const RmsOptions& options) {
  PairsReport report;
  report.options = options.fit;
  std::vector<std::string> files = options.files;
  files.insert(files.begin(), options.reference);
  std::vector<Structure> structures = read_all(files);
  add_notes(structures.front(), structures, options.fit, report.notes);
  const Ensemble models = make_models(std::move(structures));
  const std::size_t n = models.size();
  const Model& first = models.front();
  report.atoms = static_cast<int>(first.structure.atoms.size());
  const int all =
      options.fit.is_plain() ? checked_fitted_atoms(first.structure, first.molecule, options.fit.hydrogens) : 0;
  report.rms.assign(n, std::vector<float>(n, 0.0F));
  report.pairs.assign(n, std::vector<int>(n, all));
  Progress progress("RMS deviations", n * (n - 1) / 2);
  for (std::size_t i = 0; i < n; ++i) {
    report.molecules.push_back(models[i].structure.label);
    if (!options.fit.is_plain()) {
      report.pairs[i][i] = static_cast<int>(matched(models[i].structure, models[i].structure, options.fit).size());
    }
    for (std::size_t j = i + 1; j < n; ++j) {
      if (options.fit.is_plain()) {
        report.rms[i][j] = least_rms(models[i].molecule, models[j].molecule, options.fit.hydrogens);
      } else {
        std::tie(report.rms[i][j], report.pairs[i][j]) =
            compared(models[i].structure, models[j].structure, options.fit);
      }
      report.rms[j][i] = report.rms[i][j];
      report.pairs[j][i] = report.pairs[i][j];
      progress.step();
    }
  }
  return report;
}

// Moves a structure onto the reference by the pairs that take part.
void fit_pairs(const Structure& reference, Structure& moving, const FitOptions& options, FitReport::Fit& fit) {
  const Pairs pairs = matched(reference, moving, options);
  fit.pairs = static_cast<int>(pairs.size());
  fit.rms_before = rms_in_place(reference, moving, pairs);
  fit.motion.emplace();
  fit.rms = least_rms(reference, moving, pairs, *fit.motion);
  apply_motion(*fit.motion, moving);
}

FitReport superpose_files(const SuperposeOptions& options) {
  std::vector<std::string> inputs = options.moving;
  inputs.push_back(options.reference);
  const WrittenFile output = checked_output("OUT", options.output, options.format, inputs);
  check_writable(output.path);
  const Structure reference = read_structure(options.reference);
  std::vector<Structure> others = read_all(options.moving);
  const Molecule first(reference);
  FitReport report = start_fits(reference, others, options.fit);
  const bool plain = options.fit.is_plain();
  const int all = plain ? checked_fitted_atoms(reference, first, options.fit.hydrogens) : 0;
  Progress progress("superposing", others.size());
  for (Structure& other : others) {
    FitReport::Fit& fit = report.fits.emplace_back();
    fit.molecule = other.label;
    if (plain) {
      fit.pairs = all;
      fit.rms_before = rms_in_place(reference, other, matched(reference, other, options.fit));
    } else {
      fit_pairs(reference, other, options.fit, fit);
      progress.step();
    }
  }
  const Ensemble moving = make_written_models(output, BondSource::Auto, std::move(others), report.written.emplace());
  for (std::size_t k = 0; plain && k < moving.size(); ++k) {
    FitReport::Fit& fit = report.fits[k];
    fit.rms = move_onto(first, moving[k].molecule, options.fit.hydrogens, fit.motion.emplace());
    progress.step();
  }
  if (!options.matrix) {
    for (FitReport::Fit& fit : report.fits) {
      fit.motion.reset();
    }
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
