// What the libraries hold.
#include "core.h"

namespace nxpy {
namespace {

// The registry's code of lists.
constexpr int kListType = 2;

py::dict memory_report() {
  const Session session;
  py::dict report;
  report["molecules"] = Body::count();
  report["tracked_blocks"] = nx_total_number_of_active_pointers();
  report["tracked_bytes"] = nx_total_memory_allocated();
  report["table_bytes"] = nxi_total_object_memory_allocated();
  report["lists"] = nxi_get_number_of_objects_of_type(kListType);
  report["errors"] = nx_number_of_errors();
  report["warnings"] = nx_number_of_warnings();
  return report;
}

// The value of a formula that was checked and has no names in it.
double evaluate(const std::string& formula) {
  const Session session;
  nxi_SetScanLine(formula.c_str());
  const double value = *static_cast<const double*>(nxi_GetDataElement("double"));
  nxi_SetScanLine(nullptr);
  return value;
}

}  // namespace

void bind_memory(py::module_& module) {
  module.def("memory_report", &memory_report);
  module.def("evaluate", &evaluate);
}

}  // namespace nxpy
