#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "kprj/kprj.h"
#include "projcalls.h"

namespace kprj {

/// The registries that are searched by definition, in this order.
inline constexpr const char* kSearched[] = {"EPSG", "ESRI", "IGNF"};

/// The vertical systems of a registry by datum, unit and direction: PROJ finds them by name alone, and by the very
/// name. Read once, on first need. Any thread.
class VerticalIndex {
 public:
  static const VerticalIndex& Of(const std::string& registry);

  /// Null where there is none. Of several the first that isn't deprecated.
  const proj::VerticalRow* Find(const Kprj_ElevationInfo& elevation) const;
  /// Any system of that datum, best in that direction.
  const proj::VerticalRow* FindDatum(const std::wstring& datumName, bool down) const;
  const proj::VerticalRow* FindDatumCode(const std::string& code) const;
  /// Codes of the current ones whose name is this one but for case, signs and what ESRI puts in front.
  const std::vector<std::string>& FindNamed(const std::string& name) const;

 private:
  friend class IndexTable;
  explicit VerticalIndex(std::vector<proj::VerticalRow> rows);
  std::vector<proj::VerticalRow> rows_;
  std::unordered_map<std::wstring, const proj::VerticalRow*> byDefinition_;
  std::unordered_map<std::wstring, const proj::VerticalRow*> byDatum_;
  std::unordered_map<std::string, std::vector<std::string>> byName_;
};

/// The compound systems of a registry by the codes of their parts.
class CompoundIndex {
 public:
  static const CompoundIndex& Of(const std::string& registry);

  const proj::CompoundRow* Find(const std::string& horizontalAuthority, const std::string& horizontalCode,
                                const std::string& verticalAuthority, const std::string& verticalCode) const;

 private:
  friend class IndexTable;
  explicit CompoundIndex(std::vector<proj::CompoundRow> rows);
  std::vector<proj::CompoundRow> rows_;
  std::unordered_map<std::string, const proj::CompoundRow*> byParts_;
};

/// A system that a registry has, by its parts.
struct RegistryCode {
  std::string authority;
  std::string code;
};

}  // namespace kprj
