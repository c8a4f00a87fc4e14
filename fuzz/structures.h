// What is alike in the targets that read structures: what a structure promises, and its way through the library.
#ifndef NXBRIOCHEM_FUZZ_STRUCTURES_H
#define NXBRIOCHEM_FUZZ_STRUCTURES_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "apps/nxbrio/structure.h"

namespace fuzz {

using Reader = std::vector<nxbrio::Structure> (*)(const std::string&, std::string_view, nxbrio::Models);

// Reads the text as one model and as all, and makes molecules of what was read. A text that is refused is well; an
// input with a NUL byte, which no reader is ever given, is passed over.
int read_structures(Reader reader, const uint8_t* data, std::size_t size);

// Checks each model and takes it through the library.
void use_models(std::vector<nxbrio::Structure>& models);

}  // namespace fuzz

#endif
