#include <algorithm>
#include <vector>

#include "txbasiclib/values.h"
#include "txlib/conversion.h"

// What a user sees of each type: in full, on a line, in a report.
namespace {

using namespace basictest;

template <typename W>
DataPtr Of(const std::string& json) {
  return FromJson<W>(json);
}

struct TextRow {
  const char* title;
  DataPtr data;
  const wchar_t* text;
};

TEST(Texts, ShortValuesReadTheSameEverywhere) {
  const auto code = [](std::uint32_t value) { return tx::MakeData<NumberTypeData>(NumberTypeCode{value}); };
  const std::vector<TextRow> rows = {
      {"Bool", tx::MakeData<tx::BoolData>(true), L"true"},
      {"Int", tx::MakeData<tx::IntData>(-5), L"-5"},
      {"Unsigned", tx::MakeData<tx::UnsignedData>(4294967295u), L"4294967295"},
      {"Double", tx::MakeData<tx::DoubleData>(2.5), L"2.5"},
      {"String", tx::MakeData<tx::StringData>(L"Gr\u00fcn"), L"Gr\u00fcn"},
      {"File", tx::MakeData<tx::FileData>(L"/a b"), L"/a b"},
      {"Directory", tx::MakeData<tx::DirectoryData>(L"/a"), L"/a"},
      {"StringList", tx::MakeData<tx::StringListData>({L"a", L"b, c"}), L"[\"a\", \"b, c\"]"},
      {"Table", Of<TableData>(R"({"NumberType":10,"Values":[1,2.5]})"), L"[1, 2.5]"},
      {"colours", Of<TableData>(R"({"Colors":[[1,0,0,1]]})"), L"[[1 0 0 1]]"},
      {"Matrix", Of<MatrixData>(R"({"NumberType":8,"Rows":2,"Columns":2,"Values":[1,2,3,4]})"), L"[[1, 2], [3, 4]]"},
      {"Scalar", boost::make_shared<ScalarData>(CreateScalar(0.5, KgdaFloat64)), L"0.5"},
      {"Range", tx::MakeData<RangeData>(RangeClass(1, 2.5)), L"1:2.5"},
      {"RangeList", tx::MakeData<RangeListData>({RangeClass(1, 2), RangeClass(4, 4)}), L"1:2,4"},
      {"Color", tx::MakeData<ColorData>(Color(1, 0.5, 0)), L"1 0.5 0 1"},
      {"Json", Of<JsonData>(R"({"a": [1, null]})"), L"{\"a\":[1,null]}"},
      {"DateTime", Of<DateTimeData>("\"2024-05-17T08:30:00.25\""), L"2024-05-17T08:30:00.25"},
      {"NumberType", code(9), L"Float32"},
      {"no type", tx::MakeData<SimpleDataTypeData>(SimpleDataTypeCode()), L""},
      {"DistanceUnitType", tx::MakeData<DistanceUnitTypeData>(L"Meters"), L"Meters"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.title);
    ASSERT_TRUE(row.data);
    EXPECT_EQ(row.data->ToString(), row.text);
    EXPECT_EQ(row.data->ToShortString(), row.text);
    EXPECT_EQ(row.data->ToReportString(), row.text);
    EXPECT_EQ(row.data->Clone()->ToString(), row.text);
  }
}

TEST(Texts, DoublesInFullOnALineAndInAReport) {
  const auto number = tx::MakeData<tx::DoubleData>(0.1);
  EXPECT_EQ(number->ToString(), L"0.10000000000000001");
  EXPECT_EQ(number->ToShortString(), L"0.1");
  EXPECT_EQ(number->ToReportString(), L"0.1");
}

TEST(Texts, NestedValuesReadAsTheyDoAlone) {
  tx::Dictionary inner;
  inner.SetItem(L"range", tx::MakeData<RangeData>(RangeClass(1, 2)));
  inner.SetItem(L"none", nullptr);
  inner.SetItem(L"table", Of<TableData>(R"({"NumberType":3,"Values":[1,2]})"));
  const auto list =
      tx::MakeData<tx::DataListData>({tx::MakeData<tx::DictionaryData>(inner), tx::MakeData<ColorData>(Color(1, 0, 0)),
                                      tx::MakeData<tx::BoolData>(false)});
  const wchar_t* const text = L"[{\"range\": 1:2, \"none\": null, \"table\": [1, 2]}, 1 0 0 1, false]";
  EXPECT_EQ(list->ToString(), text);
  EXPECT_EQ(list->ToShortString(), text);
  EXPECT_EQ(list->ToReportString(), text);
}

TEST(Texts, PasswordsAreHiddenInsideOthers) {
  tx::Dictionary dictionary;
  dictionary.SetItem(L"key", tx::MakeData<PasswordData>(L"secret"));
  const auto data = tx::MakeData<tx::DictionaryData>(dictionary);
  EXPECT_EQ(data->ToShortString(), L"{\"key\": ********}");
  EXPECT_EQ(data->ToReportString(), L"{\"key\": ********}");
}

std::string Numbers(int count) {
  std::string text;
  for (int number = 0; number < count; ++number) text += (number ? "," : "") + std::to_string(1000 + number);
  return "[" + text + "]";
}

TEST(Texts, LongValuesAreReportedInLines) {
  const auto lines = [](const tx::Data& data) {
    EXPECT_EQ(data.ToString().find(L'\n'), std::wstring::npos);
    EXPECT_EQ(data.ToShortString().size(), 80u);
    const std::wstring report = data.ToReportString();
    std::vector<std::wstring> found;
    for (std::size_t start = 0; start <= report.size();) {
      const auto end = std::min(report.find(L'\n', start), report.size());
      found.push_back(report.substr(start, end - start));
      start = end + 1;
    }
    return found;
  };
  const auto table = lines(*Of<TableData>("{\"NumberType\":10,\"Values\":" + Numbers(30) + "}"));
  ASSERT_EQ(table.size(), 32u);
  EXPECT_EQ(table[0], L"[");
  EXPECT_EQ(table[1], L"  1000,");
  EXPECT_EQ(table[30], L"  1029");
  EXPECT_EQ(table[31], L"]");
  const auto matrix =
      lines(*Of<MatrixData>("{\"NumberType\":10,\"Rows\":3,\"Columns\":10,\"Values\":" + Numbers(30) + "}"));
  ASSERT_EQ(matrix.size(), 5u);
  EXPECT_EQ(matrix[2], L"  [1010, 1011, 1012, 1013, 1014, 1015, 1016, 1017, 1018, 1019],");
  const auto json = lines(*Of<JsonData>("{\"a\":" + Numbers(30) + "}"));
  EXPECT_EQ(json[0], L"{");
  EXPECT_EQ(json[2], L"    1000,");
  const auto texts = lines(*tx::MakeData<tx::StringListData>(std::vector<std::wstring>(10, L"a long text")));
  ASSERT_EQ(texts.size(), 12u);
  EXPECT_EQ(texts[1], L"  \"a long text\",");
  AttributeTable columns;
  for (const wchar_t* name : {L"first", L"second"}) {
    columns.GetColumns().push_back(
        {name, FromJson<TableData>("{\"NumberType\":10,\"Values\":" + Numbers(8) + "}")->GetDataPointer()});
  }
  const auto attributes = lines(*tx::MakeData<AttributeTableData>(columns));
  ASSERT_EQ(attributes.size(), 4u);
  EXPECT_EQ(attributes[1], L"  \"first\": [1000, 1001, 1002, 1003, 1004, 1005, 1006, 1007],");
}

TEST(Texts, NoValueIsNoText) {
  for (const auto& name : tx::DataFactory::GetNames()) {
    const auto data = tx::DataFactory::Create(name);
    ASSERT_TRUE(data);
    if (!data->HasNoValue() || name.Name == L"Password") continue;
    SCOPED_TRACE(kstr_ToUtf8(name.ToString()));
    EXPECT_EQ(data->ToString(), L"");
    EXPECT_EQ(data->ToShortString(), L"");
    EXPECT_EQ(data->ToReportString(), L"");
  }
}

}  // namespace
