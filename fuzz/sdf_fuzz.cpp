// The reader of SDF.
#include "fuzz/structures.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  return fuzz::read_structures("sdf", data, size);
}
