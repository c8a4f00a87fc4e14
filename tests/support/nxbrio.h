// Runs the command-line program for its tests.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_NXBRIO_H
#define NXBRIOCHEM_TESTS_SUPPORT_NXBRIO_H

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/run.h"

namespace test_support {

inline RunResult nxbrio(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), NXBRIO_PROGRAM);
  return run(arguments);
}

// Runs with --json; the object is all of standard output, and standard error is empty.
inline nlohmann::json nxbrio_json(std::vector<std::string> arguments) {
  arguments.emplace_back("--json");
  const RunResult result = nxbrio(arguments);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  nlohmann::json object = nlohmann::json::parse(result.out, nullptr, false);
  EXPECT_TRUE(object.is_object()) << result.out;
  return object;
}

// The failure is this one line and nothing else.
inline void expect_failure(const RunResult& result, int status, const std::string& line) {
  EXPECT_EQ(result.status, status);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "nxbrio: " + line + "\n");
}

// The failure is one line that starts so and nothing else.
inline void expect_one_line(const RunResult& result, int status, const std::string& start = "") {
  EXPECT_EQ(result.status, status);
  EXPECT_EQ(result.out, "");
  EXPECT_TRUE(result.err.starts_with("nxbrio: " + start)) << result.err;
  EXPECT_EQ(result.err.find('\n') + 1, result.err.size()) << result.err;
}

}  // namespace test_support

#endif
