#include <sys/stat.h>

#include <boost/filesystem.hpp>
#include <cstdlib>

#include "kcommon/kfnp.h"
#include "support/child.h"
#include "tx_general/rows.h"

namespace {

using namespace testing_support;
namespace fs = boost::filesystem;

class FileHandlingTest : public ::testing::Test {
 protected:
  std::wstring In(const std::string& name) const { return kfnp_FromNative(folder_.Path() + "/" + name); }
  bool Exists(const std::string& name) const { return fs::exists(fs::symlink_status(folder_.Path() + "/" + name)); }
  /// The run of one operator; the outputs are looked at afterwards.
  bool Run(const std::wstring& op, std::vector<std::pair<std::wstring, DataPtr>> inputs) {
    host_ = std::make_unique<ModelHost>();
    Prepare(*host_, {"", op, std::move(inputs), L"", nullptr});
    return host_->Run();
  }
  std::wstring Text(const std::wstring& port) const {
    const auto data = host_->Existing(L"op." + port);
    return data ? data->GetDataTypeName().Name + L" " + data->ToString() : L"nothing";
  }
  /// The error number of the library's exception.
  int FailureOf(const std::wstring& op, std::vector<std::pair<std::wstring, DataPtr>> inputs) {
    host_ = std::make_unique<ModelHost>();
    Prepare(*host_, {"", op, std::move(inputs), L"", nullptr});
    try {
      host_->GetModel()->Execute();
    } catch (const fs::filesystem_error& error) {
      return error.code().value();
    }
    return 0;
  }
  TemporaryFolder folder_;
  std::unique_ptr<ModelHost> host_;
};

const std::string kOddName = "gr\xC3\xBC\xC3\x9F \xFF \"x\" $none;*";

TEST_F(FileHandlingTest, CopyMakesTheFolderAndReplaces) {
  const std::wstring file = folder_.Write(kOddName, "one");
  for (const char* bytes : {"one", "another"}) {
    folder_.Write(kOddName, bytes);
    ASSERT_TRUE(
        Run(L"CopyFileToDirectory", {{L"FilenameIn", File(file)}, {L"OutputDirectory", Directory(In("to/below"))}}))
        << kstr_ToUtf8(host_->Error());
    EXPECT_EQ(Text(L"FilenameOut"), L"File " + In("to/below/" + kOddName));
    EXPECT_EQ(folder_.Read("to/below/" + kOddName), bytes);
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.Path() + "/to/below"), fs::directory_iterator()), 1);
}

TEST_F(FileHandlingTest, CopyEvaluatesBothNamesAndKeepsAttributes) {
  ::setenv("FILE_HANDLING_TEST", folder_.Path().c_str(), 1);
  const std::string file = kfnp_ToNative(folder_.Write("tool", "x"));
  fs::permissions(file, fs::perms(0750));
  fs::last_write_time(file, 1'000'000'000);
  ASSERT_TRUE(Run(L"CopyFileToDirectory", {{L"FilenameIn", File(L"$FILE_HANDLING_TEST/tool")},
                                           {L"OutputDirectory", Directory(L"${FILE_HANDLING_TEST}/to/")}}));
  const std::string copy = folder_.Path() + "/to/tool";
  EXPECT_EQ(Text(L"FilenameOut"), L"File " + kfnp_FromNative(copy));
  EXPECT_EQ(fs::status(copy).permissions(), fs::perms(0750));
  EXPECT_EQ(fs::last_write_time(copy), 1'000'000'000);
}

TEST_F(FileHandlingTest, CopyFailuresAreTheLibrarysAndSetNothing) {
  folder_.Write("file", "x");
  folder_.Write("to/name/keep", "x");
  folder_.Write("name", "x");
  const auto copy = [&](const std::string& file, const std::string& to) {
    return FailureOf(L"CopyFileToDirectory",
                     {{L"FilenameIn", File(In(file))}, {L"OutputDirectory", Directory(In(to))}});
  };
  EXPECT_EQ(copy("missing", "to"), ENOENT);
  EXPECT_EQ(Text(L"FilenameOut"), L"nothing");
  EXPECT_EQ(copy("to", "new"), EISDIR);
  EXPECT_EQ(copy("name", "to"), EISDIR);
  EXPECT_EQ(copy("file", "file/below"), ENOTDIR);
  EXPECT_EQ(copy("file", ""), 0) << "it is there already";
  EXPECT_EQ(folder_.Read("file"), "x");
}

TEST_F(FileHandlingTest, CopyRefusesEmptyNames) {
  EXPECT_FALSE(Run(L"CopyFileToDirectory", {{L"FilenameIn", File(L"")}, {L"OutputDirectory", Directory(In("to"))}}));
  EXPECT_EQ(host_->Error(), L"The file name is empty.");
  EXPECT_FALSE(Exists("to"));
}

TEST_F(FileHandlingTest, RequiredInputs) {
  ExpectRows({
      {"copy nothing",
       L"CopyFileToDirectory",
       {{L"OutputDirectory", Directory(L"/tmp")}},
       L"FilenameOut",
       nullptr,
       L"Data not found on port(FilenameIn)."},
      {"copy nowhere",
       L"CopyFileToDirectory",
       {{L"FilenameIn", File(L"/tmp/x")}},
       L"FilenameOut",
       nullptr,
       L"Data not found on port(OutputDirectory)."},
      {"create", L"CreateDirectory", {}, L"DirectoryOut", nullptr, L"Data not found on port(DirectoryIn)."},
      {"wrong type",
       L"CreateDirectory",
       {{L"DirectoryIn", Value(1)}},
       L"DirectoryOut",
       nullptr,
       L"No appropriate data found on port(DirectoryIn)."},
      {"delete folder", L"DeleteDirectory", {}, L"DirectoryExisted", nullptr, L"Data not found on port(Directory)."},
      {"delete file", L"DeleteFile", {}, L"FilenameOut", nullptr, L"Data not found on port(FilenameIn)."},
      {"link", L"CreateSymbolicLink", {}, L"LinkFilenameOut", nullptr, L"Data not found on port(SourceFilename)."},
      {"link nowhere",
       L"CreateSymbolicLink",
       {{L"SourceFilename", File(L"x")}},
       L"LinkFilenameOut",
       nullptr,
       L"Data not found on port(LinkFilenameIn)."},
      {"exists", L"PathExists", {}, L"PathExists", nullptr, L"Data not found on port(Path)."},
      {"lock", L"CreateLockFile", {}, L"FilenameOut", nullptr, L"Data not found on port(FilenameIn)."},
      {"null character",
       L"DeleteFile",
       {{L"FilenameIn", File(std::wstring(L"/tmp/a\0b", 8))}},
       L"FilenameOut",
       nullptr,
       L"The file name \"/tmp/a\" goes on behind a null character."},
  });
}

TEST_F(FileHandlingTest, CreateDirectory) {
  ::setenv("FILE_HANDLING_TEST", folder_.Path().c_str(), 1);
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(Run(L"CreateDirectory", {{L"DirectoryIn", Directory(L"$FILE_HANDLING_TEST/a/b")}}));
    EXPECT_EQ(Text(L"DirectoryOut"), L"Directory " + In("a/b"));
    EXPECT_TRUE(fs::is_directory(folder_.Path() + "/a/b"));
  }
  folder_.Write("file", "x");
  EXPECT_FALSE(Run(L"CreateDirectory", {{L"DirectoryIn", Directory(In("file"))}}));
  EXPECT_EQ(host_->Error(), L"The folder \"" + In("file") + L"\" can't be made: File exists.");
  EXPECT_EQ(Text(L"DirectoryOut"), L"nothing");
}

TEST_F(FileHandlingTest, DeleteDirectoryTakesTheNameAsItStands) {
  ::setenv("FILE_HANDLING_TEST", folder_.Path().c_str(), 1);
  folder_.Write("tree/a/" + kOddName, "x");
  folder_.Write("outside/keep", "x");
  folder_.Write("file", "x");
  fs::create_symlink("../outside", folder_.Path() + "/tree/link");
  fs::create_symlink("outside", folder_.Path() + "/to folder");
  ASSERT_TRUE(Run(L"DeleteDirectory", {{L"Directory", Directory(L"$FILE_HANDLING_TEST/tree")}}));
  EXPECT_EQ(Text(L"DirectoryExisted"), L"Bool false") << "variables are not expanded";
  const struct {
    const char* name;
    bool existed;
  } rows[] = {{"tree", true}, {"tree", false}, {"file", false}, {"to folder/", true}, {"missing/below", false}};
  for (const auto& row : rows) {
    ASSERT_TRUE(Run(L"DeleteDirectory", {{L"Directory", Directory(In(row.name))}})) << row.name;
    EXPECT_EQ(Text(L"DirectoryExisted"), row.existed ? L"Bool true" : L"Bool false") << row.name;
  }
  for (const char* name : {"tree", "file", "to folder"}) EXPECT_FALSE(Exists(name)) << name;
  EXPECT_TRUE(Exists("outside/keep"));
  EXPECT_EQ(FailureOf(L"DeleteDirectory", {{L"Directory", Directory(L"/")}}), EBUSY);
}

TEST_F(FileHandlingTest, DeleteFile) {
  ::setenv("FILE_HANDLING_TEST", folder_.Path().c_str(), 1);
  folder_.Write("file", "x");
  folder_.Write("folder/keep", "x");
  folder_.Write(kOddName, "x");
  fs::create_symlink("nowhere", folder_.Path() + "/dangling");
  fs::create_symlink("loop", folder_.Path() + "/loop");
  fs::create_symlink("folder", folder_.Path() + "/to folder");
  const struct {
    std::string name;
    bool existed;
  } rows[] = {{"file", true}, {"file", false},     {kOddName, true},  {"dangling", true},
              {"loop", true}, {"to folder", true}, {"folder", false}, {"missing", false}};
  for (const auto& row : rows) {
    ASSERT_TRUE(Run(L"DeleteFile", {{L"FilenameIn", File(L"$FILE_HANDLING_TEST/" + kfnp_FromNative(row.name))}}));
    EXPECT_EQ(Text(L"FilenameOut"), L"File " + In(row.name));
    EXPECT_EQ(Text(L"FileExisted"), row.existed ? L"Bool true" : L"Bool false") << row.name;
    EXPECT_EQ(Exists(row.name), row.name == "folder") << row.name;
  }
  EXPECT_TRUE(Exists("folder/keep"));
}

TEST_F(FileHandlingTest, DeleteFileTellsWhyItCant) {
  folder_.Write("locked/file", "x");
  fs::permissions(folder_.Path(), fs::perms(0777));
  fs::permissions(folder_.Path() + "/locked", fs::perms(0555));
  Child child([&](const auto&) {
    BecomeNobody();
    const bool ended = Run(L"DeleteFile", {{L"FilenameIn", File(In("locked/file"))}});
    const std::wstring error = L"Error deleting file " + In("locked/file") + L". The error was \"Permission denied\".";
    const bool isTold = !ended && host_->Error() == error;
    return isTold && Text(L"FilenameOut") == L"nothing" && Text(L"FileExisted") == L"nothing" ? 0 : 1;
  });
  EXPECT_EQ(child.Wait(), 0);
  fs::permissions(folder_.Path() + "/locked", fs::perms(0777));
}

TEST_F(FileHandlingTest, CreateSymbolicLink) {
  const auto link = [&](const std::wstring& source, const std::string& name) {
    return FailureOf(L"CreateSymbolicLink", {{L"SourceFilename", File(source)}, {L"LinkFilenameIn", File(In(name))}});
  };
  EXPECT_EQ(link(L"no/such \xDCFF source", "new/below/link"), 0);
  EXPECT_EQ(Text(L"LinkFilenameOut"), L"File " + In("new/below/link"));
  EXPECT_EQ(fs::read_symlink(folder_.Path() + "/new/below/link").native(), "no/such \xFF source");
  EXPECT_FALSE(Exists("new/below/no"));
  EXPECT_EQ(link(L"other", "new/below/link"), EEXIST);
  EXPECT_EQ(Text(L"LinkFilenameOut"), L"nothing");
  EXPECT_EQ(fs::read_symlink(folder_.Path() + "/new/below/link").native(), "no/such \xFF source");
  folder_.Write("file", "x");
  EXPECT_EQ(link(L"other", "file/link"), EEXIST);
}

TEST_F(FileHandlingTest, PathExists) {
  folder_.Write("folder/file", "x");
  folder_.Write(kOddName, "x");
  folder_.Write(std::string(255, 'n'), "x");
  ASSERT_EQ(::mkfifo((folder_.Path() + "/pipe").c_str(), 0600), 0);
  fs::create_symlink("nowhere", folder_.Path() + "/dangling");
  fs::create_symlink("loop", folder_.Path() + "/loop");
  fs::create_symlink("folder", folder_.Path() + "/link");
  const struct {
    DataPtr path;
    bool exists;
  } rows[] = {{File(In("folder/file")), true},
              {File(In("folder")), true},
              {Directory(In("folder")), true},
              {Directory(In("folder/file")), true},
              {Value(In("link/file")), true},
              {File(In("pipe")), true},
              {File(In(kOddName)), true},
              {File(In(std::string(255, 'n'))), true},
              {File(In(std::string(256, 'n'))), false},
              {Directory(In("missing")), false},
              {File(In("dangling")), false},
              {File(In("loop")), false},
              {File(In("folder/file/below")), false},
              {File(L""), false}};
  std::vector<Row> list;
  for (const auto& row : rows)
    list.push_back({kstr_ToUtf8(row.path->ToString()),
                    L"PathExists",
                    {{L"Path", row.path}},
                    L"PathExists",
                    Value(row.exists),
                    {},
                    row.path->ToString().find(L'\xDCFF') == std::wstring::npos});
  ExpectRows(list);
}

TEST(FileHandling, PortsCarryWhatDialogsNeed) {
  ModelHost host;
  const struct {
    const wchar_t* op;
    const wchar_t* port;
    const wchar_t* input;  ///< of the attribute; empty where there is none
    bool hasFilter;
  } rows[] = {{L"CopyFileToDirectory", L"FilenameIn", L"true", true},
              {L"CopyFileToDirectory", L"FilenameOut", L"", false},
              {L"DeleteFile", L"FilenameIn", L"true", true},
              {L"DeleteFile", L"FilenameOut", L"", false},
              {L"CreateSymbolicLink", L"SourceFilename", L"true", true},
              {L"CreateSymbolicLink", L"LinkFilenameIn", L"false", true},
              {L"CreateSymbolicLink", L"LinkFilenameOut", L"false", false},
              {L"PathExists", L"Path", L"true", true},
              {L"CreateLockFile", L"FilenameIn", L"true", true},
              {L"CreateLockFile", L"FilenameOut", L"false", false}};
  for (const auto& row : rows) {
    const auto port = host.Add(row.op, std::wstring(row.op) + row.port)->GetPort(row.port);
    ASSERT_TRUE(port);
    const auto text = [&](const wchar_t* key) {
      const auto data = port->GetAttribute(key);
      return data ? data->ToString() : std::wstring();
    };
    EXPECT_EQ(text(L"Kind"), L"any");
    EXPECT_EQ(text(L"Input"), row.input);
    EXPECT_EQ(text(L"FileFilter"), row.hasFilter ? L"Any File (*.*)" : L"");
    EXPECT_EQ(text(L"Extension"), row.hasFilter ? L"*.*" : L"");
  }
  EXPECT_TRUE(host.Add(L"DeleteDirectory", L"d")->GetPort(L"DirectoryExisted")->IsHidden());
  EXPECT_TRUE(host.Add(L"DeleteFile", L"f")->GetPort(L"FileExisted")->IsHidden());
}

}  // namespace
