#include <algorithm>
#include <iterator>

#include "itemports.h"
#include "txbasiclib/requests.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kRemoveEmptyItems{
    .name = L"RemoveEmptyItems",
    .displayName = L"Remove Empty Items",
    .category = L"List",
    .description = L"Removes any NULL items from a list.",
};

class RemoveEmptyItems : public Described<kRemoveEmptyItems> {
 public:
  void DeclarePorts() override {
    CreateItemsPort(*this, L"ListIn", PortType::Input);
    CreateItemsPort(*this, L"ListOut", PortType::Output);
  }

 protected:
  void OnExecute() override {
    const auto list = GetPortDataAs<DataList>(RequirePort(*this, L"ListIn"));
    DataList kept;
    kept.reserve(list->size());
    std::copy_if(list->begin(), list->end(), std::back_inserter(kept), [](const DataPtr& item) { return item; });
    WritePort(*this, L"ListOut", std::move(kept));
  }

  using Operator::Apply;
  void Apply(const PortPtr& port, const RequestPtr& request) override {
    const auto directed = boost::dynamic_pointer_cast<Tamrin::TesseraBasic::DirectedDataRequest>(request);
    if (!directed) return Operator::Apply(port, request);
    const auto listIn = RequirePort(*this, L"ListIn");
    // Items that are not made yet are asked for one by one, up to the one that is wanted; those behind it are not
    // made at all. Once the list is there, the work is done on all of it, once.
    unsigned met = 0;
    for (unsigned index = 0; !listIn->GetExistingData(); ++index) {
      const auto step = boost::make_shared<Tamrin::TesseraBasic::DirectedDataRequest>();
      step->Initialize();
      step->SetIndex(index);
      step->SetDataRequest(directed->GetDataRequest());
      const auto item = listIn->GetData(step);
      if (!item && !step->IsFound()) break;
      if (!item || met++ != directed->GetIndex()) continue;
      directed->SetFound();
      return port->SetData(item, request);
    }
    Operator::Apply(port, request);
    if (directed->IsMissing()) SetErrorMessage(L"Invalid index.");
  }
};

TX_GENERAL_FACTORY(RemoveEmptyItems)

}  // namespace korven::tx_general
