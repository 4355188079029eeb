#include "jsonforms.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kstr.h"
#include "unittable.h"

namespace {

using korven::jsonlib::StyledWriter;
using korven::jsonlib::Value;

constexpr const wchar_t* kFormat = L"vantix-plb";
constexpr std::size_t kMostItems = 100'000;

Value ItemValue(const Kprj_ProjectionItem& item) {
  const kprj::KnownUnit* const known = kprj::FindUnit(item.unitsName);
  const double factor = item.unitsFactor > 0 || !known ? item.unitsFactor : known->factor;
  // A unit that is in no list is the projection's own.
  const bool angular =
      item.unitsFactor > 0 || !known ? item.parameters->method.empty() : known->kind == KprjUnitAngular;
  Value value(Value::objectValue);
  value[L"name"] = item.name;
  value[L"alias"] = item.alias;
  value[L"units"] = kprj::UnitValue(item.unitsName, factor, angular);
  value[L"projection"] = kprj::ProjectionValue(item.parameters->definition);
  return value;
}

/// Null with the reason.
std::unique_ptr<Kprj_ProjectionItem> ReadItem(const Value& value, std::wstring& reason) {
  auto item = std::make_unique<Kprj_ProjectionItem>();
  if (!value[L"name"].isString()) reason = L"it has no text \"name\"";
  const auto unit = reason.empty() ? kprj::ReadUnit(value[L"units"], reason) : std::nullopt;
  const auto projection = unit ? kprj::ReadProjection(value[L"projection"], reason) : nullptr;
  if (!projection) return nullptr;
  item->name = value[L"name"].asString();
  item->alias = value[L"alias"].asString();
  item->unitsName = unit->name;
  item->unitsFactor = unit->factor;
  item->parameters = std::make_unique<Kprj_ProParameters>(projection->parameters);
  return item;
}

}  // namespace

Kprj_ProjectionLibrary* kprj_ProjectionLibraryCreate(KerrException& /*error*/) { return new Kprj_ProjectionLibrary; }

void kprj_ProjectionLibrarySetTitle(Kprj_ProjectionLibrary* library, const std::wstring& title,
                                    KerrException& /*error*/) {
  library->title = title;
}

Kprj_ProjectionItem* kprj_ProjectionItemCreateWithUnits(const std::wstring& name, const std::wstring& alias,
                                                        Kprj_ProParameters* parameters, const std::wstring& units,
                                                        KerrException& error) {
  kprj::ProParametersHolder owner(parameters);
  if (!parameters) {
    error.Log(__LINE__, L"The item \"" + name + L"\" of a projection library needs a projection.");
    return nullptr;
  }
  double factor = 0;
  if (units == parameters->unitsName) {
    factor = parameters->unitsFactor;
  } else if (!kprj::IsOther(units) && !kprj::FindUnit(units)) {
    error.Log(__LINE__, kprj::UnknownUnit(units, KprjUnitAngular | KprjUnitLinear | KprjUnitOther));
    return nullptr;
  }
  return new Kprj_ProjectionItem{name, alias, units, factor, std::unique_ptr<Kprj_ProParameters>(owner.release())};
}

void kprj_ProjectionItemFree(Kprj_ProjectionItem* item) { delete item; }

void kprj_ProjectionLibraryAddItem(Kprj_ProjectionLibrary* library, Kprj_ProjectionItem* item, KerrException& error) {
  if (item)
    library->items.emplace_back(item);
  else
    error.Log(__LINE__, L"There is no item to add to the projection library \"" + library->title + L"\".");
}

std::string kprj_ProjectionLibraryFormat(const Kprj_ProjectionLibrary& library) {
  Value root(Value::objectValue);
  root[L"format"] = kFormat;
  root[L"version"] = 1;
  root[L"title"] = library.title;
  root[L"items"] = Value(Value::arrayValue);
  for (const auto& item : library.items) root[L"items"].append(ItemValue(*item));
  return StyledWriter().writeUtf8(root);
}

void kprj_ProjectionLibraryWrite(const Kprj_ProjectionLibrary* library, const std::wstring& fileName,
                                 KerrException& error) {
  try {
    kfio::WriteBytes(fileName, kprj_ProjectionLibraryFormat(*library));
  } catch (...) {
    kerr_LogCurrentException(error, __LINE__);
  }
}

Kprj_ProjectionLibrary* kprj_ProjectionLibraryParse(std::string_view text, const std::wstring& source,
                                                    KerrException& error) {
  try {
    const Value root = kprj::ReadDocument(text, kFormat, source, error);
    kprj::ProjectionLibraryHolder library(new Kprj_ProjectionLibrary);
    const Value& items = root[L"items"];
    if (!root[L"title"].isString() || !items.isArray() || items.size() > kMostItems)
      kprj::RefuseDocument(error, __LINE__, source, L"it has no text \"title\", or no list \"items\"");
    library->title = root[L"title"].asString();
    for (std::size_t i = 0; i < items.size(); ++i) {
      std::wstring reason;
      library->items.push_back(ReadItem(items[i], reason));
      if (!library->items.back())
        kprj::RefuseDocument(error, __LINE__, source, L"item " + std::to_wstring(i + 1) + L": " + reason);
    }
    return library.release();
  } catch (...) {
    kerr_LogCurrentException(error, __LINE__);
    return nullptr;
  }
}

Kprj_ProjectionLibrary* kprj_ProjectionLibraryRead(const std::wstring& fileName, KerrException& error) {
  try {
    return kprj_ProjectionLibraryParse(kfio::ReadBytes(fileName), fileName, error);
  } catch (...) {
    kerr_LogCurrentException(error, __LINE__);
    return nullptr;
  }
}

void kprj_ProjectionLibraryFree(Kprj_ProjectionLibrary* library) { delete library; }
