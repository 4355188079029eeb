// Reports of values that have parts: on one line where they are short, a part a line otherwise.
#include <string>
#include <vector>

#include "stackparts.h"
#include "txbasiclib/basicvalues.h"
#include "wrapperparts.h"

namespace Tamrin::TesseraBasic {
namespace {

std::wstring InLines(const std::vector<std::wstring>& parts, wchar_t open, wchar_t close) {
  std::wstring text(1, open);
  for (std::size_t index = 0; index < parts.size(); ++index) {
    text += index ? L",\n  " : L"\n  ";
    text += parts[index];
  }
  (text += L'\n') += close;
  return text;
}

std::wstring RowText(const Kgda_BaseDataLayer& layer, std::int32_t row) {
  std::wstring text = L"[";
  for (std::int32_t column = 0; column < layer.columns; ++column) {
    if (column) text += L", ";
    text += ElementText(layer, row, column);
  }
  return text += L']';
}

}  // namespace

std::wstring TableData::ToReportString() const {
  const std::wstring line = ToString();
  if (line.size() <= kLineLength) return line;
  const KgdaBaseDataStack& stack = GetDataValue().GetStack();
  if (stack.GetLayerCount() != 1 && !stack.IsColor()) return line;
  std::vector<std::wstring> rows;
  for (std::int32_t row = 0; row < GetDataValue().GetCount(); ++row) {
    rows.push_back(stack.IsColor() ? L"[" + ColorText(GetDataValue().GetColorAt(row)) + L"]"
                                   : ElementText(stack.GetLayer(0), row, 0));
  }
  return InLines(rows, L'[', L']');
}

std::wstring MatrixData::ToReportString() const {
  const std::wstring line = ToString();
  if (line.size() <= kLineLength || GetDataValue().GetStack().GetLayerCount() != 1) return line;
  std::vector<std::wstring> rows;
  const Kgda_BaseDataLayer& layer = GetDataValue().GetStack().GetLayer(0);
  for (std::int32_t row = 0; row < layer.rows; ++row) rows.push_back(RowText(layer, row));
  return InLines(rows, L'[', L']');
}

std::wstring AttributeTableData::ToReportString() const {
  const std::wstring line = ToString();
  if (line.size() <= kLineLength) return line;
  std::vector<std::wstring> columns;
  for (const auto& column : GetDataValue().GetColumns()) {
    const TableData table(column.table);
    columns.push_back(QuotedText(column.name) + L": " + (column.table ? table.ToString() : L"null"));
  }
  return InLines(columns, L'{', L'}');
}

std::wstring JsonData::ToReportString() const {
  const std::wstring line = ToString();
  return line.size() <= kLineLength ? line : GetDataValue().Serialize(true);
}

}  // namespace Tamrin::TesseraBasic
