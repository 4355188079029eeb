#include "kcommon/kerr.h"
#include "support.h"
#include "txlib/factories.h"
#include "txlib/jsonvalue.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kIsEqual{
    .name = L"AreEqual",
    .displayName = L"Are Equal",
    .category = L"Relational",
};

class IsEqual : public Described<kIsEqual> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Input1", Data::DefaultTypeName(), PortType::Input);
    CreatePort(L"Input2", Data::DefaultTypeName(), PortType::Input);
    CreatePort(L"AreEqual", BoolData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    auto first = RequirePort(*this, L"Input1")->GetData();
    auto second = RequirePort(*this, L"Input2")->GetData();
    if (!first || !second) SetErrorMessage(L"No data on port.");
    BringToOneType(first, second);
    JsonValue firstJson, secondJson;
    if (!first->ToJSON(firstJson)) SetErrorMessage(L"Input1 could not be serialized.");
    if (!second->ToJSON(secondJson)) SetErrorMessage(L"Input2 could not be serialized.");
    WritePort(*this, L"AreEqual", firstJson == secondJson || AreEqualToHost(first, second));
  }

 private:
  void BringToOneType(DataPtr& first, DataPtr& second) {
    if (first->GetDataTypeName() == second->GetDataTypeName()) return;
    if (const auto converted = second->ConvertTo(first->GetDataTypeName())) {
      second = converted;
    } else if (const auto other = first->ConvertTo(second->GetDataTypeName())) {
      first = other;
    } else {
      SetErrorMessage(L"Could not convert inputs to the same data type.");
    }
  }

  /// The equality of the host has the last word, as for numbers of different form.
  static bool AreEqualToHost(const DataPtr& first, const DataPtr& second) {
    KerrException error(L"tx_general\\isequal", L"korven::tx_general::IsEqual::OnExecute");
    const auto eq = OperatorFactory::Create(L"VANTIX", L"Eq");
    if (!eq) return false;
    RequirePort(*eq, L"Input1")->SetData(first);
    RequirePort(*eq, L"Input2")->SetData(second);
    eq->SetReportProgress(false);
    eq->Execute();
    bool equal = false;
    try {
      equal = ReadPortOr<bool>(*eq, L"Binary", false);
    } catch (...) {
      kerr_LogCurrentException(error, __LINE__);
    }
    error.Clear();
    return equal;
  }
};

TX_GENERAL_FACTORY(IsEqual)

}  // namespace korven::tx_general
