// The page on charges: its commands run, and what it shows is what they print.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tests/support/nxbrio.h"
#include "tests/support/run.h"

namespace {

using namespace test_support;

TEST(ChargesPage, ItsCommandsRunAndPrintWhatItShows) {
  const ScratchDirectory scratch;
  std::string commands = "set -e\ncd '" + scratch.path("") + "'\nnxbrio() { '" NXBRIO_PROGRAM "' \"$@\"; }\n";
  std::string shown;
  std::string block;
  for (const std::string& line : lines_of(read_file(NXBRIO_SOURCE_DIR "/docs/charges.md"))) {
    if (line.starts_with("```")) {
      block = line.substr(3);
    } else if (block == "sh") {
      commands += line + "\n";
    } else if (block == "text" && line != "...") {
      shown += line + "\n";
    }
  }
  const RunResult result = run({"/bin/bash", "-c", commands});
  ASSERT_EQ(result.status, 0) << result.err;
  ASSERT_FALSE(shown.empty());
  for (const std::string& line : lines_of(shown)) {
    EXPECT_NE(result.out.find(line + "\n"), std::string::npos) << line << "\n" << result.out;
  }
  // The charges of a force field add up to a whole number.
  const double charge = nxbrio_json({"info", scratch.path("protein.pqr")})["net_charge_e"];
  EXPECT_NEAR(charge, std::round(charge), 1e-3);
  const nlohmann::json formal =
      nxbrio_json({"bind", scratch.path("protein.pdb"), scratch.path("ligand.sdf"), "-e", "4", "--distance-dependent"});
  EXPECT_NEAR(formal["energies"][0]["kcal_per_mol"], 12.7, 0.05);
  const nlohmann::json refined = nxbrio_json({"refine", scratch.path("protein.pqr"), scratch.path("refined.sdf"),
                                              scratch.path("o.sdf"), "-n", "0", "--distance-dependent"});
  EXPECT_LT(refined["before"]["total"]["kcal_per_mol"], -60.0);
}

}  // namespace
