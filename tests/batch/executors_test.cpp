#include <fcntl.h>
#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>

#include "batch/batchmanager.h"
#include "batch/joblist.h"
#include "kcommon/kpmg.h"
#include "kcommon/kstr.h"
#include "kcommon/scratchfolder.h"
#include "testcluster.h"

// What holds for every executor.
namespace {

using namespace korven::batch;
using ::testing::HasSubstr;
using ::testing::Not;

/// A job over a shell script that gets the value of the only column as its word.
class RunBatchOver : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    kpmg::ClearAll();
    const std::string executor = GetParam();
    if (executor == "slurm" && !TestCluster::Get().Missing().empty()) GTEST_SKIP() << TestCluster::Get().Missing();
    kpmg::Set(L"batch", L"executor", {KpmgEnum, kstr_FromUtf8Lossy(executor)});
    kpmg::Set(L"batch", L"slurm_pause", {KpmgNumber, {}, 0.5});
  }
  void TearDown() override { kpmg::ClearAll(); }

  /// Gives the exit status; Told() has what was written on standard error.
  int Run(const std::string& script, const std::string& lines, unsigned simultaneous = 1, unsigned retries = 0) {
    BatchOptions options;
    options.simultaneous = simultaneous;
    options.retries = retries;
    folder_.Make("job.bcf", R"({"command": ["/bin/sh", "-c", "cd '$FOLDER'; )" + script + R"(", "sh", "{A}"]})");
    folder_.Make("list.bls", "A\n" + lines);
    options.job = (folder_ / "job.bcf").string();
    options.list = (folder_ / "list.bls").string();
    options.log = (folder_ / "run.log").string();
    ::setenv("FOLDER", folder_.Path().c_str(), 1);
    ::testing::internal::CaptureStderr();
    const int status = RunBatch(options);
    told_ = ::testing::internal::GetCapturedStderr();
    return status;
  }
  std::string Log() const { return folder_.Bytes("run.log"); }

  const ScratchFolder folder_;
  std::string told_;
};

TEST_P(RunBatchOver, EachLineHasABlockOfItsOwnInTheLog) {
  EXPECT_EQ(Run("echo out $1; echo err $1 >&2; sleep 0.1; echo more $1", "'x y'\nb\n", 2), 0);
  EXPECT_EQ(told_, "");
  for (const std::string line : {"x y", "b"}) {
    EXPECT_THAT(Log(), HasSubstr("--- standard output\nout " + line + "\nmore " + line + "\n--- standard error\nerr " +
                                 line + "\n"));
  }
  EXPECT_THAT(Log(), HasSubstr("=== line 1: done, "));
  EXPECT_THAT(Log(), HasSubstr("=== line 2: done, "));
}

TEST_P(RunBatchOver, FailuresAreToldAndTheOthersRunOn) {
  const int status =
      Run("case $1 in 2) seq 12 >&2; exit 7;; 3) kill -9 $$;; esac; echo ran > ran-$1", "1\n2\n3\n4\n5\t6\n");
  EXPECT_EQ(status, 1);
  EXPECT_EQ(
      told_,
      "batchprocess: line 2: exit status 7\n  | 3\n  | 4\n  | 5\n  | 6\n  | 7\n  | 8\n  | 9\n  | 10\n  | 11\n  | 12\n"
      "batchprocess: line 3: signal 9 (Killed)\n"
      "batchprocess: line 5: found 2 values, expected 1\n"
      "batchprocess: 3 of 5 lines failed: 2, 3, 5\n");
  EXPECT_TRUE(std::filesystem::exists(folder_ / "ran-1"));
  EXPECT_TRUE(std::filesystem::exists(folder_ / "ran-4"));
  EXPECT_THAT(Log(), HasSubstr("=== 3 of 5 lines failed: 2, 3, 5\n"));
}

TEST_P(RunBatchOver, FailedLinesAreRunAgain) {
  const std::string third = "echo x >> runs-$1; [ $(wc -l < runs-$1) -ge 3 ]";
  EXPECT_EQ(Run(third, "1\n2\n", 1, 2), 0);
  EXPECT_THAT(told_, HasSubstr("line 1: exit status 1; run again, 1 of 2\n"));
  EXPECT_THAT(told_, HasSubstr("line 2: exit status 1; run again, 2 of 2\n"));
  EXPECT_EQ(folder_.Bytes("runs-1"), "x\nx\nx\n");
  EXPECT_EQ(Run("echo x >> always; false", "1\n", 1, 1), 1);
  EXPECT_EQ(folder_.Bytes("always"), "x\nx\n");
}

TEST_P(RunBatchOver, NoMoreAtATimeThanAsked) {
  // The first lines wait for each other, for as long as a machine with much to do may take.
  const std::string script =
      "mkdir on-$1; i=0; until [ -e together ] || [ $i -ge 200 ]; do [ $(ls -d on-* | wc -l) -ge 3 ] && touch "
      "together; "
      "sleep 0.05; i=$((i + 1)); done; ls -d on-* | wc -l >> counts; sleep 0.05; rmdir on-$1";
  EXPECT_EQ(Run(script, "1\n2\n3\n4\n5\n6\n7\n8\n", 3), 0);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "together"));
  const std::string counts = folder_.Bytes("counts");
  for (const char* more : {"4", "5", "6", "7", "8"}) EXPECT_THAT(counts, Not(HasSubstr(more)));
}

TEST_P(RunBatchOver, WhatALineLeavesRunningGoesWithIt) {
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Run("(sleep 0.4; touch late) & exit 0", "1\n"), 0);
  EXPECT_EQ(Run("sleep 0.6", "1\n"), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(600));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "late"));
}

TEST_P(RunBatchOver, OfALotOfOutputTheEndIsKept) {
  EXPECT_EQ(Run("head -c 17000000 /dev/zero; echo end", "1\n"), 0);
  EXPECT_THAT(Log(), HasSubstr("--- standard output\n(the first 222788 bytes are left out)\n"));
  EXPECT_EQ(Log().substr(Log().size() - 5), std::string("\0end\n", 5));
  EXPECT_EQ(Run("echo next", "1\n"), 0);
  EXPECT_THAT(Log(), HasSubstr("--- standard output\nnext\n"));
}

TEST_P(RunBatchOver, AnEmptyListIsDone) { EXPECT_EQ(Run("false", ""), 0); }

TEST_P(RunBatchOver, ProgramsThatAreNotThereAreTold) {
  folder_.Make("job.bcf", R"({"command": ["{A}"]})");
  // Without a folder they are looked for along PATH.
  folder_.Make("list.bls", "A\n/nowhere/program\n/bin/true\ntrue\nno-such-program\n");
  BatchOptions options;
  options.job = (folder_ / "job.bcf").string();
  options.list = (folder_ / "list.bls").string();
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(RunBatch(options), 1);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "batchprocess: line 1: /nowhere/program: No such file or directory\n"
            "batchprocess: line 4: no-such-program: No such file or directory\n"
            "batchprocess: 2 of 4 lines failed: 1, 4\n");
}

TEST_P(RunBatchOver, WordsAreHandedOnAsTheyAre) {
  const std::string odd = "it's \"gr\xC3\xBCn\" \\t $HOME %a `x` \xE6\x97\xA5 \xFF";
  EXPECT_EQ(Run("printf %s \\\"$1\\\" > got", odd + "\n"), 0);
  EXPECT_EQ(folder_.Bytes("got"), odd);
}

INSTANTIATE_TEST_SUITE_P(Executors, RunBatchOver, ::testing::Values("local", "slurm"),
                         [](const auto& row) { return std::string(row.param); });

TEST(RunBatch, ExecutorsThatAreNotKnownAreRefused) {
  kpmg::Set(L"batch", L"executor", {KpmgEnum, L"pbs"});
  try {
    RunBatch({});
    ADD_FAILURE() << "nothing was raised";
  } catch (const BatchFault& fault) {
    EXPECT_STREQ(fault.what(), "the preference batch/executor: found \"pbs\", expected \"local\" or \"slurm\"");
  }
  kpmg::ClearAll();
}

}  // namespace
