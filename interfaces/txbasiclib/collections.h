#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "kcommon/kgda.h"
#include "txbasiclib/color.h"

namespace Tamrin::TesseraBasic {

/// Element type; the codes of Kgda_PixelType.
using NumberType = Kgda_PixelType;

class Scalar;

/// One column of rows. Row indices outside 0 to GetCount() - 1 raise std::out_of_range. No locks.
class Table {
 public:
  virtual NumberType GetNumberType() const = 0;
  virtual std::int32_t GetCount() const = 0;
  virtual bool IsColorTable() const = 0;
  virtual Color GetColorAt(std::int32_t row) const = 0;
  virtual void SetColorAt(std::int32_t row, const Color& color) = 0;
  virtual const KgdaBaseDataStack& GetStack() const = 0;  ///< kind 1, rows by one column
  /// The rows in the order given, which may repeat them. The bin function stays behind.
  virtual boost::shared_ptr<Table> GetSubset(const std::vector<unsigned>& rows) const = 0;
  virtual boost::shared_ptr<Scalar> GetScalarAt(std::int32_t row) const = 0;
  /// Storage of row 0, rows contiguous, element width by number type; null for an empty table.
  virtual void* GetRawData() = 0;
  virtual KgdaBaseDataStack& GetMutableStack() = 0;
  virtual ~Table() = default;
};

/// Rows by columns of numbers or strings, row by row; one or more layers.
class Matrix {
 public:
  virtual NumberType GetNumberType() const = 0;
  virtual std::int32_t GetRows() const = 0;
  virtual std::int32_t GetColumns() const = 0;
  virtual const KgdaBaseDataStack& GetStack() const = 0;  ///< kind 2
  virtual KgdaBaseDataStack& GetMutableStack() = 0;
  virtual ~Matrix() = default;
};

/// One number, string or colour.
class Scalar {
 public:
  virtual NumberType GetNumberType() const = 0;
  virtual bool IsColor() const = 0;
  virtual Color GetColor() const = 0;
  virtual const KgdaBaseDataStack& GetStack() const = 0;  ///< kind 0, one element
  virtual ~Scalar() = default;
};

/// Zero-filled. Negative sizes raise std::invalid_argument.
boost::shared_ptr<Table> CreateTable(std::int32_t count, NumberType type);
boost::shared_ptr<Table> CreateColorTable(std::int32_t count);
boost::shared_ptr<Matrix> CreateMatrix(std::int32_t rows, std::int32_t columns, NumberType type);
/// Scalars: from a double stored as `type`, from text, from a colour.
boost::shared_ptr<Scalar> CreateScalar(double value, NumberType type);
boost::shared_ptr<Scalar> CreateStringScalar(const std::wstring& text);
boost::shared_ptr<Scalar> CreateColorScalar(const Color& color);

/// The smallest type that holds all; colours if one is a colour (a number is then grey of its value). Raises
/// std::invalid_argument where the number of scalars is not rows times columns.
boost::shared_ptr<Table> CreateTableFromScalars(const std::vector<boost::shared_ptr<Scalar>>& scalars);
boost::shared_ptr<Matrix> CreateMatrixFromScalars(std::int32_t rows, std::int32_t columns,
                                                  const std::vector<boost::shared_ptr<Scalar>>& scalars);
/// New collections with elements of the other type, rounded half to even and clamped; NaN gives 0 in integers.
boost::shared_ptr<Table> ConvertTable(const boost::shared_ptr<Table>& table, NumberType type);
boost::shared_ptr<Matrix> ConvertMatrix(const boost::shared_ptr<Matrix>& matrix, NumberType type);
boost::shared_ptr<Scalar> ConvertScalar(const boost::shared_ptr<Scalar>& scalar, NumberType type);
/// Numbers become greys of their value.
boost::shared_ptr<Table> ConvertToColorTable(const boost::shared_ptr<Table>& table);
boost::shared_ptr<Scalar> ConvertToColorScalar(const boost::shared_ptr<Scalar>& scalar);

/// Several named tables of the same number of rows.
class AttributeTable {
 public:
  struct Column {
    std::wstring name;
    boost::shared_ptr<Table> table;
  };
  std::vector<Column>& GetColumns() { return columns_; }
  const std::vector<Column>& GetColumns() const { return columns_; }
  boost::shared_ptr<Table> FindColumn(const std::wstring& name) const;  ///< null where there is none

 private:
  std::vector<Column> columns_;
};

}  // namespace Tamrin::TesseraBasic
