#include <algorithm>
#include <boost/container/small_vector.hpp>

#include "enginestate.h"
#include "executionwatch.h"

namespace Tamrin::Tessera {

namespace {

std::uintptr_t ThisThread() {
  TESSERA_FAST_TLS static thread_local const char token = 0;
  return reinterpret_cast<std::uintptr_t>(&token);
}

/// Threads that wait for an operator of another's, in all models: mostly none, and then nobody has to be woken.
std::atomic<int> waitingThreads{0};

}  // namespace

bool OperatorState::IsRunningHere() const { return runner.load(std::memory_order_relaxed) == ThisThread(); }

bool OperatorState::Acquire() {
  for (;;) {
    std::uintptr_t holder = 0;
    if (runner.compare_exchange_strong(holder, ThisThread(), std::memory_order_acquire)) return true;
    if (holder == ThisThread()) return false;
    ++waitingThreads;
    runner.wait(holder);
    --waitingThreads;
  }
}

void OperatorState::Release() {
  runner.store(0);
  if (waitingThreads.load()) runner.notify_all();
}

/// The operators being run, each above the one that needs it. The walk keeps its own stack, so that a chain of
/// any length runs. An operator's first turn asks for its parents, its second does its work.
class OperatorState::Driver {
 public:
  explicit Driver(Operator& top) { Begin(top); }
  ~Driver() {
    while (!frames_.empty()) Drop();
  }
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;

  void Run() {
    try {
      while (!frames_.empty()) Step();
    } catch (...) {
      NoteFailure(*frames_.back().state->self, std::current_exception());
      throw;
    }
  }

 private:
  struct Frame {
    OperatorState* state;
    bool held;  ///< its parents were asked for, and this walk has the operator
  };

  void Begin(Operator& op) {
    OperatorState& state = Of(op);
    if (!state.executed.load(std::memory_order_acquire) && !state.deactivated) frames_.push_back({&state, false});
  }

  void Step() {
    OperatorState& state = *frames_.back().state;
    if (frames_.back().held) {
      state.inParents = false;
      CheckRunCancelled(*state.self);
      Work(state);
      Drop();
      return;
    }
    if (!state.executed.load(std::memory_order_acquire)) {
      if (state.Acquire()) {
        frames_.back().held = true;
        if (!state.executed.load(std::memory_order_relaxed)) {
          state.inParents = true;
          AskForParents(state);
          return;
        }
      } else if (state.inParents) {
        RaiseCycle(*state.self);
      }
      // Otherwise it is at work further out on this thread: what it has is what there is.
    }
    Drop();
  }

  /// The host's ExecuteParents hands its parents to the collector; one that decides alone runs them itself.
  void AskForParents(OperatorState& state) {
    std::vector<Operator*>* const outer = collector_;
    parents_.clear();
    collector_ = &parents_;
    try {
      state.self->ExecuteParents();
    } catch (...) {
      collector_ = outer;
      throw;
    }
    collector_ = outer;
    for (auto parent = parents_.rbegin(); parent != parents_.rend(); ++parent) Begin(**parent);
  }

  static void Work(OperatorState& state) {
    // Parents that are run from inside of the work run to their end, whoever is collecting further out.
    std::vector<Operator*>* const outer = collector_;
    collector_ = nullptr;
    const RunWatch watch(*state.self);
    try {
      state.self->OnExecute();
    } catch (...) {
      collector_ = outer;
      state.ClearOutputs();
      throw;
    }
    collector_ = outer;
    state.executed.store(true, std::memory_order_release);
  }

  void Drop() {
    const Frame frame = frames_.back();
    frames_.pop_back();
    if (!frame.held) return;
    frame.state->inParents = false;
    frame.state->Release();
  }

  [[noreturn]] void RaiseCycle(Operator& op) {
    std::wstring names = Model::GetVisible(op).GetDisplayName();
    for (auto frame = frames_.end() - 1; frame != frames_.begin();) {
      --frame;
      if (frame->held) names += L" <- " + Model::GetVisible(*frame->state->self).GetDisplayName();
      if (frame->state->self == &op) break;
    }
    op.SetErrorMessage(L"The operator needs its own result: " + names + L".");
  }

  boost::container::small_vector<Frame, 16> frames_;
  std::vector<Operator*> parents_;  ///< kept for its memory
};

void OperatorState::Run(Operator& top) { Driver(top).Run(); }

void Operator::Execute() {
  if (IsExecuted() || state_->deactivated) return;
  // Called while another operator is asked for its parents: those that it names itself run at once.
  std::vector<Operator*>* const outer = OperatorState::collector_;
  OperatorState::collector_ = nullptr;
  try {
    OperatorState::Run(*this);
  } catch (...) {
    OperatorState::collector_ = outer;
    throw;
  }
  OperatorState::collector_ = outer;
}

void Operator::ExecuteParents() {
  const auto run = [](Operator& parent) {
    if (OperatorState::collector_)
      OperatorState::collector_->push_back(&parent);
    else
      parent.Execute();
  };
  if (state_->orderParents) {
    for (const auto& parent : *state_->orderParents) {
      if (const auto live = parent.lock()) run(*live);
    }
  }
  for (const auto& port : state_->ports) {
    PortState& input = PortState::Of(*port);
    const PortState* const feeder = input.type == PortType::Output ? nullptr : input.Feeder();
    if (feeder && feeder->owner && !feeder->owner->IsExecuted()) run(*feeder->owner);
  }
}

bool Operator::IsExecuted() const { return state_->executed.load(std::memory_order_acquire); }

void Operator::SetExecuted(bool executed) {
  if (!executed) state_->ClearOutputs();
  state_->executed.store(executed, std::memory_order_release);
}

void Operator::DeactivateOperator() { state_->deactivated = true; }

bool Operator::Apply(const boost::shared_ptr<DataRequest>& request) {
  Execute();
  for (const auto& port : GetOutputPorts()) {
    PortState::Of(*port).AnswerTo(*request, request->SelectFrom(port->GetExistingData()));
  }
  return true;
}

void Operator::Apply(const boost::shared_ptr<Port>& port, const boost::shared_ptr<DataRequest>& request) {
  if (!state_->IsRunningHere()) Execute();
  port->SetData(request->SelectFrom(port->GetExistingData()), request);
}

// Invalidation.

void Operator::Invalidate() { OperatorState::InvalidateFrom({this}); }

namespace {

/// The operators that read a port's data: along connections, through aliases inwards and outwards.
void CollectReaders(const PortState& port, std::vector<Operator*>& readers) {
  for (const PortState* inner : port.Inner()) {
    if (inner->type == PortType::Output || !inner->owner) continue;
    readers.push_back(inner->owner);
    CollectReaders(*inner, readers);
  }
  for (const auto& connection : port.outgoing) {
    if (!connection.destination || !connection.destination->owner) continue;
    readers.push_back(connection.destination->owner);
    CollectReaders(*connection.destination, readers);
  }
  if (port.type == PortType::Output && port.parentPort) CollectReaders(*port.parentPort, readers);
}

}  // namespace

void OperatorState::InvalidateFrom(PortState& changedInput) {
  std::vector<Operator*> changed{changedInput.owner};
  CollectReaders(changedInput, changed);
  InvalidateFrom(std::move(changed));
}

void OperatorState::InvalidateFrom(std::vector<Operator*> changed) {
  std::size_t direct = changed.size();
  for (std::size_t next = 0; next < changed.size(); ++next) {
    OperatorState& state = Of(*changed[next]);
    const bool wasExecuted = state.executed.exchange(false, std::memory_order_acq_rel);
    if (wasExecuted) state.ClearOutputs();
    if (wasExecuted || next < direct) {
      auto* const watching = state.watchers.load();
      if (watching && state.initialized) watching->invalidate.Call(watching->mutex, state.self->SharedThis());
    }
    if (!wasExecuted) continue;  // nothing downstream has seen its data
    for (const auto& port : state.ports) {
      const PortState& output = PortState::Of(*port);
      if (output.type == PortType::Output) CollectReaders(output, changed);
    }
    if (state.process && Of(*state.process).executed) changed.push_back(state.process);
  }
}

}  // namespace Tamrin::Tessera
