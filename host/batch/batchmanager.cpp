#include "batch/batchmanager.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "batch/joblist.h"
#include "batch/localexecutor.h"
#include "batch/slurmexecutor.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "slurmsetup.h"

namespace korven::batch {

namespace {

constexpr int kLineFailed = 1;
constexpr int kRefused = 2;
constexpr std::size_t kToldLines = 10;

void Tell(const std::string& text) { std::fprintf(stderr, "batchprocess: %s\n", text.c_str()); }

/// Backslashes are separators where no file has the name as it stands.
std::string FileNameOf(const std::string& word) {
  if (::access(word.c_str(), F_OK) == 0) return word;
  std::string name = word;
  std::replace(name.begin(), name.end(), '\\', '/');
  return name;
}

unsigned ReadCount(const std::string& option, const std::string& word, unsigned least) {
  unsigned count = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), count);
  if (error != std::errc() || end != word.data() + word.size() || count < least)
    throw BatchFault(option + ": found \"" + word + "\", expected a whole number from " + std::to_string(least) +
                     " on");
  return count;
}

BatchOptions ReadOptions(const std::vector<std::string>& words) {
  BatchOptions options;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& option = words[i];
    if (option == "--resume") {
      options.resume = true;
      continue;
    }
    static constexpr const char* known[] = {"-bcf", "-bls", "-logfile", "-simul", "--retries"};
    if (std::find(std::begin(known), std::end(known), option) == std::end(known))
      throw BatchFault("\"" + option + "\" is no option; --help tells those there are");
    if (++i == words.size()) throw BatchFault(option + ": expected a value behind it");
    if (option == "-bcf") options.job = FileNameOf(words[i]);
    if (option == "-bls") options.list = FileNameOf(words[i]);
    if (option == "-logfile") options.log = words[i];
    if (option == "-simul") options.simultaneous = ReadCount(option, words[i], 1);
    if (option == "--retries") options.retries = ReadCount(option, words[i], 0);
  }
  if (options.job.empty()) throw BatchFault("-bcf JOB is missing");
  if (options.list.empty()) throw BatchFault("-bls LIST is missing");
  return options;
}

/// Parses a file; what is wrong is told with its name.
template <typename Parsed>
Parsed ReadParsed(const std::string& file) {
  try {
    return Parsed::Parse(kfio::ReadBytes(kfnp_FromNative(file)));
  } catch (const std::exception& error) {
    const std::string text = error.what();
    throw BatchFault(text.find(file) == std::string::npos ? file + ": " + text : text);
  }
}

/// Has a block for each run of a line, in the order in which they end.
class Log {
 public:
  explicit Log(const std::string& name) : name_(name) {
    if (name.empty()) return;
    file_ = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666);
    if (file_ < 0) throw BatchFault(name + ": can't be written: " + std::strerror(errno));
  }
  ~Log() {
    if (file_ >= 0) ::close(file_);
  }
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  void Write(const std::string& text) {
    for (std::size_t done = 0; file_ >= 0 && done < text.size();) {
      const ssize_t count = ::write(file_, text.data() + done, text.size() - done);
      if (count > 0) done += static_cast<std::size_t>(count);
      if (count >= 0 || errno == EINTR) continue;
      Tell(name_ + ": can't be written any more: " + std::strerror(errno));
      ::close(file_);
      file_ = -1;
    }
  }

 private:
  const std::string name_;
  int file_ = -1;
};

/// A title, and the text in lines of its own where there is one.
void AppendSection(std::string& block, const char* title, const std::string& text) {
  if (text.empty()) return;
  block += std::string("--- ") + title + "\n" + text;
  if (text.back() != '\n') block += '\n';
}

std::string BlockOf(const LineEnd& end) {
  char time[32];
  std::snprintf(time, sizeof time, "%.3f s", end.seconds);
  std::string block = "=== line " + std::to_string(end.line->number);
  if (end.attempt > 1) block += ", run " + std::to_string(end.attempt);
  block += ": " + (end.failure.empty() ? "done" : end.failure) + ", " + time + "\n";
  std::string command;
  for (const std::string& word : end.line->words) command += (command.empty() ? "" : " ") + word;
  AppendSection(block, "command", command);
  AppendSection(block, "standard output", end.output);
  AppendSection(block, "standard error", end.errors);
  return block;
}

/// The last lines of what a line wrote, each with a mark before it.
std::string LastLines(const LineEnd& end) {
  std::string_view text = end.errors.empty() ? end.output : end.errors;
  while (!text.empty() && text.back() == '\n') text.remove_suffix(1);
  std::size_t begin = text.size();
  for (std::size_t lines = 0; begin > 0 && lines < kToldLines; ++lines) {
    const std::size_t before = text.rfind('\n', begin - 1);
    if (before == std::string_view::npos) {
      begin = 0;
    } else if (lines + 1 == kToldLines) {
      ++(begin = before);
    } else {
      begin = before;
    }
  }
  std::string told;
  for (const char c : text.substr(begin)) {
    if (told.empty() && c != '\n') told = "\n  | ";
    told += c == '\n' ? "\n  | " : std::string(1, c);
  }
  return told;
}

/// Tells failures as they come and counts them.
class Report {
 public:
  Report(Log& log, unsigned retries) : log_(log), retries_(retries) {}
  void Take(const LineEnd& end) {
    log_.Write(BlockOf(end));
    if (end.failure.empty()) return;
    std::string text = "line " + std::to_string(end.line->number) + ": " + end.failure;
    if (end.isRunAgain) text += "; run again, " + std::to_string(end.attempt) + " of " + std::to_string(retries_);
    Tell(text + LastLines(end));
    if (!end.isRunAgain) failed_.push_back(end.line->number);
  }
  int Conclude(std::size_t count) {
    if (failed_.empty()) return 0;
    std::sort(failed_.begin(), failed_.end());
    std::string numbers;
    for (const std::size_t number : failed_) numbers += (numbers.empty() ? "" : ", ") + std::to_string(number);
    const std::string text =
        std::to_string(failed_.size()) + " of " + std::to_string(count) + " lines failed: " + numbers;
    log_.Write("=== " + text + "\n");
    Tell(text);
    return kLineFailed;
  }

 private:
  Log& log_;
  const unsigned retries_;
  std::vector<std::size_t> failed_;
};

std::vector<CommandLine> LinesToRun(const JobDescription& job, const JobList& list, bool resume, Log& log) {
  const std::size_t input = list.FindColumn(job.GetInputColumn()), output = list.FindColumn(job.GetOutputColumn());
  std::vector<CommandLine> lines;
  lines.reserve(list.lines.size());
  for (std::size_t i = 0; i < list.lines.size(); ++i) {
    const auto& values = list.lines[i];
    CommandLine line{i + 1, {}, {}};
    if (values.size() != list.columns.size()) {
      line.fault =
          "found " + std::to_string(values.size()) + " values, expected " + std::to_string(list.columns.size());
    } else if (resume && IsOutputWhole(values[output], values[input])) {
      log.Write("=== line " + std::to_string(line.number) + ": done before\n");
      continue;
    } else {
      line.words = job.WordsFor(list, values);
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

}  // namespace

int RunBatch(const BatchOptions& options) {
  const bool onSlurm = IsOnSlurm();
  const auto job = ReadParsed<JobDescription>(options.job);
  const auto list = ReadParsed<JobList>(options.list);
  try {
    job.CheckColumns(list);
    if (options.resume && (job.GetInputColumn().empty() || job.GetOutputColumn().empty()))
      throw BatchFault("--resume needs \"input\" and \"output\"");
  } catch (const BatchFault& fault) {
    throw BatchFault(options.job + ": " + fault.what());
  }
  Log log(options.log);
  const auto lines = LinesToRun(job, list, options.resume, log);
  Report report(log, options.retries);
  ExecutorRun run;
  run.simultaneous = options.simultaneous;
  run.retries = options.retries;
  run.ended = [&report](const LineEnd& end) { report.Take(end); };
  run.noted = [&log](const std::string& text) { log.Write("=== " + text + "\n"); };
  run.told = &Tell;
  const int number = onSlurm ? RunOnSlurm(lines, run, ReadSlurmSetup(options)) : RunLocally(lines, run);
  if (number == 0) return report.Conclude(list.lines.size());
  log.Write(std::string("=== stopped: ") + ::strsignal(number) + "\n");
  return 128 + number;
}

int BatchMain(const std::vector<std::string>& words) {
  try {
    // Of the tasks that the manager itself has started on a cluster.
    if (words.size() == 4 && words[0] == "--task")
      return RunSlurmTask(words[1], ReadCount("--task", words[2], 1), words[3]);
    return RunBatch(ReadOptions(words));
  } catch (const std::exception& error) {
    Tell(error.what());
    return kRefused;
  }
}

}  // namespace korven::batch
