// Principal frames, superposition and eigenvalues.
#include "core.h"

namespace nxpy {

void bind_geometry(py::module_&) {}

}  // namespace nxpy
