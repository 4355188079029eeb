#include "jsonlib/events.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <new>
#include <system_error>

#include "faults.h"
#include "textstream.h"

namespace korven::jsonlib {

namespace {

/// As the reader wants one, which doesn't ask whether it got its memory.
struct ThrowingAllocator {
  [[maybe_unused]] static constexpr bool kNeedFree = true;
  void* Malloc(std::size_t size) { return size == 0 ? nullptr : Got(std::malloc(size)); }
  void* Realloc(void* block, std::size_t, std::size_t size) {
    if (size != 0) return Got(std::realloc(block, size));
    std::free(block);
    return nullptr;
  }
  static void Free(void* block) { std::free(block); }

 private:
  static void* Got(void* block) {
    if (!block) throw std::bad_alloc();
    return block;
  }
};

using Reader = rapidjson::GenericReader<TextEncoding, TextEncoding, ThrowingAllocator>;

constexpr unsigned kStrict = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag |
                             rapidjson::kParseInsituFlag | rapidjson::kParseNumbersAsStringsFlag;
constexpr unsigned kLenient = rapidjson::kParseCommentsFlag | rapidjson::kParseTrailingCommasFlag;
constexpr unsigned kNonFinite = rapidjson::kParseNanAndInfFlag;

/// Whether a literal out of a double's range is too large; else it is too close to zero.
bool IsLarge(std::string_view number) {
  const std::size_t exponentAt = number.find_first_of("eE");
  long long exponent = 0;
  if (exponentAt != std::string_view::npos) {
    std::string_view digits = number.substr(exponentAt + 1);
    if (digits.front() == '+') digits.remove_prefix(1);
    const bool overflow = std::from_chars(digits.data(), digits.data() + digits.size(), exponent).ec != std::errc();
    if (overflow) return digits.front() != '-';
  }
  const std::string_view mantissa = number.substr(0, exponentAt);
  const long long point = static_cast<long long>(std::min(mantissa.find('.'), mantissa.size()));
  const long long first = static_cast<long long>(mantissa.find_first_of("123456789"));
  return point - first + exponent > 0;
}

/// A number of at most 15 digits and no exponent, which most are. Its digits make a whole number that a double
/// holds exactly, as it does the power of ten, so that their quotient is the double nearest to the literal.
class ShortNumber {
 public:
  explicit ShortNumber(std::string_view number) {
    negative_ = number.front() == '-';
    const std::size_t longest = negative_ ? kDigits + 2 : kDigits + 1;
    if (number.size() > longest) return;
    std::size_t point = number.size();
    for (std::size_t i = negative_ ? 1 : 0; i < number.size(); ++i) {
      const unsigned digit = static_cast<unsigned char>(number[i]) - static_cast<unsigned>('0');
      if (digit <= 9)
        digits_ = digits_ * 10 + digit;
      else if (number[i] == '.')
        point = i;
      else
        return;
    }
    isReal = point != number.size();
    isInteger = !isReal;
    decimals_ = isReal ? number.size() - point - 1 : 0;
  }
  std::int64_t Integer() const { return negative_ ? -digits_ : digits_; }
  double Real() const {
    static constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const double size = static_cast<double>(digits_) / kPowers[decimals_];
    return negative_ ? -size : size;
  }

  bool isInteger = false;
  bool isReal = false;

 private:
  static constexpr std::size_t kDigits = 15;
  bool negative_ = false;
  std::int64_t digits_ = 0;
  std::size_t decimals_ = 0;
};

/// Hands the reader's events on. The reader gives numbers as their text, because its own conversion overflows on
/// exponents such as 1.5e-2147483639 and is not exact in all cases.
class Events {
 public:
  Events(std::string_view text, TextStream& stream, EventHandler& handler, ParseError& error)
      : text_(text), stream_(stream), handler_(handler), error_(error) {}

  bool Null() { return At(0).Null(); }
  bool Bool(bool value) { return At(0).Bool(value); }
  bool String(const char*, rapidjson::SizeType, bool) { return CheckText() && At(0).String(stream_.Text()); }
  bool Key(const char*, rapidjson::SizeType, bool) { return CheckText() && At(0).Key(stream_.Text()); }
  // The reader takes a bracket after its event.
  bool StartObject() { return At(1).StartObject(); }
  bool EndObject(rapidjson::SizeType) { return At(1).EndObject(); }
  bool StartArray() { return At(1).StartArray(); }
  bool EndArray(rapidjson::SizeType) { return At(1).EndArray(); }

  bool RawNumber(const char*, rapidjson::SizeType length, bool) {
    const std::string_view number = stream_.LastBytes(length);
    const ShortNumber shortNumber(number);
    if (shortNumber.isInteger) return At(0).Int(shortNumber.Integer());
    if (shortNumber.isReal) return At(0).Double(shortNumber.Real());
    const char* const end = number.data() + number.size();
    std::int64_t value = 0;
    const std::from_chars_result result = std::from_chars(number.data(), end, value);
    if (result.ptr != end) return Real(number);
    if (result.ec == std::errc()) return At(0).Int(value);
    std::uint64_t large = 0;
    if (number.front() != '-' && std::from_chars(number.data(), end, large).ec == std::errc())
      return At(0).Unsigned(large);
    return Real(number);
  }

  // The reader calls these where it converts numbers itself.
  bool Int(int value) { return At(0).Int(value); }
  bool Uint(unsigned value) { return At(0).Int(value); }
  bool Int64(std::int64_t value) { return At(0).Int(value); }
  bool Uint64(std::uint64_t value) { return At(0).Unsigned(value); }
  bool Double(double value) { return At(0).Double(value); }

 private:
  EventHandler& At(std::size_t ahead) {
    handler_.offset = stream_.Tell() + ahead;
    return handler_;
  }

  bool Real(std::string_view number) {
    double value = 0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
      if (IsLarge(number)) {
        error_ = DescribeFault(text_, rapidjson::kParseErrorNumberTooBig, stream_.Tell() - number.size());
        return false;
      }
      value = number.front() == '-' ? -0.0 : 0.0;
    }
    return At(0).Double(value);
  }

  bool CheckText() {
    if (!stream_.HasLoneSurrogate()) return true;
    error_ = DescribeFault(text_, rapidjson::kParseErrorStringUnicodeSurrogateInvalid, stream_.LoneSurrogate());
    return false;
  }

  std::string_view text_;
  TextStream& stream_;
  EventHandler& handler_;
  ParseError& error_;
};

template <unsigned flags>
bool Parse(std::string_view text, EventHandler& handler, ParseError& error) {
  error = ParseError();
  TextStream stream(text);
  Events events(text, stream, handler, error);
  Reader reader;
  reader.Parse<flags>(stream, events);
  if (!reader.HasParseError()) {
    if (stream.Tell() == text.size()) return true;
    error = DescribeFault(text, rapidjson::kParseErrorDocumentRootNotSingular, stream.Tell());
    return false;
  }
  if (reader.GetParseErrorCode() != rapidjson::kParseErrorTermination) {
    error = DescribeFault(text, reader.GetParseErrorCode(), reader.GetErrorOffset());
  } else if (error.text.empty()) {
    error.offset = handler.offset;
    LocateOffset(text, error.offset, error.line, error.column);
  }
  return false;
}

}  // namespace

bool ParseEvents(std::string_view text, EventHandler& handler, const ParseOptions& options, ParseError& error) {
  // The reader counts the bytes of a token in 32 bits.
  if (text.size() >= std::numeric_limits<rapidjson::SizeType>::max()) {
    error = MakeFault({}, 0, "a text of " + std::to_string(text.size()) + " bytes", "less than 4 GB");
    return false;
  }
  if (options.commentsAndTrailingCommas)
    return options.nonFiniteNumbers ? Parse<kStrict | kLenient | kNonFinite>(text, handler, error)
                                    : Parse<kStrict | kLenient>(text, handler, error);
  return options.nonFiniteNumbers ? Parse<kStrict | kNonFinite>(text, handler, error)
                                  : Parse<kStrict>(text, handler, error);
}

}  // namespace korven::jsonlib
