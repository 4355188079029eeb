#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tx_general/values.h"
#include "txbasiclib/basedatastackutils.h"
#include "txbasiclib/basicvalues.h"

namespace testing_support {

template <typename W, typename T>
DataPtr Shared(const boost::shared_ptr<T>& value) {
  const auto data = boost::make_shared<W>(value);
  data->Initialize();
  return data;
}

inline DataPtr ColorScalar(double red, double green, double blue) {
  return Shared<basic::ScalarData>(basic::CreateColorScalar(basic::Color(red, green, blue)));
}
inline DataPtr TextScalar(const std::wstring& text) {
  return Shared<basic::ScalarData>(basic::CreateStringScalar(text));
}
inline DataPtr TypeOf(std::uint32_t code) {
  return tessera::MakeData<basic::SimpleDataTypeData>(basic::SimpleDataTypeCode{code});
}

inline DataPtr MatrixOf(std::int32_t rows, std::int32_t columns, const std::vector<double>& numbers,
                        Kgda_PixelType type = KgdaFloat64) {
  const auto matrix = basic::CreateMatrix(rows, columns, type);
  for (std::int32_t i = 0; i < rows * columns; ++i)
    kgda_SetElementFromDouble(matrix->GetMutableStack().GetLayer(0), i / columns, i % columns,
                              numbers.at(static_cast<std::size_t>(i)));
  return Shared<basic::MatrixData>(matrix);
}

/// Of a matrix, table or scalar.
inline const KgdaBaseDataStack& StackOf(const DataPtr& data) {
  if (const auto matrix = boost::dynamic_pointer_cast<basic::MatrixData>(data))
    return matrix->GetDataPointer()->GetStack();
  if (const auto table = boost::dynamic_pointer_cast<basic::TableData>(data))
    return table->GetDataPointer()->GetStack();
  if (const auto scalar = boost::dynamic_pointer_cast<basic::ScalarData>(data))
    return scalar->GetDataPointer()->GetStack();
  throw std::runtime_error("no stack in the value");
}

inline Kgda_PixelType ElementType(const DataPtr& data) { return StackOf(data).GetLayer(0).pixelType; }

/// All elements, layer by layer, row by row.
inline std::vector<double> Elements(const DataPtr& data) {
  std::vector<double> numbers;
  const KgdaBaseDataStack& stack = StackOf(data);
  for (std::size_t i = 0; i < stack.GetLayerCount(); ++i)
    for (std::int32_t row = 0; row < stack.GetLayer(i).rows; ++row)
      for (std::int32_t column = 0; column < stack.GetLayer(i).columns; ++column)
        numbers.push_back(kgda_ElementAsDouble(stack.GetLayer(i), row, column));
  return numbers;
}

/// Runs and expects this text.
inline void ExpectFailure(ModelHost& host, const std::wstring& text) {
  EXPECT_FALSE(host.Run());
  EXPECT_EQ(host.Error(), text);
}

/// What is raised, unlike what is set as a message, leaves none on the operator.
inline void ExpectRaised(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(row.title);
    const RowOutcome outcome = RunRow(row);
    EXPECT_FALSE(outcome.ended);
    EXPECT_EQ(outcome.error, row.error);
    EXPECT_EQ(outcome.data, nullptr);
  }
}

/// Puts data on ListItem ports, which are made.
inline void SetItems(ModelHost& host, const std::wstring& op, const std::vector<DataPtr>& items) {
  for (std::size_t i = 0; i < items.size(); ++i) {
    host.Op(op)->AddExpansionPorts();
    host.Set(op + L".ListItem" + (i ? std::to_wstring(i + 1) : L""), items[i]);
  }
}

}  // namespace testing_support
