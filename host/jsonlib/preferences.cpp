#include "jsonlib/preferences.h"

#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"

namespace korven::jsonlib {

namespace {

constexpr std::pair<const wchar_t*, Kpmg_ParameterType> kKinds[] = {{L"string", KpmgString},
                                                                    {L"number", KpmgNumber},
                                                                    {L"boolean", KpmgBoolean},
                                                                    {L"enumeration", KpmgEnum},
                                                                    {L"color", KpmgColor}};

constexpr double kMostWhole = 1e15;  ///< beyond it not every whole number is one of its own

std::string EnvironmentText(const char* name) {
  const char* const text = std::getenv(name);
  return text ? text : "";
}

bool IsNumber(const Value& json) {
  return json.type() == Value::intValue || json.type() == Value::uintValue || json.type() == Value::realValue;
}

bool IsReadable(const std::string& file) { return !file.empty() && ::access(file.c_str(), F_OK) == 0; }

Value ReadObject(const std::string& file) {
  const std::wstring name = kfnp_FromNative(file);
  Value root;
  Reader reader{ParseOptions()};
  try {
    if (!reader.parseUtf8(kfio::ReadBytes(name), root))
      throw std::runtime_error(kstr_ToUtf8(reader.getFormattedErrorMessages()));
  } catch (const std::exception& error) {
    throw std::runtime_error(kstr_ToUtf8(name) + ": " + error.what());
  }
  if (!root.isObject()) throw std::runtime_error(kstr_ToUtf8(name) + ": expected an object of categories");
  return root;
}

}  // namespace

Value PreferenceToJson(const kpmg::Value& value) {
  Value json(Value::objectValue);
  for (const auto& [name, kind] : kKinds) {
    if (value.type == kind) json[L"Type"] = Value(name);
  }
  Value held(value.text);
  if (value.type == KpmgNumber) {
    const bool isWhole = std::floor(value.number) == value.number && std::abs(value.number) < kMostWhole;
    held = isWhole ? Value(static_cast<std::int64_t>(value.number)) : Value(value.number);
  } else if (value.type == KpmgBoolean) {
    held = Value(value.boolean);
  } else if (value.type == KpmgColor) {
    held = Value(Value::arrayValue);
    for (const double part : value.color) held.append(Value(part));
  }
  json[L"Value"] = std::move(held);
  return json;
}

bool PreferenceFromJson(const Value& json, kpmg::Value& value) {
  const Value& type = json[L"Type"];
  const Value& held = json[L"Value"];
  value.type = KpmgUnknown;
  for (const auto& [name, kind] : kKinds) {
    if (type.isString() && type.asString() == name) value.type = kind;
  }
  switch (value.type) {
    case KpmgString:
    case KpmgEnum:
      value.text = held.asString();
      return held.isString();
    case KpmgNumber:
      value.number = held.asDouble();
      return IsNumber(held);
    case KpmgBoolean:
      value.boolean = held.asBool();
      return held.type() == Value::booleanValue;
    case KpmgColor:
      if (!held.isArray() || (held.size() != 3 && held.size() != 4)) return false;
      for (std::size_t i = 0; i < value.color.size(); ++i) {
        if (i < held.size() && !IsNumber(held[i])) return false;
        value.color[i] = i < held.size() ? held[i].asDouble() : 1.0;
      }
      return true;
    default:
      return false;
  }
}

std::string PreferencesInForce() {
  Value root(Value::objectValue);
  for (const auto& [key, value] : kpmg::All()) root[key.first][key.second] = PreferenceToJson(value);
  return StyledWriter().writeUtf8(root);
}

void LoadPreferences(const std::string& file) {
  const Value root = ReadObject(file);
  const std::string name = kstr_ToUtf8(kfnp_FromNative(file));
  for (const std::wstring& category : root.getMemberNames()) {
    const Value& entries = root[category];
    if (!entries.isObject())
      throw std::runtime_error(name + ": " + kstr_ToUtf8(category) + ": expected an object of preferences");
    for (const std::wstring& entry : entries.getMemberNames()) {
      kpmg::Value value;
      if (!PreferenceFromJson(entries[entry], value))
        throw std::runtime_error(name + ": " + kstr_ToUtf8(category + L"." + entry) + ": expected " + kPreferenceForm);
      kpmg::Set(category, entry, value);
    }
  }
}

void LoadStoredPreferences() {
  const std::string home = EnvironmentText("VANTIX_HOME");
  for (const std::string& file : {home.empty() ? home : home + "/etc/preferences.json", UserPreferencesFile(),
                                  EnvironmentText("TESSERA_PREFERENCES")}) {
    if (IsReadable(file)) LoadPreferences(file);
  }
}

std::string UserPreferencesFile() {
  std::string folder = EnvironmentText("XDG_CONFIG_HOME");
  if (folder.empty() && !EnvironmentText("HOME").empty()) folder = EnvironmentText("HOME") + "/.config";
  return folder.empty() ? folder : folder + "/tessera/preferences.json";
}

}  // namespace korven::jsonlib
