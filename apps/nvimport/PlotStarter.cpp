#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "apps/nvimport/Commands.h"
#include "apps/nvimport/Failure.h"
#include "apps/nvimport/FileRun.h"

namespace nvimport {

// Pictures are drawn by the desktop program, so that this one needs nothing of what draws.
int RunPlot(const Settings& settings) {
  constexpr const char* kProgram = "nvimport-desktop";
  std::vector<std::string> words = {kProgram, "--plot"};
  words.insert(words.end(), settings.words.begin(), settings.words.end());
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  std::error_code none;
  const auto own = std::filesystem::read_symlink("/proc/self/exe", none);
  ::execv((own.parent_path() / kProgram).c_str(), arguments.data());
  if (errno == ENOENT) ::execvp(kProgram, arguments.data());
  if (errno != ENOENT)
    return SayFailure({kFailed, "The plot could not be drawn.",
                       std::string(kProgram) + ": " + SystemWords(errno)});
  return SayFailure({kFailed, "The plot could not be drawn.",
                     "it takes the program nvimport-desktop, which is not installed; it comes with "
                     "the package nvimport-desktop"});
}

}  // namespace nvimport
