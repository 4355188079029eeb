#include "wrapperparts.h"

namespace Tamrin::TesseraBasic {

using tessera::Data;

boost::shared_ptr<Data> PasswordData::Clone() const { return CopyOf(*this); }

bool PasswordData::ToJSON(tessera::JsonValue&) const { return false; }

// As many asterisks whatever the length, which is nobody's business either.
std::wstring PasswordData::ToShortString() const { return L"********"; }

std::wstring PasswordData::ToReportString() const { return L"********"; }

boost::shared_ptr<Data> DistanceUnitTypeData::Clone() const { return CopyOf(*this); }

boost::shared_ptr<Data> VectorFeatureTypeData::Clone() const { return CopyOf(*this); }

}  // namespace Tamrin::TesseraBasic
