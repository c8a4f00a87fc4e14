// Parsers for the text of a record, one for each format. Valid C++17, which gemmi needs.
#ifndef NXBRIOFILES_PARSERS_H
#define NXBRIOFILES_PARSERS_H

#include <deque>
#include <string>
#include <string_view>

#include "structure.h"

namespace nxbrio::files {

struct RecordText {
  const std::string& path;
  std::string_view text;
  // The number in the file of the text's first line.
  std::size_t first_line;
  // The record's number; it becomes the model number when the record has none.
  int number;
};

// Throw Failure. Lines end in LF.
Structure parse_pqr(const RecordText& record);
Structure parse_pdb(const RecordText& record);
Structure parse_sdf(const RecordText& record);
Structure parse_mol2(const RecordText& record);
Structure parse_xyz(const RecordText& record);
// All models that have atoms.
std::deque<Structure> parse_mmcif(const RecordText& record);

}  // namespace nxbrio::files

#endif
