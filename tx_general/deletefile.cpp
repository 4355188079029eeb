#include "filenames.h"
#include "kcommon/kstr.h"
#include "txlib/effects.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kDeleteFileOp{
    .name = L"DeleteFile",
    .displayName = L"Delete File",
    .category = L"Pathnames|Modify",
    .icon = L"document_plain.ico",
    .description = L"Deletes a file.",
};

class DeleteFileOp : public Described<kDeleteFileOp>, public HasEffects {
 public:
  void DeclarePorts() override {
    CreateAnyFileInput(*this, L"FilenameIn");
    CreateAnyFileOutput(*this, L"FilenameOut");
    Hidden(CreatePort(L"FileExisted", BoolData::DefaultTypeName(), PortType::Output));
  }

  std::vector<Effect> GetEffects() override {
    return GetEffectOfPort(Effect::Kind::Delete, *RequirePort(*this, L"FilenameIn"));
  }

 protected:
  void OnExecute() override {
    const std::wstring name = kstr_PathExpand(*GetPortDataOf<FileData>(RequirePort(*this, L"FilenameIn")));
    const auto path = NativePath(*this, name);
    const bool existed = IsFile(path);
    boost::system::error_code error;
    if (existed) boost::filesystem::remove(path, error);
    if (error) {
      SetErrorMessage(L"Error deleting file " + name + L". The error was \"" + kstr_FromUtf8Lossy(error.message()) +
                      L"\".");
    }
    WritePortOf<FileData>(*this, L"FilenameOut", name);
    WritePort(*this, L"FileExisted", existed);
  }

 private:
  /// A link counts whatever it leads to, also where it leads nowhere.
  static bool IsFile(const boost::filesystem::path& path) {
    boost::system::error_code error;
    return boost::filesystem::status(path, error).type() == boost::filesystem::regular_file ||
           boost::filesystem::symlink_status(path, error).type() == boost::filesystem::symlink_file;
  }
};

TX_GENERAL_FACTORY(DeleteFileOp)

}  // namespace korven::tx_general
