#include "txbasiclib/executableoperator.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "consoletext.h"
#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "kcommon/kpmg.h"
#include "kcommon/kprc.h"
#include "kcommon/kstr.h"
#include "txlib/model.h"

namespace fs = boost::filesystem;

namespace Tamrin::TesseraBasic {

namespace {

/// An environment variable, so that processes which this one starts know it as well.
constexpr const char* kForbidden = "TESSERA_NO_EXTERNAL";

bool IsFile(const std::string& file) {
  boost::system::error_code error;
  return fs::is_regular_file(file, error);
}

bool IsProgram(const std::string& file) { return IsFile(file) && ::access(file.c_str(), X_OK) == 0; }

template <typename Visit>
void ForEachFolder(const std::string& folders, const char* separators, const Visit& visit) {
  for (std::size_t begin = 0; begin <= folders.size();) {
    const std::size_t end = std::min(folders.find_first_of(separators, begin), folders.size());
    if (end > begin) visit(folders.substr(begin, end - begin));
    begin = end + 1;
  }
}

/// Whether a folder is another one or lies below it.
bool IsWithin(const fs::path& folder, const std::string& root) {
  boost::system::error_code error;
  const std::string resolved = fs::canonical(root, error).native();
  if (error) return false;
  const std::string prefix = resolved == "/" ? resolved : resolved + "/";
  return folder.native() == resolved || folder.native().compare(0, prefix.size(), prefix) == 0;
}

std::wstring Quoted(const std::string& name) { return L"\"" + kfnp_FromNative(name) + L"\""; }

std::wstring SignalText(int signal) {
  const char* const description = ::sigdescr_np(signal);
  return std::to_wstring(signal) + (description ? L" (" + kstr_Widen(description) + L")" : std::wstring());
}

std::wstring StartFault(const std::string& program, const std::system_error& failure) {
  const std::wstring begin = L"The program " + Quoted(program) + L" could not be started: ";
  // The file itself was found: what is missing is named in its first line.
  if (failure.code().value() == ENOENT) return begin + L"the interpreter that its first line names does not exist.";
  return begin + kstr_FromUtf8Lossy(failure.code().message()) + L".";
}

}  // namespace

struct ExecutableOperator::Search {
  std::string program;  ///< empty where there is none
  std::string useless;  ///< a file of that name that can't be executed
  bool Try(const std::string& file) {
    if (!program.empty()) return false;
    if (IsProgram(file))
      program = file;
    else if (useless.empty() && IsFile(file))
      useless = file;
    return !program.empty();
  }
};

ExecutableOperator::Search ExecutableOperator::Find() {
  Search search;
  const std::wstring wanted = GetExecutable();
  const std::string name = kfnp_ToNative(wanted);
  if (name.empty() || name.find('\0') != std::string::npos) return search;
  if (name.find('/') != std::string::npos) {
    search.Try(name);
    return search;
  }
  const auto visit = [&](const std::string& folder) { search.Try(folder + "/" + name); };
  ForEachFolder(kfnp_ToNative(kstr_PathExpand(GetSearchPath())), ":;", visit);
  const char* const path = std::getenv("PATH");
  if (search.program.empty() && path) ForEachFolder(path, ":", visit);
  return search;
}

std::wstring ExecutableOperator::FindProgram() { return kfnp_FromNative(Find().program); }

bool ExecutableOperator::IsKORVENExecutable() {
  const char* const home = std::getenv("VANTIX_HOME");
  const std::string program = Find().program;
  if (!home || !*home || program.empty()) return false;
  boost::system::error_code error;
  const auto file = fs::canonical(program, error);
  return !error && IsWithin(file.parent_path(), home);
}

const std::wstring& ExecutableOperator::GetConsoleOutput() const {
  static const std::wstring nothing;
  return console_ ? *console_->GetDataPointer() : nothing;
}

void ExecutableOperator::RequireStartAllowed() {
  if (std::getenv(kForbidden)) {
    SetErrorMessage(L"The program \"" + GetExecutable() +
                    L"\" was not started: this run starts no external programs (--no-external).");
  }
  KerrException error(L"txbasiclib\\executableoperator", L"ExecutableOperator::RequireStartAllowed");
  const std::wstring folders = kpmg_GetStringPreference(L"external", L"folders", L"", error);
  error.Check(__LINE__);
  const std::string program = folders.empty() ? std::string() : Find().program;
  if (program.empty()) return;
  // The folder counts and not where a link in it leads: who put it there wanted it to be started.
  boost::system::error_code code;
  const fs::path folder = fs::canonical(fs::absolute(program).parent_path(), code);
  bool isAllowed = false;
  ForEachFolder(kfnp_ToNative(kstr_PathExpand(folders)), ";",
                [&](const std::string& root) { isAllowed = isAllowed || (!code && IsWithin(folder, root)); });
  if (isAllowed) return;
  SetErrorMessage(L"The program " + Quoted(program) +
                  L" may not be started: it lies in none of the folders of the preference \"external/folders\" (" +
                  folders + L").");
}

void ExecutableOperator::OnExecute() {
  console_.reset();
  RequireStartAllowed();
  const Search search = Find();
  if (search.program.empty()) {
    const std::wstring name = GetExecutable();
    if (name.empty()) SetErrorMessage(L"There is no program to be started: its name is empty.");
    if (!search.useless.empty()) SetErrorMessage(L"The program " + Quoted(search.useless) + L" is not executable.");
    boost::system::error_code none;
    const bool isPath = name.find(L'/') != std::wstring::npos;
    if (isPath && fs::is_directory(kfnp_ToNative(name), none))
      SetErrorMessage(L"\"" + name + L"\" is a folder, not a program.");
    if (isPath) SetErrorMessage(L"The program \"" + name + L"\" does not exist.");
    const std::wstring folders = GetSearchPath();
    SetErrorMessage(L"The program \"" + name + L"\" was not found; looked in " +
                    (folders.empty() ? std::wstring() : L"\"" + folders + L"\" and ") + L"PATH.");
  }
  Kprc_CaptureRequest request;
  request.program = search.program;
  for (const std::wstring& argument : TakeApart(GetArguments())) request.arguments.push_back(kfnp_ToNative(argument));
  const auto environment = GetEnvironment();
  request.check = [&environment] { environment->CheckCancelled(); };
  ConsoleText text;
  request.take = [&text](std::string_view bytes) { text.Take(bytes); };
  std::string unused;
  std::int32_t code = 0;
  int signal = 0;
  try {
    code = kprc_ProcessCapture(request, unused, &signal);
  } catch (const std::system_error& failure) {
    SetErrorMessage(StartFault(request.program, failure));
  }
  console_ = Tessera::MakeData<Tessera::StringData>(text.Finish());
  if (signal != 0)
    SetWarningMessage(L"The program " + Quoted(search.program) + L" was ended by signal " + SignalText(signal) + L".");
  if (auto* const told = dynamic_cast<ExecutableOperator2*>(this)) told->SetReturnCode(code);
  PostRun();
}

void ForbidExternalPrograms() { ::setenv(kForbidden, "1", 1); }

}  // namespace Tamrin::TesseraBasic
