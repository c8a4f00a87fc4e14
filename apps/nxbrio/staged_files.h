// Files that appear together, whole, once all of them could be written: what every command writes goes through here.
#ifndef NXBRIOCHEM_APPS_NXBRIO_STAGED_FILES_H
#define NXBRIOCHEM_APPS_NXBRIO_STAGED_FILES_H

#include <deque>
#include <string>
#include <string_view>

#include "descriptor.h"
#include "output_place.h"

namespace nxbrio {

// Contents are kept in memory until commit(), and nothing is on disk before. Symbolic links are followed. A file that
// is replaced keeps its mode, owner and group as far as the system lets it; a new one has those of any new file. What
// is there and no regular file, a device or a pipe, and what is an open descriptor of this process, as /dev/stdout, is
// written where it stands; nothing that it held is lost. Once a file goes to standard output, what the process prints
// there goes to standard error.
//
// All members throw Failure, with the file's path.
class StagedFiles {
 public:
  // A descriptor to write the contents of the file at this path to. It stays this object's.
  int stage(const std::string& path);
  // Makes all files appear. Regular files are on disk, under names of their own, before the first one is renamed;
  // should a later one fail then, the earlier ones are taken back, where the file system knows how.
  void commit();

 private:
  struct File {
    std::string path;
    OutputPlace place;
    // Memory.
    Descriptor contents;
    // Open already if it is standard output, of which this is a duplicate.
    Descriptor in_place;
  };

  std::deque<File> files_;
};

// Writes all of a text. False, with errno.
bool write_all(int descriptor, std::string_view text);

}  // namespace nxbrio

#endif
