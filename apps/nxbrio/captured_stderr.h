// Captures standard error. The molecule layer reports there before the call that fails returns; the program puts that
// text into its own one-line message.
#ifndef NXBRIOCHEM_APPS_NXBRIO_CAPTURED_STDERR_H
#define NXBRIOCHEM_APPS_NXBRIO_CAPTURED_STDERR_H

#include <string>

#include "nxbriofiles/descriptor.h"

namespace nxbrio {

// Captures from construction to take() or destruction, one at a time. Where the system refuses, nothing is captured.
class CapturedStderr {
 public:
  CapturedStderr();
  CapturedStderr(const CapturedStderr&) = delete;
  CapturedStderr& operator=(const CapturedStderr&) = delete;
  // What was not taken is dropped.
  ~CapturedStderr();

  // Ends the capture and gives what was written.
  std::string take();
  // Ends a capture and tells what was written: for the end of the process within a call of the library.
  static void let_out();

 private:
  void end();

  // Memory; and standard error as it was, none when nothing is captured.
  Descriptor held_;
  Descriptor saved_;
};

}  // namespace nxbrio

#endif
