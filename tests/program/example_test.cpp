// The example programs, run as a reader would.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "tests/support/run.h"

namespace {

using test_support::read_file;
using test_support::run;
using test_support::RunResult;
using test_support::ScratchDirectory;

const std::string kSource = NXBRIO_SOURCE_DIR;
const std::string kPrograms = NXBRIO_EXAMPLES;

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

// The page shows what the example prints, line for line; the numbers that others can tell are NumPy's.
TEST(ExampleFrames, IsTheOneOfThePage) {
  const RunResult result = run({kPrograms + "/example_frames"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  const std::string page = read_file(kSource + "/docs/frames.md");
  std::string pqr;
  std::string mirror;
  std::size_t at = 0;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    at = page.find("\n    " + line + "\n", at);
    ASSERT_NE(at, std::string::npos) << line;
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

// The page shows what the example prints, line for line. What can be known otherwise: Rosenbrock's minimum, and where
// the pull moves it, in closed form.
TEST(ExampleMinimise, IsTheOneOfThePage) {
  const RunResult result = run({kPrograms + "/example_minimise"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  const std::string page = read_file(kSource + "/docs/minimisation.md");
  std::size_t at = 0;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    at = line.empty() ? at : page.find("\n    " + line + "\n", at);
    ASSERT_NE(at, std::string::npos) << line;
  }
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
