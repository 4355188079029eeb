#include "jsonforms.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kstr.h"
#include "kprj/moniker.h"
#include "monikertext.h"

namespace kprj {

using korven::jsonlib::StyledWriter;
using korven::jsonlib::Value;

namespace {

constexpr const wchar_t* kFormat = L"vantix-csf";

bool IsForCSF(const Moniker& moniker) {
  const int model = moniker.GetInt(KeyModel);
  if (model != ModelProjected && model != ModelGeographic) return false;
  if (KeyCode(kstr_ToUtf8(moniker.GetText(model == ModelProjected ? KeyProjected : KeyGeographic))) == 0) return false;
  for (const int key : {KeyVerticalDatum, KeyVerticalUnit, KeyElevationType})
    if (moniker.Has(key)) return false;
  return !moniker.Has(KeyVertical) || KeyCode(kstr_ToUtf8(moniker.GetText(KeyVertical))) != 0;
}

}  // namespace

bool IsMonikerForCSF(const std::wstring& moniker) {
  std::wstring reason;
  const auto keys = Moniker::Parse(moniker, reason);
  return keys && IsForCSF(*keys);
}

std::wstring AdjustMonikerForCSF(const std::wstring& moniker) {
  std::wstring reason;
  auto keys = Moniker::Parse(moniker, reason);
  if (!keys || IsForCSF(*keys)) return moniker;
  for (const int key : {KeyVertical, KeyVerticalDatum, KeyVerticalUnit, KeyElevationType}) keys->Remove(key);
  return IsForCSF(*keys) ? keys->ToText() : moniker;
}

std::string FormatCSF(const std::wstring& moniker) {
  std::wstring reason;
  const RecordPtr record = ReadMonikerCode(moniker, reason);
  Value root(Value::objectValue);
  root[L"format"] = kFormat;
  root[L"version"] = 1;
  root[L"moniker"] = moniker;
  if (record) root[L"name"] = kstr_FromUtf8Lossy(record->facts.name);
  if (record && !record->source.IsEmpty()) root[L"wkt2"] = kstr_FromUtf8Lossy(proj::GetCalls().Wkt2(record->source));
  return StyledWriter().writeUtf8(root);
}

void WriteMonikerToCSF(const std::wstring& moniker, const std::wstring& fileName) {
  kfio::WriteBytes(fileName, FormatCSF(moniker));
}

std::wstring ParseCSF(std::string_view text, const std::wstring& source) {
  KerrException error(L"kprj\\csf", L"kprj::ParseCSF");
  const Value root = ReadDocument(text, kFormat, source, error);
  const Value& moniker = root[L"moniker"];
  if (!moniker.isString()) RefuseDocument(error, __LINE__, source, L"it has no text \"moniker\"");
  std::wstring reason;
  if (!Moniker::Parse(moniker.asString(), reason))
    RefuseDocument(error, __LINE__, source, L"its moniker \"" + moniker.asString() + L"\" is none: " + reason);
  return moniker.asString();
}

std::wstring ReadMonikerFromCSF(const std::wstring& fileName) { return ParseCSF(kfio::ReadBytes(fileName), fileName); }

}  // namespace kprj
