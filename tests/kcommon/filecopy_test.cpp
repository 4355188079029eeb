#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <thread>

#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kflt.h"
#include "kcommon/kfnp.h"
#include "scratchfolder.h"
#include "support/child.h"

namespace {

namespace fs = std::filesystem;
using testing_support::BecomeNobody;
using testing_support::Child;

/// The error number that the call fails with; 0 where it does not.
template <typename Call>
int FailureOf(Call call) {
  try {
    call();
  } catch (const boost::filesystem::filesystem_error& error) {
    return error.code().value();
  }
  return 0;
}

struct stat StatusOf(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0);
  return status;
}

TEST(CopyFile, KeepsContentsPermissionsAndTimes) {
  const ScratchFolder folder;
  std::string bytes;
  for (int i = 0; i < 3'000'000; ++i) bytes += static_cast<char>(i * 7);
  const std::wstring from = folder.Make("from", bytes);
  ASSERT_EQ(::chmod((folder / "from").c_str(), 04751), 0);
  const timespec times[] = {{1'000'000'000, 123456789}, {1'234'567'890, 987654321}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (folder / "from").c_str(), times, 0), 0);
  kfio::CopyFile(from, folder.Wide("to"));
  EXPECT_EQ(folder.Bytes("to"), bytes);
  const auto status = StatusOf(folder / "to");
  EXPECT_EQ(status.st_mode & 07777, 0751U) << "without the bit that lends the owner's rights";
  EXPECT_EQ(status.st_mtim.tv_sec, 1'234'567'890);
  EXPECT_EQ(status.st_mtim.tv_nsec, 987654321);
  EXPECT_EQ(folder.EntryCount(), 2U);
}

TEST(CopyFile, EmptyMadeUpAndSparseFiles) {
  const ScratchFolder folder;
  kfio::CopyFile(folder.Make("empty"), folder.Wide("to"));
  EXPECT_EQ(folder.Bytes("to"), "");
  kfio::CopyFile(L"/proc/version", folder.Wide("version"));
  EXPECT_THAT(folder.Bytes("version"), testing::HasSubstr("Linux version"));
  folder.Make("sparse", "begin");
  constexpr off_t kSize = off_t{1} << 32;
  ASSERT_EQ(::truncate((folder / "sparse").c_str(), kSize), 0);
  kfio::CopyFile(folder.Wide("sparse"), folder.Wide("copy"));
  const auto status = StatusOf(folder / "copy");
  EXPECT_EQ(status.st_size, kSize);
  EXPECT_LT(status.st_blocks * 512, kSize / 100);
}

TEST(CopyFile, ReplacesAndFollowsALinkAtTheTarget) {
  const ScratchFolder folder;
  const std::wstring from = folder.Make("from", "new");
  folder.Make("below/real", "older and longer");
  fs::create_symlink("below/real", folder / "link");
  kfio::CopyFile(from, folder.Wide("link"));
  EXPECT_EQ(folder.Bytes("below/real"), "new");
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
  kfio::CopyFile(folder.Wide("link"), folder.Wide("copy"));
  EXPECT_FALSE(fs::is_symlink(folder / "copy"));
  fs::create_symlink("below/later", folder / "dangling");
  kfio::CopyFile(from, folder.Wide("dangling"));
  EXPECT_EQ(folder.Bytes("below/later"), "new");
}

TEST(CopyFile, OntoItselfLosesNothing) {
  const ScratchFolder folder;
  const std::wstring file = folder.Make("file", "all of it");
  fs::create_hard_link(folder / "file", folder / "same");
  fs::create_symlink("file", folder / "link");
  for (const char* name : {"file", "same", "link"}) {
    kfio::CopyFile(file, folder.Wide(name));
    EXPECT_EQ(folder.Bytes("file"), "all of it");
  }
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
}

TEST(CopyFile, WhatCantBeCopiedLeavesTheOldFileAndNoHalfOne) {
  const ScratchFolder folder;
  const std::wstring from = folder.Make("from", "new");
  folder.Make("folder/keep", "old");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  fs::create_symlink("loop", folder / "loop");
  const auto copy = [&](const char* source, const char* target) {
    return FailureOf([&] { kfio::CopyFile(folder.Wide(source), folder.Wide(target)); });
  };
  EXPECT_EQ(copy("missing", "to"), ENOENT);
  EXPECT_EQ(copy("folder", "to"), EISDIR);
  EXPECT_EQ(copy("pipe", "to"), EINVAL);
  EXPECT_EQ(copy("loop", "to"), ELOOP);
  EXPECT_EQ(copy("from", "folder"), EISDIR);
  EXPECT_EQ(copy("from", "pipe"), EEXIST);
  EXPECT_EQ(copy("from", "missing/to"), ENOENT);
  EXPECT_EQ(copy("from", "from/to"), ENOTDIR);
  EXPECT_EQ(FailureOf([&] { kfio::CopyFile(from, from + std::wstring(L"\0x", 2)); }), EINVAL);
  EXPECT_EQ(folder.EntryCount(), 4U);
  EXPECT_EQ(folder.Bytes("folder/keep"), "old");
}

TEST(CopyFile, PermissionsCountAndCancellingCleansUp) {
  const ScratchFolder folder;
  const std::wstring from = folder.Make("from", std::string(1 << 20, 'n'));
  folder.Make("protected", "old");
  fs::permissions(folder / "protected", fs::perms(0444));
  fs::permissions(folder.Path(), fs::perms(0777));
  Child child([&](const auto&) {
    BecomeNobody();
    return FailureOf([&] { kfio::CopyFile(from, folder.Wide("protected")); }) == EACCES ? 0 : 1;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(folder.Bytes("protected"), "old");
  struct Stopped {};
  kfio::SetCancelCheck([] { throw Stopped(); });
  EXPECT_THROW(kfio::CopyFile(from, folder.Wide("to")), Stopped);
  kfio::SetCancelCheck(nullptr);
  EXPECT_EQ(folder.EntryCount(), 2U);
}

TEST(CopyFile, ToAnotherFileSystem) {
  struct stat here {
  }, there{};
  const ScratchFolder folder;
  if (::stat("/dev/shm", &there) != 0 || ::stat(folder.Path().c_str(), &here) != 0 || here.st_dev == there.st_dev)
    GTEST_SKIP() << "there is no other file system";
  const std::string bytes(700'000, 's');
  const std::wstring from = folder.Make("from", bytes);
  const std::string to = "/dev/shm/tessera-copy-" + std::to_string(::getpid());
  kfio::CopyFile(from, kfnp_FromNative(to));
  std::ifstream stream(to, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), bytes);
  fs::remove(to);
}

TEST(RemoveAll, TakesFilesLinksAndFolders) {
  const ScratchFolder folder;
  folder.Make("file");
  folder.Make("tree/a/b/c");
  folder.Make("tree/bad \xFF name");
  folder.Make("tree/" + std::string(255, 'l'));
  folder.Make("outside/keep");
  fs::create_directory_symlink("../outside", folder / "tree/link");
  fs::create_directory_symlink("outside", folder / "link");
  fs::create_symlink("nowhere", folder / "dangling");
  fs::create_symlink("loop", folder / "tree/loop");
  ASSERT_EQ(::mkfifo((folder / "tree/pipe").c_str(), 0600), 0);
  for (const char* name : {"file", "tree//", "dangling", "link/", "missing", "outside/keep/below"})
    kfio::RemoveAll(folder.Wide(name));
  EXPECT_EQ(folder.EntryCount(), 1U);
  EXPECT_TRUE(fs::exists(folder / "outside/keep"));
  kfio::RemoveAll(L"");
}

TEST(RemoveAll, IsDeeperThanPathsAndWiderThanAReading) {
  const ScratchFolder folder;
  fs::create_directory(folder / "deep");
  int at = ::open((folder / "deep").c_str(), O_RDONLY | O_DIRECTORY);
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(::mkdirat(at, "level", 0777), 0);
    const int next = ::openat(at, "level", O_RDONLY | O_DIRECTORY);
    ::close(::openat(at, "file", O_WRONLY | O_CREAT, 0666));
    ::close(at);
    at = next;
  }
  ::close(at);
  for (int i = 0; i < 3000; ++i)
    ::close(::open((folder / ("deep/n" + std::to_string(i))).c_str(), O_CREAT | O_WRONLY, 0666));
  kfio::RemoveAll(folder.Wide("deep"));
  EXPECT_EQ(folder.EntryCount(), 0U);
}

TEST(RemoveAll, RefusesTheRootAndDots) {
  const ScratchFolder folder;
  folder.Make("keep/file");
  EXPECT_EQ(FailureOf([] { kfio::RemoveAll(L"/"); }), EBUSY);
  EXPECT_EQ(FailureOf([] { kfio::RemoveAll(L"/tmp/../../"); }), EBUSY);
  EXPECT_EQ(FailureOf([&] { kfio::RemoveAll(folder.Wide("keep/.")); }), EINVAL);
  EXPECT_EQ(FailureOf([&] { kfio::RemoveAll(folder.Wide("keep/..")); }), EINVAL);
  EXPECT_EQ(FailureOf([&] { kfio::RemoveAll(folder.Wide("keep") + std::wstring(L"\0x", 2)); }), EINVAL);
  EXPECT_TRUE(fs::exists(folder / "keep/file"));
}

TEST(RemoveAll, TellsWhatItMayNotTake) {
  const ScratchFolder folder;
  folder.Make("tree/locked/file");
  fs::permissions(folder.Path(), fs::perms(0777));
  fs::permissions(folder / "tree", fs::perms(0777));
  fs::permissions(folder / "tree/locked", fs::perms(0555));
  const std::string place = (folder / "tree/locked/file").string();
  Child child([&](const auto&) {
    BecomeNobody();
    try {
      kfio::RemoveAll(folder.Wide("tree"));
    } catch (const boost::filesystem::filesystem_error& error) {
      return error.code().value() == EACCES && error.path1().string() == place ? 0 : 1;
    }
    return 2;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_TRUE(fs::exists(place));
  fs::permissions(folder / "tree/locked", fs::perms(0777));
}

TEST(RemoveAll, AFolderThatBecomesALinkMeanwhileLeadsNowhere) {
  const ScratchFolder folder;
  for (int i = 0; i < 50; ++i) folder.Make("outside/keep" + std::to_string(i));
  std::atomic<bool> isDone = false;
  std::thread swapper([&] {
    while (!isDone) {
      std::error_code ignored;
      fs::rename(folder / "tree/sub", folder / "aside", ignored);
      fs::create_directory_symlink("../outside", folder / "tree/sub", ignored);
      fs::remove(folder / "tree/sub", ignored);
      fs::rename(folder / "aside", folder / "tree/sub", ignored);
    }
  });
  for (int i = 0; i < 200; ++i) {
    for (int file = 0; file < 5; ++file) {
      std::error_code ignored;
      fs::create_directories(folder / "tree/sub", ignored);
      std::ofstream((folder / ("tree/sub/f" + std::to_string(file))).string()) << "x";
    }
    FailureOf([&] { kfio::RemoveAll(folder.Wide("tree")); });
  }
  isDone = true;
  swapper.join();
  for (int i = 0; i < 50; ++i) EXPECT_TRUE(fs::exists(folder / ("outside/keep" + std::to_string(i))));
}

TEST(ForceFileDelete, TakesFilesAndLinksToThemAlone) {
  const ScratchFolder folder;
  folder.Make("file");
  folder.Make("real");
  folder.Make("folder/keep");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  fs::create_symlink("real", folder / "link");
  fs::create_symlink("nowhere", folder / "dangling");
  fs::create_symlink("pipe", folder / "to pipe");
  fs::create_directory_symlink("folder", folder / "to folder");
  for (const char* name :
       {"file", "link", "dangling", "folder", "pipe", "to pipe", "to folder", "missing", "real/below"})
    kflt_ForceFileDeleteIfExists(folder.Wide(name));
  kflt_ForceFileDeleteIfExists(L"");
  for (const char* name : {"real", "folder/keep", "pipe", "to pipe", "to folder"})
    EXPECT_TRUE(fs::exists(fs::symlink_status(folder / name))) << name;
  EXPECT_EQ(folder.EntryCount(), 5U);
  folder.Make("locked/file");
  fs::permissions(folder.Path(), fs::perms(0777));
  fs::permissions(folder / "locked", fs::perms(0555));
  Child child([&](const auto&) {
    BecomeNobody();
    const std::wstring name = folder.Wide("locked/file");
    const std::wstring said = RaisedBy([&] { kflt_ForceFileDeleteIfExists(name); });
    return said == L"No permission to delete the file \"" + name + L"\"." ? 0 : 1;
  });
  EXPECT_EQ(child.Wait(), 0);
  fs::permissions(folder / "locked", fs::perms(0777));
}

TEST(FileQueries, TellWhatIsThere) {
  const ScratchFolder folder;
  KerrException error(L"tests", L"FileQueries");
  folder.Make("file");
  fs::create_symlink("nowhere", folder / "dangling");
  EXPECT_TRUE(kfio_FileExists(folder.Wide("file"), error));
  EXPECT_TRUE(kfio_FileExists(folder.Wide(""), error));
  EXPECT_FALSE(kfio_FileExists(folder.Wide("dangling"), error));
  EXPECT_FALSE(kfio_FileExists(L"", error));
  EXPECT_TRUE(kfio_DirectoryIsWritable(folder.Wide(""), error));
  EXPECT_FALSE(kfio_DirectoryIsWritable(folder.Wide("file"), error));
  EXPECT_FALSE(kfio_DirectoryIsWritable(folder.Wide("missing"), error));
  EXPECT_EQ(kfio_DirectoryGetTemporary(error), kfnp_FromNative(fs::temp_directory_path().string()));
  EXPECT_FALSE(error.IsPending());
  EXPECT_FALSE(kfio_FileExists(folder.Wide("file") + std::wstring(L"\0", 1), error));
  EXPECT_EQ(error.get_What(), L"A file name holds a null character.");
}

TEST(FileQueries, MaybeMakeDirMakesWhatIsMissing) {
  const ScratchFolder folder;
  KerrException error(L"tests", L"FileQueries");
  folder.Make("file");
  fs::create_directory_symlink("nowhere", folder / "dangling");
  for (int i = 0; i < 2; ++i) kfio_MaybeMakeDir(folder.Wide("a/\xC3\xBC \xFF/c/"), error);
  EXPECT_FALSE(error.IsPending());
  EXPECT_TRUE(fs::is_directory(folder / "a/\xC3\xBC \xFF/c"));
  const struct {
    std::wstring name;
    std::wstring fault;
  } rows[] = {
      {L"", L"The name of the folder is empty."},
      {folder.Wide("file"), L"The folder \"" + folder.Wide("file") + L"\" can't be made: File exists."},
      {folder.Wide("file/below"),
       L"The folder \"" + folder.Wide("file/below") + L"\" can't be made: a part of its path is not a folder."},
  };
  for (const auto& row : rows) {
    kfio_MaybeMakeDir(row.name, error);
    EXPECT_EQ(error.get_What(), row.fault);
    error.Clear();
  }
}

}  // namespace
