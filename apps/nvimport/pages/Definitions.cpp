#include "apps/nvimport/pages/Definitions.h"

#include <algorithm>
#include <sstream>

#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/hosting/export/Export.h"

namespace nvimport {

namespace {

OptionPage PageOf(const CLI::Option& option) {
  OptionPage page;
  for (const std::string& name : option.get_snames()) page.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) page.names.push_back("--" + name);
  if (page.names.empty()) page.names.push_back(option.get_name());
  // What the checks of a value say of themselves follows the kind.
  const std::string kind = option.get_type_name();
  if (option.get_items_expected_max() > 0) page.value = kind.substr(0, kind.find(':'));
  page.description = option.get_description();
  page.environment = option.get_envname();
  page.repeats = option.get_items_expected_max() > 1;
  return page;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
  return parts;
}

std::vector<std::string> FormatNames(bool for_writing) {
  std::vector<std::string> names;
  if (for_writing)
    for (const OutputFormat& own : OwnOutputFormats()) names.push_back(own.extension.substr(1));
  for (const int format : FormatsWith(/*writer=*/for_writing))
    names.emplace_back(SprFileFactory::GetFormat(format)->name);
  return names;
}

}  // namespace

std::vector<int> FormatsWith(bool writer) {
  std::vector<int> formats;
  for (int format = 1; format <= SprFileFactory::GetNumberOfFormats(); ++format) {
    const FormatDescription& description = *SprFileFactory::GetFormat(format);
    if (writer ? description.can_write && description.has_writer
               : description.can_read && description.has_reader)
      formats.push_back(format);
  }
  return formats;
}

CommandPage PageOf(const CLI::App& command) {
  CommandPage page{command.get_name(), command.get_description(), command.get_footer(), {}, {}};
  for (const CLI::Option* option : command.get_options())
    (option->get_positional() ? page.positionals : page.options).push_back(PageOf(*option));
  return page;
}

std::vector<CommandPage> CommandPages(const CLI::App& app) {
  std::vector<CommandPage> pages;
  for (const CLI::App* command : app.get_subcommands(nullptr)) pages.push_back(PageOf(*command));
  return pages;
}

Values ValuesOf(const OptionPage& option) {
  if (option.value == "FORMAT") return {Values::kWords, FormatNames(/*for_writing=*/true)};
  if (option.value == "NAME|INDEX") return {Values::kWords, FormatNames(/*for_writing=*/false)};
  if (option.value == "TEXT")
    return {Values::kWords, {"tab", "comma", "semicolon", "bar", "blank"}};
  if (option.value == "SHEETS" || option.value == "BLOCKS") return {Values::kWords, {"all"}};
  if (option.value == "FOLDER") return {Values::kFolders, {}};
  for (const char* kind : {"FILE", "LIBRARY", "OUT", "REPORT"})
    if (option.value == kind || option.names.front() == kind) return {Values::kFiles, {}};
  // Words to choose from stand as they are: side|below.
  if (option.value.find('|') != std::string::npos)
    return {Values::kWords, Split(option.value, '|')};
  return {};
}

}  // namespace nvimport
