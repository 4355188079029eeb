#include "preview.h"

#include <sys/stat.h>

#include <filesystem>

#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "kcommon/ktxt.h"
#include "program.h"
#include "txlib/document.h"
#include "txlib/portaccess.h"

namespace TesseraProgram {

using namespace Tamrin::Tessera;

namespace {

constexpr const wchar_t* kOperatorName = L"Preview";
constexpr std::size_t kLongestName = 160;
/// What an iterating operator may say of its copies.
constexpr const wchar_t* kIndexAttribute = L"IterationIndex";

}  // namespace

Preview::Preview(const std::string& folder, const boost::shared_ptr<Model>& model) : folder_(WideWord(folder)) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (!std::filesystem::is_directory(folder)) {
    throw Refusal(folder_ + L": the folder can't be made" +
                  (error ? L": " + kstr_FromUtf8Lossy(error.message()) : std::wstring()));
  }
  handle_ = model->GetEnvironment()->AddStepObserver(
      [this](const boost::shared_ptr<Operator>& op, RunStep step) { OnStep(op, step); });
}

void Preview::CheckWritten() const {
  const std::lock_guard lock(mutex_);
  if (!failure_.empty()) throw Refusal(failure_);
}

void Preview::OnStep(const boost::shared_ptr<Operator>& op, RunStep step) {
  if (step != RunStep::EndRun || op->GetOperatorName() != kOperatorName) return;
  // What a model hides is not for looking at.
  if (&Model::GetVisible(*op) != op.get()) return;
  try {
    Write(*op);
  } catch (...) {
    // The model is not to fail for what only looks on.
    const std::lock_guard lock(mutex_);
    if (failure_.empty()) failure_ = folder_ + L": " + CurrentExceptionText();
  }
}

void Preview::Write(Operator& op) {
  const Place place = PlaceOf(op);
  for (const auto& port : op.GetPorts()) {
    const auto data = port->IsInput() ? port->GetExistingData() : nullptr;
    if (!data) continue;
    const PreviewFile file = ToPreviewFile(data);
    const std::wstring stem = place.name + L"-" + ToFileNamePart(port->GetName());
    const std::wstring owner = place.identity + L'\0' + port->GetName();
    kfio::WriteBytes(folder_ + L"/" + Reserve(stem, owner, file.extension), file.bytes);
  }
}

Preview::Place Preview::PlaceOf(Operator& op) {
  std::wstring name, identity;
  for (const OperatorStep& step : GetOperatorPath(op)) {
    if (step.isCopy) {
      const std::wstring number = L"[" + std::to_wstring(NumberOf(identity, step.op)) + L"]";
      name += number;
      identity += number;
      continue;
    }
    const std::wstring id = kstr_FromUtf8Lossy(GetDocumentId(*step.op));
    if (id.empty()) continue;
    name += (name.empty() ? L"" : L".") + ToFileNamePart(id);
    identity += L"." + id;
  }
  const std::wstring display = op.GetDisplayName();
  if (display != op.GetDefaultDisplayName()) name += L"-" + ToFileNamePart(display);
  // Deeply nested, but a file all the same.
  while (kstr_ToUtf8(name).size() > kLongestName) name.erase(0, 1);
  return {name, identity};
}

std::size_t Preview::NumberOf(const std::wstring& place, const boost::shared_ptr<Operator>& copy) {
  if (const auto said = AsDataOf<UnsignedData>(copy->GetAttribute(kIndexAttribute))) return said->GetDataValue();
  const std::lock_guard lock(mutex_);
  auto& copies = copies_[place];
  for (std::size_t index = 0; index < copies.size(); ++index) {
    if (copies[index].lock() == copy) return index;
  }
  copies.emplace_back(copy);
  return copies.size() - 1;
}

/// The same file again for the same port of the same operator, and for no other: also where a file system takes
/// capital and small letters for the same.
std::wstring Preview::Reserve(const std::wstring& stem, const std::wstring& owner, const wchar_t* extension) {
  const std::lock_guard lock(mutex_);
  for (int number = 1;; ++number) {
    const std::wstring name = stem + (number == 1 ? L"" : L" (" + std::to_wstring(number) + L")") + extension;
    if (owners_.try_emplace(ktxt_tolower(name), owner).first->second == owner) return name;
  }
}

}  // namespace TesseraProgram
