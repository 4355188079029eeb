#include <gmock/gmock.h>

#include "kcommon/kstr.h"
#include "support/modelhost.h"

namespace {

using namespace testing_support;
using Lines = std::vector<std::string>;

/// A port in one line: name, direction, types, and what else is set.
std::string LineOf(tessera::Port& port) {
  std::wstring line = port.GetName() + (port.IsInput() ? L" in" : L" out");
  for (const auto& type : port.GetSupportedDataTypes()) line += L" " + type.Name;
  if (port.IsOptional()) line += L" optional";
  if (port.IsHidden()) line += L" hidden";
  for (const wchar_t* key : {L"Input", L"FileFilter", L"Extension", L"Kind"})
    if (const auto value = port.GetAttribute(key)) line += L" | " + value->ToString();
  return kstr_ToUtf8(line);
}

struct StackSheet {
  const wchar_t* name;
  const char* facts;  ///< display name, category, icon, colour category, keywords
  Lines ports;
  bool isExpandible = false;
};

TEST(StackSheets, AreAsInTheCatalogue) {
  // Whether the file has to exist.
  const std::string yes = " | true", no = " | false";
  const char* const normalize = "Normalize in Bool optional";
  const std::vector<StackSheet> sheets = {
      {L"CustomMatrixInput",
       "Custom Matrix Input; Input|Matrix; OpCategory_Matrix.ico; Input_Output; Kernel|Filter|Focus",
       {"Matrix out Matrix", normalize, "Value in Matrix hidden"}},
      {L"MatrixFileInput",
       "Matrix File Input; Input|Matrix; OpCategory_Matrix.ico; Input_Output; Kernel|Filter|Focus",
       {"Matrix out Matrix", "MatrixType in SimpleDataType",
        "Filename in File" + yes + " | Matrix File (*.mtx) | *.mtx | text", normalize}},
      {L"KernelMatrixInput",
       "Kernel Matrix Input; Input|Matrix; OpCategory_Matrix.ico; Input_Output; Kernel|Filter|Focus",
       {"Matrix out Matrix", "MatrixType in SimpleDataType optional",
        "KernelLibrary in File optional" + yes + " | Kernel Library (*.klb) | *.klb | text", "KernelName in String",
        normalize}},
      {L"DynamicMatrixInputList",
       "Dynamic Matrix Input (List); Data Generation|Matrix; OpCategory_Matrix.ico; ; Kernel|Filter|Focus",
       {"Matrix out Matrix", "RowCount in Unsigned", "ColumnCount in Unsigned", normalize, "ListItem in Scalar List"},
       true},
      {L"DynamicMatrixInputSeries",
       "Dynamic Matrix Input (Series); Data Generation|Matrix; OpCategory_Matrix.ico; ; Kernel|Filter|Focus",
       {"Matrix out Matrix", "RowCount in Unsigned", "ColumnCount in Unsigned", "InitialValue in Scalar",
        "RowIncrement in Scalar", "ColumnIncrement in Scalar", normalize}},
      {L"MatrixFileOutput",
       "Matrix File Output; Output|Matrix; Folder_Big.ico; Input_Output; Kernel|Filter",
       {"MatrixOut out Matrix", "MatrixIn in Matrix", "MatrixType in SimpleDataType optional",
        "Filename in File" + no + " | Matrix File (*.mtx) | *.mtx | text"}},
      {L"ScalarInput",
       "Scalar Input; Input; ScalarDataset.ico; Input_Output; ",
       {"Value in Scalar hidden", "Scalar out Scalar"}},
      {L"ScalarFileInput",
       "Scalar File Input; Input|Filename; ScalarDataset.ico; Input_Output; ",
       {"Scalar out Scalar", "ScalarType in SimpleDataType",
        "Filename in File" + yes + " | Scalar (*.sca) | *.sca | text"}},
      {L"ScalarFileOutput",
       "Scalar File Output; Output; Folder_Big.ico; Input_Output; ",
       {"ScalarOut out Scalar", "ScalarIn in Scalar", "ScalarType in SimpleDataType optional",
        "Filename in File" + no + " | Scalar File (*.sca) | *.sca | text"}},
      {L"CustomTableInput",
       "Custom Table Input; Input|Table; OpCategory_Descriptor.ico; Input_Output; ",
       {"Table out Table", "Value in Table hidden"}},
      {L"TableFileInput",
       "Table File Input; Input|Table; OpCategory_Descriptor.ico; Input_Output; ",
       {"Table out Table", "TableType in SimpleDataType",
        "Filename in File" + yes + " | Table File (*.tbl) | *.tbl | text"}},
      {L"DynamicTableInputList",
       "Dynamic Table Input (List); Data Generation|Table; OpCategory_Descriptor.ico; ; ",
       {"Table out Table", "Count in Unsigned optional", "ListItem in Scalar List"},
       true},
      {L"DynamicTableInputSeries",
       "Dynamic Table Input (Series); Data Generation|Table; OpCategory_Descriptor.ico; ; ",
       {"Table out Table", "Count in Unsigned", "InitialValue in Scalar", "Increment in Scalar"}},
      {L"TableFileOutput",
       "Table File Output; Output|Table; Folder_Big.ico; Input_Output; ",
       {"TableOut out Table", "TableIn in Table", "TableType in SimpleDataType optional",
        "Filename in File" + no + " | Table File (*.tbl) | *.tbl | text"}},
      {L"MatrixSubset",
       "Matrix Subset; Data Generation|Matrix; OpCategory_Matrix.ico; ; Focus",
       {"MatrixOut out Matrix Scalar", "MatrixIn in Matrix", "RowRangeList in RangeList",
        "ColumnRangeList in RangeList"}},
      {L"TableSubset",
       "Table Subset; Data Generation|Table; OpCategory_Descriptor.ico; ; ",
       {"TableOut out Table Scalar", "TableIn in Table", "RangeList in RangeList"}},
      {L"SetMatrixValues",
       "Set Matrix Values; Data Generation; OpCategory_Descriptor.ico; ; Kernel|Filter|Focus",
       {"MatrixIn in Matrix", "Values in Scalar Matrix", "RowRangeList in RangeList optional",
        "ColumnRangeList in RangeList optional", "MatrixOut out Matrix"}},
      {L"SetTableValues",
       "Set Table Values; Data Generation; OpCategory_Descriptor.ico; ; ",
       {"TableIn in Table", "Values in Scalar Table", "RangeList in RangeList", "TableOut out Table"}},
      {L"ResizeMatrix",
       "Resize Matrix; Data Generation; OpCategory_Descriptor.ico; ; Kernel|Filter|Focus",
       {"MatrixIn in Matrix", "NumRows in Unsigned", "NumColumns in Unsigned",
        "InitialValues in Scalar Matrix optional", "MatrixOut out Matrix"}},
      {L"ResizeTable",
       "Resize Table; Data Generation; OpCategory_Descriptor.ico; ; ",
       {"TableIn in Table", "NumRows in Unsigned", "InitialValues in Scalar Table optional", "TableOut out Table"}},
      {L"AddBackgroundRow",
       "Add Background Row; Data Generation; OpCategory_Descriptor.ico; ; Table",
       {"TableOut out Table", "TableIn in Table"}},
      {L"RemoveBackgroundRow",
       "Remove Background Row; Data Generation; OpCategory_Descriptor.ico; ; ",
       {"TableOut out Table", "TableIn in Table"}},
      {L"ColorRampInput",
       "Color Ramp Input; Input|Color; Band_Pseudo.ico; ; ",
       {"Filename in File" + yes + " | Color Ramp (*.lut) | *.lut | text", "ColorTable out Table"}},
      {L"CreateColorRamp",
       "Create Color Ramp; Color; Band_Pseudo.ico; ; ",
       {"ColorRampIn in Table optional hidden", "Histogram in List Table RasterStats optional",
        "NumBins in Unsigned optional", "Method in String optional", "SliceType in String optional hidden",
        "HueDirection in String optional", "StartColor in Color", "EndColor in Color", "NumLevels in Unsigned optional",
        "StartValue in Double optional", "EndValue in Double optional", "ColorRampOut out Table"}},
  };
  for (const StackSheet& sheet : sheets) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(sheet.name)));
    ModelHost host;
    const auto op = host.Add(sheet.name);
    const std::wstring stop = L"; ";
    EXPECT_EQ(
        kstr_ToUtf8(op->GetDefaultDisplayName() + stop + op->GetDefaultDisplayCategory() + stop + op->GetDefaultIcon() +
                    stop + op->GetDefaultColorCategory() + stop + op->GetDefaultKeywords()),
        sheet.facts);
    EXPECT_TRUE(op->GetDefaultIsUsableInExpression());
    EXPECT_EQ(op->IsExpandible(), sheet.isExpandible);
    if (sheet.isExpandible) op->AddExpansionPorts();
    Lines ports;
    for (const auto& port : op->GetPorts()) ports.push_back(LineOf(*port));
    EXPECT_EQ(ports, sheet.ports);
  }
}

TEST(StackSheets, DescriptionsAreAsInTheCatalogue) {
  const std::vector<std::pair<const wchar_t*, const wchar_t*>> sheets = {
      {L"CustomMatrixInput",
       L"Create a new matrix. Saved matrices and matrices from Kernel Library files can be loaded to create the custom "
       L"matrix, but the resulting matrix can be modified and is saved in the tessera model file."},
      {L"MatrixFileInput",
       L"Loads a matrix saved to a file (for instance, one created using the Matrix File Output operator)."},
      {L"KernelMatrixInput", L"Kernel Matrix Input returns a matrix read from a kernel library."},
      {L"DynamicMatrixInputList",
       L"Return a Matrix with RowCount rows by ColumnCount columns containing the scalar values from ListItem in the "
       L"order listed across successive rows."},
      {L"DynamicMatrixInputSeries",
       L"Return a Matrix having RowCount rows and ColumnCount columns. The first element of the returned Matrix "
       L"contains InitialValue. Each successive column in the matrix is incremented by ColumnIncrement, and each "
       L"successive row by RowIncrement."},
      {L"MatrixFileOutput",
       L"Saves MatrixIn to a text file. Such files can be loaded using the Matrix File Input operator."},
      {L"ScalarInput", L"Creates a scalar."},
      {L"ScalarFileInput",
       L"Loads a scalar saved to an ASCII text file (for instance, one created using the Scalar File Output "
       L"operator)."},
      {L"ScalarFileOutput",
       L"Saves a scalar to an ASCII text file. Such files can be loaded using the Scalar File Input operator."},
      {L"CustomTableInput",
       L"Create a table from scratch. Raster attributes, vector attributes, or saved tables can be loaded to create "
       L"the custom table, but the resulting table can be modified and is saved in the tessera model file."},
      {L"TableFileInput", L"Load a table from a text file."},
      {L"DynamicTableInputList",
       L"Create a Table containing the scalar arguments input in the order listed. If Count is present, the number of "
       L"subsequent arguments must equal Count."},
      {L"DynamicTableInputSeries",
       L"Create a table containing Count elements. The first element of the returned table contains the Initial Value. "
       L"Each successive element in the Table contains its predecessor + Increment."},
      {L"TableFileOutput",
       L"Saves TableIn to a text file. Such files can be loaded using the Table File Input operator."},
      {L"MatrixSubset",
       L"Return a subset of MatrixIn as defined by the RowRangleList and ColumnRangeLIst which are both RangeLists "
       L"that specify the subset of rows and columns."},
      {L"TableSubset", L"Output a subset of a table. TableOut is the subset of TableIn defined by RangeList."},
      {L"SetMatrixValues", L"Set the values of specified cells in a Matrix."},
      {L"SetTableValues", L"Set the values of specified rows in a Table."},
      {L"ResizeMatrix", L"Adjusts the number of rows in a Matrix."},
      {L"ResizeTable", L"Adjusts the number of rows in a Table."},
      {L"AddBackgroundRow",
       L"Add an extra background row to the start of a vector attribute table for compatibility between attribute "
       L"tables read from thematic rasters and vectors."},
      {L"RemoveBackgroundRow", L"Remove the background row from a vector attribute table."},
      {L"ColorRampInput", L"Reads a .lut color ramp file and outputs a table."},
      {L"CreateColorRamp", L"Creates a custom color ramp."},
      {L"RegularExpressionSearch", L"Searches within a string for a regular expression match."},
      {L"ZonalSummaryChange", L""},
  };
  ModelHost host;
  for (const auto& [name, description] : sheets) EXPECT_STREQ(host.Add(name)->GetDefaultDescription(), description);
}

}  // namespace
