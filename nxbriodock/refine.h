// Refinement: minimises the energy of a rigid ligand from a pose.
//
// Newton's method in the six variables, with exact second derivatives and steps within a trust region (More and
// Sorensen, SIAM J. Sci. Stat. Comput. 4 (1983) 553; Nocedal and Wright, Numerical Optimization, 2nd ed., chapter 4):
// where the curvature is negative, as midway between two minima, a step goes to the lower side. No step is longer than
// the largest step (nxd_set_refine_step); at more than 5 angstrom from the target, half of the distance to it. So a
// ligand does not jump out of its minimum's basin, and a run that leads away from the target is reported as such. A
// ligand that starts inside the target is pushed out first, by a soft 12-6 term alone. A run that finds no lower energy
// keeps its start.
//
// The terms, the threads and all else are those of the energy object (energy.h).
#ifndef NXBRIODOCK_REFINE_H
#define NXBRIODOCK_REFINE_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// How a run ended.
enum {
  // Nothing was done.
  NXD_NOT_STARTED = 0,
  // At a minimum: the gradient is below the tolerance, and the energy curves down in no direction.
  NXD_CONVERGED = 1,
  // At a minimum, but atoms overlap and no attraction compensates for it.
  NXD_JAMMED = 2,
  // At a place that is a minimum only because the energy is flat there: the nearest atoms are over 8 angstrom apart.
  NXD_FLAT = 3,
  // The ligand moves away without limit: the nearest atoms are over 1000 angstrom apart, and farther than at the start.
  NXD_LET_GO = 4,
  // No lower energy is to be found, though the gradient is not below the tolerance: rounding is all that is left.
  NXD_NO_PROGRESS = 5,
  // The largest number of iterations was reached.
  NXD_OUT_OF_ITERATIONS = 6,
  // Stopped by a callback or by the flag.
  NXD_INTERRUPTED = 7,
  // The energy at the start, or its derivatives, are not finite; the pose is that of the start.
  NXD_NOT_FINITE = 8
};

// The result of a run, at its final pose.
typedef struct nxd_refinement {
  // The Coulomb term times its weight, kcal/mol.
  double coulomb;
  // The 12-6 term times its weight, kcal/mol.
  double twelve_six;
  // The length of the gradient in the six variables, kcal/mol/angstrom.
  double gradient;
  // The Coulomb term at the start.
  double start_coulomb;
  // The 12-6 term at the start.
  double start_twelve_six;
  // The closest contact's distance, angstrom, as nxd_get_closest_contact has it.
  double distance;
  // That distance as a fraction of the pair's 12-6 distance.
  double fraction;
  // Iterations made.
  int iterations;
  // Values and gradients computed.
  int evaluations;
  // One of the codes above.
  int ended;
  // Whether it started inside the target: the closest contact's fraction was below 0.45, as near as bonded atoms.
  int started_inside;
  // Whether nothing lower was found, and the start was kept.
  int start_kept;
  // Whether atoms overlap: inside as above, or, with a 12-6 energy above 0, a total above 0 or a fraction below 0.6.
  int overlaps;
} nxd_refinement;

// Moves a pose to a minimum; result may be null. 1 when it ran, however it ended; 0 with nothing changed when it did
// not: no target, no ligand, no pose.
NX_API int nxd_refine_pose(double* pose, nxd_refinement* result, int energy);
// As nxd_refine_pose, for n poses (7n doubles) one by one, with the threads of the energy object. Results have the bits
// of nxd_refine_pose; `results` may be null. After an interruption, poses that were not begun are unchanged
// (NXD_NOT_STARTED), and those that were being refined are at the lowest point found (NXD_INTERRUPTED). The number of
// poses that are finished; -1 when it fails.
NX_API int nxd_refine_poses(double* poses, nxd_refinement* results, int n, int energy);
// The word for how a run ended, static: "converged", "jammed", "flat", "let go", "no progress", "out of iterations",
// "interrupted", "not finite", "not started"; null for another number.
NX_API const char* nxd_get_ending_name(int ended);

// The most iterations of a run, 300 at first; 0 leaves the pose unchanged and computes its energy.
NX_API int nxd_set_refine_iterations(int most, int energy);
// The length of the gradient below which a pose may be a minimum, 1e-3 kcal/mol/angstrom at first. With the stiffness
// of a contact, some 10 kcal/mol/angstrom^2, that corresponds to 0.0001 angstrom.
NX_API int nxd_set_refine_tolerance(double gradient, int energy);
// The largest step in the six variables, angstrom, 0.3 at first.
NX_API int nxd_set_refine_step(double largest, int energy);
// Whether a ligand that starts inside the target is pushed out first; 1 at first.
NX_API int nxd_set_refine_push(int on, int energy);

// Called after each iteration of nxd_refine_pose, with the lowest pose so far and the energy that is being minimised
// (that of the soft term while `pushing`). A result other than 0 ends the run.
typedef int (*nxd_iteration_callback)(int iteration, const double* pose, double value, int pushing, void* data);
// Called by nxd_refine_poses, on the thread that called it, after each finished pose, and at least some ten times a
// second, with the number of finished poses. A result other than 0 ends the work.
typedef int (*nxd_poses_callback)(int done, int n, void* data);
// Sets the first callback; null for none. `data` is passed to it.
NX_API int nxd_set_iteration_callback(nxd_iteration_callback callback, void* data, int energy);
// As nxd_set_iteration_callback, for the callback of nxd_refine_poses.
NX_API int nxd_set_poses_callback(nxd_poses_callback callback, void* data, int energy);
// Sets a flag of the caller's: nxd_refine_pose and nxd_refine_poses end when it is not 0. A signal handler may set it.
// Null for none. The flag must stay valid.
NX_API int nxd_set_interrupt_flag(const volatile int* flag, int energy);

NX_END_DECLS

#endif
