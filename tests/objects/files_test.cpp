#include <nxbriochem/objects/files.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include <nxbriochem/objects/error.h>
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
  EXPECT_EQ(nx_total_memory_allocated(), before - a.size() - 1);  // the copy of the name was freed
  EXPECT_EQ(nxi_is_fopen(stream), 0);
  EXPECT_EQ(nxi_is_file_open(a.c_str()), 0);
  nxi_fopen(a.c_str(), "r");
  EXPECT_EQ(files::filelist.count, 2U);
  EXPECT_EQ(printed([] { EXPECT_EQ(nxi_list_files(), 1); }), "file " + a + " was opened\nfile " + a + " is open\n");
  EXPECT_EQ(printed([] { EXPECT_EQ(nxi_list_open_files(), 1); }), "file " + a + " is open\n");
  EXPECT_EQ(nxi_close_file(a.c_str()), 1);
  EXPECT_EQ(nxi_close_file(a.c_str()), 0);
  EXPECT_EQ(nx_total_memory_allocated(), before);  // closing by name keeps the copy
}

// A model of the list as documented: every look-up scans the entries.
class FilesModel {
 public:
  struct Entry {
    std::FILE* stream;
    std::string name;
    bool open;
  };
  std::vector<Entry> entries;

  Entry* open_of(const std::string& name) {
    return last([&name](const Entry& entry) { return entry.name == name; });
  }
  Entry* open_of(const std::FILE* stream) {
    return last([stream](const Entry& entry) { return entry.stream == stream; });
  }
  std::string listing(bool all) const {
    std::string text;
    for (const Entry& entry : entries) {
      if (all || entry.open) {
        text += "file " + entry.name + (entry.open ? " is open\n" : " was opened\n");
      }
    }
    return text;
  }

 private:
  template <class Match>
  Entry* last(Match match) {
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
      if (entry->open && match(*entry)) {
        return &*entry;
      }
    }
    return nullptr;
  }
};

TEST(Files, AgreeWithTheScansUnderRandomCalls) {
  nx_print_everything();
  std::mt19937 random(1);
  FilesModel model;
  std::vector<std::FILE*> streams = {nullptr, stdout};
  for (int step = 0; step < 5000; ++step) {
    const std::string name = path("r").append(std::to_string(random() % 40));
    std::FILE* const stream = streams[random() % streams.size()];  // often of a file that was closed
    switch (random() % 6) {
      case 0:
      case 1: {
        FilesModel::Entry* const known = model.open_of(name);
        std::FILE* const opened = nxi_fopen(name.c_str(), "w");
        ASSERT_NE(opened, nullptr);
        if (known != nullptr) {
          ASSERT_EQ(opened, known->stream);
        } else {
          model.entries.push_back({opened, name, true});
          streams.push_back(opened);
        }
        break;
      }
      case 2: {
        FilesModel::Entry* const known = model.open_of(name);
        ASSERT_EQ(nxi_close_file(name.c_str()), known != nullptr);
        if (known != nullptr) {
          known->open = false;
        }
        break;
      }
      case 3: {
        FilesModel::Entry* const known = model.open_of(stream);
        ASSERT_EQ(nxi_fclose(stream), known != nullptr);
        if (known != nullptr) {
          known->open = false;
        }
        break;
      }
      default:
        ASSERT_EQ(nxi_is_file_open(name.c_str()), model.open_of(name) != nullptr);
        ASSERT_EQ(nxi_is_fopen(stream), model.open_of(stream) != nullptr);
    }
    if (step % 500 == 0) {
      // The list outlives a release of all tracked memory.
      (step % 1000 == 0 ? nx_free_all_memory : clear_memory_system)();
      ASSERT_EQ(nx_total_memory_allocated(), 0U);
      ASSERT_EQ(printed(nxi_list_files), model.listing(true));
      ASSERT_EQ(printed(nxi_list_open_files), model.listing(false));
    }
  }
  nxi_fclose_all();
  EXPECT_EQ(nx_number_of_warnings(), 0);
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
