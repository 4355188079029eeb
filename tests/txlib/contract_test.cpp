#include <gtest/gtest.h>

#include <type_traits>

#include "korvenlog/exception.h"
#include "plugin/pluginmanager.h"
#include "txlib/basicdata.h"
#include "txlib/builtin.h"
#include "txlib/factories.h"

/// Promises of the base classes that no operator or value of the engine shows by itself.
namespace {

using namespace Tamrin::Tessera;

/// A value type of a plug-in that leaves its text to the base, and can break the base's promise.
class PlainData : public ValueTypeDataT<long> {
 public:
  TESSERA_DATA_TYPE(L"PlainForTests")
  void Lose() { value_.reset(); }
};

TEST(Contract, AValueTypeIsNeverNull) {
  PlainData data;
  EXPECT_EQ(data.GetDataValue(), 0);
  EXPECT_EQ(data.ToString(), L"VANTIX.PlainForTests");
  data.AdoptDataPointer(nullptr);
  EXPECT_FALSE(data.HasNoValue());
  data.AssignFrom(boost::make_shared<StringData>());
  EXPECT_FALSE(data.HasNoValue());
  data.Lose();
  EXPECT_EQ(data.ToString(), L"NULL : ");
}

TEST(Contract, AWrapperTellsItsTypeFromEitherSlot) {
  const auto data = boost::make_shared<PlainData>();
  DataT<long>& wrapper = *data;
  const DataT<long>& constant = wrapper;
  EXPECT_EQ(std::wstring(wrapper.GetTypeName()), L"PlainForTests");
  EXPECT_EQ(std::wstring(constant.GetTypeName()), L"PlainForTests");
  EXPECT_EQ(std::wstring(wrapper.GetTypeNamespace()), L"VANTIX");
}

TEST(Contract, ClassesMeantAsBasesAreDestroyedThroughThem) {
  EXPECT_TRUE(std::has_virtual_destructor_v<DataPart>);
  EXPECT_TRUE(std::has_virtual_destructor_v<DataRef>);
  EXPECT_TRUE(std::has_virtual_destructor_v<SchemaBasedDictionary>);
}

TEST(Contract, TheAlternateModeHoldsAsLongAsItsGuard) {
  Model model;
  EXPECT_FALSE(model.IsAlternateMode());
  auto outer = model.SetAlternateMode(L"one");
  auto inner = model.SetAlternateMode(L"two");
  EXPECT_EQ(model.GetAlternateMode(), L"two");
  inner.reset();
  EXPECT_TRUE(model.IsAlternateMode());
  EXPECT_EQ(model.GetAlternateMode(), L"one");
  outer.reset();
  EXPECT_FALSE(model.IsAlternateMode());
  EXPECT_EQ(model.GetAlternateMode(), L"");
}

class Dialog : public UIProvider {
 public:
  const wchar_t* Name() const override { return L"DialogForTests"; }
  using UIProvider::ShowDialog;
  bool ShowDialog(const boost::shared_ptr<Port>& port) override {
    port->SetData(MakeData<StringData>(L"chosen"));
    return true;
  }
  bool ShowDialog(const std::wstring& portName, const boost::shared_ptr<Data>& data, const AttributeMap& attributes,
                  boost::shared_ptr<Data>& out) override {
    out = MakeData<StringData>(portName + data->ToString() + attributes.at(L"k")->ToString());
    return true;
  }
};

class DialogOperator : public Operator {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return L"DialogOperator"; }
  void DeclarePorts() override { CreatePort(L"In", StringData::DefaultTypeName(), PortType::Input); }
};

int DialogProxies(const std::wstring& category,
                  std::vector<boost::shared_ptr<korven::plugin::AvailablePluginProxy>>& proxies) {
  if (category.empty() || category == L"UIProvider")
    proxies.push_back(korven::plugin::AvailablePluginProxy::Create(
        L"DialogForTests",
        []() -> boost::shared_ptr<korven::plugin::IPlugin> { return boost::make_shared<Dialog>(); }));
  return 0;
}

TEST(Contract, EachFormOfADialogReachesItsProvider) {
  EnsureBuiltIns();
  korven::plugin::PluginManager::Instance().AddBuiltIn(L"tests", &DialogProxies);
  const auto op = boost::make_shared<DialogOperator>();
  op->Initialize();
  const auto port = op->GetPort(L"In");
  EXPECT_FALSE(UIProviderFactory::ShowDialog(L"VANTIX", L"DialogForTests", boost::shared_ptr<Operator>(op)))
      << "a form that the provider does not have";
  EXPECT_TRUE(UIProviderFactory::ShowDialog(L"VANTIX", L"DialogForTests", port));
  EXPECT_EQ(port->GetData()->ToString(), L"chosen");
  boost::shared_ptr<Data> out;
  const AttributeMap attributes{{L"k", MakeData<IntData>(7)}};
  EXPECT_TRUE(UIProviderFactory::ShowDialog({L"VANTIX", L"DialogForTests"}, L"In", port->GetData(), attributes, out));
  ASSERT_TRUE(out);
  EXPECT_EQ(out->ToString(), L"Inchosen7");
  EXPECT_FALSE(UIProviderFactory::ShowDialog(L"VANTIX", L"NoSuchDialog", port));
}

}  // namespace
