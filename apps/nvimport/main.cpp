#include "apps/nvimport/CommandLine.h"
#include "nvimport/platform/Console.h"

int main(int count, char** arguments) {
  nvimport::SettleStreams();
  return nvimport::RunCommandLine(nvimport::ProgramArguments(count, arguments));
}
