#pragma once

#include <string>
#include <utility>
#include <vector>

/// A list of patterns for file names; see kfio_DirectoryScanRecursive.
class Wildcard {
 public:
  explicit Wildcard(const std::wstring& text);
  bool Matches(const std::wstring& name) const;

 private:
  struct Element {
    enum class Kind { Character, Any, Star, Set } kind = Kind::Character;
    wchar_t character = 0;
    bool isNegated = false;
    std::vector<std::pair<wchar_t, wchar_t>> ranges = {};
    bool Takes(wchar_t c) const;
  };
  using Pattern = std::vector<Element>;

  static bool ReadSet(const std::wstring& text, std::size_t& place, Element& element);
  static bool MatchesPattern(const std::wstring& name, const Pattern& pattern);
  void Add(Pattern pattern);

  std::vector<Pattern> patterns_;
  bool takesAll_ = false;
};
