#include "commandline.h"

#include "kcommon/kerr.h"
#include "kcommon/kflt.h"
#include "kcommon/kstr.h"
#include "txlib/datajson.h"

namespace korven::tx_general {

using Tamrin::TesseraBasic::ExecutableOperator;
using Tamrin::TesseraBasic::JsonData;

void CommandLineOperator::DeclarePorts() {
  const auto search = Hidden(Optional(CreatePort(L"SearchPath", DirectoryData::DefaultTypeName(), PortType::Input)));
  search->AddSupportedType(DataListData::DefaultTypeName());
  search->SetDataTypeAttribute(DataListData::DefaultTypeName(), L"ListDataType",
                               MakeData<StringData>(DirectoryData::DefaultTypeName().ToString()));
  CreatePort(L"ReturnCode", IntData::DefaultTypeName(), PortType::Output);
  Hidden(CreatePort(L"ConsoleOutput", StringData::DefaultTypeName(), PortType::Output));
  SetUIProvider(L"CommandLine", L"VANTIX");
}

namespace {

/// JSON that a document gives without a type has become lists and dictionaries. Descriptions are no deeper than this.
JsonValue WithoutTypes(const JsonValue& typed, int levels = 3) {
  const JsonValue* const type = typed.Find("Type");
  const JsonValue* const value = typed.Find("Value");
  if (!type || !value || levels == 0) return {};
  if (type->AsString() == DataListData::DefaultTypeName().ToString()) {
    JsonValue array(JsonValueType::Array);
    for (const JsonValue& item : value->GetElements()) array.Append(WithoutTypes(item, levels - 1));
    return array;
  }
  if (type->AsString() == DictionaryData::DefaultTypeName().ToString()) {
    JsonValue object(JsonValueType::Object);
    for (const auto& member : value->GetMembers()) object.Set(member.key, WithoutTypes(member.value, levels - 1));
    return object;
  }
  return *value;
}

}  // namespace

JsonValue CommandLineOperator::GetPortDescriptions() const {
  const DataPtr information = GetAttribute(L"PortInformation");
  const auto json = AsDataOf<JsonData>(information);
  if (json) return json->HasNoValue() ? JsonValue() : json->GetDataValue();
  JsonValue typed;
  return information && DataToTypedJson(information, typed) ? WithoutTypes(typed) : JsonValue();
}

void CommandLineOperator::Configure() {
  const JsonValue descriptions = GetPortDescriptions();
  std::size_t index = 0;
  for (const JsonValue& description : descriptions) CreateConfiguredPort(description, index++);
}

void CommandLineOperator::CreateConfiguredPort(const JsonValue& description, std::size_t index) {
  const std::wstring name = description[L"Name"].AsString();
  if (name.empty()) SetErrorMessage(L"PortInformation[" + std::to_wstring(index) + L"] has no Name.");
  if (GetPort(name)) return;
  const ObjectName type{description[L"SupportedDataNamespace"].AsString(),
                        description[L"SupportedDataName"].AsString()};
  const JsonValue& direction = description[L"Type"];
  const bool isDirection =
      direction.IsNull() || (direction.IsInteger() && direction.AsInt64() >= 0 && direction.AsInt64() <= 2);
  if (!isDirection) {
    SetErrorMessage(L"The Type of the port \"" + name + L"\" in PortInformation is " + direction.Serialize() +
                    L"; expected 0 for an input, 1 for an output or 2 for a setting.");
  }
  const auto portType = static_cast<PortType>(direction.AsInt());
  if (type.Name.empty() || type.Namespace.empty()) {
    CreatePort(name, Data::DefaultTypeName(), portType, -1);
  } else if (description[L"OutputFile"].AsBool()) {
    const DataPtr isInput = MakeData<BoolData>(false);
    CreatePortWithAttributes(name.c_str(), type, portType, L"Input", &isInput, nullptr);
  } else {
    CreatePort(name, type, portType, -1);
  }
}

std::wstring CommandLineOperator::GetTextAttribute(const wchar_t* key) const {
  const auto text = AsDataOf<StringData>(GetAttribute(key));
  return text && !text->HasNoValue() ? text->GetDataValue() : std::wstring();
}

DataPtr CommandLineOperator::Read(const PortPtr& port) {
  if (!isLooking_) return port->GetData();
  LookAtPort(*port, isKnown_);
  return port->GetExistingData();
}

std::wstring CommandLineOperator::GetExecutable() { return GetTextAttribute(L"Executable"); }

std::wstring CommandLineOperator::GetArguments() {
  return ExpandArgumentExpression(GetTextAttribute(L"ArgumentExpression"));
}

std::wstring CommandLineOperator::GetSearchPath() {
  std::wstring path;
  const auto append = [&path](const std::wstring& folder) { path += (path.empty() ? L"" : L";") + folder; };
  const auto data = Read(RequirePort(*this, L"SearchPath"));
  const auto single = AsDataOf<DirectoryData>(data);
  if (single && !single->HasNoValue()) {
    path = single->GetDataValue();
  } else if (const auto list = AsDataOf<DataListData>(data); list && !list->HasNoValue()) {
    for (const auto& item : *list->GetDataPointer()) {
      const auto folder = AsDataOf<DirectoryData>(item);
      if (folder && !folder->HasNoValue()) append(folder->GetDataValue());
    }
  }
  if (const std::wstring further = GetTextAttribute(L"SearchPath"); !further.empty()) append(further);
  return path;
}

void CommandLineOperator::SetReturnCode(std::int32_t code) { WritePort(*this, L"ReturnCode", code); }

bool CommandLineOperator::ExpandOutput(const PortPtr& output, OutputFile& file) {
  const auto sibling = GetPort(output->GetName() + L"Name");
  const auto data = sibling ? Read(sibling) : nullptr;
  if (!data) return false;
  file.port = output;
  file.pattern = data->ToString();
  file.name = ExpandOutputName(output->GetName(), file.pattern);
  return true;
}

void CommandLineOperator::OnExecute() {
  KerrException error(L"tx_general\\commandlineoperator", L"korven::tx_general::CommandLineOperator::OnExecute");
  // A run that may not start the program leaves its files alone.
  RequireStartAllowed();
  const auto outputs = GetOutputPorts();
  OutputFile file;
  for (const auto& output : outputs) {
    if (!ExpandOutput(output, file)) continue;
    kflt_ForceFileDeleteIfExists(file.name);
    output->SetDataFromString(file.name);
  }
  ExecutableOperator::OnExecute();
  error.Check(__LINE__);
  for (const auto& output : outputs) {
    if (ExpandOutput(output, file)) output->SetDataFromString(file.name);
  }
  RequirePort(*this, L"ConsoleOutput")->SetData(GetConsoleData());
}

std::vector<Effect> CommandLineOperator::GetEffects() {
  struct Looking {
    explicit Looking(bool& flag) : flag_(flag) { flag_ = true; }
    ~Looking() { flag_ = false; }
    bool& flag_;
  } const looking(isLooking_);
  std::vector<Effect> effects;
  isKnown_ = true;
  const std::wstring program = FindProgram();
  effects.push_back(
      {Effect::Kind::Start, program.empty() && isKnown_ ? GetExecutable() : program,
       L"\"" + GetExecutable() + L"\"" + (program.empty() && isKnown_ ? L", which is not found now" : L"")});
  for (const auto& output : GetOutputPorts()) {
    OutputFile file;
    isKnown_ = true;
    const auto sibling = GetPort(output->GetName() + L"Name");
    if (!ExpandOutput(output, file) && isKnown_) continue;
    const std::wstring source = file.pattern.empty()
                                    ? L"the port " + sibling->GetDisplayName()
                                    : L"the pattern \"" + file.pattern + L"\" of the port " + sibling->GetDisplayName();
    for (const auto kind : {Effect::Kind::Delete, Effect::Kind::Write})
      effects.push_back({kind, isKnown_ ? file.name : std::wstring(), source});
  }
  return effects;
}

TX_GENERAL_FACTORY(CommandLineOperator)

}  // namespace korven::tx_general
