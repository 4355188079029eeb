#pragma once

#include <string>
#include <vector>

#include "batch/executor.h"

namespace korven::batch {

/// How lines are run on a cluster.
struct SlurmSetup {
  /// On a file system that the nodes share. Made where it is missing, and kept: the commands, one line each; a folder
  /// for each array of tasks with what the lines wrote and how they ended; the logs of the tasks.
  std::string directory;
  std::string program;               ///< the batch manager's file, which the tasks start; found on the nodes as well
  std::vector<std::string> options;  ///< of sbatch, besides those that are always given
  unsigned linesPerTask = 0;         ///< 0: by the time that the first lines take
  double pause = 15;                 ///< seconds between two questions to the controller, once a run goes on for long
  /// Goes on with the run that the directory holds: its tasks that the cluster still has are waited for.
  bool resume = false;
};

/// Runs the lines as tasks of job arrays on a Slurm cluster, so many at a time, in this process's working folder and
/// environment. Tasks of a node that is lost run again, lines whose task ends three times without a result fail.
/// Returns 0 when all have run; or the number of SIGINT, SIGTERM or SIGHUP, after which the arrays have been cancelled.
/// Raises BatchFault before anything runs: no commands of Slurm, no controller, a refused submission, a directory that
/// can't be written, or another run in it. To be called like RunLocally.
int RunOnSlurm(const std::vector<CommandLine>& lines, const ExecutorRun& run, const SlurmSetup& setup);

/// One task of an array, told which by the environment variable SLURM_ARRAY_TASK_ID: its lines, one after the other,
/// except those that have a result. `jobName` is that of the run, which the directory may no longer belong to. Gives
/// the exit status of the task.
int RunSlurmTask(const std::string& directory, unsigned round, const std::string& jobName);

}  // namespace korven::batch
