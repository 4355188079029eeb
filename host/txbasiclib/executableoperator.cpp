#include "txbasiclib/executableoperator.h"

#include <unistd.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <cstdlib>
#include <system_error>

#include "kcommon/kfnp.h"
#include "kcommon/kprc.h"
#include "kcommon/kstr.h"
#include "txlib/model.h"

namespace Tamrin::TesseraBasic {

namespace {

bool IsProgram(const std::string& file) {
  boost::system::error_code error;
  return boost::filesystem::is_regular_file(file, error) && ::access(file.c_str(), X_OK) == 0;
}

/// The first program of that name in the folders; empty where there is none.
std::string FindAlong(const std::string& folders, const char* separators, const std::string& name) {
  for (std::size_t begin = 0; begin <= folders.size();) {
    const std::size_t end = std::min(folders.find_first_of(separators, begin), folders.size());
    const std::string folder = folders.substr(begin, end - begin);
    const std::string file = folder + "/" + name;
    if (!folder.empty() && IsProgram(file)) return file;
    begin = end + 1;
  }
  return {};
}

}  // namespace

std::string ExecutableOperator::FindExecutable() {
  const std::string name = kfnp_ToNative(kstr_PathExpand(GetExecutable()));
  if (name.empty()) return {};
  if (name.find('/') != std::string::npos) return IsProgram(name) ? name : std::string();
  const std::string own = FindAlong(kfnp_ToNative(kstr_PathExpand(GetSearchPath())), ":;", name);
  if (!own.empty()) return own;
  const char* const path = std::getenv("PATH");
  return path ? FindAlong(path, ":", name) : std::string();
}

bool ExecutableOperator::IsKORVENExecutable() {
  const char* const home = std::getenv("VANTIX_HOME");
  const std::string program = FindExecutable();
  if (!home || !*home || program.empty()) return false;
  boost::system::error_code error;
  const auto root = boost::filesystem::canonical(home, error);
  if (error) return false;
  const auto file = boost::filesystem::canonical(program, error);
  return !error && file.string().compare(0, root.string().size() + 1, root.string() + "/") == 0;
}

std::vector<std::wstring> ExecutableOperator::SplitArgumentLine(const std::wstring& line) {
  std::vector<std::wstring> arguments;
  bool isQuoted = false;
  bool isInside = false;  // an argument, which may be empty so far: ""
  for (std::size_t i = 0; i < line.size(); ++i) {
    const bool isBlank = line[i] == L' ' || line[i] == L'\t' || line[i] == L'\n' || line[i] == L'\r';
    if (isBlank && !isQuoted) {
      isInside = false;
      continue;
    }
    if (!isInside) arguments.emplace_back();
    isInside = true;
    if (line[i] == L'"') {
      isQuoted = !isQuoted;
      continue;
    }
    if (line[i] == L'\\' && i + 1 < line.size() && line[i + 1] == L'"') ++i;
    arguments.back() += line[i];
  }
  return arguments;
}

void ExecutableOperator::OnExecute() {
  consoleOutput_.clear();
  Kprc_CaptureRequest request;
  request.program = FindExecutable();
  if (request.program.empty())
    SetErrorMessage(L"The program \"" + GetExecutable() + L"\" was not found; looked in \"" + GetSearchPath() +
                    L"\" and PATH.");
  for (const std::wstring& argument : SplitArgumentLine(GetArguments()))
    request.arguments.push_back(kfnp_ToNative(argument));
  const auto environment = GetEnvironment();
  request.check = [&environment] { environment->CheckCancelled(); };
  std::string output;
  std::int32_t code = 0;
  try {
    code = kprc_ProcessCapture(request, output);
  } catch (const std::system_error& error) {
    SetErrorMessage(L"The program \"" + kfnp_FromNative(request.program) + L"\" could not be started: " +
                    kstr_FromUtf8Lossy(error.code().message()) + L".");
  }
  consoleOutput_ = kstr_FromUtf8Lossy(output);
  if (auto* const told = dynamic_cast<ExecutableOperator2*>(this)) told->SetReturnCode(code);
  PostRun();
}

}  // namespace Tamrin::TesseraBasic
