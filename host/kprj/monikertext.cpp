#include "monikertext.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <string_view>

#include "kcommon/kstr.h"

namespace kprj {

namespace {

enum class Type { Int, Number, Text, None };

Type TypeOf(int key) {
  switch (key) {
    case KeyModel:
    case KeyGeographic:
    case KeyProjected:
    case KeyProjection:
    case KeyMethod:
    case KeyLinearUnit:
    case KeyVertical:
    case KeyVerticalDatum:
    case KeyVerticalUnit:
    case KeyElevationType:
      return Type::Int;
    case KeyName:
      return Type::Text;
    default:
      return key >= 3078 && key <= 3096 ? Type::Number : Type::None;
  }
}

bool ReadInt(const std::wstring& text, int& value) {
  const std::string plain = kstr_ToUtf8(text);
  const auto result = std::from_chars(plain.data(), plain.data() + plain.size(), value);
  // One way to write a number: what is read is what would be written.
  return result.ec == std::errc() && result.ptr == plain.data() + plain.size() && std::to_wstring(value) == text;
}

bool ReadNumber(const std::wstring& text, double& value) {
  const std::string plain = kstr_ToUtf8(text);
  const auto result = std::from_chars(plain.data(), plain.data() + plain.size(), value, std::chars_format::fixed);
  return result.ec == std::errc() && result.ptr == plain.data() + plain.size() && std::isfinite(value);
}

std::wstring Escaped(const std::wstring& text) {
  std::wstring out;
  for (const wchar_t c : text) {
    if (c == L';')
      out += L"%3B";
    else if (c == L'=')
      out += L"%3D";
    else if (c == L'%')
      out += L"%25";
    else
      out += c;
  }
  return out;
}

bool Unescape(std::wstring_view text, std::wstring& out) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != L'%') {
      out += text[i];
      continue;
    }
    const std::wstring_view code = text.substr(i + 1, 2);
    if (code == L"3B")
      out += L';';
    else if (code == L"3D")
      out += L'=';
    else if (code == L"25")
      out += L'%';
    else
      return false;
    i += 2;
  }
  return true;
}

constexpr MonikerParameter kNatural[] = {
    {"8801", 3081}, {"8802", 3080}, {"8805", 3092}, {"8806", 3082}, {"8807", 3083}};
constexpr MonikerParameter kNoScale[] = {{"8801", 3081}, {"8802", 3080}, {"8806", 3082}, {"8807", 3083}};
constexpr MonikerParameter kOneParallel[] = {{"8823", 3078}, {"8802", 3080}, {"8806", 3082}, {"8807", 3083}};
constexpr MonikerParameter kConic[] = {{"8821", 3085}, {"8822", 3084}, {"8823", 3078},
                                       {"8824", 3079}, {"8826", 3086}, {"8827", 3087}};
constexpr MonikerParameter kAlbers[] = {{"8821", 3081}, {"8822", 3080}, {"8823", 3078},
                                        {"8824", 3079}, {"8826", 3082}, {"8827", 3083}};
constexpr MonikerParameter kAzimuthal[] = {{"8801", 3089}, {"8802", 3088}, {"8806", 3082}, {"8807", 3083}};
constexpr MonikerParameter kPolarA[] = {{"8801", 3081}, {"8802", 3095}, {"8805", 3092}, {"8806", 3082}, {"8807", 3083}};
constexpr MonikerParameter kPolarB[] = {{"8832", 3078}, {"8833", 3095}, {"8806", 3082}, {"8807", 3083}};
constexpr MonikerParameter kOblique[] = {{"8811", 3089}, {"8812", 3088}, {"8813", 3094}, {"8814", 3096},
                                         {"8815", 3093}, {"8816", 3090}, {"8817", 3091}};

#define METHOD(number, code, parameters) \
  { number, code, parameters, std::size(parameters) }
constexpr MonikerMethod kMethods[] = {
    METHOD(1, "9807", kNatural),     METHOD(27, "9808", kNatural),     METHOD(7, "9804", kNatural),
    METHOD(7, "9805", kOneParallel), METHOD(9, "9801", kNatural),      METHOD(8, "9802", kConic),
    METHOD(11, "9822", kAlbers),     METHOD(10, "9820", kAzimuthal),   METHOD(18, "9806", kNoScale),
    METHOD(16, "9809", kNatural),    METHOD(15, "9810", kPolarA),      METHOD(15, "9829", kPolarB),
    METHOD(22, "9818", kNoScale),    METHOD(17, "1028", kOneParallel), METHOD(3, "9815", kOblique),
    METHOD(26, "9811", kNoScale),
};
#undef METHOD

bool HasAllParameters(const Moniker& moniker, const MonikerMethod& method) {
  return std::all_of(method.parameters, method.parameters + method.count,
                     [&](const MonikerParameter& parameter) { return moniker.Has(parameter.key); });
}

}  // namespace

const MonikerMethod* FindMonikerMethod(const std::string& methodCode) {
  const auto* found = std::find_if(std::begin(kMethods), std::end(kMethods),
                                   [&](const MonikerMethod& method) { return methodCode == method.code; });
  return found == std::end(kMethods) ? nullptr : found;
}

const MonikerMethod* FindMonikerMethod(const Moniker& moniker) {
  const int number = moniker.GetInt(KeyMethod);
  const auto* found = std::find_if(std::begin(kMethods), std::end(kMethods), [&](const MonikerMethod& method) {
    return method.number == number && HasAllParameters(moniker, method);
  });
  return found == std::end(kMethods) ? nullptr : found;
}

int KeyCode(const std::string& code) {
  int value = 0;
  return ReadInt(kstr_FromUtf8Lossy(code), value) && value >= kSmallestCode && value < kUserDefined ? value : 0;
}

int Moniker::GetInt(int key) const {
  int value = 0;
  const auto found = values_.find(key);
  return found != values_.end() && ReadInt(found->second, value) ? value : -1;
}

double Moniker::GetNumber(int key) const {
  double value = 0;
  const auto found = values_.find(key);
  if (found != values_.end()) ReadNumber(found->second, value);
  return value;
}

std::wstring Moniker::GetText(int key) const {
  const auto found = values_.find(key);
  return found == values_.end() ? std::wstring() : found->second;
}

void Moniker::SetNumber(int key, double value) {
  char text[400];
  const auto result = std::to_chars(text, text + sizeof text, value == 0 ? 0.0 : value, std::chars_format::fixed);
  values_[key] = kstr_Widen({text, static_cast<std::size_t>(result.ptr - text)});
}

std::wstring Moniker::ToText() const {
  std::wstring text;
  for (const auto& [key, value] : values_)
    text += (text.empty() ? L"" : L";") + std::to_wstring(key) + L"=" + Escaped(value);
  return text;
}

std::optional<Moniker> Moniker::Parse(const std::wstring& text, std::wstring& reason) {
  Moniker moniker;
  int last = -1;
  for (std::size_t from = 0; from <= text.size();) {
    const std::size_t end = std::min(text.find(L';', from), text.size());
    const std::wstring item = text.substr(from, end - from);
    from = end + 1;
    const std::size_t equals = item.find(L'=');
    int key = 0;
    if (equals == std::wstring::npos || !ReadInt(item.substr(0, equals), key)) {
      reason = L"found \"" + item + L"\", expected KEY=VALUE";
      return std::nullopt;
    }
    const Type type = TypeOf(key);
    std::wstring value;
    int whole = 0;
    double number = 0;
    const bool good = Unescape(std::wstring_view(item).substr(equals + 1), value) &&
                      (type != Type::Int || (ReadInt(value, whole) && whole >= 0 && whole <= 65535)) &&
                      (type != Type::Number || ReadNumber(value, number));
    if (type == Type::None) {
      reason = L"the key " + std::to_wstring(key) + L" is not known";
    } else if (key <= last) {
      reason = L"the key " + std::to_wstring(key) + L" stands behind " + std::to_wstring(last) + L"; keys rise";
    } else if (!good) {
      reason = L"the value of the key " + std::to_wstring(key) + L" is \"" + item.substr(equals + 1) +
               L"\", expected " +
               (type == Type::Int      ? L"a number from 0 to 65535"
                : type == Type::Number ? L"a number"
                                       : L"text with %3B, %3D and %25 for ; = and %");
    }
    if (!reason.empty()) return std::nullopt;
    last = key;
    moniker.values_[key] = std::move(value);
  }
  return moniker;
}

}  // namespace kprj
