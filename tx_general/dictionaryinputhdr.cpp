#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <string>

#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "support.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kDictionaryInputHDR{
    .name = L"DictionaryInputHDR",
    .displayName = L"Dictionary Input HDR",
    .category = L"",
    .description = L"Reads a hdr file into a Dictionary.",
    .registeredName = L"VANTIX.DictionaryInputHDR",
};

namespace {

constexpr std::wstring_view kHeaderBlanks = L" \t\n\v\f\r";

std::wstring TrimmedText(const std::wstring& text) {
  const auto first = text.find_first_not_of(kHeaderBlanks);
  if (first == std::wstring::npos) return {};
  return text.substr(first, text.find_last_not_of(kHeaderBlanks) - first + 1);
}

/// The number at the start of the text; what follows it is left alone, which is wanted.
template <typename T>
T NumberAtStart(const std::wstring& text, const wchar_t* name, KerrException& error, int line) {
  const std::string ascii = kstr_ToUtf8(text);
  T value{};
  const auto result = std::from_chars(ascii.data(), ascii.data() + ascii.size(), value);
  if (result.ec == std::errc::invalid_argument) error.Log(line, std::wstring(L"invalid ") + name + L" argument");
  if (result.ec == std::errc::result_out_of_range) error.Log(line, std::wstring(name) + L" argument out of range");
  return value;
}

/// The type of a value goes by its characters alone.
DataPtr TurnIntoData(const std::wstring& text) {
  KerrException error(L"tx_general\\dictionaryinputhdr", L"TurnIntoData");
  DataPtr data;
  if (text.find_first_not_of(L"-0123456789") == std::wstring::npos) {
    data = MakeData<IntData>(NumberAtStart<std::int32_t>(text, L"stoi", error, 23));
  } else if (text.find_first_not_of(L"-0123456789.,eE") == std::wstring::npos) {
    data = MakeData<DoubleData>(NumberAtStart<double>(text, L"stod", error, 32));
  }
  if (!data || error.IsPending()) data = MakeData<StringData>(text);
  error.Clear();
  return data;
}

/// The lines of a text file, without their ends and without a byte order mark. Bytes that are no UTF-8 are read as
/// Latin-1, in which older headers are written.
class HeaderLines {
 public:
  explicit HeaderLines(const std::wstring& file) : stream_(kfnp_ToNative(file), std::ios::binary) {}

  bool Next(std::wstring& line) {
    std::string bytes;
    if (!std::getline(stream_, bytes)) return false;
    if (isFirst_ && bytes.starts_with("\xEF\xBB\xBF")) bytes.erase(0, 3);
    isFirst_ = false;
    if (!bytes.empty() && bytes.back() == '\r') bytes.pop_back();
    if (!kstr_FromUtf8(bytes, line)) {
      line.resize(bytes.size());
      std::transform(bytes.begin(), bytes.end(), line.begin(),
                     [](char byte) { return static_cast<wchar_t>(static_cast<unsigned char>(byte)); });
    }
    return true;
  }

 private:
  std::ifstream stream_;
  bool isFirst_ = true;
};

/// Key and value of a line; false where it has no delimiter, or one side is empty.
bool SplitHeaderLine(const std::wstring& line, wchar_t delimiter, std::wstring& key, std::wstring& value) {
  const auto at = line.find(delimiter);
  if (at == std::wstring::npos) return false;
  key = TrimmedText(line.substr(0, at));
  value = TrimmedText(line.substr(at + 1));
  return !key.empty() && !value.empty();
}

DataPtr ListFromHeader(const std::wstring& text) {
  DataList items;
  for (std::size_t start = 0; start <= text.size();) {
    const auto end = std::min(text.find(L',', start), text.size());
    const auto piece = TrimmedText(text.substr(start, end - start));
    if (!piece.empty()) items.push_back(TurnIntoData(piece));
    start = end + 1;
  }
  return MakeData<DataListData>(std::move(items));
}

Dictionary ParseEnvi(HeaderLines& lines) {
  Dictionary dictionary;
  std::wstring line, key, value, listKey, listText;
  bool inList = false;
  while (lines.Next(line)) {
    line = TrimmedText(line);
    if (inList) {
      listText += line;
      if (!line.ends_with(L'}')) continue;
      listText.pop_back();
      inList = false;
    } else {
      if (!SplitHeaderLine(line, L'=', key, value)) continue;
      if (!value.starts_with(L'{')) {
        dictionary.SetItem(key, TurnIntoData(value));
        continue;
      }
      listKey = key;
      // What follows the brace on the first line of a list of several counts for nothing, which is wanted.
      inList = !value.ends_with(L'}');
      listText = inList ? std::wstring() : value.substr(1, value.size() - 2);
      if (inList) continue;
    }
    dictionary.SetItem(listKey, ListFromHeader(listText));
  }
  return dictionary;
}

Dictionary ParseDelimited(HeaderLines& lines, wchar_t delimiter) {
  Dictionary dictionary;
  std::wstring line, key, value;
  while (lines.Next(line)) {
    if (SplitHeaderLine(TrimmedText(line), delimiter, key, value)) dictionary.SetItem(key, TurnIntoData(value));
  }
  return dictionary;
}

/// What parts key and value, by the first line; 0 where the file is of no known form.
wchar_t DelimiterOf(const std::wstring& line) {
  const wchar_t first = line.empty() ? L'\0' : line.front();
  const bool isPlain =
      (first >= L'0' && first <= L'9') || (first >= L'a' && first <= L'z') || (first >= L'A' && first <= L'Z');
  if (!isPlain) return L'\0';
  if (line.find(L':') != std::wstring::npos) return L':';
  return line.find(L' ') != std::wstring::npos ? L' ' : L'\0';
}

}  // namespace
}  // namespace korven::tx_general

class DictionaryInputHDR : public korven::tx_general::Described<korven::tx_general::kDictionaryInputHDR> {
 public:
  DictionaryInputHDR() { SetPrototype(L"tessera.plugins.raster.DictionaryInput"); }

  void DeclarePorts() override {
    using namespace korven::tx_general;  // NOLINT: this class stands in the global namespace
    CreateFileInput(*this, L"Filename", {L"HDR (*.hdr)", L"*.hdr", L"text", true});
    CreatePort(L"Dictionary", DictionaryData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    using namespace korven::tx_general;  // NOLINT
    const std::wstring file = kstr_PathExpand(*GetPortDataOf<FileData>(RequirePort(*this, L"Filename")));
    HeaderLines lines(file);
    std::wstring line;
    if (!lines.Next(line)) return;
    if (line == L"ENVI") return WritePort(*this, L"Dictionary", ParseEnvi(lines));
    const wchar_t delimiter = DelimiterOf(line);
    // A file of no known form is left to other readers, without a message.
    if (delimiter == L'\0') return;
    HeaderLines again(file);
    WritePort(*this, L"Dictionary", ParseDelimited(again, delimiter));
  }
};

namespace korven::tx_general {

TX_GENERAL_FACTORY(DictionaryInputHDR)

}  // namespace korven::tx_general
