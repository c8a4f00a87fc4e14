// The records of a structure file, one after the other: where they begin and end, and their contents. C++20.
#ifndef NXBRIOFILES_RECORDS_H
#define NXBRIOFILES_RECORDS_H

#include <deque>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bytes.h"
#include "formats.h"
#include "parsers.h"
#include "structure.h"

namespace nxbrio::files {

class Records {
 public:
  // Throws Failure when the format cannot be told, or the input not be read.
  Records(std::unique_ptr<Input> input, std::optional<Format> format);

  // Moves on to the next record; false at the end. A record that cannot be read to its end, because of damage or
  // memory, counts as a failed record and ends the file.
  bool next();
  bool failed() const { return failure_ != nullptr; }
  // Throws what made the record fail.
  void check() const;
  // The contents of the record, before charges and radii are completed. Throws Failure, or what made the record fail.
  Structure structure();

  const std::string& name() const { return input_->name(); }
  Format format() const { return format_; }
  const std::string& text() const { return text_; }
  int number() const { return number_; }
  std::size_t line() const { return first_line_; }

 private:
  void find_format(std::optional<Format> format);
  void find_connections();
  void add_line();
  bool next_text();
  bool next_pqr();
  bool next_pdb();
  bool next_sdf();
  bool next_mol2();
  bool next_xyz();
  bool next_mmcif();
  std::string whole_file();

  std::unique_ptr<Input> input_;
  LineReader lines_;
  Format format_ = Format::Pdb;
  // Notes about the file.
  std::vector<std::string> notes_;
  // LINK, SSBOND and CONECT records of a PDB file, with their line numbers.
  std::vector<std::pair<std::size_t, std::string>> connections_;
  // The line that was read ahead is the first of the next record.
  bool line_left_ = false;
  bool ended_ = false;
  std::string text_;
  std::size_t first_line_ = 0;
  int number_ = 0;
  int last_model_ = 0;
  // The models of an mmCIF file that are still to come.
  std::deque<Structure> models_;
  std::exception_ptr failure_;
};

}  // namespace nxbrio::files

#endif
