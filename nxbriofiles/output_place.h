// The target of an output path: a file that is made or replaced in its directory; or a device, a pipe or an open
// descriptor of this process, which is written in place.
#ifndef NXBRIOFILES_OUTPUT_PLACE_H
#define NXBRIOFILES_OUTPUT_PLACE_H

#include <sys/stat.h>

#include <optional>
#include <string>

#include "descriptor.h"

namespace nxbrio {

class OutputPlace {
 public:
  // Follows symbolic links, also to files that do not exist yet. The directory is held open, so that its path may be of
  // any length. Throws Failure, "PATH: ...", when nothing can be written there.
  explicit OutputPlace(const std::string& path);

  // Whether this is a regular file or nothing yet, which a rename replaces.
  bool is_replaced() const { return replaced_; }
  // The directory and the name within it.
  int directory() const { return directory_.number(); }
  const std::string& name() const { return name_; }
  // What is there, if anything is.
  const std::optional<struct stat>& existing() const { return existing_; }

  // Whether what is written here goes to standard output.
  bool is_standard_output() const { return stream_ == STDOUT_FILENO; }
  // Opens a target that is written in place, for writing at its end: an open descriptor of this process as a duplicate,
  // so that nothing written through it before is lost. None, with errno, when it cannot be opened.
  Descriptor open() const;

 private:
  Descriptor directory_;
  std::string name_;
  std::optional<struct stat> existing_;
  bool replaced_ = true;
  // The number of an open descriptor of this process, or -1.
  int stream_ = -1;
};

// Whether two paths lead to one file, by links or by name, or to one that is not there yet. False where either leads
// nowhere.
bool same_output(const std::string& one, const std::string& other);

}  // namespace nxbrio

#endif
