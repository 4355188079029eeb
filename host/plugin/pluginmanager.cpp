#include "plugin/pluginmanager.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/locale/utf.hpp>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <shared_mutex>
#include <sstream>
#include <system_error>
#include <unordered_map>

namespace korven::plugin {

namespace {

constexpr const char* kEntryName = "GetAvailablePluginProxiesOfType";
constexpr const char* kFirstLibrary = "libtx_general.so";
constexpr std::size_t kCategoryCount = 6;

/// Bytes that are no UTF-8 stand as U+DC80 to U+DCFF, as in all wide file names.
std::wstring Widen(const std::string& bytes) {
  using Traits = boost::locale::utf::utf_traits<char>;
  std::wstring text;
  for (auto place = bytes.begin(); place != bytes.end();) {
    const auto start = place;
    const auto code = Traits::decode(place, bytes.end());
    if (code != boost::locale::utf::illegal && code != boost::locale::utf::incomplete) {
      text += static_cast<wchar_t>(code);
    } else {
      text += static_cast<wchar_t>(0xDC00 + static_cast<unsigned char>(*start));
      place = start + 1;
    }
  }
  return text;
}

using Proxies = std::vector<boost::shared_ptr<AvailablePluginProxy>>;

struct Category {
  std::vector<PluginManager::Entry> entries;
  std::vector<std::wstring> files;  ///< of the same index: where each entry came from
  std::unordered_map<std::wstring, std::size_t> places;
  /// Leaves the first ones alone.
  void TakeBack(std::size_t count) {
    std::erase_if(places, [count](const auto& place) { return place.second >= count; });
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(std::min(count, entries.size())), entries.end());
    files.erase(files.begin() + static_cast<std::ptrdiff_t>(std::min(count, files.size())), files.end());
  }
};

std::optional<std::size_t> CategoryIndex(const std::wstring& name) {
  const auto& names = PluginManager::Categories();
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) return std::nullopt;
  return static_cast<std::size_t>(found - names.begin());
}

/// The libraries of a folder in their order of loading.
std::vector<std::filesystem::path> LibrariesIn(const std::filesystem::path& folder, std::error_code& failure) {
  std::vector<std::filesystem::path> files;
  std::filesystem::directory_iterator entry(folder, failure);
  for (; !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure)) {
    std::error_code ignored;  // a link that leads nowhere is told when it is loaded
    if (entry->path().extension() == ".so" && !entry->is_directory(ignored)) files.push_back(entry->path());
  }
  std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) {
    const bool aFirst = a.filename() == kFirstLibrary;
    const bool bFirst = b.filename() == kFirstLibrary;
    return aFirst != bFirst ? aFirst : a.native() < b.native();
  });
  return files;
}

}  // namespace

struct PluginManager::State {
  // Guards the tables; never held while code of a plug-in runs.
  std::shared_mutex tables;
  std::array<Category, kCategoryCount> categories;
  std::vector<std::wstring> problems;

  // One library at a time. Recursive, as a plug-in may look something up while it is loaded.
  std::recursive_mutex loading;
  std::set<void*> handles;
  bool searchBegun = false;
  std::atomic<bool> searchDone{false};

  void AddProblem(std::wstring text) {
    const std::lock_guard lock(tables);
    problems.push_back(std::move(text));
  }

  bool Register(const std::wstring& plugin, const std::wstring& file, AvailablePluginProxiesFunction function);
  bool Collect(const std::wstring& file, AvailablePluginProxiesFunction function,
               std::array<Proxies, kCategoryCount>& offered);
  void Add(std::size_t category, const std::wstring& plugin, const std::wstring& file, const Proxies& proxies);
  bool Load(const std::string& file);
  void SearchOnce();
  void Search();
  void SearchFolder(const std::filesystem::path& folder, bool mayBeMissing);
};

/// Asks for every category before anything is kept: a plug-in is taken whole or not at all.
bool PluginManager::State::Collect(const std::wstring& file, AvailablePluginProxiesFunction function,
                                   std::array<Proxies, kCategoryCount>& offered) {
  const std::wstring where = L"Plug-in \"" + file + L"\" failed to list its types of category \"";
  for (std::size_t i = 0; i < kCategoryCount; ++i) {
    const std::wstring& category = Categories()[i];
    try {
      const int result = function(category, offered[i]);
      if (result == 0) continue;
      AddProblem(where + category + L"\": the result was " + std::to_wstring(result) + L", not 0.");
    } catch (const std::bad_alloc&) {
      throw;  // no fault of the plug-in: the next look-up begins anew
    } catch (const std::exception& exception) {
      AddProblem(where + category + L"\": " + Widen(exception.what()));
    } catch (...) {
      AddProblem(where + category + L"\": unknown exception.");
    }
    return false;
  }
  return true;
}

void PluginManager::State::Add(std::size_t category, const std::wstring& plugin, const std::wstring& file,
                               const Proxies& proxies) {
  const std::lock_guard lock(tables);
  Category& table = categories[category];
  const std::wstring& categoryName = Categories()[category];
  for (const auto& proxy : proxies) {
    if (!proxy || proxy->GetName().empty()) {
      problems.push_back(L"Plug-in \"" + file + L"\" offers a type without a name in category \"" + categoryName +
                         L"\".");
      continue;
    }
    const auto [place, isNew] = table.places.emplace(proxy->GetName(), table.entries.size());
    if (isNew) {
      table.entries.push_back({proxy, plugin});
      table.files.push_back(file);
      continue;
    }
    problems.push_back(L"Plug-in \"" + file + L"\" offers the name \"" + proxy->GetName() + L"\" in category \"" +
                       categoryName + L"\", which \"" + table.files[place->second] +
                       L"\" has taken already. The second one is left out.");
  }
}

bool PluginManager::State::Register(const std::wstring& plugin, const std::wstring& file,
                                    AvailablePluginProxiesFunction function) {
  std::array<Proxies, kCategoryCount> offered;
  if (!Collect(file, function, offered)) return false;
  std::array<std::size_t, kCategoryCount> before{};
  for (std::size_t i = 0; i < kCategoryCount; ++i) before[i] = categories[i].entries.size();
  try {
    for (std::size_t i = 0; i < kCategoryCount; ++i) Add(i, plugin, file, offered[i]);
  } catch (...) {
    const std::lock_guard lock(tables);
    for (std::size_t i = 0; i < kCategoryCount; ++i) categories[i].TakeBack(before[i]);
    throw;
  }
  return true;
}

bool PluginManager::State::Load(const std::string& file) {
  const std::lock_guard lock(loading);
  const std::wstring wideFile = Widen(file);
  // With a slash in it: a bare name would be looked for in the system's library folders.
  const std::string path = file.find('/') == std::string::npos ? "./" + file : file;
  void* const handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* reason = ::dlerror();
    AddProblem(L"Plug-in \"" + wideFile + L"\" can't be loaded: " + Widen(reason ? reason : "no reason given"));
    return false;
  }
  if (handles.count(handle) != 0) return true;
  void* const symbol = ::dlsym(handle, kEntryName);
  if (!symbol) {
    AddProblem(L"Plug-in \"" + wideFile + L"\" does not export \"" + Widen(kEntryName) + L"\".");
    return false;
  }
  handles.insert(handle);
  const auto function = reinterpret_cast<AvailablePluginProxiesFunction>(symbol);
  try {
    const bool registered = Register(Widen(std::filesystem::path(file).filename().native()), wideFile, function);
    if (!registered) handles.erase(handle);
    return registered;
  } catch (...) {
    handles.erase(handle);
    throw;
  }
}

void PluginManager::State::SearchFolder(const std::filesystem::path& folder, bool mayBeMissing) {
  std::error_code failure;
  const auto files = LibrariesIn(folder, failure);
  if (failure && !(mayBeMissing && failure == std::errc::no_such_file_or_directory)) {
    AddProblem(L"Plug-in folder \"" + Widen(folder.native()) + L"\" can't be read: " + Widen(failure.message()) + L".");
  }
  for (const auto& file : files) Load(file.native());
}

void PluginManager::State::SearchOnce() {
  if (searchDone.load(std::memory_order_acquire)) return;
  const std::lock_guard lock(loading);
  if (searchBegun) return;  // by another thread before us, or by this one further up
  searchBegun = true;
  try {
    Search();
  } catch (...) {
    searchBegun = false;
    throw;
  }
  searchDone.store(true, std::memory_order_release);
}

void PluginManager::State::Search() {
  const char* home = std::getenv("VANTIX_HOME");
  const char* platform = std::getenv("ARCHM");
  if (home && *home && platform && *platform) {
    SearchFolder(std::filesystem::path(home) / "lib" / platform / "plugins", true);
  }
  const char* path = std::getenv("VANTIX_PLUGIN_PATH");
  std::istringstream folders(path ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (!folder.empty()) SearchFolder(folder, false);
  }
}

// Both the tables and the libraries stay until the process ends: other static objects may hold instances.
PluginManager& PluginManager::Instance() {
  static PluginManager& manager = *new PluginManager;
  return manager;
}

PluginManager::PluginManager() : state_(new State) {}

PluginManager::~PluginManager() { delete state_; }

bool PluginManager::Load(const std::string& file) { return state_->Load(file); }

void PluginManager::AddBuiltIn(const std::wstring& plugin, AvailablePluginProxiesFunction function) {
  const std::lock_guard lock(state_->loading);
  state_->Register(plugin, plugin, function);
}

boost::shared_ptr<AvailablePluginProxy> PluginManager::Find(const std::wstring& category, const std::wstring& name) {
  state_->SearchOnce();
  const auto index = CategoryIndex(category);
  if (!index) return nullptr;
  const std::shared_lock lock(state_->tables);
  const Category& table = state_->categories[*index];
  const auto found = table.places.find(name);
  return found == table.places.end() ? nullptr : table.entries[found->second].proxy;
}

std::vector<PluginManager::Entry> PluginManager::List(const std::wstring& category) {
  state_->SearchOnce();
  const auto index = CategoryIndex(category);
  if (!index) return {};
  const std::shared_lock lock(state_->tables);
  return state_->categories[*index].entries;
}

const std::vector<std::wstring>& PluginManager::Categories() {
  static const std::vector<std::wstring>& names = *new std::vector<std::wstring>{
      L"Operator", L"Conversion", L"Data", L"DataRequest", L"ModelFormat", L"UIProvider"};
  return names;
}

std::vector<std::wstring> PluginManager::GetProblems() {
  const std::shared_lock lock(state_->tables);
  return state_->problems;
}

}  // namespace korven::plugin
