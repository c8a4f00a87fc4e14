#include <nxbriochem/objects/error.h>

#include <gtest/gtest.h>

#include <string>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/error_state.h>
#include <nxbriochem/objects/memory.h>

#include "tests/support/printed.h"
#include "tests/support/run.h"

namespace {

using test_support::printed;
using test_support::read_file;

void queue_errors(int n) {
  for (int i = 0; i < n; ++i) {
    nxi_error("message %d", i);
  }
}

TEST(Error, EmptyQueuesHaveTheirOwnWords) {
  EXPECT_EQ(printed(nx_print_all_errors), "No error messages\n");
  EXPECT_EQ(printed(nx_print_all_warnings), "No warning messages\n");
  EXPECT_EQ(printed(nx_print_new_errors), "");
  EXPECT_EQ(printed(nx_print_new_warnings), "No warnings messages\n");
  EXPECT_EQ(printed(nx_print_last_error), "NO ERROR MESSAGES\n");
  EXPECT_EQ(printed(nx_print_last_warning), "No warnings messages\n");
  EXPECT_EQ(printed([] { nx_print_error(0); }), "");
  EXPECT_EQ(printed([] { EXPECT_EQ(nx_error_with_tag("x", 0), nullptr); }), "No error messages\n");
  EXPECT_EQ(printed([] { EXPECT_EQ(nx_warning_with_tag("x", 0), nullptr); }), "No warning messages\n");
  EXPECT_EQ(nx_number_of_errors_with_tag("x"), 0);
  EXPECT_EQ(nx_error_queue_memory(), 0);
}

TEST(Error, ErrorsPrintToTheLetter) {
  queue_errors(5);
  EXPECT_EQ(nx_new_errors(), 1);
  const std::string five =
      "ERROR #0: message 0\nERROR #1: message 1\nERROR #2: message 2\nERROR #3: message 3\nERROR #4: message 4\n";
  const char* const zeroth = "\nNEW ERROR MESSAGES:\nERROR #0: message 0\n\n";
  const char* const texts[] = {"", zeroth, zeroth, "\nNEW ERROR MESSAGES:\nERROR #1: message 1\n\n"};
  for (const int n : {-1, 0, 1, 2}) {
    EXPECT_EQ(printed([n] { nx_print_error(n); }), texts[n + 1]);
  }
  EXPECT_EQ(printed([] { nx_print_error(5); }), "");
  EXPECT_EQ(printed(nx_print_last_error), "LAST ERROR MESSAGE (#5): message 4\n");
  EXPECT_EQ(nx_new_errors(), 1);  // neither printing changes which messages are new
  EXPECT_EQ(printed(nx_print_new_errors), "\nNEW ERROR MESSAGES:\n" + five + "\n");
  EXPECT_EQ(nx_new_errors(), 0);
  EXPECT_EQ(printed(nx_print_new_errors), "NO NEW ERROR MESSAGES\n");
  nxi_err("sixth\n");
  EXPECT_EQ(printed(nx_print_new_errors), "\nNEW ERROR MESSAGES:\nERROR #5: sixth\n\n\n");
  EXPECT_EQ(printed(nx_print_all_errors_warnings),
            "\nCOMPLETE ERROR MESSAGE LIST:\n" + five + "ERROR #5: sixth\n\n\nNo warning messages\n");
}

TEST(Error, WarningsPrintToTheLetter) {
  nxi_warn("one");
  nxi_warning("%s%d", "two", 2);
  EXPECT_EQ(printed([] { nx_print_warning(0); }), "\nWarning MESSAGE:\nWarning #0: one\n\n");
  EXPECT_EQ(printed(nx_print_last_warning), "LAST WARNING MESSAGE (#2): two2\n");
  EXPECT_EQ(printed(nx_print_new_warnings), "\nNEW WARNING MESSAGES:\nWARNING #0: one\nWARNING #1: two2\n\n");
  EXPECT_EQ(printed(nx_print_new_warnings), "NO NEW WARNINGS MESSAGES\n");
  EXPECT_EQ(printed(nx_print_all_warnings_errors),
            "\nCOMPLETE WARNING MESSAGE LIST:\nWARNING #0: one\nWARNING #1: two2\n\nNo error messages\n");
  EXPECT_EQ(nx_new_warnings(), 0);
}

TEST(Error, LongAndEmptyTextsAreWarnedOf) {
  const test_support::ScratchDirectory scratch;
  const std::string path = scratch.path("log");
  nx_write_errors_to_file(path.c_str());
  nx_error_debug_on();
  const std::string text(201, 'e');
  EXPECT_EQ(printed([&text] { nxi_err(text.c_str()); }), std::string("had to truncate an error message").append(text));
  nx_error_debug_off();
  EXPECT_EQ(read_file(path),
            std::string("WARNING: had to truncate an error message\nERROR: ").append(text).append("\n"));
  EXPECT_EQ(error::err_str_pos, 201);
  EXPECT_EQ(std::string(nx_error_with_tag("", 0)), std::string(200, 'e'));
  nxi_err("");
  nxi_err(nullptr);
  nxi_warn("");
  EXPECT_EQ(nx_number_of_errors(), 1);
  EXPECT_EQ(nx_number_of_warnings_with_tag("zero length warning sent to error queue"), 2);
  EXPECT_EQ(nx_number_of_warnings_with_tag("zero length warning sent to warning queue"), 1);
  nxi_warn(std::string(250, 'w').c_str());
  EXPECT_EQ(nx_number_of_warnings_with_tag("had to truncate an warning message"), 1);
}

TEST(Error, FormattedTextsAreBounded) {
  nxi_error("%s", std::string(100000, 'x').c_str());
  EXPECT_EQ(nx_number_of_errors(), 1);
  EXPECT_EQ(nx_number_of_warnings_with_tag("truncate"), 1);
  EXPECT_EQ(printed([] { nxi_error_print("%d\n", 7); }), "7\n");
  EXPECT_EQ(printed([] { nxi_warning_print("%d\n", 8); }), "8\n");
  nx_suppress_error_printing();
  EXPECT_EQ(printed([] { nxi_error_print("9"), nxi_warning_print("9"); }), "");
  EXPECT_EQ(nx_number_of_errors(), 3);
}

TEST(Error, TagsAreCountedAndFetched) {
  nxi_err("grid too small");
  nxi_err("no atoms");
  nxi_err("grid too large");
  EXPECT_EQ(nx_number_of_errors_with_tag("grid"), 2);
  EXPECT_STREQ(nx_error_with_tag("grid", 1), "grid too large");
  EXPECT_STREQ(nx_error_with_tag("atoms", 0), "no atoms");
  EXPECT_STREQ(nx_error_with_tag("grid", 2), "");  // the free space behind the last message
  EXPECT_EQ(nx_error_with_tag(nullptr, 0), nullptr);
}

TEST(Error, BufferDoublesAndAnExactFitIsNoOverrun) {
  const std::string text(199, 'x');
  for (int i = 0; i < 5; ++i) {
    nxi_err(text.c_str());  // 5 * 200 bytes fill the 1000 to the last
  }
  EXPECT_EQ(nx_error_queue_memory(), 1000);
  EXPECT_STREQ(nx_error_with_tag("y", 0), "");
  nxi_err("y");
  EXPECT_EQ(nx_error_queue_memory(), 2000);
  // A message whose text alone reaches the capacity still fits.
  while (error::err_str_pos + 201 <= 2000) {
    nxi_err(std::string(200, 'z').c_str());
  }
  nxi_err(std::string(static_cast<std::size_t>(2000 - error::err_str_pos), 'w').c_str());
  EXPECT_EQ(nx_error_queue_memory(), 2000);
  EXPECT_STREQ(nx_error_with_tag("absent", 0), "");
  // A stored message may be queued again, even when that moves the buffer that holds it.
  nxi_err(nx_error_with_tag("y", 0));
  EXPECT_EQ(nx_error_queue_memory(), 4000);
  EXPECT_EQ(nx_number_of_errors_with_tag("y"), 2);
}

TEST(Error, LogFileIsTruncatedByTheFirstMessageOnly) {
  const test_support::ScratchDirectory scratch;
  const std::string first = scratch.write("first", "old\n");
  const std::string second = scratch.write("second", "old\n");
  EXPECT_EQ(nx_write_errors_to_file("") + nx_write_errors_to_file(nullptr), 0);
  EXPECT_EQ(nx_write_errors_to_file(first.c_str()), 1);
  nxi_err("a");
  nxi_warn("b");
  EXPECT_EQ(read_file(first), "ERROR: a\nWARNING: b\n");
  EXPECT_EQ(nx_write_errors_to_file(second.c_str()), 1);
  nxi_err("c");
  EXPECT_EQ(read_file(second), "old\nERROR: c\n");
  nx_write_errors_to_file("/nonexistent/dir/log");
  nxi_err("d");
  EXPECT_EQ(nx_number_of_errors(), 3);
}

TEST(Error, MessagesAndLogOutliveAReleaseOfAllMemory) {
  const test_support::ScratchDirectory scratch;
  const std::string log = scratch.path("log");
  nx_write_errors_to_file(log.c_str());
  nxi_err("one");
  EXPECT_EQ(nx_total_memory_allocated(), 1001 + log.size() + 1);  // the buffer, its spare byte and the log's name
  nxi_warn("w");
  std::string expected = "ERROR: one\nWARNING: w\n";
  int count = 1;
  for (void (*release)() : {nx_free_all_memory, clear_memory_system, nx_free_all_memory}) {
    release();
    EXPECT_EQ(nx_total_memory_allocated(), 0U);
    EXPECT_EQ(nx_total_number_of_active_pointers(), 0);
    EXPECT_STREQ(nx_error_with_tag("one", 0), "one");
    EXPECT_EQ(nx_number_of_warnings(), 1);
    // The buffer still grows, and is a tracked block again.
    const int capacity = nx_error_queue_memory();
    while (nx_error_queue_memory() == capacity) {
      nxi_err("more");
      expected += "ERROR: more\n";
      ++count;
    }
    EXPECT_EQ(nx_total_memory_allocated(), static_cast<uint32_t>(nx_error_queue_memory()) + 1);
  }
  EXPECT_EQ(nx_number_of_errors(), count);
  EXPECT_EQ(nx_number_of_errors_with_tag("more"), count - 1);
  EXPECT_EQ(read_file(log), expected);
}

TEST(ErrorDeathTest, ExitPrintsBothQueues) {
  nxi_err("e");
  test_support::expect_exit(objects::kEnded, "^No warning messages\n\nCOMPLETE ERROR MESSAGE LIST:\nERROR #0: e\n\n$",
                            nx_exit);
}

// Nearly eleven million long messages.
TEST(ErrorDeathTest, QueueOf32BitPositionsThatIsFullEndsTheProcess) {
  error::err_str_len = 2048000000;
  error::err_str_pos = 2048000000;
  test_support::expect_exit(objects::kMemoryExhausted,
                            "^Out of memory trying to allocate 4096000001 bytes of memory\n\n\\*{7}\n",
                            [] { nxi_err("e"); });
}

TEST(Error, SeedIsAMicrosecond) { EXPECT_LT(nx_time_dependent_seed(), 1000000U); }

}  // namespace
