#include "txbasiclib/color.h"

#include "txlib/basicdata.h"

namespace Tamrin::TesseraBasic {

std::vector<std::wstring> Color::GetKeys() const { return {L"Red", L"Green", L"Blue", L"Opacity"}; }

boost::shared_ptr<Tessera::Data> Color::operator[](const std::wstring& key) const {
  if (key == L"Red") return Tessera::MakeData<Tessera::DoubleData>(red_);
  if (key == L"Green") return Tessera::MakeData<Tessera::DoubleData>(green_);
  if (key == L"Blue") return Tessera::MakeData<Tessera::DoubleData>(blue_);
  if (key == L"Opacity") return Tessera::MakeData<Tessera::DoubleData>(opacity_);
  return nullptr;
}

}  // namespace Tamrin::TesseraBasic
