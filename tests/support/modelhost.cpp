#include "support/modelhost.h"

#include <boost/filesystem.hpp>
#include <fstream>
#include <iterator>

#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "txlib/factories.h"

namespace testing_support {
namespace {

std::pair<std::wstring, std::wstring> Split(const std::wstring& port) {
  const auto stop = port.find(L'.');
  if (stop == std::wstring::npos) throw std::invalid_argument("a port is named operator.Port");
  return {port.substr(0, stop), port.substr(stop + 1)};
}

}  // namespace

ModelHost::ModelHost() : model_(boost::make_shared<tessera::Model>()) {
  model_->SetEnvironment(tessera::ExecutionEnvironment::Create());
  model_->Initialize();
}

OperatorPtr ModelHost::Add(const std::wstring& name, const std::wstring& id) {
  const auto op = tessera::OperatorFactory::Create(L"VANTIX", name);
  if (!op) throw std::invalid_argument("unknown operator " + kstr_ToUtf8(name));
  return Adopt(op, id.empty() ? name : id);
}

OperatorPtr ModelHost::Adopt(const OperatorPtr& op, const std::wstring& id) {
  op->SetDisplayName(id);
  model_->AddOperator(op);
  operators_[id] = op;
  return op;
}

ModelHost& ModelHost::Set(const std::wstring& port, const DataPtr& data) {
  PortOf(port)->SetData(data);
  return *this;
}

ModelHost& ModelHost::Connect(const std::wstring& output, const std::wstring& input) {
  tessera::Operator::ConnectPort(PortOf(output), PortOf(input));
  return *this;
}

ModelHost& ModelHost::Reopen() {
  const std::wstring text = tessera::ModelFormatFactory::SaveToBuffer(model_, L"TesseraModelFormat");
  model_ = tessera::ModelFormatFactory::OpenFromBuffer(text, L"TesseraModelFormat");
  for (const auto& op : model_->GetOperators()) operators_[op->GetDisplayName()] = op;
  return *this;
}

template <typename Action>
bool ModelHost::Guarded(const Action& action) {
  error_.clear();
  try {
    action();
    return true;
  } catch (const KorvenLog::Exception& exception) {
    error_ = exception.get_What();
  } catch (const std::exception& exception) {
    error_ = kstr_FromUtf8Lossy(exception.what());
  }
  return false;
}

bool ModelHost::Run() {
  return Guarded([this] { model_->Execute(); });
}

bool ModelHost::Pull(const std::wstring& port, DataPtr& data) {
  const auto request = boost::make_shared<tessera::DataRequest>();
  request->Initialize();
  return Guarded([&] { data = PortOf(port)->GetData(request); });
}

OperatorPtr ModelHost::Op(const std::wstring& id) const {
  const auto found = operators_.find(id);
  if (found == operators_.end()) throw std::invalid_argument("no operator " + kstr_ToUtf8(id));
  return found->second;
}

PortPtr ModelHost::PortOf(const std::wstring& port) const {
  const auto [id, name] = Split(port);
  const auto found = Op(id)->GetPort(name);
  if (!found) throw std::invalid_argument("no port " + kstr_ToUtf8(port));
  return found;
}

std::vector<std::wstring> ModelHost::Messages(tessera::Issue::Severity severity) const {
  std::vector<std::wstring> texts;
  for (const auto& op : model_->GetAllOperators(true)) {
    for (const auto& message : op->GetMessages()) {
      if (message.severity == severity) texts.push_back(message.text);
    }
  }
  return texts;
}

std::vector<std::wstring> PortNames(const tessera::Operator& op) {
  std::vector<std::wstring> names;
  for (const auto& port : op.GetPorts()) names.push_back(port->GetName());
  return names;
}

TemporaryFolder::TemporaryFolder() {
  const auto path = boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("tessera-test-%%%%%%%%");
  boost::filesystem::create_directories(path);
  path_ = path.native();
}

TemporaryFolder::~TemporaryFolder() {
  boost::system::error_code ignored;
  boost::filesystem::remove_all(path_, ignored);
}

std::wstring TemporaryFolder::WidePath() const { return kfnp_FromNative(path_); }

std::wstring TemporaryFolder::Write(const std::string& name, const std::string& bytes) const {
  const boost::filesystem::path path = boost::filesystem::path(path_) / name;
  boost::filesystem::create_directories(path.parent_path());
  std::ofstream(path.native(), std::ios::binary) << bytes;
  return kfnp_FromNative(path.native());
}

std::string TemporaryFolder::Read(const std::string& name) const {
  std::ifstream stream(path_ + "/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace testing_support
