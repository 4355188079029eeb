#include "batch/localexecutor.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <system_error>

#include "kcommon/kprc.h"
#include "programpath.h"

namespace korven::batch {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kPatience = std::chrono::seconds(3);
constexpr off_t kMostBytes = 16 << 20;

/// A file without a name that a line writes into, used for one line after the other.
class Sink {
 public:
  Sink() {
    const char* const folder = std::getenv("TMPDIR");
    file_ = ::open(folder && *folder ? folder : "/tmp", O_TMPFILE | O_RDWR | O_APPEND | O_CLOEXEC, 0600);
    if (file_ < 0) file_ = ::memfd_create("line", MFD_CLOEXEC);
    if (file_ < 0) throw std::system_error(errno, std::generic_category(), "a file for what a line writes");
  }
  ~Sink() { ::close(file_); }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;
  int File() const { return file_; }
  /// What was written, which is then gone from it; the end of it alone where it is more than a log should hold.
  std::string Take() {
    struct stat facts {};
    if (::fstat(file_, &facts) != 0 || facts.st_size == 0) return {};
    const off_t begin = std::max<off_t>(facts.st_size - kMostBytes, 0);
    std::string bytes(static_cast<std::size_t>(facts.st_size - begin), '\0');
    std::size_t done = 0;
    for (ssize_t count = 1; done < bytes.size() && count > 0; done += static_cast<std::size_t>(count)) {
      const off_t place = begin + static_cast<off_t>(done);
      count = std::max<ssize_t>(::pread(file_, bytes.data() + done, bytes.size() - done, place), 0);
    }
    bytes.resize(done);
    if (begin > 0) bytes.insert(0, "(the first " + std::to_string(begin) + " bytes are left out)\n");
    if (::ftruncate(file_, 0) == 0) ::lseek(file_, 0, SEEK_SET);
    return bytes;
  }

 private:
  int file_ = -1;
};

struct Task {
  const CommandLine* line;
  unsigned attempt;
};

/// A place for one running line.
struct Slot {
  pid_t process = 0;  ///< 0: free
  Task task{};
  Clock::time_point begin;
  Sink output, errors;
};

std::string FailureOf(int status) {
  if (WIFSIGNALED(status)) {
    const int number = WTERMSIG(status);
    return "signal " + std::to_string(number) + " (" + ::strsignal(number) + ")";
  }
  return WEXITSTATUS(status) == 0 ? std::string() : "exit status " + std::to_string(WEXITSTATUS(status));
}

/// A name without a folder that PATH doesn't know is that of a file right here, or told as missing.
std::string ProgramOf(const std::string& word) {
  const std::string found = word.empty() || word.find('/') != std::string::npos ? std::string() : FindAlongPath(word);
  return found.empty() ? word : found;
}

class Executor {
 public:
  Executor(const std::vector<CommandLine>& lines, const ExecutorRun& run) : lines_(lines), run_(run) {
    ::sigemptyset(&signals_);
    for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP}) ::sigaddset(&signals_, number);
    ::sigprocmask(SIG_BLOCK, &signals_, &before_);
    ::signal(SIGCHLD, SIG_DFL);  // ignored, it would take the exit statuses with it
    for (std::size_t i = 0; i < std::min<std::size_t>(std::max(run.simultaneous, 1u), lines.size()); ++i)
      slots_.push_back(std::make_unique<Slot>());
  }
  ~Executor() { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }
  Executor(const Executor&) = delete;
  Executor& operator=(const Executor&) = delete;

  int Run() {
    Fill();
    while (running_ > 0) {
      const int number = ::sigwaitinfo(&signals_, nullptr);
      if (number == SIGCHLD) {
        Reap();
        Fill();
      } else if (number > 0) {
        EndAll();
        return number;
      }
    }
    return 0;
  }

 private:
  bool NextTask(Task& task) {
    if (!again_.empty()) {
      task = again_.front();
      again_.pop_front();
      return true;
    }
    if (next_ == lines_.size()) return false;
    task = {&lines_[next_++], 1};
    return true;
  }
  void Fill() {
    for (const auto& slot : slots_) {
      Task task{};
      while (slot->process == 0 && NextTask(task)) Start(*slot, task);
    }
  }
  void Start(Slot& slot, const Task& task) {
    slot.task = task;
    slot.begin = Clock::now();
    if (!task.line->fault.empty()) {
      Finish(slot, task.line->fault, false);
      return;
    }
    const auto& words = task.line->words;
    Kprc_StartRequest request{ProgramOf(words.front()), {words.begin() + 1, words.end()}};
    request.output = slot.output.File();
    request.errors = slot.errors.File();
    request.signalAtEnd = SIGKILL;
    try {
      slot.process = kprc_ProcessStart(request);
      ++running_;
      if (run_.begun) run_.begun(*task.line);
    } catch (const std::system_error& error) {
      Finish(slot, error.what(), true);
    }
  }
  void Finish(Slot& slot, const std::string& failure, bool mayRunAgain) {
    LineEnd end{slot.task.line, slot.task.attempt, false, failure, 0, slot.output.Take(), slot.errors.Take()};
    end.seconds = std::chrono::duration<double>(Clock::now() - slot.begin).count();
    end.isRunAgain = !failure.empty() && mayRunAgain && slot.task.attempt <= run_.retries;
    if (end.isRunAgain) again_.push_back({slot.task.line, slot.task.attempt + 1});
    if (run_.ended) run_.ended(end);
  }
  void Reap() {
    for (siginfo_t info{}; ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0; info = {}) {
      // What the line has left running goes with it, while the group can be no other's.
      ::kill(-info.si_pid, SIGKILL);
      int status = 0;
      ::waitpid(info.si_pid, &status, 0);
      for (const auto& slot : slots_) {
        if (slot->process != info.si_pid) continue;
        slot->process = 0;
        --running_;
        if (!ending_) Finish(*slot, FailureOf(status), true);
      }
    }
  }
  void SignalAll(int number) {
    for (const auto& slot : slots_) {
      if (slot->process != 0) ::kill(-slot->process, number);
    }
  }
  void EndAll() {
    ending_ = true;
    SignalAll(SIGTERM);
    const auto latest = Clock::now() + kPatience;
    sigset_t child;
    ::sigemptyset(&child);
    ::sigaddset(&child, SIGCHLD);
    for (Reap(); running_ > 0; Reap()) {
      const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(latest - Clock::now()).count();
      if (left <= 0) SignalAll(SIGKILL);
      const auto wait = std::max<std::int64_t>(left, 10'000'000);
      const timespec time{static_cast<time_t>(wait / 1'000'000'000), static_cast<long>(wait % 1'000'000'000)};
      ::sigtimedwait(&child, nullptr, &time);
    }
  }

  const std::vector<CommandLine>& lines_;
  const ExecutorRun& run_;
  sigset_t signals_{}, before_{};
  std::vector<std::unique_ptr<Slot>> slots_;
  std::deque<Task> again_;
  std::size_t next_ = 0;
  std::size_t running_ = 0;
  bool ending_ = false;
};

}  // namespace

int RunLocally(const std::vector<CommandLine>& lines, const ExecutorRun& run) { return Executor(lines, run).Run(); }

}  // namespace korven::batch
