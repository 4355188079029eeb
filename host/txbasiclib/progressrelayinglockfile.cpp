#include "txbasiclib/progressrelayinglockfile.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <mutex>
#include <thread>

#include "kcommon/filelock.h"
#include "kcommon/kerr.h"
#include "txlib/model.h"
#include "txlib/operator.h"

namespace ProgressReporting {

namespace {

using Clock = std::chrono::steady_clock;
namespace FileLock = korven::common::FileLock;

constexpr std::chrono::milliseconds kFirstPause(2);
constexpr std::chrono::milliseconds kLongestPause(50);

/// The threads of this process that have locks, which as a process they would share.
class Threads {
 public:
  static bool Enter(const std::wstring& name) {
    const std::lock_guard guard(Mutex());
    const auto [holder, isNew] = Holders().try_emplace(name, Holder{std::this_thread::get_id(), 0});
    if (holder->second.thread != std::this_thread::get_id()) return false;
    ++holder->second.depth;
    return true;
  }
  static void Leave(const std::wstring& name) {
    const std::lock_guard guard(Mutex());
    const auto holder = Holders().find(name);
    if (--holder->second.depth == 0) Holders().erase(holder);
  }

 private:
  struct Holder {
    std::thread::id thread;
    unsigned depth;
  };
  static std::mutex& Mutex() {
    static std::mutex& mutex = *new std::mutex;
    return mutex;
  }
  static std::map<std::wstring, Holder>& Holders() {
    static auto& holders = *new std::map<std::wstring, Holder>;
    return holders;
  }
};

}  // namespace

struct ProgressRelayingLockFile::State {
  std::wstring file;
  long meter;
  std::chrono::seconds timeout;
  std::wstring name;  ///< of the lock, once it is held
  boost::shared_ptr<FileLock::UniqueLock> lock;

  bool Try(const std::wstring& lockName) {
    if (!Threads::Enter(lockName)) return false;
    try {
      lock = FileLock::TryGetExclusiveLock(lockName);
    } catch (...) {
      Threads::Leave(lockName);
      throw;
    }
    if (lock)
      name = lockName;
    else
      Threads::Leave(lockName);
    return lock != nullptr;
  }

  std::wstring TimeoutText(const std::wstring& lockName) const {
    const std::wstring holder = FileLock::GetHolder(lockName);
    std::wstring text = L"The file \"" + file + L"\" is locked by " + (holder.empty() ? L"another process" : holder);
    if (timeout.count() > 0) text += L" and was not released within " + std::to_wstring(timeout.count()) + L" s";
    return text + L".";
  }
};

ProgressRelayingLockFile::ProgressRelayingLockFile(const std::wstring& file, long meter, unsigned timeoutInSeconds)
    : state_(new State{file, meter, std::chrono::seconds(timeoutInSeconds), {}, {}}) {}

ProgressRelayingLockFile::~ProgressRelayingLockFile() {
  if (!state_->lock) return;
  state_->lock.reset();
  Threads::Leave(state_->name);
}

void ProgressRelayingLockFile::Lock() {
  KerrException scope(L"txbasiclib\\progressrelayinglockfile", L"ProgressReporting::ProgressRelayingLockFile::Lock");
  State& state = *state_;
  if (state.lock) return;
  if (state.file.empty()) scope.Throw(__LINE__, L"The file name is empty.");
  const std::wstring lockName = FileLock::GetLockName(state.file);
  const auto op = Tamrin::Tessera::Operator::FindByMeterID(state.meter);
  const auto environment = op ? op->GetEnvironment() : nullptr;
  const auto begin = Clock::now();
  auto pause = kFirstPause;
  while (!state.Try(lockName)) {
    if (environment) environment->CheckCancelled();
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    if (waited >= state.timeout) scope.Throw(__LINE__, state.TimeoutText(lockName));
    if (op) op->SetProgress(100.0 * std::chrono::duration<double>(waited) / state.timeout);
    std::this_thread::sleep_for(std::min<std::chrono::milliseconds>(pause, state.timeout - waited));
    pause = std::min(pause * 2, kLongestPause);
  }
}

}  // namespace ProgressReporting
