#include <dlfcn.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "plugin/availablepluginproxy.h"
#include "support/modelhost.h"
#include "txbasiclib/basicvalues.h"
#include "txbasiclib/requests.h"
#include "txlib/conversion.h"
#include "txlib/factories.h"

namespace {

using korven::plugin::AvailablePluginProxiesFunction;
using korven::plugin::AvailablePluginProxy;
using Names = std::vector<std::wstring>;
using Proxies = std::vector<boost::shared_ptr<AvailablePluginProxy>>;

std::string LibraryFile() {
  const char* home = std::getenv("VANTIX_HOME");
  const char* archm = std::getenv("ARCHM");
  return std::string(home ? home : "") + "/lib/" + (archm ? archm : "") + "/plugins/libtx_general.so";
}

AvailablePluginProxiesFunction Entry() {
  void* library = ::dlopen(LibraryFile().c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library) throw std::runtime_error(::dlerror());
  return reinterpret_cast<AvailablePluginProxiesFunction>(::dlsym(library, "GetAvailablePluginProxiesOfType"));
}

Proxies ProxiesOf(const std::wstring& category) {
  Proxies proxies;
  EXPECT_EQ(Entry()(category, proxies), 0);
  return proxies;
}

Names NamesOf(const Proxies& proxies) {
  Names names;
  for (const auto& proxy : proxies) names.push_back(proxy->GetName());
  return names;
}

const Names kOperators = {L"RequireCondition",
                          L"ToString",
                          L"TextFileInput",
                          L"RegularExpressionSearch",
                          L"If",
                          L"Iterator",
                          L"VANTIX.IteratorExecutionMethodInProcessSerial",
                          L"VANTIX.IteratorExecutionMethodInProcessParallel",
                          L"VANTIX.IteratorExecutionMethodOutOfProcessBatch",
                          L"Merge",
                          L"Range",
                          L"RangeList",
                          L"List",
                          L"Dictionary",
                          L"NthItem",
                          L"FindItem",
                          L"DictionaryItem",
                          L"Report",
                          L"Preview",
                          L"TesseraModel",
                          L"AddBackgroundRow",
                          L"RemoveBackgroundRow",
                          L"CommandLine",
                          L"OperatorNotFound",
                          L"CreateTempFilename",
                          L"MultiFilenameInput",
                          L"ZonalSummaryChange",
                          L"CreateSymbolicLink",
                          L"CreateLockFile",
                          L"CopyFileToDirectory",
                          L"PathExists",
                          L"DeleteDirectory",
                          L"NumItems",
                          L"RemoveEmptyItems",
                          L"DirectoryContents",
                          L"ExpandEnvVars",
                          L"IfElse",
                          L"IsEmpty",
                          L"AreEqual",
                          L"AreDictionariesEqual",
                          L"GetPreferenceValue",
                          L"ColorRampInput",
                          L"CreateColorRamp",
                          L"ExamineCRSID",
                          L"ConstructCRSID",
                          L"VANTIX.Convert",
                          L"VANTIX.MeasurePerformanceModel",
                          L"DataInformation",
                          L"HasEmptyItems",
                          L"VANTIX.StringList",
                          L"VANTIX.Correlation",
                          L"CustomMatrixInput",
                          L"MatrixFileInput",
                          L"KernelMatrixInput",
                          L"DynamicMatrixInputList",
                          L"DynamicMatrixInputSeries",
                          L"MatrixSubset",
                          L"MatrixFileOutput",
                          L"ScalarInput",
                          L"ScalarFileInput",
                          L"ScalarFileOutput",
                          L"CustomTableInput",
                          L"TableFileInput",
                          L"DynamicTableInputList",
                          L"DynamicTableInputSeries",
                          L"TableSubset",
                          L"TableFileOutput",
                          L"VANTIX.Combine",
                          L"SortItems",
                          L"ArrangeItems",
                          L"VANTIX.ResizeTable",
                          L"VANTIX.ResizeMatrix",
                          L"VANTIX.SetTableValues",
                          L"VANTIX.SetMatrixValues",
                          L"VANTIX.LockWhileExecuting",
                          L"CatchError",
                          L"VANTIX.DictionaryInput",
                          L"CRSIDOutput",
                          L"VANTIX.DictionaryInputHDR",
                          L"DeleteFile",
                          L"CreateDirectory"};
const Names kConversions = {L"BoolToInt",
                            L"BoolToDouble",
                            L"BoolToUnsigned",
                            L"DoubleToBool",
                            L"DoubleToInt",
                            L"DoubleToUnsigned",
                            L"IntToBool",
                            L"IntToDouble",
                            L"IntToUnsigned",
                            L"UnsignedToBool",
                            L"UnsignedToDouble",
                            L"UnsignedToInt",
                            L"UnsignedToRange",
                            L"RangeToRangeList",
                            L"TableToRangeList",
                            L"BaseDataStackToScalar",
                            L"ScalarToBaseDataStack",
                            L"BaseDataStackToTable",
                            L"TableToBaseDataStack",
                            L"BaseDataStackToMatrix",
                            L"MatrixToBaseDataStack",
                            L"StringToJson",
                            L"StringToFile",
                            L"StringToDirectory",
                            L"StringListToList",
                            L"ListToStringList",
                            L"AnyToList",
                            L"VANTIX.Table|VANTIX.List",
                            L"VANTIX.String|VANTIX.StringList"};
const Names kData = {L"AttributeTable",
                     L"BaseDataStack",
                     L"Color",
                     L"DateTime",
                     L"DistanceUnitType",
                     L"Range",
                     L"RangeList",
                     L"Json",
                     L"Scalar",
                     L"SimpleDataType",
                     L"Table",
                     L"VectorFeatureType",
                     L"VANTIX.NumberType",
                     L"Password"};

TEST(Catalogue, OperatorsStandInTheirOrder) {
  EXPECT_EQ(NamesOf(ProxiesOf(L"Operator")), kOperators);
  EXPECT_EQ(kOperators.size(), 81u);
}

TEST(Catalogue, OtherBlocks) {
  EXPECT_EQ(NamesOf(ProxiesOf(L"Conversion")), kConversions);
  EXPECT_EQ(kConversions.size(), 29u);
  EXPECT_EQ(NamesOf(ProxiesOf(L"Data")), kData);
  EXPECT_EQ(NamesOf(ProxiesOf(L"DataRequest")), Names{L"DirectedDataRequest"});
  EXPECT_EQ(NamesOf(ProxiesOf(L"UIProvider")), Names{L"ConstructCRSIDHorizontalUnitsPortProvider"});
}

TEST(Catalogue, EmptyCategoryGivesAllBlocksInOrder) {
  Names expected;
  for (const wchar_t* category : {L"Operator", L"Conversion", L"Data", L"DataRequest", L"ModelFormat", L"UIProvider"}) {
    for (const auto& name : NamesOf(ProxiesOf(category))) expected.push_back(name);
  }
  EXPECT_EQ(NamesOf(ProxiesOf(L"")), expected);
  EXPECT_EQ(expected.size(), 127u);
}

TEST(Catalogue, UnknownCategoriesGiveNothingAndSucceed) {
  for (const std::wstring category : {L"operator", L"Operators", L" ", L"Operator ", L"DATA"}) {
    EXPECT_TRUE(ProxiesOf(category).empty());
  }
  EXPECT_TRUE(ProxiesOf(std::wstring(1, L'\0')).empty());
}

TEST(Catalogue, EarlierEntriesOfTheListStayAhead) {
  Proxies proxies{AvailablePluginProxy::Create(L"mine", AvailablePluginProxy::Factory())};
  const auto mine = proxies.front();
  EXPECT_EQ(Entry()(L"unknown", proxies), 0);
  EXPECT_EQ(proxies.size(), 1u);
  EXPECT_EQ(Entry()(L"DataRequest", proxies), 0);
  ASSERT_EQ(proxies.size(), 2u);
  EXPECT_EQ(proxies[0], mine);
}

TEST(Catalogue, EachTypeIsMadeFreshAndKnowsItsName) {
  for (const auto& proxy : ProxiesOf(L"")) {
    SCOPED_TRACE(::testing::PrintToString(proxy->GetName()));
    const auto first = proxy->CreateInstance(), second = proxy->CreateInstance();
    ASSERT_TRUE(first && second);
    EXPECT_NE(first, second);
    const std::wstring name = first->Name();
    // Values answer with the plain type name whatever they are registered under.
    const bool isData = boost::dynamic_pointer_cast<Tamrin::Tessera::Data>(first) != nullptr;
    EXPECT_EQ(name, isData && proxy->GetName() == L"VANTIX.NumberType" ? L"NumberType" : proxy->GetName());
  }
}

// The casts go by type information that the engine's library and the plug-in each have a copy of.
TEST(Catalogue, InstancesAreWhatTheirCategorySays) {
  using namespace Tamrin::Tessera;
  for (const auto& proxy : ProxiesOf(L"Operator")) {
    const auto op = boost::dynamic_pointer_cast<Operator>(proxy->CreateInstance());
    ASSERT_TRUE(op);
    EXPECT_TRUE(op->GetPorts().empty()) << "ports are made by Initialize";
    op->Initialize();
    EXPECT_EQ(op->SharedThis(), op);
    EXPECT_STREQ(op->GetDefaultNamespace(), L"VANTIX");
    const std::wstring dotted = proxy->GetName();
    const std::wstring plain = dotted.starts_with(L"VANTIX.") ? dotted.substr(7) : dotted;
    EXPECT_EQ(op->GetDefaultOperatorName(), plain);
  }
  for (const auto& proxy : ProxiesOf(L"Conversion")) {
    EXPECT_TRUE(boost::dynamic_pointer_cast<Conversion>(proxy->CreateInstance()));
  }
  for (const auto& proxy : ProxiesOf(L"Data")) {
    EXPECT_TRUE(boost::dynamic_pointer_cast<Data>(proxy->CreateInstance()));
  }
  EXPECT_TRUE(boost::dynamic_pointer_cast<UIProvider>(ProxiesOf(L"UIProvider").front()->CreateInstance()));
  const auto request = ProxiesOf(L"DataRequest").front()->CreateInstance();
  EXPECT_TRUE(boost::dynamic_pointer_cast<Tamrin::TesseraBasic::DirectedDataRequest>(request));
}

TEST(Catalogue, ExactlyOneSymbolIsVisible) {
  const std::string command = "nm -D --defined-only '" + LibraryFile() + "'";
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), &::pclose);
  std::string output;
  std::array<char, 4096> block;
  while (std::fgets(block.data(), block.size(), pipe.get())) output += block.data();
  EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1) << output;
  EXPECT_THAT(output, ::testing::EndsWith(" T GetAvailablePluginProxiesOfType\n"));
}

struct Sheet {
  const wchar_t* name;
  const wchar_t* displayName;
  const wchar_t* category;
  const wchar_t* icon;
  const wchar_t* colorCategory;
  const wchar_t* keywords;
  bool usableInExpression;
  Names ports;
};

const wchar_t* const kHostIcon = L"document_plain.ico";

const Names kMethodPorts = {L"Model", L"CommonInputDataCount", L"InputData", L"OutputPortNames", L"OutputData"};

const std::vector<Sheet> kSheets = {
    {L"Iterator",
     L"Iterator",
     L"General|Flow Control",
     L"replace2.ico",
     L"",
     L"Loop|Repeat|Batch",
     false,
     {L"ExecutionMethod"}},
    {L"IteratorExecutionMethodInProcessSerial", L"IteratorExecutionMethodInProcessSerial", L"General", kHostIcon, L"",
     L"Loop|Repeat", true, kMethodPorts},
    {L"IteratorExecutionMethodInProcessParallel", L"IteratorExecutionMethodInProcessParallel", L"General", kHostIcon,
     L"", L"Loop|Repeat", true, kMethodPorts},
    {L"IteratorExecutionMethodOutOfProcessBatch", L"IteratorExecutionMethodOutOfProcessBatch", L"General", kHostIcon,
     L"", L"Loop|Repeat|Batch", true, kMethodPorts},
    {L"RequireCondition",
     L"Require Condition",
     L"Conditional",
     L"sign_warning.ico",
     L"",
     L"Test|Warning|Error|Assert",
     false,
     {L"ShouldBeTrue", L"Message", L"Success"}},
    {L"ToString", L"To String", L"String", kHostIcon, L"", L"", true, {L"Data", L"String"}},
    {L"TextFileInput",
     L"Text File Input",
     L"Input|Filename",
     L"text_binary.ico",
     L"Input_Output",
     L"",
     true,
     {L"Filename", L"Offset", L"Size", L"String"}},
    {L"RegularExpressionSearch",
     L"Regular Expression Search",
     L"String",
     L"text_binary.ico",
     L"",
     L"",
     true,
     {L"StringIn", L"RegEx", L"StringOut"}},
    {L"If", L"If", L"General", kHostIcon, L"", L"", true, {L"Test", L"Input", L"True", L"False"}},
    {L"Merge", L"Merge", L"Flow Control", L"OpMerge.ico", L"", L"", true, {L"Input1", L"Input2", L"Output"}},
    {L"Report",
     L"Report",
     L"Output|View",
     L"notebook2.ico",
     L"Input_Output",
     L"Session|Log|Text|Message",
     true,
     {L"ToSessionLog", L"TextFilename", L"ConfigString", L"Input1", L"Output1"}},
    {L"CommandLine",
     L"Command Line",
     L"General",
     L"OpGeneral_CommandLine.ico",
     L"",
     L"",
     false,
     {L"SearchPath", L"ReturnCode", L"ConsoleOutput"}},
    {L"CreateSymbolicLink",
     L"CreateSymbolicLink",
     L"General",
     kHostIcon,
     L"",
     L"",
     true,
     {L"SourceFilename", L"LinkFilenameIn", L"LinkFilenameOut"}},
    {L"CreateLockFile", L"CreateLockFile", L"General", kHostIcon, L"", L"", true, {L"FilenameIn", L"FilenameOut"}},
    {L"CopyFileToDirectory",
     L"Copy File To Directory",
     L"Pathnames",
     L"document_plain.ico",
     L"",
     L"",
     true,
     {L"FilenameIn", L"OutputDirectory", L"FilenameOut"}},
    {L"PathExists", L"Path Exists", L"Pathnames", L"document_plain.ico", L"", L"", true, {L"Path", L"PathExists"}},
    {L"DeleteDirectory",
     L"Delete Directory",
     L"Pathnames",
     L"document_plain.ico",
     L"",
     L"",
     false,
     {L"Directory", L"DirectoryExisted"}},
    {L"DeleteFile",
     L"Delete File",
     L"Pathnames|Modify",
     L"document_plain.ico",
     L"",
     L"",
     true,
     {L"FilenameIn", L"FilenameOut", L"FileExisted"}},
    {L"CreateDirectory",
     L"Create Directory",
     L"Pathnames|Modify",
     L"document_plain.ico",
     L"",
     L"",
     true,
     {L"DirectoryIn", L"DirectoryOut"}},
    {L"CreateTempFilename",
     L"Create Temp Filename",
     L"Input|Filename",
     L"document_plain.ico",
     L"",
     L"",
     false,
     {L"Extension", L"Filename"}},
    {L"MultiFilenameInput",
     L"Multi Filename Input",
     L"Input|Filename",
     L"folder_with_files.ico",
     L"",
     L"Directory",
     false,
     {L"Directory", L"Wildcard", L"IncludeSubFolders", L"FilenamesIn", L"FilenamesOut"}},
    {L"DirectoryContents", L"DirectoryContents", L"General", kHostIcon, L"", L"", true, {L"Directory", L"PathList"}},
    {L"ExpandEnvVars",
     L"Expand Env Vars",
     L"String",
     L"document_plain.ico",
     L"",
     L"Environment|Variables",
     true,
     {L"StringIn", L"StringOut"}},
    {L"IfElse",
     L"If Else",
     L"Flow Control",
     L"Conditional.ico",
     L"",
     L"Test|Conditional",
     false,
     {L"Test", L"True1", L"False1", L"Output1"}},
    {L"GetPreferenceValue",
     L"Get Preference Value",
     L"General",
     L"document_plain.ico",
     L"",
     L"",
     true,
     {L"Category", L"Name", L"Value"}},
    {L"Preview", L"Preview", L"Output|View", L"viewer_menu.ico", L"Input_Output", L"", false, {L"Input1"}},
    {L"TesseraModel", L"Tessera Model", L"General", L"TesseraX.ico", L"", L"", false, {L"LinkedModelFilename"}},
    {L"OperatorNotFound", L"", L"", L"sign_warning_toxic.ico", L"Not_Found", L"", true, {}},
    {L"MeasurePerformanceModel", L"", L"", L"", L"", L"", false, {L"DurationInSeconds"}},
    {L"LockWhileExecuting", L"", L"", L"lock2.ico", L"", L"", false, {L"DatasetReference", L"Timeout"}},
    {L"CatchError",
     L"Catch Error",
     L"Conditional",
     L"CatchError.ico",
     L"",
     L"Test|Exception|Trap|Suppress|Intercept|Failure|Detect|Assert",
     false,
     {L"ErrorOccurred"}},
};

TEST(Catalogue, SheetsAndPorts) {
  for (const auto& sheet : kSheets) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(sheet.name)));
    testing_support::ModelHost host;
    const auto op = host.Add(sheet.name);
    EXPECT_STREQ(op->GetDefaultDisplayName(), sheet.displayName);
    EXPECT_STREQ(op->GetDefaultDisplayCategory(), sheet.category);
    EXPECT_STREQ(op->GetDefaultIcon(), sheet.icon);
    EXPECT_STREQ(op->GetDefaultColorCategory(), sheet.colorCategory);
    EXPECT_STREQ(op->GetDefaultKeywords(), sheet.keywords);
    EXPECT_EQ(op->GetDefaultIsUsableInExpression(), sheet.usableInExpression);
    EXPECT_EQ(testing_support::PortNames(*op), sheet.ports);
  }
}

struct PortRow {
  const wchar_t* port;
  Names types;
  int portType;  ///< 0 input, 1 output, 2 setting
  bool optional;
  bool hidden;
};

TEST(Catalogue, PortsAsDeclared) {
  const std::vector<PortRow> rows = {
      {L"Iterator.ExecutionMethod", {L"VANTIX.String"}, 0, true, true},
      {L"IteratorExecutionMethodInProcessSerial.Model", {L"VANTIX.String"}, 0, false, false},
      {L"IteratorExecutionMethodInProcessSerial.CommonInputDataCount", {L"VANTIX.Unsigned"}, 0, false, false},
      {L"IteratorExecutionMethodInProcessSerial.InputData", {L"VANTIX.Dictionary"}, 0, false, false},
      {L"IteratorExecutionMethodInProcessSerial.OutputPortNames", {L"VANTIX.StringList"}, 0, false, false},
      {L"IteratorExecutionMethodInProcessSerial.OutputData", {L"VANTIX.Dictionary"}, 1, false, false},
      {L"IteratorExecutionMethodInProcessParallel.Model", {L"VANTIX.String"}, 0, false, false},
      {L"IteratorExecutionMethodInProcessParallel.CommonInputDataCount", {L"VANTIX.Unsigned"}, 0, false, false},
      {L"IteratorExecutionMethodInProcessParallel.InputData", {L"VANTIX.Dictionary"}, 0, false, false},
      {L"IteratorExecutionMethodInProcessParallel.OutputPortNames", {L"VANTIX.StringList"}, 0, false, false},
      {L"IteratorExecutionMethodInProcessParallel.OutputData", {L"VANTIX.Dictionary"}, 1, false, false},
      {L"IteratorExecutionMethodOutOfProcessBatch.Model", {L"VANTIX.String"}, 0, false, false},
      {L"IteratorExecutionMethodOutOfProcessBatch.CommonInputDataCount", {L"VANTIX.Unsigned"}, 0, false, false},
      {L"IteratorExecutionMethodOutOfProcessBatch.InputData", {L"VANTIX.Dictionary"}, 0, false, false},
      {L"IteratorExecutionMethodOutOfProcessBatch.OutputPortNames", {L"VANTIX.StringList"}, 0, false, false},
      {L"IteratorExecutionMethodOutOfProcessBatch.OutputData", {L"VANTIX.Dictionary"}, 1, false, false},
      {L"RequireCondition.ShouldBeTrue", {L"VANTIX.Bool"}, 0, false, false},
      {L"RequireCondition.Message", {L"VANTIX.String"}, 0, true, false},
      {L"RequireCondition.Success", {L"VANTIX.Bool"}, 1, false, false},
      {L"ToString.Data", {L"VANTIX.Data"}, 0, false, false},
      {L"TextFileInput.Filename", {L"VANTIX.File"}, 0, false, false},
      {L"TextFileInput.Offset", {L"VANTIX.Unsigned"}, 0, true, true},
      {L"TextFileInput.Size", {L"VANTIX.Unsigned"}, 0, true, true},
      {L"If.Test", {L"VANTIX.Bool", L"VANTIX.Data"}, 0, true, false},
      {L"If.True", {L"VANTIX.Data"}, 1, true, false},
      {L"Merge.Input1", {L"VANTIX.Data"}, 0, false, false},
      {L"Merge.Output", {L"VANTIX.Data"}, 1, false, false},
      {L"Report.ToSessionLog", {L"VANTIX.Bool"}, 0, true, true},
      {L"Report.TextFilename", {L"VANTIX.File"}, 0, true, true},
      {L"Report.ConfigString", {L"VANTIX.String"}, 2, false, false},
      {L"Report.Input1", {L"VANTIX.Data"}, 0, false, false},
      {L"Report.Output1", {L"VANTIX.Data"}, 1, false, true},
      {L"CreateTempFilename.Extension", {L"VANTIX.String"}, 0, true, false},
      {L"MultiFilenameInput.Directory", {L"VANTIX.Directory"}, 0, true, false},
      {L"MultiFilenameInput.Wildcard", {L"VANTIX.String"}, 0, true, false},
      {L"MultiFilenameInput.IncludeSubFolders", {L"VANTIX.Bool"}, 0, true, false},
      {L"MultiFilenameInput.FilenamesIn", {L"VANTIX.List"}, 0, true, true},
      {L"DirectoryContents.Directory", {L"VANTIX.Directory"}, 0, false, false},
      {L"IfElse.Test", {L"VANTIX.Bool", L"VANTIX.Data"}, 0, true, false},
      {L"IfElse.True1", {L"VANTIX.Data"}, 0, true, false},
      {L"IfElse.False1", {L"VANTIX.Data"}, 0, true, false},
      {L"IfElse.Output1", {L"VANTIX.Data"}, 1, true, false},
      {L"GetPreferenceValue.Value",
       {L"VANTIX.String", L"VANTIX.Bool", L"VANTIX.Double", L"VANTIX.Color"},
       1,
       false,
       false},
      {L"Preview.Input1", {L"VANTIX.Data"}, 0, false, false},
      {L"TesseraModel.LinkedModelFilename", {L"VANTIX.File"}, 2, false, false},
      {L"MeasurePerformanceModel.DurationInSeconds", {L"VANTIX.Double"}, 1, false, false},
      {L"LockWhileExecuting.DatasetReference", {L"VANTIX.File"}, 0, false, false},
      {L"LockWhileExecuting.Timeout", {L"VANTIX.Unsigned"}, 0, false, true},
      {L"CatchError.ErrorOccurred", {L"VANTIX.Bool"}, 1, false, false},
  };
  testing_support::ModelHost host;
  for (const auto& sheet : kSheets) host.Add(sheet.name);
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(row.port)));
    const auto port = host.PortOf(row.port);
    Names types;
    for (const auto& type : port->GetSupportedDataTypes()) types.push_back(type.ToString());
    EXPECT_EQ(types, row.types);
    EXPECT_EQ(static_cast<int>(port->GetPortType()), row.portType);
    EXPECT_EQ(port->IsOptional(), row.optional);
    EXPECT_EQ(port->IsHidden(), row.hidden);
  }
}

TEST(Catalogue, FilePortsTellTheDialog) {
  testing_support::ModelHost host;
  host.Add(L"TextFileInput");
  host.Add(L"Report");
  host.Add(L"CreateTempFilename");
  host.Add(L"LockWhileExecuting");
  host.Add(L"TesseraModel");
  const auto attribute = [&](const wchar_t* port, const wchar_t* key) {
    return host.PortOf(port)->GetAttribute(key)->ToString();
  };
  EXPECT_EQ(attribute(L"TextFileInput.Filename", L"FileFilter"), L"Text File (*.txt)");
  EXPECT_EQ(attribute(L"TextFileInput.Filename", L"Extension"), L"*.txt");
  EXPECT_EQ(attribute(L"TextFileInput.Filename", L"Kind"), L"text");
  EXPECT_EQ(attribute(L"Report.TextFilename", L"FileFilter"), L"Report File (*.txt)");
  EXPECT_EQ(attribute(L"Report.TextFilename", L"Extension"), L"*.txt");
  EXPECT_EQ(attribute(L"Report.TextFilename", L"Kind"), L"text");
  EXPECT_EQ(attribute(L"CreateTempFilename.Filename", L"Kind"), L"any");
  EXPECT_EQ(attribute(L"LockWhileExecuting.DatasetReference", L"FileFilter"), L"Any File (*.*)");
  EXPECT_EQ(attribute(L"LockWhileExecuting.DatasetReference", L"Extension"), L"*.*");
  EXPECT_EQ(attribute(L"LockWhileExecuting.DatasetReference", L"Kind"), L"any");
  EXPECT_EQ(attribute(L"LockWhileExecuting.DatasetReference", L"Input"), L"true");
  EXPECT_EQ(attribute(L"TesseraModel.LinkedModelFilename", L"FileFilter"), L"Tessera Model (*.tsmx)");
  EXPECT_EQ(attribute(L"TesseraModel.LinkedModelFilename", L"Extension"), L"*.tsmx");
  EXPECT_EQ(attribute(L"TesseraModel.LinkedModelFilename", L"Kind"), L"text");
  using Tamrin::Tessera::BoolData;
  const auto input = [&](const wchar_t* port) {
    return boost::dynamic_pointer_cast<BoolData>(host.PortOf(port)->GetAttribute(L"Input"))->GetDataValue();
  };
  EXPECT_TRUE(input(L"TextFileInput.Filename"));
  EXPECT_FALSE(input(L"Report.TextFilename"));
}

}  // namespace
