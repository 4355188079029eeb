#pragma once

#include <string>

#include "jsonlib/value.h"
#include "kcommon/kpmg.h"

/// Preferences as files hold them: {CATEGORY: {NAME: {"Type": "number", "Value": 5}}}, where the type is string,
/// number, boolean, enumeration or color.
namespace korven::jsonlib {

/// What messages say of the form of one preference.
inline constexpr const char* kPreferenceForm =
    "{\"Type\": \"string\", \"number\", \"boolean\", \"enumeration\" or \"color\", \"Value\": ...}";

Value PreferenceToJson(const kpmg::Value& value);
/// False, and `value` is of no use, where the JSON is no preference.
bool PreferenceFromJson(const Value& json, kpmg::Value& value);

/// All that are in force, as the text of a file.
std::string PreferencesInForce();

/// Sets what a file holds. Raises std::runtime_error with the file's name where it can't be read or is wrong.
void LoadPreferences(const std::string& file);
/// For programs at their start: those of the installation, those of the user, and those that the run has which started
/// this process (in a file that the environment variable TESSERA_PREFERENCES names). Raises like LoadPreferences.
void LoadStoredPreferences();
/// Empty where neither XDG_CONFIG_HOME nor HOME is set.
std::string UserPreferencesFile();

}  // namespace korven::jsonlib
