#include "kcommon/kramp.h"

#include <algorithm>
#include <array>
#include <boost/make_shared.hpp>
#include <cctype>
#include <charconv>
#include <cmath>
#include <vector>

#include "asciielement.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "textlines.h"

namespace {

/// A line of the file: three to five numbers, and where they stand.
struct ColorLine {
  std::array<double, 5> values{};
  std::array<std::size_t, 5> columns{};
  std::size_t count = 0;
  std::size_t line = 0;
};

/// Which of a line's numbers is which; -1 where there is none.
struct Places {
  int red = 0;
  int green = 1;
  int blue = 2;
  int opacity = -1;
};

struct ColorLines {
  std::vector<ColorLine> lines;
  bool areHex = false;
  bool haveIndex = false;  ///< in front of each hexadecimal colour
  bool areNamed = false;   ///< the first line said what the columns are
  Places places;
};

std::string_view WithoutHexMark(std::string_view word) {
  if (word.starts_with("#")) return word.substr(1);
  return word.starts_with("0x") || word.starts_with("0X") ? word.substr(2) : std::string_view();
}

/// "#RRGGBB" or "#RRGGBBAA", also with 0x.
bool IsHexColor(std::string_view word) {
  const std::string_view digits = WithoutHexMark(word);
  return (digits.size() == 6 || digits.size() == 8) && std::all_of(digits.begin(), digits.end(), [](char c) {
           return std::isxdigit(static_cast<unsigned char>(c)) != 0;
         });
}

/// A line of names such as "index,red,green,blue". False where a word is no such name.
bool ReadNames(TextLines& lines, Places& places) {
  Places read{-1, -1, -1, -1};
  for (int index = 0; lines.NextElement(); ++index) {
    const std::string_view word = lines.PeekWord();
    std::string name;
    for (const char c : word)
      if (c != '"') name += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if (name == "r" || name == "red")
      read.red = index;
    else if (name == "g" || name == "green")
      read.green = index;
    else if (name == "b" || name == "blue")
      read.blue = index;
    else if (name == "a" || name == "alpha" || name == "opacity")
      read.opacity = index;
    else if (name != "i" && name != "index" && name != "value")
      return false;
    lines.SetPlace(word.data() + word.size());
  }
  if (read.red < 0 || read.green < 0 || read.blue < 0) return false;
  places = read;
  return true;
}

/// Goes to the colour behind an index, where the line has those two.
bool SkipIndexOfHex(TextLines& lines) {
  TextLines ahead = lines;
  const std::string_view word = ahead.PeekWord();
  if (!std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; })) return false;
  ahead.SetPlace(word.data() + word.size());
  // Only here is it no comment.
  ahead.SetHashIsData();
  if (!ahead.NextElement() || !IsHexColor(ahead.PeekWord())) return false;
  lines.SetPlace(ahead.GetPlace());
  return true;
}

/// With or without an index in front, as on the first line.
ColorLine ReadHexLine(TextLines& lines, bool hasIndex) {
  ColorLine color;
  color.line = lines.GetLineNumber();
  if (hasIndex && !SkipIndexOfHex(lines)) lines.Fail(L"an index and a colour such as #FF8000");
  const std::string_view word = lines.PeekWord();
  if (!IsHexColor(word)) lines.Fail(L"a colour such as #FF8000");
  const std::string_view digits = WithoutHexMark(word);
  for (; color.count * 2 < digits.size(); ++color.count) {
    int value = 0;
    std::from_chars(digits.data() + color.count * 2, digits.data() + color.count * 2 + 2, value, 16);
    color.values[color.count] = value;
  }
  lines.SetPlace(word.data() + word.size());
  if (lines.NextElement()) lines.Fail(L"the end of the line");
  return color;
}

ColorLine ReadNumberLine(TextLines& lines) {
  ColorLine color;
  color.line = lines.GetLineNumber();
  while (lines.NextElement()) {
    if (color.count == color.values.size()) lines.Fail(L"the end of the line after five numbers");
    const char* const place = lines.GetPlace();
    const std::size_t column = lines.GetColumn();
    const double value = ReadNumber(lines);
    if (!(value >= 0)) lines.FailAt(place, L"a number from 0 on");
    color.columns[color.count] = column;
    color.values[color.count++] = value;
  }
  if (color.count < 3) lines.FailAt(lines.GetLineEnd(), L"red, green and blue");
  return color;
}

/// A comment, or a colour that looks like one: the word alone decides.
bool IsRealComment(const TextLines& lines) { return lines.IsComment() && !IsHexColor(lines.PeekWord()); }

ColorLines ReadLines(std::string_view text) {
  ColorLines colors;
  TextLines lines(text);
  while (lines.NextLine()) {
    if (IsRealComment(lines)) continue;
    const bool isFirst = colors.lines.empty() && !colors.areNamed;
    if (isFirst) {
      TextLines names = lines;
      if (ReadNames(names, colors.places)) {
        colors.areNamed = true;
        continue;
      }
    }
    if (colors.lines.empty()) {
      TextLines ahead = lines;
      colors.haveIndex = SkipIndexOfHex(ahead);
      colors.areHex = colors.haveIndex || IsHexColor(lines.PeekWord());
    }
    if (!colors.areHex) {
      if (!lines.NextElement()) lines.Fail(L"red, green and blue");
      colors.lines.push_back(ReadNumberLine(lines));
    } else {
      colors.lines.push_back(ReadHexLine(lines, colors.haveIndex));
    }
    const ColorLine &first = colors.lines.front(), &last = colors.lines.back();
    if (last.count != first.count)
      lines.FailAt(lines.GetLineEnd(), std::to_wstring(first.count) + L" numbers, as on the first line");
  }
  return colors;
}

/// True where the first column counts the lines up, and is neither a channel of a grey ramp with opacity nor the only
/// one that isn't the same on all lines.
bool BeginsWithIndex(const std::vector<ColorLine>& lines) {
  if (lines.front().count == 5) return true;
  if (lines.front().count != 4 || lines.size() < 2) return false;
  bool isGrey = true, isOneColor = true;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const auto& values = lines[i].values;
    if (values[0] != lines[0].values[0] + static_cast<double>(i)) return false;
    isGrey = isGrey && values[0] == values[1] && values[1] == values[2];
    isOneColor = isOneColor && std::equal(values.begin() + 1, values.end(), lines[0].values.begin() + 1);
  }
  return lines[0].values[0] <= 1 && !isGrey && !isOneColor;
}

Places PlacesOf(const ColorLines& colors) {
  const std::size_t count = colors.lines.front().count;
  if (colors.areNamed && !colors.areHex) {
    const Places& named = colors.places;
    const int most = std::max({named.red, named.green, named.blue, named.opacity});
    if (most >= static_cast<int>(count))
      throw TextFault(colors.lines.front().line, 1, std::to_wstring(count) + L" numbers",
                      L"as many as the first line has names");
    return named;
  }
  if (!colors.areHex && BeginsWithIndex(colors.lines)) return {1, 2, 3, count == 5 ? 4 : -1};
  return {0, 1, 2, count >= 4 ? 3 : -1};
}

/// 1 where all numbers of the columns are at most 1, otherwise 255, which none may exceed.
double ScaleOf(const std::vector<ColorLine>& lines, std::initializer_list<int> columns) {
  double highest = 0;
  for (const ColorLine& line : lines) {
    for (const int column : columns) {
      const auto place = static_cast<std::size_t>(column);
      const double value = line.values[place];
      if (value > 255) {
        throw TextFault(line.line, line.columns[place], kstr_ShortestDouble(value),
                        L"a number from 0 to 255, or from 0 to 1");
      }
      highest = std::max(highest, value);
    }
  }
  return highest > 1 ? 255 : 1;
}

KgdaBaseDataStack MakeRamp(const ColorLines& colors, KerrException& error) {
  const auto& lines = colors.lines;
  const Places places = lines.empty() ? Places() : PlacesOf(colors);
  const double scale = colors.areHex ? 255 : ScaleOf(lines, {places.red, places.green, places.blue});
  const bool hasOpacity = places.opacity >= 0;
  const double opacityScale = colors.areHex ? 255 : hasOpacity ? ScaleOf(lines, {places.opacity}) : 1;
  const auto valueAt = [](const ColorLine& line, int column) { return line.values[static_cast<std::size_t>(column)]; };
  const bool isOpaque = !hasOpacity || std::all_of(lines.begin(), lines.end(), [&](const ColorLine& line) {
    return valueAt(line, places.opacity) == opacityScale;
  });
  KgdaBaseDataStack stack =
      kgda_BaseDataStackCreate(isOpaque ? 3 : 4, lines.size(), 1, KgdaFloat64, KgdaBaseDataStack::KindTable, error);
  if (error.IsPending()) return stack;
  const int columns[] = {places.red, places.green, places.blue, places.opacity};
  for (std::size_t i = 0; i < stack.GetLayerCount(); ++i) {
    auto* const elements = static_cast<double*>(stack.GetLayer(i).data);
    for (std::size_t row = 0; row < lines.size(); ++row)
      elements[row] = valueAt(lines[row], columns[i]) / (i == 3 ? opacityScale : scale);
  }
  return stack;
}

}  // namespace

KgdaBaseDataStack ColorRampFromText(std::string_view text, const std::wstring& source, KerrException& error) {
  try {
    return MakeRamp(ReadLines(text), error);
  } catch (const TextFault& fault) {
    error.Log(__LINE__, fault.Text(source));
  }
  return KgdaBaseDataStack(KgdaBaseDataStack::KindTable);
}

namespace korven::kCommon {

boost::shared_ptr<ColorRamp> ColorRampFromFile(const std::wstring& fileName, KerrException& error) {
  try {
    const std::wstring name = kfnp_FileNameEvaluateEnv(fileName, error);
    if (error.IsPending()) return nullptr;
    const KgdaBaseDataStack stack = ColorRampFromText(kfio::ReadBytes(name), name, error);
    if (error.IsPending()) return nullptr;
    const auto byteAt = [&stack](std::size_t layer, std::int32_t row) {
      if (layer >= stack.GetLayerCount()) return std::uint8_t{255};
      return static_cast<std::uint8_t>(std::lround(kgda_ElementAsDouble(stack.GetLayer(layer), row, 0) * 255));
    };
    std::vector<Color> colors(static_cast<std::size_t>(stack.GetLayer(0).rows));
    for (std::size_t i = 0; i < colors.size(); ++i) {
      const auto row = static_cast<std::int32_t>(i);
      colors[i] = {byteAt(0, row), byteAt(1, row), byteAt(2, row), byteAt(3, row)};
    }
    return boost::make_shared<ColorRamp>(std::move(colors));
  } catch (...) {
    kerr_LogCurrentException(error, __LINE__);
  }
  return nullptr;
}

}  // namespace korven::kCommon
