#include "batch/commandshell.h"
#include "common/programfacts.h"

namespace {

ProgramPages::ProgramFacts GetFacts() {
  ProgramPages::ProgramFacts facts;
  facts.name = "comspec";
  facts.summary = "run a line of commands";
  facts.text =
      "Runs the commands of a line one after the other, as long as they succeed. Programs that hand a line to the "
      "system's command shell find it by the environment variable ComSpec. Commands are joined by &&. \"set "
      "NAME=VALUE\" sets an environment variable for those that follow, and without a VALUE removes it; any other is a "
      "program with its words. Double quotes keep a word together, two of them within are one; backslashes in a "
      "program's name are separators.";
  facts.version = "comspec " TESSERA_VERSION;
  facts.options = {
      {.names = {"/C"}, .value = "LINE", .choices = {}, .text = "The line, in double quotes", .isRequired = true}};
  for (auto& option : ProgramPages::PageOptions())
    if (option.value.empty()) facts.options.push_back(std::move(option));
  facts.exitStatuses = {{"0 to 255", "That of the last command that ran"},
                        {"2", "The line can't be read; nothing has run"},
                        {"126", "A program can't be run"},
                        {"127", "A program is not found"}};
  return facts;
}

}  // namespace

int main(int count, char** words) {
  const std::vector<std::string> call{words + (count > 0 ? 1 : 0), words + count};
  // A line may hold these words as well.
  if (call.size() == 1 && call[0] != "--completion")
    if (const auto status = ProgramPages::PrintPage(GetFacts(), call)) return *status;
  return korven::batch::ShellMain(call);
}
