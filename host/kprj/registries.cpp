#include "registries.h"

#include <algorithm>
#include <iterator>

#include "kcommon/kstr.h"
#include "unittable.h"

namespace kprj {

namespace {

// Known without a look at the database; a newer one may have more.
constexpr const char* kRegistries[] = {"EPSG", "ESRI", "OGC", "IGNF", "IAU_2015", "NKG"};

bool IsCodeCharacter(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '-' || c == '.';
}

}  // namespace

std::string RegistryOf(const std::wstring& authority) {
  if (authority == L"IAU") return "IAU_2015";
  const std::string name = kstr_ToUtf8(authority);
  const auto isName = [&name](const auto& known) { return name == known; };
  if (std::any_of(std::begin(kRegistries), std::end(kRegistries), isName)) return name;
  if (name.empty() || name == "PROJ") return {};
  const auto more = proj::GetCalls().Authorities();
  return std::any_of(more.begin(), more.end(), isName) ? name : std::string();
}

bool IsPlainCode(const std::string& code) {
  return !code.empty() && (code.front() != '0' || code == "0") &&
         std::all_of(code.begin(), code.end(), IsCodeCharacter);
}

RecordPtr ReadRegistryCode(const std::wstring& authority, const std::wstring& code, std::wstring& reason) {
  const std::string registry = RegistryOf(authority);
  const std::string plain = kstr_ToUtf8(code);
  proj::Facts facts;
  std::string words;
  if (!IsPlainCode(plain) || !proj::GetCalls().Describe({registry, plain, {}}, facts, words)) {
    reason = L"it is not known";
    return nullptr;
  }
  NormalizeUnits(facts);
  auto record = std::make_shared<Record>();
  record->authority = authority;
  record->code = code;
  record->form = FormOf(facts);
  record->typeWord = TypeWordOf(facts);
  record->facts = std::move(facts);
  record->source = {registry, plain, {}};
  return record;
}

RecordPtr RegistryForm(const RecordPtr& record) {
  if (!record->source.IsRegistered()) return record;
  std::wstring reason;
  const RecordPtr own =
      ReadRegistryCode(kstr_FromUtf8Lossy(record->source.authority), kstr_FromUtf8Lossy(record->source.code), reason);
  return own ? own : record;
}

std::wstring DescribeUnknownCode(const std::wstring& authority, const std::wstring& code) {
  std::vector<std::wstring> codes;
  for (const std::string& known : proj::GetCalls().SystemCodes(RegistryOf(authority)))
    codes.push_back(kstr_FromUtf8Lossy(known));
  std::wstring text =
      L"The authority \"" + authority + L"\" has no coordinate reference system with the code \"" + code + L"\"";
  const std::wstring nearest = kstr_NearestName(code, codes);
  if (!nearest.empty()) text += L"; the nearest known one is \"" + nearest + L"\"";
  return text + L".";
}

}  // namespace kprj
