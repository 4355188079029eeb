#include "jsonlib/preferences.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "kcommon/scratchfolder.h"

namespace {

using namespace korven;
using ::testing::HasSubstr;

class Preferences : public ::testing::Test {
 protected:
  Preferences() { kpmg::ClearAll(); }
  ~Preferences() override {
    kpmg::ClearAll();
    for (const char* name : {"XDG_CONFIG_HOME", "TESSERA_PREFERENCES"}) ::unsetenv(name);
  }
  std::string File(const std::string& name, const std::string& text) const {
    folder_.Make(name, text);
    return (folder_ / name).string();
  }
  static std::wstring Text(const wchar_t* name) {
    kpmg::Value value;
    return kpmg::Get(L"site", name, value) ? value.text : L"none";
  }
  const ScratchFolder folder_;
};

TEST_F(Preferences, EveryTypeComesBack) {
  kpmg::Set(L"site", L"string", {KpmgString, L"gr\u00fcn \"\n"});
  kpmg::Set(L"site", L"whole", {KpmgNumber, {}, 5.0});
  kpmg::Set(L"site", L"number", {KpmgNumber, {}, 0.1});
  kpmg::Set(L"site", L"boolean", {KpmgBoolean, {}, 0, true});
  kpmg::Set(L"other", L"enumeration", {KpmgEnum, L"local"});
  kpmg::Set(L"other", L"color", {KpmgColor, {}, 0, false, {0.1, 0.2, 0.3, 0.4}});
  const std::string text = jsonlib::PreferencesInForce();
  EXPECT_THAT(text, HasSubstr("\"Value\": 5\n"));
  const auto before = kpmg::All();
  kpmg::ClearAll();
  jsonlib::LoadPreferences(File("all.json", text));
  const auto after = kpmg::All();
  ASSERT_EQ(after.size(), before.size());
  for (const auto& [key, value] : before) {
    const kpmg::Value& read = after.at(key);
    EXPECT_EQ(std::tie(read.type, read.text, read.number, read.boolean, read.color),
              std::tie(value.type, value.text, value.number, value.boolean, value.color));
  }
}

TEST_F(Preferences, LaterOnesWin) {
  const auto entry = [](const char* text) { return std::string(R"({"Type": "string", "Value": ")") + text + "\"}"; };
  File("tessera/preferences.json", R"({"site": {"a": )" + entry("user") + R"(, "b": )" + entry("user") + "}}");
  ::setenv("XDG_CONFIG_HOME", folder_.Path().c_str(), 1);
  ::setenv("TESSERA_PREFERENCES", File("run.json", R"({"site": {"b": )" + entry("run") + "}}").c_str(), 1);
  jsonlib::LoadStoredPreferences();
  EXPECT_EQ(Text(L"a") + L" " + Text(L"b"), L"user run");
  // The run that it is of may be over.
  ::setenv("TESSERA_PREFERENCES", "/nowhere/run.json", 1);
  kpmg::ClearAll();
  jsonlib::LoadStoredPreferences();
  EXPECT_EQ(Text(L"b"), L"user");
}

TEST_F(Preferences, WhatIsWrongIsTold) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"{", "line 1, column 2"},
      {"[]", "expected an object of categories"},
      {R"({"site": 1})", "site: expected an object of preferences"},
      {R"({"site": {"a": 1}})", "site.a: expected {\"Type\""},
      {R"({"site": {"a": {"Type": "number", "Value": "1"}}})", "site.a: expected {\"Type\""},
      {R"({"site": {"a": {"Type": "color", "Value": [1, 2]}}})", "site.a: expected {\"Type\""}};
  for (const auto& [text, told] : rows) {
    const std::string file = File("wrong.json", text);
    try {
      jsonlib::LoadPreferences(file);
      ADD_FAILURE() << text;
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), HasSubstr(file + ": "));
      EXPECT_THAT(error.what(), HasSubstr(told));
    }
  }
  EXPECT_THROW(jsonlib::LoadPreferences("/nowhere/file.json"), std::runtime_error);
}

}  // namespace
