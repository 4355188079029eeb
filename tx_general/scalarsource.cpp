#include <string>

#include "stackports.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kScalarValue{
    .name = L"ScalarInput",
    .displayName = L"Scalar Input",
    .category = L"Input",
    .icon = L"ScalarDataset.ico",
    .colorCategory = L"Input_Output",
    .description = L"Creates a scalar.",
};

class ScalarValue : public Described<kScalarValue> {
 public:
  void DeclarePorts() override {
    Hidden(CreatePort(L"Value", ScalarData::DefaultTypeName(), PortType::Input));
    CreatePort(L"Scalar", ScalarData::DefaultTypeName(), PortType::Output);
    SetUIProvider(L"ScalarSourceDialog", L"VANTIX");
  }

 protected:
  void OnExecute() override {
    if (const auto stack = ReadStack(RequirePort(*this, L"Value"))) PublishScalar(RequirePort(*this, L"Scalar"), stack);
  }
};

TX_GENERAL_FACTORY(ScalarValue)

inline constexpr OperatorSheet kSCAScalarSource{
    .name = L"ScalarFileInput",
    .displayName = L"Scalar File Input",
    .category = L"Input|Filename",
    .icon = L"ScalarDataset.ico",
    .colorCategory = L"Input_Output",
    .description =
        L"Loads a scalar saved to an ASCII text file (for instance, one created using the Scalar File Output "
        L"operator).",
};

class SCAScalarSource : public Described<kSCAScalarSource> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Scalar", ScalarData::DefaultTypeName(), PortType::Output);
    CreatePort(L"ScalarType", SimpleDataTypeData::DefaultTypeName(), PortType::Input);
    CreateFileInput(*this, L"Filename", {L"Scalar (*.sca)", L"*.sca", L"text", true});
    SetUIProvider(L"ScalarSourceDialog", L"VANTIX");
  }

 protected:
  void OnExecute() override {
    const std::wstring name = ReadFileName(*this, L"Filename");
    if (name.empty()) return;
    PublishScalar(RequirePort(*this, L"Scalar"),
                  BaseDataStackUtils::LoadFromScaFile(name, ReadTypeName(*this, L"ScalarType")));
  }
};

TX_GENERAL_FACTORY(SCAScalarSource)

}  // namespace korven::tx_general
