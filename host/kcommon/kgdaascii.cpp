#include <algorithm>
#include <cmath>
#include <limits>

#include "asciielement.h"
#include "asciiheader.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kgda.h"
#include "kcommon/kramp.h"
#include "kcommon/kstr.h"
#include "textlines.h"

namespace {

bool AreAlike(const KgdaBaseDataStack& stack) {
  for (std::size_t i = 1; i < stack.GetLayerCount(); ++i) {
    const Kgda_BaseDataLayer &first = stack.GetLayer(0), &layer = stack.GetLayer(i);
    if (layer.rows != first.rows || layer.columns != first.columns || layer.pixelType != first.pixelType) return false;
  }
  return true;
}

void AppendGrid(std::string& text, const Kgda_BaseDataLayer& layer) {
  for (std::int32_t row = 0; row < layer.rows; ++row) {
    for (std::int32_t column = 0; column < layer.columns; ++column) {
      if (column) text += ' ';
      AppendElement(text, layer.pixelType, kgda_ElementPointer(layer, row, column));
    }
    text += '\n';
  }
}

/// A line per row, the layers side by side.
void AppendColumn(std::string& text, const KgdaBaseDataStack& stack) {
  for (std::int32_t row = 0; row < stack.GetLayer(0).rows; ++row) {
    for (std::size_t i = 0; i < stack.GetLayerCount(); ++i) {
      if (i) text += ' ';
      AppendElement(text, stack.GetLayer(i).pixelType, kgda_ElementPointer(stack.GetLayer(i), row, 0));
    }
    text += '\n';
  }
}

/// The elements of a text, in the places that a header, or the count of its lines, gives them.
class GridReader {
 public:
  GridReader(TextLines& lines, KgdaBaseDataStack& stack) : lines_(lines), stack_(stack) {}

  void ReadLayers(bool sideBySide) {
    if (stack_.GetLayerCount() > 0) {
      const auto& first = stack_.GetLayer(0);
      if (sideBySide)
        ReadRows(0, stack_.GetLayerCount());
      else if (first.columns > 0)
        for (std::size_t i = 0; i < stack_.GetLayerCount(); ++i) ReadRows(i, i + 1);
    }
    if (lines_.NextDataLine()) lines_.Fail(L"the end of the file");
  }

 private:
  void ReadRows(std::size_t layerBegin, std::size_t layerEnd) {
    const Kgda_BaseDataLayer& first = stack_.GetLayer(layerBegin);
    const std::int64_t count = std::int64_t{first.columns} * static_cast<std::int64_t>(layerEnd - layerBegin);
    for (std::int32_t row = 0; row < first.rows; ++row) {
      if (!lines_.NextDataLine())
        lines_.Fail(L"row " + std::to_wstring(row + 1) + L" of " + std::to_wstring(first.rows));
      for (std::int32_t column = 0; column < first.columns; ++column) {
        for (std::size_t i = layerBegin; i < layerEnd; ++i) ReadOne(stack_.GetLayer(i), row, column, count);
      }
      if (lines_.NextElement()) lines_.Fail(L"the end of the line after " + Elements(count));
    }
  }

  void ReadOne(Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column, std::int64_t count) {
    if (!lines_.NextElement()) lines_.FailAt(lines_.GetLineEnd(), Elements(count) + L" on the line");
    ReadElement(lines_, layer.pixelType, kgda_ElementPointer(layer, row, column));
  }

  static std::wstring Elements(std::int64_t count) {
    return std::to_wstring(count) + (count == 1 ? L" element" : L" elements");
  }

  TextLines& lines_;
  KgdaBaseDataStack& stack_;
};

KgdaBaseDataStack Made(const AsciiHeader& header, KerrException& error) {
  KgdaBaseDataStack stack =
      kgda_BaseDataStackCreate(header.layers, header.rows, header.columns, header.type, header.kind, error);
  stack.SetBinFunction(header.binFunction);
  return stack;
}

/// Lines of elements without a header: as many rows as lines, as many columns as the first line has elements.
AsciiHeader CountElements(std::string_view text, KgdaBaseDataStack::Kind kind, Kgda_PixelType type) {
  AsciiHeader header{.kind = KgdaBaseDataStack::KindMatrix, .type = type, .rows = 0, .columns = 0, .layers = 1};
  const bool lineIsElement = type == KgdaString && kind != KgdaBaseDataStack::KindMatrix;
  for (TextLines lines(text); lines.NextDataLine(); ++header.rows) {
    if (header.rows > 0) continue;
    if (lineIsElement) ++header.columns;
    for (; !lineIsElement && lines.NextElement(); ++header.columns) {
      if (type == KgdaString && *lines.GetPlace() == '"')
        ReadQuoted(lines);
      else
        lines.SetPlace(lines.GetPlace() + lines.PeekWord().size());
    }
  }
  return header;
}

void ReadTextLines(TextLines& lines, KgdaBaseDataStack& stack) {
  Kgda_BaseDataLayer& layer = stack.GetLayer(0);
  for (std::int32_t row = 0; row < layer.rows && lines.NextDataLine(); ++row) {
    if (lines.GetLine().front() == '"') {
      lines.NextElement();
      ReadElement(lines, KgdaString, kgda_ElementPointer(layer, row, 0));
      if (lines.NextElement()) lines.Fail(L"the end of the line");
      continue;
    }
    const std::string line(lines.GetLine());
    if (line.find('\0') != std::string::npos) lines.Fail(L"text without zero bytes");
    kgda_SetElementString(layer, row, 0, line.c_str());
  }
}

KgdaBaseDataStack ReadPlain(std::string_view text, KgdaBaseDataStack::Kind kind, Kgda_PlainText plain,
                            KerrException& error) {
  const Kgda_PixelType type = plain == Kgda_PlainText::Texts     ? KgdaString
                              : plain == Kgda_PlainText::Complex ? KgdaComplex128
                                                                 : KgdaFloat64;
  KgdaBaseDataStack stack = Made(CountElements(text, kind, type), error);
  if (error.IsPending()) return KgdaBaseDataStack(kind);
  TextLines lines(text);
  if (type == KgdaString && kind != KgdaBaseDataStack::KindMatrix)
    ReadTextLines(lines, stack);
  else
    GridReader(lines, stack).ReadLayers(false);
  return stack;
}

/// One row is made one column where a table is wanted.
void FitKind(KgdaBaseDataStack& stack, KgdaBaseDataStack::Kind kind) {
  const auto& first = stack.GetLayer(0);
  const std::wstring size = std::to_wstring(first.rows) + L" rows of " + std::to_wstring(first.columns) + L" columns";
  if (kind == KgdaBaseDataStack::KindScalar && (first.rows != 1 || first.columns != 1))
    throw TextFault(1, 1, size, L"one element, as a scalar has");
  if (kind == KgdaBaseDataStack::KindTable && first.columns != 1) {
    // No rows have no columns either.
    if (first.rows > 1 || (first.rows == 0 && first.columns > 0))
      throw TextFault(1, 1, size, L"one column, as a table has");
    for (std::size_t i = 0; i < stack.GetLayerCount(); ++i) {
      Kgda_BaseDataLayer& layer = stack.GetLayer(i);
      layer.rows = layer.columns;
      layer.columns = 1;
      layer.rowStride = layer.elementSize;
    }
  }
  stack.SetKind(kind);
}

KgdaBaseDataStack ReadWithHeader(TextLines& lines, KerrException& error) {
  AsciiHeader header = ReadAsciiHeader(lines);
  // An element takes a character and a separator, so that no more is made than the file can fill.
  const std::uint64_t most = lines.GetRestSize() / 2 + 1;
  const std::uint64_t area = header.rows * header.columns;
  if (area > most || area * header.layers > most) {
    lines.Fail(L"no more than " + std::to_wstring(most) + L" elements, which is what the file has room for");
  }
  KgdaBaseDataStack stack = Made(header, error);
  const bool sideBySide = header.kind != KgdaBaseDataStack::KindMatrix && header.columns == 1;
  if (!error.IsPending()) GridReader(lines, stack).ReadLayers(sideBySide);
  return stack;
}

}  // namespace

std::string kgda_BaseDataStackToAscii(const KgdaBaseDataStack& stack, KerrException& error) {
  if (stack.GetLayerCount() == 0 || !AreAlike(stack)) {
    error.Log(__LINE__, L"A stack whose layers differ in size or type, or that has none, has no text form.");
    return {};
  }
  const Kgda_BaseDataLayer& first = stack.GetLayer(0);
  std::string text = AsciiHeaderText(stack);
  text.reserve(text.size() + stack.SizeInBytes() * 2);
  if (stack.GetKind() != KgdaBaseDataStack::KindMatrix && first.columns == 1) {
    AppendColumn(text, stack);
    return text;
  }
  for (std::size_t i = 0; i < stack.GetLayerCount(); ++i) {
    if (i) text += "# layer " + std::to_string(i + 1) + "\n";
    if (first.columns > 0) AppendGrid(text, stack.GetLayer(i));
  }
  return text;
}

void kgda_BaseDataStackWriteAscii(const KgdaBaseDataStack& stack, const std::wstring& fileName, KerrException& error) {
  try {
    const std::wstring name = kfnp_FileNameEvaluateEnv(fileName, error);
    if (error.IsPending()) return;
    const std::string text = kgda_BaseDataStackToAscii(stack, error);
    if (!error.IsPending()) kfio::WriteBytes(name, text);
  } catch (...) {
    kerr_LogCurrentException(error, __LINE__);
  }
}

KgdaBaseDataStack kgda_BaseDataStackFromAscii(std::string_view text, const std::wstring& source,
                                              KgdaBaseDataStack::Kind kind, Kgda_PlainText plain,
                                              KerrException& error) {
  try {
    TextLines lines(text);
    const bool hasHeader = lines.NextLine() && IsAsciiHeader(lines.GetLine());
    if (!hasHeader && plain == Kgda_PlainText::Colors && kind != KgdaBaseDataStack::KindMatrix) {
      KgdaBaseDataStack colors = ColorRampFromText(text, source, error);
      if (!error.IsPending()) FitKind(colors, kind);
      return colors;
    }
    KgdaBaseDataStack stack = hasHeader ? ReadWithHeader(lines, error) : ReadPlain(text, kind, plain, error);
    if (error.IsPending()) return KgdaBaseDataStack(kind);
    FitKind(stack, kind);
    return stack;
  } catch (const TextFault& fault) {
    error.Log(__LINE__, fault.Text(source));
  }
  return KgdaBaseDataStack(kind);
}

KgdaBaseDataStack kgda_BaseDataStackReadAscii(const std::wstring& fileName, KgdaBaseDataStack::Kind kind,
                                              Kgda_PlainText plain, KerrException& error) {
  try {
    const std::wstring name = kfnp_FileNameEvaluateEnv(fileName, error);
    if (!error.IsPending()) return kgda_BaseDataStackFromAscii(kfio::ReadBytes(name), name, kind, plain, error);
  } catch (...) {
    kerr_LogCurrentException(error, __LINE__);
  }
  return KgdaBaseDataStack(kind);
}
