// What the command that computes binding energies prints.
#ifndef NXBRIOCHEM_APPS_NXBRIO_BIND_REPORT_H
#define NXBRIOCHEM_APPS_NXBRIO_BIND_REPORT_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "coulomb.h"
#include "geometry.h"
#include "ligands.h"
#include "medium.h"
#include "molecule.h"
#include "output.h"

namespace nxbrio {

// A ligand's energies, and those of residues when asked for.
struct BoundLigand {
  LigandName ligand;
  std::vector<Energy> energies;
  std::vector<ResidueEnergy> residues;
  long long coincident_pairs = 0;
};

struct BindReport {
  Summary target;
  // The summary of a single ligand; empty for several.
  std::optional<Summary> ligand;
  // With --orient, the motion of target and ligands.
  std::optional<Orientation> orientation;
  Medium medium;
  std::vector<float> dielectrics;
  // The lowest energy at the first dielectric first.
  std::vector<BoundLigand> ligands;
  // How many ligands failed.
  std::size_t faults = 0;
  // The most residues of a side that the text lists.
  std::size_t residues = 0;
  bool library_unit = false;
  // Notes on the ligands when there are several.
  std::vector<std::string> ligand_notes;
  // The written files: the complex with the first ligand, and the table.
  std::vector<WrittenFile> written;
  std::optional<std::string> csv;
  std::optional<std::string> residue_csv;
  // Notes on the written files.
  std::vector<std::string> notes;
};

std::string bind_text(const BindReport& report);
nlohmann::ordered_json bind_json(const BindReport& report);
// A row for each ligand, and for each residue of it and of the target.
std::string bind_csv(const BindReport& report);
std::string residue_csv(const BindReport& report);

}  // namespace nxbrio

#endif
