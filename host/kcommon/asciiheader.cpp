#include "asciiheader.h"

#include <boost/make_shared.hpp>
#include <charconv>
#include <cmath>
#include <limits>

#include "asciielement.h"
#include "kcommon/kstr.h"
#include "kcommon/ktxt.h"

namespace {

constexpr std::string_view kMark = "#tessera";
constexpr std::string_view kBinsMark = "#bins";
constexpr std::uint64_t kMostLayers = 65535;
const char* const kKindNames[] = {"scalar", "table", "matrix"};
const char* const kBinKindNames[] = {"direct", "linear", "logarithmic", "explicit"};

std::uint64_t WholeNumber(const TextLines& lines, std::string_view word, std::uint64_t most) {
  std::uint64_t value = 0;
  const auto read = std::from_chars(word.data(), word.data() + word.size(), value);
  if (read.ec != std::errc() || read.ptr != word.data() + word.size() || value > most)
    lines.FailAt(word.data(), L"a whole number from 0 to " + std::to_wstring(most));
  return value;
}

std::size_t IndexOfName(const TextLines& lines, std::string_view word, const char* const* names, std::size_t count) {
  std::wstring known;
  for (std::size_t i = 0; i < count; ++i) {
    if (word == names[i]) return i;
    known += (i ? L", " : L"") + kstr_Widen(names[i]);
  }
  lines.FailAt(word.data(), L"one of " + known);
}

void ReadFact(const TextLines& lines, std::string_view name, std::string_view value, AsciiHeader& header) {
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max());
  if (name == "kind") {
    header.kind = static_cast<KgdaBaseDataStack::Kind>(IndexOfName(lines, value, kKindNames, 3));
  } else if (name == "type") {
    header.type = PixelTypeOfName(value);
    if (header.type == kKgdaPixelTypeCount) lines.FailAt(value.data(), L"an element type such as Float64");
  } else if (name == "rows") {
    header.rows = WholeNumber(lines, value, kMost);
  } else if (name == "columns") {
    header.columns = WholeNumber(lines, value, kMost);
  } else if (name == "layers") {
    header.layers = WholeNumber(lines, value, kMostLayers);
    if (header.layers == 0) lines.FailAt(value.data(), L"at least one layer");
  } else {
    lines.FailAt(name.data(), L"one of kind, type, rows, columns, layers");
  }
}

/// "#bins KIND COUNT MINIMUM MAXIMUM [LIMIT...]"
boost::shared_ptr<const Kdsc_BinFunction> ReadBins(TextLines& lines) {
  const auto bins = boost::make_shared<Kdsc_BinFunction>();
  lines.SetPlace(lines.GetPlace() + kBinsMark.size());
  if (!lines.NextElement()) lines.Fail(L"a kind of bins");
  const std::string_view kind = lines.PeekWord();
  bins->kind = static_cast<Kdsc_BinFunction::Kind>(IndexOfName(lines, kind, kBinKindNames, 4));
  lines.SetPlace(kind.data() + kind.size());
  if (!lines.NextElement()) lines.Fail(L"the number of bins");
  ReadElement(lines, KgdaInt32, &bins->numBins);
  if (!lines.NextElement()) lines.Fail(L"the lowest value of the bins");
  bins->minimum = ReadNumber(lines);
  if (!lines.NextElement()) lines.Fail(L"the highest value of the bins");
  bins->maximum = ReadNumber(lines);
  while (lines.NextElement()) {
    const char* const place = lines.GetPlace();
    const double limit = ReadNumber(lines);
    if (!bins->limits.empty() && !(limit > bins->limits.back())) lines.FailAt(place, L"limits that rise");
    bins->limits.push_back(limit);
  }
  const bool isExplicit = bins->kind == Kdsc_BinFunction::Kind::Explicit;
  const std::size_t expected = isExplicit ? static_cast<std::size_t>(bins->numBins) + 1 : 0;
  if (bins->numBins < 0 || bins->limits.size() != expected)
    lines.FailAt(lines.GetLineEnd(), isExplicit ? L"one limit more than bins" : L"no limits");
  return bins;
}

void AppendBins(std::string& text, const Kdsc_BinFunction& bins) {
  text += std::string(kBinsMark) + ' ' + kBinKindNames[static_cast<int>(bins.kind)] + ' ';
  AppendElement(text, KgdaInt32, &bins.numBins);
  for (const double* value : {&bins.minimum, &bins.maximum}) {
    text += ' ';
    AppendElement(text, KgdaFloat64, value);
  }
  for (const double& limit : bins.limits) {
    text += ' ';
    AppendElement(text, KgdaFloat64, &limit);
  }
  text += '\n';
}

bool BeginsWithWord(std::string_view line, std::string_view word) {
  return line.starts_with(word) && (line.size() == word.size() || TextLines::EndsElement(line[word.size()]));
}

}  // namespace

Kgda_PixelType PixelTypeOfName(std::string_view name) {
  const std::wstring wanted = ktxt_tolower(TextOfBytes(name));
  std::uint32_t code = 0;
  while (code < kKgdaPixelTypeCount && ktxt_tolower(kgda_PixelTypeName(static_cast<Kgda_PixelType>(code))) != wanted)
    ++code;
  return static_cast<Kgda_PixelType>(code);
}

bool IsAsciiHeader(std::string_view line) { return BeginsWithWord(line, kMark); }

AsciiHeader ReadAsciiHeader(TextLines& lines) {
  AsciiHeader header;
  lines.SetPlace(lines.GetPlace() + kMark.size());
  while (lines.NextElement()) {
    const std::string_view word = lines.PeekWord();
    const std::size_t equals = word.find('=');
    if (equals == std::string_view::npos) lines.Fail(L"NAME=VALUE");
    ReadFact(lines, word.substr(0, equals), word.substr(equals + 1), header);
    lines.SetPlace(word.data() + word.size());
  }
  if (header.kind != KgdaBaseDataStack::KindMatrix) {
    TextLines ahead = lines;
    if (ahead.NextLine() && BeginsWithWord(ahead.GetLine(), kBinsMark)) {
      lines.NextLine();
      header.binFunction = ReadBins(lines);
    }
  }
  return header;
}

std::string AsciiHeaderText(const KgdaBaseDataStack& stack) {
  const Kgda_BaseDataLayer& first = stack.GetLayer(0);
  std::string text = std::string(kMark) + " kind=" + kKindNames[stack.GetKind()] +
                     " type=" + kstr_ToUtf8(kgda_PixelTypeName(first.pixelType)) +
                     " rows=" + std::to_string(first.rows) + " columns=" + std::to_string(first.columns) +
                     " layers=" + std::to_string(stack.GetLayerCount()) + "\n";
  if (stack.GetBinFunction() && stack.GetKind() != KgdaBaseDataStack::KindMatrix)
    AppendBins(text, *stack.GetBinFunction());
  return text;
}
