#include "captured_stderr.h"

#include <fcntl.h>
#include <unistd.h>

namespace nxbrio {

CapturedStderr::CapturedStderr() : file_(std::tmpfile()) {
  if (file_ == nullptr) {
    return;
  }
  std::fflush(stderr);
  saved_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  if (saved_ >= 0) {
    dup2(fileno(file_), STDERR_FILENO);
  }
}

CapturedStderr::~CapturedStderr() {
  take();
  if (file_ != nullptr) {
    std::fclose(file_);
  }
}

std::string CapturedStderr::take() {
  std::string text;
  if (saved_ < 0) {
    return text;
  }
  std::fflush(stderr);
  dup2(saved_, STDERR_FILENO);
  close(saved_);
  saved_ = -1;
  std::rewind(file_);
  for (int c = 0; (c = std::getc(file_)) != EOF;) {
    text += static_cast<char>(c);
  }
  return text;
}

}  // namespace nxbrio
