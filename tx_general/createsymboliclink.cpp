#include "filenames.h"
#include "kcommon/kstr.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kCreateSymbolicLinkW{.name = L"CreateSymbolicLink"};

class CreateSymbolicLinkW : public Described<kCreateSymbolicLinkW> {
 public:
  void DeclarePorts() override {
    CreateAnyFileInput(*this, L"SourceFilename");
    CreateAnyFileInput(*this, L"LinkFilenameIn", false);
    CreateAnyFileOutput(*this, L"LinkFilenameOut")->SetAttribute(L"Input", MakeData<BoolData>(false));
  }

 protected:
  void OnExecute() override {
    std::wstring source = *GetPortDataOf<FileData>(RequirePort(*this, L"SourceFilename"));
    const std::wstring name = *GetPortDataOf<FileData>(RequirePort(*this, L"LinkFilenameIn"));
    const auto link = NativePath(*this, name);
    const auto folder = link.parent_path();
    if (!folder.empty() && !IsFolder(folder)) boost::filesystem::create_directories(folder);
    kstr_ConvertPathNT(source);
    boost::filesystem::create_symlink(NativePath(*this, source), link);
    WritePortOf<FileData>(*this, L"LinkFilenameOut", name);
  }
};

TX_GENERAL_FACTORY(CreateSymbolicLinkW)

}  // namespace korven::tx_general
