// Progress of long work, on a terminal.
#ifndef NXBRIOCHEM_APPS_NXBRIO_PROGRESS_H
#define NXBRIOCHEM_APPS_NXBRIO_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <string>

namespace nxbrio {

// Draws a bar on standard error when that is a terminal, starting after a second of work, several times a second, and
// erases it at the end. Otherwise prints nothing.
class Progress {
 public:
  // `steps` of work on what `what` names; 0 when their number is not known: a count is shown instead of a bar.
  explicit Progress(std::string what, std::size_t steps = 0);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  // Reports that further steps are done.
  void step(std::size_t steps = 1);
  // Wipes the bar away, for a line of text; the next step draws it again.
  void clear();

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
