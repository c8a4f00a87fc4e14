#include "tests/support/run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace test_support {

RunResult run(const std::vector<std::string>& command) {
  const ScratchDirectory scratch;
  const std::string out = scratch.path("out");
  const std::string err = scratch.path("err");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  std::vector<std::string> words = command;
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  pid_t child = 0;
  const int failed = posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  RunResult result;
  if (failed != 0) {
    ADD_FAILURE() << "cannot start " << command[0];
    return result;
  }
  int status = 0;
  waitpid(child, &status, 0);
  result.out = read_file(out);
  result.err = read_file(err);
  if (WIFEXITED(status)) {
    result.status = WEXITSTATUS(status);
  } else {
    ADD_FAILURE() << command[0] << " was ended by signal " << WTERMSIG(status) << "\n" << result.err;
  }
  return result;
}

ScratchDirectory::ScratchDirectory() {
  path_ = (std::filesystem::temp_directory_path() / "nxbrio-test-XXXXXX").string();
  if (mkdtemp(path_.data()) == nullptr) {
    ADD_FAILURE() << "cannot make " << path_;
  }
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string ScratchDirectory::write(const std::string& name, const std::string& content) const {
  std::ofstream(path(name), std::ios::binary) << content;
  return path(name);
}

std::vector<std::string> ScratchDirectory::names() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path_)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    ADD_FAILURE() << "cannot read " << path;
  }
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace test_support
