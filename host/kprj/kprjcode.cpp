#include "kprjcode.h"

#include <string_view>

#include "jsonforms.h"
#include "jsonlib/value.h"
#include "kcommon/kstr.h"
#include "kprj/crsfactory.h"
#include "parts.h"
#include "referencing/authority.h"

namespace kprj {

using coordinateReferencing::AuthorityCode;
using korven::jsonlib::Value;

namespace {

constexpr std::wstring_view kPredefined = L"VANTIX/Predefined/Coordinate Reference Systems/";
constexpr std::wstring_view kTransient = L"VANTIX/Transient/Coordinate Reference Systems/";

std::wstring Dimension(std::size_t dimension) { return std::to_wstring(dimension) + L"D/"; }

const wchar_t* KindWord(const proj::Facts& facts) {
  switch (facts.kind) {
    case proj::Kind::Geographic2D:
    case proj::Kind::Geographic3D:
      return L"Geographic";
    case proj::Kind::Projected:
      return L"Projected";
    case proj::Kind::Vertical:
      return L"Vertical";
    case proj::Kind::Compound:
      return L"Compound";
    default:
      return L"Other";
  }
}

std::string ElevationJson(const Kprj_ElevationInfo& elevation) {
  std::string text = "{\"d\":" + JsonText(elevation.datumName) + ",\"s\":" + JsonText(elevation.spheroidName) +
                     ",\"u\":" + JsonText(elevation.unitsName) +
                     ",\"t\":" + JsonText(ElevationWord(elevation.elevationType));
  if (elevation.unitsFactor > 0) text += ",\"f\":" + kstr_ToUtf8(kstr_ShortestDouble(elevation.unitsFactor));
  return text + "}";
}

bool ReadElevation(const Value& value, Kprj_ElevationInfo& elevation, std::wstring& reason) {
  const Value& type = value[L"t"];
  for (const wchar_t* key : {L"d", L"s", L"u", L"t"})
    if (!value[key].isString()) {
      reason = std::wstring(L"its elevation has no text \"") + key + L"\"";
      return false;
    }
  elevation.datumName = value[L"d"].asString();
  elevation.spheroidName = value[L"s"].asString();
  elevation.unitsName = value[L"u"].asString();
  elevation.unitsFactor = value[L"f"].asDouble();
  const auto known = ElevationTypeOf(type.asString());
  if (!known)
    reason = L"its elevation type is \"" + type.asString() + L"\", expected \"Height\", \"Depth\" or \"Unknown\"";
  elevation.elevationType = known.value_or(KprjElevationUnknown);
  return known.has_value();
}

RecordPtr ReadTransient(std::wstring_view element, std::wstring& reason) {
  Value root;
  if (!ParseJson(kstr_ToUtf8(AuthorityCode::Unescape(element)), root, reason)) return nullptr;
  if (root[L"v"].asDouble() != 1) {
    reason = L"its definition has another version than 1";
    return nullptr;
  }
  ProjectionPtr projection;
  if (!root[L"h"].isNull()) {
    projection = ReadProjection(root[L"h"], reason);
    if (!projection) return nullptr;
  }
  if (!root[L"u"].isNull() && !root[L"u"].isString()) {
    reason = L"its units are no text";
    return nullptr;
  }
  Kprj_ElevationInfo elevation;
  const bool hasElevation = !root[L"e"].isNull();
  if (hasElevation && !ReadElevation(root[L"e"], elevation, reason)) return nullptr;
  return TryBuildRecord(projection, root[L"u"].asString(), hasElevation ? &elevation : nullptr, reason);
}

RecordPtr ReadNamed(const std::wstring& name, std::wstring& reason) {
  const std::size_t open = name.rfind(L'[');
  const std::size_t colon = open == std::wstring::npos ? open : name.find(L':', open);
  if (colon == std::wstring::npos || name.back() != L']') {
    reason = L"its last element doesn't end in [AUTHORITY:CODE]";
    return nullptr;
  }
  const std::string authority = kstr_ToUtf8(std::wstring_view(name).substr(open + 1, colon - open - 1));
  const std::string code = kstr_ToUtf8(std::wstring_view(name).substr(colon + 1, name.size() - colon - 2));
  return NamedRecord(authority, code, reason);
}

}  // namespace

std::wstring NamedCode(const proj::Facts& facts, const std::string& authority, const std::string& code) {
  const std::wstring wideAuthority = kstr_FromUtf8Lossy(authority);
  return std::wstring(kPredefined) + Dimension(facts.axes.size()) + wideAuthority + L" " + KindWord(facts) + L"/" +
         AuthorityCode::Escape(kstr_FromUtf8Lossy(facts.name) + L" [" + wideAuthority + L":" +
                               kstr_FromUtf8Lossy(code) + L"]");
}

std::wstring TransientCode(const Parts& parts, std::size_t dimension) {
  std::string text = "{\"v\":1";
  if (parts.projection) text += ",\"h\":" + parts.projection->parameters.definition;
  if (!parts.units.empty()) text += ",\"u\":" + JsonText(parts.units);
  if (parts.elevation) text += ",\"e\":" + ElevationJson(*parts.elevation);
  text += "}";
  return std::wstring(kTransient) + Dimension(dimension) + AuthorityCode::Escape(kstr_FromUtf8Lossy(text));
}

RecordPtr ReadKprjCode(const std::wstring& code, std::wstring& reason) {
  const bool isTransient = code.starts_with(kTransient);
  if (!isTransient && !code.starts_with(kPredefined)) {
    reason =
        L"it begins neither with \"" + std::wstring(kPredefined) + L"\" nor with \"" + std::wstring(kTransient) + L"\"";
    return nullptr;
  }
  const std::size_t start = isTransient ? kTransient.size() : kPredefined.size();
  const std::size_t slash = code.find(L'/', start);
  const std::wstring dimension = code.substr(start, slash == std::wstring::npos ? slash : slash - start);
  if (slash == std::wstring::npos || (dimension != L"1D" && dimension != L"2D" && dimension != L"3D")) {
    reason = L"found \"" + dimension + L"\", expected 1D, 2D or 3D";
    return nullptr;
  }
  RecordPtr record;
  if (code == kUnknown1D || code == kUnknown2D || code == kUnknown3D)
    record = UnknownRecord(dimension[0] - L'0');
  else
    record = isTransient ? ReadTransient(std::wstring_view(code).substr(slash + 1), reason)
                         : ReadNamed(AuthorityCode(code).baseSelf(), reason);
  if (!record) return nullptr;
  const std::wstring own = std::to_wstring(record->facts.axes.size()) + L"D";
  if (own != dimension) {
    reason = L"it stands under " + dimension + L", and has " + own;
    return nullptr;
  }
  return std::make_shared<Record>(*record, kKprj, code, Form::Plain);
}

}  // namespace kprj
