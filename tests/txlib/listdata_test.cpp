#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "korvenlog/exception.h"
#include "txlib/basicdata.h"
#include "txlib/datajson.h"
#include "txlib/dataref.h"
#include "txlib/jsonvalue.h"

using namespace Tamrin::Tessera;

namespace {

using DataPtr = boost::shared_ptr<Data>;

DataPtr List(DataList items) { return MakeData<DataListData>(std::move(items)); }
DataPtr Int(int value) { return MakeData<IntData>(value); }
DataPtr Text(const wchar_t* value) { return MakeData<StringData>(value); }

/// A hidden text, as a password is.
class SecretData : public StringData {
 public:
  using StringData::StringData;
  TESSERA_DATA_TYPE(L"Secret")
  std::wstring ToReportString() const override { return L"********"; }
};

DataPtr Nested(int levels) {
  DataPtr data = List({});
  for (int i = 1; i < levels; ++i) data = List({data});
  return data;
}

TEST(ListDataTest, Texts) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::pair<DataPtr, const wchar_t*> rows[] = {
      {List({}), L"[]"},
      {List({Int(1), nullptr, Text(L"a"), MakeData<BoolData>(true)}), L"[1, null, \"a\", true]"},
      {List({MakeData<DoubleData>(0.1), MakeData<DoubleData>(5), MakeData<DoubleData>(nan)}), L"[0.1, 5.0, nan]"},
      {List({MakeData<UnsignedData>(5U), MakeData<FileData>(L"a.txt")}), L"[5, \"a.txt\"]"},
      {List({List({Int(1)}), List({})}), L"[[1], []]"},
      {List({boost::make_shared<StringData>()}), L"[null]"},
      {List({Text(L"a\"b\\c\n\x01")}), L"[\"a\\\"b\\\\c\\n\\u0001\"]"},
      {MakeData<StringListData>({L"a", L"b,c", L""}), L"[\"a\", \"b,c\", \"\"]"}};
  for (const auto& [data, text] : rows) {
    EXPECT_EQ(data->ToString(), text);
    EXPECT_EQ(data->ToShortString(), text);
    EXPECT_EQ(data->ToReportString(), text);
    EXPECT_EQ(data->Clone()->ToString(), text);
  }
}

TEST(ListDataTest, ShortTextIsCutAndTheOthersAreInFull) {
  const DataPtr list = List(DataList(1000, Int(1234)));
  EXPECT_EQ(list->ToString().size(), 2U + 1000 * 4 + 999 * 2);
  const std::wstring text = list->ToShortString();
  EXPECT_EQ(text.size(), 80U);
  EXPECT_EQ(text.substr(0, 12), L"[1234, 1234,");
  EXPECT_EQ(text.substr(77), L"...");
}

TEST(ListDataTest, LongReportsHaveALineForEachItem) {
  const std::wstring word(50, L'x');
  const DataPtr list = List({List({Int(1), Int(2)}), MakeData<StringData>(word), MakeData<StringData>(word)});
  const std::wstring expected = L"[\n  [1, 2],\n  \"" + word + L"\",\n  \"" + word + L"\"\n]";
  EXPECT_EQ(list->ToReportString(), expected);
  bool multiline = false;
  EXPECT_EQ(list->ToString(0, multiline), expected);
  EXPECT_TRUE(multiline);
  EXPECT_EQ(list->ToString(1, multiline).substr(0, 12), L"  [\n    [1, ");
}

TEST(ListDataTest, ReportsKeepHiddenTextsHidden) {
  const DataPtr list = List({MakeData<SecretData>(L"pass")});
  EXPECT_EQ(list->ToReportString(), L"[********]");
  EXPECT_EQ(list->ToShortString(), L"[********]");
}

TEST(ListDataTest, FromStringReadsJson) {
  DataListData list;
  EXPECT_TRUE(list.FromString(L"[1, 2.5, \"a\", null, [true], {\"k\": 1}, 3000000000]"));
  ASSERT_EQ(list.Count(), 7);
  EXPECT_EQ(list[0].AsData()->GetDataTypeName().Name, L"Int");
  EXPECT_EQ(list[1].AsData()->GetDataTypeName().Name, L"Double");
  EXPECT_TRUE(list[3].IsNull());
  EXPECT_EQ(list[4][0].ToString(), L"true");
  EXPECT_EQ(list[5][L"k"].ToString(), L"1");
  EXPECT_EQ(list[6].AsData()->GetDataTypeName().Name, L"Unsigned");
  const std::wstring text = list.ToString();
  for (const wchar_t* bad : {L"", L"1", L"{}", L"[1", L"[1] x", L"a,b"}) EXPECT_FALSE(list.FromString(bad));
  EXPECT_EQ(list.ToString(), text);
}

TEST(ListDataTest, StringListFromString) {
  StringListData list;
  EXPECT_TRUE(list.FromString(L"[\"a\", \"\"]"));
  EXPECT_EQ(list.Count(), 2);
  for (const wchar_t* bad : {L"", L"a.txt", L"[1]", L"null", L"[null]", L"{}"}) EXPECT_FALSE(list.FromString(bad));
  EXPECT_EQ(list.ToString(), L"[\"a\", \"\"]");
}

TEST(ListDataTest, ElementsAndErase) {
  DataListData list(boost::make_shared<DataList>(DataList{Int(1), Int(2), nullptr}));
  EXPECT_EQ(list.Count(), 3);
  EXPECT_EQ(list[1].ToString(), L"2");
  EXPECT_TRUE(list[2].IsNull());
  EXPECT_TRUE(list[3].IsNull());
  EXPECT_TRUE(list[-1].IsNull());
  list[2] = L"new";
  EXPECT_EQ(list.ToString(), L"[1, 2, \"new\"]");
  EXPECT_FALSE(list.Erase(3));
  EXPECT_FALSE(list.Erase(-1));
  EXPECT_TRUE(list.Erase(0));
  EXPECT_EQ(list.ToString(), L"[2, \"new\"]");
}

TEST(ListDataTest, StringListElementsWriteThrough) {
  StringListData list(boost::make_shared<std::vector<std::wstring>>(2, L"old"));
  list[1] = Int(5);
  list[0] = DataPtr();
  EXPECT_EQ(list.ToString(), L"[\"\", \"5\"]");
  EXPECT_TRUE(list[2].IsNull());
  EXPECT_TRUE(list.Erase(1));
  EXPECT_EQ(list.Count(), 1);
}

TEST(ListDataTest, ClonesAreDeep) {
  const DataPtr inner = List({Int(1)});
  const DataPtr list = List({inner, inner, nullptr});
  const DataPtr copy = list->Clone();
  (*inner)[0] = Int(2);
  EXPECT_EQ(copy->ToString(), L"[[1], [1], null]");
  EXPECT_EQ(list->ToString(), L"[[2], [2], null]");
}

TEST(ListDataTest, OrderIsByItem) {
  const DataPtr sorted[] = {List({}),       List({nullptr}),  List({Int(1)}),    List({Int(1), nullptr}),
                            List({Int(2)}), List({List({})}), List({Text(L"a")})};
  for (std::size_t i = 0; i < std::size(sorted); ++i) {
    for (std::size_t j = 0; j < std::size(sorted); ++j) {
      EXPECT_EQ(*sorted[i] < sorted[j], i < j) << i << " " << j;
      EXPECT_EQ(*sorted[i] > sorted[j], i > j) << i << " " << j;
    }
  }
  EXPECT_FALSE(*Nested(5000) < Nested(5000));
}

TEST(ListDataTest, NestingIsFollowedForAThousandLevels) {
  JsonValue json;
  EXPECT_TRUE(Nested(1000)->ToJSON(json));
  EXPECT_FALSE(Nested(1001)->ToJSON(json));
  EXPECT_EQ(Nested(1000)->ToString(), std::wstring(1000, L'[') + std::wstring(1000, L']'));
  EXPECT_EQ(Nested(1001)->ToString(), std::wstring(1000, L'[') + L"..." + std::wstring(1000, L']'));
}

TEST(ListDataTest, HugeNestingIsSafe) {
  DataPtr deep = Nested(100000);
  JsonValue json;
  EXPECT_FALSE(deep->ToJSON(json));
  EXPECT_FALSE(DataToTypedJson(deep, json));
  EXPECT_EQ(deep->ToString().size(), 2003U);
  EXPECT_EQ(deep->ToShortString(), std::wstring(77, L'[') + L"...");
  EXPECT_FALSE(deep->ToReportString().empty());
  EXPECT_GT(deep->SizeInBytes(), 100000U);
  const DataPtr copy = deep->Clone();
  deep.reset();
  EXPECT_EQ(copy->Count(), 1);
}

TEST(ListDataTest, HugeNestingOfDictionariesIsSafe) {
  DataPtr deep = MakeData<DictionaryData>(Dictionary());
  for (int i = 0; i < 100000; ++i) {
    Dictionary outer;
    outer.SetItem(L"k", deep);
    deep = i % 2 ? List({deep}) : DataPtr(MakeData<DictionaryData>(std::move(outer)));
  }
  JsonValue json;
  EXPECT_FALSE(deep->ToJSON(json));
  EXPECT_FALSE(deep->ToString().empty());
  EXPECT_EQ(deep->Clone()->Count(), 1);
}

TEST(ListDataTest, SharedItemsOutliveTheList) {
  const DataPtr item = Int(5);
  const auto items = boost::make_shared<DataList>(DataList{item});
  { const DataListData list(items); }
  ASSERT_EQ(items->size(), 1U);
  EXPECT_EQ((*items)[0], item);
}

TEST(DataRefTest, HandleToNothing) {
  DataRef nothing;
  EXPECT_TRUE(nothing.IsNull());
  EXPECT_FALSE(nothing.AsDataOrNull());
  EXPECT_EQ(nothing.ToString(), L"");
  EXPECT_EQ(nothing.Count(), 0);
  EXPECT_TRUE(nothing.GetKeys().empty());
  EXPECT_TRUE(nothing[0].IsNull());
  EXPECT_TRUE(nothing[L"a"].IsNull());
  EXPECT_FALSE(nothing.Erase(0));
  EXPECT_FALSE(nothing.Erase(std::wstring(L"a")));
  try {
    nothing.AsData();
    FAIL();
  } catch (const KorvenLog::Exception& exception) {
    EXPECT_EQ(exception.get_What(), L"Null reference.");
  }
}

TEST(DataRefTest, AssignmentWritesWhereTheHandleCameFrom) {
  DataListData list(boost::make_shared<DataList>(DataList{Int(1), Int(2)}));
  DataRef first = list[0];
  first = list[1];
  EXPECT_EQ(list.ToString(), L"[2, 2]");
  DataRef loose(Int(9));
  loose = list[0];
  loose = Int(7);
  EXPECT_EQ(list.ToString(), L"[2, 2]");
  EXPECT_EQ(loose.ToString(), L"7");
}

}  // namespace
