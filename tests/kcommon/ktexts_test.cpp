#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <limits>
#include <memory>

#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "kcommon/ktxt.h"

namespace {

TEST(PathExpand, ReplacesWhatIsSet) {
  ::setenv("TESSERA_A", "alpha", 1);
  ::setenv("TESSERA_EMPTY", "", 1);
  ::setenv("TESSERA_SELF", "$TESSERA_A", 1);
  ::setenv("TESSERA_UML", "\xC3\xA4\xFF", 1);
  ::setenv("TESSERA odd", "odd", 1);
  ::unsetenv("TESSERA_NONE");
  const struct {
    std::wstring text;
    std::wstring expanded;
  } rows[] = {
      {L"", L""},
      {L"plain", L"plain"},
      {L"$TESSERA_A", L"alpha"},
      {L"${TESSERA_A}", L"alpha"},
      {L"a/$TESSERA_A/${TESSERA_A}b", L"a/alpha/alphab"},
      {L"$TESSERA_A$TESSERA_A", L"alphaalpha"},
      {L"$TESSERA_A.txt", L"alpha.txt"},
      {L"$TESSERA_Ax", L"$TESSERA_Ax"},
      {L"[$TESSERA_EMPTY]", L"[]"},
      {L"$TESSERA_SELF", L"$TESSERA_A"},
      {L"$TESSERA_NONE/x", L"$TESSERA_NONE/x"},
      {L"${TESSERA_NONE}/x", L"${TESSERA_NONE}/x"},
      {L"$TESSERA_UML", L"\u00E4\xDCFF"},
      {L"${TESSERA odd}", L"odd"},
      {L"$", L"$"},
      {L"a$", L"a$"},
      {L"$$TESSERA_A", L"$alpha"},
      {L"$1", L"$1"},
      {L"$ TESSERA_A", L"$ TESSERA_A"},
      {L"${}", L"${}"},
      {L"${", L"${"},
      {L"${TESSERA_A", L"${TESSERA_A"},
      {L"$\u00E4", L"$\u00E4"},
      {std::wstring(L"${TESSERA_A\0}", 13), std::wstring(L"${TESSERA_A\0}", 13)},
      {L"%TESSERA_A% ~", L"%TESSERA_A% ~"},
  };
  for (const auto& row : rows) EXPECT_EQ(kstr_PathExpand(row.text), row.expanded);
}

TEST(FileName, EvaluatesVariablesAndRefusesEmptyNames) {
  ::setenv("TESSERA_A", "alpha", 1);
  ::setenv("TESSERA_EMPTY", "", 1);
  KerrException error(L"kcommon_test", L"FileName");
  EXPECT_EQ(kfnp_FileNameEvaluateEnv(L"${TESSERA_A}/b c", error), L"alpha/b c");
  EXPECT_FALSE(error.IsPending());
  EXPECT_EQ(kfnp_FileNameEvaluateEnv(L"", error), L"");
  EXPECT_EQ(error.get_What(), L"The file name is empty.");
  error.Clear();
  EXPECT_EQ(kfnp_FileNameEvaluateEnv(L"$TESSERA_EMPTY", error), L"");
  EXPECT_THAT(error.get_What(), testing::HasSubstr(L"$TESSERA_EMPTY"));
}

TEST(FileName, ExtensionWithoutItsStop) {
  const struct {
    const wchar_t* name;
    const wchar_t* extension;
  } rows[] = {{L"a.prj", L"prj"},
              {L"/x.y/a.b.PRJ", L"PRJ"},
              {L"a", L""},
              {L"/x.prj/a", L""},
              {L".prj", L""},
              {L"/x/.prj", L""},
              {L"a.", L""},
              {L"a..prj", L"prj"},
              {L"a.p\u00E4", L"p\u00E4"},
              {L"", L""},
              {L"a.prj/", L""}};
  for (const auto& row : rows) EXPECT_EQ(kfnp_FileNameGetExtensionStringPart(row.name), row.extension) << row.name;
}

TEST(FileName, EveryNameSurvives) {
  const struct {
    std::string native;
    std::wstring wide;
  } rows[] = {
      {"", L""},
      {"a b", L"a b"},
      {"\xC3\xA4", L"\u00E4"},
      {"\xF0\x9F\x99\x82", L"\U0001F642"},
      {"\x80\xFF", L"\xDC80\xDCFF"},
      {"\xE2\x82", L"\xDCE2\xDC82"},
      {"x\xC3(", L"x\xDCC3("},
      {"\xED\xB2\x80", L"\xDCED\xDCB2\xDC80"},  // the mark of a byte, itself written as if it were a character
  };
  for (const auto& row : rows) {
    EXPECT_EQ(kfnp_FromNative(row.native), row.wide);
    EXPECT_EQ(kfnp_ToNative(row.wide), row.native);
  }
  for (int first = 1; first < 256; ++first) {
    for (int second = 1; second < 256; ++second) {
      const std::string name{static_cast<char>(first), static_cast<char>(second)};
      ASSERT_EQ(kfnp_ToNative(kfnp_FromNative(name)), name);
    }
  }
  EXPECT_EQ(kfnp_ToNative(L"\xD800"), "\xEF\xBF\xBD");
}

TEST(Utf8, IsStrict) {
  const struct {
    std::string bytes;
    std::size_t badOffset;
    std::wstring lossy;
  } rows[] = {
      {"ab\x80", 2, L"ab\uFFFD"},
      {"\xC1\xBF", 0, L"\uFFFD\uFFFD"},
      {"\xE0\x9F\xBF", 0, L"\uFFFD\uFFFD\uFFFD"},
      {"\xED\xA0\x80z", 0, L"\uFFFD\uFFFD\uFFFDz"},
      {"\xF0\x8F\xBF\xBF", 0, L"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xF4\x90\x80\x80", 0, L"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xF5", 0, L"\uFFFD"},
      {"\xC3\xA4\xE2\x82", 2, L"\u00E4\uFFFD\uFFFD"},
  };
  for (const auto& row : rows) {
    std::wstring text;
    std::size_t offset = 99;
    EXPECT_FALSE(kstr_FromUtf8(row.bytes, text, &offset));
    EXPECT_EQ(offset, row.badOffset);
    EXPECT_FALSE(kstr_FromUtf8(row.bytes, text));
    EXPECT_EQ(kstr_FromUtf8Lossy(row.bytes), row.lossy);
  }
}

TEST(Utf8, EveryScalarValueSurvives) {
  std::wstring all;
  for (char32_t code = 0; code <= 0x10FFFF; ++code) {
    if (code < 0xD800 || code > 0xDFFF) all += static_cast<wchar_t>(code);
  }
  std::wstring back = L"what was there goes";
  ASSERT_TRUE(kstr_FromUtf8(kstr_ToUtf8(all), back));
  EXPECT_TRUE(back == all);
  EXPECT_TRUE(kstr_FromUtf8Lossy(kstr_ToUtf8(all)) == all);
  EXPECT_TRUE(kstr_FromUtf8("", back));
  EXPECT_EQ(back, L"");
  EXPECT_EQ(kstr_ToUtf8(L""), "");
}

TEST(Duplicate, MakesACopyOfItsOwn) {
  char text[] = "text";
  char* copy = kstr_Duplicate(text);
  text[0] = 'n';
  EXPECT_STREQ(copy, "text");
  kstr_Delete(copy);
  EXPECT_EQ(kstr_Duplicate(nullptr), nullptr);
  kstr_Delete(nullptr);
  kstr_StringListDelete(nullptr);
}

TEST(ShortestDouble, ReadsBackTheSame) {
  const struct {
    double value;
    std::wstring text;
  } rows[] = {
      {0, L"0"},
      {-0.0, L"-0"},
      {1, L"1"},
      {-2.5, L"-2.5"},
      {0.1, L"0.1"},
      {100000, L"100000"},
      {2147483648.0, L"2147483648"},
      {1e20, L"100000000000000000000"},
      {1e21, L"1e+21"},
      {0.000001, L"0.000001"},
      {1e-8, L"1e-08"},
      {123.456, L"123.456"},
      {1.0 / 3, L"0.3333333333333333"},
      {1.7976931348623157e308, L"1.7976931348623157e+308"},
      {5e-324, L"5e-324"},
      {std::numeric_limits<double>::quiet_NaN(), L"NaN"},
      {std::numeric_limits<double>::infinity(), L"Infinity"},
      {-std::numeric_limits<double>::infinity(), L"-Infinity"},
  };
  for (const auto& row : rows) {
    const std::wstring text = kstr_ShortestDouble(row.value);
    EXPECT_EQ(text, row.text);
    if (row.value == row.value) {
      EXPECT_EQ(std::strtod(kstr_ToUtf8(text).c_str(), nullptr), row.value);
    }
  }
}

TEST(NearestName, GivesTheNearestOrNone) {
  const std::vector<std::wstring> names = {L"Append", L"IfElse", L"Iterator", L"Merge", L"\u00C4pfel", L"X", L""};
  const struct {
    std::wstring name;
    std::wstring nearest;
  } rows[] = {
      {L"Append", L"Append"},
      {L"append", L"Append"},
      {L"Apend", L"Append"},
      {L"Iteartor", L"Iterator"},
      {L"\u00E4pfle", L"\u00C4pfel"},
      {L"Mrge", L"Merge"},
      {L"x", L"X"},
      {L"Y", L""},
      {L"Statistics", L""},
      {L"", L""},
      {L"IfEsle", L"IfElse"},
  };
  for (const auto& row : rows) EXPECT_EQ(kstr_NearestName(row.name, names), row.nearest);
  EXPECT_EQ(kstr_NearestName(L"Append", {}), L"");
  EXPECT_EQ(kstr_NearestName(L"bat", {L"cat", L"rat"}), L"cat");
}

TEST(NearestName, ANamespaceMakesNothingNearer) {
  const std::vector<std::wstring> names = {L"VANTIX.Bool", L"VANTIX.ToString", L"VANTIX.Eq"};
  for (const wchar_t* const far : {L"VANTIX.Nope", L"VANTIX.", L"VANTIX.Go", L"VANTIX.x"})
    EXPECT_EQ(kstr_NearestName(far, names), L"") << kstr_ToUtf8(far);
  for (const wchar_t* const near : {L"VANTIX.ToStrin", L"VANTX.ToString", L"vantix.tostring"})
    EXPECT_EQ(kstr_NearestName(near, names), L"VANTIX.ToString") << kstr_ToUtf8(near);
  EXPECT_EQ(kstr_NearestName(L"VANTX.Eq", names), L"VANTIX.Eq");
}

TEST(Case, FollowsTheSimpleMapping) {
  const struct {
    std::wstring lower;
    std::wstring upper;
  } pairs[] = {
      {L"", L""},
      {L"az09_ []", L"AZ09_ []"},
      {L"\u00E4\u00F6\u00FC\u00FF", L"\u00C4\u00D6\u00DC\u0178"},
      {L"\u0101\u017E\u01C6", L"\u0100\u017D\u01C4"},
      {L"\u03B1\u03C9\u0436\u0561", L"\u0391\u03A9\u0416\u0531"},
      {L"\u1F80\u2170\u24D0\u2C61", L"\u1F88\u2160\u24B6\u2C60"},
      {L"\U00010428\U0001E922", L"\U00010400\U0001E900"},
  };
  for (const auto& row : pairs) {
    EXPECT_EQ(ktxt_toupper(row.lower), row.upper);
    EXPECT_EQ(ktxt_tolower(row.upper), row.lower);
  }
  const struct {
    std::wstring text;
    std::wstring lower;
    std::wstring upper;
  } oneWay[] = {
      {L"\u00DF", L"\u00DF", L"\u00DF"},  // its upper case is two letters, which a simple mapping never gives
      {L"\u0130\u0131", L"i\u0131", L"\u0130I"},
      {L"\u03C2", L"\u03C2", L"\u03A3"},
      {L"\u01C5", L"\u01C6", L"\u01C4"},
      {L"\u00D7\u00F7\u4E2D\xDC80", L"\u00D7\u00F7\u4E2D\xDC80", L"\u00D7\u00F7\u4E2D\xDC80"},
  };
  for (const auto& row : oneWay) {
    EXPECT_EQ(ktxt_tolower(row.text), row.lower);
    EXPECT_EQ(ktxt_toupper(row.text), row.upper);
  }
}

TEST(FileName, PiecesJoinToTheName) {
  const struct {
    std::wstring name, path, base, extension;
  } rows[] = {
      {L"/data/scene.tar.gz", L"/data/", L"scene.tar", L".gz"},
      {L"scene", L"", L"scene", L""},
      {L"/data.d/.hidden", L"/data.d/", L".hidden", L""},
      {L"a/b./c.", L"a/b./", L"c", L"."},
      {L"/", L"/", L"", L""},
      {L"", L"", L"", L""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(kfnp_FileNameGetPathPart(row.name), row.path);
    EXPECT_EQ(kfnp_FileNameGetBasePart(row.name), row.base);
    EXPECT_EQ(kfnp_FileNameGetExtPart(row.name), row.extension);
    EXPECT_EQ(kfnp_FileNameGetNamePart(row.name), row.base + row.extension);
  }
}

TEST(FileName, BothFormsAreTheSame) {
  KerrException error(L"tests", L"FileName");
  const std::wstring text = L"C:\\no file name at all? \u00fc/";
  EXPECT_EQ(kfnp_FileNameExternalToInternal(text, error), text);
  EXPECT_EQ(kfnp_FileNameInternalToExternal(text, error), text);
  std::wstring path = text;
  kstr_ConvertPathNT(path);
  EXPECT_EQ(path, text);
  EXPECT_FALSE(error.IsPending());
  kfnp_FileNameInternalToExternal(std::wstring(L"a\0b", 3), error);
  EXPECT_EQ(error.get_What(), L"A file name holds a null character.");
}

TEST(Sprintf, PutsTextsInOrder) {
  EXPECT_EQ(kstr_Sprintf(L"%s/%s", {L"a%s", L"b"}), L"a%s/b");
  EXPECT_EQ(kstr_Sprintf(L"100%% %s%s%d%", {L"x"}), L"100% x%s%d%");
}

TEST(Letters, AreThoseOfAllScripts) {
  for (const wchar_t c : L"azAZ09\u00e4\u00df\u0416\u4e2d\u0664\U0001D7D8\U00020000") {
    EXPECT_EQ(ktxt_Text_isalnum(c), c != L'\0') << std::hex << static_cast<unsigned>(c);
  }
  for (const wchar_t c : L" _$.(@`[{/:\x7f\u00a0\u00d7\u2003\u20ac\u0301\xDC80\U0001F600") {
    EXPECT_FALSE(ktxt_Text_isalnum(c)) << std::hex << static_cast<unsigned>(c);
  }
}

}  // namespace
