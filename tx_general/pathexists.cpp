#include "filenames.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kPathExists{
    .name = L"PathExists",
    .displayName = L"Path Exists",
    .category = L"Pathnames",
    .icon = L"document_plain.ico",
    .description = L"Determine whether a given file or directory exists.",
};

class PathExists : public Described<kPathExists> {
 public:
  void DeclarePorts() override {
    CreateAnyFileInput(*this, L"Path")->AddSupportedType(DirectoryData::DefaultTypeName());
    CreatePort(L"PathExists", BoolData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    auto name = GetPortDataOf<FileData>(RequirePort(*this, L"Path"), true);
    if (!name) name = GetPortDataOf<DirectoryData>(RequirePort(*this, L"Path"));
    boost::system::error_code error;
    const auto type = boost::filesystem::status(NativePath(*this, *name), error).type();
    WritePort(*this, L"PathExists",
              type != boost::filesystem::status_error && type != boost::filesystem::file_not_found);
  }
};

TX_GENERAL_FACTORY(PathExists)

}  // namespace korven::tx_general
