// The plain version of the pair sums, which defines the results of the others, and the choice among the versions.
#define NXD_WIDTH 1
#define NXD_SUM_PAIRS sum_pairs_plain
#include "pair_kernel.h"

namespace nxbriodock {
namespace {

Versions find_versions() {
  Versions found{{{"plain", sum_pairs_plain}, {"128-bit", sum_pairs_128}}, 2};
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2")) {
    found.version[found.count++] = {"256-bit", sum_pairs_256};
  }
#endif
  return found;
}

}  // namespace

const Versions& versions() {
  static const Versions all = find_versions();
  return all;
}

}  // namespace nxbriodock
