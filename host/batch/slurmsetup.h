#pragma once

#include "batch/batchmanager.h"
#include "batch/slurmexecutor.h"

namespace korven::batch {

/// What the preference "executor" says. Raises BatchFault where it names none.
bool IsOnSlurm();
/// From the preferences. Raises BatchFault where one is wrong.
SlurmSetup ReadSlurmSetup(const BatchOptions& options);

}  // namespace korven::batch
