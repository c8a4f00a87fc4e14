// How far long work has come, on a terminal.
#ifndef NXBRIOCHEM_APPS_NXBRIO_PROGRESS_H
#define NXBRIOCHEM_APPS_NXBRIO_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <string>

namespace nxbrio {

// A bar on standard error when that is a terminal, from the second second of the work on, redrawn a few times a second
// and wiped away at the end. Otherwise nothing at all.
class Progress {
 public:
  // `steps` of work on what `what` names.
  Progress(std::string what, std::size_t steps);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  // One step is done.
  void step();

 private:
  using Clock = std::chrono::steady_clock;

  void draw();

  std::string what_;
  std::size_t steps_;
  std::size_t done_ = 0;
  bool terminal_;
  // When to draw next.
  Clock::time_point due_;
  // Characters on the terminal.
  std::size_t drawn_ = 0;
};

// A line on standard error when that is a terminal. Otherwise nothing.
void progress_line(const std::string& text);

}  // namespace nxbrio

#endif
