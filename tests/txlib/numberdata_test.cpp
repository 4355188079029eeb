#include <gtest/gtest.h>

#include <bit>
#include <boost/lexical_cast.hpp>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "kcommon/kerr.h"
#include "txlib/basicdata.h"
#include "txlib/jsonvalue.h"

using namespace Tamrin::Tessera;

namespace {

class NumberDataTest : public testing::Test {
 protected:
  void SetUp() override {
    kerr_SetSessionLogSink([](const std::wstring&) {});
  }
};

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

template <typename W>
void ExpectFresh(const typename W::ValueType& zero) {
  const W data;
  EXPECT_FALSE(data.HasNoValue());
  EXPECT_EQ(data.GetDataValue(), zero);
}

TEST_F(NumberDataTest, FreshWrapperHoldsZero) {
  ExpectFresh<BoolData>(false);
  ExpectFresh<IntData>(0);
  ExpectFresh<UnsignedData>(0U);
  ExpectFresh<DoubleData>(0.0);
}

TEST_F(NumberDataTest, NullPointersBecomeZero) {
  const auto data = MakeData<IntData>(7);
  data->SetDataPointer(nullptr);
  EXPECT_EQ(data->GetDataValue(), 0);
  data->AdoptDataPointer(new int(8));
  EXPECT_EQ(data->GetDataValue(), 8);
  data->AdoptDataPointer(nullptr);
  EXPECT_EQ(data->GetDataValue(), 0);
  data->AssignFrom(MakeData<IntData>(9));
  EXPECT_EQ(data->GetDataValue(), 9);
  data->AssignFrom(MakeData<DoubleData>(1.5));
  EXPECT_EQ(data->GetDataValue(), 0);
  EXPECT_FALSE(data->HasNoValue());
}

TEST_F(NumberDataTest, TypeNames) {
  EXPECT_EQ(MakeData<BoolData>(true)->GetDataTypeName().ToString(), L"VANTIX.Bool");
  EXPECT_EQ(MakeData<UnsignedData>(1U)->GetDataTypeName().ToString(), L"VANTIX.Unsigned");
  EXPECT_STREQ(MakeData<DoubleData>(1)->Name(), L"Double");
  EXPECT_EQ(ObjectName(L"VANTIX", L"Table").ToString(), L"VANTIX.Table");
  EXPECT_NE(ObjectName(L"VANTIX", L"Table"), ObjectName(L"VANTIX", L"table"));
}

struct TextRow {
  double value;
  const wchar_t* text;
  const wchar_t* shortText;
  const wchar_t* report;
};

TEST_F(NumberDataTest, DoubleTexts) {
  const TextRow rows[] = {{0.1, L"0.10000000000000001", L"0.1", L"0.1"},
                          {5, L"5", L"5", L"5"},
                          {-0.0, L"-0", L"-0", L"-0"},
                          {1.0 / 3, L"0.33333333333333331", L"0.333333", L"0.3333333333333333"},
                          {1234567, L"1234567", L"1.23457e+06", L"1234567"},
                          {1e-5, L"1.0000000000000001e-05", L"1e-05", nullptr},
                          {1e17, L"1e+17", L"1e+17", nullptr},
                          {kInfinity, L"inf", L"inf", L"inf"},
                          {-kInfinity, L"-inf", L"-inf", L"-inf"},
                          {kNaN, L"nan", L"nan", L"nan"}};
  for (const TextRow& row : rows) {
    const auto data = MakeData<DoubleData>(row.value);
    EXPECT_EQ(data->ToString(), row.text);
    EXPECT_EQ(data->ToShortString(), row.shortText);
    if (row.report) {
      EXPECT_EQ(data->ToReportString(), row.report);
    }
  }
}

TEST_F(NumberDataTest, DoubleReads) {
  const std::pair<const wchar_t*, double> rows[] = {
      {L"1", 1},      {L"+1", 1},          {L"-1.5", -1.5},        {L".5", .5},
      {L"5.", 5},     {L"1e3", 1000},      {L"1E+3", 1000},        {L"1e-2", .01},
      {L"-0", -0.0},  {L"inf", kInfinity}, {L"-INF", -kInfinity},  {L"Infinity", kInfinity},
      {L"1e-400", 0}, {L"-1e-400", -0.0},  {L"4.9e-324", 4.9e-324}};
  for (const auto& [text, value] : rows) {
    DoubleData data(7);
    EXPECT_TRUE(data.FromString(text)) << testing::PrintToString(text);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(data.GetDataValue()), std::bit_cast<std::uint64_t>(value));
  }
  for (const wchar_t* text : {L"nan", L"NaN", L"-nan", L"nan(1)"}) {
    DoubleData data(7);
    EXPECT_TRUE(data.FromString(text));
    EXPECT_TRUE(std::isnan(data.GetDataValue()));
  }
}

TEST_F(NumberDataTest, DoubleRefusesAndKeeps) {
  const std::wstring nulTail(L"1\0", 2);
  const std::wstring rows[] = {L"",       L"1e",  L"1E", L"1e+",  L"1e-",   L"+",       L"-",      L".",
                               L"e5",     L" 1",  L"1 ", L"1,5",  L"1.5.2", L"0x10",    L"--1",    L"1e999",
                               L"-1e999", L"abc", L"in", L"nan(", L"nan)",  L"infinit", L"\u0661", nulTail};
  for (const std::wstring& text : rows) {
    DoubleData data(7);
    EXPECT_FALSE(data.FromString(text)) << testing::PrintToString(text);
    EXPECT_EQ(data.GetDataValue(), 7);
  }
}

// The rules are those of the library's own cast under the classic locale.
TEST_F(NumberDataTest, DoubleReadsWhatLexicalCastReads) {
  std::mt19937 random(20240601);
  const std::wstring alphabet = L"0123459+-..eEinfaNIty()x ";
  int accepted = 0;
  for (int round = 0; round < 100000; ++round) {
    std::wstring text;
    for (unsigned length = random() % 7; text.size() < length;) text += alphabet[random() % alphabet.size()];
    double expected = 7;
    const bool isNumber = boost::conversion::try_lexical_convert(text, expected);
    DoubleData data(7);
    ASSERT_EQ(data.FromString(text), isNumber) << testing::PrintToString(text);
    if (!isNumber) continue;
    ++accepted;
    const double value = data.GetDataValue();
    ASSERT_TRUE(value == expected || (std::isnan(value) && std::isnan(expected))) << testing::PrintToString(text);
  }
  EXPECT_GT(accepted, 1000);
}

TEST_F(NumberDataTest, IntReadsWhatLexicalCastReads) {
  std::mt19937 random(7);
  const std::wstring alphabet = L"0123456789+-. ,";
  for (int round = 0; round < 100000; ++round) {
    std::wstring text;
    for (unsigned length = random() % 13; text.size() < length;)
      text += alphabet[random() % (text.empty() ? alphabet.size() : 11)];
    int expected = 7;
    const bool isNumber = boost::conversion::try_lexical_convert(text, expected);
    IntData data(7);
    ASSERT_EQ(data.FromString(text), isNumber) << testing::PrintToString(text);
    ASSERT_EQ(data.GetDataValue(), isNumber ? expected : 7);
  }
}

TEST_F(NumberDataTest, IntBounds) {
  IntData data(7);
  EXPECT_TRUE(data.FromString(L"-2147483648"));
  EXPECT_EQ(data.ToString(), L"-2147483648");
  EXPECT_TRUE(data.FromString(L"2147483647"));
  EXPECT_EQ(data.ToShortString(), L"2147483647");
  for (const wchar_t* text : {L"2147483648", L"-2147483649", L"99999999999999999999999999", L"1.0", L"", L"+-1", L" 1"})
    EXPECT_FALSE(data.FromString(text)) << testing::PrintToString(text);
  EXPECT_EQ(data.GetDataValue(), 2147483647);
}

TEST_F(NumberDataTest, UnsignedBounds) {
  UnsignedData data(7);
  EXPECT_TRUE(data.FromString(L"4294967295"));
  EXPECT_EQ(data.ToString(), L"4294967295");
  // A negative number is out of range and doesn't wrap around.
  for (const wchar_t* text : {L"4294967296", L"-1", L"-4294967295", L"", L"-", L"0x1"})
    EXPECT_FALSE(data.FromString(text)) << testing::PrintToString(text);
  EXPECT_EQ(data.GetDataValue(), 4294967295U);
  EXPECT_TRUE(data.FromString(L"-0"));
  EXPECT_EQ(data.GetDataValue(), 0U);
}

TEST_F(NumberDataTest, BoolTexts) {
  EXPECT_EQ(MakeData<BoolData>(true)->ToString(), L"true");
  EXPECT_EQ(MakeData<BoolData>(false)->ToString(), L"false");
  for (const wchar_t* text : {L"true", L"TRUE", L"True", L"1"}) {
    BoolData data;
    EXPECT_TRUE(data.FromString(text));
    EXPECT_TRUE(data.GetDataValue());
  }
  for (const wchar_t* text : {L"false", L"FALSE", L"0"}) {
    BoolData data(true);
    EXPECT_TRUE(data.FromString(text));
    EXPECT_FALSE(data.GetDataValue());
  }
  for (const wchar_t* text : {L"", L"yes", L"2", L"tru", L"truee", L" true"}) {
    BoolData data(true);
    EXPECT_FALSE(data.FromString(text));
    EXPECT_TRUE(data.GetDataValue());
  }
}

TEST_F(NumberDataTest, ClonesAreDeepAndKeepTheirType) {
  const auto data = MakeData<UnsignedData>(5U);
  const auto copy = boost::dynamic_pointer_cast<UnsignedData>(data->Clone());
  ASSERT_TRUE(copy);
  copy->GetDataValue() = 6;
  EXPECT_EQ(data->GetDataValue(), 5U);
}

TEST_F(NumberDataTest, ReadingANewValueKeepsSharedOnes) {
  const auto data = MakeData<IntData>(5);
  const auto kept = data->GetDataPointer();
  EXPECT_TRUE(data->FromString(L"6"));
  EXPECT_EQ(*kept, 5);
}

TEST_F(NumberDataTest, OrderIsByNumberWhateverTheType) {
  const boost::shared_ptr<Data> sorted[] = {MakeData<DoubleData>(-kInfinity),    MakeData<IntData>(-3),
                                            MakeData<BoolData>(false),           MakeData<DoubleData>(0.5),
                                            MakeData<UnsignedData>(3000000000U), MakeData<DoubleData>(kNaN)};
  for (std::size_t i = 0; i < std::size(sorted); ++i) {
    for (std::size_t j = 0; j < std::size(sorted); ++j) {
      EXPECT_EQ(*sorted[i] < sorted[j], i < j) << i << " " << j;
      EXPECT_EQ(*sorted[i] > sorted[j], i > j) << i << " " << j;
    }
  }
  EXPECT_FALSE(*MakeData<IntData>(1) < MakeData<BoolData>(true));
  EXPECT_FALSE(*MakeData<IntData>(1) < boost::shared_ptr<Data>());
  EXPECT_TRUE(*MakeData<IntData>(1) > boost::shared_ptr<Data>());
}

template <typename W>
bool ReadsBackAsText(const typename W::ValueType& value) {
  W copy;
  return copy.FromString(MakeData<W>(value)->ToString()) && copy.GetDataValue() == value;
}

template <typename W>
bool ReadsBackAsJson(const typename W::ValueType& value) {
  JsonValue json, read;
  W copy;
  return MakeData<W>(value)->ToJSON(json) && read.Deserialize(json.Serialize()) && copy.FromJSON(read) &&
         copy.GetDataValue() == value;
}

void RoundTrips(unsigned seed) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937_64 random(seed);
  for (int round = 0; round < 20000; ++round) {
    const std::uint64_t bits = random();
    const double number = std::bit_cast<double>(bits);
    const int whole = static_cast<int>(bits >> (bits % 32)) * (bits & 1 ? 1 : -1);
    ASSERT_TRUE(ReadsBackAsText<IntData>(whole) && ReadsBackAsJson<IntData>(whole)) << whole;
    const auto count = static_cast<unsigned>(bits >> (bits % 40));
    ASSERT_TRUE(ReadsBackAsText<UnsignedData>(count) && ReadsBackAsJson<UnsignedData>(count)) << count;
    ASSERT_TRUE(ReadsBackAsText<BoolData>(bits & 1) && ReadsBackAsJson<BoolData>(bits & 1));
    if (std::isnan(number)) continue;
    ASSERT_TRUE(ReadsBackAsText<DoubleData>(number) && ReadsBackAsJson<DoubleData>(number)) << bits;
  }
}

TEST_F(NumberDataTest, RandomValuesRoundTripThroughTextAndJson) {
  RoundTrips(1);
  RoundTrips(std::random_device()());
}

}  // namespace
