#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "jsonlib/value.h"
#include "record.h"

class KerrException;

namespace kprj {

/// A JSON string with its quotes, UTF-8.
std::string JsonText(const std::wstring& text);
/// False with the reason; so for text that is no JSON, and for one that is nested deeper than any definition is.
bool ParseJson(std::string_view utf8, korven::jsonlib::Value& root, std::wstring& reason);

/// "Height", "Depth" or "Unknown", in any case.
std::optional<std::int32_t> ElevationTypeOf(const std::wstring& word);
const wchar_t* ElevationWord(std::int32_t type);

/// PROJJSON of a 2D system. Null with the reason.
ProjectionPtr ReadProjection(const korven::jsonlib::Value& value, std::wstring& reason);
korven::jsonlib::Value ProjectionValue(const std::string& definition);

/// A unit as files hold it: name, class and size.
korven::jsonlib::Value UnitValue(const std::wstring& name, double factor, bool angular);
struct FileUnit {
  std::wstring name;
  double factor = 0;  ///< of a unit that is in no list of names
};
std::optional<FileUnit> ReadUnit(const korven::jsonlib::Value& value, std::wstring& reason);

/// The document of a file of this format and version; raises with what was found and expected. `source` is how messages
/// call it.
korven::jsonlib::Value ReadDocument(std::string_view text, const wchar_t* format, const std::wstring& source,
                                    KerrException& error);
[[noreturn]] void RefuseDocument(KerrException& error, int line, const std::wstring& source, const std::wstring& what);

}  // namespace kprj
