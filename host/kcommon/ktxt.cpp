#include "kcommon/ktxt.h"

#include <algorithm>
#include <iterator>

#include "casetables.h"
#include "lettertable.h"

namespace {

template <std::size_t N>
wchar_t Mapped(wchar_t character, const CaseRange (&ranges)[N]) {
  const auto code = static_cast<std::uint32_t>(character);
  const auto* const end = std::end(ranges);
  const auto* range = std::lower_bound(std::begin(ranges), end, code,
                                       [](const CaseRange& candidate, std::uint32_t c) { return candidate.last < c; });
  if (range == end || code < range->first || (code - range->first) % range->step != 0) return character;
  return static_cast<wchar_t>(static_cast<std::int32_t>(code) + range->delta);
}

}  // namespace

std::wstring ktxt_tolower(const std::wstring& text) {
  std::wstring result = text;
  for (wchar_t& c : result) {
    if (static_cast<std::uint32_t>(c) >= 0x80) {
      c = Mapped(c, kLowerRanges);
    } else if (c >= L'A' && c <= L'Z') {
      c += L'a' - L'A';
    }
  }
  return result;
}

std::wstring ktxt_toupper(const std::wstring& text) {
  std::wstring result = text;
  for (wchar_t& c : result) {
    if (static_cast<std::uint32_t>(c) >= 0x80) {
      c = Mapped(c, kUpperRanges);
    } else if (c >= L'a' && c <= L'z') {
      c -= L'a' - L'A';
    }
  }
  return result;
}

bool ktxt_Text_isalnum(wchar_t character) {
  const auto code = static_cast<std::uint32_t>(character);
  if (code < 0x80) {
    const std::uint32_t lower = code | 0x20;
    return (code >= L'0' && code <= L'9') || (lower >= L'a' && lower <= L'z');
  }
  const auto* const end = std::end(kLetterRanges);
  const auto* const range =
      std::lower_bound(std::begin(kLetterRanges), end, code,
                       [](const LetterRange& candidate, std::uint32_t c) { return candidate.last < c; });
  return range != end && code >= range->first;
}
