#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "korvenlog/log.h"
#include "support.h"
#include "txbasiclib/ifprocess.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kIfElse{
    .name = L"IfElse",
    .displayName = L"If Else",
    .category = L"Flow Control",
    .icon = L"Conditional.ico",
    .description =
        L"The If Else operator executes operators, or chains, based on the input test's results. If the "
        L"input test, set on the Test port, is true, then the operator(s) linked to the True port runs. If "
        L"false, the operator(s) on the False port runs. The result is set on the Output port.",
    .keywords = L"Test|Conditional",
    .usableInExpression = false,
};

struct ifElseData {
  bool testResult = false;
  std::int32_t expansionCount = 0;
};

class IfElse : public Described<kIfElse> {
 public:
  void DeclarePorts() override {
    SetExpandible(true);
    Optional(CreatePort(L"Test", BoolData::DefaultTypeName(), PortType::Input))
        ->AddSupportedType(Data::DefaultTypeName());
    AddExpansionPorts();
  }

  void AddExpansionPorts() override {
    const int truePosition = PositionBehindLast(L"True");
    int falsePosition = PositionBehindLast(L"False");
    // The new True port shifts those behind it.
    if (falsePosition > 0) ++falsePosition;
    const auto number = std::to_wstring(++data_->expansionCount);
    Optional(CreatePort(L"True" + number, Data::DefaultTypeName(), PortType::Input, truePosition));
    Optional(CreatePort(L"False" + number, Data::DefaultTypeName(), PortType::Input, falsePosition));
    Optional(CreatePort(L"Output" + number, Data::DefaultTypeName(), PortType::Output));
  }

  void RemoveExpansionPorts() override {
    if (data_->expansionCount < 2) return;
    const auto number = std::to_wstring(data_->expansionCount);
    for (const wchar_t* prefix : {L"True", L"False", L"Output"}) RemovePort(prefix + number);
    --data_->expansionCount;
  }

 protected:
  // Only the chosen branch may run, so the parents are run one by one.
  void ExecuteParents() override {
    for (const auto& parent : GetParentsWithoutConnection()) parent->Execute();
    data_->testResult = Tamrin::TesseraBasic::IsTestTrue(RequirePort(*this, L"Test"));
    LogBranch();
    for (const auto& port : Branch()) ExecuteSource(port);
  }

  void OnExecute() override {
    ForEachPair([](const PortPtr& branch, const PortPtr& output) { output->SetData(branch->GetData()); });
  }

  using Operator::Apply;
  void Apply(const PortPtr& port, const RequestPtr& request) override {
    ForEachPair([&](const PortPtr& branch, const PortPtr& output) {
      if (output == port) output->SetData(branch->GetData(request), request);
    });
  }

 private:
  /// Directly behind the newest port of a group; -1, which appends, while there is none.
  int PositionBehindLast(const std::wstring& prefix) const {
    if (data_->expansionCount < 1) return -1;
    const auto& ports = GetPorts();
    const auto last = std::find(ports.begin(), ports.end(), GetPort(prefix + std::to_wstring(data_->expansionCount)));
    return last == ports.end() ? -1 : static_cast<int>(last - ports.begin()) + 1;
  }

  std::vector<PortPtr> Group(const std::wstring& prefix) const {
    std::vector<PortPtr> group;
    for (const auto& port : GetPorts()) {
      if (port->GetName().starts_with(prefix)) group.push_back(port);
    }
    return group;
  }

  std::vector<PortPtr> Branch() const { return Group(data_->testResult ? L"True" : L"False"); }

  template <typename Action>
  void ForEachPair(const Action& action) const {
    const auto branch = Branch();
    const auto outputs = Group(L"Output");
    const auto count = std::min(branch.size(), outputs.size());
    for (std::size_t index = 0; index < count; ++index) action(branch[index], outputs[index]);
  }

  void ExecuteSource(const PortPtr& port) const {
    std::vector<boost::shared_ptr<PortConnection>> incoming, outgoing;
    const auto source = GetConnectedPorts(port, incoming, outgoing);
    if (!source || source->AliasesInnerPort(port)) return;
    if (const auto op = source->TryGetOperator()) op->Execute();
  }

  void LogBranch() const {
    static const KorvenLog::Log log(L"tessera.plugins.general.IfElse");
    if (!log.IsEnabled(KorvenLog::Level::Debug)) return;
    log.LogDebug(GetDisplayName() + (data_->testResult ? L" executing TRUE branch." : L" executing FALSE branch."));
  }

  const boost::shared_ptr<ifElseData> data_ = boost::make_shared<ifElseData>();
};

TX_GENERAL_FACTORY(IfElse)

}  // namespace korven::tx_general
