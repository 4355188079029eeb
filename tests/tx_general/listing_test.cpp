#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <cstdio>
#include <cstdlib>
#include <set>

#include "kcommon/kfnp.h"
#include "tx_general/rows.h"

namespace {

using namespace testing_support;

std::vector<std::wstring> Names(const DataPtr& list) {
  std::vector<std::wstring> names;
  for (const auto& item : list->GetDataValue<tessera::DataList>()) {
    EXPECT_EQ(item->GetDataTypeName().ToString(), L"VANTIX.File");
    names.push_back(item->ToString());
  }
  return names;
}

class ListingTest : public ::testing::Test {
 protected:
  ListingTest() {
    for (const char* name : {"b.TXT", "a.txt", "c.dat", "sub/d.txt", "other/e.txt"}) folder_.Write(name, "x");
  }
  std::wstring In(const wchar_t* name) const { return folder_.WidePath() + L"/" + name; }
  std::vector<std::wstring> Run(std::vector<std::pair<std::wstring, DataPtr>> inputs) {
    ModelHost host;
    Prepare(host, {"", L"MultiFilenameInput", std::move(inputs), L"", nullptr});
    EXPECT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
    return Names(host.Existing(L"op.FilenamesOut"));
  }
  TemporaryFolder folder_;
};
using Expected = std::vector<std::wstring>;

TEST_F(ListingTest, DirectoryContentsGivesAllDirectEntries) {
  ModelHost host;
  host.Add(L"DirectoryContents", L"op");
  host.Set(L"op.Directory", Directory(folder_.WidePath()));
  ASSERT_TRUE(host.Run());
  const auto names = Names(host.Existing(L"op.PathList"));
  EXPECT_EQ(std::set<std::wstring>(names.begin(), names.end()),
            (std::set<std::wstring>{In(L"a.txt"), In(L"b.TXT"), In(L"c.dat"), In(L"sub"), In(L"other")}));
  EXPECT_EQ(names.size(), 5u);
}

TEST_F(ListingTest, DirectoryContentsOfAnEmptyAndOfAMissingDirectory) {
  const TemporaryFolder empty;
  ModelHost host;
  host.Add(L"DirectoryContents", L"op");
  host.Set(L"op.Directory", empty.WidePath());
  ASSERT_TRUE(host.Run());
  EXPECT_TRUE(Names(host.Existing(L"op.PathList")).empty());
  host.Set(L"op.Directory", Directory(In(L"missing")));
  EXPECT_THROW(host.GetModel()->Execute(), boost::filesystem::filesystem_error);
  ExpectRow({"required", L"DirectoryContents", {}, L"PathList", nullptr, L"Data not found on port(Directory)."});
}

TEST_F(ListingTest, MultiFilenameInputRows) {
  EXPECT_EQ(Run({}), Expected{});
  EXPECT_EQ(Run({{L"Directory", Directory(In(L"sub"))}}), Expected{In(L"sub/d.txt")});
  EXPECT_EQ(Run({{L"Directory", Value(folder_.WidePath())}, {L"Wildcard", Value(L"*.txt")}}),
            (Expected{In(L"a.txt"), In(L"b.TXT")}))
      << "a text is taken as a directory";
  EXPECT_EQ(Run({{L"Directory", Directory(folder_.WidePath())}, {L"Wildcard", Value(L"*.DAT")}}),
            Expected{In(L"c.dat")});
}

TEST_F(ListingTest, SubfoldersAreScannedWhereAsked) {
  const auto names = Run({{L"Directory", Directory(folder_.WidePath())},
                          {L"Wildcard", Value(L"*.txt")},
                          {L"IncludeSubFolders", Value(true)}});
  EXPECT_EQ(std::set<std::wstring>(names.begin(), names.end()),
            (std::set<std::wstring>{In(L"a.txt"), In(L"b.TXT"), In(L"sub/d.txt"), In(L"other/e.txt")}));
}

TEST_F(ListingTest, GivenNamesComeFirstAndDuplicatesStay) {
  const auto given = List({File(L"/first"), File(In(L"sub/d.txt"))});
  EXPECT_EQ(Run({{L"FilenamesIn", given}, {L"Directory", List({Directory(In(L"sub")), Directory(In(L"other"))})}}),
            (Expected{L"/first", In(L"sub/d.txt"), In(L"sub/d.txt"), In(L"other/e.txt")}));
  EXPECT_EQ(given->Count(), 2) << "the given list is not changed";
  EXPECT_EQ(Run({{L"FilenamesIn", given}}), (Expected{L"/first", In(L"sub/d.txt")}));
}

TEST_F(ListingTest, VariablesInDirectoriesAreExpanded) {
  ::setenv("TX_GENERAL_TEST_FOLDER", folder_.Path().c_str(), 1);
  EXPECT_EQ(Run({{L"Directory", Directory(L"$TX_GENERAL_TEST_FOLDER/sub")}}), Expected{In(L"sub/d.txt")});
}

TEST_F(ListingTest, WhatIsNoDirectoryEndsTheRun) {
  const std::wstring error = L"Invalid data found on Directory port.";
  ExpectRows({
      {"number",
       L"MultiFilenameInput",
       {{L"Directory", List({Directory(folder_.WidePath()), Value(1)})}},
       L"FilenamesOut",
       nullptr,
       error,
       false},
      {"null item", L"MultiFilenameInput", {{L"Directory", List({nullptr})}}, L"FilenamesOut", nullptr, error, false},
      {"file",
       L"MultiFilenameInput",
       {{L"Directory", List({File(In(L"a.txt"))})}},
       L"FilenamesOut",
       nullptr,
       error,
       false},
  });
}

TEST_F(ListingTest, WildcardsHaveSetsAndLists) {
  for (const char* name : {"a b.txt", "x;y.txt", "e.Dat"}) folder_.Write(name, "x");
  const auto run = [&](const wchar_t* wildcard) {
    return Run({{L"Directory", Directory(folder_.WidePath())}, {L"Wildcard", Value(wildcard)}});
  };
  EXPECT_EQ(run(L"[B-E].*"), (Expected{In(L"b.TXT"), In(L"c.dat"), In(L"e.Dat")}));
  EXPECT_EQ(run(L"*.dat; a ?.txt"), (Expected{In(L"a b.txt"), In(L"c.dat"), In(L"e.Dat")}));
  EXPECT_EQ(run(L"[!a-c].*"), Expected{In(L"e.Dat")});
  EXPECT_EQ(run(L"x[;]y.*"), Expected{In(L"x;y.txt")});
  EXPECT_EQ(run(L""),
            (Expected{In(L"a b.txt"), In(L"a.txt"), In(L"b.TXT"), In(L"c.dat"), In(L"e.Dat"), In(L"x;y.txt")}));
}

TEST_F(ListingTest, FilesOfAFolderComeBeforeThoseBelow) {
  EXPECT_EQ(Run({{L"Directory", Directory(folder_.WidePath())}, {L"IncludeSubFolders", Value(true)}}),
            (Expected{In(L"a.txt"), In(L"b.TXT"), In(L"c.dat"), In(L"other/e.txt"), In(L"sub/d.txt")}));
}

/// In memory where there is such a folder: some disks take half a minute to make that many files.
class ManyFiles {
 public:
  static constexpr int kCount = 100'000;
  ManyFiles() {
    boost::system::error_code error;
    const auto memory = boost::filesystem::path("/dev/shm") / boost::filesystem::unique_path("tessera-%%%%%%%%");
    path_ = boost::filesystem::create_directory(memory, error) ? memory.native() : other_.Path();
    for (int i = 0; i < kCount; ++i) {
      char name[32];
      std::snprintf(name, sizeof name, "/%05d.dat", i);
      ::close(::open((path_ + name).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
    }
  }
  ~ManyFiles() { boost::filesystem::remove_all(path_); }
  ManyFiles(const ManyFiles&) = delete;
  ManyFiles& operator=(const ManyFiles&) = delete;
  std::wstring Path() const { return kfnp_FromNative(path_); }

 private:
  TemporaryFolder other_;
  std::string path_;
};

TEST(Listing, AHundredThousandFiles) {
  const ManyFiles files;
  ModelHost host;
  host.Add(L"MultiFilenameInput", L"op");
  host.Set(L"op.Directory", Directory(files.Path())).Set(L"op.Wildcard", L"*[0-8].DAT");
  ASSERT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
  const auto names = Names(host.Existing(L"op.FilenamesOut"));
  ASSERT_EQ(names.size(), ManyFiles::kCount / 10 * 9u);
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
  EXPECT_EQ(names.back(), files.Path() + L"/99998.dat");
}

TEST(Listing, ListPortsNameTheirItems) {
  ModelHost host;
  host.Add(L"DirectoryContents", L"contents");
  host.Add(L"MultiFilenameInput", L"files");
  for (const wchar_t* name : {L"contents.PathList", L"files.FilenamesIn", L"files.FilenamesOut"}) {
    const auto port = host.PortOf(name);
    ASSERT_EQ(port->GetSupportedDataTypes().size(), 1u);
    EXPECT_EQ(port->GetSupportedDataTypes()[0].ToString(), L"VANTIX.List");
    EXPECT_EQ(port->GetAttribute(L"ListDataType")->ToString(), L"VANTIX.File");
  }
  EXPECT_TRUE(host.PortOf(L"files.FilenamesIn")->IsHidden());
  EXPECT_TRUE(host.PortOf(L"files.FilenamesIn")->IsOptional());
}

}  // namespace
