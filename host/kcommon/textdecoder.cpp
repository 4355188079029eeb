#include "textdecoder.h"

#include <algorithm>
#include <limits>

#include "kcommon/kstr.h"
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

/// What stands for 0x80 to 0x9F; the five that stand for nothing are the control characters of their numbers.
constexpr wchar_t kWindows1252[] = {
    0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178,
};

}  // namespace

TextDecoder::TextDecoder(std::int64_t offset, std::int64_t size, Reading reading)
    : encoding_(reading == Reading::Windows1252 ? Encoding::Windows1252 : Encoding::Unknown),
      skip_(offset),
      left_(size < 0 ? std::numeric_limits<std::int64_t>::max() : size) {}

void TextDecoder::Expect(std::int64_t bytes) {
  // A file that is not what it claims to be must not cost memory that it never fills.
  constexpr std::int64_t kMost = std::int64_t{1} << 36;
  const std::int64_t count = std::min({bytes - skip_, left_, kMost});
  if (count > 0) kstr_Reserve(text_, static_cast<std::size_t>(count));
}

bool TextDecoder::Feed(std::string_view block) {
  if (IsDone()) return false;
  if (encoding_ == Encoding::Unknown) {
    pending_ += block;
    Detect(false);
    if (encoding_ == Encoding::Unknown) return true;
    const std::string begin = std::move(pending_);
    pending_.clear();
    return Feed(begin);
  }
  // A character that lies across the border of two blocks is put together byte by byte.
  while (!pending_.empty() && !block.empty() && !IsDone()) {
    pending_ += block.front();
    block.remove_prefix(1);
    pending_.erase(0, Decode(pending_, false));
  }
  if (IsDone()) return false;
  const std::size_t used = Decode(block, false);
  if (fault_.empty()) pending_ += block.substr(used);
  return !IsDone();
}

void TextDecoder::Finish() {
  if (IsDone()) return;
  if (encoding_ == Encoding::Unknown) Detect(true);
  Decode(pending_, true);
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
  isMarked_ = mark > 0;
  used_ = mark;
}

std::size_t TextDecoder::Decode(std::string_view bytes, bool last) {
  std::size_t used = 0;
  if (encoding_ == Encoding::Utf8)
    used = DecodeUtf8Bytes(bytes, last);
  else if (encoding_ == Encoding::Windows1252)
    used = DecodeBytes(bytes);
  else
    used = DecodeUtf16Bytes(bytes, last);
  used_ += used;
  return used;
}

std::size_t TextDecoder::DecodeUtf8Bytes(std::string_view bytes, bool last) {
  const char* const begin = bytes.data();
  const char* const end = begin + bytes.size();
  const char* place = begin;
  WideWriter writer(text_);
  while (place != end && left_ > 0) {
    if (static_cast<unsigned char>(*place) < 0x80) {
      place += TakeAscii(place, AsciiRun(place, end), writer);
      continue;
    }
    const Utf8Step step = DecodeUtf8(place, end);
    if (step.kind == Utf8Step::Kind::CutOff && !last) break;
    if (step.kind != Utf8Step::Kind::Character) {
      SetFault(step.kind == Utf8Step::Kind::CutOff
                   ? L"the file ends within a character"
                   : L"no UTF-8 text: byte " + Hexadecimal(static_cast<unsigned char>(*place)),
               static_cast<std::size_t>(place - begin), std::count(begin, place, '\n'));
      break;
    }
    TakeCharacter(step.code, writer);
    place += step.length;
  }
  line_ += static_cast<std::uint64_t>(std::count(begin, place, '\n'));
  return static_cast<std::size_t>(place - begin);
}

std::size_t TextDecoder::DecodeUtf16Bytes(std::string_view bytes, bool last) {
  const auto unit = [this, bytes](std::size_t place) -> char32_t {
    const auto first = static_cast<unsigned char>(bytes[place]);
    const auto second = static_cast<unsigned char>(bytes[place + 1]);
    return encoding_ == Encoding::Utf16Little ? first | second << 8 : first << 8 | second;
  };
  const auto fault = [this](const wchar_t* what, std::size_t place) {
    SetFault(what, place, 0);  // its lines were counted on the way
    return place;
  };
  std::size_t place = 0;
  WideWriter writer(text_);
  while (place + 1 < bytes.size() && left_ > 0) {
    char32_t code = unit(place);
    std::size_t length = 2;
    if (code >= 0xDC00 && code <= 0xDFFF)
      return fault(L"no UTF-16 text: the second half of a character without its first", place);
    if (code >= 0xD800 && code <= 0xDBFF) {
      if (place + 3 >= bytes.size()) break;
      const char32_t second = unit(place + 2);
      if (second < 0xDC00 || second > 0xDFFF)
        return fault(L"no UTF-16 text: the first half of a character without its second", place);
      code = 0x10000 + ((code - 0xD800) << 10) + (second - 0xDC00);
      length = 4;
    }
    TakeCharacter(code, writer);
    if (code == U'\n') ++line_;
    place += length;
  }
  if (last && left_ > 0 && place < bytes.size()) return fault(L"the file ends within a character", place);
  return place;
}

std::size_t TextDecoder::DecodeBytes(std::string_view bytes) {
  std::size_t place = 0;
  WideWriter writer(text_);
  while (place < bytes.size() && left_ > 0) {
    const auto byte = static_cast<unsigned char>(bytes[place]);
    if (byte < 0x80) {
      place += TakeAscii(bytes.data() + place, AsciiRun(bytes.data() + place, bytes.data() + bytes.size()), writer);
      continue;
    }
    TakeCharacter(byte < 0xA0 ? static_cast<char32_t>(kWindows1252[byte - 0x80]) : byte, writer);
    ++place;
  }
  return place;
}

std::size_t TextDecoder::TakeAscii(const char* bytes, std::size_t count, WideWriter& writer) {
  const std::int64_t skipped = std::min<std::int64_t>(skip_, static_cast<std::int64_t>(count));
  skip_ -= skipped;
  const std::int64_t taken = std::min<std::int64_t>(left_, static_cast<std::int64_t>(count) - skipped);
  left_ -= taken;
  writer.PutAscii(bytes + skipped, static_cast<std::size_t>(taken));
  return static_cast<std::size_t>(skipped + taken);
}

void TextDecoder::TakeCharacter(char32_t code, WideWriter& writer) {
  if (skip_ > 0) {
    --skip_;
    return;
  }
  writer.Put(code);
  --left_;
}

void TextDecoder::SetFault(const std::wstring& what, std::size_t place, std::int64_t lines) {
  fault_ = what + L" at byte offset " + std::to_wstring(used_ + place) + L", line " +
           std::to_wstring(line_ + static_cast<std::uint64_t>(lines));
}
