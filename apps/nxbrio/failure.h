// The ways in which the program fails: the job could not be done (exit status 1), or the call was wrong (exit status
// 2). The text is one line, without the program's name.
#ifndef NXBRIOCHEM_APPS_NXBRIO_FAILURE_H
#define NXBRIOCHEM_APPS_NXBRIO_FAILURE_H

#include <stdexcept>

#include "nxbriofiles/failure.h"

namespace nxbrio {

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The job was interrupted (exit status 130); what was done is kept.
class Interrupted : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace nxbrio

#endif
