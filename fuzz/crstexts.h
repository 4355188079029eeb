#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "kcommon/kstr.h"
#include "kprj/crsfactory.h"
#include "referencing/authority.h"

namespace fuzzing {

/// A code makes a system or is told why not; what it makes has axes, parts that make a system again, and codes that
/// lead to one.
inline int CheckCode(const wchar_t* authority, const std::uint8_t* data, std::size_t size) {
  using coordinateReferencing::ReferencingFactoryFinder;
  // Bytes that are no text don't get as far as an identifier.
  std::wstring code;
  if (!kstr_FromUtf8({reinterpret_cast<const char*>(data), size}, code)) return 0;
  const auto crs =
      ReferencingFactoryFinder::getCRSAuthorityFactory(authority)->tryCreateCoordinateReferenceSystem(code);
  if (!crs) {
    if (coordinateReferencing::ExplainMissingCRS(authority, code).empty()) std::abort();
    return 0;
  }
  const auto cs = crs->getCoordinateSystem();
  if (cs->getDimension() < 1 || cs->getDimension() > 3 || crs->getIdentifiers().at(0).code != code) std::abort();
  for (int i = 0; i < cs->getDimension(); ++i)
    if (!cs->getAxis(i) || !cs->getAxis(i)->getUnit()) std::abort();
  const auto kprj =
      boost::dynamic_pointer_cast<kprj::ICRSFactory>(ReferencingFactoryFinder::getCRSAuthorityFactory(L"KPRJ"));
  kprj::ProjectionHolder projection;
  kprj::ElevationHolder elevation;
  std::wstring units;
  kprj->SplitCRS(crs, projection, units, elevation);
  if (projection || elevation || !units.empty()) {
    const auto built = kprj->CreateCRSFromParts(projection.get(), units, elevation.get());
    if (built->getCoordinateSystem()->getDimension() != cs->getDimension()) std::abort();
    const std::wstring own = built->getIdentifiers().at(0).code;
    if (!kprj->tryCreateCoordinateReferenceSystem(own)) std::abort();
  }
  for (const wchar_t* to : {L"PRJ", L"GeoKey Moniker"}) {
    std::wstring there;
    coordinateReferencing::AuthorityTranslationSupport::TranslateCode(authority, code, to, there, false);
    if (!there.empty() &&
        !ReferencingFactoryFinder::getCRSAuthorityFactory(to)->tryCreateCoordinateReferenceSystem(there) &&
        std::wstring(to) != L"PRJ")
      std::abort();
  }
  return 0;
}

}  // namespace fuzzing
