#include <boost/filesystem.hpp>

#include "kcommon/kfnp.h"
#include "support.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kDirectoryContents{.name = L"DirectoryContents"};

class DirectoryContents : public Described<kDirectoryContents> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Directory", DirectoryData::DefaultTypeName(), PortType::Input);
    CreateListPort(*this, L"PathList", PortType::Output, FileData::DefaultTypeName());
  }

 protected:
  void OnExecute() override {
    const auto directory = GetPortDataOf<DirectoryData>(RequirePort(*this, L"Directory"));
    DataList paths;
    for (const auto& entry : boost::filesystem::directory_iterator(kfnp_ToNative(*directory))) {
      paths.push_back(MakeData<FileData>(kfnp_FromNative(entry.path().native())));
    }
    WritePort(*this, L"PathList", std::move(paths));
  }
};

TX_GENERAL_FACTORY(DirectoryContents)

}  // namespace korven::tx_general
