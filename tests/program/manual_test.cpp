// The manual page and the bash completion must agree with the program's own help.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/matches.h"
#include "tests/support/nxbrio.h"

namespace {

using namespace test_support;

// "-f,--format WORD" -> "takes WORD"; a command's synopsis is its files in order.
struct Command {
  std::map<std::string, std::string> options;
  std::string files;
};
bool operator==(const Command& a, const Command& b) { return a.options == b.options && a.files == b.files; }
void PrintTo(const Command& command, std::ostream* out) {
  for (const auto& [option, value] : command.options) {
    *out << option << " takes '" << value << "'; ";
  }
  *out << "files '" << command.files << "'";
}

std::set<std::string> commands() {
  std::set<std::string> names;
  bool listed = false;
  for (const std::string& line : lines_of(nxbrio({"--help"}).out)) {
    listed = listed || line == "Subcommands:";
    if (const Groups match = first_match(line, "^  ([a-z]+) "); listed && !match.empty()) {
      names.insert(match[1]);
    }
  }
  return names;
}

// The names of arguments, without the brackets and dots of --help and the macros of the page.
std::string plain(const std::string& arguments) {
  std::string result;
  for (const Groups& word : all_matches(arguments, "[^] .[]+")) {
    if (word[0] != "Ar" && word[0] != "Op") {
      result += (result.empty() ? "" : " ") + word[0];
    }
  }
  return result;
}

// What --help says about a command, or about the program when the name is empty.
Command of_help(const std::string& name) {
  Command command;
  std::vector<std::string> arguments{"--help"};
  if (!name.empty()) {
    arguments.insert(arguments.begin(), name);
  }
  const RunResult help = nxbrio(arguments);
  EXPECT_EQ(help.status, 0);
  for (const std::string& line : lines_of(help.out)) {
    if (const Groups option = first_match(line, "^  ((-.,)?--[a-z-]+)(( [A-Z]+)*)( \\.\\.\\.)?(  |$)");
        !option.empty()) {
      command.options[option[1]] = plain(option[3]);
    } else if (const Groups usage = first_match(line, "^Usage: nxbrio [a-z]+ \\[OPTIONS\\] (.*)$"); !usage.empty()) {
      command.files = plain(usage[1]);
    }
  }
  return command;
}

// What the manual page says about each command; "" for the program.
std::map<std::string, Command> of_page() {
  std::map<std::string, Command> page;
  std::string name;
  for (const std::string& line : lines_of(read_file(NXBRIO_SOURCE_DIR "/apps/nxbrio/nxbrio.1"))) {
    if (const Groups heading = first_match(line, "^\\.Ss nxbrio ([a-z]+)(.*)$"); !heading.empty()) {
      name = heading[1];
      page[name].files = plain(heading[2]);
    } else if (const Groups item = first_match(line, "^\\.It (Fl (.) , )?Fl Fl ([a-z-]+)( Ar (([A-Z]+ ?)+))?$");
               !item.empty()) {
      const std::string brief = item[2].empty() ? "" : "-" + item[2] + ",";
      page[name].options[brief + "--" + item[3]] = item[5];
    }
  }
  return page;
}

TEST(ManualPage, TellsTheOptionsOfEveryCommand) {
  const std::map<std::string, Command> page = of_page();
  ASSERT_EQ(page.count(""), 1U);
  std::set<std::string> told;
  for (const auto& [name, command] : page) {
    if (name.empty()) {
      continue;
    }
    told.insert(name);
    Command all = command;
    all.options.insert(page.at("").options.begin(), page.at("").options.end());
    EXPECT_EQ(all, of_help(name)) << name;
    EXPECT_FALSE(all.options.empty());
  }
  EXPECT_EQ(told, commands());
}

// What bash would offer after these words, with the cursor at the end of the last one. `program` is the name as typed.
std::set<std::string> offered(const ScratchDirectory& scratch, const std::vector<std::string>& words,
                              const std::string& program = "nxbrio") {
  std::string quoted;
  for (const std::string& word : words) {
    quoted += " '" + word + "'";
  }
  const std::string script = "HOME='" + scratch.path("") + "' PATH='" + scratch.path("") +
                             "':$PATH; . '" NXBRIO_SOURCE_DIR "/apps/nxbrio/nxbrio.bash-completion'\n" +
                             "COMP_WORDS=(nxbrio" + quoted + "); COMP_CWORD=" + std::to_string(words.size()) +
                             "\n_nxbrio '" + program +
                             "' \"${COMP_WORDS[COMP_CWORD]}\" \"${COMP_WORDS[COMP_CWORD-1]}\"\n"
                             "printf '%s\\n' \"${COMPREPLY[@]}\"\n";
  const RunResult result = run({"/bin/bash", "-c", script});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  std::set<std::string> replies;
  for (const std::string& line : lines_of(result.out)) {
    if (!line.empty()) {
      replies.insert(line);
    }
  }
  return replies;
}

TEST(Completion, OffersWhatTheHelpTells) {
  const ScratchDirectory scratch;
  std::filesystem::create_symlink(NXBRIO_PROGRAM, scratch.path("nxbrio"));
  EXPECT_EQ(offered(scratch, {""}), commands());
  EXPECT_EQ(offered(scratch, {"--"}), (std::set<std::string>{"--help", "--version"}));
  EXPECT_EQ(offered(scratch, {"re"}), std::set<std::string>{"refine"});
  EXPECT_EQ(offered(scratch, {"re"}, "~/nxbrio"), std::set<std::string>{"refine"});
  for (const std::string& command : commands()) {
    std::set<std::string> options;
    for (const auto& [option, value] : of_help(command).options) {
      options.insert(option.substr(option.find("--")));
    }
    EXPECT_EQ(offered(scratch, {command, "a.pdb", "--"}), options) << command;
    EXPECT_EQ(offered(scratch, {command, ""}), std::set<std::string>{}) << command;  // files are bash's
  }
  EXPECT_EQ(offered(scratch, {"convert", "a.pdb", "b", "--tr"}), std::set<std::string>{"--transform"});
  EXPECT_EQ(offered(scratch, {"convert", "-t", "-"}), std::set<std::string>{});
  // For options with a fixed set of words, completion offers the words in the help.
  for (const auto& [option, brief] : {std::pair{"--format", "-f"}, std::pair{"--bonds", "-b"}}) {
    const std::string help = nxbrio({"convert", "--help"}).out;
    const std::size_t start = help.find(std::string(option) + " WORD");
    ASSERT_NE(start, std::string::npos);
    const std::string line = help.substr(start, help.find('[', start) - start);
    std::set<std::string> told;
    for (const Groups& words : all_matches(line, "([a-z_0-9]+)(,| $| or ([a-z]+))")) {
      told.insert(words[1]);
      told.insert(words[3]);
    }
    told.erase("");
    EXPECT_EQ(offered(scratch, {"convert", option, ""}), told) << line;
    EXPECT_EQ(offered(scratch, {"convert", brief, ""}), told);
  }
}

}  // namespace
