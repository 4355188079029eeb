#include <gmock/gmock.h>

#include <limits>

#include "tx_general/stackvalues.h"

namespace {

using namespace testing_support;
using Numbers = std::vector<double>;

Row Add(const char* title, const DataPtr& table, const DataPtr& expected) {
  return {title, L"AddBackgroundRow", {{L"TableIn", table}}, L"TableOut", expected};
}
Row Remove(const char* title, const DataPtr& table, const DataPtr& expected) {
  return {title, L"RemoveBackgroundRow", {{L"TableIn", table}}, L"TableOut", expected};
}

DataPtr NullThen(const std::vector<std::string>& texts) {
  auto all = texts;
  all.insert(all.begin(), "");
  const auto data = TextTable(all);
  auto& table = *boost::dynamic_pointer_cast<basic::TableData>(data)->GetDataPointer();
  kgda_SetElementString(table.GetMutableStack().GetLayer(0), 0, 0, nullptr);
  return data;
}

TEST(BackgroundRow, Rows) {
  const basic::Color red(1, 0, 0), clear(0, 1, 0, 0.25), black(0, 0, 0), bright(255, 128, 3);
  ExpectRows({
      Add("numbers", TableValue({5, 7}, KgdaInt16), TableValue({0, 5, 7}, KgdaInt16)),
      Add("none", TableValue({}), TableValue({0})),
      Add("no texts", TextTable({}), NullThen({})),
      Add("no colours", ColorTable({}), ColorTable({black})),
      Add("texts", TextTable({"a", "b"}), NullThen({"a", "b"})),
      Add("colours", ColorTable({red, bright}), ColorTable({black, red, bright})),
      Add("clear colours", ColorTable({clear, red}), ColorTable({black, clear, red})),
      Add("no table", nullptr, nullptr),
      Add("no value", boost::make_shared<basic::TableData>(), nullptr),
      Remove("numbers", TableValue({9, 5, 7}, KgdaUInt32), TableValue({5, 7}, KgdaUInt32)),
      Remove("the last", TableValue({9}), TableValue({})),
      Remove("texts", NullThen({"a", "b"}), TextTable({"a", "b"})),
      Remove("whatever is there", TextTable({"x", "a"}), TextTable({"a"})),
      Remove("colours", ColorTable({red, bright}), ColorTable({bright})),
      Remove("clear colours", ColorTable({red, clear}), ColorTable({clear})),
      Remove("the last colour", ColorTable({clear}), ColorTable({})),
      Remove("no table", nullptr, nullptr),
  });
}

TEST(BackgroundRow, NothingLeftToRemoveIsAFailure) {
  for (const DataPtr& table : {TableValue({}), ColorTable({}), TextTable({})}) {
    Row row = Remove("empty", table, nullptr);
    row.error = L"Found a size of -1 rows and 1 columns, expected no negative number";
    ExpectRaised({row});
  }
}

TEST(BackgroundRow, EveryTypeAndBack) {
  for (std::uint32_t code = 0; code <= KgdaComplex128; ++code) {
    const auto type = static_cast<Kgda_PixelType>(code);
    SCOPED_TRACE(code);
    const auto table = basic::CreateTable(3, type);
    for (std::int32_t row = 0; row < 3; ++row)
      kgda_SetElementFromDouble(table->GetMutableStack().GetLayer(0), row, 0, row == 1 ? 0 : 1);
    const DataPtr input = Shared<basic::TableData>(table);
    ModelHost host;
    host.Add(L"AddBackgroundRow", L"add");
    host.Add(L"RemoveBackgroundRow", L"remove");
    host.Set(L"add.TableIn", input).Connect(L"add.TableOut", L"remove.TableIn");
    ASSERT_TRUE(host.Run());
    const auto& added = StackOf(host.Existing(L"add.TableOut")).GetLayer(0);
    ASSERT_EQ(added.rows, 4);
    EXPECT_EQ(added.pixelType, type);
    const auto* const first = static_cast<const char*>(added.data);
    EXPECT_EQ(std::string(first, added.elementSize), std::string(added.elementSize, '\0'));
    ExpectSame(host.Existing(L"remove.TableOut"), input);
    EXPECT_EQ(ElementType(host.Existing(L"remove.TableOut")), type);
  }
}

TEST(BackgroundRow, TextsAreCopies) {
  const DataPtr input = TextTable({"a", "b"});
  ModelHost host;
  Prepare(host, Remove("", input, nullptr));
  ASSERT_TRUE(host.Run());
  const DataPtr output = host.Existing(L"op.TableOut");
  const char* const kept = kgda_ElementAsString(StackOf(output).GetLayer(0), 0, 0);
  EXPECT_STREQ(kept, "b");
  EXPECT_NE(kept, kgda_ElementAsString(StackOf(input).GetLayer(0), 1, 0));
}

TEST(BackgroundRow, BinFunctionGoes) {
  for (const wchar_t* name : {L"AddBackgroundRow", L"RemoveBackgroundRow"}) {
    const auto table = basic::CreateTable(2, KgdaFloat64);
    basic::BaseDataStackUtils::SetBinFunction(*table, boost::make_shared<const Kdsc_BinFunction>());
    ModelHost host;
    host.Add(name, L"op");
    host.Set(L"op.TableIn", Shared<basic::TableData>(table));
    ASSERT_TRUE(host.Run());
    EXPECT_FALSE(StackOf(host.Existing(L"op.TableOut")).GetBinFunction());
  }
}

/// A table of a plug-in's, of elements that no other knows.
class OddTable : public basic::Table {
 public:
  basic::NumberType GetNumberType() const override { return static_cast<basic::NumberType>(14); }
  std::int32_t GetCount() const override { return 1; }
  bool IsColorTable() const override { return false; }
  basic::Color GetColorAt(std::int32_t) const override { return {}; }
  void SetColorAt(std::int32_t, const basic::Color&) override {}
  const KgdaBaseDataStack& GetStack() const override { return stack_; }
  boost::shared_ptr<basic::Table> GetSubset(const std::vector<unsigned>&) const override { return nullptr; }
  boost::shared_ptr<basic::Scalar> GetScalarAt(std::int32_t) const override { return nullptr; }
  void* GetRawData() override { return nullptr; }
  KgdaBaseDataStack& GetMutableStack() override { return stack_; }

 private:
  KgdaBaseDataStack stack_{KgdaBaseDataStack::KindTable};
};

TEST(BackgroundRow, UnknownTypesAreAMessage) {
  for (const wchar_t* name : {L"AddBackgroundRow", L"RemoveBackgroundRow"}) {
    ModelHost host;
    host.Add(name, L"op");
    host.Set(L"op.TableIn", Shared<basic::TableData>(boost::shared_ptr<basic::Table>(boost::make_shared<OddTable>())));
    ExpectFailure(host, L"Unsupported data type in table");
    EXPECT_EQ(host.Messages(tessera::Issue::Error).size(), 1u);
  }
}

Row Change(const char* title, const DataPtr& matrix, const DataPtr& expected) {
  return {title, L"ZonalSummaryChange", {{L"MatrixIn", matrix}}, L"TableOut", expected};
}

TEST(ZonalSummaryChange, Rows) {
  const auto counts = [](std::int32_t rows, std::int32_t columns, const Numbers& values) {
    return MatrixOf(rows, columns, values, KgdaInt32);
  };
  ExpectRows({
      Change("one zone, one class", counts(1, 1, {5}), TableValue({0})),
      Change("two zones", counts(2, 2, {3, 1, 0, 2}), TableValue({0.25, 1.0 - 2.0 / 3.0})),
      Change("a zone of nothing", counts(2, 2, {0, 0, 4, 1}), TableValue({0, 1.0 - 4.0 / 5.0})),
      Change("the first of the largest", counts(2, 2, {2, 2, 6, 0}), TableValue({1.0 - 2.0 / 8.0, 1.0 - 6.0 / 8.0})),
      // The first class counts where none has any; the larger of -3 and -2 divides.
      Change("negative counts", counts(1, 2, {-3, 1}), TableValue({1.0 - 1.0 / 1.0})),
      Change("only negative counts", counts(1, 2, {-2, -3}), TableValue({1.0 - -2.0 / -2.0})),
      Change("a sum of zero", counts(1, 2, {-3, 3}), TableValue({0})),
      Change("sums wrap around", counts(1, 2, {2147483647, 2147483647}),
             TableValue({1.0 - 2147483647.0 / 2147483647.0})),
      Change("unsigned counts", MatrixOf(2, 2, {3, 1, 0, 2}, KgdaUInt32), TableValue({0.25, 1.0 - 2.0 / 3.0})),
      Change("no classes", counts(2, 0, {}), TableValue({0, 0})),
      Change("no zones", counts(0, 2, {}), TableValue({})),
  });
}

TEST(ZonalSummaryChange, OtherInputIsRaised) {
  Row none = Change("no matrix", nullptr, nullptr);
  Row noValue = Change("no value", boost::make_shared<basic::MatrixData>(), nullptr);
  Row bytes = Change("bytes", MatrixOf(1, 2, {1, 2}, KgdaUInt8), nullptr);
  Row doubles = Change("doubles", MatrixOf(1, 2, {1, 2}), nullptr);
  for (Row* row : {&none, &noValue, &bytes, &doubles}) row->error = L"Invalid input matrix";
  ExpectRaised({none, noValue, bytes, doubles});
}

}  // namespace
