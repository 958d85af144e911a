#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>

#include "apps/nvimport/CommandLine.h"
#include "apps/nvimport/pages/Definitions.h"

namespace nvimport {

// nvimport-pages FOLDER: writes the manual page and the completions into the folder.

namespace {

void Write(const std::filesystem::path& path, const std::string& text) {
  std::ofstream file;
  file.exceptions(std::ios::failbit | std::ios::badbit);
  file.open(path, std::ios::binary);
  file << text;
}

}  // namespace

}  // namespace nvimport

int main(int count, char** arguments) {
  using namespace nvimport;
  if (count != 2) {
    std::fputs("usage: nvimport-pages FOLDER\n", stderr);
    return 2;
  }
  try {
    Settings settings;
    Command chosen = nullptr;
    CLI::App app;
    DefineCommandLine(app, settings, chosen);
    const std::filesystem::path folder = arguments[1];
    Write(folder / "nvimport.1", ManualPage(app));
    Write(folder / "nvimport.bash", BashCompletion(app));
    Write(folder / "_nvimport", ZshCompletion(app));
    Write(folder / "nvimport.fish", FishCompletion(app));
    Write(folder / "nvimport.ps1", PowerShellCompletion(app));
    return 0;
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "nvimport-pages: %s\n", exception.what());
    return 1;
  }
}
