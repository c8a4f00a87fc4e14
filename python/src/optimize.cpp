// Minimisation, with Python functions as callbacks, and formulas.
#include "core.h"

namespace nxpy {

void bind_optimize(py::module_&) {}

}  // namespace nxpy
