#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "txlib/model.h"

namespace Tamrin::Tessera {

/// A fault of a document: where and what. Line and column are from 1; 0 where the text has none.
struct DocumentProblem {
  std::string path;  ///< "operators[2].values.RegEx"
  std::size_t line = 0;
  std::size_t column = 0;
  std::wstring text;
  bool warning = false;
  /// "operators[2].values.RegEx (line 12, column 5): TEXT"
  std::wstring ToString() const;
};

/// All faults of a document that is refused.
class DocumentException : public std::runtime_error {
 public:
  explicit DocumentException(std::vector<DocumentProblem> problems);
  const std::vector<DocumentProblem>& GetProblems() const { return problems_; }

 private:
  std::vector<DocumentProblem> problems_;
};

/// Documents that link each other in a circle, or too deep. An operator that opens documents lets it pass, so that it
/// is told at the document that was asked for.
class DocumentLinkException : public DocumentException {
 public:
  using DocumentException::DocumentException;
};

/// The id that its document gave an operator; empty where none did.
std::string GetDocumentId(const Operator& op);

struct OperatorStep {
  boost::shared_ptr<Operator> op;
  bool isCopy;  ///< a model that the operator before runs in place of its own inside, as for an iteration
};
/// The operators around one, from the outermost model's inwards, and itself as the last; empty for an outermost
/// model. Copies lead back to the operator that made them where the run was observed then.
std::vector<OperatorStep> GetOperatorPath(const Operator& op);

/// The plain document format, in UTF-8.
namespace PlainDocument {
/// Raises DocumentException. Warnings (unknown keys, values outside "AcceptableValues") go to `warnings` where
/// it is given. The parsed form of a text is kept for the next opening of the same text.
boost::shared_ptr<Model> Open(std::string_view utf8, std::vector<DocumentProblem>* warnings = nullptr);
/// The same for wide text, without turning it when it is the same text again.
boost::shared_ptr<Model> OpenWide(const std::wstring& text);
/// Faults and warnings in the order of the text; never raises for them. `file` is where the text comes from: linked
/// documents are looked for beside it.
std::vector<DocumentProblem> Check(std::string_view utf8, const std::wstring& file = {});
/// Raises KorvenLog::CPPException for a model, or one inside of it, that allows no reflection, unless the model is in
/// an alternate mode.
std::string Save(const boost::shared_ptr<Model>& model);
}  // namespace PlainDocument

/// What is opened on this thread while it lives is another's secret: its text is not kept for a next opening, and
/// failures of documents linked inside of it are not told.
class UnkeptTextScope {
 public:
  UnkeptTextScope();
  ~UnkeptTextScope();
  UnkeptTextScope(const UnkeptTextScope&) = delete;
  UnkeptTextScope& operator=(const UnkeptTextScope&) = delete;
  static bool IsActive();
};

/// The folder that relative names in documents opened on this thread are taken from while it lives.
class DocumentFolderScope {
 public:
  /// An empty name: the working folder.
  explicit DocumentFolderScope(const std::wstring& folder);
  ~DocumentFolderScope();
  DocumentFolderScope(const DocumentFolderScope&) = delete;
  DocumentFolderScope& operator=(const DocumentFolderScope&) = delete;
  static std::wstring Current();
  /// The same as it is kept by the models that are opened; null for the working folder.
  static const boost::shared_ptr<const std::wstring>& Shared();

 private:
  boost::shared_ptr<const std::wstring> outer_;
};

}  // namespace Tamrin::Tessera
