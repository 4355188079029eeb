#include "kcommon/kerr.h"

#include <cfenv>
#include <cstdio>
#include <exception>
#include <mutex>
#include <stdexcept>

#include "kcommon/kstr.h"

KerrException::KerrException(const std::wstring& sourceFile, const std::wstring& function)
    : UnthrownException(sourceFile, function) {}

void KerrException::Throw(int line, const std::wstring& text) {
  KorvenLog::CPPException<std::runtime_error>(get_SourceFile(), get_Function()).Throw(line, text);
}

void KerrException::Log(int line) { SetPending(line, L"Unknown exception"); }

void KerrException::Log(int line, const std::wstring& text) { SetPending(line, text); }

void KerrException::Log(int line, const KorvenLog::Exception& exception) { SetPending(line, exception.get_What()); }

void KerrException::Check(int line) {
  if (!IsPending()) return;
  const std::wstring text = get_What();
  ClearPending();
  Throw(line, text);
}

void KerrException::Clear() { ClearPending(); }

void kerr_LogCurrentException(KerrException& error, int line) {
  // Whatever failed may have changed how numbers are rounded or trapped.
  std::fesetenv(FE_DFL_ENV);
  try {
    throw;
  } catch (const CancellationBase&) {
    throw;
  } catch (const KorvenLog::Exception& exception) {
    error.Log(line, exception);
  } catch (const std::exception& exception) {
    error.Log(line, kstr_FromUtf8Lossy(exception.what()));
  } catch (...) {
    error.Log(line);
  }
}

namespace {

using LineSink = std::function<void(const std::wstring& line)>;

void WriteToStandardError(const std::wstring& line) {
  const std::string bytes = kstr_ToUtf8(line) + "\n";
  std::fwrite(bytes.data(), 1, bytes.size(), stderr);
}

struct SessionLog {
  // Held while the sink runs, so that lines don't mix and a replaced sink is done; a sink may log itself.
  std::recursive_mutex mutex;
  LineSink sink = WriteToStandardError;
};

// Never destroyed: destructors of other static objects may still log.
SessionLog& TheSessionLog() {
  static SessionLog& log = *new SessionLog;
  return log;
}

}  // namespace

void kerr_MessageLog(int /*kind*/, const std::wstring& format) {
  std::wstring line;
  line.reserve(format.size());
  for (std::size_t i = 0; i < format.size(); ++i) {
    line += format[i];
    if (format[i] == L'%' && i + 1 < format.size() && format[i + 1] == L'%') ++i;
  }
  kerr_LogLine(line);
}

void kerr_LogLine(const std::wstring& line) {
  SessionLog& log = TheSessionLog();
  const std::lock_guard lock(log.mutex);
  const LineSink sink = log.sink;  // a copy: the sink may replace itself while it runs
  if (sink) sink(line);
}

bool kerr_IsSessionLogOpen() {
  SessionLog& log = TheSessionLog();
  const std::lock_guard lock(log.mutex);
  return log.sink != nullptr;
}

void kerr_SetSessionLogSink(LineSink sink) {
  SessionLog& log = TheSessionLog();
  const std::lock_guard lock(log.mutex);
  log.sink = std::move(sink);
}
