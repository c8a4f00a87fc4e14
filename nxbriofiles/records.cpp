#include "records.h"

#include <algorithm>
#include <limits>

#include "failure.h"
#include "text.h"

namespace nxbrio::files {
namespace {

constexpr std::size_t kLongestRecord = std::size_t{1} << 30;

bool is_atom_record(std::string_view line) {
  return starts_with_ignoring_case(line, "ATOM") || starts_with_ignoring_case(line, "HETA");
}
bool is_connection(std::string_view line) {
  return starts_with_ignoring_case(line, "CONECT") || starts_with_ignoring_case(line, "LINK") ||
         starts_with_ignoring_case(line, "SSBOND");
}
// END, which is followed by a blank or by nothing.
bool is_end(std::string_view line) {
  return starts_with_ignoring_case(line, "END") && trimmed(line.substr(3, 1)).empty();
}
bool is_end_of_model(std::string_view line) { return starts_with_ignoring_case(line, "ENDMDL"); }
bool is_blank(std::string_view line) { return trimmed(line).empty(); }

}  // namespace

Records::Records(std::unique_ptr<Input> input, std::optional<Format> format)
    : input_(std::move(input)), lines_(*input_) {
  find_format(format);
  if (format_ == Format::Pdb) {
    find_connections();
  }
}

void Records::find_format(std::optional<Format> format) {
  std::optional<Format> found = format ? format : format_of_path(name());
  const std::string_view start = lines_.peek();
  if (!found) {
    found = format_of_content(start);
  }
  if (!found) {
    throw Failure(name(), start.empty() ? "no atoms" : "not a PQR, PDB, mmCIF, SDF, mol2 or XYZ file");
  }
  format_ = *found == Format::DelphiPdb ? Format::Pdb : *found;
  if (format_ == Format::Pqr && !format && has_pdb_columns(start)) {
    format_ = Format::Pdb;
    notes_.emplace_back("read as a PDB file: every atom has occupancy and temperature factor in PDB's columns");
  }
}

// CONECT records come after the models, and connection records belong to all models. So a first pass through the file
// collects them. The bytes of a pipe are kept for the second pass.
void Records::find_connections() {
  std::string held;
  while (lines_.next()) {
    if (is_connection(lines_.line())) {
      connections_.emplace_back(lines_.number(), lines_.line());
    }
    if (!input_->can_rewind()) {
      held.append(lines_.line()) += '\n';
    }
  }
  if (!input_->can_rewind()) {
    input_->hold(std::move(held));
  }
  lines_.rewind();
}

void Records::add_line() {
  if (text_.empty()) {
    first_line_ = lines_.number();
  }
  if (text_.size() > kLongestRecord) {
    throw Failure(name(), first_line_, "a record of more than 1 GiB");
  }
  text_.append(lines_.line()) += '\n';
}

bool Records::next() {
  if (ended_) {
    return false;
  }
  failure_ = nullptr;
  if (format_ != Format::Mmcif) {
    text_.clear();
  }
  bool found = false;
  try {
    found = next_text();
  } catch (...) {
    failure_ = std::current_exception();
    ended_ = true;
    first_line_ = first_line_ > 0 ? first_line_ : 1;
    found = true;
  }
  ended_ = ended_ || !found;
  number_ += found && number_ < std::numeric_limits<int>::max() ? 1 : 0;
  return found;
}

bool Records::next_text() {
  switch (format_) {
    case Format::Pqr:
      return next_pqr();
    case Format::Sdf:
      return next_sdf();
    case Format::Mol2:
      return next_mol2();
    case Format::Xyz:
      return next_xyz();
    case Format::Mmcif:
      return next_mmcif();
    default:
      return next_pdb();
  }
}

// A model ends at ENDMDL or END; more may follow.
bool Records::next_pqr() {
  bool any = false;
  while (lines_.next()) {
    add_line();
    any = any || is_atom_record(lines_.line());
    if (any && (is_end_of_model(lines_.line()) || is_end(lines_.line()))) {
      return true;
    }
  }
  return any;
}

// A model ends at ENDMDL, the file at END.
bool Records::next_pdb() {
  bool any = false;
  bool model_ended = false;
  while (!model_ended && !ended_ && lines_.next()) {
    if (is_end(lines_.line())) {
      ended_ = true;
      break;
    }
    add_line();
    any = any || is_atom_record(lines_.line());
    model_ended = any && is_end_of_model(lines_.line());
  }
  const std::size_t last_line = lines_.number();
  for (const auto& [line, text] : connections_) {
    if (line < first_line_ || line > last_line) {
      text_.append(text) += '\n';
    }
  }
  return any;
}

bool Records::next_sdf() {
  bool any = false;
  while (lines_.next()) {
    add_line();
    if (starts_with(lines_.line(), "$$$$")) {
      return true;
    }
    any = any || !is_blank(lines_.line());
  }
  return any;
}

bool Records::next_mol2() {
  constexpr std::string_view kStart = "@<TRIPOS>MOLECULE";
  bool any = false;
  if (line_left_) {
    add_line();
    any = true;
    line_left_ = false;
  }
  while (lines_.next()) {
    if (starts_with(lines_.line(), kStart)) {
      if (any) {
        line_left_ = true;
        return true;
      }
      any = true;
    }
    add_line();
  }
  return any;
}

// A frame is a count, a comment and that many atoms. After an invalid count, the next frame is searched for: a line
// with only a whole number.
bool Records::next_xyz() {
  while (!line_left_) {
    if (!lines_.next()) {
      return false;
    }
    line_left_ = !is_blank(lines_.line());
  }
  line_left_ = false;
  add_line();
  const std::optional<int> count = parse_integer(trimmed(lines_.line()));
  if (count && *count >= 0) {
    for (long long left = *count + 1LL; left > 0 && lines_.next(); --left) {
      add_line();
    }
    return true;
  }
  while (lines_.next()) {
    if (parse_integer(trimmed(lines_.line()))) {
      line_left_ = true;
      return true;
    }
    add_line();
  }
  return true;
}

bool Records::next_mmcif() {
  if (number_ == 0) {
    while (lines_.next()) {
      add_line();
    }
    models_ = parse_mmcif({name(), text_, 1, 1});
    first_line_ = 1;
  } else {
    models_.pop_front();
  }
  return !models_.empty();
}

void Records::check() const {
  if (failure_) {
    std::rethrow_exception(failure_);
  }
}

Structure Records::structure() {
  check();
  Structure structure;
  if (format_ == Format::Mmcif) {
    structure = models_.front();
  } else {
    const int model = last_model_ < std::numeric_limits<int>::max() ? last_model_ + 1 : last_model_;
    const RecordText record{name(), text_, first_line_, format_ == Format::Pqr ? model : number_};
    structure = format_ == Format::Pqr    ? parse_pqr(record)
                : format_ == Format::Pdb  ? parse_pdb(record)
                : format_ == Format::Sdf  ? parse_sdf(record)
                : format_ == Format::Mol2 ? parse_mol2(record)
                                          : parse_xyz(record);
    last_model_ = structure.model;
  }
  structure.format = format_word(format_);
  structure.notes.insert(structure.notes.begin(), notes_.begin(), notes_.end());
  return structure;
}

}  // namespace nxbrio::files
