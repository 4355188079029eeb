#include "kcommon/kprc.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "scratchfolder.h"

namespace {

int RunShell(const std::wstring& script, const ProcessStartInfo& info = {}) {
  KerrException error(L"tests", L"RunShell");
  const int status = kprc_ProcessRun(L"/bin/sh", {L"-c", script}, info, error);
  error.Check(__LINE__);
  return status;
}

TEST(ProcessRun, GivesTheExitStatusOrTheSignal) {
  EXPECT_EQ(RunShell(L"exit 0"), 0);
  EXPECT_EQ(RunShell(L"exit 7"), 7);
  EXPECT_EQ(RunShell(L"kill -15 $$"), 128 + SIGTERM);
}

TEST(ProcessRun, WritesNothingOnStandardOutput) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(RunShell(L"echo out; echo err >&2; cat"), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "out\nerr\n");
}

TEST(ProcessRun, AProgramThatIsNotThereIsAFailure) {
  KerrException error(L"tests", L"ProcessRun");
  EXPECT_EQ(kprc_ProcessRun(L"/nowhere/program", {}, {}, error), -1);
  EXPECT_EQ(error.get_What(), L"/nowhere/program: No such file or directory");
}

TEST(ProcessRun, SetsVariablesOfTheProgramAlone) {
  ::setenv("TESSERA_TEST_A", "old", 1);
  ::setenv("TESSERA_TEST_AB", "other", 1);
  ProcessStartInfo info;
  info.SetVariable(L"TESSERA_TEST_A", L"gr\u00fcn = 1");
  info.SetVariable(L"TESSERA_TEST_B", L"");
  EXPECT_EQ(
      RunShell(L"test \"$TESSERA_TEST_A $TESSERA_TEST_AB ${TESSERA_TEST_B-unset}\" = 'gr\u00fcn = 1 other '", info), 0);
  EXPECT_STREQ(std::getenv("TESSERA_TEST_A"), "old");
  EXPECT_EQ(std::getenv("TESSERA_TEST_B"), nullptr);
  ::unsetenv("TESSERA_TEST_A");
  ::unsetenv("TESSERA_TEST_AB");
}

TEST(ProcessRun, StartsWithNoSignalHeldBackOrIgnored) {
  sigset_t all, before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_BLOCK, &all, &before);
  const auto old = ::signal(SIGPIPE, SIG_IGN);
  const int status = RunShell(
      L"grep -q '^SigBlk:.0*$' /proc/self/status && grep -q '^SigIgn:.0*$' /proc/self/status && kill -2 $$; exit 9");
  ::signal(SIGPIPE, old);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(status, 128 + SIGINT);
}

struct Stopped {};

/// Ends the program at the first check after the file is there.
ProcessStartInfo StopWhen(const std::filesystem::path& file) {
  ProcessStartInfo info;
  info.SetCheck([file] {
    if (std::filesystem::exists(file)) throw Stopped();
  });
  return info;
}

TEST(ProcessRun, TheCheckEndsTheWholeGroup) {
  const ScratchFolder folder;
  const std::wstring place = kfnp_FromNative(folder.Path().string());
  const auto begin = std::chrono::steady_clock::now();
  // The inner one writes when it is asked to end; it is asked as well.
  const std::wstring script = L"cd '" + place +
                              L"'; trap 'sleep 0.5; exit' TERM; "
                              L"sh -c 'trap \"touch asked; exit\" TERM; touch begun; while :; do sleep 0.05; done' & "
                              L"wait";
  EXPECT_THROW(RunShell(script, StopWhen(folder / "begun")), Stopped);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
  EXPECT_TRUE(std::filesystem::exists(folder / "asked"));
  EXPECT_FALSE(kprc_IsEnding());
}

TEST(ProcessRun, WhoDoesNotHeedIsKilledAfterFiveSeconds) {
  const ScratchFolder folder;
  const std::wstring begun = folder.Wide("begun");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_THROW(
      RunShell(L"trap '' TERM; touch '" + begun + L"'; while :; do sleep 0.05; done", StopWhen(folder / "begun")),
      Stopped);
  const auto took = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(took, std::chrono::milliseconds(4900));
  EXPECT_LT(took, std::chrono::seconds(9));
}

TEST(ProcessStart, TheProgramGoesWithTheThreadThatStartedIt) {
  pid_t process = 0;
  std::thread([&process] { process = kprc_ProcessStart({"/bin/sleep", {"60"}, -1, -1, true, SIGKILL}); }).join();
  int status = 0;
  ASSERT_EQ(::waitpid(process, &status, 0), process);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
}

TEST(ProcessRun, MembersThatOutliveTheirLeaderMayCleanUp) {
  const ScratchFolder folder;
  const std::wstring place = kfnp_FromNative(folder.Path().string());
  // The one that leads ends at once; the other needs half a second for its cleaning up.
  const std::wstring script = L"cd '" + place +
                              L"'; sh -c 'trap \"sleep 0.5; touch cleaned; exit\" TERM; touch begun; while :; do "
                              L"sleep 0.05; done' & wait";
  EXPECT_THROW(RunShell(script, StopWhen(folder / "begun")), Stopped);
  EXPECT_TRUE(std::filesystem::exists(folder / "cleaned"));
}

TEST(ProcessCapture, TellsStatusFromSignal) {
  std::string output;
  int signal = -1;
  EXPECT_EQ(kprc_ProcessCapture({"/bin/sh", {"-c", "echo a; echo b >&2; exit 137"}, {}, {}}, output, &signal), 137);
  EXPECT_EQ(signal, 0);
  EXPECT_EQ(output, "a\nb\n");
  EXPECT_EQ(kprc_ProcessCapture({"/bin/sh", {"-c", "kill -9 $$"}, {}, {}}, output, &signal), 137);
  EXPECT_EQ(signal, SIGKILL);
  EXPECT_EQ(output, "");
}

TEST(ProcessCapture, GivesMuchOutputInBlocks) {
  constexpr std::size_t kSize = 50'000'000;
  std::size_t size = 0;
  std::string unused = "before";
  const auto take = [&size](std::string_view bytes) { size += bytes.size(); };
  EXPECT_EQ(kprc_ProcessCapture({"/usr/bin/head", {"-c", std::to_string(kSize), "/dev/zero"}, {}, take}, unused), 0);
  EXPECT_EQ(size, kSize);
  EXPECT_EQ(unused, "");
}

TEST(ProcessCapture, WhatTakesTheBytesMayEndIt) {
  std::string unused;
  const auto begin = std::chrono::steady_clock::now();
  const auto take = [](std::string_view) { throw Stopped(); };
  EXPECT_THROW(kprc_ProcessCapture({"/usr/bin/yes", {}, {}, take}, unused), Stopped);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
}

TEST(ProcessCapture, TheProgramIsAskedToEndWithThisProcess) {
  const ScratchFolder folder;
  const std::wstring place = kfnp_FromNative(folder.Path().string());
  const std::string script =
      "cd '" + folder.Path().string() + "'; trap 'touch asked; exit' TERM; touch begun; while :; do sleep 0.05; done";
  const pid_t child = ::fork();
  if (child == 0) {
    std::string unused;
    kprc_ProcessCapture({"/bin/sh", {"-c", script}, {}, {}}, unused);
    ::_exit(0);
  }
  const auto await = [&](const char* name) {
    for (int i = 0; i < 500 && !std::filesystem::exists(folder / name); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return std::filesystem::exists(folder / name);
  };
  ASSERT_TRUE(await("begun"));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(await("asked"));
}

}  // namespace
