#include <atomic>
#include <mutex>
#include <thread>

#include "enginestate.h"
#include "executionwatch.h"
#include "kcommon/kfio.h"
#include "txlib/model.h"

namespace Tamrin::Tessera {

namespace {

/// Both are rarely other than zero, and save the way to the environment for every operator that runs.
std::atomic<int> cancelledEnvironments{0};
std::atomic<int> observedEnvironments{0};

struct Failure {
  std::exception_ptr exception;
  std::wstring name;
};
thread_local Failure lastFailure;

}  // namespace

struct ExecutionEnvironment::State {
  boost::shared_ptr<ExecutionEnvironment> parent;
  mutable std::mutex mutex;
  std::optional<unsigned> threads;
  RunObserver observer;
  std::atomic<bool> cancelled{false};
};

ExecutionEnvironment::ExecutionEnvironment() : state_(std::make_unique<State>()) {}

ExecutionEnvironment::~ExecutionEnvironment() {
  if (state_->cancelled) --cancelledEnvironments;
  if (state_->observer) --observedEnvironments;
}

boost::shared_ptr<ExecutionEnvironment> ExecutionEnvironment::Create(
    const boost::shared_ptr<ExecutionEnvironment>& parent) {
  const boost::shared_ptr<ExecutionEnvironment> environment(new ExecutionEnvironment());
  environment->state_->parent = parent;
  return environment;
}

void ExecutionEnvironment::SetNumThreads(unsigned count) {
  const std::lock_guard lock(state_->mutex);
  state_->threads = count;
}
unsigned ExecutionEnvironment::GetNumThreads() const {
  {
    const std::lock_guard lock(state_->mutex);
    if (state_->threads) return *state_->threads;
  }
  return state_->parent ? state_->parent->GetNumThreads() : std::max(1U, std::thread::hardware_concurrency());
}

void ExecutionEnvironment::Cancel() {
  if (!state_->cancelled.exchange(true)) ++cancelledEnvironments;
}
bool ExecutionEnvironment::IsCancelled() const {
  return state_->cancelled || (state_->parent && state_->parent->IsCancelled());
}
void ExecutionEnvironment::CheckCancelled() const {
  if (cancelledEnvironments.load(std::memory_order_relaxed) && IsCancelled()) throw CancelledException();
}

void ExecutionEnvironment::SetRunObserver(const RunObserver& observer) {
  const std::lock_guard lock(state_->mutex);
  observedEnvironments += static_cast<int>(!observer.empty()) - static_cast<int>(!state_->observer.empty());
  state_->observer = observer;
}
void ExecutionEnvironment::Observe(const boost::shared_ptr<Operator>& op, bool finished) const {
  RunObserver observer;
  {
    const std::lock_guard lock(state_->mutex);
    observer = state_->observer;
  }
  if (observer)
    observer(op, finished);
  else if (state_->parent)
    state_->parent->Observe(op, finished);
}

void ExecutionEnvironment::RemoveTemporaryFolders() { TemporaryFolder::RemoveAll(); }

std::wstring ExecutionEnvironment::GetFailedOperator(const std::exception_ptr& exception) {
  return exception && lastFailure.exception == exception ? lastFailure.name : std::wstring();
}

void ExecutionEnvironment::SetFailedOperator(const std::exception_ptr& exception, const std::wstring& displayName) {
  lastFailure = {exception, displayName};
}

void NoteFailure(const Operator& op, const std::exception_ptr& exception) {
  if (lastFailure.exception != exception) lastFailure = {exception, op.GetDisplayName()};
}

void CheckRunCancelled(const Operator& op) {
  if (cancelledEnvironments.load(std::memory_order_relaxed)) op.GetEnvironment()->CheckCancelled();
}

RunWatch::RunWatch(Operator& op) : op_(observedEnvironments.load(std::memory_order_relaxed) ? &op : nullptr) {
  if (op_) OperatorState::Observe(*op_, false);
}
RunWatch::~RunWatch() {
  if (op_) OperatorState::Observe(*op_, true);
}

void OperatorState::Observe(Operator& op, bool finished) { op.GetEnvironment()->Observe(op.SharedThis(), finished); }

}  // namespace Tamrin::Tessera
