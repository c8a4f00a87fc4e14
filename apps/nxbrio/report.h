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

namespace nxbrio {

// The library's energy unit in kcal/mol and kJ/mol.
double kcal_per_unit();
double kj_per_unit();
// Parts of the JSON of several commands.
nlohmann::ordered_json energy_unit_json();
nlohmann::ordered_json summary_json(const Summary& summary);

struct Energy {
  float dielectric;
  // The library's unit.
  float energy;
};

struct BindReport {
  Summary target;
  Summary ligand;
  // The rotation of both, with --orient.
  std::optional<Orientation> orientation;
  std::vector<Energy> energies;
  long long coincident_pairs = 0;
  std::vector<WrittenFile> written;
  // On the written files.
  std::vector<std::string> notes;
};

std::string bind_text(const BindReport& report);
nlohmann::ordered_json bind_json(const BindReport& report);

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

// Prints a report on standard output, then the library's new error and warning messages and the memory that it still
// holds. Call it once the molecules are deleted.
void print_report(const std::string& text);
void print_report(nlohmann::ordered_json json);
// Prints a report as text or as JSON.
template <class Report>
void print_report(const Report& report, bool json, std::string (*text)(const Report&),
                  nlohmann::ordered_json (*object)(const Report&)) {
  if (json) {
    print_report(object(report));
  } else {
    print_report(text(report));
  }
}

}  // namespace nxbrio

#endif
