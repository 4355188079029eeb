#include <boost/make_shared.hpp>
#include <sstream>

#include "plugin/availablepluginproxy.h"
#include "txlib/portaccess.h"

namespace {

using namespace Tamrin::Tessera;

constexpr OperatorSheet kCountWords{
    .name = L"CountWords",
    .displayName = L"Count Words",
    .category = L"String",
    .description = L"Counts the words of a text that are long enough.",
    .keywords = L"Text|Number",
};

class CountWords : public Described<kCountWords> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Text", StringData::DefaultTypeName(), PortType::Input);
    CreatePort(L"MinimumLength", PortType::Input, MakeData<UnsignedData>(1u))->SetIsOptional(true);
    CreatePort(L"Count", UnsignedData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    std::wistringstream text(ReadPort<std::wstring>(*this, L"Text"));
    const auto minimum = ReadPortOr<unsigned>(*this, L"MinimumLength", 1);
    if (minimum == 0) SetErrorMessage(L"MinimumLength is 0; a word has at least one character.");
    unsigned count = 0;
    for (std::wstring word; text >> word;) count += word.size() >= minimum;
    WritePort(*this, L"Count", count);
  }
};

}  // namespace

using korven::plugin::AvailablePluginProxy;

extern "C" __attribute__((visibility("default"))) int GetAvailablePluginProxiesOfType(
    const std::wstring& category, std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  if (category.empty() || category == L"Operator") {
    proxies.push_back(AvailablePluginProxy::Create(L"CountWords", [] { return boost::make_shared<CountWords>(); }));
  }
  return 0;
}
