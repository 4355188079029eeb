#pragma once

#include <signal.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace korven::batch {

/// A signal came that ends the run.
struct StopSignal {
  int number;
};

/// What a command of Slurm said.
struct SlurmAnswer {
  int status = 0;
  std::string text;  ///< without line ends at its end
  bool IsGood() const { return status == 0; }
  /// The controller, or the way to it, is what failed: another time it may not.
  bool IsPassing() const;
};

/// A task of an array, as the queue shows it.
struct QueuedTask {
  std::string id;  ///< "12_5"
  unsigned round = 0;
  std::size_t task = 0;
  std::string state, reason, node;
};

struct SlurmLimits {
  std::size_t arraySize = 1001;
  unsigned killWait = 30;  ///< seconds
};

/// The commands of Slurm, for the arrays of one run: that of round R has the name NAME-R. Each operation raises
/// StopSignal where SIGINT, SIGTERM or SIGHUP, which are blocked, has come.
class SlurmCommands {
 public:
  explicit SlurmCommands(std::string jobName) : jobName_(std::move(jobName)) {}
  const std::string& GetName() const { return jobName_; }
  /// Those of another run.
  void Become(const std::string& jobName) { jobName_ = jobName; }
  std::string NameOf(unsigned round) const { return jobName_ + "-" + std::to_string(round); }

  /// Raises BatchFault where one is not to be found.
  static void RequirePrograms();
  static SlurmAnswer ReadLimits(SlurmLimits& limits);
  /// The answer's text is the array's number where it is good. `waits` is called with what sbatch says while it waits.
  SlurmAnswer Submit(unsigned round, const std::vector<std::string>& words,
                     const std::function<void(const std::string&)>& waits) const;
  /// Tasks of rounds, those that have ended as well where `ended` says so.
  SlurmAnswer ReadQueue(const std::vector<unsigned>& rounds, bool ended, std::vector<QueuedTask>& tasks) const;
  static SlurmAnswer Cancel(const std::string& id);
  static SlurmAnswer Release(const std::string& id);
  static SlurmAnswer SetThrottle(const std::string& id, std::size_t throttle);
  /// Raises StopSignal where one has come.
  static void CheckSignals();

 private:
  std::string jobName_;
};

}  // namespace korven::batch
