#include <cstdint>
#include <string>
#include <vector>

#include "kcommon/kerr.h"
#include "stackvalues.h"

namespace korven::tx_general {

using Tamrin::TesseraBasic::RangeListData;

inline constexpr OperatorSheet kSetMatrixValues{
    .name = L"SetMatrixValues",
    .displayName = L"Set Matrix Values",
    .category = L"Data Generation",
    .icon = L"OpCategory_Descriptor.ico",
    .description = L"Set the values of specified cells in a Matrix.",
    .keywords = L"Kernel|Filter|Focus",
    .registeredName = L"VANTIX.SetMatrixValues",
};

class SetMatrixValues : public Described<kSetMatrixValues> {
 public:
  void DeclarePorts() override {
    CreatePort(L"MatrixIn", MatrixData::DefaultTypeName(), PortType::Input);
    CreatePort(L"Values", ScalarData::DefaultTypeName(), PortType::Input)
        ->AddSupportedType(MatrixData::DefaultTypeName());
    Optional(CreatePort(L"RowRangeList", RangeListData::DefaultTypeName(), PortType::Input));
    Optional(CreatePort(L"ColumnRangeList", RangeListData::DefaultTypeName(), PortType::Input));
    CreatePort(L"MatrixOut", MatrixData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\setmatrixvalues", L"korven::tx_general::SetMatrixValues::OnExecute");
    const auto matrix = GetPortDataAs<Matrix>(RequirePort(*this, L"MatrixIn"));
    Places places;
    places.rows = ReadIndices(*this, L"RowRangeList", matrix->GetRows());
    places.columns = ReadIndices(*this, L"ColumnRangeList", matrix->GetColumns());
    RequireRanges(places);
    const DataPtr data = RequirePort(*this, L"Values")->GetData();
    if (!data) SetErrorMessage(L"No data on Values port.");
    const auto values = MatrixOfValues(data);
    if (!values) SetErrorMessage(L"Could not convert Values to Scalar or Matrix.");
    const Strides strides = StridesOf(*matrix, *values, places);

    const Kgda_PixelType type = kgda_GetHomogenousPixelType({matrix->GetNumberType(), values->GetNumberType()});
    const auto result = boost::make_shared<KgdaBaseDataStack>(KgdaBaseDataStack::KindMatrix);
    Kgda_BaseDataLayer& to = kgda_AddLayerFrom(*result, matrix->GetStack().GetLayer(0), matrix->GetRows(),
                                               matrix->GetColumns(), type, error);
    KgdaBaseDataStack converted;
    const Kgda_BaseDataLayer& from = kgda_AddLayerFrom(converted, values->GetStack().GetLayer(0), values->GetRows(),
                                                       values->GetColumns(), type, error);
    error.Check(__LINE__);
    Overwrite(to, from, places, strides);
    PublishMatrix(RequirePort(*this, L"MatrixOut"), result);
  }

 private:
  struct Places {
    std::vector<unsigned> rows;
    std::vector<unsigned> columns;
    bool AreWholeRows() const { return columns.empty(); }
    bool AreWholeColumns() const { return rows.empty(); }
  };
  /// 1 where the values go on from cell to cell, 0 where one stands for all.
  struct Strides {
    int row = 0;
    int column = 0;
  };

  void RequireRanges(const Places& places) {
    if (places.rows.empty() && places.columns.empty())
      SetErrorMessage(L"Could not determine range of rows and columns to set values of!");
    if (!places.rows.empty() && !places.columns.empty() && places.rows.size() != places.columns.size())
      SetErrorMessage(L"RowRangeList and ColumnRangeList must contain the same number of items!");
  }

  Strides StridesOf(const Matrix& matrix, const Matrix& values, const Places& places) {
    const auto rows = static_cast<std::size_t>(values.GetRows()),
               columns = static_cast<std::size_t>(values.GetColumns());
    if (rows < 2 && columns <= 1) return {};
    if (places.AreWholeRows()) {
      if ((rows != 1 && rows != places.rows.size()) || values.GetColumns() != matrix.GetColumns()) {
        SetErrorMessage(
            L"Matrix of Values must contain same number of columns as MatrixIn and as many rows as are specified in "
            L"RowRangeList.");
      }
      return {rows > 1 ? 1 : 0, 1};
    }
    if (places.AreWholeColumns()) {
      if ((columns != 1 && columns != places.columns.size()) || values.GetRows() != matrix.GetRows()) {
        SetErrorMessage(
            L"Matrix of Values must contain the same number of rows as MatrixIn and as many columns as are specified "
            L"in ColumnRangeList.");
      }
      return {1, columns > 1 ? 1 : 0};
    }
    // The message has another name for the port.
    SetErrorMessage(
        L"When setting values on incomplete rows and/or columns of a Matrix, the InitialValue must be a Scalar.");
  }

  static void Overwrite(Kgda_BaseDataLayer& to, const Kgda_BaseDataLayer& from, const Places& places,
                        const Strides& strides) {
    const auto at = [](const std::vector<unsigned>& list, std::size_t i) { return static_cast<std::int32_t>(list[i]); };
    if (places.AreWholeRows()) {
      for (std::size_t i = 0; i < places.rows.size(); ++i)
        kgda_CopyRun(to, at(places.rows, i), 0, from, static_cast<std::int32_t>(i) * strides.row, 0, to.columns,
                     strides.column);
    } else if (places.AreWholeColumns()) {
      for (std::int32_t row = 0; row < to.rows; ++row)
        for (std::size_t i = 0; i < places.columns.size(); ++i)
          kgda_CopyRun(to, row, at(places.columns, i), from, row * strides.row,
                       static_cast<std::int32_t>(i) * strides.column, 1, 1);
    } else {
      for (std::size_t i = 0; i < places.rows.size(); ++i)
        kgda_CopyRun(to, at(places.rows, i), at(places.columns, i), from, 0, 0, 1, 1);
    }
  }
};

TX_GENERAL_FACTORY(SetMatrixValues)

inline constexpr OperatorSheet kSetTableValues{
    .name = L"SetTableValues",
    .displayName = L"Set Table Values",
    .category = L"Data Generation",
    .icon = L"OpCategory_Descriptor.ico",
    .description = L"Set the values of specified rows in a Table.",
    .registeredName = L"VANTIX.SetTableValues",
};

class SetTableValues : public Described<kSetTableValues> {
 public:
  void DeclarePorts() override {
    CreatePort(L"TableIn", TableData::DefaultTypeName(), PortType::Input);
    CreatePort(L"Values", ScalarData::DefaultTypeName(), PortType::Input)
        ->AddSupportedType(TableData::DefaultTypeName());
    CreatePort(L"RangeList", RangeListData::DefaultTypeName(), PortType::Input);
    CreatePort(L"TableOut", TableData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\settablevalues", L"korven::tx_general::SetTableValues::OnExecute");
    const auto table = GetPortDataAs<Table>(RequirePort(*this, L"TableIn"));
    const auto rows = ReadIndexList(*this, L"RangeList", table->GetCount());
    if (rows.GetCount() == 0) SetErrorMessage(L"Could not determine range of rows to set values of!");
    const DataPtr data = RequirePort(*this, L"Values")->GetData();
    if (!data) SetErrorMessage(L"No data on Values port.");
    const auto values = TableOfValues(data);
    if (!values) SetErrorMessage(L"Could not convert Values to Scalar or Table.");
    const auto count = static_cast<std::size_t>(values->GetCount());
    if (count != 1 && count != rows.GetCount()) SetErrorMessage(L"Invalid number of Values provided.");
    RequireSameSort(*this, *table, *values, L"Values");

    const StackPtr result = TableAround(*table, *values, rows, error);
    result->SetBinFunction(BaseDataStackUtils::GetBinFunctionFromTable(*table));
    RowWriter writer(*result, *values, error);
    const int step = count > 1 ? 1 : 0;
    rows.ForRanges([&](std::size_t place, unsigned first, unsigned last) {
      WriteRange(writer, {static_cast<std::int32_t>(first), static_cast<std::int32_t>(last)},
                 static_cast<std::int32_t>(place) * step, step);
    });
    PublishTable(RequirePort(*this, L"TableOut"), result);
  }

 private:
  struct RowRange {
    std::int32_t first;
    std::int32_t last;
  };
  /// Rising rows go in one piece.
  static void WriteRange(RowWriter& writer, const RowRange& rows, std::int32_t valuesRow, int step) {
    if (rows.first <= rows.last) return writer.Write(rows.first, valuesRow, rows.last - rows.first + 1, step);
    for (std::int32_t row = rows.first; row >= rows.last; --row, valuesRow += step)
      writer.Write(row, valuesRow, 1, step);
  }
};

TX_GENERAL_FACTORY(SetTableValues)

}  // namespace korven::tx_general
