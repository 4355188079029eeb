#include <mutex>
#include <typeinfo>
#include <unordered_map>
#include <utility>

#include "enginestate.h"

namespace Tamrin::Tessera {

namespace {

/// The facts by class, kept by its type_info. Never destroyed: ports refer to them to the very end.
class FactsOfClasses {
 public:
  static FactsOfClasses& Instance() {
    static FactsOfClasses& facts = *new FactsOfClasses;
    return facts;
  }
  const ClassPorts* Find(const std::type_info& type) {
    const std::lock_guard lock(mutex_);
    const auto found = classes_.find(&type);
    return found == classes_.end() ? nullptr : &found->second;
  }
  /// The first object of a class says what those that follow may share.
  const ClassPorts& Publish(const std::type_info& type, ClassPorts ports) {
    const std::lock_guard lock(mutex_);
    return classes_.try_emplace(&type, std::move(ports)).first->second;
  }

 private:
  std::mutex mutex_;
  std::unordered_map<const std::type_info*, ClassPorts> classes_;
};

const ClassPorts* FindClassPorts(const std::type_info& type) {
  static thread_local std::unordered_map<const std::type_info*, const ClassPorts*> known;
  const ClassPorts*& ports = known[&type];
  if (!ports) ports = FactsOfClasses::Instance().Find(type);
  return ports;
}

/// Those of the operator that declares its ports on this thread.
thread_local const ClassPorts* declaring = nullptr;

class DeclaringScope {
 public:
  explicit DeclaringScope(const ClassPorts* ports) : outer_(std::exchange(declaring, ports)) {}
  ~DeclaringScope() { declaring = outer_; }
  DeclaringScope(const DeclaringScope&) = delete;
  DeclaringScope& operator=(const DeclaringScope&) = delete;

 private:
  const ClassPorts* outer_;
};

}  // namespace

void OperatorState::Declare() {
  const std::type_info& type = typeid(*self);
  const ClassPorts* shared = FindClassPorts(type);
  {
    const DeclaringScope scope(shared);
    if (shared) ports.reserve(shared->size());
    self->DeclarePorts();
  }
  if (!shared) {
    ClassPorts facts;
    for (const auto& port : ports) facts.push_back(std::make_unique<PortFacts>(PortState::Of(*port).Facts()));
    shared = &FactsOfClasses::Instance().Publish(type, std::move(facts));
  }
  if (portsByName) return;  // refers to the names where they are
  for (std::size_t i = 0; i < ports.size() && i < shared->size(); ++i)
    PortState::Of(*ports[i]).ShareFacts(*(*shared)[i]);
}

const PortFacts* OperatorState::FactsForNextPort(const std::wstring& name, const ObjectName& dataType) const {
  if (!declaring || ports.size() >= declaring->size()) return nullptr;
  const PortFacts& next = *(*declaring)[ports.size()];
  const bool isAsCreated = next.displayName.empty() && next.types.size() == 1;
  return isAsCreated && next.name == name && next.types.front() == dataType ? &next : nullptr;
}

}  // namespace Tamrin::Tessera
