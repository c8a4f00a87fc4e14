// The reference: what is said of each exported name stands right above its declaration, where `make docs` and a reader
// look for it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>

namespace {

const std::string kSource = NXBRIO_SOURCE_DIR;

// The exported names that the headers declare, each with the line above its declaration.
std::map<std::string, std::string> declared_names() {
  std::map<std::string, std::string> names;
  const std::regex declaration("^(?:extern )?NX_API [^(;]*?(\\w+)(?:\\(|\\[|;).*");
  for (const auto& entry : std::filesystem::recursive_directory_iterator(kSource + "/nxbriochem")) {
    if (entry.path().extension() != ".h") {
      continue;
    }
    std::ifstream header(entry.path());
    std::string above;
    for (std::string line; std::getline(header, line); above = line) {
      std::smatch found;
      if (std::regex_match(line, found, declaration)) {
        names[found[1]] = above;
      }
    }
  }
  return names;
}

TEST(Reference, SaysSomethingOfEveryExportedName) {
  const std::map<std::string, std::string> names = declared_names();
  std::ifstream exports(kSource + "/nxbriochem/exports.txt");
  int plain = 0;
  for (std::string name; std::getline(exports, name);) {
    if (name.empty() || name.starts_with('#') || name.starts_with("_Z")) {
      continue;
    }
    ++plain;
    const auto found = names.find(name);
    if (found == names.end()) {
      ADD_FAILURE() << name << " is exported and not declared";
      continue;
    }
    EXPECT_TRUE(found->second.starts_with("// ") && found->second.find("// ----") == std::string::npos)
        << name << " stands below: " << found->second;
  }
  EXPECT_GT(plain, 500);
}

}  // namespace
