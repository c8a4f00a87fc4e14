// How a command's report leaves the program.
#ifndef NXBRIOCHEM_APPS_NXBRIO_PRINTING_H
#define NXBRIOCHEM_APPS_NXBRIO_PRINTING_H

#include <nlohmann/json.hpp>
#include <string>

namespace nxbrio {

struct Printing {
  bool json = false;
  // Tell the library's counts of messages, and the memory that it still holds, too.
  bool verbose = false;
};

// Prints a report on standard output, then what the library has queued and nobody was told yet. Call it once the
// molecules are deleted.
void print_report(const std::string& text, const Printing& printing);
void print_report(nlohmann::ordered_json json, const Printing& printing);
// Prints a report as text or as JSON.
template <class Report>
void print_report(const Report& report, const Printing& printing, std::string (*text)(const Report&),
                  nlohmann::ordered_json (*object)(const Report&)) {
  if (printing.json) {
    print_report(object(report), printing);
  } else {
    print_report(text(report), printing);
  }
}

// Prints what is wrong with a part of the job, a line on standard error. What the library has queued about it counts as
// told.
void tell_fault(const std::string& what);

}  // namespace nxbrio

#endif
