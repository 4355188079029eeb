#include "documentlinks.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "documentfaults.h"
#include "documentmemory.h"
#include "enginestate.h"
#include "kcommon/kfnp.h"
#include "korvenlog/exception.h"
#include "txlib/document.h"

namespace fs = std::filesystem;

namespace Tamrin::Tessera {

namespace {

/// Documents that link documents: far more than any that is meant.
constexpr std::size_t kMostLinks = 100;

struct Opening {
  std::wstring name;
  bool isKnown;  ///< there is a file of that name
  dev_t device;
  ino_t file;
  unsigned readingDepth;
};

thread_local std::vector<Opening> openings;
thread_local unsigned readingDepth = 0;
thread_local std::vector<LinkFailure> linkFailures;

std::wstring AbsoluteName(const std::wstring& file) {
  std::error_code error;
  const fs::path path = fs::weakly_canonical(kfnp_ToNative(file), error);
  return error ? file : kfnp_FromNative(path.native());
}

[[noreturn]] void Refuse(const std::wstring& text) {
  DocumentProblem problem;
  problem.text = text;
  throw DocumentLinkException({problem});
}

void CheckCircle(const Opening& next) {
  if (openings.size() >= kMostLinks)
    Refuse(L"found documents linked more than " + std::to_wstring(kMostLinks) + L" levels deep, the last \"" +
           next.name + L"\"");
  if (!next.isKnown) return;
  const auto first = std::find_if(openings.begin(), openings.end(), [&](const Opening& opening) {
    return opening.isKnown && opening.device == next.device && opening.file == next.file;
  });
  if (first == openings.end()) return;
  if (first == openings.end() - 1) Refuse(L"found a document that links itself: \"" + first->name + L"\"");
  std::wstring circle;
  for (auto each = first; each != openings.end(); ++each) circle += L"\"" + each->name + L"\" -> ";
  Refuse(L"found a circle of linked documents: " + circle + L"\"" + first->name + L"\"");
}

std::wstring FirstProblem(const std::vector<DocumentProblem>& problems) {
  const auto isError = [](const DocumentProblem& problem) { return !problem.warning; };
  const auto count = std::count_if(problems.begin(), problems.end(), isError);
  if (count == 0) return {};
  const std::wstring text = std::find_if(problems.begin(), problems.end(), isError)->ToString();
  return count == 1 ? text : text + L" (and " + std::to_wstring(count - 1) + L" more)";
}

std::wstring CurrentExceptionText() {
  try {
    throw;
  } catch (const DocumentException& exception) {
    return FirstProblem(exception.GetProblems());
  } catch (const KorvenLog::Exception& exception) {
    return exception.get_What();
  } catch (const std::exception& exception) {
    return Wide(exception.what());
  } catch (...) {
    return L"Unknown exception";
  }
}

}  // namespace

OpeningScope::OpeningScope(const std::wstring& file) {
  struct stat status {};
  const bool isKnown = ::stat(kfnp_ToNative(file).c_str(), &status) == 0;
  Opening opening{AbsoluteName(file), isKnown, status.st_dev, status.st_ino, readingDepth};
  CheckCircle(opening);
  openings.push_back(std::move(opening));
  folder_.emplace(kfnp_FromNative(fs::absolute(kfnp_ToNative(file)).parent_path().native()));
}

OpeningScope::~OpeningScope() { openings.pop_back(); }

bool OpeningScope::IsBeforeReading() { return !openings.empty() && openings.back().readingDepth == readingDepth; }

ReadingScope::ReadingScope() {
  if (readingDepth++ == 0) linkFailures.clear();
}
ReadingScope::~ReadingScope() { --readingDepth; }
unsigned ReadingScope::Depth() { return readingDepth; }

std::wstring InCurrentFolder(const std::wstring& file) {
  const fs::path path(kfnp_ToNative(file));
  const auto& folder = DocumentFolderScope::Shared();
  if (!folder || path.is_absolute() || path.empty()) return file;
  return kfnp_FromNative((fs::path(kfnp_ToNative(*folder)) / path).native());
}

void NoteLinkFailure(const std::wstring& file) {
  // Inside of a document that hides its inside, the name and the reason are hidden as well.
  if (readingDepth == 0 || UnkeptTextScope::IsActive()) return;
  const LinkFailure failure{file, CurrentExceptionText()};
  const auto same = [&](const LinkFailure& known) { return known.file == failure.file && known.text == failure.text; };
  if (std::none_of(linkFailures.begin(), linkFailures.end(), same)) linkFailures.push_back(failure);
}

std::vector<LinkFailure> TakeLinkFailures() {
  if (readingDepth != 1 || linkFailures.empty()) return {};
  return std::exchange(linkFailures, {});
}

// What others may ask of documents.

std::string GetDocumentId(const Operator& op) {
  const DocumentMemory* const memory = FindDocumentMemory(const_cast<Operator&>(op));
  return memory ? memory->id : std::string();
}

std::vector<OperatorStep> GetOperatorPath(const Operator& op) {
  std::vector<OperatorStep> path;
  boost::shared_ptr<Operator> kept;  // the operator that a container was made by
  for (const Operator* each = &op; each;) {
    const auto* const model = dynamic_cast<const Model*>(each);
    const auto origin = model ? ModelState::Of(*model).origin.lock() : nullptr;
    if (origin) {
      if (!path.empty()) path.back().isCopy = dynamic_cast<const Model*>(path.back().op.get()) != nullptr;
      kept = origin;
      each = origin.get();
      continue;
    }
    const Model* const process = OperatorState::Of(*each).process;
    if (process) path.push_back({const_cast<Operator*>(each)->SharedThis(), false});
    each = process;
  }
  std::reverse(path.begin(), path.end());
  return path;
}

}  // namespace Tamrin::Tessera
