#include "datatext.h"

#include <cmath>
#include <typeinfo>

#include "kcommon/kstr.h"
#include "nesting.h"
#include "numbertext.h"
#include "txlib/basicdata.h"

namespace Tamrin::Tessera {
namespace {

// Not what derives from a text for its storage: a password has report and short texts of its own.
bool IsText(const Data& data) {
  const std::type_info& type = typeid(data);
  return type == typeid(StringData) || type == typeid(FileData) || type == typeid(DirectoryData);
}

constexpr wchar_t kHexDigits[] = L"0123456789abcdef";

void AppendQuoted(std::wstring& out, const std::wstring& text) {
  out += L'"';
  for (const wchar_t c : text) {
    if (c == L'"' || c == L'\\')
      (out += L'\\') += c;
    else if (c == L'\n')
      out += L"\\n";
    else if (c == L'\t')
      out += L"\\t";
    else if (c == L'\r')
      out += L"\\r";
    else if (c >= 0 && c < 0x20)
      ((out += L"\\u00") += kHexDigits[c >> 4]) += kHexDigits[c & 15];
    else
      out += c;
  }
  out += L'"';
}

/// Writes values on one line, or pretty over several.
class Writer {
 public:
  explicit Writer(std::size_t limit, TextUse use) : limit_(limit), use_(use) {}

  std::wstring Take() { return std::move(out_); }
  bool IsFull() const { return out_.size() > limit_; }

  void Write(const boost::shared_ptr<Data>& item) {
    if (item)
      Write(*item);
    else
      out_ += L"null";
  }

  void Write(const Data& data) {
    if (data.HasNoValue())
      out_ += L"null";
    else if (const auto* number = dynamic_cast<const DoubleData*>(&data))
      out_ += ContainedDouble(number->GetDataValue());
    else if (IsText(data))
      AppendQuoted(out_, static_cast<const StringData&>(data).GetDataValue());
    else if (const auto* texts = dynamic_cast<const StringListData*>(&data))
      WriteTexts(texts->GetDataValue());
    else if (const auto* list = dynamic_cast<const DataListData*>(&data))
      WriteList(list->GetDataValue());
    else if (const auto* items = dynamic_cast<const DictionaryData*>(&data))
      WriteDictionary(items->GetDataValue());
    else
      out_ += use_ == TextUse::Full ? data.ToString() : data.ToReportString();
  }

  void WritePretty(const Data& data, unsigned depth) {
    const std::size_t indent = 2 * std::size_t{depth};
    Writer line(kShortLength > indent ? kShortLength - indent : 0, use_);
    line.Write(data);
    const auto* list = dynamic_cast<const DataListData*>(&data);
    const auto* texts = dynamic_cast<const StringListData*>(&data);
    const auto* items = dynamic_cast<const DictionaryData*>(&data);
    const NestingGuard level;
    if (!line.IsFull() || data.HasNoValue() || NestingGuard::IsTooDeep())
      out_ += line.Take();
    else if (list && !list->GetDataValue().empty())
      WritePrettyList(list->GetDataValue(), depth);
    else if (texts && !texts->GetDataValue().empty())
      WritePrettyTexts(texts->GetDataValue(), depth);
    else if (items && !items->GetDataValue().GetItems().empty())
      WritePrettyItems(items->GetDataValue(), depth);
    else
      Write(data);
  }

 private:
  template <typename Items, typename WriteItem>
  void WriteAll(const Items& items, wchar_t open, wchar_t close, WriteItem writeItem) {
    const NestingGuard level;
    if (NestingGuard::IsTooDeep()) {
      out_ += L"...";
      return;
    }
    out_ += open;
    bool first = true;
    for (const auto& item : items) {
      if (IsFull()) return;
      if (!first) out_ += L", ";
      first = false;
      writeItem(item);
    }
    out_ += close;
  }

  void WriteTexts(const std::vector<std::wstring>& texts) {
    WriteAll(texts, L'[', L']', [this](const std::wstring& text) { AppendQuoted(out_, text); });
  }

  void WriteList(const DataList& list) {
    WriteAll(list, L'[', L']', [this](const boost::shared_ptr<Data>& item) { Write(item); });
  }

  void WriteDictionary(const Dictionary& dictionary) {
    WriteAll(dictionary.GetItems(), L'{', L'}', [this](const Dictionary::Item& item) {
      AppendQuoted(out_, item.first);
      out_ += L": ";
      Write(item.second);
    });
  }

  template <typename Items, typename WriteItem>
  void WriteAllPretty(const Items& items, wchar_t open, wchar_t close, unsigned depth, WriteItem writeItem) {
    out_ += open;
    bool first = true;
    for (const auto& item : items) {
      if (!first) out_ += L',';
      first = false;
      ((out_ += L'\n')).append(2 * (std::size_t{depth} + 1), L' ');
      writeItem(item);
    }
    (out_ += L'\n').append(2 * std::size_t{depth}, L' ') += close;
  }

  void WritePrettyItem(const boost::shared_ptr<Data>& item, unsigned depth) {
    if (item)
      WritePretty(*item, depth);
    else
      out_ += L"null";
  }

  void WritePrettyList(const DataList& list, unsigned depth) {
    WriteAllPretty(list, L'[', L']', depth,
                   [&](const boost::shared_ptr<Data>& item) { WritePrettyItem(item, depth + 1); });
  }

  void WritePrettyTexts(const std::vector<std::wstring>& texts, unsigned depth) {
    WriteAllPretty(texts, L'[', L']', depth, [&](const std::wstring& text) { AppendQuoted(out_, text); });
  }

  void WritePrettyItems(const Dictionary& dictionary, unsigned depth) {
    WriteAllPretty(dictionary.GetItems(), L'{', L'}', depth, [&](const Dictionary::Item& item) {
      AppendQuoted(out_, item.first);
      out_ += L": ";
      WritePrettyItem(item.second, depth + 1);
    });
  }

  std::wstring out_;
  std::size_t limit_;
  TextUse use_;
};

bool IsListOrDictionary(const Data& data) {
  return dynamic_cast<const DataListData*>(&data) || dynamic_cast<const StringListData*>(&data) ||
         dynamic_cast<const DictionaryData*>(&data);
}

}  // namespace

std::wstring ContainedDouble(double value) {
  if (!std::isfinite(value)) return DoubleText(value, 17);
  std::wstring text = kstr_ShortestDouble(value);
  if (text.find_first_of(L".eE") == std::wstring::npos) text += L".0";
  return text;
}

std::wstring ShortLine(std::wstring text) {
  if (text.size() > kShortLength) text.replace(kShortLength - 3, std::wstring::npos, L"...");
  for (wchar_t& c : text)
    if ((c >= 0 && c < 0x20) || c == 0x7F) c = L' ';
  return text;
}

std::wstring ContainedText(const Data& data) {
  if (data.HasNoValue()) return {};
  Writer writer(static_cast<std::size_t>(-1), TextUse::Full);
  writer.Write(data);
  return writer.Take();
}

std::wstring ShortContainerText(const Data& data) {
  if (data.HasNoValue()) return {};
  Writer writer(kShortLength, TextUse::Report);
  writer.Write(data);
  return ShortLine(writer.Take());
}

std::wstring IndentedText(const Data& data, unsigned depth, bool& multiline, TextUse use) {
  std::wstring text;
  if (!IsListOrDictionary(data)) {
    text = data.ToString();
  } else if (!data.HasNoValue()) {
    Writer writer(static_cast<std::size_t>(-1), use);
    writer.WritePretty(data, 0);
    text = writer.Take();
  }
  multiline = text.find(L'\n') != std::wstring::npos;
  if (depth == 0) return text;
  const std::wstring indent(2 * std::size_t{depth}, L' ');
  std::wstring indented = indent;
  for (const wchar_t c : text) {
    indented += c;
    if (c == L'\n') indented += indent;
  }
  return indented;
}

std::wstring ContainerReport(const Data& data) {
  bool multiline = false;
  return IndentedText(data, 0, multiline, TextUse::Report);
}

}  // namespace Tamrin::Tessera
