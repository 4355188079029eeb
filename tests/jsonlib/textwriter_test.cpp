#include "jsonlib/textwriter.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using korven::jsonlib::ParseError;
using korven::jsonlib::ParseEvents;
using korven::jsonlib::TextWriter;

std::string Rewritten(const std::string& text, bool styled) {
  std::string out;
  TextWriter writer(out, styled);
  ParseError error;
  EXPECT_TRUE(ParseEvents(text, writer, {}, error)) << text << ": " << error.text;
  return out;
}

TEST(TextWriter, TheEventsOfATextGiveItAnew) {
  const char* const texts[] = {
      "null", "[]", "{}", "[[],{}]", R"({"a":[1,2.5,-3,true,false,null,"\n"],"b":{"c":{}}})", "18446744073709551615"};
  for (const std::string text : texts) EXPECT_EQ(Rewritten(text, false), text);
  EXPECT_EQ(Rewritten(" [ 1 , // one\n { \"a\" : [ ] } , ] ", false), "[1,{\"a\":[]}]");
}

TEST(TextWriter, StyledTextIsIndented) {
  EXPECT_EQ(Rewritten(R"({"a":[1,{}],"b":{"c":[[]]}})", true),
            "{\n  \"a\": [\n    1,\n    {}\n  ],\n  \"b\": {\n    \"c\": [\n      []\n    ]\n  }\n}");
}

TEST(TextWriter, DeepTextGrowsWithItsDepthOnly) {
  const std::string text = Rewritten(std::string(5000, '[') + std::string(5000, ']'), true);
  EXPECT_LT(text.size(), 5000U * 2 * 210);
  EXPECT_EQ(Rewritten(text, false), std::string(5000, '[') + std::string(5000, ']'));
}

TEST(TextWriter, WhatJsonHasNoNumberForIsNull) {
  std::string out = "x=";
  TextWriter writer(out, false);
  writer.Double(std::numeric_limits<double>::infinity());
  EXPECT_EQ(out, "x=null");
}

}  // namespace
