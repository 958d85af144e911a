#include "apps/nvimport/Configuration.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "apps/nvimport/CommandWords.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/System.h"

namespace nvimport {

namespace {

constexpr const char* kNotRead = "The configuration can't be read.";
constexpr std::array<std::string_view, 3> kNeverConfigured{"help", "config", "no-config"};

// The end and the beginning of a section, as the parser gives them.
bool IsSection(const CLI::ConfigItem& item) { return item.name == "++" || item.name == "--"; }

CLI::App* CommandOf(CLI::App& app, const CLI::ConfigItem& item) {
  if (item.parents.size() != 1 || item.parents.front() == "help") return nullptr;
  const auto commands = app.get_subcommands(
      [&](CLI::App* command) { return command->get_name() == item.parents.front(); });
  return commands.empty() ? nullptr : commands.front();
}

CLI::Option* OptionOf(CLI::App* command, const CLI::ConfigItem& item) {
  if (command == nullptr || std::ranges::count(kNeverConfigured, item.name) > 0) return nullptr;
  return command->get_option_no_throw("--" + item.name);
}

// What was said on the command line counts, and keeps out what it excludes.
bool IsOnCommandLine(const CLI::Option& option) {
  const auto is_given = [](const CLI::Option* other) { return other->count() > 0; };
  return option.count() > 0 || std::ranges::any_of(option.get_excludes(), is_given);
}

void Give(CLI::Option& option, const CLI::ConfigItem& item) {
  if (option.get_expected_max() == 0)
    option.add_result(option.get_flag_value(item.name, CLI::ConfigTOML().to_flag(item)));
  else
    option.add_result(item.inputs);
  option.run_callback();
}

}  // namespace

std::string UsualConfiguration() {
  constexpr const char* kBelow = "/nvimport/config.toml";
  const std::string folder = SettingsFolder();
  return folder.empty() ? folder : folder + kBelow;
}

std::optional<Failure> TakeConfiguration(CLI::App& app, CLI::App& command, const std::string& path,
                                         bool is_named) {
  if (path.empty() && !is_named) return std::nullopt;
  const std::string shown = ShownName(path);
  std::ifstream file(FilePath(path), std::ios::binary);
  std::stringstream text;
  const bool is_read = file && (file.peek() == EOF || text << file.rdbuf());
  if (!is_read || file.bad()) {
    const int error = errno;
    if (!is_named && (error == ENOENT || error == ENOTDIR)) return std::nullopt;
    return Failure::OfSystem(kNotRead, shown, error);
  }
  const auto refused = [&](const CLI::ConfigItem& item, const std::string& what,
                           const std::string& advice) {
    std::string key;
    for (const std::string& parent : item.parents) key += (key.empty() ? "" : ".") + parent;
    if (!IsSection(item)) key += (key.empty() ? "" : ".") + item.name;
    Failure failure = WrongUsage("\"" + ShownName(key) + "\" " + what, advice);
    failure.where = shown;
    return failure;
  };
  for (const CLI::ConfigItem& item : CLI::ConfigTOML().from_config(text)) {
    CLI::App* const owner = CommandOf(app, item);
    CLI::Option* const option = OptionOf(owner, item);
    if (owner == nullptr || (option == nullptr && !IsSection(item)))
      return refused(item, "is nothing that can be configured.",
                     "[COMMAND] begins a section, whose keys are the command's options without --");
    if (option == nullptr || owner != &command || IsOnCommandLine(*option)) continue;
    try {
      Give(*option, item);
    } catch (const CLI::Error& error) {
      return refused(item, "has no such value.", ShownName(error.what()));
    }
  }
  return std::nullopt;
}

}  // namespace nvimport
