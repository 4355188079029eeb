#include "txbasiclib/basedatastackutils.h"

#include <algorithm>
#include <boost/make_shared.hpp>

#include "collectionimpl.h"
#include "stackparts.h"
#include "txlib/portaccess.h"

namespace Tamrin::TesseraBasic {
namespace {

using StackPtr = boost::shared_ptr<KgdaBaseDataStack>;

KgdaBaseDataStack CopyOfKind(const KgdaBaseDataStack& stack, KgdaBaseDataStack::Kind kind) {
  KgdaBaseDataStack copy = stack;
  copy.SetKind(kind);
  return copy;
}

/// The stack to wrap: a copy, or the very one.
StackPtr Own(const StackPtr& stack, bool copy, KgdaBaseDataStack::Kind kind) {
  const StackPtr own = copy ? boost::make_shared<KgdaBaseDataStack>(*stack) : stack;
  // A shared stack may be read by others at the same time.
  if (own->GetKind() != kind) own->SetKind(kind);
  return own;
}

bool CanBeTable(const KgdaBaseDataStack& stack) {
  return IsUniform(stack) && (stack.GetLayer(0).columns == 1 || stack.GetLayer(0).rows == 1);
}

/// The stack inside a value; a null pointer with `fits` set for a wrapper without a value.
StackPtr StackOfData(const boost::shared_ptr<tessera::Data>& data, bool& fits) {
  fits = true;
  if (const auto table = boost::dynamic_pointer_cast<TableData>(data))
    return BaseDataStackUtils::GetBaseDataStackFromTable(table->GetDataPointer());
  if (const auto matrix = boost::dynamic_pointer_cast<MatrixData>(data))
    return BaseDataStackUtils::GetBaseDataStackFromMatrix(matrix->GetDataPointer());
  if (const auto scalar = boost::dynamic_pointer_cast<ScalarData>(data))
    return BaseDataStackUtils::GetBaseDataStackFromScalar(scalar->GetDataPointer());
  if (const auto stack = tessera::AsDataOf<BaseDataStackData>(data)) return stack->GetDataPointer();
  // Plain numbers and colours have a conversion to scalars alone.
  if (const auto scalar = tessera::AsDataOf<ScalarData>(data))
    return BaseDataStackUtils::GetBaseDataStackFromScalar(scalar->GetDataPointer());
  fits = false;
  return nullptr;
}

}  // namespace

namespace BaseDataStackUtils {

StackPtr GetBaseDataStackFromTable(const boost::shared_ptr<Table>& table) {
  return table ? StackPtr(table, &table->GetMutableStack()) : nullptr;
}

StackPtr GetBaseDataStackFromMatrix(const boost::shared_ptr<Matrix>& matrix) {
  return matrix ? StackPtr(matrix, &matrix->GetMutableStack()) : nullptr;
}

StackPtr GetBaseDataStackFromScalar(const boost::shared_ptr<Scalar>& scalar) {
  // Every scalar of ours lies around a stack that may be changed.
  return scalar ? StackPtr(scalar, const_cast<KgdaBaseDataStack*>(&scalar->GetStack())) : nullptr;
}

KgdaBaseDataStack ConvertTableToBaseDataStack(const Table& table) {
  return CopyOfKind(table.GetStack(), KgdaBaseDataStack::KindTable);
}

KgdaBaseDataStack ConvertMatrixToBaseDataStack(const Matrix& matrix) {
  return CopyOfKind(matrix.GetStack(), KgdaBaseDataStack::KindMatrix);
}

KgdaBaseDataStack ConvertScalarToBaseDataStack(const Scalar& scalar) {
  return CopyOfKind(scalar.GetStack(), KgdaBaseDataStack::KindScalar);
}

boost::shared_ptr<Table> CreateTableFromBaseDataStack(const StackPtr& stack, bool copy) {
  if (!stack || !CanBeTable(*stack)) return nullptr;
  const StackPtr own = Own(stack, copy, KgdaBaseDataStack::KindTable);
  return FitsTable(*own) ? WrapTable(own) : nullptr;
}

boost::shared_ptr<Matrix> CreateMatrixFromBaseDataStack(const StackPtr& stack, bool copy) {
  if (!stack || !IsUniform(*stack)) return nullptr;
  return WrapMatrix(Own(stack, copy, KgdaBaseDataStack::KindMatrix));
}

boost::shared_ptr<Scalar> CreateScalarFromBaseDataStack(const StackPtr& stack, bool copy) {
  if (!stack || !FitsScalar(*stack)) return nullptr;
  return WrapScalar(Own(stack, copy, KgdaBaseDataStack::KindScalar));
}

KgdaBaseDataStack ConvertBaseDataStackPixelType(const KgdaBaseDataStack& stack, Kgda_PixelType type, bool color) {
  if (color || static_cast<std::uint32_t>(type) == SimpleDataTypeCode::kColor) return ToColorStack(stack);
  return kgda_ConvertStack(stack, type);
}

boost::shared_ptr<const Kdsc_BinFunction> GetBinFunctionFromTable(const Table& table) {
  return table.GetStack().GetBinFunction();
}

void SetBinFunction(Table& table, const boost::shared_ptr<const Kdsc_BinFunction>& function) {
  table.GetMutableStack().SetBinFunction(function);
}

boost::shared_ptr<const Kdsc_BinFunction> BinFunctionCopy(const boost::shared_ptr<const Kdsc_BinFunction>& function) {
  return function ? boost::make_shared<const Kdsc_BinFunction>(*function) : nullptr;
}

void CopyCellBetweenMatrices(Matrix& destination, std::int32_t row, std::int32_t column, const Matrix& source,
                             std::int32_t sourceRow, std::int32_t sourceColumn) {
  KgdaBaseDataStack& to = destination.GetMutableStack();
  const KgdaBaseDataStack& from = source.GetStack();
  // One layer feeds all layers of the destination: a number is a grey.
  for (std::size_t i = 0; i < to.GetLayerCount(); ++i) {
    if (i >= from.GetLayerCount() && from.GetLayerCount() != 1) break;
    const std::size_t layer = std::min(i, from.GetLayerCount() - 1);
    CopyElement(to.GetLayer(i), row, column, from.GetLayer(layer), sourceRow, sourceColumn);
  }
}

void CopyRowBetweenTables(Table& destination, std::int32_t row, const Table& source, std::int32_t sourceRow) {
  if (destination.IsColorTable()) {
    SetColorOfElement(destination.GetMutableStack(), row, 0, ColorOfElement(source.GetStack(), sourceRow, 0));
    return;
  }
  KgdaBaseDataStack& to = destination.GetMutableStack();
  const KgdaBaseDataStack& from = source.GetStack();
  for (std::size_t i = 0; i < std::min(to.GetLayerCount(), from.GetLayerCount()); ++i)
    CopyElement(to.GetLayer(i), row, 0, from.GetLayer(i), sourceRow, 0);
}

}  // namespace BaseDataStackUtils

StackPtr GetBaseDataStackPtr(const boost::shared_ptr<tessera::Port>& port) {
  return GetBaseDataStackPtr(port, tessera::Port::DisallowEmptyData);
}

StackPtr GetBaseDataStackPtr(const boost::shared_ptr<tessera::Port>& port, tessera::Port::EmptyDataBehavior behavior) {
  const bool allowEmpty = behavior == tessera::Port::AllowEmptyData;
  const auto data = port->GetData();
  if (!data) {
    if (allowEmpty) return nullptr;
    tessera::RaisePortMessage(*port, L"Data not found on port(");
  }
  bool fits = false;
  const StackPtr stack = StackOfData(data, fits);
  if (stack || allowEmpty) return stack;
  tessera::RaisePortMessage(*port, fits ? L"Null data found on port(" : L"No appropriate data found on port(");
}

}  // namespace Tamrin::TesseraBasic
