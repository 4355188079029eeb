#include <algorithm>
#include <map>

#include "kcommon/kstr.h"
#include "program.h"
#include "txlib/datajson.h"
#include "txlib/factories.h"

namespace TesseraProgram {

using namespace Tamrin::Tessera;

namespace {

/// Of the document itself: what a model hides, or has from another document, is not its.
void CountOperators(const Model& model, std::map<std::wstring, int>& used) {
  if (!model.AllowsReflection() || !model.IsOpenable()) return;
  for (const auto& op : model.GetOperators()) {
    ++used[op->GetOperatorNamespace() + L"." + op->GetOperatorName()];
    if (const auto* inner = dynamic_cast<const Model*>(op.get())) CountOperators(*inner, used);
  }
}

}  // namespace

int Info(const Arguments& arguments) {
  LoadPreferences(arguments);
  const auto model = OpenModel(arguments.model, false);
  std::map<std::wstring, int> used;
  CountOperators(*model, used);
  if (!arguments.json) {
    Print(model->GetDisplayName());
    if (!model->GetDescription().empty()) Print(model->GetDescription());
    Print(L"ports:");
    for (const auto& port : model->GetPorts()) Print(PortToText(*port));
    Print(model->AllowsReflection() ? L"operators:" : L"operators: not shown");
    for (const auto& [name, count] : used) Print(L"  " + std::to_wstring(count) + L" " + name);
    return kDone;
  }
  JsonValue json(JsonValueType::Object);
  json.Set("name", JsonValue(model->GetProcessName()));
  json.Set("namespace", JsonValue(model->GetProcessNamespace()));
  json.Set("displayName", JsonValue(model->GetDisplayName()));
  json.Set("description", JsonValue(model->GetDescription()));
  JsonValue ports(JsonValueType::Array);
  for (const auto& port : model->GetPorts()) ports.Append(PortToJson(*port));
  json.Set("ports", std::move(ports));
  JsonValue operators(JsonValueType::Object);
  for (const auto& [name, count] : used) operators.Set(kstr_ToUtf8(name), JsonValue(count));
  if (model->AllowsReflection()) json.Set("operators", std::move(operators));
  PrintJson(json);
  return kDone;
}

namespace {

boost::shared_ptr<Model> OpenChecked(const std::string& name, const std::string& bytes) {
  if (name != "-") return ModelFormatFactory::Open(WideWord(name), L"");
  return ModelFormatFactory::OpenFromBuffer(kstr_FromUtf8Lossy(bytes), L"");
}

/// The faults; without one the model as well.
std::vector<DocumentProblem> CheckDocument(const std::string& name, boost::shared_ptr<Model>& model) {
  std::vector<DocumentProblem> problems;
  try {
    const bool isOther = name.size() > 5 && name.compare(name.size() - 5, 5, ".tsmc") == 0;
    if (!isOther) {
      const std::string bytes = ReadModelBytes(name);
      problems = PlainDocument::Check(bytes, name == "-" ? std::wstring() : WideWord(name));
      const bool isGood = std::all_of(problems.begin(), problems.end(), [](const auto& p) { return p.warning; });
      if (isGood) model = OpenChecked(name, bytes);
      return problems;
    }
    model = OpenChecked(name, {});
    for (const auto& op : model->GetAllOperators(true)) {
      if (op->GetOperatorName() != L"OperatorNotFound") continue;
      problems.push_back({"", 0, 0, L"the model needs an operator that is not known here", false});
      break;
    }
  } catch (const DocumentException& exception) {
    return exception.GetProblems();
  } catch (const std::exception&) {
    std::wstring text = CurrentExceptionText();
    const std::wstring prefix = WideWord(name) + L": ";
    if (text.compare(0, prefix.size(), prefix) == 0) text.erase(0, prefix.size());
    problems.push_back({"", 0, 0, text, false});
  }
  return problems;
}

JsonValue ProblemsToJson(const std::string& name, const std::vector<DocumentProblem>& problems, JsonValue effects) {
  JsonValue json(JsonValueType::Object);
  json.Set("file", JsonValue(WideWord(name)));
  JsonValue list(JsonValueType::Array);
  for (const DocumentProblem& problem : problems) {
    JsonValue entry(JsonValueType::Object);
    entry.Set("path", JsonValue::FromUtf8(problem.path));
    entry.Set("line", JsonValue(static_cast<int>(problem.line)));
    entry.Set("column", JsonValue(static_cast<int>(problem.column)));
    entry.Set("severity", JsonValue(problem.warning ? L"warning" : L"error"));
    entry.Set("text", JsonValue(problem.text));
    list.Append(std::move(entry));
  }
  json.Set("problems", std::move(list));
  json.Set("effects", std::move(effects));
  return json;
}

/// A value without a form in JSON, such as a password, is in no document.
void WarnOfUnwritten(const std::wstring& file, const Operator& op) {
  for (const auto& port : op.GetPorts()) {
    const auto data = port->IsOutput() ? nullptr : port->GetOwnData();
    JsonValue json;
    if (!data || DataToTypedJson(data, json)) continue;
    PrintError(L"warning: " + file + L": " + op.GetDisplayName() + L": the value on the port \"" +
               port->GetDisplayName() + L"\" of type " + data->GetDataTypeName().ToString() +
               L" is not written: it has no form in JSON");
  }
  const auto* const model = dynamic_cast<const Model*>(&op);
  if (!model || !model->AllowsReflection() || !model->IsOpenable()) return;
  for (const auto& inner : model->GetOperators()) WarnOfUnwritten(file, *inner);
}

}  // namespace

int Check(const Arguments& arguments) {
  LoadPreferences(arguments);
  int status = kDone;
  JsonValue documents(JsonValueType::Array);
  for (const std::string& name : arguments.models) {
    boost::shared_ptr<Model> model;
    const auto problems = CheckDocument(name, model);
    for (const DocumentProblem& problem : problems) {
      if (!problem.warning) status = kRefused;
    }
    JsonValue effects(JsonValueType::Array);
    if (model) TellEffects(name, *model, arguments.json ? &effects : nullptr);
    if (arguments.json) documents.Append(ProblemsToJson(name, problems, std::move(effects)));
    if (!problems.empty()) PrintPluginProblems();
    PrintProblems(name, problems);
  }
  if (arguments.json) {
    JsonValue json(JsonValueType::Object);
    json.Set("documents", std::move(documents));
    PrintJson(json);
  }
  return status;
}

int Save(const Arguments& arguments) {
  LoadPreferences(arguments);
  const auto model = OpenModel(arguments.model, false);
  try {
    ModelFormatFactory::Save(model, WideWord(arguments.output), L"");
  } catch (const std::exception&) {
    throw Refusal(WideWord(arguments.output) + L": " + CurrentExceptionText());
  }
  WarnOfUnwritten(WideWord(arguments.output), *model);
  return kDone;
}

}  // namespace TesseraProgram
