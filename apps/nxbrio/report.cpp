#include "report.h"

#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "geometry_report.h"
#include "nxbriofiles/text.h"
#include "table.h"

namespace nxbrio {
namespace {

// Two elementary charges 1 angstrom apart, from CODATA 2018: e^2 N_A / (4 pi epsilon_0 * 1e-10 m) in kcal/mol.
constexpr double kCoulombKcal = 332.063713;
constexpr double kKilojoulePerKilocalorie = 4.184;
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

// In the library's unit, kcal/mol and kJ/mol.
std::array<double, 3> in_all_units(const Energy& energy) {
  const double value = decimal(energy.energy);
  return {value, value * kcal_per_unit(), value * kj_per_unit()};
}

std::string vector_text(const std::array<float, 3>& v) {
  return formatted("%9.3f %9.3f %9.3f", static_cast<double>(v[0]), static_cast<double>(v[1]),
                   static_cast<double>(v[2]));
}

std::string chains_text(const Summary& summary) {
  std::string text;
  for (const char chain : summary.chains) {
    if (!text.empty()) {
      text += ' ';
    }
    if (chain == ' ') {
      text += "(blank)";
    } else {
      text += chain;
    }
  }
  return text;
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

constexpr const char* kMultipoleText =
    "  Monopole: total of the positive charges less that of the negative ones.\n"
    "  Dipole: the vector from the centre of the negative to the centre of the positive charges.\n"
    "  Charge centre: that of the larger total, about which the dipole moment is taken.\n";

// Every queued message, in order; every text contains the empty tag.
nlohmann::ordered_json messages(int count, const char* (*message)(int)) {
  auto json = nlohmann::ordered_json::array();
  for (int k = 0; k < count; ++k) {
    json.push_back(message(k));
  }
  return json;
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
  json["net_charge_e"] = summary.net_charge;
  json["positive_charge_e"] = summary.positive_charge;
  json["negative_charge_e"] = summary.negative_charge;
  json["monopole_e"] = summary.monopole;
  json["charge_centre_A"] = decimals(summary.charge_centre);
  json["dipole_A"] = decimals(summary.dipole);
  json["dipole_moment_D"] = moment(summary) * kDebye;
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

std::string bind_text(const BindReport& report) {
  std::vector<Row> rows{{"", {"target", "ligand"}}, {"molecule", {report.target.name, report.ligand.name}}};
  for (Row& row : molecule_rows({&report.target, &report.ligand})) {
    rows.push_back(std::move(row));
  }
  std::string text = report.target.file + " with " + report.ligand.file + "\n\n" + table(rows) + kMultipoleText;
  text += notes_text(report.target.file, report.target.notes) + notes_text(report.ligand.file, report.ligand.notes);

  if (report.orientation) {
    text += "\nTurned into the principal frame of the target, without hydrogens; the places above are in it\n\n";
    text += orientation_text(*report.orientation);
  }
  text += "\nCoulombic binding energy in a uniform dielectric\n\n";
  std::vector<Row> energies{{"dielectric", {"library unit", "kcal/mol", "kJ/mol"}}};
  for (const Energy& energy : report.energies) {
    const std::array<double, 3> values = in_all_units(energy);
    energies.push_back({formatted("%10g", decimal(energy.dielectric)),
                        {formatted("%.4f", values[0]), formatted("%.4f", values[1]), formatted("%.4f", values[2])}});
  }
  text += table(energies);
  text += formatted("  1 library unit = %.6f kcal/mol = %.6f kJ/mol = kT at %.1f K; it is set by DFactor2 = %.3f:\n",
                    kcal_per_unit(), kj_per_unit(), kcal_per_unit() / kGasConstant, static_cast<double>(DFactor2));
  text += "  energy = DFactor2 / dielectric * sum of q q / r, in elementary charges and angstrom.\n";
  if (report.coincident_pairs > 0) {
    text += formatted("  Note: %lld pairs of charged atoms stand at the same place and are left out of the sum.\n",
                      report.coincident_pairs);
  }
  if (!report.written.empty()) {
    text += "\nComplex written\n\n";
    for (const WrittenFile& file : report.written) {
      text += "  " + file.path + " (" + file.format + ")\n";
    }
    text += notes_text("", report.notes);
  }
  return text + "\n";
}

nlohmann::ordered_json bind_json(const BindReport& report) {
  auto json = nlohmann::ordered_json::object();
  json["command"] = "bind";
  json["target"] = summary_json(report.target);
  json["ligand"] = summary_json(report.ligand);
  json["orientation"] = nullptr;
  if (report.orientation) {
    json["orientation"] = orientation_json(*report.orientation);
  }
  json["energy_unit"] = energy_unit_json();
  json["energies"] = nlohmann::ordered_json::array();
  for (const Energy& energy : report.energies) {
    const std::array<double, 3> values = in_all_units(energy);
    json["energies"].push_back({{"dielectric", decimal(energy.dielectric)},
                                {"energy", values[0]},
                                {"kcal_per_mol", values[1]},
                                {"kJ_per_mol", values[2]}});
  }
  json["coincident_pairs"] = report.coincident_pairs;
  json["written"] = nlohmann::ordered_json::array();
  for (const WrittenFile& file : report.written) {
    json["written"].push_back({{"file", file.path}, {"format", file.format}});
  }
  json["notes"] = report.notes;
  return json;
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
  return summary.file + " (" + summary.format + ")\n\n" + table(rows) + kMultipoleText + notes_text("", summary.notes) +
         "\n";
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
  return text + notes_text("", report.notes) + "\n";
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

void print_report(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  nx_print_new_errors();
  nx_print_new_warnings();
  std::printf("errors %d, warnings %d; memory still held: %u bytes in %d blocks\n", nx_number_of_errors(),
              nx_number_of_warnings(), static_cast<unsigned>(nx_total_memory_allocated()),
              nx_total_number_of_active_pointers());
}

void print_report(nlohmann::ordered_json json) {
  json["errors"] = messages(nx_number_of_errors(), [](int k) -> const char* { return nx_error_with_tag("", k); });
  json["warnings"] = messages(nx_number_of_warnings(), [](int k) -> const char* { return nx_warning_with_tag("", k); });
  json["memory_held"] = {{"bytes", nx_total_memory_allocated()}, {"blocks", nx_total_number_of_active_pointers()}};
  // Bytes of file and atom names that are not UTF-8 are replaced.
  const std::string text = json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  std::puts(text.c_str());
}

}  // namespace nxbrio
