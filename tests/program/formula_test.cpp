// Parameters given as formulas, from outside.
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/nxbrio.h"
#include "tests/support/run.h"

namespace {

using nlohmann::json;
using test_support::expect_failure;
using test_support::expect_one_line;
using test_support::nxbrio;
using test_support::nxbrio_json;
using test_support::RunResult;
using test_support::ScratchDirectory;

// Two ions, for the shortest of jobs.
class Formula : public testing::Test {
 protected:
  // The dielectrics that come of these formulas, in a run without a fault.
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
    std::vector<std::string> arguments{"bind", target_, ligand_};
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
  // Powers from the left, before products, after signs; blanks do not matter; a definition is a value.
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

// Random formulas against the sum that the test makes of them as it goes along.
TEST_F(Formula, AgreesWithItsOwnArithmetic) {
  std::mt19937 random(20241121);
  const auto formula = [&](const auto& self, int depth, double& value) -> std::string {
    if (depth == 0 || random() % 5 == 0) {
      value = static_cast<double>(random() % 90 + 10) / 8;
      return std::to_string(value);
    }
    double a = 0;
    double b = 0;
    const std::string left = self(self, depth - 1, a);
    const std::string right = self(self, depth - 1, b);
    const char* const blank = random() % 2 == 0 ? " " : "";
    const char sign = "+-*/"[random() % 4];
    value = sign == '+' ? a + b : sign == '-' ? a - b : sign == '*' ? a * b : a / b;
    return "(" + left + blank + sign + blank + right + ")";
  };
  std::vector<std::string> formulas;
  std::vector<double> expected;
  while (formulas.size() < 300) {
    double value = 0;
    const std::string text = formula(formula, 5, value);
    if (value > 1e-3 && value < 1e6) {
      formulas.push_back(text);
      expected.push_back(value);
    }
  }
  const std::vector<double> values = dielectrics(formulas);
  ASSERT_EQ(values.size(), expected.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_NEAR(values[i], expected[i], 1e-6 * expected[i]) << formulas[i];
  }
}

TEST_F(Formula, ParametersComeFromFiles) {
  const std::string file = scratch.write("p.txt",
                                         "# solvents\r\n\r\n \t \n  # indented = comment\r\nwater = 78.54\n"
                                         "\tin_side=4\nmean = ( water + in_side ) / 2\rlast = 1.0E1");
  EXPECT_EQ(dielectrics({"water", "mean", "in_side*last"}, file), (std::vector<double>{78.54, 41.27, 40}));
  // A line as long as one may be.
  const std::string longest = scratch.write("long.txt", "a = 1" + std::string(3993, ' ') + "+1\nb = a\n");
  EXPECT_EQ(dielectrics({"b"}, longest), std::vector<double>{2});
}

TEST_F(Formula, FaultsOnTheCommandLine) {
  const std::vector<std::pair<std::string, std::string>> faults{
      {"2*epsi", "undefined variable epsi"},
      {"a = a + 1", "undefined variable a"},
      {"a = (a = 2)", "a is defined already, at --dielectric"},
      {"2 3", "no operator between '2' and '3'"},
      {"2(3)", "no operator between '2' and '('"},
      {"(2)(3)", "no operator between ')' and '('"},
      {"2x", "no operator between '2' and 'x'"},
      {"1E5+0", "an exponent needs a decimal point before it: 1.0E5 in place of 1E5"},
      {"2*1e-12", "an exponent needs a decimal point before it: 1.0e-12 in place of 1e-12"},
      {"2.+3", "a digit must follow the decimal point in '2.+3'"},
      {"1.5E*2", "digits must follow the exponent mark in '1.5E'"},
      {"2*.5", "a digit must stand before the decimal point"},
      {"0*1.0E999", "number '1.0E999' is out of range"},
      {"0*99999999999999999999", "number '99999999999999999999' is out of range"},
      {"(2", "'(' without ')'"},
      {"2)", "')' without '('"},
      {"()", "a value is missing before ')'"},
      {"2*", "a value is missing at the end"},
      {"--2", "a value is missing before '-'"},
      {"-+2", "a value is missing before '+'"},
      {"= 2", "a value is missing before '='"},
      {"2 = 2", "only a name can stand before '='"},
      {"\"a\"", "unexpected character '\"'"},
      {"\xC3\xA9=2", "unexpected character '?'"},
      {std::string(41, 'a') + "=2", std::string(40, 'a') + "... has more than 40 characters"},
      {"2*1." + std::string(40, '1'), "1." + std::string(38, '1') + "... has more than 40 characters"},
  };
  for (const auto& [formula, message] : faults) {
    SCOPED_TRACE(formula);
    const RunResult result = run({formula});
    expect_one_line(result, 2, "--dielectric: '");
    EXPECT_TRUE(result.err.ends_with("': " + message + "\n")) << result.err;
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

// Whatever the text is, there is a report or one line: never the library's own end of the process, which is status 0.
TEST_F(Formula, HostileTextsEndInAReportOrOneLine) {
  std::mt19937 random(7);
  const std::array<std::string, 22> morsels{"a", "b", "e5", "=", "1", "2.", "3.5", "1.0E2", "(",  ")",    " ",
                                            "+", "-", "*",  "/", "^", ".",  "\"",  "\t",    "E+", "\xFF", ","};
  int reports = 0;
  for (int round = 0; round < 120; ++round) {
    std::string text = round % 2 == 0 ? "a=1" : "";
    for (unsigned n = random() % 8; n > 0; --n) {
      text += morsels[random() % morsels.size()];
    }
    SCOPED_TRACE(text);
    for (const bool in_file : {false, true}) {
      const RunResult result = in_file ? run({"2"}, scratch.write("p.txt", text)) : run({text});
      if (result.status == 0) {
        ++reports;
        EXPECT_EQ(result.err, "");
        EXPECT_TRUE(result.out.ends_with("memory still held: 0 bytes in 0 blocks\n"));
      } else {
        expect_one_line(result, in_file ? 1 : 2);
      }
    }
  }
  EXPECT_GT(reports, 10);
}

}  // namespace
