#include "tx_general/iteratorloop.h"

#include "kcommon/kerr.h"
#include "plugin/availablepluginproxy.h"
#include "txlib/builtin.h"
#include "txlib/factories.h"

namespace testing_support {

namespace {

using korven::plugin::AvailablePluginProxy;

class TestMethod : public tessera::Operator {
 public:
  TestMethod(const wchar_t* nameSpace, const wchar_t* name, const wchar_t* keywords)
      : nameSpace_(nameSpace), name_(name), keywords_(keywords), dotted_(nameSpace_ + std::wstring(L".") + name_) {
    SetPrototype(L"VANTIX.IteratorExecutionMethod");
  }
  const wchar_t* GetDefaultOperatorName() const override { return name_; }
  const wchar_t* GetDefaultNamespace() const override { return nameSpace_; }
  const wchar_t* GetDefaultKeywords() const override { return keywords_; }
  const wchar_t* Name() const override { return dotted_.c_str(); }
  void DeclarePorts() override {
    CreatePort(L"Model", tessera::StringData::DefaultTypeName(), tessera::PortType::Input);
    CreatePort(L"CommonInputDataCount", tessera::UnsignedData::DefaultTypeName(), tessera::PortType::Input);
    CreatePort(L"InputData", tessera::DictionaryData::DefaultTypeName(), tessera::PortType::Input);
    CreatePort(L"OutputPortNames", tessera::StringListData::DefaultTypeName(), tessera::PortType::Input);
    CreatePort(L"OutputData", tessera::DictionaryData::DefaultTypeName(), tessera::PortType::Output);
  }

 protected:
  void OnExecute() override {
    MethodCall call;
    call.name = dotted_;
    call.model = tessera::ReadPort<std::wstring>(*this, L"Model");
    call.count = tessera::ReadPort<unsigned>(*this, L"CommonInputDataCount");
    call.inputs = *tessera::GetPortDataAs<tessera::Dictionary>(GetPort(L"InputData"));
    call.outputs = tessera::ReadPort<std::vector<std::wstring>>(*this, L"OutputPortNames");
    call.owner = GetParents().front();
    call.environment = GetProcess()->GetEnvironment();
    TestMethods::calls.push_back(call);
    tessera::WritePort(*this, L"OutputData", TestMethods::results);
  }

 private:
  const wchar_t* const nameSpace_;
  const wchar_t* const name_;
  const wchar_t* const keywords_;
  const std::wstring dotted_;
};

int Proxies(const std::wstring& category, std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  if (!category.empty() && category != L"Operator") return 0;
  proxies.push_back(AvailablePluginProxy::Create(L"Test.Hook", [] { return boost::make_shared<Hook>(); }));
  proxies.push_back(AvailablePluginProxy::Create(L"Test.IteratorExecutionMethodEcho", [] {
    return boost::make_shared<TestMethod>(L"Test", L"IteratorExecutionMethodEcho", L"Zigzag|Repeat|Answer");
  }));
  proxies.push_back(AvailablePluginProxy::Create(L"Other.IteratorExecutionMethodEcho", [] {
    return boost::make_shared<TestMethod>(L"Other", L"IteratorExecutionMethodEcho", L"Answer");
  }));
  proxies.push_back(AvailablePluginProxy::Create(L"Test.IteratorExecutionMethod", [] {
    return boost::make_shared<TestMethod>(L"Test", L"IteratorExecutionMethod", L"");
  }));
  proxies.push_back(AvailablePluginProxy::Create(
      L"Test.PlainMethod", [] { return boost::make_shared<TestMethod>(L"Test", L"PlainMethod", L"Plain"); }));
  return 0;
}
const tessera::BuiltInRegistrar kRegistrar(&Proxies);

/// A hook "body" in the model, whose ports the model shows.
void AddBody(tessera::Model& model) {
  const auto body = tessera::OperatorFactory::Create(L"Test", L"Hook");
  body->SetDisplayName(L"body");
  model.AddOperator(body);
  for (const wchar_t* name : {L"In", L"Second", L"Out"}) model.AliasPort(body->GetPort(name), name);
}

void Choose(tessera::Operator& iterator, const wchar_t* method) {
  if (method) iterator.GetPort(L"ExecutionMethod")->SetData(Value(method));
}

}  // namespace

void Hook::DeclarePorts() {
  const auto any = tessera::Data::DefaultTypeName();
  CreatePort(L"In", any, tessera::PortType::Input)->SetIsOptional(true);
  CreatePort(L"Second", any, tessera::PortType::Input)->SetIsOptional(true);
  CreatePort(L"Out", any, tessera::PortType::Output);
}

void Hook::OnExecute() {
  const auto in = GetPort(L"In")->GetData();
  GetPort(L"Out")->SetData(action ? action(*this, in) : in);
}

void TestMethods::Reset() {
  calls.clear();
  results = {};
}

LogLines::LogLines(std::function<void(const std::wstring&)> observer) {
  kerr_SetSessionLogSink([this, observer = std::move(observer)](const std::wstring& line) {
    {
      const std::lock_guard lock(mutex_);
      lines_.push_back(line);
    }
    if (observer) observer(line);
  });
}
LogLines::~LogLines() { kerr_SetSessionLogSink({}); }
std::vector<std::wstring> LogLines::Get() const {
  const std::lock_guard lock(mutex_);
  return lines_;
}

std::wstring Text(const DataPtr& data) {
  if (!data) return L"-";
  const auto list = boost::dynamic_pointer_cast<tessera::DataListData>(data);
  if (!list) return data->ToString();
  if (!list->GetDataPointer()) return L"list without value";
  std::wstring text;
  for (const auto& item : list->GetDataValue()) text += (text.empty() ? L"" : L", ") + Text(item);
  return L"[" + text + L"]";
}

DataPtr Numbers(int count) {
  tessera::DataList items;
  for (int i = 0; i < count; ++i) items.push_back(Value(i));
  return List(std::move(items));
}

DataPtr NumberList(const std::vector<int>& numbers) {
  tessera::DataList items;
  for (const int number : numbers) items.push_back(Value(number));
  return List(std::move(items));
}

Loop::Loop(unsigned threads, int) {
  kerr_SetSessionLogSink({});
  host.GetModel()->GetEnvironment()->SetNumThreads(threads);
  host.Add(L"Iterator", L"each");
}

Loop::Loop(const wchar_t* method, unsigned threads) : Loop(threads, 0) {
  AddBody(*Each());
  Choose(*Each(), method);
}

Loop Loop::Nested(const wchar_t* outer, const wchar_t* inner, unsigned threads) {
  Loop loop(threads, 0);
  const auto op = tessera::OperatorFactory::Create(L"VANTIX", L"Iterator");
  op->SetDisplayName(L"inner");
  AddBody(*boost::dynamic_pointer_cast<tessera::Model>(op));
  Choose(*op, inner);
  loop.Each()->AddOperator(op);
  for (const wchar_t* name : {L"In", L"Second", L"Out"}) loop.Each()->AliasPort(op->GetPort(name), name);
  Choose(*loop.Each(), outer);
  return loop;
}

boost::shared_ptr<tessera::Model> Loop::Each() const {
  return boost::dynamic_pointer_cast<tessera::Model>(host.Op(L"each"));
}

OperatorPtr Loop::Drawn(const std::wstring& displayName) const {
  for (const auto& op : Each()->GetAllOperators(true)) {
    if (op->GetDisplayName() == displayName) return op;
  }
  throw std::invalid_argument("no such operator in the iterator");
}

std::wstring Loop::RunWith(const DataPtr& in) {
  host.Set(L"each.In", in);
  return host.Run() ? Text(host.Existing(L"each.Out")) : L"failed: " + host.Error();
}

DataPtr Loop::Pull(const boost::shared_ptr<tessera::DataRequest>& request, const wchar_t* port) {
  return Each()->GetPort(port)->GetData(request);
}

const std::vector<Driver>& Drivers() {
  static const std::vector<Driver> drivers{{L"InProcessSerial", 2},
                                           {L"InProcessParallel", 0},
                                           {L"InProcessParallel", 1},
                                           {L"InProcessParallel", 2},
                                           {L"InProcessParallel", 8}};
  return drivers;
}

std::string Title(const Driver& driver) {
  const std::wstring method = driver.method;
  return std::string(method.begin(), method.end()) + " with " + std::to_string(driver.threads) + " threads";
}

}  // namespace testing_support
