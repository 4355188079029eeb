#include <algorithm>

#include "documentreader.h"
#include "txlib/basicdata.h"
#include "txlib/conversion.h"
#include "txlib/datajson.h"
#include "txlib/factories.h"
#include "txlib/operatornotfound.h"

namespace Tamrin::Tessera {

namespace {

using namespace DocumentKeys;

bool IsId(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '-';
  });
}

std::wstring Family(const std::wstring& name) {
  std::size_t end = name.size();
  while (end > 0 && name[end - 1] >= L'0' && name[end - 1] <= L'9') --end;
  return name.substr(0, end);
}

constexpr std::size_t kMostDigits = 5;  ///< beyond the limit of sets

/// What stands behind the family in a name; 0 where nothing does.
int NumberOf(const std::wstring& name, const std::wstring& family) {
  int number = 0;
  for (const wchar_t digit : name.substr(family.size(), kMostDigits)) number = number * 10 + (digit - L'0');
  return number;
}

struct FamilyFacts {
  std::size_t count = 0;
  int highest = -1;  ///< number
};

FamilyFacts LookAtFamily(const Operator& op, const std::wstring& family) {
  FamilyFacts facts;
  for (const auto& port : op.GetPorts()) {
    const std::wstring& name = port->GetName();
    if (!name.starts_with(family) || Family(name) != family) continue;
    ++facts.count;
    facts.highest = std::max(facts.highest, NumberOf(name, family));
  }
  return facts;
}

bool ParseKind(std::string_view text, PortType& kind) {
  if (text == "input")
    kind = PortType::Input;
  else if (text == "output")
    kind = PortType::Output;
  else if (text == "setting")
    kind = PortType::Setting;
  else
    return false;
  return true;
}

const wchar_t* KindName(PortType kind) {
  return kind == PortType::Input ? L"input" : kind == PortType::Output ? L"output" : L"setting";
}

/// Adds sets of ports, until one brings none.
void Expand(DocumentReading& reading, std::size_t index, DocumentMemory& memory, int sets) {
  const Operator& op = *reading.made.Op(index);
  for (int set = 0; set < sets; ++set) {
    const std::size_t before = op.GetPorts().size();
    reading.Do([index](const DocumentCopy& copy) { copy.Op(index)->AddExpansionPorts(); });
    if (op.GetPorts().size() == before) return;
    ++memory.expansions;
  }
}

/// Makes the port by adding sets of ports, as long as they bring ports of its family and its number is still to come.
boost::shared_ptr<Port> ExpandUntil(DocumentReading& reading, std::size_t index, DocumentMemory& memory,
                                    const std::wstring& name) {
  const Operator& op = *reading.made.Op(index);
  if (!op.IsExpandible()) return nullptr;
  const std::wstring family = Family(name);
  if (name.size() - family.size() > kMostDigits) return nullptr;
  const int number = NumberOf(name, family);
  FamilyFacts had = LookAtFamily(op, family);
  for (int sets = 1, added = 0; added < kMaxExpansions; added += sets) {
    Expand(reading, index, memory, sets);
    if (auto port = op.GetPort(name)) return port;
    const FamilyFacts has = LookAtFamily(op, family);
    if (has.count <= had.count || (has.highest > had.highest && has.highest > number)) return nullptr;
    // Each set brings as many as the last: those that must be there before the port need no look.
    sets = std::max(1, (number - has.highest) / static_cast<int>(has.count - had.count) * sets);
    if (sets > kMaxExpansions) return nullptr;
    had = has;
  }
  return nullptr;
}

class NodeReader {
 public:
  NodeReader(DocumentReading& reading, const JsonValue& json, const DocumentPlace& place, DocumentNode& node)
      : reading_(reading), json_(json), place_(place), node_(node) {}

  void Read() {
    if (!reading_.Collect(json_, place_, kNode, keys_)) return;
    ReadId();
    if (!MakeOperator()) return;
    DocumentMemory& memory = *node_.memory;
    if (memory.missing) {
      ReadMissing();
      return;
    }
    if (keys_[NodeDisplayName] && reading_.IsText(*keys_[NodeDisplayName], {place_, kNode[NodeDisplayName]}))
      reading_.Do([op = node_.index, text = keys_[NodeDisplayName]->AsString()](const DocumentCopy& copy) {
        copy.Op(op)->SetDisplayName(text);
      });
    if (keys_[Expansions]) ReadExpansions();
    if (keys_[NodeAttributes])
      ReadAttributes(reading_, node_.index, *keys_[NodeAttributes], {place_, kNode[NodeAttributes]}, memory.attributes);
    if (keys_[NodeModel]) ReadModel();
    if (keys_[Values]) ReadEarlyValues();
    // The operators of a model of this document have been configured already, each at its turn.
    if (!keys_[NodeModel]) Configure();
    if (keys_[NodePorts]) ReadPorts();
    if (keys_[Values]) ReadLateValues();
  }

 private:
  void ReadId() {
    const DocumentPlace place(place_, kNode[Id]);
    if (!keys_[Id]) {
      reading_.faults.Error(place, L"found nothing, expected an id");
      return;
    }
    if (!reading_.IsText(*keys_[Id], place)) return;
    if (IsId(keys_[Id]->AsUtf8()))
      node_.id = keys_[Id]->AsUtf8();
    else
      reading_.WrongType(*keys_[Id], place, L"an id of letters, digits, \"_\" and \"-\"");
  }

  bool MakeOperator() {
    const DocumentPlace place(place_, kNode[NodeOperator]);
    if (!keys_[NodeOperator]) {
      reading_.faults.Error(place, L"found nothing, expected the name of an operator");
      return false;
    }
    if (!reading_.IsText(*keys_[NodeOperator], place)) return false;
    const OperatorMaker maker = reading_.FindMaker(keys_[NodeOperator]->AsUtf8(), place);
    const auto memory = boost::make_shared<DocumentMemory>();
    memory->id = node_.id;
    memory->source = json_;
    memory->missing = !maker;
    node_.memory = memory.get();
    node_.index = reading_.made.Count();
    if (memory->missing) reading_.steps.reset();  // its JSON says more of it than steps do
    reading_.Guard(place, [&] {
      reading_.Do([maker, memory](DocumentCopy& copy) {
        const auto op = maker ? maker() : OperatorNotFound::Make();
        DocumentSlot(*op) = memory;
        copy.Add(op);
      });
    });
    if (reading_.made.Count() == node_.index) return false;  // the class could not be made, as is told now
    node_.op = reading_.made.Op(node_.index);
    // Kept with the operator, for programs that open documents without asking for the warnings.
    const std::wstring text = reading_.GetUnknownText(keys_[NodeOperator]->AsUtf8());
    if (!text.empty()) node_.op->SetWarningMessage(text);
    return true;
  }

  /// What is known of an operator that is not: its names and ports. All else stays in its JSON.
  void ReadMissing() {
    Operator& op = *node_.op;
    const JsonValue* display = keys_[NodeDisplayName];
    const std::wstring dotted = keys_[NodeOperator]->AsString();
    op.SetDisplayName(display && display->IsString() ? display->AsString() : dotted.substr(dotted.find(L'.') + 1));
    if (keys_[NodePorts]) ReadMissingPorts();
    if (!keys_[Values] || !reading_.IsObject(*keys_[Values], {place_, kNode[Values]})) return;
    for (const JsonValue::Member& member : keys_[Values]->GetMembers()) {
      const auto port = node_.FindPort(reading_, member.key, place_, PortType::Input);
      boost::shared_ptr<Data> data;
      std::wstring error;
      std::string inside;
      if (port && !port->IsOutput() && DataFromDocumentJson(member.value, data, error, inside)) port->SetData(data);
    }
  }

  void ReadMissingPorts() {
    const DocumentPlace listPlace(place_, kNode[NodePorts]);
    if (!reading_.IsArray(*keys_[NodePorts], listPlace)) return;
    for (std::size_t i = 0; i < keys_[NodePorts]->Count(); ++i) {
      const DocumentPlace place(listPlace, i);
      const JsonValue& json = keys_[NodePorts]->GetElements()[i];
      const JsonValue* name = json.Find("name");
      if (!name || !reading_.IsText(*name, place)) continue;
      PortType kind = PortType::Input;
      if (const JsonValue* text = json.Find("kind")) ParseKind(text->AsUtf8(), kind);
      const JsonValue* type = json.Find("type");
      const ObjectName typeName = type ? ObjectName::FromString(type->AsString()) : Data::DefaultTypeName();
      reading_.Guard(place, [&] {
        const auto port = node_.op->CreatePort(name->AsString(), typeName, kind);
        if (const JsonValue* display = json.Find("displayName")) port->SetDisplayName(display->AsString());
        if (const JsonValue* optional = json.Find("optional")) port->SetIsOptional(optional->AsBool());
        if (const JsonValue* hidden = json.Find("hidden")) port->SetIsHidden(hidden->AsBool());
      });
    }
  }

  void ReadExpansions() {
    const DocumentPlace place(place_, kNode[Expansions]);
    const JsonValue& json = *keys_[Expansions];
    const std::int64_t count = json.AsInt64();
    if (!json.IsInteger() || count > kMaxExpansions || count < -kMaxExpansions) {
      reading_.WrongType(json, place, L"a whole number from -20000 to 20000");
      return;
    }
    if (count != 0 && !node_.op->IsExpandible())
      reading_.faults.Warn(place, L"found " + json.Serialize() + L", but the operator \"" +
                                      node_.op->GetOperatorName() + L"\" has no ports to repeat");
    node_.memory->expansions = static_cast<int>(count);
    reading_.Guard(place, [&] {
      if (count < 0) return RemoveExpansions(-count);
      reading_.Do([op = node_.index, count](const DocumentCopy& copy) {
        for (std::int64_t i = 0; i < count; ++i) copy.Op(op)->AddExpansionPorts();
      });
    });
  }

  /// As many sets as the operator lets go; only those count.
  void RemoveExpansions(std::int64_t count) {
    node_.memory->expansions = 0;
    for (std::int64_t i = 0; i < count; ++i) {
      const std::size_t before = node_.op->GetPorts().size();
      reading_.Do([op = node_.index](const DocumentCopy& copy) { copy.Op(op)->RemoveExpansionPorts(); });
      if (node_.op->GetPorts().size() == before) return;
      --node_.memory->expansions;
    }
  }

  void ReadModel() {
    const DocumentPlace place(place_, kNode[NodeModel]);
    const auto model = boost::dynamic_pointer_cast<Model>(node_.op);
    if (!model || !model->IsOpenable()) {
      reading_.faults.Error(place,
                            L"found a model, but the operator \"" + node_.op->GetOperatorName() + L"\" can't hold one");
      return;
    }
    if (reading_.depth >= kMaxModelNesting) return;  // told by the model that it would be a part of
    ++reading_.depth;
    DocumentModelReader(reading_, node_.index, *keys_[NodeModel], place, false).Read();
    --reading_.depth;
  }

  void Configure() {
    try {
      reading_.Do([op = node_.index](const DocumentCopy& copy) { copy.Op(op)->Configure(); });
    } catch (const DocumentLinkException&) {
      // The ports of what it links are not to be had; that they lack is told with this.
      node_.memory->lacksPorts = true;
      AtLink([&](const DocumentPlace& place) { reading_.NoteException(place); });
    } catch (...) {
      AtLink([&](const DocumentPlace& place) { reading_.NoteException(place); });
    }
    for (const LinkFailure& failure : TakeLinkFailures()) {
      AtLink([&](const DocumentPlace& place) {
        const std::wstring what = failure.file.empty() ? L"model" : L"document \"" + failure.file + L"\"";
        reading_.faults.Warn(place, L"found the linked " + what + L", which can't be opened: " + failure.text);
      });
    }
  }

  /// With the place of the operator's link to another document: its first setting that names a file, else itself.
  template <typename Action>
  void AtLink(const Action& action) {
    const DocumentPlace values(place_, kNode[Values]);
    const JsonValue none;
    for (const JsonValue::Member& member : (keys_[Values] ? *keys_[Values] : none).GetMembers()) {
      const auto port = node_.op->GetPort(Wide(member.key));
      if (port && port->GetPortType() == PortType::Setting && port->SupportsType(FileData::DefaultTypeName()))
        return action(DocumentPlace(values, member.key));
    }
    action(place_);
  }

  void ReadEarlyValues() {
    const DocumentPlace place(place_, kNode[Values]);
    if (!reading_.IsObject(*keys_[Values], place)) {
      keys_[Values] = nullptr;
      return;
    }
    const auto& members = keys_[Values]->GetMembers();
    node_.memory->values.resize(members.size());
    for (std::size_t i = 0; i < members.size(); ++i) {
      if (const auto port = node_.op->GetPort(Wide(members[i].key)))
        ReadValue(*port, i, place);
      else
        late_.push_back(i);
    }
  }

  void ReadLateValues() {
    const DocumentPlace place(place_, kNode[Values]);
    for (const std::size_t index : late_) {
      const std::string& name = keys_[Values]->GetMembers()[index].key;
      const auto port = node_.FindPort(reading_, name, {place, name}, PortType::Input);
      if (port) ReadValue(*port, index, place);
    }
  }

  void ReadValue(Port& port, std::size_t index, const DocumentPlace& place) {
    const JsonValue::Member& member = keys_[Values]->GetMembers()[index];
    const DocumentPlace memberPlace(place, member.key);
    if (port.IsOutput()) {
      reading_.faults.Error(memberPlace, L"found a value for the output \"" + port.GetName() +
                                             L"\", expected the name of an input or setting");
      return;
    }
    ReadPortValue(reading_, node_.index, port, member.value, memberPlace, node_.memory->values[index]);
  }

  void ReadPorts() {
    const DocumentPlace place(place_, kNode[NodePorts]);
    if (!reading_.IsArray(*keys_[NodePorts], place)) return;
    for (std::size_t i = 0; i < keys_[NodePorts]->Count(); ++i)
      ReadOverride(keys_[NodePorts]->GetElements()[i], {place, i});
  }

  void ReadOverride(const JsonValue& json, const DocumentPlace& place) {
    const JsonValue* keys[OverrideCount] = {};
    if (!reading_.Collect(json, place, kOverride, keys)) return;
    const DocumentPlace namePlace(place, kOverride[OverrideName]);
    if (!keys[OverrideName]) {
      reading_.faults.Error(namePlace, L"found nothing, expected the name of a port");
      return;
    }
    if (!reading_.IsText(*keys[OverrideName], namePlace)) return;
    const JsonValue* removed = keys[OverrideRemoved];
    if (removed && reading_.IsTruth(*removed, {place, kOverride[OverrideRemoved]}) && removed->AsBool()) {
      const std::wstring name = keys[OverrideName]->AsString();
      const std::size_t before = node_.op->GetPorts().size();
      reading_.Guard(place, [&] {
        reading_.Do([op = node_.index, name](const DocumentCopy& copy) { copy.Op(op)->RemovePort(name); });
      });
      if (node_.op->GetPorts().size() == before)
        reading_.faults.Warn(namePlace, L"found the port \"" + name + L"\", which is not there to be removed");
      return;
    }
    const auto port = node_.FindPort(reading_, keys[OverrideName]->AsUtf8(), namePlace, PortType::Input);
    if (port) ApplyOverride(*port, keys, place);
  }

  void ApplyOverride(Port& port, const JsonValue* const* keys, const DocumentPlace& place) {
    if (const JsonValue* kind = keys[OverrideKind]) {
      PortType wanted = PortType::Input;
      const DocumentPlace kindPlace(place, kOverride[OverrideKind]);
      if (!ParseKind(kind->AsUtf8(), wanted))
        reading_.WrongType(*kind, kindPlace, L"\"input\", \"output\" or \"setting\"");
      else if (wanted != port.GetPortType())
        reading_.faults.Error(kindPlace, L"found \"" + kind->AsString() + L"\", but the port \"" + port.GetName() +
                                             L"\" is of kind \"" + KindName(port.GetPortType()) + L"\"");
    }
    if (const JsonValue* type = keys[OverrideType]) ApplyType(port, *type, {place, kOverride[OverrideType]});
    const std::wstring& name = port.GetName();
    const JsonValue* display = keys[OverrideDisplayName];
    if (display && reading_.IsText(*display, {place, kOverride[OverrideDisplayName]}))
      reading_.EditPort(node_.index, name, [text = display->AsString()](Port& it) { it.SetDisplayName(text); });
    const JsonValue* optional = keys[OverrideOptional];
    if (optional && reading_.IsTruth(*optional, {place, kOverride[OverrideOptional]}))
      reading_.EditPort(node_.index, name, [is = optional->AsBool()](Port& it) { it.SetIsOptional(is); });
    const JsonValue* hidden = keys[OverrideHidden];
    if (hidden && reading_.IsTruth(*hidden, {place, kOverride[OverrideHidden]}))
      reading_.EditPort(node_.index, name, [is = hidden->AsBool()](Port& it) { it.SetIsHidden(is); });
  }

  void ApplyType(Port& port, const JsonValue& json, const DocumentPlace& place) {
    if (!reading_.IsText(json, place)) return;
    const ObjectName type = ObjectName::FromString(json.AsString());
    if (type == Data::DefaultTypeName() || DataFactory::Contains(type.Namespace, type.Name)) {
      reading_.EditPort(node_.index, port.GetName(), [type](Port& it) { it.SetSupportedTypes({type}); });
      return;
    }
    std::vector<std::wstring> names;
    for (const ObjectName& name : DataFactory::GetNames()) names.push_back(name.ToString());
    reading_.faults.Error(place,
                          L"found the unknown type \"" + json.AsString() + L"\"" + DidYouMean(json.AsString(), names));
  }

  DocumentReading& reading_;
  const JsonValue& json_;
  const DocumentPlace& place_;
  DocumentNode& node_;
  const JsonValue* keys_[NodeCount] = {};
  std::vector<std::size_t> late_;
};

}  // namespace

boost::shared_ptr<Port> DocumentNode::FindPort(DocumentReading& reading, std::string_view name,
                                               const DocumentPlace& place, PortType kindIfMissing) const {
  const std::wstring wide = Wide(name);
  boost::shared_ptr<Port> port = op->GetPort(wide);
  if (port || memory->lacksPorts) return port;
  reading.Guard(place, [&] {
    if (memory->missing)
      port = op->CreatePort(wide, Data::DefaultTypeName(), kindIfMissing);
    else
      port = ExpandUntil(reading, index, *memory, wide);
  });
  if (port) return port;
  std::vector<std::wstring> known;
  for (const auto& each : op->GetPorts()) known.push_back(each->GetName());
  std::wstring hint = DidYouMean(wide, known);
  if (hint.empty()) {
    for (const std::wstring& each : known) hint += (hint.empty() ? L"; its ports are \"" : L", \"") + each + L"\"";
  }
  reading.faults.Error(
      place, L"found the unknown port \"" + wide + L"\" of the operator \"" + op->GetOperatorName() + L"\"" + hint);
  return nullptr;
}

void ReadDocumentNode(DocumentReading& reading, const JsonValue& json, const DocumentPlace& place, DocumentNode& node) {
  NodeReader(reading, json, place, node).Read();
}

}  // namespace Tamrin::Tessera
