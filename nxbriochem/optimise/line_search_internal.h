// The line search of nx_minimize and of LineMinimize. Private to this directory; C++ only.
#ifndef NXBRIOCHEM_OPTIMISE_LINE_SEARCH_INTERNAL_H
#define NXBRIOCHEM_OPTIMISE_LINE_SEARCH_INTERNAL_H

#include <nxbriochem/optimise/evaluation_internal.h>

namespace opt {

// Searches the line for a step that meets the strong Wolfe conditions, from this first step on. The value and the slope
// at x are those of line.lowest, which has step 0. Whether a step was found: line.last then. After a failure,
// line.lowest may still be below x. What is accepted is below x, whatever nx_set_opt_alpha asks for.
bool search_by_cubics(Line& line, double step);

}  // namespace opt

#endif
