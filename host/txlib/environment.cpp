#include <atomic>
#include <mutex>
#include <thread>

#include "enginestate.h"
#include "executionwatch.h"
#include "kcommon/kfio.h"
#include "txlib/model.h"

namespace Tamrin::Tessera {

namespace {

/// Rarely other than zero, and saves the way to the environment for every operator that runs.
std::atomic<int> cancelledEnvironments{0};
thread_local Operator* currentStep = nullptr;

struct Failure {
  std::exception_ptr exception;
  std::wstring name;
};
thread_local Failure lastFailure;

/// At its first use the C library notes that it is to be destroyed, and ends the process where it finds no memory for
/// that: better while a model is made than when a run has failed for lack of memory.
void MakeRoomForFailure() { [[maybe_unused]] Failure* volatile const place = &lastFailure; }

}  // namespace

struct ExecutionEnvironment::State {
  boost::shared_ptr<ExecutionEnvironment> parent;
  mutable std::mutex mutex;
  std::optional<unsigned> threads;
  RunObserver observer;
  std::vector<boost::weak_ptr<StepObserver>> stepObservers;
  std::atomic<bool> cancelled{false};
};

ExecutionEnvironment::ExecutionEnvironment() : state_(std::make_unique<State>()) {}

ExecutionEnvironment::~ExecutionEnvironment() {
  if (state_->cancelled) --cancelledEnvironments;
  if (state_->observer) --StepWatch::observers;
}

boost::shared_ptr<ExecutionEnvironment> ExecutionEnvironment::Create(
    const boost::shared_ptr<ExecutionEnvironment>& parent) {
  MakeRoomForFailure();
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
  StepWatch::observers += static_cast<int>(!observer.empty()) - static_cast<int>(!state_->observer.empty());
  state_->observer = observer;
}
CallbackHandle ExecutionEnvironment::AddStepObserver(const StepObserver& observer) {
  const boost::shared_ptr<StepObserver> entry(new StepObserver(observer), [](StepObserver* held) {
    --StepWatch::observers;
    delete held;
  });
  const std::lock_guard lock(state_->mutex);
  state_->stepObservers.emplace_back(entry);
  ++StepWatch::observers;
  return entry;
}
void ExecutionEnvironment::Observe(const boost::shared_ptr<Operator>& op, RunStep step) const {
  const bool isRun = step == RunStep::BeginRun || step == RunStep::EndRun;
  bool isTold = !isRun;
  for (const ExecutionEnvironment* each = this; each; each = each->state_->parent.get()) {
    RunObserver observer;
    std::vector<boost::shared_ptr<StepObserver>> live;
    {
      const std::lock_guard lock(each->state_->mutex);
      if (!isTold) observer = each->state_->observer;
      std::erase_if(each->state_->stepObservers, [](const auto& entry) { return entry.expired(); });
      for (const auto& entry : each->state_->stepObservers) live.push_back(entry.lock());
    }
    if (observer) {
      observer(op, step == RunStep::EndRun);
      isTold = true;
    }
    for (const auto& entry : live) {
      if (entry) (*entry)(op, step);
    }
  }
}

void ExecutionEnvironment::RemoveTemporaryFolders() { TemporaryFolder::RemoveAll(); }

std::wstring ExecutionEnvironment::GetFailedOperator(const std::exception_ptr& exception) {
  return exception && lastFailure.exception == exception ? lastFailure.name : std::wstring();
}

void ExecutionEnvironment::SetFailedOperator(const std::exception_ptr& exception, const std::wstring& displayName) {
  lastFailure = {exception, displayName};
}

void NoteFailure(const Operator& op, const std::exception_ptr& exception) {
  const Operator& visible = Model::GetVisible(op);
  // An exception that comes out of a hidden inside takes no name along with it, also not that of a copy's operator.
  if (lastFailure.exception != exception || !visible.AllowsReflection())
    lastFailure = {exception, visible.GetDisplayName()};
}

void CheckRunCancelled(const Operator& op) {
  if (cancelledEnvironments.load(std::memory_order_relaxed)) op.GetEnvironment()->CheckCancelled();
}

std::atomic<int> StepWatch::observers{0};

Operator* StepWatch::Current() { return currentStep; }

void StepWatch::Begin(Operator& op, RunStep step) {
  op_ = &op;
  outer_ = std::exchange(currentStep, &op);
  OperatorState::Observe(op, step);
}

void StepWatch::End() {
  currentStep = outer_;
  OperatorState::Observe(*op_, end_);
}

void OperatorState::Observe(Operator& op, RunStep step) { op.GetEnvironment()->Observe(op.SharedThis(), step); }

}  // namespace Tamrin::Tessera
