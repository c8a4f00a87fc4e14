// Pseudo-random sequences: reproducible generators of integers in [0, N), each behind its own small positive handle.
// Equal N and seed give equal sequences. A sequence visits every value below N once before it repeats.
#ifndef NXBRIOCHEM_UTIL_PRAND_H
#define NXBRIOCHEM_UTIL_PRAND_H

#include <stdint.h>

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// A new sequence over [0, n) that starts from the seed. n is at least 1 and need not be a prime. 0 for n = 0.
NX_API int nx_make_rseq_with_prime_and_seed(uint32_t n, uint32_t seed);
// As nx_make_rseq_with_prime_and_seed, with seed 0.
NX_API int nx_make_rseq_with_prime(uint32_t n);
// As nx_make_rseq_with_prime_and_seed, with n = 70092 and seed 0.
NX_API int nx_make_rseq(void);

// Restarts the sequence from the seed, reduced modulo N when it exceeds N. 1; 0 for an unknown handle. Handles of the
// library's objects do not depend on it.
NX_API int nx_set_seed(int handle, uint32_t seed);
// 1; 0 for an unknown handle, and for the sequences that the library draws its own handles from. The handle may be
// given to the next sequence made.
NX_API int nx_delete_rseq(int handle);

// The functions below give 0 for an unknown handle.

// The next value, in [0, N).
NX_API uint32_t nx_rand(int handle);

// With d = high - low: `low` when d is 0; 0, without drawing, when d divides N; else a drawn value modulo d. Values up
// to and with N - N mod d are used, so that remainder 0 is slightly more likely than the others. Kept: programs rely on
// the 0 for a d that divides N, and on `low` not being added; callers add it.
NX_API int nx_rand_range(int handle, int low, int high);

// The next value as a float in [0, 1]: value / (N - 1), 0 when N is 1.
NX_API float nx_rand_float(int handle);
// The next value as a float in (0, 1]: (value + 1) / N.
NX_API float nx_rand_float_exclude_zero(int handle);
// The next value as a float in [0, 1): value / N.
NX_API float nx_rand_float_exclude_one(int handle);

NX_END_DECLS

#endif
