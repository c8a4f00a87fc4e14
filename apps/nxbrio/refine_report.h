// The report of the command that refines ligands.
#ifndef NXBRIOCHEM_APPS_NXBRIO_REFINE_REPORT_H
#define NXBRIOCHEM_APPS_NXBRIO_REFINE_REPORT_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "medium.h"
#include "models.h"
#include "molecule.h"
#include "refine_run.h"

namespace nxbrio {

struct RefineReport {
  // As read.
  Summary target;
  // Of a single ligand; empty for several.
  std::optional<Summary> ligand;
  float dielectric = 1.0F;
  Medium medium;
  int most_iterations = 0;
  // Those that are kept, the lowest energy first.
  std::vector<RefinedLigand> ligands;
  // How many were refined, and how many failed.
  std::size_t refined = 0;
  std::size_t faults = 0;
  bool clustered = false;
  bool interrupted = false;
  bool library_unit = false;
  // Notes on the ligands when there are several.
  std::vector<std::string> ligand_notes;
  Written written;
  std::optional<Written> trajectory;
  std::optional<WrittenFile> complex;
  std::optional<std::string> csv;
  std::vector<std::string> notes;
};

std::string refine_text(const RefineReport& report);
nlohmann::ordered_json refine_json(const RefineReport& report);
// A row for each ligand.
std::string refine_csv(const RefineReport& report);
// The data fields of a ligand in an SD file: names and texts.
std::vector<std::pair<std::string, std::string>> refine_fields(std::size_t rank, const RefinedLigand& refined,
                                                               bool clustered);

}  // namespace nxbrio

#endif
