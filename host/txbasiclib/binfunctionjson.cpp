#include <limits>

#include "stackjson.h"
#include "txlib/jsonfault.h"

namespace Tamrin::TesseraBasic {
namespace {

using Kind = Kdsc_BinFunction::Kind;
using Tessera::JsonValue;
using Tessera::RefusedAt;
using Tessera::RefuseJson;
using Tessera::RefuseJsonMember;

constexpr struct {
  Kind kind;
  const char* name;
} kKinds[] = {{Kind::Direct, "direct"},
              {Kind::Linear, "linear"},
              {Kind::Logarithmic, "logarithmic"},
              {Kind::Explicit, "explicit"}};

bool KindFromJson(const JsonValue& json, Kind& kind) {
  const JsonValue* const member = json.Find("Kind");
  for (const auto& row : kKinds) {
    if (!member || !member->IsString() || member->AsUtf8() != row.name) continue;
    kind = row.kind;
    return true;
  }
  return RefuseJsonMember(json, "Kind", L"\"direct\", \"linear\", \"logarithmic\" or \"explicit\"");
}

bool BinsFromJson(const JsonValue& json, std::int32_t& bins) {
  const JsonValue* member = json.Find("NumBins");
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  const double value = member && member->IsInteger() ? member->AsDouble() : 0;
  if (value < 1 || value > kMost)
    return RefuseJsonMember(json, "NumBins", L"a whole number from 1 to " + std::to_wstring(kMost));
  bins = static_cast<std::int32_t>(value);
  return true;
}

bool LimitsFromJson(const JsonValue& json, Kdsc_BinFunction& function) {
  const JsonValue* const limits = json.Find("Limits");
  if (!limits || !limits->IsArray() || limits->Count() < 2)
    return RefuseJsonMember(json, "Limits", L"an array of at least two ascending numbers");
  if (limits->Count() - 1 > static_cast<unsigned>(std::numeric_limits<std::int32_t>::max())) return false;
  function.limits.reserve(limits->Count());
  for (const JsonValue& element : limits->GetElements()) {
    double limit = 0;
    bool isRead = DoubleFromJson(element, limit);
    if (isRead && (limit != limit || (!function.limits.empty() && !(limit > function.limits.back()))))
      isRead = RefuseJson(element, L"a number greater than those before it");
    if (!isRead) return RefusedAt(function.limits.size()) || RefusedAt("Limits");
    function.limits.push_back(limit);
  }
  function.numBins = static_cast<std::int32_t>(limits->Count() - 1);
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
  if (!KindFromJson(json, read.kind)) return false;
  if (read.kind == Kind::Explicit) {
    if (!LimitsFromJson(json, read)) return false;
  } else {
    if (!BinsFromJson(json, read.numBins) || !DoubleMember(json, "Minimum", read.minimum)) return false;
    if (read.kind != Kind::Direct) {
      if (!DoubleMember(json, "Maximum", read.maximum)) return false;
      if (!(read.minimum <= read.maximum)) return RefuseJsonMember(json, "Maximum", L"at least the minimum");
      // Equal ratios have no meaning across zero.
      if (read.kind == Kind::Logarithmic && !(read.minimum > 0))
        return RefuseJsonMember(json, "Minimum", L"a number above 0 for logarithmic bins");
    }
  }
  function = std::move(read);
  return true;
}

}  // namespace Tamrin::TesseraBasic
