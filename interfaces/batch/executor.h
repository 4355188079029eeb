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

/// What an executor is asked for. The functions are called on the caller's thread; those that are empty are not.
struct ExecutorRun {
  unsigned simultaneous = 1;                        ///< lines at a time, at least 1
  unsigned retries = 0;                             ///< how often a line that failed is run again
  std::function<void(const LineEnd&)> ended{};      ///< each run of a line, once
  std::function<void(const CommandLine&)> begun{};  ///< a line that runs from now on; where lines run on this machine
  std::function<void(const std::string&)> noted{};  ///< for the log
  std::function<void(const std::string&)> told{};   ///< for the user, who might wonder otherwise
};

}  // namespace korven::batch
