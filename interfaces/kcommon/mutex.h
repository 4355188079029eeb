#pragma once

#include <boost/shared_ptr.hpp>

namespace korven::threadlib_ns {

/// Guards the data of an object that parallel pulls share. A thread that holds the lock may take it again; a handle
/// may be dropped by another thread than took it, and may outlive the mutex.
class Mutex {
 public:
  Mutex();
  ~Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  /// Waits for the lock and holds it as long as the handle or a copy of it lives.
  boost::shared_ptr<void> GetLock();

 private:
  struct State;
  boost::shared_ptr<State> state_;
};

}  // namespace korven::threadlib_ns
