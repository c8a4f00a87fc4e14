#include "interruption.h"

namespace nxbrio {
namespace {

volatile int interrupted = 0;
struct sigaction before {};

extern "C" void take_note(int) {
  interrupted = 1;
  sigaction(SIGINT, &before, nullptr);
}

}  // namespace

Interruption::Interruption() : set_(false) {
  // A shell starts background jobs with SIGINT ignored. That must stay so.
  if (sigaction(SIGINT, nullptr, &before) != 0 || before.sa_handler == SIG_IGN) {
    return;
  }
  struct sigaction action {};
  action.sa_handler = take_note;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  set_ = sigaction(SIGINT, &action, nullptr) == 0;
}

Interruption::~Interruption() {
  if (set_) {
    sigaction(SIGINT, &before, nullptr);
  }
}

bool Interruption::asked() { return interrupted != 0; }
const volatile int* Interruption::flag() { return &interrupted; }

}  // namespace nxbrio
