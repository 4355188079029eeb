#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kstr.h"
#include "support.h"
#include "txlib/effects.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kCreateDirectoryOp{
    .name = L"CreateDirectory",
    .displayName = L"Create Directory",
    .category = L"Pathnames|Modify",
    .icon = L"document_plain.ico",
    .description = L"Creates a directory.",
};

class CreateDirectoryOp : public Described<kCreateDirectoryOp>, public HasEffects {
 public:
  void DeclarePorts() override {
    CreatePort(L"DirectoryIn", DirectoryData::DefaultTypeName(), PortType::Input);
    CreatePort(L"DirectoryOut", DirectoryData::DefaultTypeName(), PortType::Output);
  }

  std::vector<Effect> GetEffects() override {
    return GetEffectOfPort(Effect::Kind::Write, *RequirePort(*this, L"DirectoryIn"));
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\createdirectoryop", L"korven::tx_general::CreateDirectoryOp::OnExecute");
    const std::wstring name = kstr_PathExpand(*GetPortDataOf<DirectoryData>(RequirePort(*this, L"DirectoryIn")));
    kfio_MaybeMakeDir(name, error);
    error.Check(__LINE__);
    WritePortOf<DirectoryData>(*this, L"DirectoryOut", name);
  }
};

TX_GENERAL_FACTORY(CreateDirectoryOp)

}  // namespace korven::tx_general
