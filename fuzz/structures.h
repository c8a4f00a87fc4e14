// What is alike in the targets that read structures: what a molecule that was read promises, and its way through the
// libraries.
#ifndef NXBRIOCHEM_FUZZ_STRUCTURES_H
#define NXBRIOCHEM_FUZZ_STRUCTURES_H

#include <cstddef>
#include <cstdint>

namespace fuzz {

// Reads the bytes as a file of this format, or of the one that its content tells, record by record and at once. A text
// that is refused is well, and so is a record.
int read_structures(const char* format, const uint8_t* data, std::size_t size);

}  // namespace fuzz

#endif
