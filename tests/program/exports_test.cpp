// The binary interface from outside: what the shared library exports and needs, and that the headers declare it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <ranges>
#include <set>
#include <string>
#include <vector>

#include "tests/support/matches.h"
#include "tests/support/run.h"

namespace {

using namespace test_support;
using Names = std::set<std::string>;

const std::string kSource = NXBRIO_SOURCE_DIR;

struct Library {
  std::string name;
  // The least number of exported names: an empty list must be a failure.
  std::size_t exported;
  std::size_t declared;
  // The libraries that it needs besides those of the compiler and the system.
  std::string needed;
};
std::ostream& operator<<(std::ostream& stream, const Library& library) { return stream << library.name; }

// The lines that a shell command prints.
Names printed_by(const std::string& command) {
  const RunResult result = run({"/bin/sh", "-c", command});
  EXPECT_EQ(result.status, 0) << result.err;
  const std::vector<std::string> lines = lines_of(result.out);
  return {lines.begin(), lines.end()};
}

class Exports : public testing::TestWithParam<Library> {
 protected:
  static std::string binary() { return std::string(NXBRIO_LIBRARIES) + "/lib" + GetParam().name + ".so"; }

  // The symbols of the list, each with the header under which it is listed.
  static std::map<std::string, std::string> listed() {
    std::map<std::string, std::string> symbols;
    std::string header;
    for (const std::string& line : lines_of(read_file(kSource + "/" + GetParam().name + "/exports.txt"))) {
      if (line.starts_with("# ")) {
        header = line.substr(2);
      } else if (!line.empty()) {
        EXPECT_TRUE(symbols.emplace(line, header).second) << line << " is listed twice";
      }
    }
    return symbols;
  }

  struct Declaration {
    std::string above;  // the line above it
    std::string header;
  };

  // The names that the headers mark as exported.
  static std::multimap<std::string, Declaration> declared() {
    std::multimap<std::string, Declaration> names;
    const std::string declaration = "^(extern )?NX_API ([^([;]*[^([;[:alnum:]_])?([[:alnum:]_]+)[([;]";
    const std::string root = kSource + "/" + GetParam().name;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
      if (entry.path().extension() != ".h") {
        continue;
      }
      std::string above;
      for (const std::string& line : lines_of(read_file(entry.path().string()))) {
        if (const Groups found = first_match(line, declaration); !found.empty()) {
          names.emplace(found[3], Declaration{above, entry.path().lexically_relative(root).string()});
        }
        above = line;
      }
    }
    return names;
  }
};

INSTANTIATE_TEST_SUITE_P(Libraries, Exports,
                         testing::Values(Library{"nxbriochem", 300, 500, "none"},
                                         Library{"nxbriofiles", 40, 40,
                                                 "libnxbriochem\\.so.*|libz\\.so.*|libRDKit[A-Za-z]+\\.so.*"},
                                         Library{"nxbriodock", 30, 30, "libnxbriochem\\.so.*"}),
                         [](const auto& library) { return library.param.name; });

TEST_P(Exports, TheBinaryExportsTheWrittenListAndNothingElse) {
  const Names exported = printed_by("nm -D --defined-only '" + binary() + "' | awk '{ print $3 }'");
  ASSERT_GT(exported.size(), GetParam().exported);
  Names different;
  std::ranges::set_symmetric_difference(exported, std::views::keys(listed()),
                                        std::inserter(different, different.end()));
  EXPECT_EQ(different, Names{});
}

// What a program that links the library takes along: the major version in the soname, symbols without versions (which
// nm would append to the names above), and no library but the compiler's, the system's and those it is to need.
TEST_P(Exports, TheSonameIsTheMajorVersionAndOnlyKnownLibrariesAreNeeded) {
  Names lines =
      printed_by("readelf -dW '" + binary() + "' | sed -n 's/.*(\\(SONAME\\|NEEDED\\)).*\\[\\(.*\\)]/\\1 \\2/p'");
  EXPECT_EQ(lines.count("SONAME lib" + GetParam().name + ".so." NXBRIO_VERSION_MAJOR), 1U);
  const std::string known =
      "^(SONAME .*|NEEDED ((libstdc\\+\\+|libm|libgcc_s|libc|ld-linux.*|lib(a|ub|t|l)san)\\.so.*|" + GetParam().needed +
      "))$";
  std::erase_if(lines, [&](const std::string& line) { return matches(line, known); });
  EXPECT_EQ(lines, Names{});
}

// The comment must be right above the declaration, where `make docs` and readers look for it, and not be the heading of
// a section.
TEST_P(Exports, EveryNameIsDeclaredListedAndCommented) {
  const std::map<std::string, std::string> symbols = listed();
  const std::multimap<std::string, Declaration> names = declared();
  ASSERT_GT(names.size(), GetParam().declared);
  for (const auto& [name, declaration] : names) {
    const auto& [above, header] = declaration;
    EXPECT_TRUE(std::ranges::any_of(
        symbols,
        [&n = name, &h = header](const auto& listed) {
          const auto& [symbol, below] = listed;
          return below == h && (symbol == n || (symbol.starts_with("_Z") && symbol.find(n) != std::string::npos));
        }))
        << name << " is not listed below " << header;
    EXPECT_TRUE(matches(above, "^ *// ") && !matches(above, "^ *// ----")) << name << " stands below: " << above;
  }
  for (const auto& [symbol, header] : symbols) {
    EXPECT_TRUE(symbol.starts_with("_Z") || names.contains(symbol)) << symbol << " is exported and not declared";
  }
}

// A program's function of the same name as an exported one replaces no call inside the library: nothing of the
// library's code is looked up by name when it is loaded. Variables are: they are shared with the program.
TEST_P(Exports, FunctionsInsideAreNotLookedUpByName) {
  const Names functions = printed_by("nm -D --defined-only '" + binary() + "' | awk '$2 == \"T\" { print $3 }'");
  const Names looked_up = printed_by("readelf -rW '" + binary() + "' | awk '$5 != \"\" { print $5 }'");
  ASSERT_GT(functions.size(), GetParam().exported);
  EXPECT_EQ(looked_up.contains("DFactor2"), GetParam().name == "nxbriochem");
  Names both;
  std::ranges::set_intersection(functions, looked_up, std::inserter(both, both.end()));
  EXPECT_EQ(both, Names{});
}

// An empty entry would be the current directory, where anyone may have put a library.
TEST(Program, TheBuiltProgramLooksForLibrariesInNamedPlacesOnly) {
  const Names paths = printed_by("readelf -dW '" NXBRIO_PROGRAM "' | sed -n 's/.*(RUNPATH).*\\[\\(.*\\)]/\\1/p'");
  ASSERT_EQ(paths.size(), 1U);
  const std::string between = ":" + *paths.begin() + ":";
  EXPECT_EQ(between.find("::"), std::string::npos) << between;
}

}  // namespace
