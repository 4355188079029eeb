#pragma once

#include <string>
#include <vector>

namespace korven::batch {

struct BatchOptions {
  std::string job, list, log;  ///< file names
  unsigned simultaneous = 1;
  unsigned retries = 0;
  bool resume = false;
};

/// Runs a job for each line of a list, by the executor that the preferences of the category "batch" ask for: "executor"
/// is the enumeration "local" or "slurm"; for the latter "run_directory" (string: where run directories are made;
/// empty: beside the list), "slurm_options" (string: of sbatch), "slurm_lines_per_task" (number; 0: by their time) and
/// "slurm_pause" (number of seconds between questions to the controller). Gives 0 where each line's exit status was 0,
/// 1 where one's was not, 128 and the number of the signal that stopped it. What fails is told on standard error; the
/// log has what each line wrote. Raises BatchFault before anything runs.
int RunBatch(const BatchOptions& options);

/// The program: words behind its name. 2 where the call, the job or the list is wrong.
int BatchMain(const std::vector<std::string>& words);

}  // namespace korven::batch
