#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>

#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "preview.h"
#include "profile.h"
#include "program.h"
#include "progress.h"
#include "signals.h"
#include "txbasiclib/executableoperator.h"
#include "values.h"

namespace TesseraProgram {

using namespace Tamrin::Tessera;

namespace {

[[noreturn]] void RefuseFile(const std::string& name, int failure) {
  throw Refusal(WideWord(name) + L": can't be written: " + kstr_FromUtf8Lossy(std::strerror(failure)));
}

/// What a long run has found should not be lost for a name that could be seen to be wrong before. Raises Refusal.
void RequirePlace(const std::string& name) {
  struct stat facts {};
  if (name.empty()) return;
  if (::stat(name.c_str(), &facts) == 0) {
    if (S_ISDIR(facts.st_mode)) RefuseFile(name, EISDIR);
    if (::access(name.c_str(), W_OK) != 0) RefuseFile(name, errno);
    return;
  }
  if (errno != ENOENT) RefuseFile(name, errno);
  const std::size_t slash = name.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : name.substr(0, slash + 1);
  if (::access(folder.c_str(), W_OK | X_OK) != 0) RefuseFile(name, errno);
}

/// A file that grows line by line; each line is there as soon as it was given. Where one can't be written, nothing
/// more is, and the run goes on.
class LineFile {
 public:
  explicit LineFile(const std::string& name) : name_(name), file_(Open(name)) {
    if (file_ < 0) Refuse(errno);
  }
  ~LineFile() { ::close(file_); }
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;
  void Write(std::string line) {
    line += '\n';
    const std::lock_guard lock(mutex_);
    for (std::size_t done = 0; failure_ == 0 && done < line.size();) {
      const ssize_t count = ::write(file_, line.data() + done, line.size() - done);
      if (count < 0 && errno != EINTR) failure_ = errno;
      if (count > 0) done += static_cast<std::size_t>(count);
    }
  }
  void CheckWritten() {
    const std::lock_guard lock(mutex_);
    if (failure_ != 0) Refuse(failure_);
  }

 private:
  /// Opened by its name, a file that the shell has opened for a standard stream would be emptied and written over.
  static int Open(const std::string& name) {
    if (name == "/dev/stdout") return ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (name == "/dev/stderr") return ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    return ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  }
  [[noreturn]] void Refuse(int failure) const { RefuseFile(name_, failure); }

  const std::string name_;
  const int file_;
  int failure_ = 0;
  std::mutex mutex_;
};

struct Failure {
  std::wstring name;
  std::wstring text;
  bool cancelled = false;
};

/// Where the messages of a run go.
class Messages {
 public:
  Messages(const std::string& file, bool quiet) : quiet_(quiet) {
    if (!file.empty()) file_.emplace(file);
  }
  void Listen(const boost::shared_ptr<Model>& model) {
    handle_ =
        model->AddOnMessageCallback([this](const boost::shared_ptr<Operator>& op, const boost::shared_ptr<Port>&,
                                           const std::wstring& text, const std::wstring&, Issue::Severity severity) {
          Tell(op ? op->GetDisplayName() : L"", text, severity);
        });
  }
  void CheckWritten() {
    if (file_) file_->CheckWritten();
  }
  /// An error that its operator has told already is not told twice.
  void TellFailure(const Failure& failure) {
    if (lastName_ != failure.name || lastText_ != failure.text) Tell(failure.name, failure.text, Issue::Error);
  }

 private:
  void Tell(const std::wstring& name, const std::wstring& text, Issue::Severity severity) {
    const std::lock_guard lock(mutex_);
    if (severity == Issue::Error) {
      lastName_ = name;
      lastText_ = text;
    } else if (!quiet_ && !file_) {
      PrintError((severity == Issue::Warning ? L"warning: " : L"info: ") + name + L": " + text);
    }
    if (!file_) return;
    JsonValue json(JsonValueType::Object);
    json.Set("severity", JsonValue(static_cast<int>(severity)));
    json.Set("operator", JsonValue(name));
    json.Set("text", JsonValue(text));
    file_->Write(json.SerializeUtf8());
  }

  const bool quiet_;
  std::optional<LineFile> file_;
  std::mutex mutex_;
  std::wstring lastName_, lastText_;
  CallbackHandle handle_;
};

/// Runs the model; what it failed with, or nothing.
std::optional<Failure> Execute(const boost::shared_ptr<Model>& model) {
  try {
    model->Execute();
    return std::nullopt;
  } catch (const CancelledException&) {
    return Failure{model->GetDisplayName(), CurrentExceptionText(), true};
  } catch (const OperatorException& exception) {
    // Which has a model's own name where the operator is one that the model hides.
    const std::wstring name = ExecutionEnvironment::GetFailedOperator(std::current_exception());
    return Failure{name.empty() ? exception.GetOperatorDisplayName() : name, exception.get_What()};
  } catch (...) {
    return Failure{ExecutionEnvironment::GetFailedOperator(std::current_exception()), CurrentExceptionText()};
  }
}

/// The file of the session log, or null.
std::shared_ptr<LineFile> SetSessionLog(const Arguments& arguments) {
  std::shared_ptr<LineFile> file;
  if (!arguments.log.empty()) {
    file = std::make_shared<LineFile>(arguments.log);
    kerr_SetSessionLogSink([file](const std::wstring& line) { file->Write(kstr_ToUtf8(line)); });
  } else if (arguments.quiet) {
    kerr_SetSessionLogSink(std::function<void(const std::wstring&)>());
  } else {
    kerr_SetSessionLogSink(&PrintError);  // which knows of the progress on the same terminal
  }
  return file;
}

void WriteJson(const std::string& file, const JsonValue& json) {
  try {
    std::string text = json.SerializeUtf8(true);
    if (text.back() != '\n') text += '\n';
    kfio::WriteBytes(WideWord(file), text);
  } catch (const std::exception&) {
    throw Refusal(WideWord(file) + L": " + CurrentExceptionText());
  }
}

void TellOutputs(const Arguments& arguments, Model& model) {
  if (!arguments.outputs.empty()) WriteJson(arguments.outputs, OutputsToJson(model));
  if (arguments.json)
    PrintJson(OutputsToJson(model));
  else if (arguments.outputs.empty())
    PrintOutputs(model);
}

void TellProfile(const Arguments& arguments, const Profile& profile) {
  if (!arguments.profile.empty()) {
    WriteJson(arguments.profile, profile.ToJson());
    return;
  }
  std::fflush(stdout);
  profile.Print();
}

int RunOpened(const Arguments& arguments, const boost::shared_ptr<Model>& model) {
  if (arguments.hasThreads) model->GetEnvironment()->SetNumThreads(arguments.threads);
  SignalWatch::SetEnvironment(model->GetEnvironment());
  if (!arguments.inputs.empty()) ApplyInputs(*model, arguments.inputs);
  ApplySets(*model, arguments.sets);
  RequirePlace(arguments.outputs);
  RequirePlace(arguments.profile);
  const auto log = SetSessionLog(arguments);
  Messages messages(arguments.messages, arguments.quiet);
  messages.Listen(model);
  std::optional<Profile> profile;
  if (arguments.hasProfile) profile.emplace(model);
  std::optional<Preview> preview;
  if (arguments.hasPreview) preview.emplace(arguments.preview, model);
  std::optional<Failure> failure;
  {
    const Progress progress(Progress::Choose(arguments.progress, arguments.quiet), model);
    failure = Execute(model);
  }
  if (SignalWatch::Received()) return 128 + SignalWatch::Received();
  if (failure) {
    messages.TellFailure(*failure);
    if (profile) TellProfile(arguments, *profile);
    std::fflush(stdout);
    PrintError(L"error: " + failure->name + L": " + failure->text);
    return kModelFailed;
  }
  if (preview) preview->CheckWritten();
  TellOutputs(arguments, *model);
  if (profile) TellProfile(arguments, *profile);
  // Results come first: what a long run has found is not lost with its log.
  if (log) log->CheckWritten();
  messages.CheckWritten();
  return kDone;
}

}  // namespace

int Run(const Arguments& arguments) {
  if (arguments.noExternal) Tamrin::TesseraBasic::ForbidExternalPrograms();
  // Before any thread, so that no other takes the signals.
  const SignalWatch watch;
  LoadPreferences(arguments);
  int status = kDone;
  {
    const auto model = OpenModel(arguments.model, arguments.quiet);
    status = RunOpened(arguments, model);
    SignalWatch::SetEnvironment({});
  }
  SignalWatch::LeaveIfSignalled();
  return status;
}

}  // namespace TesseraProgram
