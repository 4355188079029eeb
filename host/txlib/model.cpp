#include "txlib/model.h"

#include <algorithm>
#include <stdexcept>

#include "enginestate.h"
#include "executionwatch.h"
#include "korvenlog/exception.h"
#include "nesting.h"

namespace Tamrin::Tessera {

Model::Model() : modelState_(std::make_unique<ModelState>()) {}

Model::~Model() {
  for (const auto& op : modelState_->operators) OperatorState::Of(*op).process = nullptr;
}

std::wstring Model::ToString() const {
  return Operator::ToString() + L" of " + std::to_wstring(modelState_->operators.size()) + L" operators";
}

void Model::Clear() {
  while (!modelState_->operators.empty()) RemoveOperator(modelState_->operators.back());
  modelState_->tails.clear();
}

void Model::ClearMessageQueue() {
  Operator::ClearMessageQueue();
  for (const auto& op : modelState_->operators) op->ClearMessageQueue();
}

void Model::Configure() {
  for (const auto& op : modelState_->operators) op->Configure();
}

void Model::PrepareForSerialization() {
  for (const auto& op : modelState_->operators) op->PrepareForSerialization();
}

void Model::SetReportProgress(const bool& report) {
  Operator::SetReportProgress(report);
  for (const auto& op : modelState_->operators) op->SetReportProgress(report);
}

void Model::SetOperatorProgress(const boost::shared_ptr<Operator>& op, const double& percent) {
  const OperatorState& state = OperatorState::Of(*this);
  if (!state.reportsProgress) return;
  const boost::shared_ptr<Operator> told = AllowsReflection() ? op : SharedThis();
  if (auto* const watchers = state.watchers.load()) watchers->progress.Call(watchers->mutex, told, percent);
  if (state.process) state.process->SetOperatorProgress(told, percent);
}

bool Model::AllowsReflection() const { return modelState_->allowsReflection; }

const Operator& Model::GetVisible(const Operator& op) {
  const Operator* visible = &op;
  for (const Operator* each = &op; each;) {
    if (!each->AllowsReflection()) visible = each;
    const auto* const model = dynamic_cast<const Model*>(each);
    // The operator that a copy was made by holds what the copy is of, and outlives it.
    const auto origin = model ? model->modelState_->origin.lock() : nullptr;
    each = origin ? origin.get() : OperatorState::Of(*each).process;
  }
  return *visible;
}

namespace {

bool FeedsInside(const Operator& op, const Model& model) {
  for (const auto& port : op.GetPorts()) {
    const PortState& output = PortState::Of(*port);
    if (output.type != PortType::Output) continue;
    for (const auto& connection : output.outgoing) {
      const PortState* const reader = connection.destination;
      if (reader && reader->owner && OperatorState::Of(*reader->owner).process == &model) return true;
    }
  }
  return false;
}

}  // namespace

void Model::OnExecute() {
  if (!modelState_->tails.empty()) {
    const auto tails = modelState_->tails;
    for (const auto& tail : tails) tail->Execute();
    return;
  }
  // An operator that edits its model while it runs must not end what is being walked.
  std::vector<boost::shared_ptr<Operator>> ends;
  for (Operator* const end : modelState_->GetEnds(*this)) ends.push_back(end->SharedThis());
  for (const auto& end : ends) end->Execute();
}

ModelState::Extras& ModelState::OwnExtras() {
  if (!extras_) extras_ = std::make_unique<Extras>();
  return *extras_;
}

const ModelState::Extras& ModelState::GetExtras() const {
  static const Extras none;
  return extras_ ? *extras_ : none;
}

const std::vector<Operator*>& ModelState::GetEnds(const Model& model) {
  if (!ends) {
    ends.emplace();
    for (const auto& op : operators) {
      if (!FeedsInside(*op, model)) ends->push_back(op.get());
    }
  }
  return *ends;
}

void ModelState::ForgetEndsAround(const PortState& source) {
  const Model* const model = source.owner ? OperatorState::Of(*source.owner).process : nullptr;
  if (model) Of(*model).ends.reset();
}

unsigned ModelState::CountLevels(Model& model) {
  unsigned inside = 0;
  for (const auto& op : model.modelState_->operators) {
    if (auto* const inner = dynamic_cast<Model*>(op.get())) inside = std::max(inside, CountLevels(*inner));
  }
  return model.modelState_->levels = inside + 1;
}

void Model::AddOperator(const boost::shared_ptr<Operator>& op) {
  if (!op) throw std::invalid_argument("A model can't hold a null operator.");
  unsigned levelsAround = 0;
  for (const Operator* around = this; around; around = OperatorState::Of(*around).process) {
    if (around == op.get()) {
      throw std::invalid_argument(
          KorvenLog::Narrow(L"The model " + op->GetDisplayName() + L" can't be a part of itself."));
    }
    ++levelsAround;
  }
  if (auto* const model = dynamic_cast<Model*>(op.get())) {
    if (levelsAround + model->modelState_->levels > kMaxModelNesting + 1 &&
        levelsAround + ModelState::CountLevels(*model) > kMaxModelNesting + 1) {
      throw std::invalid_argument(KorvenLog::Narrow(L"The model " + op->GetDisplayName() + L" can't be a part of " +
                                                    GetDisplayName() + L": models would be nested more than " +
                                                    std::to_wstring(kMaxModelNesting) + L" levels deep."));
    }
    unsigned levels = model->modelState_->levels;
    for (Model* around = this; around; around = OperatorState::Of(*around).process) {
      if (around->modelState_->levels > levels) break;
      around->modelState_->levels = ++levels;
    }
  }
  Model*& process = OperatorState::Of(*op).process;
  if (process == this) return;
  if (process) process->RemoveOperator(op);
  process = this;
  modelState_->operators.push_back(op);
  modelState_->ends.reset();
}

void Model::RemoveOperator(const boost::shared_ptr<Operator>& op) {
  auto& operators = modelState_->operators;
  const auto found = std::find(operators.rbegin(), operators.rend(), op);
  if (found == operators.rend()) return;
  const boost::shared_ptr<Operator> removed = *found;
  operators.erase(std::next(found).base());
  modelState_->ends.reset();
  RemoveTail(removed);
  for (const auto& port : removed->GetPorts()) {
    PortState* const outer = PortState::Of(*port).parentPort;
    PortState::Of(*port).Detach();
    if (outer && outer->Inner().empty()) RemovePort(outer->shared_from_this());
  }
  OperatorState::Of(*removed).process = nullptr;
}

void Model::AddTail(const boost::shared_ptr<Operator>& op) {
  auto& tails = modelState_->tails;
  // One that stands in no model is this model's from here on: its messages and its environment are.
  if (op && !OperatorState::Of(*op).process) AddOperator(op);
  if (op && std::find(tails.begin(), tails.end(), op) == tails.end()) tails.push_back(op);
}
void Model::AddTails(const std::vector<boost::shared_ptr<Operator>>& operators) {
  for (const auto& op : operators) AddTail(op);
}
void Model::RemoveTail(const boost::shared_ptr<Operator>& op) { std::erase(modelState_->tails, op); }

const std::vector<boost::shared_ptr<Operator>>& Model::GetOperators() const { return modelState_->operators; }
std::vector<boost::shared_ptr<Operator>> Model::GetTails() const { return modelState_->tails; }

std::vector<boost::shared_ptr<Operator>> Model::GetAllOperators(bool nested) const {
  std::vector<boost::shared_ptr<Operator>> all;
  for (const auto& op : modelState_->operators) {
    all.push_back(op);
    const auto* const inner = nested ? dynamic_cast<const Model*>(op.get()) : nullptr;
    if (!inner) continue;
    const auto operators = inner->GetAllOperators(true);
    all.insert(all.end(), operators.begin(), operators.end());
  }
  return all;
}

boost::shared_ptr<Port> Model::AliasPort(const boost::shared_ptr<Port>& inner, const std::wstring& name) {
  return ModelState::AliasPort(*this, inner, name, nullptr);
}

boost::shared_ptr<Port> ModelState::AliasPort(Model& model, const boost::shared_ptr<Port>& inner,
                                              const std::wstring& name, SharedFacts facts) {
  if (!inner) throw std::invalid_argument(KorvenLog::Narrow(L"There is no inner port for the port " + name + L"."));
  PortState& innerState = PortState::Of(*inner);
  boost::shared_ptr<Port> outer = model.GetPort(name);
  if (!outer) {
    const auto& types = inner->GetSupportedDataTypes();
    const bool isKnown = facts != nullptr;
    outer = OperatorState::Of(model).CreatePort(name, types.empty() ? Data::DefaultTypeName() : types.front(),
                                                inner->GetPortType(), -1, std::move(facts));
    PortState& state = PortState::Of(*outer);
    if (!isKnown) {
      outer->SetSupportedTypes(types);
      state.OwnFacts().AddFrom(innerState.Facts());
    }
    state.optional = innerState.optional;
    state.hidden = innerState.hidden;
  }
  PortState& outerState = PortState::Of(*outer);
  if (innerState.parentPort == &outerState) return outer;
  // First what may fail: a port that led to one which doesn't know of it would do so beyond its end.
  outerState.AddInner(innerState);
  if (innerState.parentPort) innerState.parentPort->RemoveInner(innerState);
  innerState.parentPort = &outerState;
  return outer;
}

boost::shared_ptr<Model> Model::DeriveNewContainer() {
  const auto container = boost::make_shared<Model>();
  container->Initialize();
  container->SetEnvironment(GetEnvironment());
  if (Operator* const maker = StepWatch::Current()) container->modelState_->origin = maker->SharedThis();
  return container;
}

void Model::SetEnvironment(const boost::shared_ptr<ExecutionEnvironment>& environment) {
  modelState_->SetEnvironment(environment ? environment : ExecutionEnvironment::Create());
}

namespace {
std::mutex environmentMutex;
}  // namespace

const boost::shared_ptr<ExecutionEnvironment>& ModelState::GetEnvironment() {
  if (!hasEnvironment_.load(std::memory_order_acquire)) {
    const std::lock_guard lock(environmentMutex);
    if (!environment_) environment_ = ExecutionEnvironment::Create();
    hasEnvironment_.store(true, std::memory_order_release);
  }
  return environment_;
}

void ModelState::SetEnvironment(const boost::shared_ptr<ExecutionEnvironment>& environment) {
  const std::lock_guard lock(environmentMutex);
  environment_ = environment;
  hasEnvironment_.store(true, std::memory_order_release);
}

void Model::SetDocumentFolder(const std::wstring& folder) {
  modelState_->documentFolder = boost::make_shared<const std::wstring>(folder);
}
unsigned Model::GetNumThreads() const { return GetEnvironment()->GetNumThreads(); }

void Model::SetIsOpenable(bool openable) { modelState_->openable = openable; }
bool Model::IsOpenable() const { return modelState_->openable; }
void Model::SetAllowsReflection(bool allows) { modelState_->allowsReflection = allows; }
void Model::SetProcessName(const std::wstring& name) { modelState_->OwnExtras().processName = name; }
void Model::SetProcessNamespace(const std::wstring& nameSpace) {
  modelState_->OwnExtras().processNamespace = nameSpace;
}
std::wstring Model::GetProcessName() const { return modelState_->GetExtras().processName; }
std::wstring Model::GetProcessNamespace() const { return modelState_->GetExtras().processNamespace; }
boost::shared_ptr<void> Model::SetAlternateMode(const std::wstring& code) {
  auto& modes = modelState_->OwnExtras().alternateModes;
  std::erase_if(modes, [](const auto& mode) { return mode.expired(); });
  const auto guard = boost::make_shared<std::wstring>(code);
  modes.push_back(guard);
  return guard;
}
bool Model::IsAlternateMode() const {
  const auto& modes = modelState_->GetExtras().alternateModes;
  return std::any_of(modes.begin(), modes.end(), [](const auto& mode) { return !mode.expired(); });
}
std::wstring Model::GetAlternateMode() const {
  const auto& modes = modelState_->GetExtras().alternateModes;
  for (auto mode = modes.rbegin(); mode != modes.rend(); ++mode) {
    if (const auto code = mode->lock()) return *code;
  }
  return {};
}

}  // namespace Tamrin::Tessera
