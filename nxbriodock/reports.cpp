#include "reports.h"

#include <nxbriochem/objects/error.h>

#include <cstdio>
#include <mutex>

namespace nxbriodock {

Refused::Refused(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text_, sizeof text_, format, arguments);
  va_end(arguments);
}

void report(const char* function, const char* why) noexcept {
  static std::mutex turn;
  char line[200];
  std::snprintf(line, sizeof line, "%s: %.150s\n", function, why);
  const std::lock_guard lock(turn);
  nxi_err(line);
}

}  // namespace nxbriodock
