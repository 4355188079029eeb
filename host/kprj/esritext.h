#pragma once

#include <string>

#include "record.h"

namespace kprj {

/// The system as ESRI's projection files have it, UTF-8; empty where it has no such form.
std::string EsriTextOf(const Record& record);
/// "PROJCS[", "GEOGCS[" or "VERTCS[", compared exactly.
bool IsEsriText(std::string_view text);

/// An ESRI text or the path of a file with one. Null with the reason.
RecordPtr ReadPrjCode(const std::wstring& code, std::wstring& reason);
/// The text of a code that is a path; nothing with the reason.
std::optional<std::string> ReadPrjFile(const std::wstring& path, std::wstring& reason);
RecordPtr ReadEsriText(const std::string& text, const std::wstring& code, std::wstring& reason);

}  // namespace kprj
