// Optimisers: minimisation of functions of many variables.
//
// An optimiser is a small record in a private table (not an object of the registry), named by a handle from 1 up. It
// holds the size of the problem, the callbacks, the thresholds and the workspace of the method. All functions give 1,
// and 0 when the handle is not in use; nothing is queued. Some take the handle first, some last. Kept: programs rely on
// the argument orders.
//
// Below, x is the vector of n variables. Only one run at a time is possible. A callback may make, change, clear and
// delete other optimisers, but it cannot run one, and it cannot clear, delete or resize the one that is running: these
// calls give 0. Callbacks must return, and must not free all tracked memory.
//
// The line-search methods are quasi-Newton ones. The dense method is BFGS on the inverse matrix (Nocedal and Wright,
// Numerical Optimization, 2nd ed., 6.1), scaled up before an update where it predicted too much curvature. The
// vector-only method is the limited-memory form (Nocedal, Math. Comput. 35 (1980) 773). Both use a line search for the
// strong Wolfe conditions (Nocedal and Wright, 3.5; Fletcher, Practical Methods of Optimization, 2.6).
//
// At debug level 2 a run prints a trace on standard output. Kept: programs rely on the texts, which call the value
// "overlap volume" whatever it is.
#ifndef NXBRIOCHEM_OPTIMISE_OPT_H
#define NXBRIOCHEM_OPTIMISE_OPT_H

#include <nxbriochem/export.h>
#include <nxbriochem/optimise/line_search.h>

NX_BEGIN_DECLS

// The value at x. Callbacks must leave x as it is.
typedef double (*nx_opt_function)(double* x, int n);
// Returns the value at x and writes its n derivatives into gradient.
typedef double (*nx_opt_gradient)(double* x, double* gradient, int n);
// Writes the second derivatives at x into the n x n matrix, row by row. The matrix is all 0 before the call. The result
// is not used.
typedef double (*nx_opt_hessian)(double* x, double* hessian, int n);
// The three callbacks in the form with a handle: an integer of the caller's, which is passed to every call.
typedef double (*nx_opt_function_with_handle)(double* x, int n, int handle);
typedef double (*nx_opt_gradient_with_handle)(double* x, double* gradient, int n, int handle);
typedef double (*nx_opt_hessian_with_handle)(double* x, double* hessian, int n, int handle);

// Makes an optimiser of n variables and returns its handle; 0 for a negative n. The function may be null and n may be
// 0; both can be set later.
NX_API int nx_init_opt(int n, nx_opt_function function);
// Frees what the optimiser holds and restores every default, the size becoming 0. The method stays, and the handle.
NX_API int nx_clear_opt(int opt);
// Deletes the optimiser. Its handle may be given out again.
NX_API int nx_delete_opt(int opt);

// Sets the number of variables; 0 for a negative one.
NX_API int nx_set_opt_size(int n, int opt);
// Sets the value callback and removes the one with a handle.
NX_API int nx_set_opt_function(nx_opt_function function, int opt);
// Sets the value callback with a handle and removes the one without.
NX_API int nx_set_opt_function_with_handle(nx_opt_function_with_handle function, int handle, int opt);
// Sets the gradient callback and removes the one with a handle.
NX_API int nx_set_opt_gradient(nx_opt_gradient gradient, int opt);
// As nx_set_opt_gradient, with the handle first.
NX_API int nx_set_opt_derivs(int opt, nx_opt_gradient gradient);
// Sets the gradient callback with a handle and removes the one without.
NX_API int nx_set_opt_gradient_with_handle(nx_opt_gradient_with_handle gradient, int handle, int opt);
// Sets the hessian callback and removes the one with a handle. The dense method calls it at its start and inverts the
// matrix to start from.
NX_API int nx_set_opt_hessian(nx_opt_hessian hessian, int opt);
// As nx_set_opt_hessian, with the handle first.
NX_API int nx_set_opt_2nd_derivs(int opt, nx_opt_hessian hessian);
// Sets the hessian callback with a handle and removes the one without.
NX_API int nx_set_opt_hessian_with_handle(nx_opt_hessian_with_handle hessian, int handle, int opt);
// Makes the value of a function list (func_list.h) the value callback.
NX_API int nx_set_opt_function_list(int list, int opt);
// Makes the gradient of a function list the gradient callback.
NX_API int nx_set_opt_gradient_list(int list, int opt);
// Makes the hessian of a function list the hessian callback. That callback leaves the matrix alone, so that the only
// effect is that the automatic choice takes the dense method.
NX_API int nx_set_opt_hessian_list(int list, int opt);

// Chooses the method: code 0 the vector-only method and 400 iterations, 1 and 3 steepest descent and 400, 2 the dense
// quasi-Newton method and 200. Kept: programs rely on these crossed codes. The limit stays when the caller has set it.
// Any other code changes nothing and gives 1 if a method is already chosen, else 0.
//
// An optimiser for which no method was chosen takes one at its first run: the dense one with a hessian callback; with a
// gradient callback the vector-only one above 40 variables, else the dense one; without either steepest descent. That
// choice does not change the limit, which is 200 for all methods then. It stays, except when the optimiser had no
// callback at all: then setting a first callback undoes it.
NX_API int nx_set_opt_method(int opt, int method);
// The most iterations of a run (200). After this call nx_set_opt_method no longer changes it.
NX_API int nx_set_opt_maximum_iterations(int opt, int count);
// The smallest step (1e-50): steepest descent fails when its step is halved below it.
NX_API int nx_set_opt_zero(int opt, float zero);
// A run has converged when the sum of the squares of the derivatives is below this (1e-50).
NX_API int nx_set_opt_gradient_convergence(int opt, double threshold);
// A run has converged when the values of the last three iterations differ by less than this (1e-50), whether or not the
// line searches succeeded. This includes three iterations in a row without a lower value, whether the reason is
// rounding, a kink or a wrong gradient. 0 switches the test off.
NX_API int nx_set_opt_energy_convergence(int opt, double threshold);
// A line search accepts a step that lowers the value by at least alpha (0.1) times the step times the slope at the
// start ...
NX_API int nx_set_opt_alpha(int opt, float alpha);
// ... if the slope there is below beta (0.9) times the slope at the start, both in magnitude.
NX_API int nx_set_opt_beta(int opt, float beta);
// The first step of each run along its first direction, also after nx_set_opt_restart; 0 leaves the choice to the
// method.
NX_API int nx_set_opt_stepsize(int opt, float step);
// The step of the last line search of the last run, or the last step of steepest descent; 0 before any run. Kept:
// programs rely on its not being what nx_set_opt_stepsize has set.
NX_API int nx_get_opt_stepsize(int opt, float* step);
// How many tries a line search makes beyond its two built-in ones (0). A negative count reduces those; one above 1000
// counts as 1000.
NX_API int nx_set_opt_max_line_try(int opt, int tries);
// Whether a line search that extrapolates to a step before the end b of its interval also tries the step mirrored at b
// (0).
NX_API int nx_set_opt_alt_step(int opt, int on);
// Whether the four results below are kept up to date after each iteration of a run (0), for a callback to follow. When
// the number of iterations is higher than at the previous call of a gradient callback, the x of that previous call is
// the new iterate.
NX_API int nx_set_opt_itersave(int opt, int on);
// After this call a run starts with what the last run of the same method and size left: the curvature, or in steepest
// descent the last step, unless that run failed. A first step set by nx_set_opt_stepsize takes precedence.
NX_API int nx_set_opt_restart(int opt);
// 0 prints nothing. From 1 on the dense method prints "Abnormal Termination! Gradient identically zero." when all
// derivatives are 0 at the start and "Abnormal Termination! Hessian Update with zero vectors" when a step changes
// nothing. 2 prints the trace. Running out of iterations is not an abnormal end.
NX_API int nx_set_opt_debug(int opt, int level);
// The number of callback evaluations in the last run.
NX_API int nx_get_opt_total_function_calls(int opt, int* calls);
// Iterations of the last run.
NX_API int nx_get_opt_total_iterations(int opt, int* iterations);
// The value at the end of the last run.
NX_API int nx_get_opt_saveval(int opt, float* value);

// Minimises from x on and leaves the best point found in x and its value in *value.
//
// Returns 1 when the run has converged: by one of the two thresholds; because rounding prevents any lower value; or
// because it converges slowly to a singular minimum and the remaining decrease is below rounding. Returns 0 when it has
// not: out of iterations, values that are not finite, no value callback (steepest descent) or no callback at all
// (*value is NaN then), or a step below the smallest. The line-search methods also give 0 where all derivatives are
// exactly 0 at the start (steepest descent counts that as convergence) and where the very first search accepts nothing.
// When that happens at a minimum to working precision, the dense method still gives 0; the vector-only one checks for
// it and gives 1.
//
// Without a gradient callback, derivatives are central differences of the value. A gradient counts as not finite when
// the sum of its squares is not finite: derivatives above some 1e154 are out of range.
NX_API int nx_minimize(double* x, double* value, int opt);
// As nx_minimize, on a copy of x that is copied back at the end.
NX_API int nx_minimize_d(double* x, double* value, int opt);
// As nx_minimize_d, from floats and back to floats; the run itself is in double.
NX_API int nx_minimize_f(float* x, float* value, int opt);

NX_END_DECLS

#endif
