// The methods of nx_minimize, and what all of them share. Private to this directory.
#ifndef NXBRIOCHEM_OPTIMISE_OPT_METHODS_INTERNAL_H
#define NXBRIOCHEM_OPTIMISE_OPT_METHODS_INTERNAL_H

#include <cstdint>

namespace opt {

// Each minimises from x on, in a workspace of room_of(method, n) doubles. It leaves the best point found in x and its
// value in *value, and returns the result of nx_minimize.
int run_steepest_descent(int32_t slot, double* x, double* value);
int run_vector_only(int32_t slot, double* x, double* value);
int run_dense(int32_t slot, double* x, double* value);

uint64_t room_of(int32_t method, int32_t n);

// Whether all differences between the values after the last three iterations are below the energy convergence.
bool converged_over_last_three(int32_t slot, double value, double before, double before_that);

// Stores in the record what the getters return after a run. The step is that of the last line search.
void save_run(int32_t slot, int32_t iterations, double value, double step);
// As save_run, after an iteration, if nx_set_opt_itersave asked for it. The new x must be the point of the latest
// evaluation.
void save_iteration(int32_t slot, int32_t iterations, double value, double step);

// A run with the restart flag uses the curvature that the last run left, if that run had the same method and size. The
// record's reserved word says which curvature the workspace holds; it is 0 for a new workspace.
void keep_curvature(int32_t slot, int32_t method);
void drop_curvature(int32_t slot);
bool takes_up_curvature(int32_t slot, int32_t method);
// The number of doubles of the workspace that the kept curvature occupies; 0 when there is none.
uint64_t room_of_curvature(int32_t slot);

}  // namespace opt

#endif
