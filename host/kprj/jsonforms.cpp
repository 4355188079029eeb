#include "jsonforms.h"

#include <algorithm>

#include "jsonlib/textwriter.h"
#include "kcommon/kerr.h"
#include "kcommon/kstr.h"
#include "unittable.h"

namespace kprj {

using korven::jsonlib::Reader;
using korven::jsonlib::StyledWriter;
using korven::jsonlib::TextWriter;
using korven::jsonlib::Value;

namespace {

constexpr int kDeepest = 64;
constexpr int kVersion = 1;

/// PROJ reads definitions by descent.
int DepthOf(std::string_view text) {
  int depth = 0;
  int deepest = 0;
  bool inText = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inText) {
      if (c == '\\') ++i;
      inText = c != '"';
    } else if (c == '"') {
      inText = true;
    } else if (c == '{' || c == '[') {
      deepest = std::max(deepest, ++depth);
    } else if (c == '}' || c == ']') {
      --depth;
    }
  }
  return deepest;
}

std::wstring Lower(std::wstring text) {
  for (wchar_t& c : text)
    if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
  return text;
}

}  // namespace

std::string JsonText(const std::wstring& text) {
  std::string out;
  TextWriter(out, false).String(kstr_ToUtf8(text));
  return out;
}

bool ParseJson(std::string_view utf8, Value& root, std::wstring& reason) {
  if (DepthOf(utf8) > kDeepest) {
    reason = L"it is nested more than " + std::to_wstring(kDeepest) + L" levels deep";
    return false;
  }
  Reader reader;
  if (!reader.parseUtf8(utf8, root)) {
    reason = reader.getFormattedErrorMessages();
    return false;
  }
  if (root.isObject()) return true;
  reason = L"it is no JSON object";
  return false;
}

std::optional<std::int32_t> ElevationTypeOf(const std::wstring& word) {
  const std::wstring lower = Lower(word);
  if (lower == L"height") return KprjHeight;
  if (lower == L"depth") return KprjDepth;
  if (lower == L"unknown") return KprjElevationUnknown;
  return std::nullopt;
}

const wchar_t* ElevationWord(std::int32_t type) {
  return type == KprjHeight ? L"Height" : type == KprjDepth ? L"Depth" : L"Unknown";
}

ProjectionPtr ReadProjection(const Value& value, std::wstring& reason) {
  if (!value.isObject()) {
    reason = L"its projection is no object";
    return nullptr;
  }
  proj::Split split = proj::GetCalls().SplitSystem({{}, {}, StyledWriter().writeUtf8(value)});
  if (!split.horizontal || split.vertical) {
    reason = L"its projection is no horizontal coordinate reference system of PROJJSON";
    return nullptr;
  }
  ProjectionPtr projection = MakeProjection(std::move(*split.horizontal));
  if (projection->unit.factor > 0) return projection;
  reason = L"its projection has a unit that is not larger than 0";
  return nullptr;
}

Value ProjectionValue(const std::string& definition) {
  Value value;
  Reader().parseUtf8(definition, value);
  return value;
}

Value UnitValue(const std::wstring& name, double factor, bool angular) {
  Value value(Value::objectValue);
  const bool other = IsOther(name);
  value[L"name"] = name;
  value[L"class"] = other ? L"other" : angular ? L"angular" : L"linear";
  const KnownUnit* const known = FindUnit(name);
  if (!other) value[L"toSI"] = known && SameSize(factor, known->factor) ? known->factor : factor;
  return value;
}

std::optional<FileUnit> ReadUnit(const Value& value, std::wstring& reason) {
  if (!value[L"name"].isString() || value[L"name"].asString().empty()) {
    reason = L"its units have no text \"name\"";
    return std::nullopt;
  }
  FileUnit unit{value[L"name"].asString(), 0};
  const KnownUnit* const known = FindUnit(unit.name);
  const double factor = value[L"toSI"].asDouble();
  if (IsOther(unit.name) || (known && (value[L"toSI"].isNull() || SameSize(factor, known->factor)))) return unit;
  if (!(factor > 0)) {
    reason = L"the size \"toSI\" of its unit \"" + unit.name + L"\" is not larger than 0";
    return std::nullopt;
  }
  unit.factor = factor;
  return unit;
}

void RefuseDocument(KerrException& error, int line, const std::wstring& source, const std::wstring& what) {
  error.Throw(line, L"The file \"" + source + L"\" can't be read: " + what + L".");
}

Value ReadDocument(std::string_view text, const wchar_t* format, const std::wstring& source, KerrException& error) {
  Value root;
  std::wstring reason;
  if (!ParseJson(text, root, reason)) RefuseDocument(error, __LINE__, source, reason);
  const Value& found = root[L"format"];
  if (!found.isString() || found.asString() != format)
    RefuseDocument(error, __LINE__, source,
                   L"its \"format\" is \"" + found.asString() + L"\", expected \"" + format + L"\"");
  const double version = root[L"version"].asDouble();
  if (!(version >= 1 && version <= kVersion))
    RefuseDocument(error, __LINE__, source,
                   L"its \"version\" is " + kstr_ShortestDouble(version) + L", expected " + std::to_wstring(kVersion));
  return root;
}

}  // namespace kprj
