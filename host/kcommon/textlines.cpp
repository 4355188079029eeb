#include "textlines.h"

#include <algorithm>

#include "kcommon/kstr.h"

namespace {

constexpr std::size_t kMostShown = 40;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

/// Characters of UTF-8 text: bytes that begin one.
std::size_t CharacterCount(const char* begin, const char* end) {
  return static_cast<std::size_t>(
      std::count_if(begin, end, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

}  // namespace

TextFault::TextFault(std::size_t line, std::size_t column, std::wstring found, std::wstring expected)
    : line_(line), column_(column), found_(std::move(found)), expected_(std::move(expected)) {}

std::wstring TextFault::Text(const std::wstring& source) const {
  return L"The file \"" + source + L"\", line " + std::to_wstring(line_) + L", column " + std::to_wstring(column_) +
         L": found " + found_ + L", expected " + expected_ + L".";
}

TextLines::TextLines(std::string_view text)
    : next_(text.data()), textEnd_(text.data() + text.size()), lineStart_(next_), begin_(next_), end_(next_) {
  if (text.starts_with("\xEF\xBB\xBF")) next_ += 3;
  lineStart_ = begin_ = end_ = place_ = next_;
}

bool TextLines::NextLine() {
  while (next_ != textEnd_) {
    ++line_;
    lineStart_ = begin_ = next_;
    end_ = std::find(begin_, textEnd_, '\n');
    next_ = end_ == textEnd_ ? textEnd_ : end_ + 1;
    while (begin_ != end_ && IsBlank(*begin_)) ++begin_;
    while (begin_ != end_ && IsBlank(end_[-1])) --end_;
    if (begin_ == end_) continue;
    place_ = begin_;
    afterElement_ = false;
    return true;
  }
  lineStart_ = begin_ = end_ = place_ = textEnd_;
  ++line_;
  atTextEnd_ = true;
  return false;
}

bool TextLines::NextDataLine() {
  while (NextLine()) {
    if (!IsComment() || hashIsData_) return true;
  }
  return false;
}

bool TextLines::NextElement() {
  bool separated = !afterElement_;
  bool required = false;
  for (; place_ != end_; ++place_) {
    if (*place_ == ',' || *place_ == ';') {
      if (separated && (required || !afterElement_)) Fail(L"an element between the separators");
      separated = required = true;
    } else if (!IsBlank(*place_)) {
      break;
    }
  }
  if (place_ == end_ || (*place_ == '#' && !hashIsData_)) return false;
  afterElement_ = false;
  return true;
}

std::string_view TextLines::PeekWord() const {
  const char* end = place_;
  while (end != end_ && !EndsElement(*end)) ++end;
  return {place_, static_cast<std::size_t>(end - place_)};
}

std::size_t TextLines::GetColumn() const { return CharacterCount(lineStart_, place_) + 1; }

void TextLines::Fail(const std::wstring& expected) const { FailAt(place_, expected); }

void TextLines::FailAt(const char* place, const std::wstring& expected) const {
  const std::size_t column = CharacterCount(lineStart_, place) + 1;
  if (atTextEnd_) throw TextFault(line_, column, L"the end of the file", expected);
  if (place == end_) throw TextFault(line_, column, L"the end of the line", expected);
  const char* wordEnd = place + 1;
  while (!EndsElement(*place) && wordEnd != end_ && !EndsElement(*wordEnd)) ++wordEnd;
  std::wstring word = TextOfBytes({place, static_cast<std::size_t>(wordEnd - place)});
  if (word.size() > kMostShown) word.replace(kMostShown, std::wstring::npos, L"...");
  throw TextFault(line_, column, L"\"" + word + L"\"", expected);
}

std::wstring TextOfBytes(std::string_view bytes) {
  std::wstring text = kstr_FromUtf8Lossy(bytes);
  for (wchar_t& c : text)
    if ((c >= 0 && c < 0x20) || c == 0x7F) c = L' ';
  return text;
}
