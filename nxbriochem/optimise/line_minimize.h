// The line search of the methods that have one. Private to this directory; C++ only.
#ifndef NXBRIOCHEM_OPTIMISE_LINE_MINIMIZE_H
#define NXBRIOCHEM_OPTIMISE_LINE_MINIMIZE_H

#include <cstdint>

#include <nxbriochem/optimise/evaluation.h>

namespace opt {

// The line search of nx_minimize: a step along d that meets the strong Wolfe conditions. x, d, g0 and g are arrays of
// n, g0 the gradient at x; g receives the gradient at the point found. *value and *step: the value at x and the first
// step to try, then the value and the step found. The point found is left at the start of the method workspace. The
// number of evaluations spent, or 0 when it failed: then *value and *step are as they were. What it accepts is below
// *value, whatever nx_set_opt_alpha asks for.
int LineMinimize(int n, double* x, double* d, double* g0, double* g, double* value, double* step, int32_t slot);

// The line as the last call of LineMinimize left it: after a failure, its lowest point may still be below x.
extern Line last_line;

}  // namespace opt

#endif
