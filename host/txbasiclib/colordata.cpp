#include "stackjson.h"
#include "stackparts.h"
#include "wrapperparts.h"

namespace Tamrin::TesseraBasic {
namespace {

using tessera::Data;
using tessera::JsonValue;

bool ColorFromJson(const JsonValue& json, Color& color) {
  double red = 0, green = 0, blue = 0, opacity = 1;
  if (!DoubleMember(json, "Red", red) || !DoubleMember(json, "Green", green) || !DoubleMember(json, "Blue", blue))
    return false;
  if (json.Find("Opacity") && !DoubleMember(json, "Opacity", opacity)) return false;
  color = Color(red, green, blue, opacity);
  return true;
}

}  // namespace

std::wstring ColorData::ToString() const { return HasNoValue() ? std::wstring() : ColorText(GetDataValue()); }

boost::shared_ptr<Data> ColorData::Clone() const { return CopyOf(*this); }

bool ColorData::FromString(const std::wstring& text) {
  std::vector<double> parts;
  if (!ReadDoubles(text, parts) || parts.size() < 3 || parts.size() > 4) return false;
  SetDataPointer(boost::make_shared<Color>(parts[0], parts[1], parts[2], parts.size() == 4 ? parts[3] : 1.0));
  return true;
}

bool ColorData::ToJSON(JsonValue& json) const {
  json = JsonValue();
  if (HasNoValue()) return true;
  const Color& color = GetDataValue();
  json = JsonValue(tessera::JsonValueType::Object);
  json.Set("Red", DoubleToJson(color.GetRed()));
  json.Set("Green", DoubleToJson(color.GetGreen()));
  json.Set("Blue", DoubleToJson(color.GetBlue()));
  json.Set("Opacity", DoubleToJson(color.GetOpacity()));
  return true;
}

bool ColorData::FromJSON(const JsonValue& json) { return ReadJson(*this, json, &ColorFromJson); }

std::uint64_t ColorData::SizeInBytes() const { return sizeof(ColorData) + (HasNoValue() ? 0 : sizeof(Color)); }

std::vector<std::wstring> ColorData::GetKeys() const { return Color().GetKeys(); }

tessera::DataRef ColorData::operator[](const std::wstring& key) {
  if (HasNoValue()) return {};
  return tessera::DataRef(static_cast<const Color&>(GetDataValue())[key]);
}

TESSERA_ORDER(ColorData, &OrderOfColors)

}  // namespace Tamrin::TesseraBasic
