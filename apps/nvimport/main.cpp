#include "apps/nvimport/CommandLine.h"

int main(int count, char** arguments) { return nvimport::RunCommandLine(count, arguments); }
