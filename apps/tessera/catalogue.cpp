#include <algorithm>

#include "kcommon/kstr.h"
#include "kcommon/ktxt.h"
#include "plugin/pluginmanager.h"
#include "program.h"
#include "txlib/builtin.h"
#include "txlib/conversion.h"
#include "txlib/factories.h"

namespace TesseraProgram {

using namespace Tamrin::Tessera;
using korven::plugin::PluginManager;

namespace {

boost::shared_ptr<Operator> MakeListed(const PluginManager::Entry& entry) {
  const std::wstring& name = entry.proxy->GetName();
  const std::size_t stop = name.find(L'.');
  try {
    return stop == std::wstring::npos ? OperatorFactory::Create(L"VANTIX", name)
                                      : OperatorFactory::Create(name.substr(0, stop), name.substr(stop + 1));
  } catch (const std::exception&) {
    return nullptr;
  }
}

std::wstring FindCategory(const std::string& word) {
  std::wstring wanted = ktxt_tolower(WideWord(word));
  std::erase_if(wanted, [](wchar_t c) { return c == L' ' || c == L'-' || c == L'_'; });
  for (const std::wstring& category : PluginManager::Categories()) {
    const std::wstring own = ktxt_tolower(category);
    if (wanted == own || wanted == own + L"s" || (own == L"data" && wanted == L"datas")) return category;
  }
  std::wstring known;
  for (const std::wstring& category : PluginManager::Categories()) known += (known.empty() ? L"" : L", ") + category;
  throw Refusal(L"there is no category \"" + WideWord(word) + L"\"; there are " + known + L", and kernels");
}

JsonValue ListToJson(const std::wstring& category) {
  JsonValue rows(JsonValueType::Array);
  for (const auto& entry : PluginManager::Instance().List(category)) {
    JsonValue row(JsonValueType::Object);
    row.Set("name", JsonValue(entry.proxy->GetName()));
    row.Set("plugin", JsonValue(entry.plugin));
    if (category == L"Operator") {
      if (const auto op = MakeListed(entry)) {
        row.Set("displayName", JsonValue(op->GetDisplayName()));
        row.Set("displayCategory", JsonValue(op->GetDisplayCategory()));
      }
    }
    rows.Append(std::move(row));
  }
  return rows;
}

}  // namespace

int List(const Arguments& arguments) {
  if (arguments.category == "kernels") return ListKernels(arguments);
  Tamrin::Tessera::EnsureBuiltIns();
  // The built-in types are entered on first need of a factory.
  DataFactory::GetNames();
  std::vector<std::wstring> categories = PluginManager::Categories();
  if (!arguments.category.empty()) categories = {FindCategory(arguments.category)};
  if (arguments.json) {
    JsonValue json(JsonValueType::Object);
    for (const std::wstring& category : categories) json.Set(kstr_ToUtf8(category), ListToJson(category));
    PrintJson(json);
  } else {
    for (const std::wstring& category : categories) {
      if (categories.size() > 1) Print(category + L":");
      for (const auto& entry : PluginManager::Instance().List(category))
        Print((categories.size() > 1 ? L"  " : L"") + entry.proxy->GetName());
    }
  }
  PrintPluginProblems();
  return kDone;
}

int Describe(const Arguments& arguments) {
  const std::wstring name = WideWord(arguments.operatorName);
  const std::size_t stop = name.find(L'.');
  const bool isDotted = stop != std::wstring::npos;
  const auto op = isDotted ? OperatorFactory::Create(name.substr(0, stop), name.substr(stop + 1))
                           : OperatorFactory::Create(L"VANTIX", name);
  if (!op) {
    PrintPluginProblems();
    const std::wstring nearest = kstr_NearestName(isDotted ? name : L"VANTIX." + name, OperatorFactory::GetNames());
    throw Refusal(L"there is no operator \"" + name + L"\"" +
                  (nearest.empty() ? L"" : L"; did you mean \"" + nearest + L"\"?"));
  }
  if (!arguments.json) {
    Print(op->GetOperatorNamespace() + L"." + op->GetOperatorName() + L" - " + op->GetDisplayName());
    Print(op->GetDisplayCategory());
    if (!op->GetDescription().empty()) Print(op->GetDescription());
    for (const std::wstring& line : op->GetDefaultSyntax()) Print(L"  " + line);
    Print(L"ports:");
    for (const auto& port : op->GetPorts()) Print(PortToText(*port));
    return kDone;
  }
  JsonValue json(JsonValueType::Object);
  json.Set("operator", JsonValue(op->GetOperatorNamespace() + L"." + op->GetOperatorName()));
  json.Set("displayName", JsonValue(op->GetDisplayName()));
  json.Set("displayCategory", JsonValue(op->GetDisplayCategory()));
  json.Set("icon", JsonValue(op->GetIcon()));
  json.Set("colorCategory", JsonValue(op->GetDefaultColorCategory()));
  json.Set("description", JsonValue(op->GetDescription()));
  json.Set("keywords", JsonValue(op->GetKeywords()));
  json.Set("usableInExpression", JsonValue(op->GetDefaultIsUsableInExpression()));
  json.Set("expandible", JsonValue(op->IsExpandible()));
  JsonValue syntax(JsonValueType::Array);
  for (const std::wstring& line : op->GetDefaultSyntax()) syntax.Append(JsonValue(line));
  json.Set("syntax", std::move(syntax));
  JsonValue ports(JsonValueType::Array);
  for (const auto& port : op->GetPorts()) ports.Append(PortToJson(*port));
  json.Set("ports", std::move(ports));
  PrintJson(json);
  return kDone;
}

}  // namespace TesseraProgram
