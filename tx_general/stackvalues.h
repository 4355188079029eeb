#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stackports.h"

/// What setting values and resizing have in common.
namespace korven::tx_general {

/// A matrix or table among values that may be one alone: read as it is, or by way of a scalar. Null for neither, and
/// for one without elements.
boost::shared_ptr<Matrix> MatrixOfValues(const DataPtr& data);
boost::shared_ptr<Table> TableOfValues(const DataPtr& data);

/// The indices on a range list port, of something of that size.
Tamrin::TesseraBasic::RangeListHelper::IndexList ReadIndexList(Operator& op, std::wstring_view port, std::int32_t size);
std::vector<unsigned> ReadIndices(Operator& op, std::wstring_view port, std::int32_t size);

/// The checks of colours and of texts; `values` is the word that the messages use.
void RequireSameSort(Operator& op, const Table& table, const Table& values, const std::wstring& word);

/// A table of that many rows: the first rows of `table`, in a type and as many layers as hold the values too.
StackPtr GrownTable(const Table& table, const Table& values, std::int32_t rows, KerrException& error);
/// A table of the same rows and in such a type, of which those that are to be written need not be there yet.
StackPtr TableAround(const Table& table, const Table& values,
                     const Tamrin::TesseraBasic::RangeListHelper::IndexList& written, KerrException& error);
/// Writes rows of the values, which are of the same sort, into rows of the result. The values have to outlive it.
class RowWriter {
 public:
  RowWriter(KgdaBaseDataStack& result, const Table& values, KerrException& error);
  /// Into `count` rows from `row` on: those from `valuesRow` on, or with `step` 0 that one for all.
  void Write(std::int32_t row, std::int32_t valuesRow, std::int32_t count, int step);

 private:
  KgdaBaseDataStack& result_;
  KgdaBaseDataStack converted_;
  const KgdaBaseDataStack* values_;  ///< converted_ where the values are of another form
};

}  // namespace korven::tx_general
