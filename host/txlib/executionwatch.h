#pragma once

#include <atomic>
#include <exception>

#include "txlib/model.h"
#include "txlib/operator.h"

namespace Tamrin::Tessera {

/// Remembers, for this thread, the operator in which an exception was first seen.
void NoteFailure(const Operator& op, const std::exception_ptr& exception);

/// Raises CancelledException where the operator's run was cancelled. Costs a load while nothing is cancelled.
void CheckRunCancelled(const Operator& op);

/// Tells the run's observers of an operator's work or answer. Costs a load while nobody observes.
class StepWatch {
 public:
  StepWatch(const StepWatch&) = delete;
  StepWatch& operator=(const StepWatch&) = delete;
  /// The operator whose step this thread is in, or null: known while the run is observed.
  static Operator* Current();

 protected:
  StepWatch(Operator& op, RunStep begin, RunStep end) : end_(end) {
    if (observers.load(std::memory_order_relaxed)) Begin(op, begin);
  }
  ~StepWatch() {
    if (op_) End();
  }

 private:
  friend class ExecutionEnvironment;
  void Begin(Operator& op, RunStep step);
  void End();

  static std::atomic<int> observers;  ///< in all environments
  Operator* op_ = nullptr;
  Operator* outer_ = nullptr;
  const RunStep end_;
};

class RunWatch : StepWatch {
 public:
  explicit RunWatch(Operator& op) : StepWatch(op, RunStep::BeginRun, RunStep::EndRun) {}
};
class PullWatch : StepWatch {
 public:
  explicit PullWatch(Operator& op) : StepWatch(op, RunStep::BeginPull, RunStep::EndPull) {}
};

}  // namespace Tamrin::Tessera
