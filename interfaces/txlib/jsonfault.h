#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Tamrin::Tessera {

class JsonValue;

/// Why a JSON value was refused, and where inside it. The path is put together from the inside out.
struct JsonFault {
  std::wstring error;
  std::wstring path;  ///< "[2].Value"; empty for the value itself
};

/// As long as it lives, what Data::FromJSON tells on this thread by the functions below: of several scopes the
/// innermost is told. Whoever reads a value that may be wrong makes one.
class JsonFaultScope {
 public:
  JsonFaultScope();
  ~JsonFaultScope();
  JsonFaultScope(const JsonFaultScope&) = delete;
  JsonFaultScope& operator=(const JsonFaultScope&) = delete;
  JsonFault& Get() { return fault_; }

 private:
  JsonFault fault_;
  JsonFaultScope* outer_;
};

// For a type's FromJSON, beside its false. All of them give false; without a scope they do nothing else.

/// "found FOUND, expected EXPECTED".
bool RefuseJson(const JsonValue& found, const std::wstring& expected);
/// The same of a member, or that there is none; what is no object has none.
bool RefuseJsonMember(const JsonValue& object, std::string_view key, const std::wstring& expected);
/// Any other error.
bool RefuseJson(JsonFault fault);
/// The refused value is an element or a member of that which the caller reads.
bool RefusedAt(std::size_t index);
bool RefusedAt(std::string_view key);

}  // namespace Tamrin::Tessera
