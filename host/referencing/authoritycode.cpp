#include "kcommon/kstr.h"
#include "referencing/authority.h"

namespace coordinateReferencing {

namespace {

int DigitOf(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  return -1;
}

bool NeedsEscape(wchar_t c) { return c == L'/' || c == L'%' || (c >= 0 && c < 0x20) || c == 0x7F; }

}  // namespace

std::wstring AuthorityCode::Escape(std::wstring_view element) {
  constexpr wchar_t digits[] = L"0123456789ABCDEF";
  std::wstring text;
  text.reserve(element.size());
  for (const wchar_t c : element) {
    if (NeedsEscape(c)) {
      text += L'%';
      text += digits[c / 16];
      text += digits[c % 16];
    } else {
      text += c;
    }
  }
  return text;
}

std::wstring AuthorityCode::Unescape(std::wstring_view element) {
  std::wstring text;
  text.reserve(element.size());
  for (std::size_t i = 0; i < element.size(); ++i) {
    const bool room = element[i] == L'%' && i + 2 < element.size();
    const int high = room ? DigitOf(element[i + 1]) : -1;
    const int low = room ? DigitOf(element[i + 2]) : -1;
    // Others write characters beyond ASCII as bytes of some encoding; here they stand as they are.
    if (high < 0 || low < 0 || high >= 8) {
      text += element[i];
    } else {
      text += static_cast<wchar_t>(high * 16 + low);
      i += 2;
    }
  }
  return text;
}

std::wstring AuthorityCode::baseSelf() const {
  const std::size_t slash = code_.rfind(L'/');
  return Unescape(slash == std::wstring::npos ? std::wstring_view(code_) : std::wstring_view(code_).substr(slash + 1));
}

std::wstring AuthorityCode::fullParent() const {
  const std::size_t slash = code_.rfind(L'/');
  return slash == std::wstring::npos ? std::wstring() : code_.substr(0, slash);
}

}  // namespace coordinateReferencing
