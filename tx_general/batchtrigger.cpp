#include "batchtrigger.h"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <locale>
#include <stdexcept>

#include "iteratorparts.h"
#include "jsonlib/preferences.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kpmg.h"
#include "kcommon/kprc.h"
#include "kcommon/kstr.h"
#include "kcommon/ktim.h"
#include "txlib/datajson.h"
#include "txlib/model.h"

namespace korven::tx_general {

std::string BatchInputText(const BatchInputs& inputs, std::size_t index, bool hasOutputs) {
  KerrException error(L"tx_general\\batchtrigger", L"korven::tx_general::BatchInputText");
  constexpr int kNotJsonable = 48;  // what callers know this failure by
  JsonValue entries(JsonValueType::Array);
  for (std::size_t i = 0; i < inputs.keys.size(); ++i) {
    const DataList& items = inputs.items[i];
    JsonValue data;
    if (!DataToTypedJson(ItemOf(items, index), data)) error.Throw(kNotJsonable, L"Data not JSONable!");
    JsonValue entry(JsonValueType::Object);
    entry.Set("Name", JsonValue(inputs.keys[i]));
    entry.Set("Data", std::move(data));
    entries.Append(std::move(entry));
  }
  JsonValue text(JsonValueType::Object);
  text.Set("Inputs", std::move(entries));
  text.Set("Method", JsonValue(hasOutputs ? L"Synchronous" : L"Asynchronous"));
  return text.SerializeUtf8(true);
}

namespace {

/// The "Data" of the first output of that name; null where there is none.
const JsonValue* FindBatchOutput(const JsonValue& outputs, const std::wstring& name) {
  for (const JsonValue& output : outputs.GetElements()) {
    const JsonValue* const known = output.Find("Name");
    if (known && known->IsString() && known->AsString() == name) return output.Find("Data");
  }
  return nullptr;
}

DataPtr ParseBatchItem(const JsonValue& data) {
  const JsonValue* const value = data.Find("Value");
  if (!value || value->IsNull()) return nullptr;
  const JsonValue* const type = data.Find("Type");
  const std::wstring name = type ? type->AsString() : std::wstring();
  const std::size_t stop = name.rfind(L'.');
  if (stop == std::wstring::npos || stop == 0 || stop + 1 == name.size())
    throw std::runtime_error("Invalid full name format.");
  DataPtr item;
  std::wstring error;
  if (!DataFromTypedJson(data, item, error)) throw std::runtime_error(kstr_ToUtf8(error));
  return item;
}

/// In a folder that is this run's alone, and read when all have been written: nothing has to be on the disk by then.
void WriteInput(const std::wstring& file, const std::string& text) {
  std::ofstream stream(kfnp_ToNative(file), std::ios::binary);
  stream.write(text.data(), static_cast<std::streamsize>(text.size()));
  stream.close();
  if (!stream) throw std::runtime_error(kstr_ToUtf8(file) + " can't be written: " + std::strerror(errno));
}

}  // namespace

DataList ParseBatchOutput(const std::string& text, const std::vector<std::wstring>& names,
                          std::vector<std::wstring>& kept) {
  JsonValue root;
  const JsonValue* const outputs = root.DeserializeUtf8(text, false, nullptr) ? root.Find("Outputs") : nullptr;
  if (!outputs || outputs->IsNull()) throw std::runtime_error("Outputs are NULL");
  DataList items;
  for (const std::wstring& name : names) {
    const JsonValue* const data = FindBatchOutput(*outputs, name);
    if (!data || data->IsNull()) throw std::runtime_error("Unable to find data in outputs");
    items.push_back(ParseBatchItem(*data));
    const JsonValue* const type = items.back() ? nullptr : data->Find("Type");
    const bool isEmpty = !type || type->AsUtf8().empty() || type->AsUtf8() == "VANTIX.Data";
    kept.push_back(isEmpty ? std::wstring() : type->AsString());
  }
  return items;
}

ConcurrentActionTrigger::ConcurrentActionTrigger(boost::shared_ptr<Operator> owner, const std::wstring& modelFile,
                                                 std::int64_t count, const BatchInputs& inputs, BatchOutputs& outputs)
    : owner_(std::move(owner)),
      modelFile_(modelFile),
      pathPart_(kfnp_FileNameGetPathPart(modelFile)),
      basePart_(kfnp_FileNameGetBasePart(modelFile)),
      count_(count),
      inputs_(inputs),
      outputs_(outputs),
      inputFiles_(static_cast<std::size_t>(count)),
      outputFiles_(static_cast<std::size_t>(count)) {
  KerrException error(L"tx_general\\batchtrigger", L"korven::tx_general::ConcurrentActionTrigger");
  const std::wstring termination = kpmg_GetEnumPreference(L"batch", L"line_termination", L"windows", error);
  error.Check(__LINE__);
  const std::locale& classic = std::locale::classic();
  lineTerminator_ = boost::iequals(termination, L"unix", classic) ? L"\n" : L"\r\n";
  if (lineTerminator_ != L"\n" && !boost::iequals(termination, L"windows", classic)) {
    LogIteration(boost::replace_all_copy(termination, L"%", L"%%") +
                 L": Unrecognized Line Termination for Output Batch Files value. Assuming 'windows'");
  }
  const double simultaneous = kpmg_GetNumberPreference(L"batch", L"num_simul_cmd_sets", 1.0, error);
  error.Check(__LINE__);
  using Limits = std::numeric_limits<std::int32_t>;
  simultaneous_ = static_cast<std::int32_t>(std::clamp<double>(simultaneous, Limits::min(), Limits::max()));
}

void ConcurrentActionTrigger::DeclarePorts() {
  CreatePort(L"Output", UnsignedData::DefaultTypeName(), PortType::Output);
}

void ConcurrentActionTrigger::Apply(const PortPtr& port, const RequestPtr& request) {
  const auto index = request->GetAttribute(kTriggerAttribute)->GetDataValue<unsigned>();
  action_(index);
  port->SetData(MakeData<UnsignedData>(index), request);
}

void ConcurrentActionTrigger::SetAction(Action action) {
  action_ = std::move(action);
  remaining_ = count_;
  completed_ = 0;
}

RequestPtr ConcurrentActionTrigger::NextRequest() {
  if (remaining_ == 0) return nullptr;
  return MakeTriggerRequest(static_cast<unsigned>(count_ - remaining_--));
}

void ConcurrentActionTrigger::NoteCompleted(std::size_t index) {
  TellIteration(*owner_, ++completed_, static_cast<unsigned>(index), static_cast<std::size_t>(count_));
}

void ConcurrentActionTrigger::Register(const std::wstring& file) {
  owner_->GetMainProcess()->RegisterTemporaryFile(file);
}

std::wstring ConcurrentActionTrigger::FileName(const wchar_t* kind, std::size_t index) const {
  return pathPart_ + basePart_ + kind + std::to_wstring(index) + L".json";
}

void ConcurrentActionTrigger::Prepare(std::size_t index) {
  owner_->GetEnvironment()->CheckCancelled();
  const std::wstring input = FileName(L"-Inputs-", index);
  {
    const std::lock_guard guard(lock_);
    Register(input);
  }
  WriteInput(input, BatchInputText(inputs_, index, !outputs_.names.empty()));
  const std::wstring output = FileName(L"-Outputs-", index);
  const std::lock_guard guard(lock_);
  Register(output);
  inputFiles_[index] = input;
  outputFiles_[index] = output;
}

void ConcurrentActionTrigger::WriteList(const std::wstring& file, unsigned threads) const {
  const std::string terminator = kstr_ToUtf8(lineTerminator_);
  const std::string model = kfnp_ToNative(modelFile_);
  std::string text = "MODEL_FILENAME\tINPUTS_FILENAME\tOUTPUTS_FILENAME\tCONCURRENCY" + terminator;
  for (std::size_t i = 0; i < inputFiles_.size(); ++i) {
    text += "'" + model + "'\t'" + kfnp_ToNative(inputFiles_[i]) + "'\t'" + kfnp_ToNative(outputFiles_[i]) + "'\t" +
            std::to_string(threads) + terminator;
  }
  kfio::WriteBytes(file, text);
}

void ConcurrentActionTrigger::RunBatch(unsigned threads) {
  KerrException error(L"tx_general\\batchtrigger", L"korven::tx_general::ConcurrentActionTrigger::RunBatch");
  // The line is expanded as a whole; what looks like a variable in a file's name is none.
  const std::wstring dollar = L"$", hidden = L"\uFFFF";
  const auto quoted = [&](const std::wstring& name) {
    const std::wstring text = boost::replace_all_copy(name, L"\"", L"\"\"");
    return L"\"" + boost::replace_all_copy(text, dollar, hidden) + L"\"";
  };
  Kstr_StringList words{{L"set", L"VANTIX_BATCH_RUN=1", L"&&", L"set",
                         L"VANTIX_BATCH_SUBMITTIME=" + std::to_wstring(ktim_Time()), L"&&",
                         L"$VANTIX_HOME\\bin\\$ARCHM\\batchprocess.exe", L"-bcf",
                         L"\"$VANTIX_HOME\\etc\\models\\IteratorExecutionMethodOutOfProcessBatch.bcf\""}};
  const std::wstring list = pathPart_ + basePart_ + L".bls";
  const std::wstring log = pathPart_ + basePart_ + L".log";
  Register(list);
  WriteList(list, threads);
  for (const std::wstring& word : {std::wstring(L"-bls"), quoted(list), std::wstring(L"-simul"),
                                   std::to_wstring(simultaneous_), std::wstring(L"-logfile"), quoted(log)})
    words.strings.push_back(word);
  Register(log);
  // What a process reads of its own stored preferences need not be what holds for this run.
  const std::wstring preferences = pathPart_ + basePart_ + L"-Preferences.json";
  Register(preferences);
  kfio::WriteBytes(preferences, jsonlib::PreferencesInForce());
  LogIteration(L"Batch processing " + std::to_wstring(simultaneous_) + L" at a time.");
  const std::wstring shell = kstr_GetEnv(L"ComSpec");
  if (shell.empty()) throw std::runtime_error("Cannot find shell command");
  std::wstring line = kstr_StringExpand(kstr_StringListToDelimString(words, L" "), error);
  error.Check(__LINE__);
  boost::replace_all(line, hidden, dollar);
  ProcessStartInfo info;
  info.SetSuppressSysDialogs(true);
  info.SetHide();
  info.SetCheck([environment = owner_->GetEnvironment()] { environment->CheckCancelled(); });
  info.SetVariable(L"TESSERA_PREFERENCES", preferences);
  const int status = kprc_ProcessRun(shell, {L"/C", L"\"" + line + L"\""}, info, error);
  error.Check(__LINE__);
  if (status != 0) owner_->SetErrorMessage(L"batchprocess failed");
  LogIteration(L"Batch processing complete");
}

void ConcurrentActionTrigger::Gather(std::size_t index) {
  owner_->GetEnvironment()->CheckCancelled();
  if (outputs_.names.empty()) return;
  std::string text;
  try {
    text = kfio::ReadBytes(outputFiles_[index]);
  } catch (const KorvenLog::Exception&) {
    text.clear();  // what is not there is told like what holds nothing
  }
  std::vector<std::wstring> kept;
  const DataList items = ParseBatchOutput(text, outputs_.names, kept);
  const std::lock_guard guard(lock_);
  for (std::size_t i = 0; i < items.size(); ++i) {
    DataList& list = outputs_.items[i];
    if (list.size() <= index) list.resize(index + 1);
    list[index] = items[i];
    if (!kept[i].empty()) ++kept_[{outputs_.names[i], kept[i]}];
  }
}

void ConcurrentActionTrigger::TellKept(Operator& shown) const {
  for (const auto& [output, count] : kept_) {
    shown.SetWarningMessage(L"The output \"" + output.first + L"\" is empty for " + std::to_wstring(count) + L" of " +
                            std::to_wstring(count_) + L" items: a value of type " + output.second +
                            L" has no form in JSON and can't leave its process.");
  }
}

}  // namespace korven::tx_general
