#include "kcommon/kgda.h"
#include "txbasiclib/basedatastackutils.h"
#include "txlib/jsonfault.h"
#include "wrapperparts.h"

namespace Tamrin::TesseraBasic {
namespace {

using tessera::Data;
using tessera::JsonValue;

/// The name, the number, or for no type the empty text.
bool CodeFromText(const std::wstring& text, SimpleDataTypeCode& value) {
  const std::uint32_t code = PixelTypeUtils::SimpleString2PixelType(text);
  if (code == SimpleDataTypeCode::kNone && !TrimBlanks(text).empty()) return false;
  value.code = code;
  return true;
}

bool CodeFromText(const std::wstring& text, NumberTypeCode& value) {
  const std::uint32_t code = PixelTypeUtils::SimpleString2PixelType(text);
  if (code >= kKgdaPixelTypeCount) return false;
  value.code = code;
  return true;
}

template <typename Code>
bool TryCodeFromJson(const JsonValue& json, Code& value) {
  if (json.IsString()) return CodeFromText(json.AsString(), value);
  if (!json.IsInteger() || json.AsDouble() < 0 || json.AsDouble() > 0xFFFFFFFFu) return false;
  const auto code = static_cast<std::uint32_t>(json.AsUint64());
  if (std::is_same_v<Code, SimpleDataTypeCode> && code == SimpleDataTypeCode::kNone) {
    value.code = code;
    return true;
  }
  return CodeFromText(std::to_wstring(code), value);
}

template <typename Code>
bool CodeFromJson(const JsonValue& json, Code& value) {
  return TryCodeFromJson(json, value) ||
         tessera::RefuseJson(json, L"the name or code of a number type such as \"Float64\"");
}

template <typename Wrapper>
bool ReadCode(Wrapper& data, const std::wstring& text) {
  typename Wrapper::ValueType value;
  if (!CodeFromText(text, value)) return false;
  data.SetDataPointer(boost::make_shared<typename Wrapper::ValueType>(value));
  return true;
}

const auto kOrder = [](const auto& a, const auto& b) { return OrderOf(a.code, b.code); };

}  // namespace

namespace PixelTypeUtils {

std::uint32_t SimpleString2PixelType(const std::wstring& text) {
  const std::wstring_view name = TrimBlanks(text);
  for (std::uint32_t code = 0; code < kKgdaPixelTypeCount; ++code) {
    const auto type = static_cast<Kgda_PixelType>(code);
    if (EqualsIgnoringCase(name, kgda_PixelTypeName(type)) || name == std::to_wstring(code)) return code;
  }
  const bool isColor = EqualsIgnoringCase(name, L"Color") || name == std::to_wstring(SimpleDataTypeCode::kColor);
  return isColor ? SimpleDataTypeCode::kColor : SimpleDataTypeCode::kNone;
}

std::wstring PixelType2SimpleString(std::uint32_t code) {
  if (code == SimpleDataTypeCode::kColor) return L"Color";
  return kgda_PixelTypeName(static_cast<Kgda_PixelType>(code));
}

}  // namespace PixelTypeUtils

std::wstring NumberTypeData::ToString() const {
  return HasNoValue() ? std::wstring() : PixelTypeUtils::PixelType2SimpleString(GetDataValue().code);
}

boost::shared_ptr<Data> NumberTypeData::Clone() const { return CopyOf(*this); }
bool NumberTypeData::FromString(const std::wstring& text) { return ReadCode(*this, text); }

bool NumberTypeData::ToJSON(JsonValue& json) const {
  json = HasNoValue() ? JsonValue() : JsonValue(ToString());
  return true;
}

bool NumberTypeData::FromJSON(const JsonValue& json) { return ReadJson(*this, json, &CodeFromJson<NumberTypeCode>); }

std::uint64_t NumberTypeData::SizeInBytes() const {
  return sizeof(NumberTypeData) + (HasNoValue() ? 0 : sizeof(NumberTypeCode));
}

TESSERA_ORDER(NumberTypeData, kOrder)

std::wstring SimpleDataTypeData::ToString() const {
  return HasNoValue() ? std::wstring() : PixelTypeUtils::PixelType2SimpleString(GetDataValue().code);
}

boost::shared_ptr<Data> SimpleDataTypeData::Clone() const { return CopyOf(*this); }
bool SimpleDataTypeData::FromString(const std::wstring& text) { return ReadCode(*this, text); }

bool SimpleDataTypeData::ToJSON(JsonValue& json) const {
  json = HasNoValue() ? JsonValue() : JsonValue(ToString());
  return true;
}

bool SimpleDataTypeData::FromJSON(const JsonValue& json) {
  return ReadJson(*this, json, &CodeFromJson<SimpleDataTypeCode>);
}

std::uint64_t SimpleDataTypeData::SizeInBytes() const {
  return sizeof(SimpleDataTypeData) + (HasNoValue() ? 0 : sizeof(SimpleDataTypeCode));
}

TESSERA_ORDER(SimpleDataTypeData, kOrder)

}  // namespace Tamrin::TesseraBasic
