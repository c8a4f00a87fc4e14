// Structure files that the program writes: their formats, what can be known to go wrong before any work is done, and
// the writing of molecules to staged files.
#ifndef NXBRIOCHEM_APPS_NXBRIO_OUTPUT_H
#define NXBRIOCHEM_APPS_NXBRIO_OUTPUT_H

#include <optional>
#include <string>
#include <vector>

#include "nxbriofiles/staged_files.h"

namespace nxbrio {

struct WrittenFile {
  std::string path;
  // A format word of the library.
  std::string format;
};

// Whether the format holds bonds, and whether its readers expect all of them.
bool format_holds_bonds(const std::string& word);
bool format_needs_bonds(const std::string& word);

// The file to be written, in the format that --format names or else in that of its ending. Throws UsageError for an
// unknown format, an unknown ending and a file that is also read.
WrittenFile checked_output(const std::string& given_as, const std::string& path,
                           const std::optional<std::string>& format, const std::vector<std::string>& inputs);
// Throws UsageError for a file that is among those written already.
void refuse_written(const std::string& given_as, const std::string& path, const std::vector<WrittenFile>& written);
// Throws Failure when the file cannot be made or written.
void check_writable(const std::string& path);

// Adds the file of a table, if there is one, to those that are written. Throws UsageError for a file that is read or
// written already.
void add_table(const std::string& given_as, const std::optional<std::string>& path,
               const std::vector<std::string>& inputs, std::vector<WrittenFile>& written);
// Stages a file that holds a text.
void write_text(StagedFiles& files, const std::string& path, const std::string& text);
// Stages a file that holds one molecule, or the molecules of a list. Throws Failure with the library's reason. What the
// library says of a file that it has written goes to standard error.
void write_molecule(StagedFiles& files, const WrittenFile& file, int molecule);
void write_list(StagedFiles& files, const WrittenFile& file, int list);

}  // namespace nxbrio

#endif
