// The exception for a failed job on a file. The text is one line.
#ifndef NXBRIOFILES_FAILURE_H
#define NXBRIOFILES_FAILURE_H

#include <stdexcept>
#include <string>

namespace nxbrio {

class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  // "FILE: what is wrong"
  Failure(const std::string& file, const std::string& what) : std::runtime_error(file + ": " + what) {}
  // "FILE:LINE: what is wrong", lines from 1.
  Failure(const std::string& file, std::size_t line, const std::string& what)
      : std::runtime_error(file + ":" + std::to_string(line) + ": " + what) {}
};

}  // namespace nxbrio

#endif
