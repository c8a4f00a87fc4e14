#include "captured_stderr.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <array>
#include <cstdio>

namespace nxbrio {
namespace {

// The descriptor that collects the captured text, and that of the original standard error; -1 when nothing is captured.
int held_now = -1;
int saved_now = -1;

// The next part of the captured text, from a position on; empty at its end.
template <std::size_t n>
std::size_t read_part(int held, std::array<char, n>& part, std::size_t at) {
  const ssize_t length = pread(held, part.data(), n, static_cast<off_t>(at));
  return length > 0 ? static_cast<std::size_t>(length) : 0;
}

}  // namespace

CapturedStderr::CapturedStderr()
    : held_(memfd_create("nxbrio messages", MFD_CLOEXEC)), saved_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
  std::fflush(stderr);
  if (!held_ || !saved_ || dup2(held_.number(), STDERR_FILENO) < 0) {
    saved_.close();
    return;
  }
  held_now = held_.number();
  saved_now = saved_.number();
}

CapturedStderr::~CapturedStderr() { end(); }

void CapturedStderr::end() {
  if (!saved_) {
    return;
  }
  std::fflush(stderr);
  dup2(saved_.number(), STDERR_FILENO);
  held_now = saved_now = -1;
  saved_.close();
}

std::string CapturedStderr::take() {
  const bool captured = static_cast<bool>(saved_);
  end();
  std::string text;
  std::array<char, 512> part;
  for (std::size_t length = 1; captured && length > 0;) {
    length = read_part(held_.number(), part, text.size());
    text.append(part.data(), length);
  }
  return text;
}

void CapturedStderr::let_out() {
  if (saved_now < 0) {
    return;
  }
  std::fflush(stderr);
  dup2(saved_now, STDERR_FILENO);
  saved_now = -1;
  std::array<char, 512> part;
  for (std::size_t at = 0, length = 0; (length = read_part(held_now, part, at)) > 0; at += length) {
    std::fwrite(part.data(), 1, length, stderr);
  }
}

}  // namespace nxbrio
