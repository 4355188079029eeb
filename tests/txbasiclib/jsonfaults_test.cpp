// What documents are told of values that their types do not read: where it is, what was found, what was expected.
#include <thread>

#include "txlib/datajson.h"
#include "txlib/jsonfault.h"
#include "values.h"

namespace {

using namespace basictest;

struct FaultRow {
  const char* type;
  const char* value;
  const char* path;
  const wchar_t* error;
};

constexpr const wchar_t* kNumberType =
    L"found no \"NumberType\", expected the name or code of a number type such as \"Float64\"";

const FaultRow kRows[] = {
    {"Table", "5", ".Value", L"found 5, expected an object with \"NumberType\" and \"Values\""},
    {"Table", "{}", ".Value", kNumberType},
    {"Table", R"({"NumberType": "Float65", "Values": []})", ".Value.NumberType",
     L"found the string \"Float65\", expected the name or code of a number type such as \"Float64\""},
    {"Table", R"({"NumberType": 14, "Values": []})", ".Value.NumberType",
     L"found 14, expected the name or code of a number type such as \"Float64\""},
    {"Table", R"({"NumberType": 10})", ".Value", L"found no \"Values\", expected an array of elements"},
    {"Table", R"({"NumberType": 10, "Values": 5})", ".Value.Values", L"found 5, expected an array of elements"},
    {"Table", R"({"NumberType": 10, "Layers": []})", ".Value.Layers",
     L"found an array, expected an array of at least one layer"},
    {"Table", R"({"NumberType": 10, "Layers": [[1, 2], [1]]})", ".Value.Layers[1]", L"found 1 element, expected 2"},
    {"Table", R"({"NumberType": 10, "Layers": [[1], [null]]})", ".Value.Layers[1][0]",
     L"found null, expected a number, \"NaN\", \"Infinity\" or \"-Infinity\""},
    {"Table", R"({"NumberType": 10, "Values": [], "Layers": []})", ".Value",
     L"found both \"Values\" and \"Layers\", expected one of them"},
    {"Table", R"({"NumberType": 10, "Values": [1, "x"]})", ".Value.Values[1]",
     L"found the string \"x\", expected a number, \"NaN\", \"Infinity\" or \"-Infinity\""},
    {"Table", R"({"NumberType": "Float32", "Values": [1e39]})", ".Value.Values[0]",
     L"found 1e+39, expected a number of single precision"},
    {"Table", R"({"NumberType": "Bit", "Values": [0, 1, 2]})", ".Value.Values[2]",
     L"found 2, expected a whole number from 0 to 1"},
    {"Table", R"({"NumberType": "Int32", "Values": [2147483648]})", ".Value.Values[0]",
     L"found 2147483648, expected a whole number from -2147483648 to 2147483647"},
    {"Table", R"({"NumberType": "Int32", "Values": [0.5]})", ".Value.Values[0]",
     L"found 0.5, expected a whole number from -2147483648 to 2147483647"},
    {"Table", R"({"NumberType": "Complex64", "Values": [[1, 2], 3]})", ".Value.Values[1]",
     L"found 3, expected an array of the real and the imaginary part"},
    {"Table", R"({"NumberType": "Complex64", "Values": [[null, 2]]})", ".Value.Values[0][0]",
     L"found null, expected a number, \"NaN\", \"Infinity\" or \"-Infinity\""},
    {"Table", R"({"NumberType": "Complex128", "Values": [[1, 2], [1, "x"]]})", ".Value.Values[1][1]",
     L"found the string \"x\", expected a number, \"NaN\", \"Infinity\" or \"-Infinity\""},
    {"Table", R"({"NumberType": "String", "Values": [null, "a", 5]})", ".Value.Values[2]",
     L"found 5, expected a string or null"},
    {"Table", R"({"Colors": 5})", ".Value.Colors", L"found 5, expected an array of colors"},
    {"Table", R"({"Colors": [[0, 0, 0], [0, 0]]})", ".Value.Colors[1]",
     L"found an array, expected an array of three or four numbers: red, green, blue and opacity"},
    {"Table", R"({"Colors": [[0, 0, "x"]]})", ".Value.Colors[0][2]",
     L"found the string \"x\", expected a number, \"NaN\", \"Infinity\" or \"-Infinity\""},
    {"Table", R"({"Colors": [], "Values": []})", ".Value",
     L"found both \"Colors\" and \"Values\", expected one of them"},
    {"Table", R"({"NumberType": 10, "Values": [], "BinFunction": {"Kind": "lin"}})", ".Value.BinFunction.Kind",
     L"found the string \"lin\", expected \"direct\", \"linear\", \"logarithmic\" or \"explicit\""},
    {"Table", R"({"NumberType": 10, "Values": [], "BinFunction": {"Kind": "direct", "NumBins": 0}})",
     ".Value.BinFunction.NumBins", L"found 0, expected a whole number from 1 to 2147483647"},
    {"Table", R"({"NumberType": 10, "Values": [], "BinFunction": {"Kind": "direct", "NumBins": 1}})",
     ".Value.BinFunction", L"found no \"Minimum\", expected a number, \"NaN\", \"Infinity\" or \"-Infinity\""},
    {"Table",
     R"({"NumberType": 10, "Values": [], "BinFunction": {"Kind": "linear", "NumBins": 1, "Minimum": 2, "Maximum": 1}})",
     ".Value.BinFunction.Maximum", L"found 1, expected at least the minimum"},
    {"Table",
     R"({"NumberType": 10, "Values": [], "BinFunction":
         {"Kind": "logarithmic", "NumBins": 1, "Minimum": 0, "Maximum": 1}})",
     ".Value.BinFunction.Minimum", L"found 0, expected a number above 0 for logarithmic bins"},
    {"Table", R"({"NumberType": 10, "Values": [], "BinFunction": {"Kind": "explicit", "Limits": [1]}})",
     ".Value.BinFunction.Limits", L"found an array, expected an array of at least two ascending numbers"},
    {"Table", R"({"NumberType": 10, "Values": [], "BinFunction": {"Kind": "explicit", "Limits": [1, 3, 3]}})",
     ".Value.BinFunction.Limits[2]", L"found 3, expected a number greater than those before it"},
    {"Table", R"({"NumberType": 10, "Values": [], "BinFunction": {"Kind": "explicit", "Limits": ["NaN", 3]}})",
     ".Value.BinFunction.Limits[0]", L"found the string \"NaN\", expected a number greater than those before it"},
    {"Table", R"({"NumberType": 10, "Values": [], "BinFunction": 5})", ".Value.BinFunction",
     L"found 5, expected an object with \"Kind\""},
    {"Matrix", "[]", ".Value",
     L"found an array, expected an object with \"NumberType\", \"Rows\", \"Columns\" and \"Values\""},
    {"Matrix", R"({"NumberType": 10})", ".Value", L"found no \"Rows\", expected a whole number from 0 to 2147483647"},
    {"Matrix", R"({"NumberType": 10, "Rows": 1, "Columns": 2147483648})", ".Value.Columns",
     L"found 2147483648, expected a whole number from 0 to 2147483647"},
    {"Matrix", R"({"NumberType": 10, "Rows": 2147483647, "Columns": 2147483647, "Values": [1]})", ".Value.Values",
     L"found 1 element, expected 4611686014132420609"},
    {"Matrix", R"({"NumberType": 10, "Rows": 2, "Columns": 2, "Values": [1, 2, 3, true]})", ".Value.Values[3]",
     L"found true, expected a number, \"NaN\", \"Infinity\" or \"-Infinity\""},
    {"Scalar", "5", ".Value", L"found 5, expected an object with \"NumberType\" and \"Value\", or with \"Color\""},
    {"Scalar", R"({"NumberType": 10})", ".Value", L"found no \"Value\", expected the element"},
    {"Scalar", R"({"NumberType": 3, "Value": 256})", ".Value.Value",
     L"found 256, expected a whole number from 0 to 255"},
    {"Scalar", R"({"NumberType": 3, "Layers": [[1], [1, 2]]})", ".Value.Layers[1]", L"found 2 elements, expected 1"},
    {"Scalar", R"({"Color": [1]})", ".Value.Color",
     L"found an array, expected an array of three or four numbers: red, green, blue and opacity"},
    {"Scalar", R"({"Color": [1, 1, 1], "Value": 1})", ".Value",
     L"found both \"Color\" and \"Value\", expected one of them"},
    {"BaseDataStack", "5", ".Value", L"found 5, expected an object with \"Kind\""},
    {"BaseDataStack", R"({"Kind": 3, "Layers": []})", ".Value.Kind", L"found 3, expected a whole number from 0 to 2"},
    {"BaseDataStack", R"({"Kind": 0})", ".Value", L"found no \"Layers\", expected an array of layers"},
    {"BaseDataStack", R"({"Kind": 0, "Layers": [5]})", ".Value.Layers[0]",
     L"found 5, expected an object with \"NumberType\""},
    {"BaseDataStack", R"({"Kind": 0, "Layers": [{"NumberType": 3, "Rows": 1, "Columns": 1}]})", ".Value.Layers[0]",
     L"found no \"Values\", expected an array of elements"},
    {"AttributeTable", "[]", ".Value", L"found an array, expected an object with \"Columns\""},
    {"AttributeTable", R"({"Columns": {}})", ".Value.Columns", L"found an object, expected an array of columns"},
    {"AttributeTable", R"({"Columns": [{"NumberType": 10, "Values": []}]})", ".Value.Columns[0]",
     L"found no \"Name\", expected a name that no other column has"},
    {"AttributeTable",
     R"({"Columns": [{"Name": "a", "NumberType": 10, "Values": []}, {"Name": "a", "NumberType": 10, "Values": []}]})",
     ".Value.Columns[1].Name", L"found the string \"a\", expected a name that no other column has"},
    {"AttributeTable",
     R"({"Columns": [{"Name": "a", "NumberType": 10, "Values": [1]}, {"Name": "b", "NumberType": 10, "Values": []}]})",
     ".Value.Columns[1]", L"found a column of 0 rows, expected 1 as in the first"},
    {"AttributeTable", R"({"Columns": [{"Name": "a", "NumberType": 3, "Values": [1, -1]}]})",
     ".Value.Columns[0].Values[1]", L"found -1, expected a whole number from 0 to 255"},
    {"Range", "[1, 2]", ".Value", L"found an array, expected an object with \"Start\""},
    {"Range", R"({"Start": 1})", ".Value",
     L"found no \"End\", expected a number, \"NaN\", \"Infinity\" or \"-Infinity\""},
    {"RangeList", "5", ".Value", L"found 5, expected an array of ranges"},
    {"RangeList", R"([{"Start": 1, "End": 2}, {"Start": 1, "End": "x"}])", ".Value[1].End",
     L"found the string \"x\", expected a number, \"NaN\", \"Infinity\" or \"-Infinity\""},
    {"Color", R"({"Red": 1, "Green": 1, "Blue": null})", ".Value.Blue",
     L"found null, expected a number, \"NaN\", \"Infinity\" or \"-Infinity\""},
    {"Color", R"({"Red": 1, "Green": 1, "Blue": 1, "Opacity": "1"})", ".Value.Opacity",
     L"found the string \"1\", expected a number, \"NaN\", \"Infinity\" or \"-Infinity\""},
    {"DateTime", R"("2026-13-01")", ".Value",
     L"found the string \"2026-13-01\", expected a time in ISO 8601 such as \"2026-03-01T12:30:00\""},
    {"NumberType", R"("Color")", ".Value",
     L"found the string \"Color\", expected the name or code of a number type such as \"Float64\""},
    {"SimpleDataType", "true", ".Value", L"found true, expected the name or code of a number type such as \"Float64\""},
    {"Password", "5", ".Value", L"found 5, expected a string for type \"VANTIX.Password\""},
    {"CoordinateReferenceSystemID", "5", ".Value", L"found 5, expected an object with \"Authority\""},
    {"CoordinateReferenceSystemID", R"({"Authority": "EPSG", "Code": 4326})", ".Value.Code",
     L"found 4326, expected a string"},
    {"Raster", "5", ".Value", L"found 5, expected the name of a raster file"},
    {"Raster", R"("")", ".Value", L"found the string \"\", expected the name of a raster file"},
};

TEST(JsonFaults, TellPlaceAndWords) {
  for (const FaultRow& row : kRows) {
    const std::string text = std::string(R"({"Type": "VANTIX.)") + row.type + R"(", "Value": )" + row.value + "}";
    SCOPED_TRACE(text);
    DataPtr data;
    std::wstring error;
    std::string path;
    EXPECT_FALSE(tx::DataFromDocumentJson(Json(text), data, error, path));
    EXPECT_EQ(path, row.path);
    EXPECT_EQ(error, row.error);
  }
}

TEST(JsonFaults, AZeroCharacterIsNoPartOfAnElement) {
  tx::JsonValue json = Json(R"({"Type": "VANTIX.Table", "Value": {"NumberType": 13, "Values": ["a\u0000b"]}})");
  DataPtr data;
  std::wstring error;
  std::string path;
  EXPECT_FALSE(tx::DataFromDocumentJson(json, data, error, path));
  EXPECT_EQ(path, ".Value.Values[0]");
  EXPECT_TRUE(error.ends_with(L", expected a string without zero characters"));
}

TEST(JsonFaults, TheInnermostScopeOfTheThreadIsTold) {
  tx::JsonFaultScope outer;
  {
    tx::JsonFaultScope inner;
    EXPECT_FALSE(tx::RefuseJson(tx::JsonValue(5), L"six"));
    EXPECT_FALSE(tx::RefusedAt("a b"));
    EXPECT_FALSE(tx::RefusedAt(2));
    EXPECT_EQ(inner.Get().error, L"found 5, expected six");
    EXPECT_EQ(inner.Get().path, L"[2][\"a b\"]");
  }
  std::thread([] {
    EXPECT_FALSE(tx::RefuseJson(tx::JsonValue(5), L"six"));
    EXPECT_FALSE(tx::RefusedAt("k"));
  }).join();
  EXPECT_EQ(outer.Get().error, L"");
  EXPECT_EQ(outer.Get().path, L"");
}

TEST(JsonFaults, AValueThatIsReadTellsNothing) {
  tx::JsonFaultScope scope;
  EXPECT_TRUE(FromJson<TableData>(R"({"NumberType": "Float64", "Values": [1, "NaN"]})"));
  EXPECT_EQ(scope.Get().error, L"");
}

}  // namespace
