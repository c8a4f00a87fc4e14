// Some requests end the process; a fuzz target must outlive them. Targets are linked so that the library's exit comes
// here (-Wl,--wrap=exit).
#ifndef NXBRIOCHEM_FUZZ_EXIT_TRAP_H
#define NXBRIOCHEM_FUZZ_EXIT_TRAP_H

#include <functional>

namespace fuzz {

// Runs the call. False when it wanted to end the process, which went back here instead: what stood between owns
// nothing that a destructor would have to release.
bool returns(const std::function<void()>& call);

// The status of the last exit that was caught.
int last_status();

}  // namespace fuzz

#endif
