#pragma once

#include <memory>
#include <string>

namespace ProgressReporting {

/// Keeps others from a file while it lives: other processes, and other threads of this one. The thread that has the
/// lock may take it again. Paths that lead to the same file exclude each other. See kcommon/filelock.h for where
/// the lock lies.
class ProgressRelayingLockFile {
 public:
  /// `meter` is the GetMeterID of the operator that is told how long the wait is, and whose run may be cancelled.
  ProgressRelayingLockFile(const std::wstring& file, long meter, unsigned timeoutInSeconds);
  ~ProgressRelayingLockFile();
  ProgressRelayingLockFile(const ProgressRelayingLockFile&) = delete;
  ProgressRelayingLockFile& operator=(const ProgressRelayingLockFile&) = delete;

  /// Waits for the lock. Raises KorvenLog::CPPException after the timeout, with the file and, where it is known, the
  /// process that holds it, and CancelledException once the run is cancelled.
  void Lock();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace ProgressReporting
