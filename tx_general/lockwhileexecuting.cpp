#include <cmath>
#include <cstdint>
#include <limits>

#include "kcommon/kerr.h"
#include "kcommon/kpmg.h"
#include "kcommon/kstr.h"
#include "support.h"
#include "txbasiclib/progressrelayinglockfile.h"
#include "txlib/model.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kLockWhileExecuting{
    .name = L"LockWhileExecuting",
    .displayName = L"",
    .category = L"",
    .icon = L"lock2.ico",
    .description = L"Ensures that a dataset cannot be edited while the sub-model is running.",
    .usableInExpression = false,
    .registeredName = L"VANTIX.LockWhileExecuting",
};

namespace {

/// Seconds. A preference that is no number, or of another type, counts as unset.
std::uint32_t DefaultLockTimeout() {
  constexpr double kUnset = 60;
  KerrException error(L"tx_general\\lockwhileexecuting", L"korven::tx_general::LockWhileExecuting::DeclarePorts");
  const double seconds = kpmg_GetNumberPreference(L"filepref", L"lock_file_timeout", kUnset, error);
  if (std::isnan(seconds)) return static_cast<std::uint32_t>(kUnset);
  if (seconds <= 0) return 0;
  constexpr auto kMost = std::numeric_limits<std::uint32_t>::max();
  return seconds >= kMost ? kMost : static_cast<std::uint32_t>(seconds);
}

}  // namespace

class LockWhileExecuting : public Described<kLockWhileExecuting, Model> {
 public:
  void DeclarePorts() override {
    CreateFileInput(*this, L"DatasetReference",
                    {.filter = L"Any File (*.*)", .extension = L"*.*", .kind = L"any", .mustExist = true});
    Hidden(CreatePort(L"Timeout", PortType::Input, MakeData<UnsignedData>(DefaultLockTimeout())));
  }

 protected:
  void OnExecute() override {
    const auto dataset = ReadPort<std::wstring>(*this, L"DatasetReference");
    const auto timeout = ReadPort<std::uint32_t>(*this, L"Timeout");
    ProgressReporting::ProgressRelayingLockFile lock(kstr_PathExpand(dataset), GetMeterID(), timeout);
    lock.Lock();
    Model::OnExecute();
  }
};

TX_GENERAL_FACTORY(LockWhileExecuting)

}  // namespace korven::tx_general
