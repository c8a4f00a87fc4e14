// What the commands print: tables for people, JSON for programs.
#ifndef NXBRIOCHEM_APPS_NXBRIO_REPORT_H
#define NXBRIOCHEM_APPS_NXBRIO_REPORT_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "geometry.h"
#include "models.h"
#include "molecule.h"
#include "output.h"
#include "table.h"

namespace nxbrio {

// The library's energy unit in kcal/mol and kJ/mol.
double kcal_per_unit();
double kj_per_unit();
inline constexpr double kKilojoulePerKilocalorie = 4.184;
// Parts of the JSON of several commands.
nlohmann::ordered_json energy_unit_json();
nlohmann::ordered_json summary_json(const Summary& summary);

// "  1 library unit = ..."
std::string library_unit_text();

// The rows on molecules that several commands share, one column per molecule, the name first.
std::vector<Row> named_molecule_rows(const std::vector<const Summary*>& molecules);
inline constexpr const char* kMultipoleText =
    "  Monopole: total of the positive charges less that of the negative ones.\n"
    "  Dipole: the vector from the centre of the negative to the centre of the positive charges.\n"
    "  Charge centre: that of the larger total, about which the dipole moment is taken.\n";

std::string info_text(const Summary& summary);
nlohmann::ordered_json info_json(const Summary& summary);

struct ConvertReport {
  // The input.
  std::string file;
  std::string format;
  // Numbers of the models that are written, and how many models the input has.
  std::vector<int> models;
  std::size_t models_in_file = 0;
  long long bonds_given = 0;
  std::string charge_source;
  std::string radius_source;
  Written written;
  std::optional<Transform> transform;
  std::vector<std::string> notes;
};

// Part of the JSON of every command that writes models.
nlohmann::ordered_json written_json(const Written& written);

std::string convert_text(const ConvertReport& report);
nlohmann::ordered_json convert_json(const ConvertReport& report);

}  // namespace nxbrio

#endif
