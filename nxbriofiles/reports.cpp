#include "reports.h"

#include <nxbriochem/nxbriochem.h>
#include <nxbriochem/util/never_destroyed_internal.h>

#include <cstdio>
#include <string>

#include "failure.h"
#include "nxbriofiles.h"
#include "text.h"

namespace nxbrio::files {
namespace {

// The last message, and the text that is shown, which is a constant when memory has run out.
constinit util::NeverDestroyed<std::string> last_text;
constinit const char* last_shown = "";

}  // namespace

void report(std::string_view text) noexcept {
  try {
    last_shown = "out of memory";
    *last_text = on_one_line(text);
    last_shown = (*last_text).c_str();
    nxi_err(last_shown);
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

const char* nxf_last_error(void) { return nxbrio::files::last_shown; }
