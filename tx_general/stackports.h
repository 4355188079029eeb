#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support.h"
#include "txbasiclib/basedatastackutils.h"
#include "txbasiclib/basicvalues.h"

/// What the operators on matrices, tables and scalars share.
namespace korven::tx_general {

using Tamrin::TesseraBasic::Matrix;
using Tamrin::TesseraBasic::MatrixData;
using Tamrin::TesseraBasic::Scalar;
using Tamrin::TesseraBasic::ScalarData;
using Tamrin::TesseraBasic::SimpleDataTypeCode;
using Tamrin::TesseraBasic::SimpleDataTypeData;
using Tamrin::TesseraBasic::Table;
using Tamrin::TesseraBasic::TableData;
namespace BaseDataStackUtils = Tamrin::TesseraBasic::BaseDataStackUtils;
namespace PixelTypeUtils = Tamrin::TesseraBasic::PixelTypeUtils;

/// From as many elements on another thread is worth its start.
inline constexpr std::int64_t kElementsForAThread = 1 << 18;

using StackPtr = boost::shared_ptr<KgdaBaseDataStack>;
using ScalarPtr = boost::shared_ptr<Scalar>;

/// The stack of the data on a port; null where there is none.
StackPtr ReadStack(const PortPtr& port);
/// The name on a file port; empty for none.
std::wstring ReadFileName(Operator& op, std::wstring_view name);
/// The code on a required type port as text.
std::wstring ReadTypeName(Operator& op, std::wstring_view name);

/// Put a stack on a port. It is shared, unless it is of another kind; a stack of the wrong shape is a message.
void PublishMatrix(const PortPtr& port, const StackPtr& stack);
void PublishTable(const PortPtr& port, const StackPtr& stack);
void PublishScalar(const PortPtr& port, const StackPtr& stack);

/// Puts a value on a port, shared.
template <typename W>
void WriteShared(const PortPtr& port, const boost::shared_ptr<typename W::ValueType>& value) {
  const auto data = boost::make_shared<W>(value);
  data->Initialize();
  port->SetData(data);
}

/// "ListItem", "ListItem2", "ListItem3" ...: each takes a scalar or a list of scalars.
void AddListItem(Operator& op, std::uint64_t& count);
void RemoveListItem(Operator& op, std::uint64_t& count);
/// All scalars on those ports, in their order.
std::vector<ScalarPtr> GatherListItems(Operator& op, std::uint64_t count);

/// The lines of a sheet, then the first of what the engine would say.
std::vector<std::wstring> AppendHostSyntax(std::vector<std::wstring> lines, const std::vector<std::wstring>& host);

/// The items of a series: the first value and its steps.
bool IsColorItem(const KgdaBaseDataStack& item);
Kgda_PixelType LargestCode(const std::vector<StackPtr>& items);
/// An item's layers, one or three, in the type of the series.
KgdaBaseDataStack SeriesOperand(const KgdaBaseDataStack& item, std::size_t layers, Kgda_PixelType type,
                                KerrException& error);

}  // namespace korven::tx_general
