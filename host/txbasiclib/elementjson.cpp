#include "elementjson.h"

#include <cmath>
#include <complex>
#include <limits>
#include <string>

#include "kcommon/kstr.h"
#include "numbertext.h"
#include "stackjson.h"
#include "txlib/jsonfault.h"

namespace Tamrin::TesseraBasic {
namespace {

using Tessera::JsonValue;
using Tessera::RefusedAt;
using Tessera::RefuseJson;

constexpr const wchar_t* kNumber = L"a number, \"NaN\", \"Infinity\" or \"-Infinity\"";

struct Bounds {
  std::int64_t lowest;
  std::int64_t highest;
};
constexpr Bounds kBounds[] = {{0, 1},          {0, 3},          {0, 15},
                              {0, 255},        {-128, 127},     {0, 65535},
                              {-32768, 32767}, {0, 4294967295}, {-2147483648LL, 2147483647}};

template <typename T>
T& At(Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  return *static_cast<T*>(kgda_ElementPointer(layer, row, column));
}
template <typename T>
const T& At(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  return *static_cast<const T*>(kgda_ElementPointer(layer, row, column));
}

/// The few digits that tell the single-precision number, where rounding them twice still gives it.
JsonValue SingleToJson(float value) {
  double few = 0;
  if (std::isfinite(value) && ReadDouble(SingleText(value), few) && static_cast<float>(few) == value)
    return DoubleToJson(few);
  return DoubleToJson(static_cast<double>(value));
}

bool SingleFromJson(const JsonValue& json, float& value) {
  double read = 0;
  if (!DoubleFromJson(json, read)) return false;
  if (std::isfinite(read) && std::abs(read) > static_cast<double>(std::numeric_limits<float>::max()))
    return RefuseJson(json, L"a number of single precision");
  value = static_cast<float>(read);
  return true;
}

bool IntegerFromJson(const JsonValue& json, const Bounds& bounds, std::int64_t& value) {
  const double number = json.IsNumber() ? json.AsDouble() : std::nan("");
  // All bounds are exact in a double.
  if (number >= static_cast<double>(bounds.lowest) && number <= static_cast<double>(bounds.highest)) {
    value = static_cast<std::int64_t>(number);
    if (static_cast<double>(value) == number) return true;
  }
  return RefuseJson(
      json, L"a whole number from " + std::to_wstring(bounds.lowest) + L" to " + std::to_wstring(bounds.highest));
}

JsonValue Pair(JsonValue real, JsonValue imaginary) {
  JsonValue pair(Tessera::JsonValueType::Array);
  pair.Append(std::move(real));
  pair.Append(std::move(imaginary));
  return pair;
}

bool ComplexFromJson(const JsonValue& json, Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  if (!json.IsArray() || json.Count() != 2) return RefuseJson(json, L"an array of the real and the imaginary part");
  const auto& parts = json.GetElements();
  if (layer.pixelType == KgdaComplex64) {
    float real = 0, imaginary = 0;
    if (!SingleFromJson(parts[0], real)) return RefusedAt(std::size_t{0});
    if (!SingleFromJson(parts[1], imaginary)) return RefusedAt(1);
    At<std::complex<float>>(layer, row, column) = {real, imaginary};
    return true;
  }
  double real = 0, imaginary = 0;
  if (!DoubleFromJson(parts[0], real)) return RefusedAt(std::size_t{0});
  if (!DoubleFromJson(parts[1], imaginary)) return RefusedAt(1);
  At<std::complex<double>>(layer, row, column) = {real, imaginary};
  return true;
}

bool StringFromJson(const JsonValue& json, Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  if (json.IsNull()) {
    kgda_SetElementString(layer, row, column, nullptr);
    return true;
  }
  if (!json.IsString()) return RefuseJson(json, L"a string or null");
  const std::string text(json.AsUtf8());
  // An element is a C string: what follows a zero would be lost.
  if (text.find('\0') != std::string::npos) return RefuseJson(json, L"a string without zero characters");
  kgda_SetElementString(layer, row, column, text.c_str());
  return true;
}

}  // namespace

JsonValue DoubleToJson(double value) {
  if (std::isnan(value)) return JsonValue::FromUtf8("NaN");
  if (std::isinf(value)) return JsonValue::FromUtf8(value < 0 ? "-Infinity" : "Infinity");
  return JsonValue(value);
}

bool DoubleFromJson(const JsonValue& json, double& value) {
  if (json.IsNumber()) {
    value = json.AsDouble();
    return true;
  }
  const std::string_view word = json.IsString() ? json.AsUtf8() : std::string_view();
  if (word == "NaN")
    value = std::numeric_limits<double>::quiet_NaN();
  else if (word == "Infinity")
    value = std::numeric_limits<double>::infinity();
  else if (word == "-Infinity")
    value = -std::numeric_limits<double>::infinity();
  else
    return RefuseJson(json, kNumber);
  return true;
}

bool DoubleMember(const JsonValue& json, std::string_view key, double& value) {
  const JsonValue* const member = json.Find(key);
  if (!member) return Tessera::RefuseJsonMember(json, key, kNumber);
  return DoubleFromJson(*member, value) || RefusedAt(key);
}

JsonValue ElementToJson(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  switch (layer.pixelType) {
    case KgdaFloat32:
      return SingleToJson(At<float>(layer, row, column));
    case KgdaFloat64:
      return DoubleToJson(At<double>(layer, row, column));
    case KgdaComplex64: {
      const auto& value = At<std::complex<float>>(layer, row, column);
      return Pair(SingleToJson(value.real()), SingleToJson(value.imag()));
    }
    case KgdaComplex128: {
      const auto& value = At<std::complex<double>>(layer, row, column);
      return Pair(DoubleToJson(value.real()), DoubleToJson(value.imag()));
    }
    case KgdaString: {
      const char* text = kgda_ElementAsString(layer, row, column);
      return text ? JsonValue::FromUtf8(text) : JsonValue();
    }
    default:
      return JsonValue::FromInt64(static_cast<std::int64_t>(kgda_ElementAsDouble(layer, row, column)));
  }
}

bool ElementFromJson(const JsonValue& json, Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  switch (layer.pixelType) {
    case KgdaFloat32:
      return SingleFromJson(json, At<float>(layer, row, column));
    case KgdaFloat64:
      return DoubleFromJson(json, At<double>(layer, row, column));
    case KgdaComplex64:
    case KgdaComplex128:
      return ComplexFromJson(json, layer, row, column);
    case KgdaString:
      return StringFromJson(json, layer, row, column);
    default: {
      std::int64_t value = 0;
      if (!IntegerFromJson(json, kBounds[layer.pixelType], value)) return false;
      kgda_SetElementFromDouble(layer, row, column, static_cast<double>(value));
      return true;
    }
  }
}

}  // namespace Tamrin::TesseraBasic
