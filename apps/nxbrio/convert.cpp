// The command that writes a structure file in another format.
#include <algorithm>
#include <cmath>
#include <deque>

#include "commands.h"
#include "failure.h"
#include "formula.h"
#include "molecule.h"
#include "output.h"
#include "report.h"
#include "structure.h"
#include "text.h"

namespace nxbrio {
namespace {

std::optional<Transform> parse_transform(const ConvertOptions& options) {
  const std::string option = "--transform";
  Formulas formulas;
  for (const std::string& path : options.parameters) {
    formulas.read_parameters(path);
  }
  if (!options.transform) {
    return std::nullopt;
  }
  const std::vector<float> values = formulas.values(option, *options.transform);
  Transform transform{};
  if (values.size() != transform.size()) {
    throw UsageError(option + formatted(": 7 values are needed, a b c d tx ty tz, not %zu", values.size()));
  }
  std::copy(values.begin(), values.end(), transform.begin());
  if (std::all_of(transform.begin(), transform.begin() + 4, [](float value) { return value == 0.0F; })) {
    throw UsageError(option + ": a quaternion of length 0");
  }
  return transform;
}

WrittenFile check_output(const ConvertOptions& options) {
  std::vector<std::string> inputs = options.parameters;
  inputs.push_back(options.input);
  const std::string format =
      options.format ? checked_format("--format", *options.format) : format_by_ending("OUT", options.output);
  refuse_inputs("OUT", options.output, inputs);
  return {options.output, format};
}

// The models that are wanted.
std::vector<Structure> read_wanted(const ConvertOptions& options, ConvertReport& report) {
  std::vector<Structure> models = read_models(options.input);
  report.models_in_file = models.size();
  if (options.model) {
    const auto at = std::find_if(models.begin(), models.end(),
                                 [&](const Structure& model) { return model.model == *options.model; });
    if (at == models.end()) {
      throw Failure(options.input, formatted("no model %d", *options.model));
    }
    std::vector<Structure> wanted;
    wanted.push_back(std::move(*at));
    return wanted;
  }
  return models;
}

// Whether the bonds are to come from distances too.
bool needs_distances(const ConvertOptions& options, const std::string& format, const std::vector<Structure>& models) {
  if (options.bonds != BondSource::Auto) {
    return options.bonds == BondSource::Distance;
  }
  return format_needs_bonds(format) && !std::all_of(models.begin(), models.end(), bonds_are_complete);
}

const char* bond_source(const ConvertOptions& options, bool distances, const ConvertReport& report) {
  const bool from_file = options.bonds != BondSource::Distance && report.bonds_given > 0;
  if (distances) {
    return from_file ? "file and distances" : "distances";
  }
  return from_file ? "file" : "none given";
}

void write(const WrittenFile& file, const std::deque<Molecule>& molecules) {
  if (molecules.size() == 1) {
    write_molecule(file, molecules.front().handle());
    return;
  }
  const MoleculeList list;
  for (const Molecule& molecule : molecules) {
    list.add(molecule);
  }
  write_list(file, list.handle());
}

void summarise_input(const std::vector<Structure>& models, ConvertReport& report) {
  const Structure& first = models.front();
  report.file = first.path;
  report.format = first.format;
  report.charge_source = charge_source(first);
  report.radius_source = radius_source(first);
  for (const Structure& model : models) {
    report.models.push_back(model.model);
    report.atoms += static_cast<long long>(model.atoms.size());
    report.bonds_given += static_cast<long long>(model.bonds.size());
    // Most models of a file have the same to say.
    for (const std::string& note : model.notes) {
      if (std::find(report.notes.begin(), report.notes.end(), note) == report.notes.end()) {
        report.notes.push_back(note);
      }
    }
  }
}

// The report without what the library says once the molecules are gone.
ConvertReport convert_file(const ConvertOptions& options) {
  ConvertReport report;
  report.written = check_output(options);
  report.transform = parse_transform(options);
  check_writable(options.output);
  std::vector<Structure> models = read_wanted(options, report);
  summarise_input(models, report);

  const bool distances = needs_distances(options, report.written.format, models);
  const bool held = format_holds_bonds(report.written.format);
  report.bond_source = held ? bond_source(options, distances, report) : "not in this format";
  std::deque<Molecule> molecules;
  for (Structure& model : models) {
    if (models.size() > 1) {
      model.name += formatted(" model %d", model.model);
    }
    if (options.bonds == BondSource::Distance) {
      model.bonds.clear();
    }
    const Molecule& molecule = molecules.emplace_back(model);
    if (distances) {
      make_bonds_by_distance(molecule);
    }
    report.bonds_written += held ? bond_number(molecule) : 0;
    if (report.transform) {
      apply_transform(*report.transform, molecule);
    }
  }
  write(report.written, molecules);
  return report;
}

}  // namespace

void convert(const ConvertOptions& options) {
  const ConvertReport report = convert_file(options);
  if (options.json) {
    print_report(convert_json(report));
  } else {
    print_report(convert_text(report));
  }
}

}  // namespace nxbrio
