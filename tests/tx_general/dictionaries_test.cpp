#include <cstdlib>

#include "tx_general/values.h"

namespace {

using namespace testing_support;

TEST(ConstructDictionary, Rows) {
  const auto row = [](const char* title, std::vector<std::pair<std::wstring, DataPtr>> inputs, const DataPtr& expected,
                      std::wstring error = {}) {
    return Row{title, L"Dictionary", std::move(inputs), L"DictionaryOut", expected, std::move(error)};
  };
  const auto given = Dict({{L"a", Value(1)}, {L"b", Value(2)}});
  ExpectRows({
      row("in the order of the ports",
          {{L"Name1", Value(L"z")}, {L"Value1", Value(1)}, {L"Name2", Value(L"y")}, {L"Value2", Value(L"t")}},
          Dict({{L"z", Value(1)}, {L"y", Value(L"t")}})),
      row("keys of the given one stay where they are",
          {{L"DictionaryIn", given},
           {L"Name1", Value(L"c")},
           {L"Value1", Value(3)},
           {L"Name2", Value(L"a")},
           {L"Value2", Value(L"new")}},
          Dict({{L"a", Value(L"new")}, {L"b", Value(2)}, {L"c", Value(3)}})),
      row("case makes another key",
          {{L"Name1", Value(L"a")}, {L"Value1", Value(1)}, {L"Name2", Value(L"A")}, {L"Value2", Value(2)}},
          Dict({{L"a", Value(1)}, {L"A", Value(2)}})),
      row("no value is a null", {{L"Name1", Value(L"a")}}, Dict({{L"a", nullptr}})),
      row("a null takes the place of a value", {{L"DictionaryIn", given}, {L"Name1", Value(L"b")}},
          Dict({{L"a", Value(1)}, {L"b", nullptr}})),
      row("an empty name is a name", {{L"Name1", Value(L"")}, {L"Value1", Value(1)}}, Dict({{L"", Value(1)}})),
      row("the same name twice",
          {{L"Name1", Value(L"a")}, {L"Value1", Value(1)}, {L"Name2", Value(L"a")}, {L"Value2", Value(1)}}, nullptr,
          L"Duplicate names specified; names must be unique."),
      row("a list takes no names",
          {{L"DictionaryIn", List({Value(1)})}, {L"Name1", Value(L"a")}, {L"Value1", Value(1)}}, nullptr,
          L"No appropriate data found on port(DictionaryIn)."),
      row("a name is required", {{L"Value1", Value(1)}}, nullptr, L"Data not found on port(Name1)."),
  });
}

TEST(ConstructDictionary, TheGivenDictionaryIsNotChanged) {
  const auto given = Dict({{L"a", Value(1)}});
  ModelHost host;
  host.Add(L"Dictionary", L"op");
  host.Set(L"op.DictionaryIn", given).Set(L"op.Name1", L"a").Set(L"op.Value1", 2);
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(given->ToString(), L"{\"a\": 1}");
  EXPECT_EQ(host.Existing(L"op.DictionaryOut")->ToString(), L"{\"a\": 2}");
}

TEST(ConstructDictionary, PortsComeInPairs) {
  ModelHost host;
  const auto op = host.Add(L"Dictionary");
  op->AddExpansionPorts();
  EXPECT_EQ(PortNames(*op),
            (std::vector<std::wstring>{L"DictionaryIn", L"Name1", L"Value1", L"DictionaryOut", L"Name2", L"Value2"}));
  op->RemoveExpansionPorts();
  op->RemoveExpansionPorts();
  EXPECT_EQ(PortNames(*op), (std::vector<std::wstring>{L"DictionaryIn", L"Name1", L"Value1", L"DictionaryOut"}));
}

TEST(DictionaryItem, Rows) {
  const auto nested = Dict({{L"a", Value(1)}, {L"n", Dict({{L"k", List({Value(5), nullptr})}})}, {L"null", nullptr}});
  const auto row = [&](const char* title, const wchar_t* path, const DataPtr& expected) {
    return Row{title, L"DictionaryItem", {{L"Dictionary", nested}, {L"Name1", Value(path)}}, L"Item1", expected};
  };
  ExpectRows({
      row("a key", L"a", Value(1)),
      row("a path", L"n/k/[0]", Value(5)),
      row("all of a member", L"n", Dict({{L"k", List({Value(5), nullptr})}})),
      {"the second of two",
       L"DictionaryItem",
       {{L"Dictionary", nested}, {L"Name1", Value(L"n")}, {L"Name2", Value(L"a")}},
       L"Item2",
       Value(1)},
      {"a missing one where that is allowed",
       L"DictionaryItem",
       {{L"Dictionary", nested}, {L"Name1", Value(L"x")}, {L"AllowMissingItem", Value(true)}},
       L"Item1",
       nullptr},
      {"a name is required",
       L"DictionaryItem",
       {{L"Dictionary", nested}},
       L"Item1",
       nullptr,
       L"Data not found on port(Name1)."},
  });
}

TEST(DictionaryItem, MissingItemsEndTheRun) {
  ModelHost host;
  host.Add(L"DictionaryItem", L"op")->AddExpansionPorts();
  host.Set(L"op.Dictionary", Dict({{L"a", Value(1)}, {L"null", nullptr}}));
  host.Set(L"op.Name1", L"a").Set(L"op.Name2", L"a/b");
  EXPECT_FALSE(host.Run());
  EXPECT_EQ(host.Error(), L"Item a/b does not exist.");
  host.Set(L"op.Name2", L"null");
  EXPECT_TRUE(host.Run()) << "an item that is null exists";
  EXPECT_FALSE(host.Existing(L"op.Item2"));
  host.Set(L"op.Dictionary", DataPtr());
  EXPECT_FALSE(host.Run());
  EXPECT_EQ(host.Error(), L"Item a does not exist.");
}

TEST(DictionaryItem, WithoutNamesThereIsNothingToDo) {
  ModelHost host;
  const auto op = host.Add(L"DictionaryItem", L"op");
  op->RemoveExpansionPorts();
  EXPECT_EQ(PortNames(*op), (std::vector<std::wstring>{L"Dictionary", L"AllowMissingItem"}));
  EXPECT_TRUE(host.Run());
  host.Reopen();
  EXPECT_EQ(PortNames(*host.Op(L"op")), (std::vector<std::wstring>{L"Dictionary", L"AllowMissingItem"}));
}

class HeaderTest : public ::testing::Test {
 protected:
  DataPtr Read(const std::string& bytes, const wchar_t* op = L"DictionaryInputHDR") {
    ModelHost host;
    host.Add(op, L"op");
    host.Set(L"op.Filename", File(folder_.Write("scene.hdr", bytes)));
    EXPECT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
    return host.Existing(L"op.Dictionary");
  }
  void Expect(const std::string& bytes, const std::vector<std::pair<std::wstring, DataPtr>>& items) {
    const auto data = Read(bytes);
    ASSERT_TRUE(data);
    ASSERT_EQ(data->GetDataTypeName().ToString(), L"VANTIX.Dictionary");
    EXPECT_EQ(data->ToString(), Dict(items)->ToString());
    for (const auto& [key, item] : items) {
      const auto found = (*data)[key].AsDataOrNull();
      ASSERT_TRUE(found) << kstr_ToUtf8(key);
      EXPECT_EQ(found->GetDataTypeName().ToString(), item->GetDataTypeName().ToString()) << kstr_ToUtf8(key);
    }
  }
  TemporaryFolder folder_;
};

TEST_F(HeaderTest, ValuesTakeTheirTypeFromTheirCharacters) {
  const auto value = [this](const std::string& text) {
    const auto data = Read("ENVI\nkey = " + text + "\n");
    const auto item = data ? (*data)[L"key"].AsDataOrNull() : nullptr;
    return item ? item->GetDataTypeName().Name + L" " + item->ToString() : L"nothing";
  };
  EXPECT_EQ(value("512"), L"Int 512");
  EXPECT_EQ(value("-7"), L"Int -7");
  EXPECT_EQ(value("1-2"), L"Int 1") << "the rest is not looked at, which is wanted";
  EXPECT_EQ(value("-2147483648"), L"Int -2147483648");
  EXPECT_EQ(value("2147483648"), L"String 2147483648");
  EXPECT_EQ(value("9999999999"), L"String 9999999999");
  EXPECT_EQ(value("-"), L"String -");
  EXPECT_EQ(value("--1"), L"String --1");
  EXPECT_EQ(value("0.25"), L"Double 0.25");
  EXPECT_EQ(value("1,5"), L"Double 1") << "the rest is not looked at, which is wanted";
  EXPECT_EQ(value("2e3"), L"Double 2000");
  EXPECT_EQ(value("-.5E-1"), L"Double -0.050000000000000003");
  EXPECT_EQ(value("1e"), L"Double 1");
  EXPECT_EQ(value("1e999"), L"String 1e999");
  EXPECT_EQ(value("e"), L"String e");
  EXPECT_EQ(value("."), L"String .");
  EXPECT_EQ(value("+1"), L"String +1");
  EXPECT_EQ(value("1e+3"), L"String 1e+3");
  EXPECT_EQ(value("infinity"), L"String infinity");
  EXPECT_EQ(value("0x10"), L"String 0x10");
  EXPECT_EQ(value("UTM zone = 33"), L"String UTM zone = 33") << "the first sign of equality counts";
}

TEST_F(HeaderTest, Lists) {
  Expect("ENVI\nmap info = {UTM, 1, 1}\n", {{L"map info", List({Value(L"UTM"), Value(1), Value(1)})}});
  Expect("ENVI\nwavelength = {\n1.5,\n2.5}\n", {{L"wavelength", List({Value(1.5), Value(2.5)})}});
  Expect("ENVI\nwavelength = {0.5,\n 1.5,\n2.5 }\n", {{L"wavelength", List({Value(1.5), Value(2.5)})}});
  Expect("ENVI\nnone = {}\nholes = {, a,, b ,}\n", {{L"none", List({})}, {L"holes", List({Value(L"a"), Value(L"b")})}});
  Expect("ENVI\nnames = {\nfirst\nsecond, a = b,\n}\nafter = 1\n",
         {{L"names", List({Value(L"firstsecond"), Value(L"a = b")})}, {L"after", Value(1)}});
  Expect("ENVI\nfirst = 1\nopen = {\n1,\n2\n", {{L"first", Value(1)}});
}

TEST_F(HeaderTest, LinesThatAreNoPairsAreSkipped) {
  Expect("ENVI\n\n; a comment\n = 1\nkey =\nkey\n  two words  =  two  values \nkey = 1\nkey = 2\nKey = 3",
         {{L"two words", Value(L"two  values")}, {L"key", Value(2)}, {L"Key", Value(3)}});
  Expect("ENVI\n", {});
  Expect("ENVI", {});
}

// As instruments and programs write them: a scene's header with all that may stand in it.
TEST_F(HeaderTest, HeaderOfAScene) {
  const std::string text =
      "\xEF\xBB\xBF"
      "ENVI\r\n"
      "description = {\r\n"
      "  Reflectance [Thu Jun 06 2019], corrected}\r\n"
      "samples = 7731\r\n"
      "lines   = 7861\r\n"
      "bands   = 3\r\n"
      "header offset = 0\r\n"
      "file type = ENVI Standard\r\n"
      "data type = 4\r\n"
      "interleave = bsq\r\n"
      "byte order = 0\r\n"
      "map info = {UTM, 1.000, 1.000, 272685.000, 5200515.000, 3.0000000000e+01, 3.0000000000e+01, 33, North, "
      "WGS-84, units=Meters}\r\n"
      "coordinate system string = {PROJCS[\"UTM_Zone_33N\"]}\r\n"
      "wavelength units = Nanometers\r\n"
      "band names = {\r\n"
      " Band 1 (blau),\r\n"
      " Grün, 中 红,\r\n"
      " NIR 2}\r\n"
      "wavelength = {\r\n"
      "  482.04,  561.41,\r\n"
      "  654.59}\r\n"
      "data ignore value = -9999.0\r\n"
      "acquisition time = 2019-06-06T09:53:21Z\r\n";
  Expect(
      text,
      {{L"description", List({Value(L"Reflectance [Thu Jun 06 2019]"), Value(L"corrected")})},
       {L"samples", Value(7731)},
       {L"lines", Value(7861)},
       {L"bands", Value(3)},
       {L"header offset", Value(0)},
       {L"file type", Value(L"ENVI Standard")},
       {L"data type", Value(4)},
       {L"interleave", Value(L"bsq")},
       {L"byte order", Value(0)},
       {L"map info",
        List({Value(L"UTM"), Value(1.0), Value(1.0), Value(272685.0), Value(5200515.0), Value(L"3.0000000000e+01"),
              Value(L"3.0000000000e+01"), Value(33), Value(L"North"), Value(L"WGS-84"), Value(L"units=Meters")})},
       {L"coordinate system string", List({Value(L"PROJCS[\"UTM_Zone_33N\"]")})},
       {L"wavelength units", Value(L"Nanometers")},
       {L"band names", List({Value(L"Band 1 (blau)"), Value(L"Gr\u00fcn"), Value(L"\u4e2d \u7ea2"), Value(L"NIR 2")})},
       {L"wavelength", List({Value(482.04), Value(561.41), Value(654.59)})},
       {L"data ignore value", Value(-9999.0)},
       {L"acquisition time", Value(L"2019-06-06T09:53:21Z")}});
}

TEST_F(HeaderTest, BytesThatAreNoUtf8AreLatin1) {
  Expect("ENVI\nsensor = Gr\xFCn\nother = \xC3\xBC\n",
         {{L"sensor", Value(L"Gr\u00fcn")}, {L"other", Value(L"\u00fc")}});
}

TEST_F(HeaderTest, DelimitedLines) {
  Expect("key: value\n second : 2 \nthird 3\n: x\nurl: a:b\nlist: {1}\n",
         {{L"key", Value(L"value")}, {L"second", Value(2)}, {L"url", Value(L"a:b")}, {L"list", Value(L"{1}")}});
  Expect("NROWS 5\nNCOLS   7\n\nULXMAP -1.5\r\nalone\n",
         {{L"NROWS", Value(5)}, {L"NCOLS", Value(7)}, {L"ULXMAP", Value(-1.5)}});
  Expect("ENVI \nsamples 1\n", {{L"samples", Value(1)}});
}

TEST_F(HeaderTest, OtherFilesGiveNothing) {
  for (const char* bytes : {"", "\nkey: value\n", "#key: value\n", "envi\n", " key: value\n", "\xC3\xA4: 1\n"}) {
    EXPECT_FALSE(Read(bytes)) << bytes;
  }
  ModelHost host;
  host.Add(L"DictionaryInputHDR", L"op");
  for (const auto& name : {folder_.WidePath() + L"/missing.hdr", folder_.WidePath()}) {
    host.Set(L"op.Filename", File(name));
    EXPECT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
    EXPECT_FALSE(host.Existing(L"op.Dictionary"));
  }
  host.Set(L"op.Filename", DataPtr());
  EXPECT_FALSE(host.Run());
  EXPECT_EQ(host.Error(), L"Data not found on port(Filename).");
}

TEST_F(HeaderTest, NamesAreExpanded) {
  folder_.Write("scene.hdr", "ENVI\nbands = 3\n");
  ::setenv("TX_GENERAL_TEST_FOLDER", folder_.Path().c_str(), 1);
  ExpectRow({"variable",
             L"DictionaryInputHDR",
             {{L"Filename", File(L"$TX_GENERAL_TEST_FOLDER/scene.hdr")}},
             L"Dictionary",
             Dict({{L"bands", Value(3)}})});
}

TEST_F(HeaderTest, AnyReaderWillDo) {
  const auto data = Read("ENVI\nbands = 3\n", L"DictionaryInput");
  ASSERT_TRUE(data);
  EXPECT_EQ(data->ToString(), L"{\"bands\": 3}");
  const auto name = folder_.Write("other.bin", std::string("\0\1\2", 3));
  ExpectRow({"no reader",
             L"DictionaryInput",
             {{L"Filename", File(name)}},
             L"Dictionary",
             nullptr,
             L"Cannot open " + name + L" with any available raster engine."});
  ExpectRow({"one that is read",
             L"DictionaryInput",
             {{L"Filename", File(folder_.Write("scene.hdr", "bands: 3\n"))}},
             L"Dictionary",
             Dict({{L"bands", Value(3)}})});
}

TEST(DictionaryInput, KnowsTheFiltersOfItsReaders) {
  ModelHost host;
  const auto op = host.Add(L"DictionaryInput");
  EXPECT_EQ(PortNames(*op), (std::vector<std::wstring>{L"Filename", L"Dictionary"}));
  EXPECT_EQ(op->GetPort(L"Filename")->GetAttribute(L"FileFilterList")->ToString(), L"[\"HDR (*.hdr)\"]");
  const auto model = boost::dynamic_pointer_cast<tessera::Model>(op);
  ASSERT_TRUE(model);
  EXPECT_EQ(model->GetProcessNamespace(), L"VANTIX");
  EXPECT_EQ(model->GetProcessName(), L"DictionaryInput");
}

}  // namespace
