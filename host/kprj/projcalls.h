#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What the module that holds PROJ does for this room. All text is UTF-8, all results are plain data: no object of PROJ
/// leaves a call, so any thread may call, and hold what it gets. Every call raises KorvenLog::CPPException where PROJ's
/// database is missing or too old.
namespace kprj::proj {

/// A coordinate reference system: by authority and code of the database, else by its PROJJSON.
struct Source {
  std::string authority;
  std::string code;
  std::string json;
  bool IsRegistered() const { return !authority.empty(); }
  bool IsEmpty() const { return authority.empty() && json.empty(); }
};

struct Unit {
  std::string name;
  double factor = 0;  ///< to metre or radian
  std::string authority;
  std::string code;
};

struct Axis {
  std::string name;
  std::string abbreviation;
  std::string direction;
  Unit unit;
};

enum class Kind { Geographic2D, Geographic3D, Projected, Geocentric, Geodetic, Vertical, Compound, Other };
enum class CsKind { Cartesian, Ellipsoidal, Spherical, Vertical, Other };

/// What there is to know of a system; of a compound one the axes of its parts, and the words of the first.
struct Facts {
  Kind kind = Kind::Other;
  CsKind csKind = CsKind::Other;
  std::vector<Axis> axes;
  std::string name;
  std::string datumName;
  std::string authority;  ///< the identifier that it carries; not checked
  std::string code;
  std::string json;
  bool deprecated = false;
};

struct Parameter {
  std::string name;
  std::string code;  ///< of EPSG; empty for another's
  double value = 0;
  Unit unit;
  bool angular = false;
  bool linear = false;
};

/// The 2D part.
struct Horizontal {
  Source source;  ///< registered where the registry knows the part
  Facts facts;
  std::string method;
  std::string methodCode;  ///< of EPSG; empty for another's, and for latitude and longitude
  std::vector<Parameter> parameters;
  std::string baseAuthority;  ///< of the geographic system that a projected one is based on
  std::string baseCode;
  std::string ellipsoid;
  double semiMajorAxis = 0;
  double semiMinorAxis = 0;
};

struct Vertical {
  std::string datumName;
  std::string ellipsoid;  ///< where heights are over one
  Unit unit;
  bool down = false;
};

struct Split {
  std::optional<Horizontal> horizontal;
  std::optional<Vertical> vertical;
};

struct Build {
  Source horizontal;  ///< 2D; empty for a vertical system alone
  std::optional<Unit> unit;
  bool angular = false;
  enum class Elevation { None, Ellipsoidal, System } elevation = Elevation::None;
  Unit verticalUnit;        ///< of an ellipsoidal height
  Source vertical;          ///< a vertical system
  std::string verticalWkt;  ///< else its text
};

/// A projected system by numbers, as GeoTIFF keys give it.
struct UserProjection {
  std::string name;
  std::string baseCode;  ///< of EPSG
  std::string methodCode;
  Unit unit;
  std::vector<std::pair<std::string, double>> parameters;  ///< by EPSG code; in that unit, in degrees, or without one
};

struct VerticalRow {
  std::string code;
  std::string name;
  Vertical vertical;
  std::string datumAuthority;
  std::string datumCode;
  bool deprecated = false;
};

struct CompoundRow {
  std::string code;
  std::string name;
  std::string horizontalAuthority, horizontalCode;
  std::string verticalAuthority, verticalCode;
  bool deprecated = false;
};

struct DatumRow {
  std::string name;
  std::string ellipsoid;
};

struct WktResult {
  Facts facts;
  std::string fault;     ///< the text is not to be used
  std::string warnings;  ///< something of it was not understood
};

class Calls {
 public:
  /// False, with PROJ's own words, where there is no such system.
  virtual bool Describe(const Source& source, Facts& facts, std::string& reason) const = 0;
  virtual WktResult ReadWkt(const std::string& text) const = 0;
  /// Neither part for a geocentric or spherical system.
  virtual Split SplitSystem(const Source& source) const = 0;
  virtual bool BuildSystem(const Build& build, Facts& facts, std::string& reason) const = 0;
  virtual bool BuildUserProjection(const UserProjection& projection, Facts& facts, std::string& reason) const = 0;
  /// EPSG's code of the geographic system that a horizontal one is, or is based on; empty where it has none.
  virtual std::string FindBase(const Source& horizontal) const = 0;
  /// EPSG's code of that system with heights over its ellipsoid.
  virtual std::string FindGeographic3D(const Source& horizontal) const = 0;

  /// Same definition, units and dimension; with `anyAxisOrder` latitude and longitude may be swapped.
  virtual bool AreEquivalent(const Source& one, const Source& other, bool anyAxisOrder) const = 0;
  /// The code of a system of one dimension or horizontal one; empty where there is none that is equivalent.
  virtual std::string Identify(const Source& source, const std::string& authority) const = 0;
  /// The same for what was read from an ESRI text, which has no order of axes: also one that has the very text.
  virtual std::string IdentifyText(const std::string& text, const std::string& authority) const = 0;
  /// The first of these codes that is no deprecated one and has the very text. Much faster than to search.
  virtual std::string PickByText(const Source& source, const std::string& text, const std::string& authority,
                                 const std::vector<std::string>& codes) const = 0;

  /// As ESRI writes it; empty where it has no such form.
  virtual std::string EsriText(const Source& source) const = 0;
  virtual std::string Wkt2(const Source& source) const = 0;

  virtual std::vector<std::string> Authorities() const = 0;
  virtual std::vector<std::string> SystemCodes(const std::string& authority) const = 0;
  virtual std::vector<VerticalRow> VerticalSystems(const std::string& authority) const = 0;
  virtual std::vector<CompoundRow> CompoundSystems(const std::string& authority) const = 0;
  virtual std::vector<DatumRow> GeodeticDatums() const = 0;
  virtual std::vector<std::string> VerticalDatums() const = 0;
  /// By any name that the registries know of it.
  virtual std::optional<DatumRow> ResolveGeodeticDatum(const std::string& name) const = 0;

 protected:
  ~Calls() = default;
};

/// The module, loaded on first need. Raises KorvenLog::CPPException where it can't be.
const Calls& GetCalls();

}  // namespace kprj::proj
