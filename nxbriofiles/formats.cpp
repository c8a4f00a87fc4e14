#include "formats.h"

#include <algorithm>
#include <array>
#include <vector>

#include "element.h"
#include "text.h"

namespace nxbrio::files {
namespace {

struct Row {
  Format format;
  std::string_view word;
  // Separated by blanks.
  std::string_view endings;
};

constexpr std::array<Row, 7> kFormats{{{Format::Pqr, "pqr", "pqr"},
                                       {Format::Pdb, "pdb", "pdb ent"},
                                       {Format::Mmcif, "mmcif", "cif mmcif"},
                                       {Format::Sdf, "sdf", "sdf sd mol"},
                                       {Format::Mol2, "mol2", "mol2"},
                                       {Format::Xyz, "xyz", "xyz"},
                                       {Format::DelphiPdb, "delphi_pdb", ""}}};

// Removes the part after the last point from a file's name, and returns it in lower case.
std::string take_ending(std::string_view& name) {
  const std::size_t point = name.rfind('.');
  if (point == std::string_view::npos || point == 0) {
    return {};
  }
  std::string ending = lower_case(name.substr(point + 1));
  name = name.substr(0, point);
  return ending;
}

// A file's name without directory, and its ending; .gz is taken off before.
std::string split_name(std::string_view& path) {
  path.remove_prefix(path.rfind('/') + 1);
  std::string ending = take_ending(path);
  return ending == "gz" ? take_ending(path) : ending;
}

bool is_atom_record(std::string_view line) { return starts_with(line, "ATOM") || starts_with(line, "HETATM"); }

// Occupancy and temperature factor, two decimals each, where PQR has charge and radius. An occupancy is not negative.
bool has_pdb_numbers(std::string_view line) {
  const auto number = [&](std::size_t begin) {
    std::string fault;
    const std::optional<float> value = parse_real(columns(line, begin, begin + 6), fault);
    return line[begin + 3] == '.' && value && (begin > 54 || *value >= 0.0F);
  };
  return line.size() >= 66 && number(54) && number(60) && (line.size() == 66 || line[66] == ' ');
}

bool is_count(std::string_view line) {
  const std::optional<int> count = parse_integer(trimmed(line));
  return count && *count > 0;
}

}  // namespace

const char* format_word(Format format) { return kFormats[static_cast<std::size_t>(format)].word.data(); }

std::optional<Format> format_of_word(std::string_view word) {
  const auto* const at =
      std::find_if(kFormats.begin(), kFormats.end(), [&](const Row& row) { return row.word == word; });
  return at != kFormats.end() ? std::optional(at->format) : std::nullopt;
}

std::optional<Format> format_of_path(std::string_view path) {
  const std::string ending = split_name(path);
  for (const Row& row : kFormats) {
    const std::vector<std::string_view> endings = fields(row.endings, 4);
    if (std::find(endings.begin(), endings.end(), ending) != endings.end()) {
      return row.format;
    }
  }
  return std::nullopt;
}

std::optional<Format> format_of_content(std::string_view text) {
  for (Lines lines(text); lines.next();) {
    const std::string_view line = lines.line();
    if (starts_with(line, "data_")) {
      return Format::Mmcif;
    }
    if (starts_with(line, "@<TRIPOS>")) {
      return Format::Mol2;
    }
    if (lines.number() == 4 && line.size() >= 39 &&
        (line.substr(33, 6) == " V2000" || line.substr(33, 6) == " V3000")) {
      return Format::Sdf;
    }
    if (lines.number() == 1 && is_count(line)) {
      Lines rest(text);
      rest.next();
      std::string fault;
      if (rest.next() && rest.next() && fields(rest.line(), 5).size() >= 4 &&
          parse_real(fields(rest.line(), 5)[1], fault)) {
        return Format::Xyz;
      }
    }
    for (const std::string_view record : {"HEADER", "TITLE ", "COMPND", "SEQRES", "CRYST1"}) {
      if (starts_with(line, record)) {
        return Format::Pdb;
      }
    }
    if (is_atom_record(line)) {
      const bool delphi = line.size() >= 67 && line[63] == '.' && line[57] == '.' && line[66] >= '0' && line[66] <= '9';
      return delphi || has_pdb_numbers(line) ? Format::Pdb : Format::Pqr;
    }
  }
  return std::nullopt;
}

bool has_pdb_columns(std::string_view text) {
  constexpr float kLargestRadius = 5.0F;
  bool any = false;
  bool all_zero = true;
  bool all_with_elements = true;
  float largest = 0.0F;
  for (Lines lines(text); lines.next();) {
    const std::string_view line = lines.line();
    if (is_atom_record(line) && !(lines.rest().empty() && any)) {
      if (!has_pdb_numbers(line)) {
        return false;
      }
      any = true;
      std::string fault;
      const float factor = parse_real(columns(line, 60, 66), fault).value_or(0.0F);
      largest = std::max(largest, factor);
      all_zero = all_zero && factor == 0.0F;
      all_with_elements = all_with_elements && atomic_number(columns(line, 76, 78)) != 0;
    }
  }
  // An ion's charge and radius may stand in the same columns.
  return any && (all_zero || all_with_elements || largest > kLargestRadius);
}

std::string file_stem(std::string_view path) {
  split_name(path);
  return std::string(path);
}

bool ends_in_gz(std::string_view path) { return path.size() > 3 && lower_case(path.substr(path.size() - 3)) == ".gz"; }

}  // namespace nxbrio::files
