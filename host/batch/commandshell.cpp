#include "batch/commandshell.h"

#include <signal.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "kcommon/kprc.h"
#include "programpath.h"

namespace korven::batch {

namespace {

constexpr int kWrongCall = 2;
constexpr int kNotRunnable = 126;
constexpr int kNotFound = 127;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return std::string(text);
}

/// Commands with their words, sign by sign.
class LineReader {
 public:
  explicit LineReader(std::string_view line) : line_(line) {}

  std::vector<ShellCommand> Read() {
    while (place_ < line_.size()) Step();
    if (inQuotes_) throw std::invalid_argument("a double quote is not closed");
    EndCommand();
    return std::move(commands_);
  }

 private:
  void Step() {
    const char c = line_[place_];
    if (inQuotes_ && line_.substr(place_, 2) == "\"\"") {
      word_.text += c;
      ++place_;
    } else if (c == '"') {
      inQuotes_ = !inQuotes_;
      started_ = word_.quoted = true;
    } else if (inQuotes_) {
      word_.text += c;
    } else if (IsBlank(c)) {
      EndWord();
    } else if (line_.substr(place_, 2) == "&&") {
      EndCommand();
      begin_ = place_ + 2;
      ++place_;
    } else if (std::strchr("&|<>", c)) {
      throw std::invalid_argument(std::string("\"") + c + "\" has no meaning here; put it in double quotes");
    } else {
      word_.text += c;
      started_ = true;
    }
    ++place_;
  }
  void EndWord() {
    if (started_) command_.words.push_back(std::move(word_));
    word_ = {};
    started_ = false;
  }
  void EndCommand() {
    EndWord();
    if (command_.words.empty()) throw std::invalid_argument("a command is missing");
    command_.text = Trim(line_.substr(begin_, place_ - begin_));
    commands_.push_back(std::move(command_));
    command_ = {};
  }

  const std::string_view line_;
  std::size_t place_ = 0, begin_ = 0;
  bool inQuotes_ = false, started_ = false;
  ShellCommand::Word word_;
  ShellCommand command_;
  std::vector<ShellCommand> commands_;
};

bool IsFile(const std::string& name) {
  struct stat facts {};
  return ::stat(name.c_str(), &facts) == 0 && !S_ISDIR(facts.st_mode);
}

/// Backslashes are taken as separators.
std::string AsFileName(std::string name) {
  std::replace(name.begin(), name.end(), '\\', '/');
  return name;
}

/// The file of a command word; empty where there is none.
std::string FindProgram(const std::string& word) {
  const std::string name = AsFileName(word);
  if (name.find('/') != std::string::npos) return IsFile(name) ? name : std::string();
  return FindAlongPath(name);
}

struct Program {
  std::string file;  ///< empty where none is found
  std::vector<std::string> arguments;
};

bool IsRunnable(const std::string& file) { return !file.empty() && ::access(file.c_str(), X_OK) == 0; }

/// A program's name may hold blanks without quotes: words are added to it until they name one that can be run.
Program ProgramOf(const ShellCommand& command) {
  const auto& words = command.words;
  std::string name = words.front().text;
  Program program{FindProgram(name), {}};
  std::size_t used = 1;
  if (!IsRunnable(program.file) && !words.front().quoted && AsFileName(name).find('/') != std::string::npos) {
    for (std::size_t i = 1; i < words.size() && !words[i].quoted; ++i) {
      name += " " + words[i].text;
      const std::string file = FindProgram(name);
      if (!IsRunnable(file)) continue;
      program.file = file;
      used = i + 1;
      break;
    }
  }
  for (std::size_t i = used; i < words.size(); ++i) program.arguments.push_back(words[i].text);
  return program;
}

void Tell(const std::string& text) { std::fprintf(stderr, "comspec: %s\n", text.c_str()); }

bool IsSet(const ShellCommand& command) {
  return !command.words.front().quoted && ::strcasecmp(command.words.front().text.c_str(), "set") == 0;
}

/// All behind "set" is the assignment; double quotes around it are taken off.
int Assign(const ShellCommand& command) {
  std::string text = Trim(std::string_view(command.text).substr(3));
  if (text.size() > 1 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0) {
    Tell("set: found \"" + text + "\", expected NAME=VALUE");
    return 1;
  }
  const std::string name = text.substr(0, equals), value = text.substr(equals + 1);
  const int error = value.empty() ? ::unsetenv(name.c_str()) : ::setenv(name.c_str(), value.c_str(), 1);
  if (error == 0) return 0;
  Tell("set: " + name + ": " + std::strerror(errno));
  return 1;
}

int RunAndWait(const Program& program) {
  Kprc_StartRequest request{program.file, program.arguments};
  request.ownGroup = false;  // who ends the shell ends its programs
  request.signalAtEnd = SIGTERM;
  const pid_t process = kprc_ProcessStart(request);
  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) continue;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

[[noreturn]] void Replace(const Program& program) {
  std::vector<char*> words{const_cast<char*>(program.file.c_str())};
  for (const std::string& argument : program.arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  std::fflush(nullptr);
  ::execve(words[0], words.data(), ::environ);
  throw std::system_error(errno, std::generic_category(), program.file);
}

int RunCommand(const ShellCommand& command, bool isLast) {
  if (IsSet(command)) return Assign(command);
  const Program program = ProgramOf(command);
  if (program.file.empty()) {
    Tell("\"" + command.words.front().text + "\" is no program that can be found");
    return kNotFound;
  }
  try {
    if (isLast) Replace(program);
    return RunAndWait(program);
  } catch (const std::system_error& error) {
    Tell(error.what());
    return kNotRunnable;
  }
}

}  // namespace

std::vector<ShellCommand> ParseShellLine(std::string_view line) { return LineReader(line).Read(); }

std::string ShellLineOf(const std::vector<std::string>& words) {
  if (words.empty() || ::strcasecmp(words.front().c_str(), "/c") != 0)
    throw std::invalid_argument("expected /C \"LINE\"");
  std::string line;
  for (std::size_t i = 1; i < words.size(); ++i) line += (i == 1 ? "" : " ") + words[i];
  line = Trim(line);
  if (line.size() < 2 || line.front() != '"' || line.back() != '"') return line;
  const std::string inside = line.substr(1, line.size() - 2);
  if (inside.find('"') == std::string::npos && IsFile(AsFileName(inside))) return line;
  return inside;
}

int RunShell(const std::vector<ShellCommand>& commands) {
  int status = 0;
  for (std::size_t i = 0; i < commands.size() && status == 0; ++i)
    status = RunCommand(commands[i], i + 1 == commands.size());
  return status;
}

int ShellMain(const std::vector<std::string>& words) {
  ::signal(SIGCHLD, SIG_DFL);  // ignored, it would take the exit statuses with it
  try {
    return RunShell(ParseShellLine(ShellLineOf(words)));
  } catch (const std::invalid_argument& error) {
    Tell(error.what());
    return kWrongCall;
  }
}

}  // namespace korven::batch
