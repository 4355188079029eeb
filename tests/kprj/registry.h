#pragma once

#include <gtest/gtest.h>
#include <proj.h>

#include <algorithm>
#include <atomic>
#include <boost/pointer_cast.hpp>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kcommon/kstr.h"
#include "kprj/crsfactory.h"
#include "referencing/authority.h"

/// What the registries hold, asked of PROJ itself.
namespace registry {

struct Entry {
  std::wstring code;
  PJ_TYPE type;
  bool deprecated;
};

class Proj {
 public:
  Proj() : context_(::proj_context_create()) {}
  ~Proj() { ::proj_context_destroy(context_); }
  Proj(const Proj&) = delete;
  Proj& operator=(const Proj&) = delete;

  /// The geographic, projected, vertical and compound systems.
  std::vector<Entry> Systems(const char* authority) const {
    PROJ_CRS_LIST_PARAMETERS* const parameters = ::proj_get_crs_list_parameters_create();
    parameters->allow_deprecated = 1;
    int count = 0;
    PROJ_CRS_INFO** const list = ::proj_get_crs_info_list_from_database(context_, authority, parameters, &count);
    ::proj_get_crs_list_parameters_destroy(parameters);
    std::vector<Entry> entries;
    std::set<std::string> seen;
    for (int i = 0; i < count; ++i) {
      const PJ_TYPE type = list[i]->type;
      const bool wanted = type == PJ_TYPE_GEOGRAPHIC_2D_CRS || type == PJ_TYPE_GEOGRAPHIC_3D_CRS ||
                          type == PJ_TYPE_PROJECTED_CRS || type == PJ_TYPE_VERTICAL_CRS || type == PJ_TYPE_COMPOUND_CRS;
      if (wanted && seen.insert(list[i]->code).second)
        entries.push_back({kstr_Widen(list[i]->code), type, list[i]->deprecated != 0});
    }
    ::proj_crs_info_list_destroy(list);
    return entries;
  }

  /// Of two codes of one authority, latitude and longitude in any order.
  bool AreEquivalent(const char* authority, const std::wstring& one, const std::wstring& other) const {
    PJ* const first = Make(authority, one);
    PJ* const second = Make(authority, other);
    const bool same =
        first && second &&
        ::proj_is_equivalent_to_with_ctx(context_, first, second, PJ_COMP_EQUIVALENT_EXCEPT_AXIS_ORDER_GEOGCRS) != 0;
    ::proj_destroy(first);
    ::proj_destroy(second);
    return same;
  }

  /// As ESRI's files have it, for systems that differ in nothing that such a file holds.
  std::string EsriText(const char* authority, const std::wstring& code) const {
    PJ* const system = Make(authority, code);
    const char* const options[] = {"MULTILINE=NO", nullptr};
    const char* const text = system ? ::proj_as_wkt(context_, system, PJ_WKT1_ESRI, options) : nullptr;
    const std::string result = text ? text : "";
    ::proj_destroy(system);
    return result;
  }

  PJ_CONTEXT* Context() const { return context_; }

 private:
  PJ* Make(const char* authority, const std::wstring& code) const {
    return ::proj_create_from_database(context_, authority, kstr_ToUtf8(code).c_str(), PJ_CATEGORY_CRS, 0, nullptr);
  }

  PJ_CONTEXT* context_;
};

inline std::wstring Translate(const std::wstring& from, const std::wstring& code, const std::wstring& to) {
  std::wstring out;
  coordinateReferencing::AuthorityTranslationSupport::TranslateCode(from, code, to, out, false);
  return out;
}

inline boost::shared_ptr<const kprj::ICRSFactory> Kprj() {
  return boost::dynamic_pointer_cast<const kprj::ICRSFactory>(
      coordinateReferencing::ReferencingFactoryFinder::getCRSAuthorityFactory(L"KPRJ"));
}

inline iso::referencing::crs::CRSPtr Crs(const std::wstring& authority, const std::wstring& code) {
  return coordinateReferencing::ReferencingFactoryFinder::getCRSAuthorityFactory(authority)
      ->createCoordinateReferenceSystem(code);
}

inline std::wstring CodeOf(const iso::referencing::crs::CRSPtr& crs) { return crs->getIdentifiers().at(0).code; }

/// On all processors; `action` may be called by any of them.
template <typename Action>
void ForAll(const std::vector<Entry>& entries, Action action) {
  std::atomic<std::size_t> next{0};
  std::vector<std::thread> threads;
  const unsigned count = std::max(2U, std::thread::hardware_concurrency());
  for (unsigned i = 0; i < count; ++i)
    threads.emplace_back([&] {
      for (std::size_t at = next++; at < entries.size(); at = next++) action(entries[at]);
    });
  for (std::thread& thread : threads) thread.join();
}

/// What became of every code that was sent to an authority and back.
class Outcome {
 public:
  void Add(const Entry& entry, const std::wstring& back) {
    const std::lock_guard lock(mutex_);
    ++count_[entry.deprecated];
    if (back == entry.code)
      ++same_[entry.deprecated];
    else
      others_.emplace_back(entry, back);
  }
  std::size_t Count(bool deprecated) const { return count_[deprecated]; }
  std::size_t Same(bool deprecated) const { return same_[deprecated]; }
  const std::vector<std::pair<Entry, std::wstring>>& Others() const { return others_; }
  /// Current codes that came back as another one, or not.
  std::set<std::wstring> CurrentOthers() const {
    std::set<std::wstring> codes;
    for (const auto& [entry, back] : others_)
      if (!entry.deprecated) codes.insert(entry.code);
    return codes;
  }
  std::string Report() const {
    std::string text = "current " + std::to_string(same_[0]) + " of " + std::to_string(count_[0]) + ", deprecated " +
                       std::to_string(same_[1]) + " of " + std::to_string(count_[1]) + ":";
    for (const bool deprecated : {false, true})
      for (const auto& [entry, back] : others_)
        if (entry.deprecated == deprecated)
          text += " " + kstr_ToUtf8(entry.code) + (entry.deprecated ? "(deprecated)" : "") + "->" + kstr_ToUtf8(back);
    return text;
  }

 private:
  std::mutex mutex_;
  std::size_t count_[2] = {0, 0};
  std::size_t same_[2] = {0, 0};
  std::vector<std::pair<Entry, std::wstring>> others_;
};

}  // namespace registry
