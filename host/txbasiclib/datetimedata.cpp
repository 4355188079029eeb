#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdio>

#include "kcommon/kstr.h"
#include "txlib/jsonfault.h"
#include "wrapperparts.h"

namespace Tamrin::TesseraBasic {
namespace {

using boost::posix_time::ptime;
using tessera::Data;
using tessera::JsonValue;

/// Takes digits and signs off the front of a text.
class Scanner {
 public:
  explicit Scanner(std::wstring_view rest) : rest_(rest) {}
  bool IsAtEnd() const { return rest_.empty(); }
  bool Take(wchar_t sign) {
    if (rest_.empty() || rest_.front() != sign) return false;
    rest_.remove_prefix(1);
    return true;
  }
  bool Number(int digits, int& value) {
    value = 0;
    for (int i = 0; i < digits; ++i, rest_.remove_prefix(1)) {
      if (rest_.empty() || rest_.front() < L'0' || rest_.front() > L'9') return false;
      value = value * 10 + static_cast<int>(rest_.front() - L'0');
    }
    return true;
  }
  /// 1 to 9 digits after the point; what is below a microsecond is cut off.
  bool Fraction(int& microseconds) {
    microseconds = 0;
    int count = 0;
    for (; !rest_.empty() && rest_.front() >= L'0' && rest_.front() <= L'9'; ++count, rest_.remove_prefix(1))
      if (count < 6) microseconds = microseconds * 10 + static_cast<int>(rest_.front() - L'0');
    for (int i = count; i < 6; ++i) microseconds *= 10;
    return count >= 1 && count <= 9;
  }

 private:
  std::wstring_view rest_;
};

/// "2024-05-17", or with a time behind "T" or a blank: "08:30", "08:30:00", "08:30:00.25".
bool FromText(std::wstring_view text, ptime& value) {
  Scanner scan(TrimBlanks(text));
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, fraction = 0;
  if (!scan.Number(4, year) || !scan.Take(L'-') || !scan.Number(2, month) || !scan.Take(L'-')) return false;
  if (!scan.Number(2, day)) return false;
  if (!scan.IsAtEnd()) {
    if (!scan.Take(L'T') && !scan.Take(L' ')) return false;
    if (!scan.Number(2, hour) || !scan.Take(L':') || !scan.Number(2, minute)) return false;
    if (scan.Take(L':')) {
      if (!scan.Number(2, second)) return false;
      if ((scan.Take(L'.') || scan.Take(L',')) && !scan.Fraction(fraction)) return false;
    }
  }
  if (!scan.IsAtEnd() || year < 1400 || month < 1 || month > 12 || day < 1) return false;
  if (day > boost::gregorian::gregorian_calendar::end_of_month_day(static_cast<unsigned short>(year),
                                                                   static_cast<unsigned short>(month)))
    return false;
  if (hour > 23 || minute > 59 || second > 59) return false;
  const boost::gregorian::date date(static_cast<unsigned short>(year), static_cast<unsigned short>(month),
                                    static_cast<unsigned short>(day));
  value =
      ptime(date, boost::posix_time::time_duration(hour, minute, second) + boost::posix_time::microseconds(fraction));
  return true;
}

/// Empty for what is no moment. No stream: those follow the locale.
std::wstring TextOf(const ptime& value) {
  if (value.is_special()) return {};
  const auto date = value.date().year_month_day();
  const auto time = value.time_of_day();
  char buffer[48];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02d", static_cast<int>(date.year),
                static_cast<int>(date.month), static_cast<int>(date.day), static_cast<int>(time.hours()),
                static_cast<int>(time.minutes()), static_cast<int>(time.seconds()));
  std::string text = buffer;
  const auto microseconds = static_cast<int>(time.total_microseconds() % 1000000);
  if (microseconds) {
    std::snprintf(buffer, sizeof buffer, ".%06d", microseconds);
    text += buffer;
    text.erase(text.find_last_not_of('0') + 1);
  }
  return kstr_Widen(text);
}

// A moment that is none comes first; as text the others stand in their order.
int OrderOfMoments(const ptime& a, const ptime& b) {
  if (a.is_special() || b.is_special()) return OrderOf(!a.is_special(), !b.is_special());
  return OrderOf(a, b);
}

}  // namespace

std::wstring DateTimeData::ToString() const { return HasNoValue() ? std::wstring() : TextOf(GetDataValue()); }

boost::shared_ptr<Data> DateTimeData::Clone() const { return CopyOf(*this); }

bool DateTimeData::FromString(const std::wstring& text) {
  ptime value;
  if (!FromText(text, value)) return false;
  SetDataPointer(boost::make_shared<ptime>(value));
  return true;
}

bool DateTimeData::ToJSON(JsonValue& json) const {
  const std::wstring text = ToString();
  json = text.empty() ? JsonValue() : JsonValue(text);
  return true;
}

bool DateTimeData::FromJSON(const JsonValue& json) {
  return ReadJson(*this, json, [](const JsonValue& value, ptime& moment) {
    return (value.IsString() && FromText(value.AsString(), moment)) ||
           tessera::RefuseJson(value, L"a time in ISO 8601 such as \"2026-03-01T12:30:00\"");
  });
}

std::uint64_t DateTimeData::SizeInBytes() const { return sizeof(DateTimeData) + (HasNoValue() ? 0 : sizeof(ptime)); }

TESSERA_ORDER(DateTimeData, &OrderOfMoments)

}  // namespace Tamrin::TesseraBasic
