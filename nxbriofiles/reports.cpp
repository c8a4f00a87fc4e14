#include "reports.h"

#include <nxbriochem/nxbriochem.h>

#include <cstdio>
#include <string>

#include "failure.h"
#include "nxbriofiles.h"
#include "text.h"

namespace nxbrio::files {
namespace {

// Kept in one place that needs no memory when it runs out.
struct LastError {
  std::string text;
  const char* shown = "";
};
LastError& last_error() {
  static LastError& last = *new LastError;  // lives as long as the process
  return last;
}

}  // namespace

void report(std::string_view text) noexcept {
  try {
    LastError& last = last_error();
    last.shown = "out of memory";
    last.text = on_one_line(text);
    last.shown = last.text.c_str();
    nxi_err(last.shown);
  } catch (...) {
    nxi_err("out of memory");
  }
}

void report(const char* about, const std::exception& error) noexcept {
  if (dynamic_cast<const Failure*>(&error) != nullptr) {
    report(error.what());
    return;
  }
  const bool memory = dynamic_cast<const std::bad_alloc*>(&error) != nullptr ||
                      dynamic_cast<const std::length_error*>(&error) != nullptr;
  char text[512];
  std::snprintf(text, sizeof text, "%s: %s", about != nullptr ? about : "memory",
                memory ? "out of memory" : error.what());
  report(text);
}

}  // namespace nxbrio::files

const char* nxf_last_error(void) { return nxbrio::files::last_error().shown; }
