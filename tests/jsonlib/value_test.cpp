#include "jsonlib/value.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace {

using korven::jsonlib::Reader;
using korven::jsonlib::StyledWriter;
using korven::jsonlib::Value;

Value Parsed(const std::string& text) {
  Value value;
  Reader reader;
  EXPECT_TRUE(reader.parseUtf8(text, value)) << text << ": " << reader.error().text;
  return value;
}

TEST(JsonlibValue, AnObjectIsBuiltAndWrittenInOrder) {
  Value root(Value::objectValue);
  root[L"__info__"] = L"A text";
  root[L"Namespace"] = std::wstring(L"r\u00e4um\n");
  root[L"Contents"].append(L"one");
  root[L"Contents"].append(L"two");
  root[L"Empty"] = Value(Value::arrayValue);
  root[L"Numbers"][2] = 0.5;
  root[L"Numbers"][0u] = 7;
  root[L"__info__"] = L"Another";
  const std::wstring text =
      L"{\n  \"__info__\": \"Another\",\n  \"Namespace\": \"r\u00e4um\\n\",\n  \"Contents\": [\n    \"one\",\n"
      L"    \"two\"\n  ],\n  \"Empty\": [],\n  \"Numbers\": [\n    7,\n    null,\n    0.5\n  ]\n}\n";
  EXPECT_EQ(StyledWriter().write(root), text);
  Value back;
  ASSERT_TRUE(Reader().parse(text, back));
  EXPECT_EQ(back, root);
  EXPECT_EQ(back[L"Contents"].size(), 2U);
  EXPECT_EQ(back[L"Contents"][1].asString(), L"two");
  EXPECT_EQ(back.getMemberNames(),
            (std::vector<std::wstring>{L"__info__", L"Namespace", L"Contents", L"Empty", L"Numbers"}));
}

TEST(JsonlibValue, ReadingAConstantValueChangesNothing) {
  const Value value = Parsed(R"({"a": [1], "b": "x"})");
  EXPECT_TRUE(value[L"none"].isNull());
  EXPECT_TRUE(value[L"a"][5].isNull());
  EXPECT_TRUE(value[L"b"][L"deeper"][0].isNull());
  EXPECT_EQ(value[L"a"].asString(), L"");
  EXPECT_EQ(value.size(), 2U);
  EXPECT_TRUE(value.isMember(L"a"));
  EXPECT_FALSE(value.isMember(L"c"));
  EXPECT_EQ(value[L"b"].size(), 0U);
}

TEST(JsonlibValue, KeysHoldBytesOfFileNames) {
  Value value;
  value[L"k\xDC80"] = 1;
  EXPECT_TRUE(value.isMember(L"k\xDC80"));
  EXPECT_EQ(std::as_const(value)[L"k\xDC80"].asInt(), 1);
  EXPECT_EQ(value.getMemberNames(), std::vector<std::wstring>{L"k\xDC80"});
}

TEST(JsonlibValue, Numbers) {
  const Value value = Parsed("[true, -3.7, 1e300, 18446744073709551615, -9223372036854775808, null, \"5\"]");
  const int want[] = {
      1, -3, std::numeric_limits<int>::max(), std::numeric_limits<int>::max(), std::numeric_limits<int>::min(), 0, 0};
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(value[i].asInt(), want[i]) << i;
    EXPECT_EQ(value[i].asBool(), i < 5) << i;
  }
  EXPECT_EQ(value[1].asDouble(), -3.7);
  EXPECT_EQ(StyledWriter().writeUtf8(value[3]), "18446744073709551615\n");
}

TEST(JsonlibValue, Equality) {
  const char* const equal[][2] = {{"1", "1.0"},
                                  {"-2", "-2.0"},
                                  {"0", "-0.0"},
                                  {"18446744073709551615", "18446744073709551615"},
                                  {R"({"a": 1, "b": [2]})", R"({"b": [2.0], "a": 1})"}};
  for (const auto& pair : equal) EXPECT_TRUE(Parsed(pair[0]) == Parsed(pair[1])) << pair[0];
  const char* const different[][2] = {{"1", "2"},
                                      {"1", "-1"},
                                      {"1", "true"},
                                      {"1", "\"1\""},
                                      {"[]", "{}"},
                                      {"[1, 2]", "[2, 1]"},
                                      {"null", "0"},
                                      {"18446744073709551615", "18446744073709551616"},
                                      {"[1]", "[1, 1]"},
                                      {R"({"a": 1})", R"({"b": 1})"},
                                      {"-1", "18446744073709551615"}};
  for (const auto& pair : different) {
    EXPECT_FALSE(Parsed(pair[0]) == Parsed(pair[1])) << pair[0] << " " << pair[1];
    EXPECT_FALSE(Parsed(pair[1]) == Parsed(pair[0])) << pair[0] << " " << pair[1];
  }
}

TEST(JsonlibValue, CopiesAreDeepAndMovesReachInside) {
  Value first = Parsed(R"({"a": {"b": [1, {"c": 2}]}})");
  Value second = first;
  second[L"a"][L"b"][1][L"c"] = 3;
  EXPECT_EQ(first[L"a"][L"b"][1][L"c"].asInt(), 2);
  EXPECT_EQ(second[L"a"][L"b"][1][L"c"].asInt(), 3);
  second = std::move(second[L"a"][L"b"]);
  EXPECT_EQ(second, Parsed(R"([1, {"c": 3}])"));
  first[L"a"] = first;
  EXPECT_EQ(first, Parsed(R"({"a": {"a": {"b": [1, {"c": 2}]}}})"));
}

TEST(JsonlibValue, DeepNestingNeedsNoStack) {
  constexpr std::size_t kDepth = 300000;
  std::string text;
  for (std::size_t i = 0; i < kDepth; ++i) text += i % 2 ? "[" : "{\"k\":";
  text += "1";
  for (std::size_t i = kDepth; i-- > 0;) text += i % 2 ? "]" : "}";
  const Value value = Parsed(text);
  const Value copy = value;
  EXPECT_TRUE(copy == value);
  EXPECT_TRUE(Parsed(StyledWriter().writeUtf8(copy)) == value);
}

TEST(JsonlibReader, AFaultIsToldWithItsPlaceAndLeavesTheValue) {
  Reader reader;
  Value value(5);
  EXPECT_FALSE(reader.parse(L"{\n  \"\u00e4\": [1,]\n}", value));
  EXPECT_EQ(value.asInt(), 5);
  EXPECT_EQ(reader.error().line, 2U);
  EXPECT_EQ(reader.error().column, 11U);
  EXPECT_EQ(reader.getFormattedErrorMessages(), L"line 2, column 11: found \"]\", expected a value");
  EXPECT_FALSE(reader.parseUtf8("\"\xFF\"", value));
  EXPECT_FALSE(reader.parse(std::wstring(L"[\n\"") + wchar_t(0xD800) + L"\"]", value));
  EXPECT_EQ(reader.getFormattedErrorMessages(),
            L"line 2, column 2: found a character that is no Unicode, expected Unicode text");
  EXPECT_TRUE(reader.parse(L"[]", value));
  EXPECT_EQ(reader.getFormattedErrorMessages(), L"");
  EXPECT_TRUE(value.isArray());
}

TEST(JsonlibReader, LenientWhereAsked) {
  Value value;
  EXPECT_FALSE(Reader().parseUtf8("[1, /* c */ 2,]", value));
  Reader lenient{korven::jsonlib::ParseOptions()};
  ASSERT_TRUE(lenient.parseUtf8("[1, /* c */ 2,]", value));
  EXPECT_EQ(value.size(), 2U);
}

TEST(JsonlibReader, TheLastOfEqualKeysCounts) {
  EXPECT_EQ(Parsed(R"({"a": [1, 2], "b": 0, "a": [3]})"), Parsed(R"({"a": [3], "b": 0})"));
}

Value Random(std::mt19937& random, int depth) {
  switch (random() % (depth > 4 ? 6 : 8)) {
    case 0:
      return Value();
    case 1:
      return Value(random() % 2 == 0);
    case 2:
      return Value(static_cast<std::int64_t>(random()) - 1000);
    case 3:
      return Value(std::numeric_limits<std::uint64_t>::max() - random());
    case 4:
      return Value(static_cast<double>(random()) / 7 - 1e6);
    case 5:
      return Value(std::wstring(random() % 20, static_cast<wchar_t>(1 + random() % 0xD000)));
    case 6: {
      Value array(Value::arrayValue);
      for (auto i = random() % 5; i > 0; --i) array.append(Random(random, depth + 1));
      return array;
    }
    default: {
      Value object(Value::objectValue);
      for (auto i = random() % 5; i > 0; --i) object[std::to_wstring(random() % 9)] = Random(random, depth + 1);
      return object;
    }
  }
}

TEST(JsonlibValue, WhatIsWrittenReadsBackTheSame) {
  std::mt19937 random(11);
  for (int i = 0; i < 500; ++i) {
    const Value value = Random(random, 0);
    const std::string text = StyledWriter().writeUtf8(value);
    const Value back = Parsed(text);
    ASSERT_TRUE(back == value) << text;
    EXPECT_EQ(StyledWriter().writeUtf8(back), text);
  }
}

}  // namespace
