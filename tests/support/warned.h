// The text that a call prints on standard error, for tests of the molecule layer's warnings.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_WARNED_H
#define NXBRIOCHEM_TESTS_SUPPORT_WARNED_H

#include <gtest/gtest.h>

#include <string>

namespace test_support {

// The text of the call's warnings. Checks the call's result.
template <class Result, class Call>
std::string warned(Result result, Call call) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(call(), result);
  return testing::internal::GetCapturedStderr();
}

}  // namespace test_support

#endif
