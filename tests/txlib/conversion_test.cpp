#include "txlib/conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "korvenlog/exception.h"
#include "plugin/pluginmanager.h"
#include "plugin/plugintypeinfo.h"
#include "txlib/basicdata.h"
#include "txlib/builtin.h"

using namespace Tamrin::Tessera;
using korven::plugin::AvailablePluginProxy;
using korven::plugin::IPlugin;
using korven::plugin::PluginManager;

namespace {

using DataPtr = boost::shared_ptr<Data>;
using Proxies = std::vector<boost::shared_ptr<AvailablePluginProxy>>;

/// A value type of a plug-in.
class ProbeData : public ValueTypeDataT<int> {
 public:
  using ValueTypeDataT<int>::ValueTypeDataT;
  static ObjectName DefaultTypeName() { return {L"PROBE", L"Probe"}; }
  const wchar_t* GetTypeNamespace() const override { return L"PROBE"; }
  const wchar_t* GetTypeName() const override { return L"Probe"; }
};

std::atomic<int> conversionsMade{0};

class ProbeConversion : public Conversion {
 public:
  ProbeConversion(const wchar_t* fromNamespace, const wchar_t* from, const wchar_t* to, int result)
      : fromNamespace_(fromNamespace), from_(from), to_(to), result_(result) {
    ++conversionsMade;
  }
  const wchar_t* Name() const override { return L"ProbeConversion"; }
  const wchar_t* FromType() const override { return from_; }
  const wchar_t* FromNamespace() const override { return fromNamespace_; }
  const wchar_t* ToType() const override { return to_; }
  const wchar_t* ToNamespace() const override { return L"PROBE"; }
  DataPtr Convert(DataPtr) const override { return result_ < 0 ? DataPtr() : DataPtr(MakeData<ProbeData>(result_)); }

 private:
  const wchar_t* fromNamespace_;
  const wchar_t* from_;
  const wchar_t* to_;
  int result_;
};

void Offer(Proxies& proxies, const wchar_t* name, ProbeConversion* (*make)()) {
  proxies.push_back(AvailablePluginProxy::Create(name, [make] { return boost::shared_ptr<IPlugin>(make()); }));
}

int ProbeProxies(const std::wstring& category, Proxies& proxies) {
  if (category == L"Data") {
    proxies.push_back(AvailablePluginProxy::Create(
        L"PROBE.Probe", []() -> boost::shared_ptr<IPlugin> { return boost::make_shared<ProbeData>(); }));
  } else if (category == L"Conversion") {
    // Under any form of name.
    Offer(proxies, L"ProbeFromInt", [] { return new ProbeConversion(L"VANTIX", L"Int", L"Probe", 1); });
    Offer(proxies, L"VANTIX.Bool|PROBE.Probe", [] { return new ProbeConversion(L"VANTIX", L"Bool", L"Probe", -1); });
    Offer(proxies, L"ProbeFromAny", [] { return new ProbeConversion(L"*", L"*", L"Probe", 3); });
    Offer(proxies, L"ProbeThatFails", []() -> ProbeConversion* { throw std::runtime_error("broken"); });
    Offer(proxies, L"ProbeFromIntAgain", [] { return new ProbeConversion(L"VANTIX", L"Int", L"Probe", 9); });
  }
  return 0;
}

int LateProxies(const std::wstring& category, Proxies& proxies) {
  if (category == L"Conversion")
    Offer(proxies, L"LateProbe", [] { return new ProbeConversion(L"VANTIX", L"Int", L"Late", 4); });
  return 0;
}

void AddProbes() {
  static const bool added = (PluginManager::Instance().AddBuiltIn(L"probes", &ProbeProxies), true);
  EXPECT_TRUE(added);
}

const ObjectName kProbe(L"PROBE", L"Probe");

TEST(ConversionTest, ExactSourceComesBeforeAny) {
  AddProbes();
  const DataPtr exact = MakeData<IntData>(5)->ConvertTo(kProbe);
  ASSERT_TRUE(exact);
  EXPECT_EQ(static_cast<ProbeData&>(*exact).GetDataValue(), 1);
  const DataPtr any = MakeData<StringData>(L"x")->ConvertTo(kProbe);
  ASSERT_TRUE(any);
  EXPECT_EQ(static_cast<ProbeData&>(*any).GetDataValue(), 3);
}

TEST(ConversionTest, NullResultsPass) {
  AddProbes();
  EXPECT_TRUE(ConversionFactory::ConversionExists(L"VANTIX", L"Bool", L"PROBE", L"Probe"));
  EXPECT_FALSE(MakeData<BoolData>(true)->ConvertTo(kProbe));
}

TEST(ConversionTest, UnknownTypesHaveNone) {
  EXPECT_FALSE(ConversionFactory::Create(L"VANTIX", L"Int", L"PROBE", L"Unknown"));
  EXPECT_FALSE(ConversionFactory::ConversionExists(L"VANTIX", L"int", L"VANTIX", L"Nothing"));
  EXPECT_FALSE(MakeData<IntData>(5)->ConvertTo({L"", L""}));
}

TEST(ConversionTest, TextsDoNotTurnIntoNumbers) {
  for (const wchar_t* target : {L"Bool", L"Int", L"Unsigned", L"Double", L"Scalar"})
    EXPECT_FALSE(ConversionFactory::ConversionExists(L"VANTIX", L"String", L"VANTIX", target));
}

TEST(ConversionTest, InstancesAreShared) {
  AddProbes();
  const auto first = ConversionFactory::Create(L"VANTIX", L"Int", L"PROBE", L"Probe");
  const int made = conversionsMade;
  EXPECT_EQ(ConversionFactory::Create(L"VANTIX", L"Int", L"PROBE", L"Probe"), first);
  EXPECT_FALSE(ConversionFactory::Create(L"VANTIX", L"Int", L"PROBE", L"Unknown"));
  EXPECT_EQ(conversionsMade, made);
}

TEST(ConversionTest, LateConversionsAreFound) {
  EXPECT_FALSE(ConversionFactory::ConversionExists(L"VANTIX", L"Int", L"PROBE", L"Late"));
  PluginManager::Instance().AddBuiltIn(L"late", &LateProxies);
  EXPECT_TRUE(ConversionFactory::ConversionExists(L"VANTIX", L"Int", L"PROBE", L"Late"));
}

TEST(ConversionTest, AnyThreadMayAsk) {
  AddProbes();
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&failures] {
      for (int round = 0; round < 2000; ++round) {
        const auto probe = boost::dynamic_pointer_cast<ProbeData>(MakeData<IntData>(round)->ConvertTo(kProbe));
        if (!probe || probe->GetDataValue() != 1) ++failures;
        if (!DataFactory::Create({L"VANTIX", L"Double"}) || !DataFactory::Create(kProbe)) ++failures;
        if (round % 100 == 0 && ConversionFactory::ConversionExists(L"A", L"B", L"C", L"D")) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
}

TEST(ConversionTest, TellsItsTypes) {
  const ProbeConversion conversion(L"VANTIX", L"Int", L"Probe", 1);
  EXPECT_EQ(conversion.Description(), L"VANTIX.Int to PROBE.Probe");
  EXPECT_EQ(conversion.TypeInfo().at(L"Conversion")->GetProperty(L"ToType"), L"Probe");
}

TEST(DataFactoryTest, MakesEveryOwnType) {
  EnsureBuiltIns();
  for (const wchar_t* name : {L"Bool", L"Int", L"Unsigned", L"Double", L"String", L"File", L"Directory", L"StringList",
                              L"List", L"Dictionary"}) {
    const ObjectName type(L"VANTIX", name);
    EXPECT_TRUE(DataFactory::Contains(L"VANTIX", name));
    const DataPtr data = DataFactory::Create(type);
    ASSERT_TRUE(data);
    EXPECT_EQ(data->GetDataTypeName(), type);
    EXPECT_STREQ(data->Name(), name);
    EXPECT_EQ(data->SharedThis(), data);
    EXPECT_EQ(data->TypeInfo().at(L"Data")->GetProperty(L"ObjectName"), name);
    EXPECT_TRUE(PluginManager::Instance().Find(L"Data", name));
  }
}

TEST(DataFactoryTest, UnknownNamesGiveNull) {
  for (const ObjectName& name : {ObjectName(L"VANTIX", L"int"), ObjectName(L"", L"Int"), ObjectName(L"OTHER", L"Int"),
                                 ObjectName(L"VANTIX", L""), ObjectName(L"VANTIX", L"Nothing")}) {
    EXPECT_FALSE(DataFactory::Create(name));
    EXPECT_FALSE(DataFactory::Contains(name.Namespace, name.Name));
  }
}

TEST(DataFactoryTest, FindsTypesOfPlugins) {
  AddProbes();
  EXPECT_TRUE(DataFactory::Contains(L"PROBE", L"Probe"));
  EXPECT_EQ(DataFactory::Create(kProbe)->GetDataTypeName(), kProbe);
}

TEST(DataFactoryTest, OwnNamesComeFirstAndOnce) {
  AddProbes();
  const auto names = DataFactory::GetNames();
  ASSERT_GT(names.size(), 10U);
  EXPECT_EQ(names[0].ToString(), L"VANTIX.Bool");
  EXPECT_EQ(names[9].ToString(), L"VANTIX.Dictionary");
  EXPECT_NE(std::find(names.begin(), names.end(), kProbe), names.end());
  EXPECT_EQ(std::set<ObjectName>(names.begin(), names.end()).size(), names.size());
}

TEST(DataTest, BaseDefaults) {
  const auto data = boost::make_shared<Data>();
  EXPECT_EQ(data->GetDataTypeName().ToString(), L"VANTIX.Data");
  EXPECT_TRUE(data->HasNoValue());
  EXPECT_EQ(data->ToString(), L"");
  EXPECT_FALSE(data->FromString(L"x"));
  EXPECT_EQ(data->GetHelpLink(), L"");
  EXPECT_LT(data->Count(), 1);
  EXPECT_TRUE(data->Clone());
}

TEST(DataTest, AsIntRaisesWhereThereIsNoConversion) {
  EXPECT_EQ(MakeData<IntData>(-5)->AsInt(), -5);
  try {
    MakeData<StringData>(L"5")->AsInt();
    FAIL();
  } catch (const KorvenLog::Exception& exception) {
    EXPECT_EQ(exception.get_What(), L"Invalid conversion.");
  }
}

}  // namespace
