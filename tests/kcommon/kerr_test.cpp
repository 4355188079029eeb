#include "kcommon/kerr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/lexical_cast.hpp>
#include <cfenv>
#include <limits>
#include <stdexcept>
#include <thread>
#include <vector>

#include "kcommon/kpmg.h"

namespace {

using testing::ElementsAre;

TEST(KerrException, ThrowsTheStandardException) {
  KerrException error(L"tx_general\\append", L"function");
  try {
    error.Throw(12, L"text \u20AC");
  } catch (const KorvenLog::CPPException<std::runtime_error>& exception) {
    EXPECT_EQ(exception.get_What(), L"text \u20AC");
    EXPECT_EQ(exception.get_LineNum(), 12);
    EXPECT_EQ(exception.get_SourceFile(), L"tx_general\\append");
    EXPECT_EQ(exception.get_Function(), L"function");
  }
  EXPECT_THROW(error.Throw(1, L""), std::runtime_error);
  EXPECT_FALSE(error.IsPending());
}

TEST(KerrException, KeepsWhatIsLoggedUntilItIsCleared) {
  KerrException error(L"file", L"function");
  EXPECT_NO_THROW(error.Check(1));
  EXPECT_EQ(error.get_What(), L"Unknown exception");
  error.Log(5);
  EXPECT_TRUE(error.IsPending());
  EXPECT_EQ(error.get_What(), L"Unknown exception");
  EXPECT_EQ(error.get_LineNum(), 5);
  error.Log(6, L"text");
  EXPECT_EQ(error.get_What(), L"text");
  KerrException other(L"file", L"function");
  other.Log(7, error);
  EXPECT_EQ(other.get_What(), L"text");
  error.Clear();
  EXPECT_FALSE(error.IsPending());
  EXPECT_NO_THROW(error.Check(8));
  try {
    other.Check(9);
    FAIL() << "nothing raised";
  } catch (const KorvenLog::CPPException<std::runtime_error>& exception) {
    EXPECT_EQ(exception.get_What(), L"text");
    EXPECT_EQ(exception.get_LineNum(), 9);
  }
  EXPECT_FALSE(other.IsPending());
  other.Log(1, L"");
  EXPECT_THROW(other.Check(1), std::runtime_error);
}

struct Cancelled : std::runtime_error, CancellationBase {
  Cancelled() : std::runtime_error("cancelled") {}
};

template <typename Raise>
std::wstring Logged(Raise raise) {
  KerrException error(L"file", L"function");
  try {
    raise();
  } catch (...) {
    kerr_LogCurrentException(error, 3);
  }
  EXPECT_EQ(error.get_LineNum(), 3);
  return error.get_What();
}

TEST(LogCurrentException, TellsThreeKindsApart) {
  EXPECT_EQ(Logged([] { KerrException(L"f", L"g").Throw(1, L"ours \u20AC"); }), L"ours \u20AC");
  EXPECT_EQ(Logged([] { throw std::runtime_error("standard \xE2\x82\xAC \xFF"); }), L"standard \u20AC \uFFFD");
  EXPECT_EQ(Logged([] { throw 5; }), L"Unknown exception");
  EXPECT_EQ(Logged([] { boost::lexical_cast<int>("x"); }),
            L"bad lexical cast: source type value could not be interpreted as target");
}

TEST(LogCurrentException, LetsACancellationPass) {
  KerrException error(L"file", L"function");
  const auto run = [&error] {
    try {
      throw Cancelled();
    } catch (...) {
      kerr_LogCurrentException(error, 3);
    }
  };
  EXPECT_THROW(run(), Cancelled);
  EXPECT_FALSE(error.IsPending());
}

TEST(LogCurrentException, ResetsTheFloatingPointState) {
  Logged([] {
    std::fesetround(FE_UPWARD);
    throw 5;
  });
  EXPECT_EQ(std::fegetround(), FE_TONEAREST);
}

TEST(MessageLog, WritesLinesAsTheyAreGiven) {
  std::vector<std::wstring> lines;
  kerr_SetSessionLogSink([&lines](const std::wstring& line) { lines.push_back(line); });
  for (const wchar_t* text : {L"", L"plain", L"100 %%", L"%%%%", L"%", L"%d%%%s", L"\u20AC"}) kerr_MessageLog(0, text);
  kerr_MessageLog(-1, L"kind");
  EXPECT_THAT(lines, ElementsAre(L"", L"plain", L"100 %", L"%%", L"%", L"%d%%s", L"\u20AC", L"kind"));
  lines.clear();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int line = 0; line < 500; ++line) kerr_MessageLog(0, L"line");
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(lines.size(), 2000u);
  kerr_SetSessionLogSink(nullptr);
  kerr_MessageLog(0, L"dropped");
  EXPECT_EQ(lines.size(), 2000u);
}

class Preferences : public testing::Test {
 protected:
  void SetUp() override {
    kpmg::ClearAll();
    kpmg::Value value;
    value.text = L"word";
    value.number = std::numeric_limits<double>::infinity();
    value.boolean = true;
    value.color = {0.25, 0.5, 0.75, 1};
    const std::pair<const wchar_t*, Kpmg_ParameterType> kinds[] = {
        {L"s", KpmgString}, {L"n", KpmgNumber}, {L"b", KpmgBoolean}, {L"e", KpmgEnum}, {L"c", KpmgColor}};
    for (const auto& [name, type] : kinds) {
      value.type = type;
      kpmg::Set(L"cat", name, value);
    }
  }
  void TearDown() override { kpmg::ClearAll(); }

  /// Which of the five readers of a preference gave its value, each by its letter.
  std::wstring ReadersOf(const std::wstring& category, const std::wstring& name, std::wstring& failures) {
    std::wstring readers;
    const auto note = [&](wchar_t letter, bool read) {
      if (read) readers += letter;
      if (error_.IsPending()) failures += letter;
      error_.Clear();
    };
    note(L's', kpmg_GetStringPreference(category, name, L"other", error_) == L"word");
    note(L'n', kpmg_GetNumberPreference(category, name, 1, error_) > 1);
    note(L'b', kpmg_GetBooleanPreference(category, name, 0, error_) == 1);
    note(L'e', kpmg_GetEnumPreference(category, name, L"other", error_) == L"word");
    note(L'c', kpmg_GetColorPreference(category, name, Kpmg_Color{}, error_) == Kpmg_Color{0.25, 0.5, 0.75, 1});
    return readers;
  }
  KerrException error_{L"kcommon_test", L"Preferences"};
};

TEST_F(Preferences, AreReadByTheirOwnKindOnly) {
  const std::wstring all = L"snbec";
  for (const wchar_t letter : all) {
    std::wstring others = all;
    others.erase(others.find(letter), 1);
    std::wstring failures;
    EXPECT_EQ(ReadersOf(L"cat", std::wstring(1, letter), failures), std::wstring(1, letter));
    EXPECT_EQ(failures, others);
  }
}

TEST_F(Preferences, MissingOnesGiveTheDefaultWithoutFailure) {
  for (const auto& [category, name] :
       std::vector<kpmg::Key>{{L"cat", L""}, {L"", L"s"}, {L"cat", L"S"}, {L"s", L"cat"}}) {
    std::wstring failures;
    EXPECT_EQ(ReadersOf(category, name, failures), L"");
    EXPECT_EQ(failures, L"");
    EXPECT_EQ(kpmg::GetPreferenceType(category, name), KpmgUnknown);
  }
  EXPECT_EQ(kpmg_GetStringPreference(L"", L"", L"fallback", error_), L"fallback");
  EXPECT_EQ(kpmg_GetNumberPreference(L"", L"", -2.5, error_), -2.5);
  EXPECT_EQ(kpmg_GetBooleanPreference(L"", L"", 1, error_), 1);
}

TEST_F(Preferences, AWrongKindNamesThePreference) {
  kpmg_GetNumberPreference(L"cat", L"s", 0, error_);
  EXPECT_EQ(error_.get_What(), L"The preference \"cat:s\" is a string, not a number.");
}

TEST_F(Preferences, LaterValuesWin) {
  kpmg::Value value;
  value.type = KpmgNumber;
  value.number = 3;
  kpmg::Set(L"cat", L"s", value);
  EXPECT_EQ(kpmg::GetPreferenceType(L"cat", L"s"), KpmgNumber);
  EXPECT_EQ(kpmg_GetNumberPreference(L"cat", L"s", 0, error_), 3);
  EXPECT_EQ(kpmg::All().size(), 5u);
  kpmg::ClearAll();
  EXPECT_TRUE(kpmg::All().empty());
}

}  // namespace
