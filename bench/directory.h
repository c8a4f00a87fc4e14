// A directory for the files of one benchmark: in memory where possible, since waiting for a disk says nothing about the
// writers. (On ext4, a file that replaces another is sent to disk at once.)
#ifndef NXBRIOCHEM_BENCH_DIRECTORY_H
#define NXBRIOCHEM_BENCH_DIRECTORY_H

#include <unistd.h>

#include <filesystem>
#include <string>

namespace bench {

class Directory {
 public:
  Directory() { std::filesystem::create_directory(path_); }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  ~Directory() { std::filesystem::remove_all(path_); }

  // Always the same name, or another each time.
  std::string File(const std::string& stem, bool new_file) {
    return (path_ / (new_file ? stem + std::to_string(made_++) : stem)).string();
  }

 private:
  static std::filesystem::path Root() {
    const std::filesystem::path memory = "/dev/shm";
    return access(memory.c_str(), W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
  }

  std::filesystem::path path_ = Root() / ("nxbriochem_bench_" + std::to_string(getpid()));
  int made_ = 0;
};

}  // namespace bench

#endif
