#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "iteratormethodtable.h"
#include "korvenlog/exception.h"
#include "support.h"
#include "txlib/datajson.h"
#include "txlib/factories.h"
#include "txlib/jsonvalue.h"
#include "txlib/model.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kIterator{
    .name = L"Iterator",
    .displayName = L"Iterator",
    .category = L"General|Flow Control",
    .icon = L"replace2.ico",
    .description =
        L"The Iterator operator takes the items off of a List and puts each one through a model the user builds "
        L"inside the operator. This is done for each item in the List once.",
    .keywords = L"Loop|Repeat|Batch",
    .usableInExpression = false,
};

constexpr const wchar_t* kMethodPort = L"ExecutionMethod";

class IteratorModel : public Described<kIterator, Model> {
 public:
  void DeclarePorts() override {
    const IteratorMethodTable& methods = IteratorMethodTable::Instance();
    // Values that never change are shared: a run makes a copy of its iterator for every item.
    static const DataPtr names = MakeData<StringListData>(methods.shortNames);
    static const DataPtr standard = MakeData<StringData>(kDefaultIteratorMethod);
    const auto port = CreatePortWithAttributes(kMethodPort, StringData::DefaultTypeName(), PortType::Input,
                                               L"AcceptableValues", &names, nullptr);
    Hidden(Optional(port))->SetDefaultData(standard);
    SetKeywords(methods.keywords);
  }

 protected:
  /// Outside, any inner port takes a list of its own items as well.
  void OnPortAdded(const PortPtr& port) override {
    if (IsProtected(port->GetName())) return;
    static const ObjectName list = DataListData::DefaultTypeName();
    static const DataPtr itemType = MakeData<StringData>(Data::DefaultTypeName().ToString());
    port->AddExtraSupportedType(list);
    port->SetDataTypeAttribute(list, L"ListDataType", itemType);
  }

  void OnExecute() override {
    // A copy has no method that could be cleared, and there may be millions of them.
    if (IsCopy()) {
      Model::OnExecute();
      return;
    }
    invalidationHandle_ = AddOnInvalidateCallback([this](const auto&) { executionMethod_.reset(); });
    executionMethod_.reset();
    unsigned count = 1;
    const auto inputs = CollectInputs(count);
    std::vector<std::wstring> outputs;
    GetOutputPortNames(outputs);
    // Those of this object never run: only those of its copies do.
    for (const auto& op : GetAllOperators(true)) op->DeactivateOperator();
    const auto model = boost::static_pointer_cast<Model>(SharedThis());
    const std::wstring text = SaveForCopies(model);
    executionMethod_ = MakeMethod(ReadPortOr<std::wstring>(*this, kMethodPort, kDefaultIteratorMethod));
    WritePort(*executionMethod_, L"Model", text);
    WritePort(*executionMethod_, L"CommonInputDataCount", count);
    RequirePort(*executionMethod_, L"InputData")->SetData(inputs);
    WritePort(*executionMethod_, L"OutputPortNames", outputs);
    executionMethod_->AddParent(model);
    executionMethod_->Execute();
    Publish(*RequirePort(*executionMethod_, L"OutputData"), outputs);
  }

  using Model::Apply;
  void Apply(const PortPtr& port, const RequestPtr& request) override {
    if (IsCopy()) {
      Model::Apply(port, request);
      return;
    }
    const auto method = executionMethod_;
    if (!method) SetErrorMessage(L"ExecutionMethod is NULL!");
    method->Apply(port, request);
  }

 private:
  /// Ports that take no part in the handling of lists.
  static bool IsProtected(const std::wstring& name) { return name == kMethodPort; }

  bool IsCopy() const {
    const auto mark = GetAttribute(kIteratorCopyAttribute);
    return mark && mark->GetDataValue<bool>();
  }

  /// True where something on the port or further out gives it its data.
  static bool IsGiven(const PortPtr& port) {
    for (PortPtr each = port; each; each = each->GetParentPort()) {
      if (each->GetIncomingConnection() || each->GetOwnData()) return true;
    }
    return false;
  }

  /// True where the port leads to several inside, each of which may have a value of its own.
  static bool LeadsToSeveral(const PortPtr& port) {
    auto inner = port->GetInnerAliasedPorts();
    while (inner.size() == 1) inner = inner.front()->GetInnerAliasedPorts();
    return inner.size() > 1;
  }

  /// A list per input. Lists of one item and values that are none are common to all iterations, and so is what stands
  /// inside where nothing is given.
  boost::shared_ptr<DictionaryData> CollectInputs(unsigned& count) {
    const auto inputs = MakeData<DictionaryData>({});
    std::size_t smallest = 0;
    std::vector<std::wstring> names;
    GetInputPortNames(names);
    for (const std::wstring& name : names) {
      if (IsProtected(name)) continue;
      const auto port = GetPort(name);
      const bool isGiven = IsGiven(port);
      const auto list = isGiven ? GetPortDataAs<DataList>(port, true) : nullptr;
      if (list && list->empty()) SetErrorMessage(L"Empty list on input.");
      if (list && list->size() > 1) smallest = smallest == 0 ? list->size() : std::min(smallest, list->size());
      const auto items = list ? *list : DataList{port->GetData()};
      // Ports inside that have values of their own keep them.
      if (!isGiven && items.front() && LeadsToSeveral(port)) continue;
      inputs->GetDataValue().SetItem(name, MakeData<DataListData>(items));
    }
    if (smallest > 0) count = static_cast<unsigned>(smallest);
    return inputs;
  }

  /// The iterator as text. What is set on its own inputs is left out: the copies have their items from elsewhere, and
  /// each would have the whole list once more. What is set on a setting further out goes along: no item takes it there.
  static std::wstring SaveForCopies(const boost::shared_ptr<Model>& model) {
    std::wstring text = ModelFormatFactory::SaveToBuffer(model, L"TesseraModelFormat");
    const auto& ports = model->GetPorts();
    JsonValue document;
    if (std::none_of(ports.begin(), ports.end(), &DiffersInCopies) || !document.Deserialize(text)) return text;
    JsonValue& saved = document[L"ports"];
    for (unsigned i = 0; i < saved.Count(); ++i) {
      const auto port = model->GetPort(saved[i][L"name"].AsString());
      if (!port || !DiffersInCopies(port)) continue;
      JsonValue value;
      if (port->IsInput())
        saved[i].Remove("value");
      else if (DataToTypedJson(port->GetData(), value))
        saved[i].Set("value", std::move(value));
    }
    return document.Serialize();
  }

  static bool DiffersInCopies(const PortPtr& port) {
    if (port->IsInput()) return !IsProtected(port->GetName()) && port->GetOwnData();
    return !port->IsOutput() && port->GetParentPort() && port->GetData() != port->GetOwnData();
  }

  /// The method, which keeps the container alive that it runs in.
  boost::shared_ptr<Operator> MakeMethod(const std::wstring& shortName) const {
    const IteratorMethodTable& methods = IteratorMethodTable::Instance();
    const auto found = std::find(methods.shortNames.begin(), methods.shortNames.end(), shortName);
    if (found == methods.shortNames.end())
      throw std::runtime_error(KorvenLog::Narrow(shortName) + ": Invalid execution method");
    const auto index = found - methods.shortNames.begin();
    const auto method = OperatorFactory::Create(methods.namespaces[index], methods.objectNames[index]);
    if (!method) throw std::runtime_error(KorvenLog::Narrow(shortName) + ": Invalid execution method");
    struct Contained {
      boost::shared_ptr<Model> container;
      boost::shared_ptr<Operator> method;
    };
    const auto contained = boost::make_shared<Contained>();
    contained->method = method;
    if (const auto main = GetMainProcess()) contained->container = main->DeriveNewContainer();
    if (contained->container) method->SetProcess(contained->container);
    return {contained, method.get()};
  }

  /// Takes a method's lists over to the inner ports that the outputs lead to.
  void Publish(Port& results, const std::vector<std::wstring>& names) {
    const auto lists = AsDataOf<DictionaryData>(results.GetData());
    for (const auto& op : GetAllOperators(true)) op->SetExecuted(true);
    for (const std::wstring& name : names) {
      auto port = GetPort(name);
      for (auto inner = port->GetInnerAliasedPorts(); !inner.empty(); inner = port->GetInnerAliasedPorts())
        port = inner.front();
      port->SetData(lists ? lists->GetDataValue().Find(name) : nullptr);
    }
  }

  boost::shared_ptr<Operator> executionMethod_;
  CallbackHandle invalidationHandle_;
};

TX_GENERAL_FACTORY(IteratorModel)

}  // namespace korven::tx_general
