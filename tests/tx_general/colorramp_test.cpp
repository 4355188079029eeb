#include <gmock/gmock.h>

#include <limits>

#include "tx_general/stackvalues.h"

namespace {

using namespace testing_support;
using basic::Color;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Kind = Kdsc_BinFunction::Kind;
using Inputs = std::vector<std::pair<std::wstring, DataPtr>>;

// Black to a red whose levels are whole numbers tell which level a row has.
Color Level(double level) { return Color(level, 0, 0); }
DataPtr Levels(const std::vector<double>& levels) {
  std::vector<Color> colors;
  for (const double level : levels) colors.push_back(Level(level));
  return ColorTable(colors);
}

/// A ramp in the channels, from level 0 to the last.
Inputs Ramp(unsigned levels, Inputs inputs) {
  inputs.insert(inputs.begin(), {{L"SliceType", Value(L"RGB")},
                                 {L"StartColor", Value(Level(0))},
                                 {L"EndColor", Value(Level(levels - 1.0))},
                                 {L"NumLevels", Value(levels)}});
  return inputs;
}

Row RampRow(const char* title, const Inputs& inputs, const DataPtr& expected, const wchar_t* error = L"") {
  return {title, L"CreateColorRamp", inputs, L"ColorRampOut", expected, error};
}

DataPtr Binned(const DataPtr& table, const Kdsc_BinFunction& bins) {
  basic::BaseDataStackUtils::SetBinFunction(*boost::dynamic_pointer_cast<basic::TableData>(table)->GetDataPointer(),
                                            boost::make_shared<const Kdsc_BinFunction>(bins));
  return table;
}

DataPtr Counts(const std::vector<double>& counts) { return TableValue(counts, KgdaUInt32); }

TEST(CreateColorRamp, BinsWithoutRange) {
  const Color red(1, 0, 0), blue(0, 0, 1);
  const Inputs ends = {{L"StartColor", Value(red)}, {L"EndColor", Value(blue)}};
  const auto with = [&](Inputs more) {
    more.insert(more.end(), ends.begin(), ends.end());
    return more;
  };
  ExpectRows({
      RampRow("as many levels as bins", with({{L"NumBins", Value(5u)}}),
              ColorTable({red, Color(1, 1, 0), Color(0, 1, 0), Color(0, 1, 1), blue})),
      RampRow("shortest", with({{L"NumBins", Value(3u)}, {L"HueDirection", Value(L"Shortest")}}),
              ColorTable({red, Color(1, 0, 1), blue})),
      RampRow("clockwise", with({{L"NumBins", Value(3u)}, {L"HueDirection", Value(L"Clockwise Curve")}}),
              ColorTable({red, Color(1, 0, 1), blue})),
      RampRow("counter-clockwise",
              with({{L"NumBins", Value(3u)}, {L"HueDirection", Value(L"Counter-Clockwise Curve")}}),
              ColorTable({red, Color(0, 1, 0), blue})),
      RampRow("channels", with({{L"NumBins", Value(3u)}, {L"SliceType", Value(L"RGB")}}),
              ColorTable({red, Color(0.5, 0, 0.5), blue})),
      RampRow("one bin", with({{L"NumBins", Value(1u)}}), ColorTable({red})),
      RampRow("fewer levels", Ramp(2, {{L"NumBins", Value(6u)}}), Levels({0, 0, 0, 1, 1, 1})),
      RampRow("more levels", Ramp(10, {{L"NumBins", Value(4u)}}), Levels({0, 2, 5, 7})),
      RampRow("an earlier ramp has no effect", Ramp(2, {{L"NumBins", Value(2u)}, {L"ColorRampIn", Levels({8, 9})}}),
              Levels({0, 1})),
      RampRow("opacity does not reach the table",
              {{L"NumBins", Value(2u)},
               {L"SliceType", Value(L"RGB")},
               {L"StartColor", Value(Color(1, 0, 0, 0.5))},
               {L"EndColor", Value(Color(0, 0, 1, 0))}},
              ColorTable({red, blue})),
  });
}

TEST(CreateColorRamp, LevelsCoverBinsEvenly) {
  for (const unsigned levels : {256u, 16u}) {
    ModelHost host;
    Inputs inputs = Ramp(levels, {{L"NumBins", Value(256u)}});
    if (levels == 256) inputs.erase(inputs.begin() + 3);  // as many as bins where nothing is said
    Prepare(host, RampRow("", inputs, nullptr));
    ASSERT_TRUE(host.Run());
    const auto& red = StackOf(host.Existing(L"op.ColorRampOut")).GetLayer(0);
    ASSERT_EQ(red.rows, 256);
    for (std::int32_t row = 0; row < 256; ++row)
      ASSERT_NEAR(kgda_ElementAsDouble(red, row, 0), levels == 256 ? row : row / 16, 1e-12) << row;
  }
}

TEST(CreateColorRamp, RangesOfBins) {
  const auto ranged = [](unsigned levels, unsigned bins, double start, double end, Inputs more = {}) {
    more.insert(more.end(), {{L"NumBins", Value(bins)}, {L"StartValue", Value(start)}, {L"EndValue", Value(end)}});
    return Ramp(levels, more);
  };
  ExpectRows({
      RampRow("a whole step", ranged(4, 8, 2, 4), Levels({0, 0, 0, 2, 3, 3, 3, 3})),
      RampRow("what is left of the ramp stays unused", ranged(8, 4, 0, 3), Levels({0, 2, 4, 6})),
      RampRow("fractions are cut off", ranged(4, 6, 1.9, 3.9), Levels({0, 0, 2, 3, 3, 3})),
      RampRow("fewer levels than bins", ranged(3, 6, 0, 5), Levels({0, 0, 0, 0, 0, 0})),
      RampRow("an earlier ramp stays outside", ranged(4, 6, 2, 4, {{L"ColorRampIn", Levels({9, 8, 7, 6, 5, 4})}}),
              Levels({9, 8, 0, 2, 3, 4})),
      RampRow("backwards", ranged(4, 5, 3, 1), Levels({0, 0, 0, 3, 3})),
      RampRow("backwards with an earlier ramp", ranged(4, 5, 3, 1, {{L"ColorRampIn", Levels({9, 8, 7, 6, 5})}}),
              Levels({9, 8, 7, 6, 5})),
      RampRow("a start above all bins", ranged(4, 3, 1e10, 2), Levels({0, 0, 0})),
      RampRow("a negative start", ranged(4, 3, -1, 2), nullptr,
              L"Start Value (specifying a starting bin number, since no Histogram provided) cannot be less than zero."),
      RampRow("a negative end", ranged(4, 3, 1, -2), nullptr,
              L"End Value (specifying an ending bin number, since no Histogram provided) must be no greater than "
              L"NumBins - 1."),
      RampRow("an end above all bins", ranged(4, 3, 1, 3), nullptr,
              L"End Value (specifying an ending bin number, since no Histogram provided) must be no greater than "
              L"NumBins - 1."),
      RampRow("an earlier ramp that is too short", ranged(4, 6, 2, 3, {{L"ColorRampIn", Levels({9, 8})}}), nullptr,
              L"ColorRampIn has 2 rows of 3 channels; expected red, green and blue of 6 rows."),
      RampRow("an earlier table of numbers", ranged(4, 3, 0, 1, {{L"ColorRampIn", TableValue({1, 2, 3})}}), nullptr,
              L"ColorRampIn has 3 rows of 1 channels; expected red, green and blue of 3 rows."),
  });
  ExpectRaised({RampRow("one bin", ranged(4, 5, 2.1, 2.9), nullptr,
                        L"StartValue and EndValue are both bin 2; expected two different bins.")});
}

TEST(CreateColorRamp, RangesOfValues) {
  const Kdsc_BinFunction linear{Kind::Linear, 5, 0, 50, {}};
  const auto ranged = [&](unsigned levels, double start, double end, const DataPtr& histogram, Inputs more = {}) {
    more.insert(more.end(), {{L"Histogram", histogram}, {L"StartValue", Value(start)}, {L"EndValue", Value(end)}});
    return Ramp(levels, more);
  };
  const DataPtr five = Binned(Counts({1, 2, 3, 4, 5}), linear);
  ExpectRows({
      RampRow("bins that overlap", ranged(10, 15, 35, five), Binned(Levels({0, 0, 2, 7, 9}), linear)),
      RampRow("limits belong to both sides", ranged(4, 20, 40, five), Binned(Levels({0, 0, 0, 2, 3}), linear)),
      RampRow("an earlier ramp stays outside", ranged(4, 21, 39, five, {{L"ColorRampIn", Levels({9, 8, 7, 6, 5})}}),
              Binned(Levels({9, 8, 0, 2, 5}), linear)),
      RampRow("beyond the bins", ranged(4, 60, 70, five), Binned(Levels({0, 0, 0, 0, 0}), linear)),
      RampRow("below the bins", ranged(4, -20, -10, five), Binned(Levels({3, 3, 3, 3, 3}), linear)),
      RampRow("none in range, an earlier ramp", ranged(4, 60, 70, five, {{L"ColorRampIn", Levels({9, 8, 7, 6, 5})}}),
              Binned(Levels({9, 8, 7, 6, 5}), linear)),
      RampRow("not a number", ranged(4, std::numeric_limits<double>::quiet_NaN(), 10, five),
              Binned(Levels({3, 3, 3, 3, 3}), linear)),
      RampRow("single values", ranged(3, 2, 4, Binned(Counts({1, 1, 1, 1, 1}), {Kind::Direct, 5, 1, 0, {}})),
              Binned(Levels({0, 0, 1, 2, 2}), {Kind::Direct, 5, 1, 0, {}})),
  });
  ExpectRaised({
      RampRow("no bins", ranged(4, 0, 1, Counts({1, 2})), nullptr,
              L"There is no bin function that tells which values a bin holds."),
      RampRow("more rows than bins", ranged(4, 0, 1, Binned(Counts({1, 2, 3}), {Kind::Linear, 2, 0, 1, {}})), nullptr,
              L"Found bin 2 of a bin function that has 2 bins, counted from 0."),
  });
}

TEST(CreateColorRamp, HistogramsAreFound) {
  const DataPtr counts = Counts({1, 2, 3});
  const DataPtr statistics = Dict({{L"Mean", Value(2.0)}, {L"Histogram", counts}});
  const DataPtr expected = Levels({0, 1, 2});
  const wchar_t* const invalid = L"Histogram input is invalid.";
  const auto from = [](const DataPtr& histogram) { return Ramp(3, {{L"Histogram", histogram}}); };
  ExpectRows({
      RampRow("a table", from(counts), expected),
      RampRow("a list of one table", from(List({counts})), expected),
      RampRow("a list of numbers", from(List({Value(1.0), Value(2.0), Value(3.0)})), expected),
      RampRow("statistics", from(statistics), expected),
      RampRow("a list of the statistics of one band", from(List({statistics})), expected),
      RampRow("statistics of two bands", from(List({statistics, statistics})), nullptr, invalid),
      RampRow("a list of nothing", from(List({nullptr})), nullptr, invalid),
      RampRow("two tables", from(List({counts, counts})), nullptr, invalid),
      RampRow("a list of one text list", from(List({Texts({L"a"})})), nullptr, invalid),
  });
  Row without = RampRow("statistics without it", from(Dict({{L"Mean", Value(2.0)}})), nullptr, invalid);
  Row number = RampRow("no table", from(Value(L"text")), nullptr, invalid);
  Row noValue = RampRow("no value", from(boost::make_shared<basic::TableData>()), nullptr, invalid);
  // What a port doesn't name can't be written into a document as its value.
  for (Row* row : {&without, &number, &noValue}) row->reopens = false;
  ExpectRows({without, number, noValue});
}

TEST(CreateColorRamp, EqualArea) {
  const Kdsc_BinFunction bins{Kind::Direct, 4, 0, 0, {}};
  const auto equal = [](const DataPtr& histogram, Inputs more = {}) {
    more.insert(more.end(), {{L"Histogram", histogram}, {L"Method", Value(L"Equal Area")}});
    return Ramp(2, more);
  };
  ExpectRows({
      RampRow("by counts", equal(Counts({9, 1, 1, 1})), Levels({0, 1, 1, 1})),
      RampRow("with bins", equal(Binned(Counts({1, 1, 1, 9}), bins)), Binned(Levels({0, 0, 0, 1}), bins)),
      RampRow("ranges have no effect",
              equal(Counts({9, 1, 1, 1}),
                    {{L"StartValue", Value(1.0)}, {L"EndValue", Value(2.0)}, {L"ColorRampIn", Levels({5, 6, 7, 8})}}),
              Levels({0, 1, 1, 1})),
      RampRow("hues",
              {{L"Histogram", Counts({1, 1, 1})},
               {L"Method", Value(L"Equal Area")},
               {L"StartColor", Value(Color(1, 0, 0))},
               {L"EndColor", Value(Color(0, 0, 1))}},
              ColorTable({Color(1, 0, 0), Color(0, 1, 0), Color(0, 0, 1)})),
  });
}

TEST(CreateColorRamp, BinsGoWithTheTable) {
  const Kdsc_BinFunction bins{Kind::Explicit, 2, 0, 0, {1, 2, 10}};
  const DataPtr histogram = Binned(Counts({1, 1}), bins);
  ModelHost host;
  Prepare(host, RampRow("", Ramp(2, {{L"Histogram", histogram}}), nullptr));
  ASSERT_TRUE(host.Run());
  const auto kept = StackOf(host.Existing(L"op.ColorRampOut")).GetBinFunction();
  ASSERT_TRUE(kept);
  EXPECT_EQ(*kept, bins);
  EXPECT_NE(kept, StackOf(histogram).GetBinFunction());
  EXPECT_EQ(Elements(histogram), (std::vector<double>{1, 1}));
}

TEST(CreateColorRamp, TheFirstFaultIsTold) {
  const DataPtr counts = Counts({1, 2});
  const auto bins = std::pair<std::wstring, DataPtr>(L"NumBins", Value(4u));
  ExpectRows({
      RampRow("no bins at all", Ramp(2, {{L"NumBins", Value(0u)}, {L"Histogram", counts}}), nullptr,
              L"NumBins cannot be 0."),
      RampRow("both", Ramp(2, {bins, {L"Histogram", counts}, {L"Method", Value(L"none")}}), nullptr,
              L"Histogram and NumBins are mutually exclusive."),
      RampRow("neither", Ramp(2, {{L"Method", Value(L"none")}}), nullptr,
              L"Either Histogram or NumBins must be specified."),
      RampRow("method", Ramp(2, {bins, {L"Method", Value(L"value")}}), nullptr, L"Invalid method specified."),
      RampRow("method without counts", Ramp(2, {bins, {L"Method", Value(L"Equal Area")}}), nullptr,
              L"The specified Method requires a Histogram."),
      RampRow("slice type", {bins, {L"SliceType", Value(L"rgb")}, {L"HueDirection", Value(L"x")}}, nullptr,
              L"Invalid Slice Type."),
      RampRow("a direction that isn't used", Ramp(2, {bins, {L"HueDirection", Value(L"shortest")}}), nullptr,
              L"Invalid color Path."),
      RampRow("start", {bins}, nullptr, L"Data not found on port(StartColor)."),
      RampRow("end", {bins, {L"StartColor", Value(Color())}}, nullptr, L"Data not found on port(EndColor)."),
      RampRow("levels",
              {bins, {L"StartColor", Value(Color())}, {L"EndColor", Value(Color())}, {L"NumLevels", Value(0u)}},
              nullptr, L"Ramp must contain at least one level."),
      RampRow("no counts", {{L"StartColor", Value(Color())}, {L"EndColor", Value(Color())}, {L"Histogram", Counts({})}},
              nullptr, L"Ramp must contain at least one level."),
  });
  ExpectRaised(
      {RampRow(
           "too many levels",
           {bins, {L"StartColor", Value(Color())}, {L"EndColor", Value(Color())}, {L"NumLevels", Value(4294967295u)}},
           nullptr, L"Found 4294967295 rows, expected at most 2147483647."),
       RampRow("too many bins",
               {{L"NumBins", Value(3000000000u)},
                {L"NumLevels", Value(1u)},
                {L"StartColor", Value(Color())},
                {L"EndColor", Value(Color())}},
               nullptr, L"Found 3000000000 rows, expected at most 2147483647.")});
}

TEST(CreateColorRamp, Warnings) {
  const Kdsc_BinFunction linear{Kind::Linear, 3, 0, 30, {}};
  const auto warnings = [](const Inputs& inputs, const DataPtr& expected) {
    ModelHost host;
    Prepare(host, RampRow("", inputs, nullptr));
    EXPECT_EQ(host.Run(), expected != nullptr);
    if (expected) ExpectSame(host.Existing(L"op.ColorRampOut"), expected);
    return host.Messages(tessera::Issue::Warning);
  };
  const std::pair<std::wstring, DataPtr> bins(L"NumBins", Value(2u));
  EXPECT_THAT(warnings(Ramp(2, {bins}), Levels({0, 1})), IsEmpty());
  EXPECT_THAT(warnings(Ramp(2, {bins, {L"StartValue", Value(1.0)}}), Levels({0, 1})),
              ElementsAre(L"Ignoring start value without end value."));
  EXPECT_THAT(warnings(Ramp(2, {bins, {L"EndValue", Value(1.0)}}), Levels({0, 1})),
              ElementsAre(L"Ignoring end value without start value."));
  EXPECT_THAT(warnings(Ramp(2, {bins, {L"StartValue", Value(1.0)}, {L"EndValue", Value(1.0)}}), nullptr),
              ElementsAre(L"StartValue and EndValue are equal."));
  // Steps of no size lead to the first level.
  EXPECT_THAT(warnings(Ramp(4, {{L"Histogram", Binned(Counts({1, 1, 1}), linear)},
                                {L"StartValue", Value(12.0)},
                                {L"EndValue", Value(12.0)}}),
                       Levels({0, 0, 3})),
              ElementsAre(L"StartValue and EndValue are equal."));
}

TEST(CreateColorRamp, RunsStartAnew) {
  ModelHost host;
  Prepare(host, RampRow("", Ramp(2, {{L"Histogram", Counts({1, 1, 1, 1})}}), nullptr));
  ASSERT_TRUE(host.Run());
  host.Set(L"op.Histogram", DataPtr()).Set(L"op.NumBins", 2u);
  ASSERT_TRUE(host.Run());
  ExpectSame(host.Existing(L"op.ColorRampOut"), Levels({0, 1}));
}

TEST(CreateColorRamp, ChoicesAreOfferedWithTheirDefaults) {
  ModelHost host;
  host.Add(L"CreateColorRamp", L"op");
  const auto told = [&](const wchar_t* port) {
    const auto found = host.PortOf(std::wstring(L"op.") + port);
    return found->GetAttribute(L"AcceptableValues")->ToString() + L" " + found->GetData()->ToString();
  };
  EXPECT_EQ(told(L"Method"), L"[\"Value\", \"Equal Area\"] Value");
  EXPECT_EQ(told(L"SliceType"), L"[\"RGB\", \"IHS\"] IHS");
  EXPECT_EQ(told(L"HueDirection"),
            L"[\"Clockwise Curve\", \"Counter-Clockwise Curve\", \"Shortest\", \"Longest\"] Longest");
  EXPECT_EQ(host.PortOf(L"op.Histogram")->GetAttribute(L"ListDataType")->ToString(), L"VANTIX.Table");
}

TEST(CreateColorRamp, UnnamedInputs) {
  ModelHost host;
  const auto op = host.Add(L"CreateColorRamp");
  std::vector<std::wstring> names = {L"old"};
  EXPECT_EQ(op->GetInputPortNamesForXPorts(2, names), 2);
  EXPECT_THAT(names, ElementsAre(L"StartColor", L"EndColor"));
  EXPECT_EQ(op->GetInputPortNamesForXPorts(6, names), 6);
  EXPECT_THAT(names, ElementsAre(L"Method", L"SliceType", L"HueDirection", L"StartColor", L"EndColor", L"NumLevels"));
  for (const int count : {0, 1, 3, 5, 7}) {
    try {
      op->GetInputPortNamesForXPorts(count, names);
      ADD_FAILURE() << count;
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), "CreateColorRamp requires either two or six unnamed inputs");
    }
  }
  const auto syntax = op->GetDefaultSyntax();
  ASSERT_FALSE(syntax.empty());
  EXPECT_EQ(syntax.back(),
            L"CreateColorRamp ( <Method>, <SliceType>, <HueDirection>, <StartColor>, <EndColor>, <NumLevels>[, "
            L"ColorRampIn=<ColorRampIn>][, Histogram=<Histogram>][, NumBins=<NumBins>][, StartValue=<StartValue>][, "
            L"EndValue=<EndValue>] )");
}

Row FileRow(const char* title, const DataPtr& name, const DataPtr& expected, const std::wstring& error = L"") {
  return {title, L"ColorRampInput", {{L"Filename", name}}, L"ColorTable", expected, error};
}

TEST(ColorRampInput, Rows) {
  const TemporaryFolder folder;
  const auto file = [&](const char* name, const std::string& text) { return File(folder.Write(name, text)); };
  ExpectRows({
      FileRow("bytes", file("bytes.lut", "255 128 0 255\n0 1 2 255\n"),
              ColorTable({Color(255, 128, 0), Color(0, 1, 2)})),
      FileRow("opacity", file("clear.lut", "# clear\n9,8,7,0\n9,8,7,51\n"),
              ColorTable({Color(9, 8, 7, 0), Color(9, 8, 7, 0.2)})),
      FileRow("hexadecimal", file("hex.lut", "#FF8000\n"), ColorTable({Color(255, 128, 0)})),
      FileRow("none", file("none.lut", ""), ColorTable({})),
      FileRow("no name", nullptr, nullptr, L"Data not found on port(Filename)."),
  });
  const std::wstring bad = folder.Write("bad.lut", "0 0 0\n0 x 0\n");
  Row malformed = FileRow("malformed", File(bad), nullptr,
                          L"The file \"" + bad + L"\", line 2, column 3: found \"x\", expected a number.");
  ExpectRaised({malformed});
  EXPECT_NE(RunRow(FileRow("", File(folder.WidePath() + L"/missing.lut"), nullptr)).error.find(L"missing.lut"),
            std::wstring::npos);
}

TEST(ColorRampInput, ARowForEachColor) {
  const TemporaryFolder folder;
  std::string text;
  for (int i = 0; i < 256; ++i) text += std::to_string(255 - i) + " 0 " + std::to_string(i) + "\n";
  ModelHost host;
  host.Add(L"ColorRampInput", L"op");
  host.Set(L"op.Filename", File(folder.Write("all.lut", text)));
  ASSERT_TRUE(host.Run());
  const auto table = host.Existing(L"op.ColorTable");
  const auto& stack = StackOf(table);
  ASSERT_EQ(stack.GetLayer(0).rows, 256);
  EXPECT_TRUE(stack.IsColor());
  for (std::int32_t row = 0; row < 256; ++row) {
    EXPECT_EQ(kgda_ElementAsDouble(stack.GetLayer(0), row, 0), 255 - row);
    EXPECT_EQ(kgda_ElementAsDouble(stack.GetLayer(2), row, 0), row);
  }
}

}  // namespace
