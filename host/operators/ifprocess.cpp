#include "txbasiclib/ifprocess.h"

#include "txlib/basicdata.h"
#include "txlib/portaccess.h"

namespace Tamrin::TesseraBasic {

using namespace Tamrin::Tessera;  // NOLINT

bool IsTestTrue(const boost::shared_ptr<Port>& port) {
  if (!port->GetData()) return false;
  const auto asInt = GetPortDataAs<int>(port, true);
  const auto asDouble = GetPortDataAs<double>(port, true);
  const auto asBool = GetPortDataAs<bool>(port, true);
  return (!asInt || *asInt != 0) && (!asDouble || *asDouble != 0.0) && (!asBool || *asBool);
}

void IfProcess::DeclarePorts() {
  const auto test = CreatePort(L"Test", BoolData::DefaultTypeName(), PortType::Input);
  test->AddSupportedType(Data::DefaultTypeName());
  test->SetIsOptional(true);
  CreatePort(L"Input", Data::DefaultTypeName(), PortType::Input);
  CreatePort(L"True", Data::DefaultTypeName(), PortType::Output)->SetIsOptional(true);
  CreatePort(L"False", Data::DefaultTypeName(), PortType::Output)->SetIsOptional(true);
}

void IfProcess::OnExecute() {
  const bool isTrue = IsTestTrue(RequirePort(*this, L"Test"));
  const auto data = RequirePort(*this, L"Input")->GetData();
  RequirePort(*this, L"True")->SetData(isTrue ? data : nullptr);
  RequirePort(*this, L"False")->SetData(isTrue ? nullptr : data);
}

}  // namespace Tamrin::TesseraBasic
