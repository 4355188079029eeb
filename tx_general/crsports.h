#pragma once

#include <string>

#include "kprj/crsfactory.h"
#include "referencing/authority.h"
#include "support.h"
#include "txgeospatiallib/coordinatereferencesystemid.h"

namespace korven::tx_general {

using CRSID = Tamrin::TesseraGeospatial::CoordinateReferenceSystemID;
using CRSIDData = Tamrin::TesseraGeospatial::CoordinateReferenceSystemIDData;
using iso::referencing::crs::CRSPtr;

inline PortPtr CreateCRSPort(Operator& op, const wchar_t* name, PortType portType) {
  return op.CreatePort(name, CRSIDData::DefaultTypeName(), portType);
}

/// The factory that takes coordinate reference systems apart and puts them together.
inline boost::shared_ptr<kprj::ICRSFactory> PartsFactory() {
  return boost::dynamic_pointer_cast<kprj::ICRSFactory>(
      coordinateReferencing::ReferencingFactoryFinder::getCRSAuthorityFactory(L"KPRJ"));
}

inline std::wstring WhyMissing(const CRSID& id) {
  return coordinateReferencing::ExplainMissingCRS(id.GetAuthority(), id.GetCode());
}

/// How another authority calls the system; empty where it has no name for it.
inline std::wstring TranslatedCode(const CRSID& id, const std::wstring& authority) {
  std::wstring code;
  coordinateReferencing::AuthorityTranslationSupport::TranslateCode(id.GetAuthority(), id.GetCode(), authority, code,
                                                                    false);
  return code;
}

}  // namespace korven::tx_general
