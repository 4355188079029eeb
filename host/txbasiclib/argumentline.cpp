#include "txbasiclib/executableoperator.h"

namespace Tamrin::TesseraBasic {

namespace {

constexpr std::size_t kNone = std::wstring::npos;

bool EndsArgument(const std::wstring& line, std::size_t place) { return place == line.size() || line[place] == L' '; }

/// Where the quotes end that wrap an argument with white space and without quotes; kNone where none begins here.
std::size_t WrappedEnd(const std::wstring& line, std::size_t begin) {
  if (begin >= line.size() || line[begin] != L'"') return kNone;
  const std::size_t end = line.find(L'"', begin + 1);
  if (end == kNone || !EndsArgument(line, end + 1)) return kNone;
  for (std::size_t i = begin + 1; i < end; ++i) {
    if (ExecutableOperator::IsArgumentSpace(line[i])) return end;
  }
  return kNone;
}

/// Where an argument ends that is written as it is. Blanks between two of its quotes are its own, unless the second one
/// opens the quotes that wrap the next argument.
std::size_t PlainEnd(const std::wstring& line, std::size_t begin) {
  std::size_t place = begin;
  while (!EndsArgument(line, place)) {
    const std::size_t partner = line[place] == L'"' ? line.find(L'"', place + 1) : kNone;
    const bool isPair = partner != kNone && (line[partner - 1] != L' ' || WrappedEnd(line, partner) == kNone);
    // Where no blank is kept the second one may as well be the first of another pair.
    const bool keepsBlank = isPair && line.find(L' ', place) < partner;
    place = keepsBlank ? partner + 1 : place + 1;
  }
  return place;
}

}  // namespace

bool ExecutableOperator::IsArgumentSpace(wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r'); }

std::vector<std::wstring> ExecutableOperator::SplitArgumentLine(const std::wstring& line) {
  std::vector<std::wstring> arguments;
  if (line.empty()) return arguments;
  for (std::size_t begin = 0;; ++begin) {
    const std::size_t wrapped = WrappedEnd(line, begin);
    const std::size_t end = wrapped == kNone ? PlainEnd(line, begin) : wrapped + 1;
    arguments.push_back(wrapped == kNone ? line.substr(begin, end - begin)
                                         : line.substr(begin + 1, wrapped - begin - 1));
    if (end == line.size()) return arguments;
    begin = end;
  }
}

}  // namespace Tamrin::TesseraBasic
