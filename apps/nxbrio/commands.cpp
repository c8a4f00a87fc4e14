#include "commands.h"

#include <cmath>
#include <cstdio>

#include "failure.h"
#include "formula.h"
#include "molecule.h"
#include "nxbriofiles/text.h"
#include "output.h"
#include "report.h"

namespace nxbrio {
namespace {

// Vacuum, the inside of a protein, water.
constexpr float kUsualDielectrics[] = {1.0F, 4.0F, 80.0F};

std::vector<float> parse_dielectrics(const BindOptions& options) {
  const std::string option = "--dielectric";
  Formulas formulas;
  for (const std::string& path : options.parameters) {
    formulas.read_parameters(path);
  }
  std::vector<float> dielectrics;
  for (const std::string& text : options.dielectrics) {
    dielectrics.push_back(formulas.positive_value(option, text));
  }
  forget_variables();
  if (dielectrics.empty()) {
    dielectrics.assign(std::begin(kUsualDielectrics), std::end(kUsualDielectrics));
  }
  return dielectrics;
}

// The output files, checked before any work is done.
std::vector<WrittenFile> check_outputs(const BindOptions& options) {
  std::vector<std::string> inputs = options.parameters;
  inputs.insert(inputs.end(), {options.target, options.ligand});
  std::vector<WrittenFile> outputs;
  for (const std::string& path : options.outputs) {
    refuse_written("--write", path, outputs);
    outputs.push_back(checked_output("--write", path, std::nullopt, inputs));
  }
  for (const WrittenFile& output : outputs) {
    check_writable(output.path);
  }
  return outputs;
}

// Does the job; the molecules are deleted on return, before the report is printed.
BindReport bind_molecules(const BindOptions& options) {
  const std::vector<float> dielectrics = parse_dielectrics(options);
  BindReport report;
  report.written = check_outputs(options);
  Structure target = read_structure(options.target, {"--target-select", options.target_select});
  Structure ligand = read_structure(options.ligand, {"--ligand-select", options.ligand_select});
  const Molecule target_molecule(target);
  const Molecule ligand_molecule(ligand);
  if (options.orient) {
    report.orientation = orient_molecule(target_molecule, {});
    move_along(target_molecule, ligand_molecule);
    take_positions(target_molecule, target);
    take_positions(ligand_molecule, ligand);
  }
  for (const float dielectric : dielectrics) {
    const float energy = binding_energy(target_molecule, ligand_molecule, dielectric);
    if (!std::isfinite(energy)) {
      throw Failure(formatted("the energy at dielectric %g is too large to be told", static_cast<double>(dielectric)));
    }
    report.energies.push_back({dielectric, energy});
  }
  report.coincident_pairs = coincident_pairs(target, ligand);
  report.target = summarise(target, target_molecule);
  report.ligand = summarise(ligand, ligand_molecule);
  if (!report.written.empty()) {
    StagedFiles files;
    report.notes = write_complex(files, report.written, target, ligand);
    files.commit();
  }
  return report;
}

}  // namespace

void bind(const BindOptions& options) { print_report(bind_molecules(options), options.json, bind_text, bind_json); }

void info(const InfoOptions& options) {
  Summary summary;
  {
    Structure structure = read_structure(options.file, {"--select", options.select});
    const Molecule molecule(structure);
    summary = summarise(structure, molecule);
  }
  print_report(summary, options.json, info_text, info_json);
}

}  // namespace nxbrio
