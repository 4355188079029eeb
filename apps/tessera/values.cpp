#include "values.h"

#include "kcommon/kfio.h"
#include "kcommon/kstr.h"
#include "txlib/basicdata.h"
#include "txlib/datajson.h"

namespace TesseraProgram {

using namespace Tamrin::Tessera;

namespace {

boost::shared_ptr<Port> FindInput(const Model& model, const std::wstring& name, const std::wstring& where) {
  const auto port = model.GetPort(name);
  if (port && !port->IsOutput()) return port;
  std::vector<std::wstring> known;
  std::wstring listed;
  for (const auto& each : model.GetPorts()) {
    if (each->IsOutput()) continue;
    known.push_back(each->GetName());
    listed += (listed.empty() ? L"\"" : L", \"") + each->GetName() + L"\"";
  }
  const std::wstring nearest = kstr_NearestName(name, known);
  std::wstring text = where + L": the model has no input \"" + name + L"\"";
  if (!nearest.empty()) text += L"; did you mean \"" + nearest + L"\"?";
  throw Refusal(text + (listed.empty() ? L"; it has no inputs" : L"; its inputs are " + listed));
}

void SetTyped(Port& port, const JsonValue& json, const std::wstring& where) {
  boost::shared_ptr<Data> data;
  std::wstring error;
  if (!DataFromTypedJson(json, data, error)) throw Refusal(where + L": " + error);
  if (!data) port.SetDefaultData(nullptr);
  port.SetData(data);
}

void SetText(Port& port, const std::string& bytes, const std::wstring& where) {
  std::wstring text;
  std::size_t bad = 0;
  if (!kstr_FromUtf8(bytes, text, &bad))
    throw Refusal(where + L": the text is no UTF-8 at byte " + std::to_wstring(bad));
  if (text.compare(0, 7, L"{\"Type\"") == 0) {
    JsonValue json;
    std::string error;
    if (!json.DeserializeUtf8(bytes, false, &error)) throw Refusal(where + L": " + kstr_FromUtf8Lossy(error));
    SetTyped(port, json, where);
    return;
  }
  if (port.SetDataFromString(text)) return;
  // The line end that an editor leaves at the end of a file is no part of a number.
  std::wstring line = text;
  while (!line.empty() && (line.back() == L'\n' || line.back() == L'\r')) line.pop_back();
  if (line.size() != text.size() && port.SetDataFromString(line)) return;
  port.SetData(MakeData<StringData>(text));
}

JsonValue OutputValue(Port& port) {
  const auto data = port.GetExistingData();
  JsonValue json;
  if (DataToTypedJson(data, json)) return json;
  json = JsonValue(JsonValueType::Object);
  json.Set("Type", JsonValue(data->GetDataTypeName().ToString()));
  json.Set("Value", JsonValue());
  PrintError(L"warning: the output \"" + port.GetName() + L"\" of type " + data->GetDataTypeName().ToString() +
             L" has no form in JSON");
  return json;
}

}  // namespace

void ApplySets(Model& model, const std::vector<std::string>& sets) {
  for (const std::string& word : sets) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos || equals == 0)
      throw Refusal(L"--set: found \"" + WideWord(word) + L"\", expected NAME=VALUE");
    const std::wstring name = WideWord(word.substr(0, equals));
    const std::wstring where = L"--set " + name;
    const auto port = FindInput(model, name, L"--set");
    std::string value = word.substr(equals + 1);
    if (!value.empty() && value.front() == '@') {
      try {
        value = kfio::ReadBytes(WideWord(value.substr(1)));
      } catch (const std::exception&) {
        throw Refusal(where + L": " + CurrentExceptionText());
      }
    }
    SetText(*port, value, where);
  }
}

void ApplyInputs(Model& model, const std::string& file) {
  const JsonValue json = ReadJsonFile(file);
  const std::wstring where = WideWord(file);
  const JsonValue* inputs = json.Find("Inputs");
  if (!inputs || !inputs->IsArray())
    throw Refusal(where + L": found no \"Inputs\", expected {\"Inputs\": [{\"Name\": ..., \"Data\": ...}]}");
  for (std::size_t i = 0; i < inputs->Count(); ++i) {
    const JsonValue& entry = inputs->GetElements()[i];
    const std::wstring place = where + L": Inputs[" + std::to_wstring(i) + L"]";
    const JsonValue* name = entry.Find("Name");
    const JsonValue* data = entry.Find("Data");
    if (!name || !name->IsString() || !data) throw Refusal(place + L": expected \"Name\" and \"Data\"");
    SetTyped(*FindInput(model, name->AsString(), where), *data, place + L".Data");
  }
}

JsonValue OutputsToJson(Model& model) {
  JsonValue outputs(JsonValueType::Array);
  for (const auto& port : model.GetPorts()) {
    if (!port->IsOutput()) continue;
    JsonValue entry(JsonValueType::Object);
    entry.Set("Name", JsonValue(port->GetName()));
    entry.Set("Data", OutputValue(*port));
    outputs.Append(std::move(entry));
  }
  JsonValue json(JsonValueType::Object);
  json.Set("Outputs", std::move(outputs));
  return json;
}

void PrintOutputs(Model& model) {
  for (const auto& port : model.GetPorts()) {
    if (!port->IsOutput()) continue;
    const auto data = port->GetExistingData();
    Print(port->GetName() + L": " + (data ? data->ToShortString() : L"(no data)"));
  }
}

}  // namespace TesseraProgram
