#include <gtest/gtest.h>

#include "referencing/authority.h"

namespace {

using coordinateReferencing::AuthorityCode;

TEST(AuthorityCode, TheLastElementIsReadAndItsParentStaysAsItIsWritten) {
  const AuthorityCode code(L"VANTIX/A %2F B/WGS 84 %2F UTM zone 33N [EPSG:32633]");
  EXPECT_EQ(code.baseSelf(), L"WGS 84 / UTM zone 33N [EPSG:32633]");
  EXPECT_EQ(code.fullParent(), L"VANTIX/A %2F B");
  const AuthorityCode parent(code.fullParent());
  EXPECT_EQ(parent.baseSelf(), L"A / B");
  EXPECT_EQ(parent.fullParent(), L"VANTIX");
  EXPECT_EQ(AuthorityCode(parent.fullParent()).baseSelf(), L"VANTIX");
  EXPECT_EQ(AuthorityCode(parent.fullParent()).fullParent(), L"");
  EXPECT_EQ(AuthorityCode(L"").baseSelf(), L"");
  EXPECT_EQ(AuthorityCode(L"a/").baseSelf(), L"");
  EXPECT_EQ(AuthorityCode(L"a/").fullParent(), L"a");
}

TEST(AuthorityCode, EscapedTextReadsBack) {
  EXPECT_EQ(AuthorityCode::Escape(L"a/b%c\n\u00e9 {\"x\":1}"), L"a%2Fb%25c%0A\u00e9 {\"x\":1}");
  for (const wchar_t* text : {L"", L"plain", L"a/b", L"100 %", L"%2F", L"\t\x7f", L"\u00dc %25 /"})
    EXPECT_EQ(AuthorityCode::Unescape(AuthorityCode::Escape(text)), text);
}

TEST(AuthorityCode, WhatIsNoEscapeStays) {
  EXPECT_EQ(AuthorityCode::Unescape(L"%"), L"%");
  EXPECT_EQ(AuthorityCode::Unescape(L"50%"), L"50%");
  EXPECT_EQ(AuthorityCode::Unescape(L"%2"), L"%2");
  EXPECT_EQ(AuthorityCode::Unescape(L"%zz%2f"), L"%zz/");
  EXPECT_EQ(AuthorityCode::Unescape(L"%C3%A9"), L"%C3%A9") << "bytes of an encoding are not guessed at";
}

}  // namespace
