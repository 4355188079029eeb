#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

#include "kcommon/kfio.h"
#include "kcommon/kpmg.h"
#include "kcommon/kstr.h"
#include "program.h"

namespace TesseraProgram {

using Tamrin::Tessera::JsonValueType::Array;
using Tamrin::Tessera::JsonValueType::Object;

namespace {

constexpr std::pair<const char*, Kpmg_ParameterType> kKinds[] = {{"string", KpmgString},
                                                                 {"number", KpmgNumber},
                                                                 {"boolean", KpmgBoolean},
                                                                 {"enumeration", KpmgEnum},
                                                                 {"color", KpmgColor}};

constexpr const wchar_t* kTypedForm =
    L"{\"Type\": \"string\", \"number\", \"boolean\", \"enumeration\" or \"color\", \"Value\": ...}";

std::string EnvironmentText(const char* name) {
  const char* text = std::getenv(name);
  return text ? text : "";
}

std::string UserFile() {
  std::string folder = EnvironmentText("XDG_CONFIG_HOME");
  if (folder.empty() && !EnvironmentText("HOME").empty()) folder = EnvironmentText("HOME") + "/.config";
  return folder.empty() ? folder : folder + "/tessera/preferences.json";
}

bool ReadValue(const JsonValue& json, kpmg::Value& value) {
  const JsonValue* type = json.Find("Type");
  const JsonValue* held = json.Find("Value");
  if (!type || !held) return false;
  for (const auto& [name, kind] : kKinds) {
    if (type->AsUtf8() == name) value.type = kind;
  }
  switch (value.type) {
    case KpmgString:
    case KpmgEnum:
      value.text = held->AsString();
      return held->IsString();
    case KpmgNumber:
      value.number = held->AsDouble();
      return held->IsNumber();
    case KpmgBoolean:
      value.boolean = held->AsBool();
      return held->IsBool();
    case KpmgColor:
      for (unsigned i = 0; i < 4; ++i) value.color[i] = i < held->Count() ? (*held)[i].AsDouble() : 1.0;
      return held->IsArray() && (held->Count() == 3 || held->Count() == 4) &&
             std::all_of(held->begin(), held->end(), [](const JsonValue& part) { return part.IsNumber(); });
    default:
      return false;
  }
}

JsonValue ValueToJson(const kpmg::Value& value) {
  JsonValue json(Object);
  for (const auto& [name, kind] : kKinds) {
    if (value.type == kind) json.Set("Type", JsonValue::FromUtf8(name));
  }
  JsonValue held(value.text);
  if (value.type == KpmgNumber) {
    const bool isWhole = std::floor(value.number) == value.number && std::abs(value.number) < 1e15;
    held = isWhole ? JsonValue::FromInt64(static_cast<std::int64_t>(value.number)) : JsonValue(value.number);
  } else if (value.type == KpmgBoolean) {
    held = JsonValue(value.boolean);
  } else if (value.type == KpmgColor) {
    held = JsonValue(Array);
    for (const double part : value.color) held.Append(JsonValue(part));
  }
  json.Set("Value", std::move(held));
  return json;
}

std::wstring ValueToText(const kpmg::Value& value) {
  const JsonValue json = ValueToJson(value);
  const JsonValue& held = *json.Find("Value");
  return held.IsString() ? held.AsString() : held.Serialize();
}

void LoadFile(const std::string& file, bool mayBeMissing) {
  if (file.empty() || (mayBeMissing && ::access(file.c_str(), F_OK) != 0)) return;
  const JsonValue json = ReadJsonFile(file);
  if (!json.IsObject()) throw Refusal(WideWord(file) + L": expected an object of categories");
  for (const JsonValue::Member& category : json.GetMembers()) {
    const std::wstring categoryName = kstr_FromUtf8Lossy(category.key);
    if (!category.value.IsObject())
      throw Refusal(WideWord(file) + L": " + categoryName + L": expected an object of preferences");
    for (const JsonValue::Member& entry : category.value.GetMembers()) {
      const std::wstring name = kstr_FromUtf8Lossy(entry.key);
      kpmg::Value value;
      if (!ReadValue(entry.value, value))
        throw Refusal(WideWord(file) + L": " + categoryName + L"." + name + L": expected " + kTypedForm);
      kpmg::Set(categoryName, name, value);
    }
  }
}

bool ParseNumber(const std::string& text, double& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return !text.empty() && result.ec == std::errc() && result.ptr == text.data() + text.size() && std::isfinite(number);
}

/// A value of any type: {"Type": ..., "Value": ...}.
kpmg::Value ParseTyped(const std::string& text, const std::wstring& where) {
  kpmg::Value value;
  JsonValue json;
  std::string error;
  if (!json.DeserializeUtf8(text, true, &error)) throw Refusal(where + L": " + kstr_FromUtf8Lossy(error));
  if (!ReadValue(json, value)) throw Refusal(where + L": expected " + kTypedForm);
  return value;
}

kpmg::Value ParseText(Kpmg_ParameterType known, const std::string& text, const std::wstring& where) {
  if (text.starts_with("{\"Type\"")) return ParseTyped(text, where);
  kpmg::Value value;
  double number = 0;
  const bool isTruth = text == "true" || text == "false";
  const bool isNumber = ParseNumber(text, number);
  value.type = known;
  if (known == KpmgUnknown) value.type = isTruth ? KpmgBoolean : isNumber ? KpmgNumber : KpmgString;
  bool isRead = true;
  if (value.type == KpmgBoolean)
    isRead = isTruth;
  else if (value.type == KpmgNumber)
    isRead = isNumber;
  else if (value.type == KpmgColor) {
    JsonValue json(Object);
    JsonValue held;
    std::string error;
    isRead = held.DeserializeUtf8(text, true, &error);
    json.Set("Type", JsonValue::FromUtf8("color"));
    json.Set("Value", held);
    isRead = isRead && ReadValue(json, value);
  }
  if (!isRead) throw Refusal(where + L": \"" + WideWord(text) + L"\" is no value of the preference's type");
  value.boolean = text == "true";
  value.number = number;
  value.text = WideWord(text);
  return value;
}

std::pair<std::wstring, std::wstring> SplitName(const std::string& text, const std::wstring& where) {
  const std::size_t slash = text.find('/');
  if (slash == std::string::npos || slash == 0 || slash + 1 == text.size())
    throw Refusal(where + L": found \"" + WideWord(text) + L"\", expected CATEGORY/NAME");
  return {WideWord(text.substr(0, slash)), WideWord(text.substr(slash + 1))};
}

void LoadStored() {
  const std::string home = EnvironmentText("VANTIX_HOME");
  if (!home.empty()) LoadFile(home + "/etc/preferences.json", true);
  LoadFile(UserFile(), true);
}

void MakeFolders(const std::string& file) {
  for (std::size_t slash = file.find('/', 1); slash != std::string::npos; slash = file.find('/', slash + 1))
    ::mkdir(file.substr(0, slash).c_str(), 0777);
}

int SetStored(const Arguments& arguments) {
  const auto [category, name] = SplitName(arguments.preference, L"preferences set");
  const auto value = ParseText(kpmg::GetPreferenceType(category, name), arguments.value, L"preferences set");
  const std::string file = UserFile();
  if (file.empty()) throw Refusal(L"preferences set: neither XDG_CONFIG_HOME nor HOME is set");
  JsonValue json(Object);
  if (::access(file.c_str(), F_OK) == 0) json = ReadJsonFile(file);
  JsonValue inner(Object);
  if (const JsonValue* held = json.Find(kstr_ToUtf8(category))) inner = *held;
  inner.Set(kstr_ToUtf8(name), ValueToJson(value));
  json.Set(kstr_ToUtf8(category), inner);
  MakeFolders(file);
  kfio::WriteBytes(WideWord(file), json.SerializeUtf8(true) + "\n");
  return kDone;
}

int GetStored(const Arguments& arguments) {
  const auto [category, name] = SplitName(arguments.preference, L"preferences get");
  kpmg::Value value;
  if (!kpmg::Get(category, name, value)) {
    std::vector<std::wstring> known;
    for (const auto& [key, held] : kpmg::All()) known.push_back(key.first + L"/" + key.second);
    const std::wstring wanted = category + L"/" + name;
    const std::wstring nearest = kstr_NearestName(wanted, known);
    throw Refusal(L"there is no preference \"" + wanted + L"\"" +
                  (nearest.empty() ? L"" : L"; did you mean \"" + nearest + L"\"?"));
  }
  if (arguments.json)
    PrintJson(ValueToJson(value));
  else
    Print(ValueToText(value));
  return kDone;
}

}  // namespace

void LoadPreferences(const Arguments& arguments) {
  LoadStored();
  if (!arguments.preferences.empty()) LoadFile(arguments.preferences, false);
  for (const std::string& word : arguments.prefs) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos)
      throw Refusal(L"--pref: found \"" + WideWord(word) + L"\", expected CATEGORY/NAME=VALUE");
    const auto [category, name] = SplitName(word.substr(0, equals), L"--pref");
    kpmg::Set(category, name, ParseText(kpmg::GetPreferenceType(category, name), word.substr(equals + 1), L"--pref"));
  }
}

int Preferences(const Arguments& arguments) {
  LoadStored();
  if (arguments.action == "set") return SetStored(arguments);
  if (arguments.action == "get") return GetStored(arguments);
  JsonValue json(Object);
  for (const auto& [key, value] : kpmg::All()) {
    if (!arguments.json) {
      Print(key.first + L"/" + key.second + L" = " + ValueToText(value));
      continue;
    }
    const std::string category = kstr_ToUtf8(key.first);
    JsonValue inner(Object);
    if (const JsonValue* held = json.Find(category)) inner = *held;
    inner.Set(kstr_ToUtf8(key.second), ValueToJson(value));
    json.Set(category, inner);
  }
  if (arguments.json) PrintJson(json);
  return kDone;
}

}  // namespace TesseraProgram
