#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kcommon/kgda.h"
#include "tx_general/rows.h"
#include "txbasiclib/basicvalues.h"

/// Collections and dictionaries for tests, in the fewest letters.
namespace testing_support {

namespace basic = ::Tamrin::TesseraBasic;

inline DataPtr Wrapped(const boost::shared_ptr<basic::Table>& table) {
  return boost::make_shared<basic::TableData>(table);
}

inline DataPtr TableValue(const std::vector<double>& values, basic::NumberType type = KgdaFloat64) {
  const auto table = basic::CreateTable(static_cast<std::int32_t>(values.size()), type);
  for (std::size_t row = 0; row < values.size(); ++row) {
    kgda_SetElementFromDouble(table->GetMutableStack().GetLayer(0), static_cast<std::int32_t>(row), 0, values[row]);
  }
  return Wrapped(table);
}

inline DataPtr TextTable(const std::vector<std::string>& texts) {
  const auto table = basic::CreateTable(static_cast<std::int32_t>(texts.size()), KgdaString);
  for (std::size_t row = 0; row < texts.size(); ++row) {
    kgda_SetElementString(table->GetMutableStack().GetLayer(0), static_cast<std::int32_t>(row), 0, texts[row].c_str());
  }
  return Wrapped(table);
}

inline DataPtr ColorTable(const std::vector<basic::Color>& colors) {
  const auto table = basic::CreateColorTable(static_cast<std::int32_t>(colors.size()));
  for (std::size_t row = 0; row < colors.size(); ++row) table->SetColorAt(static_cast<std::int32_t>(row), colors[row]);
  return Wrapped(table);
}

inline DataPtr ScalarValue(double value, basic::NumberType type = KgdaFloat64) {
  return boost::make_shared<basic::ScalarData>(basic::CreateScalar(value, type));
}

inline DataPtr RangeValue(double start, double end) { return Value(basic::RangeClass(start, end)); }

inline DataPtr RangesValue(const std::vector<std::pair<double, double>>& bounds) {
  basic::RangeVector ranges;
  for (const auto& [start, end] : bounds) ranges.emplace_back(start, end);
  return Value(std::move(ranges));
}

inline DataPtr Dict(const std::vector<std::pair<std::wstring, DataPtr>>& items) {
  tessera::Dictionary dictionary;
  for (const auto& [key, item] : items) dictionary.SetItem(key, item);
  return Value(std::move(dictionary));
}

inline DataPtr Texts(std::vector<std::wstring> texts) { return Value(std::move(texts)); }

inline DataPtr Indices(const std::vector<unsigned>& indices) {
  tessera::DataList items;
  for (const unsigned index : indices) items.push_back(Value(index));
  return List(std::move(items));
}

}  // namespace testing_support
