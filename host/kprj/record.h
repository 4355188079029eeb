#pragma once

#include <boost/shared_ptr.hpp>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "kprj/kprj.h"
#include "projcalls.h"
#include "referencing/crs.h"

/// The 2D part of a coordinate reference system, in the units that it is defined in.
struct Kprj_MapProjection {
  Kprj_ProParameters parameters;
  kprj::proj::Horizontal horizontal;
  kprj::proj::Unit unit;  ///< named by the table
  bool angular = false;
};

namespace kprj {

using ProjectionPtr = std::shared_ptr<const Kprj_MapProjection>;

struct Parts {
  ProjectionPtr projection;  ///< null for none
  std::wstring units;
  std::optional<Kprj_ElevationInfo> elevation;
};

/// Which interfaces a system shows.
enum class Form { Single, Vertical, Compound, Plain };

/// What is known of a coordinate reference system. Never changed once it is made, but for the parts, which are found
/// when they are first asked for.
class Record {
 public:
  std::wstring authority;
  std::wstring code;
  Form form = Form::Plain;
  std::wstring typeWord;
  proj::Facts facts;    ///< units named by the table
  proj::Source source;  ///< empty for a local system, which PROJ can't express
  std::string text;     ///< the ESRI text that it was read from, which has no order of axes

  Record() = default;
  /// The same system under another name.
  Record(const Record& other, std::wstring newAuthority, std::wstring newCode, Form newForm);

  const Parts& GetParts() const;
  void SetParts(Parts parts) { parts_ = std::move(parts); }
  /// Tells systems apart whatever file a text was read from.
  std::wstring Key() const;

 private:
  mutable std::mutex mutex_;
  mutable std::optional<Parts> parts_;
};

using RecordPtr = std::shared_ptr<const Record>;

/// What the systems of this room have in addition to the interfaces that they show.
class RecordHolder {
 public:
  virtual ~RecordHolder() = default;
  virtual const RecordPtr& GetRecord() const = 0;
};

/// The object that shows a record.
iso::referencing::crs::CRSPtr MakeSystemObject(RecordPtr record);
/// Of a system of anybody's: its own, or that of its first identifier. Null where there is none.
RecordPtr RecordOf(const iso::referencing::crs::CRSPtr& crs);

/// The word of what the registries have; of a compound system "Compound".
std::wstring TypeWordOf(const proj::Facts& facts);
/// The word of a system whose 3D form is none of ISO's: that of its horizontal part.
std::wstring PlainTypeWordOf(const proj::Facts& facts);
Form FormOf(const proj::Facts& facts);
/// Names the units of the axes by the table.
void NormalizeUnits(proj::Facts& facts);

ProjectionPtr MakeProjection(proj::Horizontal horizontal);
Parts PartsOf(const proj::Source& source);
/// The units of a part that are in no list of names keep their size.
proj::Unit UnitOfElevation(const Kprj_ElevationInfo& elevation);
Kprj_ElevationInfo ElevationOf(proj::Vertical vertical);

}  // namespace kprj
