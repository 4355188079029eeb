#include "batch/commandshell.h"

int main(int count, char** words) { return korven::batch::ShellMain({words + (count > 0 ? 1 : 0), words + count}); }
