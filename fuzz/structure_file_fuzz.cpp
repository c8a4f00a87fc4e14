// A structure file, plain or gzipped, of a format that its content tells.
#include "fuzz/structures.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  return fuzz::read_structures(nullptr, data, size);
}
