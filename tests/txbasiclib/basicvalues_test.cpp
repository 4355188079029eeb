#include <array>

#include "txbasiclib/basedatastackutils.h"
#include "txlib/datajson.h"
#include "values.h"

using namespace basictest;

namespace {

TEST(TableValues, EveryCodeSurvivesJson) {
  std::mt19937_64 random(42);
  for (std::uint32_t code = 0; code < kKgdaPixelTypeCount; ++code) {
    for (int round = 0; round < 20; ++round) {
      const auto type = static_cast<NumberType>(code);
      const auto table = CreateTable(static_cast<std::int32_t>(random() % 7), type);
      if (table->GetCount()) Fill(table->GetMutableStack().GetLayer(0), random);
      const TableData data(table);
      ExpectSameStack(ThroughJson(data)->GetDataValue().GetStack(), table->GetStack());
      EXPECT_EQ(ThroughJson(data)->ToString(), data.ToString());

      const auto matrix =
          CreateMatrix(static_cast<std::int32_t>(random() % 4), static_cast<std::int32_t>(random() % 4), type);
      if (random() % 2) matrix->GetMutableStack().AddLayer(matrix->GetRows(), matrix->GetColumns(), type);
      for (std::size_t i = 0; i < matrix->GetStack().GetLayerCount(); ++i)
        Fill(matrix->GetMutableStack().GetLayer(i), random);
      const MatrixData grid(matrix);
      ExpectSameStack(ThroughJson(grid)->GetDataValue().GetStack(), matrix->GetStack());

      KgdaBaseDataStack stack = matrix->GetStack();
      Fill(stack.AddLayer(1, 2, KgdaString), random);
      const BaseDataStackData layers(boost::make_shared<KgdaBaseDataStack>(stack));
      ExpectSameStack(ThroughJson(layers)->GetDataValue(), stack);

      if (table->GetCount() == 0) continue;
      const ScalarData scalar(table->GetScalarAt(0));
      ExpectSameStack(ThroughJson(scalar)->GetDataValue().GetStack(), scalar.GetDataValue().GetStack());
    }
  }
}

TEST(TableValues, JsonForms) {
  const char* const tables[] = {R"({"NumberType":3,"Values":[0,255]})",
                                R"({"NumberType":7,"Values":[4294967295]})",
                                R"({"NumberType":8,"Values":[-2147483648,2147483647]})",
                                R"({"NumberType":9,"Values":[0.1,"NaN"]})",
                                R"({"NumberType":10,"Values":["NaN","Infinity","-Infinity",0.1]})",
                                R"({"NumberType":11,"Values":[[0.1,-2.5]]})",
                                R"({"NumberType":12,"Values":[["NaN",1e+300]]})",
                                R"({"NumberType":13,"Values":["a",null,""]})",
                                R"({"NumberType":10,"Values":[]})",
                                R"({"Colors":[[0.5,0.25,0.125,1.0],[1.0,1.0,1.0,0.5]]})",
                                R"({"Colors":[]})"};
  for (const char* text : tables) {
    const auto data = FromJson<TableData>(text);
    ASSERT_TRUE(data) << text;
    EXPECT_TRUE(Json(JsonText(*data)) == Json(text)) << JsonText(*data);
  }
  const auto named = FromJson<TableData>(R"({"NumberType":"uint8","Values":[1]})");
  ASSERT_TRUE(named);
  EXPECT_EQ(named->GetDataValue().GetNumberType(), KgdaUInt8);
  const auto layers = FromJson<MatrixData>(R"({"NumberType":3,"Rows":1,"Columns":2,"Layers":[[1,2],[3,4]]})");
  ASSERT_TRUE(layers);
  EXPECT_EQ(layers->ToString(), L"[[[1, 2]], [[3, 4]]]");
  EXPECT_EQ(JsonText(*layers), R"({"NumberType":3,"Rows":1,"Columns":2,"Layers":[[1,2],[3,4]]})");
  EXPECT_EQ(JsonText(*FromJson<ScalarData>(R"({"Color":[1,0.5,0]})")), R"({"Color":[1.0,0.5,0.0,1.0]})");
}

TEST(TableValues, BadJsonIsRefused) {
  const char* const tables[] = {"5",
                                "[]",
                                "{}",
                                "\"x\"",
                                R"({"NumberType":3})",
                                R"({"Values":[1]})",
                                R"({"NumberType":3,"Values":{}})",
                                R"({"NumberType":3,"Values":[256]})",
                                R"({"NumberType":3,"Values":[-1]})",
                                R"({"NumberType":3,"Values":[0.5]})",
                                R"({"NumberType":3,"Values":["1"]})",
                                R"({"NumberType":3,"Values":[true]})",
                                R"({"NumberType":3,"Values":[null]})",
                                R"({"NumberType":0,"Values":[2]})",
                                R"({"NumberType":14,"Values":[]})",
                                R"({"NumberType":-1,"Values":[]})",
                                R"({"NumberType":4294967294,"Values":[]})",
                                R"({"NumberType":"Color","Values":[]})",
                                R"({"NumberType":3.0e0,"Values":[1],"Layers":[[1]]})",
                                R"({"NumberType":9,"Values":[1e300]})",
                                R"({"NumberType":10,"Values":["nan"]})",
                                R"({"NumberType":11,"Values":[1]})",
                                R"({"NumberType":11,"Values":[[1]]})",
                                R"({"NumberType":12,"Values":[[1,2,3]]})",
                                R"({"NumberType":13,"Values":[5]})",
                                R"({"NumberType":13,"Values":["a\u0000b"]})",
                                R"({"NumberType":3,"Layers":[]})",
                                R"({"NumberType":3,"Layers":[[1],[1,2]]})",
                                R"({"Colors":[[1,2]]})",
                                R"({"Colors":[1,2,3]})",
                                R"({"Colors":[[1,2,3,4,5]]})",
                                R"({"Colors":[["a",2,3]]})",
                                R"({"NumberType":3,"Values":[1],"BinFunction":{}})"};
  for (const char* text : tables) EXPECT_EQ(FromJson<TableData>(text), nullptr) << text;
  const char* const matrices[] = {R"({"NumberType":3,"Rows":2,"Columns":2,"Values":[1,2,3]})",
                                  R"({"NumberType":3,"Rows":2,"Columns":2,"Values":[[1,2],[3,4]]})",
                                  R"({"NumberType":3,"Rows":2,"Columns":2,"Values":[1,2,3,4,5]})",
                                  R"({"NumberType":3,"Rows":-1,"Columns":-1,"Values":[1]})",
                                  R"({"NumberType":3,"Rows":1.5,"Columns":2,"Values":[1,2,3]})",
                                  R"({"NumberType":3,"Rows":2147483648,"Columns":0,"Values":[]})",
                                  R"({"NumberType":3,"Rows":2147483647,"Columns":2147483647,"Values":[]})",
                                  R"({"NumberType":3,"Rows":18446744073709551615,"Columns":1,"Values":[1]})",
                                  R"({"NumberType":3,"Rows":65536,"Columns":65536,"Values":[]})",
                                  R"({"NumberType":3,"Rows":"1","Columns":1,"Values":[1]})",
                                  R"({"NumberType":3,"Columns":1,"Values":[1]})",
                                  R"({"NumberType":3,"Rows":1,"Columns":1})",
                                  R"({"NumberType":3,"Rows":1,"Columns":1,"Layers":[]})",
                                  R"({"NumberType":3,"Rows":1,"Columns":1,"Layers":[[1],2]})"};
  for (const char* text : matrices) EXPECT_EQ(FromJson<MatrixData>(text), nullptr) << text;
  for (const char* text : {"5", "{}", R"({"NumberType":3})", R"({"NumberType":3,"Value":[1]})", R"({"Color":[1]})",
                           R"({"Color":[1,2,3],"Value":1})", R"({"NumberType":8,"Value":2147483648})"})
    EXPECT_EQ(FromJson<ScalarData>(text), nullptr) << text;
  for (const char* text : {"{}", R"({"Kind":3,"Layers":[]})", R"({"Kind":0})", R"({"Kind":0,"Layers":[5]})",
                           R"({"Kind":0,"Layers":[{"NumberType":3,"Rows":9,"Columns":9,"Values":[]}]})"})
    EXPECT_EQ(FromJson<BaseDataStackData>(text), nullptr) << text;
}

TEST(TableValues, BinFunctions) {
  const char* const good[] = {R"({"Kind":"direct","NumBins":3,"Minimum":-1.5})",
                              R"({"Kind":"linear","NumBins":2,"Minimum":0.0,"Maximum":10.0})",
                              R"({"Kind":"logarithmic","NumBins":2,"Minimum":1.0,"Maximum":100.0})",
                              R"({"Kind":"explicit","Limits":[0.0,1.0,5.0]})"};
  for (const std::string function : good) {
    const auto data = FromJson<TableData>(R"({"NumberType":3,"Values":[1,2],"BinFunction":)" + function + "}");
    ASSERT_TRUE(data) << function;
    EXPECT_EQ(JsonText(*data), R"({"NumberType":3,"Values":[1,2],"BinFunction":)" + function + "}");
    EXPECT_EQ(*BaseDataStackUtils::GetBinFunctionFromTable(ThroughJson(*data)->GetDataValue()),
              *BaseDataStackUtils::GetBinFunctionFromTable(data->GetDataValue()));
  }
  const char* const bad[] = {"5",
                             R"({"Kind":"Linear","NumBins":2,"Minimum":0,"Maximum":1})",
                             R"({"Kind":"linear","NumBins":0,"Minimum":0,"Maximum":1})",
                             R"({"Kind":"linear","NumBins":4294967296,"Minimum":0,"Maximum":1})",
                             R"({"Kind":"linear","NumBins":2,"Minimum":2,"Maximum":1})",
                             R"({"Kind":"linear","NumBins":2,"Minimum":"NaN","Maximum":1})",
                             R"({"Kind":"logarithmic","NumBins":2,"Minimum":0,"Maximum":1})",
                             R"({"Kind":"direct","NumBins":2})",
                             R"({"Kind":"explicit","Limits":[1]})",
                             R"({"Kind":"explicit","Limits":[1,1]})",
                             R"({"Kind":"explicit","Limits":[1,"NaN"]})"};
  for (const std::string function : bad)
    EXPECT_EQ(FromJson<TableData>(R"({"NumberType":3,"Values":[],"BinFunction":)" + function + "}"), nullptr)
        << function;
}

TEST(TableValues, Texts) {
  EXPECT_EQ(FromJson<TableData>(R"({"NumberType":9,"Values":[0.1,2,"NaN"]})")->ToString(), L"[0.1, 2, NaN]");
  EXPECT_EQ(FromJson<TableData>(R"({"NumberType":13,"Values":["a\"b",null]})")->ToString(), L"[\"a\\\"b\", null]");
  EXPECT_EQ(FromJson<TableData>(R"({"NumberType":11,"Values":[[1,-2.5]]})")->ToString(), L"[(1,-2.5)]");
  EXPECT_EQ(FromJson<TableData>(R"({"Colors":[[1,0,0,0.5]]})")->ToString(), L"[[1 0 0 0.5]]");
  EXPECT_EQ(FromJson<MatrixData>(R"({"NumberType":8,"Rows":2,"Columns":2,"Values":[1,2,3,4]})")->ToString(),
            L"[[1, 2], [3, 4]]");
  // A great many rows of nothing.
  EXPECT_EQ(FromJson<MatrixData>(R"({"NumberType":8,"Rows":2147483647,"Columns":0,"Values":[]})")->ToString(), L"[]");
  EXPECT_EQ(FromText<TableData>(L"[1, 2.5]")->GetDataValue().GetNumberType(), KgdaFloat64);
  EXPECT_EQ(FromText<TableData>(L"[\"a\", null]")->GetDataValue().GetNumberType(), KgdaString);
  EXPECT_EQ(FromText<MatrixData>(L"[[1,2],[3,4],[5,6]]")->ToString(), L"[[1, 2], [3, 4], [5, 6]]");
  for (const wchar_t* bad : {L"", L"5", L"[1,\"a\"]", L"[[1]]", L"[1", L"{}"})
    EXPECT_EQ(FromText<TableData>(bad), nullptr);
  for (const wchar_t* bad : {L"[1]", L"[[1],[2,3]]", L"[[],[]]"}) EXPECT_EQ(FromText<MatrixData>(bad), nullptr);
}

TEST(TableValues, ShortTextsOfLongTablesAreOneLine) {
  const TableData data(CreateTable(1000000, KgdaUInt8));
  EXPECT_EQ(data.ToShortString().size(), 80u);
  EXPECT_EQ(data.ToShortString().substr(77), L"...");
  EXPECT_EQ(TableData(CreateTable(2, KgdaUInt8)).ToShortString(), L"[0, 0]");
}

TEST(TableValues, RowsAreReachedByIndex) {
  TableData data(FromText<TableData>(L"[5, 6]")->GetDataPointer());
  EXPECT_EQ(data.Count(), 2);
  EXPECT_EQ(data[1].ToString(), L"6");
  EXPECT_TRUE(data[2].IsNull());
  EXPECT_TRUE(data[-1].IsNull());
  EXPECT_TRUE(TableData()[0].IsNull());
}

TEST(ScalarValues, Texts) {
  const struct {
    const wchar_t* text;
    NumberType type;
    const wchar_t* written;
  } rows[] = {{L"0.1", KgdaFloat64, L"0.1"},       {L"-5", KgdaFloat64, L"-5"},
              {L"NaN", KgdaFloat64, L"NaN"},       {L"1 2 3 0.5", KgdaFloat64, L"1 2 3 0.5"},
              {L"1 2 3", KgdaFloat64, L"1 2 3 1"}, {L"abc", KgdaString, L"abc"},
              {L"1 2", KgdaString, L"1 2"},        {L"", KgdaString, L""}};
  for (const auto& row : rows) {
    const auto data = FromText<ScalarData>(row.text);
    ASSERT_TRUE(data);
    EXPECT_EQ(data->GetDataValue().GetNumberType(), row.type);
    EXPECT_EQ(data->ToString(), row.written);
  }
  std::mt19937_64 random(1);
  for (int i = 0; i < 500; ++i) {
    const double value = AnyDouble(random);
    const ScalarData data(CreateScalar(value, KgdaFloat64));
    const auto copy = FromText<ScalarData>(data.ToString());
    EXPECT_TRUE(SameBits(kgda_ElementAsDouble(copy->GetDataValue().GetStack().GetLayer(0), 0, 0), value));
  }
}

TEST(AttributeTableValues, JsonAndText) {
  const std::string text =
      R"({"Columns":[{"Name":"a","NumberType":3,"Values":[1,2]},{"Name":"b","NumberType":13,"Values":["x",null]}]})";
  const auto data = FromJson<AttributeTableData>(text);
  ASSERT_TRUE(data);
  EXPECT_EQ(JsonText(*data), text);
  EXPECT_EQ(data->ToString(), L"{\"a\": [1, 2], \"b\": [\"x\", null]}");
  EXPECT_EQ(data->GetKeys(), (std::vector<std::wstring>{L"a", L"b"}));
  EXPECT_EQ((*data)[L"a"].ToString(), L"[1, 2]");
  EXPECT_TRUE((*data)[L"c"].IsNull());
  EXPECT_EQ(FromText<AttributeTableData>(kstr_Widen(text))->ToString(), data->ToString());
  for (const char* bad :
       {"{}", "[]", R"({"Columns":{}})", R"({"Columns":[{"NumberType":3,"Values":[]}]})",
        R"({"Columns":[{"Name":"a","NumberType":3,"Values":[1]},{"Name":"b","NumberType":3,"Values":[]}]})",
        R"({"Columns":[{"Name":"a","NumberType":3,"Values":[1]},{"Name":"a","NumberType":3,"Values":[2]}]})"})
    EXPECT_EQ(FromJson<AttributeTableData>(bad), nullptr) << bad;
}

TEST(JsonValues, KeepTheirDocument) {
  const auto data = FromText<JsonData>(L"{\"b\": [1, null, \"x\"], \"a\": {}}");
  ASSERT_TRUE(data);
  EXPECT_EQ(data->ToString(), L"{\"b\":[1,null,\"x\"],\"a\":{}}");
  EXPECT_EQ(data->GetKeys(), (std::vector<std::wstring>{L"b", L"a"}));
  EXPECT_EQ(ThroughJson(*data)->ToString(), data->ToString());
  EXPECT_EQ((*data)[L"b"].Count(), 3);
  EXPECT_EQ((*data)[L"b"][2].ToString(), L"\"x\"");
  EXPECT_TRUE((*data)[L"c"].IsNull());
  const auto copy = data->Clone();
  (*copy)[L"c"] = tx::MakeData<tx::IntData>(5);
  EXPECT_EQ(copy->ToString(), L"{\"b\":[1,null,\"x\"],\"a\":{},\"c\":5}");
  EXPECT_EQ(data->ToString(), L"{\"b\":[1,null,\"x\"],\"a\":{}}");
  for (const wchar_t* bad : {L"", L"{", L"[1,]", L"// x\n1", L"nul"}) EXPECT_EQ(FromText<JsonData>(bad), nullptr);
  EXPECT_EQ(data->ToString(), L"{\"b\":[1,null,\"x\"],\"a\":{}}");
}

TEST(DateTimes, Texts) {
  const struct {
    const wchar_t* text;
    const wchar_t* written;  ///< null where it is refused
  } rows[] = {{L"2024-05-17T08:30:00.25", L"2024-05-17T08:30:00.25"},
              {L"2024-05-17 08:30", L"2024-05-17T08:30:00"},
              {L"2024-02-29", L"2024-02-29T00:00:00"},
              {L"1400-01-01T23:59:59.000001", L"1400-01-01T23:59:59.000001"},
              {L"9999-12-31T23:59:59.999999", L"9999-12-31T23:59:59.999999"},
              {L"2024-05-17T08:30:00,5", L"2024-05-17T08:30:00.5"},
              {L"2024-05-17T08:30:00.123456789", L"2024-05-17T08:30:00.123456"},
              {L"2023-02-29", nullptr},
              {L"2024-13-01", nullptr},
              {L"2024-00-10", nullptr},
              {L"2024-04-31", nullptr},
              {L"0000-01-01", nullptr},
              {L"2024-5-17", nullptr},
              {L"2024-05-17T", nullptr},
              {L"2024-05-17T24:00:00", nullptr},
              {L"2024-05-17T08:60:00", nullptr},
              {L"2024-05-17T08:30:60", nullptr},
              {L"2024-05-17T08:30:00.", nullptr},
              {L"2024-05-17T08:30:00Z", nullptr},
              {L"2024-05-17T08:30:00+01:00", nullptr},
              {L"17.05.2024", nullptr},
              {L"", nullptr}};
  for (const auto& row : rows) {
    const auto data = FromText<DateTimeData>(row.text);
    ASSERT_EQ(data != nullptr, row.written != nullptr) << kstr_ToUtf8(row.text);
    if (!data) continue;
    EXPECT_EQ(data->ToString(), row.written);
    EXPECT_EQ(ThroughJson(*data)->GetDataValue(), data->GetDataValue());
  }
  std::mt19937_64 random(9);
  const boost::posix_time::ptime start = FromText<DateTimeData>(L"1400-01-01")->GetDataValue();
  for (int i = 0; i < 300; ++i) {
    const auto moment =
        start + boost::posix_time::microseconds(static_cast<std::int64_t>(random() % 271000000000000000ull));
    const DateTimeData data(boost::make_shared<boost::posix_time::ptime>(moment));
    EXPECT_EQ(FromText<DateTimeData>(data.ToString())->GetDataValue(), moment);
  }
  EXPECT_EQ(FromJson<DateTimeData>("5"), nullptr);
}

TEST(TypeCodes, TextsAndJson) {
  for (std::uint32_t code = 0; code < 14; ++code) {
    const auto number = tx::MakeData<NumberTypeData>(NumberTypeCode{code});
    EXPECT_EQ(ThroughJson(*number)->GetDataValue().code, code);
    EXPECT_EQ(FromText<NumberTypeData>(number->ToString())->GetDataValue().code, code);
    EXPECT_EQ(FromJson<NumberTypeData>(std::to_string(code))->GetDataValue().code, code);
    EXPECT_EQ(FromText<SimpleDataTypeData>(number->ToString())->GetDataValue().code, code);
  }
  EXPECT_EQ(JsonText(*tx::MakeData<NumberTypeData>(NumberTypeCode{9})), "\"Float32\"");
  EXPECT_EQ(JsonText(*tx::MakeData<SimpleDataTypeData>(SimpleDataTypeCode{SimpleDataTypeCode::kColor})), "\"Color\"");
  EXPECT_EQ(FromJson<SimpleDataTypeData>("4294967294")->GetDataValue().code, SimpleDataTypeCode::kColor);
  EXPECT_EQ(ThroughJson(*tx::MakeData<SimpleDataTypeData>(SimpleDataTypeCode()))->GetDataValue().code,
            SimpleDataTypeCode::kNone);
  for (const wchar_t* bad : {L"", L"14", L"Color", L"Float", L"-1"}) EXPECT_EQ(FromText<NumberTypeData>(bad), nullptr);
  for (const char* bad : {"14", "-1", "4294967294", "3.5", "[]", "true"})
    EXPECT_EQ(FromJson<NumberTypeData>(bad), nullptr) << bad;
}

TEST(Passwords, AreNeverShown) {
  const auto data = FromJson<PasswordData>("\"secret\"");
  ASSERT_TRUE(data);
  EXPECT_EQ(data->GetDataValue(), L"secret");
  tx::JsonValue json;
  EXPECT_FALSE(data->ToJSON(json));
  std::wstring type, text;
  EXPECT_FALSE(data->ToSerializedString(type, text));
  EXPECT_EQ(data->ToShortString(), L"********");
  EXPECT_EQ(data->ToReportString(), L"********");
  const auto copy = boost::dynamic_pointer_cast<PasswordData>(data->Clone());
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->GetDataValue(), L"secret");
}

// What holds for all wrappers.

std::vector<std::pair<DataPtr, DataPtr>> OrderedPairs() {
  return {{FromText<TableData>(L"[1, 2]"), FromText<TableData>(L"[1, 3]")},
          {FromText<TableData>(L"[1]"), FromText<TableData>(L"[1, 0]")},
          {FromText<MatrixData>(L"[[1, 2]]"), FromText<MatrixData>(L"[[1, 3]]")},
          {FromText<ScalarData>(L"2"), FromText<ScalarData>(L"10")},
          {FromText<ScalarData>(L"10"), FromText<ScalarData>(L"abc")},
          {FromJson<BaseDataStackData>(R"({"Kind":0,"Layers":[]})"),
           FromJson<BaseDataStackData>(R"({"Kind":0,"Layers":[{"NumberType":3,"Rows":1,"Columns":1,"Values":[1]}]})")},
          {FromJson<AttributeTableData>(R"({"Columns":[]})"),
           FromJson<AttributeTableData>(R"({"Columns":[{"Name":"a","NumberType":3,"Values":[1]}]})")},
          {FromText<RangeData>(L"2:3"), FromText<RangeData>(L"10:1")},
          {FromText<RangeListData>(L"1"), FromText<RangeListData>(L"1,1")},
          {FromText<ColorData>(L"0 1 1"), FromText<ColorData>(L"1 0 0")},
          {FromText<JsonData>(L"1"), FromText<JsonData>(L"2")},
          {FromText<DateTimeData>(L"1999-12-31"), FromText<DateTimeData>(L"2000-01-01")},
          {FromText<NumberTypeData>(L"Int8"), FromText<NumberTypeData>(L"UInt16")},
          {FromText<SimpleDataTypeData>(L"UInt8"), FromText<SimpleDataTypeData>(L"Color")},
          {FromText<PasswordData>(L"a"), FromText<PasswordData>(L"b")},
          {FromText<DistanceUnitTypeData>(L"Feet"), FromText<DistanceUnitTypeData>(L"Meters")},
          {FromText<VectorFeatureTypeData>(L"Line"), FromText<VectorFeatureTypeData>(L"Point")}};
}

TEST(AllWrappers, CompareByValue) {
  for (const auto& [low, high] : OrderedPairs()) {
    ASSERT_TRUE(low && high);
    SCOPED_TRACE(kstr_ToUtf8(low->GetTypeName()));
    EXPECT_TRUE(*low < high);
    EXPECT_TRUE(*high > low);
    EXPECT_FALSE(*high < low);
    EXPECT_FALSE(*low > high);
    EXPECT_FALSE(*low < low->Clone());
    EXPECT_FALSE(*low > low->Clone());
    EXPECT_TRUE(*low > nullptr);
    EXPECT_FALSE(*low < nullptr);
    // Numbers come before all others.
    EXPECT_TRUE(*low > tx::MakeData<tx::IntData>(99));
    EXPECT_FALSE(*low < tx::MakeData<tx::IntData>(99));
  }
}

TEST(AllWrappers, ClonesAreDeepAndOfTheSameType) {
  for (const auto& pair : OrderedPairs()) {
    for (const auto& data : {pair.first, pair.second}) {
      SCOPED_TRACE(kstr_ToUtf8(data->GetTypeName()));
      const auto copy = data->Clone();
      ASSERT_TRUE(copy);
      EXPECT_EQ(typeid(*copy), typeid(*data));
      EXPECT_NE(copy, data);
      EXPECT_EQ(copy->ToString(), data->ToString());
      EXPECT_GT(data->SizeInBytes(), 0u);
      EXPECT_EQ(data->GetTypeNamespace(), std::wstring(L"VANTIX"));
      EXPECT_EQ(data->Name(), std::wstring(data->GetTypeName()));
    }
  }
  const auto table = FromText<TableData>(L"[1, 2]");
  const auto copy = boost::dynamic_pointer_cast<TableData>(table->Clone());
  static_cast<double*>(copy->GetDataValue().GetRawData())[0] = 9;
  EXPECT_EQ(table->ToString(), L"[1, 2]");
}

TEST(AllWrappers, WithoutAValueAreEmptyAndNullInJson) {
  for (const auto& pair : OrderedPairs()) {
    const auto copy = pair.first->Clone();
    SCOPED_TRACE(kstr_ToUtf8(copy->GetTypeName()));
    copy->AssignFrom(nullptr);
    ASSERT_TRUE(copy->HasNoValue());
    EXPECT_EQ(copy->ToString(), L"");
    EXPECT_LT(copy->SizeInBytes(), pair.first->SizeInBytes());
    EXPECT_TRUE(copy->Clone()->HasNoValue());
    EXPECT_LT(copy->Count(), 1);
    EXPECT_TRUE(*copy < pair.first);
    EXPECT_TRUE(*pair.first > copy);
    tx::JsonValue json(5);
    if (copy->ToJSON(json)) {
      EXPECT_TRUE(json.IsNull());
    }
  }
}

TEST(AllWrappers, FailedReadsLeaveTheValue) {
  for (const auto& pair : OrderedPairs()) {
    if (dynamic_cast<JsonData*>(pair.first.get())) continue;  // takes any JSON
    const std::wstring before = pair.first->ToString();
    EXPECT_FALSE(pair.first->FromJSON(Json(R"({"wrong":1})"))) << kstr_ToUtf8(pair.first->GetTypeName());
    EXPECT_EQ(pair.first->ToString(), before);
  }
}

TEST(AllWrappers, SizesCountTheElements) {
  EXPECT_GE(TableData(CreateTable(1000, KgdaFloat64)).SizeInBytes(), 8000u);
  const auto texts = FromText<TableData>(L"[\"0123456789\"]");
  const auto empty = FromText<TableData>(L"[\"\"]");
  EXPECT_EQ(texts->SizeInBytes(), empty->SizeInBytes() + 10);
}

}  // namespace
