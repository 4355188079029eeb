#include <map>
#include <mutex>

#include "enginestate.h"

namespace Tamrin::Tessera {

namespace {

struct Meters {
  std::mutex mutex;
  long last = 0;
  std::map<long, boost::weak_ptr<OperatorPart>> operators;
};

// Never destroyed: operators of static objects may go late.
Meters& TheMeters() {
  static Meters& meters = *new Meters;
  return meters;
}

}  // namespace

long Operator::GetMeterID() const {
  auto& watchers = state_->GetWatchers();
  Meters& meters = TheMeters();
  const std::lock_guard lock(meters.mutex);
  if (watchers.meter == 0) {
    watchers.meter = ++meters.last;
    meters.operators[watchers.meter] = const_cast<Operator*>(this)->weak_from_this();
  }
  return watchers.meter;
}

boost::shared_ptr<Operator> Operator::FindByMeterID(long meter) {
  Meters& meters = TheMeters();
  const std::lock_guard lock(meters.mutex);
  const auto found = meters.operators.find(meter);
  return found == meters.operators.end() ? nullptr : boost::static_pointer_cast<Operator>(found->second.lock());
}

void OperatorState::ForgetMeter(long meter) {
  Meters& meters = TheMeters();
  const std::lock_guard lock(meters.mutex);
  meters.operators.erase(meter);
}

}  // namespace Tamrin::Tessera
