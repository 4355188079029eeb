#include "stackparts.h"

#include <algorithm>
#include <complex>
#include <cstring>

#include "kcommon/kstr.h"
#include "numbertext.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::TesseraBasic {
namespace {

template <typename T>
const T& At(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  return *static_cast<const T*>(kgda_ElementPointer(layer, row, column));
}

bool IsComplex(Kgda_PixelType type) { return type == KgdaComplex64 || type == KgdaComplex128; }

std::complex<double> ComplexAt(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  if (layer.pixelType == KgdaComplex128) return At<std::complex<double>>(layer, row, column);
  const auto& value = At<std::complex<float>>(layer, row, column);
  return {static_cast<double>(value.real()), static_cast<double>(value.imag())};
}

int KindOf(Kgda_PixelType type) { return type == KgdaString ? 2 : IsComplex(type) ? 1 : 0; }

int OrderOfTexts(const char* a, const char* b) {
  if (!a || !b) return OrderOf(a != nullptr, b != nullptr);
  const int order = std::strcmp(a, b);
  return order < 0 ? -1 : order > 0 ? 1 : 0;
}

int OrderOfElements(const Kgda_BaseDataLayer& a, const Kgda_BaseDataLayer& b, std::int32_t row, std::int32_t column) {
  switch (KindOf(a.pixelType)) {
    case 2:
      return OrderOfTexts(kgda_ElementAsString(a, row, column), kgda_ElementAsString(b, row, column));
    case 1: {
      const auto first = ComplexAt(a, row, column), second = ComplexAt(b, row, column);
      const int order = OrderOfNumbers(first.real(), second.real());
      return order ? order : OrderOfNumbers(first.imag(), second.imag());
    }
    default:
      return OrderOfNumbers(kgda_ElementAsDouble(a, row, column), kgda_ElementAsDouble(b, row, column));
  }
}

int OrderOfLayers(const Kgda_BaseDataLayer& a, const Kgda_BaseDataLayer& b) {
  if (const int order = OrderOf(KindOf(a.pixelType), KindOf(b.pixelType))) return order;
  if (const int order = OrderOf(a.columns, b.columns)) return order;
  if (a.columns > 0) {
    for (std::int32_t row = 0; row < std::min(a.rows, b.rows); ++row)
      for (std::int32_t column = 0; column < a.columns; ++column)
        if (const int order = OrderOfElements(a, b, row, column)) return order;
  }
  return OrderOf(a.rows, b.rows);
}

std::wstring LayerText(const Kgda_BaseDataLayer& layer, std::size_t limit) {
  std::wstring text = L"[";
  if (layer.columns > 0) {
    for (std::int32_t row = 0; row < layer.rows; ++row) {
      text += row ? L", [" : L"[";
      for (std::int32_t column = 0; column < layer.columns; ++column) {
        if (text.size() > limit) return text;
        if (column) text += L", ";
        text += ElementText(layer, row, column);
      }
      text += L']';
    }
  }
  return text += L']';
}

}  // namespace

std::int64_t ElementsOf(const Kgda_BaseDataLayer& layer) { return std::int64_t{layer.rows} * layer.columns; }

std::uint64_t StackSize(const KgdaBaseDataStack& stack) {
  std::uint64_t size = sizeof(KgdaBaseDataStack) + stack.SizeInBytes();
  for (std::size_t i = 0; i < stack.GetLayerCount(); ++i) {
    const Kgda_BaseDataLayer& layer = stack.GetLayer(i);
    size += sizeof(Kgda_BaseDataLayer);
    if (layer.pixelType != KgdaString || ElementsOf(layer) == 0) continue;
    for (std::int32_t row = 0; row < layer.rows; ++row)
      for (std::int32_t column = 0; column < layer.columns; ++column)
        if (const char* text = kgda_ElementAsString(layer, row, column)) size += std::strlen(text) + 1;
  }
  return size;
}

bool IsUniform(const KgdaBaseDataStack& stack) {
  if (stack.GetLayerCount() == 0) return false;
  const Kgda_BaseDataLayer& first = stack.GetLayer(0);
  for (std::size_t i = 1; i < stack.GetLayerCount(); ++i) {
    const Kgda_BaseDataLayer& layer = stack.GetLayer(i);
    if (layer.rows != first.rows || layer.columns != first.columns || layer.pixelType != first.pixelType) return false;
  }
  return true;
}

void CopyElement(Kgda_BaseDataLayer& to, std::int32_t row, std::int32_t column, const Kgda_BaseDataLayer& from,
                 std::int32_t fromRow, std::int32_t fromColumn) {
  if (from.pixelType == KgdaString && to.pixelType == KgdaString) {
    kgda_SetElementString(to, row, column, kgda_ElementAsString(from, fromRow, fromColumn));
  } else if (from.pixelType == to.pixelType) {
    std::memcpy(kgda_ElementPointer(to, row, column), kgda_ElementPointer(from, fromRow, fromColumn), to.elementSize);
  } else if (from.pixelType <= KgdaFloat64 && to.pixelType != KgdaString) {
    kgda_SetElementFromDouble(to, row, column, kgda_ElementAsDouble(from, fromRow, fromColumn));
  } else {
    KgdaBaseDataStack one;
    CopyElement(one.AddLayer(1, 1, from.pixelType), 0, 0, from, fromRow, fromColumn);
    const KgdaBaseDataStack converted = kgda_ConvertStack(one, to.pixelType);
    CopyElement(to, row, column, converted.GetLayer(0), 0, 0);
  }
}

Color ColorOfElement(const KgdaBaseDataStack& stack, std::int32_t row, std::int32_t column) {
  const auto part = [&](std::size_t layer) { return kgda_ElementAsDouble(stack.GetLayer(layer), row, column); };
  if (!stack.IsColor()) return Color(part(0), part(0), part(0));
  return Color(part(0), part(1), part(2), stack.GetLayerCount() > 3 ? part(3) : 1.0);
}

void SetColorOfElement(KgdaBaseDataStack& stack, std::int32_t row, std::int32_t column, const Color& color) {
  if (stack.GetLayerCount() == 3 && color.GetOpacity() != 1) {
    const std::int32_t rows = stack.GetLayer(0).rows, columns = stack.GetLayer(0).columns;
    Kgda_BaseDataLayer& opacity = stack.AddLayer(rows, columns, KgdaFloat64);
    std::fill_n(static_cast<double*>(opacity.data), ElementsOf(opacity), 1.0);
  }
  const double parts[] = {color.GetRed(), color.GetGreen(), color.GetBlue(), color.GetOpacity()};
  for (std::size_t i = 0; i < stack.GetLayerCount(); ++i)
    kgda_SetElementFromDouble(stack.GetLayer(i), row, column, parts[i]);
}

KgdaBaseDataStack ToColorStack(const KgdaBaseDataStack& stack) {
  if (stack.IsColor()) return stack;
  const std::size_t count = stack.GetLayerCount();
  if ((count == 3 || count == 4) && IsUniform(stack)) return kgda_ConvertStack(stack, KgdaFloat64);
  KgdaBaseDataStack result(stack.GetKind());
  result.SetBinFunction(stack.GetBinFunction());
  if (count == 0) return result;
  KgdaBaseDataStack first(stack.GetKind());
  const Kgda_BaseDataLayer& from = stack.GetLayer(0);
  Kgda_BaseDataLayer& to = first.AddLayer(from.rows, from.columns, KgdaFloat64);
  if (ElementsOf(from) > 0) {
    for (std::int32_t row = 0; row < from.rows; ++row)
      for (std::int32_t column = 0; column < from.columns; ++column) CopyElement(to, row, column, from, row, column);
  }
  for (int i = 0; i < 3; ++i) {
    Kgda_BaseDataLayer& part = result.AddLayer(from.rows, from.columns, KgdaFloat64);
    if (part.data) std::memcpy(part.data, to.data, static_cast<std::size_t>(ElementsOf(to)) * to.elementSize);
  }
  return result;
}

std::wstring QuotedText(const std::wstring& text) { return Tessera::JsonValue(text).Serialize(); }

std::wstring ElementText(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  if (layer.pixelType == KgdaString) {
    const char* text = kgda_ElementAsString(layer, row, column);
    return text ? QuotedText(kstr_FromUtf8Lossy(text)) : L"null";
  }
  if (layer.pixelType == KgdaComplex64) {
    const auto& value = At<std::complex<float>>(layer, row, column);
    return L"(" + SingleText(value.real()) + L"," + SingleText(value.imag()) + L")";
  }
  if (layer.pixelType == KgdaComplex128) {
    const auto& value = At<std::complex<double>>(layer, row, column);
    return L"(" + kstr_ShortestDouble(value.real()) + L"," + kstr_ShortestDouble(value.imag()) + L")";
  }
  if (layer.pixelType == KgdaFloat32) return SingleText(At<float>(layer, row, column));
  return kstr_ShortestDouble(kgda_ElementAsDouble(layer, row, column));
}

std::wstring ColorText(const Color& color) {
  return kstr_ShortestDouble(color.GetRed()) + L" " + kstr_ShortestDouble(color.GetGreen()) + L" " +
         kstr_ShortestDouble(color.GetBlue()) + L" " + kstr_ShortestDouble(color.GetOpacity());
}

std::wstring ColumnText(const KgdaBaseDataStack& stack, std::size_t limit) {
  if (stack.GetLayerCount() != 1 && !stack.IsColor()) return GridText(stack, limit);
  const std::int32_t rows = stack.GetLayer(0).rows;
  const bool isColor = stack.IsColor();
  std::wstring text = L"[";
  for (std::int32_t row = 0; row < rows; ++row) {
    if (text.size() > limit) return text;
    if (row) text += L", ";
    text += isColor ? L"[" + ColorText(ColorOfElement(stack, row, 0)) + L"]" : ElementText(stack.GetLayer(0), row, 0);
  }
  return text += L']';
}

std::wstring GridText(const KgdaBaseDataStack& stack, std::size_t limit) {
  if (stack.GetLayerCount() == 1) return LayerText(stack.GetLayer(0), limit);
  std::wstring text = L"[";
  for (std::size_t i = 0; i < stack.GetLayerCount() && text.size() <= limit; ++i) {
    if (i) text += L", ";
    text += LayerText(stack.GetLayer(i), limit);
  }
  return text += L']';
}

int OrderOfStacks(const KgdaBaseDataStack& a, const KgdaBaseDataStack& b) {
  const std::size_t common = std::min(a.GetLayerCount(), b.GetLayerCount());
  for (std::size_t i = 0; i < common; ++i)
    if (const int order = OrderOfLayers(a.GetLayer(i), b.GetLayer(i))) return order;
  return OrderOf(a.GetLayerCount(), b.GetLayerCount());
}

int OrderOfColors(const Color& a, const Color& b) {
  if (const int order = OrderOfNumbers(a.GetRed(), b.GetRed())) return order;
  if (const int order = OrderOfNumbers(a.GetGreen(), b.GetGreen())) return order;
  if (const int order = OrderOfNumbers(a.GetBlue(), b.GetBlue())) return order;
  return OrderOfNumbers(a.GetOpacity(), b.GetOpacity());
}

}  // namespace Tamrin::TesseraBasic
