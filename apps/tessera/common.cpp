#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "plugin/pluginmanager.h"
#include "program.h"
#include "progress.h"
#include "txlib/datajson.h"
#include "txlib/factories.h"
#include "txlib/portaccess.h"

namespace TesseraProgram {

using namespace Tamrin::Tessera;
using korven::plugin::PluginManager;

namespace {

int outputFailure = 0;  ///< the first error number of standard output

/// Why an operator holds only the place of what it was to be; empty for all others.
std::wstring WhatIsMissing(const Operator& op) {
  if (op.GetOperatorName() == L"OperatorNotFound") {
    const auto said = op.GetMessages();
    return said.empty() ? L"the operator is not known" : said.front().text;
  }
  const auto* const linked = op.GetOperatorName() == L"TesseraModel" ? dynamic_cast<const Model*>(&op) : nullptr;
  const auto file = linked ? linked->GetPort(L"LinkedModelFilename") : nullptr;
  const auto name = file ? AsDataOf<StringData>(file->GetExistingData()) : nullptr;
  if (!name || !linked->GetOperators().empty()) return {};
  return L"the linked document \"" + name->GetDataValue() + L"\" can't be opened (tessera check tells why)";
}

}  // namespace

Refusal::Refusal(const std::wstring& text) : std::runtime_error(kstr_ToUtf8(text)) {}

std::wstring WideWord(const std::string& word) { return kfnp_FromNative(word); }

void WriteOutput(const std::string& bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() && outputFailure == 0) outputFailure = errno;
}

void FlushOutput() {
  if (std::fflush(stdout) != 0 && outputFailure == 0) outputFailure = errno;
  if (outputFailure == 0) return;
  throw Refusal(L"standard output can't be written: " + kstr_FromUtf8Lossy(std::strerror(outputFailure)));
}

void Print(const std::wstring& text) { WriteOutput(kstr_ToUtf8(text) + "\n"); }

void PrintError(const std::wstring& text) {
  const Progress::Aside aside;
  const std::string bytes = kstr_ToUtf8(text) + "\n";
  std::fwrite(bytes.data(), 1, bytes.size(), stderr);
}

void PrintJson(const JsonValue& json) {
  std::string text = json.SerializeUtf8(true);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  WriteOutput(text + '\n');
}

void PrintProblems(const std::string& file, const std::vector<DocumentProblem>& problems) {
  std::fflush(stdout);
  // What refuses the document comes last.
  for (const bool warnings : {true, false}) {
    for (const DocumentProblem& problem : problems) {
      if (problem.warning != warnings) continue;
      PrintError((warnings ? L"warning: " : L"error: ") + WideWord(file) + L": " + problem.ToString());
    }
  }
}

std::wstring CurrentExceptionText() {
  try {
    throw;
  } catch (const KorvenLog::Exception& exception) {
    return exception.get_What();
  } catch (const std::bad_alloc&) {
    return L"There is not enough memory.";
  } catch (const std::exception& exception) {
    return kstr_FromUtf8Lossy(exception.what());
  } catch (...) {
    return L"Unknown exception";
  }
}

std::string ReadModelBytes(const std::string& model) {
  if (model == "-") {
    std::string bytes;
    char block[1 << 16];
    for (ssize_t count; (count = ::read(STDIN_FILENO, block, sizeof block)) != 0;) {
      if (count < 0 && errno != EINTR) throw Refusal(L"standard input can't be read");
      if (count > 0) bytes.append(block, static_cast<std::size_t>(count));
    }
    return bytes;
  }
  try {
    return kfio::ReadBytes(WideWord(model));
  } catch (const std::exception&) {
    throw Refusal(WideWord(model) + L": " + CurrentExceptionText());
  }
}

void PrintPluginProblems() {
  static bool told = false;
  if (std::exchange(told, true)) return;
  for (const std::wstring& problem : PluginManager::Instance().GetProblems()) PrintError(L"warning: " + problem);
}

boost::shared_ptr<Model> OpenModel(const std::string& model, bool quiet) {
  try {
    boost::shared_ptr<Model> opened;
    if (model == "-") {
      std::wstring text;
      std::size_t bad = 0;
      if (!kstr_FromUtf8(ReadModelBytes(model), text, &bad))
        throw Refusal(L"-: the text is no UTF-8 at byte " + std::to_wstring(bad));
      opened = ModelFormatFactory::OpenFromBuffer(text, L"");
    } else {
      opened = ModelFormatFactory::Open(WideWord(model), L"");
    }
    if (!opened) throw Refusal(WideWord(model) + L": the document holds no model");
    if (!quiet && opened->AllowsReflection()) {
      for (const auto& op : opened->GetAllOperators(true)) {
        if (&Model::GetVisible(*op) != op.get()) continue;
        const std::wstring why = WhatIsMissing(*op);
        if (why.empty()) continue;
        PrintPluginProblems();
        PrintError(L"warning: " + WideWord(model) + L": " + op->GetDisplayName() + L": " + why);
      }
    }
    return opened;
  } catch (const Refusal&) {
    throw;
  } catch (const DocumentException& exception) {
    PrintPluginProblems();
    const auto& problems = exception.GetProblems();
    std::vector<DocumentProblem> shown(problems.begin(), problems.end());
    const auto last = std::find_if(shown.rbegin(), shown.rend(), [](const auto& p) { return !p.warning; });
    if (last == shown.rend()) throw Refusal(WideWord(model) + L": " + CurrentExceptionText());
    const std::wstring text = last->ToString();
    shown.erase(std::next(last).base());
    PrintProblems(model, shown);
    throw Refusal(WideWord(model) + L": " + text);
  } catch (const std::exception&) {
    throw Refusal(WideWord(model) + L": " + CurrentExceptionText());
  }
}

JsonValue ReadJsonFile(const std::string& file) {
  std::string bytes;
  try {
    bytes = kfio::ReadBytes(WideWord(file));
  } catch (const std::exception&) {
    throw Refusal(WideWord(file) + L": " + CurrentExceptionText());
  }
  JsonValue json;
  std::string error;
  if (!json.DeserializeUtf8(bytes, true, &error)) throw Refusal(WideWord(file) + L": " + kstr_FromUtf8Lossy(error));
  return json;
}

const wchar_t* KindName(PortType kind) {
  return kind == PortType::Input ? L"input" : kind == PortType::Output ? L"output" : L"setting";
}

JsonValue PortToJson(Port& port) {
  JsonValue json(JsonValueType::Object);
  json.Set("name", JsonValue(port.GetName()));
  json.Set("displayName", JsonValue(port.GetDisplayName()));
  json.Set("kind", JsonValue(KindName(port.GetPortType())));
  JsonValue types(JsonValueType::Array);
  for (const ObjectName& type : port.GetSupportedDataTypes()) types.Append(JsonValue(type.ToString()));
  for (const ObjectName& type : port.GetExtraSupportedDataTypes()) types.Append(JsonValue(type.ToString()));
  json.Set("types", std::move(types));
  if (!port.GetExcludedDataTypes().empty()) {
    JsonValue excluded(JsonValueType::Array);
    for (const ObjectName& type : port.GetExcludedDataTypes()) excluded.Append(JsonValue(type.ToString()));
    json.Set("excludedTypes", std::move(excluded));
  }
  json.Set("optional", JsonValue(port.IsOptional()));
  json.Set("hidden", JsonValue(port.IsHidden()));
  JsonValue value;
  if (port.GetDefaultData() && DataToTypedJson(port.GetDefaultData(), value)) json.Set("default", value);
  if (port.GetOwnData() && !port.IsOutput() && DataToTypedJson(port.GetOwnData(), value)) json.Set("value", value);
  JsonValue attributes(JsonValueType::Object);
  for (const auto& [key, data] : port.GetAttributeMap()) {
    if (data && DataToTypedJson(data, value)) attributes.Set(kstr_ToUtf8(key), value);
  }
  if (attributes.Count() != 0) json.Set("attributes", std::move(attributes));
  return json;
}

std::wstring PortToText(Port& port) {
  std::wstring text = L"  " + std::wstring(KindName(port.GetPortType())) + L" " + port.GetName();
  if (port.GetDisplayName() != port.GetName()) text += L" (" + port.GetDisplayName() + L")";
  std::wstring types;
  for (const ObjectName& type : port.GetSupportedDataTypes()) types += (types.empty() ? L"" : L" | ") + type.ToString();
  text += L": " + types;
  if (port.IsOptional()) text += L", optional";
  if (port.IsHidden()) text += L", hidden";
  if (const auto data = port.GetDefaultData()) text += L", default " + data->ToShortString();
  if (const auto data = port.GetOwnData(); data && !port.IsOutput()) text += L", value " + data->ToShortString();
  return text;
}

}  // namespace TesseraProgram
