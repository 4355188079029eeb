#include <algorithm>
#include <boost/core/demangle.hpp>
#include <boost/filesystem.hpp>
#include <typeinfo>

#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "kcommon/ktxt.h"
#include "korvenlog/exception.h"
#include "txlib/document.h"
#include "txlib/factories.h"

namespace Tamrin::Tessera {

namespace {

[[noreturn]] void RefuseToWork(const ModelFormatPart& format, const wchar_t* what) {
  KorvenLog::CPPException<std::runtime_error>(L"txlib\\modelformat", L"Tamrin::Tessera::ModelFormat")
      .Throw(__LINE__, L"The format " + format.ToString() + L" can't " + what + L".");
}

}  // namespace

std::wstring ModelFormatPart::ToString() const {
  const std::string name = boost::core::demangle(typeid(*this).name());
  const std::size_t colon = name.rfind(':');
  return kstr_Widen(colon == std::string::npos ? name : name.substr(colon + 1));
}

std::wstring ModelFormatPart::GetFileFilter() const { return ToString() + L" (*" + GetExtension() + L")"; }

bool ModelFormatPart::SupportsOpen() const { return SupportsOpenFromBuffer(); }

bool ModelFormatPart::CanOpen(const URI& uri) {
  if (!SupportsOpen()) return false;
  try {
    return CanOpenFromBuffer(kfio::ReadUnicodeFile(uri.toFile()));
  } catch (const CancellationBase&) {
    throw;
  } catch (const std::exception&) {
    return false;
  }
}

boost::shared_ptr<Model> ModelFormatPart::Open(const URI& uri) {
  if (!SupportsOpenFromBuffer()) RefuseToWork(*this, L"open documents");
  const std::wstring& file = uri.toFile();
  const std::wstring text = kfio::ReadUnicodeFile(file);
  const DocumentFolderScope scope(
      kfnp_FromNative(boost::filesystem::absolute(kfnp_ToNative(file)).parent_path().string()));
  const auto model = OpenFromBuffer(text, file);
  if (model) model->SetDocumentFolder(DocumentFolderScope::Current());
  return model;
}

ModelInfo ModelFormatPart::GetModelInfo(const URI& uri) {
  return GetModelInfoFromBuffer(kfio::ReadUnicodeFile(uri.toFile()));
}

ModelInfo ModelFormatPart::GetModelInfoFromBuffer(const std::wstring&) { RefuseToWork(*this, L"tell of documents"); }

bool ModelFormatPart::CanOpenFromBuffer(const std::wstring&) { return false; }

boost::shared_ptr<Model> ModelFormatPart::OpenFromBuffer(const std::wstring&, const std::wstring&) {
  RefuseToWork(*this, L"open documents from their text");
}

bool ModelFormatPart::SupportsSave() const { return SupportsSaveToBuffer(); }

void ModelFormatPart::Save(const boost::shared_ptr<Model>& model, const URI& uri) {
  if (!SupportsSaveToBuffer()) RefuseToWork(*this, L"save documents");
  kfio::WriteFile(uri.toFile(), SaveToBuffer(model));
}

std::wstring ModelFormatPart::SaveToBuffer(const boost::shared_ptr<Model>&) {
  RefuseToWork(*this, L"save documents as text");
}

}  // namespace Tamrin::Tessera
