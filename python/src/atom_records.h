// A molecule's atoms as libnxbriochem's sums over pairs take them.
#ifndef NXBRIOCHEM_PYTHON_ATOM_RECORDS_H
#define NXBRIOCHEM_PYTHON_ATOM_RECORDS_H

#include <algorithm>
#include <vector>

#include "core.h"

namespace nxpy {

// Places and charges of all atoms: what nx_calculate_coulombic_binding makes anew in each call. To be made within a
// session.
struct AtomRecords {
  explicit AtomRecords(const Molecule& molecule) {
    const float* const coordinates = molecule.model().CoordData();
    const int n = molecule.size();
    values.resize(static_cast<std::size_t>(n) * NX_RECORD_FLOATS);
    charges.resize(static_cast<std::size_t>(n));
    for (std::ptrdiff_t i = 0; i < n; ++i) {
      std::copy_n(coordinates + 3 * i, 3, values.begin() + NX_RECORD_FLOATS * i);
    }
    nx_get_molecule_charges(charges.data(), molecule.handle());
  }

  int count() const { return static_cast<int>(charges.size()); }

  std::vector<float> values;
  std::vector<float> charges;
};

}  // namespace nxpy

#endif
