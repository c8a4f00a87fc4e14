// What the command that refines a ligand's place prints.
#ifndef NXBRIOCHEM_APPS_NXBRIO_REFINE_REPORT_H
#define NXBRIOCHEM_APPS_NXBRIO_REFINE_REPORT_H

#include <nxbriodock/nxbriodock.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "geometry.h"
#include "models.h"
#include "molecule.h"

namespace nxbrio {

// Kcal/mol/angstrom: the length of the gradient below which a pose may be a minimum.
inline constexpr double kGradientTolerance = 1e-3;

// Kcal/mol, at the ligand's place, and the length of the gradient in its six variables, kcal/mol/angstrom.
struct PlaceEnergy {
  double coulomb = 0.0;
  double twelve_six = 0.0;
  double gradient = 0.0;

  double total() const { return coulomb + twelve_six; }
};

// The pair that stands closest, measured by where its 12-6 energy is least.
struct Contact {
  int target_atom = 0;
  int ligand_atom = 0;
  // Angstrom.
  double distance = 0.0;
  // Of the distance of least 12-6 energy.
  double fraction = 0.0;
};

// The ligand at one place.
struct RefinedPlace {
  PlaceEnergy energy;
  Contact contact;
  // The two atoms, as a user knows them.
  std::string target_atom;
  std::string ligand_atom;
};

struct RefineReport {
  // As read.
  Summary target;
  Summary ligand;
  float dielectric = 1.0F;
  RefinedPlace before;
  RefinedPlace after;
  // How the run went, and how it ended.
  nxd_refinement run{};
  int most_iterations = 0;
  // Of the centre, angstrom; degrees; of the atoms, angstrom.
  double translation = 0.0;
  double rotation = 0.0;
  double rms = 0.0;
  Motion motion;
  Written written;
  std::optional<Written> trajectory;
  std::optional<WrittenFile> complex;
  std::vector<std::string> notes;
};

std::string refine_text(const RefineReport& report);
nlohmann::ordered_json refine_json(const RefineReport& report);

}  // namespace nxbrio

#endif
