#include "slurmsetup.h"

#include <strings.h>
#include <sys/utsname.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "batch/commandshell.h"
#include "batch/joblist.h"
#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "kcommon/kpmg.h"
#include "kcommon/kstr.h"

namespace korven::batch {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void Refuse(const char* name, const std::string& why) {
  throw BatchFault(std::string("the preference batch/") + name + ": " + why);
}

double ReadNumber(const char* name, double fallback, double least) {
  kpmg::Value value;
  if (!kpmg::Get(L"batch", kstr_FromUtf8Lossy(name), value)) return fallback;
  if (value.type != KpmgNumber || !(value.number >= least) || std::isinf(value.number)) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", least);
    Refuse(name, std::string("expected a number from ") + text + " on");
  }
  return value.number;
}

std::string ReadText(const char* name) {
  kpmg::Value value;
  if (!kpmg::Get(L"batch", kstr_FromUtf8Lossy(name), value)) return {};
  if (value.type != KpmgString && value.type != KpmgEnum) Refuse(name, "expected a text");
  return kfnp_ToNative(value.text);
}

std::vector<std::string> ReadOptions() {
  const std::string text = ReadText("slurm_options");
  std::vector<std::string> words;
  if (text.find_first_not_of(" \t") == std::string::npos) return words;
  try {
    const auto commands = ParseShellLine(text);
    if (commands.size() > 1) throw std::invalid_argument("expected options of sbatch alone");
    for (const auto& word : commands.front().words) words.push_back(word.text);
  } catch (const std::invalid_argument& error) {
    Refuse("slurm_options", error.what());
  }
  return words;
}

/// The same for the same list, so that --resume finds it again, and another for another.
std::string DirectoryFor(const std::string& list) {
  const fs::path file = fs::absolute(list);
  const std::string place = ReadText("run_directory");
  if (place.empty()) return fs::path(file).replace_extension(".run").string();
  std::uint64_t digest = 14695981039346656037u;
  for (const char c : file.native()) digest = (digest ^ static_cast<unsigned char>(c)) * 1099511628211u;
  char name[24];
  std::snprintf(name, sizeof name, "-%016llx.run", static_cast<unsigned long long>(digest));
  return (fs::absolute(place) / (file.stem().native() + name)).string();
}

std::string FindManager() {
  const char* const home = std::getenv("VANTIX_HOME");
  struct utsname system {};
  ::uname(&system);
  const char* const platform = std::getenv("ARCHM");
  const std::string archm = platform && *platform ? platform : std::string("linux-") + system.machine;
  return fs::absolute(fs::path(home ? home : "") / "bin" / archm / "batchprocess.exe").string();
}

}  // namespace

bool IsOnSlurm() {
  const std::string name = ReadText("executor");
  if (name.empty() || ::strcasecmp(name.c_str(), "local") == 0) return false;
  if (::strcasecmp(name.c_str(), "slurm") == 0) return true;
  Refuse("executor", "found \"" + name + "\", expected \"local\" or \"slurm\"");
}

SlurmSetup ReadSlurmSetup(const BatchOptions& options) {
  SlurmSetup setup;
  setup.directory = DirectoryFor(options.list);
  setup.program = FindManager();
  setup.options = ReadOptions();
  setup.linesPerTask = static_cast<unsigned>(std::min(ReadNumber("slurm_lines_per_task", 0, 0), 1e9));
  setup.pause = ReadNumber("slurm_pause", setup.pause, 0.1);
  setup.resume = options.resume;
  return setup;
}

}  // namespace korven::batch
