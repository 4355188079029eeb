#include "slurmcommands.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>

#include "batch/joblist.h"
#include "kcommon/kprc.h"
#include "programpath.h"

namespace korven::batch {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kLongestCall = std::chrono::seconds(100);
constexpr auto kQuietSubmission = std::chrono::seconds(5);

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(separator), text.size());
    parts.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

struct Endless {};

/// `watch` is called several times a second with what the command has said by then.
SlurmAnswer Call(const std::string& name, const std::vector<std::string>& words, std::chrono::seconds longest,
                 const std::function<void(const std::string&)>& watch = {}) {
  SlurmAnswer answer;
  Kprc_CaptureRequest request;
  request.program = FindAlongPath(name);
  request.arguments = words;
  const auto latest = Clock::now() + longest;
  request.check = [&] {
    SlurmCommands::CheckSignals();
    if (watch) watch(answer.text);
    if (Clock::now() > latest) throw Endless();
  };
  try {
    answer.status = kprc_ProcessCapture(request, answer.text);
  } catch (const Endless&) {
    answer.status = 1;
    answer.text += name + ": socket timed out: no answer within " + std::to_string(longest.count()) + " s";
  } catch (const std::system_error& error) {
    answer.status = 127;
    answer.text = name + ": " + error.what();
  }
  while (!answer.text.empty() && answer.text.back() == '\n') answer.text.pop_back();
  return answer;
}

bool IsDigits(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// NAME = VALUE of a configuration.
std::string EntryOf(const std::string& text, const std::string& name) {
  for (const std::string& line : Split(text, '\n')) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos || line.compare(0, name.size() + 1, name + " ") != 0) continue;
    const std::size_t begin = line.find_first_not_of(' ', equals + 1);
    return begin == std::string::npos ? std::string() : line.substr(begin);
  }
  return {};
}

}  // namespace

bool SlurmAnswer::IsPassing() const {
  std::string lower = text;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; });
  constexpr const char* kPassing[] = {"unable to contact slurm controller",
                                      "socket timed out",
                                      "connection refused",
                                      "communication connection failure",
                                      "temporarily unable",
                                      "resource temporarily unavailable",
                                      "zero bytes were transmitted",
                                      "slurm backup controller in standby"};
  return !IsGood() && std::any_of(std::begin(kPassing), std::end(kPassing),
                                  [&lower](const char* known) { return lower.find(known) != std::string::npos; });
}

void SlurmCommands::CheckSignals() {
  sigset_t stops;
  ::sigemptyset(&stops);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) ::sigaddset(&stops, number);
  constexpr timespec kNow{0, 0};
  if (const int number = ::sigtimedwait(&stops, nullptr, &kNow); number > 0) throw StopSignal{number};
}

void SlurmCommands::RequirePrograms() {
  for (const char* const name : {"sbatch", "squeue", "scancel", "scontrol"}) {
    if (FindAlongPath(name).empty())
      throw BatchFault(std::string("found no program ") + name +
                       " along PATH; the preference batch/executor says slurm, which takes the commands of Slurm");
  }
}

SlurmAnswer SlurmCommands::ReadLimits(SlurmLimits& limits) {
  SlurmAnswer answer = Call("scontrol", {"show", "config"}, kLongestCall);
  if (!answer.IsGood()) return answer;
  if (const std::string text = EntryOf(answer.text, "MaxArraySize"); IsDigits(text))
    limits.arraySize = std::strtoul(text.c_str(), nullptr, 10);
  if (const std::string text = EntryOf(answer.text, "KillWait"); !text.empty())
    limits.killWait = static_cast<unsigned>(std::strtoul(text.c_str(), nullptr, 10));
  for (const std::string& entry : Split(EntryOf(answer.text, "SchedulerParameters"), ',')) {
    constexpr std::string_view kTasks = "max_array_tasks=";
    if (entry.compare(0, kTasks.size(), kTasks) != 0) continue;
    limits.arraySize =
        std::min<std::size_t>(limits.arraySize, std::strtoul(entry.c_str() + kTasks.size(), nullptr, 10));
  }
  limits.arraySize = std::max<std::size_t>(limits.arraySize, 1);
  return answer;
}

SlurmAnswer SlurmCommands::Submit(unsigned round, const std::vector<std::string>& words,
                                  const std::function<void(const std::string&)>& waits) const {
  std::vector<std::string> all = {"--parsable", "--job-name=" + NameOf(round)};
  all.insert(all.end(), words.begin(), words.end());
  const auto begin = Clock::now();
  bool isTold = false;
  // A controller that has no room makes it wait, for hours if need be.
  SlurmAnswer answer = Call("sbatch", all, std::chrono::hours(24 * 365), [&](const std::string& said) {
    if (isTold || Clock::now() - begin < kQuietSubmission) return;
    isTold = true;
    waits(said.empty() ? "sbatch does not answer" : said);
  });
  if (!answer.IsGood()) return answer;
  for (const std::string& line : Split(answer.text, '\n')) {
    const std::string id = line.substr(0, line.find(';'));
    if (!IsDigits(id)) continue;
    answer.text = id;
    return answer;
  }
  answer.status = 1;
  return answer;
}

SlurmAnswer SlurmCommands::ReadQueue(const std::vector<unsigned>& rounds, bool ended,
                                     std::vector<QueuedTask>& tasks) const {
  tasks.clear();
  std::string names;
  for (const unsigned round : rounds) names += (names.empty() ? "" : ",") + NameOf(round);
  std::vector<std::string> words = {"-h", "-r", "-n", names, "-o", "%j|%i|%K|%T|%r|%N"};
  if (ended) words.insert(words.end(), {"-t", "all"});
  SlurmAnswer answer = Call("squeue", words, kLongestCall);
  if (!answer.IsGood()) return answer;
  for (const std::string& line : Split(answer.text, '\n')) {
    auto fields = Split(line, '|');
    if (fields.size() < 5 || fields[0].compare(0, jobName_.size() + 1, jobName_ + "-") != 0) continue;
    fields.resize(6);
    QueuedTask task{fields[1], 0, std::strtoul(fields[2].c_str(), nullptr, 10), fields[3], fields[4], fields[5]};
    task.round = static_cast<unsigned>(std::strtoul(fields[0].c_str() + jobName_.size() + 1, nullptr, 10));
    tasks.push_back(std::move(task));
  }
  return answer;
}

SlurmAnswer SlurmCommands::Cancel(const std::string& id) { return Call("scancel", {id}, std::chrono::seconds(10)); }

SlurmAnswer SlurmCommands::Release(const std::string& id) {
  return Call("scontrol", {"release", id}, std::chrono::seconds(10));
}

SlurmAnswer SlurmCommands::SetThrottle(const std::string& id, std::size_t throttle) {
  return Call("scontrol", {"update", "JobId=" + id, "ArrayTaskThrottle=" + std::to_string(throttle)},
              std::chrono::seconds(10));
}

}  // namespace korven::batch
