#include "kcommon/kerr.h"
#include "kcommon/kpmg.h"
#include "support.h"
#include "txbasiclib/basicvalues.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kGetPreferenceValue{
    .name = L"GetPreferenceValue",
    .displayName = L"Get Preference Value",
    .category = L"General",
    .icon = L"document_plain.ico",
    .description = L"Get the current value of a VANTIX preference.",
};

class GetPreferenceValue : public Described<kGetPreferenceValue> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Category", StringData::DefaultTypeName(), PortType::Input);
    CreatePort(L"Name", StringData::DefaultTypeName(), PortType::Input);
    const auto value = CreatePort(L"Value", StringData::DefaultTypeName(), PortType::Output);
    value->AddSupportedType(BoolData::DefaultTypeName());
    value->AddSupportedType(DoubleData::DefaultTypeName());
    value->AddSupportedType(Tamrin::TesseraBasic::ColorData::DefaultTypeName());
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\getpreferencevalue", L"korven::tx_general::GetPreferenceValue::OnExecute");
    const auto category = ReadPort<std::wstring>(*this, L"Category");
    const auto name = ReadPort<std::wstring>(*this, L"Name");
    const DataPtr value = Read(category, name, error);
    if (!value) {
      SetErrorMessage(L"Could not determine type of preference \"" + category + L":" + name + L"\"");
    }
    error.Check(__LINE__);
    RequirePort(*this, L"Value")->SetData(value);
  }

 private:
  static DataPtr Read(const std::wstring& category, const std::wstring& name, KerrException& error) {
    switch (kpmg::GetPreferenceType(category, name)) {
      case KpmgString:
        return MakeData<StringData>(kpmg_GetStringPreference(category, name, {}, error));
      case KpmgNumber:
        return MakeData<DoubleData>(kpmg_GetNumberPreference(category, name, 0, error));
      case KpmgBoolean:
        return MakeData<BoolData>(kpmg_GetBooleanPreference(category, name, 0, error) == 1);
      case KpmgEnum:
        return MakeData<StringData>(kpmg_GetEnumPreference(category, name, {}, error));
      case KpmgColor: {
        const auto color = kpmg_GetColorPreference(category, name, {}, error);
        return MakeData<Tamrin::TesseraBasic::ColorData>({color[0], color[1], color[2], color[3]});
      }
      default:
        return nullptr;
    }
  }
};

TX_GENERAL_FACTORY(GetPreferenceValue)

}  // namespace korven::tx_general
