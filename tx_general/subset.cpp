#include <algorithm>
#include <boost/numeric/conversion/cast.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "kcommon/kerr.h"
#include "stackvalues.h"
#include "txbasiclib/concurrencyhelper.h"

namespace korven::tx_general {

using Tamrin::TesseraBasic::RangeListData;
using Tamrin::TesseraBasic::RangeListHelper::IndexList;
using Tamrin::TesseraBasic::RangeListHelper::IndicesOf;

namespace {

/// Without data on the port there are no indices, which the operators word themselves.
IndexList ReadPickedList(Operator& op, std::wstring_view port, std::int32_t size) {
  return RequirePort(op, port)->GetData() ? ReadIndexList(op, port, size) : IndexList(nullptr, 0, 0);
}

}  // namespace

inline constexpr OperatorSheet kMatrixSubset{
    .name = L"MatrixSubset",
    .displayName = L"Matrix Subset",
    .category = L"Data Generation|Matrix",
    .icon = L"OpCategory_Matrix.ico",
    .description =
        L"Return a subset of MatrixIn as defined by the RowRangleList and ColumnRangeLIst which are both RangeLists "
        L"that specify the subset of rows and columns.",
    .keywords = L"Focus",
    .syntax = {L"<MatrixIn> [ <row> , <column> ]",
               L"<MatrixIn> [ <startrow> , <startcolumn> : <endrow> , <endcolumn> ]"},
};

class MatrixSubset : public Described<kMatrixSubset> {
 public:
  void DeclarePorts() override {
    CreatePort(L"MatrixOut", MatrixData::DefaultTypeName(), PortType::Output)
        ->AddSupportedType(ScalarData::DefaultTypeName());
    CreatePort(L"MatrixIn", MatrixData::DefaultTypeName(), PortType::Input);
    CreatePort(L"RowRangeList", RangeListData::DefaultTypeName(), PortType::Input);
    CreatePort(L"ColumnRangeList", RangeListData::DefaultTypeName(), PortType::Input);
  }

  std::vector<std::wstring> GetDefaultSyntax() const override {
    return AppendHostSyntax(Described::GetDefaultSyntax(), Operator::GetDefaultSyntax());
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\matrixsubset", L"korven::tx_general::MatrixSubset::OnExecute");
    const PortPtr input = RequirePort(*this, L"MatrixIn");
    const StackPtr stack = ReadStack(input);
    if (!stack) return;
    const Kgda_BaseDataLayer& first = stack->GetLayer(0);
    const auto rowList = ReadPickedList(*this, L"RowRangeList", first.rows);
    const auto columnList = ReadPickedList(*this, L"ColumnRangeList", first.columns);
    if (rowList.GetCount() == 0 || columnList.GetCount() == 0)
      error.Throw(__LINE__, L"Could not determine matrix subset range!");
    // Before the indices are listed, which takes memory.
    const bool isOne = boost::numeric_cast<std::int32_t>(rowList.GetCount()) == 1 &&
                       boost::numeric_cast<std::int32_t>(columnList.GetCount()) == 1;
    const auto rows = IndicesOf(rowList), columns = IndicesOf(columnList);
    const auto kind = isOne ? KgdaBaseDataStack::KindScalar : KgdaBaseDataStack::KindMatrix;
    const auto subset = boost::make_shared<KgdaBaseDataStack>(
        kgda_BaseDataStackCreate(stack->GetLayerCount(), rows.size(), columns.size(), first.pixelType, kind, error));
    error.Check(__LINE__);
    for (std::size_t i = 0; i < stack->GetLayerCount(); ++i) {
      const Kgda_BaseDataLayer& layer = stack->GetLayer(i);
      if (layer.rows != first.rows || layer.columns != first.columns || layer.pixelType != first.pixelType)
        RaisePortMessage(*input, L"No appropriate data found on port(");
      Pick(subset->GetLayer(i), layer, rows, columns);
    }
    const PortPtr output = RequirePort(*this, L"MatrixOut");
    isOne ? PublishScalar(output, subset) : PublishMatrix(output, subset);
  }

 private:
  static bool AreRising(const std::vector<unsigned>& columns) {
    return std::adjacent_find(columns.begin(), columns.end(), [](unsigned a, unsigned b) { return b != a + 1; }) ==
           columns.end();
  }

  void Pick(Kgda_BaseDataLayer& to, const Kgda_BaseDataLayer& from, const std::vector<unsigned>& rows,
            const std::vector<unsigned>& columns) const {
    const bool inOnePiece = AreRising(columns);
    const std::int64_t part = kElementsForAThread / to.columns + 1;
    Tamrin::TesseraBasic::ForParts(*this, to.rows, part, [&](std::int64_t begin, std::int64_t end) {
      for (auto row = static_cast<std::int32_t>(begin); row < end; ++row) {
        const auto source = static_cast<std::int32_t>(rows[static_cast<std::size_t>(row)]);
        if (inOnePiece) {
          kgda_CopyRun(to, row, 0, from, source, static_cast<std::int32_t>(columns.front()), to.columns, 1);
        } else {
          kgda_PickElements(kgda_ElementPointer(to, row, 0), kgda_ElementPointer(from, source, 0), from.pixelType,
                            columns.data(), columns.size());
        }
      }
    });
  }
};

TX_GENERAL_FACTORY(MatrixSubset)

inline constexpr OperatorSheet kTableSubset{
    .name = L"TableSubset",
    .displayName = L"Table Subset",
    .category = L"Data Generation|Table",
    .icon = L"OpCategory_Descriptor.ico",
    .description = L"Output a subset of a table. TableOut is the subset of TableIn defined by RangeList.",
    .syntax = {L"<TableIn> [ <row> ]", L"<TableIn> [ <startrow> : <endrow> ]"},
};

class TableSubset : public Described<kTableSubset> {
 public:
  void DeclarePorts() override {
    CreatePort(L"TableOut", TableData::DefaultTypeName(), PortType::Output)
        ->AddSupportedType(ScalarData::DefaultTypeName());
    CreatePort(L"TableIn", TableData::DefaultTypeName(), PortType::Input);
    CreatePort(L"RangeList", RangeListData::DefaultTypeName(), PortType::Input);
  }

  std::vector<std::wstring> GetDefaultSyntax() const override {
    return AppendHostSyntax(Described::GetDefaultSyntax(), Operator::GetDefaultSyntax());
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\tablesubset", L"korven::tx_general::TableSubset::OnExecute");
    const auto table = GetPortDataAs<Table>(RequirePort(*this, L"TableIn"));
    const auto rows = ReadPickedList(*this, L"RangeList", table->GetCount());
    if (rows.GetCount() == 0) SetErrorMessage(L"Could not determine table subset range!");
    const PortPtr output = RequirePort(*this, L"TableOut");
    if (rows.GetCount() == 1) {
      rows.ForRanges([&](std::size_t, unsigned row, unsigned) {
        WriteShared<ScalarData>(output, table->GetScalarAt(static_cast<std::int32_t>(row)));
      });
      return;
    }
    PublishTable(output, Picked(table->GetStack(), rows, error));
  }

 private:
  /// The rows of the list; the bin function stays behind.
  static StackPtr Picked(const KgdaBaseDataStack& from, const IndexList& rows, KerrException& error) {
    const auto subset = boost::make_shared<KgdaBaseDataStack>(kgda_BaseDataStackCreate(
        from.GetLayerCount(), rows.GetCount(), 1, from.GetLayer(0).pixelType, KgdaBaseDataStack::KindTable, error));
    error.Check(__LINE__);
    rows.ForPieces([&](std::size_t place, const unsigned* indices, std::size_t count) {
      for (std::size_t i = 0; i < from.GetLayerCount(); ++i) {
        Kgda_BaseDataLayer& to = subset->GetLayer(i);
        kgda_PickElements(kgda_ElementPointer(to, static_cast<std::int32_t>(place), 0), from.GetLayer(i).data,
                          to.pixelType, indices, count);
      }
    });
    return subset;
  }
};

TX_GENERAL_FACTORY(TableSubset)

}  // namespace korven::tx_general
