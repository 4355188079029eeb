#include <boost/make_shared.hpp>

#include "collectionimpl.h"
#include "stackparts.h"
#include "txbasiclib/basicvalues.h"
#include "txlib/builtin.h"
#include "txlib/conversion.h"
#include "txlib/portaccess.h"

/// What the data layer offers without any plug-in: the conversions among numbers, colours, scalars and collections,
/// and the types that no operator library offers.
namespace Tamrin::TesseraBasic {
namespace {

using korven::plugin::AvailablePluginProxy;
using DataPtr = boost::shared_ptr<tessera::Data>;
using Rule = DataPtr (*)(const DataPtr& source);

struct Row {
  const wchar_t* name;
  const wchar_t* from;
  const wchar_t* to;
  Rule rule;
};

class RowConversion : public tessera::Conversion {
 public:
  explicit RowConversion(const Row& row) : row_(row) {}
  const wchar_t* Name() const override { return row_.name; }
  const wchar_t* FromType() const override { return row_.from; }
  const wchar_t* FromNamespace() const override { return L"VANTIX"; }
  const wchar_t* ToType() const override { return row_.to; }
  const wchar_t* ToNamespace() const override { return L"VANTIX"; }
  DataPtr Convert(DataPtr source) const override { return row_.rule(source); }

 private:
  const Row& row_;
};

template <typename W, NumberType kType>
DataPtr NumberToScalar(const DataPtr& source) {
  const auto data = boost::dynamic_pointer_cast<W>(source);
  if (!data) return nullptr;
  return boost::make_shared<ScalarData>(CreateScalar(static_cast<double>(data->GetDataValue()), kType));
}

DataPtr ColorToScalar(const DataPtr& source) {
  const auto data = boost::dynamic_pointer_cast<ColorData>(source);
  return data ? boost::make_shared<ScalarData>(CreateColorScalar(data->GetDataValue())) : nullptr;
}

/// The number of a scalar; false for colours, texts and complex numbers.
bool NumberOf(const DataPtr& source, double& value) {
  const auto data = boost::dynamic_pointer_cast<ScalarData>(source);
  if (!data || data->GetDataValue().IsColor() || data->GetDataValue().GetNumberType() > KgdaFloat64) return false;
  value = kgda_ElementAsDouble(data->GetDataValue().GetStack().GetLayer(0), 0, 0);
  return true;
}

DataPtr ScalarToDouble(const DataPtr& source) {
  double value = 0;
  return NumberOf(source, value) ? tessera::MakeData<tessera::DoubleData>(value) : nullptr;
}

DataPtr ScalarToInt(const DataPtr& source) {
  double value = 0;
  if (!NumberOf(source, value) || !(value >= -2147483648.0 && value <= 2147483647.0)) return nullptr;
  return tessera::MakeData<tessera::IntData>(static_cast<int>(value));
}

DataPtr ScalarToUnsigned(const DataPtr& source) {
  double value = 0;
  if (!NumberOf(source, value) || !(value >= 0.0 && value <= 4294967295.0)) return nullptr;
  return tessera::MakeData<tessera::UnsignedData>(static_cast<unsigned>(value));
}

DataPtr ScalarToBool(const DataPtr& source) {
  double value = 0;
  return NumberOf(source, value) ? tessera::MakeData<tessera::BoolData>(value != 0.0) : nullptr;
}

DataPtr ScalarToColor(const DataPtr& source) {
  const auto data = boost::dynamic_pointer_cast<ScalarData>(source);
  if (!data || !data->GetDataValue().IsColor()) return nullptr;
  return tessera::MakeData<ColorData>(data->GetDataValue().GetColor());
}

DataPtr ScalarToTable(const DataPtr& source) {
  const auto data = boost::dynamic_pointer_cast<ScalarData>(source);
  if (!data) return nullptr;
  KgdaBaseDataStack stack = data->GetDataValue().GetStack();
  stack.SetKind(KgdaBaseDataStack::KindTable);
  return boost::make_shared<TableData>(MakeTable(std::move(stack)));
}

DataPtr ScalarToMatrix(const DataPtr& source) {
  const auto data = boost::dynamic_pointer_cast<ScalarData>(source);
  if (!data) return nullptr;
  KgdaBaseDataStack stack = data->GetDataValue().GetStack();
  stack.SetKind(KgdaBaseDataStack::KindMatrix);
  return boost::make_shared<MatrixData>(MakeMatrix(std::move(stack)));
}

DataPtr ListToTable(const DataPtr& source) {
  const auto data = boost::dynamic_pointer_cast<tessera::DataListData>(source);
  if (!data) return nullptr;
  std::vector<boost::shared_ptr<Scalar>> scalars;
  for (const DataPtr& item : data->GetDataValue()) {
    const auto scalar = tessera::AsDataOf<ScalarData>(item);
    if (!scalar || scalar->HasNoValue()) return nullptr;
    scalars.push_back(scalar->GetDataPointer());
  }
  return boost::make_shared<TableData>(CreateTableFromScalars(scalars));
}

constexpr Row kRows[] = {
    {L"BoolToScalar", L"Bool", L"Scalar", &NumberToScalar<tessera::BoolData, KgdaUInt8>},
    {L"IntToScalar", L"Int", L"Scalar", &NumberToScalar<tessera::IntData, KgdaInt32>},
    {L"UnsignedToScalar", L"Unsigned", L"Scalar", &NumberToScalar<tessera::UnsignedData, KgdaUInt32>},
    {L"DoubleToScalar", L"Double", L"Scalar", &NumberToScalar<tessera::DoubleData, KgdaFloat64>},
    {L"ColorToScalar", L"Color", L"Scalar", &ColorToScalar},
    {L"ScalarToDouble", L"Scalar", L"Double", &ScalarToDouble},
    {L"ScalarToInt", L"Scalar", L"Int", &ScalarToInt},
    {L"ScalarToUnsigned", L"Scalar", L"Unsigned", &ScalarToUnsigned},
    {L"ScalarToBool", L"Scalar", L"Bool", &ScalarToBool},
    {L"ScalarToColor", L"Scalar", L"Color", &ScalarToColor},
    {L"ScalarToTable", L"Scalar", L"Table", &ScalarToTable},
    {L"ScalarToMatrix", L"Scalar", L"Matrix", &ScalarToMatrix},
    {L"ListToTable", L"List", L"Table", &ListToTable},
};

int TxbasiclibProxies(const std::wstring& category, std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  if (category.empty() || category == L"Conversion") {
    for (const Row& row : kRows) {
      proxies.push_back(AvailablePluginProxy::Create(row.name, [&row]() -> boost::shared_ptr<korven::plugin::IPlugin> {
        return boost::make_shared<RowConversion>(row);
      }));
    }
  }
  if (category.empty() || category == L"Data") {
    proxies.push_back(AvailablePluginProxy::Create(
        L"Matrix", []() -> boost::shared_ptr<korven::plugin::IPlugin> { return boost::make_shared<MatrixData>(); }));
  }
  return 0;
}

const tessera::BuiltInRegistrar kRegistrar(&TxbasiclibProxies);

}  // namespace
}  // namespace Tamrin::TesseraBasic
