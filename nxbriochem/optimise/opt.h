// Optimisers: minimisation of functions of many variables.
//
// An optimiser is a small record in a private table (not an object of the registry), named by a handle from 1 up. It
// holds the size of the problem, the callbacks, the thresholds and the workspace of the method. All functions give 1,
// and 0 when the handle is not in use; nothing is queued. Some take the handle first, some last. Kept: programs rely on
// the argument orders.
//
// In what follows x is the vector of n variables. One run at a time: from within a callback other optimisers may be
// made, changed, cleared and deleted, but none can be run, and the one that is running can neither be cleared, deleted
// nor given another size; these calls give 0. Callbacks must return, and must not free all tracked memory.
//
// The line-search methods are quasi-Newton ones. The dense method is BFGS on the inverse matrix (Nocedal and Wright,
// Numerical Optimization, 2nd ed., 6.1), made larger before an update where it promised too much curvature. The
// vector-only method is the limited-memory form (Nocedal, Math. Comput. 35 (1980) 773). Both use a line search for the
// strong Wolfe conditions (Nocedal and Wright, 3.5; Fletcher, Practical Methods of Optimization, 2.6).
//
// At debug level 2 a run tells on standard output what it does. Kept: programs rely on the texts, which speak of an
// "overlap volume" whatever the value is.
#ifndef NXBRIOCHEM_OPTIMISE_OPT_H
#define NXBRIOCHEM_OPTIMISE_OPT_H

#include <nxbriochem/export.h>
#include <nxbriochem/optimise/line_search.h>

NX_BEGIN_DECLS

// The value at x. Callbacks must leave x as it is.
typedef double (*nx_opt_function)(double* x, int n);
// The value at x, and its n derivatives into gradient.
typedef double (*nx_opt_gradient)(double* x, double* gradient, int n);
// The second derivatives at x into the n x n matrix, row by row, which comes cleared. The result is not used.
typedef double (*nx_opt_hessian)(double* x, double* hessian, int n);
// The three callbacks with a handle of the caller's, which is passed on.
typedef double (*nx_opt_function_with_handle)(double* x, int n, int handle);
typedef double (*nx_opt_gradient_with_handle)(double* x, double* gradient, int n, int handle);
typedef double (*nx_opt_hessian_with_handle)(double* x, double* hessian, int n, int handle);

// A new optimiser of n variables and its handle; 0 for a negative n. The function may be null, and n may be 0, until a
// run.
NX_API int nx_init_opt(int n, nx_opt_function function);
// Frees what the optimiser holds and restores every default, the size becoming 0. The method stays, and the handle.
NX_API int nx_clear_opt(int opt);
// Deletes the optimiser. Its handle may be given out again.
NX_API int nx_delete_opt(int opt);

// Sets the number of variables; 0 for a negative one.
NX_API int nx_set_opt_size(int n, int opt);
// The value callback, in place of one with a handle.
NX_API int nx_set_opt_function(nx_opt_function function, int opt);
// The value callback with a handle, in place of one without.
NX_API int nx_set_opt_function_with_handle(nx_opt_function_with_handle function, int handle, int opt);
// The gradient callback, in place of one with a handle.
NX_API int nx_set_opt_gradient(nx_opt_gradient gradient, int opt);
// As nx_set_opt_gradient, with the handle first.
NX_API int nx_set_opt_derivs(int opt, nx_opt_gradient gradient);
// The gradient callback with a handle, in place of one without.
NX_API int nx_set_opt_gradient_with_handle(nx_opt_gradient_with_handle gradient, int handle, int opt);
// The hessian callback, in place of one with a handle. It is asked for the start matrix of the dense method.
NX_API int nx_set_opt_hessian(nx_opt_hessian hessian, int opt);
// As nx_set_opt_hessian, with the handle first.
NX_API int nx_set_opt_2nd_derivs(int opt, nx_opt_hessian hessian);
// The hessian callback with a handle, in place of one without.
NX_API int nx_set_opt_hessian_with_handle(nx_opt_hessian_with_handle hessian, int handle, int opt);
// The value of a function list (func_list.h) as the value callback.
NX_API int nx_set_opt_function_list(int list, int opt);
// Its gradient as the gradient callback.
NX_API int nx_set_opt_gradient_list(int list, int opt);
// Its hessian as the hessian callback. Since that leaves the matrix alone, this only chooses the dense method.
NX_API int nx_set_opt_hessian_list(int list, int opt);

// Chooses the method: code 0 the vector-only method and 400 iterations, 1 and 3 steepest descent and 400, 2 the dense
// quasi-Newton method and 200. Kept: programs rely on these crossed codes. The limit stays when the caller has set it.
// Any other code changes nothing and gives 1 if a method is already chosen, else 0.
//
// An optimiser for which no method was chosen takes one at its first run: the dense one with a hessian callback; with a
// gradient callback the vector-only one above 40 variables, else the dense one; without either steepest descent. That
// choice leaves the limit alone: 200 then holds for all of them. It stays, unless the optimiser had no callback at all:
// then the first callback that is set undoes it.
NX_API int nx_set_opt_method(int opt, int method);
// The most iterations of a run (200). From now on nx_set_opt_method leaves it alone.
NX_API int nx_set_opt_maximum_iterations(int opt, int count);
// The smallest step (1e-50): steepest descent fails when its step is halved below it.
NX_API int nx_set_opt_zero(int opt, float zero);
// A run has converged when the sum of the squares of the derivatives is below this (1e-50).
NX_API int nx_set_opt_gradient_convergence(int opt, double threshold);
// A run has converged when the values of the last three iterations differ by less than this (1e-50), whatever the line
// searches reported. This includes three iterations in a row without a lower value, because of rounding, a kink or a
// wrong gradient. 0 switches the test off.
NX_API int nx_set_opt_energy_convergence(int opt, double threshold);
// A line search accepts a step that lowers the value, and by at least alpha (0.1) of what the slope promises ...
NX_API int nx_set_opt_alpha(int opt, float alpha);
// ... and where the slope is below beta (0.9) of what it was.
NX_API int nx_set_opt_beta(int opt, float beta);
// The first step of a run along its first direction, of a restart too; 0 leaves it to the method.
NX_API int nx_set_opt_stepsize(int opt, float step);
// The step of the last line search of the last run, or steepest descent's last step; 0 before any. Kept: programs rely
// on its not being what nx_set_opt_stepsize has set.
NX_API int nx_get_opt_stepsize(int opt, float* step);
// How often a line search tries beyond its two built-in tries (0): a negative count takes from these, and one above
// 1000 is 1000.
NX_API int nx_set_opt_max_line_try(int opt, int tries);
// Whether a line search that extrapolates backwards takes the step mirrored at its end instead (0).
NX_API int nx_set_opt_alt_step(int opt, int on);
// Whether the four results below are kept up to date after each iteration of a run (0), for a callback to follow. When
// the iterations have gone up since a gradient callback was last called, the x of that call is the new iterate.
NX_API int nx_set_opt_itersave(int opt, int on);
// From now on a run takes up what the last run of the same method and size left, instead of starting from nothing: the
// curvature, or with steepest descent, unless the run failed, its last step. A first step that is set comes before
// both.
NX_API int nx_set_opt_restart(int opt);
// 0 silent; from 1 on the dense method prints "Abnormal Termination! Gradient identically zero." where all derivatives
// are 0 at the start and "Abnormal Termination! Hessian Update with zero vectors" where a step changes nothing; 2
// everything. Being out of iterations is no abnormal end.
NX_API int nx_set_opt_debug(int opt, int level);
// Evaluations that the last run asked of the callbacks.
NX_API int nx_get_opt_total_function_calls(int opt, int* calls);
// Iterations of the last run.
NX_API int nx_get_opt_total_iterations(int opt, int* iterations);
// The value that the last run ended with.
NX_API int nx_get_opt_saveval(int opt, float* value);

// Minimises from x on and leaves the best point found in x and its value in *value.
//
// 1 when it has converged: by one of the two thresholds; where no lower value is to be found because rounding is all
// that is left; or where it creeps towards a singular minimum and what is left to gain is below rounding. 0 when it has
// not: out of iterations, values that are not finite, no value callback (steepest descent) or no callback at all
// (*value is NaN then), or a step below the smallest. The line-search methods also give 0 where all derivatives are
// exactly 0 at the start, which steepest descent takes for convergence, and where the very first search accepts
// nothing. The dense method does so even at a minimum to working precision; the vector-only one makes sure of that and
// gives 1.
//
// Without a gradient callback derivatives are central differences of the value. A gradient the sum of whose squares is
// not finite counts as not finite: derivatives above some 1e154 are out of range.
NX_API int nx_minimize(double* x, double* value, int opt);
// As nx_minimize, on a copy of x that is copied back at the end.
NX_API int nx_minimize_d(double* x, double* value, int opt);
// As nx_minimize_d, from floats and back to floats; the run itself is in double.
NX_API int nx_minimize_f(float* x, float* value, int opt);

NX_END_DECLS

#endif
