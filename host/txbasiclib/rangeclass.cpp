#include "txbasiclib/rangeclass.h"

#include "txlib/basicdata.h"

namespace Tamrin::TesseraBasic {

std::vector<std::wstring> RangeClass::GetKeys() const { return {L"Start", L"End"}; }

boost::shared_ptr<Tessera::Data> RangeClass::operator[](const std::wstring& key) const {
  if (key == L"Start") return Tessera::MakeData<Tessera::DoubleData>(start_);
  if (key == L"End") return Tessera::MakeData<Tessera::DoubleData>(end_);
  return nullptr;
}

}  // namespace Tamrin::TesseraBasic
