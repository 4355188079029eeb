#include "kcommon/kfio.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <thread>

#include "kcommon/kerr.h"
#include "scratchfolder.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string Repeated(const std::string& text, std::size_t times) {
  std::string result;
  for (std::size_t i = 0; i < times; ++i) result += text;
  return result;
}

class CancelScope {
 public:
  explicit CancelScope(std::function<void()> check) { kfio::SetCancelCheck(std::move(check)); }
  ~CancelScope() { kfio::SetCancelCheck(nullptr); }
};

struct Cancelled : CancellationBase {};

TEST(ReadFile, DecodesText) {
  const struct {
    std::string bytes;
    std::wstring text;
  } rows[] = {
      {"", L""},
      {"plain\r\ntext\n", L"plain\r\ntext\n"},
      {"\xEF\xBB\xBF", L""},
      {"\xEF\xBB\xBFmark", L"mark"},
      {"a\xEF\xBB\xBF", L"a\uFEFF"},
      {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x99\x82", L"\u00E4\u20AC\U0001F642"},
      {std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
      {std::string("\xFF\xFE"
                   "a\0\xAC\x20\x3D\xD8\x42\xDE",
                   10),
       L"a\u20AC\U0001F642"},
      {std::string("\xFE\xFF\0a\x20\xAC\xD8\x3D\xDE\x42", 10), L"a\u20AC\U0001F642"},
      {"\xFF\xFE", L""},
  };
  const ScratchFolder folder;
  for (const auto& row : rows) EXPECT_EQ(kfio::ReadFile(folder.Make("text", row.bytes)), row.text);
}

TEST(ReadFile, GivesASliceCountedInCharacters) {
  const ScratchFolder folder;
  const std::wstring name = folder.Make("text",
                                        "0\xC3\xA4"
                                        "23456789abc");
  const struct {
    std::int32_t offset;
    std::int32_t size;
    std::wstring text;
  } rows[] = {
      {0, -1, L"0\u00E423456789abc"},
      {10, -1, L"abc"},
      {1, 1, L"\u00E4"},
      {2, 3, L"234"},
      {0, 0, L""},
      {12, 5, L"c"},
      {13, 1, L""},
      {2147483647, -1, L""},
      {0, 2147483647, L"0\u00E423456789abc"},
  };
  for (const auto& row : rows) EXPECT_EQ(kfio::ReadFile(name, row.offset, row.size), row.text) << row.offset;
  EXPECT_THAT(RaisedBy([&] { kfio::ReadFile(name, -5, 1); }), HasSubstr(L"-5"));
}

TEST(ReadFile, WhatLiesPastTheSliceIsNotLookedAt) {
  const ScratchFolder folder;
  EXPECT_EQ(kfio::ReadFile(folder.Make("text", "abc\xFF"), 1, 2), L"bc");
}

TEST(ReadFile, CharactersMayStraddleBlocks) {
  // Three bytes a character never end with a block, of whatever power of two.
  constexpr std::size_t count = 1'000'000;
  const ScratchFolder folder;
  const std::wstring text = kfio::ReadFile(folder.Make("text", Repeated("\xE2\x82\xAC", count)));
  EXPECT_EQ(text, std::wstring(count, L'\u20AC'));
  const std::wstring name = folder.Make("wide", "\xFE\xFF\x20" + Repeated("\xAC\x20", count) + "\xAC");
  EXPECT_EQ(kfio::ReadFile(name), std::wstring(count + 1, L'\u20AC'));
  EXPECT_EQ(kfio::ReadFile(name, static_cast<std::int32_t>(count - 1), 5), std::wstring(2, L'\u20AC'));
}

TEST(ReadUnicodeFile, TellsWhereTextIsBad) {
  const struct {
    std::string bytes;
    std::wstring what;
    std::wstring place;
  } rows[] = {
      {"ab\ncd\xFF", L"byte 0xFF", L"at byte offset 5, line 2."},
      {"\xEF\xBB\xBF\x80", L"byte 0x80", L"at byte offset 3, line 1."},
      {"\xC0\xAF", L"byte 0xC0", L"at byte offset 0, line 1."},
      {"a\xED\xA0\x80", L"byte 0xED", L"at byte offset 1, line 1."},
      {"\xF4\x90\x80\x80", L"byte 0xF4", L"at byte offset 0, line 1."},
      {"\xE2(", L"byte 0xE2", L"at byte offset 0, line 1."},
      {"\n\n\xE2\x82", L"ends within a character", L"at byte offset 2, line 3."},
      {Repeated("line\n", 300'000) + "\xFE", L"byte 0xFE", L"at byte offset 1500000, line 300001."},
      {std::string("\xFF\xFE\n\0a", 5), L"ends within a character", L"at byte offset 4, line 2."},
      {std::string("\xFF\xFE\x3D\xD8", 4), L"ends within a character", L"at byte offset 2, line 1."},
      {std::string("\xFF\xFE\x3D\xD8\x61\0", 6), L"first half", L"at byte offset 2, line 1."},
      {std::string("\xFE\xFF\0\n\xDE\x42", 6), L"second half", L"at byte offset 4, line 2."},
  };
  const ScratchFolder folder;
  for (const auto& row : rows) {
    const std::wstring name = folder.Make("t\xC3\xA4xt", row.bytes);
    const std::wstring raised = RaisedBy([&] { kfio::ReadUnicodeFile(name); });
    EXPECT_THAT(raised, HasSubstr(row.what));
    EXPECT_THAT(raised, HasSubstr(row.place));
    EXPECT_THAT(raised, HasSubstr(L"\"" + name + L"\""));
  }
}

TEST(ReadFile, WhatIsNoUtf8IsWindows1252) {
  const struct {
    std::string bytes;
    std::wstring text;
  } rows[] = {
      {"gr\xFC\xDF\x80", L"gr\u00FC\u00DF\u20AC"},
      {"\x81\x8D\x8F\x90\x9D", L"\x81\x8D\x8F\x90\x9D"},
      {"\x82\x91\x92\x96\x99\x9F\xA0\xFF", L"\u201A\u2018\u2019\u2013\u2122\u0178\u00A0\u00FF"},
      {"\xC3\xA4 and \xE4", L"\u00C3\u00A4 and \u00E4"},
      {"cut off \xE2\x82", L"cut off \u00E2\u201A"},
      {"a\xED\xA0\x80", L"a\u00ED\u00A0\u20AC"},
  };
  const ScratchFolder folder;
  for (const auto& row : rows) EXPECT_EQ(kfio::ReadFile(folder.Make("text", row.bytes)), row.text);
  const std::wstring name = folder.Make("text", std::string(3'000'000, 'x') + "\xC3\xA4\xE4yz");
  const std::wstring whole = kfio::ReadFile(name);
  EXPECT_EQ(whole, std::wstring(3'000'000, L'x') + L"\u00C3\u00A4\u00E4yz");
  EXPECT_EQ(kfio::ReadFile(name, 3'000'001, 3), L"\u00A4\u00E4y")
      << "offsets count the characters of the right reading";
  EXPECT_EQ(kfio::ReadFile(name, 2'999'999, 2), L"x\u00E4") << "what lies behind is not looked at";
}

TEST(ReadFile, APipeIsReadTwiceWhereItMust) {
  const ScratchFolder folder;
  const std::string name = (folder / "pipe").string();
  ASSERT_EQ(::mkfifo(name.c_str(), 0600), 0);
  const std::string bytes = std::string(2'500'000, 'p') + "\xFC.";
  std::thread writer([&] { std::ofstream(name, std::ios::binary) << bytes; });
  EXPECT_EQ(kfio::ReadFile(kfnp_FromNative(name)), std::wstring(2'500'000, L'p') + L"\u00FC.");
  writer.join();
}

TEST(ReadFile, AFileThatSaysWhatItIsNotIsAFault) {
  const ScratchFolder folder;
  const std::wstring marked = folder.Make("marked", "\xEF\xBB\xBFgr\xFC");
  EXPECT_EQ(RaisedBy([&] { kfio::ReadFile(marked); }),
            L"The file \"" + marked + L"\": no UTF-8 text: byte 0xFC at byte offset 5, line 1.");
  const std::wstring odd = folder.Make("odd", std::string("\xFF\xFE"
                                                          "a\0b",
                                                          5));
  EXPECT_EQ(RaisedBy([&] { kfio::ReadFile(odd); }),
            L"The file \"" + odd + L"\": the file ends within a character at byte offset 4, line 1.");
}

TEST(ReadFile, TellsWhatStandsInPlaceOfTheFile) {
  const ScratchFolder folder;
  folder.Make("file", "text");
  const struct {
    std::wstring name;
    std::wstring text;
  } rows[] = {
      {folder.Wide("missing"), L"The file \"" + folder.Wide("missing") + L"\" does not exist."},
      {folder.Wide("file/below"), L"does not exist: a part of its path is not a folder."},
      {folder.Wide(""), L"is a folder, not a file."},
      {folder.Wide(std::string(300, 'x')), L"can't be read: File name too long."},
      {folder.Wide("file") + std::wstring(1, L'\0'), L"can't be read: Invalid argument."},
      {L"", L"The file name is empty."},
  };
  for (const auto& row : rows) {
    EXPECT_THAT(RaisedBy([&] { kfio::ReadFile(row.name); }), HasSubstr(row.text));
    EXPECT_THAT(RaisedBy([&] { kfio::ReadBytes(row.name); }), HasSubstr(row.text));
  }
}

TEST(ReadFile, TellsAMissingPermission) {
  const ScratchFolder folder;
  const std::wstring name = folder.Make("secret", "text");
  fs::permissions(folder / "secret", fs::perms::none);
  fs::permissions(folder.Path(), fs::perms::all);
  // The superuser may read everything, so that another user has to try.
  const pid_t child = ::fork();
  if (child == 0) {
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(2);
    const std::wstring raised = RaisedBy([&] { kfio::ReadFile(name); });
    const std::wstring written = RaisedBy([&] { kfio::WriteFile(name, L"new"); });
    ::_exit(raised == L"No permission to read the file \"" + name + L"\"." &&
                    written == L"No permission to write the file \"" + name + L"\"."
                ? 0
                : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(folder.EntryCount(), 1u);
}

TEST(ReadBytes, ReadsPipesAndFilesThatClaimToBeEmpty) {
  const ScratchFolder folder;
  const std::string path = folder / "pipe";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  const std::string bytes = Repeated("0123456789", 30'000);
  std::thread writer([&] { std::ofstream(path, std::ios::binary) << bytes; });
  EXPECT_EQ(kfio::ReadBytes(folder.Wide("pipe")), bytes);
  writer.join();
  EXPECT_THAT(kfio::ReadBytes(L"/proc/self/status"), HasSubstr("Name:"));
  EXPECT_EQ(kfio::ReadBytes(L"/dev/null"), "");
}

TEST(ReadBytes, KeepsEveryByteAndName) {
  const ScratchFolder folder;
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  bytes = Repeated(bytes, 20'000);
  for (const std::string name : {"blank name",
                                 "gr\xC3\xBC\xC3\x9F"
                                 "e",
                                 "latin \xFC", "cut \xE2\x82"}) {
    const std::wstring wide = folder.Wide(name);
    kfio::WriteBytes(wide, bytes);
    EXPECT_EQ(folder.Bytes(name), bytes);
    EXPECT_EQ(kfio::ReadBytes(wide), bytes);
  }
  EXPECT_EQ(folder.EntryCount(), 4u);
}

TEST(CancelCheck, EndsALongReadOrWriteAndLeavesTheOldFile) {
  const ScratchFolder folder;
  const std::string bytes(5 << 20, 'x');
  const std::wstring name = folder.Make("file", bytes);
  int calls = 0;
  const CancelScope scope([&calls] {
    if (++calls == 2) throw Cancelled();
  });
  EXPECT_THROW(kfio::ReadBytes(name), Cancelled);
  EXPECT_EQ(calls, 2);
  calls = 0;
  EXPECT_THROW(kfio::ReadFile(name), Cancelled);
  calls = 0;
  EXPECT_THROW(kfio::WriteBytes(name, std::string(5 << 20, 'y')), Cancelled);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(folder.Bytes("file"), bytes);
  EXPECT_EQ(folder.EntryCount(), 1u);
}

TEST(WriteFile, WritesUtf8AndReplaces) {
  const ScratchFolder folder;
  const std::wstring name = folder.Wide("file");
  for (const std::wstring& text : {std::wstring(L"first \u20AC"), std::wstring(), std::wstring(L"a\0b", 3)}) {
    kfio::WriteFile(name, text);
    EXPECT_EQ(kfio::ReadFile(name), text);
  }
  kfio::WriteFile(name, L"\u20AC\n");
  EXPECT_EQ(folder.Bytes("file"), "\xE2\x82\xAC\n");
  EXPECT_EQ(folder.EntryCount(), 1u);
}

TEST(WriteFile, KeepsPermissionsOfTheOldFile) {
  const ScratchFolder folder;
  for (const mode_t mode : {0600u, 0644u, 0755u, 0666u}) {
    const std::wstring name = folder.Make("file", "old");
    ASSERT_EQ(::chmod((folder / "file").c_str(), mode), 0);
    kfio::WriteFile(name, L"new");
    struct stat status {};
    ASSERT_EQ(::stat((folder / "file").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, mode);
    EXPECT_EQ(folder.Bytes("file"), "new");
  }
}

TEST(WriteFile, FollowsLinks) {
  const ScratchFolder folder;
  folder.Make("below/real", "old");
  fs::create_symlink("below/real", folder / "link");
  fs::create_symlink(folder / "link", folder / "link to link");
  fs::create_symlink("below/new", folder / "link to nothing yet");
  kfio::WriteFile(folder.Wide("link to link"), L"changed");
  kfio::WriteFile(folder.Wide("link to nothing yet"), L"made");
  EXPECT_EQ(folder.Bytes("below/real"), "changed");
  EXPECT_EQ(folder.Bytes("below/new"), "made");
  EXPECT_TRUE(fs::is_symlink(folder / "link to link"));
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
  EXPECT_TRUE(fs::is_symlink(folder / "link to nothing yet"));
  EXPECT_EQ(folder.EntryCount(), 4u);
}

TEST(WriteFile, TellsWhyItCannotAndLeavesNothing) {
  const ScratchFolder folder;
  folder.Make("file", "text");
  fs::create_symlink("round", folder / "round");
  const struct {
    std::wstring name;
    std::wstring text;
  } rows[] = {
      {folder.Wide("missing/file"), L"can't be written: its folder does not exist."},
      {folder.Wide("file/below"), L"can't be written: a part of its path is not a folder."},
      {folder.Wide(""), L"is a folder, not a file."},
      {folder.Wide("new/"), L"is a folder, not a file."},
      {folder.Wide("round"), L"Too many levels of symbolic links"},
      {folder.Wide("file") + std::wstring(1, L'\0'), L"can't be written: Invalid argument."},
      {L"/proc/tessera", L"can't be written: its folder does not exist."},
      {L"/dev/full", L"can't be written: No space left on device."},
      {L"", L"The file name is empty."},
  };
  for (const auto& row : rows) EXPECT_THAT(RaisedBy([&] { kfio::WriteFile(row.name, L"x"); }), HasSubstr(row.text));
  EXPECT_EQ(folder.Bytes("file"), "text");
  EXPECT_EQ(folder.EntryCount(), 2u);
}

TEST(WriteFile, WritesPipesStraight) {
  const ScratchFolder folder;
  const std::string path = folder / "pipe";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  std::string received;
  std::thread reader([&] { received = folder.Bytes("pipe"); });
  kfio::WriteFile(folder.Wide("pipe"), std::wstring(100'000, L'\u20AC'));
  reader.join();
  EXPECT_EQ(received, Repeated("\xE2\x82\xAC", 100'000));
  EXPECT_TRUE(fs::is_fifo(path));
  kfio::WriteFile(L"/dev/null", L"text");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST(WriteFile, TakesAwayWhatDeadProcessesLeft) {
  const ScratchFolder folder;
  const pid_t dead = ::fork();
  if (dead == 0) ::_exit(0);
  int status = 0;
  ASSERT_EQ(::waitpid(dead, &status, 0), dead);
  const std::string head = ".tessera-" + std::to_string(dead);
  folder.Make(head + "-0.tmp", "half");
  folder.Make(head + "-17.tmp", "half");
  fs::permissions(folder / (head + "-17.tmp"), fs::perms::owner_read);
  const std::vector<std::string> kept = {".tessera-" + std::to_string(::getppid()) + "-0.tmp",  // it is alive
                                         head + "-locked.tmp",
                                         head + "-0.tmp.txt",
                                         head + "-00.tmp",
                                         head + "-0.dirs",
                                         ".tessera-0-0.tmp"};
  for (const auto& name : kept) folder.Make(name, "half");
  fs::create_directories(folder / (head + "-18.dir") / "part");
  folder.Make(head + "-18.dir/part/file", "half");
  // Of a process on another machine that shares the folder.
  folder.Make(head + "-3.tmp", "half");
  const int locked = ::open((folder / (head + "-3.tmp")).c_str(), O_RDWR);
  ASSERT_EQ(::flock(locked, LOCK_EX), 0);
  kfio::WriteFile(folder.Wide("file"), L"text");
  ::close(locked);
  EXPECT_FALSE(fs::exists(folder / (head + "-0.tmp")));
  EXPECT_FALSE(fs::exists(folder / (head + "-17.tmp")));
  EXPECT_FALSE(fs::exists(folder / (head + "-18.dir")));
  EXPECT_TRUE(fs::exists(folder / (head + "-3.tmp")));
  for (const auto& name : kept) EXPECT_TRUE(fs::exists(folder / name)) << name;
  EXPECT_EQ(folder.EntryCount(), kept.size() + 2);
}

TEST(WriteFile, AbandonedWritesLeaveNothing) {
  const ScratchFolder folder;
  folder.Make("file", "old");
  const pid_t child = ::fork();
  if (child == 0) {
    kfio::SetCancelCheck([&] {
      const bool written = folder.EntryCount() == 2;
      kfio::AbandonWrites();
      ::_exit(written && folder.EntryCount() == 1 ? 0 : 1);
    });
    kfio::WriteBytes(folder.Wide("file"), std::string(5 << 20, 'y'));
    ::_exit(2);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(folder.Bytes("file"), "old");
}

TEST(WriteFile, StandardOutputGoesOnWhereItStands) {
  const ScratchFolder folder;
  const pid_t child = ::fork();
  if (child == 0) {
    FILE* output = std::freopen((folder / "out").c_str(), "w", stdout);
    std::fputs("before ", stdout);
    std::fflush(stdout);
    kfio::WriteFile(L"/dev/stdout", L"between ");
    kfio::WriteFile(L"/proc/self/fd/1", L"too ");
    std::fputs("after", stdout);
    std::fflush(stdout);
    ::_exit(output ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(folder.Bytes("out"), "before between too after");
}

TEST(WriteFile, WritersOfOneFileDoNotMix) {
  const ScratchFolder folder;
  const std::wstring name = folder.Wide("file");
  std::vector<std::thread> threads;
  for (const wchar_t letter : std::wstring(L"abcd")) {
    threads.emplace_back([&name, letter] {
      for (int turn = 0; turn < 20; ++turn) kfio::WriteFile(name, std::wstring(50'000, letter));
    });
  }
  for (auto& thread : threads) thread.join();
  const std::wstring text = kfio::ReadFile(name);
  ASSERT_EQ(text.size(), 50'000u);
  EXPECT_EQ(text, std::wstring(50'000, text.front()));
  EXPECT_EQ(folder.EntryCount(), 1u);
}

class DirectoryScan : public testing::Test {
 protected:
  /// Names below the scratch folder, as the scan gave them.
  std::vector<std::wstring> Run(const std::wstring& wildcard, bool recursive, const std::string& below = "") {
    const std::unique_ptr<Kstr_StringList, void (*)(Kstr_StringList*)> list(
        kfio_DirectoryScanRecursive(0, folder_.Wide(below), wildcard, 1, recursive, error_), kstr_StringListDelete);
    const std::wstring prefix = folder_.Wide("");
    for (auto& name : list->strings) {
      EXPECT_EQ(name.compare(0, prefix.size(), prefix), 0);
      name.erase(0, prefix.size());
    }
    return list->strings;
  }
  ScratchFolder folder_;
  KerrException error_{L"kcommon_test", L"DirectoryScan"};
};

TEST_F(DirectoryScan, TakesWhatMatchesSortedByName) {
  for (const char* name : {"b.TIF", "a.tif", "c.img", ".hidden", "\xC3\x84.tif", "bad \xFF.tif", "sub/d.tif",
                           "sub/e.txt", "sub/deep/f.img", "a(1).tif", "none"}) {
    folder_.Make(name);
  }
  fs::create_directory(folder_ / "folder.tif");
  fs::create_symlink("a.tif", folder_ / "link.img");
  fs::create_symlink("nowhere", folder_ / "dangling.img");
  const std::wstring bad = kfnp_FromNative("bad \xFF.tif");
  using Names = std::vector<std::wstring>;
  const struct {
    std::wstring wildcard;
    bool recursive;
    Names names;
  } rows[] = {
      {L"", false, {L".hidden", L"a(1).tif", L"a.tif", L"b.TIF", bad, L"c.img", L"link.img", L"none", L"\u00C4.tif"}},
      {L" ; ",
       false,
       {L".hidden", L"a(1).tif", L"a.tif", L"b.TIF", bad, L"c.img", L"link.img", L"none", L"\u00C4.tif"}},
      {L"*.tif", false, {L"a(1).tif", L"a.tif", L"b.TIF", bad, L"\u00C4.tif"}},
      {L"*.TIF", true, {L"a(1).tif", L"a.tif", L"b.TIF", bad, L"\u00C4.tif", L"sub/d.tif"}},
      {L"?.tif", false, {L"a.tif", L"b.TIF", L"\u00C4.tif"}},
      {L"\u00E4.*", false, {L"\u00C4.tif"}},
      {L"*.txt;*.img", true, {L"c.img", L"link.img", L"sub/e.txt", L"sub/deep/f.img"}},
      {L" *.txt ;c*; b.* ", true, {L"b.TIF", L"c.img", L"sub/e.txt"}},
      {L"bad *;b,a", false, {bad}},
      {L"[A-B].tif", false, {L"a.tif", L"b.TIF"}},
      {L"[!a]*.[t][!x-z]?", false, {L"b.TIF", bad, L"\u00C4.tif"}},
      {L"[^ac.]*", false, {L"b.TIF", bad, L"link.img", L"none", L"\u00C4.tif"}},
      {L"*[)]*;[;c]*", false, {L"a(1).tif", L"c.img"}},
      {L"[]-]*;[c-]*;[z-m]one", false, {L"c.img", L"none"}},
      {L"[c*;c*", false, {L"c.img"}},
      {L"*(*).*", false, {L"a(1).tif"}},
      {L"**n*e", false, {L"none"}},
      {L"non", false, {}},
      {L"none?", false, {}},
  };
  for (const auto& row : rows) EXPECT_EQ(Run(row.wildcard, row.recursive), row.names);
  EXPECT_FALSE(error_.IsPending());
}

TEST_F(DirectoryScan, AWildcardOfManyStarsEnds) {
  folder_.Make(std::string(200, 'a'));
  std::wstring wildcard;
  for (int i = 0; i < 60; ++i) wildcard += L"*a";
  EXPECT_THAT(Run(wildcard + L"*b", false), IsEmpty());
  EXPECT_EQ(Run(wildcard, false).size(), 1u);
}

TEST_F(DirectoryScan, LinksToFoldersAreNotFollowed) {
  folder_.Make("sub/file");
  fs::create_directory_symlink("..", folder_ / "sub/up");
  fs::create_directory_symlink("sub", folder_ / "again");
  EXPECT_THAT(Run(L"", true), ElementsAre(L"sub/file"));
  EXPECT_THAT(Run(L"", true, "again"), ElementsAre(L"again/file"));
  EXPECT_THAT(Run(L"", true, "sub/"), ElementsAre(L"sub/file"));
  EXPECT_FALSE(error_.IsPending());
}

TEST_F(DirectoryScan, AMissingFolderIsAnErrorWithItsName) {
  folder_.Make("file");
  for (const bool recursive : {false, true}) {
    EXPECT_THAT(Run(L"*", recursive, "missing"), IsEmpty());
    EXPECT_EQ(error_.get_What(), L"The folder \"" + folder_.Wide("missing") + L"\" does not exist.");
    error_.Clear();
    EXPECT_THAT(Run(L"*", recursive, "file"), IsEmpty());
    EXPECT_EQ(error_.get_What(), L"\"" + folder_.Wide("file") + L"\" is not a folder.");
    error_.Clear();
  }
  kstr_StringListDelete(kfio_DirectoryScanRecursive(0, L"", L"", 1, false, error_));
  EXPECT_EQ(error_.get_What(), L"The name of the folder is empty.");
}

TEST_F(DirectoryScan, AnUnreadableSubfolderIsToldAndTheRestGiven) {
  folder_.Make("a/file");
  folder_.Make("locked/file");
  folder_.Make("z/file");
  fs::permissions(folder_.Path(), fs::perms::all);
  fs::permissions(folder_ / "locked", fs::perms::none);
  // The superuser may read everything, so that another user has to try.
  const pid_t child = ::fork();
  if (child == 0) {
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(2);
    const bool rest = Run(L"", true) == std::vector<std::wstring>{L"a/file", L"z/file"};
    const bool told = error_.get_What() == L"No permission to read the folder \"" + folder_.Wide("locked") + L"\".";
    ::_exit(rest && told ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  fs::permissions(folder_ / "locked", fs::perms::all);
}

TEST_F(DirectoryScan, CanBeCancelled) {
  folder_.Make("sub/file");
  const CancelScope scope([] { throw Cancelled(); });
  EXPECT_THROW(Run(L"", true), Cancelled);
}

}  // namespace
