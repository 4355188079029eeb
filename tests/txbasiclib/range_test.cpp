#include "txbasiclib/basedatastackutils.h"
#include "txlib/operator.h"
#include "values.h"

using namespace basictest;

namespace {

TEST(Ranges, Texts) {
  const struct {
    const wchar_t* text;
    bool reads;
    double start, end;
    const wchar_t* written;
  } rows[] = {
      {L"1:5", true, 1, 5, L"1:5"},      {L"-1:-5", true, -1, -5, L"-1:-5"},
      {L"7", true, 7, 7, L"7"},          {L"3:3", true, 3, 3, L"3"},
      {L" 1 : 2 ", true, 1, 2, L"1:2"},  {L"+0.1:1e3", true, 0.1, 1000, L"0.1:1000"},
      {L"0:-0", true, 0, -0.0, L"0:-0"}, {L"-Infinity:infinity", true, -kInfinity, kInfinity, L"-Infinity:Infinity"},
      {L"", false, 0, 0, L""},           {L":", false, 0, 0, L""},
      {L"1:", false, 0, 0, L""},         {L":1", false, 0, 0, L""},
      {L"1:2:3", false, 0, 0, L""},      {L"1-2", false, 0, 0, L""},
      {L"1,2", false, 0, 0, L""},        {L"0x10", false, 0, 0, L""},
      {L"1e999", false, 0, 0, L""},      {L"+-1", false, 0, 0, L""}};
  for (const auto& row : rows) {
    const auto data = FromText<RangeData>(row.text);
    ASSERT_EQ(data != nullptr, row.reads) << kstr_ToUtf8(row.text);
    if (!data) continue;
    EXPECT_TRUE(SameBits(data->GetDataValue().GetStart(), row.start)) << kstr_ToUtf8(row.text);
    EXPECT_TRUE(SameBits(data->GetDataValue().GetEnd(), row.end)) << kstr_ToUtf8(row.text);
    EXPECT_EQ(data->ToString(), row.written);
  }
}

TEST(Ranges, KeysLeadToTheEnds) {
  RangeData data(boost::make_shared<RangeClass>(2, -3));
  EXPECT_EQ(data.GetKeys(), (std::vector<std::wstring>{L"Start", L"End"}));
  EXPECT_EQ(data[L"Start"].AsData()->GetDataValue<double>(), 2);
  EXPECT_EQ(data[L"End"].AsData()->GetDataValue<double>(), -3);
  EXPECT_TRUE(data[L"Middle"].IsNull());
}

TEST(Ranges, RandomOnesSurviveTextAndJson) {
  std::mt19937_64 random(11);
  auto list = boost::make_shared<RangeVector>();
  for (int i = 0; i < 300; ++i) {
    const RangeData data(boost::make_shared<RangeClass>(AnyDouble(random), AnyDouble(random)));
    const auto text = FromText<RangeData>(data.ToString());
    ASSERT_TRUE(text) << kstr_ToUtf8(data.ToString());
    for (const auto& copy : {text, ThroughJson(data)}) {
      EXPECT_TRUE(SameBits(copy->GetDataValue().GetStart(), data.GetDataValue().GetStart()));
      EXPECT_TRUE(SameBits(copy->GetDataValue().GetEnd(), data.GetDataValue().GetEnd()));
    }
    list->push_back(data.GetDataValue());
  }
  const RangeListData data(list);
  EXPECT_EQ(FromText<RangeListData>(data.ToString())->ToString(), data.ToString());
  EXPECT_EQ(ThroughJson(data)->ToString(), data.ToString());
}

TEST(Ranges, Lists) {
  const auto list = FromText<RangeListData>(L"1:3, -2 ,5:4");
  ASSERT_TRUE(list);
  EXPECT_EQ(list->Count(), 3);
  EXPECT_EQ(list->ToString(), L"1:3,-2,5:4");
  EXPECT_EQ(JsonText(*list), R"([{"Start":1.0,"End":3.0},{"Start":-2.0,"End":-2.0},{"Start":5.0,"End":4.0}])");
  EXPECT_EQ((*list)[2].ToString(), L"5:4");
  EXPECT_TRUE((*list)[3].IsNull());
  EXPECT_TRUE((*list)[-1].IsNull());
  (*list)[0] = DataPtr(tx::MakeData<RangeData>(RangeClass(8, 9)));
  EXPECT_EQ(list->ToString(), L"8:9,-2,5:4");
  EXPECT_EQ(FromText<RangeListData>(L"")->Count(), 0);
  for (const wchar_t* bad : {L",", L"1,", L",1", L"1;2", L"a"}) EXPECT_EQ(FromText<RangeListData>(bad), nullptr);
  for (const char* bad : {"{}", "[1]", R"([{"Start":1}])", R"([{"Start":1,"End":2},null])", R"("1:2")"})
    EXPECT_EQ(FromJson<RangeListData>(bad), nullptr) << bad;
}

// Indices of a port.

class RangeReader : public tx::Operator {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return L"RangeReader"; }
  void DeclarePorts() override {
    CreatePort(L"Rows", RangeListData::DefaultTypeName(), tx::PortType::Input);
    CreatePort(L"Columns", RangeListData::DefaultTypeName(), tx::PortType::Input)->SetIsOptional(true);
  }
  void OnExecute() override {}
};

boost::shared_ptr<RangeReader> MakeReader() {
  const auto reader = boost::make_shared<RangeReader>();
  reader->Initialize();
  return reader;
}

std::vector<unsigned> Indices(const wchar_t* text, unsigned minimum, unsigned maximum) {
  const auto reader = MakeReader();
  reader->GetPort(L"Rows")->SetData(FromText<RangeListData>(text));
  return RangeListHelper::GetRangeListFromPortAsUnsignedList(reader->GetPort(L"Rows"), minimum, maximum);
}

std::string Failure(const wchar_t* text, unsigned minimum, unsigned maximum) {
  try {
    Indices(text, minimum, maximum);
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

TEST(RangeIndices, KeepTheirOrder) {
  using List = std::vector<unsigned>;
  EXPECT_EQ(Indices(L"3,1:2,1", 0, 5), (List{3, 1, 2, 1}));
  EXPECT_EQ(Indices(L"5:3", 0, 5), (List{5, 4, 3}));
  EXPECT_EQ(Indices(L"2:0", 0, 5), (List{2, 1, 0}));
  EXPECT_EQ(Indices(L"0.9:2.9", 0, 2), (List{0, 1, 2}));
  EXPECT_EQ(Indices(L"-0.5", 0, 2), (List{0}));
  EXPECT_EQ(Indices(L"", 0, 2), List());
}

TEST(RangeIndices, OutsideTheBoundsIsAMessage) {
  EXPECT_EQ(Failure(L"3:9", 0, 5), "Range 3:9 on port(Rows) is outside the bounds 0 to 5.");
  EXPECT_EQ(Failure(L"-1", 0, 5), "Range -1 on port(Rows) is outside the bounds 0 to 5.");
  EXPECT_EQ(Failure(L"0", 1, 5), "Range 0 on port(Rows) is outside the bounds 1 to 5.");
  EXPECT_EQ(Failure(L"NaN", 0, 5), "Range NaN on port(Rows) is outside the bounds 0 to 5.");
  EXPECT_EQ(Failure(L"0:1e300", 0, 5), "Range 0:1e+300 on port(Rows) is outside the bounds 0 to 5.");
  // The bound of a table without rows.
  EXPECT_EQ(Failure(L"0:4294967295", 0, 0u - 1),
            "Range 0:4294967295 on port(Rows) is outside the bounds of something that is empty.");
}

TEST(RangeIndices, AnAbsentOptionalPortGivesNone) {
  const auto reader = MakeReader();
  EXPECT_TRUE(RangeListHelper::GetRangeListFromPortAsUnsignedList(reader->GetPort(L"Columns"), 0, 5).empty());
  EXPECT_THROW(RangeListHelper::GetRangeListFromPortAsUnsignedList(reader->GetPort(L"Rows"), 0, 5), std::exception);
}

/// Enough for several threads, of long ranges and of short ones, up and down.
TEST(RangeIndices, ManyInPiecesOnThreads) {
  RangeVector ranges;
  std::vector<unsigned> expected;
  const auto add = [&](unsigned first, unsigned last) {
    ranges.emplace_back(first, last);
    for (unsigned index = first; index != last; first < last ? ++index : --index) expected.push_back(index);
    expected.push_back(last);
  };
  add(0, 700'000);
  for (unsigned i = 0; i < 300'000; ++i) add(i * 7919 % 1'000'000, i * 7919 % 1'000'000);
  add(600'000, 1);
  for (unsigned i = 0; i < 5'000; ++i) add(i, i % 2 ? i / 2 : i + 9);
  const auto reader = MakeReader();
  reader->GetPort(L"Rows")->SetData(tx::MakeData<RangeListData>(ranges));
  EXPECT_EQ(RangeListHelper::GetRangeListFromPortAsUnsignedList(reader->GetPort(L"Rows"), 0, 1'000'000), expected);

  const RangeListHelper::IndexList list(reader->GetPort(L"Rows"), 0, 1'000'000);
  ASSERT_EQ(list.GetCount(), expected.size());
  std::size_t next = 0, count = 0;
  list.ForRanges([&](std::size_t place, unsigned first, unsigned last) {
    EXPECT_EQ(place, next);
    EXPECT_EQ(ranges[count].GetStart(), first);
    EXPECT_EQ(ranges[count].GetEnd(), last);
    next += (first < last ? last - first : first - last) + 1;
    ++count;
  });
  EXPECT_EQ(count, ranges.size());

  // The first that is outside is told, wherever it stands.
  ranges[200'000] = RangeClass(0, 1'000'001);
  ranges[300'003] = RangeClass(-7, 0);
  reader->GetPort(L"Rows")->SetData(tx::MakeData<RangeListData>(ranges));
  try {
    RangeListHelper::GetRangeListFromPortAsUnsignedList(reader->GetPort(L"Rows"), 0, 1'000'000);
    ADD_FAILURE() << "nothing was raised";
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "Range 0:1000001 on port(Rows) is outside the bounds 0 to 1000000.");
  }
}

}  // namespace
