#include <signal.h>

#include <cstdio>
#include <exception>

#include "batch/batchmanager.h"
#include "jsonlib/preferences.h"
#include "kcommon/installation.h"

int main(int count, char** words) {
  // A file that may not become as large is a failure to be told, like a full disk.
  ::signal(SIGXFSZ, SIG_IGN);
  korven::common::PrepareInstallation();
  try {
    korven::jsonlib::LoadStoredPreferences();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "batchprocess: %s\n", error.what());
    return 2;
  }
  return korven::batch::BatchMain({words + (count > 0 ? 1 : 0), words + count});
}
