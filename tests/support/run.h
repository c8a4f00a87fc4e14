// Runs a program as a child process and gives back what a caller sees of it.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_RUN_H
#define NXBRIOCHEM_TESTS_SUPPORT_RUN_H

#include <string>
#include <vector>

namespace test_support {

struct RunResult {
  // Exit status; -1 when the child was ended by a signal or could not be started, which fails the running test.
  int status = -1;
  std::string out;
  std::string err;
};

// command[0] is the program's path, the rest its arguments. Standard input is empty.
RunResult run(const std::vector<std::string>& command);

// A directory that is empty at first and removed, with all in it, at the end.
class ScratchDirectory {
 public:
  ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ~ScratchDirectory();

  std::string path(const std::string& name) const { return path_ + "/" + name; }
  // Writes a file and gives its path.
  std::string write(const std::string& name, const std::string& content) const;
  // The names of the files in it, sorted.
  std::vector<std::string> names() const;

 private:
  std::string path_;
};

// The lines of a text, without their ends.
std::vector<std::string> lines_of(const std::string& text);

// The whole file; a failure of the running test when it cannot be read.
std::string read_file(const std::string& path);

}  // namespace test_support

#endif
