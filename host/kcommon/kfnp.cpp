#include "kcommon/kfnp.h"

#include "kcommon/kerr.h"
#include "kcommon/kstr.h"
#include "utf8.h"

namespace {

// Lone low surrogates, which no valid text holds: U+DC80 stands for the byte 0x80, U+DCFF for 0xFF.
constexpr wchar_t kFirstByteMark = 0xDC80;
constexpr wchar_t kLastByteMark = 0xDCFF;

std::wstring CheckedName(const std::wstring& name, KerrException& error) {
  if (name.find(L'\0') != std::wstring::npos) error.Log(__LINE__, L"A file name holds a null character.");
  return name;
}

bool IsByteMark(wchar_t c) { return c >= kFirstByteMark && c <= kLastByteMark; }

}  // namespace

std::wstring kfnp_FileNameEvaluateEnv(const std::wstring& name, KerrException& error) {
  std::wstring result = kstr_PathExpand(name);
  if (name.empty()) {
    error.Log(__LINE__, L"The file name is empty.");
  } else if (result.empty()) {
    error.Log(__LINE__, L"The file name \"" + name + L"\" is empty once its variables are expanded.");
  }
  return result;
}

std::wstring kfnp_FileNameExternalToInternal(const std::wstring& name, KerrException& error) {
  return CheckedName(name, error);
}

std::wstring kfnp_FileNameInternalToExternal(const std::wstring& name, KerrException& error) {
  return CheckedName(name, error);
}

std::wstring kfnp_FileNameGetPathPart(const std::wstring& name) {
  const std::size_t slash = name.rfind(L'/');
  return slash == std::wstring::npos ? std::wstring() : name.substr(0, slash + 1);
}

std::wstring kfnp_FileNameGetBasePart(const std::wstring& name) {
  const std::wstring file = kfnp_FileNameGetNamePart(name);
  const std::size_t stop = file.rfind(L'.');
  return stop == std::wstring::npos || stop == 0 ? file : file.substr(0, stop);
}

std::wstring kfnp_FileNameGetExtPart(const std::wstring& name) {
  return kfnp_FileNameGetNamePart(name).substr(kfnp_FileNameGetBasePart(name).size());
}

std::wstring kfnp_FileNameGetNamePart(const std::wstring& name) {
  return name.substr(kfnp_FileNameGetPathPart(name).size());
}

std::string kfnp_ToNative(const std::wstring& name) {
  std::string bytes;
  for (std::size_t i = 0; i < name.size();) {
    if (IsByteMark(name[i])) {
      bytes += static_cast<char>(name[i] - kFirstByteMark + 0x80);
      ++i;
      continue;
    }
    std::size_t end = i;
    while (end < name.size() && !IsByteMark(name[end])) ++end;
    bytes += kstr_ToUtf8(std::wstring_view(name).substr(i, end - i));
    i = end;
  }
  return bytes;
}

std::wstring kfnp_FromNative(const std::string& name) {
  std::wstring text;
  text.reserve(name.size());
  const char* const end = name.data() + name.size();
  for (const char* place = name.data(); place != end;) {
    const Utf8Step step = DecodeUtf8(place, end);
    if (step.kind == Utf8Step::Kind::Character) {
      text += static_cast<wchar_t>(step.code);
      place += step.length;
    } else {
      text += static_cast<wchar_t>(kFirstByteMark + static_cast<unsigned char>(*place) - 0x80);
      ++place;
    }
  }
  return text;
}

std::wstring kfnp_FileNameGetExtensionStringPart(const std::wstring& name) {
  const std::wstring extension = kfnp_FileNameGetExtPart(name);
  return extension.empty() ? extension : extension.substr(1);
}
