#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "documentfaults.h"
#include "jsonlib/events.h"
#include "kcommon/kstr.h"

namespace Tamrin::Tessera {

namespace {

bool IsPlainKey(std::string_view key) {
  return !key.empty() && std::all_of(key.begin(), key.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '-';
  });
}

/// Where a key stands that its object has already.
struct RepeatedKey {
  std::string path;
  std::string key;
  std::size_t offset;
};

/// Follows the events of a text and notes where the values of the wanted paths begin, and which keys are repeated.
class Locator : public korven::jsonlib::EventHandler {
 public:
  using Wanted = std::unordered_map<std::string, std::size_t>;
  Locator(std::string_view text, Wanted& wanted, std::vector<RepeatedKey>* repeated)
      : text_(text), wanted_(wanted), repeated_(repeated) {}

  bool Null() override { return Value(); }
  bool Bool(bool) override { return Value(); }
  bool Int(std::int64_t) override { return Value(); }
  bool Unsigned(std::uint64_t) override { return Value(); }
  bool Double(double) override { return Value(); }
  bool String(std::string_view) override { return Value(); }
  bool StartObject() override { return Open(false); }
  bool StartArray() override { return Open(true); }
  bool EndObject() override { return Close(); }
  bool EndArray() override { return Close(); }
  bool Key(std::string_view key) override {
    path_.resize(levels_.back().length);
    AppendPathKey(path_, key);
    if (repeated_ && !levels_.back().keys.emplace(key).second) repeated_->push_back({path_, std::string(key), Begin()});
    behind_ = offset;
    return true;
  }

 private:
  struct Level {
    std::size_t length;  ///< of the path of the array or object
    std::size_t next;    ///< element
    bool isArray;
    std::unordered_set<std::string> keys;  ///< where repeated ones are looked for
  };

  void Enter() {
    if (!levels_.empty() && levels_.back().isArray) {
      path_.resize(levels_.back().length);
      AppendPathIndex(path_, levels_.back().next++);
    }
    const auto found = wanted_.find(path_);
    // Of equal keys the last one counts.
    if (found != wanted_.end()) found->second = Begin();
    behind_ = offset;
  }
  bool Value() {
    Enter();
    return true;
  }
  bool Open(bool isArray) {
    Enter();
    levels_.push_back({path_.size(), 0, isArray, {}});
    return true;
  }
  bool Close() {
    path_.resize(levels_.back().length);
    levels_.pop_back();
    behind_ = offset;
    return true;
  }

  /// Where the token begins: behind the one before, past blanks, separators and comments.
  std::size_t Begin() const {
    std::size_t at = behind_;
    while (at < text_.size()) {
      const char c = text_[at];
      if (c == '/' && at + 1 < text_.size()) {
        const bool isLine = text_[at + 1] == '/';
        const std::size_t end = text_.find(isLine ? "\n" : "*/", at + 2);
        at = end == std::string_view::npos ? text_.size() : end + (isLine ? 1 : 2);
      } else if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == ',' || c == ':') {
        ++at;
      } else {
        break;
      }
    }
    return at;
  }

  std::string_view text_;
  Wanted& wanted_;
  std::vector<RepeatedKey>* repeated_;
  std::string path_;
  std::vector<Level> levels_;
  std::size_t behind_ = 0;
};

/// The path without its last step; false where it has none.
bool ShortenPath(std::string& path) {
  if (path.empty()) return false;
  if (path.size() > 2 && path.compare(path.size() - 2, 2, "\"]") == 0) {
    const std::size_t bracket = path.rfind("[\"");
    path.resize(bracket == std::string::npos ? 0 : bracket);
    return true;
  }
  const std::size_t cut = path.find_last_of(".[");
  path.resize(cut == std::string::npos ? 0 : cut);
  return true;
}

/// Tells line and column of rising offsets in one pass over the text.
class Lines {
 public:
  explicit Lines(std::string_view text) : text_(text) {}
  void Locate(std::size_t offset, std::size_t& line, std::size_t& column) {
    for (; at_ < offset; ++at_) {
      if (text_[at_] == '\n') {
        ++line_;
        column_ = 1;
      } else if ((static_cast<unsigned char>(text_[at_]) & 0xC0) != 0x80) {
        ++column_;
      }
    }
    line = line_;
    column = column_;
  }

 private:
  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t line_ = 1;
  std::size_t column_ = 1;
};

std::string Joined(const std::vector<DocumentProblem>& problems) {
  std::wstring text;
  for (const DocumentProblem& problem : problems) {
    if (problem.warning) continue;
    if (!text.empty()) text += L'\n';
    text += problem.ToString();
  }
  return kstr_ToUtf8(text);
}

}  // namespace

void AppendPathKey(std::string& path, std::string_view key) {
  if (IsPlainKey(key)) {
    if (!path.empty()) path += '.';
    path += key;
    return;
  }
  path += '[';
  korven::jsonlib::AppendQuoted(path, key);
  path += ']';
}

void AppendPathIndex(std::string& path, std::size_t index) { path += "[" + std::to_string(index) + "]"; }

std::string DocumentPlace::ToText() const {
  std::vector<const DocumentPlace*> steps;
  for (const DocumentPlace* place = this; place->parent_; place = place->parent_) steps.push_back(place);
  std::string path;
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    if ((*step)->isIndex_)
      AppendPathIndex(path, (*step)->index_);
    else
      AppendPathKey(path, (*step)->key_);
  }
  return path;
}

void DocumentFaults::Add(std::string path, std::wstring text, bool warning) {
  problems_.push_back({std::move(path), 0, 0, std::move(text), warning});
  hasErrors_ = hasErrors_ || !warning;
}

std::vector<DocumentProblem> DocumentFaults::TakeLocated(std::string_view text) {
  std::vector<RepeatedKey> repeated;
  // A path that the text does not have, such as that of a key left out, lies where the value around it begins.
  Locator::Wanted wanted;
  for (const DocumentProblem& problem : problems_) {
    std::string path = problem.path;
    do {
      if (!wanted.emplace(path, std::string::npos).second) break;
    } while (ShortenPath(path));
  }
  Locator locator(text, wanted, hasRepeatedKeys_ ? &repeated : nullptr);
  korven::jsonlib::ParseError ignored;
  korven::jsonlib::ParseEvents(text, locator, {}, ignored);
  std::vector<std::pair<std::size_t, DocumentProblem>> located;
  located.reserve(problems_.size());
  for (DocumentProblem& problem : problems_) {
    std::string path = problem.path;
    std::size_t offset = wanted[path];
    while (offset == std::string::npos && ShortenPath(path)) offset = wanted[path];
    located.emplace_back(offset == std::string::npos ? 0 : offset, std::move(problem));
  }
  for (const RepeatedKey& each : repeated) {
    const std::wstring message = L"found the key \"" + Wide(each.key) + L"\" again, expected it once";
    located.emplace_back(each.offset, DocumentProblem{each.path, 0, 0, message, false});
  }
  std::stable_sort(located.begin(), located.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  problems_.clear();
  Lines lines(text);
  std::vector<DocumentProblem> problems;
  for (auto& [offset, problem] : located) {
    lines.Locate(offset, problem.line, problem.column);
    problems.push_back(std::move(problem));
  }
  hasErrors_ = hasRepeatedKeys_ = false;
  return problems;
}

std::wstring DocumentProblem::ToString() const {
  std::wstring where = Wide(path);
  if (line != 0) {
    const std::wstring numbers = L"line " + std::to_wstring(line) + L", column " + std::to_wstring(column);
    where = where.empty() ? numbers : where + L" (" + numbers + L")";
  }
  return where.empty() ? text : where + L": " + text;
}

DocumentException::DocumentException(std::vector<DocumentProblem> problems)
    : std::runtime_error(Joined(problems)), problems_(std::move(problems)) {}

std::wstring Wide(std::string_view text) { return kstr_FromUtf8Lossy(text); }

std::wstring DidYouMean(const std::wstring& name, const std::vector<std::wstring>& known) {
  const std::wstring nearest = kstr_NearestName(name, known);
  return nearest.empty() ? std::wstring() : L"; did you mean \"" + nearest + L"\"?";
}

}  // namespace Tamrin::Tessera
