// What the command that refines a ligand's place prints.
#ifndef NXBRIOCHEM_APPS_NXBRIO_REFINE_REPORT_H
#define NXBRIOCHEM_APPS_NXBRIO_REFINE_REPORT_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "geometry.h"
#include "models.h"
#include "molecule.h"
#include "rigid_minimiser.h"

namespace nxbrio {

// A ligand with two atoms nearer than this fraction of the distance of least 12-6 energy starts inside the target: they
// are as near as bonded ones, or nearer; hydrogen bonds and metals' ligands keep above it.
inline constexpr double kInside = 0.45;
// A place with a 12-6 energy above 0 and two atoms nearer than this fraction overlaps, whatever the charges gain: ions
// in contact keep above it, zinc and a nitrogen too, in vacuum.
inline constexpr double kPressed = 0.6;
// Angstrom; where the nearest atoms are farther apart, a flat energy means that the two have lost touch.
inline constexpr double kOutOfTouch = 8.0;

// The ligand at one place.
struct RefinedPlace {
  PoseEnergy energy;
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
  // Whether what was found was no better than the start, which was kept then.
  bool start_kept = false;
  // Of what was found.
  bool at_minimum = false;
  int most_iterations = 0;
  int iterations = 0;
  int evaluations = 0;
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

// Whether a ligand starts inside the target.
bool is_inside(const RefinedPlace& place);

std::string refine_text(const RefineReport& report);
nlohmann::ordered_json refine_json(const RefineReport& report);

}  // namespace nxbrio

#endif
