#include <limits>

#include "kcommon/kgda.h"
#include "tx_general/rows.h"
#include "txbasiclib/basicvalues.h"
#include "txlib/factories.h"

namespace {

using namespace testing_support;
using namespace Tamrin::TesseraBasic;

DataPtr Of(const boost::shared_ptr<Scalar>& scalar) { return boost::make_shared<ScalarData>(scalar); }

DataPtr TableOf(const std::vector<double>& values, NumberType type) {
  const auto table = CreateTable(static_cast<std::int32_t>(values.size()), type);
  for (std::size_t row = 0; row < values.size(); ++row) {
    kgda_SetElementFromDouble(table->GetMutableStack().GetLayer(0), static_cast<std::int32_t>(row), 0, values[row]);
  }
  return boost::make_shared<TableData>(table);
}

DataPtr TextTable(const char* first, const char* second) {
  const auto table = CreateTable(2, KgdaString);
  kgda_SetElementString(table->GetMutableStack().GetLayer(0), 0, 0, first);
  kgda_SetElementString(table->GetMutableStack().GetLayer(0), 1, 0, second);
  return boost::make_shared<TableData>(table);
}

DataPtr MatrixOf(std::int32_t rows, std::int32_t columns, double last) {
  const auto matrix = CreateMatrix(rows, columns, KgdaFloat64);
  kgda_SetElementFromDouble(matrix->GetMutableStack().GetLayer(0), rows - 1, columns - 1, last);
  return boost::make_shared<MatrixData>(matrix);
}

struct EqRow {
  const char* title;
  DataPtr first;
  DataPtr second;
  bool expected;
};

void ExpectRows(const std::vector<EqRow>& rows) {
  for (const auto& row : rows) {
    SCOPED_TRACE(row.title);
    for (const bool swapped : {false, true}) {
      ModelHost host;
      host.Add(L"Eq", L"eq");
      host.Set(L"eq.Input1", swapped ? row.second : row.first).Set(L"eq.Input2", swapped ? row.first : row.second);
      ASSERT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
      EXPECT_EQ(host.Get<bool>(L"eq.Binary"), row.expected);
    }
  }
}

TEST(Eq, NumbersByValue) {
  ExpectRows({{"int and double", Value(1), Value(1.0), true},
              {"int and unsigned", Value(5), Value(5u), true},
              {"not by bits", Value(-1), Value(4294967295u), false},
              {"bool and int", Value(true), Value(1), true},
              {"bool and 2", Value(true), Value(2), false},
              {"fraction", Value(1), Value(1.5), false},
              {"zeros", Value(0.0), Value(-0.0), true},
              {"not a number", Value(std::numeric_limits<double>::quiet_NaN()),
               Value(std::numeric_limits<double>::quiet_NaN()), false},
              {"scalar and int", Of(CreateScalar(7, KgdaInt16)), Value(7), true},
              {"scalars of two types", Of(CreateScalar(7, KgdaInt16)), Of(CreateScalar(7, KgdaFloat64)), true},
              {"number and its text", Value(1), Value(L"1"), false}});
}

TEST(Eq, TextsExactly) {
  ExpectRows({{"same", Value(L"a"), Value(L"a"), true},
              {"case", Value(L"a"), Value(L"A"), false},
              {"blank", Value(L"a"), Value(L"a "), false},
              {"string and file", Value(L"/a"), File(L"/a"), true},
              {"file and directory", File(L"/a"), Directory(L"/b"), false},
              {"scalar and string", Of(CreateStringScalar(L"\u00e9")), Value(L"\u00e9"), true},
              {"other scalar text", Of(CreateStringScalar(L"a")), Of(CreateStringScalar(L"b")), false}});
}

TEST(Eq, ColoursAndRangesByMembers) {
  ExpectRows({{"colours", Value(Color(0.1, 0.2, 0.3)), Value(Color(0.1, 0.2, 0.3, 1)), true},
              {"opacity", Value(Color(0.1, 0.2, 0.3)), Value(Color(0.1, 0.2, 0.3, 0.5)), false},
              {"scalar colour", Of(CreateColorScalar(Color(0.1, 0.2, 0.3))), Value(Color(0.1, 0.2, 0.3)), true},
              {"colour and number", Value(Color(1, 1, 1)), Value(1.0), false},
              {"ranges", Value(RangeClass(1, 2)), Value(RangeClass(1, 2)), true},
              {"reversed", Value(RangeClass(1, 2)), Value(RangeClass(2, 1)), false}});
}

TEST(Eq, CollectionsItemByItem) {
  ExpectRows({{"tables of two types", TableOf({1, 2}, KgdaUInt8), TableOf({1, 2}, KgdaFloat64), true},
              {"other element", TableOf({1, 2}, KgdaUInt8), TableOf({1, 3}, KgdaUInt8), false},
              {"other length", TableOf({1, 2}, KgdaUInt8), TableOf({1}, KgdaUInt8), false},
              {"text tables", TextTable("a", "b"), TextTable("a", "b"), true},
              {"other text", TextTable("a", "b"), TextTable("a", "c"), false},
              {"texts and numbers", TextTable("1", "2"), TableOf({1, 2}, KgdaUInt8), false},
              {"matrices", MatrixOf(2, 3, 5), MatrixOf(2, 3, 5), true},
              {"other cell", MatrixOf(2, 3, 5), MatrixOf(2, 3, 6), false},
              {"other shape", MatrixOf(2, 3, 5), MatrixOf(3, 2, 5), false},
              {"matrix and table", MatrixOf(2, 1, 0), TableOf({0, 0}, KgdaFloat64), false},
              {"tables without table", boost::make_shared<TableData>(), boost::make_shared<TableData>(), true},
              {"one without table", boost::make_shared<TableData>(), TableOf({1}, KgdaUInt8), false}});
}

TEST(Eq, ListsAndTheRest) {
  const auto texts = [](const wchar_t* text) { return Value(std::vector<std::wstring>{text}); };
  ExpectRows({{"items by value", List({Value(1), Value(L"a")}), List({Value(1.0), Value(L"a")}), true},
              {"null items", List({nullptr}), List({nullptr}), true},
              {"null and zero", List({nullptr}), List({Value(0)}), false},
              {"nested", List({List({Value(1)})}), List({List({Value(1u)})}), true},
              {"order", List({Value(1), Value(2)}), List({Value(2), Value(1)}), false},
              {"lengths", List({Value(1)}), List({Value(1), Value(2)}), false},
              {"string lists", texts(L"a"), texts(L"a"), true},
              {"other string lists", texts(L"a"), texts(L"b"), false},
              {"string list and list", texts(L"a"), List({Value(L"a")}), false}});
}

TEST(Eq, ListNestedWithoutEndIsNoCrash) {
  const auto nested = [] {
    DataPtr list = List({});
    for (int level = 0; level < 5000; ++level) list = List({list});
    return list;
  };
  ModelHost host;
  host.Add(L"Eq", L"eq");
  host.Set(L"eq.Input1", nested()).Set(L"eq.Input2", nested());
  ASSERT_TRUE(host.Run());
  EXPECT_FALSE(host.Get<bool>(L"eq.Binary")) << "what is too deep to be looked at is not called equal";
}

TEST(Eq, BothInputsAreRequired) {
  testing_support::ExpectRows({
      {"first", L"Eq", {{L"Input2", Value(1)}}, L"Binary", nullptr, L"Data not found on port(Input1)."},
      {"second", L"Eq", {{L"Input1", Value(1)}}, L"Binary", nullptr, L"Data not found on port(Input2)."},
  });
}

TEST(BuiltInOperators, ModelIsMadeByName) {
  const auto model = tessera::OperatorFactory::Create(L"VANTIX", L"Model");
  ASSERT_TRUE(model);
  EXPECT_TRUE(boost::dynamic_pointer_cast<tessera::Model>(model));
}

}  // namespace
