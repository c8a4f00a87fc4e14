// Ctrl-C during long work: the work ends early, and what is done is kept.
#ifndef NXBRIOCHEM_APPS_NXBRIO_INTERRUPTION_H
#define NXBRIOCHEM_APPS_NXBRIO_INTERRUPTION_H

#include <csignal>

namespace nxbrio {

// In its scope, the first SIGINT sets a flag, and the second has the previous effect of SIGINT. There can be only one
// at a time.
class Interruption {
 public:
  Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;
  ~Interruption();

  // Whether the user has asked for an interruption; static, since the signal handler sets it.
  static bool asked();
  static const volatile int* flag();

 private:
  bool set_;
};

}  // namespace nxbrio

#endif
