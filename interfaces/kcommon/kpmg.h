#pragma once

#include <array>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

class KerrException;

/// What kind of value a preference holds; 0 where there is no such preference.
enum Kpmg_ParameterType {
  KpmgUnknown = 0,
  KpmgString = 1,
  KpmgNumber = 2,
  KpmgBoolean = 3,
  KpmgEnum = 4,
  KpmgColor = 5
};

/// Red, green, blue, opacity, each 0 to 1.
using Kpmg_Color = std::array<double, 4>;

/// The value of a preference. A preference that is missing or of another type gives the default and leaves a
/// failure in the error object where it is of another type.
std::wstring kpmg_GetStringPreference(const std::wstring& category, const std::wstring& name,
                                      const std::wstring& fallback, KerrException& error);
double kpmg_GetNumberPreference(const std::wstring& category, const std::wstring& name, double fallback,
                                KerrException& error);
int kpmg_GetBooleanPreference(const std::wstring& category, const std::wstring& name, int fallback,
                              KerrException& error);
std::wstring kpmg_GetEnumPreference(const std::wstring& category, const std::wstring& name,
                                    const std::wstring& fallback, KerrException& error);
Kpmg_Color kpmg_GetColorPreference(const std::wstring& category, const std::wstring& name, const Kpmg_Color& fallback,
                                   KerrException& error);

/// The store behind the calls above: thread-safe, one for the process, layered. Later layers win.
namespace kpmg {

Kpmg_ParameterType GetPreferenceType(const std::wstring& category, const std::wstring& name);

struct Value {
  Kpmg_ParameterType type = KpmgUnknown;
  std::wstring text;     ///< string and enumeration
  double number = 0;     ///< number
  bool boolean = false;  ///< boolean
  Kpmg_Color color{};    ///< colour
};
using Key = std::pair<std::wstring, std::wstring>;  ///< category, name

void Set(const std::wstring& category, const std::wstring& name, Value value);
bool Get(const std::wstring& category, const std::wstring& name, Value& value);
std::map<Key, Value> All();
void ClearAll();

}  // namespace kpmg
