#include "batch/batchmanager.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <cstdlib>

#include "batch/joblist.h"
#include "batch/localexecutor.h"
#include "kcommon/scratchfolder.h"

namespace {

using namespace korven::batch;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
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

TEST(RunLocally, ProgramsThatAreNotThereFail) {
  std::vector<std::string> failures;
  ExecutorRun run;
  run.ended = [&](const LineEnd& end) { failures.push_back(end.failure); };
  EXPECT_EQ(RunLocally({{1, {"/nowhere/program"}, {}}, {2, {"/bin/true"}, {}}}, run), 0);
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
