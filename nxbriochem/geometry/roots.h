// Real roots of polynomials up to degree four, in closed form.
//
// Each function gives the number of roots that it found. The plain ones write them into Roots, which every one of them
// and make_rmat overwrite; the ones whose names end in Roots write into the caller's array (one double per degree) and
// share no state. A leading coefficient below 1e-6 in magnitude counts as missing: the next lower degree is solved.
// The result is 0, and nothing changes, for a null array, for coefficients that are not finite, and for a root or, up
// to degree three, a discriminant beyond the range of a double. (A slot that a missing coefficient clears is cleared
// all the same.)
#ifndef NXBRIOCHEM_GEOMETRY_ROOTS_H
#define NXBRIOCHEM_GEOMETRY_ROOTS_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// The roots that the last call found; to be read right after it.
extern NX_API double Roots[4];

// The root of a x + b.
NX_API int nx_SolveLinear(double a, double b);
// As nx_SolveLinear, into the caller's array.
NX_API int nx_SolveLinearRoots(double a, double b, double* roots);
// The roots of a x^2 + b x + c: two, one for a discriminant of exactly 0, or none.
NX_API int nx_SolveQuadratic(double a, double b, double c);
// As nx_SolveQuadratic, into the caller's array; where a is missing, the second slot becomes 0 first.
NX_API int nx_SolveQuadraticRoots(double a, double b, double c, double* roots);
// The roots of a x^3 + b x^2 + c x + d. Three real roots when D <= 0, D = q^2 + p^3 being the discriminant of the
// depressed cubic, in the order of the cosine formula (Vieta's). When D > 0 the result is 2 and three slots are written
// by a formula that leaves the square root of D out, so that they are roots only where D is close to 0 (a double root).
// Kept: programs rely on these numbers.
NX_API int nx_SolveCubic(double a, double b, double c, double d);
// As nx_SolveCubic, into the caller's array. One difference: for D of exactly 0 all three slots become the abscissa of
// the inflexion point and the result is 1. Where a is missing, the third slot becomes 0 first.
NX_API int nx_SolveCubicRoots(double a, double b, double c, double d, double* roots);
// The roots of a x^4 + b x^3 + c x^2 + d x + e, into Roots (Euler's resolvent cubic, 1738): four, some of them perhaps
// equal; two, the lower first; or none. Four distinct roots are in ascending or in descending order in the slots 0, 1,
// 3, 2. A discriminant within its own rounding error counts as 0, which means equal real roots: a complex pair that is
// real to within about 1e-7 of the size of the roots may come out as two equal ones. Roots are polished by Newton's
// method, as far as the coefficients determine them. Limitation: when two roots are more than some 1e7 times smaller
// than the two others, both of their slots hold their mean.
NX_API int nx_SolveQuartic(double a, double b, double c, double d, double e);

NX_END_DECLS

#endif
