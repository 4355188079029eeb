#include <algorithm>
#include <string>

#include "support.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kMerge{
    .name = L"Merge",
    .displayName = L"Merge",
    .category = L"Flow Control",
    .icon = L"OpMerge.ico",
    .description =
        L"The Merge operator is generally used to combine results from an If operator's conditional "
        L"execution, where only one submodel (the true or the false case) actually produced output. Merge "
        L"outputs its first input if that input is present; otherwise, it outputs its second input.",
};

class Merge : public Described<kMerge> {
 public:
  void DeclarePorts() override {
    AddExpansionPorts();
    AddExpansionPorts();
    CreatePort(L"Output", Data::DefaultTypeName(), PortType::Output);
    SetExpandible(true);
  }

  void AddExpansionPorts() override {
    const auto& ports = GetPorts();
    const auto number = 1 + std::count_if(ports.begin(), ports.end(), [](const auto& port) { return port->IsInput(); });
    CreatePort(L"Input" + std::to_wstring(number), Data::DefaultTypeName(), PortType::Input);
  }

  void RemoveExpansionPorts() override {
    const auto inputs = GetInputPorts();
    if (inputs.size() < 2) return;
    RemovePort(inputs.back());
  }

 protected:
  void OnExecute() override {
    for (const auto& input : GetInputPorts()) {
      if (const auto data = input->GetData()) {
        RequirePort(*this, L"Output")->SetData(data);
        return;
      }
    }
  }

  using Operator::Apply;
  void Apply(const PortPtr&, const RequestPtr& request) override {
    for (const auto& input : GetInputPorts()) {
      if (const auto data = input->GetData(request)) {
        RequirePort(*this, L"Output")->SetData(data, request);
        return;
      }
    }
  }
};

TX_GENERAL_FACTORY(Merge)

}  // namespace korven::tx_general
