// Evaluation of an optimiser's callbacks for the methods and the line searches, and the workspace that they use.
// Private to this directory.
#ifndef NXBRIOCHEM_OPTIMISE_EVALUATION_INTERNAL_H
#define NXBRIOCHEM_OPTIMISE_EVALUATION_INTERNAL_H

#include <cstdint>

namespace opt {

// The value at x from the value callback, or from the gradient callback where there is none. Counts the evaluation.
double value_at(int32_t slot, double* x);
// The value and the gradient at x from the gradient callback, or by central differences of the value where there is
// none. NaN when no callback is set.
double value_and_gradient_at(int32_t slot, double* x, double* gradient);

// The optimiser's method workspace, of at least `doubles` doubles: the pool's for slot 0 up to kMostInPool variables,
// else a tracked block, grown as needed.
double* workspace_of(int32_t slot, uint64_t doubles);

// Whether the optimiser prints its trace.
bool traces(int32_t slot);

// A point x + step d of a line.
struct Trial {
  double step;
  double value;   // infinity where the value or the gradient is not finite, so that it is never the lowest
  double slope;   // gradient . d
  double square;  // sum of the gradient's squares; exactly 0 counts as a zero gradient
};

// A line to search. The trial points are left at the start of the method workspace, their gradients in g.
struct Line {
  int32_t slot;
  int32_t n;
  double* x;
  double* d;
  double* g;
  Trial lowest;     // of x itself and the points tried
  Trial last = {};  // the point that is in the workspace, with its gradient in g
  int32_t evaluations = 0;
};

// The line from x, where the value and the slope are known.
inline Line line_from(int32_t slot, int32_t n, double* x, double* d, double* g, double value, double slope) {
  return {
      .slot = slot, .n = n, .x = x, .d = d, .g = g, .lowest = {.step = 0, .value = value, .slope = slope, .square = 0}};
}

// Evaluates the point at a step: line.last.
const Trial& try_step(Line& line, double step);

// Tries a step and, while the gradient there is zero, a tenth of it, at most five times. True when a gradient other
// than zero was found. The trial is line.last. Points with a zero gradient are rejected and never become line.lowest.
bool try_first_step(Line& line, double step, Trial& trial);

}  // namespace opt

#endif
