#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "rundirectory.h"
#include "slurmcommands.h"

namespace korven::batch {

using Clock = std::chrono::steady_clock;

struct BlockFacts {
  std::size_t lines = 0;         ///< still to be submitted
  std::size_t simultaneous = 1;  ///< tasks at a time
  std::size_t arraySize = 1;     ///< tasks of an array at most
  std::size_t wished = 0;        ///< lines in a task; 0: by their time
  double seconds = -1;           ///< what a line takes; negative where that is not known
};

/// Lines in a task: short ones go many to a task, as long as each of the tasks at a time has some, and the lines fit
/// into one array.
std::size_t ChooseBlock(const BlockFacts& facts);

/// An array that was submitted.
struct SlurmArray {
  /// `lines`: those of the round that are waited for.
  SlurmArray(Round asked, std::string id, std::size_t throttle, const std::set<std::size_t>& lines);
  std::size_t CountOpenTasks() const { return openLines.size(); }
  /// Tasks at a time that it may still have.
  std::size_t CountSlots() const;
  std::size_t TaskOf(std::size_t line) const { return taskOf.at(line); }
  /// Lines of a task that have no verdict.
  std::vector<std::size_t> OpenLinesOf(std::size_t task) const;
  void Close(std::size_t line);

  Round round;
  std::string id;
  std::size_t throttle;
  std::set<std::size_t> open;                     ///< lines without a verdict
  std::map<std::size_t, std::size_t> taskOf;      ///< of those lines
  std::map<std::size_t, std::size_t> openLines;   ///< task: how many of its lines are open
  std::map<std::size_t, Clock::time_point> gone;  ///< task: since when the queue has not had it
  std::map<std::size_t, unsigned> releases;       ///< task: how often it was released
};

/// Why tasks wait: "Resources (3 tasks)".
struct QueueFacts {
  std::map<std::string, std::size_t> reasons;  ///< of tasks that wait
  std::size_t running = 0;
  /// True where nothing runs, and what waits can't ever start.
  bool IsHopeless() const;
  std::string Text() const;
};

/// True where Slurm holds a task back since it could not be started or was requeued.
bool IsHeldAfterRequeue(const std::string& reason);

/// "FAILED (JobLaunchFailure) on n2"; what the controller knows of a task that has ended.
std::string DescribeEnd(const QueuedTask* task);

/// What a task's log tells.
struct TaskLog {
  bool exists = false;
  std::size_t begun = 0;  ///< the last line that began; 0: none
  std::string said;       ///< the end of what else is in it
};
TaskLog ParseTaskLog(const std::string& text);

}  // namespace korven::batch
