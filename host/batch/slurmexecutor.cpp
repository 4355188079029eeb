#include "batch/slurmexecutor.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <list>
#include <random>

#include "batch/joblist.h"
#include "kcommon/filelock.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "linebook.h"
#include "slurmarray.h"

namespace korven::batch {

namespace {

using Seconds = std::chrono::duration<double>;

constexpr unsigned kMostLosses = 3;
constexpr unsigned kMostReleases = 3;
constexpr Seconds kFirstPatience(60), kPatience(600);  ///< with a controller that does not take an array
constexpr Seconds kWholeProbe(5);                      ///< how long the first lines are waited for once one has ended
constexpr Seconds kToldAgain(600);

Clock::time_point After(Seconds time, Clock::time_point begin = Clock::now()) {
  return begin + std::chrono::duration_cast<Clock::duration>(time);
}

std::string LinesText(const std::vector<std::size_t>& lines) {
  const std::string first = std::to_string(lines.front());
  if (lines.size() == 1) return "line " + first;
  return "lines " + first + " to " + std::to_string(lines.back());
}

std::string MakeJobName() {
  std::random_device random;
  char name[32];
  std::snprintf(name, sizeof name, "tessera-%08x%08x", random(), random());
  return name;
}

class SlurmRun {
 public:
  SlurmRun(const std::vector<CommandLine>& lines, const ExecutorRun& run, const SlurmSetup& setup)
      : run_(run), setup_(setup), book_(lines, run), files_(setup.directory), commands_(MakeJobName()) {
    ::sigemptyset(&stops_);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) ::sigaddset(&stops_, number);
    ::sigprocmask(SIG_BLOCK, &stops_, &before_);
    ::signal(SIGCHLD, SIG_DFL);  // ignored, it would take the exit statuses with it
  }
  ~SlurmRun() { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }
  SlurmRun(const SlurmRun&) = delete;
  SlurmRun& operator=(const SlurmRun&) = delete;

  int Run() {
    try {
      if (!book_.Todo().empty()) {
        Prepare();
        SubmitWhereRoom();
      }
      while (book_.CountOpen() > 0) {
        Pause(ScanPause());
        for (SlurmArray& array : arrays_) Scan(array);
        if (Clock::now() >= nextAsk_) Ask();
        arrays_.remove_if([](const SlurmArray& array) { return array.open.empty(); });
        SubmitWhereRoom();
      }
      book_.FailFaulty();
      return 0;
    } catch (const StopSignal& stop) {
      CancelAll();
      return stop.number;
    } catch (...) {
      CancelAll();
      throw;
    }
  }

 private:
  void Note(const std::string& text) const {
    if (run_.noted) run_.noted(text);
  }
  void Tell(const std::string& text) const {
    Note(text);
    if (run_.told) run_.told(text);
  }
  void Pause(Seconds time) const {
    const auto nanoseconds = static_cast<std::int64_t>(std::max(time.count(), 0.0) * 1e9);
    const timespec wait{static_cast<time_t>(nanoseconds / 1'000'000'000),
                        static_cast<long>(nanoseconds % 1'000'000'000)};
    if (const int number = ::sigtimedwait(&stops_, nullptr, &wait); number > 0) throw StopSignal{number};
  }
  Seconds Grace() const { return Seconds(std::clamp(setup_.pause, 0.5, 10.0)); }

  // Before anything runs.

  void Prepare() {
    SlurmCommands::RequirePrograms();
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(setup_.directory).parent_path(), ignored);
    const std::wstring name = kfnp_FromNative(setup_.directory);
    try {
      lock_ = common::FileLock::TryGetExclusiveLock(name);
    } catch (const std::exception& error) {
      throw BatchFault("the run directory " + setup_.directory + " can't be made: " + error.what());
    }
    if (!lock_) {
      throw BatchFault("another batch manager works in " + setup_.directory + ": " +
                       kstr_ToUtf8(common::FileLock::GetHolder(name)));
    }
    Require([this] { return SlurmCommands::ReadLimits(limits_); });
    if (!Attach()) {
      files_.Begin(commands_.GetName(), setup_.program);
      files_.WriteCommands(book_.CommandsOf({}));
    }
    Note("run directory: " + setup_.directory);
  }
  /// Raises BatchFault where the controller does not answer for a while.
  template <typename Asking>
  void Require(Asking asking) const {
    const auto latest = After(kFirstPatience);
    for (double wait = 1;; wait *= 2) {
      const SlurmAnswer answer = asking();
      if (answer.IsGood()) return;
      if (!answer.IsPassing() || Clock::now() + Seconds(wait) > latest)
        throw BatchFault("Slurm does not answer: " + answer.text);
      if (wait == 1) Tell("waiting for Slurm: " + answer.text);
      Pause(Seconds(wait));
    }
  }
  bool IsDone(const QueuedTask& task) const {
    const auto lines = files_.ReadRound(task.round).LinesOf(task.task);
    return std::all_of(lines.begin(), lines.end(), [&](std::size_t line) {
      return ::access(files_.ResultFile(task.round, line).c_str(), F_OK) == 0;
    });
  }
  /// Goes on with the tasks that the cluster has of an earlier run. False where there are none.
  bool Attach() {
    if (!files_.IsThere()) return false;
    const std::string name = files_.ReadJobName();
    const unsigned count = files_.CountRounds();
    std::vector<unsigned> rounds(count);
    for (unsigned i = 0; i < count; ++i) rounds[i] = i + 1;
    const SlurmCommands earlier(name);
    std::vector<QueuedTask> tasks;
    if (count > 0) Require([&] { return earlier.ReadQueue(rounds, false, tasks); });
    // Those that have done all their lines are about to end.
    std::erase_if(tasks, [this](const QueuedTask& task) { return IsDone(task); });
    if (tasks.empty()) return false;
    const std::string found = "the cluster still has " + std::to_string(tasks.size()) + " tasks of an earlier run in " +
                              setup_.directory + " (jobs named " + name + "-1 and so on)";
    if (!setup_.resume) throw BatchFault(found + "; --resume goes on with it");
    const Commands known = files_.ReadCommands();
    std::map<unsigned, std::string> ids;
    for (const QueuedTask& task : tasks) ids[task.round] = task.id.substr(0, task.id.find('_'));
    std::set<std::size_t> free(book_.Todo().begin(), book_.Todo().end());
    // A line that was run again is in several rounds: the last one counts.
    for (auto entry = ids.rbegin(); entry != ids.rend(); ++entry) {
      SlurmArray array(files_.ReadRound(entry->first), entry->second, run_.simultaneous, free);
      for (const std::size_t line : array.open) {
        if (line >= known.size() || known[line] != book_.LineOf(line).words)
          throw BatchFault(found + ", with another command in line " + std::to_string(line));
        free.erase(line);
      }
      Note("array " + array.id + " of an earlier run goes on, with " + std::to_string(array.open.size()) + " lines");
      arrays_.push_back(std::move(array));
    }
    book_.Todo().assign(free.begin(), free.end());
    commands_.Become(name);
    lastRound_ = count;
    files_.WriteCommands(book_.CommandsOf(known));
    lastChange_ = Clock::now();
    return true;
  }

  // Results.

  /// Short at first, then in proportion to what there was to wait, so that a folder with thousands of files is not read
  /// all the time.
  Seconds ScanPause() const {
    const Seconds quiet = Clock::now() - lastChange_;
    return std::max(std::clamp(quiet / 10, Seconds(0.02), Seconds(std::clamp(setup_.pause / 5, 0.02, 2.0))),
                    10 * scanCost_);
  }
  void Scan(SlurmArray& array) {
    const auto begin = Clock::now();
    std::vector<std::size_t> lines = files_.ListResults(array.round.number);
    std::sort(lines.begin(), lines.end());
    scanCost_ = Clock::now() - begin;
    for (const std::size_t line : lines) {
      LineResult result;
      if (array.open.contains(line) && files_.ReadResult(array.round.number, line, result)) Take(array, result);
    }
  }
  void Take(SlurmArray& array, const LineResult& result) {
    lastChange_ = Clock::now();
    if (measured_++ == 0) firstResult_ = lastChange_;
    measuredSeconds_ += result.seconds;
    goodNodes_.insert(result.node);
    array.Close(result.line);
    book_.Finish(result, true);
  }

  // The queue.

  void Ask() {
    askPause_ = std::min(askPause_ * 1.5, Seconds(std::max(setup_.pause, 0.1)));
    nextAsk_ = After(askPause_);
    std::vector<unsigned> rounds;
    for (const SlurmArray& array : arrays_) {
      if (!array.open.empty()) rounds.push_back(array.round.number);
    }
    if (rounds.empty()) return;
    std::vector<QueuedTask> tasks;
    const SlurmAnswer answer = commands_.ReadQueue(rounds, false, tasks);
    if (answer.IsGood() == isSilent_) {
      isSilent_ = !isSilent_;
      Tell(isSilent_ ? "waiting for Slurm, while the tasks run on: " + answer.text : "Slurm answers again");
    }
    if (!answer.IsGood()) return;
    QueueFacts facts;
    for (SlurmArray& array : arrays_) Compare(array, tasks, facts);
    TellWaiting(facts);
  }
  void Compare(SlurmArray& array, const std::vector<QueuedTask>& tasks, QueueFacts& facts) {
    std::map<std::size_t, const QueuedTask*> queued;
    for (const QueuedTask& task : tasks) {
      if (task.round == array.round.number) queued[task.task] = &task;
    }
    std::vector<std::size_t> lost;
    for (const auto& [task, lines] : array.openLines) {
      const auto entry = queued.find(task);
      if (entry == queued.end()) {
        const auto since = array.gone.try_emplace(task, Clock::now()).first->second;
        // It is looked for again before long.
        nextAsk_ = std::min(nextAsk_, After(Grace(), since));
        if (Clock::now() - since >= Grace()) lost.push_back(task);
        continue;
      }
      array.gone.erase(task);
      if (entry->second->state != "PENDING") {
        ++facts.running;
        continue;
      }
      // A task that was just handed in has no reason yet.
      if (entry->second->reason != "None") ++facts.reasons[entry->second->reason];
      if (IsHeldAfterRequeue(entry->second->reason) && array.releases[task]++ < kMostReleases) {
        Note("releasing task " + entry->second->id + ": " + entry->second->reason);
        SlurmCommands::Release(entry->second->id);
      }
    }
    if (!lost.empty()) Lose(array, lost);
  }
  /// Tasks that the cluster no longer has, though lines of them have no result.
  void Lose(SlurmArray& array, const std::vector<std::size_t>& tasks) {
    files_.Refresh(array.round.number);
    Scan(array);
    std::vector<QueuedTask> ended;
    if (!commands_.ReadQueue({array.round.number}, true, ended).IsGood()) return;
    for (const std::size_t task : tasks) {
      array.gone.erase(task);
      if (!array.openLines.contains(task)) continue;
      const auto facts =
          std::find_if(ended.begin(), ended.end(), [task](const QueuedTask& known) { return known.task == task; });
      LoseTask(array, task, facts == ended.end() ? nullptr : &*facts);
    }
  }
  void LoseTask(SlurmArray& array, std::size_t task, const QueuedTask* facts) {
    const std::string end = DescribeEnd(facts), state = facts ? facts->state : std::string();
    const auto lines = array.OpenLinesOf(task);
    const TaskLog log = ReadTaskLog(array.round.number, task);
    Note(LinesText(lines) + ": the task ended without a result: " + end);
    if (!log.exists && state == "FAILED") {
      if (!facts->node.empty()) badNodes_.insert(facts->node);
      if (!isHinted_)
        Tell("a task wrote nothing into " + setup_.directory + " (" + end + "): do the nodes share its file system?");
      isHinted_ = true;
    }
    const bool isBegun = std::find(lines.begin(), lines.end(), log.begun) != lines.end();
    for (const std::size_t line : lines) {
      array.Close(line);
      const bool isConcerned = !isBegun || line == log.begun;
      LineResult result{line, {}, 0, facts ? facts->node : std::string(), {}, isConcerned ? log.said : std::string()};
      // What ended by the time of a whole block has not had that time for itself.
      const bool isVerdict = state == "OUT_OF_MEMORY" || (state == "TIMEOUT" && array.round.LinesOf(task)[0] == line);
      if (state == "CANCELLED") {
        result.failure = "cancelled on the cluster";
        book_.Finish(result, false);
      } else if (isBegun && isConcerned && isVerdict) {
        result.failure = "its task was ended: " + end;
        book_.Finish(result, true);
      } else if (isConcerned && book_.NoteLoss(line) >= kMostLosses) {
        result.failure = std::to_string(kMostLosses) + " tasks ended without a result; the last: " + end;
        book_.Finish(result, true);
      } else {
        book_.Todo().push_back(line);
      }
    }
  }
  TaskLog ReadTaskLog(unsigned round, std::size_t task) const {
    try {
      return ParseTaskLog(kfio::ReadBytes(kfnp_FromNative(files_.TaskLog(round, task))));
    } catch (const std::exception&) {
      return {};
    }
  }
  /// Nothing is to look like a run that hangs.
  void TellWaiting(const QueueFacts& facts) {
    const auto now = Clock::now();
    if (facts.running > 0 || facts.reasons.empty()) {
      waitsSince_ = now;
      toldWaiting_.clear();
      return;
    }
    if (waitsSince_ == Clock::time_point()) waitsSince_ = now;
    const Seconds waited = now - std::max(waitsSince_, lastChange_);
    const Seconds patience(std::clamp(setup_.pause, 3.0, 10.0));
    if (waited < patience) return;
    const std::string text = facts.Text();
    if (text != toldWaiting_ || now - toldAt_ > kToldAgain) {
      Tell("no task runs; Slurm says why they wait: " + text);
      toldWaiting_ = text;
      toldAt_ = now;
    }
    if (!facts.IsHopeless() || waited < 2 * patience) return;
    for (SlurmArray& array : arrays_) {
      SlurmCommands::Cancel("--name=" + commands_.NameOf(array.round.number));
      for (const std::size_t line : std::set<std::size_t>(array.open)) {
        array.Close(line);
        book_.Finish({line, "never started: " + text, 0, {}, {}, {}}, false);
      }
    }
  }

  // Arrays.

  double MeanSeconds() const { return measured_ == 0 ? -1 : measuredSeconds_ / static_cast<double>(measured_); }
  /// Until they tell what a line takes, no more lines run than are run at a time.
  bool IsProbing() const {
    if (setup_.linesPerTask != 0) return false;
    const bool isWaiting = std::any_of(arrays_.begin(), arrays_.end(), [](const auto& a) { return !a.open.empty(); });
    return measured_ == 0 || (isWaiting && !isProbed_ && Clock::now() - firstResult_ < kWholeProbe);
  }
  void SubmitWhereRoom() {
    const std::size_t most = std::max(run_.simultaneous, 1u);
    std::size_t used = 0;
    for (const SlurmArray& array : arrays_) used += array.CountSlots();
    if (used >= most) return;
    if (book_.Todo().empty()) {
      RaiseThrottle(most - used);
      return;
    }
    const bool isProbing = IsProbing();
    // Lines that fail one by one do not make an array each.
    if ((isProbing && !arrays_.empty()) || Clock::now() - lastSubmission_ < (isProbed_ ? Seconds(1) : Seconds(0)))
      return;
    if (!isProbing) isProbed_ = true;
    std::vector<std::size_t> lines(book_.Todo().begin(), book_.Todo().end());
    if (isProbing) lines.resize(std::min(lines.size(), most - used));
    const std::size_t block =
        ChooseBlock({lines.size(), most, limits_.arraySize, setup_.linesPerTask, isProbing ? -1 : MeanSeconds()});
    Submit(lines, block, most - used);
  }
  /// Gives an array the room that others have left.
  void RaiseThrottle(std::size_t room) {
    for (SlurmArray& array : arrays_) {
      if (array.CountOpenTasks() <= array.throttle) continue;
      if (!SlurmCommands::SetThrottle(array.id, array.throttle + room).IsGood()) return;
      array.throttle += room;
      return;
    }
  }
  std::vector<std::string> SubmissionOf(const Round& round, std::size_t throttle) const {
    std::vector<std::string> words = {
        "--requeue",          "--open-mode=append",
        "--output=/dev/null", "--chdir=/",
        "--ntasks=1",         "--array=0-" + std::to_string(round.CountTasks() - 1) + "%" + std::to_string(throttle)};
    std::string excluded;
    for (const std::string& node : badNodes_) {
      if (!goodNodes_.contains(node)) excluded += (excluded.empty() ? "" : ",") + node;
    }
    if (!excluded.empty() && !goodNodes_.empty()) words.push_back("--exclude=" + excluded);
    words.insert(words.end(), setup_.options.begin(), setup_.options.end());
    words.insert(words.end(), {files_.Script(), files_.Path(), std::to_string(round.number), commands_.GetName()});
    return words;
  }
  void Submit(const std::vector<std::size_t>& lines, std::size_t block, std::size_t throttle) {
    const bool isFirst = lastRound_ == 0;
    const Round round{++lastRound_, block, lines};
    files_.WriteRound(round);
    const auto words = SubmissionOf(round, throttle);
    const auto latest = After(isFirst ? kFirstPatience : kPatience);
    submitting_ = round.number;
    SlurmAnswer answer;
    for (double wait = 1;; wait = std::min(wait * 2, 30.0)) {
      answer =
          commands_.Submit(round.number, words, [this](const std::string& said) { Tell("sbatch waits: " + said); });
      if (answer.IsGood()) break;
      // What was said to have failed may have been taken all the same.
      std::vector<QueuedTask> tasks;
      if (answer.IsPassing() && commands_.ReadQueue({round.number}, false, tasks).IsGood() && !tasks.empty()) {
        answer = {0, tasks[0].id.substr(0, tasks[0].id.find('_'))};
        break;
      }
      if (!answer.IsPassing() || Clock::now() > latest) break;
      if (wait == 1) Tell("waiting for Slurm to take an array: " + answer.text);
      Pause(Seconds(wait));
    }
    submitting_ = 0;
    lastSubmission_ = lastChange_ = Clock::now();
    if (!answer.IsGood() && isFirst) throw BatchFault("sbatch does not take the array: " + answer.text);
    auto& todo = book_.Todo();
    todo.erase(todo.begin(), todo.begin() + static_cast<std::ptrdiff_t>(lines.size()));
    if (!answer.IsGood()) {
      for (const std::size_t line : lines)
        book_.Finish({line, "sbatch does not take it: " + answer.text, 0, {}, {}, {}}, false);
      return;
    }
    Note("array " + answer.text + ": " + std::to_string(lines.size()) + " lines in " +
         std::to_string(round.CountTasks()) + " tasks, " + std::to_string(throttle) + " at a time");
    arrays_.emplace_back(round, answer.text, throttle, std::set<std::size_t>(lines.begin(), lines.end()));
    askPause_ = Seconds(std::clamp(setup_.pause, 0.1, 1.0));
    nextAsk_ = After(askPause_);
  }

  /// A further signal ends the waiting.
  void CancelAll() noexcept {
    try {
      std::vector<unsigned> rounds;
      if (submitting_ != 0) rounds.push_back(submitting_);
      for (const SlurmArray& array : arrays_) rounds.push_back(array.round.number);
      if (rounds.empty()) return;
      bool isGood = true;
      for (const unsigned round : rounds)
        isGood = SlurmCommands::Cancel("--name=" + commands_.NameOf(round)).IsGood() && isGood;
      std::vector<QueuedTask> tasks;
      const auto latest = Clock::now() + std::chrono::seconds(limits_.killWait + 5);
      for (double wait = 0.05; isGood && Clock::now() < latest; wait = std::min(wait * 2, 2.0)) {
        if (commands_.ReadQueue(rounds, false, tasks).IsGood() && tasks.empty()) return;
        Pause(Seconds(wait));
      }
      for (const unsigned round : rounds)
        Tell("the cluster may still have tasks; \"scancel --name=" + commands_.NameOf(round) + "\" ends them");
    } catch (const StopSignal&) {
    } catch (const std::exception& error) {
      std::fprintf(stderr, "batchprocess: %s\n", error.what());
    }
  }

  const ExecutorRun& run_;
  const SlurmSetup& setup_;
  LineBook book_;
  RunDirectory files_;
  SlurmCommands commands_;
  SlurmLimits limits_;
  boost::shared_ptr<common::FileLock::UniqueLock> lock_;
  sigset_t stops_{}, before_{};
  std::list<SlurmArray> arrays_;
  unsigned lastRound_ = 0, submitting_ = 0;
  std::size_t measured_ = 0;
  double measuredSeconds_ = 0;
  bool isProbed_ = false, isSilent_ = false, isHinted_ = false;
  std::set<std::string> goodNodes_, badNodes_;
  Seconds askPause_{1}, scanCost_{0};
  Clock::time_point nextAsk_, lastChange_, firstResult_, lastSubmission_, waitsSince_, toldAt_;
  std::string toldWaiting_;
};

}  // namespace

int RunOnSlurm(const std::vector<CommandLine>& lines, const ExecutorRun& run, const SlurmSetup& setup) {
  return SlurmRun(lines, run, setup).Run();
}

}  // namespace korven::batch
