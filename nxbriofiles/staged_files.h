// The files that a command writes. They appear together and whole, once all of them could be written.
#ifndef NXBRIOFILES_STAGED_FILES_H
#define NXBRIOFILES_STAGED_FILES_H

#include <deque>
#include <string>
#include <string_view>

#include "descriptor.h"
#include "output_place.h"

namespace nxbrio {

// Contents are kept in memory until commit(); nothing is on disk before. Symbolic links are followed. A replaced file
// keeps its mode, owner and group as far as the system allows; a new one gets the usual ones. Devices, pipes and open
// descriptors of this process, such as /dev/stdout, are written in place, without truncation.
//
// All members throw Failure with the file's path.
class StagedFiles {
 public:
  // Where the process prints when a file is written to standard output: still there, or on standard error.
  enum class Printing { Stays, GoesToStandardError };
  explicit StagedFiles(Printing printing = Printing::GoesToStandardError) : printing_(printing) {}

  // Returns a descriptor to write the contents of the file at this path to. This object owns the descriptor.
  int stage(const std::string& path);
  // Makes all files appear. All regular files are on disk, under temporary names, before the first one is renamed. When
  // a later rename fails, the earlier ones are undone, where the file system has renameat2.
  void commit();

 private:
  struct File {
    std::string path;
    OutputPlace place;
    // A file in memory that collects the contents.
    Descriptor contents;
    // For standard output: a duplicate of its descriptor, open from the start.
    Descriptor in_place;
  };

  Printing printing_;
  std::deque<File> files_;
};

// Writes all of a text. False, with errno.
bool write_all(int descriptor, std::string_view text);

}  // namespace nxbrio

#endif
