#include <algorithm>
#include <cstdint>

#include "kcommon/kerr.h"
#include "stackports.h"

namespace korven::tx_general {
namespace {

/// A table with as many rows more, or fewer, at its start. New ones are zero, null or opaque black.
boost::shared_ptr<Table> WithShiftedRows(Operator& op, const Table& table, int shift, KerrException& error) {
  const Kgda_PixelType type = table.GetNumberType();
  if (!table.IsColorTable() && type > KgdaString) op.SetErrorMessage(L"Unsupported data type in table");
  const std::int64_t count = std::int64_t{table.GetCount()} + shift;
  // The check alone is wanted: no layers are made.
  if (count > 0)
    kgda_BaseDataStackCreate(0, static_cast<std::uint64_t>(count), 1, type, KgdaBaseDataStack::KindTable, error);
  error.Check(__LINE__);
  const auto rows = static_cast<std::int32_t>(count);
  const auto shifted = table.IsColorTable() ? Tamrin::TesseraBasic::CreateColorTable(rows)
                                            : Tamrin::TesseraBasic::CreateTable(rows, type);
  KgdaBaseDataStack& to = shifted->GetMutableStack();
  const KgdaBaseDataStack& from = table.GetStack();
  // Colours that are not all opaque have a layer of their opacity.
  if (table.IsColorTable() && from.GetLayerCount() > to.GetLayerCount()) {
    Kgda_BaseDataLayer& opacity = to.AddLayer(rows, 1, KgdaFloat64);
    std::fill_n(static_cast<double*>(opacity.data), std::min(shift, rows), 1.0);
  }
  for (std::size_t i = 0; i < to.GetLayerCount(); ++i)
    kgda_CopyRows(to.GetLayer(i), std::max(shift, 0), from.GetLayer(i), std::max(-shift, 0),
                  std::min(rows, table.GetCount()));
  return shifted;
}

void DeclareTables(Operator& op) {
  op.CreatePort(L"TableOut", TableData::DefaultTypeName(), PortType::Output);
  op.CreatePort(L"TableIn", TableData::DefaultTypeName(), PortType::Input);
}

void Shift(Operator& op, int shift, KerrException& error) {
  if (const auto table = GetPortDataAs<Table>(RequirePort(op, L"TableIn"), true))
    WriteShared<TableData>(RequirePort(op, L"TableOut"), WithShiftedRows(op, *table, shift, error));
}

}  // namespace

inline constexpr OperatorSheet kAddBackgroundRow{
    .name = L"AddBackgroundRow",
    .displayName = L"Add Background Row",
    .category = L"Data Generation",
    .icon = L"OpCategory_Descriptor.ico",
    .description =
        L"Add an extra background row to the start of a vector attribute table for compatibility between attribute "
        L"tables read from thematic rasters and vectors.",
    .keywords = L"Table",
};

class AddBackgroundRow : public Described<kAddBackgroundRow> {
 public:
  void DeclarePorts() override { DeclareTables(*this); }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\addbackgroundrow", L"korven::tx_general::AddBackgroundRow::OnExecute");
    Shift(*this, 1, error);
  }
};

TX_GENERAL_FACTORY(AddBackgroundRow)

inline constexpr OperatorSheet kRemoveBackgroundRow{
    .name = L"RemoveBackgroundRow",
    .displayName = L"Remove Background Row",
    .category = L"Data Generation",
    .icon = L"OpCategory_Descriptor.ico",
    .description = L"Remove the background row from a vector attribute table.",
};

class RemoveBackgroundRow : public Described<kRemoveBackgroundRow> {
 public:
  void DeclarePorts() override { DeclareTables(*this); }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\removebackgroundrow", L"korven::tx_general::RemoveBackgroundRow::OnExecute");
    Shift(*this, -1, error);
  }
};

TX_GENERAL_FACTORY(RemoveBackgroundRow)

}  // namespace korven::tx_general
