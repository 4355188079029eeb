#include "slurmarray.h"

#include <algorithm>
#include <cstdlib>

namespace korven::batch {

namespace {

constexpr double kTaskSeconds = 30;     ///< below that starting the task is what takes the time
constexpr double kLeastSeconds = 1e-3;  ///< nothing is started in less

std::size_t DivideUp(std::size_t number, std::size_t by) { return (number + by - 1) / by; }

}  // namespace

std::size_t ChooseBlock(const BlockFacts& facts) {
  std::size_t block = facts.wished;
  if (block == 0 && facts.seconds >= 0) {
    const auto fitting = static_cast<std::size_t>(kTaskSeconds / std::max(facts.seconds, kLeastSeconds));
    block = std::min(fitting, DivideUp(facts.lines, facts.simultaneous));
  }
  return std::max({block, DivideUp(facts.lines, facts.arraySize), std::size_t{1}});
}

SlurmArray::SlurmArray(Round asked, std::string number, std::size_t atATime, const std::set<std::size_t>& lines)
    : round(std::move(asked)), id(std::move(number)), throttle(atATime) {
  for (std::size_t i = 0; i < round.lines.size(); ++i) {
    if (!lines.contains(round.lines[i])) continue;
    open.insert(round.lines[i]);
    taskOf[round.lines[i]] = i / round.block;
    ++openLines[i / round.block];
  }
}

std::size_t SlurmArray::CountSlots() const { return std::min(throttle, CountOpenTasks()); }

std::vector<std::size_t> SlurmArray::OpenLinesOf(std::size_t task) const {
  std::vector<std::size_t> lines;
  for (const std::size_t line : round.LinesOf(task)) {
    if (open.contains(line)) lines.push_back(line);
  }
  return lines;
}

void SlurmArray::Close(std::size_t line) {
  if (open.erase(line) == 0) return;
  const auto task = openLines.find(TaskOf(line));
  if (--task->second == 0) openLines.erase(task);
}

bool QueueFacts::IsHopeless() const {
  static const std::set<std::string> kForEver = {"PartitionConfig", "PartitionNodeLimit",       "PartitionTimeLimit",
                                                 "BadConstraints",  "DependencyNeverSatisfied", "InvalidAccount",
                                                 "InvalidQOS",      "AccountNotAllowed",        "QOSNotAllowed"};
  return running == 0 && !reasons.empty() &&
         std::all_of(reasons.begin(), reasons.end(), [](const auto& entry) { return kForEver.contains(entry.first); });
}

std::string QueueFacts::Text() const {
  std::string text;
  for (const auto& [reason, count] : reasons)
    text += (text.empty() ? "" : ", ") + reason + " (" + std::to_string(count) + (count == 1 ? " task)" : " tasks)");
  return text;
}

bool IsHeldAfterRequeue(const std::string& reason) {
  return reason.find("requeued") != std::string::npos && reason.find("held") != std::string::npos;
}

std::string DescribeEnd(const QueuedTask* task) {
  if (!task) return "the controller does not know it";
  std::string text = task->state;
  if (!task->reason.empty() && task->reason != "None") text += " (" + task->reason + ")";
  if (!task->node.empty()) text += " on " + task->node;
  return text;
}

TaskLog ParseTaskLog(const std::string& text) {
  constexpr std::size_t kMost = 2000;
  TaskLog log;
  log.exists = true;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const std::string line = text.substr(begin, end - begin);
    begin = end + 1;
    const std::size_t mark = line.find(": line ");
    const std::string number = mark == std::string::npos ? std::string() : line.substr(mark + 7);
    if (!number.empty() && number.find_first_not_of("0123456789") == std::string::npos) {
      log.begun = std::strtoul(number.c_str(), nullptr, 10);
    } else {
      log.said += line + "\n";
    }
  }
  if (log.said.size() > kMost) log.said.erase(0, log.said.size() - kMost);
  return log;
}

}  // namespace korven::batch
