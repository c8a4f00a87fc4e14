// Test problems of any even number n of variables, with values and gradients in O(n).
#ifndef NXBRIOCHEM_BENCH_LARGE_PROBLEMS_H
#define NXBRIOCHEM_BENCH_LARGE_PROBLEMS_H

#include "bench/problem.h"

namespace bench {

// Function 21 of Moré, Garbow and Hillstrom: the sum over pairs of 100 (y - x^2)^2 + (1 - x)^2, from (-1.2, 1). Minimum
// 0 where all variables are 1.
Problem extended_rosenbrock(int n);

// The sum of c[j] (x[j] - 1)^2 / 2, the curvatures c[j] going from 1 to 1e4 in equal ratios, from 0. Minimum 0.
Problem convex_quadratic(int n);

// A chain of n + 1 points on a line, the first fixed at 0, the variables the places of the others, with the potential
// s^-12 - 2 s^-6 between neighbours s apart. The start is the chain at rest with every point moved by up to a tenth to
// either side, by a fixed sequence: spacings from 0.8, high on the repulsive wall, to 1.2, where the potential is
// concave already. Minimum -n with all spacings 1; each broken bond (a point gone to infinity) costs 1.
Problem chain_12_6(int n);

}  // namespace bench

#endif
