#pragma once

#include <string>

/// Lower and upper case by the Unicode simple mapping, independent of the process's locale.
std::wstring ktxt_tolower(const std::wstring& text);
std::wstring ktxt_toupper(const std::wstring& text);

/// Whether a character is a letter or a decimal digit of any script, independent of the process's locale.
bool ktxt_Text_isalnum(wchar_t character);
