#include <algorithm>
#include <cstdint>
#include <string>

#include "kcommon/kerr.h"
#include "stackvalues.h"

namespace korven::tx_general {
namespace {

/// Sizes that no array can have are told as such.
std::int32_t CheckedSize(unsigned rows, unsigned columns, Kgda_PixelType type, KerrException& error) {
  // The check alone is wanted: no layers are made.
  kgda_BaseDataStackCreate(0, rows, columns, type, KgdaBaseDataStack::KindMatrix, error);
  error.Check(__LINE__);
  return static_cast<std::int32_t>(rows);
}

void DeclareSizePort(Operator& op, const wchar_t* name) {
  op.CreatePort(name, UnsignedData::DefaultTypeName(), PortType::Input)
      ->SetAttribute(L"Min", MakeData<DoubleData>(1.0));
}

}  // namespace

inline constexpr OperatorSheet kResizeMatrix{
    .name = L"ResizeMatrix",
    .displayName = L"Resize Matrix",
    .category = L"Data Generation",
    .icon = L"OpCategory_Descriptor.ico",
    .description = L"Adjusts the number of rows in a Matrix.",
    .keywords = L"Kernel|Filter|Focus",
    .registeredName = L"VANTIX.ResizeMatrix",
};

class ResizeMatrix : public Described<kResizeMatrix> {
 public:
  void DeclarePorts() override {
    CreatePort(L"MatrixIn", MatrixData::DefaultTypeName(), PortType::Input);
    DeclareSizePort(*this, L"NumRows");
    DeclareSizePort(*this, L"NumColumns");
    Optional(CreatePort(L"InitialValues", ScalarData::DefaultTypeName(), PortType::Input))
        ->AddSupportedType(MatrixData::DefaultTypeName());
    CreatePort(L"MatrixOut", MatrixData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\resizematrix", L"korven::tx_general::ResizeMatrix::OnExecute");
    const auto matrix = GetPortDataAs<Matrix>(RequirePort(*this, L"MatrixIn"));
    const auto numRows = ReadPortOr<unsigned>(*this, L"NumRows", 0);
    if (numRows == 0) SetErrorMessage(L"NumRows must be greater than 0.");
    const auto numColumns = ReadPortOr<unsigned>(*this, L"NumColumns", 0);
    // The number of rows is looked at again here: no columns pass.
    if (numRows == 0) SetErrorMessage(L"NumColumns must be greater than 0.");

    Fill fill;
    Kgda_PixelType type = matrix->GetNumberType();
    if (numRows > Unsigned(matrix->GetRows()) || numColumns > Unsigned(matrix->GetColumns())) {
      fill = ReadFill(*matrix, numRows, numColumns);
      if (fill.values) type = kgda_GetHomogenousPixelType({type, fill.values->GetNumberType()});
    }
    const std::int32_t rows = CheckedSize(numRows, numColumns, type, error);
    const auto columns = static_cast<std::int32_t>(numColumns);
    const auto result = boost::make_shared<KgdaBaseDataStack>(KgdaBaseDataStack::KindMatrix);
    Kgda_BaseDataLayer& to = kgda_AddLayerFrom(*result, matrix->GetStack().GetLayer(0), rows, columns, type, error);
    error.Check(__LINE__);
    // What is new is made of zeros where nothing else is given.
    if (fill.values) FillNewCells(to, fill, *matrix, error);
    PublishMatrix(RequirePort(*this, L"MatrixOut"), result);
  }

 private:
  /// What new cells take; a stride of 1 where the values go on from cell to cell.
  struct Fill {
    boost::shared_ptr<Matrix> values;
    int rowStride = 0;
    int columnStride = 0;
  };

  static unsigned Unsigned(std::int32_t size) { return static_cast<unsigned>(size); }

  Fill ReadFill(const Matrix& matrix, unsigned numRows, unsigned numColumns) {
    const DataPtr data = RequirePort(*this, L"InitialValues")->GetData();
    if (!data) return {};
    const auto values = MatrixOfValues(data);
    if (!values) SetErrorMessage(L"Could not convert InitialValue to Scalar or Matrix.");
    const unsigned oldRows = Unsigned(matrix.GetRows()), oldColumns = Unsigned(matrix.GetColumns());
    const unsigned rows = Unsigned(values->GetRows()), columns = Unsigned(values->GetColumns());
    if (rows < 2 && columns < 2) return {values, 0, 0};
    if (numRows > oldRows && numColumns == oldColumns) {
      if ((rows != 1 && rows != numRows - oldRows) || columns != numColumns) {
        SetErrorMessage(
            L"Matrix of InitialValue must contain the number of rows being added to MatrixIn and the same number of "
            L"columns as MatrixIn.");
      }
      return {values, rows > 1 ? 1 : 0, 1};
    }
    if (numColumns > oldColumns && numRows == oldRows) {
      if ((columns != 1 && columns != numColumns - oldColumns) || rows != numRows) {
        SetErrorMessage(
            L"Matrix of InitialValue must contain the number of columns being added to MatrixIn and the same number "
            L"of rows as MatrixIn.");
      }
      return {values, 1, columns > 1 ? 1 : 0};
    }
    SetErrorMessage(L"When changing both dimensions of a Matrix, the InitialValue must be a Scalar.");
  }

  static void FillNewCells(Kgda_BaseDataLayer& to, const Fill& fill, const Matrix& matrix, KerrException& error) {
    KgdaBaseDataStack converted;
    const Kgda_BaseDataLayer& from =
        kgda_AddLayerFrom(converted, fill.values->GetStack().GetLayer(0), fill.values->GetRows(),
                          fill.values->GetColumns(), to.pixelType, error);
    error.Check(__LINE__);
    const std::int32_t keptRows = std::min(to.rows, matrix.GetRows());
    const std::int32_t keptColumns = std::min(to.columns, matrix.GetColumns());
    if (keptColumns < to.columns) {
      for (std::int32_t row = 0; row < to.rows; ++row)
        kgda_CopyRun(to, row, keptColumns, from, row * fill.rowStride, 0, to.columns - keptColumns, fill.columnStride);
    }
    for (std::int32_t row = keptRows; row < to.rows; ++row)
      kgda_CopyRun(to, row, 0, from, (row - keptRows) * fill.rowStride, 0, keptColumns, fill.columnStride);
  }
};

TX_GENERAL_FACTORY(ResizeMatrix)

inline constexpr OperatorSheet kResizeTable{
    .name = L"ResizeTable",
    .displayName = L"Resize Table",
    .category = L"Data Generation",
    .icon = L"OpCategory_Descriptor.ico",
    .description = L"Adjusts the number of rows in a Table.",
    .registeredName = L"VANTIX.ResizeTable",
};

class ResizeTable : public Described<kResizeTable> {
 public:
  void DeclarePorts() override {
    CreatePort(L"TableIn", TableData::DefaultTypeName(), PortType::Input);
    DeclareSizePort(*this, L"NumRows");
    Optional(CreatePort(L"InitialValues", ScalarData::DefaultTypeName(), PortType::Input))
        ->AddSupportedType(TableData::DefaultTypeName());
    CreatePort(L"TableOut", TableData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\resizetable", L"korven::tx_general::ResizeTable::OnExecute");
    const auto table = GetPortDataAs<Table>(RequirePort(*this, L"TableIn"));
    const auto numRows = ReadPortOr<unsigned>(*this, L"NumRows", 0);
    if (numRows == 0) SetErrorMessage(L"NumRows must be greater than 0.");
    const std::int32_t kept = table->GetCount();
    const bool grows = numRows > static_cast<unsigned>(kept);
    const auto values = grows ? ReadFill(*table, numRows - static_cast<unsigned>(kept)) : nullptr;
    const std::int32_t rows = CheckedSize(numRows, 1, table->GetNumberType(), error);
    const StackPtr result = GrownTable(*table, values ? *values : *table, rows, error);
    if (values) {
      RowWriter writer(*result, *values, error);
      writer.Write(kept, 0, rows - kept, values->GetCount() > 1 ? 1 : 0);
    }
    PublishTable(RequirePort(*this, L"TableOut"), result);
  }

 private:
  boost::shared_ptr<Table> ReadFill(const Table& table, unsigned count) {
    const DataPtr data = RequirePort(*this, L"InitialValues")->GetData();
    if (!data) return DefaultFill(table);
    const auto values = TableOfValues(data);
    if (!values) SetErrorMessage(L"Could not convert InitialValue to Scalar or Table.");
    if (values->GetCount() != 1 && static_cast<unsigned>(values->GetCount()) != count)
      SetErrorMessage(L"Invalid number of InitialValues provided.");
    RequireSameSort(*this, table, *values, L"InitialValues");
    return values;
  }

  /// Opaque black among colours, otherwise zero.
  static boost::shared_ptr<Table> DefaultFill(const Table& table) {
    if (!table.IsColorTable()) return Tamrin::TesseraBasic::CreateTable(1, table.GetNumberType());
    const auto black = Tamrin::TesseraBasic::CreateColorTable(1);
    black->SetColorAt(0, Tamrin::TesseraBasic::Color(0.0, 0.0, 0.0, 1.0));
    return black;
  }
};

TX_GENERAL_FACTORY(ResizeTable)

}  // namespace korven::tx_general
