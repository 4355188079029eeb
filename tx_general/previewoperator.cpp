#include "support.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kPreviewOperator{
    .name = L"Preview",
    .displayName = L"Preview",
    .category = L"Output|View",
    .icon = L"viewer_menu.ico",
    .colorCategory = L"Input_Output",
    .description =
        L"Preview a Raster, Vector (Feature) or Point Cloud (LidarOperationDataData) output on the fly in a Preview "
        L"window. All Raster, Vector, and Point Cloud types are supported.",
    .usableInExpression = false,
};

/// Draws its inputs in and does nothing with them: whoever observes the run shows them.
class PreviewOperator : public Described<kPreviewOperator> {
 public:
  void DeclarePorts() override {
    SetExpandible(true);
    AddExpansionPorts();
  }

  // The newest port stands first.
  void AddExpansionPorts() override {
    std::size_t number = GetPorts().size() + 1;
    while (GetPort(L"Input" + std::to_wstring(number))) ++number;
    CreatePort(L"Input" + std::to_wstring(number), Data::DefaultTypeName(), PortType::Input, 0);
  }

  void RemoveExpansionPorts() override {
    if (GetPorts().size() >= 2) RemovePort(PortPtr(GetPorts().front()));
  }

 protected:
  void ExecuteParents() override {
    for (const auto& port : GetPorts()) {
      if (port->IsInput() && !port->IsAliasedPort())
        port->SetAttribute(L"ParentOperatorExecuted", MakeData<BoolData>(IsSourceExecuted(port)));
    }
    Operator::ExecuteParents();
  }

 private:
  bool IsSourceExecuted(const PortPtr& port) const {
    std::vector<boost::shared_ptr<PortConnection>> incoming, outgoing;
    const auto source = GetConnectedPorts(port, incoming, outgoing);
    const auto op = source ? source->TryGetOperator() : nullptr;
    return op && op->IsExecuted();
  }
};

TX_GENERAL_FACTORY(PreviewOperator)

}  // namespace korven::tx_general
