#include "txlib/datajson.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "txlib/basicdata.h"
#include "txlib/dataref.h"
#include "txlib/jsonvalue.h"

using namespace Tamrin::Tessera;

namespace {

using DataPtr = boost::shared_ptr<Data>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

JsonValue Parse(const std::wstring& text) {
  JsonValue json;
  EXPECT_TRUE(json.Deserialize(text)) << testing::PrintToString(text);
  return json;
}

struct BareRow {
  const wchar_t* json;
  const wchar_t* type;
  const wchar_t* text;
};

TEST(DataJsonTest, BareValues) {
  const BareRow rows[] = {
      {L"true", L"Bool", L"true"},
      {L"5", L"Int", L"5"},
      {L"-2147483648", L"Int", L"-2147483648"},
      {L"2147483647", L"Int", L"2147483647"},
      {L"2147483648", L"Unsigned", L"2147483648"},
      {L"4294967295", L"Unsigned", L"4294967295"},
      {L"4294967296", L"Double", L"4294967296"},
      {L"-2147483649", L"Double", L"-2147483649"},
      {L"18446744073709551615", L"Double", L"1.8446744073709552e+19"},
      {L"5.0", L"Double", L"5"},
      {L"1e2", L"Double", L"100"},
      {L"\"text\"", L"String", L"text"},
      {L"[]", L"List", L"[]"},
      {L"[1, null, \"a\"]", L"List", L"[1, null, \"a\"]"},
      {L"{}", L"Dictionary", L"{}"},
      {L"{\"Type\": \"x\"}", L"Dictionary", L"{\"Type\": \"x\"}"},
      {L"{\"Type\": \"x\", \"Value\": 1, \"c\": 2}", L"Dictionary", L"{\"Type\": \"x\", \"Value\": 1, \"c\": 2}"},
      {L"{\"Type\": \"VANTIX.File\", \"Value\": \"a\"}", L"File", L"a"},
      {L"[{\"Value\": 5, \"Type\": \"VANTIX.Unsigned\"}]", L"List", L"[5]"}};
  for (const BareRow& row : rows) {
    DataPtr data;
    std::wstring error;
    std::string path;
    ASSERT_TRUE(DataFromDocumentJson(Parse(row.json), data, error, path)) << testing::PrintToString(error);
    ASSERT_TRUE(data);
    EXPECT_EQ(data->GetDataTypeName(), ObjectName(L"VANTIX", row.type));
    EXPECT_EQ(data->ToString(), row.text);
  }
}

TEST(DataJsonTest, NullMeansNoData) {
  for (const wchar_t* text :
       {L"null", L"{\"Type\": \"VANTIX.Data\", \"Value\": null}", L"{\"Type\": \"VANTIX.Int\", \"Value\": null}"}) {
    DataPtr data = MakeData<IntData>(5);
    std::wstring error;
    std::string path;
    EXPECT_TRUE(DataFromDocumentJson(Parse(text), data, error, path));
    EXPECT_FALSE(data);
  }
}

struct ErrorRow {
  const wchar_t* json;
  const char* path;
  const wchar_t* error;
};

TEST(DataJsonTest, ErrorsTellPlaceAndWords) {
  const ErrorRow rows[] = {
      {L"{\"Type\": \"VANTIX.Int\", \"Value\": 3000000000}", ".Value",
       L"found 3000000000, expected a whole number from -2147483648 to 2147483647 for type \"VANTIX.Int\""},
      {L"{\"Type\": \"VANTIX.Int\", \"Value\": 5.5}", ".Value",
       L"found 5.5, expected a whole number from -2147483648 to 2147483647 for type \"VANTIX.Int\""},
      {L"{\"Type\": \"VANTIX.Unsigned\", \"Value\": -1}", ".Value",
       L"found -1, expected a whole number from 0 to 4294967295 for type \"VANTIX.Unsigned\""},
      {L"{\"Type\": \"VANTIX.Bool\", \"Value\": 1}", ".Value",
       L"found 1, expected true or false for type \"VANTIX.Bool\""},
      {L"{\"Type\": \"VANTIX.Double\", \"Value\": \"nan\"}", ".Value",
       L"found the string \"nan\", expected a number, \"NaN\", \"Infinity\" or \"-Infinity\" for type "
       L"\"VANTIX.Double\""},
      {L"{\"Type\": \"VANTIX.File\", \"Value\": {}}", ".Value",
       L"found an object, expected a string for type \"VANTIX.File\""},
      {L"{\"Type\": \"VANTIX.StringList\", \"Value\": 1}", ".Value",
       L"found 1, expected an array of strings for type \"VANTIX.StringList\""},
      {L"{\"Type\": \"VANTIX.StringList\", \"Value\": [\"a\", 1]}", ".Value[1]", L"found 1, expected a string"},
      {L"{\"Type\": \"VANTIX.Itn\", \"Value\": 5}", ".Type",
       L"found the unknown type \"VANTIX.Itn\"; did you mean \"VANTIX.Int\"?"},
      {L"{\"Type\": \"Double\", \"Value\": null}", ".Type",
       L"found the unknown type \"Double\"; did you mean \"VANTIX.Double\"?"},
      {L"{\"Type\": \"qqqqqqqqqqqqqqqqqqq\", \"Value\": 5}", ".Type",
       L"found the unknown type \"qqqqqqqqqqqqqqqqqqq\", expected the name of a data type such as \"VANTIX.Int\""},
      {L"{\"Type\": 5, \"Value\": 5}", ".Type", L"found 5, expected the name of a data type such as \"VANTIX.Int\""},
      {L"{\"Type\": \"VANTIX.Data\", \"Value\": 5}", ".Value", L"found 5, expected null for type \"VANTIX.Data\""},
      {L"[1, {\"a b\": {\"k\": {\"Type\": \"VANTIX.Bool\", \"Value\": \"x\"}}}]", "[1][\"a b\"].k.Value",
       L"found the string \"x\", expected true or false for type \"VANTIX.Bool\""},
      {L"{\"Type\": \"VANTIX.List\", \"Value\": [null, 5]}", ".Value[1]",
       L"found 5, expected an object with \"Type\" and \"Value\""},
      {L"{\"Type\": \"VANTIX.Dictionary\", \"Value\": {\"k\": {\"Type\": \"VANTIX.Bool\", \"Value\": 0}}}",
       ".Value.k.Value", L"found 0, expected true or false for type \"VANTIX.Bool\""},
      {L"{\"Type\": \"VANTIX.List\", \"Value\": {}}", ".Value",
       L"found an object, expected an array of typed values and nulls for type \"VANTIX.List\""}};
  for (const ErrorRow& row : rows) {
    DataPtr data = MakeData<IntData>(5);
    std::wstring error;
    std::string path;
    EXPECT_FALSE(DataFromDocumentJson(Parse(row.json), data, error, path));
    EXPECT_EQ(path, row.path);
    EXPECT_EQ(error, row.error);
    EXPECT_FALSE(data);
  }
}

TEST(DataJsonTest, TypedReaderTakesTypedValuesOnly) {
  DataPtr data;
  std::wstring error;
  EXPECT_FALSE(DataFromTypedJson(Parse(L"5"), data, error));
  EXPECT_EQ(error, L"found 5, expected an object with \"Type\" and \"Value\"");
  EXPECT_FALSE(DataFromTypedJson(Parse(L"{\"Type\": \"VANTIX.Bool\", \"Value\": 5}"), data, error));
  EXPECT_EQ(error, L"found 5, expected true or false for type \"VANTIX.Bool\"");
  const wchar_t* inside = L"{\"Type\": \"VANTIX.List\", \"Value\": [{\"Type\": \"VANTIX.Bool\", \"Value\": 5}]}";
  EXPECT_FALSE(DataFromTypedJson(Parse(inside), data, error));
  EXPECT_EQ(error, L"Value[0].Value: found 5, expected true or false for type \"VANTIX.Bool\"");
}

TEST(DataJsonTest, TypedForm) {
  const std::pair<DataPtr, const wchar_t*> rows[] = {
      {nullptr, L"{\"Type\":\"VANTIX.Data\",\"Value\":null}"},
      {MakeData<IntData>(5), L"{\"Type\":\"VANTIX.Int\",\"Value\":5}"},
      {MakeData<DoubleData>(0.1), L"{\"Type\":\"VANTIX.Double\",\"Value\":0.1}"},
      {MakeData<DoubleData>(-kInfinity), L"{\"Type\":\"VANTIX.Double\",\"Value\":\"-Infinity\"}"},
      {MakeData<DoubleData>(kInfinity), L"{\"Type\":\"VANTIX.Double\",\"Value\":\"Infinity\"}"},
      {MakeData<DoubleData>(kInfinity - kInfinity), L"{\"Type\":\"VANTIX.Double\",\"Value\":\"NaN\"}"},
      {boost::make_shared<StringData>(), L"{\"Type\":\"VANTIX.String\",\"Value\":null}"},
      {MakeData<StringListData>({L"a"}), L"{\"Type\":\"VANTIX.StringList\",\"Value\":[\"a\"]}"},
      {MakeData<DataListData>({nullptr, MakeData<BoolData>(true)}),
       L"{\"Type\":\"VANTIX.List\",\"Value\":[null,{\"Type\":\"VANTIX.Bool\",\"Value\":true}]}"}};
  for (const auto& [data, text] : rows) {
    JsonValue json;
    ASSERT_TRUE(DataToTypedJson(data, json));
    EXPECT_EQ(json.Serialize(), text);
  }
}

/// A value without a JSON form, as a password is.
class SecretData : public StringData {
 public:
  using StringData::StringData;
  TESSERA_DATA_TYPE(L"Secret")
  bool ToJSON(JsonValue&) const override { return false; }
};

TEST(DataJsonTest, OneItemWithoutAFormIsEnoughForNone) {
  const DataPtr secret = MakeData<SecretData>(L"pass");
  Dictionary dictionary;
  dictionary.SetItem(L"k", secret);
  JsonValue json;
  EXPECT_FALSE(DataToTypedJson(secret, json));
  EXPECT_FALSE(DataToTypedJson(MakeData<DataListData>({nullptr, secret}), json));
  EXPECT_FALSE(DataToTypedJson(MakeData<DictionaryData>(std::move(dictionary)), json));
}

TEST(DataJsonTest, FileNamesAreKeysWhateverTheirBytes) {
  Dictionary dictionary;
  dictionary.SetItem(L"a\xDCFF", MakeData<IntData>(1));
  JsonValue json;
  ASSERT_TRUE(DataToTypedJson(MakeData<DictionaryData>(std::move(dictionary)), json));
  EXPECT_EQ(json[L"Value"].SerializeUtf8(), R"({"a\udcff":{"Type":"VANTIX.Int","Value":1}})");
  DataPtr back;
  std::wstring error;
  ASSERT_TRUE(DataFromTypedJson(json, back, error)) << error.size();
  EXPECT_NE(boost::dynamic_pointer_cast<DictionaryData>(back)->GetDataValue().Find(L"a\xDCFF"), nullptr);
  // One that is wrong is told by its key.
  ASSERT_TRUE(json.DeserializeUtf8(R"({"a\udcff": {"Type": "VANTIX.Int", "Value": "x"}})", false, nullptr));
  std::string path;
  EXPECT_FALSE(DataFromDocumentJson(json, back, error, path));
  EXPECT_EQ(path, R"(["a\udcff"].Value)");
}

TEST(DataJsonTest, WrongKindsLeaveTheValue) {
  IntData number(7);
  for (const wchar_t* text :
       {L"5.0", L"true", L"\"5\"", L"null", L"[]", L"2147483648", L"-2147483649", L"18446744073709551615"})
    EXPECT_FALSE(number.FromJSON(Parse(text)));
  EXPECT_EQ(number.GetDataValue(), 7);
  UnsignedData count(7);
  for (const wchar_t* text : {L"-1", L"4294967296", L"18446744073709551615", L"1.5"})
    EXPECT_FALSE(count.FromJSON(Parse(text)));
  EXPECT_EQ(count.GetDataValue(), 7U);
  DoubleData real(7);
  for (const wchar_t* text : {L"\"inf\"", L"null", L"true"}) EXPECT_FALSE(real.FromJSON(Parse(text)));
  EXPECT_EQ(real.GetDataValue(), 7);
  EXPECT_TRUE(real.FromJSON(Parse(L"5")));
  EXPECT_EQ(real.GetDataValue(), 5);
}

TEST(DataJsonTest, NestingIsBounded) {
  JsonValue json(JsonValueType::Array);
  for (int i = 1; i < 1000; ++i) {
    JsonValue outer(JsonValueType::Array);
    outer.Append(std::move(json));
    json = std::move(outer);
  }
  DataPtr data;
  std::wstring error;
  std::string path;
  EXPECT_TRUE(DataFromDocumentJson(json, data, error, path));
  JsonValue outer(JsonValueType::Array);
  outer.Append(json);
  EXPECT_FALSE(DataFromDocumentJson(outer, data, error, path));
  EXPECT_EQ(error, L"found values nested more than 1000 levels deep, expected less");
}

/// A value of any type of this layer, nested a few levels.
DataPtr RandomValue(std::mt19937_64& random, int depth) {
  const std::uint64_t bits = random();
  switch (bits % (depth > 0 ? 11 : 8)) {
    case 0:
      return nullptr;
    case 1:
      return MakeData<BoolData>(bits >> 63 != 0);
    case 2:
      return MakeData<IntData>(static_cast<int>(bits >> 32));
    case 3:
      return MakeData<UnsignedData>(static_cast<unsigned>(bits >> 32));
    case 4:
      return MakeData<DoubleData>(std::bit_cast<double>(random()));
    case 5:
      return MakeData<StringData>(std::to_wstring(bits) + L"\"\u00e9\U0001F600");
    case 6:
      return MakeData<FileData>(L"f" + std::to_wstring(bits));
    case 7:
      return MakeData<DirectoryData>(L"");
    case 8:
      return MakeData<StringListData>(std::vector<std::wstring>(bits >> 61, L"x"));
    case 9: {
      DataList items(bits >> 61);
      for (DataPtr& item : items) item = RandomValue(random, depth - 1);
      return MakeData<DataListData>(std::move(items));
    }
    default:
      break;
  }
  Dictionary dictionary;
  for (std::uint64_t i = bits >> 61; i > 0; --i)
    dictionary.SetItem(std::to_wstring(random() % 100), RandomValue(random, depth - 1));
  return MakeData<DictionaryData>(std::move(dictionary));
}

bool IsSame(const DataPtr& a, const DataPtr& b);

bool IsSameContainer(Data& a, Data& b) {
  if (a.Count() != b.Count() || a.GetKeys() != b.GetKeys()) return false;
  for (std::int32_t i = 0; i < a.Count(); ++i)
    if (!IsSame(a[i].AsDataOrNull(), b[i].AsDataOrNull())) return false;
  return true;
}

bool IsSame(const DataPtr& a, const DataPtr& b) {
  if (!a || !b) return !a && !b;
  if (a->GetDataTypeName() != b->GetDataTypeName()) return false;
  if (const auto real = boost::dynamic_pointer_cast<DoubleData>(a)) {
    const double first = real->GetDataValue(), second = static_cast<DoubleData&>(*b).GetDataValue();
    return std::bit_cast<std::uint64_t>(first) == std::bit_cast<std::uint64_t>(second) ||
           (std::isnan(first) && std::isnan(second));
  }
  if (dynamic_cast<DataListData*>(a.get()) || dynamic_cast<DictionaryData*>(a.get())) return IsSameContainer(*a, *b);
  return a->ToString() == b->ToString();
}

void RoundTrips(unsigned seed) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937_64 random(seed);
  for (int round = 0; round < 2000; ++round) {
    const DataPtr value = RandomValue(random, 3);
    JsonValue json, read;
    ASSERT_TRUE(DataToTypedJson(value, json));
    ASSERT_TRUE(read.Deserialize(json.Serialize(round % 2 == 0)));
    DataPtr copy;
    std::wstring error;
    std::string path;
    ASSERT_TRUE(DataFromTypedJson(read, copy, error)) << testing::PrintToString(error);
    ASSERT_TRUE(IsSame(value, copy));
    ASSERT_TRUE(DataFromDocumentJson(read, copy, error, path));
    ASSERT_TRUE(IsSame(value, copy));
    if (value) {
      ASSERT_TRUE(IsSame(value, value->Clone()));
      ASSERT_EQ(value->ToString(), value->Clone()->ToString());
    }
  }
}

TEST(DataJsonTest, RandomValuesRoundTrip) {
  RoundTrips(3);
  RoundTrips(std::random_device()());
}

}  // namespace
