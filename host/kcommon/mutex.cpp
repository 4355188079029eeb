#include "kcommon/mutex.h"

#include <boost/make_shared.hpp>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace korven::threadlib_ns {

// A std::mutex has to be unlocked by the thread that locked it, which a shared handle can't promise.
struct Mutex::State {
  void Take() {
    std::unique_lock lock(guard);
    const auto thread = std::this_thread::get_id();
    freed.wait(lock, [&] { return holds == 0 || holder == thread; });
    holder = thread;
    ++holds;
  }
  void Drop() {
    const std::lock_guard lock(guard);
    if (--holds == 0) freed.notify_one();
  }

  std::mutex guard;
  std::condition_variable freed;
  std::thread::id holder;
  unsigned holds = 0;
};

Mutex::Mutex() : state_(boost::make_shared<State>()) {}

Mutex::~Mutex() = default;

boost::shared_ptr<void> Mutex::GetLock() {
  state_->Take();
  return boost::shared_ptr<void>(state_.get(), [state = state_](void*) { state->Drop(); });
}

}  // namespace korven::threadlib_ns
