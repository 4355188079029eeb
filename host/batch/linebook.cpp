#include "linebook.h"

namespace korven::batch {

LineBook::LineBook(const std::vector<CommandLine>& lines, const ExecutorRun& run) : run_(run) {
  for (const CommandLine& line : lines) {
    states_[line.number] = {&line};
    if (line.fault.empty()) todo_.push_back(line.number);
  }
  open_ = todo_.size();
}

Commands LineBook::CommandsOf(Commands commands) const {
  for (const auto& [number, state] : states_) {
    if (commands.size() <= number) commands.resize(number + 1);
    if (state.line->fault.empty()) commands[number] = state.line->words;
  }
  return commands;
}

void LineBook::Finish(const LineResult& result, bool mayRunAgain) {
  State& state = states_.at(result.line);
  const bool isRunAgain = !result.failure.empty() && mayRunAgain && state.attempt <= run_.retries;
  if (run_.ended)
    run_.ended({state.line, state.attempt, isRunAgain, result.failure, result.seconds, result.output, result.errors});
  if (!isRunAgain) {
    if (state.line->fault.empty()) --open_;
    return;
  }
  ++state.attempt;
  state.losses = 0;
  todo_.push_back(result.line);
}

void LineBook::FailFaulty() {
  for (const auto& [number, state] : states_) {
    if (!state.line->fault.empty()) Finish({number, state.line->fault, 0, {}, {}, {}}, false);
  }
}

}  // namespace korven::batch
