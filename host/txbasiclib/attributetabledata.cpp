#include "collectionimpl.h"
#include "stackjson.h"
#include "stackparts.h"
#include "txlib/jsonfault.h"
#include "wrapperparts.h"

namespace Tamrin::TesseraBasic {
namespace {

using tessera::Data;
using tessera::JsonValue;
using tessera::RefusedAt;
using tessera::RefuseJsonMember;
namespace JsonValueType = tessera::JsonValueType;

int OrderOfColumns(const AttributeTable& a, const AttributeTable& b) {
  const auto& first = a.GetColumns();
  const auto& second = b.GetColumns();
  for (std::size_t i = 0; i < first.size() && i < second.size(); ++i) {
    if (const int order = OrderOf(first[i].name, second[i].name)) return order;
    if (!first[i].table || !second[i].table) {
      if (const int order = OrderOf(first[i].table != nullptr, second[i].table != nullptr)) return order;
      continue;
    }
    if (const int order = OrderOfStacks(first[i].table->GetStack(), second[i].table->GetStack())) return order;
  }
  return OrderOf(first.size(), second.size());
}

/// The columns have different names and one number of rows.
bool AddColumn(const JsonValue& json, AttributeTable& table) {
  const JsonValue* const name = json.Find("Name");
  if (!name || !name->IsString() || table.FindColumn(name->AsString()))
    return RefuseJsonMember(json, "Name", L"a name that no other column has");
  KgdaBaseDataStack stack;
  if (!TableFromJson(json, stack)) return false;
  const auto column = MakeTable(std::move(stack));
  const auto& columns = table.GetColumns();
  if (!columns.empty() && columns.front().table->GetCount() != column->GetCount())
    return tessera::RefuseJson(
        tessera::JsonFault{L"found a column of " + std::to_wstring(column->GetCount()) + L" rows, expected " +
                               std::to_wstring(columns.front().table->GetCount()) + L" as in the first",
                           {}});
  table.GetColumns().push_back({name->AsString(), column});
  return true;
}

bool FromColumns(const JsonValue& json, AttributeTable& value) {
  const JsonValue* columns = json.Find("Columns");
  if (!columns || !columns->IsArray()) return RefuseJsonMember(json, "Columns", L"an array of columns");
  AttributeTable read;
  for (const JsonValue& column : columns->GetElements())
    if (!AddColumn(column, read)) return RefusedAt(read.GetColumns().size()) || RefusedAt("Columns");
  value = std::move(read);
  return true;
}

}  // namespace

std::wstring AttributeTableData::ToString() const {
  if (HasNoValue()) return {};
  std::wstring text = L"{";
  for (const auto& column : GetDataValue().GetColumns()) {
    if (text.size() > 1) text += L", ";
    text += QuotedText(column.name) + L": ";
    text += column.table ? ColumnText(column.table->GetStack(), kNoLimit) : L"null";
  }
  return text += L'}';
}

boost::shared_ptr<Data> AttributeTableData::Clone() const {
  const auto copy = boost::dynamic_pointer_cast<AttributeTableData>(CopyOf(*this));
  if (!HasNoValue()) {
    for (auto& column : copy->GetDataValue().GetColumns())
      if (column.table) column.table = MakeTable(column.table->GetStack());
  }
  return copy;
}

bool AttributeTableData::FromString(const std::wstring& text) {
  JsonValue json;
  return json.Deserialize(text) && json.IsObject() && FromJSON(json);
}

bool AttributeTableData::ToJSON(JsonValue& json) const {
  json = JsonValue();
  if (HasNoValue()) return true;
  JsonValue columns(JsonValueType::Array);
  for (const auto& column : GetDataValue().GetColumns()) {
    if (!column.table) return false;
    JsonValue item(JsonValueType::Object);
    item.Set("Name", JsonValue(column.name));
    const JsonValue table = TableToJson(column.table->GetStack());
    for (const auto& member : table.GetMembers()) item.Set(member.key, member.value);
    columns.Append(std::move(item));
  }
  json = JsonValue(JsonValueType::Object);
  json.Set("Columns", std::move(columns));
  return true;
}

bool AttributeTableData::FromJSON(const JsonValue& json) { return ReadJson(*this, json, &FromColumns); }

std::uint64_t AttributeTableData::SizeInBytes() const {
  std::uint64_t size = sizeof(AttributeTableData);
  if (HasNoValue()) return size;
  size += sizeof(AttributeTable);
  for (const auto& column : GetDataValue().GetColumns()) {
    size += sizeof(AttributeTable::Column) + column.name.size() * sizeof(wchar_t);
    if (column.table) size += StackSize(column.table->GetStack());
  }
  return size;
}

std::vector<std::wstring> AttributeTableData::GetKeys() const {
  std::vector<std::wstring> keys;
  if (HasNoValue()) return keys;
  for (const auto& column : GetDataValue().GetColumns()) keys.push_back(column.name);
  return keys;
}

tessera::DataRef AttributeTableData::operator[](const std::wstring& key) {
  const auto table = HasNoValue() ? nullptr : GetDataValue().FindColumn(key);
  if (!table) return {};
  return tessera::DataRef(boost::make_shared<TableData>(table));
}

TESSERA_ORDER(AttributeTableData, &OrderOfColumns)

}  // namespace Tamrin::TesseraBasic
