#include <algorithm>
#include <stdexcept>

#include "gdalparts.h"
#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "korvenlog/log.h"

namespace Tamrin::GdalModule {

namespace {

constexpr std::size_t kMostWarnings = 20;

void CPL_STDCALL TakeForLog(CPLErr severity, CPLErrorNum, const char* text) {
  static const KorvenLog::Log log(L"tessera.gdal");
  if (severity == CE_Debug)
    log.LogDebug(TextOf(text));
  else
    log.LogWarning(TextOf(text));
}

}  // namespace

Messages::Messages() { CPLPushErrorHandlerEx(&Messages::Take, this); }
Messages::~Messages() { CPLPopErrorHandler(); }

void CPL_STDCALL Messages::Take(CPLErr severity, CPLErrorNum, const char* text) {
  auto& messages = *static_cast<Messages*>(CPLGetErrorHandlerUserData());
  if (severity == CE_Warning) AddWarnings(messages.warnings_, {TextOf(text)});
  if (severity >= CE_Failure && messages.failure_.empty()) messages.failure_ = TextOf(text);
}

std::wstring Messages::Failure(const wchar_t* otherwise) const {
  std::wstring text = failure_.empty() ? otherwise : failure_;
  while (!text.empty() && (text.back() == L'\n' || text.back() == L' ')) text.pop_back();
  if (!text.ends_with(L'.')) text += L'.';
  return text;
}

void SendMessagesToLog() { CPLSetErrorHandler(&TakeForLog); }

void AddWarnings(std::vector<std::wstring>& all, const std::vector<std::wstring>& further) {
  for (const std::wstring& text : further) {
    if (all.size() < kMostWarnings && std::find(all.begin(), all.end(), text) == all.end()) all.push_back(text);
  }
}

void Refuse(const wchar_t* function, int line, const std::wstring& text) {
  KorvenLog::CPPException<std::runtime_error>(L"modules\\gdal", std::wstring(L"Tamrin::GdalModule::") + function)
      .Throw(line, text);
}

std::wstring TextOf(const char* text) { return kstr_FromUtf8Lossy(text ? text : ""); }

}  // namespace Tamrin::GdalModule
