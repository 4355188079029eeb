#include <boost/make_shared.hpp>

#include "txbasiclib/basedatastackutils.h"

namespace Tamrin::TesseraBasic {
namespace {

using DataPtr = boost::shared_ptr<tessera::Data>;

template <typename W>
DataPtr Wrapped(const boost::shared_ptr<typename W::ValueType>& value) {
  if (!value) return nullptr;
  const auto data = boost::make_shared<W>(value);
  data->Initialize();
  return data;
}

template <typename W, typename Copy>
DataPtr ToStack(const DataPtr& source, Copy copy) {
  const auto data = boost::dynamic_pointer_cast<W>(source);
  return data ? DataPtr(tessera::MakeData<BaseDataStackData>(copy(data->GetDataValue()))) : nullptr;
}

template <typename W, typename Create>
DataPtr FromStack(const DataPtr& source, Create create) {
  const auto data = boost::dynamic_pointer_cast<BaseDataStackData>(source);
  if (!data) return nullptr;
  data->GetDataValue();  // raises where there is none
  return Wrapped<W>(create(data->GetDataPointer(), true));
}

}  // namespace

DataPtr BaseDataStackToScalar::Convert(DataPtr source) const {
  return FromStack<ScalarData>(source, &BaseDataStackUtils::CreateScalarFromBaseDataStack);
}

DataPtr ScalarToBaseDataStack::Convert(DataPtr source) const {
  return ToStack<ScalarData>(source, &BaseDataStackUtils::ConvertScalarToBaseDataStack);
}

DataPtr BaseDataStackToTable::Convert(DataPtr source) const {
  return FromStack<TableData>(source, &BaseDataStackUtils::CreateTableFromBaseDataStack);
}

DataPtr TableToBaseDataStack::Convert(DataPtr source) const {
  return ToStack<TableData>(source, &BaseDataStackUtils::ConvertTableToBaseDataStack);
}

DataPtr BaseDataStackToMatrix::Convert(DataPtr source) const {
  return FromStack<MatrixData>(source, &BaseDataStackUtils::CreateMatrixFromBaseDataStack);
}

DataPtr MatrixToBaseDataStack::Convert(DataPtr source) const {
  return ToStack<MatrixData>(source, &BaseDataStackUtils::ConvertMatrixToBaseDataStack);
}

}  // namespace Tamrin::TesseraBasic
