// How a public function ends: whatever is thrown inside becomes one message on the error queue and the function's
// failure value. C++20.
#ifndef NXBRIOFILES_REPORTS_H
#define NXBRIOFILES_REPORTS_H

#include <exception>
#include <new>
#include <string_view>

namespace nxbrio::files {

// Queues an error and keeps it for nxf_last_error. Never throws.
void report(std::string_view text) noexcept;
void report(const char* what, const std::exception& error) noexcept;

// Runs the body of a public function about something that messages name; `failed` is what it gives after a failure.
template <class Body, class Result>
Result reported(const char* about, Result failed, Body body) noexcept {
  try {
    return body();
  } catch (const std::exception& error) {
    report(about, error);
  } catch (...) {
    report("unknown failure");
  }
  return failed;
}

}  // namespace nxbrio::files

#endif
