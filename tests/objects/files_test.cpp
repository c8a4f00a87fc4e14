#include <nxbriochem/objects/files.h>

#include <gtest/gtest.h>

#include <string>

#include <nxbriochem/objects/files_state.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/print.h>

#include "tests/support/printed.h"

namespace {

using test_support::printed;

std::string path(const char* name) { return testing::TempDir() + name; }

TEST(Files, AnOpenFileIsSharedAndAClosedOneRegisteredAnew) {
  const std::string a = path("a");
  nx_print_everything();
  EXPECT_EQ(nxi_fclose_all(), 0);
  std::FILE* stream = nxi_fopen(a.c_str(), "w");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(nxi_open_file(a.c_str(), "r"), stream);  // whatever the mode
  EXPECT_EQ(files::filelist.count, 1U);
  EXPECT_EQ(nxi_is_fopen(stream), 1);
  EXPECT_EQ(nxi_is_file_open(a.c_str()), 1);
  const uint32_t before = nx_total_memory_allocated();
  EXPECT_EQ(nxi_fclose(stream), 1);
  EXPECT_EQ(nx_total_memory_allocated(), before - a.size() - 1);  // the name's copy went back
  EXPECT_EQ(nxi_is_fopen(stream), 0);
  EXPECT_EQ(nxi_is_file_open(a.c_str()), 0);
  nxi_fopen(a.c_str(), "r");
  EXPECT_EQ(files::filelist.count, 2U);
  EXPECT_EQ(printed(nxi_list_files), "file " + a + " was opened\nfile " + a + " is open\n");
  EXPECT_EQ(printed(nxi_list_open_files), "file " + a + " is open\n");
  EXPECT_EQ(nxi_close_file(a.c_str()), 1);
  EXPECT_EQ(nxi_close_file(a.c_str()), 0);
  EXPECT_EQ(nx_total_memory_allocated(), before);  // closing by name keeps the copy
}

TEST(Files, ClosingAllSaysHowMany) {
  nx_print_everything();
  std::string closing;
  for (const char* name : {"x", "y", "z"}) {
    nxi_fopen(path(name).c_str(), "w");
    closing += "closing " + path(name) + "\n";
  }
  EXPECT_EQ(printed(nxi_fclose_all), closing + "closed 3 files\n");
  EXPECT_EQ(printed(nxi_fclose_all), "");
  nxi_fopen(path("x").c_str(), "w");
  EXPECT_EQ(printed(nxi_fclose_all), "closing " + path("x") + "\nclosed one file\n");
  EXPECT_EQ(files::filelist.open_count, 0U);
}

TEST(Files, FailuresRegisterNothing) {
  nx_print_everything();
  EXPECT_EQ(printed([] { EXPECT_EQ(nxi_fopen("/nonexistent/file", "r"), nullptr); }),
            "Failed to open file /nonexistent/file\n");
  EXPECT_EQ(nxi_fopen(nullptr, "r"), nullptr);
  EXPECT_EQ(nxi_close_file(nullptr), 0);
  EXPECT_EQ(files::filelist.count, 0U);
  std::FILE* foreign = std::tmpfile();
  EXPECT_EQ(nxi_fclose(foreign), 0);
  EXPECT_EQ(std::fputs("still open", foreign) >= 0, true);
  std::fclose(foreign);
}

TEST(Files, RoomGrowsByTen) {
  for (int i = 0; i < 11; ++i) {
    nxi_fopen(path("f").append(std::to_string(i)).c_str(), "w");
  }
  EXPECT_EQ(files::filelist.capacity, 20U);
  EXPECT_EQ(nxi_is_file_open(path("f0").c_str()), 1);
  nxi_fclose_all();
}

}  // namespace
