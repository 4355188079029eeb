#include "itemports.h"
#include "txbasiclib/requests.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kToList{
    .name = L"List",
    .displayName = L"List",
    .category = L"List",
    .description = L"The List operator takes in N items and creates a list of those items.",
};

class ToList : public Described<kToList> {
 public:
  void DeclarePorts() override {
    SetExpandible(true);
    Optional(CreateItemsPort(*this, L"ListIn", PortType::Input));
    AddExpansionPorts();
    CreateItemsPort(*this, L"ListOut", PortType::Output);
  }

  void AddExpansionPorts() override { CreatePort(values_.Next(), Data::DefaultTypeName(), PortType::Input); }

  void RemoveExpansionPorts() override {
    if (values_.Drop(1)) RemovePort(values_.Name(values_.GetCount() + 1));
  }

 protected:
  void OnExecute() override {
    auto items = ReadPortOr<DataList>(*this, L"ListIn", {});
    items.reserve(items.size() + values_.GetCount());
    for (unsigned number = 1; number <= values_.GetCount(); ++number) {
      items.push_back(RequirePort(*this, values_.Name(number))->GetData());
    }
    WritePort(*this, L"ListOut", std::move(items));
  }

  using Operator::Apply;
  void Apply(const PortPtr& port, const RequestPtr& request) override {
    const auto directed = boost::dynamic_pointer_cast<Tamrin::TesseraBasic::DirectedDataRequest>(request);
    if (!directed) return Operator::Apply(port, request);
    const auto listIn = RequirePort(*this, L"ListIn");
    const auto list = GetPortDataAs<DataList>(listIn, true);
    const std::size_t length = list ? list->size() : 0;
    const std::size_t index = directed->GetIndex();
    if (index < length) return port->SetData(listIn->GetData(request), request);
    if (index >= length + values_.GetCount()) SetErrorMessage(L"Invalid index.");
    const auto value = RequirePort(*this, values_.Name(static_cast<unsigned>(index - length + 1)));
    directed->SetFound();
    port->SetData(value->GetData(directed->GetDataRequest()), request);
  }

 private:
  NumberedPorts values_{L"Value"};
};

TX_GENERAL_FACTORY(ToList)

}  // namespace korven::tx_general
