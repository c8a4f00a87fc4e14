// When the program cannot write, it prints one line, exits with status 1, and leaves none of its output files.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/nxbrio.h"
#include "tests/support/run.h"

namespace {

using namespace test_support;
using Names = std::vector<std::string>;

const std::string kTarget = APBS_EXAMPLES "/protein-rna/model_outNB.pqr";

class ProgramWriteFailure : public testing::Test {
 protected:
  // Runs a shell command; $0 is the program.
  static RunResult shell(const std::string& command) { return run({"/bin/sh", "-c", command, NXBRIO_PROGRAM}); }

  // Every command that writes, with its output in a place where it cannot be written.
  std::vector<Names> writing(const std::string& directory) const {
    std::vector<Names> commands;
    for (const std::string ending : {".pdb", ".pqr", ".mol2", ".sdf", ".xyz"}) {
      const std::string out = directory + "/out" + ending;
      commands.push_back({"convert", target_, out});
      commands.push_back({"bind", target_, ligand_, "--write", out});
      commands.push_back({"orient", target_, out});
      commands.push_back({"superpose", target_, ligand_, out});
      commands.push_back({"refine", target_, ligand_, out});
      commands.push_back({"refine", target_, ligand_, good_, "--complex", out});
    }
    commands.push_back({"refine", target_, ligand_, good_, "--trajectory", directory + "/out.pdb"});
    return commands;
  }

  ScratchDirectory scratch_;
  const std::string target_ = NXBRIO_SOURCE_DIR "/tests/program/files/water.pqr";
  const std::string ligand_ = NXBRIO_SOURCE_DIR "/tests/program/files/far_water.pqr";
  const std::string good_ = scratch_.path("good.pdb");
};

TEST_F(ProgramWriteFailure, NoDirectory) {
  for (const Names& command : writing(scratch_.path("absent"))) {
    SCOPED_TRACE(testing::PrintToString(command));
    expect_one_line(nxbrio(command), 1, scratch_.path("absent/out"));
    EXPECT_EQ(scratch_.names(), Names{});
  }
}

// OUT is a link to a device that is full: the link stays.
TEST_F(ProgramWriteFailure, FullDevice) {
  const ScratchDirectory links;
  Names names;
  for (const std::string ending : {".mol2", ".pdb", ".pqr", ".sdf", ".xyz"}) {
    names.push_back("out" + ending);
    ASSERT_EQ(symlink("/dev/full", links.path(names.back()).c_str()), 0);
  }
  for (const Names& command : writing(links.path(""))) {
    SCOPED_TRACE(testing::PrintToString(command));
    const RunResult result = nxbrio(command);
    expect_one_line(result, 1);
    EXPECT_NE(result.err.find("No space left on device"), std::string::npos) << result.err;
    EXPECT_EQ(scratch_.names(), Names{});
    EXPECT_EQ(links.names(), names);
  }
}

// Files that are written together appear together: when the second fails, the first must not appear.
TEST_F(ProgramWriteFailure, SecondFile) {
  const RunResult result = nxbrio({"orient", target_, good_, "--with", ligand_, "/dev/full", "--format", "pdb"});
  expect_one_line(result, 1, "/dev/full: ");
  EXPECT_EQ(scratch_.names(), Names{});
}

// When the new file does not fit, the old one stays as it was.
TEST_F(ProgramWriteFailure, FileThatMayNotGrow) {
  const std::string old = scratch_.write("old.pdb", "kept");
  for (const std::string& out : {old, scratch_.path("new.pdb"), scratch_.path("new.mol2")}) {
    SCOPED_TRACE(out);
    // The limit is in blocks of 512 bytes. The run's standard output is a pipe, which has no limit.
    const RunResult result =
        shell("(ulimit -f 1; \"$0\" convert " + kTarget + " " + out + "; echo status $?) 2>&1 | cat");
    EXPECT_EQ(result.out, "nxbrio: " + out + ": File too large\nstatus 1\n");
    EXPECT_EQ(scratch_.names(), Names{"old.pdb"});
    EXPECT_EQ(read_file(old), "kept");
  }
}

// Standard output that is full, closed, or a pipe whose reader has gone.
TEST_F(ProgramWriteFailure, StandardOutput) {
  const std::string arguments = "\"$0\" bind " + target_ + " " + ligand_;
  for (const std::string json : {"", " --json"}) {
    SCOPED_TRACE(json);
    expect_one_line(shell(arguments + json + " > /dev/full"), 1, "standard output: No space left on device");
    expect_one_line(shell(arguments + json + " >&-"), 1, "standard output: Bad file descriptor");
    const RunResult piped = shell("{ sleep 0.2; " + arguments + json + "; echo status $? >&2; } | true");
    EXPECT_EQ(piped.out, "");
    EXPECT_EQ(piped.err, "nxbrio: standard output: Broken pipe\nstatus 1\n");
  }
}

// With standard streams closed, output files must not get their descriptor numbers.
TEST_F(ProgramWriteFailure, ClosedStreams) {
  const RunResult open = nxbrio({"convert", target_, scratch_.path("open.pdb")});
  EXPECT_EQ(open.status, 0);
  for (const std::string streams : {"<&-", "2>&-", "<&- 2>&-", "<&- >&- 2>&-"}) {
    SCOPED_TRACE(streams);
    shell("\"$0\" convert " + target_ + " " + scratch_.path("closed.pdb") + " " + streams);
    EXPECT_EQ(read_file(scratch_.path("closed.pdb")), read_file(scratch_.path("open.pdb")));
  }
}

}  // namespace
