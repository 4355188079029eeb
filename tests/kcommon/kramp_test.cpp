#include "kcommon/kramp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kcommon/kerr.h"
#include "scratchfolder.h"

namespace {

using Colors = std::vector<std::vector<double>>;

Colors ColorsOf(const KgdaBaseDataStack& stack) {
  Colors colors;
  for (std::int32_t row = 0; row < stack.GetLayer(0).rows; ++row) {
    auto& color = colors.emplace_back();
    for (std::size_t i = 0; i < stack.GetLayerCount(); ++i)
      color.push_back(kgda_ElementAsDouble(stack.GetLayer(i), row, 0));
  }
  return colors;
}

TEST(ColorRamp, CommonFormsAreRead) {
  const struct {
    const char* title;
    const char* text;
    Colors colors;
  } rows[] = {
      {"bytes", "# ramp\n0 0 0\n255 51 0\n", {{0, 0, 0}, {1, 0.2, 0}}},
      {"fractions", "0,0.5,1\n1,0.25,0\n", {{0, 0.5, 1}, {1, 0.25, 0}}},
      {"opacity", "255 0 0 51\n0 0 255 255\n", {{1, 0, 0, 0.2}, {0, 0, 1, 1}}},
      {"opacity of another scale", "255 0 0 0.5\n0 0 255 1\n", {{1, 0, 0, 0.5}, {0, 0, 1, 1}}},
      {"opaque", "255 0 0 255\n", {{1, 0, 0}}},
      {"index first", "0 255 0 0\n1 0 51 0\n2 0 0 255\n", {{1, 0, 0}, {0, 0.2, 0}, {0, 0, 1}}},
      {"index and opacity", "7 255 0 0 0\n9 0 0 255 255\n", {{1, 0, 0, 0}, {0, 0, 1, 1}}},
      {"grey with opacity is no index",
       "0 0 0 255\n1 1 1 255\n255 255 255 255\n",
       {{0, 0, 0}, {1 / 255.0, 1 / 255.0, 1 / 255.0}, {1, 1, 1}}},
      {"red that counts up alone is no index",
       "0 0 51 255\n1 0 51 255\n2 0 51 255\n",
       {{0, 0, 0.2}, {1 / 255.0, 0, 0.2}, {2 / 255.0, 0, 0.2}}},
      {"hexadecimal", "# real comment\n#FF0033\n#0000ff # blue\n", {{1, 0, 0.2}, {0, 0, 1}}},
      {"hexadecimal with opacity", "0xFF000033\n0x0000FFFF\n", {{1, 0, 0, 0.2}, {0, 0, 1, 1}}},
      {"hexadecimal behind an index", "0 #FF0033\n1,0x0000ff # blue\n", {{1, 0, 0.2}, {0, 0, 1}}},
      {"named columns", "index,Blue,Green,Red\n0,255,0,51\n", {{0.2, 0, 1}}},
      {"nothing", "# none\n", {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.title);
    KerrException error(L"test", L"CommonFormsAreRead");
    const KgdaBaseDataStack ramp = ColorRampFromText(row.text, L"r", error);
    ASSERT_FALSE(error.IsPending()) << ::testing::PrintToString(error.get_What());
    EXPECT_EQ(ramp.GetKind(), KgdaBaseDataStack::KindTable);
    EXPECT_TRUE(ramp.IsColor());
    EXPECT_EQ(ColorsOf(ramp), row.colors);
  }
}

TEST(ColorRamp, FaultsTellTheirPlace) {
  const struct {
    const char* text;
    const wchar_t* fault;
  } rows[] = {
      {"0 0\n", L"line 1, column 4: found the end of the line, expected red, green and blue."},
      {"0 0 0\n1 1 red\n", L"line 2, column 5: found \"red\", expected a number."},
      {"0 0 0\n0 0 -1\n", L"line 2, column 5: found \"-1\", expected a number from 0 on."},
      {"0 0 0\n0 0 256\n", L"line 2, column 5: found 256, expected a number from 0 to 255, or from 0 to 1."},
      {"0 0 0\n0 0 0 1\n", L"line 2, column 8: found the end of the line, expected 3 numbers, as on the first line."},
      {"1 2 3 4 5 6\n", L"line 1, column 11: found \"6\", expected the end of the line after five numbers."},
      {"0 #FF0000\n#00FF00\n", L"line 2, column 1: found \"#00FF00\", expected an index and a colour such as #FF8000."},
      {"#FF0000 7\n", L"line 1, column 9: found \"7\", expected the end of the line."},
      {"#FF0000\n0 0 0\n", L"line 2, column 1: found \"0\", expected a colour such as #FF8000."},
  };
  for (const auto& row : rows) {
    KerrException error(L"test", L"FaultsTellTheirPlace");
    EXPECT_EQ(ColorRampFromText(row.text, L"r", error).GetLayerCount(), 0u);
    EXPECT_EQ(error.get_What(), std::wstring(L"The file \"r\", ") + row.fault);
  }
}

TEST(ColorRamp, FilesAreRead) {
  using korven::kCommon::Color;
  const ScratchFolder folder;
  folder.Make("r.lut", "255 128 0\r\n0 1 2\r\n");
  folder.Make("clear.lut", "1 0.5 0 0\n0 0 0 1\n");
  folder.Make("none.lut", "# nothing\n");
  KerrException error(L"test", L"FilesAreRead");
  const auto ramp = korven::kCommon::ColorRampFromFile(folder.Wide("r.lut"), error);
  ASSERT_TRUE(ramp);
  ASSERT_EQ(ramp->GetSize(), 2u);
  EXPECT_EQ(ramp->GetColor(0), (Color{255, 128, 0, 255}));
  EXPECT_EQ(ramp->GetColor(1), (Color{0, 1, 2, 255}));
  const auto clear = korven::kCommon::ColorRampFromFile(folder.Wide("clear.lut"), error);
  ASSERT_TRUE(clear);
  EXPECT_EQ(clear->GetColor(0), (Color{255, 128, 0, 0}));
  const auto none = korven::kCommon::ColorRampFromFile(folder.Wide("none.lut"), error);
  ASSERT_TRUE(none);
  EXPECT_EQ(none->GetSize(), 0u);
  EXPECT_FALSE(error.IsPending());
  EXPECT_FALSE(korven::kCommon::ColorRampFromFile(folder.Wide("missing.lut"), error));
  EXPECT_TRUE(error.IsPending());
}

TEST(ColorRamp, EveryByteIsKept) {
  const ScratchFolder folder;
  std::string text;
  for (int i = 0; i < 256; ++i)
    text += std::to_string(255 - i) + " " + std::to_string(i) + " 7 " + std::to_string(i) + "\n";
  folder.Make("all.lut", text);
  KerrException error(L"test", L"EveryByteIsKept");
  const auto ramp = korven::kCommon::ColorRampFromFile(folder.Wide("all.lut"), error);
  ASSERT_TRUE(ramp);
  ASSERT_EQ(ramp->GetSize(), 256u);
  for (std::uint32_t i = 0; i < 256; ++i) {
    const auto byte = static_cast<std::uint8_t>(i);
    const auto other = static_cast<std::uint8_t>(255 - i);
    EXPECT_EQ(ramp->GetColor(i), (korven::kCommon::Color{other, byte, 7, byte})) << i;
  }
}

}  // namespace
