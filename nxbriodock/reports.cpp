#include "reports.h"

#include <nxbriochem/objects/error.h>

#include <cstdio>
#include <mutex>

#include "fork_lock.h"

namespace nxbriodock {
namespace {

// The error queue is used by one thread at a time.
std::mutex& queue_turn() {
  static ForkLock<std::mutex, queue_turn> turn;
  return turn;
}

[[maybe_unused]] const std::mutex& made_at_start = queue_turn();

}  // namespace

Refused::Refused(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text_, sizeof text_, format, arguments);
  va_end(arguments);
}

void report(const char* function, const char* why) noexcept {
  char line[200];
  std::snprintf(line, sizeof line, "%s: %.150s\n", function, why);
  const std::lock_guard lock(queue_turn());
  nxi_err(line);
}

}  // namespace nxbriodock
