// How the program gives up: the job could not be done (exit status 1), or it was called wrongly (exit status 2). The
// text is one line, without the program's name.
#ifndef NXBRIOCHEM_APPS_NXBRIO_FAILURE_H
#define NXBRIOCHEM_APPS_NXBRIO_FAILURE_H

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

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace nxbrio

#endif
