// The methods of nx_minimize, and what all of them share. Private to this directory.
#ifndef NXBRIOCHEM_OPTIMISE_OPT_METHODS_INTERNAL_H
#define NXBRIOCHEM_OPTIMISE_OPT_METHODS_INTERNAL_H

#include <cstdint>

namespace opt {

// Each runs from x on, in a workspace of the doubles that room_of names, leaves the best point found in x and its value
// in *value, and gives the result of nx_minimize.
int run_steepest_descent(int32_t slot, double* x, double* value);
int run_vector_only(int32_t slot, double* x, double* value);
int run_dense(int32_t slot, double* x, double* value);

uint64_t room_of(int32_t method, int32_t n);

// Whether the energy convergence exceeds all differences of the values after the last three iterations.
bool converged_over_last_three(int32_t slot, double value, double before, double before_that);

// Keeps what the getters give of a run, at its end. The step is that of the last line search.
void save_run(int32_t slot, int32_t iterations, double value, double step);
// Keeps it after an iteration, if the caller asked for it. The new x is the point of the latest evaluation.
void save_iteration(int32_t slot, int32_t iterations, double value, double step);

// A run with the restart flag takes up the curvature that the last run left, if that had the same method and size. The
// record's reserved word says what the workspace keeps; it is 0 for a new workspace.
void keep_curvature(int32_t slot, int32_t method);
void drop_curvature(int32_t slot);
bool takes_up_curvature(int32_t slot, int32_t method);
// The doubles of workspace that the kept curvature takes up; 0 for none.
uint64_t room_of_curvature(int32_t slot);

}  // namespace opt

#endif
