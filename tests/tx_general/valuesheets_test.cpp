#include "tx_general/rows.h"

// What the operators on lists, dictionaries and values say of themselves.
namespace {

using namespace testing_support;
using Names = std::vector<std::wstring>;

const wchar_t* const kNone = L"document_plain.ico";

struct Sheet {
  const wchar_t* name;
  const wchar_t* displayName;
  const wchar_t* category;
  const wchar_t* icon;
  const wchar_t* keywords;
  const wchar_t* description;
};

const std::vector<Sheet> kSheets = {
    {L"Range", L"Range", L"General", L"OpCategory_Distance.ico", L"",
     L"Constructs a Range with a start and end index."},
    {L"RangeList", L"Range List", L"General", kNone, L"", L"Constructs a list of one or more Ranges."},
    {L"List", L"List", L"List", kNone, L"", L"The List operator takes in N items and creates a list of those items."},
    {L"Dictionary", L"Dictionary", L"Dictionary", kNone, L"Metadata",
     L"Make a dictionary from provided names and values, or modifies an existing dictionary."},
    {L"NthItem", L"Nth Item", L"List", kNone, L"", L"Gets a single item off a list by index."},
    {L"FindItem", L"Find Item", L"General|List", kNone, L"",
     L"Gets a single item off a list by return a list of indices."},
    {L"DictionaryItem", L"Dictionary Item", L"Dictionary", kNone, L"", L""},
    {L"NumItems", L"Num Items", L"List", kNone, L"", L"Returns the number of items in a list."},
    {L"RemoveEmptyItems", L"Remove Empty Items", L"List", kNone, L"", L"Removes any NULL items from a list."},
    {L"IsEmpty", L"Is Empty", L"Relational", kNone, L"", L""},
    {L"AreEqual", L"Are Equal", L"Relational", kNone, L"", L""},
    {L"AreDictionariesEqual", L"Are Dictionaries Equal", L"Relational", L"OpRelational_Equal.ico", L"",
     L"Compares two dictionaries. If all of the elements have the same names and values, true is set on the AreEqual "
     L"port. If they do not, then false is set on the port."},
    {L"Convert", L"Convert", L"General", L"DataInput.ico", L"Datatype", L"Convert data to a specified data type."},
    {L"DataInformation", L"Data Information", L"General", kNone, L"Data|Information|Type|Namespace",
     L"Provide basic information about a data stream."},
    {L"HasEmptyItems", L"HasEmptyItems", L"General", kNone, L"",
     L"Determines whether a list contains any empty items."},
    {L"StringList", L"String List", L"List", kNone, L"",
     L"The String List operator takes in N strings and creates a string list of those items."},
    {L"Combine", L"Combine", L"General|List", L"OpCategory_Conditional.ico", L"Append|Table|List|Concatenate",
     L"Combines multiple lists into a single list."},
    {L"SortItems", L"Sort Items", L"Data Generation", kNone, L"", L"Sorts tables and lists"},
    {L"ArrangeItems", L"Arrange Items", L"Table|List", kNone, L"Table|List|Slice|Sort",
     L"Given a list of values and a list of indices, create a new list."},
    {L"DictionaryInput", L"Dictionary Input", L"Dictionary", kNone, L"", L"Reads a supported file into a Dictionary."},
    {L"DictionaryInputHDR", L"Dictionary Input HDR", L"", kNone, L"", L"Reads a hdr file into a Dictionary."},
};

TEST(ValueOperators, Sheets) {
  ModelHost host;
  for (const auto& sheet : kSheets) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(sheet.name)));
    const auto op = host.Add(sheet.name);
    EXPECT_STREQ(op->GetDefaultOperatorName(), sheet.name);
    EXPECT_STREQ(op->GetDefaultDisplayName(), sheet.displayName);
    EXPECT_STREQ(op->GetDefaultDisplayCategory(), sheet.category);
    EXPECT_STREQ(op->GetDefaultIcon(), sheet.icon);
    EXPECT_STREQ(op->GetDefaultColorCategory(), L"");
    EXPECT_STREQ(op->GetDefaultKeywords(), sheet.keywords);
    EXPECT_STREQ(op->GetDefaultDescription(), sheet.description);
  }
}

enum Flags { kPlain = 0, kOptional = 1, kHidden = 2 };

struct PortRow {
  const wchar_t* port;
  int portType;  ///< 0 input, 1 output
  Names types;
  int flags = kPlain;
  const wchar_t* items = nullptr;  ///< the attribute that names the items of a list
};

const wchar_t* const kAny = L"VANTIX.Data";
const Names kList = {L"VANTIX.List"}, kListOrTable = {L"VANTIX.List", L"VANTIX.Table"};

TEST(ValueOperators, Ports) {
  const std::vector<PortRow> rows = {
      {L"Range.RangeStart", 0, {L"VANTIX.Double"}},
      {L"Range.RangeEnd", 0, {L"VANTIX.Double"}, kOptional},
      {L"Range.Output", 1, {L"VANTIX.Range"}},
      {L"RangeList.Range1", 0, {L"VANTIX.Range"}, kPlain, L"VANTIX.Range"},
      {L"RangeList.Output", 1, {L"VANTIX.RangeList"}},
      {L"List.ListIn", 0, kList, kOptional, kAny},
      {L"List.Value1", 0, {kAny}},
      {L"List.ListOut", 1, kList, kPlain, kAny},
      {L"Dictionary.DictionaryIn", 0, {L"VANTIX.Dictionary"}, kOptional},
      {L"Dictionary.Name1", 0, {L"VANTIX.String"}},
      {L"Dictionary.Value1", 0, {kAny}},
      {L"Dictionary.DictionaryOut", 1, {L"VANTIX.Dictionary"}},
      {L"NthItem.List", 0, kList, kPlain, kAny},
      {L"NthItem.Index", 0, {L"VANTIX.Int"}},
      {L"NthItem.Item", 1, {kAny}},
      {L"FindItem.List", 0, kList, kPlain, kAny},
      {L"FindItem.Item", 0, {kAny}},
      {L"FindItem.AttemptConversion", 0, {L"VANTIX.Bool"}, kOptional},
      {L"FindItem.Indices", 1, kList, kPlain, L"VANTIX.Unsigned"},
      {L"DictionaryItem.Dictionary", 0, {L"VANTIX.Dictionary"}},
      {L"DictionaryItem.AllowMissingItem", 0, {L"VANTIX.Bool"}, kOptional | kHidden},
      {L"DictionaryItem.Name1", 0, {L"VANTIX.String"}},
      {L"DictionaryItem.Item1", 1, {kAny}},
      {L"NumItems.List", 0, kList, kPlain, kAny},
      {L"NumItems.NumItems", 1, {L"VANTIX.Unsigned"}},
      {L"RemoveEmptyItems.ListIn", 0, kList, kPlain, kAny},
      {L"RemoveEmptyItems.ListOut", 1, kList, kPlain, kAny},
      {L"IsEmpty.Data", 0, {kAny}, kOptional},
      {L"IsEmpty.IsEmpty", 1, {L"VANTIX.Bool"}},
      {L"AreEqual.Input1", 0, {kAny}},
      {L"AreEqual.AreEqual", 1, {L"VANTIX.Bool"}},
      {L"AreDictionariesEqual.Input2", 0, {L"VANTIX.Dictionary"}},
      {L"AreDictionariesEqual.Exclusions", 0, {L"VANTIX.StringList"}, kOptional},
      {L"AreDictionariesEqual.ReportDifferences", 0, {L"VANTIX.Bool"}, kHidden},
      {L"AreDictionariesEqual.Differences", 1, {L"VANTIX.StringList"}, kHidden},
      {L"Convert.Input", 0, {kAny}},
      {L"Convert.DataType", 0, {L"VANTIX.String"}},
      {L"Convert.AllowEmptyOutput", 0, {L"VANTIX.Bool"}, kOptional | kHidden},
      {L"Convert.Output", 1, {kAny}},
      {L"DataInformation.DataTypeName", 1, {L"VANTIX.String"}},
      {L"HasEmptyItems.List", 0, kList, kPlain, kAny},
      {L"HasEmptyItems.Result", 1, {L"VANTIX.Bool"}},
      {L"StringList.StringListIn", 0, {L"VANTIX.StringList"}, kOptional},
      {L"StringList.String1", 0, {L"VANTIX.String"}},
      {L"StringList.StringListOut", 1, {L"VANTIX.StringList"}},
      {L"Combine.Collection1", 0, kList, kPlain, kAny},
      {L"Combine.Combination", 1, kListOrTable, kPlain, kAny},
      {L"SortItems.DataIn", 0, kListOrTable, kPlain, kAny},
      {L"SortItems.Order", 0, {L"VANTIX.String"}, kOptional},
      {L"SortItems.DataOut", 1, kListOrTable, kPlain, kAny},
      {L"SortItems.Indices", 1, kList, kHidden, L"VANTIX.Unsigned"},
      {L"ArrangeItems.DataIn", 0, kListOrTable, kPlain, kAny},
      {L"ArrangeItems.RangeList", 0, {L"VANTIX.RangeList"}},
      {L"ArrangeItems.DataOut", 1, kListOrTable, kPlain, kAny},
      {L"DictionaryInput.Filename", 0, {L"VANTIX.File"}},
      {L"DictionaryInput.Dictionary", 1, {L"VANTIX.Dictionary"}},
      {L"DictionaryInputHDR.Filename", 0, {L"VANTIX.File"}},
      {L"DictionaryInputHDR.Dictionary", 1, {L"VANTIX.Dictionary"}},
  };
  ModelHost host;
  for (const auto& sheet : kSheets) host.Add(sheet.name);
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(row.port)));
    const auto port = host.PortOf(row.port);
    Names types;
    for (const auto& type : port->GetSupportedDataTypes()) types.push_back(type.ToString());
    EXPECT_EQ(types, row.types);
    EXPECT_EQ(static_cast<int>(port->GetPortType()), row.portType);
    EXPECT_EQ(port->IsOptional(), (row.flags & kOptional) != 0);
    EXPECT_EQ(port->IsHidden(), (row.flags & kHidden) != 0);
    const auto items = port->GetAttribute(L"ListDataType");
    EXPECT_EQ(items ? items->ToString() : L"none", row.items ? row.items : L"none");
  }
}

TEST(ValueOperators, HeaderFilesTellTheDialog) {
  ModelHost host;
  const auto port = host.Add(L"DictionaryInputHDR")->GetPort(L"Filename");
  EXPECT_EQ(port->GetAttribute(L"FileFilter")->ToString(), L"HDR (*.hdr)");
  EXPECT_EQ(port->GetAttribute(L"Extension")->ToString(), L"*.hdr");
  EXPECT_EQ(port->GetAttribute(L"Kind")->ToString(), L"text");
  EXPECT_TRUE(port->GetAttribute(L"Input")->GetDataValue<bool>());
}

}  // namespace
