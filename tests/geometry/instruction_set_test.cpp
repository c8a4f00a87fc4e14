#include <gtest/gtest.h>
#include <nxbriochem/geometry/instruction_set_internal.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

using instruction_set::InstructionSet;

// The flags that the kernel lists for the processor.
TEST(InstructionSet, SupportedAreThoseThatTheSystemNames) {
  std::vector<std::string> expected = {"plain"};
#if defined(__x86_64__)
  std::ifstream file("/proc/cpuinfo");
  std::string line;
  while (line.rfind("flags", 0) != 0 && std::getline(file, line)) {
  }
  if (line.rfind("flags", 0) != 0) {
    GTEST_SKIP() << "no flags in /proc/cpuinfo";
  }
  for (const char* name : {"sse2", "avx2", "avx512"}) {
    const std::string flag = name == std::string("avx512") ? "avx512f" : name;
    if ((line + ' ').find(' ' + flag + ' ') == std::string::npos) {
      break;
    }
    expected.emplace_back(name);
  }
#endif
  std::vector<std::string> names;
  for (const InstructionSet set : instruction_set::supported()) {
    names.emplace_back(instruction_set::name_of(set));
  }
  EXPECT_EQ(names, expected);
  EXPECT_EQ(instruction_set::name_of(instruction_set::best()), expected.back());
}
