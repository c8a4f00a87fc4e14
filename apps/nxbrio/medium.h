// The medium between charges: a dielectric constant, and screening or a distance-dependent dielectric.
#ifndef NXBRIOCHEM_APPS_NXBRIO_MEDIUM_H
#define NXBRIOCHEM_APPS_NXBRIO_MEDIUM_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "formula.h"

namespace nxbrio {

// The options --ionic-strength and --distance-dependent as given.
struct MediumOptions {
  std::optional<std::string> ionic_strength;
  bool distance_dependent = false;
};

struct Medium {
  // Mol/l of salt that screens the charges (Debye and Hueckel), at kTemperature.
  std::optional<double> ionic_strength;
  // Whether the dielectric constant is multiplied by the distance in angstrom.
  bool distance_dependent = false;

  bool is_uniform() const { return !ionic_strength && !distance_dependent; }
};

// Kelvin.
inline constexpr double kTemperature = 298.0;

// Throws UsageError for both at once, and for an ionic strength that is negative or not finite.
Medium parse_medium(const MediumOptions& options, Formulas& formulas);
// Gives an energy object of libnxbriodock the medium.
void set_medium(const Medium& medium, double dielectric, int energy);
// "in a uniform dielectric" and so on.
std::string medium_text(const Medium& medium);
nlohmann::ordered_json medium_json(const Medium& medium);

}  // namespace nxbrio

#endif
