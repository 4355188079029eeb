#include "support.h"
#include "txlib/model.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kCreateTempFilename{
    .name = L"CreateTempFilename",
    .displayName = L"Create Temp Filename",
    .category = L"Input|Filename",
    .icon = L"document_plain.ico",
    .description =
        L"Creates the name for a temporary file in the containing Model's temporary directory. It will be "
        L"automatically deleted when the model is destroyed.",
    .usableInExpression = false,
};

class CreateTempFilename : public Described<kCreateTempFilename> {
 public:
  void DeclarePorts() override {
    Optional(CreatePort(L"Extension", StringData::DefaultTypeName(), PortType::Input));
    CreatePort(L"Filename", FileData::DefaultTypeName(), PortType::Output)
        ->SetAttribute(L"Kind", MakeData<StringData>(L"any"));
  }

 protected:
  void OnExecute() override {
    const auto extension = ReadPortOr<std::wstring>(*this, L"Extension", {});
    if (const auto model = GetMainProcess()) {
      WritePortOf<FileData>(*this, L"Filename", model->GenerateTemporaryFileName({}, extension));
    }
  }
};

TX_GENERAL_FACTORY(CreateTempFilename)

}  // namespace korven::tx_general
