#include <map>
#include <mutex>

#include "itemports.h"
#include "txbasiclib/requests.h"
#include "txlib/dataref.h"
#include "txlib/jsonvalue.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kConstructDictionary{
    .name = L"Dictionary",
    .displayName = L"Dictionary",
    .category = L"Dictionary",
    .description = L"Make a dictionary from provided names and values, or modifies an existing dictionary.",
    .keywords = L"Metadata",
};

namespace {

/// True where items can be set by name.
bool TakesItems(const Data& data) {
  if (dynamic_cast<const DictionaryData*>(&data)) return true;
  const auto* json = dynamic_cast<const Tamrin::TesseraBasic::JsonData*>(&data);
  return json && !json->HasNoValue() && json->GetDataValue().IsObject();
}

}  // namespace

class ConstructDictionary : public Described<kConstructDictionary> {
 public:
  void DeclarePorts() override {
    SetExpandible(true);
    Optional(CreatePort(L"DictionaryIn", DictionaryData::DefaultTypeName(), PortType::Input));
    AddExpansionPorts();
    CreatePort(L"DictionaryOut", DictionaryData::DefaultTypeName(), PortType::Output);
  }

  void AddExpansionPorts() override {
    CreatePort(names_.Next(), StringData::DefaultTypeName(), PortType::Input);
    CreatePort(values_.Next(), Data::DefaultTypeName(), PortType::Input);
  }

  void RemoveExpansionPorts() override {
    if (!names_.Drop(1) || !values_.Drop(1)) return;
    RemovePort(names_.Name(names_.GetCount() + 1));
    RemovePort(values_.Name(values_.GetCount() + 1));
  }

 protected:
  void OnExecute() override {
    const auto& dictionaryIn = RequirePort(*this, L"DictionaryIn");
    const auto given = dictionaryIn->GetData();
    // The items would be lost without a word.
    if (given && !TakesItems(*given)) RaisePortMessage(*dictionaryIn, L"No appropriate data found on port(");
    const DataPtr made = given ? given->Clone() : MakeData<DictionaryData>(Dictionary());
    const auto ports = ReadNames();
    for (unsigned number = 1; number <= names_.GetCount(); ++number) {
      const auto name = ReadPort<std::wstring>(*this, names_.Name(number));
      (*made)[name] = ports.at(name).value->GetData();
    }
    RequirePort(*this, L"DictionaryOut")->SetData(made);
  }

  using Operator::Apply;
  void Apply(const PortPtr& port, const RequestPtr& request) override {
    const auto named = boost::dynamic_pointer_cast<Tamrin::TesseraBasic::NamedDataRequest>(request);
    if (!named) return Operator::Apply(port, request);
    if (const auto value = FindValue(named->GetName())) {
      named->SetFound();
      return port->SetData(value->GetData(named->GetDataRequest()), request);
    }
    const auto dictionaryIn = RequirePort(*this, L"DictionaryIn");
    const auto item = dictionaryIn->GetData(request);
    // Only where nobody met the item may it be that there is no dictionary at all.
    if (!item && !named->IsFound() && !dictionaryIn->GetData()) SetErrorMessage(L"Invalid name.");
    port->SetData(item, request);
  }

 private:
  struct Pair {
    PortPtr name;
    PortPtr value;
  };
  using Pairs = std::map<std::wstring, Pair>;

  Pairs ReadNames() {
    Pairs pairs;
    for (unsigned number = 1; number <= names_.GetCount(); ++number) {
      const auto name = RequirePort(*this, names_.Name(number));
      const Pair pair{name, RequirePort(*this, values_.Name(number))};
      if (!pairs.emplace(*GetPortDataAs<std::wstring>(name), pair).second) {
        SetErrorMessage(L"Duplicate names specified; names must be unique.");
      }
    }
    return pairs;
  }

  /// The value's port of that name, or null. The names are read for the first pull, and again where they turn out to
  /// have changed since: reading them all for each pull would make many pulls of many names slow.
  PortPtr FindValue(const std::wstring& name) {
    if (const auto known = LastPairs()) {
      const auto found = known->find(name);
      if (found != known->end() && found->second.name->TryGetOperator().get() == this &&
          *GetPortDataAs<std::wstring>(found->second.name) == name) {
        return found->second.value;
      }
    }
    const auto pairs = boost::make_shared<const Pairs>(ReadNames());
    {
      const std::lock_guard lock(mutex_);
      pairs_ = pairs;
    }
    const auto found = pairs->find(name);
    return found == pairs->end() ? nullptr : found->second.value;
  }

  boost::shared_ptr<const Pairs> LastPairs() {
    const std::lock_guard lock(mutex_);
    return pairs_;
  }

  NumberedPorts names_{L"Name"};
  NumberedPorts values_{L"Value"};
  std::mutex mutex_;                      ///< never held while the names are read, which may run operators
  boost::shared_ptr<const Pairs> pairs_;  ///< of the last pull that read the names
};

TX_GENERAL_FACTORY(ConstructDictionary)

}  // namespace korven::tx_general
