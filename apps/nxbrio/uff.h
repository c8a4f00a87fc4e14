// Van der Waals parameters by element, for the 12-6 term of refine: the nonbond distances x_I and energies D_I of the
// Universal Force Field (Rappe, Casewit, Colwell, Goddard, Skiff, J. Am. Chem. Soc. 114 (1992) 10024, table 1), which
// has them for every element up to lawrencium. Two atoms attract most at sqrt(x_I x_J), by sqrt(D_I D_J).
#ifndef NXBRIOCHEM_APPS_NXBRIO_UFF_H
#define NXBRIOCHEM_APPS_NXBRIO_UFF_H

#include <optional>

namespace nxbrio {

struct UffVanDerWaals {
  // Angstrom.
  double distance;
  // kcal/mol.
  double well_depth;
};

// Nothing for an atomic number that is not from 1 to 103.
std::optional<UffVanDerWaals> uff_van_der_waals(int atomic_number);

}  // namespace nxbrio

#endif
