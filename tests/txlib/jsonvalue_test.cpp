#include "txlib/jsonvalue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace Tamrin::Tessera {
namespace {

using namespace std::string_literals;

JsonValue Parsed(std::string_view text) {
  JsonValue value;
  std::string error;
  EXPECT_TRUE(value.DeserializeUtf8(text, false, &error)) << error;
  return value;
}

constexpr std::size_t kDeep = 1'000'000;
std::string DeepArrays() { return std::string(kDeep, '[') + std::string(kDeep, ']'); }
std::string DeepObjects() {
  std::string text;
  for (std::size_t i = 0; i < kDeep; ++i) text += "{\"a\":";
  return text + "1" + std::string(kDeep, '}');
}

/// Any value, at most `depth` levels of arrays and objects.
JsonValue RandomValue(std::mt19937_64& random, int depth) {
  const auto text = [&random] {
    static const std::vector<std::wstring> kParts = {L"a", L"\"", L"\\",         L"\n", L"\x01",
                                                     L"é", L"€",  L"\U0001F600", L"/",  L"plain"};
    std::wstring result;
    for (std::size_t i = random() % 12; i > 0; --i) result += kParts[random() % kParts.size()];
    return result;
  };
  switch (random() % (depth > 0 ? 9 : 7)) {
    case 0:
      return JsonValue();
    case 1:
      return JsonValue(random() % 2 == 0);
    case 2:
      return JsonValue::FromInt64(static_cast<std::int64_t>(random()) >> (random() % 64));
    case 3:
      return JsonValue::FromUint64(random() >> (random() % 64));
    case 4: {
      const std::uint64_t bits = random();
      double value;
      std::memcpy(&value, &bits, sizeof value);
      return std::isfinite(value) ? JsonValue(value) : JsonValue(0.0);
    }
    case 5:
    case 6:
      return JsonValue(text());
    case 7: {
      JsonValue array(JsonValueType::Array);
      for (std::size_t i = random() % 20; i > 0; --i) array.Append(RandomValue(random, depth - 1));
      return array;
    }
    default: {
      JsonValue object(JsonValueType::Object);
      for (std::size_t i = random() % 40; i > 0; --i) object[text()] = RandomValue(random, depth - 1);
      return object;
    }
  }
}

TEST(JsonValue, SurvivesARoundTrip) {
  std::mt19937_64 random(7);
  for (int i = 0; i < 300; ++i) {
    const JsonValue value = RandomValue(random, 4);
    for (const bool styled : {false, true}) {
      const std::string text = value.SerializeUtf8(styled);
      const JsonValue back = Parsed(text);
      EXPECT_EQ(back, value) << text;
      EXPECT_EQ(back.SerializeUtf8(styled), text);
    }
    JsonValue wide;
    EXPECT_TRUE(wide.Deserialize(value.Serialize()));
    EXPECT_EQ(wide, value);
  }
}

TEST(JsonValue, ConstructsEachType) {
  EXPECT_TRUE(JsonValue().IsNull());
  EXPECT_EQ(JsonValue(L"é\U0001F600").AsUtf8(), "é😀");
  EXPECT_EQ(JsonValue(std::wstring(L"text beyond fourteen bytes")).AsString(), L"text beyond fourteen bytes");
  EXPECT_EQ(JsonValue(true).Type(), JsonValueType::Bool);
  EXPECT_EQ(JsonValue(1.5).AsDouble(), 1.5);
  EXPECT_EQ(JsonValue(-5).AsInt(), -5);
  EXPECT_EQ(JsonValue::FromUint64(5).Type(), JsonValueType::Unsigned);
  for (int type = JsonValueType::Null; type <= JsonValueType::Object; ++type) {
    const JsonValue value(static_cast<JsonValueType::Enum>(type));
    EXPECT_EQ(value.Type(), type);
    EXPECT_EQ(value.Count(), 0u);
    EXPECT_EQ(value.AsInt(), 0);
    EXPECT_EQ(value.AsUtf8(), "");
  }
  EXPECT_EQ(sizeof(JsonValue), 16u);
}

TEST(JsonValue, KeepsTextsOfAllLengths) {
  for (std::size_t length = 0; length < 40; ++length) {
    const std::string text(length, 'x');
    const JsonValue value = JsonValue::FromUtf8(text);
    const JsonValue copy = value;
    EXPECT_EQ(copy.AsUtf8(), text);
    EXPECT_EQ(copy, value);
    EXPECT_NE(copy, JsonValue::FromUtf8(text + "x"));
  }
  EXPECT_EQ(JsonValue::FromUtf8("a\xFFz").AsUtf8(), "a\xEF\xBF\xBDz");
}

TEST(JsonValue, ConvertsNumbers) {
  struct Row {
    std::string text;
    JsonValueType::Enum type;
    int asInt;
    std::int64_t asInt64;
    std::uint64_t asUint64;
    double asDouble;
  };
  constexpr int kMaxInt = std::numeric_limits<int>::max();
  constexpr int kMinInt = std::numeric_limits<int>::min();
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
  constexpr std::uint64_t kTop = std::numeric_limits<std::uint64_t>::max();
  const std::vector<Row> rows = {
      {"-1", JsonValueType::Int, -1, -1, 0, -1},
      {"2147483648", JsonValueType::Int, kMaxInt, 2147483648, 2147483648, 2147483648.0},
      {"4294967295", JsonValueType::Int, kMaxInt, 4294967295, 4294967295, 4294967295.0},
      {"-2147483649", JsonValueType::Int, kMinInt, -2147483649, 0, -2147483649.0},
      {"9223372036854775807", JsonValueType::Int, kMaxInt, kMax, 9223372036854775807u, 0x1p63},
      {"9223372036854775808", JsonValueType::Unsigned, kMaxInt, kMax, 9223372036854775808u, 0x1p63},
      {"18446744073709551615", JsonValueType::Unsigned, kMaxInt, kMax, kTop, 0x1p64},
      {"18446744073709551616", JsonValueType::Double, kMaxInt, kMax, kTop, 0x1p64},
      {"-1e300", JsonValueType::Double, kMinInt, kMin, 0, -1e300},
      {"-2.9", JsonValueType::Double, -2, -2, 0, -2.9},
      {"true", JsonValueType::Bool, 1, 1, 1, 1},
      {"null", JsonValueType::Null, 0, 0, 0, 0},
      {"\"5\"", JsonValueType::String, 0, 0, 0, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const JsonValue value = Parsed(row.text);
    EXPECT_EQ(value.Type(), row.type);
    EXPECT_EQ(value.AsInt(), row.asInt);
    EXPECT_EQ(value.AsInt64(), row.asInt64);
    EXPECT_EQ(value.AsUint64(), row.asUint64);
    EXPECT_EQ(value.AsDouble(), row.asDouble);
  }
  EXPECT_EQ(JsonValue(std::nan("")).AsInt(), 0);
  EXPECT_TRUE(JsonValue(0.5).AsBool());
  EXPECT_FALSE(JsonValue(-0.0).AsBool());
  EXPECT_TRUE(JsonValue(-1).AsBool());
  EXPECT_FALSE(JsonValue(L"true").AsBool());
}

TEST(JsonValue, ComparesByValue) {
  struct Row {
    std::string a, b;
    bool equal;
  };
  const std::vector<Row> rows = {
      {"1", "1.0", true},
      {"-0.0", "0", true},
      {"1", "1.5", false},
      {"1", "true", false},
      {"1", "\"1\"", false},
      {"null", "false", false},
      {"18446744073709551615", "18446744073709551616", false},
      {"9223372036854775808", "9223372036854775808.0", true},
      {"9223372036854775807", "9223372036854775808.0", false},
      {"9007199254740993", "9007199254740992.0", false},
      {"-1", "18446744073709551615", false},
      {"[]", "{}", false},
      {"[1, 2]", "[2, 1]", false},
      {"[1]", "[1, null]", false},
      {R"({"a": 1, "b": [2]})", R"({"b": [2.0], "a": 1})", true},
      {R"({"a": 1, "b": 2})", R"({"a": 1, "c": 2})", false},
      {R"({"a": {"b": 1}})", R"({"a": {"b": 2}})", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.a + " and " + row.b);
    EXPECT_EQ(Parsed(row.a) == Parsed(row.b), row.equal);
    EXPECT_EQ(Parsed(row.b) == Parsed(row.a), row.equal);
    EXPECT_EQ(Parsed(row.a), Parsed(row.a));
  }
  EXPECT_EQ(JsonValue::FromUint64(5), JsonValue(5));
  EXPECT_EQ(JsonValue(std::nan("")), JsonValue(std::nan("")));
}

TEST(JsonValue, WritesStyledText) {
  const JsonValue value = Parsed(R"({"a":1,"b":[],"c":{},"d":[1.0,{"é":null}],"e":"x\"y"})");
  EXPECT_EQ(value.SerializeUtf8(), R"({"a":1,"b":[],"c":{},"d":[1.0,{"é":null}],"e":"x\"y"})");
  EXPECT_EQ(value.SerializeUtf8(true), R"({
  "a": 1,
  "b": [],
  "c": {},
  "d": [
    1.0,
    {
      "é": null
    }
  ],
  "e": "x\"y"
})");
  EXPECT_EQ(JsonValue(std::numeric_limits<double>::infinity()).Serialize(), L"null");
  EXPECT_TRUE(std::signbit(Parsed(JsonValue(-0.0).SerializeUtf8()).AsDouble()));
}

TEST(JsonValue, KeepsTheOrderOfKeysAndTheLastOfEqualOnes) {
  EXPECT_EQ(Parsed(R"({"z":1,"a":2,"z":3})").SerializeUtf8(), R"({"z":3,"a":2})");
  std::string text = "{";
  std::string expected = "{";
  for (int i = 0; i < 100; ++i) {
    text += "\"k" + std::to_string(i) + "\":0,";
    expected += (i != 0 ? ",\"k" : "\"k") + std::to_string(i) + "\":" + (i == 40 ? "7" : "0");
  }
  const JsonValue value = Parsed(text + "\"k40\":7}");
  EXPECT_EQ(value.SerializeUtf8(), expected + "}");
  EXPECT_EQ(value.Count(), 100u);
}

TEST(JsonValue, FindsMembersOfSmallAndLargeObjects) {
  for (const int count : {1, 15, 16, 17, 1000}) {
    JsonValue value;
    for (int i = 0; i < count; ++i) value[L"key " + std::to_wstring(i)] = i;
    EXPECT_EQ(value.Count(), static_cast<unsigned>(count));
    for (int i = 0; i < count; ++i) {
      const JsonValue* found = value.Find("key " + std::to_string(i));
      ASSERT_NE(found, nullptr);
      EXPECT_EQ(found->AsInt(), i);
    }
    EXPECT_EQ(value.Find("key"), nullptr);
    EXPECT_TRUE(value.Remove("key 0"));
    EXPECT_FALSE(value.Remove("key 0"));
    EXPECT_EQ(value.Find("key 0"), nullptr);
    const JsonValue* last = value.Find("key " + std::to_string(count - 1));
    EXPECT_EQ(last == nullptr ? 0 : last->AsInt(), count - 1);
    EXPECT_EQ(value.Count(), static_cast<unsigned>(count - 1));
  }
}

TEST(JsonValue, ReachesElementsAndMembers) {
  JsonValue value;
  value[L"list"][2] = L"third";
  EXPECT_EQ(value.SerializeUtf8(), R"({"list":[null,null,"third"]})");
  const JsonValue& fixed = value;
  EXPECT_TRUE(fixed[L"none"].IsNull());
  EXPECT_TRUE(fixed[L"list"][3].IsNull());
  EXPECT_TRUE(fixed[L"list"][-1].IsNull());
  EXPECT_TRUE(fixed[0].IsNull());
  EXPECT_EQ(value.Count(), 1u);
  std::wstring walked;
  value.Set("é", 5);
  for (auto it = fixed.begin(); it != fixed.end(); ++it) walked += it.Key() + L"=" + it->Serialize() + L";";
  EXPECT_EQ(walked, L"list=[null,null,\"third\"];é=5;");
  for (const JsonValue& element : fixed[L"list"]) walked += element.Serialize();
  EXPECT_EQ(walked, L"list=[null,null,\"third\"];é=5;nullnull\"third\"");
  EXPECT_EQ(JsonValue(5).begin(), JsonValue(5).end());
}

TEST(JsonValue, ChangesNoCopy) {
  const JsonValue original = Parsed(R"({"a":[1,{"b":"a text that is shared by copies"}],"c":2})");
  const std::string before = original.SerializeUtf8();
  JsonValue copy = original;
  copy[L"a"][1][L"b"] = 5;
  copy.Remove("c");
  copy[L"a"].Append(JsonValue(true));
  EXPECT_EQ(original.SerializeUtf8(), before);
  EXPECT_EQ(copy.SerializeUtf8(), R"({"a":[1,{"b":5},true]})");
}

TEST(JsonValue, AReferenceChangesItsOwnValueAlone) {
  JsonValue value = Parsed("[[1],[2]]");
  JsonValue& inner = value[0][0];
  const JsonValue copy = value;
  const JsonValue copyOfCopy = copy;
  inner = 9;
  EXPECT_EQ(value.SerializeUtf8(), "[[9],[2]]");
  EXPECT_EQ(copy.SerializeUtf8(), "[[1],[2]]");
  EXPECT_EQ(copyOfCopy.SerializeUtf8(), "[[1],[2]]");
}

TEST(JsonValue, MayBeSetInsideItself) {
  JsonValue value = Parsed("[1,[2]]");
  value[0] = value;
  EXPECT_EQ(value.SerializeUtf8(), "[[1,[2]],[2]]");
  value[1][0] = value;
  EXPECT_EQ(value.SerializeUtf8(), "[[1,[2]],[[[1,[2]],[2]]]]");
  JsonValue list = Parsed("[1]");
  list.Append(list);
  EXPECT_EQ(list.SerializeUtf8(), "[1,[1]]");
  list = list[1];
  EXPECT_EQ(list.SerializeUtf8(), "[1]");
  JsonValue object = Parsed(R"({"a":{"b":1}})");
  object[L"c"] = object;
  EXPECT_EQ(object.SerializeUtf8(), R"({"a":{"b":1},"c":{"a":{"b":1},"c":null}})");
  object = std::move(object[L"a"]);
  EXPECT_EQ(object.SerializeUtf8(), R"({"b":1})");
  object.Set("b", object);
  EXPECT_EQ(object.SerializeUtf8(), R"({"b":{"b":1}})");
  JsonValue& same = object;
  object = same;
  EXPECT_EQ(object.SerializeUtf8(), R"({"b":{"b":1}})");
}

TEST(JsonValue, TellsWhereATextIsMalformed) {
  struct Row {
    std::string text;
    bool lenient;
    std::string error;
  };
  const std::vector<Row> rows = {
      {"{\n  \"é\": tru\n}", false, "line 2, column 8: found \"tru\", expected a value"},
      {"[1,]", false, "line 1, column 4: found \"]\", expected a value"},
      {"{\"a\":1,}", true, ""},
      {"// c\n1", false, "line 1, column 1: found \"/\", expected a value"},
      {"/* c */ [1,]", true, ""},
      {std::string(kDeep, '['), true, "line 1, column 1000001: found the end of the text, expected a value"},
      {"NaN", true, "line 1, column 1: found \"NaN\", expected a value"},
  };
  for (const Row& row : rows) {
    JsonValue value(L"as it was");
    std::string error;
    EXPECT_EQ(value.DeserializeUtf8(row.text, row.lenient, &error), row.error.empty());
    EXPECT_EQ(error, row.error);
    EXPECT_EQ(value.IsString(), !row.error.empty());
  }
  JsonValue value(5);
  EXPECT_FALSE(value.Deserialize(L"[1,]"));
  EXPECT_FALSE(value.Deserialize(std::wstring(L"\"") + static_cast<wchar_t>(0xD800) + L"\""));
  EXPECT_FALSE(value.Deserialize(L""));
  EXPECT_EQ(value, JsonValue(5));
  // A wide name's byte that is no UTF-8.
  EXPECT_TRUE(value.Deserialize(L"\"x\\udcffy\""));
  EXPECT_EQ(value.AsString(), L"x\xDCFFy");
  EXPECT_EQ(value, JsonValue(L"x\xDCFFy"));
  EXPECT_EQ(value.SerializeUtf8(), R"("x\udcffy")");
  JsonValue keyed(JsonValueType::Object);
  keyed[L"k\xDCFF"] = JsonValue(1);
  EXPECT_EQ(keyed.SerializeUtf8(), R"({"k\udcff":1})");
  EXPECT_TRUE(value.DeserializeUtf8(R"({"k\udcff":1})", false, nullptr));
  EXPECT_EQ(value, keyed);
  EXPECT_EQ(std::as_const(value)[L"k\xDCFF"], JsonValue(1));
  EXPECT_EQ(value.begin().Key(), L"k\xDCFF");
  EXPECT_TRUE(value.Deserialize(L"\"\\ud83d\\ude00\U0001F600\""));
  EXPECT_EQ(value.AsString(), L"\U0001F600\U0001F600");
}

TEST(JsonValue, LivesDeeplyNested) {
  for (const std::string& text : {DeepArrays(), DeepObjects()}) {
    JsonValue value = Parsed(text);
    const JsonValue other = Parsed(text);
    EXPECT_TRUE(value == other);
    EXPECT_TRUE(value.SerializeUtf8() == text);
    JsonValue copy = value;
    copy.Append(JsonValue(1));
    EXPECT_FALSE(copy == value);
  }
}

TEST(JsonValue, IndentsAHundredLevels) {
  constexpr std::size_t kLevels = 300;
  const std::string text = Parsed(std::string(kLevels, '[') + std::string(kLevels, ']')).SerializeUtf8(true);
  EXPECT_NE(text.find("\n" + std::string(200, ' ') + "["), std::string::npos);
  EXPECT_EQ(text.find(std::string(201, ' ')), std::string::npos);
  EXPECT_EQ(Parsed(text).SerializeUtf8(true), text);
}

TEST(JsonValue, CopiesWhatWasReachedForWritingDeeplyNested) {
  JsonValue value;
  JsonValue* at = &value;
  for (int i = 0; i < 300'000; ++i) at = i % 2 == 0 ? &(*at)[0] : &(*at)[L"a"];
  const JsonValue copy = value;
  *at = 5;
  EXPECT_FALSE(copy == value);
  EXPECT_EQ(value.SerializeUtf8().find('5'), 150'000u * 6);
}

TEST(JsonValue, IsReadByThreads) {
  JsonValue built;
  for (int i = 0; i < 50; ++i) built[L"key " + std::to_wstring(i)][1] = L"a text that is long enough to be shared";
  JsonValue parsed = Parsed(built.SerializeUtf8());
  std::vector<std::thread> threads;
  std::vector<int> equal(4);
  for (std::size_t t = 0; t < equal.size(); ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 50; ++i) {
        JsonValue copy = i % 2 == 0 ? parsed : built;
        if (copy == parsed && parsed.Find("key 7") != nullptr) ++equal[t];
        copy[L"key 3"] = static_cast<int>(t);
        if (copy != built) ++equal[t];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(equal, std::vector<int>(4, 100));
}

}  // namespace
}  // namespace Tamrin::Tessera
