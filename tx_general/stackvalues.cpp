#include "stackvalues.h"

#include <algorithm>

#include "kcommon/kerr.h"

namespace korven::tx_general {

namespace RangeListHelper = Tamrin::TesseraBasic::RangeListHelper;

namespace {

template <typename W>
boost::shared_ptr<typename W::ValueType> ValueThroughScalar(const DataPtr& data) {
  auto value = AsDataOf<W>(data);
  if (!value || value->HasNoValue()) value = AsDataOf<W>(AsDataOf<ScalarData>(data));
  return value ? value->GetDataPointer() : nullptr;
}

std::size_t LayersOf(const Table& table) { return table.IsColorTable() ? table.GetStack().GetLayerCount() : 1; }

/// Ranges that rise, each behind the one before.
bool AreRising(const RangeListHelper::IndexList& ranges) {
  bool areRising = true;
  unsigned next = 0;
  ranges.ForRanges([&](std::size_t, unsigned first, unsigned last) {
    areRising = areRising && next <= first && first <= last;
    next = last + 1;
  });
  return areRising;
}

/// The rows outside of the ranges.
void CopyRowsAround(Kgda_BaseDataLayer& to, const Kgda_BaseDataLayer& from, const RangeListHelper::IndexList& ranges) {
  std::int32_t next = 0;
  const auto copyUpTo = [&](std::int32_t row) { kgda_CopyRows(to, next, from, next, row - next); };
  ranges.ForRanges([&](std::size_t, unsigned first, unsigned last) {
    copyUpTo(static_cast<std::int32_t>(first));
    next = static_cast<std::int32_t>(last) + 1;
  });
  copyUpTo(to.rows);
}

/// Colours whose opacity isn't written down are opaque.
void AddOpacity(KgdaBaseDataStack& colors) {
  Kgda_BaseDataLayer& layer = colors.AddLayer(colors.GetLayer(0).rows, 1, KgdaFloat64);
  std::fill_n(static_cast<double*>(layer.data), layer.rows, 1.0);
}

}  // namespace

boost::shared_ptr<Matrix> MatrixOfValues(const DataPtr& data) {
  const auto matrix = ValueThroughScalar<MatrixData>(data);
  // What is no larger than a scalar stands for one, and has to have its element.
  const bool isSmall = matrix && matrix->GetRows() < 2 && matrix->GetColumns() < 2;
  return isSmall && matrix->GetRows() * matrix->GetColumns() == 0 ? nullptr : matrix;
}
boost::shared_ptr<Table> TableOfValues(const DataPtr& data) { return ValueThroughScalar<TableData>(data); }

RangeListHelper::IndexList ReadIndexList(Operator& op, std::wstring_view port, std::int32_t size) {
  return {RequirePort(op, port), 0, static_cast<unsigned>(size - 1)};
}

std::vector<unsigned> ReadIndices(Operator& op, std::wstring_view port, std::int32_t size) {
  return RangeListHelper::GetRangeListFromPortAsUnsignedList(RequirePort(op, port), 0, static_cast<unsigned>(size - 1));
}

void RequireSameSort(Operator& op, const Table& table, const Table& values, const std::wstring& word) {
  const auto require = [&](bool wanted, bool found, const wchar_t* sort) {
    if (wanted != found) op.SetErrorMessage(L"Cannot convert " + word + (wanted ? L" to " : L" from ") + sort + L".");
  };
  require(table.IsColorTable(), values.IsColorTable(), L"color");
  require(table.GetNumberType() == KgdaString, values.GetNumberType() == KgdaString, L"string");
}

StackPtr GrownTable(const Table& table, const Table& values, std::int32_t rows, KerrException& error) {
  const KgdaBaseDataStack& from = table.GetStack();
  const Kgda_PixelType type = kgda_GetHomogenousPixelType({table.GetNumberType(), values.GetNumberType()});
  const auto result = boost::make_shared<KgdaBaseDataStack>(KgdaBaseDataStack::KindTable);
  for (std::size_t i = 0; i < LayersOf(table); ++i) kgda_AddLayerFrom(*result, from.GetLayer(i), rows, 1, type, error);
  error.Check(__LINE__);
  if (values.IsColorTable() && values.GetStack().GetLayerCount() > result->GetLayerCount()) AddOpacity(*result);
  return result;
}

StackPtr TableAround(const Table& table, const Table& values, const RangeListHelper::IndexList& written,
                     KerrException& error) {
  const Kgda_PixelType type = table.GetNumberType();
  const bool isKept = kgda_GetHomogenousPixelType({type, values.GetNumberType()}) == type;
  if (!isKept || !AreRising(written)) return GrownTable(table, values, table.GetCount(), error);
  const auto result = boost::make_shared<KgdaBaseDataStack>(KgdaBaseDataStack::KindTable);
  for (std::size_t i = 0; i < LayersOf(table); ++i)
    CopyRowsAround(result->AddLayer(table.GetCount(), 1, type), table.GetStack().GetLayer(i), written);
  if (values.IsColorTable() && values.GetStack().GetLayerCount() > result->GetLayerCount()) AddOpacity(*result);
  return result;
}

RowWriter::RowWriter(KgdaBaseDataStack& result, const Table& values, KerrException& error)
    : result_(result), values_(&values.GetStack()) {
  const std::size_t layers = std::min(values_->GetLayerCount(), result.GetLayerCount());
  if (layers == result.GetLayerCount() && values.GetNumberType() == result.GetLayer(0).pixelType) return;
  for (std::size_t i = 0; i < layers; ++i)
    kgda_AddLayerFrom(converted_, values_->GetLayer(i), values.GetCount(), 1, result.GetLayer(0).pixelType, error);
  error.Check(__LINE__);
  if (converted_.GetLayerCount() < result.GetLayerCount()) AddOpacity(converted_);
  values_ = &converted_;
}

void RowWriter::Write(std::int32_t row, std::int32_t valuesRow, std::int32_t count, int step) {
  for (std::size_t i = 0; i < result_.GetLayerCount(); ++i)
    kgda_CopyRows(result_.GetLayer(i), row, values_->GetLayer(i), valuesRow, count, step);
}

}  // namespace korven::tx_general
