#include "values.h"

using namespace basictest;

namespace {

TEST(Colors, KeysLeadToTheParts) {
  const Color color(0.25, 0.5, 0.75, 0.125);
  EXPECT_EQ(color.GetKeys(), (std::vector<std::wstring>{L"Red", L"Green", L"Blue", L"Opacity"}));
  const double parts[] = {0.25, 0.5, 0.75, 0.125};
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(color[color.GetKeys()[static_cast<std::size_t>(i)]]->GetDataValue<double>(), parts[i]);
  EXPECT_EQ(color[L"red"], nullptr);
  EXPECT_EQ(Color(1, 2, 3).GetOpacity(), 1);
  ColorData data(boost::make_shared<Color>(color));
  EXPECT_EQ(data[L"Blue"].AsData()->GetDataValue<double>(), 0.75);
  EXPECT_TRUE(data[L"Hue"].IsNull());
}

TEST(Colors, Texts) {
  const struct {
    const wchar_t* text;
    bool reads;
    Color color;
    const wchar_t* written;
  } rows[] = {{L"0.1 0.2 0.3", true, Color(0.1, 0.2, 0.3), L"0.1 0.2 0.3 1"},
              {L" 1  0\t0 0.5 ", true, Color(1, 0, 0, 0.5), L"1 0 0 0.5"},
              {L"-1 2e3 0 1", true, Color(-1, 2000, 0), L"-1 2000 0 1"},
              {L"1 2", false, Color(), L""},
              {L"1 2 3 4 5", false, Color(), L""},
              {L"1,2,3", false, Color(), L""},
              {L"red", false, Color(), L""},
              {L"", false, Color(), L""}};
  for (const auto& row : rows) {
    const auto data = FromText<ColorData>(row.text);
    ASSERT_EQ(data != nullptr, row.reads) << kstr_ToUtf8(row.text);
    if (!data) continue;
    EXPECT_EQ(data->GetDataValue(), row.color);
    EXPECT_EQ(data->ToString(), row.written);
  }
}

TEST(Colors, ABadTextLeavesTheValue) {
  ColorData data(boost::make_shared<Color>(1, 2, 3, 0.5));
  EXPECT_FALSE(data.FromString(L"1 2 x"));
  EXPECT_FALSE(data.FromJSON(Json("[1]")));
  EXPECT_EQ(data.GetDataValue(), Color(1, 2, 3, 0.5));
}

TEST(Colors, JsonForm) {
  EXPECT_EQ(JsonText(ColorData(boost::make_shared<Color>(0.5, 0.25, 0, 0.125))),
            R"({"Red":0.5,"Green":0.25,"Blue":0.0,"Opacity":0.125})");
  EXPECT_EQ(FromJson<ColorData>(R"({"Red":1,"Green":2,"Blue":3})")->GetDataValue(), Color(1, 2, 3, 1));
  for (const char* bad : {"5", "[]", "{}", R"({"Red":1,"Green":2})", R"({"Red":1,"Green":2,"Blue":"3"})",
                          R"({"Red":1,"Green":2,"Blue":3,"Opacity":true})"})
    EXPECT_EQ(FromJson<ColorData>(bad), nullptr) << bad;
}

TEST(Colors, RandomOnesSurviveTextAndJson) {
  std::mt19937_64 random(7);
  for (int i = 0; i < 300; ++i) {
    const ColorData data(
        boost::make_shared<Color>(AnyDouble(random), AnyDouble(random), AnyDouble(random), AnyDouble(random)));
    const auto text = FromText<ColorData>(data.ToString());
    ASSERT_TRUE(text) << kstr_ToUtf8(data.ToString());
    for (const auto& copy : {text, ThroughJson(data)}) {
      EXPECT_TRUE(SameBits(copy->GetDataValue().GetRed(), data.GetDataValue().GetRed()));
      EXPECT_TRUE(SameBits(copy->GetDataValue().GetGreen(), data.GetDataValue().GetGreen()));
      EXPECT_TRUE(SameBits(copy->GetDataValue().GetBlue(), data.GetDataValue().GetBlue()));
      EXPECT_TRUE(SameBits(copy->GetDataValue().GetOpacity(), data.GetDataValue().GetOpacity()));
      EXPECT_EQ(copy->ToString(), data.ToString());
    }
  }
}

}  // namespace
