#include <chrono>

#include "support.h"
#include "txlib/model.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kMeasurePerformanceModel{
    .name = L"MeasurePerformanceModel",
    .displayName = L"",
    .category = L"",
    .icon = L"",
    .usableInExpression = false,
    .registeredName = L"VANTIX.MeasurePerformanceModel",
};

class MeasurePerformanceModel : public Described<kMeasurePerformanceModel, Model> {
 public:
  void DeclarePorts() override { CreatePort(kDuration, DoubleData::DefaultTypeName(), PortType::Output); }

 protected:
  void OnExecute() override {
    const auto begin = std::chrono::steady_clock::now();
    Model::OnExecute();
    const std::chrono::nanoseconds elapsed = std::chrono::steady_clock::now() - begin;
    if (const auto port = GetPort(kDuration))
      port->SetData(MakeData<DoubleData>(static_cast<double>(elapsed.count()) / 1e9));
    else
      SetWarningMessage(L"DurationInSeconds port removed.  Where should the duration go?");
  }

 private:
  static constexpr const wchar_t* kDuration = L"DurationInSeconds";
};

TX_GENERAL_FACTORY(MeasurePerformanceModel)

}  // namespace korven::tx_general
