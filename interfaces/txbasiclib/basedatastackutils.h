#pragma once

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

#include "txbasiclib/basicvalues.h"
#include "txlib/conversion.h"
#include "txlib/port.h"

namespace Tamrin::TesseraBasic {

namespace BaseDataStackUtils {

/// Views: the stack of a collection, shared with it.
boost::shared_ptr<KgdaBaseDataStack> GetBaseDataStackFromTable(const boost::shared_ptr<Table>& table);
boost::shared_ptr<KgdaBaseDataStack> GetBaseDataStackFromMatrix(const boost::shared_ptr<Matrix>& matrix);
boost::shared_ptr<KgdaBaseDataStack> GetBaseDataStackFromScalar(const boost::shared_ptr<Scalar>& scalar);
/// Copies with the kind of the source.
KgdaBaseDataStack ConvertTableToBaseDataStack(const Table& table);
KgdaBaseDataStack ConvertMatrixToBaseDataStack(const Matrix& matrix);
KgdaBaseDataStack ConvertScalarToBaseDataStack(const Scalar& scalar);
/// Collections made of a stack's elements: copied, or taken over where `copy` is false. Null where the shape does
/// not fit (a table takes one column or one row, a scalar one element).
boost::shared_ptr<Table> CreateTableFromBaseDataStack(const boost::shared_ptr<KgdaBaseDataStack>& stack, bool copy);
boost::shared_ptr<Matrix> CreateMatrixFromBaseDataStack(const boost::shared_ptr<KgdaBaseDataStack>& stack, bool copy);
boost::shared_ptr<Scalar> CreateScalarFromBaseDataStack(const boost::shared_ptr<KgdaBaseDataStack>& stack, bool copy);

/// A stack of the other pixel type; with `color` three layers of 64-bit floats, numbers as greys.
KgdaBaseDataStack ConvertBaseDataStackPixelType(const KgdaBaseDataStack& stack, Kgda_PixelType type,
                                                bool color = false);

/// Files of text (see docs/formats.md), as elements of the named type; an empty name keeps the type of the file.
/// Variables in the file name are expanded. Raise KorvenLog::CPPException with what is wrong, and where in the file.
boost::shared_ptr<KgdaBaseDataStack> LoadFromMtxFile(const std::wstring& fileName, const std::wstring& typeName);
boost::shared_ptr<KgdaBaseDataStack> LoadFromTblFile(const std::wstring& fileName, const std::wstring& typeName);
boost::shared_ptr<KgdaBaseDataStack> LoadFromScaFile(const std::wstring& fileName, const std::wstring& typeName);

boost::shared_ptr<const Kdsc_BinFunction> GetBinFunctionFromTable(const Table& table);
void SetBinFunction(Table& table, const boost::shared_ptr<const Kdsc_BinFunction>& function);
boost::shared_ptr<const Kdsc_BinFunction> BinFunctionCopy(const boost::shared_ptr<const Kdsc_BinFunction>& function);

/// Elements are converted to the destination's type. Indices are not checked.
void CopyCellBetweenMatrices(Matrix& destination, std::int32_t row, std::int32_t column, const Matrix& source,
                             std::int32_t sourceRow, std::int32_t sourceColumn);
void CopyRowBetweenTables(Table& destination, std::int32_t row, const Table& source, std::int32_t sourceRow);

}  // namespace BaseDataStackUtils

/// The stack of a port's data (BaseDataStack, or a table, matrix or scalar). Failures are worded as in
/// GetPortDataAs; with an empty port allowed, null.
boost::shared_ptr<KgdaBaseDataStack> GetBaseDataStackPtr(const boost::shared_ptr<tessera::Port>& port);
boost::shared_ptr<KgdaBaseDataStack> GetBaseDataStackPtr(const boost::shared_ptr<tessera::Port>& port,
                                                         tessera::Port::EmptyDataBehavior behavior);

namespace RangeListHelper {
/// Each range of the port's list as unsigned indices within the bounds, in the order given (a start above its
/// end counts down). Fractions are truncated; a range outside the bounds raises a message that names the port
/// and the bounds. An absent optional port gives no indices.
class IndexList {
 public:
  IndexList(const boost::shared_ptr<tessera::Port>& port, unsigned minimum, unsigned maximum);

  std::size_t GetCount() const { return count_; }
  /// The ranges one by one, each with the place of its first index among all.
  void ForRanges(const boost::function<void(std::size_t place, unsigned first, unsigned last)>& work) const;
  /// The indices in pieces, each with its place among all, in no order and on as many threads as the run has.
  void ForPieces(
      const boost::function<void(std::size_t place, const unsigned* indices, std::size_t count)>& work) const;

 private:
  void CountIndices(const tessera::Port& port, unsigned minimum, unsigned maximum);
  void GivePieces(
      std::size_t begin, std::size_t end,
      const boost::function<void(std::size_t place, const unsigned* indices, std::size_t count)>& work) const;

  boost::shared_ptr<tessera::Operator> op_;
  boost::shared_ptr<const RangeVector> ranges_;
  std::vector<std::size_t> places_;  ///< of the first index of each block of ranges
  std::size_t count_ = 0;
};

/// All indices in their order.
std::vector<unsigned> IndicesOf(const IndexList& list);
/// The same of a port.
std::vector<unsigned> GetRangeListFromPortAsUnsignedList(const boost::shared_ptr<tessera::Port>& port, unsigned minimum,
                                                         unsigned maximum);
}  // namespace RangeListHelper

namespace PixelTypeUtils {
/// Code of a name ("UInt8", "Color") or number, whatever the case; SimpleDataTypeCode::kNone for no such name.
std::uint32_t SimpleString2PixelType(const std::wstring& text);
std::wstring PixelType2SimpleString(std::uint32_t code);
}  // namespace PixelTypeUtils

/// Registered by the operator library: keep layers and elements.
#define TESSERA_STACK_CONVERSION(className, from, to)                                                 \
  class className : public tessera::Conversion {                                                      \
   public:                                                                                            \
    const wchar_t* Name() const override { return L## #className; }                                   \
    const wchar_t* FromType() const override { return from; }                                         \
    const wchar_t* FromNamespace() const override { return L"VANTIX"; }                               \
    const wchar_t* ToType() const override { return to; }                                             \
    const wchar_t* ToNamespace() const override { return L"VANTIX"; }                                 \
    boost::shared_ptr<tessera::Data> Convert(boost::shared_ptr<tessera::Data> source) const override; \
  };
TESSERA_STACK_CONVERSION(BaseDataStackToScalar, L"BaseDataStack", L"Scalar")
TESSERA_STACK_CONVERSION(ScalarToBaseDataStack, L"Scalar", L"BaseDataStack")
TESSERA_STACK_CONVERSION(BaseDataStackToTable, L"BaseDataStack", L"Table")
TESSERA_STACK_CONVERSION(TableToBaseDataStack, L"Table", L"BaseDataStack")
TESSERA_STACK_CONVERSION(BaseDataStackToMatrix, L"BaseDataStack", L"Matrix")
TESSERA_STACK_CONVERSION(MatrixToBaseDataStack, L"Matrix", L"BaseDataStack")
#undef TESSERA_STACK_CONVERSION

}  // namespace Tamrin::TesseraBasic
