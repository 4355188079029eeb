#include "textdecoder.h"

#include <algorithm>
#include <limits>

#include "utf8.h"

namespace {

bool StartsWith(const std::string& bytes, std::string_view mark) { return bytes.compare(0, mark.size(), mark) == 0; }

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16LittleMark = "\xFF\xFE";
constexpr std::string_view kUtf16BigMark = "\xFE\xFF";

std::wstring Hexadecimal(unsigned char byte) {
  constexpr std::wstring_view digits = L"0123456789ABCDEF";
  return std::wstring(L"0x") + digits[byte >> 4] + digits[byte & 15];
}

}  // namespace

TextDecoder::TextDecoder(std::int64_t offset, std::int64_t size)
    : skip_(offset), left_(size < 0 ? std::numeric_limits<std::int64_t>::max() : size) {}

bool TextDecoder::Feed(std::string_view block) {
  if (IsDone()) return false;
  pending_ += block;
  Decode(false);
  return !IsDone();
}

void TextDecoder::Finish() {
  if (!IsDone()) Decode(true);
}

void TextDecoder::Decode(bool last) {
  if (encoding_ == Encoding::Unknown) Detect(last);
  if (encoding_ == Encoding::Unknown) return;
  const std::size_t used = encoding_ == Encoding::Utf8 ? DecodeUtf8Bytes(last) : DecodeUtf16Bytes(last);
  if (!fault_.empty()) return;
  pending_.erase(0, used);
  pendingStart_ += used;
}

void TextDecoder::Detect(bool last) {
  if (pending_.size() < kUtf8Mark.size() && !last) return;
  std::size_t mark = 0;
  encoding_ = Encoding::Utf8;
  if (StartsWith(pending_, kUtf8Mark)) {
    mark = kUtf8Mark.size();
  } else if (StartsWith(pending_, kUtf16LittleMark)) {
    mark = kUtf16LittleMark.size();
    encoding_ = Encoding::Utf16Little;
  } else if (StartsWith(pending_, kUtf16BigMark)) {
    mark = kUtf16BigMark.size();
    encoding_ = Encoding::Utf16Big;
  }
  pending_.erase(0, mark);
  pendingStart_ = mark;
}

std::size_t TextDecoder::DecodeUtf8Bytes(bool last) {
  const char* const begin = pending_.data();
  const char* const end = begin + pending_.size();
  const char* place = begin;
  const auto offset = [&] { return static_cast<std::size_t>(place - begin); };
  while (place != end && left_ > 0) {
    const std::size_t run = AsciiRun(place, end);
    TakeAscii(place, run);
    place += run;
    if (place == end || left_ == 0) break;
    const Utf8Step step = DecodeUtf8(place, end);
    if (step.kind == Utf8Step::Kind::CutOff && !last) break;
    if (step.kind == Utf8Step::Kind::CutOff) {
      SetFault(L"the file ends within a character", offset());
      return offset();
    }
    if (step.kind == Utf8Step::Kind::Bad) {
      SetFault(L"no UTF-8 text: byte " + Hexadecimal(static_cast<unsigned char>(*place)), offset());
      return offset();
    }
    TakeCharacter(step.code);
    place += step.length;
  }
  line_ += static_cast<std::uint64_t>(std::count(begin, place, '\n'));
  return offset();
}

std::size_t TextDecoder::DecodeUtf16Bytes(bool last) {
  const auto unit = [this](std::size_t place) -> char32_t {
    const auto first = static_cast<unsigned char>(pending_[place]);
    const auto second = static_cast<unsigned char>(pending_[place + 1]);
    return encoding_ == Encoding::Utf16Little ? first | second << 8 : first << 8 | second;
  };
  std::size_t place = 0;
  while (place + 1 < pending_.size() && left_ > 0) {
    char32_t code = unit(place);
    std::size_t length = 2;
    if (code >= 0xDC00 && code <= 0xDFFF) {
      SetFault(L"no UTF-16 text: the second half of a character without its first", place);
      return place;
    }
    if (code >= 0xD800 && code <= 0xDBFF) {
      if (place + 3 >= pending_.size()) break;
      const char32_t second = unit(place + 2);
      if (second < 0xDC00 || second > 0xDFFF) {
        SetFault(L"no UTF-16 text: the first half of a character without its second", place);
        return place;
      }
      code = 0x10000 + ((code - 0xD800) << 10) + (second - 0xDC00);
      length = 4;
    }
    TakeCharacter(code);
    if (code == U'\n') ++line_;
    place += length;
  }
  if (last && left_ > 0 && place < pending_.size()) SetFault(L"the file ends within a character", place);
  return place;
}

void TextDecoder::TakeAscii(const char* bytes, std::size_t count) {
  const std::int64_t skipped = std::min<std::int64_t>(skip_, static_cast<std::int64_t>(count));
  skip_ -= skipped;
  const std::int64_t taken = std::min<std::int64_t>(left_, static_cast<std::int64_t>(count) - skipped);
  left_ -= taken;
  text_.append(bytes + skipped, bytes + skipped + taken);
}

void TextDecoder::TakeCharacter(char32_t code) {
  if (skip_ > 0) {
    --skip_;
    return;
  }
  text_ += static_cast<wchar_t>(code);
  --left_;
}

void TextDecoder::SetFault(const std::wstring& what, std::size_t place) {
  const std::size_t searched = encoding_ == Encoding::Utf8 ? place : 0;  // UTF-16 counts its lines as it goes
  const auto lines = std::count(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(searched), '\n');
  fault_ = what + L" at byte offset " + std::to_wstring(pendingStart_ + place) + L", line " +
           std::to_wstring(line_ + static_cast<std::uint64_t>(lines));
}
