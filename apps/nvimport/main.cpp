#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "apps/nvimport/CellText.h"
#include "apps/nvimport/CommandLine.h"
#include "apps/nvimport/Complete.h"
#include "apps/nvimport/Failure.h"
#include "apps/nvimport/FileRun.h"
#include "apps/nvimport/TemporaryPaths.h"
#include "framework/FormatList.h"
#include "platform/NvFile.h"

namespace {

// The arguments, last first as the parser wants them. It would take a name in brackets for a list.
std::vector<std::string> Arguments(int count, char** arguments) {
  std::vector<std::string> words;
  for (int i = count - 1; i > 0; --i) {
    std::string& word = words.emplace_back(arguments[i]);
    if (word.starts_with('[') && word.ends_with(']') && NvFile::Exists(word.c_str()))
      word.insert(0, "./");
  }
  return words;
}

int Run(int count, char** arguments) {
  Settings settings;
  Command chosen = nullptr;
  CLI::App app;
  DefineCommandLine(app, settings, chosen);

  std::vector<std::string> words = Arguments(count, arguments);
  try {
    app.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    if (chosen == nullptr && count > 1 && arguments[1][0] != '-' && app.get_subcommands().empty())
      return SayFailure({kWrongUsage, "There is no command \"" + ShownName(arguments[1]) + "\".",
                         "nvimport --help lists them"});
    return SayFailure(
        {kWrongUsage, ShownName(error.what()), "nvimport COMMAND --help tells how it is used"});
  }
  RemoveTemporariesOnSignals();
  if (settings.complete)
    if (const auto failure = UseComplete()) return SayFailure(*failure);
  const int exit_code = chosen(settings);
  FormatList::Release();
  return exit_code;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    return Run(count, arguments);
  } catch (const std::exception& exception) {
    return SayFailure({kFailed, "The command could not be carried out.",
                       ShownName(exception.what()) + "; tell the makers, with the command"});
  }
}
