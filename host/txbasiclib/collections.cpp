#include "txbasiclib/collections.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <boost/numeric/conversion/cast.hpp>
#include <stdexcept>

#include "collectionimpl.h"
#include "kcommon/kstr.h"
#include "stackparts.h"

namespace Tamrin::TesseraBasic {
namespace {

using StackPtr = boost::shared_ptr<KgdaBaseDataStack>;

class StackTable : public Table {
 public:
  explicit StackTable(StackPtr stack) : stack_(std::move(stack)) {}
  NumberType GetNumberType() const override { return stack_->GetLayer(0).pixelType; }
  std::int32_t GetCount() const override { return stack_->GetLayer(0).rows; }
  bool IsColorTable() const override { return stack_->IsColor(); }
  Color GetColorAt(std::int32_t row) const override {
    CheckRow(row);
    return ColorOfElement(*stack_, row, 0);
  }
  void SetColorAt(std::int32_t row, const Color& color) override {
    CheckRow(row);
    if (!stack_->IsColor()) throw std::logic_error("A colour can't be set in a table that holds no colours");
    SetColorOfElement(*stack_, row, 0, color);
  }
  const KgdaBaseDataStack& GetStack() const override { return *stack_; }
  boost::shared_ptr<Table> GetSubset(const std::vector<unsigned>& rows) const override {
    KgdaBaseDataStack subset(KgdaBaseDataStack::KindTable);
    for (std::size_t i = 0; i < stack_->GetLayerCount(); ++i) {
      const Kgda_BaseDataLayer& from = stack_->GetLayer(i);
      Kgda_BaseDataLayer& to = subset.AddLayer(CheckedCount(rows), 1, from.pixelType);
      kgda_PickElements(to.data, from.data, from.pixelType, rows.data(), rows.size());
    }
    return MakeTable(std::move(subset));
  }
  boost::shared_ptr<Scalar> GetScalarAt(std::int32_t row) const override {
    CheckRow(row);
    KgdaBaseDataStack one(KgdaBaseDataStack::KindScalar);
    for (std::size_t i = 0; i < stack_->GetLayerCount(); ++i) {
      const Kgda_BaseDataLayer& layer = stack_->GetLayer(i);
      CopyElement(one.AddLayer(1, 1, layer.pixelType), 0, 0, layer, row, 0);
    }
    return MakeScalar(std::move(one));
  }
  void* GetRawData() override { return stack_->GetLayer(0).data; }
  KgdaBaseDataStack& GetMutableStack() override { return *stack_; }

 private:
  std::int32_t CheckedCount(const std::vector<unsigned>& rows) const {
    const auto count = static_cast<unsigned>(GetCount());
    unsigned highest = 0;
    for (const unsigned row : rows) highest = std::max(highest, row);
    if (!rows.empty() && highest >= count)
      throw std::out_of_range("Row " + std::to_string(highest) + " of a table of " + std::to_string(count) + " rows");
    return boost::numeric_cast<std::int32_t>(rows.size());
  }
  void CheckRow(std::int32_t row) const {
    if (row >= 0 && row < GetCount()) return;
    throw std::out_of_range("Row " + std::to_string(row) + " of a table of " + std::to_string(GetCount()) + " rows");
  }
  StackPtr stack_;
};

class StackMatrix : public Matrix {
 public:
  explicit StackMatrix(StackPtr stack) : stack_(std::move(stack)) {}
  NumberType GetNumberType() const override { return stack_->GetLayer(0).pixelType; }
  std::int32_t GetRows() const override { return stack_->GetLayer(0).rows; }
  std::int32_t GetColumns() const override { return stack_->GetLayer(0).columns; }
  const KgdaBaseDataStack& GetStack() const override { return *stack_; }
  KgdaBaseDataStack& GetMutableStack() override { return *stack_; }

 private:
  StackPtr stack_;
};

class StackScalar : public Scalar {
 public:
  explicit StackScalar(StackPtr stack) : stack_(std::move(stack)) {}
  NumberType GetNumberType() const override { return stack_->GetLayer(0).pixelType; }
  bool IsColor() const override { return stack_->IsColor(); }
  Color GetColor() const override { return ColorOfElement(*stack_, 0, 0); }
  const KgdaBaseDataStack& GetStack() const override { return *stack_; }

 private:
  StackPtr stack_;
};

StackPtr Share(KgdaBaseDataStack stack) { return boost::make_shared<KgdaBaseDataStack>(std::move(stack)); }

void CheckCount(std::size_t found, std::int64_t expected) {
  if (expected >= 0 && found == static_cast<std::size_t>(expected)) return;
  throw std::invalid_argument(std::to_string(found) + " scalars can't fill " + std::to_string(expected) + " elements");
}

/// One stack of scalars, row by row.
KgdaBaseDataStack StackOfScalars(KgdaBaseDataStack::Kind kind, std::int32_t rows, std::int32_t columns,
                                 const std::vector<boost::shared_ptr<Scalar>>& scalars) {
  bool anyColor = false;
  std::vector<Kgda_PixelType> types;
  types.reserve(scalars.size());
  for (const auto& scalar : scalars) {
    if (!scalar) throw std::invalid_argument("A scalar is missing");
    anyColor = anyColor || scalar->IsColor();
    types.push_back(scalar->GetNumberType());
  }
  KgdaBaseDataStack stack(kind);
  const Kgda_PixelType type = anyColor ? KgdaFloat64 : kgda_GetHomogenousPixelType(types);
  for (int i = 0; i < (anyColor ? 3 : 1); ++i) stack.AddLayer(rows, columns, type);
  std::int32_t row = 0, column = 0;
  for (const auto& scalar : scalars) {
    if (!anyColor)
      CopyElement(stack.GetLayer(0), row, column, scalar->GetStack().GetLayer(0), 0, 0);
    else if (scalar->IsColor())
      SetColorOfElement(stack, row, column, scalar->GetColor());
    else
      SetColorOfElement(stack, row, column, ColorOfElement(ToColorStack(scalar->GetStack()), 0, 0));
    if (++column == columns) {
      column = 0;
      ++row;
    }
  }
  return stack;
}

}  // namespace

boost::shared_ptr<Table> WrapTable(const StackPtr& stack) { return boost::make_shared<StackTable>(stack); }
boost::shared_ptr<Matrix> WrapMatrix(const StackPtr& stack) { return boost::make_shared<StackMatrix>(stack); }
boost::shared_ptr<Scalar> WrapScalar(const StackPtr& stack) { return boost::make_shared<StackScalar>(stack); }
boost::shared_ptr<Table> MakeTable(KgdaBaseDataStack stack) { return WrapTable(Share(std::move(stack))); }
boost::shared_ptr<Matrix> MakeMatrix(KgdaBaseDataStack stack) { return WrapMatrix(Share(std::move(stack))); }
boost::shared_ptr<Scalar> MakeScalar(KgdaBaseDataStack stack) { return WrapScalar(Share(std::move(stack))); }

bool FitsTable(KgdaBaseDataStack& stack) {
  if (!IsUniform(stack)) return false;
  if (stack.GetLayer(0).columns == 1) return true;
  if (stack.GetLayer(0).rows != 1) return false;
  for (std::size_t i = 0; i < stack.GetLayerCount(); ++i) {
    Kgda_BaseDataLayer& layer = stack.GetLayer(i);
    layer.rows = layer.columns;
    layer.columns = 1;
    layer.rowStride = layer.elementSize;
  }
  return true;
}

bool FitsScalar(const KgdaBaseDataStack& stack) { return IsUniform(stack) && ElementsOf(stack.GetLayer(0)) == 1; }

boost::shared_ptr<Table> CreateTable(std::int32_t count, NumberType type) {
  KgdaBaseDataStack stack(KgdaBaseDataStack::KindTable);
  stack.AddLayer(count, 1, type);
  return MakeTable(std::move(stack));
}

boost::shared_ptr<Table> CreateColorTable(std::int32_t count) {
  KgdaBaseDataStack stack(KgdaBaseDataStack::KindTable);
  for (int i = 0; i < 3; ++i) stack.AddLayer(count, 1, KgdaFloat64);
  return MakeTable(std::move(stack));
}

boost::shared_ptr<Matrix> CreateMatrix(std::int32_t rows, std::int32_t columns, NumberType type) {
  KgdaBaseDataStack stack(KgdaBaseDataStack::KindMatrix);
  stack.AddLayer(rows, columns, type);
  return MakeMatrix(std::move(stack));
}

boost::shared_ptr<Scalar> CreateScalar(double value, NumberType type) {
  KgdaBaseDataStack stack(KgdaBaseDataStack::KindScalar);
  Kgda_BaseDataLayer& layer = stack.AddLayer(1, 1, type);
  if (type == KgdaString)
    kgda_SetElementString(layer, 0, 0, kstr_ToUtf8(kstr_ShortestDouble(value)).c_str());
  else
    kgda_SetElementFromDouble(layer, 0, 0, value);
  return MakeScalar(std::move(stack));
}

boost::shared_ptr<Scalar> CreateStringScalar(const std::wstring& text) {
  KgdaBaseDataStack stack(KgdaBaseDataStack::KindScalar);
  kgda_SetElementString(stack.AddLayer(1, 1, KgdaString), 0, 0, kstr_ToUtf8(text).c_str());
  return MakeScalar(std::move(stack));
}

boost::shared_ptr<Scalar> CreateColorScalar(const Color& color) {
  KgdaBaseDataStack stack(KgdaBaseDataStack::KindScalar);
  for (int i = 0; i < 3; ++i) stack.AddLayer(1, 1, KgdaFloat64);
  SetColorOfElement(stack, 0, 0, color);
  return MakeScalar(std::move(stack));
}

boost::shared_ptr<Table> CreateTableFromScalars(const std::vector<boost::shared_ptr<Scalar>>& scalars) {
  const auto rows = static_cast<std::int32_t>(scalars.size());
  CheckCount(scalars.size(), rows);
  return MakeTable(StackOfScalars(KgdaBaseDataStack::KindTable, rows, 1, scalars));
}

boost::shared_ptr<Matrix> CreateMatrixFromScalars(std::int32_t rows, std::int32_t columns,
                                                  const std::vector<boost::shared_ptr<Scalar>>& scalars) {
  CheckCount(scalars.size(), rows < 0 || columns < 0 ? -1 : std::int64_t{rows} * columns);
  return MakeMatrix(StackOfScalars(KgdaBaseDataStack::KindMatrix, rows, columns, scalars));
}

boost::shared_ptr<Table> ConvertTable(const boost::shared_ptr<Table>& table, NumberType type) {
  return table ? MakeTable(kgda_ConvertStack(table->GetStack(), type)) : nullptr;
}

boost::shared_ptr<Matrix> ConvertMatrix(const boost::shared_ptr<Matrix>& matrix, NumberType type) {
  return matrix ? MakeMatrix(kgda_ConvertStack(matrix->GetStack(), type)) : nullptr;
}

boost::shared_ptr<Scalar> ConvertScalar(const boost::shared_ptr<Scalar>& scalar, NumberType type) {
  return scalar ? MakeScalar(kgda_ConvertStack(scalar->GetStack(), type)) : nullptr;
}

boost::shared_ptr<Table> ConvertToColorTable(const boost::shared_ptr<Table>& table) {
  return table ? MakeTable(ToColorStack(table->GetStack())) : nullptr;
}

boost::shared_ptr<Scalar> ConvertToColorScalar(const boost::shared_ptr<Scalar>& scalar) {
  return scalar ? MakeScalar(ToColorStack(scalar->GetStack())) : nullptr;
}

boost::shared_ptr<Table> AttributeTable::FindColumn(const std::wstring& name) const {
  for (const Column& column : columns_)
    if (column.name == name) return column.table;
  return nullptr;
}

}  // namespace Tamrin::TesseraBasic
