#pragma once

#include "support.h"
#include "txbasiclib/basicvalues.h"

namespace korven::tx_general {

using Tamrin::TesseraBasic::Color;
using Tamrin::TesseraBasic::ColorData;
using Tamrin::TesseraBasic::RangeClass;
using Tamrin::TesseraBasic::RangeData;
using Tamrin::TesseraBasic::RangeListData;
using Tamrin::TesseraBasic::Scalar;
using Tamrin::TesseraBasic::ScalarData;
using Tamrin::TesseraBasic::Table;
using Tamrin::TesseraBasic::TableData;

/// A list of values of any type.
inline PortPtr CreateItemsPort(Operator& op, const std::wstring& name, PortType portType) {
  return CreateListPort(op, name, portType, Data::DefaultTypeName());
}

/// A list or a table, whose rows are then its items.
inline PortPtr CreateItemsOrTablePort(Operator& op, const std::wstring& name, PortType portType) {
  const auto port = CreateItemsPort(op, name, portType);
  port->AddSupportedType(TableData::DefaultTypeName());
  return port;
}

/// A numbered input of an operator that may have any number of them; the last is the one to be removed.
class NumberedPorts {
 public:
  explicit NumberedPorts(const wchar_t* stem) : stem_(stem) {}
  std::wstring Next() { return Name(++count_); }
  std::wstring Name(unsigned number) const { return stem_ + std::to_wstring(number); }
  unsigned GetCount() const { return count_; }
  /// Takes down the last set of ports, unless only `least` are left.
  bool Drop(unsigned least) {
    if (count_ <= least) return false;
    --count_;
    return true;
  }

 private:
  const wchar_t* const stem_;
  unsigned count_ = 0;
};

/// What lies on "DataIn", and its items. The list is shared with the value on the port and read only.
struct ItemsIn {
  DataPtr data;
  boost::shared_ptr<DataList> items;
  bool IsTable() const { return data->GetDataTypeName() == TableData::DefaultTypeName(); }
};

/// Ends the run where there is nothing on "DataIn", or nothing in it.
ItemsIn ReadItems(Operator& op);
/// The item as a scalar; raises where it can't be read as one.
boost::shared_ptr<Scalar> ScalarOf(const DataPtr& item);
/// A table of colours with as many rows as there are items. Row 0 stays as it is made, which is wanted.
boost::shared_ptr<Table> ColorTableOf(const DataList& items);
/// Writes the items to "DataOut" as a table, of the colours of `colors` where the first of those is one.
void WriteTable(Operator& op, DataList items, const DataPtr& first, const DataList& colors);

}  // namespace korven::tx_general
