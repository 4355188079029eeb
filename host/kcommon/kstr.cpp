#include "kcommon/kstr.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>

#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "kcommon/ktxt.h"
#include "korvenlog/exception.h"
#include "utf8.h"

namespace {

bool IsNameStart(wchar_t c) { return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || c == L'_'; }

bool IsNamePart(wchar_t c) { return IsNameStart(c) || (c >= L'0' && c <= L'9'); }

std::optional<std::wstring> EnvironmentValue(const std::wstring& name) {
  if (name.empty() || name.find(L'\0') != std::wstring::npos) return std::nullopt;
  const char* value = std::getenv(kfnp_ToNative(name).c_str());
  if (!value) return std::nullopt;
  return kfnp_FromNative(value);
}

struct Reference {
  std::wstring name;  ///< empty where the dollar sign starts no reference
  std::size_t length = 1;
};

Reference ReferenceAt(const std::wstring& text, std::size_t dollar) {
  const std::size_t start = dollar + 1;
  if (start < text.size() && text[start] == L'{') {
    const std::size_t close = text.find(L'}', start);
    if (close == std::wstring::npos) return {};
    return {text.substr(start + 1, close - start - 1), close + 1 - dollar};
  }
  std::size_t end = start;
  if (end < text.size() && IsNameStart(text[end])) {
    while (end < text.size() && IsNamePart(text[end])) ++end;
  }
  return {text.substr(start, end - start), end - dollar};
}

/// Appends the text. Calls bad(offset) for every byte that fits no character: it gives what to write in its place, or
/// nothing to stop.
template <typename OnBad>
void DecodeAll(std::string_view bytes, std::wstring& text, OnBad bad) {
  const char* const begin = bytes.data();
  const char* const end = begin + bytes.size();
  if (text.capacity() - text.size() < bytes.size()) text.reserve(text.size() + bytes.size());
  WideWriter writer(text);
  for (const char* place = begin; place != end;) {
    if (static_cast<unsigned char>(*place) < 0x80) {
      const std::size_t run = AsciiRun(place, end);
      writer.PutAscii(place, run);
      place += run;
      continue;
    }
    const Utf8Step step = DecodeUtf8(place, end);
    if (step.kind == Utf8Step::Kind::Character) {
      writer.Put(step.code);
      place += step.length;
    } else {
      const std::optional<wchar_t> instead = bad(static_cast<std::size_t>(place - begin));
      if (!instead) return;
      writer.Put(static_cast<char32_t>(*instead));
      ++place;
    }
  }
}

/// Edits between two texts where swapping two neighbours counts as one (optimal string alignment).
std::size_t EditDistance(const std::wstring& a, const std::wstring& b) {
  std::vector<std::size_t> before(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) row[j] = std::min(row[j], before[j - 2] + 1);
    }
    before.swap(last);
    last.swap(row);
  }
  return last[b.size()];
}

}  // namespace

std::wstring kstr_PathExpand(const std::wstring& text) {
  std::wstring result;
  for (std::size_t i = 0; i < text.size();) {
    if (text[i] != L'$') {
      result += text[i++];
      continue;
    }
    const Reference reference = ReferenceAt(text, i);
    if (const auto value = EnvironmentValue(reference.name)) {
      result += *value;
    } else {
      result.append(text, i, reference.length);
    }
    i += reference.length;
  }
  return result;
}

void kstr_ConvertPathNT(std::wstring& /*path*/) {}

std::wstring kstr_Sprintf(std::wstring_view format, const std::vector<std::wstring>& texts) {
  std::wstring result;
  std::size_t next = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    const wchar_t kind = format[i] == L'%' && i + 1 < format.size() ? format[i + 1] : L'\0';
    const bool isText = kind == L's' && next < texts.size();
    if (isText || kind == L'%') ++i;
    if (isText)
      result += texts[next++];
    else
      result += kind == L'%' ? kind : format[i];
  }
  return result;
}

char* kstr_Duplicate(const char* text) {
  if (!text) return nullptr;
  const std::size_t size = std::strlen(text) + 1;
  auto* copy = static_cast<char*>(std::malloc(size));
  if (!copy) throw std::bad_alloc();
  std::memcpy(copy, text, size);
  return copy;
}

void kstr_Delete(char* text) { std::free(text); }

std::wstring kstr_StringExpand(const std::wstring& text, KerrException& error) {
  if (text.find(L'\0') != std::wstring::npos) error.Log(__LINE__, L"A text to be expanded holds a null character.");
  return kstr_PathExpand(text);
}

std::wstring kstr_GetEnv(const std::wstring& name) { return EnvironmentValue(name).value_or(std::wstring()); }

std::wstring kstr_StringListToDelimString(const Kstr_StringList& list, const std::wstring& delimiter) {
  std::wstring text;
  for (std::size_t i = 0; i < list.strings.size(); ++i) text += (i == 0 ? L"" : delimiter) + list.strings[i];
  return text;
}

void kstr_StringListDelete(Kstr_StringList* list) { delete list; }

std::string kstr_ToUtf8(std::wstring_view text) { return KorvenLog::Narrow(text); }

bool kstr_FromUtf8(std::string_view bytes, std::wstring& text, std::size_t* badOffset) {
  bool good = true;
  text.clear();
  DecodeAll(bytes, text, [&](std::size_t offset) -> std::optional<wchar_t> {
    good = false;
    if (badOffset) *badOffset = offset;
    return std::nullopt;
  });
  return good;
}

void kstr_AppendUtf8Lossy(std::wstring& text, std::string_view bytes) {
  DecodeAll(bytes, text, [](std::size_t) { return std::optional<wchar_t>(L'\uFFFD'); });
}

std::wstring kstr_FromUtf8Lossy(std::string_view bytes) {
  std::wstring text;
  kstr_AppendUtf8Lossy(text, bytes);
  return text;
}

std::wstring kstr_Widen(std::string_view ascii) {
  std::wstring text;
  text.reserve(ascii.size());
  for (const char c : ascii) text += static_cast<wchar_t>(static_cast<unsigned char>(c));
  return text;
}

std::wstring kstr_ShortestDouble(double value) {
  if (std::isnan(value)) return L"NaN";
  if (std::isinf(value)) return value < 0 ? L"-Infinity" : L"Infinity";
  char buffer[32];
  const auto written = std::to_chars(buffer, buffer + sizeof buffer, std::abs(value), std::chars_format::scientific);
  const std::string_view scientific(buffer, static_cast<std::size_t>(written.ptr - buffer));
  const std::size_t mark = scientific.find('e');
  std::string digits(1, scientific[0]);
  if (mark > 1) digits += scientific.substr(2, mark - 2);
  const char* const power = buffer + mark + (scientific[mark + 1] == '+' ? 2 : 1);  // from_chars takes no plus
  int exponent = 0;
  std::from_chars(power, written.ptr, exponent);
  const int count = static_cast<int>(digits.size());

  // Plain digits as long as a reader takes them in at a glance: the bounds are those of ECMAScript.
  std::string text = std::signbit(value) ? "-" : "";
  if (exponent < -7 || exponent > 20) {
    text += scientific;
  } else if (exponent < 0) {
    text += "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
  } else if (count <= exponent + 1) {
    text += digits + std::string(static_cast<std::size_t>(exponent + 1 - count), '0');
  } else {
    text += digits.insert(static_cast<std::size_t>(exponent) + 1, ".");
  }
  return kstr_Widen(text);
}

std::wstring kstr_NearestName(const std::wstring& name, const std::vector<std::wstring>& names) {
  const std::wstring wanted = ktxt_tolower(name);
  // A third of the letters may differ, three at most; nothing is near a text that shares no letter with it. A
  // namespace, which is mostly the right one, makes no other name nearer.
  const std::size_t letters = wanted.size() - (wanted.rfind(L'.') + 1);
  std::size_t limit = std::min<std::size_t>(3, (letters + 2) / 3);
  if (limit >= letters) limit = 0;
  std::wstring nearest;
  bool found = false;
  for (const std::wstring& candidate : names) {
    if (candidate.empty() || candidate.size() > wanted.size() + limit || candidate.size() + limit < wanted.size())
      continue;
    const std::size_t distance = EditDistance(wanted, ktxt_tolower(candidate));
    if (distance > limit || (found && distance == limit)) continue;
    limit = distance;
    nearest = candidate;
    found = true;
    if (candidate == name) break;
  }
  return nearest;
}
