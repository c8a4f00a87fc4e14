// What the molecule layer does when memory runs out: it ends the process, since nothing is thrown to a caller. Not
// exported.
#ifndef NXBRIOCHEM_MOLECULES_GUARDED_INTERNAL_H
#define NXBRIOCHEM_MOLECULES_GUARDED_INTERNAL_H

#include <new>
#include <stdexcept>

#include <nxbriochem/toolkit/nxsystem.h>

namespace NxBrioChem {

// Runs the body of an exported function. The model and its containers throw when the heap is exhausted; that becomes a
// fatal report, exit status 1.
template <class Body>
auto guarded(Body body) noexcept -> decltype(body()) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    NxSystem::NxThrow.Fatal("Out of memory in the molecule layer");
  } catch (const std::length_error&) {
    NxSystem::NxThrow.Fatal("Out of memory in the molecule layer");
  }
}

}  // namespace NxBrioChem

#endif
