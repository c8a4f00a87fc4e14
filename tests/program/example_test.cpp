// The example programs, run as a reader would.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/run.h"

namespace {

using test_support::read_file;
using test_support::run;
using test_support::RunResult;
using test_support::ScratchDirectory;

const std::string kSource = NXBRIO_SOURCE_DIR;
const std::string kPrograms = NXBRIO_EXAMPLES;

using Lines = std::vector<std::string>;

// Lines without blanks at their ends; empty ones are left out.
Lines lines_of(const std::string& text) {
  Lines lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    line.erase(line.find_last_not_of(" \t\r") + 1);
    if (!line.empty()) {
      lines.push_back(line);
    }
  }
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
  for (const std::string& line : lines_of(page)) {
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

// Whether a line is the shown one, in which "..." stands for anything if it may.
bool is_shown(const std::string& line, const std::string& shown, bool wildcards) {
  const std::size_t dots = wildcards ? shown.find("...") : std::string::npos;
  if (dots == std::string::npos) {
    return line == shown;
  }
  const std::string end = shown.substr(dots + 3);
  return line.size() + 3 >= shown.size() && line.starts_with(shown.substr(0, dots)) && line.ends_with(end);
}

// The first line of a block that the whole has not at its place, or an empty text. A line of "..." parts a block.
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

// Each page names its program, shows parts of it, and shows parts of what it prints.
TEST(Pages, ShowTheirProgramsAndWhatThesePrint) {
  int pages = 0;
  for (const auto& entry : std::filesystem::directory_iterator(kSource + "/docs")) {
    if (entry.path().extension() != ".md") {
      continue;
    }
    SCOPED_TRACE(entry.path().filename().string());
    const std::string page = read_file(entry.path().string());
    const std::regex named("`examples/([a-z_]+)\\.c`");
    std::smatch name;
    ASSERT_TRUE(std::regex_search(page, name, named)) << "names no program";
    const ScratchDirectory scratch;
    const RunResult result =
        run({"/bin/sh", "-c", "exec \"$0\" \"$1\" 2>&1", kPrograms + "/example_" + name[1].str(), scratch.path("out")});
    EXPECT_EQ(result.status, 0) << result.out;
    const Lines source = lines_of(read_file(kSource + "/examples/" + name[1].str() + ".c"));
    const Lines output = lines_of(result.out);
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

// Every link of a page leads to a page or a file that is there.
TEST(Pages, LinkToWhatIsThere) {
  const std::regex link("\\]\\(([^)#:]+)\\)");
  for (const std::string file : {"README.md", "CONTRIBUTING.md", "docs"}) {
    const std::filesystem::path root = kSource + "/" + file;
    std::vector<std::filesystem::path> pages{root};
    if (std::filesystem::is_directory(root)) {
      pages.assign(std::filesystem::directory_iterator(root), {});
    }
    for (const std::filesystem::path& page : pages) {
      const std::string text = page.extension() == ".md" ? read_file(page.string()) : "";
      for (std::sregex_iterator it(text.begin(), text.end(), link), end; it != end; ++it) {
        EXPECT_TRUE(std::filesystem::exists(page.parent_path() / (*it)[1].str())) << page << ": " << (*it)[1];
      }
    }
  }
}

// A difference in a page is seen: one character of a line, the order of lines, and a line too many.
TEST(Pages, DifferencesAreSeen) {
  const Lines whole = lines_of("one\ntwo\n\nthree 0x7f\nfour\n");
  EXPECT_EQ(first_stranger({"two", "three ...", "four"}, whole, true), "");
  EXPECT_EQ(first_stranger({"one", "...", "four"}, whole, true), "");
  EXPECT_EQ(first_stranger({"three ..."}, whole, false), "three ...");
  EXPECT_EQ(first_stranger({"one", "Two"}, whole, true), "Two");
  EXPECT_EQ(first_stranger({"two", "one"}, whole, true), "order of: two");
  EXPECT_EQ(first_stranger({"one", "...", "four", "five"}, whole, true), "five");
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
  // What the README says it prints.
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_NE(read_file(kSource + "/README.md").find("\n    " + line + "\n"), std::string::npos) << line;
  }
  // In the principal frame: the hydrogens along x, the oxygen on y.
  EXPECT_NE(read_file(scratch.path("water.pdb")).find("  O   UNL     1       0.000  -0.391   0.000"),
            std::string::npos);
}

// The README shows the example word for word and tells how to build it.
TEST(ExampleFirst, IsTheOneOfTheReadme) {
  EXPECT_NE(read_file(kSource + "/README.md").find(read_file(kSource + "/examples/first.c")), std::string::npos);
}

// The numbers that others can tell are NumPy's.
TEST(ExampleFrames, NumbersAreNumPys) {
  const RunResult result = run({kPrograms + "/example_frames"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  std::string pqr;
  std::string mirror;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    char name[4];
    double x = 0, y = 0, z = 0;
    if (result.out.find(line) < result.out.find("1. moments") &&
        std::sscanf(line.c_str(), " %3s %lf %lf %lf", name, &x, &y, &z) == 4) {
      const std::string start = std::string("ATOM 1 ") + name + " X 1 " + std::to_string(x) + ' ' + std::to_string(y);
      pqr += start + ' ' + std::to_string(z) + " 0 1\n";
      mirror += start + ' ' + std::to_string(-z) + " 0 1\n";
    }
  }
  const ScratchDirectory scratch;
  const std::string file = scratch.write("m.pqr", pqr + "END\n" + mirror);
  const RunResult numpy = run({"/usr/bin/python3", kSource + "/tests/support/rigid_fit.py", file});
  const nlohmann::json expected = nlohmann::json::parse(numpy.out);
  char text[64];
  const std::array<double, 3> moments = expected["moments"][2];
  std::snprintf(text, sizeof text, "1. moments: %.4f %.4f %.4f A\n", moments[0], moments[1], moments[2]);
  EXPECT_NE(result.out.find(text), std::string::npos) << text;
  std::snprintf(text, sizeof text, "9. RMS from the mirror image: %.3f A\n", expected["rms"][1][0][1].get<double>());
  EXPECT_NE(result.out.find(text), std::string::npos) << text;
}

// What can be known otherwise: Rosenbrock's minimum, and where the pull moves it, in closed form.
TEST(ExampleMinimise, MinimaAreTheKnownOnes) {
  const RunResult result = run({kPrograms + "/example_minimise"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  // By Newton's method on the derivative along the valley, where y = 200 x^2 / 201.
  double x = 0.5;
  const auto y = [&] { return 200 * x * x / 201; };
  for (int i = 0; i < 50; ++i) {
    x -= (400 * x * (x * x - y()) - 2 * (1 - x) + x) / (1200 * x * x - 400 * 600 * x * x / 201 + 3);
  }
  const double value = 25 * (100 * std::pow(y() - x * x, 2) + std::pow(1 - x, 2) + 0.5 * (x * x + y() * y()));
  char text[96];
  std::snprintf(text, sizeof text, "result 1, value %.6f at %.6f %.6f ...", value, x, y());
  EXPECT_NE(result.out.find(text), std::string::npos) << text;
  EXPECT_NE(result.out.find("3. dense:                     result 1, value 0.000000 at 1.000000 1.000000 ..."),
            std::string::npos);
}

}  // namespace
