// Parameters given as formulas, from outside.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/nxbrio.h"
#include "tests/support/run.h"

namespace {

using namespace test_support;
using nlohmann::json;

// Two ions, for the shortest of jobs.
class Formula : public testing::Test {
 protected:
  // The dielectrics that these formulas give, in a run that must succeed.
  std::vector<double> dielectrics(const std::vector<std::string>& formulas, const std::string& parameters = "") {
    const json report = nxbrio_json(arguments(formulas, parameters));
    EXPECT_EQ(report["memory_held"], (json{{"bytes", 0}, {"blocks", 0}}));
    std::vector<double> values;
    for (const json& energy : report["energies"]) {
      values.push_back(energy["dielectric"]);
    }
    return values;
  }
  RunResult run(const std::vector<std::string>& formulas, const std::string& parameters = "") {
    return nxbrio(arguments(formulas, parameters));
  }

  const ScratchDirectory scratch;

 private:
  std::vector<std::string> arguments(const std::vector<std::string>& formulas, const std::string& parameters) {
    std::vector<std::string> arguments{"bind", target_, ligand_, "--verbose"};
    for (const std::string& formula : formulas) {
      arguments.insert(arguments.end(), {"--dielectric", formula});
    }
    if (!parameters.empty()) {
      arguments.insert(arguments.end(), {"--parameters", parameters});
    }
    return arguments;
  }

  std::string target_ = scratch.write("a.pqr", "ATOM 1 NA NA 1 0 0 0 1 1\n");
  std::string ligand_ = scratch.write("b.pqr", "ATOM 1 CL CL 1 3 0 0 -1 1\n");
};

TEST_F(Formula, NumbersFormulasAndDefinitionsInOrder) {
  EXPECT_EQ(dielectrics({"78.54", "1e2", ".5", "eps = 2^2", "2*eps", " ( eps + 1 ) / 2 ", "+eps", "eps - -1"}),
            (std::vector<double>{78.54, 100, 0.5, 4, 8, 2.5, 4, 5}));
  // Powers are taken from the left, before products and after signs. Blanks do not matter. A definition has a value.
  EXPECT_EQ(dielectrics({"2^3^2", "2 * 3^2", "2^-1", "1 + 2 * (a = 3 + 1) + a", "b = c = 7", "b + c"}),
            (std::vector<double>{64, 18, 0.5, 13, 7, 14}));
  EXPECT_EQ(dielectrics({"2.", "(2. )*3.5", "1.0E2", "1.5e+1", std::string(40, 'a') + "=3", std::string(40, 'a')}),
            (std::vector<double>{2, 7, 100, 15, 3, 3}));
  std::string deep = "2";
  for (int i = 0; i < 30000; ++i) {
    deep.insert(0, i % 3 == 0 ? "(-" : "(").append(")");
  }
  EXPECT_EQ(dielectrics({deep}), std::vector<double>{2});
}

TEST_F(Formula, ParametersComeFromFiles) {
  const std::string file = scratch.write("p.txt",
                                         "# solvents\r\n\r\n \t \n  # indented = comment\r\nwater = 78.54\n"
                                         "\tin_side=4\nmean = ( water + in_side ) / 2\rlast = 1.0E1");
  EXPECT_EQ(dielectrics({"water", "mean", "in_side*last"}, file), (std::vector<double>{78.54, 41.27, 40}));
  // The longest permitted line.
  const std::string longest = scratch.write("long.txt", "a = 1" + std::string(3993, ' ') + "+1\nb = a\n");
  EXPECT_EQ(dielectrics({"b"}, longest), std::vector<double>{2});
}

TEST_F(Formula, FaultsOnTheCommandLine) {
  for (const std::string& row : lines_of(read_file(NXBRIO_SOURCE_DIR "/tests/program/files/faulty_formulas.txt"))) {
    SCOPED_TRACE(row);
    const std::size_t arrow = row.find(" => ");
    const RunResult result = run({row.substr(0, arrow)});
    expect_one_line(result, 2, "--dielectric: '");
    EXPECT_TRUE(result.err.ends_with("': " + row.substr(arrow + 4) + "\n")) << result.err;
  }
  expect_failure(run({"eps = 2", "eps = 3"}), 2, "--dielectric: 'eps = 3': eps is defined already, at --dielectric");
  // A base below 0 has no logarithm.
  for (const char* formula : {"(-2)^2", "1/0", "a = 0/0", "10^39"}) {
    expect_failure(run({formula}), 2, "--dielectric: '" + std::string(formula) + "' is not a finite number");
  }
  expect_failure(run({"1 - 3"}), 2, "--dielectric: '1 - 3' is not a finite number above 0");
}

TEST_F(Formula, FaultsInFilesNameTheLine) {
  using std::string_literals::operator""s;
  const std::vector<std::pair<std::string, std::string>> faults{
      {"a = 2\n\n# b\nc = a*epsi\n", ":4: undefined variable epsi"},
      {"a = 2\nb = 3\na = 5\n", ":3: a is defined already, at FILE:1"},
      {"a = 2\r\nb = 1E5\r\n", ":2: an exponent needs a decimal point before it: 1.0E5 in place of 1E5"},
      {"a = 2\n2*a\n", ":2: not of the form name = formula"},
      {"(a = 2)\n", ":1: not of the form name = formula"},
      {"a = 2 # two\n", ":1: unexpected character '#'"},
      {"a = 1/0\n", ":1: a is not a finite number"},
      {"a = -4^0.5\n", ":1: a is not a finite number"},
      {"a = 2\nb\0 = 3\n"s, ":2: a NUL byte"},
      {"a = 2\nb = 3\n\0"s, ":3: a NUL byte"},
      {"a = 2\nb = " + std::string(4000, '1'), ":2: more than 4000 characters"},
      {"a = 2\n#" + std::string(100000, 'x') + "\n", ":2: more than 4000 characters"},
  };
  for (const auto& [text, message] : faults) {
    const std::string file = scratch.write("faulty.txt", text);
    std::string expected = file + message;
    if (const std::size_t at = expected.find("FILE"); at != std::string::npos) {
      expected.replace(at, 4, file);
    }
    expect_failure(run({"2"}, file), 1, expected);
  }
  const std::string good = scratch.write("good.txt", "\neps = 4\n");
  expect_failure(run({"eps = 2"}, good), 2, "--dielectric: 'eps = 2': eps is defined already, at " + good + ":2");
  expect_failure(run({"2"}, scratch.path("none.txt")), 1, scratch.path("none.txt: No such file or directory"));
  expect_failure(run({"2"}, scratch.path("")), 1, scratch.path(": Is a directory"));
}

}  // namespace
