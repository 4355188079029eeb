#include "itemports.h"
#include "txbasiclib/requests.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kItemAt{
    .name = L"NthItem",
    .displayName = L"Nth Item",
    .category = L"List",
    .description = L"Gets a single item off a list by index.",
};

class ItemAt : public Described<kItemAt> {
 public:
  void DeclarePorts() override {
    CreateItemsPort(*this, L"List", PortType::Input);
    CreatePort(L"Index", IntData::DefaultTypeName(), PortType::Input);
    CreatePort(L"Item", Data::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    const auto list = GetPortDataAs<DataList>(RequirePort(*this, L"List"));
    const auto index = ReadPort<std::int32_t>(*this, L"Index");
    if (index < 0 || static_cast<std::size_t>(index) >= list->size()) SetErrorMessage(L"Index out of range.");
    RequirePort(*this, L"Item")->SetData((*list)[static_cast<std::size_t>(index)]);
  }

  using Operator::Apply;
  void Apply(const PortPtr& port, const RequestPtr& request) override {
    const auto index = ReadPort<std::int32_t>(*this, L"Index");
    // An index that is no index of anything is told as it is where all is read.
    if (index < 0) return Operator::Apply(port, request);
    const auto directed = boost::make_shared<Tamrin::TesseraBasic::DirectedDataRequest>();
    directed->Initialize();
    directed->SetIndex(static_cast<unsigned>(index));
    directed->SetDataRequest(request);
    const auto item = RequirePort(*this, L"List")->GetData(directed);
    if (directed->IsMissing()) return Operator::Apply(port, request);
    port->SetData(item, request);
  }
};

TX_GENERAL_FACTORY(ItemAt)

}  // namespace korven::tx_general
