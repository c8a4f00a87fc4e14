// Sequences that the library keeps for itself. Not exported.
#ifndef NXBRIOCHEM_UTIL_PRAND_KEEP_INTERNAL_H
#define NXBRIOCHEM_UTIL_PRAND_KEEP_INTERNAL_H

namespace prand {

// Makes nx_delete_rseq refuse the sequence, which must exist: handles drawn from it name live objects, and small
// numbers like its own are easily mistaken for a caller's.
void keep(int handle);

}  // namespace prand

#endif
