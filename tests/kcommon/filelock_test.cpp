#include "kcommon/filelock.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "kcommon/kimg.h"
#include "kcommon/kpmg.h"
#include "kcommon/kstr.h"
#include "scratchfolder.h"
#include "support/child.h"

namespace {

namespace fs = std::filesystem;
namespace FileLock = korven::common::FileLock;
using testing_support::BecomeNobody;
using testing_support::Child;

constexpr int kGot = 0;
constexpr int kRefused = 1;

/// What another process gets that asks once.
int AskedByAnother(const std::wstring& name) {
  return Child([&](const auto&) { return FileLock::TryGetExclusiveLock(name) ? kGot : kRefused; }).Wait();
}

/// A process that takes the lock and stays.
Child::Body Holder(const std::wstring& name) {
  return [name](const auto& ready) {
    const auto lock = FileLock::TryGetExclusiveLock(name);
    if (!lock) return kRefused;
    ready();
    ::pause();
    return kGot;
  };
}

TEST(FileLock, ExcludesOtherProcessesUntilTheLastOwnerGoes) {
  const ScratchFolder folder;
  const std::wstring name = folder.Make("data.img");
  auto lock = FileLock::TryGetExclusiveLock(name);
  ASSERT_TRUE(lock);
  EXPECT_TRUE(fs::exists(folder / "data.img.lock"));
  EXPECT_EQ(AskedByAnother(name), kRefused);
  auto second = FileLock::TryGetExclusiveLock(name);
  ASSERT_TRUE(second) << "this process has it";
  lock.reset();
  EXPECT_EQ(AskedByAnother(name), kRefused);
  second.reset();
  EXPECT_FALSE(fs::exists(folder / "data.img.lock"));
  EXPECT_EQ(AskedByAnother(name), kGot);
  EXPECT_EQ(folder.EntryCount(), 1U);
}

TEST(FileLock, EndsWithAHolderThatIsKilled) {
  const ScratchFolder folder;
  const std::wstring name = folder.Make("data.img");
  Child holder(Holder(name));
  ASSERT_TRUE(holder.AwaitReady());
  EXPECT_FALSE(FileLock::TryGetExclusiveLock(name));
  const std::wstring who = FileLock::GetHolder(name);
  EXPECT_EQ(who.find(L"process " + std::to_wstring(holder.Process()) + L" ("), 0U);
  holder.Kill();
  ASSERT_TRUE(fs::exists(folder / "data.img.lock")) << "nobody took it away";
  EXPECT_EQ(FileLock::GetHolder(name), L"") << "what stands in it is of a process that is gone";
  const auto lock = FileLock::TryGetExclusiveLock(name);
  ASSERT_TRUE(lock);
  EXPECT_EQ(FileLock::GetHolder(name), L"this process");
}

TEST(FileLock, AChildDoesNotHaveWhatItsParentHas) {
  const ScratchFolder folder;
  const std::wstring name = folder.Make("data.img");
  auto lock = FileLock::TryGetExclusiveLock(name);
  Child child([&](const auto&) {
    if (FileLock::TryGetExclusiveLock(name)) return kGot;
    lock.reset();  // the child's copy of the handle
    return kRefused;
  });
  EXPECT_EQ(child.Wait(), kRefused);
  EXPECT_TRUE(fs::exists(folder / "data.img.lock"));
  EXPECT_EQ(AskedByAnother(name), kRefused);
}

TEST(FileLock, PathsThatLeadToOneFileHaveOneLock) {
  const ScratchFolder folder;
  folder.Make("here/data.img");
  fs::create_directory(folder / "there");
  fs::create_symlink(folder / "here/data.img", folder / "there/link.img");
  fs::create_directory_symlink("../here", folder / "there/way");
  fs::create_symlink("../here/later.img", folder / "there/dangling.img");
  const std::wstring direct = FileLock::GetLockName(folder.Wide("here/data.img"));
  EXPECT_EQ(direct, kfnp_FromNative(fs::canonical(folder / "here/data.img").native()));
  const fs::path before = fs::current_path();
  fs::current_path(folder / "there");
  for (const wchar_t* name : {L"../here/data.img", L"link.img", L"way/data.img", L"./way/../here//data.img"})
    EXPECT_EQ(FileLock::GetLockName(name), direct) << kstr_ToUtf8(name);
  EXPECT_EQ(FileLock::GetLockName(L"dangling.img"), FileLock::GetLockName(folder.Wide("here/later.img")));
  Child holder(Holder(L"link.img"));
  ASSERT_TRUE(holder.AwaitReady());
  EXPECT_FALSE(FileLock::TryGetExclusiveLock(L"way/data.img"));
  fs::current_path(before);
  EXPECT_FALSE(FileLock::TryGetExclusiveLock(folder.Wide("here/data.img")));
}

TEST(FileLock, NamesOfAnyLetters) {
  const ScratchFolder folder;
  for (const char* name :
       {"Übersicht дані 数据.img", "with blanks, and \"marks\"'.img", "bytes \xff\xfe.img", ".hidden"}) {
    SCOPED_TRACE(name);
    const std::wstring wide = folder.Make(name);
    const auto lock = FileLock::TryGetExclusiveLock(wide);
    ASSERT_TRUE(lock);
    EXPECT_TRUE(fs::exists(folder / (std::string(name) + ".lock")));
    EXPECT_EQ(AskedByAnother(wide), kRefused);
  }
}

TEST(FileLock, FoldersAndFilesYetToBeMadeCanBeLocked) {
  const ScratchFolder folder;
  fs::create_directory(folder / "set");
  for (const char* name : {"set/", "later.img"}) {
    SCOPED_TRACE(name);
    const std::wstring lockName = FileLock::GetLockName(folder.Wide(name));
    const auto lock = FileLock::TryGetExclusiveLock(lockName);
    ASSERT_TRUE(lock);
    EXPECT_EQ(AskedByAnother(lockName), kRefused);
  }
  EXPECT_TRUE(fs::is_empty(folder / "set"));
}

TEST(FileLock, WhatCantBeLockedIsTold) {
  const ScratchFolder folder;
  EXPECT_EQ(RaisedBy([] { FileLock::TryGetExclusiveLock(L""); }), L"The file name is empty.");
  const std::wstring missing = folder.Wide("nowhere/data.img");
  EXPECT_EQ(RaisedBy([&] { FileLock::TryGetExclusiveLock(FileLock::GetLockName(missing)); }),
            L"The file \"" + missing + L"\" can't be locked: its lock file \"" + missing +
                L".lock\" can't be used: No such file or directory.");
  // Neither a folder nor a link that somebody put there is written to.
  fs::create_directory(folder / "one.lock");
  EXPECT_NE(RaisedBy([&] { FileLock::TryGetExclusiveLock(folder.Wide("one")); }), L"nothing raised");
  folder.Make("precious", "text");
  fs::create_symlink("precious", folder / "two.lock");
  EXPECT_NE(RaisedBy([&] { FileLock::TryGetExclusiveLock(folder.Wide("two")); }), L"nothing raised");
  EXPECT_EQ(folder.Bytes("precious"), "text");
}

// The last file that can be opened is enough, and without one it is told at once: nobody waits for a lock that is free.
TEST(FileLock, TakesOneFileAndTellsWhereThereIsNone) {
  const ScratchFolder folder;
  const std::wstring name = folder.Make("data");
  const auto withFilesLeft = [&](int left) {
    return Child([&](const auto&) {
             std::vector<int> files;
             for (int file = ::dup(STDERR_FILENO); file >= 0; file = ::dup(STDERR_FILENO)) files.push_back(file);
             for (int i = 0; i < left; ++i) ::close(files[static_cast<std::size_t>(i)]);
             return FileLock::TryGetExclusiveLock(name) ? kGot : kRefused;
           })
        .Wait();
  };
  EXPECT_EQ(withFilesLeft(1), kGot);
  EXPECT_EQ(withFilesLeft(0), Child::kRaised);
}

/// A folder that nothing can be made in, and one for proxies.
class ReadOnlyFolder : public testing::Test {
 protected:
  ReadOnlyFolder() {
    ::chmod(folder_.Path().c_str(), 0755);
    data_ = folder_.Make("data/scene.img");
    ::chmod((folder_ / "data").c_str(), 0555);
    fs::create_directory(folder_ / "proxies");
    ::chmod((folder_ / "proxies").c_str(), 01777);
    kpmg::Value value;
    value.type = KpmgString;
    value.text = folder_.Wide("proxies");
    kpmg::Set(L"filepref", L"default_proxy_path", value);
  }
  ~ReadOnlyFolder() override {
    kpmg::ClearAll();
    ::chmod((folder_ / "data").c_str(), 0755);
  }
  Child::Body HolderOf(const std::wstring& file) const {
    return [file](const auto& ready) {
      BecomeNobody();
      const auto lock = FileLock::TryGetExclusiveLock(FileLock::GetLockName(file));
      if (!lock) return kRefused;
      ready();
      ::pause();
      return kGot;
    };
  }

  ScratchFolder folder_;
  std::wstring data_;
};

TEST_F(ReadOnlyFolder, TheLockLiesInTheProxyFolder) {
  Child holder(HolderOf(data_));
  ASSERT_TRUE(holder.AwaitReady());
  std::wstring proxy;
  kimg_FileProxyNameGenerate(data_, proxy);
  EXPECT_TRUE(fs::exists(folder_ / ("proxies/" + kfnp_ToNative(proxy) + ".lock")));
  EXPECT_FALSE(fs::exists(folder_ / "data/scene.img.lock"));
  EXPECT_EQ(Child(HolderOf(data_)).Wait(), kRefused);
  holder.Kill();
  Child next(HolderOf(data_));
  EXPECT_TRUE(next.AwaitReady());
}

TEST_F(ReadOnlyFolder, WithoutAPreferenceItIsTheTemporaryFolder) {
  kpmg::ClearAll();
  std::wstring proxy;
  kimg_FileProxyNameGenerate(data_, proxy);
  const std::wstring expected = kfnp_FromNative((fs::temp_directory_path() / kfnp_ToNative(proxy)).native());
  Child child([&](const auto&) {
    BecomeNobody();
    return FileLock::GetLockName(data_) == expected ? kGot : kRefused;
  });
  EXPECT_EQ(child.Wait(), kGot);
}

TEST_F(ReadOnlyFolder, ALockThatIsThereIsTheOneToWaitFor) {
  ::chmod((folder_ / "data").c_str(), 0755);
  folder_.Make("data/scene.img.lock");
  ::chmod((folder_ / "data/scene.img.lock").c_str(), 0444);
  ::chmod((folder_ / "data").c_str(), 0555);
  Child holder(HolderOf(data_));
  ASSERT_TRUE(holder.AwaitReady());
  EXPECT_TRUE(fs::is_empty(folder_ / "proxies"));
  EXPECT_EQ(AskedByAnother(data_), kRefused);
}

TEST(FileLock, ProxyNamesAreOfOneFileEach) {
  const ScratchFolder folder;
  folder.Make("a/scene.img");
  fs::create_directory_symlink("a", folder / "link");
  const auto proxyOf = [](const std::wstring& name) {
    std::wstring proxy;
    kimg_FileProxyNameGenerate(name, proxy);
    return proxy;
  };
  const std::wstring proxy = proxyOf(folder.Wide("a/scene.img"));
  EXPECT_EQ(proxyOf(folder.Wide("link/scene.img")), proxy);
  EXPECT_EQ(proxy.find(L"scene.img-"), 0U);
  std::set<std::wstring> names{proxy};
  const std::string longest(200, 'x');
  for (const std::string& name :
       {std::string("b/scene.img"), std::string("a_scene.img"), longest + "1", longest + "2"}) {
    const std::wstring other = proxyOf(folder.Wide(name));
    EXPECT_TRUE(names.insert(other).second) << name;
    EXPECT_LT(other.size(), 128U);
    EXPECT_EQ(other.find(L'/'), std::wstring::npos);
  }
}

TEST(FileLock, ReleaseAllGivesEverythingBack) {
  const ScratchFolder folder;
  const std::wstring one = folder.Make("one"), two = folder.Make("two");
  const auto first = FileLock::TryGetExclusiveLock(one), second = FileLock::TryGetExclusiveLock(two);
  FileLock::ReleaseAll();
  EXPECT_EQ(folder.EntryCount(), 2U);
  EXPECT_EQ(AskedByAnother(one), kGot);
}

// Lock files come and go under the feet of those that wait: no two may have the lock at once.
TEST(FileLock, ConcurrentProcessesNeverHaveItTogether) {
  const ScratchFolder folder;
  const std::wstring name = folder.Make("data");
  std::vector<std::unique_ptr<Child>> children;
  for (int number = 0; number < 4; ++number) {
    children.push_back(std::make_unique<Child>([&](const auto&) {
      for (int done = 0; done < 50;) {
        const auto lock = FileLock::TryGetExclusiveLock(name);
        if (!lock) {
          std::this_thread::yield();
          continue;
        }
        // Made by the one that has the lock alone.
        if (!fs::create_directory(folder / "inside")) return kRefused;
        fs::remove(folder / "inside");
        ++done;
      }
      return kGot;
    }));
  }
  for (const auto& child : children) EXPECT_EQ(child->Wait(), kGot);
}

TEST(FileLock, ThreadsShareTheLockOfTheirProcess) {
  const ScratchFolder folder;
  const std::wstring name = folder.Make("data");
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) failures += FileLock::TryGetExclusiveLock(name) ? 0 : 1;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(folder.EntryCount(), 1U);
}

}  // namespace
