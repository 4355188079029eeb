#pragma once

#include <string>
#include <string_view>

namespace korven::jsonlib {

// Wide texts and the UTF-8 of JSON texts. Wide file names hold bytes that are no UTF-8 as marks (see kfnp_FromNative);
// each becomes the three bytes of its mark, which no other text has since strict UTF-8 knows none of them, and which
// AppendQuoted writes as "\udc80" to "\udcff". What else is no Unicode becomes U+FFFD, either way.

std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view utf8);

/// Whether three bytes of a mark begin at `at`.
bool IsByteMark(const char* at, const char* end);
constexpr bool IsByteMark(char32_t character) { return character >= 0xDC80 && character <= 0xDCFF; }

}  // namespace korven::jsonlib
