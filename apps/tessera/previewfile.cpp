#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "kcommon/kgda.h"
#include "kcommon/kstr.h"
#include "png.h"
#include "preview.h"
#include "txbasiclib/basicvalues.h"
#include "txlib/basicdata.h"

namespace TesseraProgram {

using namespace Tamrin::Tessera;
namespace basic = Tamrin::TesseraBasic;

namespace {

constexpr std::size_t kLongestPart = 24;
constexpr int kStripHeight = 32;
constexpr int kStripWidth = 512;  ///< at least, where each colour gets a whole number of pixels

template <typename Number>
std::string Shortest(Number number) {
  if (std::isnan(number)) return "NaN";
  if (std::isinf(number)) return number < 0 ? "-Infinity" : "Infinity";
  char text[64];
  const auto end = std::to_chars(text, text + sizeof text, number);
  return std::string(text, end.ptr);
}

template <typename Number>
std::string ComplexText(const void* element) {
  Number parts[2];
  std::memcpy(parts, element, sizeof parts);
  const std::string imaginary = Shortest(parts[1]);
  return Shortest(parts[0]) + (imaginary.front() == '-' ? "" : "+") + imaginary + "i";
}

std::string Quoted(const char* text) {
  if (!text) return {};
  if (*text != '\0' && !std::strpbrk(text, ",\"\r\n")) return text;
  std::string quoted = "\"";
  for (; *text; ++text) quoted += *text == '"' ? std::string("\"\"") : std::string(1, *text);
  return quoted + "\"";
}

std::string ElementText(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  if (layer.pixelType == KgdaString) return Quoted(kgda_ElementAsString(layer, row, column));
  const void* const element = kgda_ElementPointer(layer, row, column);
  if (layer.pixelType == KgdaComplex64) return ComplexText<float>(element);
  if (layer.pixelType == KgdaComplex128) return ComplexText<double>(element);
  const double value = kgda_ElementAsDouble(layer, row, column);
  return layer.pixelType == KgdaFloat32 ? Shortest(static_cast<float>(value)) : Shortest(value);
}

/// The layers below each other, with an empty line between them.
std::string ToCsv(const KgdaBaseDataStack& stack) {
  std::string text;
  for (std::size_t index = 0; index < stack.GetLayerCount(); ++index) {
    const Kgda_BaseDataLayer& layer = stack.GetLayer(index);
    if (index != 0) text += '\n';
    for (std::int32_t row = 0; row < layer.rows; ++row) {
      for (std::int32_t column = 0; column < layer.columns; ++column)
        text += (column == 0 ? "" : ",") + ElementText(layer, row, column);
      text += '\n';
    }
  }
  return text;
}

/// A header, and the number of each row before its values.
std::string ToCsv(const std::vector<std::string>& names, const std::vector<const Kgda_BaseDataLayer*>& columns) {
  std::string text = "row";
  std::int32_t rows = 0;
  for (std::size_t column = 0; column < columns.size(); ++column) {
    text += "," + Quoted(names[column].c_str());
    rows = std::max(rows, columns[column]->rows);
  }
  text += '\n';
  for (std::int32_t row = 0; row < rows; ++row) {
    text += std::to_string(row);
    for (const Kgda_BaseDataLayer* column : columns)
      text += "," + (row < column->rows && column->columns > 0 ? ElementText(*column, row, 0) : std::string());
    text += '\n';
  }
  return text;
}

char ToByte(double share) {
  return static_cast<char>(static_cast<unsigned char>(std::lround(std::clamp(share, 0.0, 1.0) * 255)));
}

/// What channels go to: 255 where one is above 1, as in the tables of colour ramp files.
double ScaleOf(const basic::Table& table) {
  for (int row = 0; row < table.GetCount(); ++row) {
    const basic::Color color = table.GetColorAt(row);
    if (std::max({color.GetRed(), color.GetGreen(), color.GetBlue()}) > 1) return 255;
  }
  return 1;
}

/// A strip from the first colour to the last, upon white where they are not opaque.
std::string ToStrip(const basic::Table& table) {
  const int count = table.GetCount();
  const int perColor = count >= kStripWidth ? 1 : (kStripWidth + count - 1) / count;
  const double scale = ScaleOf(table);
  std::string line;
  for (int row = 0; row < count; ++row) {
    const basic::Color color = table.GetColorAt(row);
    const double white = 1 - std::clamp(color.GetOpacity(), 0.0, 1.0);
    for (int pixel = 0; pixel < perColor; ++pixel) {
      for (const double share : {color.GetRed(), color.GetGreen(), color.GetBlue()})
        line += ToByte(share / scale * (1 - white) + white);
    }
  }
  return ToPng(line, kStripHeight);
}

template <typename W>
const typename W::ValueType* ValueIn(const Data& data) {
  const auto* const wrapper = dynamic_cast<const W*>(&data);
  return wrapper ? wrapper->GetDataPointer().get() : nullptr;
}

PreviewFile ToPreviewFile(const basic::Table& table) {
  if (table.IsColorTable() && table.GetCount() > 0) return {L".png", ToStrip(table)};
  const KgdaBaseDataStack& stack = table.GetStack();
  std::vector<std::string> names;
  std::vector<const Kgda_BaseDataLayer*> columns;
  for (std::size_t index = 0; index < stack.GetLayerCount(); ++index) {
    names.push_back(stack.GetLayerCount() == 1 ? "value" : "value" + std::to_string(index + 1));
    columns.push_back(&stack.GetLayer(index));
  }
  return {L".csv", ToCsv(names, columns)};
}

PreviewFile ToPreviewFile(const basic::AttributeTable& table) {
  std::vector<std::string> names;
  std::vector<const Kgda_BaseDataLayer*> columns;
  for (const auto& column : table.GetColumns()) {
    if (!column.table || column.table->GetStack().GetLayerCount() == 0) continue;
    names.push_back(kstr_ToUtf8(column.name));
    columns.push_back(&column.table->GetStack().GetLayer(0));
  }
  return {L".csv", ToCsv(names, columns)};
}

}  // namespace

PreviewFile ToPreviewFile(const boost::shared_ptr<Data>& data) {
  if (const auto* table = ValueIn<basic::TableData>(*data)) return ToPreviewFile(*table);
  if (const auto* table = ValueIn<basic::AttributeTableData>(*data)) return ToPreviewFile(*table);
  if (const auto* matrix = ValueIn<basic::MatrixData>(*data)) return {L".csv", ToCsv(matrix->GetStack())};
  const auto* stack = ValueIn<basic::BaseDataStackData>(*data);
  if (stack && stack->GetKind() != KgdaBaseDataStack::KindScalar) return {L".csv", ToCsv(*stack)};
  std::string text = kstr_ToUtf8(data->ToString());
  if (text.empty() || text.back() != '\n') text += '\n';
  return {L".txt", text};
}

std::wstring ToFileNamePart(const std::wstring& text) {
  std::wstring part;
  for (const wchar_t c : text.substr(0, kLongestPart)) {
    const bool isPlain = (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') ||
                         c == L'_' || c == L'-' || (c >= 0xC0 && c < 0x2000) || (c >= 0x2C00 && c < 0xD800);
    part += isPlain ? c : L'_';
  }
  return part.empty() ? L"_" : part;
}

}  // namespace TesseraProgram
