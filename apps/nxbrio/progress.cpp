#include "progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "nxbriofiles/text.h"

namespace nxbrio {
namespace {

constexpr std::chrono::milliseconds kBeforeFirst{1000};
constexpr std::chrono::milliseconds kBetween{100};
constexpr std::size_t kWidth = 30;

}  // namespace

Progress::Progress(std::string what, std::size_t steps)
    : what_(std::move(what)), steps_(steps), terminal_(isatty(STDERR_FILENO) == 1), due_(Clock::now() + kBeforeFirst) {}

Progress::~Progress() { clear(); }

void Progress::clear() {
  if (drawn_ > 0) {
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(drawn_), "");
    std::fflush(stderr);
    drawn_ = 0;
  }
}

void Progress::step(std::size_t steps) {
  done_ += steps;
  if (terminal_ && Clock::now() >= due_) {
    draw();
    due_ = Clock::now() + kBetween;
  }
}

void Progress::draw() {
  std::string line = "nxbrio: " + what_;
  if (steps_ == 0) {
    line += formatted(" %zu", done_);
  } else {
    const std::size_t done = std::min(done_, steps_);
    const std::size_t full = kWidth * done / steps_;
    line +=
        " [" + std::string(full, '#') + std::string(kWidth - full, '.') + formatted("] %3zu%%", 100 * done / steps_);
  }
  drawn_ = line.size();
  std::fprintf(stderr, "\r%s", line.c_str());
  std::fflush(stderr);
}

void progress_line(const std::string& text) {
  if (isatty(STDERR_FILENO) == 1) {
    std::fprintf(stderr, "nxbrio: %s\n", text.c_str());
  }
}

}  // namespace nxbrio
