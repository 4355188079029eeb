#include "indexes.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>

#include "kcommon/kstr.h"
#include "record.h"

namespace kprj {

using proj::CompoundRow;
using proj::VerticalRow;

namespace {

std::wstring DatumKey(const std::wstring& datumName, bool down) { return datumName + (down ? L"\nv" : L"\n^"); }

std::wstring KeyOf(const Kprj_ElevationInfo& elevation) {
  std::wstring key = DatumKey(elevation.datumName, elevation.elevationType == KprjDepth) + elevation.unitsName;
  if (elevation.unitsFactor > 0) key += L'\n' + kstr_ShortestDouble(elevation.unitsFactor);
  return key;
}

std::string NameKey(const std::string& name) {
  std::string key;
  for (const char c : name)
    if (c >= 'A' && c <= 'Z')
      key += static_cast<char>(c - 'A' + 'a');
    else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || static_cast<unsigned char>(c) >= 0x80)
      key += c;
  return key.starts_with("gcs") ? key.substr(3) : key;
}

std::string KeyOf(const std::string& a, const std::string& b, const std::string& c, const std::string& d) {
  return a + '\n' + b + '\n' + c + '\n' + d;
}

}  // namespace

/// One index of each kind for a registry; whoever comes while it is being read waits for it.
class IndexTable {
 public:
  template <typename Index, typename Read>
  static const Index& Get(const std::string& registry, Read read) {
    struct Entry {
      std::once_flag once;
      std::unique_ptr<const Index> index;
    };
    struct Table {
      std::mutex mutex;
      std::map<std::string, Entry> entries;
    };
    static Table& table = *new Table;
    std::unique_lock lock(table.mutex);
    Entry& entry = table.entries[registry];
    lock.unlock();
    std::call_once(entry.once, [&] { entry.index.reset(new Index(read())); });
    return *entry.index;
  }
};

VerticalIndex::VerticalIndex(std::vector<VerticalRow> rows) : rows_(std::move(rows)) {
  for (const bool deprecated : {false, true})
    for (const VerticalRow& row : rows_) {
      if (row.deprecated != deprecated) continue;
      const Kprj_ElevationInfo elevation = ElevationOf(row.vertical);
      byDefinition_.emplace(KeyOf(elevation), &row);
      byDatum_.emplace(DatumKey(elevation.datumName, row.vertical.down), &row);
      if (!deprecated) byName_[NameKey(row.name)].push_back(row.code);
    }
}

const VerticalRow* VerticalIndex::FindDatumCode(const std::string& code) const {
  const auto found = std::find_if(rows_.begin(), rows_.end(), [&](const VerticalRow& row) {
    return row.datumCode == code && row.datumAuthority == "EPSG";
  });
  return found == rows_.end() ? nullptr : &*found;
}

const VerticalIndex& VerticalIndex::Of(const std::string& registry) {
  return IndexTable::Get<VerticalIndex>(registry, [&] { return proj::GetCalls().VerticalSystems(registry); });
}

const VerticalRow* VerticalIndex::Find(const Kprj_ElevationInfo& elevation) const {
  if (elevation.elevationType != KprjHeight && elevation.elevationType != KprjDepth) return nullptr;
  const auto found = byDefinition_.find(KeyOf(elevation));
  return found == byDefinition_.end() ? nullptr : found->second;
}

const VerticalRow* VerticalIndex::FindDatum(const std::wstring& datumName, bool down) const {
  for (const bool direction : {down, !down})
    if (const auto found = byDatum_.find(DatumKey(datumName, direction)); found != byDatum_.end()) return found->second;
  return nullptr;
}

const std::vector<std::string>& VerticalIndex::FindNamed(const std::string& name) const {
  static const std::vector<std::string> none;
  const auto found = byName_.find(NameKey(name));
  return found == byName_.end() ? none : found->second;
}

CompoundIndex::CompoundIndex(std::vector<CompoundRow> rows) : rows_(std::move(rows)) {
  for (const bool deprecated : {false, true})
    for (const CompoundRow& row : rows_)
      if (row.deprecated == deprecated)
        byParts_.emplace(KeyOf(row.horizontalAuthority, row.horizontalCode, row.verticalAuthority, row.verticalCode),
                         &row);
}

const CompoundIndex& CompoundIndex::Of(const std::string& registry) {
  return IndexTable::Get<CompoundIndex>(registry, [&] { return proj::GetCalls().CompoundSystems(registry); });
}

const CompoundRow* CompoundIndex::Find(const std::string& horizontalAuthority, const std::string& horizontalCode,
                                       const std::string& verticalAuthority, const std::string& verticalCode) const {
  const auto found = byParts_.find(KeyOf(horizontalAuthority, horizontalCode, verticalAuthority, verticalCode));
  return found == byParts_.end() ? nullptr : found->second;
}

}  // namespace kprj
