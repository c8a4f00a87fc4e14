// A file of the input's bytes that lives in memory and has a path, for what reads files by name.
#ifndef NXBRIOCHEM_FUZZ_MEMORY_FILE_H
#define NXBRIOCHEM_FUZZ_MEMORY_FILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "fuzz/check.h"

namespace fuzz {

class MemoryFile {
 public:
  explicit MemoryFile(std::string_view bytes) : descriptor_(memfd_create("input", 0)) {
    check(descriptor_ >= 0, "a file can be made");
    check(write(descriptor_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "it can be written");
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { close(descriptor_); }

  // Each opening of it starts at the beginning.
  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

}  // namespace fuzz

#endif
