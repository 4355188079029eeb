#include "batch/batchmanager.h"
#include "kcommon/installation.h"

int main(int count, char** words) {
  korven::common::PrepareInstallation();
  return korven::batch::BatchMain({words + (count > 0 ? 1 : 0), words + count});
}
