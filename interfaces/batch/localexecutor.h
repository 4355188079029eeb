#pragma once

#include <vector>

#include "batch/executor.h"

namespace korven::batch {

/// Runs the lines on this machine, each in a process group of its own that is killed when its leader ends, and as this
/// process does. Returns 0 when all have run; or the number of SIGINT, SIGTERM or SIGHUP, after which the running lines
/// have been asked to end, and been made to after 3 seconds. Takes those signals and SIGCHLD for itself: to be called
/// on the only thread, in a process that has no other children.
int RunLocally(const std::vector<CommandLine>& lines, const ExecutorRun& run);

}  // namespace korven::batch
