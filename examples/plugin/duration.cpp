#include <boost/make_shared.hpp>
#include <cmath>
#include <cwchar>

#include "plugin/availablepluginproxy.h"
#include "txlib/basicdata.h"
#include "txlib/conversion.h"
#include "txlib/jsonfault.h"
#include "txlib/jsonvalue.h"

namespace {

using namespace Tamrin::Tessera;

/// A span of time in whole seconds, at least 0, with the text form "1:30:05".
struct Duration {
  std::int64_t seconds = 0;
};

constexpr double kMostSeconds = 1e15;

class DurationData : public ValueTypeDataT<Duration> {
 public:
  using ValueTypeDataT<Duration>::ValueTypeDataT;
  using DataPart::ToString;

  static ObjectName DefaultTypeName() { return {L"Example", L"Duration"}; }
  const wchar_t* GetTypeNamespace() const override { return L"Example"; }
  const wchar_t* GetTypeName() const override { return L"Duration"; }

  boost::shared_ptr<Data> Clone() const override { return MakeData<DurationData>(GetDataValue()); }
  bool operator<(const boost::shared_ptr<Data>& other) const override {
    const auto* duration = dynamic_cast<const DurationData*>(other.get());
    return duration && GetDataValue().seconds < duration->GetDataValue().seconds;
  }
  bool operator>(const boost::shared_ptr<Data>& other) const override {
    const auto* duration = dynamic_cast<const DurationData*>(other.get());
    return duration && GetDataValue().seconds > duration->GetDataValue().seconds;
  }
  std::uint64_t SizeInBytes() const override { return sizeof(Duration); }

  std::wstring ToString() const override {
    const std::int64_t seconds = GetDataValue().seconds;
    wchar_t text[40];
    std::swprintf(text, std::size(text), L"%lld:%02d:%02d", static_cast<long long>(seconds / 3600),
                  static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60));
    return text;
  }
  bool FromString(const std::wstring& text) override {
    unsigned hours = 0, minutes = 0, seconds = 0;
    int end = 0;
    if (std::swscanf(text.c_str(), L"%6u:%2u:%2u%n", &hours, &minutes, &seconds, &end) != 3) return false;
    if (static_cast<std::size_t>(end) != text.size() || minutes > 59 || seconds > 59) return false;
    SetDataPointer(boost::make_shared<Duration>(Duration{(hours * 60LL + minutes) * 60 + seconds}));
    return true;
  }

  // In documents: a number of seconds.
  bool ToJSON(JsonValue& json) const override {
    json = JsonValue(static_cast<double>(GetDataValue().seconds));
    return true;
  }
  bool FromJSON(const JsonValue& json) override {
    if (!json.IsNumber() || !(json.AsDouble() >= 0 && json.AsDouble() <= kMostSeconds))
      return RefuseJson(json, L"a number of seconds");
    SetDataPointer(boost::make_shared<Duration>(Duration{std::llround(json.AsDouble())}));
    return true;
  }
};

/// Seconds to a duration; there is none for negative numbers and those that are none.
class DoubleToDuration : public Conversion {
 public:
  const wchar_t* Name() const override { return L"Example.DoubleToDuration"; }
  const wchar_t* FromNamespace() const override { return L"VANTIX"; }
  const wchar_t* FromType() const override { return L"Double"; }
  const wchar_t* ToNamespace() const override { return L"Example"; }
  const wchar_t* ToType() const override { return L"Duration"; }
  boost::shared_ptr<Data> Convert(boost::shared_ptr<Data> source) const override {
    const double seconds = source->GetDataValue<double>();
    if (!(seconds >= 0 && seconds <= kMostSeconds)) return nullptr;
    return MakeData<DurationData>(Duration{std::llround(seconds)});
  }
};

class DurationToDouble : public Conversion {
 public:
  const wchar_t* Name() const override { return L"Example.DurationToDouble"; }
  const wchar_t* FromNamespace() const override { return L"Example"; }
  const wchar_t* FromType() const override { return L"Duration"; }
  const wchar_t* ToNamespace() const override { return L"VANTIX"; }
  const wchar_t* ToType() const override { return L"Double"; }
  boost::shared_ptr<Data> Convert(boost::shared_ptr<Data> source) const override {
    return MakeData<DoubleData>(static_cast<double>(dynamic_cast<DurationData&>(*source).GetDataValue().seconds));
  }
};

}  // namespace

using korven::plugin::AvailablePluginProxy;

extern "C" __attribute__((visibility("default"))) int GetAvailablePluginProxiesOfType(
    const std::wstring& category, std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  if (category.empty() || category == L"Data") {
    proxies.push_back(AvailablePluginProxy::Create(L"Example.Duration", [] { return MakeData<DurationData>({}); }));
  }
  if (category.empty() || category == L"Conversion") {
    proxies.push_back(AvailablePluginProxy::Create(L"Example.DoubleToDuration",
                                                   [] { return boost::make_shared<DoubleToDuration>(); }));
    proxies.push_back(AvailablePluginProxy::Create(L"Example.DurationToDouble",
                                                   [] { return boost::make_shared<DurationToDouble>(); }));
  }
  return 0;
}
