// All that a molecule holds, as plain Python objects, to be pickled.
#ifndef NXBRIOCHEM_PYTHON_MOLECULE_STATE_H
#define NXBRIOCHEM_PYTHON_MOLECULE_STATE_H

#include "core.h"

namespace nxpy {

py::dict state_of(const Molecule& molecule);
// Throws Failure for what state_of never gave.
Molecule from_state(const py::dict& state);

}  // namespace nxpy

#endif
