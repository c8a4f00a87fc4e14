// The commands on principal frames: orient and moments.
#include <algorithm>
#include <cmath>

#include "commands.h"
#include "failure.h"
#include "geometry_report.h"
#include "nxbriofiles/text.h"
#include "progress.h"
#include "report.h"

namespace nxbrio {
namespace {

// OUT, then the output of each --with.
std::vector<WrittenFile> check_outputs(const OrientOptions& options) {
  std::vector<std::string> inputs{options.input};
  for (const auto& [in, out] : options.with) {
    inputs.push_back(in);
  }
  std::vector<WrittenFile> outputs{checked_output("OUT", options.output, options.format, inputs)};
  for (const auto& [in, out] : options.with) {
    refuse_written("--with", out, outputs);
    outputs.push_back(checked_output("--with", out, options.format, inputs));
  }
  for (const WrittenFile& output : outputs) {
    check_writable(output.path);
  }
  return outputs;
}

// Reads a structure that moves along with `leader`. A leader of several models needs as many followers.
std::vector<Structure> read_followers(const std::string& path, const std::string& leader, std::size_t leaders) {
  std::vector<Structure> followers = read_models(path);
  if (leaders != 1 && leaders != followers.size()) {
    throw Failure(
        path, formatted("as many models as in %s are needed, %zu, not %zu", leader.c_str(), leaders, followers.size()));
  }
  return followers;
}

OrientReport orient_file(const OrientOptions& options) {
  OrientReport report;
  report.file = options.input;
  report.choice = options.choice;
  const std::vector<WrittenFile> outputs = check_outputs(options);
  std::vector<Structure> structures = read_models(options.input, {"--select", options.select});
  report.notes = notes_of(structures);
  std::vector<std::vector<Structure>> followers;
  for (const auto& [in, out] : options.with) {
    followers.push_back(read_followers(in, options.input, structures.size()));
  }
  const Ensemble leaders =
      make_written_models(outputs.front(), BondSource::Auto, std::move(structures), report.written);
  Progress progress("orienting", leaders.size());
  for (const Model& leader : leaders) {
    report.models.push_back({leader.structure.model, orient_molecule(leader.molecule, options.choice)});
    progress.step();
  }
  StagedFiles files;
  write_models(files, outputs.front(), leaders);
  for (std::size_t k = 0; k < followers.size(); ++k) {
    auto& [from, written] = report.along.emplace_back(options.with[k].first, Written{});
    const Ensemble moved = make_written_models(outputs[k + 1], BondSource::Auto, std::move(followers[k]), written);
    for (std::size_t i = 0; i < moved.size(); ++i) {
      move_along(leaders[leaders.size() == 1 ? 0 : i].molecule, moved[i].molecule);
    }
    write_models(files, outputs[k + 1], moved);
  }
  files.commit();
  return report;
}

float parse_tolerance(const MomentsOptions& options) {
  constexpr float kUsualTolerance = 0.01F;
  if (!options.tolerance) {
    return kUsualTolerance;
  }
  std::string fault;
  const std::optional<float> value = parse_real(*options.tolerance, fault);
  if (!value || *value <= 0.0F) {
    throw UsageError("--tolerance: " + in_quotes(*options.tolerance) + " is not a finite number above 0");
  }
  return *value;
}

MomentsReport find_moments(const MomentsOptions& options) {
  MomentsReport report;
  report.tolerance = parse_tolerance(options);
  report.file = options.file;
  Structure structure = read_structure(options.file, {"--select", options.select});
  report.notes = structure.notes;
  const Molecule molecule(structure);
  for (const FrameChoice choice :
       {FrameChoice{false, false}, FrameChoice{false, true}, FrameChoice{true, false}, FrameChoice{true, true}}) {
    MomentsRow& row = report.rows.emplace_back();
    row.choice = choice;
    row.moments = principal_moments(molecule, choice);
    if (!std::all_of(row.moments.begin(), row.moments.end(), [](float moment) { return std::isfinite(moment); })) {
      throw Failure(options.file, "moments are beyond single precision: coordinates or radii are too large");
    }
    row.top_symmetry = top_symmetry(molecule, choice, report.tolerance);
    row.top_name = top_name(row.top_symmetry, row.moments);
  }
  return report;
}

}  // namespace

void orient(const OrientOptions& options) {
  print_report(orient_file(options), options.print, orient_text, orient_json);
}

void moments(const MomentsOptions& options) {
  print_report(find_moments(options), options.print, moments_text, moments_json);
}

}  // namespace nxbrio
