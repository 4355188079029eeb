#include "kcommon/kstr.h"
#include "support.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kExpandPath{
    .name = L"ExpandEnvVars",
    .displayName = L"Expand Env Vars",
    .category = L"String",
    .icon = L"document_plain.ico",
    .description = L"Expands any environment variables in the given string.",
    .keywords = L"Environment|Variables",
};

class ExpandPath : public Described<kExpandPath> {
 public:
  void DeclarePorts() override {
    CreatePort(L"StringIn", StringData::DefaultTypeName(), PortType::Input);
    CreatePort(L"StringOut", StringData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    WritePort(*this, L"StringOut", kstr_PathExpand(ReadPort<std::wstring>(*this, L"StringIn")));
  }
};

TX_GENERAL_FACTORY(ExpandPath)

}  // namespace korven::tx_general
