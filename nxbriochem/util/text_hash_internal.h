// Hash of a text, for indexes by name. Not exported.
#ifndef NXBRIOCHEM_UTIL_TEXT_HASH_INTERNAL_H
#define NXBRIOCHEM_UTIL_TEXT_HASH_INTERNAL_H

#include <cstddef>
#include <cstdint>

namespace util {

// FNV-1a hash of the characters up to the NUL, of at most `most` of them.
inline uint64_t text_hash(const char* text, std::size_t most = SIZE_MAX) {
  uint64_t hash = 0xCBF29CE484222325U;
  for (std::size_t i = 0; i < most && text[i] != '\0'; ++i) {
    hash = (hash ^ static_cast<unsigned char>(text[i])) * 0x100000001B3U;
  }
  return hash;
}

}  // namespace util

#endif
