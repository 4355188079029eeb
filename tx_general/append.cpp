#include <cstring>
#include <cwchar>
#include <limits>
#include <new>
#include <typeinfo>

#include "itemports.h"
#include "kcommon/kerr.h"
#include "kcommon/kstr.h"
#include "txlib/conversion.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kAppend{
    .name = L"Combine",
    .displayName = L"Combine",
    .category = L"General|List",
    .icon = L"OpCategory_Conditional.ico",
    .description = L"Combines multiple lists into a single list.",
    .keywords = L"Append|Table|List|Concatenate",
    .registeredName = L"VANTIX.Combine",
};

}  // namespace korven::tx_general

using namespace korven::tx_general;  // NOLINT: this class stands in the global namespace

namespace {

using TablePtr = boost::shared_ptr<Table>;

bool IsTableValue(const DataPtr& data) { return data && data->GetDataTypeName() == TableData::DefaultTypeName(); }

TablePtr JoinColorTables(const std::vector<TablePtr>& tables, std::int32_t total) {
  const auto joined = Tamrin::TesseraBasic::CreateColorTable(total);
  std::int32_t row = 0;
  for (const auto& table : tables) {
    for (std::int32_t source = 0; source < table->GetCount(); ++source) {
      joined->SetColorAt(row++, table->GetColorAt(source));
    }
  }
  return joined;
}

void SetTable(Table& joined, std::int32_t row, Table& table) {
  KerrException error(L"tx_general\\append", L"(anonymous namespace)::SetTable");
  // One without rows as well.
  if (table.GetNumberType() != KgdaString) error.Throw(43, L"Cannot convert a non-string table to a string table.");
  auto** const to = static_cast<char**>(joined.GetRawData()) + row;
  auto** const from = static_cast<char**>(table.GetRawData());
  for (std::int32_t source = 0; source < table.GetCount(); ++source) to[source] = kstr_Duplicate(from[source]);
}

/// Null where the elements have a type that isn't joined.
TablePtr JoinTables(const std::vector<TablePtr>& tables, std::int32_t total) {
  std::vector<Kgda_PixelType> types;
  for (const auto& table : tables) types.push_back(table->GetNumberType());
  const auto type = kgda_GetHomogenousPixelType(types);
  if (type > KgdaFloat64 && type != KgdaString) return nullptr;
  const auto joined = Tamrin::TesseraBasic::CreateTable(total, type);
  std::int32_t row = total;
  // From behind, as all large runs of fresh memory are filled.
  for (auto place = tables.rbegin(); place != tables.rend(); ++place) {
    const TablePtr& table = *place;
    row -= table->GetCount();
    if (type == KgdaString) {
      SetTable(*joined, row, *table);
    } else if (table->GetCount() > 0) {
      const auto same = table->GetNumberType() == type ? table : Tamrin::TesseraBasic::ConvertTable(table, type);
      const std::size_t size = kgda_NumBytePerPixelFromType(type);
      std::memcpy(static_cast<char*>(joined->GetRawData()) + size * static_cast<std::size_t>(row), same->GetRawData(),
                  size * static_cast<std::size_t>(same->GetCount()));
    }
  }
  return joined;
}

/// Joins the items of lists: all take the type of the first. A null item stays one.
class ItemJoiner {
 public:
  ItemJoiner(Operator& op, std::size_t expected) : op_(op) { joined_.reserve(expected); }

  /// An item that is a list gives its items; anything else is a list of one.
  void AddItem(const DataPtr& item) {
    if (!item || IsSingle(*item)) return AddConverted(item);
    const auto list = item->GetDataValue<DataList>();
    const bool isFirst = joined_.empty();
    for (const auto& inner : list) {
      // The first list is taken as it is; the type of its first item counts for what follows.
      if (isFirst)
        AddAsItIs(inner);
      else
        AddConverted(inner);
    }
  }

  DataList Take() { return std::move(joined_); }

 private:
  bool IsSingle(const Data& item) {
    const std::type_info& type = typeid(item);
    if (checked_ && *checked_ == type) return isSingle_;
    checked_ = &type;
    const auto conversion =
        dynamic_cast<const DataListData*>(&item)
            ? nullptr
            : ConversionFactory::Create(item.GetTypeNamespace(), item.GetTypeName(), L"VANTIX", L"List");
    isSingle_ = conversion && std::wcscmp(conversion->FromType(), L"*") == 0;
    return isSingle_;
  }

  void AddAsItIs(const DataPtr& item) {
    if (!first_ && item) first_ = item.get();
    joined_.push_back(item);
  }

  void AddConverted(const DataPtr& item) {
    if (!item || !first_ || IsOfFirstType(*item)) return AddAsItIs(item);
    const auto type = first_->GetDataTypeName();
    const auto converted = item->ConvertTo(type);
    if (!converted) op_.SetErrorMessage(L"Could not covert all items to " + type.ToString());
    joined_.push_back(converted);
  }

  bool IsOfFirstType(const Data& item) const {
    return typeid(item) == typeid(*first_) || item.GetDataTypeName() == first_->GetDataTypeName();
  }

  Operator& op_;
  DataList joined_;
  const Data* first_ = nullptr;  ///< lives in joined_
  const std::type_info* checked_ = nullptr;
  bool isSingle_ = false;
};

}  // namespace

class Append : public Described<kAppend> {
 public:
  void DeclarePorts() override {
    SetExpandible(true);
    AddExpansionPorts();
    CreateItemsOrTablePort(*this, L"Combination", PortType::Output);
  }

  void AddExpansionPorts() override { CreateItemsPort(*this, collections_.Next(), PortType::Input); }

  void RemoveExpansionPorts() override {
    if (collections_.Drop(1)) RemovePort(collections_.Name(collections_.GetCount() + 1));
  }

 protected:
  void OnExecute() override {
    const auto ports = GetInputPorts();
    const auto first = ports.empty() ? nullptr : ports.front()->GetData();
    if (!first) SetErrorMessage(L"No data on first port.");
    if (IsTableValue(first)) {
      std::vector<TablePtr> tables;
      for (const auto& port : ports) tables.push_back(GetPortDataAs<Table>(port));
      return WriteJoined(tables);
    }
    std::vector<boost::shared_ptr<DataList>> lists{GetPortDataAs<DataList>(ports.front())};
    if (lists.front()->empty()) SetErrorMessage(L"Empty list on first port not allowed.");
    for (std::size_t index = 1; index < ports.size(); ++index) lists.push_back(GetPortDataAs<DataList>(ports[index]));
    if (IsTableValue(lists.front()->front())) return WriteJoined(TablesIn(lists));
    std::size_t expected = 0;
    for (const auto& list : lists) expected += list->size();
    ItemJoiner joiner(*this, expected);
    for (const auto& list : lists) {
      for (const auto& item : *list) joiner.AddItem(item);
    }
    WritePort(*this, L"Combination", joiner.Take());
  }

 private:
  std::vector<TablePtr> TablesIn(const std::vector<boost::shared_ptr<DataList>>& lists) {
    std::vector<TablePtr> tables;
    const auto ports = GetInputPorts();
    for (std::size_t index = 0; index < lists.size(); ++index) {
      for (const auto& item : *lists[index]) {
        const auto table = AsDataOf<TableData>(item);
        if (!table || table->HasNoValue()) {
          SetErrorMessage(L"Could not get Table from element on " + ports[index]->GetDisplayName() + L".");
        }
        tables.push_back(table->GetDataPointer());
      }
    }
    return tables;
  }

  void WriteJoined(const std::vector<TablePtr>& tables) {
    std::int64_t total = 0;
    for (const auto& table : tables) total += table->GetCount();
    if (total > std::numeric_limits<std::int32_t>::max()) throw std::bad_alloc();
    const auto rows = static_cast<std::int32_t>(total);
    const auto joined = tables.front()->IsColorTable() ? JoinColorTables(tables, rows) : JoinTables(tables, rows);
    if (!joined) SetErrorMessage(L"Unsupported data type.");
    const auto data = boost::make_shared<TableData>(joined);
    data->Initialize();
    RequirePort(*this, L"Combination")->SetData(data);
  }

  NumberedPorts collections_{L"Collection"};
};

namespace korven::tx_general {

TX_GENERAL_FACTORY(Append)

}  // namespace korven::tx_general
