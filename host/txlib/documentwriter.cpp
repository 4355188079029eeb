#include <algorithm>
#include <deque>
#include <map>
#include <optional>
#include <typeinfo>
#include <unordered_set>

#include "documentreader.h"
#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "txlib/basicdata.h"
#include "txlib/datajson.h"
#include "txlib/factories.h"

namespace Tamrin::Tessera {

namespace {

using namespace DocumentKeys;
using DataPtr = boost::shared_ptr<Data>;
using OperatorPtr = boost::shared_ptr<Operator>;

const JsonValue kNothing;
const DocumentMemory kNoMemory;

const JsonValue& Member(const JsonValue& object, std::string_view key) {
  const JsonValue* found = object.Find(key);
  return found ? *found : kNothing;
}

std::string Narrow(const std::wstring& text) { return kstr_ToUtf8(text); }

void SetText(JsonValue& json, std::string_view key, const std::wstring& text) { json.Set(key, JsonValue(text)); }

/// A value as a document says it: bare where that reads back as the same. False where it has no JSON.
bool ToDocumentJson(const DataPtr& data, const Port* port, JsonValue& json) {
  JsonValue typed;
  if (!DataToTypedJson(data, typed)) return false;
  const std::string_view type = Member(typed, "Type").AsUtf8();
  const JsonValue& value = Member(typed, "Value");
  const bool isTaken = !port || port->SupportsType(data->GetDataTypeName());
  const bool isBare = (type == "VANTIX.String" && value.IsString()) || (type == "VANTIX.Bool" && value.IsBool()) ||
                      (type == "VANTIX.Int" && value.IsInteger()) ||
                      (type == "VANTIX.Double" && value.Type() == JsonValueType::Double);
  json = isTaken && isBare ? value : typed;
  return true;
}

bool IsSame(const DataPtr& a, const DataPtr& b) {
  if (a == b) return true;
  JsonValue aJson;
  JsonValue bJson;
  return a && b && DataToTypedJson(a, aJson) && DataToTypedJson(b, bJson) && aJson == bJson;
}

void AppendUnknown(JsonValue& json, const JsonValue& source, std::span<const std::string_view> keys) {
  for (const JsonValue::Member& member : source.GetMembers()) {
    if (std::find(keys.begin(), keys.end(), member.key) == keys.end()) json.Set(member.key, member.value);
  }
}

/// What the document said of a port's value where that still holds, else what the port holds. False for nothing.
bool HeldValue(Port& port, const JsonValue* said, const DataPtr& applied, JsonValue& json) {
  const DataPtr own = port.GetOwnData();
  if (said && own == applied) {
    if (!own && !PortState::Of(port).emptied) return false;
    // A value that is never written, such as a password, is not written here either.
    JsonValue probe;
    if (own && !DataToTypedJson(own, probe)) return false;
    json = *said;
    return true;
  }
  if (!own || port.IsOutput() || (!said && IsSame(own, port.GetDefaultData()))) return false;
  return ToDocumentJson(own, &port, json);
}

class Writer {
 public:
  JsonValue WriteModel(Model& model, const DocumentMemory& memory, bool outermost);

 private:
  /// An operator of the class as it is made, or null.
  Operator* Pristine(const Operator& op) {
    const std::wstring name = op.GetOperatorNamespace() + L"." + op.GetOperatorName();
    const auto [entry, isNew] = pristine_.try_emplace(name);
    if (isNew) entry->second = OperatorFactory::Create(op.GetOperatorNamespace(), op.GetOperatorName());
    return entry->second.get();
  }
  void WriteIdentity(JsonValue& json, Model& model, const DocumentMemory& memory, bool outermost);
  void WriteAttributes(JsonValue& json, Operator& op, const JsonValue& said, const std::vector<DataPtr>& applied,
                       const JsonValue& elsewhere);
  JsonValue WritePort(Port& port, const JsonValue& said, const DataPtr& applied, bool outermost);
  void WritePorts(JsonValue& json, Model& model, const DocumentMemory& memory, bool outermost);
  void WriteConnections(JsonValue& json, Model& model, const DocumentMemory& memory);
  void WriteOrder(JsonValue& json, Model& model, const DocumentMemory& memory);
  void WriteTails(JsonValue& json, Model& model, const DocumentMemory& memory);
  void GiveIds(Model& model);
  JsonValue WriteOperator(Operator& op, std::string_view id);
  int CountExpansions(Operator& op, const DocumentMemory& memory);
  void WriteValues(JsonValue& json, Operator& op, const DocumentMemory& memory);
  void WriteOverrides(JsonValue& json, Operator& op, const DocumentMemory& memory);
  std::string EndName(const boost::shared_ptr<Port>& port) {
    const auto op = port->TryGetOperator();
    const auto id = ids_.find(op.get());
    if (id == ids_.end()) return {};
    std::string name(id->second);
    return name.append(".").append(Narrow(port->GetName()));
  }
  static const DocumentMemory& MemoryOf(Operator& op) {
    const DocumentMemory* memory = FindDocumentMemory(op);
    return memory ? *memory : kNoMemory;
  }

  [[noreturn]] static void RefuseHidden(const Model& model) {
    KorvenLog::CPPException<std::runtime_error>(L"txlib\\documentwriter", L"PlainDocument::Save")
        .Throw(__LINE__, L"The model \"" + Model::GetVisible(model).GetDisplayName() +
                             L"\" was published without its inside: it can't be saved in a plain format.");
  }

  bool hides_ = false;  ///< what is written goes to a format that hides it
  std::map<std::wstring, OperatorPtr> pristine_;
  std::unordered_map<const Operator*, std::string_view> ids_;
  std::deque<std::string> newIds_;
};

JsonValue Writer::WriteModel(Model& model, const DocumentMemory& memory, bool outermost) {
  if (outermost) hides_ = model.IsAlternateMode();
  if (!hides_ && !model.AllowsReflection()) RefuseHidden(model);
  JsonValue json(JsonValueType::Object);
  if (outermost) {
    json.Set(kModel[Format], JsonValue::FromUtf8(kPlainFormat));
    json.Set(kModel[Version], JsonValue(kPlainVersion));
    const std::wstring name = model.GetOperatorNamespace() + L"." + model.GetOperatorName();
    if (name != L"VANTIX.Model" || memory.model.Find(kModel[OperatorOf])) SetText(json, kModel[OperatorOf], name);
  }
  WriteIdentity(json, model, memory, outermost);
  GiveIds(model);
  WritePorts(json, model, memory, outermost);
  JsonValue operators(JsonValueType::Array);
  for (const OperatorPtr& op : model.GetOperators()) operators.Append(WriteOperator(*op, ids_[op.get()]));
  json.Set(kModel[Operators], std::move(operators));
  WriteConnections(json, model, memory);
  WriteOrder(json, model, memory);
  WriteTails(json, model, memory);
  const JsonValue& said = Member(memory.model, kModel[Attributes]);
  // Those of an inner model stand with its operator, unless the document had them here.
  if (outermost || said.IsObject())
    WriteAttributes(json, model, said, memory.modelAttributes, outermost ? kNothing : memory.source);
  AppendUnknown(json, memory.model, kModel);
  return json;
}

void Writer::WriteIdentity(JsonValue& json, Model& model, const DocumentMemory& memory, bool outermost) {
  const auto write = [&](DocumentKeys::ModelKey key, const std::wstring& text, const std::wstring& standard,
                         bool here) {
    if (memory.model.Find(kModel[key])) {
      if (here)
        SetText(json, kModel[key], text);
      else
        json.Set(kModel[key], Member(memory.model, kModel[key]));
    } else if (here && text != standard) {
      SetText(json, kModel[key], text);
    }
  };
  const bool namedOutside = memory.source.Find(kNode[NodeDisplayName]) != nullptr;
  write(Name, model.GetProcessName(), L"", true);
  write(Namespace, model.GetProcessNamespace(), L"", true);
  const bool namedHere = outermost || (!namedOutside && memory.model.Find(kModel[DisplayName]));
  // Some classes say more of themselves when they are made than their sheet does.
  const Operator* const made = Pristine(model);
  const auto standard = [&](std::wstring (Operator::*said)() const, const wchar_t* otherwise) {
    return made ? (made->*said)() : std::wstring(otherwise);
  };
  write(DisplayName, model.GetDisplayName(), standard(&Operator::GetDisplayName, model.GetDefaultDisplayName()),
        namedHere);
  write(DisplayCategory, model.GetDisplayCategory(),
        standard(&Operator::GetDisplayCategory, model.GetDefaultDisplayCategory()), true);
  write(Icon, model.GetIcon(), standard(&Operator::GetIcon, model.GetDefaultIcon()), true);
  write(Description, model.GetDescription(), standard(&Operator::GetDescription, model.GetDefaultDescription()), true);
  write(Keywords, model.GetKeywords(), standard(&Operator::GetKeywords, model.GetDefaultKeywords()), true);
}

void Writer::WriteAttributes(JsonValue& json, Operator& op, const JsonValue& said, const std::vector<DataPtr>& applied,
                             const JsonValue& elsewhere) {
  JsonValue written(JsonValueType::Object);
  std::size_t index = 0;
  for (const JsonValue::Member& member : said.GetMembers()) {
    const DataPtr was = index < applied.size() ? applied[index] : nullptr;
    ++index;
    const auto found = op.GetAttributes().find(Wide(member.key));
    if (found == op.GetAttributes().end()) continue;
    JsonValue value;
    if (found->second && !ToDocumentJson(found->second, nullptr, value)) continue;
    written.Set(member.key, found->second == was ? member.value : value);
  }
  const JsonValue& others = Member(elsewhere, kNode[NodeAttributes]);
  for (const auto& [name, data] : op.GetAttributes()) {
    const std::string key = Narrow(name);
    if (!data || written.Find(key) || others.Find(key)) continue;
    const Operator* pristine = Pristine(op);
    JsonValue value;
    if (pristine && IsSame(data, pristine->GetAttribute(name))) continue;
    if (ToDocumentJson(data, nullptr, value)) written.Set(key, std::move(value));
  }
  if (written.Count() != 0 || said.IsObject()) json.Set(kModel[Attributes], std::move(written));
}

JsonValue Writer::WritePort(Port& port, const JsonValue& said, const DataPtr& applied, bool outermost) {
  JsonValue json(JsonValueType::Object);
  SetText(json, kModelPort[PortName], port.GetName());
  const auto inner = port.GetInnerAliasedPorts();
  JsonValue aliases(JsonValueType::Array);
  for (const auto& each : inner) {
    const std::string end = EndName(each);
    if (!end.empty()) aliases.Append(JsonValue::FromUtf8(end));
  }
  if (aliases.Count() == 1 && !Member(said, kModelPort[PortAlias]).IsArray())
    json.Set(kModelPort[PortAlias], aliases.GetElements().front());
  else if (aliases.Count() != 0)
    json.Set(kModelPort[PortAlias], std::move(aliases));
  const JsonValue* saidValue = said.Find(kModelPort[PortValue]);
  JsonValue value;
  // An inner model's values stand with its operator, unless the document had one here.
  if ((outermost || saidValue) && HeldValue(port, saidValue, applied, value)) json.Set(kModelPort[PortValue], value);
  if (port.GetDisplayName() != port.GetName() || said.Find(kModelPort[PortDisplayName]))
    SetText(json, kModelPort[PortDisplayName], port.GetDisplayName());
  const bool isOptional = !inner.empty() && inner.front()->IsOptional();
  const bool isHidden = !inner.empty() && inner.front()->IsHidden();
  if ((!inner.empty() && port.IsOptional() != isOptional) || said.Find(kModelPort[PortOptional]))
    json.Set(kModelPort[PortOptional], JsonValue(port.IsOptional()));
  if ((!inner.empty() && port.IsHidden() != isHidden) || said.Find(kModelPort[PortHidden]))
    json.Set(kModelPort[PortHidden], JsonValue(port.IsHidden()));
  AppendUnknown(json, said, kModelPort);
  return json;
}

void Writer::WritePorts(JsonValue& json, Model& model, const DocumentMemory& memory, bool outermost) {
  const JsonValue& said = Member(memory.model, kModel[Ports]);
  std::unordered_map<std::string_view, std::size_t> saidByName;
  for (std::size_t i = 0; i < said.Count() && said.IsArray(); ++i)
    saidByName.emplace(Member(said.GetElements()[i], kModelPort[PortName]).AsUtf8(), i);
  JsonValue ports(JsonValueType::Array);
  for (const auto& port : model.GetPorts()) {
    const std::string name = Narrow(port->GetName());
    const auto found = saidByName.find(name);
    const bool isSaid = found != saidByName.end();
    const auto inner = port->GetInnerAliasedPorts();
    const bool leadsInside =
        std::any_of(inner.begin(), inner.end(), [&](const auto& p) { return !EndName(p).empty(); });
    const bool hasValue =
        outermost && !port->IsOutput() && port->GetOwnData() && !IsSame(port->GetOwnData(), port->GetDefaultData());
    if (!leadsInside && !isSaid && !hasValue) continue;
    const DataPtr applied =
        isSaid && found->second < memory.modelPortValues.size() ? memory.modelPortValues[found->second] : nullptr;
    ports.Append(WritePort(*port, isSaid ? said.GetElements()[found->second] : kNothing, applied, outermost));
  }
  if (ports.Count() != 0 || said.IsArray()) json.Set(kModel[Ports], std::move(ports));
}

void Writer::WriteConnections(JsonValue& json, Model& model, const DocumentMemory& memory) {
  const JsonValue& said = Member(memory.model, kModel[Connections]);
  JsonValue connections(JsonValueType::Array);
  const auto write = [&](const boost::shared_ptr<PortConnection>& connection, const JsonValue& source) {
    const auto from = connection->GetSource();
    const auto to = connection->GetDestination();
    if (!from || !to) return;
    const std::string fromName = EndName(from);
    const std::string toName = EndName(to);
    if (fromName.empty() || toName.empty()) return;
    JsonValue entry(JsonValueType::Object);
    entry.Set(kConnection[From], JsonValue::FromUtf8(fromName));
    entry.Set(kConnection[To], JsonValue::FromUtf8(toName));
    AppendUnknown(entry, source, kConnection);
    connections.Append(std::move(entry));
  };
  // Those of the document in its order, the others behind them.
  std::vector<boost::shared_ptr<PortConnection>> ofDocument(said.Count());
  std::vector<boost::shared_ptr<PortConnection>> others;
  for (const OperatorPtr& op : model.GetOperators()) {
    for (const auto& port : op->GetPorts()) {
      auto connection = port->GetIncomingConnection();
      if (!connection) continue;
      const auto index = static_cast<std::size_t>(static_cast<PortConnectionState&>(*connection).documentIndex);
      auto& place = index < ofDocument.size() && !ofDocument[index] ? ofDocument[index] : others.emplace_back();
      place = std::move(connection);
    }
  }
  for (std::size_t i = 0; i < ofDocument.size(); ++i) {
    if (ofDocument[i]) write(ofDocument[i], said.GetElements()[i]);
  }
  for (const auto& connection : others) write(connection, kNothing);
  if (connections.Count() != 0 || said.IsArray()) json.Set(kModel[Connections], std::move(connections));
}

void Writer::WriteOrder(JsonValue& json, Model& model, const DocumentMemory& memory) {
  const JsonValue& said = Member(memory.model, kModel[Order]);
  std::map<std::pair<std::string, std::string>, bool> pairs;  // whether written
  for (const OperatorPtr& op : model.GetOperators()) {
    for (const OperatorPtr& parent : op->GetParentsWithoutConnection()) {
      const auto id = ids_.find(parent.get());
      if (id != ids_.end()) pairs.emplace(std::pair(std::string(id->second), std::string(ids_[op.get()])), false);
    }
  }
  JsonValue order(JsonValueType::Array);
  for (const JsonValue& entry : said.GetElements()) {
    const auto found = pairs.find(
        {std::string(Member(entry, kOrder[Before]).AsUtf8()), std::string(Member(entry, kOrder[After]).AsUtf8())});
    if (found == pairs.end() || std::exchange(found->second, true)) continue;
    JsonValue written(JsonValueType::Object);
    for (const std::string_view key : kOrder) written.Set(key, Member(entry, key));
    AppendUnknown(written, entry, kOrder);
    order.Append(std::move(written));
  }
  for (const auto& [ends, isWritten] : pairs) {
    if (isWritten) continue;
    JsonValue written(JsonValueType::Object);
    written.Set(kOrder[Before], JsonValue::FromUtf8(ends.first));
    written.Set(kOrder[After], JsonValue::FromUtf8(ends.second));
    order.Append(std::move(written));
  }
  if (order.Count() != 0 || said.IsArray()) json.Set(kModel[Order], std::move(order));
}

void Writer::WriteTails(JsonValue& json, Model& model, const DocumentMemory& memory) {
  JsonValue tails(JsonValueType::Array);
  for (const OperatorPtr& tail : model.GetTails()) {
    const auto id = ids_.find(tail.get());
    if (id != ids_.end()) tails.Append(JsonValue::FromUtf8(id->second));
  }
  if (tails.Count() != 0 || Member(memory.model, kModel[Tails]).IsArray()) json.Set(kModel[Tails], std::move(tails));
}

void Writer::GiveIds(Model& model) {
  std::unordered_set<std::string_view> taken;
  taken.reserve(model.GetOperators().size());
  ids_.reserve(ids_.size() + model.GetOperators().size());
  for (const OperatorPtr& op : model.GetOperators()) {
    const std::string& id = MemoryOf(*op).id;
    if (!id.empty() && taken.insert(id).second) ids_[op.get()] = id;
  }
  std::unordered_map<std::string, std::size_t> next;
  for (const OperatorPtr& op : model.GetOperators()) {
    if (const DocumentMemory& memory = MemoryOf(*op); !memory.id.empty() && ids_.count(op.get())) continue;
    std::string stem;
    for (const char c : Narrow(op->GetOperatorName())) {
      const bool isPlain = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
      stem += isPlain ? c : '_';
    }
    std::string& id = newIds_.emplace_back(stem);
    while (taken.count(id)) id = stem + std::to_string(++next[stem] + 1);
    taken.insert(id);
    ids_[op.get()] = id;
  }
}

JsonValue Writer::WriteOperator(Operator& op, std::string_view id) {
  const DocumentMemory& memory = MemoryOf(op);
  if (memory.missing) {
    JsonValue unchanged = memory.source;
    if (memory.id != id) unchanged.Set(kNode[Id], JsonValue::FromUtf8(id));
    return unchanged;
  }
  JsonValue json(JsonValueType::Object);
  json.Set(kNode[Id], JsonValue::FromUtf8(id));
  SetText(json, kNode[NodeOperator], op.GetOperatorNamespace() + L"." + op.GetOperatorName());
  const bool namedInModel = !memory.source.Find(kNode[NodeDisplayName]) && memory.model.Find(kModel[DisplayName]);
  if (memory.source.Find(kNode[NodeDisplayName]) ||
      (!namedInModel && op.GetDisplayName() != op.GetDefaultDisplayName()))
    SetText(json, kNode[NodeDisplayName], op.GetDisplayName());
  if (op.IsExpandible() || memory.source.Find(kNode[Expansions]))
    json.Set(kNode[Expansions], JsonValue(CountExpansions(op, memory)));
  WriteValues(json, op, memory);
  const JsonValue& saidInModel = memory.model;
  WriteAttributes(json, op, Member(memory.source, kNode[NodeAttributes]), memory.attributes, saidInModel);
  WriteOverrides(json, op, memory);
  auto* const model = dynamic_cast<Model*>(&op);
  // What can't be opened, or does not show its inside, makes that by itself; all but a plain model, which has its
  // inside from a document, and is refused rather than written without.
  const bool showsInside =
      model && model->IsOpenable() && (model->AllowsReflection() || typeid(*model) == typeid(Model));
  if (showsInside && (!model->GetOperators().empty() || memory.source.Find(kNode[NodeModel])))
    json.Set(kNode[NodeModel], WriteModel(*model, memory, false));
  AppendUnknown(json, memory.source, kNode);
  return json;
}

int Writer::CountExpansions(Operator& op, const DocumentMemory& memory) {
  const std::size_t count = op.GetPorts().size();
  if (!memory.id.empty() && memory.portCount == count) return memory.expansions;
  const OperatorPtr fresh = OperatorFactory::Create(op.GetOperatorNamespace(), op.GetOperatorName());
  if (!fresh || !op.IsExpandible()) return memory.expansions;
  int expansions = 0;
  for (std::size_t had = 0; fresh->GetPorts().size() < count && fresh->GetPorts().size() != had; ++expansions) {
    had = fresh->GetPorts().size();
    fresh->AddExpansionPorts();
  }
  for (std::size_t had = 0; fresh->GetPorts().size() > count && fresh->GetPorts().size() != had; --expansions) {
    had = fresh->GetPorts().size();
    fresh->RemoveExpansionPorts();
  }
  return expansions;
}

void Writer::WriteValues(JsonValue& json, Operator& op, const DocumentMemory& memory) {
  const JsonValue& said = Member(memory.source, kNode[Values]);
  JsonValue values(JsonValueType::Object);
  std::size_t index = 0;
  for (const JsonValue::Member& member : said.GetMembers()) {
    const DataPtr applied = index < memory.values.size() ? memory.values[index] : nullptr;
    ++index;
    const auto port = op.GetPort(Wide(member.key));
    JsonValue value;
    if (port && HeldValue(*port, &member.value, applied, value)) values.Set(member.key, std::move(value));
  }
  std::unordered_set<std::string_view> inModel;
  for (const JsonValue& port : Member(memory.model, kModel[Ports]).GetElements()) {
    if (port.Find(kModelPort[PortValue])) inModel.insert(Member(port, kModelPort[PortName]).AsUtf8());
  }
  for (const auto& port : op.GetPorts()) {
    if (!port->GetOwnData() || port->IsOutput()) continue;
    const std::string name = Narrow(port->GetName());
    JsonValue value;
    if (!said.Find(name) && !inModel.count(name) && HeldValue(*port, nullptr, nullptr, value))
      values.Set(name, std::move(value));
  }
  if (values.Count() != 0 || said.IsObject()) json.Set(kNode[Values], std::move(values));
}

void Writer::WriteOverrides(JsonValue& json, Operator& op, const DocumentMemory& memory) {
  const JsonValue& said = Member(memory.source, kNode[NodePorts]);
  JsonValue overrides(JsonValueType::Array);
  std::unordered_set<std::string> written;
  for (const JsonValue& entry : said.GetElements()) {
    const std::string name(Member(entry, kOverride[OverrideName]).AsUtf8());
    const auto port = op.GetPort(Wide(name));
    const bool removed = Member(entry, kOverride[OverrideRemoved]).AsBool();
    if (removed != (port == nullptr)) continue;
    JsonValue current(JsonValueType::Object);
    for (const std::string_view key : kOverride) {
      if (entry.Find(key)) current.Set(key, Member(entry, key));
    }
    if (port) {
      if (current.Find(kOverride[OverrideDisplayName]))
        SetText(current, kOverride[OverrideDisplayName], port->GetDisplayName());
      if (current.Find(kOverride[OverrideOptional]))
        current.Set(kOverride[OverrideOptional], JsonValue(port->IsOptional()));
      if (current.Find(kOverride[OverrideHidden])) current.Set(kOverride[OverrideHidden], JsonValue(port->IsHidden()));
    }
    AppendUnknown(current, entry, kOverride);
    overrides.Append(std::move(current));
    written.insert(name);
  }
  const Operator* pristine = Pristine(op);
  for (const auto& port : pristine ? op.GetPorts() : std::vector<boost::shared_ptr<Port>>()) {
    const auto declared = pristine->GetPort(port->GetName());
    const std::string name = Narrow(port->GetName());
    if (!declared || written.count(name)) continue;
    JsonValue entry(JsonValueType::Object);
    SetText(entry, kOverride[OverrideName], port->GetName());
    if (port->GetDisplayName() != declared->GetDisplayName())
      SetText(entry, kOverride[OverrideDisplayName], port->GetDisplayName());
    if (port->IsOptional() != declared->IsOptional())
      entry.Set(kOverride[OverrideOptional], JsonValue(port->IsOptional()));
    if (port->IsHidden() != declared->IsHidden()) entry.Set(kOverride[OverrideHidden], JsonValue(port->IsHidden()));
    if (entry.Count() > 1) overrides.Append(std::move(entry));
  }
  const bool mayLack = pristine && !op.IsExpandible();
  for (const auto& port : mayLack ? pristine->GetPorts() : std::vector<boost::shared_ptr<Port>>()) {
    if (op.GetPort(port->GetName()) || written.count(Narrow(port->GetName()))) continue;
    JsonValue entry(JsonValueType::Object);
    SetText(entry, kOverride[OverrideName], port->GetName());
    entry.Set(kOverride[OverrideRemoved], JsonValue(true));
    overrides.Append(std::move(entry));
  }
  if (overrides.Count() != 0 || said.IsArray()) json.Set(kNode[NodePorts], std::move(overrides));
}

}  // namespace

namespace PlainDocument {

std::string Save(const boost::shared_ptr<Model>& model) {
  model->PrepareForSerialization();
  Writer writer;
  const DocumentMemory* memory = FindDocumentMemory(*model);
  std::string text = writer.WriteModel(*model, memory ? *memory : kNoMemory, true).SerializeUtf8(true);
  if (text.empty() || text.back() != '\n') text += '\n';
  return text;
}

}  // namespace PlainDocument

}  // namespace Tamrin::Tessera
