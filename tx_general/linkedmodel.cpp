#include <vector>

#include "kcommon/kerr.h"
#include "support.h"
#include "txlib/document.h"
#include "txlib/factories.h"
#include "txlib/model.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kLinkedModel{
    .name = L"TesseraModel",
    .displayName = L"Tessera Model",
    .category = L"General",
    .icon = L"TesseraX.ico",
    .description = L"Provides a means of using an existing Tessera Model (.tsmx) as an operator.",
    .usableInExpression = false,
};

class LinkedModel : public Described<kLinkedModel, Model> {
 public:
  void DeclarePorts() override {
    const auto file = CreatePort(kFilename, FileData::DefaultTypeName(), PortType::Setting);
    file->SetAttribute(L"FileFilter", MakeData<StringData>(L"Tessera Model (*.tsmx)"));
    file->SetAttribute(L"Extension", MakeData<StringData>(L"*.tsmx"));
    file->SetAttribute(L"Kind", MakeData<StringData>(L"text"));
    SetProcessNamespace(L"VANTIX");
    SetProcessName(L"TesseraModel");
    SetUIProvider(L"TesseraModel", L"VANTIX");
  }

  using Model::Configure;
  void Configure() override {
    const auto buffer = AsDataOf<StringData>(GetAttribute(L"ModelBuffer"));
    const auto setting = GetPort(kFilename);
    const auto file = setting ? AsDataOf<StringData>(setting->GetExistingData()) : nullptr;
    if (!buffer && !file) return;
    Clear();
    RemoveLinkedPorts();
    const auto model = Open(TextOf(file), TextOf(buffer));
    if (!model) return;
    AddTail(model);
    for (const auto& port : model->GetPorts()) ShowPort(port);
    if (!model->GetIcon().empty()) SetIcon(model->GetIcon());
  }

 private:
  static constexpr const wchar_t* kFilename = L"LinkedModelFilename";

  static std::wstring TextOf(const boost::shared_ptr<StringData>& data) {
    return data && data->GetDataPointer() ? *data->GetDataPointer() : std::wstring();
  }

  void RemoveLinkedPorts() {
    const std::vector<PortPtr> ports = GetPorts();
    for (const auto& port : ports) {
      if (port->GetName() != kFilename) RemovePort(port);
    }
  }

  /// Null where there is no such model: the operator then stays without one, and says nothing.
  boost::shared_ptr<Model> Open(const std::wstring& file, const std::wstring& buffer) const {
    // While a document is being read, its folder is known already, and this is in no model yet.
    const std::wstring around = GetDocumentFolder();
    const DocumentFolderScope folder(around.empty() ? DocumentFolderScope::Current() : around);
    try {
      if (!file.empty()) return ModelFormatFactory::Open(file, L"");
      if (!buffer.empty()) return ModelFormatFactory::OpenFromBuffer(buffer, L"");
    } catch (const DocumentLinkException&) {
      throw;  // a circle of documents has no end that could be shown
    } catch (const CancellationBase&) {
      throw;
    } catch (...) {
    }
    return nullptr;
  }

  void ShowPort(const PortPtr& inner) {
    // A port of the linked model that has the setting's name would be fed with the file's.
    if (!(inner->IsInput() || inner->IsOutput()) || inner->GetName() == kFilename) return;
    const auto port = AliasPort(inner, inner->GetName());
    port->SetDisplayName(inner->GetDisplayName());
    port->SetIsOptional(inner->IsOptional());
    port->SetIsHidden(inner->IsHidden());
    for (const ObjectName& type : inner->GetExcludedDataTypes()) port->AddExcludedType(type);
    for (const ObjectName& type : inner->GetExtraSupportedDataTypes()) port->AddExtraSupportedType(type);
  }
};

PluginPtr MakeLinkedModel() {
  const auto made = boost::make_shared<LinkedModel>();
  made->SetIsOpenable(false);
  return made;
}

}  // namespace korven::tx_general
