#include "jsonlib/widetext.h"

#include <algorithm>

#include "kcommon/kstr.h"

namespace korven::jsonlib {

namespace {

constexpr std::size_t kLength = 3;
constexpr char kLead = '\xED';

bool IsMark(wchar_t c) { return IsByteMark(static_cast<char32_t>(c)); }

}  // namespace

bool IsByteMark(const char* at, const char* end) {
  if (*at != kLead || end - at < static_cast<std::ptrdiff_t>(kLength)) return false;
  const auto second = static_cast<unsigned char>(at[1]), third = static_cast<unsigned char>(at[2]);
  return (second == 0xB2 || second == 0xB3) && third >= 0x80 && third <= 0xBF;
}

std::string ToUtf8(std::wstring_view text) {
  auto mark = std::find_if(text.begin(), text.end(), IsMark);
  if (mark == text.end()) return kstr_ToUtf8(text);
  std::string utf8;
  for (auto begin = text.begin();; mark = std::find_if(begin, text.end(), IsMark)) {
    utf8 += kstr_ToUtf8({begin, mark});
    if (mark == text.end()) return utf8;
    const auto bits = static_cast<unsigned>(*mark) & 0xFFFU;
    utf8 += {kLead, static_cast<char>(0x80U | (bits >> 6)), static_cast<char>(0x80U | (bits & 0x3FU))};
    begin = mark + 1;
  }
}

std::wstring FromUtf8(std::string_view utf8) {
  const char* const end = utf8.data() + utf8.size();
  std::wstring text;
  std::size_t begin = 0;
  for (std::size_t at = utf8.find(kLead); at != std::string_view::npos; at = utf8.find(kLead, at)) {
    const char* const mark = utf8.data() + at;
    if (!IsByteMark(mark, end)) {
      ++at;
      continue;
    }
    kstr_AppendUtf8Lossy(text, utf8.substr(begin, at - begin));
    text += static_cast<wchar_t>(0xD000U | (mark[1] & 0x3FU) << 6 | (mark[2] & 0x3FU));
    begin = at += kLength;
  }
  if (begin == 0) return kstr_FromUtf8Lossy(utf8);
  kstr_AppendUtf8Lossy(text, utf8.substr(begin));
  return text;
}

}  // namespace korven::jsonlib
