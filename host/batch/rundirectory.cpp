#include "rundirectory.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "batch/joblist.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"

namespace korven::batch {

namespace {

constexpr const char* kResult = "line-";

/// The line up to its end, which is taken off the text.
std::string_view TakeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

bool ReadNumber(std::string_view text, std::size_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return !text.empty() && error == std::errc() && end == text.data() + text.size();
}

/// What stands behind "KEY " in the next line.
bool TakeEntry(std::string_view& text, std::string_view key, std::string_view& value) {
  const std::string_view line = TakeLine(text);
  if (line.substr(0, key.size()) != key || line.substr(key.size(), 1) != " ") return false;
  value = line.substr(key.size() + 1);
  return true;
}

/// A word with neither tab nor line feed in it.
std::string Escape(std::string_view word) {
  std::string text;
  for (const char c : word) {
    if (c == '\t') {
      text += "\\t";
    } else if (c == '\n') {
      text += "\\n";
    } else {
      text.append(c == '\\' ? 2 : 1, c);
    }
  }
  return text;
}

std::string Unescape(std::string_view text) {
  std::string word;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      word += text[i];
      continue;
    }
    const char c = text[++i];
    word += c == 't' ? '\t' : c == 'n' ? '\n' : c;
  }
  return word;
}

/// For a shell.
std::string Quote(const std::string& word) {
  std::string text = "'";
  for (const char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

void MakeFolder(const std::string& path) {
  if (::mkdir(path.c_str(), 0777) == 0 || errno == EEXIST) return;
  throw BatchFault("the run directory " + path + " can't be made: " + std::strerror(errno));
}

}  // namespace

std::vector<std::size_t> Round::LinesOf(std::size_t task) const {
  const std::size_t begin = std::min(task * block, lines.size()), end = std::min(begin + block, lines.size());
  const auto at = [this](std::size_t place) { return lines.begin() + static_cast<std::ptrdiff_t>(place); };
  return {at(begin), at(end)};
}

std::string FormatCommands(const Commands& commands) {
  std::string text;
  for (std::size_t number = 1; number < commands.size(); ++number) {
    for (std::size_t i = 0; i < commands[number].size(); ++i)
      text += (i == 0 ? "" : "\t") + Escape(commands[number][i]);
    text += '\n';
  }
  return text;
}

Commands ParseCommands(std::string_view text) {
  Commands commands(1);
  while (!text.empty()) {
    std::string_view line = TakeLine(text);
    auto& words = commands.emplace_back();
    for (bool more = !line.empty(); more;) {
      const std::size_t tab = line.find('\t');
      words.push_back(Unescape(line.substr(0, tab)));
      more = tab != std::string_view::npos;
      if (more) line.remove_prefix(tab + 1);
    }
  }
  return commands;
}

std::string FormatRound(const Round& round) {
  std::string text = "block " + std::to_string(round.block) + "\n";
  for (const std::size_t line : round.lines) text += std::to_string(line) + "\n";
  return text + "end\n";
}

bool ParseRound(std::string_view text, Round& round) {
  std::string_view value;
  if (!TakeEntry(text, "block", value) || !ReadNumber(value, round.block) || round.block == 0) return false;
  round.lines.clear();
  while (!text.empty()) {
    const std::string_view line = TakeLine(text);
    if (line == "end") return text.empty();
    if (!ReadNumber(line, round.lines.emplace_back())) return false;
  }
  return false;
}

std::string FormatResult(const LineResult& result) {
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%lld", static_cast<long long>(result.seconds * 1e6));
  std::string text = "line " + std::to_string(result.line) + "\nended " + Escape(result.failure) + "\nmicroseconds " +
                     seconds + "\nnode " + result.node + "\noutput " + std::to_string(result.output.size()) +
                     "\nerrors " + std::to_string(result.errors.size()) + "\n\n";
  return text + result.output + "\n" + result.errors + "\n";
}

bool ParseResult(std::string_view text, LineResult& result) {
  std::string_view failure, node, number;
  std::size_t microseconds = 0, output = 0, errors = 0;
  if (!TakeEntry(text, "line", number) || !ReadNumber(number, result.line)) return false;
  if (!TakeEntry(text, "ended", failure)) return false;
  if (!TakeEntry(text, "microseconds", number) || !ReadNumber(number, microseconds)) return false;
  if (!TakeEntry(text, "node", node)) return false;
  if (!TakeEntry(text, "output", number) || !ReadNumber(number, output)) return false;
  if (!TakeEntry(text, "errors", number) || !ReadNumber(number, errors)) return false;
  if (!TakeLine(text).empty() || output > text.size() || text.size() - output != errors + 2) return false;
  result.failure = Unescape(failure);
  result.seconds = static_cast<double>(microseconds) / 1e6;
  result.node = node;
  result.output = text.substr(0, output);
  result.errors = text.substr(output + 1, errors);
  return true;
}

std::string RunDirectory::TaskLog(unsigned round, std::size_t task) const {
  return RoundFolder(round) + "/task-" + std::to_string(task) + ".log";
}

std::string RunDirectory::ResultFile(unsigned round, std::size_t line) const {
  return RoundFolder(round) + "/" + kResult + std::to_string(line);
}

bool RunDirectory::IsThere() const { return ::access((path_ + "/name").c_str(), F_OK) == 0; }

void RunDirectory::Begin(const std::string& jobName, const std::string& program) {
  namespace fs = std::filesystem;
  MakeFolder(path_);
  std::error_code error;
  if (!IsThere() && !fs::is_empty(path_, error))
    throw BatchFault("the run directory " + path_ + " is not empty, and no run's");
  try {
    for (const auto& entry : fs::directory_iterator(path_)) fs::remove_all(entry.path());
    Write("name", jobName);
    char folder[PATH_MAX] = {};
    Write("folder", ::getcwd(folder, sizeof folder) ? folder : "/");
    // By itself it finds its log: names that Slurm is given are patterns.
    Write("task.sh", "#!/bin/sh\nexec >>\"$1/round-$2/task-$SLURM_ARRAY_TASK_ID.log\" 2>&1 || exit 1\nexec " +
                         Quote(program) + " --task \"$1\" \"$2\" \"$3\"\n");
  } catch (const std::exception& failure) {
    throw BatchFault("the run directory " + path_ + " can't be written: " + failure.what());
  }
}

void RunDirectory::WriteRound(const Round& round) const {
  MakeFolder(RoundFolder(round.number));
  Write("round-" + std::to_string(round.number) + "/lines", FormatRound(round));
}

Round RunDirectory::ReadRound(unsigned number) const {
  Round round;
  round.number = number;
  const std::string name = "round-" + std::to_string(number) + "/lines";
  if (!ParseRound(Read(name), round)) throw BatchFault(path_ + "/" + name + ": the file is not whole");
  return round;
}

unsigned RunDirectory::CountRounds() const {
  unsigned count = 0;
  while (::access((RoundFolder(count + 1) + "/lines").c_str(), F_OK) == 0) ++count;
  return count;
}

void RunDirectory::WriteResult(unsigned round, const LineResult& result) const {
  kfio::WriteBytes(kfnp_FromNative(ResultFile(round, result.line)), FormatResult(result));
}

std::vector<std::size_t> RunDirectory::ListResults(unsigned round) const {
  std::vector<std::size_t> lines;
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(RoundFolder(round).c_str()), ::closedir);
  const std::size_t prefix = std::strlen(kResult);
  while (const dirent* const entry = entries ? ::readdir(entries.get()) : nullptr) {
    const std::string_view name = entry->d_name;
    std::size_t number = 0;
    if (name.substr(0, prefix) == kResult && ReadNumber(name.substr(prefix), number)) lines.push_back(number);
  }
  return lines;
}

bool RunDirectory::ReadResult(unsigned round, std::size_t line, LineResult& result) const {
  try {
    return ParseResult(kfio::ReadBytes(kfnp_FromNative(ResultFile(round, line))), result) && result.line == line;
  } catch (const std::exception&) {
    return false;  // it may be there at the next look
  }
}

void RunDirectory::Refresh(unsigned round) const { Write("round-" + std::to_string(round) + "/looked-at", ""); }

std::string RunDirectory::Read(const std::string& name) const {
  return kfio::ReadBytes(kfnp_FromNative(path_ + "/" + name));
}

void RunDirectory::Write(const std::string& name, const std::string& bytes) const {
  kfio::WriteBytes(kfnp_FromNative(path_ + "/" + name), bytes);
}

}  // namespace korven::batch
