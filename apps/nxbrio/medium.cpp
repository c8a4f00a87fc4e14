#include "medium.h"

#include <nxbriodock/nxbriodock.h>

#include "failure.h"
#include "molecule.h"
#include "nxbriofiles/text.h"
#include "table.h"

namespace nxbrio {

Medium parse_medium(const MediumOptions& options, Formulas& formulas) {
  Medium medium;
  medium.distance_dependent = options.distance_dependent;
  if (options.ionic_strength) {
    const std::string option = "--ionic-strength";
    if (options.distance_dependent) {
      throw UsageError(option + " and --distance-dependent exclude one another");
    }
    std::string fault;
    const std::optional<float> plain = parse_real(*options.ionic_strength, fault);
    const float value = plain ? *plain : formulas.value(option, *options.ionic_strength);
    if (!(value >= 0.0F)) {
      throw UsageError(option + ": " + in_quotes(*options.ionic_strength) + " is not a finite number from 0 on");
    }
    medium.ionic_strength = decimal(value);
  }
  return medium;
}

void set_medium(const Medium& medium, double dielectric, int energy) {
  if (medium.ionic_strength) {
    require(nxd_set_screened_dielectric(dielectric, *medium.ionic_strength, kTemperature, energy),
            "the ionic strength");
  } else if (medium.distance_dependent) {
    require(nxd_set_distance_dielectric(dielectric, energy), "the dielectric");
  } else {
    require(nxd_set_uniform_dielectric(dielectric, energy), "the dielectric");
  }
}

std::string medium_text(const Medium& medium) {
  if (medium.ionic_strength) {
    return formatted("in a dielectric with %g mol/l of salt at %g K", *medium.ionic_strength, kTemperature);
  }
  return medium.distance_dependent ? "in a dielectric that grows with the distance, E r" : "in a uniform dielectric";
}

nlohmann::ordered_json medium_json(const Medium& medium) {
  auto json = nlohmann::ordered_json::object();
  json["dielectric"] = medium.distance_dependent ? "distance-dependent" : "uniform";
  json["ionic_strength_mol_per_l"] = nullptr;
  if (medium.ionic_strength) {
    json["ionic_strength_mol_per_l"] = *medium.ionic_strength;
    json["temperature_K"] = kTemperature;
  }
  return json;
}

}  // namespace nxbrio
