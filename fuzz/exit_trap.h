// Some requests end the process, but a fuzz target must continue. Targets are linked with -Wl,--wrap=exit, so that the
// library's calls of exit come here.
#ifndef NXBRIOCHEM_FUZZ_EXIT_TRAP_H
#define NXBRIOCHEM_FUZZ_EXIT_TRAP_H

#include <functional>

namespace fuzz {

// Runs the call. False when it called exit, which jumps back here instead. No destructors run for the functions that
// are left; they own nothing.
bool returns(const std::function<void()>& call);

// The status of the last exit that was caught.
int last_status();

}  // namespace fuzz

#endif
