#include "filenames.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "txlib/effects.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kCopyFileToDirectory{
    .name = L"CopyFileToDirectory",
    .displayName = L"Copy File To Directory",
    .category = L"Pathnames",
    .icon = L"document_plain.ico",
    .description =
        L"Copies a file to a directory. It will create the output directory (and any sub-directories) if it does not "
        L"exist. File attributes such as permissions and modified date are retained. Only the file specified is "
        L"copied, not any associated auxiliary files.",
};

class CopyFileToDirectory : public Described<kCopyFileToDirectory>, public HasEffects {
 public:
  void DeclarePorts() override {
    CreateAnyFileInput(*this, L"FilenameIn");
    CreatePort(L"OutputDirectory", DirectoryData::DefaultTypeName(), PortType::Input);
    CreateAnyFileOutput(*this, L"FilenameOut");
  }

  std::vector<Effect> GetEffects() override {
    bool isKnown = true;
    const auto file = NativePath(*this, LookAtPort(*RequirePort(*this, L"FilenameIn"), isKnown)).filename();
    auto effects = GetEffectOfPort(Effect::Kind::Write, *RequirePort(*this, L"OutputDirectory"));
    for (Effect& effect : effects) {
      if (!effect.name.empty() && isKnown) effect.name = WideName(NativePath(*this, effect.name) / file);
    }
    return effects;
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\copyfiletodirectory", L"korven::tx_general::CopyFileToDirectory::OnExecute");
    const auto evaluated = [&](const std::wstring& text) {
      const std::wstring name = kfnp_FileNameEvaluateEnv(text, error);
      error.Check(__LINE__);
      return NativePath(*this, name);
    };
    const auto source = evaluated(*GetPortDataOf<FileData>(RequirePort(*this, L"FilenameIn")));
    const auto folder = evaluated(*GetPortDataOf<DirectoryData>(RequirePort(*this, L"OutputDirectory")));
    if (!IsFolder(folder)) boost::filesystem::create_directories(folder);
    const std::wstring target = WideName(folder / source.filename());
    kfio::CopyFile(WideName(source), target);
    WritePortOf<FileData>(*this, L"FilenameOut", target);
  }
};

TX_GENERAL_FACTORY(CopyFileToDirectory)

}  // namespace korven::tx_general
