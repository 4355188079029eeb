#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "referencing/crs.h"
#include "txlib/basicdata.h"

namespace Tamrin::TesseraGeospatial {

/// Names a coordinate reference system: an authority ("EPSG") and a code of it ("4326"). Neither has to be known to
/// anybody; two names are equal when both texts are, case included. Empty at first.
class CoordinateReferenceSystemID {
 public:
  CoordinateReferenceSystemID() = default;
  CoordinateReferenceSystemID(std::wstring authority, std::wstring code)
      : authority_(std::move(authority)), code_(std::move(code)) {}
  /// By the first identifier of a system; empty where it has none, and for null.
  explicit CoordinateReferenceSystemID(const iso::referencing::crs::CRSPtr& crs);

  /// The system that is named. Null where there is none: an authority that nobody knows, an unknown code, text or a
  /// file that can't be read; coordinateReferencing::ExplainMissingCRS tells why. Made once and then shared. Raises
  /// KorvenLog::CPPException where none can be made at all, as without the database of coordinate reference systems.
  iso::referencing::crs::CRSPtr CreateCoordinateReferenceSystem() const;

  const std::wstring& GetAuthority() const { return authority_; }
  const std::wstring& GetCode() const { return code_; }
  void SetAuthority(const std::wstring& authority) { authority_ = authority; }
  void SetCode(const std::wstring& code) { code_ = code; }

  /// "EPSG:4326"; empty where both are.
  std::wstring ToString() const;
  /// Split at the first colon: a code may hold more of them. False, and the value unchanged, where authority or code
  /// would be empty.
  bool FromString(const std::wstring& text);

  friend bool operator==(const CoordinateReferenceSystemID&, const CoordinateReferenceSystemID&) = default;
  friend auto operator<=>(const CoordinateReferenceSystemID&, const CoordinateReferenceSystemID&) = default;

 private:
  std::wstring authority_;
  std::wstring code_;
};

/// Keys "Authority" and "Code", which read as texts. Ordered by authority, then by code.
class CoordinateReferenceSystemIDData : public Tessera::ValueTypeDataT<CoordinateReferenceSystemID> {
 public:
  using ValueTypeDataT<CoordinateReferenceSystemID>::ValueTypeDataT;
  TESSERA_DATA_TYPE(L"CoordinateReferenceSystemID")
  TESSERA_DATA_OPERATIONS
  std::vector<std::wstring> GetKeys() const override;
  Tessera::DataRef operator[](const std::wstring& key) override;
  using Data::operator[];
};

}  // namespace Tamrin::TesseraGeospatial

namespace Tamrin::Tessera {
template <>
struct WrapperOf<TesseraGeospatial::CoordinateReferenceSystemID> {
  using type = TesseraGeospatial::CoordinateReferenceSystemIDData;
};
}  // namespace Tamrin::Tessera
