// The pair sums in vectors of two doubles, which every 64-bit processor has.
#define NXD_WIDTH 2
#define NXD_SUM_PAIRS sum_pairs_128
#include "pair_kernel.h"
