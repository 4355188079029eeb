#include "plugin/pluginmanager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <utility>

namespace korven::plugin {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kModules = TEST_PLUGIN_FOLDER;

/// ASCII is enough for what the tests print.
std::string Plain(const std::wstring& text) {
  std::string result;
  for (const wchar_t c : text) result += c < 0x80 ? static_cast<char>(c) : '?';
  return result;
}

using Lines = std::vector<std::string>;

/// Runs the body in a process of its own, as there is one manager a process, and gives the lines it reports.
Lines InFreshProcess(const std::function<void(PluginManager&, Lines&)>& body) {
  int ends[2];
  if (::pipe(ends) != 0) return {"no pipe"};
  const pid_t child = ::fork();
  if (child == 0) {
    Lines lines;
    body(PluginManager::Instance(), lines);
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    const bool written = ::write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::_exit(written ? 0 : 1);
  }
  ::close(ends[1]);
  std::string text;
  char buffer[4096];
  for (ssize_t count; (count = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(count));
  }
  ::close(ends[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  Lines lines;
  for (std::size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
    lines.push_back(text.substr(start, end - start));
  }
  return lines;
}

void ReportNames(PluginManager& manager, const std::wstring& category, Lines& lines) {
  for (const auto& entry : manager.List(category)) {
    lines.push_back(Plain(entry.proxy->GetName()) + " of " + Plain(entry.plugin));
  }
}

void ReportProblems(PluginManager& manager, Lines& lines) {
  for (const auto& problem : manager.GetProblems()) lines.push_back(Plain(problem));
}

std::string ProviderOf(PluginManager& manager, const std::wstring& category, const std::wstring& name) {
  const auto proxy = manager.Find(category, name);
  return proxy ? Plain(proxy->CreateInstance()->Provider()) : "none";
}

class PluginManagerTest : public testing::Test {
 protected:
  void SetUp() override {
    ::unsetenv("VANTIX_HOME");
    ::unsetenv("ARCHM");
    ::unsetenv("VANTIX_PLUGIN_PATH");
    std::string name = (fs::temp_directory_path() / "tessera plugins XXXXXX").string();
    ASSERT_NE(::mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override { fs::remove_all(folder_); }

  void Place(const std::string& module, const fs::path& place) {
    fs::create_directories(place.parent_path());
    fs::copy_file(kModules + "/lib" + module + ".so", place);
  }

  fs::path folder_;
};

std::string Module(const std::string& name) { return kModules + "/lib" + name + ".so"; }

TEST_F(PluginManagerTest, NothingIsFoundWhereNothingIsSet) {
  EXPECT_THAT(InFreshProcess([](PluginManager& manager, Lines& lines) {
                lines.push_back(ProviderOf(manager, L"Operator", L"Ant"));
                ReportNames(manager, L"Operator", lines);
                ReportProblems(manager, lines);
              }),
              ElementsAre("none"));
}

TEST_F(PluginManagerTest, LoadsALibraryInItsOwnOrderAndKeepsCategoriesApart) {
  EXPECT_THAT(InFreshProcess([](PluginManager& manager, Lines& lines) {
                lines.push_back(manager.Load(Module("good")) ? "loaded" : "refused");
                ReportNames(manager, L"Operator", lines);
                ReportNames(manager, L"Data", lines);
                ReportNames(manager, L"No such category", lines);
                lines.push_back(ProviderOf(manager, L"Data", L"Range"));
                lines.push_back(ProviderOf(manager, L"Operator", L"Range"));
                lines.push_back(ProviderOf(manager, L"Operator", L"ant"));
                lines.push_back(ProviderOf(manager, L"Operator", L"Shared"));
                lines.push_back(ProviderOf(manager, L"", L"Ant"));
                ReportProblems(manager, lines);
              }),
              ElementsAre("loaded", "VANTIX.Shared of libgood.so", "Zebra of libgood.so", "Ant of libgood.so",
                          "Range of libgood.so", "good", "none", "none", "none", "none"));
}

TEST_F(PluginManagerTest, TheSameLibraryTwiceIsNoProblem) {
  EXPECT_THAT(InFreshProcess([](PluginManager& manager, Lines& lines) {
                lines.push_back(manager.Load(Module("good")) ? "loaded" : "refused");
                lines.push_back(manager.Load(Module("good")) ? "loaded" : "refused");
                lines.push_back(std::to_string(manager.List(L"Operator").size()));
                ReportProblems(manager, lines);
              }),
              ElementsAre("loaded", "loaded", "3"));
}

TEST_F(PluginManagerTest, ATakenNameLosesAndTellsBothLibraries) {
  const Lines lines = InFreshProcess([](PluginManager& manager, Lines& report) {
    manager.Load(Module("good"));
    report.push_back(manager.Load(Module("second")) ? "loaded" : "refused");
    report.push_back(ProviderOf(manager, L"Operator", L"VANTIX.Shared"));
    report.push_back(ProviderOf(manager, L"Operator", L"Own"));
    report.push_back(ProviderOf(manager, L"Operator", L"Range"));
    report.push_back(ProviderOf(manager, L"Data", L"Range"));
    ReportProblems(manager, report);
  });
  EXPECT_THAT(lines, ElementsAre("loaded", "good", "second", "second", "good",
                                 AllOf(HasSubstr(Module("second")), HasSubstr(Module("good")),
                                       HasSubstr("\"VANTIX.Shared\""), HasSubstr("\"Operator\"")),
                                 AllOf(HasSubstr(Module("second")), HasSubstr("without a name"))));
}

TEST_F(PluginManagerTest, EveryRefusalNamesTheFileAndTheReason) {
  const std::string broken = folder_ / "broken.so";
  std::ofstream(broken) << "no library";
  const std::string missing = folder_ / "missing.so";
  const struct {
    std::string file;
    std::string reason;
  } rows[] = {
      {Module("throwing"), "\"Data\": no licence f?r you"},
      {Module("failing"), "the result was 7, not 0"},
      {Module("silent"), "does not export \"GetAvailablePluginProxiesOfType\""},
      {broken, "can't be loaded: "},
      {missing, "No such file"},
      {"missing without folder.so", "can't be loaded: "},
      {folder_, "can't be loaded: "},
      {"", "can't be loaded: "},
  };
  for (const auto& row : rows) {
    const Lines lines = InFreshProcess([&row](PluginManager& manager, Lines& report) {
      report.push_back(manager.Load(row.file) ? "loaded" : "refused");
      ReportNames(manager, L"Operator", report);
      ReportProblems(manager, report);
      // What failed does not stop what follows.
      report.push_back(manager.Load(Module("good")) ? "loaded" : "refused");
    });
    EXPECT_THAT(lines,
                ElementsAre("refused", AllOf(HasSubstr("\"" + row.file + "\""), HasSubstr(row.reason)), "loaded"))
        << row.file;
  }
}

TEST_F(PluginManagerTest, SearchesTheInstallationThenThePathOnTheFirstLookUp) {
  const fs::path home = folder_ / "home";
  const fs::path first = folder_ / "na\xC3\xAFve folder";
  const fs::path second = folder_ / "b";
  Place("good", home / "lib/some-arch/plugins/zz.so");
  Place("second", home / "lib/some-arch/plugins/libtx_general.so");
  Place("throwing", first / "a.so");
  Place("silent", first / "ignored.so.1");
  fs::create_directories(second / "folder.so");
  ::setenv("VANTIX_HOME", home.c_str(), 1);
  ::setenv("ARCHM", "some-arch", 1);
  ::setenv("VANTIX_PLUGIN_PATH",
           (":" + first.string() + "::" + (folder_ / "gone").string() + ":" + second.string()).c_str(), 1);
  const Lines lines = InFreshProcess([](PluginManager& manager, Lines& report) {
    report.push_back(ProviderOf(manager, L"Operator", L"VANTIX.Shared"));
    ::setenv("VANTIX_PLUGIN_PATH", kModules.c_str(), 1);
    ReportNames(manager, L"Operator", report);
    ReportProblems(manager, report);
  });
  EXPECT_THAT(lines, ElementsAre("second", "Own of libtx_general.so", "VANTIX.Shared of libtx_general.so",
                                 "Range of libtx_general.so", "Zebra of zz.so", "Ant of zz.so",
                                 HasSubstr("without a name"), AllOf(HasSubstr("zz.so"), HasSubstr("libtx_general.so")),
                                 AllOf(HasSubstr("a.so\""), HasSubstr("no licence")),
                                 AllOf(HasSubstr("gone"), HasSubstr("can't be read"))));
}

TEST_F(PluginManagerTest, WithoutHomeOrPlatformOnlyThePathIsSearched) {
  const fs::path home = folder_ / "home";
  Place("good", home / "lib/some-arch/plugins/good.so");
  Place("second", folder_ / "path/second.so");
  const struct {
    const char* home;
    const char* platform;
  } rows[] = {{nullptr, "some-arch"}, {home.c_str(), nullptr}, {"", "some-arch"}, {home.c_str(), "other-arch"}};
  ::setenv("VANTIX_PLUGIN_PATH", (folder_ / "path").c_str(), 1);
  for (const auto& row : rows) {
    row.home ? ::setenv("VANTIX_HOME", row.home, 1) : ::unsetenv("VANTIX_HOME");
    row.platform ? ::setenv("ARCHM", row.platform, 1) : ::unsetenv("ARCHM");
    EXPECT_THAT(InFreshProcess([](PluginManager& manager, Lines& lines) {
                  lines.push_back(ProviderOf(manager, L"Operator", L"Own"));
                  lines.push_back(ProviderOf(manager, L"Operator", L"Ant"));
                }),
                ElementsAre("second", "none"));
  }
}

int OfferBuiltIn(const std::wstring& category, std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  if (category == L"Operator") proxies.push_back(AvailablePluginProxy::Create(L"Ant", [] { return nullptr; }));
  return 0;
}

TEST_F(PluginManagerTest, BuiltInTypesComeFirst) {
  const Lines lines = InFreshProcess([](PluginManager& manager, Lines& report) {
    manager.AddBuiltIn(L"tessera", OfferBuiltIn);
    manager.Load(Module("good"));
    ReportNames(manager, L"Operator", report);
    ReportProblems(manager, report);
  });
  EXPECT_THAT(lines, ElementsAre("Ant of tessera", "VANTIX.Shared of libgood.so", "Zebra of libgood.so",
                                 AllOf(HasSubstr(Module("good")), HasSubstr("\"tessera\""))));
}

/// Runs out of memory at its last category, the first time.
int OfferWithoutMemory(const std::wstring& category, std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  static bool isFirst = true;
  if (category == L"UIProvider" && std::exchange(isFirst, false)) throw std::bad_alloc();
  return OfferBuiltIn(category, proxies);
}

TEST_F(PluginManagerTest, APluginThatFoundNoMemoryIsTakenTheNextTime) {
  const Lines lines = InFreshProcess([](PluginManager& manager, Lines& report) {
    try {
      manager.AddBuiltIn(L"tessera", OfferWithoutMemory);
    } catch (const std::bad_alloc&) {
      report.push_back("no memory");
    }
    ReportNames(manager, L"Operator", report);
    manager.AddBuiltIn(L"tessera", OfferWithoutMemory);
    ReportNames(manager, L"Operator", report);
    ReportProblems(manager, report);
  });
  EXPECT_THAT(lines, ElementsAre("no memory", "Ant of tessera"));
}

TEST_F(PluginManagerTest, ManyThreadsSeeOneSearch) {
  Place("good", folder_ / "path/good.so");
  ::setenv("VANTIX_PLUGIN_PATH", (folder_ / "path").c_str(), 1);
  const Lines lines = InFreshProcess([](PluginManager& manager, Lines& report) {
    std::atomic<int> found{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([&manager, &found] {
        for (int turn = 0; turn < 200; ++turn) {
          if (ProviderOf(manager, L"Operator", L"Ant") == "good") ++found;
          if (turn == 100) manager.Load(Module("second"));
        }
      });
    }
    for (auto& thread : threads) thread.join();
    report.push_back(std::to_string(found));
    report.push_back(std::to_string(manager.List(L"Operator").size()));
  });
  EXPECT_THAT(lines, ElementsAre("1600", "5"));
}

TEST(PluginCategories, StandInTheirOrder) {
  EXPECT_THAT(PluginManager::Categories(),
              ElementsAre(L"Operator", L"Conversion", L"Data", L"DataRequest", L"ModelFormat", L"UIProvider"));
}

}  // namespace
}  // namespace korven::plugin
