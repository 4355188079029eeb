#pragma once

#include <exception>

#include "txlib/operator.h"

namespace Tamrin::Tessera {

/// Remembers, for this thread, the operator in which an exception was first seen.
void NoteFailure(const Operator& op, const std::exception_ptr& exception);

/// Raises CancelledException where the operator's run was cancelled. Costs a load while nothing is cancelled.
void CheckRunCancelled(const Operator& op);

/// Tells the run's observer of an operator's work. Costs a load while nobody observes.
class RunWatch {
 public:
  explicit RunWatch(Operator& op);
  ~RunWatch();
  RunWatch(const RunWatch&) = delete;
  RunWatch& operator=(const RunWatch&) = delete;

 private:
  Operator* op_;
};

}  // namespace Tamrin::Tessera
