#include <algorithm>
#include <boost/filesystem.hpp>

#include "documentreader.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "kcommon/ktxt.h"
#include "plugin/pluginmanager.h"
#include "txlib/builtin.h"
#include "txlib/factories.h"

namespace Tamrin::Tessera {

namespace {

using korven::plugin::AvailablePluginProxy;
using korven::plugin::IPlugin;
using korven::plugin::PluginManager;
using FormatPtr = boost::shared_ptr<ModelFormat>;

constexpr const wchar_t* kPlainName = L"TesseraModelFormat";
constexpr const wchar_t* kPlainExtension = L".tsmx";

ModelInfo PlainInfo(const std::string& utf8) {
  ModelInfo info;
  JsonValue json;
  std::string error;
  if (!json.DeserializeUtf8(utf8, true, &error)) {
    DocumentProblem problem;
    problem.text = Wide(error);
    throw DocumentException({problem});
  }
  info.name = json[L"name"].AsString();
  info.nameSpace = json[L"namespace"].AsString();
  info.displayName = json[L"displayName"].AsString();
  info.displayCategory = json[L"displayCategory"].AsString();
  info.icon = json[L"icon"].AsString();
  info.description = json[L"description"].AsString();
  info.keywords = json[L"keywords"].AsString();
  return info;
}

class PlainFormat : public ModelFormat {
 public:
  const wchar_t* Name() const override { return kPlainName; }
  std::wstring GetFileFilter() const override { return L"Tessera Model (*.tsmx)"; }
  std::wstring GetExtension() const override { return kPlainExtension; }
  bool SupportsOpenFromBuffer() const override { return true; }
  bool CanOpenFromBuffer(const std::wstring& text) override {
    const auto problems = PlainDocument::Check(kstr_ToUtf8(text));
    return std::all_of(problems.begin(), problems.end(), [](const auto& problem) { return problem.warning; });
  }
  bool SupportsSaveToBuffer() const override { return true; }
  boost::shared_ptr<Model> OpenFromBuffer(const std::wstring& text, const std::wstring&) override {
    return PlainDocument::OpenWide(text);
  }
  std::wstring SaveToBuffer(const boost::shared_ptr<Model>& model) override { return Wide(PlainDocument::Save(model)); }
  ModelInfo GetModelInfoFromBuffer(const std::wstring& text) override { return PlainInfo(kstr_ToUtf8(text)); }
};

int FormatProxies(const std::wstring& category, std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  if (!category.empty() && category != L"ModelFormat") return 0;
  proxies.push_back(AvailablePluginProxy::Create(
      kPlainName, []() -> boost::shared_ptr<IPlugin> { return boost::make_shared<PlainFormat>(); }));
  return 0;
}
const BuiltInRegistrar kRegistrar(&FormatProxies);

std::vector<FormatPtr> AllFormats() {
  EnsureBuiltIns();
  std::vector<FormatPtr> formats;
  for (const auto& entry : PluginManager::Instance().List(L"ModelFormat")) {
    if (auto format = boost::dynamic_pointer_cast<ModelFormat>(entry.proxy->CreateInstance()))
      formats.push_back(format);
  }
  return formats;
}

[[noreturn]] void Refuse(const std::wstring& text) {
  KorvenLog::CPPException<std::runtime_error>(L"txlib\\modelformatfactory", L"ModelFormatFactory")
      .Throw(__LINE__, text);
}

std::wstring LastPart(const std::wstring& name) { return name.substr(name.rfind(L'.') + 1); }

FormatPtr FindByName(const std::wstring& name) {
  if (name == kPlainName) return boost::make_shared<PlainFormat>();
  std::vector<std::wstring> known;
  for (const FormatPtr& format : AllFormats()) {
    const std::wstring registered = format->Name();
    if (registered == name || LastPart(registered) == LastPart(name)) return format;
    known.push_back(registered);
  }
  Refuse(L"There is no document format \"" + name + L"\"" + DidYouMean(name, known));
}

FormatPtr FindByExtension(const std::wstring& file) {
  const std::wstring extension =
      ktxt_tolower(kfnp_FromNative(boost::filesystem::path(kfnp_ToNative(file)).extension().string()));
  if (extension == kPlainExtension) return boost::make_shared<PlainFormat>();
  for (const FormatPtr& format : AllFormats()) {
    std::wstring own = ktxt_tolower(format->GetExtension());
    if (!own.empty() && own.front() == L'*') own.erase(0, 1);
    if (!own.empty() && own.front() != L'.') own.insert(0, 1, L'.');
    if (own == extension) return format;
  }
  return nullptr;
}

bool LooksPlain(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  return first == std::string_view::npos || text[first] == '{' || text[first] == '/';
}

/// Documents that are JSON say early what they are: plain ones name their format, others have this key.
constexpr std::string_view kOtherFormatKey = "\"__info__\"";
constexpr std::size_t kEarly = 1000;

/// True where the key "format" has the plain format's name. A text of another format that quotes such a document
/// has a backslash before each quotation mark.
bool NamesPlainFormat(std::string_view beginning) {
  constexpr std::string_view kKey = "\"format\"", kBlanks = " \t\r\n";
  const std::string value = "\"" + kstr_ToUtf8(kPlainName) + "\"";
  for (std::size_t key = beginning.find(kKey); key != std::string_view::npos; key = beginning.find(kKey, key + 1)) {
    const std::size_t colon = beginning.find_first_not_of(kBlanks, key + kKey.size());
    if (colon == std::string_view::npos || beginning[colon] != ':') continue;
    const std::size_t named = beginning.find_first_not_of(kBlanks, colon + 1);
    if (named != std::string_view::npos && beginning.substr(named).starts_with(value)) return true;
  }
  return false;
}

FormatPtr FindByText(const std::wstring& text) {
  const std::string beginning = kstr_ToUtf8(text.substr(0, kEarly));
  if (NamesPlainFormat(beginning)) return boost::make_shared<PlainFormat>();
  // One that tells itself another's is best refused in the other's words.
  FormatPtr other;
  const bool namesOther = beginning.find(kOtherFormatKey) != std::string::npos || !LooksPlain(beginning);
  for (const FormatPtr& format : AllFormats()) {
    if (std::wstring(format->Name()) == kPlainName || !format->SupportsOpenFromBuffer()) continue;
    if (format->CanOpenFromBuffer(text)) return format;
    if (!other && namesOther) other = format;
  }
  return other ? other : boost::make_shared<PlainFormat>();
}

bool IsPlain(const ModelFormat& format) { return std::wstring(format.Name()) == kPlainName; }

std::wstring Decode(const std::string& bytes) {
  std::wstring text;
  std::size_t bad = 0;
  if (!kstr_FromUtf8(bytes, text, &bad)) Refuse(L"The text is no UTF-8 at byte " + std::to_wstring(bad) + L".");
  return text;
}

boost::shared_ptr<Model> OpenOther(ModelFormat& format, const std::string& bytes, const std::wstring& file) {
  if (format.SupportsOpenFromBuffer()) return format.OpenFromBuffer(Decode(bytes), file);
  return format.Open(URI::fromFile(file));
}

boost::shared_ptr<Model> OpenFile(const std::wstring& file, const std::wstring& format) {
  const OpeningScope scope(file);
  const std::string bytes = kfio::ReadBytes(file);
  FormatPtr found = format.empty() ? FindByExtension(file) : FindByName(format);
  if (!found) found = FindByText(Decode(bytes));
  const auto model = IsPlain(*found) ? PlainDocument::Open(bytes) : OpenOther(*found, bytes, file);
  if (model) model->SetDocumentFolder(DocumentFolderScope::Current());
  return model;
}

boost::shared_ptr<Model> OpenText(const std::wstring& text, const std::wstring& format) {
  if (format == kPlainName) return PlainDocument::OpenWide(text);
  const FormatPtr found = format.empty() ? FindByText(text) : FindByName(format);
  return found->OpenFromBuffer(text, std::wstring());
}

}  // namespace

boost::shared_ptr<Model> ModelFormatFactory::Open(const std::wstring& file, const std::wstring& format) {
  const std::wstring name = InCurrentFolder(file);
  try {
    return OpenFile(name, format);
  } catch (const DocumentLinkException&) {
    throw;
  } catch (...) {
    NoteLinkFailure(name);
    throw;
  }
}

boost::shared_ptr<Model> ModelFormatFactory::OpenFromBuffer(const std::wstring& text, const std::wstring& format) {
  // A format that reads another's text inside of a file: the file tells what is wrong.
  if (OpeningScope::IsBeforeReading()) return OpenText(text, format);
  try {
    return OpenText(text, format);
  } catch (const DocumentLinkException&) {
    throw;
  } catch (...) {
    NoteLinkFailure(L"");
    throw;
  }
}

void ModelFormatFactory::Save(const boost::shared_ptr<Model>& model, const std::wstring& file,
                              const std::wstring& format) {
  const FormatPtr found = format.empty() ? FindByExtension(file) : FindByName(format);
  if (!found) {
    std::wstring known;
    for (const FormatPtr& each : AllFormats())
      known += (known.empty() ? L"\"" : L", \"") + each->GetExtension() + L"\"";
    Refuse(L"The name \"" + file + L"\" has the extension of no document format; there are " + known + L".");
  }
  if (IsPlain(*found))
    kfio::WriteBytes(file, PlainDocument::Save(model));
  else
    found->Save(model, URI::fromFile(file));
}

std::wstring ModelFormatFactory::SaveToBuffer(const boost::shared_ptr<Model>& model, const std::wstring& format) {
  return (format.empty() ? boost::make_shared<PlainFormat>() : FindByName(format))->SaveToBuffer(model);
}

ModelInfo ModelFormatFactory::GetModelInfo(const std::wstring& text, const std::wstring& format) {
  const FormatPtr found = format.empty() ? FindByText(text) : FindByName(format);
  return found->GetModelInfoFromBuffer(text);
}

namespace {

boost::shared_ptr<UIProvider> FindProvider(const std::wstring& nameSpace, const std::wstring& name) {
  EnsureBuiltIns();
  for (const std::wstring& registered : {nameSpace + L"." + name, name}) {
    const auto proxy = PluginManager::Instance().Find(L"UIProvider", registered);
    if (!proxy) continue;
    if (auto provider = boost::dynamic_pointer_cast<UIProvider>(proxy->CreateInstance())) return provider;
  }
  return nullptr;
}

}  // namespace

bool UIProviderFactory::ShowDialog(const std::wstring& nameSpace, const std::wstring& name,
                                   const boost::shared_ptr<Operator>& op) {
  const auto provider = FindProvider(nameSpace, name);
  return provider && provider->ShowDialog(op);
}

bool UIProviderFactory::ShowDialog(const std::wstring& nameSpace, const std::wstring& name,
                                   const boost::shared_ptr<Port>& port) {
  const auto provider = FindProvider(nameSpace, name);
  return provider && provider->ShowDialog(port);
}

bool UIProviderFactory::ShowDialog(const ObjectName& type, const std::wstring& portName,
                                   const boost::shared_ptr<Data>& data, const AttributeMap& attributes,
                                   boost::shared_ptr<Data>& out) {
  const auto provider = FindProvider(type.Namespace, type.Name);
  return provider && provider->ShowDialog(portName, data, attributes, out);
}

using TypeInfoMap = std::map<std::wstring, boost::shared_ptr<korven::plugin::PluginTypeInfo>>;

std::wstring ModelFormat::Description() const { return {}; }
std::wstring ModelFormat::Provider() const { return kEngineProvider; }
std::wstring ModelFormat::Version() const { return kEngineVersion; }
TypeInfoMap ModelFormat::TypeInfo() const { return {}; }
std::wstring UIProvider::Description() const { return {}; }
std::wstring UIProvider::Provider() const { return kEngineProvider; }
std::wstring UIProvider::Version() const { return kEngineVersion; }
TypeInfoMap UIProvider::TypeInfo() const { return {}; }

}  // namespace Tamrin::Tessera
