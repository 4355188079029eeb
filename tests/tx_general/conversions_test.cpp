#include <cmath>
#include <limits>

#include "kcommon/kgda.h"
#include "tx_general/rows.h"
#include "txbasiclib/basicvalues.h"
#include "txlib/conversion.h"

namespace {

using namespace testing_support;
using namespace Tamrin::TesseraBasic;
using tessera::ObjectName;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr int kLowestInt = std::numeric_limits<int>::min();
constexpr int kHighestInt = std::numeric_limits<int>::max();
constexpr unsigned kHighestUnsigned = std::numeric_limits<unsigned>::max();

DataPtr Convert(const DataPtr& source, const wchar_t* to) { return source->ConvertTo(ObjectName(L"VANTIX", to)); }

DataPtr Wrapped(const boost::shared_ptr<Table>& table) { return boost::make_shared<TableData>(table); }
DataPtr Wrapped(const boost::shared_ptr<Matrix>& matrix) { return boost::make_shared<MatrixData>(matrix); }
DataPtr Wrapped(const boost::shared_ptr<Scalar>& scalar) { return boost::make_shared<ScalarData>(scalar); }

boost::shared_ptr<Table> TableOf(const std::vector<double>& values, NumberType type) {
  const auto table = CreateTable(static_cast<std::int32_t>(values.size()), type);
  for (std::size_t row = 0; row < values.size(); ++row) {
    kgda_SetElementFromDouble(table->GetMutableStack().GetLayer(0), static_cast<std::int32_t>(row), 0, values[row]);
  }
  return table;
}

struct ConversionRow {
  const char* title;
  DataPtr source;
  const wchar_t* to;
  DataPtr expected;
};

void ExpectConversions(const std::vector<ConversionRow>& rows) {
  for (const auto& row : rows) {
    SCOPED_TRACE(row.title);
    const auto found = Convert(row.source, row.to);
    ExpectSame(found, row.expected);
    EXPECT_NE(found, row.source) << "a conversion makes a new value";
  }
}

TEST(Conversions, FromBool) {
  ExpectConversions({{"true", Value(true), L"Int", Value(1)},
                     {"false", Value(false), L"Int", Value(0)},
                     {"true", Value(true), L"Double", Value(1.0)},
                     {"false", Value(false), L"Double", Value(0.0)},
                     {"true", Value(true), L"Unsigned", Value(1u)},
                     {"false", Value(false), L"Unsigned", Value(0u)}});
}

TEST(Conversions, ToBool) {
  const double tiniest = std::numeric_limits<double>::denorm_min();
  ExpectConversions({{"0.0", Value(0.0), L"Bool", Value(false)},
                     {"-0.0", Value(-0.0), L"Bool", Value(false)},
                     {"tiniest", Value(tiniest), L"Bool", Value(true)},
                     {"-1.5", Value(-1.5), L"Bool", Value(true)},
                     {"not a number", Value(kNan), L"Bool", Value(true)},
                     {"infinity", Value(-kInfinity), L"Bool", Value(true)},
                     {"int 0", Value(0), L"Bool", Value(false)},
                     {"int -1", Value(-1), L"Bool", Value(true)},
                     {"lowest", Value(kLowestInt), L"Bool", Value(true)},
                     {"unsigned 0", Value(0u), L"Bool", Value(false)},
                     {"highest", Value(kHighestUnsigned), L"Bool", Value(true)}});
}

TEST(Conversions, DoubleToInt) {
  const auto row = [](double value, const DataPtr& expected) {
    return ConversionRow{"double", Value(value), L"Int", expected};
  };
  ExpectConversions({row(0.0, Value(0)), row(-0.0, Value(0)), row(-0.9, Value(0)), row(0.9, Value(0)),
                     row(-1.9, Value(-1)), row(1.9, Value(1)), row(2147483647.0, Value(kHighestInt)),
                     row(2147483646.9, Value(2147483646)), row(-2147483648.0, Value(kLowestInt)),
                     row(-2147483647.9, Value(-2147483647)), row(2147483647.9, nullptr), row(2147483648.0, nullptr),
                     row(std::nextafter(2147483647.0, kInfinity), nullptr),
                     row(std::nextafter(-2147483648.0, -kInfinity), nullptr), row(-2147483648.5, nullptr),
                     row(1e300, nullptr), row(kInfinity, nullptr), row(-kInfinity, nullptr), row(kNan, nullptr)});
}

TEST(Conversions, DoubleToUnsigned) {
  const auto row = [](double value, const DataPtr& expected) {
    return ConversionRow{"double", Value(value), L"Unsigned", expected};
  };
  ExpectConversions({row(0.0, Value(0u)), row(-0.0, Value(0u)), row(0.9, Value(0u)), row(1.5, Value(1u)),
                     row(2147483648.0, Value(2147483648u)), row(4294967295.0, Value(kHighestUnsigned)),
                     row(4294967294.9, Value(4294967294u)), row(-0.5, nullptr), row(-1.0, nullptr),
                     row(-std::numeric_limits<double>::denorm_min(), nullptr),
                     row(std::nextafter(4294967295.0, kInfinity), nullptr), row(4294967296.0, nullptr),
                     row(kInfinity, nullptr), row(-kInfinity, nullptr), row(kNan, nullptr)});
}

TEST(Conversions, BetweenIntegers) {
  ExpectConversions({{"int 0", Value(0), L"Unsigned", Value(0u)},
                     {"highest int", Value(kHighestInt), L"Unsigned", Value(2147483647u)},
                     {"int -1", Value(-1), L"Unsigned", nullptr},
                     {"lowest int", Value(kLowestInt), L"Unsigned", nullptr},
                     {"unsigned 0", Value(0u), L"Int", Value(0)},
                     {"highest that fits", Value(2147483647u), L"Int", Value(kHighestInt)},
                     {"lowest that does not", Value(2147483648u), L"Int", nullptr},
                     {"highest unsigned", Value(kHighestUnsigned), L"Int", nullptr},
                     {"lowest int", Value(kLowestInt), L"Double", Value(-2147483648.0)},
                     {"highest int", Value(kHighestInt), L"Double", Value(2147483647.0)},
                     {"highest unsigned", Value(kHighestUnsigned), L"Double", Value(4294967295.0)}});
}

TEST(Conversions, UnsignedToRangeReadsTheText) {
  for (const unsigned value : {0u, 5u, kHighestUnsigned}) {
    const auto expected = boost::make_shared<RangeData>();
    const bool reads = expected->FromString(std::to_wstring(value));
    const auto found = boost::dynamic_pointer_cast<RangeData>(Convert(Value(value), L"Range"));
    ASSERT_EQ(found != nullptr, reads);
    if (!reads) continue;
    EXPECT_EQ(found->GetDataValue(), expected->GetDataValue());
    EXPECT_EQ(found->GetDataValue().GetStart(), value);
  }
}

TEST(Conversions, RangeToRangeListCopiesStartAndEnd) {
  const auto found = boost::dynamic_pointer_cast<RangeListData>(Convert(Value(RangeClass(7, -2.5)), L"RangeList"));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->GetDataValue(), RangeVector{RangeClass(7, -2.5)});
}

TEST(Conversions, TableToRangeListOfEachNumberType) {
  const auto row = [](NumberType type, const std::vector<double>& values) {
    SCOPED_TRACE(static_cast<int>(type));
    const auto found =
        boost::dynamic_pointer_cast<RangeListData>(Convert(Wrapped(TableOf(values, type)), L"RangeList"));
    ASSERT_TRUE(found);
    RangeVector expected;
    for (const double value : values) expected.emplace_back(value, value);
    EXPECT_EQ(found->GetDataValue(), expected);
  };
  row(KgdaBit, {0, 1, 1});
  row(KgdaTwoBit, {3, 0});
  row(KgdaNibble, {15, 1});
  row(KgdaUInt8, {0, 255, 128});
  row(KgdaInt8, {-128, 127});
  row(KgdaUInt16, {0, 65535});
  row(KgdaInt16, {-32768, 32767});
  row(KgdaUInt32, {0, 4294967295.0});
  row(KgdaInt32, {-2147483648.0, 2147483647.0});
  row(KgdaFloat32, {-0.5, 16777216});
  row(KgdaFloat64, {0.1, -1e300, 5});
  row(KgdaFloat64, {});
}

TEST(Conversions, TableToRangeListOfOtherTypesFails) {
  for (const NumberType type : {KgdaComplex64, KgdaComplex128, KgdaString}) {
    EXPECT_EQ(Convert(Wrapped(CreateTable(2, type)), L"RangeList"), nullptr);
    EXPECT_EQ(Convert(Wrapped(CreateTable(0, type)), L"RangeList"), nullptr);
  }
}

TEST(Conversions, TableToListHasAScalarPerRow) {
  const auto list = Convert(Wrapped(TableOf({3, -1}, KgdaInt16)), L"List");
  ASSERT_TRUE(list);
  const auto items = list->GetDataValue<tessera::DataList>();
  ASSERT_EQ(items.size(), 2u);
  const double expected[] = {3, -1};
  for (std::size_t row = 0; row < 2; ++row) {
    const auto scalar = boost::dynamic_pointer_cast<ScalarData>(items[row]);
    ASSERT_TRUE(scalar);
    EXPECT_EQ(scalar->GetDataValue().GetNumberType(), KgdaInt16);
    EXPECT_EQ(kgda_ElementAsDouble(scalar->GetDataValue().GetStack().GetLayer(0), 0, 0), expected[row]);
  }
  EXPECT_EQ(Convert(Wrapped(CreateTable(0, KgdaUInt8)), L"List")->Count(), 0);
}

TEST(Conversions, FromString) {
  ExpectConversions({{"file", Value(L"/a b.txt"), L"File", File(L"/a b.txt")},
                     {"directory", Value(L"/tmp"), L"Directory", Directory(L"/tmp")},
                     {"not split", Value(L"a,b"), L"StringList", Value(std::vector<std::wstring>{L"a,b"})},
                     {"empty text is one item", Value(L""), L"StringList", Value(std::vector<std::wstring>{L""})},
                     {"no JSON", Value(L"{"), L"Json", nullptr},
                     {"empty is no JSON", Value(L""), L"Json", nullptr}});
  const auto json = boost::dynamic_pointer_cast<JsonData>(Convert(Value(L"{\"a\": [1, true]}"), L"Json"));
  ASSERT_TRUE(json);
  EXPECT_EQ(json->GetDataValue()[L"a"][0u].AsInt(), 1);
  EXPECT_TRUE(json->GetDataValue()[L"a"][1u].AsBool());
}

TEST(Conversions, BetweenStringListAndList) {
  const auto texts = [](std::vector<std::wstring> items) { return Value(std::move(items)); };
  const auto list = Convert(texts({L"a", L"", L"c"}), L"List");
  ASSERT_TRUE(list);
  const auto items = list->GetDataValue<tessera::DataList>();
  ASSERT_EQ(items.size(), 3u);
  ExpectSame(items[0], Value(L"a"));
  ExpectSame(items[1], Value(L""));
  ExpectConversions({{"back", list, L"StringList", texts({L"a", L"", L"c"})},
                     {"none", List({}), L"StringList", texts({})},
                     {"other texts count", List({File(L"/f"), Value(L"s")}), L"StringList", texts({L"/f", L"s"})},
                     {"null item", List({Value(L"a"), nullptr, Value(L"c")}), L"StringList", nullptr},
                     {"null at the end", List({Value(L"a"), nullptr}), L"StringList", nullptr},
                     {"no text", List({Value(L"a"), List({})}), L"StringList", nullptr}});
}

TEST(Conversions, AnyToListSharesTheSource) {
  for (const DataPtr& source : {Value(5), Value(L"a"), List({Value(1), Value(2)}), Value(RangeClass(1, 2))}) {
    const auto list = Convert(source, L"List");
    ASSERT_TRUE(list);
    const auto items = boost::dynamic_pointer_cast<tessera::DataListData>(list)->GetDataValue();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0], source);
  }
}

TEST(Conversions, StacksKeepTheirElements) {
  const auto table = Wrapped(TableOf({1, 2, 3}, KgdaUInt16));
  const auto matrix = Wrapped(CreateMatrix(2, 3, KgdaFloat32));
  const auto scalar = Wrapped(CreateScalar(-4, KgdaInt8));
  const wchar_t* const types[] = {L"Table", L"Matrix", L"Scalar"};
  const DataPtr sources[] = {table, matrix, scalar};
  for (int index = 0; index < 3; ++index) {
    SCOPED_TRACE(index);
    const auto stack = boost::dynamic_pointer_cast<BaseDataStackData>(Convert(sources[index], L"BaseDataStack"));
    ASSERT_TRUE(stack);
    EXPECT_EQ(stack->GetDataValue().GetLayerCount(), 1u);
    ExpectSame(Convert(stack, types[index]), sources[index]);
  }
}

TEST(Conversions, SourceWithoutValueIsTheWrappersError) {
  EXPECT_THROW(Convert(boost::make_shared<TableData>(), L"List"), KorvenLog::CPPException<std::runtime_error>);
  EXPECT_THROW(Convert(boost::make_shared<RangeData>(), L"RangeList"), KorvenLog::CPPException<std::runtime_error>);
}

TEST(Conversions, NamesOfTheirTypes) {
  const auto any = tessera::ConversionFactory::Create(L"VANTIX", L"Color", L"VANTIX", L"List");
  ASSERT_TRUE(any);
  EXPECT_STREQ(any->Name(), L"AnyToList");
  EXPECT_STREQ(any->FromType(), L"*");
  EXPECT_STREQ(any->FromNamespace(), L"*");
  const auto table = tessera::ConversionFactory::Create(L"VANTIX", L"Table", L"VANTIX", L"List");
  ASSERT_TRUE(table);
  EXPECT_STREQ(table->Name(), L"VANTIX.Table|VANTIX.List");
  EXPECT_FALSE(tessera::ConversionFactory::ConversionExists(L"VANTIX", L"Double", L"VANTIX", L"String"));
}

}  // namespace
