#include <nxbriochem/toolkit/nxsystem.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using namespace NxSystem;

TEST(NxErrorHandler, WritesOneLineWithPrefixAndNewline) {
  testing::internal::CaptureStderr();
  NxThrow.Warning("Attempt %d of %s", 3, "this");
  NxThrow.Error("ends itself\n");
  NxThrow.Warning("%s", "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: Attempt 3 of this\nError: ends itself\nWarning: \n");
}

// Texts shorter and longer than any plausible fixed buffer.
TEST(NxErrorHandler, NeverCutsAText) {
  for (const std::size_t length : {490U, 500U, 501U, 502U, 503U, 504U, 510U, 511U, 512U, 513U, 100000U}) {
    const std::string text(length, 'x');
    testing::internal::CaptureStderr();
    NxThrow.Warning("%s", text.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: " + text + "\n") << length;
  }
}

TEST(NxErrorHandlerDeathTest, FatalFlushesOutputAndExitsWithOne) {
  EXPECT_EXIT(
      {
        dup2(fileno(stderr), fileno(stdout));
        std::printf("before ");
        NxThrow.Fatal("no %s", "way");
      },
      testing::ExitedWithCode(1), "before Fatal: no way\n$");
  EXPECT_EXIT(NxAssertionFailed(12, "memmgr"), testing::ExitedWithCode(1),
              "^Fatal: Assertion failed at line 12 of memmgr.\n$");
}

TEST(NxGetTag, IsStablePerName) {
  const int coords = NxGetTag("NxBrioCoords");
  const int radii = NxGetTag("NxBrioRadii");
  EXPECT_GT(coords, 0);
  EXPECT_GT(radii, 0);
  EXPECT_NE(coords, radii);
  EXPECT_EQ(NxGetTag(std::string("NxBrioCoords").c_str()), coords);
  EXPECT_EQ(NxGetTag(nullptr), 0);
}

TEST(NxBase, KeepsItsOwnCopyUntilReplaced) {
  NxBase base;
  const int tag = NxGetTag("values");
  std::vector<float> values = {1.0F, 2.0F, 3.0F};
  const float* stored = base.SetData(tag, values.data(), values.size());
  values.assign(3, 9.0F);
  base.SetData(NxGetTag("other"), 1.5);
  std::size_t n = 0;
  EXPECT_EQ(base.GetData<float>(tag, &n), stored);
  EXPECT_EQ(n, 3U);
  EXPECT_EQ(stored[2], 3.0F);
  // Stores a part of the stored item over the item itself.
  stored = base.SetData(tag, stored + 1, 2);
  EXPECT_EQ(stored[0], 2.0F);
  EXPECT_EQ(stored[1], 3.0F);
  // A replacement may be of another type.
  base.SetData(tag, "text");
  EXPECT_STREQ(base.GetStringData(tag), "text");
  base.SetData(tag, std::string("with\0nul", 8));
  EXPECT_STREQ(base.GetStringData(tag), "with");
  base.SetData(tag, 7);
  EXPECT_EQ(*base.GetData<int>(tag, &n), 7);
  EXPECT_EQ(n, 1U);
}

TEST(NxBase, EmptyItemsAndBadRequests) {
  NxBase base;
  const int tag = NxGetTag("empty");
  std::size_t n = 5;
  EXPECT_NE(base.SetData<int>(tag, nullptr, 4), nullptr);
  EXPECT_NE(base.GetData<int>(tag, &n), nullptr);
  EXPECT_EQ(n, 0U);
  const int one = 1;
  EXPECT_EQ(base.SetData(0, &one, 1), nullptr);
  EXPECT_EQ(base.SetData(-3, &one, 1), nullptr);
  EXPECT_EQ(base.SetData(tag, &one, SIZE_MAX / 2), nullptr);
  EXPECT_FALSE(base.HasData(0));
  EXPECT_TRUE(base.HasData(tag));
  EXPECT_EQ(base.GetData<int>(999999), nullptr);
  EXPECT_TRUE(base.DeleteData(tag));
  EXPECT_FALSE(base.DeleteData(tag));
  EXPECT_FALSE(base.HasData(tag));
}

TEST(NxBase, WarnsOfAnotherType) {
  NxBase base;
  const int tag = NxGetTag("mask");
  base.SetData(tag, 1);
  base.SetData(12345, 'c');
  testing::internal::CaptureStderr();
  EXPECT_EQ(base.GetData<float>(tag), nullptr);
  EXPECT_EQ(base.GetStringData(tag), nullptr);
  EXPECT_EQ(base.GetData<double>(12345), nullptr);
  const std::string number = std::to_string(tag);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Warning: Data under tag " + number + " (mask) is of type int, asked for as float\n" +
                "Warning: Data under tag " + number + " (mask) is of type int, asked for as string\n" +
                "Warning: Data under tag 12345 (unnamed) is of type char, asked for as double\n");
}

TEST(NxBase, CopiesAreDeep) {
  NxBrioGrid grid;
  const int tag = NxGetTag("grid");
  grid.SetData(tag, 2.5F);
  NxBase copy(grid);
  grid.SetData(tag, 3.5F);
  EXPECT_EQ(*copy.GetData<float>(tag), 2.5F);
  copy = grid;
  const NxBase& self = copy;
  copy = self;
  grid.Clear();
  EXPECT_FALSE(grid.HasData(tag));
  EXPECT_EQ(*copy.GetData<float>(tag), 3.5F);
}

}  // namespace
