#pragma once

#include <string>

#include "record.h"

namespace kprj {

inline constexpr const wchar_t* kKprj = L"KPRJ";

/// The code of a registry's system.
std::wstring NamedCode(const proj::Facts& facts, const std::string& authority, const std::string& code);
/// The code that holds the whole definition. `dimension` is that of the parts together.
std::wstring TransientCode(const Parts& parts, std::size_t dimension);
/// The system of a code; null with the reason for text that is none.
RecordPtr ReadKprjCode(const std::wstring& code, std::wstring& reason);

}  // namespace kprj
