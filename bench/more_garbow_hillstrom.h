// The 35 test functions of Moré, Garbow and Hillstrom, "Testing unconstrained optimization software", ACM Transactions
// on Mathematical Software 7 (1981) 17-41, each a sum of squares of m residuals in n variables, with analytic
// derivatives and the paper's starts, minima and local minima. In brackets n, and m where it is free:
//
//    1 Rosenbrock (2)               13 Powell singular (4)           25 variably dimensioned (10)
//    2 Freudenstein and Roth (2)    14 Wood (4)                      26 trigonometric (10)
//    3 Powell badly scaled (2)      15 Kowalik and Osborne (4)       27 Brown almost-linear (10)
//    4 Brown badly scaled (2)       16 Brown and Dennis (4, 20)      28 discrete boundary value (10)
//    5 Beale (2)                    17 Osborne 1 (5)                 29 discrete integral equation (10)
//    6 Jennrich and Sampson (2, 10) 18 Biggs exp6 (6, 13)            30 Broyden tridiagonal (10)
//    7 helical valley (3)           19 Osborne 2 (11)                31 Broyden banded (10)
//    8 Bard (3)                     20 Watson (6, 9 and 12)          32 linear, full rank (10, 20)
//    9 Gaussian (3)                 21 extended Rosenbrock (10)      33 linear, rank 1 (10, 20)
//   10 Meyer (3)                    22 extended Powell singular (12) 34 the same with zero columns and rows (10, 20)
//   11 Gulf research (3, 99)        23 penalty I (4 and 10)          35 Chebyquad (8 and 10)
//   12 box three-dimensional (3,10) 24 penalty II (4 and 10)
//
// That makes 40 instances: of the functions of any dimension, those for which the paper prints a minimum are there with
// each n that it prints one for. Minima that the paper prints to six digits are carried on here to fifteen. Where it is
// known to have missed something, a comment at the table says so.
#ifndef NXBRIOCHEM_BENCH_MORE_GARBOW_HILLSTROM_H
#define NXBRIOCHEM_BENCH_MORE_GARBOW_HILLSTROM_H

#include <vector>

#include "bench/problem.h"

namespace bench {

// The instances, by rising number of the function and then rising n. An instance's handle is its place here.
const std::vector<Problem>& more_garbow_hillstrom();

// The number m of residuals of an instance.
int residual_count(int instance);
// The m residuals of an instance at x, and their m x n derivatives, row by row, unless jacobian is null.
void residuals_at(int instance, const double* x, double* residuals, double* jacobian);

}  // namespace bench

#endif
