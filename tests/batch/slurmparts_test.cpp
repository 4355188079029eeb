#include <gmock/gmock.h>

#include "batch/joblist.h"
#include "kcommon/scratchfolder.h"
#include "linebook.h"
#include "slurmarray.h"

// The parts of the executor for Slurm that need no cluster.
namespace {

using namespace korven::batch;
using ::testing::ElementsAre;
using Words = std::vector<std::string>;

TEST(RunDirectory, CommandsComeBack) {
  const Commands commands = {{}, {"/bin/echo", "", "a\tb", "c\nd", "\\t", "\xFF\xC3\xBC'\""}, {}, {"x"}};
  EXPECT_EQ(FormatCommands(commands), "/bin/echo\t\ta\\tb\tc\\nd\t\\\\t\t\xFF\xC3\xBC'\"\n\nx\n");
  EXPECT_EQ(ParseCommands(FormatCommands(commands)), commands);
}

TEST(RunDirectory, RoundsThatAreNotWholeAreRefused) {
  const Round round{1, 3, {2, 5, 7, 11}};
  const std::string text = FormatRound(round);
  EXPECT_EQ(text, "block 3\n2\n5\n7\n11\nend\n");
  Round read;
  ASSERT_TRUE(ParseRound(text, read));
  EXPECT_EQ(read.lines, round.lines);
  EXPECT_EQ(read.CountTasks(), 2u);
  EXPECT_THAT(read.LinesOf(0), ElementsAre(2, 5, 7));
  EXPECT_THAT(read.LinesOf(1), ElementsAre(11));
  EXPECT_THAT(read.LinesOf(2), ElementsAre());
  for (std::size_t size = 0; size + 1 < text.size(); ++size)
    EXPECT_FALSE(ParseRound(text.substr(0, size), read)) << size;
  for (const char* wrong : {"block 0\nend\n", "block x\nend\n", "block 1\n1x\nend\n", "block 1\nend\n1\n"})
    EXPECT_FALSE(ParseRound(wrong, read)) << wrong;
}

TEST(RunDirectory, ResultsThatAreNotWholeAreRefused) {
  const LineResult result{7, "exit status 3", 1.5, "n1", "out\n", "gr\xC3\xBCn\n\nend"};
  const std::string text = FormatResult(result);
  LineResult read;
  ASSERT_TRUE(ParseResult(text, read));
  EXPECT_EQ(read.line, 7u);
  EXPECT_EQ(read.failure, "exit status 3");
  EXPECT_EQ(read.seconds, 1.5);
  EXPECT_EQ(read.node, "n1");
  EXPECT_EQ(read.output, "out\n");
  EXPECT_EQ(read.errors, result.errors);
  for (std::size_t size = 0; size < text.size(); ++size) EXPECT_FALSE(ParseResult(text.substr(0, size), read)) << size;
  EXPECT_FALSE(ParseResult(text + "x", read));
  ASSERT_TRUE(ParseResult(FormatResult({1, "", 0, "", "", ""}), read));
  EXPECT_EQ(read.failure + read.output + read.errors, "");
}

TEST(RunDirectory, AFolderOfOthersIsLeftAlone) {
  const ScratchFolder folder;
  folder.Make("run/mine.txt", "mine");
  try {
    RunDirectory((folder / "run").string()).Begin("name", "/bin/true");
    ADD_FAILURE() << "nothing was raised";
  } catch (const BatchFault& fault) {
    EXPECT_EQ(fault.what(), "the run directory " + (folder / "run").string() + " is not empty, and no run's");
  }
  EXPECT_EQ(folder.Bytes("run/mine.txt"), "mine");
}

TEST(RunDirectory, AnEarlierRunGoes) {
  const ScratchFolder folder;
  RunDirectory files((folder / "run").string());
  files.Begin("first", "/bin/true");
  files.WriteRound({1, 1, {1}});
  files.WriteResult(1, {1, "", 0, "n1", "", ""});
  EXPECT_THAT(files.ListResults(1), ElementsAre(1));
  EXPECT_EQ(files.CountRounds(), 1u);
  files.Begin("second", "/bin/true");
  EXPECT_EQ(files.ReadJobName(), "second");
  EXPECT_EQ(files.CountRounds(), 0u);
  EXPECT_THAT(files.ListResults(1), ElementsAre());
}

TEST(ChooseBlock, ByTimeShareAndRoom) {
  // lines, simultaneous, array size, wished, seconds
  EXPECT_EQ(ChooseBlock({100, 4, 1001, 0, -1}), 1u) << "nothing is known of the time";
  EXPECT_EQ(ChooseBlock({100, 4, 1001, 0, 0}), 25u) << "each task at a time has its share";
  EXPECT_EQ(ChooseBlock({10'000, 4, 1001, 0, 3}), 10u) << "about 30 s a task";
  EXPECT_EQ(ChooseBlock({1000, 4, 1001, 0, 1000}), 1u);
  EXPECT_EQ(ChooseBlock({5000, 4, 1001, 0, 1000}), 5u) << "an array has no more tasks";
  EXPECT_EQ(ChooseBlock({5000, 4, 1001, 10, 1000}), 10u);
  EXPECT_EQ(ChooseBlock({5000, 4, 101, 10, -1}), 50u);
  EXPECT_EQ(ChooseBlock({1, 12, 1, 0, 0.001}), 1u);
}

TEST(SlurmArray, TasksCloseWithTheirLines) {
  SlurmArray array({1, 2, {3, 4, 5, 6, 9}}, "12", 2, {3, 5, 6, 9});
  EXPECT_EQ(array.CountOpenTasks(), 3u);
  EXPECT_EQ(array.CountSlots(), 2u);
  EXPECT_THAT(array.OpenLinesOf(0), ElementsAre(3));
  array.Close(3);
  array.Close(4);
  EXPECT_EQ(array.CountOpenTasks(), 2u);
  array.Close(5);
  array.Close(5);
  EXPECT_THAT(array.OpenLinesOf(1), ElementsAre(6));
  array.Close(6);
  EXPECT_EQ(array.CountSlots(), 1u);
}

TEST(QueueFacts, OnlyWhatCanNeverStartIsHopeless) {
  QueueFacts facts;
  EXPECT_FALSE(facts.IsHopeless());
  facts.reasons["PartitionConfig"] = 3;
  EXPECT_TRUE(facts.IsHopeless());
  EXPECT_EQ(facts.Text(), "PartitionConfig (3 tasks)");
  facts.running = 1;
  EXPECT_FALSE(facts.IsHopeless());
  facts.running = 0;
  facts.reasons["Resources"] = 1;
  EXPECT_FALSE(facts.IsHopeless());
  EXPECT_EQ(facts.Text(), "PartitionConfig (3 tasks), Resources (1 task)");
}

TEST(TaskLog, TheLastLineThatBegan) {
  const TaskLog log = ParseTaskLog("n1: line 3\nn1: line 4\nslurmstepd: error: killed\nn2: line four\n");
  EXPECT_EQ(log.begun, 4u);
  EXPECT_EQ(log.said, "slurmstepd: error: killed\nn2: line four\n");
  EXPECT_EQ(ParseTaskLog("").begun, 0u);
}

TEST(SlurmAnswer, WhatPassesIsTriedAgain) {
  EXPECT_TRUE((SlurmAnswer{1, "sbatch: error: Unable to contact slurm controller (connect failure)"}).IsPassing());
  EXPECT_TRUE((SlurmAnswer{1, "sbatch: error: ... Socket timed out on send/recv operation"}).IsPassing());
  EXPECT_FALSE((SlurmAnswer{1, "sbatch: error: invalid partition specified: x"}).IsPassing());
  EXPECT_FALSE((SlurmAnswer{0, "Socket timed out"}).IsPassing());
}

TEST(DescribeEnd, AsTheControllerKnowsIt) {
  EXPECT_EQ(DescribeEnd(nullptr), "the controller does not know it");
  const QueuedTask failed{"1_2", 1, 2, "FAILED", "JobLaunchFailure", "n2"}, done{"1_2", 1, 2, "COMPLETED", "None", ""};
  EXPECT_EQ(DescribeEnd(&failed), "FAILED (JobLaunchFailure) on n2");
  EXPECT_EQ(DescribeEnd(&done), "COMPLETED");
}

TEST(LineBook, RetriesAndFaults) {
  std::vector<std::string> told;
  ExecutorRun run;
  run.retries = 1;
  run.ended = [&told](const LineEnd& end) {
    told.push_back(std::to_string(end.line->number) + " " + std::to_string(end.attempt) +
                   (end.isRunAgain ? " again " : " ") + end.failure);
  };
  const std::vector<CommandLine> lines = {{1, {"a"}, {}}, {3, {}, "broken"}, {4, {"b", "c"}, {}}};
  LineBook book(lines, run);
  EXPECT_THAT(book.Todo(), ElementsAre(1, 4));
  EXPECT_EQ(book.CommandsOf({{}, {"old"}, {"old"}}), (Commands{{}, {"a"}, {"old"}, {}, {"b", "c"}}));
  book.Todo().clear();
  book.Finish({4, "exit status 1", 0, {}, {}, {}}, true);
  EXPECT_THAT(book.Todo(), ElementsAre(4));
  book.Finish({4, "exit status 2", 0, {}, {}, {}}, true);
  book.Finish({1, "cancelled", 0, {}, {}, {}}, false);
  EXPECT_EQ(book.CountOpen(), 0u);
  book.FailFaulty();
  EXPECT_THAT(told, ElementsAre("4 1 again exit status 1", "4 2 exit status 2", "1 1 cancelled", "3 1 broken"));
}

}  // namespace
