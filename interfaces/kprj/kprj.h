#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class KerrException;

/// The projection library: units, parts of coordinate reference systems, libraries of projections. Records belong to
/// who made them and are freed by the call named after them; the holders at the end do that. Any thread may call, no
/// two of them with the same record that one changes. Failures are left in `error`. What is asked of units costs
/// nothing: they are built in.

// --- Units

/// Kinds of unit, to be added up.
enum Kprj_UnitKind { KprjUnitAngular = 2, KprjUnitLinear = 4, KprjUnitOther = 8 };

/// 1 or 0. Names are compared without case, blanks, "_", "-", "." and "'", and may be aliases ("us-ft", "Foot_US"). The
/// unit "other", empty text and unknown names are of no class.
int kprj_IsLinearUnitByName(const std::wstring& name, KerrException& error);
int kprj_IsAngularUnitByName(const std::wstring& name, KerrException& error);
/// "other": the unit of a quantity without a real one.
const std::wstring& kprj_UnitsNameOther();
/// Canonical names of all units of these kinds: the common ones, then the others by name, "other" last.
std::vector<std::wstring> kprj_GetUnitNames(int kinds);
/// The canonical name of a unit ("metre" for "Meter"); empty for a name that is not known.
std::wstring kprj_GetUnitName(const std::wstring& nameOrAlias);

// --- Elevation

/// 0 height, 1 depth, anything else unknown.
enum Kprj_ElevationType : std::int32_t { KprjHeight = 0, KprjDepth = 1, KprjElevationUnknown = 2 };

/// The vertical part of a coordinate reference system.
struct Kprj_ElevationInfo {
  std::wstring datumName;     ///< of a geodetic datum where heights are over its ellipsoid; "Unknown" for no datum
  std::wstring spheroidName;  ///< of ellipsoidal datums only
  std::wstring unitsName;
  std::int32_t elevationType = KprjHeight;
  double unitsFactor = 0;  ///< metres of a unit that is in no list of names; 0 for all others
};

/// `type` is "Height", "Depth" or "Unknown", in any case. Null with the failure in `error` for another word, and for
/// units that are not known.
Kprj_ElevationInfo* kprj_ElevationInfoCreateByName(const std::wstring& spheroid, const std::wstring& datum,
                                                   const std::wstring& units, const std::wstring& type,
                                                   KerrException& error);
/// A linear unit or "other"; others are a failure that names the nearest.
void kprj_ElevationInfoUnitSet(Kprj_ElevationInfo* elevation, const std::wstring& units, KerrException& error);
void kprj_ElevationInfoFree(Kprj_ElevationInfo* elevation);

// --- Projections

struct Kprj_Spheroid {
  std::wstring name;
  double semiMajorAxis = 0;  ///< metres
  double semiMinorAxis = 0;
  std::wstring datumName;
};

struct Kprj_Parameter {
  std::wstring name;
  double value = 0;
  std::wstring unitsName;  ///< of the value; empty where it has none
};

/// The record "Kprj_ProParameters" of a projection: what its horizontal coordinates mean.
struct Kprj_ProParameters {
  std::wstring name;    ///< of the 2D coordinate reference system
  std::wstring method;  ///< of the map projection; empty for latitude and longitude
  std::vector<Kprj_Parameter> parameters;
  Kprj_Spheroid spheroid;
  std::wstring unitsName;  ///< in which the projection is defined
  double unitsFactor = 0;  ///< as of Kprj_ElevationInfo
  std::string definition;  ///< the whole as PROJJSON, UTF-8
};

/// The horizontal part of a coordinate reference system, in the units that it is defined in.
struct Kprj_MapProjection;

/// The named record of a projection, which lives as long as the projection; the one name is "Kprj_ProParameters". Null
/// for other names and for a null projection.
const Kprj_ProParameters* kprj_MapProjectionCSRGet(const Kprj_MapProjection* projection,
                                                   const std::wstring& recordName);
void kprj_ProjectionFree(Kprj_MapProjection* projection);
Kprj_ProParameters* kprj_ProParametersCopy(const Kprj_ProParameters* parameters, KerrException& error);
void kprj_ProParametersFree(Kprj_ProParameters* parameters);

// --- Datums

struct Kint_Init;
/// The library's set-up, made on first need. Never null.
Kint_Init* kint_GetInit();

/// "WGS 84" for "World Geodetic System 1984"; empty, and no failure, for a datum that is not known.
std::wstring kprj_GetSpheroidNameByDatumName(Kint_Init* init, const std::wstring& datum, KerrException& error);

// --- Libraries of projections (.plb)

struct Kprj_ProjectionItem {
  std::wstring name;
  std::wstring alias;
  std::wstring unitsName;
  double unitsFactor = 0;  ///< as of Kprj_ElevationInfo
  std::unique_ptr<Kprj_ProParameters> parameters;
};

struct Kprj_ProjectionLibrary {
  std::wstring title;
  std::vector<std::unique_ptr<Kprj_ProjectionItem>> items;
};

Kprj_ProjectionLibrary* kprj_ProjectionLibraryCreate(KerrException& error);
void kprj_ProjectionLibrarySetTitle(Kprj_ProjectionLibrary* library, const std::wstring& title, KerrException& error);
/// Takes the parameters over, also where it fails. `units` are a unit of the list, "other", or the parameters' own.
Kprj_ProjectionItem* kprj_ProjectionItemCreateWithUnits(const std::wstring& name, const std::wstring& alias,
                                                        Kprj_ProParameters* parameters, const std::wstring& units,
                                                        KerrException& error);
void kprj_ProjectionItemFree(Kprj_ProjectionItem* item);
/// Takes the item over.
void kprj_ProjectionLibraryAddItem(Kprj_ProjectionLibrary* library, Kprj_ProjectionItem* item, KerrException& error);
/// Writes the file as a whole, or leaves what was there and a failure with path and reason. The name is taken as it is,
/// without expansion.
void kprj_ProjectionLibraryWrite(const Kprj_ProjectionLibrary* library, const std::wstring& fileName,
                                 KerrException& error);
/// Null with the failure in `error` where the file is not such a library.
Kprj_ProjectionLibrary* kprj_ProjectionLibraryRead(const std::wstring& fileName, KerrException& error);
/// The same for the text of a file; `source` is how messages call it.
Kprj_ProjectionLibrary* kprj_ProjectionLibraryParse(std::string_view text, const std::wstring& source,
                                                    KerrException& error);
std::string kprj_ProjectionLibraryFormat(const Kprj_ProjectionLibrary& library);
void kprj_ProjectionLibraryFree(Kprj_ProjectionLibrary* library);

// --- Holders

namespace kprj {

struct Free {
  void operator()(Kprj_MapProjection* projection) const { kprj_ProjectionFree(projection); }
  void operator()(Kprj_ElevationInfo* elevation) const { kprj_ElevationInfoFree(elevation); }
  void operator()(Kprj_ProParameters* parameters) const { kprj_ProParametersFree(parameters); }
  void operator()(Kprj_ProjectionItem* item) const { kprj_ProjectionItemFree(item); }
  void operator()(Kprj_ProjectionLibrary* library) const { kprj_ProjectionLibraryFree(library); }
};

using ProjectionHolder = std::unique_ptr<Kprj_MapProjection, Free>;
using ElevationHolder = std::unique_ptr<Kprj_ElevationInfo, Free>;
using ProParametersHolder = std::unique_ptr<Kprj_ProParameters, Free>;
using ProjectionItemHolder = std::unique_ptr<Kprj_ProjectionItem, Free>;
using ProjectionLibraryHolder = std::unique_ptr<Kprj_ProjectionLibrary, Free>;

}  // namespace kprj
