#include <signal.h>

#include <cstdio>
#include <exception>

#include "batch/batchmanager.h"
#include "common/programfacts.h"
#include "jsonlib/preferences.h"
#include "kcommon/installation.h"

namespace {

ProgramPages::ProgramFacts GetFacts() {
  ProgramPages::ProgramFacts facts;
  facts.name = "batchprocess.exe";
  facts.summary = "run a command for each line of a list";
  facts.text =
      "Runs a job's command for each line of a list, on this machine or on a cluster. Models that iterate in processes "
      "of their own start it.";
  facts.version = "batchprocess.exe " TESSERA_VERSION;
  facts.options = {
      {.names = {"-bcf"},
       .value = "JOB",
       .choices = {},
       .text = "Job description: {\"command\": [WORD, ...], \"input\": COLUMN, \"output\": COLUMN}",
       .isRequired = true},
      {.names = {"-bls"},
       .value = "LIST",
       .choices = {},
       .text = "A line with the names of the columns, then one line a run; values separated by tabs",
       .isRequired = true},
      {.names = {"-simul"}, .value = "N", .choices = {}, .text = "Lines at a time (1)"},
      {.names = {"-logfile"}, .value = "LOG", .choices = {}, .text = "What each line wrote, and how it ended"},
      {.names = {"--retries"}, .value = "K", .choices = {}, .text = "Run a line that failed again, up to K times (0)"},
      {.names = {"--resume"},
       .value = {},
       .choices = {},
       .text = "Pass over lines whose output is whole and newer than their input"}};
  for (auto& option : ProgramPages::PageOptions()) facts.options.push_back(std::move(option));
  facts.exitStatuses = {{"0", "Each line succeeded"},
                        {"1", "A line failed; standard error names it"},
                        {"2", "The call, the job or the list is wrong; nothing has run"},
                        {"129, 130, 143", "Stopped by SIGHUP, SIGINT or SIGTERM"}};
  facts.variables = {
      {"VANTIX_HOME", "Root of the installation; found from the program's own place where it isn't set"},
      {"XDG_CONFIG_HOME",
       "The user's preferences are in tessera/preferences.json below it; ~/.config where it isn't set. The preference "
       "batch/executor says where the lines run: local, on this machine, or slurm"},
      {"TESSERA_PREFERENCES", "A file of preferences that hold after the user's own"}};
  return facts;
}

}  // namespace

int main(int count, char** words) {
  // A file that may not become as large is a failure to be told, like a full disk.
  ::signal(SIGXFSZ, SIG_IGN);
  const std::vector<std::string> call{words + (count > 0 ? 1 : 0), words + count};
  if (const auto status = ProgramPages::PrintPage(GetFacts(), call)) return *status;
  korven::common::PrepareInstallation();
  try {
    korven::jsonlib::LoadStoredPreferences();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "batchprocess: %s\n", error.what());
    return 2;
  }
  return korven::batch::BatchMain(call);
}
