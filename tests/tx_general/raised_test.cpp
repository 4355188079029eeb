#include "korvenlog/exception.h"
#include "tx_general/stackvalues.h"

// Where failures of the environment say that they were raised: logs are searched for these names.
namespace {

using namespace testing_support;

struct Raised {
  const char* title;
  const wchar_t* op;
  std::vector<std::pair<std::wstring, DataPtr>> inputs;
  const wchar_t* text;
  const wchar_t* sourceFile;
  const wchar_t* function;
};

void ExpectPlaces(const std::vector<Raised>& failures) {
  for (const Raised& failure : failures) {
    SCOPED_TRACE(failure.title);
    ModelHost host;
    const auto op = host.Add(failure.op, L"op");
    for (const auto& [port, data] : failure.inputs) host.Set(L"op." + port, data);
    try {
      op->Execute();
      ADD_FAILURE() << "nothing was raised";
    } catch (const KorvenLog::Exception& exception) {
      EXPECT_EQ(exception.get_What(), failure.text);
      EXPECT_EQ(exception.get_SourceFile(), failure.sourceFile);
      EXPECT_EQ(exception.get_Function(), failure.function);
    }
  }
}

DataPtr StackValue(const std::vector<Kgda_PixelType>& layers) {
  KgdaBaseDataStack stack(KgdaBaseDataStack::KindMatrix);
  for (const auto type : layers) stack.AddLayer(1, 1, type);
  return tessera::MakeData<basic::BaseDataStackData>(std::move(stack));
}

TEST(Raised, ByMatrixSources) {
  const wchar_t* const unit = L"tx_general\\matrixsource";
  const wchar_t* const series = L"korven::tx_general::DynamicSeriesMatrixSource::OnExecute";
  const auto with = [](const DataPtr& initial, const DataPtr& row, const DataPtr& column) {
    return std::vector<std::pair<std::wstring, DataPtr>>{{L"RowCount", Value(1u)},
                                                         {L"ColumnCount", Value(1u)},
                                                         {L"InitialValue", initial},
                                                         {L"RowIncrement", row},
                                                         {L"ColumnIncrement", column}};
  };
  const DataPtr one = ScalarValue(1), text = TextScalar(L"a"), color = ColorScalar(1, 1, 1);
  ExpectPlaces({
      {"texts are not normalised",
       L"CustomMatrixInput",
       {{L"Value", StackValue({KgdaString})}, {L"Normalize", Value(true)}},
       L"Invalid matrix type for normalized matrix",
       unit,
       L"korven::tx_general::NormalizableMatrixSource::NormalizeAndSetOutput"},
      {"a later layer of texts",
       L"CustomMatrixInput",
       {{L"Value", StackValue({KgdaUInt8, KgdaString})}, {L"Normalize", Value(true)}},
       L"Invalid pixel type for matrix.",
       unit,
       L"ExtractMatrixValueAsDouble"},
      {"a later layer of complex numbers",
       L"CustomMatrixInput",
       {{L"Value", StackValue({KgdaUInt8, KgdaComplex64})}, {L"Normalize", Value(true)}},
       L"Invalid pixel type for matrix.",
       unit,
       L"ExtractMatrixValueAsDouble"},
      {"no initial value", L"DynamicMatrixInputSeries", with(nullptr, one, one),
       L"Invalid data on port InitialValue for operator op.", unit, series},
      {"no increment", L"DynamicMatrixInputSeries", with(one, one, nullptr),
       L"Invalid data on port Increment for operator op.", unit, series},
      {"text", L"DynamicMatrixInputSeries", with(one, one, text), L"Invalid matrix item type", unit, series},
      {"colour", L"DynamicMatrixInputSeries", with(color, one, one), L"Matrix item type mismatch", unit, series},
      {"layers", L"DynamicMatrixInputSeries", with(one, StackValue({KgdaUInt8, KgdaUInt8}), one),
       L"Invalid size for matrix item", unit, series},
  });
}

TEST(Raised, ByTableSources) {
  const wchar_t* const unit = L"tx_general\\tablesource";
  const wchar_t* const series = L"korven::tx_general::DynamicSeriesTableSource::OnExecute";
  const auto with = [](const DataPtr& initial, const DataPtr& increment) {
    return std::vector<std::pair<std::wstring, DataPtr>>{
        {L"Count", Value(1u)}, {L"InitialValue", initial}, {L"Increment", increment}};
  };
  const DataPtr one = ScalarValue(1), pair = MatrixOf(1, 2, {1, 2});
  ExpectPlaces({
      {"no initial value", L"DynamicTableInputSeries", with(nullptr, one),
       L"Invalid data on port InitialValue for operator op.", unit, series},
      {"no increment", L"DynamicTableInputSeries", with(one, nullptr),
       L"Invalid data on port Increment for operator op.", unit, series},
      {"text", L"DynamicTableInputSeries", with(one, TextScalar(L"a")), L"Invalid table item type", unit, series},
      {"colour", L"DynamicTableInputSeries", with(ColorScalar(1, 1, 1), one), L"Table item type mismatch", unit,
       series},
      {"columns", L"DynamicTableInputSeries", with(pair, one), L"Table item type mismatch", unit, series},
      {"columns of both", L"DynamicTableInputSeries", with(pair, pair), L"Invalid size for table item", unit, series},
  });
}

TEST(Raised, ByFileOutputs) {
  const DataPtr numbers = TypeOf(KgdaUInt8);
  ExpectPlaces({
      {"table",
       L"TableFileOutput",
       {{L"TableIn", ColorTable({basic::Color(1, 0, 0)})}, {L"TableType", numbers}},
       L"Incompatible TableType.",
       L"tx_general\\tabletofile",
       L"korven::tx_general::TableToTBLFile::OnExecute"},
      {"scalar",
       L"ScalarFileOutput",
       {{L"ScalarIn", ColorScalar(1, 0, 0)}, {L"ScalarType", numbers}},
       L"Incompatible ScalarType.",
       L"tx_general\\scalartoscafile",
       L"korven::tx_general::ScalarToSCAFile::OnExecute"},
  });
}

TEST(Raised, ByOthers) {
  ExpectPlaces({
      {"subset",
       L"MatrixSubset",
       {{L"MatrixIn", MatrixOf(1, 1, {1})}},
       L"Could not determine matrix subset range!",
       L"tx_general\\matrixsubset",
       L"korven::tx_general::MatrixSubset::OnExecute"},
      {"zones",
       L"ZonalSummaryChange",
       {},
       L"Invalid input matrix",
       L"tx_general\\zonalsummarychange",
       L"korven::tx_general::ZonalSummaryChange::OnExecute"},
      {"ramp",
       L"CreateColorRamp",
       {{L"NumBins", Value(4294967295u)},
        {L"StartColor", tessera::MakeData<basic::ColorData>(basic::Color())},
        {L"EndColor", tessera::MakeData<basic::ColorData>(basic::Color())}},
       L"Found 4294967295 rows, expected at most 2147483647.",
       L"tx_general\\createcolorramp",
       L"korven::tx_general::CreateColorRamp::OnExecute"},
      {"ramp file",
       L"ColorRampInput",
       {{L"Filename", File(L"/no/such.lut")}},
       L"The file \"/no/such.lut\" does not exist.",
       L"tx_general\\colorrampinput",
       L"korven::tx_general::ColorRampInput::OnExecute"},
      {"kernel library",
       L"KernelMatrixInput",
       {{L"KernelLibrary", File(L"/no/such.klb")}, {L"KernelName", Value(L"any")}},
       L"The file \"/no/such.klb\" does not exist.",
       L"tx_general\\matrixsource",
       L"korven::tx_general::KernelMatrixSource::LoadKernel"},
  });
  const auto ramp = ModelHost().Add(L"CreateColorRamp");
  std::vector<std::wstring> names;
  try {
    ramp->GetInputPortNamesForXPorts(3, names);
    ADD_FAILURE() << "nothing was raised";
  } catch (const KorvenLog::Exception& exception) {
    EXPECT_EQ(exception.get_SourceFile(), L"tx_general\\createcolorramp");
    EXPECT_EQ(exception.get_Function(), L"korven::tx_general::CreateColorRamp::GetInputPortNamesForXPorts");
  }
}

TEST(Raised, ByTextsJoinedToNumbers) {
  ModelHost host;
  const auto op = host.Add(L"Combine", L"op");
  host.Set(L"op.Collection1", TextTable({"a"}));
  op->AddExpansionPorts();
  host.Set(L"op.Collection2", TableValue({1}));
  try {
    op->Execute();
    ADD_FAILURE() << "nothing was raised";
  } catch (const KorvenLog::Exception& exception) {
    EXPECT_EQ(exception.get_SourceFile(), L"tx_general\\append");
    EXPECT_EQ(exception.get_LineNum(), 43);
    EXPECT_NE(exception.get_Function().find(L"SetTable"), std::wstring::npos);
  }
}

}  // namespace
