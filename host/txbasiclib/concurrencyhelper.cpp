#include "txbasiclib/concurrencyhelper.h"

#include <tbb/global_control.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "txlib/model.h"

namespace Tamrin::TesseraBasic {

namespace {
/// Threads of the arena that this thread works in; 0 outside of one.
thread_local int arenaThreads = 0;

/// The arena that runs of this thread work in, kept from run to run: the threads of one that goes take a while to
/// leave it, and a thread that makes many would have more and more of them at once.
tbb::task_arena& ArenaOfThisThread(int threads) {
  thread_local std::optional<tbb::task_arena> arena;
  if (!arena || arena->max_concurrency() != threads) arena.emplace(threads);
  return *arena;
}
}  // namespace

struct ConcurrencyHelper::State {
  boost::shared_ptr<Tessera::Port> port;
  RequestCallback callback;
  boost::shared_ptr<Tessera::ExecutionEnvironment> environment;
  std::mutex mutex;  ///< around the callables and what follows
  bool finished = false;
  std::exception_ptr failure;
  std::wstring failedOperator;

  bool Ask(boost::shared_ptr<Tessera::DataRequest>& request, Completion& completion) {
    const std::lock_guard lock(mutex);
    if (finished) return false;
    try {
      if (environment) environment->CheckCancelled();
      request = boost::make_shared<Tessera::DataRequest>();
      request->Initialize();
      finished = !callback(request, completion);
    } catch (...) {
      Fail();
    }
    return !finished;
  }

  /// The first failure is the one that is told; the lock is held.
  void Fail() {
    finished = true;
    if (failure) return;
    failure = std::current_exception();
    failedOperator = Tessera::ExecutionEnvironment::GetFailedOperator(failure);
  }

  void Work() {
    for (;;) {
      boost::shared_ptr<Tessera::DataRequest> request;
      Completion completion;
      if (!Ask(request, completion)) return;
      try {
        const auto answer = port->GetData(request);
        const std::lock_guard lock(mutex);
        try {
          if (completion) completion(answer);
        } catch (...) {
          Fail();
        }
      } catch (...) {
        const std::lock_guard lock(mutex);
        Fail();
      }
    }
  }

  /// The caller works as well. While it waits for the others it takes no work but theirs: a pull of another run
  /// on this thread would meet operators that this thread is in the middle of.
  void WorkTogether(int threads) {
    tbb::this_task_arena::isolate([this, threads] {
      Synchronise();
      tbb::task_group others;
      for (int other = 1; other < threads; ++other) others.run(Share{this, threads});
      Work();
      others.wait();
      Synchronise();
    });
  }

  /// What one thread wrote before it is seen by those that come here after it. The library that hands the work
  /// over does the same in its own way, which race detectors can't see. The lock is older than any helper.
  static void Synchronise() {
    static std::mutex handOver;
    const std::lock_guard lock(handOver);
  }

  /// The part of another thread.
  struct Share {
    State* state;
    int threads;
    void operator()() const {
      const Share share = TakeShare(*this);
      Synchronise();
      const int before = std::exchange(arenaThreads, share.threads);
      share.state->Work();
      arenaThreads = before;
      // What failed here is the caller's by now; it must not live on until this thread fails again or ends.
      Tessera::ExecutionEnvironment::SetFailedOperator(nullptr, std::wstring());
      Synchronise();
    }
  };

  /// Reads memory that the task library hands over; a function by itself, to be named to race detectors.
  [[gnu::noinline]] static Share TakeShare(const Share& handedOver) { return handedOver; }
};

ConcurrencyHelper::ConcurrencyHelper() : state_(std::make_unique<State>()) {}
ConcurrencyHelper::~ConcurrencyHelper() = default;

void ConcurrencyHelper::SetDataPort(const boost::shared_ptr<Tessera::Port>& port) { state_->port = port; }
void ConcurrencyHelper::SetDataRequestCallback(const RequestCallback& callback) { state_->callback = callback; }

void ConcurrencyHelper::RunGlobalProcess(boost::logic::tribool ordered) {
  State& state = *state_;
  const auto op = state.port->TryGetOperator();
  state.environment = op ? op->GetEnvironment() : nullptr;
  state.finished = false;
  state.failure = nullptr;
  const int threads = state.environment ? static_cast<int>(state.environment->GetNumThreads()) : 1;
  if (ordered == true || threads < 2) {
    state.Work();
  } else if (arenaThreads > 0) {  // nested: the threads that are there already
    state.WorkTogether(arenaThreads);
  } else {
    // A run may ask for more threads than the machine has; each arena bounds its own.
    constexpr std::size_t kMostThreads = 1024;
    static const tbb::global_control allowed(tbb::global_control::max_allowed_parallelism, kMostThreads);
    arenaThreads = threads;
    ArenaOfThisThread(std::min(threads, static_cast<int>(kMostThreads))).execute([&] { state.WorkTogether(threads); });
    arenaThreads = 0;
  }
  if (!state.failure) return;
  // Without a name it is a failure of the caller, whose own name it is to get.
  if (!state.failedOperator.empty())
    Tessera::ExecutionEnvironment::SetFailedOperator(state.failure, state.failedOperator);
  std::rethrow_exception(std::exchange(state.failure, nullptr));
}

void ForParts(const Tessera::Operator& op, std::int64_t count, std::int64_t part,
              const boost::function<void(std::int64_t begin, std::int64_t end)>& work) {
  const auto environment = op.GetEnvironment();
  const std::int64_t allowed = std::min(environment->GetNumThreads(), std::thread::hardware_concurrency());
  const std::int64_t threads = std::min(allowed, count / std::max<std::int64_t>(part, 1));
  if (threads < 2 || arenaThreads > 0) {
    if (count > 0) work(0, count);
    return;
  }
  std::atomic<std::int64_t> next{0};
  std::mutex mutex;
  std::exception_ptr failure;
  const auto takeParts = [&] {
    try {
      for (std::int64_t begin; (begin = next.fetch_add(part)) < count;) work(begin, std::min(count, begin + part));
    } catch (...) {
      next = count;
      const std::lock_guard lock(mutex);
      if (!failure) failure = std::current_exception();
    }
  };
  std::vector<std::thread> others;
  try {
    others.reserve(static_cast<std::size_t>(threads));
    for (std::int64_t other = 1; other < threads; ++other) others.emplace_back(takeParts);
  } catch (const std::system_error&) {
    // Those that are there do it.
  }
  takeParts();
  for (std::thread& other : others) other.join();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace Tamrin::TesseraBasic
