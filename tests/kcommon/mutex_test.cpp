#include "kcommon/mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace {

using korven::threadlib_ns::Mutex;

TEST(Mutex, OneThreadAtATime) {
  Mutex mutex;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < 5000; ++turn) {
        const auto lock = mutex.GetLock();
        const auto again = mutex.GetLock();
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 20000);
}

TEST(Mutex, HeldAsLongAsACopyOfTheHandleLives) {
  Mutex mutex;
  auto handle = mutex.GetLock();
  auto copy = handle;
  handle.reset();
  std::atomic<bool> got = false;
  std::thread waiting([&] {
    const auto lock = mutex.GetLock();
    got = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  EXPECT_FALSE(got);
  copy.reset();
  waiting.join();
  EXPECT_TRUE(got);
}

TEST(Mutex, AHandleMayDieElsewhereAndLater) {
  auto mutex = std::make_unique<Mutex>();
  auto handle = mutex->GetLock();
  std::thread([&handle] { handle.reset(); }).join();
  handle = mutex->GetLock();
  mutex.reset();
  handle.reset();
}

}  // namespace
