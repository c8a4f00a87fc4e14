#include "temporary_file.h"

#include <fcntl.h>
#include <sys/random.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace nxbrio {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// The files that are there. Changed with the signals held back.
TemporaryFile* first = nullptr;

sigset_t signal_set() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : kSignals) {
    sigaddset(&set, signal);
  }
  return set;
}

}  // namespace

// Calls nothing that a signal handler must not.
void remove_temporary_files() {
  for (const TemporaryFile* file = first; file != nullptr; file = file->next_) {
    unlinkat(file->directory_, file->name_, 0);
  }
}

namespace {

// The default action comes when the handler returns and the signal is no longer held back.
extern "C" void remove_and_end(int signal) {
  remove_temporary_files();
  raise(signal);
}

}  // namespace

void remove_temporary_files_at_signals() {
  struct sigaction action {};
  action.sa_handler = remove_and_end;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  action.sa_mask = signal_set();
  for (const int signal : kSignals) {
    struct sigaction before {};
    if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_DFL) {
      sigaction(signal, &action, nullptr);
    }
  }
  std::atexit(remove_temporary_files);
}

SignalsHeld::SignalsHeld() {
  const sigset_t set = signal_set();
  sigprocmask(SIG_BLOCK, &set, &before_);
}

SignalsHeld::~SignalsHeld() {
  const int reason = errno;
  sigprocmask(SIG_SETMASK, &before_, nullptr);
  errno = reason;
}

TemporaryFile::TemporaryFile(int directory, mode_t mode) : directory_(directory) {
  const SignalsHeld held;
  do {
    std::uint64_t digits = 0;
    if (getrandom(&digits, sizeof digits, 0) != static_cast<ssize_t>(sizeof digits)) {
      return;
    }
    std::snprintf(name_, sizeof name_, ".nxbrio-%016llx", static_cast<unsigned long long>(digits));
    descriptor_ = Descriptor(openat(directory, name_, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
  } while (!descriptor_ && errno == EEXIST);
  if (descriptor_) {
    is_there_ = true;
    next_ = first;
    first = this;
  }
}

TemporaryFile::~TemporaryFile() {
  if (!is_there_) {
    return;
  }
  const SignalsHeld held;
  unlinkat(directory_, name_, 0);
  forget();
}

void TemporaryFile::forget() {
  TemporaryFile** at = &first;
  while (*at != this) {
    at = &(*at)->next_;
  }
  *at = next_;
  is_there_ = false;
}

bool TemporaryFile::replace(const char* name) {
  const SignalsHeld held;
  if (renameat(directory_, name_, directory_, name) != 0) {
    return false;
  }
  forget();
  return true;
}

bool TemporaryFile::exchange(const char* name) const {
  return renameat2(directory_, name_, directory_, name, RENAME_EXCHANGE) == 0;
}

}  // namespace nxbrio
