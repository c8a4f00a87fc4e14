// What a call prints, and how it ends the process.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_PRINTED_H
#define NXBRIOCHEM_TESTS_SUPPORT_PRINTED_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

namespace test_support {

// What the call prints to standard output.
template <class Call>
std::string printed(Call call) {
  testing::internal::CaptureStdout();
  call();
  return testing::internal::GetCapturedStdout();
}

// In a child process, the call ends it with this status, and what it prints holds the text, a regular expression of
// GoogleTest's.
template <class Call>
void expect_exit(int status, const std::string& text, Call call) {
  const auto run = [&call] {
    dup2(STDERR_FILENO, STDOUT_FILENO);  // where the exit assertions look
    call();
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(status), testing::ContainsRegex(text));
}

}  // namespace test_support

#endif
