#pragma once

#include <atomic>
#include <boost/shared_ptr.hpp>

#include "txlib/model.h"

namespace TesseraProgram {

/// Ends a run on SIGINT and SIGTERM: first by cancelling it, then, where it does not come to its end, by leaving
/// the process with nothing left behind. To be made before any other thread.
class SignalWatch {
 public:
  SignalWatch();
  /// What a signal cancels from now on. A signal that came before cancels it at once.
  static void SetEnvironment(const boost::shared_ptr<Tamrin::Tessera::ExecutionEnvironment>& environment);
  /// The signal that came, or 0.
  static int Received();
  /// Does not come back where a signal came: leaves with its status.
  static void LeaveIfSignalled();
};

}  // namespace TesseraProgram
