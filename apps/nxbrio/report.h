// What the commands print: tables for people, JSON for programs.
#ifndef NXBRIOCHEM_APPS_NXBRIO_REPORT_H
#define NXBRIOCHEM_APPS_NXBRIO_REPORT_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "molecule.h"

namespace nxbrio {

// The library's energy unit in kcal/mol and kJ/mol.
double kcal_per_unit();
double kj_per_unit();

struct Energy {
  float dielectric;
  // The library's unit.
  float energy;
};

struct WrittenFile {
  std::string path;
  std::string format;
};

struct BindReport {
  Summary target;
  Summary ligand;
  std::vector<Energy> energies;
  long long coincident_pairs = 0;
  std::vector<WrittenFile> written;
  // About what was written.
  std::vector<std::string> notes;
};

std::string bind_text(const BindReport& report);
nlohmann::ordered_json bind_json(const BindReport& report);

std::string info_text(const Summary& summary);
nlohmann::ordered_json info_json(const Summary& summary);

// The closing part of every report, once the molecules are deleted: the library's new error and warning messages and
// the memory it still holds. On standard output, or into the JSON object.
void print_library_state();
void add_library_state(nlohmann::ordered_json& json);

}  // namespace nxbrio

#endif
