#include <map>
#include <mutex>
#include <stdexcept>

#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "referencing/authority.h"

namespace coordinateReferencing {

using iso::referencing::crs::CRSAuthorityFactory;
using iso::referencing::crs::CRSPtr;

namespace {

struct Table {
  std::mutex mutex;
  std::vector<boost::shared_ptr<const AuthorityProvider>> providers;
  std::map<std::wstring, boost::shared_ptr<CRSAuthorityFactory>> factories;
};

// Providers come while other static objects are still being made, and are asked while such are being destroyed.
Table& GetTable() {
  static Table& table = *new Table;
  return table;
}

[[noreturn]] void Refuse(const wchar_t* function, int line, const std::wstring& text) {
  KorvenLog::CPPException<std::runtime_error>(L"referencing\\finder", function).Throw(line, text);
}

std::wstring UnknownAuthority(const std::wstring& authority) {
  std::wstring text = L"No authority of coordinate reference systems has the name \"" + authority + L"\"";
  const std::wstring nearest = kstr_NearestName(authority, ReferencingFactoryFinder::getAuthorities());
  if (!nearest.empty()) text += L"; the nearest known one is \"" + nearest + L"\"";
  return text + L".";
}

}  // namespace

void ReferencingFactoryFinder::addProvider(boost::shared_ptr<const AuthorityProvider> provider) {
  Table& table = GetTable();
  const std::lock_guard lock(table.mutex);
  table.providers.push_back(std::move(provider));
}

std::vector<std::wstring> ReferencingFactoryFinder::getAuthorities() {
  Table& table = GetTable();
  std::unique_lock lock(table.mutex);
  const auto providers = table.providers;
  lock.unlock();
  std::vector<std::wstring> names;
  for (const auto& provider : providers)
    for (std::wstring& name : provider->GetAuthorities()) names.push_back(std::move(name));
  return names;
}

boost::shared_ptr<CRSAuthorityFactory> ReferencingFactoryFinder::tryGetCRSAuthorityFactory(
    const std::wstring& authority) {
  Table& table = GetTable();
  std::unique_lock lock(table.mutex);
  if (const auto known = table.factories.find(authority); known != table.factories.end()) return known->second;
  const auto providers = table.providers;
  lock.unlock();
  for (const auto& provider : providers) {
    const auto factory = provider->Create(authority);
    if (!factory) continue;
    lock.lock();
    return table.factories.emplace(authority, factory).first->second;
  }
  return nullptr;
}

boost::shared_ptr<CRSAuthorityFactory> ReferencingFactoryFinder::getCRSAuthorityFactory(const std::wstring& authority,
                                                                                        const Hints* /*hints*/) {
  const auto factory = tryGetCRSAuthorityFactory(authority);
  if (!factory)
    Refuse(L"coordinateReferencing::ReferencingFactoryFinder::getCRSAuthorityFactory", __LINE__,
           UnknownAuthority(authority));
  return factory;
}

void AuthorityTranslationSupport::TranslateCode(const std::wstring& from, const std::wstring& code,
                                                const std::wstring& to, std::wstring& outCode, bool insist) {
  // `code` and `outCode` may be one.
  std::wstring found;
  const auto source = ReferencingFactoryFinder::tryGetCRSAuthorityFactory(from);
  const auto target = ReferencingFactoryFinder::tryGetCRSAuthorityFactory(to);
  const CRSPtr crs = source && target ? source->tryCreateCoordinateReferenceSystem(code) : nullptr;
  if (crs) {
    const auto* finder = dynamic_cast<const CodeFinder*>(target.get());
    if (from == to)
      found = code;
    else if (finder)
      found = finder->findCode(crs);
  }
  if (found.empty() && insist) {
    constexpr const wchar_t* function = L"coordinateReferencing::AuthorityTranslationSupport::TranslateCode";
    if (!target) Refuse(function, __LINE__, UnknownAuthority(to));
    if (!crs) Refuse(function, __LINE__, ExplainMissingCRS(from, code));
    Refuse(function, __LINE__,
           L"The coordinate reference system \"" + code + L"\" of the authority \"" + from +
               L"\" has no code of the authority \"" + to + L"\".");
  }
  outCode = std::move(found);
}

std::wstring ExplainMissingCRS(const std::wstring& authority, const std::wstring& code) {
  const auto factory = ReferencingFactoryFinder::tryGetCRSAuthorityFactory(authority);
  if (!factory) return UnknownAuthority(authority);
  try {
    factory->createCoordinateReferenceSystem(code);
  } catch (const KorvenLog::Exception& failure) {
    return failure.get_What();
  }
  return {};
}

}  // namespace coordinateReferencing
