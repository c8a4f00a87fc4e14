// A function of the handle tables that only the molecule functions use. Not exported.
#ifndef NXBRIOCHEM_MOLECULES_MEMMGR_INTERNAL_H
#define NXBRIOCHEM_MOLECULES_MEMMGR_INTERNAL_H

namespace memmgr {

// Drops one reference to a valid handle whose molecule was just destroyed. References that are left keep the handle
// from being given out; until then dereferencing it is fatal, and releasing it by handle drops one.
void release_destroyed(int handle);

}  // namespace memmgr

#endif
