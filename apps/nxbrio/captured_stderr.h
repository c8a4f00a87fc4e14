// Holds back what is written to standard error. The library's molecule layer reports there, before the call that fails
// returns; the program's own line tells it then, in one piece.
#ifndef NXBRIOCHEM_APPS_NXBRIO_CAPTURED_STDERR_H
#define NXBRIOCHEM_APPS_NXBRIO_CAPTURED_STDERR_H

#include <cstdio>
#include <string>

namespace nxbrio {

// From construction to take() or destruction. Where the system does not let it, nothing is held back.
class CapturedStderr {
 public:
  CapturedStderr();
  CapturedStderr(const CapturedStderr&) = delete;
  CapturedStderr& operator=(const CapturedStderr&) = delete;
  ~CapturedStderr();

  // Ends the capture and gives what was written.
  std::string take();

 private:
  std::FILE* file_;
  int saved_ = -1;
};

}  // namespace nxbrio

#endif
