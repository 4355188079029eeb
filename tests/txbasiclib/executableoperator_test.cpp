#include "txbasiclib/executableoperator.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

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
              {L" \t ", {}},
              {L"a  b\tc", {L"a", L"b", L"c"}},
              {L"\"a b\" c", {L"a b", L"c"}},
              {L"a\"b c\"d \"\"", {L"ab cd", L""}},
              {L"\\\"x\\y \"o\\\"p", {L"\"x\\y", L"o\"p"}},
              {L"$HOME *;", {L"$HOME", L"*;"}}};
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
  op->executable = L"/etc/passwd";
  EXPECT_THROW(op->Execute(), tx::OperatorException);
  EXPECT_EQ(op->told, "");
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
