#include "kcommon/kpmg.h"

#include <mutex>

#include "kcommon/kerr.h"

namespace kpmg {

namespace {

struct Store {
  std::mutex mutex;
  std::map<Key, Value> values;
};

// Never destroyed: threads of the run may outlive the static objects.
Store& TheStore() {
  static Store& store = *new Store;
  return store;
}

}  // namespace

Kpmg_ParameterType GetPreferenceType(const std::wstring& category, const std::wstring& name) {
  Value value;
  return Get(category, name, value) ? value.type : KpmgUnknown;
}

void Set(const std::wstring& category, const std::wstring& name, Value value) {
  Store& store = TheStore();
  const std::lock_guard lock(store.mutex);
  store.values[{category, name}] = std::move(value);
}

bool Get(const std::wstring& category, const std::wstring& name, Value& value) {
  Store& store = TheStore();
  const std::lock_guard lock(store.mutex);
  const auto found = store.values.find({category, name});
  if (found == store.values.end()) return false;
  value = found->second;
  return true;
}

std::map<Key, Value> All() {
  Store& store = TheStore();
  const std::lock_guard lock(store.mutex);
  return store.values;
}

void ClearAll() {
  Store& store = TheStore();
  const std::lock_guard lock(store.mutex);
  store.values.clear();
}

}  // namespace kpmg

namespace {

const wchar_t* KindName(Kpmg_ParameterType type) {
  switch (type) {
    case KpmgString:
      return L"a string";
    case KpmgNumber:
      return L"a number";
    case KpmgBoolean:
      return L"a boolean";
    case KpmgEnum:
      return L"an enumeration";
    case KpmgColor:
      return L"a colour";
    case KpmgUnknown:
      break;
  }
  return L"of no known type";
}

bool GetOfType(const std::wstring& category, const std::wstring& name, Kpmg_ParameterType type, kpmg::Value& value,
               KerrException& error) {
  if (!kpmg::Get(category, name, value)) return false;
  if (value.type == type) return true;
  error.Log(__LINE__, L"The preference \"" + category + L":" + name + L"\" is " + KindName(value.type) + L", not " +
                          KindName(type) + L".");
  return false;
}

}  // namespace

std::wstring kpmg_GetStringPreference(const std::wstring& category, const std::wstring& name,
                                      const std::wstring& fallback, KerrException& error) {
  kpmg::Value value;
  return GetOfType(category, name, KpmgString, value, error) ? value.text : fallback;
}

double kpmg_GetNumberPreference(const std::wstring& category, const std::wstring& name, double fallback,
                                KerrException& error) {
  kpmg::Value value;
  return GetOfType(category, name, KpmgNumber, value, error) ? value.number : fallback;
}

int kpmg_GetBooleanPreference(const std::wstring& category, const std::wstring& name, int fallback,
                              KerrException& error) {
  kpmg::Value value;
  return GetOfType(category, name, KpmgBoolean, value, error) ? (value.boolean ? 1 : 0) : fallback;
}

std::wstring kpmg_GetEnumPreference(const std::wstring& category, const std::wstring& name,
                                    const std::wstring& fallback, KerrException& error) {
  kpmg::Value value;
  return GetOfType(category, name, KpmgEnum, value, error) ? value.text : fallback;
}

Kpmg_Color kpmg_GetColorPreference(const std::wstring& category, const std::wstring& name, const Kpmg_Color& fallback,
                                   KerrException& error) {
  kpmg::Value value;
  return GetOfType(category, name, KpmgColor, value, error) ? value.color : fallback;
}
