// The line search of nx_minimize and of LineMinimize. Private to this directory; C++ only.
#ifndef NXBRIOCHEM_OPTIMISE_LINE_SEARCH_INTERNAL_H
#define NXBRIOCHEM_OPTIMISE_LINE_SEARCH_INTERNAL_H

#include <nxbriochem/optimise/evaluation_internal.h>

namespace opt {

// Searches the line for a step that meets the strong Wolfe conditions, trying `step` first. The value and the slope at
// x are those of line.lowest, which has step 0. True when a step was found; it is line.last. After a failure, the value
// of line.lowest may still be below that at x. An accepted value is always below that at x, whatever nx_set_opt_alpha
// is.
bool search_by_cubics(Line& line, double step);

}  // namespace opt

#endif
