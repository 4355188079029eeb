#include "txlib/jsonfault.h"

#include <utility>

#include "datajsonparts.h"
#include "jsonlib/widetext.h"

namespace Tamrin::Tessera {
namespace {

constexpr std::size_t kQuotedLength = 60;

thread_local JsonFaultScope* innermost = nullptr;

bool IsPlainKey(const std::wstring& key) {
  for (const wchar_t c : key) {
    const bool plain = (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || c == L'_';
    if (!plain) return false;
  }
  return !key.empty();
}

}  // namespace

std::wstring DescribeJson(const JsonValue& json) {
  switch (json.Type()) {
    case JsonValueType::Array:
      return L"an array";
    case JsonValueType::Object:
      return L"an object";
    case JsonValueType::String: {
      std::wstring text = json.AsString();
      if (text.size() > kQuotedLength) text.replace(kQuotedLength - 3, std::wstring::npos, L"...");
      return L"the string \"" + text + L"\"";
    }
    default:
      return json.Serialize();
  }
}

bool At(JsonFault& fault, std::string_view key) {
  const std::wstring wide = korven::jsonlib::FromUtf8(key);
  fault.path = (IsPlainKey(wide) ? L"." + wide : L"[" + JsonValue(wide).Serialize() + L"]") + fault.path;
  return false;
}

bool At(JsonFault& fault, std::size_t index) {
  fault.path = L"[" + std::to_wstring(index) + L"]" + fault.path;
  return false;
}

JsonFaultScope::JsonFaultScope() : outer_(std::exchange(innermost, this)) {}
JsonFaultScope::~JsonFaultScope() { innermost = outer_; }

bool RefuseJson(JsonFault fault) {
  if (innermost) innermost->Get() = std::move(fault);
  return false;
}

bool RefuseJson(const JsonValue& found, const std::wstring& expected) {
  return innermost && RefuseJson({L"found " + DescribeJson(found) + L", expected " + expected, {}});
}

bool RefuseJsonMember(const JsonValue& object, std::string_view key, const std::wstring& expected) {
  if (!object.IsObject()) return RefuseJson(object, L"an object with \"" + korven::jsonlib::FromUtf8(key) + L"\"");
  if (const JsonValue* const member = object.Find(key)) {
    RefuseJson(*member, expected);
    return RefusedAt(key);
  }
  return innermost && RefuseJson({L"found no \"" + korven::jsonlib::FromUtf8(key) + L"\", expected " + expected, {}});
}

bool RefusedAt(std::size_t index) { return innermost && At(innermost->Get(), index); }
bool RefusedAt(std::string_view key) { return innermost && At(innermost->Get(), key); }

}  // namespace Tamrin::Tessera
