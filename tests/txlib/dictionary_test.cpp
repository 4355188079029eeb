#include <gtest/gtest.h>

#include <string>

#include "txlib/basicdata.h"
#include "txlib/dataref.h"
#include "txlib/datarequest.h"
#include "txlib/jsonvalue.h"

using namespace Tamrin::Tessera;

namespace {

using DataPtr = boost::shared_ptr<Data>;
using Keys = std::vector<std::wstring>;

DataPtr Int(int value) { return MakeData<IntData>(value); }

TEST(DictionaryTest, KeepsTheOrderOfKeys) {
  Dictionary dictionary;
  dictionary.SetItem(L"b", Int(1));
  dictionary.SetItem(L"a", Int(2));
  dictionary.SetItem(L"", nullptr);
  dictionary.SetItem(L"b", Int(3));
  EXPECT_EQ(dictionary.GetKeys(), (Keys{L"b", L"a", L""}));
  EXPECT_EQ(dictionary.Find(L"b")->ToString(), L"3");
  EXPECT_TRUE(dictionary.Contains(L""));
  EXPECT_FALSE(dictionary.Find(L""));
  EXPECT_FALSE(dictionary.Contains(L"B"));
  EXPECT_FALSE(dictionary.Find(L"B"));
}

TEST(DictionaryTest, HandleInsertsWhenAssignedTo) {
  Dictionary dictionary;
  DataRef handle = dictionary[L"new"];
  EXPECT_TRUE(handle.IsNull());
  EXPECT_FALSE(dictionary.Contains(L"new"));
  handle = L"text";
  EXPECT_EQ(dictionary.Find(L"new")->ToString(), L"text");
  dictionary[L"new"] = Int(5);
  dictionary[L"copy"] = dictionary[L"new"];
  EXPECT_EQ(dictionary.Find(L"copy")->ToString(), L"5");
  EXPECT_EQ(dictionary.GetItems().size(), 2U);
}

// Past a number of keys another way of finding them takes over.
TEST(DictionaryTest, ManyKeysAreFoundAndErased) {
  Dictionary dictionary;
  for (int i = 0; i < 100; ++i) dictionary.SetItem(std::to_wstring(i), Int(i));
  for (int i = 0; i < 100; i += 3) EXPECT_TRUE(dictionary.Erase(std::to_wstring(i)));
  EXPECT_FALSE(dictionary.Erase(L"0"));
  const Dictionary copy = dictionary;
  for (int i = 0; i < 100; ++i) {
    const DataPtr found = copy.Find(std::to_wstring(i));
    if (i % 3 == 0)
      EXPECT_FALSE(found);
    else
      EXPECT_EQ(found->ToString(), std::to_wstring(i));
  }
  for (int i = 0; i < 100; ++i) dictionary.Erase(std::to_wstring(i));
  EXPECT_TRUE(dictionary.GetKeys().empty());
  dictionary.SetItem(L"x", nullptr);
  EXPECT_TRUE(dictionary.Contains(L"x"));
}

TEST(DictionaryTest, CopiesShareValuesAndMovesLeaveNothing) {
  Dictionary dictionary;
  dictionary.SetItem(L"a", Int(1));
  Dictionary copy = dictionary;
  EXPECT_EQ(copy.Find(L"a"), dictionary.Find(L"a"));
  copy.SetItem(L"b", nullptr);
  EXPECT_FALSE(dictionary.Contains(L"b"));
  const Dictionary moved = std::move(copy);
  EXPECT_TRUE(moved.Contains(L"b"));
  EXPECT_TRUE(copy.GetKeys().empty());
}

TEST(DictionaryDataTest, ReadsByKeyAndIndex) {
  DictionaryData data;
  EXPECT_TRUE(data[L"a"].IsNull());
  EXPECT_TRUE(data.HasNoValue());
  data[L"a"] = Int(1);
  data[L"b"] = L"text";
  EXPECT_FALSE(data.HasNoValue());
  EXPECT_EQ(data.Count(), 2);
  EXPECT_EQ(data.GetKeys(), (Keys{L"a", L"b"}));
  EXPECT_EQ(data[1].ToString(), L"text");
  EXPECT_TRUE(data[2].IsNull());
  EXPECT_TRUE(data[-1].IsNull());
  data[1] = Int(2);
  EXPECT_EQ(data.ToString(), L"{\"a\": 1, \"b\": 2}");
  EXPECT_TRUE(data.Erase(0));
  EXPECT_FALSE(data.Erase(std::wstring(L"a")));
  EXPECT_TRUE(data.Erase(std::wstring(L"b")));
  EXPECT_EQ(data.ToString(), L"{}");
}

TEST(DictionaryDataTest, FromStringReadsJson) {
  DictionaryData data;
  EXPECT_TRUE(data.FromString(L"{\"a\": [1, {\"b\": null}], \"c\": \"x\"}"));
  EXPECT_EQ(data.ToString(), L"{\"a\": [1, {\"b\": null}], \"c\": \"x\"}");
  for (const wchar_t* bad : {L"", L"[]", L"a=1", L"{\"a\"}", L"null"}) EXPECT_FALSE(data.FromString(bad));
  EXPECT_EQ(data.Count(), 2);
}

TEST(DictionaryDataTest, LongReportsHaveALineForEachKey) {
  DictionaryData data;
  data[L"short"] = Int(1);
  data[L"long"] = std::wstring(90, L'x');
  data[L"list"] = DataPtr(MakeData<StringListData>({std::wstring(50, L'a'), std::wstring(50, L'b')}));
  EXPECT_EQ(data.ToReportString(), L"{\n  \"short\": 1,\n  \"long\": \"" + std::wstring(90, L'x') +
                                       L"\",\n  \"list\": [\n    \"" + std::wstring(50, L'a') + L"\",\n    \"" +
                                       std::wstring(50, L'b') + L"\"\n  ]\n}");
}

TEST(DictionaryDataTest, UtilitiesGiveItsTexts) {
  EXPECT_EQ(DictionaryUtils::ToString(nullptr), L"");
  EXPECT_EQ(DictionaryUtils::ToReportString(nullptr), L"");
  const auto data = boost::make_shared<DictionaryData>();
  (*data)[L"a"] = MakeData<DoubleData>(0.1);
  EXPECT_EQ(DictionaryUtils::ToString(data), L"{\"a\": 0.1}");
  EXPECT_EQ(DictionaryUtils::ToReportString(data), L"{\"a\": 0.1}");
}

TEST(DictionaryDataTest, ClonesAreDeep) {
  DictionaryData data;
  data[L"a"] = DataPtr(MakeData<DataListData>({Int(1)}));
  const DataPtr copy = data.Clone();
  data[L"a"][0] = Int(2);
  EXPECT_EQ(copy->ToString(), L"{\"a\": [1]}");
  EXPECT_EQ(data.ToString(), L"{\"a\": [2]}");
}

TEST(DictionaryDataTest, OrderIsByKeyThenValue) {
  DictionaryData first;
  first[L"a"] = Int(1);
  const auto second = boost::make_shared<DictionaryData>();
  (*second)[L"a"] = Int(2);
  EXPECT_TRUE(first < second);
  EXPECT_FALSE(first > second);
  EXPECT_TRUE(*second > first.Clone());
  EXPECT_FALSE(first < first.Clone());
}

TEST(DataRequestTest, KeepsAttributes) {
  DataRequest request;
  request.Initialize();
  EXPECT_FALSE(request.GetAttribute(L"a"));
  const DataPtr value = Int(1);
  request.SetAttribute(L"a", value);
  EXPECT_EQ(request.GetAttribute(L"a"), value);
  request.SetAttribute(L"a", nullptr);
  EXPECT_FALSE(request.GetAttribute(L"a"));
  EXPECT_STREQ(request.Name(), L"DataRequest");
}

}  // namespace
