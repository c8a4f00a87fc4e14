// State of the pseudo-random sequences, for their tests alone.
#ifndef NXBRIOCHEM_UTIL_PRAND_STATE_H
#define NXBRIOCHEM_UTIL_PRAND_STATE_H

#include <cstddef>
#include <cstdint>

namespace prand {

struct Sequence {
  uint32_t range;
  uint32_t state;
  uint32_t modulus;
  uint32_t multiplier;
  uint32_t increment;
};
static_assert(sizeof(Sequence) == 20 && offsetof(Sequence, range) == 0 && offsetof(Sequence, state) == 4 &&
              offsetof(Sequence, modulus) == 8 && offsetof(Sequence, multiplier) == 12 &&
              offsetof(Sequence, increment) == 16);

extern Sequence* rseq;
extern int32_t* rseq_occupancy;
extern int32_t RLnum;
extern int32_t RLinc;

// Fills modulus, multiplier and increment for the sequence's range, which is at least 1.
void DetermineSequence(Sequence& sequence);

// (high * 2^32 + low) modulo m, m not 0.
uint32_t DoubleModulus(uint32_t high, uint32_t low, uint32_t m);

}  // namespace prand

#endif
