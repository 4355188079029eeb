#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace korven::batch {

struct CommandLine {
  std::size_t number;              ///< of its line
  std::vector<std::string> words;  ///< the program's file name is the first
  std::string fault;               ///< why it can't be run; empty where it can
};

/// How one run of a line ended.
struct LineEnd {
  const CommandLine* line;
  unsigned attempt;     ///< from 1
  bool isRunAgain;      ///< a failure that another run follows
  std::string failure;  ///< "exit status 1", "signal 9 (Killed)", why it was not run; empty where it succeeded
  double seconds;
  std::string output;  ///< what it wrote on standard output; of more than 16 MB the end
  std::string errors;  ///< likewise on standard error
};

struct LocalRun {
  unsigned simultaneous = 1;  ///< lines at a time, at least 1
  unsigned retries = 0;       ///< how often a line that failed is run again
  std::function<void(const LineEnd&)> ended;
};

/// Runs the lines on this machine, each in a process group of its own that is killed when its leader ends, and as this
/// process does. Returns 0 when all have run; or the number of SIGINT, SIGTERM or SIGHUP, after which the running lines
/// have been asked to end, and been made to after 3 seconds. Takes those signals and SIGCHLD for itself: to be called
/// on the only thread, in a process that has no other children.
int RunLocally(const std::vector<CommandLine>& lines, const LocalRun& run);

}  // namespace korven::batch
