#include <cmath>
#include <limits>

#include "datatext.h"
#include "kcommon/kerr.h"
#include "kcommon/kstr.h"
#include "numbertext.h"
#include "txlib/basicdata.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::Tessera {
namespace {

template <typename T>
constexpr const wchar_t* kTypeWord = nullptr;
template <>
constexpr const wchar_t* kTypeWord<int> = L"int";
template <>
constexpr const wchar_t* kTypeWord<unsigned int> = L"unsigned int";
template <>
constexpr const wchar_t* kTypeWord<double> = L"double";

std::wstring NumberText(double value) { return DoubleText(value, 17); }
std::wstring NumberText(int value) { return std::to_wstring(value); }
std::wstring NumberText(unsigned int value) { return std::to_wstring(value); }

bool IsWord(const std::wstring& text, const wchar_t* word) {
  std::size_t at = 0;
  for (; at < text.size() && word[at]; ++at) {
    // ASCII letters only: the words have no others.
    const wchar_t c = text[at] >= L'A' && text[at] <= L'Z' ? text[at] + (L'a' - L'A') : text[at];
    if (c != word[at]) return false;
  }
  return at == text.size() && !word[at];
}

template <typename W>
boost::shared_ptr<Data> Copy(const W& data) {
  return MakeData<W>(data.GetDataValue());
}

template <typename W>
void Set(W& data, typename W::ValueType value) {
  data.SetDataPointer(boost::make_shared<typename W::ValueType>(value));
}

template <typename W>
constexpr std::uint64_t kSize = sizeof(W) + sizeof(typename W::ValueType);

bool After(const Data& data, const boost::shared_ptr<Data>& other) { return !other || CompareData(data, *other) > 0; }

bool Before(const Data& data, const boost::shared_ptr<Data>& other) { return other && CompareData(data, *other) < 0; }

}  // namespace

template <typename T>
std::wstring NumberData<T>::ToString() const {
  return NumberText(this->GetDataValue());
}

template <typename T>
bool NumberData<T>::FromString(const std::wstring& text) {
  T value{};
  if (ReadNumber(text, value)) {
    this->SetDataPointer(boost::make_shared<T>(value));
    return true;
  }
  KerrException error(L"txlib\\numberdata",
                      L"Tamrin::Tessera::NumberData<" + std::wstring(kTypeWord<T>) + L">::FromString");
  error.Log(__LINE__, L"\"" + text + L"\" can't be read as " + this->GetTypeName());
  return false;
}

template class NumberData<int>;
template class NumberData<unsigned int>;
template class NumberData<double>;

std::wstring BoolData::ToString() const { return GetDataValue() ? L"true" : L"false"; }

bool BoolData::FromString(const std::wstring& text) {
  const bool isTrue = text == L"1" || IsWord(text, L"true");
  if (isTrue || text == L"0" || IsWord(text, L"false")) {
    Set(*this, isTrue);
    return true;
  }
  KerrException error(L"txlib\\numberdata", L"Tamrin::Tessera::BoolData::FromString");
  error.Log(__LINE__, L"\"" + text + L"\" can't be read as Bool");
  return false;
}

bool BoolData::ToJSON(JsonValue& json) const {
  json = JsonValue(GetDataValue());
  return true;
}

bool BoolData::FromJSON(const JsonValue& json) {
  if (!json.IsBool()) return false;
  Set(*this, json.AsBool());
  return true;
}

bool IntData::ToJSON(JsonValue& json) const {
  json = JsonValue(GetDataValue());
  return true;
}

bool IntData::FromJSON(const JsonValue& json) {
  // Above the bounds of a signed 64-bit number the value would be clamped, which is out of range here anyhow.
  const std::int64_t value = json.AsInt64();
  if (!json.IsInteger() || value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max())
    return false;
  Set(*this, static_cast<int>(value));
  return true;
}

bool UnsignedData::ToJSON(JsonValue& json) const {
  json = JsonValue::FromInt64(GetDataValue());
  return true;
}

bool UnsignedData::FromJSON(const JsonValue& json) {
  const std::int64_t value = json.AsInt64();
  if (!json.IsInteger() || value < 0 || value > std::numeric_limits<unsigned int>::max()) return false;
  Set(*this, static_cast<unsigned int>(value));
  return true;
}

std::wstring DoubleData::ToShortString() const { return DoubleText(GetDataValue(), 6); }

std::wstring DoubleData::ToReportString() const {
  const double value = GetDataValue();
  return std::isfinite(value) ? kstr_ShortestDouble(value) : ToString();
}

bool DoubleData::ToJSON(JsonValue& json) const {
  const double value = GetDataValue();
  if (std::isnan(value))
    json = JsonValue::FromUtf8("NaN");
  else if (std::isinf(value))
    json = JsonValue::FromUtf8(value < 0 ? "-Infinity" : "Infinity");
  else
    json = JsonValue(value);
  return true;
}

bool DoubleData::FromJSON(const JsonValue& json) {
  if (json.IsNumber()) {
    Set(*this, json.AsDouble());
    return true;
  }
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const std::string_view word = json.IsString() ? json.AsUtf8() : std::string_view();
  if (word == "NaN")
    Set(*this, std::numeric_limits<double>::quiet_NaN());
  else if (word == "Infinity")
    Set(*this, kInfinity);
  else if (word == "-Infinity")
    Set(*this, -kInfinity);
  else
    return false;
  return true;
}

boost::shared_ptr<Data> BoolData::Clone() const { return Copy(*this); }
boost::shared_ptr<Data> IntData::Clone() const { return Copy(*this); }
boost::shared_ptr<Data> UnsignedData::Clone() const { return Copy(*this); }
boost::shared_ptr<Data> DoubleData::Clone() const { return Copy(*this); }

bool BoolData::operator>(const boost::shared_ptr<Data>& other) const { return After(*this, other); }
bool IntData::operator>(const boost::shared_ptr<Data>& other) const { return After(*this, other); }
bool UnsignedData::operator>(const boost::shared_ptr<Data>& other) const { return After(*this, other); }
bool DoubleData::operator>(const boost::shared_ptr<Data>& other) const { return After(*this, other); }

bool BoolData::operator<(const boost::shared_ptr<Data>& other) const { return Before(*this, other); }
bool IntData::operator<(const boost::shared_ptr<Data>& other) const { return Before(*this, other); }
bool UnsignedData::operator<(const boost::shared_ptr<Data>& other) const { return Before(*this, other); }
bool DoubleData::operator<(const boost::shared_ptr<Data>& other) const { return Before(*this, other); }

std::uint64_t BoolData::SizeInBytes() const { return kSize<BoolData>; }
std::uint64_t IntData::SizeInBytes() const { return kSize<IntData>; }
std::uint64_t UnsignedData::SizeInBytes() const { return kSize<UnsignedData>; }
std::uint64_t DoubleData::SizeInBytes() const { return kSize<DoubleData>; }

}  // namespace Tamrin::Tessera
