#include <algorithm>
#include <string>
#include <vector>

#include "iteratormethodtable.h"
#include "iteratorparts.h"
#include "support.h"
#include "txbasiclib/concurrencyhelper.h"
#include "txbasiclib/requests.h"
#include "txlib/document.h"
#include "txlib/factories.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kSerialMethod{
    .name = L"IteratorExecutionMethodInProcessSerial",
    .description = L"This operator supplies a serial in-process execution method for the Iterator operator",
    .keywords = L"Loop|Repeat",
    .registeredName = L"VANTIX.IteratorExecutionMethodInProcessSerial",
};
inline constexpr OperatorSheet kParallelMethod{
    .name = L"IteratorExecutionMethodInProcessParallel",
    .description = L"This operator supplies a parallel in-process execution method for the Iterator operator",
    .keywords = L"Loop|Repeat",
    .registeredName = L"VANTIX.IteratorExecutionMethodInProcessParallel",
};

class IEMInProcess : public Operator {
 public:
  IEMInProcess() { SetPrototype(kIteratorMethodPrototype); }

  void DeclarePorts() override { DeclareMethodPorts(*this); }

 protected:
  void OnExecute() override {
    copies_ = boost::make_shared<ModelCopies>();
    const auto count = ReadPort<unsigned>(*this, L"CommonInputDataCount");
    const auto inputs = ReadMethodInputs(*this, count);
    const auto parents = GetParents();
    if (parents.empty()) SetErrorMessage(L"Could not determing owning iterator.");
    const boost::shared_ptr<Operator>& owner = parents.front();
    MakeCopies(count, inputs, *owner);
    const std::wstring name = GetOperatorName();
    if (name == kSerialMethod.name)
      RunSerially(*owner);
    else if (name == kParallelMethod.name)
      RunInParallel(owner);
    else
      SetErrorMessage(L"Unhandled specialization.");
    GatherOutputs();
  }

 public:
  using Operator::Apply;
  void Apply(const PortPtr& port, const RequestPtr& request) override {
    const std::wstring& name = port->GetName();
    const auto directed = boost::dynamic_pointer_cast<Tamrin::TesseraBasic::DirectedDataRequest>(request);
    if (directed) {
      if (directed->GetIndex() >= copies_->size()) SetErrorMessage(L"Invalid index.");
      port->SetData((*copies_)[directed->GetIndex()]->GetPort(name)->GetData(directed->GetDataRequest()), request);
      return;
    }
    DataList items;
    for (const auto& copy : *copies_) items.push_back(copy->GetPort(name)->GetData(request));
    port->SetData(MakeData<DataListData>(std::move(items)), request);
  }

 private:
  void MakeCopies(unsigned count, const std::vector<MethodInput>& inputs, const Operator& owner) {
    const auto text = ReadPort<std::wstring>(*this, L"Model");
    std::vector<PortPtr> ownerPorts;
    for (const MethodInput& input : inputs) ownerPorts.push_back(owner.GetPort(input.name));
    const auto withheld = FindWithheldValues(owner);
    const DataPtr mark = MakeData<BoolData>(true);
    const DocumentFolderScope folder(owner.GetDocumentFolder());
    copies_->reserve(count);
    for (unsigned index = 0; index < count; ++index) {
      GetEnvironment()->CheckCancelled();
      const auto copy = ModelFormatFactory::OpenFromBuffer(text, L"TesseraModelFormat");
      copies_->push_back(copy);
      GiveWithheldValues(withheld, *copy);
      copy->SetAttribute(kIteratorCopyAttribute, mark);
      copy->SetAttribute(L"IterationIndex", MakeData<UnsignedData>(index));
      copy->SetReportProgress(false);
      for (std::size_t i = 0; i < inputs.size(); ++i) {
        const MethodInput& input = inputs[i];
        const auto chooser = boost::make_shared<StreamChooser>(ownerPorts[i], index);
        chooser->Initialize();
        const auto& output = RequirePort(*chooser, L"Output");
        output->SetData(ItemOf(input.items, index));
        copy->AddOperator(chooser);
        ConnectPort(output, RequirePort(*copy, input.name));
      }
    }
  }

  /// Messages from inside of a copy, told by the operator that the user sees.
  static CallbackHandle RelayMessages(Model& copy, const Operator& owner) {
    return copy.AddOnMessageCallback([&owner](const boost::shared_ptr<Operator>& source, const PortPtr&,
                                              const std::wstring& text, const std::wstring&, Issue::Severity severity) {
      const auto* const iterator = dynamic_cast<const Model*>(&owner);
      if (!iterator || !source) return;
      const std::wstring name = source->GetDisplayName();
      for (const auto& shown : iterator->GetAllOperators(true)) {
        if (shown->GetDisplayName() != name) continue;
        if (severity == Issue::Information)
          shown->SetInfoMessage(text);
        else if (severity == Issue::Warning)
          shown->SetWarningMessage(text);
        else
          shown->SetErrorMessage(text);
        return;
      }
    });
  }

  void RunSerially(Operator& owner) {
    const auto count = copies_->size();
    for (std::size_t i = 0; i < count; ++i) {
      Model& copy = *(*copies_)[i];
      copy.SetProcess(GetProcess());
      const auto relay = RelayMessages(copy, owner);
      LogIteration(L"Iteration " + std::to_wstring(i) + L" of " + std::to_wstring(count));
      copy.Execute();
      owner.SetProgress(static_cast<double>(i) / static_cast<double>(count) * 100);
    }
    LogIteration(L"Iterations complete");
  }

  void RunInParallel(const boost::shared_ptr<Operator>& owner) {
    if (copies_->empty()) {
      LogIteration(L"Iteration count is zero.");
      return;
    }
    const unsigned threads = owner->GetEnvironment()->GetNumThreads();
    if (threads == 0) {
      LogIteration(L"Concurrency is zero.");
      RunSerially(*owner);
      return;
    }
    LogIteration(L"Concurrency is " + std::to_wstring(threads) + L".");
    std::vector<CallbackHandle> relays;
    for (const auto& copy : *copies_) {
      copy->SetProcess(GetProcess());
      relays.push_back(RelayMessages(*copy, *owner));
    }
    const auto trigger = boost::make_shared<ModelExecutionTrigger>(copies_, owner);
    trigger->Initialize();
    trigger->SetProcess(GetProcess());  // where the number of threads and the cancelling come from
    Tamrin::TesseraBasic::ConcurrencyHelper helper;
    helper.SetDataPort(trigger->GetPort(L"Output"));
    helper.SetDataRequestCallback(
        [&trigger](RequestPtr& request, Tamrin::TesseraBasic::ConcurrencyHelper::Completion& completion) {
          auto next = trigger->NextRequest();
          if (!next) return false;
          request = std::move(next);
          completion = [&trigger](const DataPtr& answer) { trigger->NoteCompleted(answer); };
          return true;
        });
    helper.RunGlobalProcess(false);
    LogIteration(L"Iterations complete");
  }

  /// A list per output, in the order of the iterations, whatever the order in which they ended.
  void GatherOutputs() {
    const auto names = ReadPort<std::vector<std::wstring>>(*this, L"OutputPortNames");
    std::vector<DataList> lists(names.size());
    for (const auto& copy : *copies_) {
      for (std::size_t i = 0; i < names.size(); ++i) lists[i].push_back(RequirePort(*copy, names[i])->GetData());
    }
    Dictionary outputs;
    for (std::size_t i = 0; i < names.size(); ++i)
      outputs.SetItem(names[i], MakeData<DataListData>(std::move(lists[i])));
    WritePort(*this, L"OutputData", std::move(outputs));
  }

  boost::shared_ptr<ModelCopies> copies_ = boost::make_shared<ModelCopies>();
};

class IEMInProcessSerial : public Described<kSerialMethod, IEMInProcess> {};
class IEMInProcessParallel : public Described<kParallelMethod, IEMInProcess> {};

TX_GENERAL_FACTORY(IEMInProcessSerial)
TX_GENERAL_FACTORY(IEMInProcessParallel)

}  // namespace korven::tx_general
