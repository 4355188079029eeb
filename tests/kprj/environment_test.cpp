// What depends on where PROJ finds its database, each in a process of its own.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "kcommon/scratchfolder.h"
#include "korvenlog/exception.h"
#include "kprj/korvendatum.h"
#include "registry.h"

namespace {

using registry::Translate;

struct Output {
  int status;
  std::string text;
};

/// Runs one of the disabled tests below in this program, with both of its output streams.
Output RunAlone(const std::string& test, const std::string& variables) {
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
  const std::string command = variables + " '" + program + "' --gtest_also_run_disabled_tests --gtest_brief=1 " +
                              "--gtest_filter='*DISABLED_" + test + "' 2>&1";
  FILE* const pipe = ::popen(command.c_str(), "r");
  Output output{-1, {}};
  if (!pipe) return output;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) output.text += static_cast<char>(c);
  output.status = ::pclose(pipe);
  return output;
}

std::wstring Words() {
  try {
    Translate(L"EPSG", L"4326", L"PRJ");
  } catch (const KorvenLog::Exception& failure) {
    return failure.get_What();
  }
  return {};
}

TEST(Environment, DISABLED_WithoutADatabase) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    const std::wstring words = Words();
    EXPECT_NE(words.find(L"Coordinate reference systems need PROJ's database proj.db of a version that PROJ "),
              std::wstring::npos);
    EXPECT_NE(words.find(kstr_FromUtf8Lossy(::getenv("PROJ_DATA"))), std::wstring::npos) << kstr_ToUtf8(words);
    EXPECT_NE(words.find(L"It is part of the package proj-data."), std::wstring::npos) << kstr_ToUtf8(words);
  }
  // What needs no database is there all the same.
  EXPECT_TRUE(registry::Crs(L"KPRJ", kprj::kUnknown2D));
  EXPECT_EQ(kprj_GetUnitName(L"ft"), L"foot");
}

TEST(Environment, AMissingDatabaseIsOneClearMessage) {
  const ScratchFolder folder;
  const Output run = RunAlone("WithoutADatabase", "HOME=/nowhere PROJ_DATA='" + folder.Path().string() + "'");
  EXPECT_EQ(run.status, 0) << run.text;
  EXPECT_EQ(run.text.find("PROJ: "), std::string::npos) << run.text;
}

TEST(Environment, ADatabaseThatIsNoneIsOneClearMessage) {
  const ScratchFolder folder;
  folder.Make("proj.db", "this is no database, whatever it is called");
  const Output run = RunAlone("WithoutADatabase", "HOME=/nowhere PROJ_DATA='" + folder.Path().string() + "'");
  EXPECT_EQ(run.status, 0) << run.text;
}

TEST(Environment, DISABLED_BadInput) {
  for (const wchar_t* text :
       {L"PROJCS[", L"GEOGCS[\"x\"]", L"VERTCS[\"x\",,,]", L"PROJCS[\"a\",GEOGCS[\"b\"],PROJECTION[\"c\"]]"})
    EXPECT_EQ(Translate(L"PRJ", text, L"EPSG"), L"");
  EXPECT_EQ(Translate(L"EPSG", L"99999", L"PRJ"), L"");
  EXPECT_EQ(
      Translate(L"KPRJ", L"VANTIX/Transient/Coordinate Reference Systems/2D/{\"v\":1,\"h\":{\"type\":\"x\"}}", L"PRJ"),
      L"");
  EXPECT_EQ(Translate(L"EPSG", L"4978", L"PRJ"), L"");
  EXPECT_EQ(KorvenDatum::DatumManager::GetInstance().GetDatumType(L"nobody's"), 2);
}

TEST(Environment, ProjSaysNothingOfItsOwn) {
  const Output run = RunAlone("BadInput", "");
  EXPECT_EQ(run.status, 0) << run.text;
  std::istringstream lines(run.text);
  for (std::string line; std::getline(lines, line);)
    EXPECT_TRUE(line.empty() || line[0] == '[' || line.starts_with("Running main") || line.starts_with("Note:") ||
                line.starts_with("  YOU HAVE"))
        << line;
}

}  // namespace
