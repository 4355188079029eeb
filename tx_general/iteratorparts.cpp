#include "iteratorparts.h"

#include <algorithm>
#include <string>

#include "kcommon/kerr.h"
#include "txbasiclib/basicvalues.h"
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

namespace {

/// A list or dictionary that holds a password isn't written as a whole.
bool HoldsPassword(const DataPtr& value) {
  if (boost::dynamic_pointer_cast<Tamrin::TesseraBasic::PasswordData>(value)) return true;
  if (const auto list = boost::dynamic_pointer_cast<DataListData>(value); list && !list->HasNoValue()) {
    const DataList& items = list->GetDataValue();
    return std::any_of(items.begin(), items.end(), HoldsPassword);
  }
  const auto dictionary = boost::dynamic_pointer_cast<DictionaryData>(value);
  if (!dictionary || dictionary->HasNoValue()) return false;
  const auto& items = dictionary->GetDataValue().GetItems();
  return std::any_of(items.begin(), items.end(), [](const auto& item) { return HoldsPassword(item.second); });
}

}  // namespace

std::vector<WithheldValue> FindWithheldValues(const Operator& owner) {
  std::vector<WithheldValue> values;
  const auto* const model = dynamic_cast<const Model*>(&owner);
  if (!model) return values;
  const auto operators = model->GetAllOperators(true);
  for (std::size_t place = 0; place < operators.size(); ++place) {
    for (const PortPtr& port : operators[place]->GetPorts()) {
      if (!port->IsOutput() && HoldsPassword(port->GetOwnData())) values.push_back({place, operators[place], port});
    }
  }
  return values;
}

void GiveWithheldValues(const std::vector<WithheldValue>& values, const Model& copy) {
  if (values.empty()) return;
  const auto operators = copy.GetAllOperators(true);
  for (const WithheldValue& value : values) {
    // The owner of a method that stands by itself may be of another shape than the method's model.
    if (value.place >= operators.size()) continue;
    Operator& op = *operators[value.place];
    const PortPtr port = op.GetPort(value.port->GetName());
    if (port && op.GetOperatorName() == value.op->GetOperatorName() && !port->GetOwnData())
      port->SetData(value.port->GetOwnData());
  }
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
