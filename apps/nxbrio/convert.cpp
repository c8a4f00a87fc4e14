// The command that writes a structure file in another format.
#include <algorithm>

#include "commands.h"
#include "failure.h"
#include "formula.h"
#include "models.h"
#include "molecule.h"
#include "nxbriofiles/text.h"
#include "output.h"
#include "report.h"
#include "structure.h"

namespace nxbrio {
namespace {

std::optional<Transform> parse_transform(const ConvertOptions& options) {
  const std::string option = "--transform";
  Formulas formulas;
  for (const std::string& path : options.parameters) {
    formulas.read_parameters(path);
  }
  const std::vector<float> values =
      options.transform ? formulas.values(option, *options.transform) : std::vector<float>{};
  forget_variables();
  if (!options.transform) {
    return std::nullopt;
  }
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
  return checked_output("OUT", options.output, options.format, inputs);
}

// Reads all models, or the one that --model names.
std::vector<Structure> read_wanted(const ConvertOptions& options, ConvertReport& report) {
  std::vector<Structure> models = read_models(options.input, {"--select", options.select});
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

void summarise_input(const std::vector<Structure>& structures, ConvertReport& report) {
  const Structure& first = structures.front();
  report.file = first.path;
  report.format = first.format;
  report.charge_source = charge_source(first);
  report.radius_source = radius_source(first);
  report.notes = notes_of(structures);
  for (const Structure& structure : structures) {
    report.models.push_back(structure.model);
    report.bonds_given += static_cast<long long>(structure.bonds.size());
  }
}

// Does the job; the molecules are deleted on return, before the report is printed.
ConvertReport convert_file(const ConvertOptions& options) {
  ConvertReport report;
  const WrittenFile output = check_output(options);
  report.transform = parse_transform(options);
  check_writable(options.output);
  std::vector<Structure> structures = read_wanted(options, report);
  summarise_input(structures, report);
  const Ensemble models = make_written_models(output, options.bonds, std::move(structures), report.written);
  if (report.transform) {
    for (const Model& model : models) {
      apply_transform(*report.transform, model.molecule);
    }
  }
  StagedFiles files;
  write_models(files, output, models);
  files.commit();
  return report;
}

}  // namespace

void convert(const ConvertOptions& options) {
  print_report(convert_file(options), options.print, convert_text, convert_json);
}

}  // namespace nxbrio
