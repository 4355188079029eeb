#include "txbasiclib/executableoperator.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "kcommon/kpmg.h"
#include "kcommon/scratchfolder.h"
#include "support/child.h"
#include "txlib/model.h"

namespace {

using Tamrin::TesseraBasic::ExecutableOperator;
using Tamrin::TesseraBasic::ExecutableOperator2;
namespace tx = Tamrin::Tessera;

class Runner : public ExecutableOperator, public ExecutableOperator2 {
 public:
  void DeclarePorts() override {}
  const wchar_t* GetDefaultOperatorName() const override { return L"Runner"; }
  std::wstring GetExecutable() override { return executable; }
  std::wstring GetArguments() override { return arguments; }
  std::wstring GetSearchPath() override { return searchPath; }
  void PostRun() override { told += "post"; }
  void SetReturnCode(std::int32_t code) override { told += std::to_string(code) + " "; }

  std::wstring executable = L"sh", arguments, searchPath = L"/nowhere;/bin:/usr/bin";
  std::string told;
};

boost::shared_ptr<Runner> Make(const std::wstring& arguments) {
  const auto op = boost::make_shared<Runner>();
  op->Initialize();
  op->arguments = arguments;
  return op;
}

TEST(ExecutableOperator, ArgumentLines) {
  using Words = std::vector<std::wstring>;
  const struct {
    const wchar_t* line;
    Words words;
  } rows[] = {{L"", {}},
              {L"a b c", {L"a", L"b", L"c"}},
              {L"a  b", {L"a", L"", L"b"}},
              {L" ", {L"", L""}},
              {L" a ", {L"", L"a", L""}},
              {L"\"a b\" c", {L"a b", L"c"}},
              {L"\"a\tb\" \"c\nd\"", {L"a\tb", L"c\nd"}},
              {L"\" \"", {L" "}},
              // Quotes around no white space are nobody's but the value's.
              {L"\"\"", {L"\"\""}},
              {L"\"a\" b", {L"\"a\"", L"b"}},
              {L"5\" 6 \"a b\"", {L"5\"", L"6", L"a b"}},
              {L"{\"a\":1} x", {L"{\"a\":1}", L"x"}},
              // Blanks between quotes within an argument are its own.
              {L"-out=\"a b\" c", {L"-out=\"a b\"", L"c"}},
              {L"{\"a\":\"b c\"} x", {L"{\"a\":\"b c\"}", L"x"}},
              {L"\"a b\"c d", {L"\"a b\"c", L"d"}},
              {L"5\" disk", {L"5\"", L"disk"}},
              {L"\"never closed", {L"\"never", L"closed"}},
              {L"\\ \u00fc\u2003\U0001F600", {L"\\", L"\u00fc\u2003\U0001F600"}},
              {L"$HOME *; | x", {L"$HOME", L"*;", L"|", L"x"}}};
  for (const auto& row : rows) EXPECT_EQ(ExecutableOperator::SplitArgumentLine(row.line), row.words);
}

TEST(ExecutableOperator, RunsKeepsTheOutputAndTellsTheStatus) {
  const auto op = Make(L"-c \"echo o\u00fct; echo err >&2; cat; exit 3\"");
  op->Execute();
  EXPECT_EQ(op->GetConsoleOutput(), L"o\u00fct\nerr\n");
  EXPECT_EQ(op->told, "3 post");
  op->arguments = L"-c \"kill -9 $$\"";
  op->SetExecuted(false);
  op->Execute();
  EXPECT_EQ(op->GetConsoleOutput(), L"");
  EXPECT_EQ(op->told, "3 post137 post");
}

TEST(ExecutableOperator, MuchOutputIsNoHindrance) {
  const auto op = Make(L"-c \"i=0; while [ $i -lt 20000 ]; do echo 0123456789; i=$((i+1)); done\"");
  op->Execute();
  EXPECT_EQ(op->GetConsoleOutput().size(), 220000U);
}

TEST(ExecutableOperator, AProgramLeftInTheBackgroundIsNotWaitedFor) {
  const auto begin = std::chrono::steady_clock::now();
  const auto op = Make(L"-c \"sleep 20 & echo done\"");
  op->Execute();
  EXPECT_EQ(op->GetConsoleOutput(), L"done\n");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST(ExecutableOperator, NorIsOneThatKeepsWriting) {
  const auto op = Make(L"-c \"(end=$(($(date +%s)+20)); while [ $(date +%s) -lt $end ]; do echo x; done) & echo $!\"");
  const auto begin = std::chrono::steady_clock::now();
  op->Execute();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
  const std::wstring& output = op->GetConsoleOutput();
  const std::size_t number = output.find_first_of(L"0123456789");
  ASSERT_NE(number, std::wstring::npos);
  ::kill(static_cast<pid_t>(std::stol(output.substr(number))), SIGTERM);
}

TEST(ExecutableOperator, WhatIsNotThereIsAMessage) {
  const auto op = Make(L"");
  op->executable = L"no-such-program";
  op->searchPath = L"/nowhere";
  try {
    op->Execute();
    FAIL();
  } catch (const tx::OperatorException& exception) {
    EXPECT_EQ(exception.get_What(), L"The program \"no-such-program\" was not found; looked in \"/nowhere\" and PATH.");
  }
  EXPECT_EQ(op->told, "");
}

std::wstring FaultOf(Runner& op) {
  try {
    op.Execute();
  } catch (const tx::OperatorException& exception) {
    return exception.get_What();
  }
  return L"no fault";
}

TEST(ExecutableOperator, WhatCantBeStartedIsAMessage) {
  const ScratchFolder folder;
  const std::wstring plain = folder.Make("plain", "no program");
  const std::wstring lost = folder.Make("lost", "#!/nowhere/sh\n"), odd = folder.Make("odd", "\1\2\3\4");
  for (const char* name : {"lost", "odd"}) std::filesystem::permissions(folder / name, std::filesystem::perms::all);
  const struct {
    std::wstring executable;
    std::wstring fault;
  } rows[] = {
      {L"", L"There is no program to be started: its name is empty."},
      {L"/nowhere/it", L"The program \"/nowhere/it\" does not exist."},
      {plain, L"The program \"" + plain + L"\" is not executable."},
      {L"plain", L"The program \"" + plain + L"\" is not executable."},
      {folder.Wide(""), L"\"" + folder.Wide("") + L"\" is a folder, not a program."},
      {lost, L"The program \"" + lost +
                 L"\" could not be started: the interpreter that its first line names does not exist."},
      {odd, L"The program \"" + odd + L"\" could not be started: Exec format error."},
  };
  for (const auto& row : rows) {
    const auto op = Make(L"");
    op->executable = row.executable;
    op->searchPath = kfnp_FromNative(folder.Path().string());
    EXPECT_EQ(FaultOf(*op), row.fault);
    EXPECT_EQ(op->told, "");
  }
}

TEST(ExecutableOperator, ASignalIsAWarning) {
  const auto op = Make(L"-c \"kill -9 $$\"");
  op->Execute();
  ASSERT_EQ(op->GetMessages().size(), 1U);
  EXPECT_EQ(op->GetMessages()[0].severity, tx::Issue::Warning);
  EXPECT_EQ(op->GetMessages()[0].text, L"The program \"/bin/sh\" was ended by signal 9 (Killed).");
  const auto same = Make(L"-c \"exit 137\"");
  same->Execute();
  EXPECT_TRUE(same->GetMessages().empty()) << "which a program may give as its own status";
}

class SessionLogLines {
 public:
  SessionLogLines() {
    kerr_SetSessionLogSink([this](const std::wstring& line) { lines.push_back(line); });
  }
  ~SessionLogLines() {
    kerr_SetSessionLogSink([](const std::wstring&) {});
  }
  SessionLogLines(const SessionLogLines&) = delete;
  SessionLogLines& operator=(const SessionLogLines&) = delete;
  std::vector<std::wstring> lines;
};

TEST(ExecutableOperator, TheOutputGoesToTheSessionLogLineByLine) {
  const SessionLogLines log;
  const auto op = Make(L"-c \"printf '100%%%%\\n\\nbad\\377\\r\\n'; printf 'e\\303'; sleep 0.1; printf '\\274 end'\"");
  op->Execute();
  EXPECT_EQ(log.lines, (std::vector<std::wstring>{L"100%%", L"", L"bad\uFFFD", L"e\u00fc end"}));
  EXPECT_EQ(op->GetConsoleOutput(), L"100%%\n\nbad\uFFFD\r\ne\u00fc end");
}

TEST(ExecutableOperator, CharactersMayLieAcrossBlocksAndPieces) {
  const SessionLogLines log;
  constexpr std::size_t kCount = 300'000;
  const auto op = Make(L"-c \"yes \u20ac | head -n 300000 | tr -d '\\n'\"");
  op->Execute();
  EXPECT_EQ(op->GetConsoleOutput(), std::wstring(kCount, L'\u20ac'));
  std::wstring told;
  for (const auto& line : log.lines) told += line;
  EXPECT_EQ(told, op->GetConsoleOutput());
  EXPECT_GT(log.lines.size(), 10U) << "a line that long is told in pieces";
}

TEST(ExecutableOperator, OnlyFoldersThatThePreferenceNames) {
  const ScratchFolder folder;
  folder.Make("tools/below/keep");
  std::filesystem::copy_file("/bin/true", folder / "tools/tool");
  std::filesystem::create_symlink("/bin/sh", folder / "tools/shell");
  std::filesystem::create_directory_symlink("tools", folder / "link");
  std::filesystem::create_symlink("tools/tool", folder / "outside");
  kpmg::Value value;
  value.type = KpmgString;
  value.text = L"/nowhere;" + folder.Wide("tools");
  kpmg::Set(L"external", L"folders", value);
  const std::wstring tail =
      L" may not be started: it lies in none of the folders of the preference \"external/folders\" (" + value.text +
      L").";
  const struct {
    std::wstring executable;
    bool isAllowed;
  } rows[] = {{folder.Wide("tools/tool"), true},
              {folder.Wide("link/tool"), true},
              {folder.Wide("tools/below/../tool"), true},
              {folder.Wide("tools/shell"), true},
              {folder.Wide("outside"), false},
              {folder.Wide("tools/../outside"), false},
              {L"/bin/sh", false}};
  for (const auto& row : rows) {
    const auto op = Make(L"");
    op->executable = row.executable;
    EXPECT_EQ(FaultOf(*op), row.isAllowed ? L"no fault" : L"The program \"" + row.executable + L"\"" + tail);
  }
  value.text.clear();
  kpmg::Set(L"external", L"folders", value);
}

TEST(ExecutableOperator, ForbiddenProgramsAreNotStarted) {
  // In a process of its own: it can't be allowed again.
  testing_support::Child child([](const auto&) {
    Tamrin::TesseraBasic::ForbidExternalPrograms();
    const auto op = Make(L"");
    return FaultOf(*op) == L"The program \"sh\" was not started: this run starts no external programs (--no-external)."
               ? 0
               : 1;
  });
  EXPECT_EQ(child.Wait(), 0);
}

TEST(ExecutableOperator, CancellingEndsTheProgram) {
  const auto model = boost::make_shared<tx::Model>();
  model->Initialize();
  const auto op = Make(L"-c \"sleep 30; echo late\"");
  model->AddOperator(op);
  const auto begin = std::chrono::steady_clock::now();
  std::thread stop([environment = model->GetEnvironment()] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    environment->Cancel();
  });
  EXPECT_THROW(model->Execute(), tx::CancelledException);
  stop.join();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
  EXPECT_EQ(op->told, "");
}

/// Another installation while it lives, with a program in its folder of programs and one beside the installation.
class Installation {
 public:
  Installation() : before_(std::getenv("VANTIX_HOME") ? std::getenv("VANTIX_HOME") : "") {
    char pattern[] = "/tmp/tessera-home-XXXXXX";
    root_ = ::mkdtemp(pattern);
    for (const char* folder : {"/home/bin", "/home beside"}) {
      std::filesystem::create_directories(root_ + folder);
      std::filesystem::copy_file("/bin/true", root_ + folder + "/tool");
    }
    ::setenv("VANTIX_HOME", (root_ + "/home").c_str(), 1);
  }
  ~Installation() {
    ::setenv("VANTIX_HOME", before_.c_str(), 1);
    std::filesystem::remove_all(root_);
  }
  Installation(const Installation&) = delete;
  Installation& operator=(const Installation&) = delete;

 private:
  std::string before_;
  std::string root_;
};

TEST(ExecutableOperator, ProgramsOfTheInstallationTakeInternalNames) {
  const Installation installation;
  const auto op = Make(L"");
  EXPECT_FALSE(op->IsKORVENExecutable()) << "a program of the system";
  op->executable = L"tool";
  op->searchPath = L"$VANTIX_HOME/bin";
  EXPECT_TRUE(op->IsKORVENExecutable());
  op->searchPath = L"$VANTIX_HOME/../home beside";
  EXPECT_FALSE(op->IsKORVENExecutable()) << "a folder whose name only begins like the installation's";
  op->searchPath = L"";
  EXPECT_FALSE(op->IsKORVENExecutable()) << "no program at all";
}

}  // namespace
