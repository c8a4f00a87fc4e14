// Every writer with a device that is full, a directory that is not there, a file that may not grow and a pipe that
// nobody reads: the stated result, no half-written file, no descriptor and no memory kept.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <nxbriochem/nxbriochem.h>

#include "tests/support/run.h"
#include "tests/support/warned.h"

namespace {

using test_support::warned;

long open_descriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all));
}

// In its scope no file of the process can grow beyond this many bytes, also not one that captures warnings.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }

 private:
  rlimit before_{};
};

// The writers of structure files; each writes more than a pipe holds.
struct Writer {
  std::string name;
  std::function<int(const char* path)> write;
};

class WriteFailure : public testing::Test {
 protected:
  WriteFailure() {
    // The calling program must ignore these two signals to get failed writes as errors.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    constexpr int kAtoms = 3000;
    mol_ = nx_make_molecule();
    nx_set_molecule_atom_number(kAtoms, mol_);
    points_.resize(3 * kAtoms, 1.5F);
    nx_set_molecule_coordinates(points_.data(), mol_);
    list_ = nx_make_list();
    nx_add_to_list(mol_, list_);
    nx_add_to_list(mol_, list_);
    records_.resize(kAtoms);
    // An SD record holds at most 999 atoms.
    const int small = nx_make_molecule();
    nx_set_molecule_atom_number(999, small);
    const int small_list = nx_make_list();
    nx_add_to_list(small, small_list);
    nx_add_to_list(small, small_list);
    for (const std::string format : {"pdb", "delphi_pdb", "pqr", "mol2", "xyz", "sdf"}) {
      const int mol = format == "sdf" ? small : mol_;
      const int list = format == "sdf" ? small_list : list_;
      writers_.push_back({format, [=](const char* path) { return nx_write_molecule(path, format.c_str(), mol); }});
      writers_.push_back(
          {format + " list", [=](const char* path) { return nx_write_list_of_molecules(path, format.c_str(), list); }});
    }
    writers_.push_back(
        {"points", [this](const char* path) { return nx_write_points_as_pdb(path, points_.data(), kAtoms); }});
    writers_.push_back({"records", [this](const char* path) {
                          return nxi_write_pdb(path, 0, records_.data(), kAtoms, nullptr, 0, nullptr, nullptr);
                        }});
  }

  // Checks that every writer fails on the path with a warning that ends in `reason`, and keeps nothing.
  void expect_failures(const std::string& path, const std::string& reason) {
    for (const Writer& writer : writers_) {
      SCOPED_TRACE(writer.name);
      const long descriptors = open_descriptors();
      const int blocks = nx_total_number_of_active_pointers();
      const std::string said = warned(0, [&] { return writer.write(path.c_str()); });
      EXPECT_TRUE(said.starts_with("Warning: ")) << said;
      EXPECT_TRUE(said.ends_with(reason + "\n")) << said;
      EXPECT_EQ(open_descriptors(), descriptors);
      EXPECT_EQ(nx_total_number_of_active_pointers(), blocks);
      EXPECT_EQ(nx_number_of_errors() + nx_number_of_warnings(), 0);
    }
  }

  test_support::ScratchDirectory scratch_;
  int mol_ = 0;
  int list_ = 0;
  std::vector<float> points_;
  std::vector<PdbStruct> records_;
  std::vector<Writer> writers_;
};

TEST_F(WriteFailure, FullDevice) { expect_failures("/dev/full", ": No space left on device"); }

TEST_F(WriteFailure, NoSuchDirectoryOrItself) {
  const std::string removed = scratch_.path("removed");
  const auto before = std::filesystem::current_path();
  std::filesystem::create_directory(removed);
  std::filesystem::current_path(removed);
  std::filesystem::remove(removed);
  for (const std::string& path :
       {std::string("file"), scratch_.path("absent/file"), scratch_.path(""), std::string("/")}) {
    expect_failures(path, "");
  }
  std::filesystem::current_path(before);
  EXPECT_EQ(scratch_.names(), std::vector<std::string>());
}

TEST_F(WriteFailure, ReadOnlyFile) {
  if (geteuid() == 0) {
    GTEST_SKIP() << "root may write everything";
  }
  const std::string path = scratch_.write("file", "kept");
  chmod(path.c_str(), 0400);
  expect_failures(path, "");
  EXPECT_EQ(test_support::read_file(path), "kept");
  chmod(scratch_.path("").c_str(), 0500);
  expect_failures(scratch_.path("new"), "");
  chmod(scratch_.path("").c_str(), 0700);
}

TEST_F(WriteFailure, FileThatMayNotGrow) {
  for (const rlim_t bytes : {200U, 4096U, 20000U}) {
    const std::string path = scratch_.write("old", "kept");
    {
      const FileSizeLimit limit(bytes);
      expect_failures(path, ": File too large");
      expect_failures(scratch_.path("new"), ": File too large");
    }
    EXPECT_EQ(test_support::read_file(path), "kept");
    EXPECT_EQ(scratch_.names(), std::vector<std::string>{"old"});
  }
}

TEST_F(WriteFailure, PipeThatNobodyReads) {
  const std::string path = scratch_.path("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  for (const Writer& writer : writers_) {
    SCOPED_TRACE(writer.name);
    // The reader closes the pipe after the first byte, while the writer waits for room.
    std::thread reader([&path] {
      const int fd = open(path.c_str(), O_RDONLY);
      char byte = 0;
      EXPECT_EQ(read(fd, &byte, 1), 1);
      close(fd);
    });
    const std::string said = warned(0, [&] { return writer.write(path.c_str()); });
    reader.join();
    EXPECT_TRUE(said.ends_with(": Broken pipe\n")) << said;
  }
}

// The stream belongs to the caller: an error in buffered data is reported by the caller's fclose.
TEST_F(WriteFailure, SavedTable) {
  const int object = nx_make_list();
  nx_attach_floats_to_object("values", 100, object);
  std::fill_n(nx_object_floats("values", object), 100, 1.0F);
  const auto save = [object](std::FILE* stream) {
    setvbuf(stream, nullptr, _IONBF, 0);
    const int result = nxi_write_memory_table(stream, object);
    std::fclose(stream);
    return result;
  };
  const int blocks = nx_total_number_of_active_pointers();
  EXPECT_EQ(save(std::fopen("/dev/full", "wb")), 0);
  EXPECT_EQ(save(std::fopen("/dev/null", "rb")), 0);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  EXPECT_EQ(save(fdopen(ends[1], "wb")), 0);
  {
    std::FILE* stream = std::tmpfile();
    const FileSizeLimit limit(100);
    EXPECT_EQ(save(stream), 0);
  }
  EXPECT_EQ(nx_total_number_of_active_pointers(), blocks);
  EXPECT_EQ(nx_object_floats_size("values", object), 100);
  EXPECT_EQ(save(std::fopen("/dev/null", "wb")), 1);
  nx_delete_list(object);
}

// A log that cannot be written is ignored without a message; messages are still queued.
TEST_F(WriteFailure, ErrorLog) {
  const std::string directory = scratch_.path("directory");
  std::filesystem::create_directory(directory);
  const std::string unread = scratch_.path("unread");
  ASSERT_EQ(mkfifo(unread.c_str(), 0600), 0);
  int messages = 0;
  for (const std::string& path :
       {std::string("/dev/full"), scratch_.path("absent/log"), directory, std::string("/"), unread}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(nx_write_errors_to_file(path.c_str()), 1);
    nxi_err("the first of the log");  // and the first makes room in the queue
    nxi_warn("the first of the log");
    ++messages;
    const long descriptors = open_descriptors();
    const int blocks = nx_total_number_of_active_pointers();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    nxi_err("an error");
    nxi_warn("a warning");
    EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
    ++messages;
    EXPECT_EQ(nx_number_of_errors(), messages);
    EXPECT_EQ(nx_number_of_warnings(), messages);
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_EQ(nx_total_number_of_active_pointers(), blocks);
    EXPECT_EQ(nxi_is_file_open(path.c_str()), 0);
  }
  EXPECT_EQ(scratch_.names(), (std::vector<std::string>{"directory", "unread"}));

  // Once it can be written, it is.
  nx_write_errors_to_file(scratch_.path("log").c_str());
  nxi_err("told");
  EXPECT_EQ(test_support::read_file(scratch_.path("log")), "ERROR: told\n");
}

// When a slow reader has no room, whole messages are dropped; writing never waits for it.
TEST_F(WriteFailure, ErrorLogThatIsAFullPipe) {
  const std::string path = scratch_.path("log");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
  nx_write_errors_to_file(path.c_str());
  const int before = nx_number_of_errors();
  const std::string line = "ERROR: " + std::string(92, 'x') + "\n";
  const std::string message(92, 'x');
  constexpr std::size_t kMessages = 10000;
  for (std::size_t i = 0; i < kMessages; ++i) {
    nxi_err(message.c_str());
  }
  std::string text(line.size() * kMessages, '\0');
  std::size_t size = 0;
  for (ssize_t got = 0; (got = read(reader, text.data() + size, text.size() - size)) > 0;) {
    size += static_cast<std::size_t>(got);
  }
  close(reader);
  EXPECT_GT(size, 0U);
  EXPECT_LT(size, text.size());
  EXPECT_EQ(size % line.size(), 0U);
  EXPECT_EQ(text.compare(0, line.size(), line), 0);
  nxi_err("nobody reads any more");
  EXPECT_EQ(nx_number_of_errors(), before + static_cast<int>(kMessages) + 1);
}

}  // namespace
