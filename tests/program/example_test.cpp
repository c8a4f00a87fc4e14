// The example programs, run as a reader would.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "tests/support/run.h"

namespace {

TEST(ExampleFirst, PrintsTheEnergyOfWaterAndSodium) {
  const double places[3][3] = {{0.0, 0.0, 0.0}, {0.9572, 0.0, 0.0}, {-0.24, 0.9266, 0.0}};
  const double charges[3] = {-0.834, 0.417, 0.417};
  double sum = 0.0;
  for (int i = 0; i < 3; ++i) {
    sum += charges[i] / std::hypot(places[i][0] + 1.4, places[i][1] + 1.8);
  }
  const test_support::RunResult result = test_support::run({std::string(NXBRIO_EXAMPLES) + "/example_first"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  double vacuum = 0.0;
  double water = 0.0;
  int end = 0;
  ASSERT_EQ(std::sscanf(result.out.c_str(), "dielectric 1: %lf kT\ndielectric 80: %lf kT\n%n", &vacuum, &water, &end),
            2)
      << result.out;
  EXPECT_NEAR(vacuum, 560.73706 * sum, 1e-3);
  EXPECT_NEAR(water, 560.73706 * sum / 80, 1e-4);
  EXPECT_EQ(result.out.substr(static_cast<std::size_t>(end)), "errors: 0, memory held: 0 bytes\n");
}

// The README shows the example word for word and tells how to build it.
TEST(ExampleFirst, IsTheOneOfTheReadme) {
  const std::string source = NXBRIO_SOURCE_DIR;
  const std::string program = test_support::read_file(source + "/examples/first.c");
  EXPECT_NE(test_support::read_file(source + "/README.md").find(program), std::string::npos);
}

}  // namespace
