#include "batch/commandshell.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>

#include "kcommon/scratchfolder.h"

namespace {

using korven::batch::ParseShellLine;
using korven::batch::ShellLineOf;
using korven::batch::ShellMain;
using ::testing::ElementsAre;
using Words = std::vector<std::string>;

std::vector<Words> Parsed(const std::string& line) {
  std::vector<Words> commands;
  for (const auto& command : ParseShellLine(line)) {
    Words& words = commands.emplace_back();
    for (const auto& word : command.words) words.push_back(word.text);
  }
  return commands;
}

TEST(CommandShell, LinesAreTakenApart) {
  const std::vector<std::pair<std::string, std::vector<Words>>> rows = {
      {"a", {{"a"}}},
      {"  a   b\tc ", {{"a", "b", "c"}}},
      {"a && b c&&d", {{"a"}, {"b", "c"}, {"d"}}},
      {R"(a "b c" d"e f"g)", {{"a", "b c", "de fg"}}},
      {R"(a "" b)", {{"a", "", "b"}}},
      {R"(a "b ""c"" && d" """" """x")", {{"a", "b \"c\" && d", "\"", "\"x"}}},
      {R"(a "x && y | z" b)", {{"a", "x && y | z", "b"}}},
      {R"(a\b "c\d" 'e f')", {{R"(a\b)", R"(c\d)", "'e", "f'"}}},
      {"a $HOME %PATH% *", {{"a", "$HOME", "%PATH%", "*"}}},
      {"gr\xc3\xbcn \"\xe6\x97\xa5 \xe6\x9c\xac\"", {{"gr\xc3\xbcn", "\xe6\x97\xa5 \xe6\x9c\xac"}}},
  };
  for (const auto& [line, expected] : rows) EXPECT_EQ(Parsed(line), expected) << line;
}

TEST(CommandShell, WrongLinesAreRefused) {
  for (const char* line :
       {"", "  ", "a &&", "&& a", "a && && b", "a \"b", "a | b", "a & b", "a > b", "a < b", "a || b"})
    EXPECT_THROW(ParseShellLine(line), std::invalid_argument) << line;
}

TEST(CommandShell, QuotesAroundTheWholeLineAreTakenOff) {
  const ScratchFolder folder;
  const std::string program = (folder / "my program").string();
  folder.Make("my program");
  EXPECT_EQ(ShellLineOf({"/C", "a b"}), "a b");
  EXPECT_EQ(ShellLineOf({"/c", R"("a "b c" d")"}), R"(a "b c" d)");
  EXPECT_EQ(ShellLineOf({"/C", R"("a "b"")"}), R"(a "b")");
  EXPECT_EQ(ShellLineOf({"/C", "\"" + program + "\""}), "\"" + program + "\"");
  EXPECT_EQ(ShellLineOf({"/C", "a", "b"}), "a b");
  EXPECT_THROW(ShellLineOf({}), std::invalid_argument);
  EXPECT_THROW(ShellLineOf({"a"}), std::invalid_argument);
}

/// Runs a line in a process of its own, since its last program takes the place of the process.
class RunLine : public ::testing::Test {
 protected:
  std::string Script(const std::string& name, const std::string& text) {
    folder_.Make(name, "#!/bin/sh\n" + text + "\n");
    ::chmod((folder_ / name).c_str(), 0755);
    return (folder_ / name).string();
  }
  int Status(const std::string& line) {
    const pid_t process = ::fork();
    if (process == 0) ::_exit(ShellMain({"/C", "\"" + line + "\""}));
    int status = 0;
    EXPECT_EQ(::waitpid(process, &status, 0), process);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  std::string Written() const { return folder_.Bytes("written"); }

  const ScratchFolder folder_;
  const std::string out_ = (folder_ / "written").string();
};

TEST_F(RunLine, TheLastCommandGivesTheStatus) {
  EXPECT_EQ(Status("true"), 0);
  EXPECT_EQ(Status("true && false"), 1);
  EXPECT_EQ(Status("false && true"), 1);
  EXPECT_EQ(Status("\"" + Script("three", "exit 3") + "\""), 3);
  EXPECT_EQ(Status("\"" + Script("killed", "kill -9 $$") + "\" && true"), 137);
  EXPECT_EQ(Status("no-such-program"), 127);
  EXPECT_EQ(Status("true && \"" + (folder_ / "nowhere").string() + "\""), 127);
  folder_.Make("no program");
  EXPECT_EQ(Status("true && \"" + (folder_ / "no program").string() + "\""), 126);
  EXPECT_EQ(Status("true &&"), 2);
}

TEST_F(RunLine, CommandsAfterAFailureDoNotRun) {
  const std::string mark = Script("mark", "echo ran >> '" + out_ + "'");
  EXPECT_EQ(Status("\"" + mark + "\" && \"" + mark + "\" && false && \"" + mark + "\""), 1);
  EXPECT_EQ(Written(), "ran\nran\n");
}

TEST_F(RunLine, VariablesAreSetForWhatFollows) {
  const std::string show = Script("show", "echo \"$ONE|$TWO|${GONE-unset}\" > '" + out_ + "'");
  ::setenv("GONE", "there", 1);
  EXPECT_EQ(Status("set ONE=1 && SET TWO=a b  c && set \"ONE=x && y\" && set GONE= && \"" + show + "\""), 0);
  ::unsetenv("GONE");
  EXPECT_EQ(Written(), "x && y|a b  c|unset\n");
  EXPECT_EQ(Status("set NOTHING && true"), 1);
  EXPECT_EQ(Status("set =x && true"), 1);
}

TEST_F(RunLine, BackslashesOfTheCommandWordAreSeparators) {
  Script("sub", "");
  const std::string echo = Script("gr\xc3\xbcn", "printf '%s|' \"$@\" > '" + out_ + "'");
  std::string turned = echo;
  for (char& c : turned) c = c == '/' ? '\\' : c;
  turned[0] = '/';
  // The folder's name has blanks; without quotes too the program is found, as far as it is one.
  EXPECT_EQ(Status(turned + R"( -x "a\b c" d\e "")"), 0);
  EXPECT_EQ(Written(), R"(-x|a\b c|d\e||)");
  EXPECT_EQ(Status("\"" + turned + "\" 1"), 0);
  EXPECT_EQ(Written(), "1|");
}

}  // namespace
