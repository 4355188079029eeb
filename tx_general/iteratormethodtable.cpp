#include "iteratormethodtable.h"

#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/join.hpp>
#include <boost/algorithm/string/split.hpp>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>

#include "plugin/plugintypeinfo.h"
#include "txlib/factories.h"

namespace korven::tx_general {

namespace {

using Tamrin::Tessera::OperatorFactory;

/// The rest of a name that begins with the prefix of methods; empty for any other.
std::wstring ShortName(const std::wstring& objectName) {
  const std::wstring prefix = L"IteratorExecutionMethod";
  return objectName.starts_with(prefix) ? objectName.substr(prefix.size()) : std::wstring();
}

std::unique_ptr<const IteratorMethodTable> BuildTable() {
  auto table = std::make_unique<IteratorMethodTable>();
  std::set<std::wstring> keywords;
  for (const auto& info : OperatorFactory::GetPluginTypeInfoByPrototype(kIteratorMethodPrototype)) {
    const std::wstring nameSpace = info->GetProperty(L"Namespace");
    const std::wstring objectName = info->GetProperty(L"ObjectName");
    std::wstring shortName = ShortName(objectName);
    const auto& known = table->shortNames;
    const bool isTaken = std::find(known.begin(), known.end(), shortName) != known.end();
    if (shortName.empty() || isTaken) shortName = nameSpace + L"." + objectName;
    std::vector<std::wstring> words;
    boost::split(words, info->GetProperty(L"Keywords"), boost::is_any_of(L"|"));
    for (const std::wstring& word : words) {
      if (!word.empty()) keywords.insert(word);
    }
    table->objectNames.push_back(objectName);
    table->namespaces.push_back(nameSpace);
    table->shortNames.push_back(shortName);
  }
  table->keywords = boost::join(keywords, L"|");
  return table;
}

/// Goes with the library's static objects, and leaves word that it has gone.
struct Holder {
  std::unique_ptr<const IteratorMethodTable> table;
  ~Holder();
};
std::mutex tableMutex;
bool tableIsGone = false;
Holder holder;

Holder::~Holder() {
  const std::lock_guard lock(tableMutex);
  tableIsGone = true;
}

}  // namespace

const IteratorMethodTable& IteratorMethodTable::Instance() {
  const std::lock_guard lock(tableMutex);
  if (tableIsGone) throw std::runtime_error("Dead Reference Detected");
  if (!holder.table) holder.table = BuildTable();
  return *holder.table;
}

}  // namespace korven::tx_general
