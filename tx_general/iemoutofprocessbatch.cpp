#include <filesystem>
#include <string>
#include <vector>

#include "batchtrigger.h"
#include "iteratormethodtable.h"
#include "iteratorparts.h"
#include "kcommon/kfnp.h"
#include "support.h"
#include "txbasiclib/concurrencyhelper.h"
#include "txlib/document.h"
#include "txlib/factories.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kBatchMethod{
    .name = L"IteratorExecutionMethodOutOfProcessBatch",
    .description =
        L"This operator supplies an out-of-process execution method via the VANTIX batch manager for the "
        L"Iterator operator",
    .keywords = L"Loop|Repeat|Batch",
    .registeredName = L"VANTIX.IteratorExecutionMethodOutOfProcessBatch",
};

class IEMOutOfProcessBatch : public Described<kBatchMethod> {
 public:
  IEMOutOfProcessBatch() { SetPrototype(kIteratorMethodPrototype); }
  void DeclarePorts() override { DeclareMethodPorts(*this); }

 protected:
  void OnExecute() override {
    const auto parents = GetParents();
    if (parents.empty()) SetErrorMessage(L"Could not determing owning iterator.");
    Operator& owner = *parents.front();
    const auto text = ReadPort<std::wstring>(*this, L"Model");
    const auto main = GetMainProcess();
    if (!main) SetErrorMessage(L"There is no model that could hold the files of a batch run.");
    const bool isHidden = IsHidden(owner);
    const std::wstring modelFile = main->GetTemporaryDirectory() + L"/" + AsFileName(main->GetDisplayName()) + L"-" +
                                   AsFileName(GetDisplayName()) + (isHidden ? L".tsmc" : L".tsmx");
    main->RegisterTemporaryFile(modelFile);
    SaveCopy(text, modelFile, owner, isHidden ? L"EncryptedTesseraModelFormat" : L"TesseraModelFormat");
    for (const WithheldValue& value : FindWithheldValues(owner)) {
      value.op->SetWarningMessage(L"The value on the port \"" + value.port->GetDisplayName() + L"\" of type " +
                                  value.port->GetOwnData()->GetDataTypeName().ToString() +
                                  L" has no form in JSON and can't leave its process.");
    }
    const auto count = ReadPort<unsigned>(*this, L"CommonInputDataCount");
    BatchInputs inputs;
    for (MethodInput& input : ReadMethodInputs(*this, count)) {
      inputs.keys.push_back(std::move(input.name));
      inputs.items.push_back(std::move(input.items));
    }
    BatchOutputs outputs{ReadPort<std::vector<std::wstring>>(*this, L"OutputPortNames"), {}};
    outputs.items.resize(outputs.names.size());
    Drive(owner, modelFile, count, inputs, outputs);
    Dictionary results;
    for (std::size_t i = 0; i < outputs.names.size(); ++i)
      results.SetItem(outputs.names[i], MakeData<DataListData>(std::move(outputs.items[i])));
    WritePort(*this, L"OutputData", std::move(results));
  }

 private:
  /// A display name as a part of a file name that the shell takes as it stands.
  static std::wstring AsFileName(std::wstring name) {
    constexpr std::size_t kLongest = 40;  // even in characters of four bytes a file name has room for it twice
    for (wchar_t& c : name) {
      if (c < L' ' || c == 0x7F || std::wstring_view(L"/\\\"'$%&|<>:*?").find(c) != std::wstring_view::npos) c = L'_';
    }
    return name.substr(0, kLongest);
  }

  /// The file lies elsewhere than the document does: links go on leading where they led.
  static void KeepLinks(const Model& model) {
    for (const auto& op : model.GetAllOperators(true)) {
      const auto port = op->GetOperatorName() == L"TesseraModel" ? op->GetPort(L"LinkedModelFilename") : nullptr;
      const auto name = port ? AsDataOf<StringData>(port->GetOwnData()) : nullptr;
      if (!name || !name->GetDataPointer()) continue;
      const std::wstring& file = *name->GetDataPointer();
      if (file.empty() || file.front() == L'/' || file.front() == L'$') continue;
      const std::filesystem::path folder(kfnp_ToNative(op->GetDocumentFolder()));
      port->SetData(MakeData<FileData>(kfnp_FromNative(std::filesystem::absolute(folder / kfnp_ToNative(file)))));
    }
  }

  /// True inside of a model that shows nothing of itself: then neither may a file.
  static bool IsHidden(const Operator& owner) { return &Model::GetVisible(owner) != &owner; }

  static void SaveCopy(const std::wstring& text, const std::wstring& file, const Operator& owner,
                       const wchar_t* format) {
    const DocumentFolderScope folder(owner.GetDocumentFolder());
    const auto copy = ModelFormatFactory::OpenFromBuffer(text, L"TesseraModelFormat");
    copy->SetAttribute(kIteratorCopyAttribute, MakeData<BoolData>(true));
    KeepLinks(*copy);
    // What stands in plain before the rest are the facts of the model that is shown.
    const Operator& visible = Model::GetVisible(owner);
    if (&visible != &owner) {
      copy->SetDisplayName(visible.GetDisplayName());
      copy->SetDescription(visible.GetDescription());
      copy->SetDisplayCategory(visible.GetDisplayCategory());
      copy->SetIcon(visible.GetIcon());
    }
    ModelFormatFactory::Save(copy, file, format);
  }

  void Drive(Operator& owner, const std::wstring& modelFile, unsigned count, const BatchInputs& inputs,
             BatchOutputs& outputs) {
    if (count == 0) {
      LogIteration(L"Iteration count is zero.");
      return;
    }
    const auto trigger = boost::make_shared<ConcurrentActionTrigger>(SharedThis(), modelFile, count, inputs, outputs);
    trigger->Initialize();
    trigger->SetProcess(GetProcess());  // where the number of threads and the cancelling come from
    const unsigned threads = owner.GetEnvironment()->GetNumThreads();
    const auto prepare = [&trigger](std::size_t index) { trigger->Prepare(index); };
    const auto gather = [&trigger](std::size_t index) { trigger->Gather(index); };
    if (threads == 0) {
      LogIteration(L"Concurrency is zero.");
      LogIteration(L"Preparing Inputs.");
      RunInOrder(*trigger, count, prepare);
      trigger->RunBatch(threads);
      LogIteration(L"Gathering Outputs.");
      // The count goes on from the first phase: progress ends at 200.
      RunInOrder(*trigger, count, gather);
      trigger->TellKept(owner);
      return;
    }
    LogIteration(L"Concurrency is " + std::to_wstring(threads) + L".");
    Tamrin::TesseraBasic::ConcurrencyHelper helper;
    helper.SetDataPort(trigger->GetPort(L"Output"));
    helper.SetDataRequestCallback(
        [&trigger](RequestPtr& request, Tamrin::TesseraBasic::ConcurrencyHelper::Completion& completion) {
          auto next = trigger->NextRequest();
          if (!next) return false;
          request = std::move(next);
          completion = [&trigger](const DataPtr& answer) { trigger->NoteCompleted(answer->GetDataValue<unsigned>()); };
          return true;
        });
    LogIteration(L"Preparing Inputs.");
    trigger->SetAction(prepare);
    helper.RunGlobalProcess(false);
    trigger->RunBatch(threads);
    LogIteration(L"Gathering Outputs.");
    trigger->SetAction(gather);
    helper.RunGlobalProcess(false);
    LogIteration(L"Iterations complete");
    trigger->TellKept(owner);
  }

  static void RunInOrder(ConcurrentActionTrigger& trigger, unsigned count,
                         const ConcurrentActionTrigger::Action& step) {
    for (std::size_t index = 0; index < count; ++index) {
      step(index);
      trigger.NoteCompleted(index);
    }
  }
};

TX_GENERAL_FACTORY(IEMOutOfProcessBatch)

}  // namespace korven::tx_general
