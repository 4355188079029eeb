#include <set>

#include "plugin/pluginmanager.h"
#include "txbasiclib/basedatastackutils.h"
#include "txlib/conversion.h"
#include "values.h"

using namespace basictest;

namespace {

DataPtr Convert(const DataPtr& source, const wchar_t* type) { return source->ConvertTo({L"VANTIX", type}); }

DataPtr Number(double value, NumberType type) { return boost::make_shared<ScalarData>(CreateScalar(value, type)); }

TEST(OwnConversions, AreExactlyThese) {
  tx::ConversionFactory::ConversionExists(L"VANTIX", L"Bool", L"VANTIX", L"Scalar");  // brings the built-ins in
  std::multiset<std::wstring> found;
  for (const auto& entry : korven::plugin::PluginManager::Instance().List(L"Conversion")) {
    if (entry.plugin != L"tessera") continue;
    const auto row = boost::dynamic_pointer_cast<tx::Conversion>(entry.proxy->CreateInstance());
    EXPECT_EQ(row->Name(), entry.proxy->GetName());
    // Rasters are no part of the data layer, and bring their own.
    if (std::wstring(row->FromType()) == L"Raster" || std::wstring(row->ToType()) == L"Raster") continue;
    found.insert(std::wstring(row->FromType()) + L">" + row->ToType());
  }
  EXPECT_EQ(found, (std::multiset<std::wstring>{L"Bool>Scalar", L"Int>Scalar", L"Unsigned>Scalar", L"Double>Scalar",
                                                L"Color>Scalar", L"Scalar>Double", L"Scalar>Int", L"Scalar>Unsigned",
                                                L"Scalar>Bool", L"Scalar>Color", L"Scalar>Table", L"Scalar>Matrix",
                                                L"List>Table"}));
}

TEST(OwnConversions, OperatorsDependOnSomeThatAreAbsent) {
  for (const wchar_t* type : {L"Int", L"Double", L"Unsigned", L"Bool", L"Scalar"})
    EXPECT_FALSE(tx::ConversionFactory::ConversionExists(L"VANTIX", L"String", L"VANTIX", type));
}

TEST(OwnConversions, MatricesExistWithoutAPlugIn) {
  const auto data = tx::DataFactory::Create({L"VANTIX", L"Matrix"});
  ASSERT_TRUE(data);
  EXPECT_TRUE(boost::dynamic_pointer_cast<MatrixData>(data));
  EXPECT_TRUE(data->HasNoValue());
}

TEST(OwnConversions, ScalarsOfNumbers) {
  const struct {
    DataPtr source;
    NumberType type;
    double value;
  } rows[] = {{tx::MakeData<tx::BoolData>(true), KgdaUInt8, 1},
              {tx::MakeData<tx::BoolData>(false), KgdaUInt8, 0},
              {tx::MakeData<tx::IntData>(std::numeric_limits<int>::min()), KgdaInt32, -2147483648.0},
              {tx::MakeData<tx::UnsignedData>(4294967295u), KgdaUInt32, 4294967295.0},
              {tx::MakeData<tx::DoubleData>(0.1), KgdaFloat64, 0.1}};
  for (const auto& row : rows) {
    const auto scalar = boost::dynamic_pointer_cast<ScalarData>(Convert(row.source, L"Scalar"));
    ASSERT_TRUE(scalar);
    EXPECT_EQ(scalar->GetDataValue().GetNumberType(), row.type);
    EXPECT_EQ(kgda_ElementAsDouble(scalar->GetDataValue().GetStack().GetLayer(0), 0, 0), row.value);
  }
}

TEST(OwnConversions, NumbersOfScalars) {
  const struct {
    double value;
    const wchar_t* type;
    const wchar_t* text;  ///< null where there is none
  } rows[] = {{0.1, L"Double", L"0.10000000000000001"},
              {-0.9, L"Int", L"0"},
              {2147483647.0, L"Int", L"2147483647"},
              {2147483647.9, L"Int", nullptr},
              {-2147483648.0, L"Int", L"-2147483648"},
              {-2147483648.5, L"Int", nullptr},
              {kNaN, L"Int", nullptr},
              {-0.5, L"Unsigned", nullptr},
              {-0.0, L"Unsigned", L"0"},
              {4294967295.0, L"Unsigned", L"4294967295"},
              {4294967295.5, L"Unsigned", nullptr},
              {0, L"Bool", L"false"},
              {0.001, L"Bool", L"true"},
              {kNaN, L"Bool", L"true"},
              {1, L"Color", nullptr}};
  for (const auto& row : rows) {
    const auto result = Convert(Number(row.value, KgdaFloat64), row.type);
    ASSERT_EQ(result != nullptr, row.text != nullptr) << row.value << " " << kstr_ToUtf8(row.type);
    if (result) {
      EXPECT_EQ(result->ToString(), row.text);
    }
  }
}

TEST(OwnConversions, ColoursAndTextsAreNoNumbers) {
  const DataPtr color = boost::make_shared<ScalarData>(CreateColorScalar(Color(1, 0.5, 0, 0.25)));
  const DataPtr text = boost::make_shared<ScalarData>(CreateStringScalar(L"5"));
  for (const wchar_t* type : {L"Double", L"Int", L"Unsigned", L"Bool"}) {
    EXPECT_EQ(Convert(color, type), nullptr);
    EXPECT_EQ(Convert(text, type), nullptr);
  }
  EXPECT_EQ(Convert(color, L"Color")->ToString(), L"1 0.5 0 0.25");
  EXPECT_EQ(Convert(text, L"Color"), nullptr);
  EXPECT_EQ(Convert(tx::MakeData<ColorData>(Color(1, 2, 3)), L"Scalar")->ToString(), L"1 2 3 1");
}

TEST(OwnConversions, ScalarsAreTablesAndMatricesOfOne) {
  const auto table = Convert(Number(7, KgdaInt16), L"Table");
  EXPECT_EQ(JsonText(*table), R"({"NumberType":6,"Values":[7]})");
  const auto matrix = Convert(Number(7, KgdaInt16), L"Matrix");
  EXPECT_EQ(JsonText(*matrix), R"({"NumberType":6,"Rows":1,"Columns":1,"Values":[7]})");
}

TEST(OwnConversions, ListsOfNumbersAreTables) {
  const auto list = [](tx::DataList items) { return tx::MakeData<tx::DataListData>(std::move(items)); };
  const DataPtr five = tx::MakeData<tx::IntData>(5);
  const auto table = Convert(list({five, tx::MakeData<tx::DoubleData>(0.5), Number(3, KgdaUInt8)}), L"Table");
  ASSERT_TRUE(table);
  EXPECT_EQ(table->ToString(), L"[5, 0.5, 3]");
  EXPECT_EQ(boost::dynamic_pointer_cast<TableData>(table)->GetDataValue().GetNumberType(), KgdaFloat64);
  EXPECT_EQ(Convert(list({}), L"Table")->Count(), 0);
  EXPECT_EQ(Convert(list({five, nullptr}), L"Table"), nullptr);
  EXPECT_EQ(Convert(list({five, tx::MakeData<tx::StringData>(std::wstring(L"6"))}), L"Table"), nullptr);
  EXPECT_EQ(Convert(list({five, boost::make_shared<ScalarData>()}), L"Table"), nullptr);
}

TEST(OwnConversions, AMissingValueIsToldByTheWrapper) {
  EXPECT_THROW(Convert(boost::make_shared<ScalarData>(), L"Int"), std::runtime_error);
}

TEST(StackConversions, KeepLayersAndElements) {
  std::mt19937_64 random(5);
  for (std::uint32_t code = 0; code < kKgdaPixelTypeCount; ++code) {
    const auto table = CreateTable(3, static_cast<NumberType>(code));
    Fill(table->GetMutableStack().GetLayer(0), random);
    const auto stack = TableToBaseDataStack().Convert(boost::make_shared<TableData>(table));
    const auto back = boost::dynamic_pointer_cast<TableData>(BaseDataStackToTable().Convert(stack));
    ASSERT_TRUE(back);
    ExpectSameStack(back->GetDataValue().GetStack(), table->GetStack());
    EXPECT_NE(back->GetDataValue().GetRawData(), table->GetRawData());
    const auto matrix = boost::dynamic_pointer_cast<MatrixData>(BaseDataStackToMatrix().Convert(stack));
    EXPECT_EQ(matrix->GetDataValue().GetRows(), 3);
    EXPECT_EQ(BaseDataStackToScalar().Convert(stack), nullptr);
    const auto scalar = boost::make_shared<ScalarData>(table->GetScalarAt(1));
    const auto again = BaseDataStackToScalar().Convert(ScalarToBaseDataStack().Convert(scalar));
    ExpectSameStack(boost::dynamic_pointer_cast<ScalarData>(again)->GetDataValue().GetStack(),
                    scalar->GetDataValue().GetStack());
    EXPECT_TRUE(MatrixToBaseDataStack().Convert(matrix));
  }
  EXPECT_EQ(BaseDataStackToTable().Convert(tx::MakeData<tx::IntData>(1)), nullptr);
}

}  // namespace
