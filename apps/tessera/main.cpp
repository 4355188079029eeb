#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "kcommon/installation.h"
#include "program.h"

namespace {

/// Without its plug-ins hardly an operator is known, which would be told of each document in their place.
void WarnOfWrongHome() {
  const std::string home = std::getenv("VANTIX_HOME"), folder = home + "/lib/" + std::getenv("ARCHM") + "/plugins";
  if (::access(folder.c_str(), F_OK) == 0) return;
  TesseraProgram::PrintError(L"warning: VANTIX_HOME is \"" + TesseraProgram::WideWord(home) +
                             L"\", which is no installation: there is no folder \"" + TesseraProgram::WideWord(folder) +
                             L"\"");
}

}  // namespace

int main(int count, char** words) {
  using namespace TesseraProgram;
  // A file that may not become as large is a failure to be told, like a full disk.
  ::signal(SIGXFSZ, SIG_IGN);
  try {
    Arguments arguments;
    int status = 0;
    if (!ReadArguments(count, words, arguments, status)) return status;
    korven::common::PrepareInstallation();
    WarnOfWrongHome();
    const std::pair<const char*, int (*)(const Arguments&)> commands[] = {{"run", &Run},
                                                                          {"info", &Info},
                                                                          {"check", &Check},
                                                                          {"save", &Save},
                                                                          {"list", &List},
                                                                          {"describe", &Describe},
                                                                          {"draw", &Draw},
                                                                          {"preferences", &Preferences},
                                                                          {"completion", &Completion},
                                                                          {"manual", &Manual},
                                                                          {"schema", &Schema}};
    for (const auto& [name, call] : commands) {
      if (arguments.command == name) status = call(arguments);
    }
    FlushOutput();
    return status;
  } catch (const Refusal& refusal) {
    std::fflush(stdout);
    std::fprintf(stderr, "error: %s\n", refusal.what());
  } catch (const std::exception&) {
    std::fflush(stdout);
    PrintError(L"error: " + CurrentExceptionText());
  }
  return kRefused;
}
