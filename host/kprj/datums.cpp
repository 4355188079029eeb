#include "datums.h"

#include "kcommon/kstr.h"
#include "kprj/korvendatum.h"

struct Kint_Init {};

Kint_Init* kint_GetInit() {
  static Kint_Init init;
  return &init;
}

std::wstring kprj_GetSpheroidNameByDatumName(Kint_Init* /*init*/, const std::wstring& datum, KerrException& /*error*/) {
  const auto row = kprj::Datums::Get().Resolve(kstr_ToUtf8(datum));
  return row ? kstr_FromUtf8Lossy(row->ellipsoid) : std::wstring();
}

namespace kprj {

Datums& Datums::Get() {
  // Not destroyed: threads may still run while the process ends.
  static Datums& datums = *new Datums;
  return datums;
}

Datums::Datums() {
  for (proj::DatumRow& row : proj::GetCalls().GeodeticDatums())
    geodetic_.emplace(std::move(row.name), std::move(row.ellipsoid));
  for (std::string& name : proj::GetCalls().VerticalDatums()) vertical_.insert(std::move(name));
}

std::string Datums::FindSpheroid(const std::string& name) const {
  const auto found = geodetic_.find(name);
  return found == geodetic_.end() ? std::string() : found->second;
}

std::optional<proj::DatumRow> Datums::Resolve(const std::string& name) {
  if (const auto found = geodetic_.find(name); found != geodetic_.end())
    return proj::DatumRow{found->first, found->second};
  const std::wstring key = kstr_FromUtf8Lossy(name);
  if (const auto known = resolved_.Find(key)) return *known;
  return resolved_.Keep(key, proj::GetCalls().ResolveGeodeticDatum(name));
}

bool IsOverOwnEllipsoid(const std::string& datumName, const Kprj_ElevationInfo& elevation) {
  if (elevation.elevationType != KprjHeight) return false;
  const std::string other = kstr_ToUtf8(elevation.datumName);
  if (datumName == other) return true;
  const auto own = Datums::Get().Resolve(datumName);
  const auto found = own ? Datums::Get().Resolve(other) : std::nullopt;
  return found && own->name == found->name;
}

}  // namespace kprj

namespace KorvenDatum {

const DatumManager& DatumManager::GetInstance() {
  static const DatumManager manager;
  return manager;
}

int DatumManager::GetDatumType(const std::wstring& name) const {
  const std::string text = kstr_ToUtf8(name);
  kprj::Datums& datums = kprj::Datums::Get();
  if (datums.IsGeodetic(text)) return Ellipsoidal;
  if (datums.Resolve(text)) return Ellipsoidal;
  return datums.IsVertical(text) ? Gravity : Unknown;
}

std::wstring DatumManager::GetBaseEllipsoidDatumName(const std::wstring& name) const {
  const auto row = kprj::Datums::Get().Resolve(kstr_ToUtf8(name));
  return row ? kstr_FromUtf8Lossy(row->name) : std::wstring();
}

}  // namespace KorvenDatum
