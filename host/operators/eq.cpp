#include "eq.h"

#include <complex>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "kcommon/kgda.h"
#include "kcommon/kstr.h"
#include "txbasiclib/basicvalues.h"
#include "txlib/jsonvalue.h"
#include "txlib/portaccess.h"

namespace Tamrin::TesseraBasic {

using namespace Tamrin::Tessera;  // NOLINT

namespace {

using DataPtr = boost::shared_ptr<Data>;

/// Lists are followed this deep, so that none can run a thread out of its
/// stack.
constexpr unsigned kMaxDepth = 1000;

bool AreEqualAt(const DataPtr& first, const DataPtr& second, unsigned depth);

template <typename W>
const typename W::ValueType* ValueIn(const Data& data) {
  const auto* wrapper = dynamic_cast<const W*>(&data);
  return wrapper ? wrapper->GetDataPointer().get() : nullptr;
}

bool IsNumber(Kgda_PixelType type) { return type < KgdaString; }

/// Real and complex elements alike; a 32-bit integer is exact in a double.
std::complex<double> NumberAt(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  const void* element = kgda_ElementPointer(layer, row, column);
  if (layer.pixelType == KgdaComplex64) {
    float parts[2];
    std::memcpy(parts, element, sizeof parts);
    return {parts[0], parts[1]};
  }
  if (layer.pixelType == KgdaComplex128) {
    double parts[2];
    std::memcpy(parts, element, sizeof parts);
    return {parts[0], parts[1]};
  }
  return kgda_ElementAsDouble(layer, row, column);
}

std::string_view TextAt(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  const char* text = kgda_ElementAsString(layer, row, column);
  return text ? std::string_view(text) : std::string_view();
}

bool AreLayersEqual(const Kgda_BaseDataLayer& first, const Kgda_BaseDataLayer& second) {
  if (first.rows != second.rows || first.columns != second.columns) return false;
  const bool numbers = IsNumber(first.pixelType);
  if (numbers != IsNumber(second.pixelType)) return first.rows == 0 || first.columns == 0;
  for (std::int32_t row = 0; row < first.rows; ++row) {
    for (std::int32_t column = 0; column < first.columns; ++column) {
      const bool same = numbers ? NumberAt(first, row, column) == NumberAt(second, row, column)
                                : TextAt(first, row, column) == TextAt(second, row, column);
      if (!same) return false;
    }
  }
  return true;
}

bool IsOpaque(const Kgda_BaseDataLayer& opacity) {
  for (std::int32_t row = 0; row < opacity.rows; ++row) {
    for (std::int32_t column = 0; column < opacity.columns; ++column) {
      if (kgda_ElementAsDouble(opacity, row, column) != 1.0) return false;
    }
  }
  return true;
}

bool AreStacksEqual(const KgdaBaseDataStack& first, const KgdaBaseDataStack& second) {
  if (first.GetLayerCount() > second.GetLayerCount()) return AreStacksEqual(second, first);
  for (std::size_t index = 0; index < first.GetLayerCount(); ++index) {
    if (!AreLayersEqual(first.GetLayer(index), second.GetLayer(index))) return false;
  }
  if (first.GetLayerCount() == second.GetLayerCount()) return true;
  // A colour that is opaque everywhere may leave its opacity out.
  return first.IsColor() && second.IsColor() && IsOpaque(second.GetLayer(3));
}

std::optional<std::complex<double>> AsNumber(const Data& data) {
  if (const auto* value = ValueIn<BoolData>(data)) return *value ? 1.0 : 0.0;
  if (const auto* value = ValueIn<IntData>(data)) return static_cast<double>(*value);
  if (const auto* value = ValueIn<UnsignedData>(data)) return static_cast<double>(*value);
  if (const auto* value = ValueIn<DoubleData>(data)) return *value;
  const auto* scalar = ValueIn<ScalarData>(data);
  if (!scalar || scalar->IsColor() || !IsNumber(scalar->GetNumberType())) return std::nullopt;
  return NumberAt(scalar->GetStack().GetLayer(0), 0, 0);
}

std::optional<std::string> AsText(const Data& data) {
  if (const auto* text = ValueIn<StringData>(data)) return kstr_ToUtf8(*text);
  const auto* scalar = ValueIn<ScalarData>(data);
  if (!scalar || scalar->IsColor() || IsNumber(scalar->GetNumberType())) return std::nullopt;
  return std::string(TextAt(scalar->GetStack().GetLayer(0), 0, 0));
}

std::optional<Color> AsColor(const Data& data) {
  if (const auto* color = ValueIn<ColorData>(data)) return *color;
  const auto* scalar = ValueIn<ScalarData>(data);
  if (!scalar || !scalar->IsColor()) return std::nullopt;
  return scalar->GetColor();
}

template <typename Value>
bool AreBothAndEqual(const std::optional<Value>& first, const std::optional<Value>& second) {
  return first && second && *first == *second;
}

const KgdaBaseDataStack* StackIn(const Data& data) {
  if (const auto* table = ValueIn<TableData>(data)) return &table->GetStack();
  if (const auto* matrix = ValueIn<MatrixData>(data)) return &matrix->GetStack();
  return ValueIn<BaseDataStackData>(data);
}

bool AreListsEqual(const DataList& first, const DataList& second, unsigned depth) {
  if (first.size() != second.size() || depth > kMaxDepth) return false;
  for (std::size_t index = 0; index < first.size(); ++index) {
    if (!AreEqualAt(first[index], second[index], depth)) return false;
  }
  return true;
}

bool AreOfOneTypeAndEqual(const Data& first, const Data& second, unsigned depth) {
  if (first.GetDataTypeName() != second.GetDataTypeName()) return false;
  if (first.HasNoValue() || second.HasNoValue()) return first.HasNoValue() && second.HasNoValue();
  if (const auto* list = ValueIn<DataListData>(first)) {
    return AreListsEqual(*list, *ValueIn<DataListData>(second), depth + 1);
  }
  if (const auto* range = ValueIn<RangeData>(first)) return *range == *ValueIn<RangeData>(second);
  if (const auto* stack = StackIn(first)) return AreStacksEqual(*stack, *StackIn(second));
  JsonValue firstJson, secondJson;
  return first.ToJSON(firstJson) && second.ToJSON(secondJson) && firstJson == secondJson;
}

bool AreEqualAt(const DataPtr& first, const DataPtr& second, unsigned depth) {
  if (!first || !second) return !first && !second;
  const auto number = AsNumber(*first), otherNumber = AsNumber(*second);
  if (number || otherNumber) return AreBothAndEqual(number, otherNumber);
  const auto text = AsText(*first), otherText = AsText(*second);
  if (text || otherText) return AreBothAndEqual(text, otherText);
  const auto color = AsColor(*first), otherColor = AsColor(*second);
  if (color || otherColor) return AreBothAndEqual(color, otherColor);
  return AreOfOneTypeAndEqual(*first, *second, depth);
}

}  // namespace

bool AreDataEqual(const DataPtr& first, const DataPtr& second) { return AreEqualAt(first, second, 0); }

void Eq::DeclarePorts() {
  CreatePort(L"Input1", Data::DefaultTypeName(), PortType::Input);
  CreatePort(L"Input2", Data::DefaultTypeName(), PortType::Input);
  CreatePort(L"Binary", BoolData::DefaultTypeName(), PortType::Output);
}

void Eq::OnExecute() {
  DataPtr values[2];
  const wchar_t* const names[2] = {L"Input1", L"Input2"};
  for (int index = 0; index < 2; ++index) {
    const auto port = RequirePort(*this, names[index]);
    values[index] = port->GetData();
    if (!values[index]) RaisePortMessage(*port, L"Data not found on port(");
  }
  WritePort(*this, L"Binary", AreDataEqual(values[0], values[1]));
}

}  // namespace Tamrin::TesseraBasic
