#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "kprj/kprj.h"

namespace KorvenDatum {

/// What is known of datums by their names. Any thread.
class DatumManager {
 public:
  enum Type { Ellipsoidal = 0, Gravity = 1, Unknown = 2 };

  static const DatumManager& GetInstance();

  /// 0 for a geodetic datum, over whose ellipsoid heights can be measured; 1 for a vertical one; 2 for a name that is
  /// not known.
  int GetDatumType(const std::wstring& name) const;
  /// The registry's name of a geodetic datum, whatever alias `name` is of it ("D_WGS_1984", "WGS 84"); empty where
  /// there is none.
  std::wstring GetBaseEllipsoidDatumName(const std::wstring& name) const;

 private:
  DatumManager() = default;
};

/// What a world coordinate system file (.wcs) holds: the parts of a coordinate reference system.
class WorldCoordinateSystem {
 public:
  /// Copies of the parts; a null or empty one is kept as missing.
  WorldCoordinateSystem(const Kprj_MapProjection* projection, const std::wstring& units,
                        const Kprj_ElevationInfo* elevation);
  ~WorldCoordinateSystem();
  WorldCoordinateSystem(WorldCoordinateSystem&&) noexcept;
  WorldCoordinateSystem& operator=(WorldCoordinateSystem&&) noexcept;

  const Kprj_MapProjection* GetProjection() const { return projection_.get(); }
  const std::wstring& GetUnits() const { return units_; }
  const Kprj_ElevationInfo* GetElevation() const { return elevation_.get(); }

  /// Writes the file as a whole, or leaves what was there and raises KorvenLog::CPPException with path and reason. The
  /// name is taken as it is, without expansion.
  void WriteToWCSFile(const std::wstring& fileName) const;
  /// Raises KorvenLog::CPPException where the file is no such file.
  static WorldCoordinateSystem ReadFromWCSFile(const std::wstring& fileName);

  /// The same for the text of a file; `source` is how messages call it. Writing raises for a unit whose size is not
  /// known.
  std::string Format() const;
  static WorldCoordinateSystem Parse(std::string_view text, const std::wstring& source);

 private:
  kprj::ProjectionHolder projection_;
  std::wstring units_;
  double unitsFactor_ = 0;  ///< 0 but for the unit of a file that no list has with this size
  kprj::ElevationHolder elevation_;
};

}  // namespace KorvenDatum
