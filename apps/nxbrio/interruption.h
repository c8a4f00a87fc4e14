// Ctrl-C during long work: the work ends early, and what is done is kept.
#ifndef NXBRIOCHEM_APPS_NXBRIO_INTERRUPTION_H
#define NXBRIOCHEM_APPS_NXBRIO_INTERRUPTION_H

#include <csignal>

namespace nxbrio {

// While it lives, the first SIGINT sets a flag, and the second does what the first would have done otherwise. One at a
// time.
class Interruption {
 public:
  Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;
  ~Interruption();

  // Whether it was asked for; static, since the handler sets it.
  static bool asked();
  static const volatile int* flag();

 private:
  bool set_;
};

}  // namespace nxbrio

#endif
