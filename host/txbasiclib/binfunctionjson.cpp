#include <limits>

#include "stackjson.h"

namespace Tamrin::TesseraBasic {
namespace {

using Kind = Kdsc_BinFunction::Kind;
using Tessera::JsonValue;

constexpr struct {
  Kind kind;
  const char* name;
} kKinds[] = {{Kind::Direct, "direct"},
              {Kind::Linear, "linear"},
              {Kind::Logarithmic, "logarithmic"},
              {Kind::Explicit, "explicit"}};

bool KindFromJson(const JsonValue* json, Kind& kind) {
  if (!json || !json->IsString()) return false;
  for (const auto& row : kKinds) {
    if (json->AsUtf8() != row.name) continue;
    kind = row.kind;
    return true;
  }
  return false;
}

bool NumberMember(const JsonValue& json, const char* key, double& value) {
  const JsonValue* member = json.Find(key);
  return member && DoubleFromJson(*member, value);
}

bool BinsFromJson(const JsonValue& json, std::int32_t& bins) {
  const JsonValue* member = json.Find("NumBins");
  if (!member || !member->IsInteger()) return false;
  const double value = member->AsDouble();
  if (value < 1 || value > std::numeric_limits<std::int32_t>::max()) return false;
  bins = static_cast<std::int32_t>(value);
  return true;
}

bool LimitsFromJson(const JsonValue* json, Kdsc_BinFunction& function) {
  if (!json || !json->IsArray() || json->Count() < 2) return false;
  if (json->Count() - 1 > static_cast<unsigned>(std::numeric_limits<std::int32_t>::max())) return false;
  function.limits.reserve(json->Count());
  for (const JsonValue& element : json->GetElements()) {
    double limit = 0;
    if (!DoubleFromJson(element, limit) || limit != limit) return false;
    if (!function.limits.empty() && !(limit > function.limits.back())) return false;
    function.limits.push_back(limit);
  }
  function.numBins = static_cast<std::int32_t>(json->Count() - 1);
  return true;
}

}  // namespace

JsonValue BinFunctionToJson(const Kdsc_BinFunction& function) {
  JsonValue json(Tessera::JsonValueType::Object);
  for (const auto& row : kKinds)
    if (row.kind == function.kind) json.Set("Kind", JsonValue::FromUtf8(row.name));
  if (function.kind == Kind::Explicit) {
    JsonValue limits(Tessera::JsonValueType::Array);
    for (const double limit : function.limits) limits.Append(DoubleToJson(limit));
    json.Set("Limits", std::move(limits));
    return json;
  }
  json.Set("NumBins", JsonValue(function.numBins));
  json.Set("Minimum", DoubleToJson(function.minimum));
  if (function.kind != Kind::Direct) json.Set("Maximum", DoubleToJson(function.maximum));
  return json;
}

bool BinFunctionFromJson(const JsonValue& json, Kdsc_BinFunction& function) {
  Kdsc_BinFunction read;
  if (!json.IsObject() || !KindFromJson(json.Find("Kind"), read.kind)) return false;
  if (read.kind == Kind::Explicit) {
    if (!LimitsFromJson(json.Find("Limits"), read)) return false;
  } else {
    if (!BinsFromJson(json, read.numBins) || !NumberMember(json, "Minimum", read.minimum)) return false;
    if (read.kind != Kind::Direct) {
      if (!NumberMember(json, "Maximum", read.maximum) || !(read.minimum <= read.maximum)) return false;
      // Equal ratios have no meaning across zero.
      if (read.kind == Kind::Logarithmic && !(read.minimum > 0)) return false;
    }
  }
  function = std::move(read);
  return true;
}

}  // namespace Tamrin::TesseraBasic
