// Where the program's files go: standard output, links, owners, groups and modes, long names and deep directories.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/nxbrio.h"
#include "tests/support/run.h"

namespace {

using namespace test_support;
using Names = std::vector<std::string>;

const std::string kFiles = NXBRIO_SOURCE_DIR "/tests/program/files/";

class Output : public testing::Test {
 protected:
  // Runs a shell command in the scratch directory; $n is the program, $w a molecule and $f another.
  RunResult shell(const std::string& command) const {
    return run({"/bin/sh", "-c",
                "cd '" + scratch_.path("") + "' && n='" NXBRIO_PROGRAM "' w='" + kFiles + "water.pqr' f='" + kFiles +
                    "far_water.pqr' && " + command});
  }
  // The last line that a command prints, which must succeed.
  std::string last(const std::string& command) const {
    const RunResult result = shell(command);
    EXPECT_EQ(result.status, 0) << command << "\n" << result.err;
    const Names lines = lines_of(result.out);
    return lines.empty() ? "" : lines.back();
  }
  // Whether the test can give files to other users and run the program as one of them.
  bool has_other_users() const {
    const std::string other = "setpriv --reuid 4003 --regid 4003 --clear-groups ";
    return geteuid() == 0 &&
           shell("chmod 711 . && touch probe && chown 4001:4002 probe && " + other + "$n info $w && rm probe").status ==
               0;
  }
  bool is_there(const std::string& name) const { return access(scratch_.path(name).c_str(), F_OK) == 0; }
  // The water in PDB format, as written to an ordinary file.
  std::string water() const {
    EXPECT_EQ(shell("$n convert $w usual.pdb").status, 0);
    return read_file(scratch_.path("usual.pdb"));
  }

  const ScratchDirectory scratch_;
};

// The structure is appended at the descriptor, and the report goes to standard error.
TEST_F(Output, StandardOutput) {
  const std::string expected = water();
  const std::string report = shell("$n convert $w usual.pdb").out;
  for (const std::string name : {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1", "link"}) {
    SCOPED_TRACE(name);
    const RunResult piped = shell("ln -sf /dev/stdout link; $n convert $w " + name + " -f pdb");
    EXPECT_EQ(piped.status, 0);
    EXPECT_EQ(piped.out, expected);
    EXPECT_EQ(lines_of(piped.err).size(), lines_of(report).size()) << piped.err;
    EXPECT_EQ(shell("echo before > o; $n convert $w " + name + " -f pdb >> o; echo after >> o").status, 0);
    EXPECT_EQ(read_file(scratch_.path("o")), "before\n" + expected + "after\n");
    EXPECT_EQ(shell("(echo before; $n orient $w " + name + " -f pdb --with $f far.pdb; echo after) > o").status, 0);
    const std::string content = read_file(scratch_.path("o"));
    EXPECT_TRUE(content.starts_with("before\nTITLE") && content.ends_with("\nEND\nafter\n")) << content;
  }
  // Standard output is this very file: the report must not go there.
  EXPECT_NE(shell("$n convert $w same.pdb > same.pdb").err.find("radii from"), std::string::npos);
  EXPECT_EQ(read_file(scratch_.path("same.pdb")), expected);
  // With another descriptor the report still goes to standard output.
  const RunResult other = shell("$n convert $w /dev/fd/7 -f pdb 7> seven");
  EXPECT_NE(other.out.find("radii from"), std::string::npos);
  EXPECT_EQ(read_file(scratch_.path("seven")), expected);
  expect_one_line(shell("$n convert $w /dev/fd/7 -f pdb"), 1, "/dev/fd/7: No such file or directory");
  EXPECT_EQ(last("mkfifo pipe; cat pipe > read & $n convert $w pipe -f pdb > report; wait; echo done"), "done");
  EXPECT_EQ(read_file(scratch_.path("read")), expected);
}

// A link is followed, also to a file that does not exist yet.
TEST_F(Output, Links) {
  const std::string expected = water();
  ASSERT_EQ(shell("mkdir there; ln -s there/new.pdb dangling.pdb; ln -s dangling.pdb twice.pdb; echo old > old.pdb;"
                  "ln -s $PWD/old.pdb absolute.pdb; ln -s there folder; ln old.pdb hard.pdb; ln -s round.pdb round.pdb")
                .status,
            0);
  for (const Names& same : std::vector<Names>{{"dangling.pdb", "there/new.pdb"},
                                              {"twice.pdb", "folder/new.pdb"},
                                              {"absolute.pdb", "old.pdb"},
                                              {"old.pdb", "hard.pdb"},
                                              {"folder/absent.pdb", "there/../there/absent.pdb"}}) {
    const RunResult result = shell("$n bind $w $f --write " + same[0] + " --write " + same[1]);
    expect_one_line(result, 2, "--write: " + same[1] + " is written already");
    EXPECT_EQ(read_file(scratch_.path("old.pdb")), "old\n");
  }
  for (const std::string command : {"$n convert $w OUT", "$n orient $w OUT --with $f far.pdb"}) {
    for (const Names& link : std::vector<Names>{{"twice.pdb", "there/new.pdb"}, {"absolute.pdb", "old.pdb"}}) {
      std::string filled = command;
      EXPECT_EQ(shell(filled.replace(filled.find("OUT"), 3, link[0])).status, 0);
      EXPECT_EQ(read_file(scratch_.path(link[1])).substr(0, 20), expected.substr(0, 20));
      EXPECT_EQ(last("test -L " + link[0] + " && echo kept; rm " + link[1]), "kept");
    }
  }
  expect_one_line(shell("$n convert $w round.pdb"), 1, "round.pdb: Too many levels of symbolic links");
}

// Files that others put beside the output, under names that a temporary file might have, are left alone.
TEST_F(Output, PlantedLinks) {
  scratch_.write("victim", "kept");
  for (const std::string command : {"bind $w $f --write", "orient $w", "refine $w $f", "convert $w"}) {
    SCOPED_TRACE(command);
    const RunResult result = shell(
        "for s in part tmp new nxtmp; do ln -sf victim out.pdb.$s$$;ln -sf victim .$s${$}_0; done;"
        "exec $n " +
        command + " out.pdb");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(read_file(scratch_.path("victim")), "kept");
    EXPECT_EQ(last("ls -A | grep -c nxbrio; test -f out.pdb && ! test -L out.pdb && rm out.pdb && echo file"), "file");
  }
}

// Names as long as names can be, and a directory beyond the longest path.
TEST_F(Output, LongNames) {
  const std::string name = std::string(251, 'a') + ".pdb";
  const std::string command = "$n bind $w $f --write b.pdb --write ";
  EXPECT_EQ(shell(command + name).status, 0);
  EXPECT_TRUE(is_there(name));
  expect_one_line(shell(command + "c" + name), 1, "c" + name + ": File name too long");
  const std::string descend = "d=" + std::string(200, 'd') +
                              "; for i in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19"
                              " 20 21 22; do mkdir $d && cd -P $d || exit; done; ";
  EXPECT_EQ(last(descend + command + name + " > /dev/null && ls -A | wc -l"), "2");
  EXPECT_EQ(shell("rm -r ddd*").status, 0);
}

TEST_F(Output, Modes) {
  for (const std::string out : {"convert $w out.pdb", "bind $w $f --write out.pdb --write second.pdb"}) {
    SCOPED_TRACE(out);
    EXPECT_EQ(last("umask 027; $n " + out + " > /dev/null; stat -c %a out.pdb"), "640");
    EXPECT_EQ(last("umask 077; chmod 664 out.pdb; $n " + out + " > /dev/null; stat -c %a out.pdb"), "664");
    EXPECT_EQ(last("chmod 4751 out.pdb; $n " + out + " > /dev/null; stat -c %a out.pdb; rm out.pdb"), "4751");
  }
}

// Root keeps owner and group. Other users keep the group if they are members. Set-ID bits are dropped when owner or
// group change, and a new group gets no more permissions than others have.
TEST_F(Output, OwnersAndGroups) {
  if (!has_other_users()) {
    GTEST_SKIP() << "only root can, and where others may run the program";
  }
  const std::string before =
      "chmod 777 .; rm -f *.pdb; echo old > out.pdb; chown 4001:4002 out.pdb; chmod 6776 out.pdb; ";
  for (const std::string out : {"convert $w out.pdb", "bind $w $f --write out.pdb --write second.pdb"}) {
    SCOPED_TRACE(out);
    const auto by = [&](const std::string& user) {
      return last(before + user + " $n " + out + " > /dev/null && stat -c '%a %u %g' out.pdb");
    };
    EXPECT_EQ(by(""), "6776 4001 4002");
    EXPECT_EQ(by("setpriv --reuid 4003 --regid 4003 --groups 4002"), "2776 4003 4002");
    EXPECT_EQ(by("setpriv --reuid 4003 --regid 4003 --clear-groups"), "766 4003 4003");
  }
}

// While the program waits for the reader of a pipe, the other file is on disk under a temporary name.
TEST_F(Output, SignalsRemoveTemporaryFiles) {
  const std::string start =
      "mkfifo pipe.pdb 2> /dev/null; $n bind $w $f --write a.pdb --write pipe.pdb > /dev/null & "
      "for i in $(seq 1000); do ls .nxbrio-* > /dev/null 2>&1 && break; sleep 0.01; done; ";
  for (const std::string signal : {"INT", "TERM", "HUP"}) {
    // The shell starts background jobs with INT ignored; env restores its default.
    const std::string heeding = "env --default-signal=INT $n";
    std::string heeded = start;
    heeded.replace(heeded.find("$n"), 2, heeding);
    EXPECT_EQ(last(heeded + "kill -" + signal + " $!; wait $!; kill -l $?; ls -A | tr '\n' ' '"), "pipe.pdb ");
    EXPECT_EQ(last(heeded + "kill -" + signal + " $!; wait $!; kill -l $?"), signal);
  }
  EXPECT_EQ(last("trap '' HUP; " + start + "kill -HUP $!; cat pipe.pdb > read; wait $!; echo $?"), "0");
  EXPECT_EQ(read_file(scratch_.path("a.pdb")), read_file(scratch_.path("read")));
}

// In a directory like /tmp users cannot replace files of others. When that fails, all other outputs must be as they
// were, old or absent.
TEST_F(Output, TakenBackWhenALaterOneFails) {
  if (!has_other_users()) {
    GTEST_SKIP() << "only root can, and where others may run the program";
  }
  EXPECT_EQ(last("chmod 1777 .; echo old > old.pdb; chown 4003 old.pdb; echo alien > alien.pdb; chmod 666 alien.pdb; "
                 "setpriv --reuid 4003 --regid 4003 --clear-groups $n bind $w $f --write old.pdb --write new.pdb "
                 "--write alien.pdb 2> said; cat said old.pdb alien.pdb; ls -A | tr '\n' ' '"),
            "alien.pdb old.pdb said ");
  EXPECT_EQ(read_file(scratch_.path("said")), "nxbrio: alien.pdb: Operation not permitted\n");
  EXPECT_EQ(read_file(scratch_.path("old.pdb")) + read_file(scratch_.path("alien.pdb")), "old\nalien\n");
}

}  // namespace
