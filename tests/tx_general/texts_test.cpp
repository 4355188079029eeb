#include <chrono>
#include <cstdlib>

#include "tx_general/rows.h"

namespace {

using namespace testing_support;

DataPtr NoText() { return boost::make_shared<tessera::StringData>(); }

TEST(ToStringOp, Rows) {
  ExpectRows({
      {"number", L"ToString", {{L"Data", Value(-7)}}, L"String", Value(L"-7")},
      {"double in full", L"ToString", {{L"Data", Value(0.1)}}, L"String", Value(L"0.10000000000000001")},
      {"text", L"ToString", {{L"Data", Value(L"a\nb")}}, L"String", Value(L"a\nb")},
      {"empty", L"ToString", {}, L"String", nullptr, L"No input."},
  });
}

TEST(RegExSearchOp, Rows) {
  const auto row = [](const char* title, const wchar_t* text, const wchar_t* expression, const DataPtr& expected) {
    return Row{title,
               L"RegularExpressionSearch",
               {{L"StringIn", Value(text)}, {L"RegEx", Value(expression)}},
               L"StringOut",
               expected};
  };
  ExpectRows({
      row("inner match", L"abc", L"b", Value(L"b")),
      row("no match is no error", L"abc", L"x", nullptr),
      row("groups play no part", L"abc", L"(b)(c)", Value(L"bc")),
      row("match of nothing is a value", L"abc", L"x*", Value(L"")),
      row("leftmost", L"a1 b22 c333", L"[0-9]+", Value(L"1")),
      row("alternatives in the order given", L"foobar", L"foo|foobar", Value(L"foo")),
      row("beyond ASCII", L"Gr\u00f6\u00dfe: \u4e2d\u6587", L"\u4e2d.", Value(L"\u4e2d\u6587")),
      row("empty text", L"", L"^$", Value(L"")),
      {"required text",
       L"RegularExpressionSearch",
       {{L"RegEx", Value(L"a")}},
       L"StringOut",
       nullptr,
       L"Data not found on port(StringIn)."},
      {"required expression",
       L"RegularExpressionSearch",
       {{L"StringIn", Value(L"a")}},
       L"StringOut",
       nullptr,
       L"Data not found on port(RegEx)."},
      {"wrong type",
       L"RegularExpressionSearch",
       {{L"StringIn", Value(std::vector<std::wstring>{L"a"})}, {L"RegEx", Value(L"a")}},
       L"StringOut",
       nullptr,
       L"No appropriate data found on port(StringIn).",
       false},
      {"text without value",
       L"RegularExpressionSearch",
       {{L"StringIn", NoText()}, {L"RegEx", Value(L"a")}},
       L"StringOut",
       nullptr,
       L"Null data found on port(StringIn).",
       false},
  });
}

// Tried in all its ways, each of these would take longer than anybody waits.
TEST(RegExSearchOp, ExpressionsOfExponentialTimeEndInAnError) {
  const std::wstring text = std::wstring(60, L'a') + L"!";
  for (const wchar_t* expression : {L"^(a+)+$", L"^(a|aa)+$", L"(a*)*b", L"^(a|a?)+$", L"(.*)*(.*)*(.*)*c"}) {
    ModelHost host;
    host.Add(L"RegularExpressionSearch", L"op");
    host.Set(L"op.StringIn", text).Set(L"op.RegEx", expression);
    const auto begin = std::chrono::steady_clock::now();
    const bool ended = host.Run();
    // One that the library sees through may end well, without a match.
    if (ended)
      EXPECT_FALSE(host.Existing(L"op.StringOut"));
    else
      EXPECT_NE(host.Error().find(L"complexity"), std::wstring::npos) << kstr_ToUtf8(host.Error());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60)) << kstr_ToUtf8(expression);
  }
}

TEST(RegExSearchOp, MessageShowsTheDisplayNameOfThePort) {
  ModelHost host;
  host.Add(L"RegularExpressionSearch", L"op");
  host.PortOf(L"op.StringIn")->SetDisplayName(L"Text to search");
  EXPECT_FALSE(host.Run());
  EXPECT_EQ(host.Error(), L"Data not found on port(Text to search).");
}

TEST(RegExSearchOp, BadExpressionPassesOutWithTheLibrarysText) {
  for (const wchar_t* expression : {L"(", L"[a", L"*", L"a{2,1}"}) {
    ModelHost host;
    host.Add(L"RegularExpressionSearch", L"op");
    host.Set(L"op.StringIn", L"abc").Set(L"op.RegEx", expression);
    EXPECT_THROW(host.GetModel()->Execute(), std::runtime_error);
    EXPECT_TRUE(host.Messages(tessera::Issue::Error).empty());
  }
}

TEST(RequireCondition, Rows) {
  const auto row = [](const char* title, bool condition, const DataPtr& message, const wchar_t* error) {
    return Row{title,
               L"RequireCondition",
               {{L"ShouldBeTrue", Value(condition)}, {L"Message", message}},
               L"Success",
               *error ? nullptr : Value(true),
               error};
  };
  ExpectRows({
      row("true", true, Value(L"unused"), L""),
      row("false", false, nullptr, L"Required condition not satisfied."),
      row("false with a message", false, Value(L"Too few rows."), L"Too few rows."),
      {"a message that is no text",
       L"RequireCondition",
       {{L"ShouldBeTrue", Value(false)}, {L"Message", Value(5)}},
       L"Success",
       nullptr,
       L"Required condition not satisfied.",
       false},
      {"a number is converted", L"RequireCondition", {{L"ShouldBeTrue", Value(2)}}, L"Success", Value(true), {}, false},
      {"nothing to test", L"RequireCondition", {}, L"Success", nullptr, L"Data not found on port(ShouldBeTrue)."},
  });
}

TEST(RequireCondition, EmptyMessageIsUsedAsItIs) {
  ModelHost host;
  host.Add(L"RequireCondition", L"op");
  host.Set(L"op.ShouldBeTrue", false).Set(L"op.Message", L"");
  EXPECT_FALSE(host.Run());
  EXPECT_EQ(host.Error(), L"");
  EXPECT_EQ(host.Messages(tessera::Issue::Error), std::vector<std::wstring>{L""});
  EXPECT_EQ(host.Existing(L"op.Success"), nullptr);
}

TEST(ExpandPath, Rows) {
  ::setenv("TX_GENERAL_TEST_NAME", "va lue", 1);
  ::unsetenv("TX_GENERAL_TEST_UNSET");
  const auto row = [](const char* title, const wchar_t* text, const wchar_t* expected) {
    return Row{title, L"ExpandEnvVars", {{L"StringIn", Value(text)}}, L"StringOut", Value(expected)};
  };
  ExpectRows({
      row("no variables", L"plain text", L"plain text"),
      row("empty", L"", L""),
      row("a variable", L"<$TX_GENERAL_TEST_NAME>", L"<va lue>"),
      row("in braces", L"${TX_GENERAL_TEST_NAME}s", L"va lues"),
      row("not set", L"$TX_GENERAL_TEST_UNSET/x", L"$TX_GENERAL_TEST_UNSET/x"),
      {"required", L"ExpandEnvVars", {}, L"StringOut", nullptr, L"Data not found on port(StringIn)."},
  });
}

class TextFileInputTest : public ::testing::Test {
 protected:
  Row Read(const char* title, DataPtr offset, DataPtr size, const wchar_t* expected) const {
    return {title,
            L"TextFileInput",
            {{L"Filename", File(file_)}, {L"Offset", offset}, {L"Size", size}},
            L"String",
            Value(expected)};
  }
  TemporaryFolder folder_;
  std::wstring file_ = folder_.Write("text.txt", "0123456789\xC3\xA9tude\n");
};

TEST_F(TextFileInputTest, Slices) {
  ExpectRows({
      Read("whole", nullptr, nullptr, L"0123456789\u00e9tude\n"),
      Read("zeros read the whole", Value(0u), Value(0u), L"0123456789\u00e9tude\n"),
      Read("offset alone reads to the end", Value(10u), nullptr, L"\u00e9tude\n"),
      Read("size alone", nullptr, Value(3u), L"012"),
      Read("both, in characters", Value(9u), Value(3u), L"9\u00e9t"),
      Read("size beyond the end", Value(12u), Value(1000u), L"ude\n"),
      Read("offset beyond the end", Value(5000u), nullptr, L""),
      Read("the largest numbers", Value(1u), Value(4294967295u), L"123456789\u00e9tude\n"),
      Read("the largest offset", Value(4294967295u), Value(1u), L""),
  });
}

TEST_F(TextFileInputTest, NameIsExpandedAndTextConverted) {
  ::setenv("TX_GENERAL_TEST_FOLDER", folder_.Path().c_str(), 1);
  ExpectRow({"String on the port",
             L"TextFileInput",
             {{L"Filename", Value(L"$TX_GENERAL_TEST_FOLDER/text.txt")}, {L"Size", Value(1u)}},
             L"String",
             Value(L"0"),
             {},
             false});
}

TEST_F(TextFileInputTest, MissingFileIsNamedWithTheReason) {
  const std::wstring missing = folder_.WidePath() + L"/missing.txt";
  ModelHost host;
  host.Add(L"TextFileInput", L"op");
  host.Set(L"op.Filename", File(missing));
  EXPECT_FALSE(host.Run());
  const std::wstring head = L"Unable to open file: " + missing + L" ";
  EXPECT_EQ(host.Error().substr(0, head.size()), head);
  EXPECT_GT(host.Error().size(), head.size());
  EXPECT_EQ(host.Messages(tessera::Issue::Error), std::vector<std::wstring>{host.Error()});
}

TEST_F(TextFileInputTest, BadBytesAndFoldersAreFailures) {
  for (const auto& name : {folder_.Write("bad.txt", "\xEF\xBB\xBF\xFF"), folder_.WidePath()}) {
    ModelHost host;
    host.Add(L"TextFileInput", L"op");
    host.Set(L"op.Filename", File(name));
    EXPECT_FALSE(host.Run());
    EXPECT_TRUE(host.Error().starts_with(L"Unable to open file: " + name + L" "));
  }
}

TEST_F(TextFileInputTest, WhatIsNoUtf8IsWindows1252) {
  ExpectRow({"latin",
             L"TextFileInput",
             {{L"Filename", File(folder_.Write("latin.txt", "gr\xFC\xDF \x80"))}, {L"Offset", Value(2u)}},
             L"String",
             Value(L"\u00FC\u00DF \u20AC")});
}

TEST_F(TextFileInputTest, EmptyNameIsAnErrorOfTheName) {
  ModelHost host;
  host.Add(L"TextFileInput", L"op");
  host.Set(L"op.Filename", File(L""));
  EXPECT_FALSE(host.Run());
  EXPECT_FALSE(host.Error().empty());
  EXPECT_FALSE(host.Error().starts_with(L"Unable to open file"));
  ExpectRow({"required", L"TextFileInput", {}, L"String", nullptr, L"Data not found on port(Filename)."});
}

}  // namespace
