#include <cstdlib>

#include "kcommon/kerr.h"
#include "tx_general/rows.h"

namespace {

using namespace testing_support;
using Lines = std::vector<std::wstring>;

/// Counts how often its report text is asked for.
class CountingData : public tessera::StringData {
 public:
  using StringData::StringData;
  std::wstring ToReportString() const override {
    ++asked;
    return StringData::ToReportString();
  }
  mutable int asked = 0;
};

class ReportTest : public ::testing::Test {
 protected:
  ReportTest() {
    kerr_SetSessionLogSink([this](const std::wstring& line) { lines_.push_back(line); });
    host_.Add(L"Report", L"report");
  }
  ~ReportTest() override { kerr_SetSessionLogSink({}); }

  ReportTest& Template(const std::wstring& text) {
    host_.Set(L"report.ConfigString", text);
    return *this;
  }
  std::wstring Template() const { return host_.Get<std::wstring>(L"report.ConfigString"); }
  tessera::Operator& Report() const { return *host_.Op(L"report"); }

  Lines lines_;
  ModelHost host_;
  TemporaryFolder folder_;
};

TEST_F(ReportTest, ValueGoesToTheLogAndThrough) {
  const auto value = Value(L"hello");
  host_.Set(L"report.Input1", value);
  ASSERT_TRUE(host_.Run());
  EXPECT_EQ(lines_, Lines{L"hello"});
  EXPECT_EQ(host_.Existing(L"report.Output1"), value);
}

TEST_F(ReportTest, TemplateGrowsWithThePairs) {
  EXPECT_EQ(Template(), L"$Input1\n");
  Report().AddExpansionPorts();
  EXPECT_EQ(Template(), L"$Input1\n$Input2\n");
  EXPECT_TRUE(host_.PortOf(L"report.Input2")->IsOptional());
  EXPECT_TRUE(host_.PortOf(L"report.Output2")->IsHidden());
  Template(L"first: $Input1, then $Input3");
  Report().AddExpansionPorts();
  EXPECT_EQ(Template(), L"first: $Input1, then $Input3") << "an entry that is there is not added";
  Report().AddExpansionPorts();
  EXPECT_EQ(Template(), L"first: $Input1, then $Input3\n$Input4\n");
  Template(L"");
  Report().AddExpansionPorts();
  EXPECT_EQ(Template(), L"$Input5\n");
}

TEST_F(ReportTest, RemovalCutsTheEntrysLength) {
  const struct {
    const wchar_t* before;
    const wchar_t* after;
  } rows[] = {
      {L"$Input1\n$Input2\n", L"$Input1\n"},
      {L"something else\n", L"somethi"},
      {L"ends in t: left", L"ends in"},
      {L"text ends in x", L"text ends in x"},
      {L"short t", L""},
      {L"t", L""},
      {L"", L""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(row.before)));
    ModelHost host;
    const auto op = host.Add(L"Report", L"report");
    op->AddExpansionPorts();
    host.Set(L"report.ConfigString", row.before);
    op->RemoveExpansionPorts();
    EXPECT_EQ(host.Get<std::wstring>(L"report.ConfigString"), row.after);
    EXPECT_EQ(op->GetPort(L"Input2"), nullptr);
    EXPECT_EQ(op->GetPort(L"Output2"), nullptr);
  }
}

TEST_F(ReportTest, FirstPairStays) {
  Report().RemoveExpansionPorts();
  EXPECT_TRUE(Report().GetPort(L"Input1"));
  EXPECT_EQ(Template(), L"$Input1\n");
}

TEST_F(ReportTest, MissingTemplateIsAnError) {
  host_.Set(L"report.ConfigString", DataPtr()).Set(L"report.Input1", 1);
  EXPECT_FALSE(host_.Run());
  EXPECT_EQ(host_.Error(), L"Existing data not found on port(ConfigString).");
}

TEST_F(ReportTest, NothingIsAskedWhereNothingIsWritten) {
  const auto value = boost::make_shared<CountingData>(std::wstring(L"v"));
  host_.Set(L"report.ToSessionLog", false).Set(L"report.Input1", DataPtr(value));
  ASSERT_TRUE(host_.Run());
  EXPECT_EQ(value->asked, 0);
  EXPECT_TRUE(lines_.empty());
  EXPECT_EQ(host_.Existing(L"report.Output1"), value);
  host_.Set(L"report.ToSessionLog", true);
  ASSERT_TRUE(host_.Run());
  EXPECT_EQ(value->asked, 1);
}

TEST_F(ReportTest, EmptyInputLeavesItsPlaceEmpty) {
  Report().AddExpansionPorts();
  Template(L"<$Input1><$Input2>");
  host_.Set(L"report.Input1", 4);
  ASSERT_TRUE(host_.Run());
  EXPECT_EQ(lines_, Lines{L"<4><>"});
  EXPECT_EQ(host_.Existing(L"report.Output2"), nullptr);
}

TEST_F(ReportTest, EveryOccurrenceAndTheFlagItself) {
  Template(L"$Input1$Input1 $ToSessionLog $Unknown");
  host_.Set(L"report.Input1", 4);
  ASSERT_TRUE(host_.Run());
  EXPECT_EQ(lines_, Lines{L"44 " + Value(true)->ToReportString() + L" $Unknown"});
}

TEST_F(ReportTest, EarlierNamesHitLaterOnes) {
  for (int pair = 2; pair <= 10; ++pair) Report().AddExpansionPorts();
  Template(L"$Input10|$Input2");
  host_.Set(L"report.Input1", L"one").Set(L"report.Input2", L"two").Set(L"report.Input10", L"ten");
  ASSERT_TRUE(host_.Run());
  EXPECT_EQ(lines_, Lines{L"one0|two"});
  EXPECT_EQ(host_.Get<std::wstring>(L"report.Output10"), L"ten");
}

TEST_F(ReportTest, ReplacedTextIsSearchedByLaterPorts) {
  Report().AddExpansionPorts();
  Template(L"$Input1");
  host_.Set(L"report.Input1", L"<$Input2>").Set(L"report.Input2", L"two");
  ASSERT_TRUE(host_.Run());
  EXPECT_EQ(lines_, Lines{L"<two>"});
}

TEST_F(ReportTest, FileHoldsTheWholeTextAndTheLogItsLines) {
  ::setenv("TX_GENERAL_TEST_FOLDER", folder_.Path().c_str(), 1);
  Template(L"a\n\n100% of $Input1\n");
  host_.Set(L"report.Input1", L"50%").Set(L"report.TextFilename", File(L"$TX_GENERAL_TEST_FOLDER/report.txt"));
  ASSERT_TRUE(host_.Run()) << kstr_ToUtf8(host_.Error());
  EXPECT_EQ(folder_.Read("report.txt"), "a\n\n100% of 50%\n");
  EXPECT_EQ(lines_, (Lines{L"a", L"100% of 50%"}));
}

TEST_F(ReportTest, FileAloneLeavesTheLogEmpty) {
  host_.Set(L"report.ToSessionLog", false).Set(L"report.Input1", L"x");
  host_.Set(L"report.TextFilename", File(folder_.WidePath() + L"/alone.txt"));
  ASSERT_TRUE(host_.Run());
  EXPECT_EQ(folder_.Read("alone.txt"), "x\n");
  EXPECT_TRUE(lines_.empty());
}

TEST_F(ReportTest, FileThatCannotBeWrittenIsAFailure) {
  host_.Set(L"report.Input1", L"x");
  host_.Set(L"report.TextFilename", File(folder_.WidePath() + L"/missing/folder/alone.txt"));
  EXPECT_FALSE(host_.Run());
  EXPECT_FALSE(host_.Error().empty());
}

TEST_F(ReportTest, LongLinesAreCut) {
  Template(std::wstring(31001, L'x') + L"\nshort");
  host_.Set(L"report.Input1", 1);
  ASSERT_TRUE(host_.Run());
  ASSERT_EQ(lines_.size(), 4u);
  EXPECT_EQ(lines_[0], std::wstring(15500, L'x'));
  EXPECT_EQ(lines_[1], std::wstring(15500, L'x'));
  EXPECT_EQ(lines_[2], L"x");
  EXPECT_EQ(lines_[3], L"short");
}

TEST_F(ReportTest, PercentAtACutStaysSingle) {
  Template(std::wstring(15499, L'x') + L"%y");
  host_.Set(L"report.Input1", 1);
  ASSERT_TRUE(host_.Run());
  std::wstring joined;
  for (const auto& line : lines_) joined += line;
  EXPECT_EQ(joined, std::wstring(15499, L'x') + L"%y");
}

TEST_F(ReportTest, PairsComeBackWithTheDocument) {
  Report().AddExpansionPorts();
  Template(L"$Input2-$Input1");
  host_.Set(L"report.Input1", 1).Set(L"report.Input2", 2);
  host_.Reopen();
  ASSERT_TRUE(host_.Run());
  EXPECT_EQ(lines_, Lines{L"2-1"});
  EXPECT_EQ(host_.Get<int>(L"report.Output2"), 2);
  Report().AddExpansionPorts();
  EXPECT_TRUE(Report().GetPort(L"Input3"));
}

}  // namespace
