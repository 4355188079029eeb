#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

class KerrException;

struct Kprc_StartRequest {
  std::string program;                 ///< file name in bytes; not looked up along PATH
  std::vector<std::string> arguments;  ///< those behind the program's own name
  int output = -1;                     ///< open files that become standard output and error; -1: this process's own
  int errors = -1;
  bool ownGroup = true;  ///< the program leads a process group of its own
  /// What the program gets when the thread that started it ends, as with its process; 0: nothing.
  int signalAtEnd = 0;
  std::vector<std::string> variables{};  ///< "NAME=VALUE", set in the program's environment besides this process's own
};

/// Starts a program with empty standard input, no signal held back and none ignored, and gives its process id; the
/// caller waits for it. Raises std::system_error where it can't be started. Any thread.
int kprc_ProcessStart(const Kprc_StartRequest& request);

struct Kprc_CaptureRequest {
  std::string program;                 ///< file name in bytes; not looked up along PATH
  std::vector<std::string> arguments;  ///< those behind the program's own name
  /// Called several times a second while the program runs, where it is set. What it raises ends the program with all
  /// of its process group (asked to end at first, made to after 5 seconds), and goes on to the caller.
  std::function<void()> check;
  /// Where it is set it gets the bytes, block by block as they come, in place of `output`. What it raises ends the
  /// program as well.
  std::function<void(std::string_view)> take;
};

/// Runs a program in a process group of its own, with empty standard input, and waits for its end. Gives its exit
/// status, or 128 and the number of the signal that ended it, which is `signal` then; 0 otherwise. `output` becomes the
/// bytes that it wrote on standard output and standard error, in the order in which they came, however many there
/// are. It is asked to end where this process is killed. Raises std::system_error where it can't be started. Any
/// thread.
int kprc_ProcessCapture(const Kprc_CaptureRequest& request, std::string& output, int* signal = nullptr);

/// How a program is started.
class ProcessStartInfo {
 public:
  /// Dialogs and windows are no matter of this platform: both are kept and have no effect.
  void SetSuppressSysDialogs(bool suppress) { suppressSysDialogs_ = suppress; }
  void SetHide(bool hide = true) { hide_ = hide; }
  bool GetSuppressSysDialogs() const { return suppressSysDialogs_; }
  bool GetHide() const { return hide_; }
  /// Called several times a second while the program runs. What it raises ends the program with all of its process
  /// group (asked to end at first, made to after 5 seconds) and goes on to the caller.
  void SetCheck(std::function<void()> check) { check_ = std::move(check); }
  const std::function<void()>& GetCheck() const { return check_; }
  /// Sets an environment variable of the program.
  void SetVariable(const std::wstring& name, const std::wstring& value) { variables_.push_back(name + L"=" + value); }
  const std::vector<std::wstring>& GetVariables() const { return variables_; }

 private:
  bool suppressSysDialogs_ = false;
  bool hide_ = false;
  std::function<void()> check_;
  std::vector<std::wstring> variables_;
};

/// Runs a program in a process group of its own and waits for its end, without standard input; what it writes goes to
/// this process's standard error. It is asked to end where this process is killed. Gives its exit status, or 128 and
/// the number of the signal that ended it; -1, and a failure in the error object, where it can't be started. Any
/// thread.
int kprc_ProcessRun(const std::wstring& program, const std::vector<std::wstring>& arguments,
                    const ProcessStartInfo& info, KerrException& error);

/// True while a started program is being ended: a process that leaves waits for that. Any thread.
bool kprc_IsEnding();
