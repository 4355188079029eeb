#include "tx_general/values.h"
#include "txlib/dataref.h"

namespace {

using namespace testing_support;

Row Converted(const char* title, const DataPtr& input, const wchar_t* type, const DataPtr& expected,
              std::wstring error = {}, bool reopens = true) {
  return {title,  L"Convert", {{L"Input", input}, {L"DataType", Value(type)}}, L"Output", expected, std::move(error),
          reopens};
}

DataPtr Json(const wchar_t* text) {
  const auto data = boost::make_shared<basic::JsonData>();
  EXPECT_TRUE(data->FromString(text));
  return data;
}

TEST(Convert, ToNamedTypes) {
  const std::wstring unknown = L"Could not find unique data type in the factory.";
  ExpectRows({
      Converted("plain name", Value(2.9), L"Int", Value(2)),
      Converted("full name", Value(2.9), L"VANTIX.Int", Value(2)),
      Converted("its own type", Value(2.9), L"Double", Value(2.9)),
      Converted("a type of a plug-in by its plain name", Value(3u), L"Range", RangeValue(3, 3)),
      Converted("any value to a list", Value(1), L"List", List({Value(1)})),
      Converted("a type that is no conversion's", Value(1), L"VANTIX.Color", nullptr,
                L"Could not convert VANTIX.Int to VANTIX.Color."),
      Converted("the type as it was written", Value(1), L"Color", nullptr, L"Could not convert VANTIX.Int to Color."),
      Converted("unknown", Value(1), L"Integer", nullptr, unknown),
      Converted("case counts", Value(1), L"int", nullptr, unknown),
      Converted("of another namespace", Value(1), L"OTHER.Int", nullptr, unknown),
      Converted("no name", Value(1), L"", nullptr, unknown),
      Converted("nothing", nullptr, L"Int", nullptr, L"Input is empty."),
      {"no type", L"Convert", {{L"Input", Value(1)}}, L"Output", nullptr, L"Data not found on port(DataType)."},
  });
}

TEST(Convert, AValueOfTheTypeIsPassedThrough) {
  const auto value = Value(2.5);
  for (const wchar_t* type : {L"Double", L"VANTIX.Double"}) {
    ModelHost host;
    host.Add(L"Convert", L"op");
    host.Set(L"op.Input", value).Set(L"op.DataType", type);
    ASSERT_TRUE(host.Run());
    EXPECT_EQ(host.Existing(L"op.Output"), value);
  }
}

TEST(Convert, BadNamesRaiseAnErrorThatIsNotTheOperators) {
  for (const wchar_t* type : {L".", L".Int", L"VANTIX.", L"VANTIX.Int.", L"A.B.C"}) {
    ModelHost host;
    const auto op = host.Add(L"Convert", L"op");
    host.Set(L"op.Input", 1).Set(L"op.DataType", type);
    EXPECT_FALSE(host.Run());
    EXPECT_EQ(host.Error(), L"Invalid full name format.");
    EXPECT_TRUE(host.Messages(tessera::Issue::Error).empty());
    EXPECT_THROW(op->Execute(), std::runtime_error);
  }
}

TEST(Convert, AnEmptyResultWhereItIsAllowed) {
  ExpectRow(
      {"null",
       L"Convert",
       {{L"Input", ScalarValue(1)}, {L"DataType", Value(L"VANTIX.Dictionary")}, {L"AllowEmptyOutput", Value(true)}},
       L"Output",
       nullptr});
  ExpectRow(Converted("error", ScalarValue(1), L"VANTIX.Dictionary", nullptr,
                      L"Could not convert VANTIX.Scalar to VANTIX.Dictionary."));
}

/// A container of its own kind with an item that is nothing.
class Holder : public tessera::Data {
 public:
  const wchar_t* GetTypeName() const override { return L"Holder"; }
  bool HasNoValue() const override { return false; }
  std::vector<std::wstring> GetKeys() const override { return {L"b", L"nothing", L"a"}; }
  tessera::DataRef operator[](const std::wstring& key) override {
    return key == L"nothing" ? tessera::DataRef() : tessera::DataRef(key == L"a" ? first_ : Value(2));
  }
  using Data::operator[];
  const DataPtr first_ = Value(1);
};

TEST(Convert, ContainersToDictionaries) {
  ExpectRows({
      Converted("a range", RangeValue(1, 2), L"Dictionary", Dict({{L"Start", Value(1.0)}, {L"End", Value(2.0)}})),
      Converted("a JSON object", Json(L"{\"b\": 1, \"c\": \"x\"}"), L"Dictionary",
                Dict({{L"b", Json(L"1")}, {L"c", Json(L"\"x\"")}})),
      Converted("items that are nothing are left out", boost::make_shared<Holder>(), L"Dictionary",
                Dict({{L"b", Value(2)}, {L"a", Value(1)}}), {}, false),
      Converted("but are nulls in JSON", boost::make_shared<Holder>(), L"Json",
                Json(L"{\"__keys__\": [\"b\", \"nothing\", \"a\"], \"b\": 2, \"nothing\": null, \"a\": 1}"), {}, false),
      Converted("no keys", Json(L"[1]"), L"Dictionary", nullptr, L"Could not convert VANTIX.Json to Dictionary."),
  });
}

TEST(Convert, ADictionaryHoldsClones) {
  const auto holder = boost::make_shared<Holder>();
  ModelHost host;
  host.Add(L"Convert", L"op");
  host.Set(L"op.Input", DataPtr(holder)).Set(L"op.DataType", L"Dictionary");
  ASSERT_TRUE(host.Run());
  const auto item = (*host.Existing(L"op.Output"))[L"a"].AsDataOrNull();
  ASSERT_TRUE(item);
  EXPECT_NE(item, holder->first_);
}

TEST(Convert, AnyValueToJson) {
  const auto row = [](const char* title, const DataPtr& input, const wchar_t* json, bool reopens = true) {
    return Converted(title, input, L"Json", Json(json), {}, reopens);
  };
  ExpectRows({
      row("int", Value(-5), L"-5"),
      row("whole doubles are integers", Value(2.0), L"2"),
      row("fractions", Value(2.5), L"2.5"),
      row("beyond the integers", Value(3e9), L"3e9"),
      row("booleans are integers", List({Value(true), Value(false)}), L"[1, 0]"),
      row("scalars", List({ScalarValue(4), ScalarValue(0.5)}), L"[4, 0.5]"),
      row("no items count as a single value", List({}), L"\"[]\""),
      row("no keys as well", Dict({}), L"\"{}\""),
      row("null items", List({nullptr, Value(1)}), L"[null, 1]"),
      row("string lists", Texts({L"a", L"1"}), L"[\"a\", \"1\"]"),
      row("rows of tables", TableValue({1, 2.5}), L"[1, 2.5]"),
      row("dictionaries keep the order of their keys", Dict({{L"name", Value(L"a")}, {L"count", Value(3.0)}}),
          L"{\"__keys__\": [\"name\", \"count\"], \"name\": \"a\", \"count\": 3}"),
      row("nested", Dict({{L"z", List({Dict({{L"k", nullptr}})})}}),
          L"{\"__keys__\": [\"z\"], \"z\": [{\"__keys__\": [\"k\"], \"k\": null}]}"),
      row("ranges by their keys", RangeValue(1, 2.5),
          L"{\"__keys__\": [\"Start\", \"End\"], \"Start\": 1, \"End\": 2.5}"),
  });
  ExpectRow(Converted("a string that is JSON", Value(L"{\"a\": 1}"), L"Json", Json(L"{\"a\": 1}")));
}

TEST(Convert, NestingWithoutEndIsAMessage) {
  DataPtr value = List({});
  for (int level = 0; level < 5000; ++level) value = List({value});
  ModelHost host;
  host.Add(L"Convert", L"op");
  host.Set(L"op.Input", value).Set(L"op.DataType", L"Json");
  EXPECT_FALSE(host.Run());
  EXPECT_EQ(host.Error(), L"Could not convert VANTIX.List to Json.");
}

TEST(IsEqual, Rows) {
  const auto row = [](const char* title, const DataPtr& first, const DataPtr& second, bool expected,
                      bool reopens = true) {
    return Row{title, L"AreEqual", {{L"Input1", first}, {L"Input2", second}}, L"AreEqual", Value(expected),
               {},    reopens};
  };
  const auto failing = [](const char* title, const DataPtr& first, const DataPtr& second, const wchar_t* error) {
    return Row{title, L"AreEqual", {{L"Input1", first}, {L"Input2", second}}, L"AreEqual", nullptr, error, false};
  };
  const auto password = [](const wchar_t* text) { return tessera::MakeData<basic::PasswordData>(text); };
  ExpectRows({
      row("the second takes the type of the first", Value(1), Value(1.0), true),
      row("and loses its fraction", Value(1), Value(1.9), true),
      row("not the other way round", Value(1.9), Value(1), false),
      row("or the first that of the second", Value(L"a"), Texts({L"a"}), true),
      row("texts", Value(L"a"), Value(L"a"), true),
      row("other texts", Value(L"a"), Value(L"A"), false),
      row("lists", List({Value(1), nullptr}), List({Value(1), nullptr}), true),
      row("order", List({Value(1), Value(2)}), List({Value(2), Value(1)}), false),
      row("the host's equality has the last word", List({Value(1)}), List({Value(1.0)}), true),
      row("dictionaries whatever the order", Dict({{L"a", Value(1)}, {L"b", Value(2)}}),
          Dict({{L"b", Value(2)}, {L"a", Value(1)}}), true),
      row("tables", TableValue({1, 2}), TableValue({1, 2}), true),
      row("other tables", TableValue({1, 2}), TableValue({1, 3}), false),
      failing("first", nullptr, Value(1), L"No data on port."),
      failing("second", Value(1), nullptr, L"No data on port."),
      failing("no conversion", Value(1), RangeValue(1, 2), L"Could not convert inputs to the same data type."),
      failing("no JSON", password(L"a"), password(L"a"), L"Input1 could not be serialized."),
      failing("no JSON of the second", List({Value(1)}), List({password(L"a")}), L"Input2 could not be serialized."),
  });
}

TEST(IsEqual, AnyValueIsAListOfOne) {
  ExpectRow({"a list of the value",
             L"AreEqual",
             {{L"Input1", List({Value(1)})}, {L"Input2", Value(1)}},
             L"AreEqual",
             Value(true)});
}

struct DifferenceRow {
  const char* title;
  DataPtr first;
  DataPtr second;
  bool equal;
  std::vector<std::wstring> lines;
  std::vector<std::wstring> exclusions = {};
};

void ExpectDifferences(const std::vector<DifferenceRow>& rows) {
  for (const auto& row : rows) {
    SCOPED_TRACE(row.title);
    for (const bool report : {false, true}) {
      ModelHost host;
      host.Add(L"AreDictionariesEqual", L"op");
      host.Set(L"op.Input1", row.first).Set(L"op.Input2", row.second).Set(L"op.ReportDifferences", report);
      if (!row.exclusions.empty()) host.Set(L"op.Exclusions", row.exclusions);
      ASSERT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
      EXPECT_EQ(host.Get<bool>(L"op.AreEqual"), row.equal);
      if (report)
        EXPECT_EQ(host.Get<std::vector<std::wstring>>(L"op.Differences"), row.lines);
      else
        EXPECT_FALSE(host.Existing(L"op.Differences"));
    }
  }
}

TEST(IsDictionaryEqual, KeysAndValues) {
  const auto one = Dict({{L"a", Value(1)}, {L"b", Value(L"x")}});
  ExpectDifferences({
      {"the same in another order", one, Dict({{L"b", Value(L"x")}, {L"a", Value(1)}}), true, {}},
      {"numbers by number", one, Dict({{L"a", Value(1.0)}, {L"b", Value(L"x")}}), true, {}},
      {"values",
       one,
       Dict({{L"a", Value(2)}, {L"b", Value(L"y")}}),
       false,
       {L"Input1/a's value is 1 != Input2/a's value is 2", L"Input1/b's value is \"x\" != Input2/b's value is \"y\""}},
      {"another key",
       one,
       Dict({{L"a", Value(1)}, {L"c", Value(L"x")}}),
       false,
       {L"Input2 does not contain the key b.", L"Input1 does not contain the key c."}},
      {"a key less",
       one,
       Dict({{L"a", Value(1)}}),
       false,
       {L"Input1 and Input2 do not contain the same number of keys.", L"Input1's keys are: a, b",
        L"Input2's keys are: a", L"Input2 does not contain the key b."}},
      {"a null",
       Dict({{L"a", nullptr}}),
       Dict({{L"a", Value(1)}}),
       false,
       {L"Input1/a is NULL, but Input2/a is not NULL"}},
      {"the other null",
       Dict({{L"a", Value(1)}}),
       Dict({{L"a", nullptr}}),
       false,
       {L"Input2/a is NULL, but Input1/a is not NULL"}},
      {"both null", Dict({{L"a", nullptr}}), Dict({{L"a", nullptr}}), true, {}},
  });
}

TEST(IsDictionaryEqual, EmptyOnes) {
  const auto some = Dict({{L"a", Value(1)}});
  const std::wstring first = L"Input1 contains an empty dictionary.", second = L"Input2 contains an empty dictionary.";
  ExpectDifferences({
      {"both, which are equal and told", Dict({}), Dict({}), true, {first, second}},
      {"first", Dict({}), some, false, {first}},
      {"second", some, Dict({}), false, {second}},
  });
}

TEST(IsDictionaryEqual, Nested) {
  const auto nested = [](const DataPtr& item) { return Dict({{L"n", Dict({{L"k", item}})}}); };
  const auto list = [&](tessera::DataList items) { return nested(List(std::move(items))); };
  const auto password = nested(tessera::MakeData<basic::PasswordData>(L"a"));
  ExpectDifferences({
      {"members", nested(Value(1)), nested(Value(2)), false, {L"Input1/n/k's value is 1 != Input2/n/k's value is 2"}},
      {"items",
       list({Value(1), Value(2)}),
       list({Value(1), Value(3)}),
       false,
       {L"Input1/n/k/[1]'s value is 2 != Input2/n/k/[1]'s value is 3"}},
      {"numbers of items",
       list({Value(1), Value(2)}),
       list({Value(1)}),
       false,
       {L"Input1/n/k and Input2/n/k do not contain the same number of items.", L"Input1/n/k contains 2 items.",
        L"Input2/n/k contains 1 items."}},
      {"no JSON", password, password, false, {L"Input1/n/k cannot converted to JSON."}},
      {"lists of nothing", list({}), list({}), true, {}},
  });
}

TEST(IsDictionaryEqual, ExclusionsAreLeftOut) {
  const auto dated = [](int date, const DataPtr& inner) { return Dict({{L"date", Value(date)}, {L"x", inner}}); };
  const auto inner = [](int date) { return Dict({{L"date", Value(date)}, {L"y", Value(1)}}); };
  ExpectDifferences({
      {"at every depth", dated(1, inner(2)), dated(3, inner(4)), true, {}, {L"date"}},
      {"on one side alone", dated(1, Value(1)), Dict({{L"x", Value(1)}}), true, {}, {L"date"}},
      {"others count",
       dated(1, Value(1)),
       dated(2, Value(3)),
       false,
       {L"Input1/x's value is 1 != Input2/x's value is 3"},
       {L"date", L"none"}},
  });
}

TEST(IsDictionaryEqual, BothAreRequired) {
  ExpectRows({
      {"first", L"AreDictionariesEqual", {{L"Input2", Dict({})}}, L"AreEqual", nullptr, L"No data on port."},
      {"second", L"AreDictionariesEqual", {{L"Input1", Dict({})}}, L"AreEqual", nullptr, L"No data on port."},
  });
}

TEST(IsDictionaryEqual, NestingWithoutEndIsNoCrash) {
  const auto nested = [] {
    DataPtr list = List({});
    for (int level = 0; level < 5000; ++level) list = List({list});
    return Dict({{L"a", list}});
  };
  ModelHost host;
  host.Add(L"AreDictionariesEqual", L"op");
  host.Set(L"op.Input1", nested()).Set(L"op.Input2", nested());
  ASSERT_TRUE(host.Run());
  EXPECT_FALSE(host.Get<bool>(L"op.AreEqual")) << "what is too deep to be looked at is not called equal";
}

TEST(DataInformation, Rows) {
  ExpectRows({
      {"name", L"DataInformation", {{L"Data", Value(1.5)}}, L"DataTypeName", Value(L"Double")},
      {"namespace", L"DataInformation", {{L"Data", TableValue({1})}}, L"DataTypeNamespace", Value(L"VANTIX")},
      {"nothing", L"DataInformation", {}, L"DataTypeName", nullptr, L"Data is empty."},
  });
}

}  // namespace
