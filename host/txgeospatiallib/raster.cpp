#include "txgeospatiallib/raster.h"

#include <sys/stat.h>

#include <boost/make_shared.hpp>
#include <stdexcept>

#include "kcommon/kfnp.h"
#include "kcommon/module.h"
#include "korvenlog/exception.h"
#include "txlib/comparedata.h"
#include "txlib/jsonfault.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::TesseraGeospatial {

using Tessera::Data;
using Tessera::JsonValue;

const RasterEngine& RasterEngine::Get() {
  static const auto* const engine = static_cast<const RasterEngine*>(korven::common::LoadModule("gdal"));
  return *engine;
}

Raster::Stamp Raster::StampOf(const std::wstring& name) {
  struct stat status {};
  if (::stat(kfnp_ToNative(name).c_str(), &status) != 0) return {name, {}};
  const auto number = [](auto value) { return static_cast<std::uint64_t>(value); };
  return {name,
          {number(status.st_dev), number(status.st_ino), number(status.st_size), number(status.st_mtim.tv_sec),
           number(status.st_mtim.tv_nsec)}};
}

boost::shared_ptr<const RasterFacts> Raster::GetFacts() const {
  const std::lock_guard lock(mutex_);
  if (facts_) return facts_;
  RasterEngine::Opened opened = RasterEngine::Get().ReadFacts(name_);
  stamps_.clear();
  for (const std::wstring& file : opened.files) stamps_.push_back(StampOf(file));
  warnings_ = std::move(opened.warnings);
  facts_ = boost::make_shared<const RasterFacts>(std::move(opened.facts));
  return facts_;
}

std::vector<std::wstring> Raster::GetWarnings() const {
  GetFacts();
  const std::lock_guard lock(mutex_);
  return warnings_;
}

std::unique_ptr<RasterReader> Raster::Open() const {
  const auto facts = GetFacts();
  CheckUnchanged();
  return RasterEngine::Get().Open(name_, facts);
}

void Raster::CheckUnchanged() const {
  const std::lock_guard lock(mutex_);
  for (const Stamp& stamp : stamps_) {
    if (StampOf(stamp.name).state == stamp.state) continue;
    KorvenLog::CPPException<std::runtime_error>(L"txgeospatiallib\\raster",
                                                L"Tamrin::TesseraGeospatial::Raster::CheckUnchanged")
        .Throw(__LINE__, L"The raster \"" + name_ + L"\" has changed since it was opened: the file \"" + stamp.name +
                             L"\" is not the one it was.");
  }
}

std::wstring RasterData::ToString() const { return HasNoValue() ? std::wstring() : GetDataValue().GetName(); }

boost::shared_ptr<Data> RasterData::Clone() const {
  return HasNoValue() ? boost::make_shared<RasterData>() : MakeRasterData(GetDataValue().GetName());
}

bool RasterData::operator>(const boost::shared_ptr<Data>& other) const {
  if (!other) return true;
  const auto* same = dynamic_cast<const RasterData*>(other.get());
  return same && !HasNoValue() && !same->HasNoValue() ? ToString() > same->ToString()
                                                      : Tessera::CompareData(*this, *other) > 0;
}

bool RasterData::operator<(const boost::shared_ptr<Data>& other) const {
  if (!other) return false;
  const auto* same = dynamic_cast<const RasterData*>(other.get());
  return same && !HasNoValue() && !same->HasNoValue() ? ToString() < same->ToString()
                                                      : Tessera::CompareData(*this, *other) < 0;
}

bool RasterData::FromString(const std::wstring& text) {
  if (text.empty()) return false;
  SetDataPointer(boost::make_shared<Raster>(text));
  return true;
}

bool RasterData::ToJSON(JsonValue& json) const {
  json = HasNoValue() ? JsonValue() : JsonValue(GetDataValue().GetName());
  return true;
}

bool RasterData::FromJSON(const JsonValue& json) {
  if (!json.IsNull())
    return (json.IsString() && FromString(json.AsString())) || Tessera::RefuseJson(json, L"the name of a raster file");
  SetDataPointer(nullptr);
  return true;
}

std::uint64_t RasterData::SizeInBytes() const {
  return sizeof(RasterData) + (HasNoValue() ? 0 : sizeof(Raster) + GetDataValue().GetName().size() * sizeof(wchar_t));
}

}  // namespace Tamrin::TesseraGeospatial
