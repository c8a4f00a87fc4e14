#include "output.h"

#include <nxbriofiles/nxbriofiles.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "captured_stderr.h"
#include "failure.h"
#include "nxbriofiles/text.h"

namespace nxbrio {
namespace {

struct Format {
  const char* word;
  // Null for a format that is only known by its word.
  const char* ending;
  bool holds_bonds;
  bool needs_bonds;
};

constexpr std::array<Format, 7> kFormats{{{"pdb", ".pdb", true, false},
                                          {"pqr", ".pqr", false, false},
                                          {"mmcif", ".cif", false, false},
                                          {"mol2", ".mol2", true, true},
                                          {"sdf", ".sdf", true, true},
                                          {"xyz", ".xyz", false, false},
                                          {"delphi_pdb", nullptr, true, false}}};

constexpr std::string_view kGzipped = ".gz";

// The format of a word, which may ask for compression.
const Format* find_format(std::string_view word) {
  word.remove_suffix(word.ends_with(kGzipped) ? kGzipped.size() : 0);
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

// The format word that a path's ending stands for. Throws UsageError with the name of the argument (`given_as`).
std::string format_by_ending(const std::string& given_as, const std::string& path) {
  std::filesystem::path name = path;
  const bool gzipped = lower_case(name.extension().string()) == kGzipped;
  if (gzipped) {
    name.replace_extension();
  }
  const std::string ending = lower_case(name.extension().string());
  for (const Format& format : kFormats) {
    if (format.ending != nullptr && ending == format.ending) {
      return std::string(format.word).append(gzipped ? kGzipped : "");
    }
  }
  throw UsageError(given_as + ": " + path + " ends in none of " +
                   listed([](const Format& format) { return format.ending; }) + ", with or without .gz");
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

// Why the library could not write, in one line. It reports refusals on standard error.
std::string reason(std::string said) {
  constexpr std::string_view kWarning = "Warning: ";
  if (starts_with(said, kWarning)) {
    said.erase(0, kWarning.size());
  }
  // The library writes to a descriptor of its own.
  if (const std::size_t colon = said.find(": "); starts_with(said, "Unable to write ") && colon != std::string::npos) {
    said.erase(0, colon + 2);
  }
  said.resize(std::min(said.find('\n'), said.size()));
  if (!said.empty()) {
    return said;
  }
  const std::string error = nxf_last_error();
  return error.substr(error.find(": ") == std::string::npos ? 0 : error.find(": ") + 2);
}

// Stages what one of the library's functions makes.
void write(StagedFiles& files, const char* (*text)(std::size_t*, const char*, int), const WrittenFile& file,
           int handle) {
  const int descriptor = files.stage(file.path);
  CapturedStderr captured;
  std::size_t size = 0;
  const char* const bytes = text(&size, file.format.c_str(), handle);
  const std::string said = captured.take();
  if (bytes == nullptr) {
    throw Failure(file.path, reason(said));
  }
  std::fputs(said.c_str(), stderr);
  if (!write_all(descriptor, {bytes, size})) {
    throw Failure(file.path, std::strerror(errno));
  }
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

void add_table(const std::string& given_as, const std::optional<std::string>& path,
               const std::vector<std::string>& inputs, std::vector<WrittenFile>& written) {
  if (path) {
    refuse_inputs(given_as, *path, inputs);
    refuse_written(given_as, *path, written);
    written.push_back({*path, "csv"});
  }
}

void write_text(StagedFiles& files, const std::string& path, const std::string& text) {
  if (!write_all(files.stage(path), text)) {
    throw Failure(path, std::strerror(errno));
  }
}

void check_writable(const std::string& path) { const OutputPlace place(path); }

void write_molecule(StagedFiles& files, const WrittenFile& file, int molecule) {
  write(files, nxf_molecule_text, file, molecule);
}

void write_list(StagedFiles& files, const WrittenFile& file, int list) { write(files, nxf_list_text, file, list); }

}  // namespace nxbrio
