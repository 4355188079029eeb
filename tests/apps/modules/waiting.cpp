// Operators that take their time, for the tests of the program.
#include <unistd.h>

#include <boost/make_shared.hpp>
#include <chrono>
#include <thread>

#include "kcommon/kfio.h"
#include "plugin/availablepluginproxy.h"
#include "txbasiclib/basicvalues.h"
#include "txlib/model.h"
#include "txlib/portaccess.h"

namespace {

using namespace Tamrin::Tessera;

constexpr OperatorSheet kSteps{
    .name = L"TestSteps",
    .displayName = L"Test Steps",
    .category = L"Test",
    .description = L"Waits some times for some milliseconds and tells its progress.",
    .keywords = L"Test",
};

class Steps : public Described<kSteps> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Milliseconds", PortType::Input, MakeData<UnsignedData>(20u))->SetIsOptional(true);
    CreatePort(L"Steps", PortType::Input, MakeData<UnsignedData>(10u))->SetIsOptional(true);
    CreatePort(L"After", Data::DefaultTypeName(), PortType::Input)->SetIsOptional(true);
    CreatePort(L"Warning", StringData::DefaultTypeName(), PortType::Input)->SetIsOptional(true);
    CreatePort(L"Done", BoolData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    const std::chrono::milliseconds pause(ReadPortOr<unsigned>(*this, L"Milliseconds", 20));
    const auto steps = ReadPortOr<unsigned>(*this, L"Steps", 10);
    for (unsigned step = 1; step <= steps; ++step) {
      std::this_thread::sleep_for(pause);
      SetProgress(step * 100.0 / steps);
      const auto warning = ReadPortOr<std::wstring>(*this, L"Warning", L"");
      if (step == 5 && !warning.empty()) SetWarningMessage(warning);
    }
    WritePort(*this, L"Done", true);
  }
};

constexpr OperatorSheet kDeaf{
    .name = L"TestDeaf",
    .displayName = L"Test Deaf",
    .category = L"Test",
    .description = L"Never ends and heeds no cancelling, in the middle of writing a file.",
    .keywords = L"Test",
};

class Deaf : public Described<kDeaf> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Filename", FileData::DefaultTypeName(), PortType::Input);
    CreatePort(L"Done", BoolData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    const auto name = GetProcess()->GenerateTemporaryFileName(L"deaf", L".txt");
    kfio::WriteFile(name, L"temporary");
    kfio::SetCancelCheck([] {
      for (;;) ::pause();
    });
    kfio::WriteBytes(ReadPort<std::wstring>(*this, L"Filename"), std::string(3 << 20, 'x'));
    WritePort(*this, L"Done", true);
  }
};

constexpr OperatorSheet kSecret{
    .name = L"TestSecret",
    .displayName = L"Test Secret",
    .category = L"Test",
    .description = L"Gives a password, which no document or file of outputs holds.",
    .keywords = L"Test",
};

class Secret : public Described<kSecret> {
 public:
  void DeclarePorts() override {
    CreatePort(L"After", Data::DefaultTypeName(), PortType::Input)->SetIsOptional(true);
    CreatePort(L"Secret", Data::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    GetPort(L"Secret")->SetData(MakeData<Tamrin::TesseraBasic::PasswordData>(std::wstring(L"secret")));
  }
};

}  // namespace

using korven::plugin::AvailablePluginProxy;

extern "C" __attribute__((visibility("default"))) int GetAvailablePluginProxiesOfType(
    const std::wstring& category, std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  if (category.empty() || category == L"Operator") {
    proxies.push_back(AvailablePluginProxy::Create(L"TestSteps", [] { return boost::make_shared<Steps>(); }));
    proxies.push_back(AvailablePluginProxy::Create(L"TestDeaf", [] { return boost::make_shared<Deaf>(); }));
    proxies.push_back(AvailablePluginProxy::Create(L"TestSecret", [] { return boost::make_shared<Secret>(); }));
  }
  return 0;
}
