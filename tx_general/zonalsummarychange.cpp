#include <algorithm>
#include <cstdint>
#include <vector>

#include "kcommon/kerr.h"
#include "stackports.h"

namespace korven::tx_general {
namespace {

/// Counts of classes in zones. Sums wrap around as 32 bits do.
struct CountSums {
  std::vector<std::uint32_t> rowSums;
  std::vector<std::uint32_t> columnSums;
  std::vector<std::int32_t> mainColumns;  ///< of each row: the first that holds most, or the first of all
};

const std::int32_t* RowOf(const Kgda_BaseDataLayer& counts, std::int32_t row) {
  return static_cast<const std::int32_t*>(kgda_ElementPointer(counts, row, 0));
}

CountSums SumCounts(const Kgda_BaseDataLayer& counts) {
  CountSums sums;
  sums.rowSums.resize(static_cast<std::size_t>(counts.rows));
  sums.mainColumns.resize(static_cast<std::size_t>(counts.rows));
  sums.columnSums.resize(static_cast<std::size_t>(counts.columns));
  for (std::int32_t row = 0; row < counts.rows; ++row) {
    const std::int32_t* const values = RowOf(counts, row);
    std::uint32_t sum = 0;
    std::int32_t most = 0, mainColumn = 0;
    for (std::int32_t column = 0; column < counts.columns; ++column) {
      const auto value = static_cast<std::uint32_t>(values[column]);
      sum += value;
      sums.columnSums[static_cast<std::size_t>(column)] += value;
      if (values[column] <= most) continue;
      most = values[column];
      mainColumn = column;
    }
    sums.rowSums[static_cast<std::size_t>(row)] = sum;
    sums.mainColumns[static_cast<std::size_t>(row)] = mainColumn;
  }
  return sums;
}

}  // namespace

inline constexpr OperatorSheet kZonalSummaryChange{.name = L"ZonalSummaryChange"};

class ZonalSummaryChange : public Described<kZonalSummaryChange> {
 public:
  void DeclarePorts() override {
    CreatePort(L"MatrixIn", MatrixData::DefaultTypeName(), PortType::Input);
    CreatePort(L"TableOut", TableData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\zonalsummarychange", L"korven::tx_general::ZonalSummaryChange::OnExecute");
    const StackPtr stack = ReadStack(RequirePort(*this, L"MatrixIn"));
    if (!stack) error.Throw(__LINE__, L"Invalid input matrix");
    const Kgda_BaseDataLayer& counts = stack->GetLayer(0);
    // The elements are read as they lie, whatever they are called. Those of other widths would be read beyond the end.
    if (counts.elementSize != sizeof(std::int32_t)) error.Throw(__LINE__, L"Invalid input matrix");
    const CountSums sums = SumCounts(counts);
    const auto table = Tamrin::TesseraBasic::CreateTable(counts.rows, KgdaFloat64);
    auto* const changes = static_cast<double*>(table->GetRawData());
    for (std::int32_t row = 0; row < counts.rows; ++row) {
      const auto rowSum = static_cast<std::int32_t>(sums.rowSums[static_cast<std::size_t>(row)]);
      if (rowSum == 0) continue;
      const std::int32_t column = sums.mainColumns[static_cast<std::size_t>(row)];
      const auto columnSum = static_cast<std::int32_t>(sums.columnSums[static_cast<std::size_t>(column)]);
      changes[row] = 1.0 - static_cast<double>(RowOf(counts, row)[column]) / std::max(columnSum, rowSum);
    }
    WriteShared<TableData>(RequirePort(*this, L"TableOut"), table);
  }
};

TX_GENERAL_FACTORY(ZonalSummaryChange)

}  // namespace korven::tx_general
