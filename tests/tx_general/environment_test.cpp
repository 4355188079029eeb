#include <boost/filesystem.hpp>

#include "kcommon/kfnp.h"
#include "kcommon/kpmg.h"
#include "tx_general/rows.h"
#include "txbasiclib/basicvalues.h"

namespace {

using namespace testing_support;
using Tamrin::TesseraBasic::Color;
using Tamrin::TesseraBasic::ColorData;

class GetPreferenceValueTest : public ::testing::Test {
 protected:
  GetPreferenceValueTest() {
    kpmg::Value value;
    value.text = L"text";
    value.number = 2.5;
    value.color = {0.25, 0.5, 0.75, 1.0};
    Set(L"string", KpmgString, value);
    Set(L"number", KpmgNumber, value);
    Set(L"no", KpmgBoolean, value);
    Set(L"color", KpmgColor, value);
    value.text = L"word";
    value.boolean = true;
    Set(L"yes", KpmgBoolean, value);
    Set(L"enum", KpmgEnum, value);
  }
  static void Set(const wchar_t* name, Kpmg_ParameterType type, kpmg::Value value) {
    value.type = type;
    kpmg::Set(L"tx_general_test", name, value);
  }
};

TEST_F(GetPreferenceValueTest, ValueHasTheTypeOfThePreference) {
  const auto row = [](const char* title, const wchar_t* name, const DataPtr& expected) {
    return Row{title,
               L"GetPreferenceValue",
               {{L"Category", Value(L"tx_general_test")}, {L"Name", Value(name)}},
               L"Value",
               expected};
  };
  ExpectRows({
      row("string", L"string", Value(L"text")),
      row("number", L"number", Value(2.5)),
      row("true", L"yes", Value(true)),
      row("false", L"no", Value(false)),
      row("enumeration", L"enum", Value(L"word")),
      row("colour", L"color", Value(Color(0.25, 0.5, 0.75, 1.0))),
  });
}

TEST_F(GetPreferenceValueTest, UnknownPreferenceIsNamedCategoryFirst) {
  ExpectRows({
      {"name",
       L"GetPreferenceValue",
       {{L"Category", Value(L"tx_general_test")}, {L"Name", Value(L"missing")}},
       L"Value",
       nullptr,
       L"Could not determine type of preference \"tx_general_test:missing\""},
      {"category",
       L"GetPreferenceValue",
       {{L"Category", Value(L"nowhere")}, {L"Name", Value(L"string")}},
       L"Value",
       nullptr,
       L"Could not determine type of preference \"nowhere:string\""},
      {"no category",
       L"GetPreferenceValue",
       {{L"Name", Value(L"string")}},
       L"Value",
       nullptr,
       L"Data not found on port(Category)."},
      {"no name",
       L"GetPreferenceValue",
       {{L"Category", Value(L"c")}},
       L"Value",
       nullptr,
       L"Data not found on port(Name)."},
  });
}

TEST(CreateTempFilename, NamesDifferAndEndInTheExtensionAsGiven) {
  ModelHost host;
  host.Add(L"CreateTempFilename", L"a");
  host.Add(L"CreateTempFilename", L"b");
  host.Set(L"a.Extension", L".txt").Set(L"b.Extension", L"txt");
  ASSERT_TRUE(host.Run());
  const auto first = host.Get<std::wstring>(L"a.Filename");
  const auto second = host.Get<std::wstring>(L"b.Filename");
  EXPECT_EQ(host.Existing(L"a.Filename")->GetDataTypeName().ToString(), L"VANTIX.File");
  EXPECT_NE(first, second);
  EXPECT_TRUE(first.ends_with(L".txt"));
  EXPECT_TRUE(second.ends_with(L"txt"));
  EXPECT_FALSE(second.ends_with(L".txt"));
  EXPECT_FALSE(boost::filesystem::exists(kfnp_ToNative(first)));
}

TEST(CreateTempFilename, FileGoesWithTheModel) {
  std::string name;
  {
    ModelHost host;
    host.Add(L"CreateTempFilename", L"a");
    ASSERT_TRUE(host.Run());
    name = kfnp_ToNative(host.Get<std::wstring>(L"a.Filename"));
    boost::filesystem::create_directories(boost::filesystem::path(name).parent_path());
    boost::filesystem::create_directory(name);
    EXPECT_TRUE(boost::filesystem::exists(name));
  }
  EXPECT_FALSE(boost::filesystem::exists(name));
}

TEST(CreateTempFilename, WithoutAModelThereIsNoName) {
  ModelHost host;
  const auto op = host.Add(L"CreateTempFilename", L"a");
  host.GetModel()->RemoveOperator(op);
  op->Execute();
  EXPECT_EQ(op->GetPort(L"Filename")->GetExistingData(), nullptr);
  EXPECT_TRUE(op->GetMessages().empty());
}

}  // namespace
