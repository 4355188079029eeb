#include "txbasiclib/progressrelayinglockfile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "kcommon/filelock.h"
#include "kcommon/kstr.h"
#include "kcommon/scratchfolder.h"
#include "support/child.h"
#include "support/testoperators.h"

using namespace testsupport;
using ProgressReporting::ProgressRelayingLockFile;
using testing_support::Child;

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr long kNobody = 0;

Child::Body Holder(const std::wstring& file) {
  return [file](const auto& ready) {
    ProgressRelayingLockFile lock(file, kNobody, 0);
    lock.Lock();
    ready();
    ::pause();
    return 0;
  };
}

double SecondsOf(const std::function<void()>& call) {
  const auto begin = Clock::now();
  call();
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

TEST(ProgressRelayingLockFile, TimeoutZeroAsksOnce) {
  const ScratchFolder folder;
  const std::wstring file = folder.Make("Szene ü.img");
  Child holder(Holder(file));
  ASSERT_TRUE(holder.AwaitReady());
  ProgressRelayingLockFile lock(file, kNobody, 0);
  std::wstring text;
  EXPECT_LT(SecondsOf([&] { text = RaisedBy([&] { lock.Lock(); }); }), 0.5);
  const std::wstring process = std::to_wstring(holder.Process());
  EXPECT_EQ(text.find(L"The file \"" + file + L"\" is locked by process " + process + L" ("), 0U);
  EXPECT_EQ(text.find(L"released"), std::wstring::npos);
  holder.Kill();
  lock.Lock();
  EXPECT_TRUE(fs::exists(folder / "Szene ü.img.lock"));
}

TEST(ProgressRelayingLockFile, WaitsWithProgressAndFailsAfterTheTimeout) {
  const ScratchFolder folder;
  const std::wstring file = folder.Make("data");
  Child holder(Holder(file));
  ASSERT_TRUE(holder.AwaitReady());
  const auto op = MakeOperator<AddOne>();
  std::vector<double> seen;
  const auto handle = op->AddOnProgressCallback([&](const auto&, double percent) { seen.push_back(percent); });
  ProgressRelayingLockFile lock(file, op->GetMeterID(), 1);
  std::wstring text;
  const double seconds = SecondsOf([&] { text = RaisedBy([&] { lock.Lock(); }); });
  EXPECT_GE(seconds, 1.0);
  EXPECT_LT(seconds, 2.0);
  EXPECT_TRUE(text.ends_with(L" and was not released within 1 s.")) << kstr_ToUtf8(text);
  ASSERT_GE(seen.size(), 3U);
  EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
  EXPECT_LE(seen.back(), 100.0);
  EXPECT_GT(seen.back(), 80.0);
}

TEST(ProgressRelayingLockFile, GoesOnOnceTheHolderIsGone) {
  const ScratchFolder folder;
  const std::wstring file = folder.Make("data");
  Child holder(Holder(file));
  ASSERT_TRUE(holder.AwaitReady());
  std::thread later([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    holder.Kill();
  });
  ProgressRelayingLockFile lock(file, kNobody, 30);
  EXPECT_LT(SecondsOf([&] { lock.Lock(); }), 5.0);
  later.join();
}

TEST(ProgressRelayingLockFile, CancellingTheRunEndsTheWait) {
  const ScratchFolder folder;
  const std::wstring file = folder.Make("data");
  Child holder(Holder(file));
  ASSERT_TRUE(holder.AwaitReady());
  const auto model = MakeOperator<tx::Model>();
  const auto op = AddTo<AddOne>(*model);
  std::thread later([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    model->GetEnvironment()->Cancel();
  });
  ProgressRelayingLockFile lock(file, op->GetMeterID(), 60);
  EXPECT_LT(SecondsOf([&] { EXPECT_THROW(lock.Lock(), tx::CancelledException); }), 1.0);
  later.join();
}

TEST(ProgressRelayingLockFile, OtherPathsToTheFileAreExcluded) {
  const ScratchFolder folder;
  const std::wstring file = folder.Make("here/data");
  fs::create_directory_symlink("here", folder / "link");
  Child holder(Holder(folder.Wide("link/data")));
  ASSERT_TRUE(holder.AwaitReady());
  const fs::path before = fs::current_path();
  fs::current_path(folder / "here");
  EXPECT_NE(RaisedBy([] { ProgressRelayingLockFile(L"data", kNobody, 0).Lock(); }), L"nothing raised");
  fs::current_path(before);
  EXPECT_NE(RaisedBy([&] { ProgressRelayingLockFile(file, kNobody, 0).Lock(); }), L"nothing raised");
}

TEST(ProgressRelayingLockFile, IsGivenBackWithTheObject) {
  const ScratchFolder folder;
  const std::wstring file = folder.Make("data");
  {
    ProgressRelayingLockFile lock(file, kNobody, 0);
    lock.Lock();
    lock.Lock();
    EXPECT_EQ(folder.EntryCount(), 2U);
  }
  EXPECT_EQ(folder.EntryCount(), 1U);
  EXPECT_EQ(RaisedBy([] { ProgressRelayingLockFile(L"", kNobody, 0).Lock(); }), L"The file name is empty.");
}

TEST(ProgressRelayingLockFile, AThreadMayTakeWhatItHas) {
  const ScratchFolder folder;
  const std::wstring file = folder.Make("data");
  ProgressRelayingLockFile outer(file, kNobody, 0), inner(file, kNobody, 0);
  outer.Lock();
  inner.Lock();
  std::thread([&] {
    const std::wstring text = RaisedBy([&] { ProgressRelayingLockFile(file, kNobody, 0).Lock(); });
    EXPECT_EQ(text, L"The file \"" + file + L"\" is locked by this process.");
  }).join();
}

TEST(ProgressRelayingLockFile, ConcurrentThreadsExcludeEachOther) {
  const ScratchFolder folder;
  const std::wstring file = folder.Make("data");
  int inside = 0;  // not atomic: the lock is what orders the threads
  std::atomic<int> most{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round) {
        ProgressRelayingLockFile lock(file, kNobody, 60);
        lock.Lock();
        most = std::max(most.load(), ++inside);
        --inside;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(most, 1);
  EXPECT_EQ(inside, 0);
}

TEST(ProgressRelayingLockFile, SharesTheLockThatItsProcessHoldsOtherwise) {
  const ScratchFolder folder;
  const std::wstring file = folder.Make("data");
  auto held = korven::common::FileLock::TryGetExclusiveLock(file);
  {
    ProgressRelayingLockFile lock(file, kNobody, 0);
    lock.Lock();
  }
  EXPECT_EQ(folder.EntryCount(), 2U) << "the other owner still has it";
  held.reset();
  EXPECT_EQ(folder.EntryCount(), 1U);
}

TEST(Meters, NumbersLeadBackToLivingOperators) {
  auto first = MakeOperator<AddOne>();
  const auto second = MakeOperator<AddOne>();
  const long number = first->GetMeterID();
  EXPECT_EQ(first->GetMeterID(), number);
  EXPECT_NE(second->GetMeterID(), number);
  EXPECT_EQ(tx::Operator::FindByMeterID(number), first);
  EXPECT_EQ(tx::Operator::FindByMeterID(second->GetMeterID()), second);
  first.reset();
  EXPECT_EQ(tx::Operator::FindByMeterID(number), nullptr);
  EXPECT_EQ(tx::Operator::FindByMeterID(0), nullptr);
}

}  // namespace
