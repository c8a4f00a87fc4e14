// Structure files that the program writes: what they are, what can be known to go wrong before any work is done, and
// the writing itself.
#ifndef NXBRIOCHEM_APPS_NXBRIO_OUTPUT_H
#define NXBRIOCHEM_APPS_NXBRIO_OUTPUT_H

#include <optional>
#include <string>
#include <vector>

namespace nxbrio {

struct WrittenFile {
  std::string path;
  // A format word of the library.
  std::string format;
  // Where it is written for the time being, if not at its path.
  std::string staged = {};
};

// Whether the format holds bonds, and whether its readers expect all of them.
bool format_holds_bonds(const std::string& word);
bool format_needs_bonds(const std::string& word);

// The file to be written, in the format that --format names or else in that of its ending. Throws UsageError for a word
// that is none, an ending that stands for none and a file that is read.
WrittenFile checked_output(const std::string& given_as, const std::string& path,
                           const std::optional<std::string>& format, const std::vector<std::string>& inputs);
// Throws UsageError for a file that is written already.
void refuse_written(const std::string& given_as, const std::string& path, const std::vector<WrittenFile>& written);
// Throws Failure when the file cannot be made.
void check_writable(const std::string& path);

// Files that appear together, once all of them could be written: each is written beside its place first. What is there
// and no regular file, a device or a pipe, is written at once.
class WrittenTogether {
 public:
  WrittenTogether() = default;
  WrittenTogether(const WrittenTogether&) = delete;
  WrittenTogether& operator=(const WrittenTogether&) = delete;
  // Removes what has not been moved to its place.
  ~WrittenTogether();

  // The file as it is to be written. Throws Failure when there is one that must not be.
  WrittenFile stage(const WrittenFile& file);
  std::vector<WrittenFile> stage(const std::vector<WrittenFile>& files);
  // Moves all files to their places. Throws Failure.
  void commit();

 private:
  std::vector<WrittenFile> files_;
};

// Writes one molecule, or the molecules of a list; the file appears whole or not at all. Throws Failure with what the
// library says against it; what it says otherwise goes to standard error.
void write_molecule(const WrittenFile& file, int molecule);
void write_list(const WrittenFile& file, int list);

}  // namespace nxbrio

#endif
