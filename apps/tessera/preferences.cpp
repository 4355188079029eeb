#include "jsonlib/preferences.h"

#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <cmath>
#include <utility>

#include "kcommon/kfio.h"
#include "kcommon/kpmg.h"
#include "kcommon/kstr.h"
#include "program.h"

namespace TesseraProgram {

namespace json = korven::jsonlib;

namespace {

std::string TextOf(const json::Value& value) {
  std::string text = json::StyledWriter().writeUtf8(value);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

std::string ValueToText(const kpmg::Value& value) {
  const json::Value whole = json::PreferenceToJson(value);
  const json::Value& held = whole[L"Value"];
  if (held.isString()) return kstr_ToUtf8(held.asString());
  std::string text;
  for (const char c : TextOf(held)) {
    if (c != '\n' && c != ' ') text += c;
  }
  return text;
}

/// What the user's files hold and how is a matter of the user's: it ends the program as a wrong call does.
void LoadFile(const std::string& file) {
  try {
    json::LoadPreferences(file);
  } catch (const std::exception&) {
    throw Refusal(CurrentExceptionText());
  }
}

bool ParseNumber(const std::string& text, double& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return !text.empty() && result.ec == std::errc() && result.ptr == text.data() + text.size() && std::isfinite(number);
}

/// A value of any type: {"Type": ..., "Value": ...}.
kpmg::Value ParseTyped(const std::string& text, const std::wstring& where) {
  json::Value typed;
  json::Reader reader{json::ParseOptions()};
  if (!reader.parseUtf8(text, typed)) throw Refusal(where + L": " + reader.getFormattedErrorMessages());
  kpmg::Value value;
  if (!json::PreferenceFromJson(typed, value))
    throw Refusal(where + L": expected " + kstr_FromUtf8Lossy(json::kPreferenceForm));
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
    json::Value color(json::Value::objectValue);
    color[L"Type"] = json::Value(L"color");
    isRead = json::Reader().parseUtf8(text, color[L"Value"]) && json::PreferenceFromJson(color, value);
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
  try {
    json::LoadStoredPreferences();
  } catch (const std::exception&) {
    throw Refusal(CurrentExceptionText());
  }
}

void MakeFolders(const std::string& file) {
  for (std::size_t slash = file.find('/', 1); slash != std::string::npos; slash = file.find('/', slash + 1))
    ::mkdir(file.substr(0, slash).c_str(), 0777);
}

int SetStored(const Arguments& arguments) {
  const auto [category, name] = SplitName(arguments.preference, L"preferences set");
  const auto value = ParseText(kpmg::GetPreferenceType(category, name), arguments.value, L"preferences set");
  const std::string file = json::UserPreferencesFile();
  if (file.empty()) throw Refusal(L"preferences set: neither XDG_CONFIG_HOME nor HOME is set");
  json::Value root(json::Value::objectValue);
  if (::access(file.c_str(), F_OK) == 0) {
    json::Reader reader{json::ParseOptions()};
    if (!reader.parseUtf8(kfio::ReadBytes(WideWord(file)), root))
      throw Refusal(WideWord(file) + L": " + reader.getFormattedErrorMessages());
  }
  root[category][name] = json::PreferenceToJson(value);
  MakeFolders(file);
  kfio::WriteBytes(WideWord(file), json::StyledWriter().writeUtf8(root));
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
  Print(kstr_FromUtf8Lossy(arguments.json ? TextOf(json::PreferenceToJson(value)) : ValueToText(value)));
  return kDone;
}

}  // namespace

void LoadPreferences(const Arguments& arguments) {
  LoadStored();
  if (!arguments.preferences.empty()) LoadFile(arguments.preferences);
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
  if (arguments.json) {
    std::string text = json::PreferencesInForce();
    while (!text.empty() && text.back() == '\n') text.pop_back();
    Print(kstr_FromUtf8Lossy(text));
    return kDone;
  }
  for (const auto& [key, value] : kpmg::All())
    Print(key.first + L"/" + key.second + L" = " + kstr_FromUtf8Lossy(ValueToText(value)));
  return kDone;
}

}  // namespace TesseraProgram
