#include "itemports.h"

namespace korven::tx_general {

ItemsIn ReadItems(Operator& op) {
  const auto port = RequirePort(op, L"DataIn");
  const auto data = port->GetData();
  if (!data) op.SetErrorMessage(L"No data on port DataIn");
  const auto items = GetPortDataAs<DataList>(port);
  if (items->empty()) op.SetErrorMessage(L"No valid input found");
  return {data, items};
}

boost::shared_ptr<Scalar> ScalarOf(const DataPtr& item) {
  const auto scalar = AsDataOf<ScalarData>(item);
  if (!scalar) detail::RaiseGetDataValue(242, L"Invalid conversion.");
  if (scalar->HasNoValue()) detail::RaiseGetDataValue(238, L"Null reference.");
  return scalar->GetDataPointer();
}

boost::shared_ptr<Table> ColorTableOf(const DataList& items) {
  const auto count = static_cast<std::int32_t>(items.size());
  const auto table = Tamrin::TesseraBasic::CreateColorTable(count);
  for (std::int32_t row = 1; row < count; ++row) {
    table->SetColorAt(row, ScalarOf(items[static_cast<std::size_t>(row)])->GetColor());
  }
  return table;
}

void WriteTable(Operator& op, DataList items, const DataPtr& first, const DataList& colors) {
  const auto output = RequirePort(op, L"DataOut");
  const auto set = [&](const boost::shared_ptr<Table>& table) {
    const auto data = boost::make_shared<TableData>(table);
    data->Initialize();
    output->SetData(data);
  };
  if (ScalarOf(first)->IsColor()) return set(ColorTableOf(colors));
  const auto table = AsDataOf<TableData>(MakeData<DataListData>(std::move(items)));
  if (!table || table->HasNoValue()) detail::RaiseGetDataValue(242, L"Invalid conversion.");
  set(table->GetDataPointer());
}

}  // namespace korven::tx_general
