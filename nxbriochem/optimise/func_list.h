// Function lists: an objective composed of terms, for an optimiser (opt.h) to minimise.
//
// A list is named by a handle from 0 up. It holds value, gradient and hessian terms, each in float or double, plain or
// extended by an integer of the caller's, which the term gets back on every call. Each evaluator calls only the terms
// of its own kind and precision: value evaluators the value terms, gradient evaluators the gradient terms, whose values
// they also sum. First come the plain terms in the order in which they were added, then the extended ones. All terms
// have the weight 1.
//
// While it is called, a term may use lists and optimisers, add terms to its own list (they are called from the next
// evaluation on) and delete its list (no further terms are called). It must not free all tracked memory. A handle that
// is not in use, null arrays, a null term and a negative n give 0 and change nothing.
#ifndef NXBRIOCHEM_OPTIMISE_FUNC_LIST_H
#define NXBRIOCHEM_OPTIMISE_FUNC_LIST_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// Value terms, plain and extended. x holds n variables.
typedef float (*nx_energy_term)(float* x, int n);
typedef float (*nx_extended_energy_term)(float* x, int n, int handle);
typedef double (*nx_energy_term_double)(double* x, int n);
typedef double (*nx_extended_energy_term_double)(double* x, int n, int handle);
// Gradient terms return their value and add their n derivatives to the gradient; in a list that protects its gradient
// they may overwrite it instead.
typedef float (*nx_gradient_term)(float* x, float* gradient, int n);
typedef float (*nx_extended_gradient_term)(float* x, float* gradient, int n, int handle);
typedef double (*nx_gradient_term_double)(double* x, double* gradient, int n);
typedef double (*nx_extended_gradient_term_double)(double* x, double* gradient, int n, int handle);
// Hessian terms. Kept: programs rely on these being stored and never called.
typedef float (*nx_hessian_term)(float* x, float* hessian, int n);
typedef float (*nx_extended_hessian_term)(float* x, float* hessian, int n, int handle);
typedef double (*nx_hessian_term_double)(double* x, double* hessian, int n);
typedef double (*nx_extended_hessian_term_double)(double* x, double* hessian, int n, int handle);

// A new empty list and its handle, 0 or above.
NX_API int nx_make_function_list(void);
// Deletes the list; 1. Its handle may be given out again.
NX_API int nx_delete_function_list(int list);

// From now on each term gets its own copy of x, so that what it writes there is lost. 1.
NX_API int nx_protect_function_list_variables(int list);
// From now on each gradient term gets its own gradient array, set to 0, which is then added to the caller's. 1.
NX_API int nx_protect_function_list_gradient(int list);
// From now on the caller's gradient array is not set to 0 first: gradients are added to what it holds. 1.
NX_API int nx_no_zero_function_list_gradient(int list);

// The functions that add a term give 1. The argument `ignored` is not used.
// Adds a plain float value term.
NX_API int nx_add_energy_function_to_list(nx_energy_term term, int ignored, int list);
// Adds a plain double value term.
NX_API int nx_add_energy_function_to_list_double(nx_energy_term_double term, int ignored, int list);
// Adds a plain float gradient term.
NX_API int nx_add_gradient_function_to_list(nx_gradient_term term, int ignored, int list);
// Adds a plain double gradient term.
NX_API int nx_add_gradient_function_to_list_double(nx_gradient_term_double term, int ignored, int list);
// Adds a plain float hessian term.
NX_API int nx_add_hessian_function_to_list(nx_hessian_term term, int ignored, int list);
// Adds a plain double hessian term.
NX_API int nx_add_hessian_function_to_list_double(nx_hessian_term_double term, int ignored, int list);
// Adds an extended float value term.
NX_API int nx_add_extended_energy_function_to_list(nx_extended_energy_term term, int handle, int ignored, int list);
// Adds an extended double value term.
NX_API int nx_add_extended_energy_function_to_list_double(nx_extended_energy_term_double term, int handle, int ignored,
                                                          int list);
// Adds an extended float gradient term.
NX_API int nx_add_extended_gradient_function_to_list(nx_extended_gradient_term term, int handle, int ignored, int list);
// Adds an extended double gradient term.
NX_API int nx_add_extended_gradient_function_to_list_double(nx_extended_gradient_term_double term, int handle,
                                                            int ignored, int list);
// Adds an extended float hessian term.
NX_API int nx_add_extended_hessian_function_to_list(nx_extended_hessian_term term, int handle, int ignored, int list);
// Adds an extended double hessian term.
NX_API int nx_add_extended_hessian_function_to_list_double(nx_extended_hessian_term_double term, int handle,
                                                           int ignored, int list);

// The sum of the float value terms at x.
NX_API float nx_function_list(float* x, int n, int list);
// The sum of the double value terms at x.
NX_API double nx_function_list_double(double* x, int n, int list);
// The sum of the float gradient terms at x, and of their derivatives into gradient (n).
NX_API float nx_gradient_list(float* x, float* gradient, int n, int list);
// As nx_gradient_list, of the double gradient terms.
NX_API double nx_gradient_list_double(double* x, double* gradient, int n, int list);
// 0, and the matrix is left alone: hessian terms are never evaluated.
NX_API float nx_hessian_list(float* x, float* hessian, int n, int list);
// 0, and the matrix is left alone.
NX_API double nx_hessian_list_double(double* x, double* hessian, int n, int list);

NX_END_DECLS

#endif
