#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace korven::batch {

/// The words of each line's command, at the place of its number. Lines without are not run.
using Commands = std::vector<std::vector<std::string>>;

/// One array of tasks: task i does `block` lines from lines[i * block] on.
struct Round {
  unsigned number = 0;  ///< from 1
  std::size_t block = 1;
  std::vector<std::size_t> lines;  ///< their numbers
  std::size_t CountTasks() const { return (lines.size() + block - 1) / block; }
  /// The lines of a task.
  std::vector<std::size_t> LinesOf(std::size_t task) const;
};

/// What a line's run left.
struct LineResult {
  std::size_t line = 0;
  std::string failure;  ///< empty where it succeeded
  double seconds = 0;
  std::string node, output, errors;
};

std::string FormatCommands(const Commands& commands);
Commands ParseCommands(std::string_view text);
std::string FormatRound(const Round& round);
/// False where the text is not whole.
bool ParseRound(std::string_view text, Round& round);
std::string FormatResult(const LineResult& result);
bool ParseResult(std::string_view text, LineResult& result);

/// The files that the manager and its tasks share. Each is written beside its place and renamed, so that whoever sees
/// one sees the whole of it. What can't be read or written raises the exception of kfio.
class RunDirectory {
 public:
  explicit RunDirectory(std::string path) : path_(std::move(path)) {}
  const std::string& Path() const { return path_; }
  std::string Script() const { return path_ + "/task.sh"; }
  std::string RoundFolder(unsigned round) const { return path_ + "/round-" + std::to_string(round); }
  std::string TaskLog(unsigned round, std::size_t task) const;
  std::string ResultFile(unsigned round, std::size_t line) const;

  /// Makes the folder and takes away what an earlier run left there. Raises BatchFault where it can't be written, or
  /// holds files that are no run's.
  void Begin(const std::string& jobName, const std::string& program);
  bool IsThere() const;

  std::string ReadJobName() const { return Read("name"); }
  std::string ReadWorkingFolder() const { return Read("folder"); }
  Commands ReadCommands() const { return ParseCommands(Read("commands")); }
  void WriteCommands(const Commands& commands) const { Write("commands", FormatCommands(commands)); }
  void WriteRound(const Round& round) const;
  /// Raises BatchFault where the file is not whole.
  Round ReadRound(unsigned number) const;
  /// The number of the last one; 0 where there is none.
  unsigned CountRounds() const;
  void WriteResult(unsigned round, const LineResult& result) const;
  /// The lines that have a result.
  std::vector<std::size_t> ListResults(unsigned round) const;
  /// False where it is not whole.
  bool ReadResult(unsigned round, std::size_t line, LineResult& result) const;
  /// Makes a network file system look at the folder's present state.
  void Refresh(unsigned round) const;

 private:
  std::string Read(const std::string& name) const;
  void Write(const std::string& name, const std::string& bytes) const;

  const std::string path_;
};

}  // namespace korven::batch
