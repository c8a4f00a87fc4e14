// Shared by the functions for structure files: checks, and the molecules of a list. Not exported.
#ifndef NXBRIOCHEM_MOLECULES_BRIOCHEM_FILES_INTERNAL_H
#define NXBRIOCHEM_MOLECULES_BRIOCHEM_FILES_INTERNAL_H

#include <cstring>
#include <vector>

namespace briochem {

// False, with a warning, when the file name is null.
bool is_filename_given(const char* filename);
// False, with a warning, when the file name is null, or else when the format word is.
bool are_names_given(const char* filename, const char* format);

void warn_of_unknown_format(const char* format);

// False, with a warning, when the file cannot be opened for reading.
bool can_be_read(const char* filename);

// Whether the handle names a list; warns when it does not.
bool is_list(int list);

// The molecule handles of a list in order. Nested lists are replaced by their molecules; other members are skipped.
std::vector<int> molecules_of_list(int list);

// The row of a table that has the word as its `word`, or null.
template <class Row, std::size_t kRows>
const Row* find_row(const Row (&table)[kRows], const char* word) {
  for (const Row& row : table) {
    if (std::strcmp(row.word, word) == 0) {
      return &row;
    }
  }
  return nullptr;
}

// As find_row, for a format word. Checks the names first, and warns of a word that has no row.
template <class Row, std::size_t kRows>
const Row* find_format_row(const Row (&table)[kRows], const char* filename, const char* format) {
  if (!are_names_given(filename, format)) {
    return nullptr;
  }
  const Row* row = find_row(table, format);
  if (row == nullptr) {
    warn_of_unknown_format(format);
  }
  return row;
}

}  // namespace briochem

#endif
