#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "korvenlog/exception.h"
#include "korvenlog/log.h"

namespace KorvenLog {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Narrow, WritesUtf8) {
  const struct {
    std::wstring text;
    std::string bytes;
  } rows[] = {
      {L"", ""},
      {L"plain", "plain"},
      {std::wstring(L"a\0b", 3), std::string("a\0b", 3)},
      {L"\u007F\u0080\u07FF\u0800", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80"},
      {L"\uFFFF\U00010000\U0010FFFF", "\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {std::wstring(1, static_cast<wchar_t>(0xD800)), "\xEF\xBF\xBD"},
      {std::wstring(1, static_cast<wchar_t>(0x110000)), "\xEF\xBF\xBD"},
      {std::wstring(1, static_cast<wchar_t>(-1)), "\xEF\xBF\xBD"},
  };
  for (const auto& row : rows) EXPECT_EQ(Narrow(row.text), row.bytes);
}

TEST(CPPException, CarriesTextLineAndPlace) {
  CPPException<std::runtime_error> exception(L"tx_general\\append", L"korven::tx_general::Append::OnExecute");
  EXPECT_EQ(exception.get_What(), L"Unknown exception");
  EXPECT_EQ(exception.get_LineNum(), 0);
  try {
    exception.Throw(48, L"Gr\u00FC\u00DFe");
  } catch (const CPPException<std::runtime_error>& caught) {
    EXPECT_EQ(caught.get_What(), L"Gr\u00FC\u00DFe");
    EXPECT_STREQ(caught.what(),
                 "Gr\xC3\xBC\xC3\x9F"
                 "e");
    EXPECT_EQ(caught.get_LineNum(), 48);
    EXPECT_EQ(caught.get_SourceFile(), L"tx_general\\append");
    EXPECT_EQ(caught.get_Function(), L"korven::tx_general::Append::OnExecute");
    EXPECT_NE(&caught, &exception);
  }
  EXPECT_EQ(exception.get_LineNum(), 48);
}

TEST(CPPException, IsCaughtAsEitherBase) {
  CPPException<std::out_of_range> exception(L"file", L"function");
  EXPECT_THROW(exception.Throw(1, L"text"), Exception);
  EXPECT_THROW(exception.Throw(1, L"text"), std::out_of_range);
  EXPECT_THROW(exception.Throw(1, L""), std::exception);
  EXPECT_EQ(exception.get_What(), L"");
}

class LogTest : public testing::Test {
 protected:
  void TearDown() override { Log::SetSink(nullptr, Level::Error); }
  void Collect(Level lowest) {
    Log::SetSink(
        [this](const std::wstring& channel, Level level, const std::wstring& text) {
          lines_.push_back(channel + L"/" + std::to_wstring(static_cast<int>(level)) + L"/" + text);
        },
        lowest);
  }
  std::vector<std::wstring> lines_;
};

TEST_F(LogTest, ChannelsAreOffUnlessASinkIsSet) {
  const Log log(L"channel");
  EXPECT_FALSE(log.IsEnabled(Level::Debug));
  EXPECT_FALSE(log.IsEnabled(Level::Warning));
  EXPECT_TRUE(log.IsEnabled(Level::Error));
}

TEST_F(LogTest, PassesOnWhatIsEnabled) {
  const Log log(L"channel");
  const struct {
    Level lowest;
    std::vector<std::wstring> lines;
  } rows[] = {
      {Level::Debug, {L"channel/0/low", L"channel/2/high"}},
      {Level::Information, {L"channel/2/high"}},
      {Level::Warning, {L"channel/2/high"}},
      {Level::Error, {}},
  };
  for (const auto& row : rows) {
    lines_.clear();
    Collect(row.lowest);
    EXPECT_EQ(log.IsEnabled(Level::Debug), row.lowest == Level::Debug);
    log.LogDebug(L"low");
    log.LogWarning(L"high");
    EXPECT_EQ(lines_, row.lines);
  }
}

TEST_F(LogTest, AnEmptySinkDropsLines) {
  Collect(Level::Debug);
  Log::SetSink(nullptr, Level::Debug);
  Log(L"channel").LogWarning(L"lost");
  EXPECT_THAT(lines_, IsEmpty());
}

TEST_F(LogTest, ASinkMayLogAndReplaceItself) {
  Log::SetSink(
      [this](const std::wstring&, Level, const std::wstring&) {
        Collect(Level::Debug);
        Log(L"inner").LogDebug(L"from the sink");
      },
      Level::Debug);
  Log(L"outer").LogDebug(L"text");
  EXPECT_THAT(lines_, ElementsAre(L"inner/0/from the sink"));
}

TEST_F(LogTest, TakesLinesOfManyThreads) {
  Collect(Level::Debug);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      const Log log(L"channel");
      for (int line = 0; line < 500; ++line) log.LogDebug(L"line");
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(lines_.size(), 2000u);
}

}  // namespace
}  // namespace KorvenLog
