// The binary interface from outside: what the shared library exports and needs.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/run.h"

namespace {

using test_support::run;
using test_support::RunResult;

std::set<std::string> listed() {
  std::set<std::string> symbols;
  std::ifstream file(NXBRIO_SOURCE_DIR "/nxbriochem/exports.txt");
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line[0] != '#') {
      EXPECT_TRUE(symbols.insert(line).second) << line << " is listed twice";
    }
  }
  return symbols;
}

std::set<std::string> lines_of(const std::vector<std::string>& command) {
  const RunResult result = run(command);
  EXPECT_EQ(result.status, 0) << result.err;
  std::set<std::string> lines;
  std::istringstream text(result.out);
  for (std::string line; std::getline(text, line);) {
    lines.insert(line);
  }
  return lines;
}

std::vector<std::string> difference(const std::set<std::string>& a, const std::set<std::string>& b) {
  std::vector<std::string> result;
  std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(result));
  return result;
}

TEST(Exports, TheBinaryExportsTheWrittenListAndNothingElse) {
  const std::set<std::string> exported =
      lines_of({"/bin/sh", "-c", "nm -D --defined-only '" NXBRIO_LIBRARY "' | awk '{ print $3 }'"});
  ASSERT_GT(exported.size(), 300U);
  EXPECT_EQ(difference(exported, listed()), std::vector<std::string>{});
  EXPECT_EQ(difference(listed(), exported), std::vector<std::string>{});
}

// What a program that links the library takes along: the major version in the soname, symbols without versions (which
// nm would append to the names above), and no library but the compiler's and the system's.
TEST(Exports, TheSonameIsTheMajorVersionAndOnlyStandardLibrariesAreNeeded) {
  const std::set<std::string> lines =
      lines_of({"/bin/sh", "-c",
                "readelf -dW '" NXBRIO_LIBRARY "' | sed -n 's/.*(\\(SONAME\\|NEEDED\\)).*\\[\\(.*\\)]/\\1 \\2/p'"});
  EXPECT_EQ(lines.count("SONAME libnxbriochem.so." NXBRIO_VERSION_MAJOR), 1U);
  std::set<std::string> others;
  for (const std::string& line : lines) {
    if (!std::regex_match(line, std::regex("SONAME .*|NEEDED (libstdc\\+\\+|libm|libgcc_s|libc|ld-linux.*)\\.so.*|"
                                           "NEEDED lib(asan|ubsan|tsan|lsan)\\.so.*"))) {
      others.insert(line);
    }
  }
  EXPECT_EQ(others, std::set<std::string>{});
}

TEST(Exports, EveryFunctionThatAHeaderMarksIsListed) {
  const std::set<std::string> declared =
      lines_of({"/bin/sh", "-c",
                "cat '" NXBRIO_SOURCE_DIR "'/nxbriochem/objects/*.h '" NXBRIO_SOURCE_DIR
                "'/nxbriochem/util/*.h '" NXBRIO_SOURCE_DIR "'/nxbriochem/geometry/*.h '" NXBRIO_SOURCE_DIR
                "'/nxbriochem/molecules/briochem.h | grep -oP '^(extern )?NX_API .*?\\K\\w+(?=\\(|;)'"});
  ASSERT_GT(declared.size(), 200U);
  EXPECT_EQ(difference(declared, listed()), std::vector<std::string>{});
}

TEST(Exports, EveryExportedFunctionHasACommentOfItsOwn) {
  const RunResult result =
      run({"/bin/sh", "-c",
           "awk 'FNR == 1 { last = \"\" } /^(extern )?NX_API / && last !~ /^ *\\/\\// "
           "{ print FILENAME \": \" $0 } { last = $0 }' '" NXBRIO_SOURCE_DIR "'/nxbriochem/*/*.h"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "");
}

}  // namespace
