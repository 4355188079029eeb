#include <gtest/gtest.h>

#include <random>
#include <string>

#include "korvenlog/exception.h"
#include "txlib/basicdata.h"
#include "txlib/conversion.h"
#include "txlib/jsonvalue.h"

using namespace Tamrin::Tessera;

namespace {

TEST(StringDataTest, HasNoValueAtFirst) {
  for (const wchar_t* name : {L"String", L"File", L"Directory", L"StringList", L"List", L"Dictionary"}) {
    const auto data = DataFactory::Create({L"VANTIX", name});
    ASSERT_TRUE(data);
    bool multiline = true;
    JsonValue json(5);
    EXPECT_TRUE(data->HasNoValue());
    EXPECT_EQ(data->ToString(), L"");
    EXPECT_EQ(data->ToShortString(), L"");
    EXPECT_EQ(data->ToReportString(), L"");
    EXPECT_EQ(data->ToString(0, multiline), L"");
    EXPECT_FALSE(multiline);
    EXPECT_TRUE(data->ToJSON(json));
    EXPECT_TRUE(json.IsNull());
    EXPECT_LT(data->Count(), 1);
    EXPECT_TRUE(data->GetKeys().empty());
    EXPECT_FALSE(data->Erase(0));
    EXPECT_FALSE(data->Erase(std::wstring(L"a")));
    EXPECT_GT(data->SizeInBytes(), 0U);
    EXPECT_TRUE(data->Clone()->HasNoValue());
    EXPECT_FALSE(*data < data->Clone());
    EXPECT_FALSE(*data > data->Clone());
  }
}

TEST(StringDataTest, ValueOfAWrapperWithoutOneRaises) {
  const auto data = boost::make_shared<StringData>();
  try {
    data->GetDataValue();
    FAIL();
  } catch (const KorvenLog::Exception& exception) {
    const std::string type = typeid(std::wstring).name();
    EXPECT_EQ(exception.get_What(),
              L"There is no data currently set on wrapper for type " + std::wstring(type.begin(), type.end()));
    EXPECT_EQ(exception.get_SourceFile(), L"txlib\\datat");
    EXPECT_EQ(exception.get_Function(), L"Tamrin::Tessera::DataT<...>::GetDataValue");
    EXPECT_EQ(exception.get_LineNum(), 48);
  }
}

void ExpectRaised(const Data& data, const wchar_t* text, int line) {
  try {
    data.GetDataValue<std::wstring>();
    FAIL();
  } catch (const KorvenLog::CPPException<std::runtime_error>& exception) {
    EXPECT_EQ(exception.get_What(), text);
    EXPECT_EQ(exception.get_SourceFile(), L"txlib\\data");
    EXPECT_EQ(exception.get_Function(), L"Tamrin::Tessera::Data::GetDataValue");
    EXPECT_EQ(exception.get_LineNum(), line);
  }
}

TEST(StringDataTest, ReadAsTextOrRaise) {
  const boost::shared_ptr<Data> text = MakeData<StringData>(L"abc");
  EXPECT_EQ(text->GetDataValue<std::wstring>(), L"abc");
  // The wrapper derives from that of a text.
  const boost::shared_ptr<Data> file = MakeData<FileData>(L"a.txt");
  EXPECT_EQ(file->GetDataValue<std::wstring>(), L"a.txt");
  ExpectRaised(*boost::make_shared<StringData>(), L"Null reference.", 238);
  ExpectRaised(*MakeData<IntData>(5), L"Invalid conversion.", 242);
}

TEST(StringDataTest, FileAndDirectoryKeepTheirTypeInClones) {
  const auto file = MakeData<FileData>(L"a.txt");
  const auto copy = file->Clone();
  EXPECT_EQ(copy->GetDataTypeName().ToString(), L"VANTIX.File");
  EXPECT_EQ(copy->ToString(), L"a.txt");
  EXPECT_EQ(MakeData<DirectoryData>(L"/tmp")->Clone()->GetDataTypeName().ToString(), L"VANTIX.Directory");
  boost::dynamic_pointer_cast<FileData>(copy)->GetDataValue() = L"b.txt";
  EXPECT_EQ(file->ToString(), L"a.txt");
}

TEST(StringDataTest, AssignFromTakesTheSameKindOnly) {
  StringData data(L"old");
  data.AssignFrom(MakeData<StringData>(L"new"));
  EXPECT_EQ(data.ToString(), L"new");
  data.AssignFrom(MakeData<IntData>(5));
  EXPECT_TRUE(data.HasNoValue());
}

TEST(StringDataTest, ShortTextIsOneLine) {
  EXPECT_EQ(MakeData<StringData>(L"a\nb\tc")->ToShortString(), L"a b c");
  const std::wstring just(80, L'x');
  EXPECT_EQ(MakeData<StringData>(just)->ToShortString(), just);
  EXPECT_EQ(MakeData<StringData>(just + L"y")->ToShortString(), std::wstring(77, L'x') + L"...");
}

TEST(StringDataTest, IndentedTextTellsItsLines) {
  bool multiline = false;
  EXPECT_EQ(MakeData<StringData>(L"a\nb")->ToString(2, multiline), L"    a\n    b");
  EXPECT_TRUE(multiline);
  EXPECT_EQ(MakeData<StringData>(L"a")->ToString(0, multiline), L"a");
  EXPECT_FALSE(multiline);
}

TEST(StringDataTest, JsonTakesStringsAndNull) {
  StringData data(L"old");
  EXPECT_FALSE(data.FromJSON(JsonValue(5)));
  EXPECT_EQ(data.ToString(), L"old");
  EXPECT_TRUE(data.FromJSON(JsonValue(L"new")));
  EXPECT_EQ(data.ToString(), L"new");
  EXPECT_TRUE(data.FromJSON(JsonValue()));
  EXPECT_TRUE(data.HasNoValue());
}

TEST(StringDataTest, OrderIsByCodeUnit) {
  EXPECT_TRUE(*MakeData<StringData>(L"B") < MakeData<StringData>(L"a"));
  EXPECT_TRUE(*MakeData<StringData>(L"b") > MakeData<FileData>(L"a"));
  EXPECT_FALSE(*MakeData<StringData>(L"a") < MakeData<FileData>(L"a"));
  EXPECT_TRUE(*MakeData<IntData>(9) < MakeData<StringData>(L"1"));
}

TEST(StringDataTest, SerializedFormReadsBack) {
  std::wstring type, text;
  EXPECT_TRUE(MakeData<FileData>(L"a\"b")->ToSerializedString(type, text));
  EXPECT_EQ(type, L"VANTIX.File");
  FileData file;
  EXPECT_TRUE(file.FromSerializedString(type, text));
  EXPECT_EQ(file.ToString(), L"a\"b");
  EXPECT_FALSE(file.FromSerializedString(L"VANTIX.String", text));
}

std::wstring RandomText(std::mt19937& random) {
  std::wstring text;
  for (unsigned length = random() % 20; text.size() < length;) {
    const unsigned range = random() % 4;
    const unsigned code = range == 0 ? random() % 0x20 + 1 : range == 1 ? random() % 0x60 + 0x20 : random() % 0x110000;
    if (code >= 0xD800 && code < 0xE000) continue;
    text += static_cast<wchar_t>(code);
  }
  return text;
}

void RoundTrips(unsigned seed) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (int round = 0; round < 5000; ++round) {
    const std::wstring value = RandomText(random);
    const auto data = MakeData<StringData>(value);
    StringData copy;
    ASSERT_TRUE(copy.FromString(data->ToString()));
    ASSERT_EQ(copy.GetDataValue(), value);
    JsonValue json, read;
    ASSERT_TRUE(data->ToJSON(json) && read.Deserialize(json.Serialize()));
    ASSERT_TRUE(copy.FromJSON(read));
    ASSERT_EQ(copy.GetDataValue(), value);
    const auto list = MakeData<StringListData>({value, RandomText(random), L""});
    StringListData listCopy;
    ASSERT_TRUE(listCopy.FromString(list->ToString())) << round;
    ASSERT_EQ(listCopy.GetDataValue(), list->GetDataValue());
    ASSERT_TRUE(list->ToJSON(json) && read.Deserialize(json.Serialize()) && listCopy.FromJSON(read));
    ASSERT_EQ(listCopy.GetDataValue(), list->GetDataValue());
  }
}

TEST(StringDataTest, RandomTextsRoundTrip) {
  RoundTrips(2);
  RoundTrips(std::random_device()());
}

}  // namespace
