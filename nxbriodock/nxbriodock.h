// libnxbriodock: energies of a rigid ligand at a target with exact derivatives, poses and refinement. Valid C11 and
// C++.
//
// Conventions are those of libnxbriochem (<nxbriochem/nxbriochem.h>): status results are 1 for success and 0 for
// failure, and a call that fails queues an error that says why (nxbriochem/objects/error.h) and changes nothing.
// Nothing is thrown. Flat arrays lie one item after another. Lengths are in angstrom, charges in elementary charges,
// energies in kcal/mol, angles in radians; numbers are doubles.
//
// An energy object (energy.h) holds a target, a ligand, the terms between them and how to refine. It is named by a
// positive handle, which is never given out again, and which comes last. A handle of a molecule that is not there ends
// the process, as everywhere.
//
// Threads. Calls on different energy objects may be made from several threads at once, those on one object may not.
// Exceptions are the calls that take a molecule handle, which belong to libnxbriochem, and so to one thread at a time.
// Queues of messages belong to it as well: while other threads use them, calls must not fail.
// A fork waits until no thread looks up, makes or deletes an object; the child may use those that no thread was using.
#ifndef NXBRIODOCK_NXBRIODOCK_H
#define NXBRIODOCK_NXBRIODOCK_H

#include <nxbriodock/contributions.h>
#include <nxbriodock/energy.h>
#include <nxbriodock/pose.h>
#include <nxbriodock/refine.h>
#include <nxbriodock/uff.h>

#endif
