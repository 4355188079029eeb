#include "stackports.h"

#include <algorithm>

#include "kcommon/kerr.h"
#include "kcommon/kpxm.h"
#include "txlib/conversion.h"
#include "txlib/factories.h"

namespace korven::tx_general {
namespace {

template <typename W, typename Create>
void PublishStack(const PortPtr& port, const StackPtr& stack, KgdaBaseDataStack::Kind kind, const Create& create) {
  const auto value = create(stack, stack->GetKind() != kind);
  if (!value) RaisePortMessage(*port, L"No appropriate data found on port(");
  const auto data = boost::make_shared<W>(value);
  data->Initialize();
  port->SetData(data);
}

std::wstring ListItemName(std::uint64_t number) {
  return number == 1 ? std::wstring(L"ListItem") : L"ListItem" + std::to_wstring(number);
}

bool CanBecomeList(const DataPtr& data) {
  if (boost::dynamic_pointer_cast<DataListData>(data)) return true;
  const ObjectName from = data->GetDataTypeName(), to = DataListData::DefaultTypeName();
  return ConversionFactory::ConversionExists(from.Namespace, from.Name, to.Namespace, to.Name);
}

void AppendScalars(Operator& op, const DataList& items, std::vector<ScalarPtr>& scalars) {
  for (const DataPtr& item : items) {
    const auto scalar = AsDataOf<ScalarData>(item);
    if (!scalar || scalar->HasNoValue()) op.SetErrorMessage(L"Non-scalar data found on list.");
    scalars.push_back(scalar->GetDataPointer());
  }
}

}  // namespace

StackPtr ReadStack(const PortPtr& port) {
  const auto stack = Tamrin::TesseraBasic::GetBaseDataStackPtr(port, Port::AllowEmptyData);
  return stack && stack->GetLayerCount() > 0 ? stack : nullptr;
}

std::wstring ReadFileName(Operator& op, std::wstring_view name) {
  const auto file = GetPortDataOf<FileData>(RequirePort(op, name), true);
  return file ? *file : std::wstring();
}

std::wstring ReadTypeName(Operator& op, std::wstring_view name) {
  return PixelTypeUtils::PixelType2SimpleString(ReadPort<SimpleDataTypeCode>(op, name).code);
}

void PublishMatrix(const PortPtr& port, const StackPtr& stack) {
  PublishStack<MatrixData>(port, stack, KgdaBaseDataStack::KindMatrix,
                           &BaseDataStackUtils::CreateMatrixFromBaseDataStack);
}

void PublishTable(const PortPtr& port, const StackPtr& stack) {
  PublishStack<TableData>(port, stack, KgdaBaseDataStack::KindTable, &BaseDataStackUtils::CreateTableFromBaseDataStack);
}

void PublishScalar(const PortPtr& port, const StackPtr& stack) {
  PublishStack<ScalarData>(port, stack, KgdaBaseDataStack::KindScalar,
                           &BaseDataStackUtils::CreateScalarFromBaseDataStack);
}

void AddListItem(Operator& op, std::uint64_t& count) {
  const auto port = op.CreatePort(ListItemName(++count), ScalarData::DefaultTypeName(), PortType::Input);
  port->AddSupportedType(DataListData::DefaultTypeName());
  port->SetDataTypeAttribute(DataListData::DefaultTypeName(), L"ListDataType",
                             MakeData<StringData>(ScalarData::DefaultTypeName().ToString()));
}

void RemoveListItem(Operator& op, std::uint64_t& count) {
  if (count <= 1) return;
  op.RemovePort(op.GetPorts().back());
  --count;
}

std::vector<ScalarPtr> GatherListItems(Operator& op, std::uint64_t count) {
  std::vector<ScalarPtr> scalars;
  for (std::uint64_t number = 1; number <= count; ++number) {
    const std::wstring name = ListItemName(number);
    const PortPtr port = RequirePort(op, name);
    if (const auto scalar = GetPortDataAs<Scalar>(port, true)) {
      scalars.push_back(scalar);
      continue;
    }
    const DataPtr data = port->GetData();
    const auto list = data && CanBecomeList(data) ? AsDataOf<DataListData>(data) : nullptr;
    if (!list || list->HasNoValue())
      op.SetErrorMessage(L"Invalid data on port " + name + L" for operator " + op.GetDisplayName() + L".");
    AppendScalars(op, *list->GetDataPointer(), scalars);
  }
  return scalars;
}

std::vector<std::wstring> AppendHostSyntax(std::vector<std::wstring> lines, const std::vector<std::wstring>& host) {
  if (!host.empty()) lines.push_back(host.front());
  return lines;
}

bool IsColorItem(const KgdaBaseDataStack& item) {
  // A colour that isn't opaque has a layer more.
  return item.IsColor() || (item.GetLayerCount() == 3 && item.GetLayer(0).pixelType == KgdaFloat64);
}

Kgda_PixelType LargestCode(const std::vector<StackPtr>& items) {
  Kgda_PixelType largest = KgdaBit;
  for (const StackPtr& item : items) largest = std::max(largest, item->GetLayer(0).pixelType);
  return largest;
}

KgdaBaseDataStack SeriesOperand(const KgdaBaseDataStack& item, std::size_t layers, Kgda_PixelType type,
                                KerrException& error) {
  KgdaBaseDataStack operand(KgdaBaseDataStack::KindScalar);
  for (std::size_t i = 0; i < layers; ++i) {
    const Kgda_BaseDataLayer& layer = item.GetLayer(i);
    if (layer.pixelType == type) {
      kgda_BaseDataCopy(layer, operand, error);
    } else {
      Kgda_BaseDataLayer& converted = operand.AddLayer(1, 1, type);
      kpxm_ConvertPixels(converted.data, type, layer.data, layer.pixelType, 1, error);
    }
    error.Check(__LINE__);
  }
  return operand;
}

}  // namespace korven::tx_general
