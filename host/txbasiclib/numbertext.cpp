#include "numbertext.h"

#include <charconv>
#include <cmath>

#include "kcommon/kstr.h"

namespace Tamrin::TesseraBasic {
namespace {

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\n' || c == L'\r'; }

wchar_t Lower(wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c; }

}  // namespace

std::wstring_view TrimBlanks(std::wstring_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool EqualsIgnoringCase(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (Lower(a[i]) != Lower(b[i])) return false;
  return true;
}

std::wstring SingleText(float value) {
  if (!std::isfinite(value)) return kstr_ShortestDouble(static_cast<double>(value));
  char buffer[48];
  const auto written = std::to_chars(buffer, buffer + sizeof buffer, value);
  double nearest = 0;
  std::from_chars(buffer, written.ptr, nearest);
  return kstr_ShortestDouble(nearest);
}

bool ReadDouble(std::wstring_view text, double& value) {
  text = TrimBlanks(text);
  if (text.size() > 1 && text[0] == L'+' && text[1] != L'-') text.remove_prefix(1);
  std::string narrow;
  narrow.reserve(text.size());
  for (const wchar_t c : text) {
    // from_chars takes more spellings of not-a-number than we write.
    if (c <= L' ' || c > L'~' || c == L'(') return false;
    narrow += static_cast<char>(c);
  }
  double read = 0;
  const auto result = std::from_chars(narrow.data(), narrow.data() + narrow.size(), read);
  if (result.ec != std::errc() || result.ptr != narrow.data() + narrow.size()) return false;
  value = read;
  return true;
}

bool ReadDoubles(std::wstring_view text, std::vector<double>& values) {
  std::vector<double> read;
  for (text = TrimBlanks(text); !text.empty(); text = TrimBlanks(text)) {
    std::size_t end = 0;
    while (end < text.size() && !IsBlank(text[end])) ++end;
    double value = 0;
    if (!ReadDouble(text.substr(0, end), value)) return false;
    read.push_back(value);
    text.remove_prefix(end);
  }
  values = std::move(read);
  return true;
}

std::wstring CutToLine(std::wstring text) {
  if (text.size() > kLineLength) text.replace(kLineLength - 3, std::wstring::npos, L"...");
  for (wchar_t& c : text)
    if ((c >= 0 && c < 0x20) || c == 0x7F) c = L' ';
  return text;
}

int OrderOfNumbers(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return OrderOf(std::isnan(a), std::isnan(b));
  return OrderOf(a, b);
}

}  // namespace Tamrin::TesseraBasic
