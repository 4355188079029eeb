#include <sys/sysinfo.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <limits>

#include "kcommon/kerr.h"
#include "kcommon/kgda.h"
#include "kgdacopy.h"
#include "kgdaelement.h"

namespace {

constexpr auto kMostRows = static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max());

/// Bytes of memory and swap space; as much as an address can say where that is not known.
std::uint64_t BytesOfComputer() {
  struct sysinfo info {};
  if (::sysinfo(&info) != 0) return PTRDIFF_MAX;
  return (std::uint64_t{info.totalram} + info.totalswap) * info.mem_unit;
}

/// Empty where the size can be had.
std::wstring SizeFault(std::size_t layers, std::uint64_t rows, std::uint64_t columns, Kgda_PixelType type) {
  const std::size_t elementSize = kgda_NumBytePerPixelFromType(type);
  if (elementSize == 0) return L"The element type " + std::to_wstring(type) + L" is not known.";
  const auto tooMany = [](std::uint64_t count, const wchar_t* what) {
    return L"Found " + std::to_wstring(count) + what + L", expected at most " + std::to_wstring(kMostRows) + L".";
  };
  if (rows > kMostRows) return tooMany(rows, L" rows");
  if (columns > kMostRows) return tooMany(columns, L" columns");
  const std::uint64_t area = rows * columns;
  const std::uint64_t most = BytesOfComputer();
  const std::uint64_t bytes = elementSize * std::max<std::uint64_t>(layers, 1);
  if (area == 0 || area <= most / bytes) return {};
  return std::to_wstring(rows) + L" rows of " + std::to_wstring(columns) + L" columns of " + kgda_PixelTypeName(type) +
         L" need more memory than this computer has, which is " + std::to_wstring(most) + L" bytes.";
}

/// Row by row first + c * second + r * third; `store` takes the place and what is to stand there.
template <typename Wide, typename T, typename Store>
void FillRows(Kgda_BaseDataLayer& layer, Wide first, Wide second, Wide third, const Store& store) {
  for (std::int32_t row = 0; row < layer.rows; ++row) {
    T* const elements = static_cast<T*>(kgda_ElementPointer(layer, row, 0));
    const Wide rowPart = static_cast<Wide>(row) * third;
    for (std::int32_t column = 0; column < layer.columns; ++column)
      store(elements[column], first + static_cast<Wide>(column) * second + rowPart);
  }
}

template <typename T>
const T& FirstOf(const KgdaBaseDataStack& stack, std::size_t layer) {
  return *static_cast<const T*>(stack.GetLayer(layer).data);
}

void FillLayer(KgdaBaseDataStack& output, std::size_t index, const std::vector<KgdaBaseDataStack>& operands) {
  Kgda_BaseDataLayer& layer = output.GetLayer(index);
  VisitType(layer.pixelType, [&](auto element) {
    using T = typename decltype(element)::Type;
    const auto fill = [&](auto wide, const auto& store) {
      using Wide = decltype(wide);
      const auto operand = [&](std::size_t i) { return static_cast<Wide>(FirstOf<T>(operands[i], index)); };
      FillRows<Wide, T>(layer, operand(0), operand(1), operand(2), store);
    };
    if constexpr (std::is_integral_v<T>) {
      // No sum of three numbers of 32 bits, two of them times a count below 2^31, leaves these 64 bits.
      using Wide = std::conditional_t<std::is_same_v<T, std::uint32_t>, std::uint64_t, std::int64_t>;
      const auto lowest = static_cast<Wide>(element.lowest), highest = static_cast<Wide>(element.highest);
      fill(Wide{}, [=](T& place, Wide value) { place = static_cast<T>(std::clamp(value, lowest, highest)); });
    } else if constexpr (std::is_floating_point_v<T>) {
      fill(double{}, [](T& place, double value) { place = static_cast<T>(value); });
    } else if constexpr (kIsComplex<T>) {
      fill(std::complex<double>{}, [](T& place, const std::complex<double>& value) { place = static_cast<T>(value); });
    }
  });
}

void FillWithIncrements(KgdaBaseDataStack& output, const std::vector<KgdaBaseDataStack>& operands) {
  for (std::size_t i = 0; i < output.GetLayerCount(); ++i) FillLayer(output, i, operands);
}

bool CanBeOperand(const KgdaBaseDataStack& operand, const KgdaBaseDataStack& output) {
  if (operand.GetLayerCount() < output.GetLayerCount()) return false;
  for (std::size_t i = 0; i < output.GetLayerCount(); ++i) {
    const Kgda_BaseDataLayer& layer = operand.GetLayer(i);
    if (!layer.data || layer.pixelType != output.GetLayer(i).pixelType) return false;
  }
  return true;
}

}  // namespace

KgdaBaseDataStack kgda_BaseDataStackCreate(std::size_t layers, std::uint64_t rows, std::uint64_t columns,
                                           Kgda_PixelType type, KgdaBaseDataStack::Kind kind, KerrException& error) {
  const std::wstring fault = SizeFault(layers, rows, columns, type);
  if (!fault.empty()) {
    error.Log(__LINE__, fault);
    return KgdaBaseDataStack(kind);
  }
  try {
    KgdaBaseDataStack stack(kind);
    for (std::size_t i = 0; i < layers; ++i)
      stack.AddLayer(static_cast<std::int32_t>(rows), static_cast<std::int32_t>(columns), type);
    return stack;
  } catch (const std::bad_alloc&) {
    error.Log(__LINE__, L"There is no memory for " + std::to_wstring(rows) + L" rows of " + std::to_wstring(columns) +
                            L" columns of " + kgda_PixelTypeName(type) + L".");
  }
  return KgdaBaseDataStack(kind);
}

void kgda_BaseDataCopy(const Kgda_BaseDataLayer& layer, KgdaBaseDataStack& target, KerrException& error) {
  try {
    CopyElements(layer, target.AddLayer(layer.rows, layer.columns, layer.pixelType));
  } catch (...) {
    kerr_LogCurrentException(error, __LINE__);
  }
}

void kgda_BaseDataStackFunction(Kgda_StackFunction function, KgdaBaseDataStack& output,
                                const std::vector<KgdaBaseDataStack>& operands, KerrException& error) {
  for (const KgdaBaseDataStack& operand : operands) {
    if (CanBeOperand(operand, output)) continue;
    error.Log(__LINE__, L"An operand has no element, or one of another type than the result.");
    return;
  }
  try {
    function(output, operands);
  } catch (...) {
    kerr_LogCurrentException(error, __LINE__);
  }
}

// Takes the three operands; with fewer there is nothing to fill with.
Kgda_StackFunction kmsc_AddressOf_kgda_GpfIncFill() {
  return [](KgdaBaseDataStack& output, const std::vector<KgdaBaseDataStack>& operands) {
    if (operands.size() >= 3) FillWithIncrements(output, operands);
  };
}
