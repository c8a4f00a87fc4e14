#include "fuzz/exit_trap.h"

#include <csetjmp>

extern "C" {
[[noreturn]] void __real_exit(int status);
[[noreturn]] void __wrap_exit(int status);
}

namespace {

std::jmp_buf way_back;
bool set = false;
int status_caught = 0;

}  // namespace

void __wrap_exit(int status) {
  if (!set) {
    __real_exit(status);
  }
  status_caught = status;
  std::longjmp(way_back, 1);
}

namespace fuzz {

bool returns(const std::function<void()>& call) {
  if (setjmp(way_back) != 0) {
    set = false;
    return false;
  }
  set = true;
  call();
  set = false;
  return true;
}

int last_status() { return status_caught; }

}  // namespace fuzz
