#include <atomic>
#include <cmath>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "kcommon/kklb.h"
#include "kcommon/kpxm.h"
#include "kcommon/kstr.h"
#include "kcommon/ktxt.h"
#include "stackports.h"
#include "txbasiclib/concurrencyhelper.h"

namespace korven::tx_general {
namespace {

constexpr const wchar_t* kMatrixSourceUnit = L"tx_general\\matrixsource";
constexpr const wchar_t* kDefaultLibrary = L"$VANTIX_HOME/etc/default.klb";
constexpr const wchar_t* kDefaultLibraryName = L"default.klb";

/// The elements of a row as doubles: where they lie, or converted into the buffer.
const double* ExtractMatrixRow(const Kgda_BaseDataLayer& layer, std::int32_t row, std::vector<double>& buffer) {
  KerrException error(kMatrixSourceUnit, L"ExtractMatrixValueAsDouble");
  if (layer.pixelType > KgdaFloat64) error.Throw(__LINE__, L"Invalid pixel type for matrix.");
  const void* const elements = kgda_ElementPointer(layer, row, 0);
  if (layer.pixelType == KgdaFloat64) return static_cast<const double*>(elements);
  buffer.resize(static_cast<std::size_t>(layer.columns));
  kpxm_ConvertPixels(buffer.data(), KgdaFloat64, elements, layer.pixelType, layer.columns, error);
  error.Check(__LINE__);
  return buffer.data();
}

constexpr double kExactBelow = 0x1p53;

/// Sums of whole numbers that stay below that are exact in any order.
class WholeSum {
 public:
  /// False where a number isn't whole, or the sum grows too large.
  bool Add(const double* values, std::int32_t count) {
    // Adding as much takes the fraction away. Four of each sum side by side, as one alone waits for each addition.
    constexpr double shift = 6755399441055744.0;
    double sums[4] = {}, magnitudes[4] = {}, fractions[4] = {};
    std::int32_t i = 0;
    for (; i + 4 <= count; i += 4) {
      for (int k = 0; k < 4; ++k) {
        const double value = values[i + k];
        sums[k] += value;
        magnitudes[k] += std::abs(value);
        fractions[k] += std::abs(value - ((value + shift) - shift));
      }
    }
    for (; i < count; ++i) {
      sums[0] += values[i];
      magnitudes[0] += std::abs(values[i]);
      fractions[0] += std::abs(values[i] - ((values[i] + shift) - shift));
    }
    sum_ += (sums[0] + sums[1]) + (sums[2] + sums[3]);
    magnitude_ += (magnitudes[0] + magnitudes[1]) + (magnitudes[2] + magnitudes[3]);
    const bool areWhole = (fractions[0] + fractions[1]) + (fractions[2] + fractions[3]) == 0.0;
    return areWhole && magnitude_ < kExactBelow;
  }
  double Get() const { return sum_; }
  double GetMagnitude() const { return magnitude_; }

 private:
  double sum_ = 0.0;
  double magnitude_ = 0.0;
};

/// The sum of all elements where it is exact in any order.
std::optional<double> WholeSumOf(const Operator& op, const Kgda_BaseDataLayer& layer) {
  std::mutex mutex;
  std::atomic<bool> isExact{true};
  double sum = 0.0, magnitude = 0.0;
  Tamrin::TesseraBasic::ForParts(op, layer.rows, kElementsForAThread / layer.columns + 1,
                                 [&](std::int64_t begin, std::int64_t end) {
                                   std::vector<double> buffer;
                                   WholeSum part;
                                   for (auto row = static_cast<std::int32_t>(begin); row < end && isExact; ++row)
                                     if (!part.Add(ExtractMatrixRow(layer, row, buffer), layer.columns))
                                       isExact = false;
                                   const std::lock_guard lock(mutex);
                                   sum += part.Get();
                                   magnitude += part.GetMagnitude();
                                 });
  return isExact && magnitude < kExactBelow ? std::optional(sum) : std::nullopt;
}

/// Of all elements, row by row.
double SumOf(const Operator& op, const Kgda_BaseDataLayer& layer) {
  if (const auto sum = WholeSumOf(op, layer)) return *sum;
  std::vector<double> buffer;
  double sum = 0.0;
  for (std::int32_t row = 0; row < layer.rows; ++row) {
    const double* const values = ExtractMatrixRow(layer, row, buffer);
    for (std::int32_t column = 0; column < layer.columns; ++column) sum += values[column];
  }
  return sum;
}

void NormalizeLayer(const Operator& op, const Kgda_BaseDataLayer& from, Kgda_BaseDataLayer& to) {
  if (from.columns == 0) return;
  const double sum = SumOf(op, from);
  // Weights that cancel out, as those that find edges, stay what they are.
  const double divisor = sum != 0.0 ? sum : 1.0;
  Tamrin::TesseraBasic::ForParts(op, from.rows, kElementsForAThread / from.columns + 1,
                                 [&](std::int64_t begin, std::int64_t end) {
                                   std::vector<double> buffer;
                                   for (auto row = static_cast<std::int32_t>(begin); row < end; ++row) {
                                     const double* const values = ExtractMatrixRow(from, row, buffer);
                                     auto* const results = static_cast<double*>(kgda_ElementPointer(to, row, 0));
                                     for (std::int32_t column = 0; column < from.columns; ++column)
                                       results[column] = values[column] / divisor;
                                   }
                                 });
}

}  // namespace

class NormalizableMatrixSource : public Operator {
 protected:
  /// Publishes the stack, or its elements over their sum where that is asked for.
  void NormalizeAndSetOutput(const StackPtr& stack) {
    KerrException error(kMatrixSourceUnit, L"korven::tx_general::NormalizableMatrixSource::NormalizeAndSetOutput");
    const PortPtr output = RequirePort(*this, L"Matrix");
    if (!ReadPortOr<bool>(*this, L"Normalize", false)) {
      PublishMatrix(output, stack);
      return;
    }
    const Kgda_BaseDataLayer& first = stack->GetLayer(0);
    if (first.pixelType > KgdaFloat64) error.Throw(__LINE__, L"Invalid matrix type for normalized matrix");
    const auto normalized = boost::make_shared<KgdaBaseDataStack>(kgda_BaseDataStackCreate(
        stack->GetLayerCount(), static_cast<std::uint64_t>(first.rows), static_cast<std::uint64_t>(first.columns),
        KgdaFloat64, KgdaBaseDataStack::KindMatrix, error));
    error.Check(__LINE__);
    for (std::size_t i = 0; i < stack->GetLayerCount(); ++i) {
      const Kgda_BaseDataLayer& layer = stack->GetLayer(i);
      if (layer.rows != first.rows || layer.columns != first.columns)
        RaisePortMessage(*output, L"No appropriate data found on port(");
      NormalizeLayer(*this, layer, normalized->GetLayer(i));
    }
    PublishMatrix(output, normalized);
  }

  void DeclareNormalize() { Optional(CreatePort(L"Normalize", BoolData::DefaultTypeName(), PortType::Input)); }

  PortPtr DeclareMatrix() { return CreatePort(L"Matrix", MatrixData::DefaultTypeName(), PortType::Output); }

  PortPtr DeclareMatrixType() {
    return CreatePort(L"MatrixType", SimpleDataTypeData::DefaultTypeName(), PortType::Input);
  }

  void DeclareSize() {
    CreatePort(L"RowCount", UnsignedData::DefaultTypeName(), PortType::Input);
    CreatePort(L"ColumnCount", UnsignedData::DefaultTypeName(), PortType::Input);
  }
};

inline constexpr OperatorSheet kCustomMatrixSource{
    .name = L"CustomMatrixInput",
    .displayName = L"Custom Matrix Input",
    .category = L"Input|Matrix",
    .icon = L"OpCategory_Matrix.ico",
    .colorCategory = L"Input_Output",
    .description =
        L"Create a new matrix. Saved matrices and matrices from Kernel Library files can be loaded to create the "
        L"custom matrix, but the resulting matrix can be modified and is saved in the tessera model file.",
    .keywords = L"Kernel|Filter|Focus",
};

class CustomMatrixSource : public Described<kCustomMatrixSource, NormalizableMatrixSource> {
 public:
  void DeclarePorts() override {
    DeclareMatrix();
    DeclareNormalize();
    Hidden(CreatePort(L"Value", MatrixData::DefaultTypeName(), PortType::Input));
    SetUIProvider(L"MatrixSourceDialog", L"VANTIX");
  }

 protected:
  void OnExecute() override {
    if (const auto stack = ReadStack(RequirePort(*this, L"Value"))) NormalizeAndSetOutput(stack);
  }
};

TX_GENERAL_FACTORY(CustomMatrixSource)

inline constexpr OperatorSheet kMTXMatrixSource{
    .name = L"MatrixFileInput",
    .displayName = L"Matrix File Input",
    .category = L"Input|Matrix",
    .icon = L"OpCategory_Matrix.ico",
    .colorCategory = L"Input_Output",
    .description = L"Loads a matrix saved to a file (for instance, one created using the Matrix File Output operator).",
    .keywords = L"Kernel|Filter|Focus",
};

class MTXMatrixSource : public Described<kMTXMatrixSource, NormalizableMatrixSource> {
 public:
  void DeclarePorts() override {
    DeclareMatrix();
    DeclareMatrixType();
    CreateFileInput(*this, L"Filename", {L"Matrix File (*.mtx)", L"*.mtx", L"text", true});
    DeclareNormalize();
    SetUIProvider(L"MatrixSourceDialog", L"VANTIX");
  }

 protected:
  void OnExecute() override {
    const std::wstring name = ReadFileName(*this, L"Filename");
    if (name.empty()) return;
    NormalizeAndSetOutput(BaseDataStackUtils::LoadFromMtxFile(name, ReadTypeName(*this, L"MatrixType")));
  }
};

TX_GENERAL_FACTORY(MTXMatrixSource)

inline constexpr OperatorSheet kKernelMatrixSource{
    .name = L"KernelMatrixInput",
    .displayName = L"Kernel Matrix Input",
    .category = L"Input|Matrix",
    .icon = L"OpCategory_Matrix.ico",
    .colorCategory = L"Input_Output",
    .description = L"Kernel Matrix Input returns a matrix read from a kernel library.",
    .keywords = L"Kernel|Filter|Focus",
    .syntax = {L"Matrix ( <KernelName> )", L"Matrix ( <KernelLibrary>, <KernelName> )",
               L"KernelMatrixInput ( <KernelName>[, KernelLibrary=<KernelLibrary>][, MatrixType=<MatrixType>][, "
               L"Normalize=<Normalize>] )"},
};

class KernelMatrixSource : public Described<kKernelMatrixSource, NormalizableMatrixSource> {
 public:
  void DeclarePorts() override {
    DeclareMatrix();
    Optional(DeclareMatrixType());
    Optional(CreateFileInput(*this, L"KernelLibrary", {L"Kernel Library (*.klb)", L"*.klb", L"text", true}));
    CreatePort(L"KernelName", StringData::DefaultTypeName(), PortType::Input);
    DeclareNormalize();
    SetUIProvider(L"MatrixSourceDialog", L"VANTIX");
  }

 protected:
  void OnExecute() override {
    const auto kernelName = ReadPortOr<std::wstring>(*this, L"KernelName", {});
    const auto library = GetPortDataOf<FileData>(RequirePort(*this, L"KernelLibrary"), true);
    StackPtr stack = LoadKernel(library ? *library : kDefaultLibrary, kernelName);
    const SimpleDataTypeCode type = ReadPortOr<SimpleDataTypeCode>(*this, L"MatrixType", {});
    if (type.code != SimpleDataTypeCode::kNone && type.code != stack->GetLayer(0).pixelType) {
      stack = boost::make_shared<KgdaBaseDataStack>(
          BaseDataStackUtils::ConvertBaseDataStackPixelType(*stack, static_cast<Kgda_PixelType>(type.code)));
    }
    NormalizeAndSetOutput(stack);
  }

 private:
  /// An open library; what closing it says is of no interest to the run.
  class KklbKernelList {
   public:
    explicit KklbKernelList(Kklb_KernelList* list) : list_(list) {}
    ~KklbKernelList() { Free(); }
    KklbKernelList(const KklbKernelList&) = delete;
    KklbKernelList& operator=(const KklbKernelList&) = delete;
    const Kklb_KernelList* Get() const { return list_; }
    void Free() {
      KerrException error(kMatrixSourceUnit, L"korven::tx_general::KklbKernelList::Free");
      kklb_CloseKernelLibrary(list_, error);
      list_ = nullptr;
    }

   private:
    Kklb_KernelList* list_;
  };

  static StackPtr LoadKernel(const std::wstring& library, const std::wstring& kernelName) {
    KerrException error(kMatrixSourceUnit, L"korven::tx_general::KernelMatrixSource::LoadKernel");
    // A name with a folder in front is longer, and so never that of the default library.
    const bool isDefault = ktxt_tolower(library) == kDefaultLibraryName;
    const KklbKernelList list(kklb_OpenKernelLibrary(kfnp_ToNative(isDefault ? kDefaultLibrary : library), error));
    error.Check(__LINE__);
    const Kklb_Kernel* const kernel = kklb_GetKernel(list.Get(), kstr_ToUtf8(kernelName), error);
    error.Check(__LINE__);
    const auto stack = boost::make_shared<KgdaBaseDataStack>(KgdaBaseDataStack::KindMatrix);
    kgda_BaseDataCopy(kernel->baseData.GetLayer(0), *stack, error);
    error.Check(__LINE__);
    return stack;
  }
};

TX_GENERAL_FACTORY(KernelMatrixSource)

inline constexpr OperatorSheet kDynamicListMatrixSource{
    .name = L"DynamicMatrixInputList",
    .displayName = L"Dynamic Matrix Input (List)",
    .category = L"Data Generation|Matrix",
    .icon = L"OpCategory_Matrix.ico",
    .description =
        L"Return a Matrix with RowCount rows by ColumnCount columns containing the scalar values from ListItem in the "
        L"order listed across successive rows.",
    .keywords = L"Kernel|Filter|Focus",
    .syntax = {L"Matrix ( <RowCount>, <ColumnCount>: <ListItem>,... )"},
};

class DynamicListMatrixSource : public Described<kDynamicListMatrixSource, NormalizableMatrixSource> {
 public:
  void DeclarePorts() override {
    SetExpandible(true);
    DeclareMatrix();
    DeclareSize();
    DeclareNormalize();
  }

  std::vector<std::wstring> GetDefaultSyntax() const override {
    return AppendHostSyntax(Described::GetDefaultSyntax(), Operator::GetDefaultSyntax());
  }
  void AddExpansionPorts() override { AddListItem(*this, ListItemCount_); }
  void RemoveExpansionPorts() override { RemoveListItem(*this, ListItemCount_); }

 protected:
  void OnExecute() override {
    const auto rows = ReadPortOr<unsigned>(*this, L"RowCount", 0);
    const auto columns = ReadPortOr<unsigned>(*this, L"ColumnCount", 0);
    const auto scalars = GatherListItems(*this, ListItemCount_);
    KerrException error(kMatrixSourceUnit, L"korven::tx_general::DynamicListMatrixSource::OnExecute");
    // The check of the size alone is wanted: no layers are made.
    kgda_BaseDataStackCreate(0, rows, columns, KgdaBit, KgdaBaseDataStack::KindMatrix, error);
    error.Check(__LINE__);
    const auto matrix = Tamrin::TesseraBasic::CreateMatrixFromScalars(static_cast<std::int32_t>(rows),
                                                                      static_cast<std::int32_t>(columns), scalars);
    NormalizeAndSetOutput(BaseDataStackUtils::GetBaseDataStackFromMatrix(matrix));
  }

 private:
  std::uint64_t ListItemCount_ = 0;
};

TX_GENERAL_FACTORY(DynamicListMatrixSource)

inline constexpr OperatorSheet kDynamicSeriesMatrixSource{
    .name = L"DynamicMatrixInputSeries",
    .displayName = L"Dynamic Matrix Input (Series)",
    .category = L"Data Generation|Matrix",
    .icon = L"OpCategory_Matrix.ico",
    .description =
        L"Return a Matrix having RowCount rows and ColumnCount columns. The first element of the returned Matrix "
        L"contains InitialValue. Each successive column in the matrix is incremented by ColumnIncrement, and each "
        L"successive row by RowIncrement.",
    .keywords = L"Kernel|Filter|Focus",
    .syntax = {L"Matrix Series ( <RowCount>, <ColumnCount>, <InitialValue>, <RowIncrement>, <ColumnIncrement> )"},
};

class DynamicSeriesMatrixSource : public Described<kDynamicSeriesMatrixSource, NormalizableMatrixSource> {
 public:
  void DeclarePorts() override {
    DeclareMatrix();
    DeclareSize();
    for (const wchar_t* name : {L"InitialValue", L"RowIncrement", L"ColumnIncrement"})
      CreatePort(name, ScalarData::DefaultTypeName(), PortType::Input);
    DeclareNormalize();
  }

  std::vector<std::wstring> GetDefaultSyntax() const override {
    return AppendHostSyntax(Described::GetDefaultSyntax(), Operator::GetDefaultSyntax());
  }

 protected:
  void OnExecute() override {
    KerrException error(kMatrixSourceUnit, L"korven::tx_general::DynamicSeriesMatrixSource::OnExecute");
    const auto rows = ReadPort<unsigned>(*this, L"RowCount");
    const auto columns = ReadPort<unsigned>(*this, L"ColumnCount");
    // Both increments are reported under one name.
    const StackPtr initial = ReadItem(L"InitialValue", L"InitialValue", error);
    const StackPtr rowStep = ReadItem(L"RowIncrement", L"Increment", error);
    const StackPtr columnStep = ReadItem(L"ColumnIncrement", L"Increment", error);
    const Kgda_PixelType type = LargestCode({initial, rowStep, columnStep});
    CheckItems(*initial, *rowStep, *columnStep, type, error);

    const std::size_t layers = IsColorItem(*initial) ? 3 : 1;
    std::vector<KgdaBaseDataStack> operands;
    for (const StackPtr& item : {initial, rowStep, columnStep})
      operands.push_back(SeriesOperand(*item, layers, type, error));
    const auto output = boost::make_shared<KgdaBaseDataStack>(
        kgda_BaseDataStackCreate(layers, rows, columns, type, KgdaBaseDataStack::KindMatrix, error));
    error.Check(__LINE__);
    kgda_BaseDataStackFunction(kmsc_AddressOf_kgda_GpfIncFill(), *output, operands, error);
    error.Check(__LINE__);
    NormalizeAndSetOutput(output);
  }

 private:
  StackPtr ReadItem(const wchar_t* port, const wchar_t* reportedName, KerrException& error) {
    auto stack = ReadStack(RequirePort(*this, port));
    if (!stack) {
      error.Throw(__LINE__,
                  std::wstring(L"Invalid data on port ") + reportedName + L" for operator " + GetDisplayName() + L".");
    }
    return stack;
  }

  static void CheckItems(const KgdaBaseDataStack& initial, const KgdaBaseDataStack& rowStep,
                         const KgdaBaseDataStack& columnStep, Kgda_PixelType type, KerrException& error) {
    if (type == KgdaString) error.Throw(__LINE__, L"Invalid matrix item type");
    if (IsColorItem(rowStep) != IsColorItem(columnStep)) error.Throw(__LINE__, L"Matrix item type mismatch");
    if (IsColorItem(initial) != IsColorItem(rowStep)) error.Throw(__LINE__, L"Matrix item type mismatch");
    if (!IsColorItem(initial) && rowStep.GetLayerCount() != 1) error.Throw(__LINE__, L"Invalid size for matrix item");
  }
};

TX_GENERAL_FACTORY(DynamicSeriesMatrixSource)

}  // namespace korven::tx_general
