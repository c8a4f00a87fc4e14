// Captures standard error. The molecule layer reports there before the call that fails returns; the program puts that
// text into its own one-line message.
#ifndef NXBRIOCHEM_APPS_NXBRIO_CAPTURED_STDERR_H
#define NXBRIOCHEM_APPS_NXBRIO_CAPTURED_STDERR_H

#include <string>

#include "nxbriofiles/descriptor.h"

namespace nxbrio {

// Captures from construction to take() or destruction. There can be only one at a time. When the system refuses,
// nothing is captured.
class CapturedStderr {
 public:
  CapturedStderr();
  CapturedStderr(const CapturedStderr&) = delete;
  CapturedStderr& operator=(const CapturedStderr&) = delete;
  // Discards text that was not taken.
  ~CapturedStderr();

  // Ends the capture and gives what was written.
  std::string take();
  // Ends a capture and prints the text. Used when the library ends the process within a call.
  static void let_out();

 private:
  void end();

  // A file in memory that collects the text; and the original standard error, none when nothing is captured.
  Descriptor held_;
  Descriptor saved_;
};

}  // namespace nxbrio

#endif
