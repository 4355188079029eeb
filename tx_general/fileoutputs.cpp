#include <cstdint>
#include <string>

#include "kcommon/kerr.h"
#include "stackports.h"

namespace korven::tx_general {
namespace {

/// Writes the stack where a file is named. A write that fails doesn't stop the value on its way.
template <typename MakeStack>
void WriteNamedFile(Operator& op, KerrException& error, const MakeStack& makeStack) {
  const std::wstring name = ReadFileName(op, L"Filename");
  if (name.empty()) return;
  kgda_BaseDataStackWriteAscii(makeStack(), name, error);
  if (error.IsPending()) op.SetWarningMessage(error.get_What());
  error.Clear();
}

/// Brings a table or scalar to a type: only what is plain can change.
template <typename Value, typename ToColor, typename ToType>
void ConvertPlain(Value& value, bool isColor, const SimpleDataTypeCode& type, KerrException& error,
                  const wchar_t* mismatch, const ToColor& toColor, const ToType& toType) {
  if (type.code == SimpleDataTypeCode::kNone) return;
  const bool wantsColor = type.code == SimpleDataTypeCode::kColor;
  if (isColor && !wantsColor) error.Throw(__LINE__, mismatch);
  if (!isColor && wantsColor)
    value = toColor(value);
  else if (!isColor && type.code != value->GetNumberType())
    value = toType(value, static_cast<Kgda_PixelType>(type.code));
}

}  // namespace

inline constexpr OperatorSheet kMatrixToMTXFile{
    .name = L"MatrixFileOutput",
    .displayName = L"Matrix File Output",
    .category = L"Output|Matrix",
    .icon = L"Folder_Big.ico",
    .colorCategory = L"Input_Output",
    .description = L"Saves MatrixIn to a text file. Such files can be loaded using the Matrix File Input operator.",
    .keywords = L"Kernel|Filter",
};

class MatrixToMTXFile : public Described<kMatrixToMTXFile> {
 public:
  void DeclarePorts() override {
    CreatePort(L"MatrixOut", MatrixData::DefaultTypeName(), PortType::Output);
    CreatePort(L"MatrixIn", MatrixData::DefaultTypeName(), PortType::Input);
    Optional(CreatePort(L"MatrixType", SimpleDataTypeData::DefaultTypeName(), PortType::Input));
    CreateFileInput(*this, L"Filename", {L"Matrix File (*.mtx)", L"*.mtx", L"text", false});
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\matrixtofile", L"korven::tx_general::MatrixToMTXFile::OnExecute");
    StackPtr stack = ReadStack(RequirePort(*this, L"MatrixIn"));
    if (!stack) return;
    if (stack->GetKind() != KgdaBaseDataStack::KindMatrix) {
      stack = boost::make_shared<KgdaBaseDataStack>(*stack);
      stack->SetKind(KgdaBaseDataStack::KindMatrix);
    }
    Convert(stack, ReadPortOr<SimpleDataTypeCode>(*this, L"MatrixType", {}));
    WriteNamedFile(*this, error, [&]() -> const KgdaBaseDataStack& { return *stack; });
    PublishMatrix(RequirePort(*this, L"MatrixOut"), stack);
  }

 private:
  static void Convert(StackPtr& stack, const SimpleDataTypeCode& type) {
    const std::wstring name = PixelTypeUtils::PixelType2SimpleString(type.code);
    if (name.empty()) return;
    const std::uint32_t code = PixelTypeUtils::SimpleString2PixelType(name);
    if (code == stack->GetLayer(0).pixelType) return;
    stack = boost::make_shared<KgdaBaseDataStack>(BaseDataStackUtils::ConvertBaseDataStackPixelType(
        *stack, static_cast<Kgda_PixelType>(code), code == SimpleDataTypeCode::kColor));
  }
};

TX_GENERAL_FACTORY(MatrixToMTXFile)

inline constexpr OperatorSheet kScalarToSCAFile{
    .name = L"ScalarFileOutput",
    .displayName = L"Scalar File Output",
    .category = L"Output",
    .icon = L"Folder_Big.ico",
    .colorCategory = L"Input_Output",
    .description =
        L"Saves a scalar to an ASCII text file. Such files can be loaded using the Scalar File Input operator.",
};

class ScalarToSCAFile : public Described<kScalarToSCAFile> {
 public:
  void DeclarePorts() override {
    CreatePort(L"ScalarOut", ScalarData::DefaultTypeName(), PortType::Output);
    CreatePort(L"ScalarIn", ScalarData::DefaultTypeName(), PortType::Input);
    Optional(CreatePort(L"ScalarType", SimpleDataTypeData::DefaultTypeName(), PortType::Input));
    CreateFileInput(*this, L"Filename", {L"Scalar File (*.sca)", L"*.sca", L"text", false});
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\scalartoscafile", L"korven::tx_general::ScalarToSCAFile::OnExecute");
    auto scalar = GetPortDataAs<Scalar>(RequirePort(*this, L"ScalarIn"));
    ConvertPlain(scalar, scalar->IsColor(), ReadPortOr<SimpleDataTypeCode>(*this, L"ScalarType", {}), error,
                 L"Incompatible ScalarType.", &Tamrin::TesseraBasic::ConvertToColorScalar,
                 &Tamrin::TesseraBasic::ConvertScalar);
    WriteNamedFile(*this, error, [&] { return BaseDataStackUtils::ConvertScalarToBaseDataStack(*scalar); });
    WriteShared<ScalarData>(RequirePort(*this, L"ScalarOut"), scalar);
  }
};

TX_GENERAL_FACTORY(ScalarToSCAFile)

inline constexpr OperatorSheet kTableToTBLFile{
    .name = L"TableFileOutput",
    .displayName = L"Table File Output",
    .category = L"Output|Table",
    .icon = L"Folder_Big.ico",
    .colorCategory = L"Input_Output",
    .description = L"Saves TableIn to a text file. Such files can be loaded using the Table File Input operator.",
};

class TableToTBLFile : public Described<kTableToTBLFile> {
 public:
  void DeclarePorts() override {
    CreatePort(L"TableOut", TableData::DefaultTypeName(), PortType::Output);
    CreatePort(L"TableIn", TableData::DefaultTypeName(), PortType::Input);
    Optional(CreatePort(L"TableType", SimpleDataTypeData::DefaultTypeName(), PortType::Input));
    CreateFileInput(*this, L"Filename", {L"Table File (*.tbl)", L"*.tbl", L"text", false});
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\tabletofile", L"korven::tx_general::TableToTBLFile::OnExecute");
    auto table = GetPortDataAs<Table>(RequirePort(*this, L"TableIn"));
    ConvertPlain(table, table->IsColorTable(), ReadPortOr<SimpleDataTypeCode>(*this, L"TableType", {}), error,
                 L"Incompatible TableType.", &Tamrin::TesseraBasic::ConvertToColorTable,
                 &Tamrin::TesseraBasic::ConvertTable);
    WriteNamedFile(*this, error, [&]() -> const KgdaBaseDataStack& { return table->GetStack(); });
    WriteShared<TableData>(RequirePort(*this, L"TableOut"), table);
  }
};

TX_GENERAL_FACTORY(TableToTBLFile)

}  // namespace korven::tx_general
