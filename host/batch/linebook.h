#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <vector>

#include "batch/executor.h"
#include "rundirectory.h"

namespace korven::batch {

/// The lines of a run on a cluster: which have no verdict yet, and which of them are in no array.
class LineBook {
 public:
  LineBook(const std::vector<CommandLine>& lines, const ExecutorRun& run);
  /// Without those that can't be run.
  std::size_t CountOpen() const { return open_; }
  std::deque<std::size_t>& Todo() { return todo_; }
  const CommandLine& LineOf(std::size_t number) const { return *states_.at(number).line; }
  /// Those given, with the lines of this run in their places.
  Commands CommandsOf(Commands commands) const;
  /// Tells how a run of a line ended; a line that is to run again is to do.
  void Finish(const LineResult& result, bool mayRunAgain);
  /// The same for lines that can't be run.
  void FailFaulty();
  /// Notes that a task ended without a result for the line; gives how often by now.
  unsigned NoteLoss(std::size_t number) { return ++states_.at(number).losses; }

 private:
  struct State {
    const CommandLine* line;
    unsigned attempt = 1;
    unsigned losses = 0;
  };
  const ExecutorRun& run_;
  std::map<std::size_t, State> states_;
  std::deque<std::size_t> todo_;
  std::size_t open_ = 0;
};

}  // namespace korven::batch
