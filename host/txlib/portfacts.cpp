#include <algorithm>
#include <mutex>
#include <typeinfo>
#include <unordered_map>
#include <utility>

#include "enginestate.h"

namespace Tamrin::Tessera {

namespace {

bool IsSameValue(const boost::shared_ptr<Data>& a, const boost::shared_ptr<Data>& b) {
  if (a == b) return true;
  return a && b && a->GetDataTypeName() == b->GetDataTypeName() && a->ToString() == b->ToString();
}

template <typename Map>
bool AreSameValues(const Map& a, const Map& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& left, const auto& right) {
    return left.first == right.first && IsSameValue(left.second, right.second);
  });
}

void AddTypes(std::vector<ObjectName>& types, const std::vector<ObjectName>& added) {
  for (const ObjectName& type : added) {
    if (std::find(types.begin(), types.end(), type) == types.end()) types.push_back(type);
  }
}

/// What the objects of a class share: facts of the ports that it declares, in their order, and its own texts.
struct ClassFacts {
  std::vector<SharedFacts> ports;
  boost::shared_ptr<const OperatorState::Identity> identity;
};

/// The facts by class, kept by its type_info. Never destroyed: ports refer to them to the very end.
class FactsOfClasses {
 public:
  static FactsOfClasses& Instance() {
    static FactsOfClasses& facts = *new FactsOfClasses;
    return facts;
  }
  const ClassFacts* Find(const std::type_info& type) {
    const std::lock_guard lock(mutex_);
    const auto found = classes_.find(&type);
    return found == classes_.end() ? nullptr : &found->second;
  }
  /// The first object of a class says what those that follow may share. False where another was the first.
  bool Publish(const std::type_info& type, ClassFacts facts) {
    const std::lock_guard lock(mutex_);
    return classes_.try_emplace(&type, std::move(facts)).second;
  }

 private:
  std::mutex mutex_;
  std::unordered_map<const std::type_info*, ClassFacts> classes_;
};

const ClassFacts* FindClassFacts(const std::type_info& type) {
  static thread_local std::unordered_map<const std::type_info*, const ClassFacts*> known;
  const ClassFacts*& facts = known[&type];
  if (!facts) facts = FactsOfClasses::Instance().Find(type);
  return facts;
}

/// A reference without a count, so that threads that make objects of a class do not meet at it.
template <typename T>
boost::shared_ptr<const T> Uncounted(const T* kept) {
  return boost::shared_ptr<const T>(boost::shared_ptr<void>(), kept);
}

/// Those of the operator that declares its ports on this thread.
thread_local const ClassFacts* declaring = nullptr;

class DeclaringScope {
 public:
  explicit DeclaringScope(const ClassFacts* facts) : outer_(std::exchange(declaring, facts)) {}
  ~DeclaringScope() { declaring = outer_; }
  DeclaringScope(const DeclaringScope&) = delete;
  DeclaringScope& operator=(const DeclaringScope&) = delete;

 private:
  const ClassFacts* outer_;
};

/// Makes copies that are never destroyed, once they are published.
void PublishFacts(const std::type_info& type, const std::vector<boost::shared_ptr<Port>>& ports,
                  const OperatorState::Identity* identity) {
  ClassFacts facts;
  std::vector<std::unique_ptr<const PortFacts>> kept;
  for (const auto& port : ports) {
    kept.push_back(std::make_unique<const PortFacts>(PortState::Of(*port).Facts()));
    facts.ports.push_back(Uncounted(kept.back().get()));
  }
  std::unique_ptr<const OperatorState::Identity> keptIdentity;
  if (identity) {
    keptIdentity = std::make_unique<const OperatorState::Identity>(*identity);
    facts.identity = Uncounted(keptIdentity.get());
  }
  // Not where another thread was quicker.
  if (!FactsOfClasses::Instance().Publish(type, std::move(facts))) return;
  for (auto& each : kept) each.release();
  keptIdentity.release();
}

}  // namespace

bool PortFacts::IsPlain() const {
  return displayName.empty() && types.size() == 1 && extraTypes.empty() && excludedTypes.empty() &&
         attributes.empty() && typeAttributes.empty() && uiProvider == ObjectName() && !defaultData;
}

bool PortFacts::SaysTheSame(const PortFacts& other) const {
  return name == other.name && displayName == other.displayName && types == other.types &&
         extraTypes == other.extraTypes && excludedTypes == other.excludedTypes && uiProvider == other.uiProvider &&
         IsSameValue(defaultData, other.defaultData) && AreSameValues(attributes, other.attributes) &&
         AreSameValues(typeAttributes, other.typeAttributes);
}

void PortFacts::AddFrom(const PortFacts& inner) {
  AddTypes(extraTypes, inner.extraTypes);
  AddTypes(excludedTypes, inner.excludedTypes);
  attributes.insert(inner.attributes.begin(), inner.attributes.end());
  typeAttributes.insert(inner.typeAttributes.begin(), inner.typeAttributes.end());
  if (uiProvider == ObjectName()) uiProvider = inner.uiProvider;
}

void OperatorState::Declare() {
  const std::type_info& type = typeid(*self);
  const ClassFacts* const shared = FindClassFacts(type);
  {
    const DeclaringScope scope(shared);
    if (shared) ports.reserve(shared->ports.size());
    self->DeclarePorts();
  }
  if (!shared) {
    PublishFacts(type, ports, identity.get());
    return;
  }
  if (ownsIdentity && shared->identity && *identity == *shared->identity) {
    identity = shared->identity;
    ownsIdentity = false;
  }
  if (portsByName) return;  // refers to the names where they are
  for (std::size_t i = 0; i < ports.size() && i < shared->ports.size(); ++i) {
    PortState& port = PortState::Of(*ports[i]);
    if (port.HasOwnFacts() && port.Facts().SaysTheSame(*shared->ports[i])) port.TakeFacts(shared->ports[i]);
  }
}

SharedFacts OperatorState::FactsForNextPort(const std::wstring& name, const ObjectName& dataType) const {
  if (!declaring || ports.size() >= declaring->ports.size()) return nullptr;
  const SharedFacts& next = declaring->ports[ports.size()];
  return next->IsPlain() && next->name == name && next->types.front() == dataType ? next : nullptr;
}

}  // namespace Tamrin::Tessera
