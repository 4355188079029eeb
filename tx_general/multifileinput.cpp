#include <memory>

#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kstr.h"
#include "kcommon/ktxt.h"
#include "support.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kMultiFileInput{
    .name = L"MultiFilenameInput",
    .displayName = L"Multi Filename Input",
    .category = L"Input|Filename",
    .icon = L"folder_with_files.ico",
    .description = L"Takes in a directory and wildcard and returns a list of files.",
    .keywords = L"Directory",
    .usableInExpression = false,
};

class MultiFileInput : public Described<kMultiFileInput> {
 public:
  void DeclarePorts() override {
    Optional(CreatePort(L"Directory", DirectoryData::DefaultTypeName(), PortType::Input));
    Optional(CreatePort(L"Wildcard", StringData::DefaultTypeName(), PortType::Input));
    Optional(CreatePort(L"IncludeSubFolders", PortType::Input, MakeData<BoolData>(false)));
    Hidden(Optional(CreateListPort(*this, L"FilenamesIn", PortType::Input, FileData::DefaultTypeName())));
    CreateListPort(*this, L"FilenamesOut", PortType::Output, FileData::DefaultTypeName());
    SetUIProvider(L"MultiFileInputProvider", L"VANTIX");
  }

 protected:
  void OnExecute() override {
    auto files = ReadPortOr<DataList>(*this, L"FilenamesIn", {});
    // One directory is read as a list of one.
    const auto directories = ReadPortOr<DataList>(*this, L"Directory", {});
    const auto wildcard = ktxt_tolower(ReadPortOr<std::wstring>(*this, L"Wildcard", {}));
    const bool recursive = ReadPortOr<bool>(*this, L"IncludeSubFolders", false);
    for (const auto& item : directories) {
      const auto directory = AsDataOf<DirectoryData>(item);
      if (!directory || directory->HasNoValue()) SetErrorMessage(L"Invalid data found on Directory port.");
      AppendFiles(kstr_PathExpand(directory->GetDataValue()), wildcard, recursive, files);
    }
    WritePort(*this, L"FilenamesOut", std::move(files));
  }

 private:
  static void AppendFiles(const std::wstring& directory, const std::wstring& wildcard, bool recursive,
                          DataList& files) {
    KerrException error(L"tx_general\\multifileinput", L"korven::tx_general::MultiFileInput::OnExecute");
    const std::unique_ptr<Kstr_StringList, decltype(&kstr_StringListDelete)> names(
        kfio_DirectoryScanRecursive(0, directory, wildcard, 1, recursive, error), &kstr_StringListDelete);
    error.Check(__LINE__);
    for (const auto& name : names->strings) files.push_back(MakeData<FileData>(name));
  }
};

TX_GENERAL_FACTORY(MultiFileInput)

}  // namespace korven::tx_general
