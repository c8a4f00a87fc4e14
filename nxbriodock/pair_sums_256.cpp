// The pair sums in vectors of four doubles. The build compiles this source for processors with AVX2.
#define NXD_WIDTH 4
#define NXD_SUM_PAIRS sum_pairs_256
#if defined(__AVX2__)
#include "pair_kernel.h"
#endif
