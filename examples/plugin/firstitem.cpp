#include <boost/make_shared.hpp>

#include "plugin/availablepluginproxy.h"
#include "txlib/factories.h"
#include "txlib/portaccess.h"

namespace {

using namespace Tamrin::Tessera;

constexpr OperatorSheet kFirstItem{
    .name = L"IteratorExecutionMethodFirstItem",
    .description = L"Runs an Iterator for the first items of its lists alone, to try a model out.",
    .keywords = L"Loop|Try",
    .registeredName = L"VANTIX.IteratorExecutionMethodFirstItem",
};

class FirstItem : public Described<kFirstItem> {
 public:
  FirstItem() { SetPrototype(L"VANTIX.IteratorExecutionMethod"); }

  void DeclarePorts() override {
    CreatePort(L"Model", StringData::DefaultTypeName(), PortType::Input);
    CreatePort(L"CommonInputDataCount", UnsignedData::DefaultTypeName(), PortType::Input);
    CreatePort(L"InputData", DictionaryData::DefaultTypeName(), PortType::Input);
    CreatePort(L"OutputPortNames", StringListData::DefaultTypeName(), PortType::Input);
    CreatePort(L"OutputData", DictionaryData::DefaultTypeName(), PortType::Output);
  }

  /// A pull on an output of the Iterator.
  using Operator::Apply;
  void Apply(const boost::shared_ptr<Port>& port, const boost::shared_ptr<DataRequest>& request) override {
    if (!serial_) SetErrorMessage(L"The model has not run.");
    serial_->Apply(port, request);
  }

 protected:
  void OnExecute() override {
    serial_ = OperatorFactory::Create(L"VANTIX", L"IteratorExecutionMethodInProcessSerial");
    for (const wchar_t* name : {L"Model", L"InputData", L"OutputPortNames"})
      RequirePort(*serial_, name)->SetData(RequirePort(*this, name)->GetData());
    WritePort(*serial_, L"CommonInputDataCount", 1u);
    serial_->SetProcess(GetProcess());
    serial_->AddParent(GetParents().front());  // the Iterator, which messages and progress go to
    serial_->Execute();
    RequirePort(*this, L"OutputData")->SetData(RequirePort(*serial_, L"OutputData")->GetData());
  }

 private:
  boost::shared_ptr<Operator> serial_;
};

}  // namespace

using korven::plugin::AvailablePluginProxy;

extern "C" __attribute__((visibility("default"))) int GetAvailablePluginProxiesOfType(
    const std::wstring& category, std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  if (category.empty() || category == L"Operator") {
    proxies.push_back(AvailablePluginProxy::Create(L"VANTIX.IteratorExecutionMethodFirstItem",
                                                   [] { return boost::make_shared<FirstItem>(); }));
  }
  return 0;
}
