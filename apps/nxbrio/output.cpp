#include "output.h"

#include <nxbriochem/nxbriochem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
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

// Where a path leads to, links followed, whether there is a file or not. Absolute first: a relative path of which
// nothing exists would stay as it was written.
std::filesystem::path place(const std::string& path) {
  return std::filesystem::weakly_canonical(std::filesystem::absolute(path));
}

// Writes by one of the library's functions.
void write(int (*write)(const char*, const char*, int), const WrittenFile& file, int handle) {
  CapturedStderr captured;
  const std::string& path = file.staged.empty() ? file.path : file.staged;
  const bool written = write(path.c_str(), file.format.c_str(), handle) == 1;
  std::string said = captured.take();
  if (written) {
    std::fputs(said.c_str(), stderr);
    return;
  }
  constexpr std::string_view kWarning = "Warning: ";
  if (starts_with(said, kWarning)) {
    said.erase(0, kWarning.size());
  }
  said.resize(std::min(said.find('\n'), said.size()));
  throw Failure(file.path, said.empty() ? "could not be written" : said);
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
    if (place(path) == place(other.path)) {
      throw UsageError(std::string(given_as).append(": ").append(path).append(" is written already"));
    }
  }
}

void check_writable(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    throw Failure(path, "is a directory");
  }
  const std::string directory = std::filesystem::path(path).parent_path().string();
  if (access(directory.empty() ? "." : directory.c_str(), W_OK | X_OK) != 0) {
    throw Failure(path, std::strerror(errno));
  }
}

WrittenTogether::~WrittenTogether() {
  std::error_code ignored;
  for (const WrittenFile& file : files_) {
    std::filesystem::remove(file.staged, ignored);
  }
}

WrittenFile WrittenTogether::stage(const WrittenFile& file) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  const fs::file_status status = fs::status(file.path, ignored);
  if (fs::exists(status)) {
    if (access(file.path.c_str(), W_OK) != 0) {
      throw Failure(file.path, std::strerror(errno));
    }
    if (!fs::is_regular_file(status)) {
      return file;
    }
  }
  WrittenFile staged = file;
  // Beside what a link leads to, so that the link stays.
  staged.staged = place(file.path).string() + formatted(".part%d", static_cast<int>(getpid()));
  files_.push_back(staged);
  return staged;
}

std::vector<WrittenFile> WrittenTogether::stage(const std::vector<WrittenFile>& files) {
  std::vector<WrittenFile> staged;
  staged.reserve(files.size());
  for (const WrittenFile& file : files) {
    staged.push_back(stage(file));
  }
  return staged;
}

void WrittenTogether::commit() {
  namespace fs = std::filesystem;
  std::error_code ignored;
  for (const WrittenFile& file : files_) {
    const fs::path target = place(file.path);
    const fs::file_status before = fs::status(target, ignored);
    if (fs::exists(before)) {
      fs::permissions(file.staged, before.permissions(), ignored);
    }
    std::error_code error;
    fs::rename(file.staged, target, error);
    if (error) {
      throw Failure(file.path, error.message());
    }
  }
  files_.clear();
}

void write_molecule(const WrittenFile& file, int molecule) { write(nx_write_molecule, file, molecule); }
void write_list(const WrittenFile& file, int list) { write(nx_write_list_of_molecules, file, list); }

}  // namespace nxbrio
