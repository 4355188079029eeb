#pragma once

#include <cstddef>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <utility>

#include "kcommon/kerr.h"
#include "plugin/pluginmanager.h"
#include "txlib/builtin.h"

namespace Tamrin::Tessera {

/// Rows of one category of the plug-in manager by a key that only the instances tell. Any thread.
/// Never destroyed by its users: its rows hold objects of plug-ins, which outlive every static object.
template <typename Row>
class CatalogueIndex {
 public:
  using Entry = korven::plugin::PluginManager::Entry;
  /// Makes an instance and tells its key. False where the instance is none of the category.
  using Reader = bool (*)(const Entry& entry, std::wstring& key, Row& row);

  CatalogueIndex(const wchar_t* category, Reader reader) : category_(category), reader_(reader) {}

  /// What is known so far.
  bool Find(const std::wstring& key, Row& row) const {
    const std::shared_lock lock(mutex_);
    const auto found = rows_.find(key);
    if (found == rows_.end()) return false;
    row = found->second;
    return true;
  }

  /// Reads the manager's list again where it has grown. All that was registered before is known afterwards.
  void Refresh() {
    EnsureBuiltIns();
    const auto entries = korven::plugin::PluginManager::Instance().List(category_);
    {
      const std::shared_lock lock(mutex_);
      if (entries.size() <= known_) return;
    }
    // Without the lock: a type's constructor may come back here.
    std::unordered_map<std::wstring, Row> rows;
    for (const Entry& entry : entries) Read(entry, rows);
    const std::unique_lock lock(mutex_);
    if (entries.size() > known_) {
      rows_ = std::move(rows);
      known_ = entries.size();
    }
  }

 private:
  // One type that can't be made must not take the others with it.
  void Read(const Entry& entry, std::unordered_map<std::wstring, Row>& rows) const {
    std::wstring key;
    Row row;
    try {
      if (reader_(entry, key, row)) rows.emplace(std::move(key), std::move(row));
    } catch (...) {
      KerrException error(L"txlib\\catalogueindex", L"Tamrin::Tessera::CatalogueIndex::Read");
      kerr_LogCurrentException(error, __LINE__);
    }
  }

  const wchar_t* category_;
  Reader reader_;
  mutable std::shared_mutex mutex_;
  std::unordered_map<std::wstring, Row> rows_;
  std::size_t known_ = 0;
};

}  // namespace Tamrin::Tessera
