#include <boost/filesystem/operations.hpp>

#include "esritext.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "registries.h"
#include "translate.h"
#include "unittable.h"

namespace kprj {

namespace {

constexpr std::uintmax_t kLargest = 16 << 20;

std::string Trimmed(std::string_view text) {
  constexpr std::string_view mark = "\xEF\xBB\xBF";
  if (text.starts_with(mark)) text.remove_prefix(mark.size());
  constexpr std::string_view blanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(blanks) + 1 - first));
}

/// What PROJ would leave out without a word.
bool HasVerticalShift(const std::string& text) {
  constexpr std::string_view name = "\"vertical_shift\",";
  std::string lower = text;
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  std::erase_if(lower, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
  for (std::size_t at = lower.find(name); at != std::string::npos; at = lower.find(name, at + 1)) {
    const std::string value = lower.substr(at + name.size(), lower.find(']', at) - at - name.size());
    if (value.find_first_not_of("+-0.") != std::string::npos) return true;
  }
  return false;
}

/// The registry's system that writes the very text, whose method PROJ can write and not read.
RecordPtr RegisteredTwin(const Record& read) {
  for (const char* registry : {"EPSG", "ESRI"}) {
    const std::string code = proj::GetCalls().IdentifyText(read.text, registry);
    if (code.empty()) continue;
    std::wstring reason;
    const RecordPtr twin = ReadRegistryCode(kstr_Widen(registry), kstr_FromUtf8Lossy(code), reason);
    // By definition alone would not do: part of the text was not understood.
    if (twin && EsriTextOf(*twin) == read.text) return twin;
  }
  return nullptr;
}

Form FormOfText(const proj::Facts& facts) {
  const bool single = facts.axes.size() == 2 || facts.kind == proj::Kind::Geographic3D;
  return single ? Form::Single : Form::Plain;
}

}  // namespace

RecordPtr ReadEsriText(const std::string& text, const std::wstring& code, std::wstring& reason) {
  if (HasVerticalShift(text)) {
    reason = L"its \"Vertical_Shift\" is other than 0, which is not supported";
    return nullptr;
  }
  proj::WktResult result = proj::GetCalls().ReadWkt(text);
  if (!result.fault.empty()) {
    reason = kstr_FromUtf8Lossy(result.fault);
    return nullptr;
  }
  auto record = std::make_shared<Record>();
  record->source.json = result.facts.json;
  record->facts = std::move(result.facts);
  record->text = text;
  if (!result.warnings.empty()) {
    const RecordPtr twin = RegisteredTwin(*record);
    if (!twin) {
      reason = kstr_FromUtf8Lossy(result.warnings);
      return nullptr;
    }
    record->source = twin->source;
    record->facts = twin->facts;
  }
  NormalizeUnits(record->facts);
  record->authority = L"PRJ";
  record->code = code;
  record->form = FormOfText(record->facts);
  record->typeWord = PlainTypeWordOf(record->facts);
  return record;
}

std::optional<std::string> ReadPrjFile(const std::wstring& path, std::wstring& reason) {
  const std::wstring expanded = kstr_PathExpand(path);
  const boost::filesystem::path file(kfnp_ToNative(expanded));
  boost::system::error_code code;
  if (expanded.find(L'\0') != std::wstring::npos || !boost::filesystem::is_regular_file(file, code)) {
    reason = L"it is neither the text of a projection file nor the name of a file that is there";
    return std::nullopt;
  }
  if (boost::filesystem::file_size(file, code) > kLargest) {
    reason = L"the file is larger than 16 MiB";
    return std::nullopt;
  }
  std::string text;
  try {
    text = Trimmed(kfio::ReadBytes(expanded));
  } catch (const KorvenLog::CPPException<std::runtime_error>& failure) {
    reason = failure.get_What();
    return std::nullopt;
  }
  std::wstring wide;
  std::size_t bad = 0;
  if (!kstr_FromUtf8(text, wide, &bad)) {
    reason = L"the file is no UTF-8: byte " + std::to_wstring(bad) + L" is not to be read";
    return std::nullopt;
  }
  if (IsEsriText(text)) return text;
  reason = L"the file begins neither with PROJCS[ nor with GEOGCS[ or VERTCS[";
  return std::nullopt;
}

RecordPtr ReadPrjCode(const std::wstring& code, std::wstring& reason) {
  const std::string text = kstr_ToUtf8(code);
  if (IsEsriText(text)) return ReadEsriText(Trimmed(text), code, reason);
  const auto content = ReadPrjFile(code, reason);
  return content ? ReadEsriText(*content, code, reason) : nullptr;
}

}  // namespace kprj
