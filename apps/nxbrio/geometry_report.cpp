#include "geometry_report.h"

#include "nxbriofiles/text.h"
#include "report.h"
#include "table.h"

namespace nxbrio {
namespace {

using nlohmann::ordered_json;

constexpr const char* kMotionText = "  An atom at x goes to R x + t. Row i of R is the new axis i in the old frame.\n";

// Formats a number; a zero has no sign.
std::string number(float value, const char* format = "%.4f") {
  return formatted(format, static_cast<double>(value) + 0.0);
}

std::string atoms_text(bool hydrogens) { return hydrogens ? "with hydrogens" : "without hydrogens"; }

// A row for each axis: first the text of `lead`, then the motion's row of R and component of t.
template <class Lead>
void add_motion(std::vector<Row>& rows, const std::string& label, const Motion& motion, Lead lead) {
  for (std::size_t i = 0; i < 3; ++i) {
    std::string r;
    for (std::size_t j = 0; j < 3; ++j) {
      r += number(motion.rotation[3 * i + j], "%10.6f");
    }
    const char axis = "xyz"[i];
    rows.emplace_back(label + (label.empty() ? "" : " ") + axis,
                      std::vector<std::string>{lead(i), r, number(motion.translation[i])});
  }
}

ordered_json choice_json(FrameChoice choice) {
  return {{"hydrogens", choice.hydrogens}, {"weighted", choice.weighted}};
}

const char* moment_unit(FrameChoice choice) { return choice.weighted ? "A^2.5" : "A"; }

std::string counted(std::size_t n, const char* what) { return std::to_string(n) + ' ' + what + (n == 1 ? "" : "s"); }

// The table of models, of which there is at least one.
std::string orientations_text(const std::vector<OrientedModel>& models) {
  std::vector<Row> rows{
      {"",
       {"moment, " + std::string(moment_unit(models.front().orientation.choice)), "rotation R", "translation t, A"}}};
  for (const OrientedModel& model : models) {
    add_motion(rows, models.size() > 1 ? formatted("model %d", model.model) : "", model.orientation.motion,
               [&](std::size_t i) { return number(model.orientation.moments[i]); });
  }
  return table(rows) + kMotionText;
}

const char* match_word(Match match) {
  return match == Match::Order ? "order" : match == Match::Names ? "names" : "residues";
}

// How molecules are compared, and over how many pairs where that is the same for all.
std::string fitted_text(const FitOptions& options, std::optional<int> pairs, int atoms) {
  std::string text = options.in_place ? "RMS deviation in place" : "least RMS deviation over proper rotations";
  text.append(", ").append(atoms_text(options.hydrogens));
  if (options.match != Match::Order) {
    text.append(", atoms paired by ").append(match_word(options.match));
  }
  if (options.select) {
    text.append(", of ").append(in_quotes(*options.select));
  }
  return text + (pairs ? formatted(": %d of %d atoms", *pairs, atoms) : formatted(", of %d atoms", atoms));
}

ordered_json fitted_json(const char* command, const FitOptions& options, int atoms) {
  ordered_json json{{"command", command},
                    {"match", match_word(options.match)},
                    {"in_place", options.in_place},
                    {"hydrogens", options.hydrogens},
                    {"select", nullptr},
                    {"atoms", atoms}};
  if (options.select) {
    json["select"] = *options.select;
  }
  return json;
}

}  // namespace

std::string written_text(const std::string& from, const Written& written) {
  return "  " + from + " to " + written.file.path + " (" + written.file.format +
         "): " + counted(written.models, "model") + ", " + counted(static_cast<std::size_t>(written.atoms), "atom") +
         ", " + counted(static_cast<std::size_t>(written.bonds), "bond") + " (" + written.bond_source + ")\n";
}

ordered_json motion_json(const Motion& motion) {
  auto json = ordered_json::object();
  json["rotation"] = ordered_json::array();
  for (std::size_t i = 0; i < 3; ++i) {
    json["rotation"].push_back(
        decimals({motion.rotation[3 * i], motion.rotation[3 * i + 1], motion.rotation[3 * i + 2]}));
  }
  json["translation_A"] = decimals(motion.translation);
  return json;
}

std::string orientation_text(const Orientation& orientation) { return orientations_text({{1, orientation}}); }

ordered_json orientation_json(const Orientation& orientation) {
  ordered_json json = choice_json(orientation.choice);
  json["moments"] = decimals(orientation.moments);
  json["moment_unit"] = moment_unit(orientation.choice);
  json.update(motion_json(orientation.motion));
  return json;
}

std::string orient_text(const OrientReport& report) {
  std::string text = report.file + " in its principal frame, " + atoms_text(report.choice.hydrogens) +
                     (report.choice.weighted ? ", weighted by radius cubed" : "") +
                     (report.models.size() > 1 ? ", each model by itself" : "") + "\n\n" +
                     orientations_text(report.models) + "\n" + written_text(report.file, report.written);
  for (const auto& [from, written] : report.along) {
    text += written_text(from, written);
  }
  return text + notes_text("", report.notes);
}

ordered_json orient_json(const OrientReport& report) {
  auto json = ordered_json::object();
  json["command"] = "orient";
  json["file"] = report.file;
  json["models"] = ordered_json::array();
  for (const OrientedModel& model : report.models) {
    ordered_json one{{"model", model.model}};
    one.update(orientation_json(model.orientation));
    json["models"].push_back(std::move(one));
  }
  json["written"] = written_json(report.written);
  json["along"] = ordered_json::array();
  for (const auto& [from, written] : report.along) {
    json["along"].push_back({{"file", from}, {"written", written_json(written)}});
  }
  json["notes"] = report.notes;
  return json;
}

std::string moments_text(const MomentsReport& report) {
  std::vector<Row> rows{{"", {"m1", "m2", "m3", "unit", "top"}}};
  for (const MomentsRow& row : report.rows) {
    rows.push_back({atoms_text(row.choice.hydrogens) + (row.choice.weighted ? ", weighted" : ""),
                    {number(row.moments[0]), number(row.moments[1]), number(row.moments[2]), moment_unit(row.choice),
                     row.top_name}});
  }
  return report.file + "\n\n" + table(rows) +
         "  Moments: root mean square extents along the principal axes, largest first; not moments of inertia, of "
         "which\n"
         "  the largest is about the axis of the smallest extent. Weighted: each atom counts by its radius cubed.\n" +
         formatted(
             "  Top: moments within a fraction of %g count as equal. Oblate: the two large ones are, as in a disc;\n"
             "  prolate: the two small ones, as in a rod; spherical: all three; asymmetric: none. Linear: m2 below m1 "
             "/ 1000.\n",
             decimal(report.tolerance)) +
         notes_text("", report.notes);
}

ordered_json moments_json(const MomentsReport& report) {
  auto json = ordered_json::object();
  json["command"] = "moments";
  json["file"] = report.file;
  json["tolerance"] = decimal(report.tolerance);
  json["moments"] = ordered_json::array();
  for (const MomentsRow& row : report.rows) {
    ordered_json one = choice_json(row.choice);
    one["moments"] = decimals(row.moments);
    one["unit"] = moment_unit(row.choice);
    one["top_symmetry"] = row.top_symmetry;
    one["top"] = row.top_name;
    json["moments"].push_back(std::move(one));
  }
  json["notes"] = report.notes;
  return json;
}

std::string fit_text(const FitReport& report) {
  const bool moved = report.written.has_value();
  std::vector<Row> rows{{"", {"RMS, A"}}};
  if (moved) {
    rows.front().second.emplace_back("before, A");
  }
  rows.front().second.emplace_back("pairs");
  for (const FitReport::Fit& fit : report.fits) {
    rows.push_back({fit.molecule, {number(fit.rms)}});
    if (moved) {
      rows.back().second.push_back(number(fit.rms_before.value_or(0.0F)));
    }
    rows.back().second.push_back(std::to_string(fit.pairs));
  }
  std::string text =
      report.reference + ": " + fitted_text(report.options, std::nullopt, report.atoms) + "\n\n" + table(rows);
  if (!report.fits.empty() && report.fits.front().motion) {
    rows.assign(1, {"", {"", "rotation R", "translation t, A"}});
    for (const FitReport::Fit& fit : report.fits) {
      add_motion(rows, fit.molecule, *fit.motion, [](std::size_t) { return ""; });
    }
    text += "\n" + table(rows) + "  An atom at x goes to R x + t, onto the reference.\n";
  }
  if (report.written) {
    text += "\n" + written_text("moved", *report.written);
  }
  return text + notes_text("", report.notes);
}

ordered_json fit_json(const FitReport& report) {
  ordered_json json = fitted_json(report.written ? "superpose" : "rms", report.options, report.atoms);
  json["reference"] = report.reference;
  json["fits"] = ordered_json::array();
  for (const FitReport::Fit& fit : report.fits) {
    ordered_json one{{"molecule", fit.molecule}, {"rms_A", decimal(fit.rms)}, {"pairs", fit.pairs}};
    if (fit.rms_before) {
      one["rms_before_A"] = decimal(*fit.rms_before);
    }
    if (fit.motion) {
      one.update(motion_json(*fit.motion));
    }
    json["fits"].push_back(std::move(one));
  }
  if (report.written) {
    json["written"] = written_json(*report.written);
  }
  json["notes"] = report.notes;
  return json;
}

namespace {

// The number of pairs where it is the same for all comparisons.
std::optional<int> all_alike(const std::vector<std::vector<int>>& pairs) {
  const int first = pairs.front().back();
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (pairs[i][j] != first) {
        return std::nullopt;
      }
    }
  }
  return first;
}

}  // namespace

std::string pairs_text(const PairsReport& report) {
  std::vector<Row> rows{{"", {}}};
  for (std::size_t i = 0; i < report.molecules.size(); ++i) {
    rows.front().second.push_back(std::to_string(i + 1));
    std::vector<std::string> cells;
    for (const float value : report.rms[i]) {
      cells.push_back(number(value));
    }
    rows.emplace_back(std::to_string(i + 1) + "  " + report.molecules[i], std::move(cells));
  }
  return "All pairs, in angstrom: " + fitted_text(report.options, all_alike(report.pairs), report.atoms) + "\n\n" +
         table(rows) + notes_text("", report.notes);
}

ordered_json pairs_json(const PairsReport& report) {
  ordered_json json = fitted_json("rms", report.options, report.atoms);
  json["pairs"] = report.pairs;
  json["molecules"] = report.molecules;
  json["rms_A"] = ordered_json::array();
  for (const std::vector<float>& row : report.rms) {
    ordered_json values = ordered_json::array();
    for (const float value : row) {
      values.push_back(decimal(value));
    }
    json["rms_A"].push_back(std::move(values));
  }
  json["notes"] = report.notes;
  return json;
}

}  // namespace nxbrio
