#include "wildcard.h"

#include <algorithm>

#include "kcommon/ktxt.h"

Wildcard::Wildcard(const std::wstring& text) {
  const std::wstring lower = ktxt_tolower(text);
  Pattern pattern;
  for (std::size_t place = 0; place < lower.size(); ++place) {
    const wchar_t c = lower[place];
    Element element;
    if (c == L';') {
      Add(std::move(pattern));
      pattern = {};
      continue;
    }
    if (c == L'*')
      element.kind = Element::Kind::Star;
    else if (c == L'?')
      element.kind = Element::Kind::Any;
    else if (c != L'[' || !ReadSet(lower, place, element))
      element.character = c;
    pattern.push_back(std::move(element));
  }
  Add(std::move(pattern));
  takesAll_ = patterns_.empty();
}

/// Moves the place to the closing bracket. Without one the opening bracket is a character like others.
bool Wildcard::ReadSet(const std::wstring& text, std::size_t& place, Element& element) {
  std::size_t next = place + 1;
  Element set;
  set.kind = Element::Kind::Set;
  if (next < text.size() && (text[next] == L'!' || text[next] == L'^')) {
    set.isNegated = true;
    ++next;
  }
  for (bool isFirst = true; next < text.size(); isFirst = false) {
    if (text[next] == L']' && !isFirst) {
      place = next;
      element = std::move(set);
      return true;
    }
    const wchar_t first = text[next++];
    const bool isRange = next + 1 < text.size() && text[next] == L'-' && text[next + 1] != L']';
    const wchar_t last = isRange ? text[next + 1] : first;
    if (isRange) next += 2;
    set.ranges.emplace_back(std::min(first, last), std::max(first, last));
  }
  return false;
}

/// Blanks around a pattern don't count, and nor does one of nothing else.
void Wildcard::Add(Pattern pattern) {
  const auto isBlank = [](const Element& element) {
    return element.kind == Element::Kind::Character && (element.character == L' ' || element.character == L'\t');
  };
  const auto begin = std::find_if_not(pattern.begin(), pattern.end(), isBlank);
  const auto end = std::find_if_not(pattern.rbegin(), std::make_reverse_iterator(begin), isBlank).base();
  if (begin != end) patterns_.emplace_back(begin, end);
}

bool Wildcard::Element::Takes(wchar_t c) const {
  if (kind == Kind::Character) return c == character;
  if (kind == Kind::Any) return true;
  const bool isIn = std::any_of(ranges.begin(), ranges.end(),
                                [c](const auto& range) { return c >= range.first && c <= range.second; });
  return isIn != isNegated;
}

/// Linear in practice: only the last star is ever tried again, as what an earlier one took can stay.
bool Wildcard::MatchesPattern(const std::wstring& name, const Pattern& pattern) {
  std::size_t n = 0, p = 0, star = std::wstring::npos, resume = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p].kind == Element::Kind::Star) {
      star = p++;
      resume = n;
    } else if (p < pattern.size() && pattern[p].Takes(name[n])) {
      ++p;
      ++n;
    } else if (star != std::wstring::npos) {
      p = star + 1;
      n = ++resume;
    } else {
      return false;
    }
  }
  return std::all_of(pattern.begin() + static_cast<std::ptrdiff_t>(p), pattern.end(),
                     [](const Element& element) { return element.kind == Element::Kind::Star; });
}

bool Wildcard::Matches(const std::wstring& name) const {
  if (takesAll_) return true;
  const std::wstring lower = ktxt_tolower(name);
  return std::any_of(patterns_.begin(), patterns_.end(),
                     [&](const Pattern& pattern) { return MatchesPattern(lower, pattern); });
}
