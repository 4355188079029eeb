#include "txbasiclib/datapath.h"

#include "txbasiclib/requests.h"
#include "values.h"

using namespace basictest;

namespace {

DataPtr Text(const wchar_t* text) { return tx::MakeData<tx::StringData>(std::wstring(text)); }

/// {scene: {bands: [null, {name: "red"}], "a/b": "slash", "c\d": "back", "[0]": "bracket", "e]": "close", none: null}}
DataPtr Nested() {
  tx::Dictionary band, scene, root;
  band.SetItem(L"name", Text(L"red"));
  scene.SetItem(L"bands",
                tx::MakeData<tx::DataListData>(tx::DataList{nullptr, tx::MakeData<tx::DictionaryData>(band)}));
  scene.SetItem(L"a/b", Text(L"slash"));
  scene.SetItem(L"c\\d", Text(L"back"));
  scene.SetItem(L"[0]", Text(L"bracket"));
  scene.SetItem(L"e]f[g", Text(L"inner"));
  scene.SetItem(L"none", nullptr);
  scene.SetItem(L"", Text(L"empty"));
  root.SetItem(L"scene", tx::MakeData<tx::DictionaryData>(scene));
  return tx::MakeData<tx::DictionaryData>(root);
}

TEST(DataPaths, LeadToItems) {
  const struct {
    const wchar_t* path;
    bool valid;
    const wchar_t* text;  ///< null for an item that is null
  } rows[] = {{L"scene/bands/[1]/name", true, L"red"},
              {L"scene/bands/[01]/name", true, L"red"},
              {L"scene/bands/[0]", true, nullptr},
              {L"scene/none", true, nullptr},
              {L"scene/a\\/b", true, L"slash"},
              {L"scene/c\\\\d", true, L"back"},
              {L"scene/c\\d", true, L"back"},
              {L"scene/\\[0]", true, L"bracket"},
              {L"scene/e]f[g", true, L"inner"},
              {L"", false, nullptr},
              {L"/", false, nullptr},
              {L"scene/", false, nullptr},
              {L"/scene", false, nullptr},
              {L"scene//bands", false, nullptr},
              {L"Scene", false, nullptr},
              {L"scene/a/b", false, nullptr},
              {L"scene/none/name", false, nullptr},
              {L"scene/bands/[0]/name", false, nullptr},
              {L"scene/bands/[2]", false, nullptr},
              {L"scene/bands/[-1]", false, nullptr},
              {L"scene/bands/[1", false, nullptr},
              {L"scene/bands/[", false, nullptr},
              {L"scene/bands/[]", false, nullptr},
              {L"scene/bands/[1]x", false, nullptr},
              {L"scene/bands/[1x]", false, nullptr},
              {L"scene/bands/[4294967297]", false, nullptr},
              {L"scene/bands/[99999999999999999999999999]", false, nullptr},
              {L"scene/bands/1", false, nullptr},
              {L"scene/\\", false, nullptr}};
  const auto data = Nested();
  for (const auto& row : rows) {
    EXPECT_EQ(DataPath::IsValidPath(data, row.path), row.valid) << kstr_ToUtf8(row.path);
    const auto item = DataPath::GetDataByPath(data, row.path).AsDataOrNull();
    ASSERT_EQ(item != nullptr, row.text != nullptr) << kstr_ToUtf8(row.path);
    if (item) {
      EXPECT_EQ(item->ToString(), row.text);
    }
  }
  EXPECT_FALSE(DataPath::IsValidPath(nullptr, L"scene"));
  EXPECT_TRUE(DataPath::GetDataByPath(nullptr, L"scene").IsNull());
}

TEST(DataPaths, LeadIntoStructuredValues) {
  tx::Dictionary root;
  root.SetItem(L"range", tx::MakeData<RangeData>(RangeClass(1, 2)));
  root.SetItem(L"json", FromText<JsonData>(L"{\"a\":[10,20]}"));
  root.SetItem(L"table", FromText<TableData>(L"[5, 6]"));
  const DataPtr data = tx::MakeData<tx::DictionaryData>(root);
  EXPECT_EQ(DataPath::GetDataByPath(data, L"range/End").ToString(), L"2");
  EXPECT_EQ(DataPath::GetDataByPath(data, L"json/a/[1]").ToString(), L"20");
  EXPECT_EQ(DataPath::GetDataByPath(data, L"table/[0]").ToString(), L"5");
  EXPECT_FALSE(DataPath::IsValidPath(data, L"json/b"));
  EXPECT_FALSE(DataPath::IsValidPath(data, L"table/[2]"));
}

TEST(DataPaths, BecomeRequests) {
  const auto inner = boost::make_shared<tx::DataRequest>();
  const auto request = DataPath::CreateDataRequest(L"scene/[3]/a\\/b", inner);
  const auto scene = boost::dynamic_pointer_cast<NamedDataRequest>(request);
  ASSERT_TRUE(scene);
  EXPECT_EQ(scene->GetName(), L"scene");
  const auto index = boost::dynamic_pointer_cast<DirectedDataRequest>(scene->GetDataRequest());
  ASSERT_TRUE(index);
  EXPECT_EQ(index->GetIndex(), 3u);
  const auto last = boost::dynamic_pointer_cast<NamedDataRequest>(index->GetDataRequest());
  ASSERT_TRUE(last);
  EXPECT_EQ(last->GetName(), L"a/b");
  EXPECT_EQ(last->GetDataRequest(), inner);
  for (const wchar_t* bad : {L"", L"a//b", L"[1", L"a/[x]"})
    EXPECT_EQ(DataPath::CreateDataRequest(bad, inner), nullptr);
}

}  // namespace
