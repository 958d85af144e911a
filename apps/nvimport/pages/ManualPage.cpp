#include <algorithm>
#include <map>

#include "apps/nvimport/CommandLine.h"
#include "apps/nvimport/pages/Definitions.h"
#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/framework/Version.h"

namespace nvimport {

namespace {

// A text as it stands in the page's source.
std::string Plain(std::string_view text) {
  std::string source;
  for (const char c : text) {
    if (c == '\\')
      source += "\\e";
    else if (c == '-')
      source += "\\-";
    else if ((c == '.' || c == '\'') && (source.empty() || source.back() == '\n'))
      source.append("\\&").append(1, c);
    else
      source += c;
  }
  return source;
}

std::string Bold(std::string_view text) { return "\\fB" + Plain(text) + "\\fR"; }
std::string Italic(std::string_view text) { return "\\fI" + Plain(text) + "\\fR"; }

std::string Section(const std::string& title) { return ".SH " + title + "\n"; }

std::string Entry(const std::string& head, const std::string& text) {
  return ".TP\n" + head + "\n" + text + "\n";
}

std::string Entries(std::span<const Term> terms) {
  std::string entries;
  for (const Term& term : terms) entries += Entry(Bold(term.name), Plain(term.meaning) + ".");
  return entries;
}

std::string Head(const OptionPage& option) {
  std::string head;
  for (const std::string& name : option.names) head += (head.empty() ? "" : ", ") + Bold(name);
  if (!option.value.empty()) head += " " + Italic(option.value);
  return head;
}

std::string Synopsis(const CommandPage& command) {
  std::string line = Bold("nvimport " + command.name) + " [" + Italic("OPTION") + "]...";
  for (const OptionPage& positional : command.positionals)
    line += " " + Italic(positional.names.front()) + (positional.repeats ? "..." : "");
  return line;
}

std::string Commands(const std::vector<CommandPage>& commands) {
  std::string text;
  for (const CommandPage& command : commands) {
    text += Entry(Synopsis(command), Plain(command.description) + ".");
    if (!command.footer.empty()) text += ".IP\n.nf\n" + Plain(command.footer) + ".fi\n";
  }
  return text;
}

// An option that means the same in several commands stands once, with their names.
std::string Options(const std::vector<CommandPage>& commands) {
  std::vector<std::pair<OptionPage, std::string>> options;
  for (const CommandPage& command : commands) {
    for (const OptionPage& option : command.options) {
      const auto is_that = [&](const auto& known) {
        return known.first.names == option.names && known.first.description == option.description;
      };
      const auto known = std::ranges::find_if(options, is_that);
      if (known == options.end())
        options.emplace_back(option, command.name);
      else
        known->second += ", " + command.name;
    }
  }
  std::ranges::sort(options, {}, [](const auto& option) { return option.first.names.back(); });
  std::string text;
  for (const auto& [option, of] : options) {
    std::string says = Plain(option.description) + ".";
    if (option.repeats) says += "\nMay be given several times.";
    if (!option.environment.empty()) says += "\n" + Bold(option.environment) + " sets it too.";
    text += Entry(Head(option), says + "\n.br\nCommands: " + Plain(of) + ".");
  }
  return text;
}

std::string Formats() {
  std::string text;
  for (const int index : FormatsWith(/*writer=*/false)) {
    const FormatDescription& format = *SprFileFactory::GetFormat(index);
    std::string says;
    for (const std::string& extension : Extensions(format))
      says += (says.empty() ? "" : ", ") + Plain(extension);
    says += format.can_write && format.has_writer ? "; read and written." : "; read.";
    text += Entry(Bold(format.name), "Files named " + says);
  }
  return text;
}

constexpr Term kExamples[] = {
    {"nvimport show spectra.spc", "The head of the sheet that the file makes."},
    {"nvimport convert plate.xls --sheet 2 -o plate.csv", "One worksheet as CSV."},
    {"nvimport convert *.spc --outdir csv --jobs 4 --keep-going --report report.json",
     "A folder of spectra, four at a time, and a report of what became of each."},
};

std::string Examples() {
  std::string text;
  for (const Term& example : kExamples) text += Entry(Bold(example.name), Plain(example.meaning));
  return text;
}

}  // namespace

std::string ManualPage(const CLI::App& app) {
  const std::vector<CommandPage> commands = CommandPages(app);
  const std::string does =
      "Each file becomes one sheet of cells: numbers, texts, missing ones.\n"
      "Data goes to standard output, everything else to standard error.\n"
      "What a file needs to be told (a delimiter, worksheets, blocks, a range of points) is asked "
      "in a terminal, with the option that answers it the next time.\nWithout a terminal the usual "
      "answer is taken, and said.";
  return ".\\\" Made from the command's own definitions.\n"
         ".TH NVIMPORT 1 \"\" \"NvImport " NVIMPORT_VERSION
         "\" \"User Commands\"\n"
         // Names of options and long lists stay as they are, at the left.
         ".nh\n.ad l\n" +
         Section("NAME") + "nvimport \\- reads files of many formats into one kind of sheet\n" +
         Section("SYNOPSIS") + Bold("nvimport") + " " + Italic("COMMAND") + " [" +
         Italic("OPTION") + "]... [" + Italic("FILE") + "]...\n" + Section("DESCRIPTION") +
         Plain(does) + "\n" + Section("COMMANDS") + Commands(commands) + Section("OPTIONS") +
         Options(commands) + Section("FORMATS") + Formats() + Section("EXIT STATUS") +
         Entries(kExitCodes) +
         "Of several files the gravest counts: 1 before 5 before 3 before 4.\n" +
         Section("ENVIRONMENT") + Entries(kEnvironment) + Section("EXAMPLES") + Examples();
}

}  // namespace nvimport
