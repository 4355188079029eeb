#include "kcommon/kklb.h"

#include <cmath>
#include <memory>

#include "asciielement.h"
#include "asciiheader.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "kcommon/ktxt.h"
#include "kgdaelement.h"
#include "textlines.h"

namespace {

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

/// One section of a library after the other: a name in brackets, properties, rows of weights.
class KernelReader {
 public:
  KernelReader(std::string_view text, Kklb_KernelList& list, KerrException& error)
      : lines_(text), list_(list), error_(error) {}

  void Read() {
    while (lines_.NextDataLine()) {
      if (lines_.GetLine().front() == '[')
        ReadName();
      else if (list_.kernels.empty())
        lines_.Fail(L"the name of a kernel, such as [Low Pass 3x3]");
      else if (lines_.GetLine().find('=') != std::string_view::npos)
        ReadProperty();
      else
        ReadWeights();
      if (error_.IsPending()) return;
    }
    Finish();
  }

 private:
  void ReadName() {
    Finish();
    const std::string_view line = lines_.GetLine();
    if (line.back() != ']') lines_.FailAt(lines_.GetLineEnd(), L"] behind the name of the kernel");
    const std::string_view name = Trimmed(line.substr(1, line.size() - 2));
    if (name.empty()) lines_.FailAt(line.data() + 1, L"the name of the kernel");
    for (const Kklb_Kernel& kernel : list_.kernels)
      if (kernel.name == name) lines_.FailAt(name.data(), L"a name that no other kernel has");
    list_.kernels.emplace_back().name = std::string(name);
    weights_.clear();
    rows_ = columns_ = 0;
    type_ = KgdaFloat64;
  }

  void ReadProperty() {
    Kklb_Kernel& kernel = list_.kernels.back();
    const std::string_view line = lines_.GetLine();
    const std::size_t equals = line.find('=');
    const std::string_view key = Trimmed(line.substr(0, equals)), value = Trimmed(line.substr(equals + 1));
    lines_.SetPlace(line.data() + equals + 1);
    if (rows_ > 0) lines_.FailAt(line.data(), L"weights, another kernel, or the end of the file");
    if (key == "description") {
      kernel.description = std::string(value);
    } else if (key == "source") {
      kernel.source = std::string(value);
    } else if (key == "type") {
      type_ = PixelTypeOfName(value);
      if (type_ > KgdaFloat64) lines_.FailAt(value.data(), L"an element type of numbers, such as Float64");
    } else if (key == "divisor") {
      if (!lines_.NextElement()) lines_.Fail(L"a number");
      const char* const place = lines_.GetPlace();
      kernel.divisor = ReadNumber(lines_);
      if (!std::isfinite(kernel.divisor) || kernel.divisor == 0) lines_.FailAt(place, L"a number other than 0");
      if (lines_.NextElement()) lines_.Fail(L"the end of the line");
    } else {
      lines_.FailAt(line.data(), L"one of description, source, type, divisor");
    }
  }

  void ReadWeights() {
    std::int32_t count = 0;
    while (lines_.NextElement()) {
      if (columns_ > 0 && count == columns_) lines_.Fail(L"the end of the line after " + Weights());
      const std::size_t place = weights_.size();
      weights_.resize(place + sizeof(double));
      ReadElement(lines_, type_, weights_.data() + place);
      ++count;
    }
    if (columns_ == 0) columns_ = count;
    if (count != columns_) lines_.FailAt(lines_.GetLineEnd(), Weights() + L", as on the line above");
    ++rows_;
  }

  std::wstring Weights() const { return std::to_wstring(columns_) + (columns_ == 1 ? L" weight" : L" weights"); }

  /// Makes the layer of the kernel that was read last.
  void Finish() {
    if (list_.kernels.empty()) return;
    Kklb_Kernel& kernel = list_.kernels.back();
    if (rows_ == 0) lines_.Fail(L"the weights of the kernel \"" + TextOfBytes(kernel.name) + L"\"");
    kernel.baseData =
        kgda_BaseDataStackCreate(1, static_cast<std::uint64_t>(rows_), static_cast<std::uint64_t>(columns_), type_,
                                 KgdaBaseDataStack::KindMatrix, error_);
    if (error_.IsPending()) return;
    const char* weight = weights_.data();
    for (std::int32_t row = 0; row < rows_; ++row) {
      for (std::int32_t column = 0; column < columns_; ++column, weight += sizeof(double))
        std::copy_n(weight, kernel.baseData.GetLayer(0).elementSize,
                    static_cast<char*>(kgda_ElementPointer(kernel.baseData.GetLayer(0), row, column)));
    }
    if (kernel.divisor != 1) Divide(kernel);
  }

  /// Quotients are rarely whole, whatever the type of the weights.
  static void Divide(Kklb_Kernel& kernel) {
    kernel.baseData = kgda_ConvertStack(kernel.baseData, KgdaFloat64);
    const Kgda_BaseDataLayer& layer = kernel.baseData.GetLayer(0);
    auto* const elements = static_cast<double*>(layer.data);
    for (std::int64_t i = 0; i < std::int64_t{layer.rows} * layer.columns; ++i) elements[i] /= kernel.divisor;
  }

  TextLines lines_;
  Kklb_KernelList& list_;
  KerrException& error_;
  std::string weights_;  ///< eight bytes for each
  std::int32_t rows_ = 0;
  std::int32_t columns_ = 0;
  Kgda_PixelType type_ = KgdaFloat64;
};

}  // namespace

Kklb_KernelList kklb_ReadKernels(std::string_view text, const std::wstring& source, KerrException& error) {
  Kklb_KernelList list;
  list.fileName = source;
  try {
    KernelReader(text, list, error).Read();
  } catch (const TextFault& fault) {
    error.Log(__LINE__, fault.Text(source));
  }
  return list;
}

Kklb_KernelList* kklb_OpenKernelLibrary(const std::string& path, KerrException& error) {
  try {
    const std::wstring name = kfnp_FileNameEvaluateEnv(kfnp_FromNative(path), error);
    if (error.IsPending()) return nullptr;
    auto list = std::make_unique<Kklb_KernelList>(kklb_ReadKernels(kfio::ReadBytes(name), name, error));
    if (!error.IsPending()) return list.release();
  } catch (...) {
    kerr_LogCurrentException(error, __LINE__);
  }
  return nullptr;
}

const Kklb_Kernel* kklb_GetKernel(const Kklb_KernelList* library, const std::string& kernelName, KerrException& error) {
  if (!library) {
    error.Log(__LINE__, L"There is no open kernel library.");
    return nullptr;
  }
  for (const Kklb_Kernel& kernel : library->kernels)
    if (kernel.name == kernelName) return &kernel;
  const std::wstring wanted = TextOfBytes(kernelName);
  std::vector<std::wstring> names;
  for (const Kklb_Kernel& kernel : library->kernels) {
    names.push_back(TextOfBytes(kernel.name));
    if (ktxt_tolower(names.back()) == ktxt_tolower(wanted)) return &kernel;
  }
  const std::wstring nearest = kstr_NearestName(wanted, names);
  error.Log(__LINE__, L"The kernel library \"" + library->fileName + L"\" has no kernel \"" + wanted + L"\"" +
                          (nearest.empty() ? L"." : L"; did you mean \"" + nearest + L"\"?"));
  return nullptr;
}

void kklb_CloseKernelLibrary(Kklb_KernelList* library, KerrException&) { delete library; }
