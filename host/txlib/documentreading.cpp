#include <algorithm>

#include "datajsonparts.h"
#include "documentreader.h"
#include "kcommon/kerr.h"
#include "korvenlog/exception.h"
#include "txlib/factories.h"

namespace Tamrin::Tessera {

namespace {

thread_local boost::shared_ptr<const std::wstring> currentFolder;

constexpr const char* kDefaultNamespace = "VANTIX";

}  // namespace

DocumentFolderScope::DocumentFolderScope(const std::wstring& folder) : outer_(std::move(currentFolder)) {
  currentFolder = folder.empty() ? nullptr : boost::make_shared<const std::wstring>(folder);
}
DocumentFolderScope::~DocumentFolderScope() { currentFolder = std::move(outer_); }
std::wstring DocumentFolderScope::Current() { return currentFolder ? *currentFolder : std::wstring(); }
const boost::shared_ptr<const std::wstring>& DocumentFolderScope::Shared() { return currentFolder; }

bool DocumentReading::Collect(const JsonValue& json, const DocumentPlace& place, std::span<const std::string_view> keys,
                              const JsonValue** found) {
  if (!IsObject(json, place)) return false;
  for (const JsonValue::Member& member : json.GetMembers()) {
    const auto key = std::find(keys.begin(), keys.end(), member.key);
    if (key != keys.end()) {
      found[key - keys.begin()] = &member.value;
      continue;
    }
    std::vector<std::wstring> known;
    for (const std::string_view name : keys) known.push_back(Wide(name));
    const std::wstring name = Wide(member.key);
    faults.Warn({place, member.key}, L"found the unknown key \"" + name + L"\"" + DidYouMean(name, known));
  }
  return true;
}

void DocumentReading::WrongType(const JsonValue& json, const DocumentPlace& place, const wchar_t* expected) {
  faults.Error(place, L"found " + DescribeJson(json) + L", expected " + expected);
}
bool DocumentReading::IsText(const JsonValue& json, const DocumentPlace& place) {
  if (!json.IsString()) WrongType(json, place, L"a string");
  return json.IsString();
}
bool DocumentReading::IsArray(const JsonValue& json, const DocumentPlace& place) {
  if (!json.IsArray()) WrongType(json, place, L"an array");
  return json.IsArray();
}
bool DocumentReading::IsObject(const JsonValue& json, const DocumentPlace& place) {
  if (!json.IsObject()) WrongType(json, place, L"an object");
  return json.IsObject();
}
bool DocumentReading::IsTruth(const JsonValue& json, const DocumentPlace& place) {
  if (!json.IsBool()) WrongType(json, place, L"true or false");
  return json.IsBool();
}

void DocumentReading::NoteException(const DocumentPlace& place) {
  try {
    throw;
  } catch (const CancellationBase&) {
    throw;
  } catch (const DocumentLinkException& exception) {
    // Linked documents are refused silently; this is for the one that was asked for.
    if (ReadingScope::Depth() > 1) throw;
    faults.Error(place, Wide(exception.what()));
  } catch (const KorvenLog::Exception& exception) {
    faults.Error(place, exception.get_What());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& exception) {
    faults.Error(place, Wide(exception.what()));
  }
}

OperatorMaker DocumentReading::FindMaker(std::string_view dottedName, const DocumentPlace& place) {
  const auto [entry, isNew] = types_.try_emplace(dottedName);
  TypeName& type = entry->second;
  if (isNew) {
    const std::size_t stop = dottedName.find('.');
    const bool isDotted = stop != std::string_view::npos;
    type.nameSpace = Wide(isDotted ? dottedName.substr(0, stop) : kDefaultNamespace);
    type.name = Wide(isDotted ? dottedName.substr(stop + 1) : dottedName);
  }
  if (type.name == L"OperatorNotFound") return nullptr;
  if (type.maker) return type.maker;
  if (type.unknown.empty()) {
    Guard(place, [&] { type.maker = FindOperatorMaker(type.nameSpace, type.name); });
    if (type.maker) return type.maker;
    const std::wstring name = Wide(dottedName);
    const auto known = OperatorFactory::GetNames();
    std::wstring hint = DidYouMean(name, known);
    if (hint.empty()) hint = DidYouMean(L"VANTIX." + type.name, known);
    type.unknown = L"found the unknown operator \"" + name + L"\"" + hint;
  }
  faults.Add(place.ToText(), type.unknown, !unknownOperatorIsError);
  return nullptr;
}

std::wstring DocumentReading::GetUnknownText(std::string_view dottedName) const {
  const auto entry = types_.find(dottedName);
  return entry == types_.end() ? std::wstring() : entry->second.unknown;
}

}  // namespace Tamrin::Tessera
