#include <boost/filesystem.hpp>
#include <string>

#include "kcommon/filelock.h"
#include "kcommon/kfnp.h"
#include "kcommon/kimg.h"
#include "kcommon/kpmg.h"
#include "support/child.h"
#include "tx_general/rows.h"
#include "txbasiclib/progressrelayinglockfile.h"

namespace {

using namespace testing_support;
namespace fs = boost::filesystem;

class CreateLockFileTest : public ::testing::Test {
 protected:
  CreateLockFileTest() : file_(folder_.Write("here/d\xC3\xA4ta.img", "x")) {
    fs::create_symlink("here", folder_.Path() + "/link");
    fs::create_symlink("here/d\xC3\xA4ta.img", folder_.Path() + "/name");
  }
  /// Another process that has the lock by the operator until it is told to end.
  static Child::Body Holder(const std::wstring& file) {
    return [file](const auto& ready) {
      ModelHost host;
      host.Add(L"CreateLockFile", L"op");
      if (!host.Set(L"op.FilenameIn", File(file)).Run()) return 1;
      ready();
      ::pause();
      return 0;
    };
  }
  bool Lock(const std::wstring& file) {
    host_ = std::make_unique<ModelHost>();
    host_->Add(L"CreateLockFile", L"op");
    return host_->Set(L"op.FilenameIn", File(file)).Run();
  }
  bool IsLocked() const { return fs::exists(folder_.Path() + "/here/d\xC3\xA4ta.img.lock"); }

  TemporaryFolder folder_;
  const std::wstring file_;
  std::unique_ptr<ModelHost> host_;
};

TEST_F(CreateLockFileTest, HoldsTheLockUntilItIsInvalidated) {
  ASSERT_TRUE(Lock(file_));
  EXPECT_EQ(host_->Existing(L"op.FilenameOut")->GetDataTypeName().Name, L"File");
  EXPECT_EQ(host_->Get<std::wstring>(L"op.FilenameOut"), file_);
  EXPECT_TRUE(IsLocked());
  host_->Op(L"op")->Invalidate();
  EXPECT_FALSE(IsLocked());
  ASSERT_TRUE(host_->Run()) << "it can be taken again";
  EXPECT_TRUE(IsLocked());
  ASSERT_TRUE(host_->Set(L"op.FilenameIn", File(file_)).Run());
  EXPECT_TRUE(IsLocked());
  host_.reset();
  EXPECT_FALSE(IsLocked());
}

TEST_F(CreateLockFileTest, OtherProcessesAreKeptOutThroughLinksToo) {
  for (const std::wstring& name : {file_, folder_.WidePath() + L"/link/d\u00e4ta.img", folder_.WidePath() + L"/name"}) {
    Child holder(Holder(name));
    ASSERT_TRUE(holder.AwaitReady());
    EXPECT_FALSE(Lock(file_));
    EXPECT_EQ(host_->Error(), file_ + L" is being modified by another process.");
    EXPECT_EQ(host_->Existing(L"op.FilenameOut"), nullptr);
    holder.Kill();
    EXPECT_TRUE(IsLocked()) << "what a killed process left";
    EXPECT_TRUE(Lock(name)) << "is no hindrance";
    host_.reset();
  }
}

TEST_F(CreateLockFileTest, AFailedLockLeavesNoEarlierOne) {
  const std::wstring other = folder_.Write("other", "x");
  Child holder(Holder(other));
  ASSERT_TRUE(holder.AwaitReady());
  ASSERT_TRUE(Lock(file_));
  const auto op = host_->Op(L"op");
  op->GetPort(L"FilenameIn")->SetData(File(other));
  EXPECT_FALSE(host_->Run());
  EXPECT_FALSE(IsLocked());
}

TEST_F(CreateLockFileTest, AMissingFileIsToldBeforeAnyLock) {
  const std::wstring missing = folder_.WidePath() + L"/missing";
  EXPECT_FALSE(Lock(missing));
  EXPECT_EQ(host_->Error(), missing + L" does not exist.");
  EXPECT_FALSE(fs::exists(kfnp_ToNative(missing) + ".lock"));
  fs::create_symlink("nowhere", folder_.Path() + "/dangling");
  EXPECT_FALSE(Lock(folder_.WidePath() + L"/dangling"));
}

TEST_F(CreateLockFileTest, LockWhileExecutingIsKeptOutAndKeepsOut) {
  Child holder(Holder(folder_.WidePath() + L"/link/d\u00e4ta.img"));
  ASSERT_TRUE(holder.AwaitReady());
  {
    ModelHost host;
    host.Add(L"LockWhileExecuting", L"lock");
    host.Set(L"lock.DatasetReference", File(file_)).Set(L"lock.Timeout", 0u);
    EXPECT_THROW(host.GetModel()->Execute(), std::runtime_error);
  }
  holder.Kill();
  Child guard([this](const auto& ready) {
    ProgressReporting::ProgressRelayingLockFile lock(file_, 0, 0);
    lock.Lock();
    ready();
    ::pause();
    return 0;
  });
  ASSERT_TRUE(guard.AwaitReady());
  EXPECT_FALSE(Lock(file_));
  EXPECT_EQ(host_->Error(), file_ + L" is being modified by another process.");
}

TEST_F(CreateLockFileTest, InAReadOnlyFolderTheProxyIsLocked) {
  fs::permissions(folder_.Path(), fs::perms(0777));
  fs::create_directory(folder_.Path() + "/proxies");
  fs::permissions(folder_.Path() + "/proxies", fs::perms(0777));
  fs::permissions(folder_.Path() + "/here", fs::perms(0555));
  std::wstring proxy;
  kimg_FileProxyNameGenerate(file_, proxy);
  const std::string name = kfnp_ToNative(proxy) + ".lock";
  for (const bool isNamed : {true, false}) {
    const std::string place = (isNamed ? folder_.Path() + "/proxies" : fs::temp_directory_path().native()) + "/" + name;
    Child child([&](const auto&) {
      BecomeNobody();
      kpmg::Value value;
      value.type = KpmgString;
      if (isNamed) value.text = folder_.WidePath() + L"/proxies";
      kpmg::Set(L"filepref", L"default_proxy_path", value);
      if (!Lock(file_)) return 1;
      if (!fs::exists(place) || IsLocked()) return 2;
      if (host_->Get<std::wstring>(L"op.FilenameOut") != file_) return 3;
      host_.reset();
      return fs::exists(place) ? 4 : 0;
    });
    EXPECT_EQ(child.Wait(), 0) << isNamed;
  }
  fs::permissions(folder_.Path() + "/here", fs::perms(0777));
}

TEST_F(CreateLockFileTest, ConcurrentProcessesNeverHaveItTogether) {
  std::vector<std::unique_ptr<Child>> children;
  for (int i = 0; i < 4; ++i) {
    children.push_back(std::make_unique<Child>([this](const auto&) {
      int count = 0;
      for (int tries = 0; tries < 100'000 && count < 20; ++tries) {
        ModelHost host;
        host.Add(L"CreateLockFile", L"op");
        if (!host.Set(L"op.FilenameIn", File(file_)).Run()) {
          ::usleep(100);
          continue;
        }
        const std::string mark = folder_.Path() + "/mark";
        if (!fs::create_directory(mark)) return 1;
        fs::remove(mark);
        ++count;
      }
      return count == 20 ? 0 : 2;
    }));
  }
  for (const auto& child : children) EXPECT_EQ(child->Wait(), 0);
}

}  // namespace
