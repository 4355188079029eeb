#include "filenames.h"
#include "kcommon/kfio.h"
#include "txlib/effects.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kDeleteDirectory{
    .name = L"DeleteDirectory",
    .displayName = L"Delete Directory",
    .category = L"Pathnames",
    .icon = L"document_plain.ico",
    .description = L"Deletes a directory and all its contents.",
    .usableInExpression = false,
};

class DeleteDirectory : public Described<kDeleteDirectory>, public HasEffects {
 public:
  void DeclarePorts() override {
    CreatePort(L"Directory", DirectoryData::DefaultTypeName(), PortType::Input);
    Hidden(CreatePort(L"DirectoryExisted", BoolData::DefaultTypeName(), PortType::Output));
  }

  std::vector<Effect> GetEffects() override {
    return GetEffectOfPort(Effect::Kind::Delete, *RequirePort(*this, L"Directory"));
  }

 protected:
  void OnExecute() override {
    const auto name = GetPortDataOf<DirectoryData>(RequirePort(*this, L"Directory"));
    const bool existed = IsFolder(NativePath(*this, *name));
    kfio::RemoveAll(*name);
    WritePort(*this, L"DirectoryExisted", existed);
  }
};

TX_GENERAL_FACTORY(DeleteDirectory)

}  // namespace korven::tx_general
