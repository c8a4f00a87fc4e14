// The refinement of one ligand. Private to the library.
#ifndef NXBRIODOCK_REFINER_H
#define NXBRIODOCK_REFINER_H

#include <nxbriodock/refine.h>

#include <functional>

#include "energy_object.h"

namespace nxbriodock {

// Called after each iteration; true ends the run.
using OnIteration = std::function<bool(int iteration, const Placement& placement, double value, bool pushing)>;

// Refines a placement on up to `threads` threads. What it needs of the object must not change meanwhile.
nxd_refinement refine(const Energy& energy, Placement& placement, int threads, const OnIteration& on_iteration,
                      Workspace& workspace);

}  // namespace nxbriodock

#endif
