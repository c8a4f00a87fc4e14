// Searches along a line, for programs that control a minimisation themselves. nx_minimize uses the first.
//
// All take the same arguments: the number n of variables of the optimiser, the point x, the direction d, the gradient
// g0 at x, the array g that receives the gradient at the point found (n doubles each), the value at x in *value, the
// first step to try in *step, and the optimiser's slot, which is its handle less 1. They give the number of evaluations
// spent (points tried), with the step and the value found in *step and *value and the gradient there in g. The point
// found is x + *step d. On failure they give 0 and leave x, *value and *step as they were: for null arrays, an n that
// is not the optimiser's, a slot not in use, a direction along which the value rises, a first step below 0, while an
// optimiser is running, and where no lower value was found. A trial where the value or the gradient is not finite
// counts as too high. A missing workspace is allocated.
//
// The sections and nx_LineMinimize2 also fail where the slope at x is 0, where it or the value is not finite, and for a
// first step of 0. They try 500 points at most, and the sections no step below the smallest
// (nx_set_opt_zero).
#ifndef NXBRIOCHEM_OPTIMISE_LINE_SEARCH_H
#define NXBRIOCHEM_OPTIMISE_LINE_SEARCH_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// The search of nx_minimize: cubics through values and slopes, until a step lowers the value and flattens the slope
// enough (nx_set_opt_alpha, nx_set_opt_beta). It makes two tries after the first step, and as many more as
// nx_set_opt_max_line_try says. At debug level 2 it prints a trace. The point found is also left at the start of the
// method workspace.
NX_API int LineMinimize(int n, double* x, double* d, double* g0, double* g, double* value, double* step, int slot);
// Golden-section search (Kiefer 1953): brackets a minimum by growing steps, then narrows the interval, comparing values
// only.
NX_API int nxi_au_section(int n, double* x, double* d, double* g0, double* g, double* value, double* step, int slot);
// Bisection on the sign of the slope: brackets a zero of the slope by growing steps, then halves the interval.
NX_API int nxi_bi_section(int n, double* x, double* d, double* g0, double* g, double* value, double* step, int slot);
// Backtracking (Armijo 1966): halves the first step until it lowers the value enough.
NX_API int nxi_armijo_section(int n, double* x, double* d, double* g0, double* g, double* value, double* step,
                              int slot);
// Steps to the minimum of the polynomial through the values and slopes of all points tried so far, until a point meets
// the conditions of nx_minimize (nx_set_opt_alpha, nx_set_opt_beta). Also gives 0 when the sixth point (counting x)
// does not.
NX_API int nx_LineMinimize2(int n, double* x, double* d, double* g0, double* g, double* value, double* step, int slot);

// Evaluates Hermite's polynomial, of degree 2 count - 1, which has the given values and slopes at the given points:
// writes its value and its slope at `at` into *value and *slope, either of which may be null. Returns 1; 0 without
// points, for null arrays, for points that coincide, and where a result is not finite.
NX_API int nx_lagrange_interpolate_with_gradients(const double* points, const double* values, const double* slopes,
                                                  int count, double at, double* value, double* slope);

NX_END_DECLS

#endif
