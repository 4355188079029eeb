#pragma once

#include <map>
#include <optional>
#include <string>

#include "record.h"

namespace kprj {

inline constexpr const wchar_t* kMonikerAuthority = L"GeoKey Moniker";
inline constexpr int kUserDefined = 32767;
inline constexpr int kSmallestCode = 1024;

/// GeoTIFF key numbers; the last one is of the range that is free for own use.
enum MonikerKey {
  KeyModel = 1024,
  KeyName = 1026,
  KeyGeographic = 2048,
  KeyProjected = 3072,
  KeyProjection = 3074,
  KeyMethod = 3075,
  KeyLinearUnit = 3076,
  KeyVertical = 4096,
  KeyVerticalDatum = 4098,
  KeyVerticalUnit = 4099,
  KeyElevationType = 32768,
};
enum MonikerModel { ModelVertical = 0, ModelProjected = 1, ModelGeographic = 2 };

/// Keys with their values as they are written, unescaped.
class Moniker {
 public:
  bool Has(int key) const { return values_.count(key) != 0; }
  /// -1 where there is none.
  int GetInt(int key) const;
  double GetNumber(int key) const;
  std::wstring GetText(int key) const;
  void SetInt(int key, int value) { values_[key] = std::to_wstring(value); }
  void SetNumber(int key, double value);
  void SetText(int key, std::wstring value) { values_[key] = std::move(value); }
  void Remove(int key) { values_.erase(key); }
  std::size_t Count() const { return values_.size(); }
  std::wstring ToText() const;
  /// Nothing with the reason for text of another form, keys out of order or unknown, values of the wrong type.
  static std::optional<Moniker> Parse(const std::wstring& text, std::wstring& reason);

 private:
  std::map<int, std::wstring> values_;
};

/// The system of a moniker. Null with the reason.
RecordPtr ReadMonikerCode(const std::wstring& code, std::wstring& reason);
/// Empty where the system has none.
std::wstring MonikerOf(const RecordPtr& record);
/// As a code of keys; 0 for what isn't one.
int KeyCode(const std::string& code);

/// A map projection's parameters between their EPSG codes and keys.
struct MonikerParameter {
  const char* code;
  int key;
};
struct MonikerMethod {
  int number;
  const char* code;
  const MonikerParameter* parameters;
  std::size_t count;
};
const MonikerMethod* FindMonikerMethod(const std::string& methodCode);
/// Of two methods with one number the one whose parameters are there.
const MonikerMethod* FindMonikerMethod(const Moniker& moniker);

}  // namespace kprj
