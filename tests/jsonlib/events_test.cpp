#include "jsonlib/events.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "jsonlib/widetext.h"

namespace korven::jsonlib {
namespace {

using namespace std::string_literals;

/// Writes the events down, each with the offset behind its token.
class Recorder : public EventHandler {
 public:
  bool Null() override { return Note("null"); }
  bool Bool(bool value) override { return Note(value ? "true" : "false"); }
  bool Int(std::int64_t value) override { return Note("i" + std::to_string(value)); }
  bool Unsigned(std::uint64_t value) override { return Note("u" + std::to_string(value)); }
  bool Double(double value) override {
    doubles.push_back(value);
    return Note("d");
  }
  bool String(std::string_view text) override { return Note("'" + std::string(text) + "'"); }
  bool StartObject() override { return Note("{"); }
  bool Key(std::string_view key) override { return Note("k'" + std::string(key) + "'"); }
  bool EndObject() override { return Note("}"); }
  bool StartArray() override { return Note("["); }
  bool EndArray() override { return Note("]"); }

  std::string events;
  std::vector<double> doubles;
  std::size_t stopAt = std::numeric_limits<std::size_t>::max();

 private:
  bool Note(const std::string& event) {
    events += (events.empty() ? "" : " ") + event + "@" + std::to_string(offset);
    return offset < stopAt;
  }
};

constexpr ParseOptions kLenient{true, false};
constexpr ParseOptions kStrict{false, false};
constexpr ParseOptions kNonFinite{false, true};

struct EventRow {
  std::string text;
  ParseOptions options;
  std::string events;
};

TEST(ParseEvents, BytesOfFileNamesAreWrittenAndRead) {
  const std::wstring text = L"a\xDC80\xDCBF\xDCC0\xDCFFz\xE4\x1F600\xD55C";
  const std::string utf8 = ToUtf8(text);
  EXPECT_EQ(utf8, "a\xED\xB2\x80\xED\xB2\xBF\xED\xB3\x80\xED\xB3\xBFz\xC3\xA4\xF0\x9F\x98\x80\xED\x95\x9C");
  EXPECT_EQ(FromUtf8(utf8), text);
  std::string json;
  AppendQuoted(json, utf8);
  EXPECT_EQ(json, R"("a\udc80\udcbf\udcc0\udcffz)"
                  "\xC3\xA4\xF0\x9F\x98\x80\xED\x95\x9C\"");
  Recorder recorder;
  ParseError error;
  EXPECT_TRUE(ParseEvents(json, recorder, kStrict, error)) << error.text;
  EXPECT_EQ(recorder.events, "'" + utf8 + "'@" + std::to_string(json.size()));
  // They come as escapes alone.
  EXPECT_FALSE(ParseEvents("\"" + utf8 + "\"", recorder, kStrict, error));
  // What else is no Unicode is told or mended as before.
  for (const char* lone : {R"("\udc7f")", R"("\udd00")", R"("\ud800")"})
    EXPECT_FALSE(ParseEvents(lone, recorder, kStrict, error)) << lone;
  EXPECT_EQ(ToUtf8(L"\xDC7F|\xDD00|\xD800"), "\xEF\xBF\xBD|\xEF\xBF\xBD|\xEF\xBF\xBD");
  EXPECT_EQ(FromUtf8("\xED\xB2|\xED\xB4\x80|\xED"), L"\xFFFD\xFFFD|\xFFFD\xFFFD\xFFFD|\xFFFD");
}

TEST(ParseEvents, TellsEventsAndOffsets) {
  const std::vector<EventRow> rows = {
      {"null", kStrict, "null@4"},
      {" true ", kStrict, "true@5"},
      {"[]", kStrict, "[@1 ]@2"},
      {"{}", kStrict, "{@1 }@2"},
      {"[1, false]", kStrict, "[@1 i1@2 false@9 ]@10"},
      {R"({"a": "b", "c": [null]})", kStrict, "{@1 k'a'@4 'b'@9 k'c'@14 [@17 null@21 ]@22 }@23"},
      {"[1,]", kLenient, "[@1 i1@2 ]@4"},
      {R"({"a":1,})", kLenient, "{@1 k'a'@4 i1@6 }@8"},
      {"// one\n1 /* two **/ // three", kLenient, "i1@8"},
      {"[/**/]", kLenient, "[@1 ]@6"},
      {R"("")", kStrict, "''@2"},
      {R"("\"\\\/\u0041z")", kStrict, "'\"\\/Az'@15"},
      {R"("plain\ttab and more\n")", kStrict, "'plain\ttab and more\n'@23"},
      {R"("\u0000")", kStrict, "'"s + '\0' + "'@8"},
      {R"("x\u0022")", kStrict, "'x\"'@9"},
      {R"("\u00e9\u20AC")", kStrict, "'é€'@14"},
      {R"("\ud83d\ude00")", kStrict, "'😀'@14"},
      {"\"é€😀 and sixteen bytes more\"", kStrict, "'é€😀 and sixteen bytes more'@34"},
      {"-0", kStrict, "i0@2"},
      {"2147483648", kStrict, "i2147483648@10"},
      {"4294967295", kStrict, "i4294967295@10"},
      {"999999999999999999", kStrict, "i999999999999999999@18"},
      {"9223372036854775807", kStrict, "i9223372036854775807@19"},
      {"-9223372036854775808", kStrict, "i-9223372036854775808@20"},
      {"9223372036854775808", kStrict, "u9223372036854775808@19"},
      {"18446744073709551615", kStrict, "u18446744073709551615@20"},
      {"18446744073709551616", kStrict, "d@20"},
      {"-9223372036854775809", kStrict, "d@20"},
      {"NaN", kNonFinite, "d@3"},
  };
  for (const EventRow& row : rows) {
    SCOPED_TRACE(row.text);
    Recorder recorder;
    ParseError error;
    EXPECT_TRUE(ParseEvents(row.text, recorder, row.options, error)) << error.text;
    EXPECT_EQ(recorder.events, row.events);
  }
}

TEST(ParseEvents, ReadsDoublesExactly) {
  const std::vector<std::pair<std::string, double>> rows = {
      {"0.0", 0.0},
      {"0.1", 0.1},
      {"-123.456780", -123.45678},
      {"9007199254740993.0", 9007199254740992.0},
      {"0.300000000000000044408920985", 0.30000000000000004},
      {"1e22", 1e22},
      {"1E+2", 100},
      {"1.7976931348623157e308", std::numeric_limits<double>::max()},
      {"2.2250738585072011e-308", 2.2250738585072011e-308},
      {"5e-324", std::numeric_limits<double>::denorm_min()},
      {"18446744073709551616", 0x1p64},
      {"1e-999", 0},
      {"0.00000000001e-2147483639", 0},
      {"0." + std::string(400, '0') + "1e5", 0},
      {"0." + std::string(400, '0') + "1e401", 1},
  };
  for (const auto& [text, value] : rows) {
    SCOPED_TRACE(text);
    Recorder recorder;
    ParseError error;
    ASSERT_TRUE(ParseEvents(text, recorder, kStrict, error)) << error.text;
    ASSERT_EQ(recorder.doubles.size(), 1u);
    EXPECT_EQ(recorder.doubles[0], value);
  }
}

TEST(ParseEvents, KeepsTheSignOfZero) {
  Recorder recorder;
  ParseError error;
  ASSERT_TRUE(ParseEvents("[-0.0, -0e1, -1e-999, 0.0]", recorder, kStrict, error));
  ASSERT_EQ(recorder.doubles.size(), 4u);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(std::signbit(recorder.doubles[i])) << i;
  EXPECT_FALSE(std::signbit(recorder.doubles[3]));
}

TEST(ParseEvents, ReadsNonFiniteNumbersWhereAsked) {
  Recorder recorder;
  ParseError error;
  ASSERT_TRUE(ParseEvents("[NaN, Infinity, -Infinity]", recorder, kNonFinite, error)) << error.text;
  ASSERT_EQ(recorder.doubles.size(), 3u);
  EXPECT_TRUE(std::isnan(recorder.doubles[0]));
  EXPECT_EQ(recorder.doubles[1], std::numeric_limits<double>::infinity());
  EXPECT_EQ(recorder.doubles[2], -std::numeric_limits<double>::infinity());
}

struct FaultRow {
  std::string text;
  ParseOptions options;
  std::size_t line;
  std::size_t column;
  std::string fault;
};

void ExpectFaults(const std::vector<FaultRow>& rows) {
  for (const FaultRow& row : rows) {
    SCOPED_TRACE(row.text.substr(0, 60));
    Recorder recorder;
    ParseError error;
    EXPECT_FALSE(ParseEvents(row.text, recorder, row.options, error));
    EXPECT_EQ(error.text, row.fault);
    EXPECT_EQ(error.line, row.line);
    EXPECT_EQ(error.column, row.column);
  }
}

TEST(ParseEvents, TellsFaultsOfStructure) {
  ExpectFaults({
      {"", kLenient, 1, 1, "found the end of the text, expected a value"},
      {" \n ", kLenient, 2, 2, "found the end of the text, expected a value"},
      {"]", kLenient, 1, 1, "found \"]\", expected a value"},
      {"1 2", kLenient, 1, 3, "found \"2\", expected the end of the text"},
      {"{} {", kLenient, 1, 4, "found \"{\", expected the end of the text"},
      {"[1 2]", kLenient, 1, 4, "found \"2\", expected \",\" or \"]\""},
      {"[01]", kLenient, 1, 3, "found \"1\", expected \",\" or \"]\""},
      {"[,]", kLenient, 1, 2, "found \",\", expected a value"},
      {"[1,,2]", kLenient, 1, 4, "found \",\", expected a value"},
      {"[1,]", kStrict, 1, 4, "found \"]\", expected a value"},
      {"[1", kLenient, 1, 3, "found the end of the text, expected \",\" or \"]\""},
      {"[1}", kLenient, 1, 3, "found \"}\", expected \",\" or \"]\""},
      {"{\"a\":1,}", kStrict, 1, 8, "found \"}\", expected a key in double quotes"},
      {"{a: 1}", kLenient, 1, 2, "found \"a\", expected a key in double quotes"},
      {"{'a': 1}", kLenient, 1, 2, "found \"'\", expected a key in double quotes"},
      {"{\"a\" 1}", kLenient, 1, 6, "found \"1\", expected \":\""},
      {"{\n  \"é\": }", kLenient, 2, 8, "found \"}\", expected a value"},
      {"{\"a\": 1 \"b\": 2}", kLenient, 1, 9, "found a string, expected \",\" or \"}\""},
      {"[1 // c\n", kLenient, 2, 1, "found the end of the text, expected \",\" or \"]\""},
      {"1 // c", kStrict, 1, 3, "found \"/\", expected the end of the text"},
      {"[\n1, /* open", kLenient, 2, 11, "found the end of the text, expected the rest of a comment"},
      {"[1 /x]", kLenient, 1, 5, "found \"x\", expected \"/\" or \"*\", which make a comment"},
      {"\xEF\xBB\xBF{}", kLenient, 1, 1, "found a byte order mark, expected a value"},
      {"\0"s, kLenient, 1, 1, "found a NUL byte, expected a value"},
      {"1\0"s, kLenient, 1, 2, "found a NUL byte, expected the end of the text"},
      {"[1,\0 2]"s, kLenient, 1, 4, "found a NUL byte, expected a value"},
      {"[1] // c\0"s, kLenient, 1, 9, "found a NUL byte, expected the end of the text"},
      {"[1, /* \0 */ 2]"s, kLenient, 1, 8, "found a NUL byte, expected the rest of a comment"},
      {std::string(1'000'000, '['), kLenient, 1, 1'000'001, "found the end of the text, expected a value"},
  });
}

TEST(ParseEvents, TellsFaultsOfLiterals) {
  ExpectFaults({
      {"tru", kLenient, 1, 1, "found \"tru\", expected a value"},
      {"[nul]", kLenient, 1, 2, "found \"nul\", expected a value"},
      {"[1, False]", kLenient, 1, 5, "found \"False\", expected a value"},
      {"NaN", kLenient, 1, 1, "found \"NaN\", expected a value"},
      {"[-Infinity]", kLenient, 1, 2, "found \"-Infinity\", expected a value"},
      {"Infinitx", kNonFinite, 1, 1, "found \"Infinitx\", expected a value"},
      {"+1", kLenient, 1, 1, "found \"+1\", expected a value"},
      {"[-]", kLenient, 1, 2, "found \"-\", expected a value"},
      {".5", kLenient, 1, 1, "found \".5\", expected a value"},
      {"1.", kLenient, 1, 3, "found the end of the text, expected a digit after the decimal point"},
      {"[1.e5]", kLenient, 1, 4, "found \"e5\", expected a digit after the decimal point"},
      {"[1e]", kLenient, 1, 4, "found \"]\", expected a digit of the exponent"},
      {"[2,\n 1e999]", kLenient, 2, 2, "found \"1e999\", expected a number that a double can hold"},
      {"1.8e308", kNonFinite, 1, 1, "found \"1.8e308\", expected a number that a double can hold"},
      {"-0.00000018e315", kLenient, 1, 1, "found \"-0.00000018e315\", expected a number that a double can hold"},
      {std::string(400, '9'), kLenient, 1, 1,
       "found \"" + std::string(40, '9') + "...\", expected a number that a double can hold"},
  });
}

TEST(ParseEvents, TellsFaultsOfStrings) {
  ExpectFaults({
      {"\"abc", kLenient, 1, 5, "found the end of the text, expected the closing double quote of the string"},
      {"\"ab\0c\""s, kLenient, 1, 4, "found a NUL byte, expected the closing double quote of the string"},
      {"\"ab\ncd\"", kLenient, 1, 4,
       "found a line end, expected a character of the string, control characters as escapes"},
      {"\"\x01\"", kLenient, 1, 2,
       "found a control character (U+0001), expected a character of the string, control characters as escapes"},
      {R"("é\q")", kLenient, 1, 3, R"(found "\q", expected an escape: one of " \ / b f n r t u after "\")"},
      {R"("\)", kLenient, 1, 3, "found the end of the text, expected the rest of an escape"},
      {R"("\u12g4")", kLenient, 1, 2, R"(found "\u12g4", expected four hexadecimal digits after "\u")"},
      {R"("\u12")", kLenient, 1, 2, R"(found "\u12", expected four hexadecimal digits after "\u")"},
      {R"("\ud83d")", kLenient, 1, 2, R"(found half a surrogate pair, "\ud83d", expected both halves)"},
      {R"("\ud83d\u0041")", kLenient, 1, 2, R"(found half a surrogate pair, "\ud83d", expected both halves)"},
      {R"({"é": "é\t\ude00x"})", kLenient, 1, 11, R"(found half a surrogate pair, "\ude00", expected both halves)"},
      {"\"\xFF\"", kLenient, 1, 2, "found a byte that is no UTF-8 (0xFF), expected UTF-8 text"},
      {"\"plain é \xC3(\"", kLenient, 1, 10, "found a byte that is no UTF-8 (0xC3), expected UTF-8 text"},
      {"\"\xC0\x80\"", kLenient, 1, 2, "found a byte that is no UTF-8 (0xC0), expected UTF-8 text"},
      {"\"\xED\xA0\x80\"", kLenient, 1, 2, "found a byte that is no UTF-8 (0xED), expected UTF-8 text"},
      {"\"\xF4\x90\x80\x80\"", kLenient, 1, 2, "found a byte that is no UTF-8 (0xF4), expected UTF-8 text"},
      {"\"\xE2\x82", kLenient, 1, 2, "found a byte that is no UTF-8 (0xE2), expected UTF-8 text"},
      {"[\xFF]", kLenient, 1, 2, "found a byte that is no UTF-8 (0xFF), expected a value"},
      {"[é]", kLenient, 1, 2, "found \"é\", expected a value"},
  });
}

TEST(ParseEvents, ReadsDeepNesting) {
  constexpr std::size_t kDepth = 1'000'000;
  class Counter : public Recorder {
   public:
    bool StartArray() override { return ++depth != 0; }
    bool EndArray() override { return --depth != std::numeric_limits<std::size_t>::max(); }
    std::size_t depth = 0;
  } counter;
  ParseError error;
  EXPECT_TRUE(ParseEvents(std::string(kDepth, '[') + std::string(kDepth, ']'), counter, kStrict, error)) << error.text;
  EXPECT_EQ(counter.depth, 0u);
}

TEST(ParseEvents, EndsWhereTheHandlerSaysSo) {
  Recorder recorder;
  recorder.stopAt = 5;
  ParseError error;
  EXPECT_FALSE(ParseEvents("[1,\n2, 3]", recorder, kStrict, error));
  EXPECT_EQ(recorder.events, "[@1 i1@2 i2@5");
  EXPECT_EQ(error.text, "");
  EXPECT_EQ(error.offset, 5u);
  EXPECT_EQ(error.line, 2u);
  EXPECT_EQ(error.column, 2u);
}

TEST(ParseEvents, ReadsNothingBehindItsText) {
  const std::string text = "123456";
  Recorder recorder;
  ParseError error;
  EXPECT_TRUE(ParseEvents(std::string_view(text).substr(0, 3), recorder, kStrict, error));
  EXPECT_EQ(recorder.events, "i123@3");
}

TEST(LocateOffset, CountsCharacters) {
  const std::string text = "é€😀x\r\n\nb";
  const std::vector<std::vector<std::size_t>> rows = {{0, 1, 1},  {2, 1, 2},  {5, 1, 3}, {9, 1, 4},
                                                      {12, 2, 1}, {13, 3, 1}, {14, 3, 2}};
  for (const auto& row : rows) {
    std::size_t line = 0;
    std::size_t column = 0;
    LocateOffset(text, row[0], line, column);
    EXPECT_EQ(line, row[1]) << row[0];
    EXPECT_EQ(column, row[2]) << row[0];
  }
}

TEST(AppendQuoted, EscapesWhatMustBe) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"", R"("")"},
      {"plain text of more than sixteen bytes", R"("plain text of more than sixteen bytes")"},
      {"a\"b\\c/", R"("a\"b\\c/")"},
      {"\b\f\n\r\t", R"("\b\f\n\r\t")"},
      {"\x01\x1F\x7F"s, "\"\\u0001\\u001f\x7F\""},
      {"\0"s, R"("\u0000")"},
      {"é€😀 sixteen bytes and \" é \n", R"("é€😀 sixteen bytes and \" é \n")"},
  };
  for (const auto& [text, literal] : rows) {
    std::string out = "x";
    AppendQuoted(out, text);
    EXPECT_EQ(out, "x" + literal);
  }
}

TEST(AppendDouble, WritesTheShortestLiteral) {
  const std::vector<std::pair<double, std::string>> rows = {
      {0.0, "0.0"},
      {-0.0, "-0.0"},
      {5, "5.0"},
      {0.1, "0.1"},
      {-1.5, "-1.5"},
      {100000, "100000.0"},
      {1e16, "10000000000000000.0"},
      {1e17, "1e+17"},
      {1e-5, "0.00001"},
      {1e-6, "1e-06"},
      {0.30000000000000004, "0.30000000000000004"},
      {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
      {std::numeric_limits<double>::denorm_min(), "5e-324"},
      {std::numeric_limits<double>::quiet_NaN(), "null"},
      {-std::numeric_limits<double>::infinity(), "null"},
  };
  for (const auto& [value, literal] : rows) {
    std::string out;
    AppendDouble(out, value);
    EXPECT_EQ(out, literal);
  }
}

}  // namespace
}  // namespace korven::jsonlib
