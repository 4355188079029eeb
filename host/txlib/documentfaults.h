#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "txlib/document.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::Tessera {

/// A place in a document, told by the places around it. Lives on the stack of the reader; costs nothing until it
/// has to be told.
class DocumentPlace {
 public:
  DocumentPlace() = default;
  DocumentPlace(const DocumentPlace& parent, std::string_view key) : parent_(&parent), key_(key) {}
  DocumentPlace(const DocumentPlace& parent, std::size_t index) : parent_(&parent), index_(index), isIndex_(true) {}
  std::string ToText() const;

 private:
  const DocumentPlace* parent_ = nullptr;
  std::string_view key_;
  std::size_t index_ = 0;
  bool isIndex_ = false;
};

/// One step of a path: ".key", or in brackets where the key is no plain name.
void AppendPathKey(std::string& path, std::string_view key);
void AppendPathIndex(std::string& path, std::size_t index);

class DocumentFaults {
 public:
  void Error(const DocumentPlace& place, std::wstring text) { Add(place.ToText(), std::move(text), false); }
  void Warn(const DocumentPlace& place, std::wstring text) { Add(place.ToText(), std::move(text), true); }
  void Add(std::string path, std::wstring text, bool warning);
  /// Objects of the text have keys more than once: TakeLocated tells each.
  void NoteRepeatedKeys() { hasRepeatedKeys_ = true; }
  bool HasErrors() const { return hasErrors_; }
  bool IsEmpty() const { return problems_.empty() && !hasRepeatedKeys_; }
  /// With lines and columns, in the order of the text, which is read once more for them.
  std::vector<DocumentProblem> TakeLocated(std::string_view text);

 private:
  std::vector<DocumentProblem> problems_;
  bool hasErrors_ = false;
  bool hasRepeatedKeys_ = false;
};

/// UTF-8 of a document as wide text.
std::wstring Wide(std::string_view text);
/// "; did you mean \"NAME\"?" or empty text.
std::wstring DidYouMean(const std::wstring& name, const std::vector<std::wstring>& known);

}  // namespace Tamrin::Tessera
