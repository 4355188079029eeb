#include "batch/batchmanager.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <chrono>
#include <cstdlib>

#include "batch/joblist.h"
#include "batch/localexecutor.h"
#include "kcommon/scratchfolder.h"

namespace {

using namespace korven::batch;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using Words = std::vector<std::string>;

TEST(JobList, BothLineTerminators) {
  for (const std::string end : {"\n", "\r\n"}) {
    const auto list = JobList::Parse("A\tB" + end + "'x y'\t2" + end + "'it's'\t''" + end);
    EXPECT_EQ(list.columns, (Words{"A", "B"}));
    EXPECT_THAT(list.lines, ElementsAre(Words{"x y", "2"}, Words{"it's", ""}));
  }
}

TEST(JobList, LinesThatAreNotWholeAreKept) {
  const auto list = JobList::Parse("A\tB\n1\n\n1\t2\t3\n4\t5");
  EXPECT_THAT(list.lines, ElementsAre(Words{"1"}, Words{""}, Words{"1", "2", "3"}, Words{"4", "5"}));
  EXPECT_THAT(JobList::Parse("A\n").lines, ElementsAre());
  EXPECT_THROW(JobList::Parse(""), BatchFault);
  EXPECT_THROW(JobList::Parse("\nA\n"), BatchFault);
}

TEST(JobDescription, WordsNameColumns) {
  ::setenv("TESSERA_TEST_PLACE", "/a b", 1);
  const auto job = JobDescription::Parse(
      R"({"command": ["$TESSERA_TEST_PLACE/x", "{A}", "--b={B}!", "{{}", "${TESSERA_TEST_PLACE}", "$UNSET"], // why
          "input": "A",})");
  const auto list = JobList::Parse("A\tB\n");
  job.CheckColumns(list);
  EXPECT_EQ(job.WordsFor(list, {"$TESSERA_TEST_PLACE", "{A} \"'"}),
            (Words{"/a b/x", "$TESSERA_TEST_PLACE", "--b={A} \"'!", "{}", "/a b", "$UNSET"}));
  EXPECT_EQ(job.GetInputColumn(), "A");
  EXPECT_EQ(job.GetOutputColumn(), "");
  ::unsetenv("TESSERA_TEST_PLACE");
}

TEST(JobDescription, WhatIsWrongIsTold) {
  const std::vector<std::pair<const char*, const char*>> rows = {
      {"{", "line 1, column 2"},
      {"[]", "\"command\""},
      {R"({"command": []})", "\"command\""},
      {R"({"command": ["a", 1]})", "command[1]: expected a string"},
      {R"({"command": ["{A"]})", "a brace is not closed"}};
  for (const auto& [text, told] : rows) {
    try {
      JobDescription::Parse(text);
      ADD_FAILURE() << text;
    } catch (const BatchFault& fault) {
      EXPECT_THAT(fault.what(), HasSubstr(told));
    }
  }
  for (const char* text : {R"({"command": ["{C}"]})", R"({"command": ["x"], "output": "C"})"}) {
    try {
      JobDescription::Parse(text).CheckColumns(JobList::Parse("A\tB\n"));
      ADD_FAILURE() << text;
    } catch (const BatchFault& fault) {
      EXPECT_STREQ(fault.what(), "the job names the column \"C\"; the list has A, B");
    }
  }
}

TEST(IsOutputWhole, OnlyWithOutputsAndNewer) {
  const ScratchFolder folder;
  const std::string input = (folder / "in").string(), output = (folder / "out").string();
  const auto written = [&](const std::string& bytes, int later) {
    folder.Make("in", "{}");
    folder.Make("out", bytes);
    const timeval before[2] = {{1000, 0}, {1000, 0}}, after[2] = {{1000 + later, 0}, {1000 + later, 0}};
    ::utimes(input.c_str(), before);
    ::utimes(output.c_str(), after);
    return IsOutputWhole(output, input);
  };
  EXPECT_TRUE(written(R"({"Outputs": []})", 1));
  EXPECT_FALSE(written(R"({"Outputs": []})", 0));
  EXPECT_FALSE(written(R"({"Outputs": [])", 1));
  EXPECT_FALSE(written(R"({"Inputs": []})", 1));
  EXPECT_FALSE(written("", 1));
  EXPECT_FALSE(IsOutputWhole((folder / "none").string(), input));
}

/// A job over a shell script that gets the value of the only column as its word.
class RunBatchOver : public ::testing::Test {
 protected:
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

TEST_F(RunBatchOver, EachLineHasABlockOfItsOwnInTheLog) {
  EXPECT_EQ(Run("echo out $1; echo err $1 >&2; sleep 0.1; echo more $1", "'x y'\nb\n", 2), 0);
  EXPECT_EQ(told_, "");
  for (const std::string line : {"x y", "b"}) {
    EXPECT_THAT(Log(), HasSubstr("--- standard output\nout " + line + "\nmore " + line + "\n--- standard error\nerr " +
                                 line + "\n"));
  }
  EXPECT_THAT(Log(), HasSubstr("=== line 1: done, "));
  EXPECT_THAT(Log(), HasSubstr("=== line 2: done, "));
}

TEST_F(RunBatchOver, FailuresAreToldAndTheOthersRunOn) {
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

TEST_F(RunBatchOver, FailedLinesAreRunAgain) {
  const std::string third = "echo x >> runs-$1; [ $(wc -l < runs-$1) -ge 3 ]";
  EXPECT_EQ(Run(third, "1\n2\n", 1, 2), 0);
  EXPECT_THAT(told_, HasSubstr("line 1: exit status 1; run again, 1 of 2\n"));
  EXPECT_THAT(told_, HasSubstr("line 2: exit status 1; run again, 2 of 2\n"));
  EXPECT_EQ(folder_.Bytes("runs-1"), "x\nx\nx\n");
  EXPECT_EQ(Run("echo x >> always; false", "1\n", 1, 1), 1);
  EXPECT_EQ(folder_.Bytes("always"), "x\nx\n");
}

TEST_F(RunBatchOver, NoMoreAtATimeThanAsked) {
  const std::string script = "mkdir on-$1; ls -d on-* | wc -l >> counts; sleep 0.05; rmdir on-$1";
  EXPECT_EQ(Run(script, "1\n2\n3\n4\n5\n6\n7\n8\n", 3), 0);
  const std::string counts = folder_.Bytes("counts");
  EXPECT_THAT(counts, HasSubstr("3\n"));
  for (const char* more : {"4", "5", "6", "7", "8"}) EXPECT_THAT(counts, Not(HasSubstr(more)));
}

TEST_F(RunBatchOver, WhatALineLeavesRunningGoesWithIt) {
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Run("(sleep 0.4; touch late) & exit 0", "1\n"), 0);
  EXPECT_EQ(Run("sleep 0.6", "1\n"), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(600));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "late"));
}

TEST_F(RunBatchOver, OfALotOfOutputTheEndIsKept) {
  EXPECT_EQ(Run("head -c 17000000 /dev/zero; echo end", "1\n"), 0);
  EXPECT_THAT(Log(), HasSubstr("--- standard output\n(the first 222788 bytes are left out)\n"));
  EXPECT_EQ(Log().substr(Log().size() - 5), std::string("\0end\n", 5));
  EXPECT_EQ(Run("echo next", "1\n"), 0);
  EXPECT_THAT(Log(), HasSubstr("--- standard output\nnext\n"));
}

TEST_F(RunBatchOver, AnEmptyListIsDone) { EXPECT_EQ(Run("false", ""), 0); }

TEST(RunLocally, ProgramsThatAreNotThereFail) {
  std::vector<std::string> failures;
  const std::vector<CommandLine> lines = {{1, {"/nowhere/program"}, {}}, {2, {"/bin/true"}, {}}};
  EXPECT_EQ(RunLocally(lines, {1, 0, [&](const LineEnd& end) { failures.push_back(end.failure); }}), 0);
  EXPECT_THAT(failures, ElementsAre("/nowhere/program: No such file or directory", ""));
}

TEST(BatchMain, WrongCallsAreRefused) {
  const ScratchFolder folder;
  const std::string job = (folder / "j.bcf").string(), list = (folder / "l.bls").string();
  folder.Make("j.bcf", R"({"command": ["/bin/true", "{B}"]})");
  folder.Make("l.bls", "A\n1\n");
  const std::vector<std::pair<Words, std::string>> rows = {
      {{}, "-bcf JOB is missing"},
      {{"-bcf", job}, "-bls LIST is missing"},
      {{"-bcf"}, "-bcf: expected a value behind it"},
      {{"-bcf", job, "-bls", list, "-simul", "0"}, "-simul: found \"0\", expected a whole number from 1 on"},
      {{"-bcf", job, "-bls", list, "--retries", "-1"}, "--retries: found \"-1\", expected a whole number from 0 on"},
      {{"--retry", "1"}, "\"--retry\" is no option; --help tells those there are"},
      {{"-bcf", job, "-bls", list}, job + ": the job names the column \"B\"; the list has A"},
  };
  for (const auto& [words, told] : rows) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(BatchMain(words), 2);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "batchprocess: " + told + "\n");
  }
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(BatchMain({"-bcf", job, "-bls", (folder / "none").string()}), 2);
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr((folder / "none").string()));
}

}  // namespace
