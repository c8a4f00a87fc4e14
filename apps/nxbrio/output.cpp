#include "output.h"

#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "captured_stderr.h"
#include "failure.h"
#include "text.h"

namespace nxbrio {
namespace {

struct Format {
  const char* word;
  // Null for a format that is only known by its word.
  const char* ending;
  bool holds_bonds;
  bool needs_bonds;
};

constexpr std::array<Format, 6> kFormats{{{"pdb", ".pdb", true, false},
                                          {"pqr", ".pqr", false, false},
                                          {"mol2", ".mol2", true, true},
                                          {"sdf", ".sdf", true, true},
                                          {"xyz", ".xyz", false, false},
                                          {"delphi_pdb", nullptr, true, false}}};

const Format* find_format(const std::string& word) {
  const auto* const at =
      std::find_if(kFormats.begin(), kFormats.end(), [&](const Format& format) { return word == format.word; });
  return at != kFormats.end() ? at : nullptr;
}

// "a, b, c"
template <class Text>
std::string listed(Text text) {
  std::string list;
  for (const Format& format : kFormats) {
    if (const char* const one = text(format)) {
      list.append(list.empty() ? "" : ", ").append(one);
    }
  }
  return list;
}

// The format word that a path's ending stands for. Throws UsageError, which names what the path was given as.
std::string format_by_ending(const std::string& given_as, const std::string& path) {
  const std::string ending = lower_case(std::filesystem::path(path).extension().string());
  for (const Format& format : kFormats) {
    if (format.ending != nullptr && ending == format.ending) {
      return format.word;
    }
  }
  throw UsageError(given_as + ": " + path + " ends in none of " +
                   listed([](const Format& format) { return format.ending; }));
}

// Throws UsageError when a file is among those that are read.
void refuse_inputs(const std::string& given_as, const std::string& path, const std::vector<std::string>& inputs) {
  std::error_code ignored;
  for (const std::string& input : inputs) {
    if (std::filesystem::equivalent(path, input, ignored)) {
      throw UsageError(std::string(given_as).append(": ").append(path).append(" is read as well"));
    }
  }
}

// The library's one line on why it could not write, without the name that it knew the file by.
std::string reason(std::string said, const std::string& name) {
  for (const std::string& start : {std::string("Warning: "), "Unable to write " + name + ": "}) {
    if (starts_with(said, start)) {
      said.erase(0, start.size());
    }
  }
  said.resize(std::min(said.find('\n'), said.size()));
  return said.empty() ? "could not be written" : said;
}

// Has one of the library's functions write the contents of a staged file, which it finds among the open descriptors.
void write(StagedFiles& files, int (*write)(const char*, const char*, int), const WrittenFile& file, int handle) {
  const std::string name = "/proc/self/fd/" + std::to_string(files.stage(file.path));
  CapturedStderr captured;
  const bool written = write(name.c_str(), file.format.c_str(), handle) == 1;
  const std::string said = captured.take();
  if (!written) {
    throw Failure(file.path, reason(said, name));
  }
  std::fputs(said.c_str(), stderr);
}

}  // namespace

bool format_holds_bonds(const std::string& word) {
  const Format* const format = find_format(word);
  return format != nullptr && format->holds_bonds;
}

bool format_needs_bonds(const std::string& word) {
  const Format* const format = find_format(word);
  return format != nullptr && format->needs_bonds;
}

WrittenFile checked_output(const std::string& given_as, const std::string& path,
                           const std::optional<std::string>& format, const std::vector<std::string>& inputs) {
  if (format && find_format(*format) == nullptr) {
    throw UsageError("--format: " + in_quotes(*format) + " is none of " +
                     listed([](const Format& one) { return one.word; }));
  }
  WrittenFile file{path, format ? *format : format_by_ending(given_as, path)};
  refuse_inputs(given_as, path, inputs);
  return file;
}

void refuse_written(const std::string& given_as, const std::string& path, const std::vector<WrittenFile>& written) {
  for (const WrittenFile& other : written) {
    if (same_output(path, other.path)) {
      throw UsageError(std::string(given_as).append(": ").append(path).append(" is written already"));
    }
  }
}

void check_writable(const std::string& path) { const OutputPlace place(path); }

void write_molecule(StagedFiles& files, const WrittenFile& file, int molecule) {
  write(files, nx_write_molecule, file, molecule);
}

void write_list(StagedFiles& files, const WrittenFile& file, int list) {
  write(files, nx_write_list_of_molecules, file, list);
}

}  // namespace nxbrio
