#include "stackjson.h"

#include <boost/make_shared.hpp>
#include <limits>

#include "elementjson.h"
#include "numbertext.h"
#include "stackparts.h"
#include "txbasiclib/basedatastackutils.h"
#include "txlib/jsonfault.h"

namespace Tamrin::TesseraBasic {
namespace {

using Tessera::JsonValue;
using Tessera::RefusedAt;
using Tessera::RefuseJson;
using Tessera::RefuseJsonMember;
namespace JsonValueType = Tessera::JsonValueType;

constexpr const wchar_t* kElements = L"an array of elements";
constexpr const wchar_t* kLayers = L"an array of layers";

JsonValue CodeToJson(Kgda_PixelType type) { return JsonValue::FromInt64(type); }

JsonValue LayerToJson(const Kgda_BaseDataLayer& layer) {
  JsonValue values(JsonValueType::Array);
  if (ElementsOf(layer) == 0) return values;
  for (std::int32_t row = 0; row < layer.rows; ++row)
    for (std::int32_t column = 0; column < layer.columns; ++column) values.Append(ElementToJson(layer, row, column));
  return values;
}

void WriteLayers(const KgdaBaseDataStack& stack, JsonValue& json) {
  if (stack.GetLayerCount() == 1) {
    json.Set("Values", LayerToJson(stack.GetLayer(0)));
    return;
  }
  JsonValue layers(JsonValueType::Array);
  for (std::size_t i = 0; i < stack.GetLayerCount(); ++i) layers.Append(LayerToJson(stack.GetLayer(i)));
  json.Set("Layers", std::move(layers));
}

void WriteBinFunction(const KgdaBaseDataStack& stack, JsonValue& json) {
  if (stack.GetBinFunction()) json.Set("BinFunction", BinFunctionToJson(*stack.GetBinFunction()));
}

bool ReadBinFunction(const JsonValue& json, KgdaBaseDataStack& stack) {
  const JsonValue* member = json.Find("BinFunction");
  if (!member || member->IsNull()) return true;
  Kdsc_BinFunction function;
  if (!BinFunctionFromJson(*member, function)) return RefusedAt("BinFunction");
  stack.SetBinFunction(boost::make_shared<const Kdsc_BinFunction>(std::move(function)));
  return true;
}

/// A whole number from 0 on.
bool WholeMember(const JsonValue& json, std::string_view key, std::int32_t most, std::int32_t& number) {
  const JsonValue* const member = json.Find(key);
  const double value = member && member->IsInteger() ? member->AsDouble() : -1;
  if (value < 0 || value > most)
    return RefuseJsonMember(json, key, L"a whole number from 0 to " + std::to_wstring(most));
  number = static_cast<std::int32_t>(value);
  return true;
}

bool SizeMembers(const JsonValue& json, std::int32_t& rows, std::int32_t& columns) {
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  return WholeMember(json, "Rows", kMost, rows) && WholeMember(json, "Columns", kMost, columns);
}

/// Appends a layer; the elements that are there bound what is made.
bool AddLayerFromJson(const JsonValue& values, std::int32_t rows, std::int32_t columns, Kgda_PixelType type,
                      KgdaBaseDataStack& stack) {
  const std::int64_t count = std::int64_t{rows} * columns;
  if (!values.IsArray()) return RefuseJson(values, kElements);
  if (std::int64_t{values.Count()} != count) {
    const std::wstring found = std::to_wstring(values.Count()) + (values.Count() == 1 ? L" element" : L" elements");
    return RefuseJson(Tessera::JsonFault{L"found " + found + L", expected " + std::to_wstring(count), {}});
  }
  Kgda_BaseDataLayer& layer = stack.AddLayer(rows, columns, type);
  if (values.Count() == 0) return true;
  auto element = values.GetElements().begin();
  for (std::int32_t row = 0; row < rows; ++row)
    for (std::int32_t column = 0; column < columns; ++column, ++element)
      if (!ElementFromJson(*element, layer, row, column))
        return RefusedAt(static_cast<std::size_t>(element - values.GetElements().begin()));
  return true;
}

bool RefuseTwo(const std::wstring& one, const std::wstring& other) {
  return RefuseJson(
      Tessera::JsonFault{L"found both \"" + one + L"\" and \"" + other + L"\", expected one of them", {}});
}

/// "Values", or "Layers" in its place.
bool ReadLayers(const JsonValue& json, std::int32_t rows, std::int32_t columns, Kgda_PixelType type,
                KgdaBaseDataStack& stack) {
  const JsonValue* values = json.Find("Values");
  const JsonValue* layers = json.Find("Layers");
  if (values && layers) return RefuseTwo(L"Values", L"Layers");
  if (values) return AddLayerFromJson(*values, rows, columns, type, stack) || RefusedAt("Values");
  if (!layers) return RefuseJsonMember(json, "Values", kElements);
  if (!layers->IsArray() || layers->Count() == 0)
    return RefuseJsonMember(json, "Layers", L"an array of at least one layer");
  std::size_t place = 0;
  for (const JsonValue& layer : layers->GetElements()) {
    if (!AddLayerFromJson(layer, rows, columns, type, stack)) return RefusedAt(place) || RefusedAt("Layers");
    ++place;
  }
  return true;
}

bool ReadType(const JsonValue& json, Kgda_PixelType& type) {
  const JsonValue* member = json.Find("NumberType");
  return (member && ElementTypeFromJson(*member, type)) ||
         RefuseJsonMember(json, "NumberType", L"the name or code of a number type such as \"Float64\"");
}

/// Number of elements of "Values" or of the first of "Layers"; 0 where there is no such array, which ReadLayers tells.
std::int64_t CountOfElements(const JsonValue& json) {
  const JsonValue* values = json.Find("Values");
  if (!values) {
    const JsonValue* layers = json.Find("Layers");
    if (!layers || !layers->IsArray() || layers->Count() == 0) return 0;
    values = &layers->GetElements().front();
  }
  return values->IsArray() ? std::int64_t{values->Count()} : 0;
}

/// A layer that tells its own type and size.
bool AddSizedLayer(const JsonValue& json, KgdaBaseDataStack& stack) {
  std::int32_t rows = 0, columns = 0;
  Kgda_PixelType type = KgdaUInt8;
  if (!ReadType(json, type) || !SizeMembers(json, rows, columns)) return false;
  const JsonValue* const values = json.Find("Values");
  if (!values) return RefuseJsonMember(json, "Values", kElements);
  return AddLayerFromJson(*values, rows, columns, type, stack) || RefusedAt("Values");
}

bool ReadColors(const JsonValue& colors, KgdaBaseDataStack& stack) {
  if (!colors.IsArray() || colors.Count() > static_cast<unsigned>(std::numeric_limits<std::int32_t>::max()))
    return RefuseJson(colors, L"an array of colors");
  for (int i = 0; i < 3; ++i) stack.AddLayer(static_cast<std::int32_t>(colors.Count()), 1, KgdaFloat64);
  std::int32_t row = 0;
  for (const JsonValue& element : colors.GetElements()) {
    Color color;
    if (!ColorFromJsonArray(element, color)) return RefusedAt(static_cast<std::size_t>(row));
    SetColorOfElement(stack, row++, 0, color);
  }
  return true;
}

}  // namespace

JsonValue ColorToJsonArray(const Color& color) {
  JsonValue json(JsonValueType::Array);
  for (const double part : {color.GetRed(), color.GetGreen(), color.GetBlue(), color.GetOpacity()})
    json.Append(DoubleToJson(part));
  return json;
}

bool ColorFromJsonArray(const JsonValue& json, Color& color) {
  if (!json.IsArray() || json.Count() < 3 || json.Count() > 4)
    return RefuseJson(json, L"an array of three or four numbers: red, green, blue and opacity");
  double parts[4] = {0, 0, 0, 1};
  for (unsigned i = 0; i < json.Count(); ++i)
    if (!DoubleFromJson(json.GetElements()[i], parts[i])) return RefusedAt(i);
  color = Color(parts[0], parts[1], parts[2], parts[3]);
  return true;
}

bool ElementTypeFromJson(const JsonValue& json, Kgda_PixelType& type) {
  std::uint32_t code = SimpleDataTypeCode::kNone;
  if (json.IsString()) {
    code = PixelTypeUtils::SimpleString2PixelType(json.AsString());
  } else if (json.IsInteger() && json.AsDouble() >= 0 && json.AsDouble() < kKgdaPixelTypeCount) {
    code = static_cast<std::uint32_t>(json.AsInt());
  }
  if (code >= kKgdaPixelTypeCount) return false;
  type = static_cast<Kgda_PixelType>(code);
  return true;
}

JsonValue TableToJson(const KgdaBaseDataStack& stack) {
  JsonValue json(JsonValueType::Object);
  if (stack.IsColor()) {
    JsonValue colors(JsonValueType::Array);
    for (std::int32_t row = 0; row < stack.GetLayer(0).rows; ++row)
      colors.Append(ColorToJsonArray(ColorOfElement(stack, row, 0)));
    json.Set("Colors", std::move(colors));
  } else {
    json.Set("NumberType", CodeToJson(stack.GetLayer(0).pixelType));
    WriteLayers(stack, json);
  }
  WriteBinFunction(stack, json);
  return json;
}

bool TableFromJson(const JsonValue& json, KgdaBaseDataStack& stack) {
  if (!json.IsObject()) return RefuseJson(json, L"an object with \"NumberType\" and \"Values\"");
  KgdaBaseDataStack read(KgdaBaseDataStack::KindTable);
  if (const JsonValue* colors = json.Find("Colors")) {
    if (json.Find("Values") || json.Find("Layers")) return RefuseTwo(L"Colors", L"Values");
    if (!ReadColors(*colors, read)) return RefusedAt("Colors");
  } else {
    Kgda_PixelType type = KgdaUInt8;
    const std::int64_t rows = CountOfElements(json);
    if (!ReadType(json, type) || rows > std::numeric_limits<std::int32_t>::max()) return false;
    if (!ReadLayers(json, static_cast<std::int32_t>(rows), 1, type, read)) return false;
  }
  if (!ReadBinFunction(json, read)) return false;
  stack = std::move(read);
  return true;
}

JsonValue MatrixToJson(const KgdaBaseDataStack& stack) {
  const Kgda_BaseDataLayer& first = stack.GetLayer(0);
  JsonValue json(JsonValueType::Object);
  json.Set("NumberType", CodeToJson(first.pixelType));
  json.Set("Rows", JsonValue(first.rows));
  json.Set("Columns", JsonValue(first.columns));
  WriteLayers(stack, json);
  return json;
}

bool MatrixFromJson(const JsonValue& json, KgdaBaseDataStack& stack) {
  std::int32_t rows = 0, columns = 0;
  Kgda_PixelType type = KgdaUInt8;
  if (!json.IsObject()) return RefuseJson(json, L"an object with \"NumberType\", \"Rows\", \"Columns\" and \"Values\"");
  if (!ReadType(json, type) || !SizeMembers(json, rows, columns)) return false;
  KgdaBaseDataStack read(KgdaBaseDataStack::KindMatrix);
  if (!ReadLayers(json, rows, columns, type, read)) return false;
  stack = std::move(read);
  return true;
}

JsonValue ScalarToJson(const KgdaBaseDataStack& stack) {
  JsonValue json(JsonValueType::Object);
  if (stack.IsColor()) {
    json.Set("Color", ColorToJsonArray(ColorOfElement(stack, 0, 0)));
    return json;
  }
  json.Set("NumberType", CodeToJson(stack.GetLayer(0).pixelType));
  if (stack.GetLayerCount() == 1)
    json.Set("Value", ElementToJson(stack.GetLayer(0), 0, 0));
  else
    WriteLayers(stack, json);
  return json;
}

bool ScalarFromJson(const JsonValue& json, KgdaBaseDataStack& stack) {
  if (!json.IsObject()) return RefuseJson(json, L"an object with \"NumberType\" and \"Value\", or with \"Color\"");
  KgdaBaseDataStack read(KgdaBaseDataStack::KindScalar);
  if (const JsonValue* member = json.Find("Color")) {
    Color color;
    if (json.Find("Value")) return RefuseTwo(L"Color", L"Value");
    if (!ColorFromJsonArray(*member, color)) return RefusedAt("Color");
    for (int i = 0; i < 3; ++i) read.AddLayer(1, 1, KgdaFloat64);
    SetColorOfElement(read, 0, 0, color);
  } else {
    Kgda_PixelType type = KgdaUInt8;
    if (!ReadType(json, type)) return false;
    if (const JsonValue* value = json.Find("Value")) {
      if (!ElementFromJson(*value, read.AddLayer(1, 1, type), 0, 0)) return RefusedAt("Value");
    } else if (!json.Find("Values") && !json.Find("Layers")) {
      return RefuseJsonMember(json, "Value", L"the element");
    } else if (!ReadLayers(json, 1, 1, type, read)) {
      return false;
    }
  }
  stack = std::move(read);
  return true;
}

JsonValue StackToJson(const KgdaBaseDataStack& stack) {
  JsonValue json(JsonValueType::Object);
  json.Set("Kind", JsonValue(static_cast<int>(stack.GetKind())));
  JsonValue layers(JsonValueType::Array);
  for (std::size_t i = 0; i < stack.GetLayerCount(); ++i) {
    const Kgda_BaseDataLayer& layer = stack.GetLayer(i);
    JsonValue item(JsonValueType::Object);
    item.Set("NumberType", CodeToJson(layer.pixelType));
    item.Set("Rows", JsonValue(layer.rows));
    item.Set("Columns", JsonValue(layer.columns));
    item.Set("Values", LayerToJson(layer));
    layers.Append(std::move(item));
  }
  json.Set("Layers", std::move(layers));
  WriteBinFunction(stack, json);
  return json;
}

bool StackFromJson(const JsonValue& json, KgdaBaseDataStack& stack) {
  std::int32_t kind = 0;
  const JsonValue* layers = json.Find("Layers");
  if (!WholeMember(json, "Kind", KgdaBaseDataStack::KindMatrix, kind)) return false;
  if (!layers || !layers->IsArray()) return RefuseJsonMember(json, "Layers", kLayers);
  KgdaBaseDataStack read(static_cast<KgdaBaseDataStack::Kind>(kind));
  std::size_t place = 0;
  for (const JsonValue& layer : layers->GetElements()) {
    if (!AddSizedLayer(layer, read)) return RefusedAt(place) || RefusedAt("Layers");
    ++place;
  }
  if (!ReadBinFunction(json, read)) return false;
  stack = std::move(read);
  return true;
}

}  // namespace Tamrin::TesseraBasic
