#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "cache.h"
#include "kprj/kprj.h"
#include "projcalls.h"

namespace kprj {

/// The datums of all registries by name, read on first need. Any thread.
class Datums {
 public:
  static Datums& Get();

  bool IsGeodetic(const std::string& name) const { return geodetic_.count(name) != 0; }
  bool IsVertical(const std::string& name) const { return vertical_.count(name) != 0; }
  /// By the exact name; empty for others.
  std::string FindSpheroid(const std::string& name) const;
  /// By any name of the datum.
  std::optional<proj::DatumRow> Resolve(const std::string& name);

 private:
  Datums();
  std::unordered_map<std::string, std::string> geodetic_;
  std::unordered_set<std::string> vertical_;
  BoundedCache<std::optional<proj::DatumRow>> resolved_{512};
};

/// Whether these are heights over the ellipsoid of that geodetic datum.
bool IsOverOwnEllipsoid(const std::string& datumName, const Kprj_ElevationInfo& elevation);

}  // namespace kprj
