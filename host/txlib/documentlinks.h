#pragma once

#include <optional>
#include <string>
#include <vector>

#include "txlib/document.h"

namespace Tamrin::Tessera {

/// A file that is being opened on this thread, maybe from inside of another: its folder is what relative names in it
/// are taken from. Raises DocumentLinkException where the same file is being opened already, under whatever name.
class OpeningScope {
 public:
  explicit OpeningScope(const std::wstring& file);
  ~OpeningScope();
  OpeningScope(const OpeningScope&) = delete;
  OpeningScope& operator=(const OpeningScope&) = delete;
  /// True where this thread opens a file and reads nothing inside of it yet.
  static bool IsBeforeReading();

 private:
  std::optional<DocumentFolderScope> folder_;
};

/// A text that is being read on this thread.
class ReadingScope {
 public:
  ReadingScope();
  ~ReadingScope();
  ReadingScope(const ReadingScope&) = delete;
  ReadingScope& operator=(const ReadingScope&) = delete;
  /// Texts that are being read inside each other.
  static unsigned Depth();
};

/// The name as it is to be opened: a relative one in the folder of the DocumentFolderScope.
std::wstring InCurrentFolder(const std::wstring& file);

/// A linked document that could not be opened. Its operator may keep silent; the document that is read keeps the
/// reason for those who ask what is wrong with it.
struct LinkFailure {
  std::wstring file;  ///< empty for a text
  std::wstring text;
};
/// For a catch block: the exception is kept where a text is being read.
void NoteLinkFailure(const std::wstring& file);
/// What was noted inside of the outermost text, once; nothing inside of others.
std::vector<LinkFailure> TakeLinkFailures();

}  // namespace Tamrin::Tessera
