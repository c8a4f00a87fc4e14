// The arrays of a molecule's atoms and its bonds.
#ifndef NXBRIOCHEM_PYTHON_ATOM_ARRAYS_H
#define NXBRIOCHEM_PYTHON_ATOM_ARRAYS_H

#include <string_view>

#include "core.h"

namespace nxpy {

// The atom's own name without blanks around it, else its element's symbol.
std::string_view name_of(const NxChem::NxAtomBase& atom);

void bind_atom_arrays(py::class_<Molecule>& type);

}  // namespace nxpy

#endif
