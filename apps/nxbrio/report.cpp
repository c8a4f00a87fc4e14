#include "report.h"

#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <cmath>

#include "nxbriofiles/text.h"
#include "table.h"

namespace nxbrio {
namespace {

// Two elementary charges 1 angstrom apart, from CODATA 2018: e^2 N_A / (4 pi epsilon_0 * 1e-10 m) in kcal/mol.
constexpr double kCoulombKcal = 332.063713;
// Gas constant in kcal/(mol K).
constexpr double kGasConstant = 0.00198720426;
// Debye per elementary charge and angstrom.
constexpr double kDebye = 4.80320471;

double length(const std::array<float, 3>& v) {
  return std::hypot(static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2]));
}

// The dipole moment about the charge centre, e * angstrom: the smaller of the two totals times the vector between the
// centres. About its own centre the larger total has no moment.
double moment(const Summary& summary) {
  return std::min(summary.positive_charge, -summary.negative_charge) * length(summary.dipole);
}

// Rounded to the precision of its floats.
double as_single(double value) { return decimal(static_cast<float>(value)); }

std::string vector_text(const std::array<float, 3>& v) {
  return formatted("%9.3f %9.3f %9.3f", static_cast<double>(v[0]), static_cast<double>(v[1]),
                   static_cast<double>(v[2]));
}

std::string chains_text(const Summary& summary) {
  constexpr std::size_t kMostShown = 20;
  const std::size_t count = summary.chains.size();
  std::string text;
  for (std::size_t k = 0; k < std::min(count, kMostShown); ++k) {
    const char chain = summary.chains[k];
    text.append(text.empty() ? "" : " ").append(chain == ' ' ? "(blank)" : std::string(1, chain));
  }
  return count > kMostShown ? text + formatted(" ... (%zu)", count) : text;
}

// The rows that bind and info share, one column per molecule.
std::vector<Row> molecule_rows(const std::vector<const Summary*>& molecules) {
  std::vector<Row> rows;
  const auto add = [&](const char* label, const auto& cell) {
    std::vector<std::string> cells;
    cells.reserve(molecules.size());
    for (const Summary* summary : molecules) {
      cells.push_back(cell(*summary));
    }
    rows.emplace_back(label, std::move(cells));
  };
  add("atoms", [](const Summary& s) { return std::to_string(s.atoms); });
  add("residues", [](const Summary& s) { return std::to_string(s.residues); });
  add("chains", chains_text);
  add("bonds given", [](const Summary& s) { return std::to_string(s.bonds); });
  add("charges from", [](const Summary& s) { return s.charge_source; });
  add("radii from", [](const Summary& s) { return s.radius_source; });
  add("net charge, e", [](const Summary& s) { return formatted("%.4f", s.net_charge); });
  add("monopole, e", [](const Summary& s) { return formatted("%.4f", s.monopole); });
  add("charge centre, A", [](const Summary& s) { return vector_text(s.charge_centre); });
  add("dipole, A", [](const Summary& s) { return vector_text(s.dipole); });
  add("its length, A", [](const Summary& s) { return formatted("%.3f", length(s.dipole)); });
  add("dipole moment, D", [](const Summary& s) { return formatted("%.2f", moment(s) * kDebye); });
  return rows;
}

}  // namespace

double kcal_per_unit() { return kCoulombKcal / static_cast<double>(DFactor2); }
double kj_per_unit() { return kcal_per_unit() * kKilojoulePerKilocalorie; }

nlohmann::ordered_json energy_unit_json() {
  return {
      {"dfactor2", static_cast<double>(DFactor2)}, {"kcal_per_mol", kcal_per_unit()}, {"kJ_per_mol", kj_per_unit()}};
}

// Starts as an object: nlohmann's destructor crashes on a null value that ran out of memory while it became one.
nlohmann::ordered_json summary_json(const Summary& summary) {
  auto json = nlohmann::ordered_json::object();
  json["file"] = summary.file;
  json["name"] = summary.name;
  json["format"] = summary.format;
  json["atoms"] = summary.atoms;
  json["residues"] = summary.residues;
  json["chains"] = nlohmann::ordered_json::array();
  for (const char chain : summary.chains) {
    json["chains"].push_back(std::string(1, chain));
  }
  json["bonds"] = summary.bonds;
  json["charges_from"] = summary.charge_source;
  json["radii_from"] = summary.radius_source;
  json["net_charge_e"] = as_single(summary.net_charge);
  json["positive_charge_e"] = as_single(summary.positive_charge);
  json["negative_charge_e"] = as_single(summary.negative_charge);
  json["monopole_e"] = as_single(summary.monopole);
  json["charge_centre_A"] = decimals(summary.charge_centre);
  json["dipole_A"] = decimals(summary.dipole);
  json["dipole_moment_D"] = as_single(moment(summary) * kDebye);
  json["composition"] = nlohmann::ordered_json::object();
  for (const auto& [symbol, count] : summary.composition) {
    json["composition"][symbol] = count;
  }
  json["low_A"] = decimals(summary.low);
  json["high_A"] = decimals(summary.high);
  json["radii_A"] = {decimal(summary.smallest_radius), decimal(summary.largest_radius)};
  json["notes"] = summary.notes;
  return json;
}

std::string library_unit_text() {
  return formatted("  1 library unit = %.6f kcal/mol = %.6f kJ/mol = kT at %.1f K; it is set by DFactor2 = %.3f:\n",
                   kcal_per_unit(), kj_per_unit(), kcal_per_unit() / kGasConstant, static_cast<double>(DFactor2)) +
         "  energy = DFactor2 / dielectric * sum of q q / r, in elementary charges and angstrom.\n";
}

std::vector<Row> named_molecule_rows(const std::vector<const Summary*>& molecules) {
  std::vector<Row> rows = molecule_rows(molecules);
  Row names{"molecule", {}};
  for (const Summary* const summary : molecules) {
    names.second.push_back(summary->name);
  }
  rows.insert(rows.begin(), std::move(names));
  return rows;
}

std::string info_text(const Summary& summary) {
  std::string composition;
  for (const auto& [symbol, count] : summary.composition) {
    composition += (composition.empty() ? "" : " ") + symbol + std::to_string(count);
  }
  const auto middle = [&](std::size_t i) { return (summary.low[i] + summary.high[i]) / 2; };
  std::vector<Row> rows{{"molecule", {summary.name}}, {"composition", {composition}}};
  for (Row& row : molecule_rows({&summary})) {
    rows.push_back(std::move(row));
  }
  rows.push_back({"lowest x y z, A", {vector_text(summary.low)}});
  rows.push_back({"highest x y z, A", {vector_text(summary.high)}});
  rows.push_back({"middle, A", {vector_text({middle(0), middle(1), middle(2)})}});
  rows.push_back({"radii, A",
                  {formatted("%.3f to %.3f", static_cast<double>(summary.smallest_radius),
                             static_cast<double>(summary.largest_radius))}});
  return summary.file + " (" + summary.format + ")\n\n" + table(rows) + kMultipoleText + notes_text("", summary.notes);
}

nlohmann::ordered_json info_json(const Summary& summary) {
  auto json = nlohmann::ordered_json::object();
  json["command"] = "info";
  json.update(summary_json(summary));
  return json;
}

nlohmann::ordered_json written_json(const Written& written) {
  return {{"file", written.file.path}, {"format", written.file.format}, {"models", written.models},
          {"atoms", written.atoms},    {"bonds", written.bonds},        {"bonds_from", written.bond_source}};
}

std::string convert_text(const ConvertReport& report) {
  std::string models = std::to_string(report.models.size());
  if (report.models.size() < report.models_in_file) {
    models += formatted(" (number %d)", report.models.front());
  }
  const auto count = [](auto n) { return std::to_string(n); };
  std::string text = report.file + " to " + report.written.file.path + "\n\n";
  text += table({{"", {"read", "written"}},
                 {"format", {report.format, report.written.file.format}},
                 {"models", {count(report.models_in_file), models}},
                 {"atoms", {count(report.written.atoms), count(report.written.atoms)}},
                 {"bonds", {count(report.bonds_given), count(report.written.bonds)}},
                 {"bonds from", {"", report.written.bond_source}},
                 {"charges from", {"", report.charge_source}},
                 {"radii from", {"", report.radius_source}}});
  if (report.transform) {
    text += "  Transformed by the quaternion";
    for (std::size_t i = 0; i < report.transform->size(); ++i) {
      text += formatted(i == 4 ? " and the translation %g" : " %g", decimal((*report.transform)[i]));
    }
    text += " A.\n";
  }
  return text + notes_text("", report.notes);
}

nlohmann::ordered_json convert_json(const ConvertReport& report) {
  auto json = nlohmann::ordered_json::object();
  json["command"] = "convert";
  json["read"] = {{"file", report.file},     {"format", report.format},       {"models_in_file", report.models_in_file},
                  {"models", report.models}, {"atoms", report.written.atoms}, {"bonds", report.bonds_given}};
  json["written"] = written_json(report.written);
  json["written"]["charges_from"] = report.charge_source;
  json["written"]["radii_from"] = report.radius_source;
  json["transform"] = nullptr;
  if (report.transform) {
    json["transform"] = nlohmann::ordered_json::array();
    for (const float value : *report.transform) {
      json["transform"].push_back(decimal(value));
    }
  }
  json["notes"] = report.notes;
  return json;
}

}  // namespace nxbrio
