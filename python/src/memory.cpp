// What the libraries hold.
#include "core.h"

namespace nxpy {

void bind_memory(py::module_&) {}

}  // namespace nxpy
