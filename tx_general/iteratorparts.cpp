#include "iteratorparts.h"

#include <string>

#include "kcommon/kerr.h"
#include "txbasiclib/requests.h"

namespace korven::tx_general {

void StreamChooser::DeclarePorts() { CreatePort(L"Output", Data::DefaultTypeName(), PortType::Output); }

void StreamChooser::Apply(const PortPtr& port, const RequestPtr& request) {
  if (!ownerPort_) return Operator::Apply(port, request);
  RequestPtr asked = request;
  // Not what can be converted to a list: any value can.
  if (const auto list = boost::dynamic_pointer_cast<DataListData>(ownerPort_->GetData())) {
    // Whoever makes the list further up may then make this item alone.
    const auto directed = boost::make_shared<Tamrin::TesseraBasic::DirectedDataRequest>();
    directed->Initialize();
    // The one item of a list is common to all iterations.
    directed->SetIndex(list->Count() == 1 ? 0 : index_);
    directed->SetDataRequest(request);
    asked = directed;
  }
  port->SetData(ownerPort_->GetData(asked), request);
}

void ModelExecutionTrigger::DeclarePorts() { CreatePort(L"Output", UnsignedData::DefaultTypeName(), PortType::Output); }

void ModelExecutionTrigger::Apply(const PortPtr& port, const RequestPtr& request) {
  const auto index = request->GetAttribute(kTriggerAttribute)->GetDataValue<unsigned>();
  (*copies_)[index]->Execute();
  port->SetData(MakeData<UnsignedData>(index), request);
}

RequestPtr ModelExecutionTrigger::NextRequest() {
  if (remaining_ == 0) return nullptr;
  return MakeTriggerRequest(static_cast<unsigned>(copies_->size() - remaining_--));
}

void ModelExecutionTrigger::NoteCompleted(const DataPtr& answer) {
  TellIteration(*owner_, ++completed_, answer->GetDataValue<unsigned>(), copies_->size());
}

void DeclareMethodPorts(Operator& method) {
  method.CreatePort(L"Model", StringData::DefaultTypeName(), PortType::Input);
  method.CreatePort(L"CommonInputDataCount", UnsignedData::DefaultTypeName(), PortType::Input);
  method.CreatePort(L"InputData", DictionaryData::DefaultTypeName(), PortType::Input);
  method.CreatePort(L"OutputPortNames", StringListData::DefaultTypeName(), PortType::Input);
  method.CreatePort(L"OutputData", DictionaryData::DefaultTypeName(), PortType::Output);
}

std::vector<MethodInput> ReadMethodInputs(Operator& method, unsigned count) {
  std::vector<MethodInput> inputs;
  const auto dictionary = GetPortDataAs<Dictionary>(RequirePort(method, L"InputData"));
  for (const auto& [name, value] : dictionary->GetItems()) {
    const auto list = AsDataOf<DataListData>(value);
    inputs.push_back({name, list && !list->HasNoValue() ? list->GetDataValue() : DataList{value}});
    if (count > 0 && inputs.back().items.empty()) method.SetErrorMessage(L"Empty list on input.");
  }
  return inputs;
}

RequestPtr MakeTriggerRequest(unsigned index) {
  const auto request = boost::make_shared<DataRequest>();
  request->Initialize();
  request->SetAttribute(kTriggerAttribute, MakeData<UnsignedData>(index));
  return request;
}

void TellIteration(Operator& owner, std::int64_t completed, unsigned index, std::size_t count) {
  owner.SetProgress(static_cast<double>(completed) / static_cast<double>(count) * 100);
  LogIteration(L"Iteration " + std::to_wstring(completed) + L"(" + std::to_wstring(index + 1UL) + L") of " +
               std::to_wstring(count));
}

void LogIteration(const std::wstring& text) { kerr_MessageLog(-1, text); }

}  // namespace korven::tx_general
