// The example programs, run as a reader would.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/matches.h"
#include "tests/support/run.h"

namespace {

using namespace test_support;

const std::string kSource = NXBRIO_SOURCE_DIR;
const std::string kPrograms = NXBRIO_EXAMPLES;

using Lines = std::vector<std::string>;

// Lines without blanks at their ends; empty ones are left out.
Lines trimmed_lines_of(const std::string& text) {
  Lines lines = lines_of(text);
  for (std::string& line : lines) {
    line.erase(line.find_last_not_of(" \t\r") + 1);
  }
  std::erase(lines, "");
  return lines;
}

// The fenced blocks of a page, `c` ones and `text` ones.
struct Blocks {
  std::vector<Lines> code;
  std::vector<Lines> output;
};

Blocks blocks_of(const std::string& page) {
  Blocks blocks;
  Lines* open = nullptr;
  for (const std::string& line : trimmed_lines_of(page)) {
    if (line == "```c") {
      open = &blocks.code.emplace_back();
    } else if (line == "```text") {
      open = &blocks.output.emplace_back();
    } else if (line.starts_with("```")) {
      open = nullptr;
    } else if (open != nullptr) {
      open->push_back(line);
    }
  }
  return blocks;
}

// Whether a line equals the one shown. With wildcards, "..." in the latter stands for anything.
bool is_shown(const std::string& line, const std::string& shown, bool wildcards) {
  const std::size_t dots = wildcards ? shown.find("...") : std::string::npos;
  if (dots == std::string::npos) {
    return line == shown;
  }
  const std::string end = shown.substr(dots + 3);
  return line.size() + 3 >= shown.size() && line.starts_with(shown.substr(0, dots)) && line.ends_with(end);
}

// The first line of a block that `whole` does not have in that order, or "". A line of "..." stands for any lines.
std::string first_stranger(const Lines& block, const Lines& whole, bool wildcards) {
  for (auto part = block.begin(); part != block.end();) {
    const auto end = std::find(part, block.end(), "...");
    const auto same = [&](const std::string& line, const std::string& shown) {
      return is_shown(line, shown, wildcards);
    };
    if (std::search(whole.begin(), whole.end(), part, end, same) == whole.end()) {
      const auto known = [&](const std::string& shown) {
        return std::any_of(whole.begin(), whole.end(), [&](const std::string& line) { return same(line, shown); });
      };
      const auto stranger = std::find_if_not(part, end, known);
      return stranger == end ? "order of: " + *part : *stranger;
    }
    part = end == block.end() ? end : end + 1;
  }
  return "";
}

// Each page with C code must name its program, and show only lines of it and of its output.
TEST(Pages, ShowTheirProgramsAndWhatThesePrint) {
  int pages = 0;
  for (const auto& entry : std::filesystem::directory_iterator(kSource + "/docs")) {
    if (entry.path().extension() != ".md") {
      continue;
    }
    SCOPED_TRACE(entry.path().filename().string());
    const std::string page = read_file(entry.path().string());
    if (page.find("```c\n") == std::string::npos) {
      continue;
    }
    const Groups name = first_match(page, "`examples/([a-z_]+)\\.c`");
    ASSERT_FALSE(name.empty()) << "names no program";
    const ScratchDirectory scratch;
    const RunResult result =
        run({"/bin/sh", "-c", "exec \"$0\" \"$1\" 2>&1", kPrograms + "/example_" + name[1], scratch.path("out")});
    EXPECT_EQ(result.status, 0) << result.out;
    const Lines source = trimmed_lines_of(read_file(kSource + "/examples/" + name[1] + ".c"));
    const Lines output = trimmed_lines_of(result.out);
    const Blocks blocks = blocks_of(page);
    EXPECT_FALSE(blocks.output.empty());
    for (const Lines& block : blocks.code) {
      EXPECT_EQ(first_stranger(block, source, false), "");
    }
    for (const Lines& block : blocks.output) {
      EXPECT_EQ(first_stranger(block, output, true), "");
    }
    ++pages;
  }
  EXPECT_GE(pages, 9);
}

// Every link of a page must lead to an existing page or file.
TEST(Pages, LinkToWhatIsThere) {
  for (const std::string file : {"README.md", "CONTRIBUTING.md", "docs"}) {
    const std::filesystem::path root = kSource + "/" + file;
    std::vector<std::filesystem::path> pages{root};
    if (std::filesystem::is_directory(root)) {
      pages.assign(std::filesystem::directory_iterator(root), {});
    }
    for (const std::filesystem::path& page : pages) {
      const std::string text = page.extension() == ".md" ? read_file(page.string()) : "";
      for (const Groups& link : all_matches(text, "]\\(([^)#:]+)\\)")) {
        EXPECT_TRUE(std::filesystem::exists(page.parent_path() / link[1])) << page << ": " << link[1];
      }
    }
  }
}

TEST(ExampleFirst, EnergyOfTwoWatersStaysWhenBothAreTurned) {
  const double places[2][3][3] = {{{10, 4, 7}, {10.757, 4.586, 7}, {9.243, 4.586, 7}},
                                  {{10, 1.2, 7.4}, {10, 2.14, 7.22}, {10, 0.84, 6.52}}};
  const double charges[3] = {-0.834, 0.417, 0.417};
  double sum = 0.0;
  for (int i = 0; i < 9; ++i) {
    const double* a = places[0][i / 3];
    const double* b = places[1][i % 3];
    sum += charges[i / 3] * charges[i % 3] / std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
  }
  const ScratchDirectory scratch;
  const RunResult result = run({kPrograms + "/example_first", scratch.path("water.pdb")});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  char energy[32];
  std::snprintf(energy, sizeof energy, "%8.3f kT\n", 560.73706 * sum);
  EXPECT_EQ(result.out, std::string("two molecules: errors 0\nenergy as given: ") + energy +
                            "binding: errors 0\norientation: errors 0\nenergy turned:   " + energy +
                            "binding: errors 0\nwriting: errors 0\nmemory held: 0 bytes\n");
  // The output must be what the README shows.
  for (const std::string& line : lines_of(result.out)) {
    EXPECT_NE(read_file(kSource + "/README.md").find("\n    " + line + "\n"), std::string::npos) << line;
  }
  // In the principal frame the hydrogens lie along x and the oxygen on y.
  EXPECT_NE(read_file(scratch.path("water.pdb")).find("  O   UNL     1       0.000  -0.391   0.000"),
            std::string::npos);
}

// The README shows the example word for word and tells how to build it.
TEST(ExampleFirst, IsTheOneOfTheReadme) {
  EXPECT_NE(read_file(kSource + "/README.md").find(read_file(kSource + "/examples/first.c")), std::string::npos);
}

}  // namespace
