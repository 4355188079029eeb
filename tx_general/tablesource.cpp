#include <cstdint>
#include <string>
#include <vector>

#include "kcommon/kerr.h"
#include "stackports.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kCustomTableSource{
    .name = L"CustomTableInput",
    .displayName = L"Custom Table Input",
    .category = L"Input|Table",
    .icon = L"OpCategory_Descriptor.ico",
    .colorCategory = L"Input_Output",
    .description =
        L"Create a table from scratch. Raster attributes, vector attributes, or saved tables can be loaded to create "
        L"the custom table, but the resulting table can be modified and is saved in the tessera model file.",
};

class CustomTableSource : public Described<kCustomTableSource> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Table", TableData::DefaultTypeName(), PortType::Output);
    Hidden(CreatePort(L"Value", TableData::DefaultTypeName(), PortType::Input));
    SetUIProvider(L"TableSourceDialog", L"VANTIX");
  }

 protected:
  void OnExecute() override {
    const auto table = GetPortWrapperOf<TableData>(*RequirePort(*this, L"Value"), true);
    if (table) RequirePort(*this, L"Table")->SetData(table);
  }
};

TX_GENERAL_FACTORY(CustomTableSource)

inline constexpr OperatorSheet kTBLTableSource{
    .name = L"TableFileInput",
    .displayName = L"Table File Input",
    .category = L"Input|Table",
    .icon = L"OpCategory_Descriptor.ico",
    .colorCategory = L"Input_Output",
    .description = L"Load a table from a text file.",
};

class TBLTableSource : public Described<kTBLTableSource> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Table", TableData::DefaultTypeName(), PortType::Output);
    CreatePort(L"TableType", SimpleDataTypeData::DefaultTypeName(), PortType::Input);
    CreateFileInput(*this, L"Filename", {L"Table File (*.tbl)", L"*.tbl", L"text", true});
    SetUIProvider(L"TableSourceDialog", L"VANTIX");
  }

 protected:
  void OnExecute() override {
    const std::wstring name = ReadFileName(*this, L"Filename");
    if (name.empty()) return;
    PublishTable(RequirePort(*this, L"Table"),
                 BaseDataStackUtils::LoadFromTblFile(name, ReadTypeName(*this, L"TableType")));
  }
};

TX_GENERAL_FACTORY(TBLTableSource)

inline constexpr OperatorSheet kDynamicListTableSource{
    .name = L"DynamicTableInputList",
    .displayName = L"Dynamic Table Input (List)",
    .category = L"Data Generation|Table",
    .icon = L"OpCategory_Descriptor.ico",
    .description =
        L"Create a Table containing the scalar arguments input in the order listed. If Count is present, the number "
        L"of subsequent arguments must equal Count.",
    .syntax = {L"Table ( <Count>: <ListItem>,... )", L"Table ( <ListItem>,... )"},
};

class DynamicListTableSource : public Described<kDynamicListTableSource> {
 public:
  void DeclarePorts() override {
    SetExpandible(true);
    CreatePort(L"Table", TableData::DefaultTypeName(), PortType::Output);
    Optional(CreatePort(L"Count", UnsignedData::DefaultTypeName(), PortType::Input));
  }

  std::vector<std::wstring> GetDefaultSyntax() const override {
    return AppendHostSyntax(Described::GetDefaultSyntax(), Operator::GetDefaultSyntax());
  }
  void AddExpansionPorts() override { AddListItem(*this, ListItemCount_); }
  void RemoveExpansionPorts() override { RemoveListItem(*this, ListItemCount_); }

 protected:
  void OnExecute() override {
    const std::vector<ScalarPtr> scalars = GatherListItems(*this, ListItemCount_);
    const auto count = ReadPortOr<unsigned>(*this, L"Count", 0);
    if (count != 0 && count != scalars.size()) SetErrorMessage(L"Count does not match number of ListItems");
    const auto table = boost::make_shared<TableData>(Tamrin::TesseraBasic::CreateTableFromScalars(scalars));
    table->Initialize();
    RequirePort(*this, L"Table")->SetData(table);
  }

 private:
  std::uint64_t ListItemCount_ = 0;
};

TX_GENERAL_FACTORY(DynamicListTableSource)

inline constexpr OperatorSheet kDynamicSeriesTableSource{
    .name = L"DynamicTableInputSeries",
    .displayName = L"Dynamic Table Input (Series)",
    .category = L"Data Generation|Table",
    .icon = L"OpCategory_Descriptor.ico",
    .description =
        L"Create a table containing Count elements. The first element of the returned table contains the Initial "
        L"Value. Each successive element in the Table contains its predecessor + Increment.",
    .syntax = {L"Table Series ( <Count>, <InitialValue>, <Increment> )"},
};

class DynamicSeriesTableSource : public Described<kDynamicSeriesTableSource> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Table", TableData::DefaultTypeName(), PortType::Output);
    CreatePort(L"Count", UnsignedData::DefaultTypeName(), PortType::Input);
    CreatePort(L"InitialValue", ScalarData::DefaultTypeName(), PortType::Input);
    CreatePort(L"Increment", ScalarData::DefaultTypeName(), PortType::Input);
  }

  std::vector<std::wstring> GetDefaultSyntax() const override {
    return AppendHostSyntax(Described::GetDefaultSyntax(), Operator::GetDefaultSyntax());
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\tablesource", L"korven::tx_general::DynamicSeriesTableSource::OnExecute");
    const auto count = ReadPort<unsigned>(*this, L"Count");
    const StackPtr initial = ReadItem(L"InitialValue", error);
    const StackPtr increment = ReadItem(L"Increment", error);
    const Kgda_PixelType type = LargestCode({initial, increment});
    CheckItems(*initial, *increment, type, error);

    const std::size_t layers = IsColorItem(*initial) ? 3 : 1;
    std::vector<KgdaBaseDataStack> operands;
    operands.push_back(SeriesOperand(*initial, layers, type, error));
    // The step along a row, which a table of one column never takes.
    operands.push_back(kgda_BaseDataStackCreate(layers, 1, 1, type, KgdaBaseDataStack::KindScalar, error));
    operands.push_back(SeriesOperand(*increment, layers, type, error));
    const auto output = boost::make_shared<KgdaBaseDataStack>(
        kgda_BaseDataStackCreate(layers, count, 1, type, KgdaBaseDataStack::KindTable, error));
    error.Check(__LINE__);
    kgda_BaseDataStackFunction(kmsc_AddressOf_kgda_GpfIncFill(), *output, operands, error);
    error.Check(__LINE__);
    PublishTable(RequirePort(*this, L"Table"), output);
  }

 private:
  StackPtr ReadItem(const wchar_t* port, KerrException& error) {
    auto stack = ReadStack(RequirePort(*this, port));
    if (!stack) {
      error.Throw(__LINE__,
                  std::wstring(L"Invalid data on port ") + port + L" for operator " + GetDisplayName() + L".");
    }
    return stack;
  }

  static void CheckItems(const KgdaBaseDataStack& initial, const KgdaBaseDataStack& increment, Kgda_PixelType type,
                         KerrException& error) {
    if (type == KgdaString) error.Throw(__LINE__, L"Invalid table item type");
    if (IsColorItem(initial) != IsColorItem(increment)) error.Throw(__LINE__, L"Table item type mismatch");
    if (initial.GetLayer(0).columns != increment.GetLayer(0).columns)
      error.Throw(__LINE__, L"Table item type mismatch");
    if (!IsColorItem(initial) && initial.GetLayer(0).columns != 1)
      error.Throw(__LINE__, L"Invalid size for table item");
  }
};

TX_GENERAL_FACTORY(DynamicSeriesTableSource)

}  // namespace korven::tx_general
