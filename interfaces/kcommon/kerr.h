#pragma once

#include <functional>
#include <string>

#include "korvenlog/exception.h"

/// The pending-error object: a local variable at the head of a function, never shared between threads.
/// Library calls record their failure in it, Check raises what they left.
class KerrException : public KorvenLog::UnthrownException {
 public:
  /// sourceFile: path below the tree without extension, such as L"tx_general\\append"; function: its
  /// qualified name.
  KerrException(const std::wstring& sourceFile, const std::wstring& function);

  /// Raises KorvenLog::CPPException<std::runtime_error> with this text.
  [[noreturn]] void Throw(int line, const std::wstring& text);
  /// Record a failure that was caught, without raising it.
  void Log(int line);
  void Log(int line, const std::wstring& text);
  void Log(int line, const KorvenLog::Exception& exception);
  /// Raises what is pending; nothing otherwise.
  void Check(int line);
  void Clear();
};

/// Logs the exception that is being handled into `error` by the three-way pattern of the library: an
/// exception of ours, a std::exception, anything else. Call it inside a catch (...) block. Cancellation of a
/// run is no failure to be kept: it is raised again.
void kerr_LogCurrentException(KerrException& error, int line);

/// Marks an exception that a guarded block must let pass: the run was cancelled.
class CancellationBase {
 public:
  virtual ~CancellationBase() = default;
};

/// Appends one line to the session log. The text is a format without arguments: "%%" gives "%".
/// May be called from any thread.
void kerr_MessageLog(int kind, const std::wstring& format);

/// The same for a line that is taken as it stands.
void kerr_LogLine(const std::wstring& line);
/// False where lines are dropped, so that none need be made.
bool kerr_IsSessionLogOpen();

/// Where session log lines go, without line end; standard error until set. An empty function drops them.
void kerr_SetSessionLogSink(std::function<void(const std::wstring& line)> sink);
