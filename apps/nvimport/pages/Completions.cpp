#include <algorithm>
#include <map>

#include "apps/nvimport/pages/Definitions.h"

namespace nvimport {

namespace {

constexpr std::string_view kHead = "# Made from the command's own definitions.\n";

std::string Replaced(std::string text, std::string_view special, std::string_view before) {
  for (std::size_t at = 0; (at = text.find_first_of(special, at)) != std::string::npos;) {
    text.insert(at, before);
    at += before.size() + 1;
  }
  return text;
}

// One word of a shell.
std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'')
      quoted += "'\\''";
    else
      quoted += c;
  }
  return quoted + "'";
}

std::string QuotedWords(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) line += " " + Quoted(word);
  return line;
}

std::vector<std::string> Names(const std::vector<OptionPage>& options) {
  std::vector<std::string> names;
  for (const OptionPage& option : options)
    names.insert(names.end(), option.names.begin(), option.names.end());
  return names;
}

std::vector<std::string> Names(const std::vector<CommandPage>& commands) {
  std::vector<std::string> names;
  names.reserve(commands.size());
  for (const CommandPage& command : commands) names.push_back(command.name);
  return names;
}

// ---- bash

std::string BashValues(const OptionPage& option) {
  const Values values = ValuesOf(option);
  switch (values.kind) {
    case Values::kWords:
      return "_nvimport_words" + QuotedWords(values.words);
    case Values::kFiles:
      return "_nvimport_files -f";
    case Values::kFolders:
      return "_nvimport_files -d";
    case Values::kUnknown:
      break;
  }
  return ":";
}

std::string BashCase(const CommandPage& command) {
  std::string text = "    " + command.name + ")\n      case $option in\n";
  for (const OptionPage& option : command.options) {
    if (option.value.empty()) continue;
    std::string names;
    for (const std::string& name : option.names) names += (names.empty() ? "" : "|") + name;
    text += "        " + names + ") " + BashValues(option) + "; return ;;\n";
  }
  text += "      esac\n      options=(" + QuotedWords(Names(command.options)).substr(1) + ")\n";
  if (!command.positionals.empty())
    text += "      rest='" + BashValues(command.positionals.front()) + "'\n";
  return text + "      ;;\n";
}

// ---- zsh

std::string ZshText(const std::string& text) { return Replaced(text, "[]:\\", "\\"); }

std::string ZshAction(const OptionPage& option) {
  const Values values = ValuesOf(option);
  std::string words;
  switch (values.kind) {
    case Values::kWords:
      for (const std::string& word : values.words)
        words += (words.empty() ? "" : " ") + Replaced(word, " ():\\'", "\\");
      return "(" + words + ")";
    case Values::kFiles:
      return "_files";
    case Values::kFolders:
      return "_files -/";
    case Values::kUnknown:
      break;
  }
  return " ";
}

std::string ZshOption(const OptionPage& option) {
  std::string others;
  for (const std::string& name : option.names) others += (others.empty() ? "" : " ") + name;
  const std::string head = option.repeats ? "*" : "(" + others + ")";
  std::string specs;
  for (const std::string& name : option.names) {
    std::string spec = head + name;
    if (!option.value.empty() && name.starts_with("--")) spec += "=";
    spec += "[" + ZshText(option.description) + "]";
    if (!option.value.empty()) spec += ":" + ZshText(option.value) + ":" + ZshAction(option);
    specs += " \\\n        " + Quoted(spec);
  }
  return specs;
}

std::string ZshCase(const CommandPage& command) {
  std::string text = "    " + command.name + ")\n      _arguments -s";
  for (const OptionPage& option : command.options) text += ZshOption(option);
  for (const OptionPage& positional : command.positionals)
    text += " \\\n        " + Quoted((positional.repeats ? "*:" : ":") + positional.names.front() +
                                     ":" + ZshAction(positional));
  return text + "\n      ;;\n";
}

// ---- fish

std::string FishValues(const OptionPage& option) {
  const Values values = ValuesOf(option);
  switch (values.kind) {
    case Values::kWords: {
      std::string words;
      for (const std::string& word : values.words)
        words += (words.empty() ? "" : " ") + ("\"" + word + "\"");
      return " -x -a '" + words + "'";
    }
    case Values::kFiles:
      return " -r -F";
    case Values::kFolders:
      return " -x -a '(__fish_complete_directories)'";
    case Values::kUnknown:
      break;
  }
  return " -x";
}

std::string FishText(const std::string& text) { return "'" + Replaced(text, "\\'", "\\") + "'"; }

std::string FishLines(const std::string& when, const CommandPage& command) {
  const std::string start = "complete -c nvimport -n " + when;
  std::string text;
  for (const OptionPage& option : command.options) {
    text += start;
    for (const std::string& name : option.names)
      text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (!option.value.empty()) text += FishValues(option);
    text += " -d " + FishText(option.description) + "\n";
  }
  if (!command.positionals.empty()) text += start + " -F\n";
  return text;
}

// ---- PowerShell

std::string PowerShellText(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? "''" : std::string(1, c);
  return quoted + "'";
}

// A table of what stands for each name, and a table of the words that its value can be. Where files
// can stand the shell completes them itself.
std::string PowerShellCase(const CommandPage& command) {
  std::string options;
  std::string values;
  for (const OptionPage& option : command.options) {
    std::string words;
    for (const std::string& word : ValuesOf(option).words)
      words += (words.empty() ? "" : ", ") + PowerShellText(word);
    for (const std::string& name : option.names) {
      options +=
          "      " + PowerShellText(name) + " = " + PowerShellText(option.description) + "\n";
      if (!words.empty()) values += "      " + PowerShellText(name) + " = @(" + words + ")\n";
    }
  }
  return "    " + PowerShellText(command.name) +
         " = @{\n      Does = " + PowerShellText(command.description) +
         "\n      Options = [ordered]@{\n" + options + "      }\n      Values = @{\n" + values +
         "      }\n    }\n";
}

}  // namespace

std::string PowerShellCompletion(const CLI::App& app) {
  std::string cases;
  for (const CommandPage& command : CommandPages(app)) cases += PowerShellCase(command);
  return std::string(kHead) + R"(# Dot-source it in $PROFILE.
Register-ArgumentCompleter -Native -CommandName nvimport, nvimport.exe -ScriptBlock {
  param($typed, $line, $cursor)
  $commands = [ordered]@{
)" + cases +
         R"(  }
  function Result($text, $tip) {
    $word = if ($text -match '[\s'';,]') { "'" + $text.Replace("'", "''") + "'" } else { $text }
    [System.Management.Automation.CompletionResult]::new($word, $text, 'ParameterValue', $tip)
  }
  $before = @($line.CommandElements | Where-Object { $_.Extent.EndOffset -lt $cursor } |
    ForEach-Object { $_.Extent.Text } | Select-Object -Skip 1)
  $start = $typed.Trim("'", '"')
  $command = $before | Where-Object { $commands.Contains($_) } | Select-Object -First 1
  if (-not $command) {
    return $commands.Keys | Where-Object { $_.StartsWith($start) } |
      ForEach-Object { Result $_ $commands[$_].Does }
  }
  $values = $commands[$command].Values
  if ($before.Count -gt 0 -and $values.ContainsKey($before[-1])) {
    return $values[$before[-1]] |
      Where-Object { $_.StartsWith($start, [StringComparison]::OrdinalIgnoreCase) } |
      ForEach-Object { Result $_ $_ }
  }
  if ($start.StartsWith('-')) {
    $options = $commands[$command].Options
    return $options.Keys | Where-Object { $_.StartsWith($start) } |
      ForEach-Object { Result $_ $options[$_] }
  }
}
)";
}

std::string BashCompletion(const CLI::App& app) {
  const std::vector<CommandPage> commands = CommandPages(app);
  std::string cases;
  for (const CommandPage& command : commands) cases += BashCase(command);
  return std::string(kHead) + R"(
# The words that begin as the one typed, whatever the case.
_nvimport_words() {
  local word typed=${current//\\/}
  typed=${typed#[\"\']}
  for word; do
    [[ ${word,,} == "${typed,,}"* ]] || continue
    # Behind an open quote the word goes on as it is.
    [[ $current == [\"\']* ]] || printf -v word %q "$word"
    COMPREPLY+=("$word")
  done
}

_nvimport_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen "$1" -- "$current")
}

_nvimport() {
  local current=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]} command= rest= i
  local -a options
  COMPREPLY=()
  # The sign between an option and its value is a word of its own.
  if [[ $current == = ]]; then
    current=
  elif [[ $option == = ]]; then
    option=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for ((i = 1; i < COMP_CWORD; ++i)); do
    if [[ ${COMP_WORDS[i]} != -* ]]; then
      command=${COMP_WORDS[i]}
      break
    fi
  done
  case $command in
)" + cases +
         "    '')\n      options=(" + QuotedWords(Names(PageOf(app).options)).substr(1) +
         ")\n      rest='_nvimport_words" +
         [&] {
           std::string words;
           for (const std::string& name : Names(commands)) words += " " + name;
           return words;
         }() +
         R"('
      ;;
  esac
  if [[ $current == -* ]]; then
    _nvimport_words "${options[@]}"
  else
    $rest
  fi
}

complete -F _nvimport nvimport
)";
}

std::string ZshCompletion(const CLI::App& app) {
  std::string descriptions;
  std::string cases;
  for (const CommandPage& command : CommandPages(app)) {
    descriptions += "    " + Quoted(command.name + ":" + ZshText(command.description)) + "\n";
    cases += ZshCase(command);
  }
  std::string options;
  for (const OptionPage& option : PageOf(app).options) options += ZshOption(option);
  return "#compdef nvimport\n" + std::string(kHead) + R"(
_nvimport() {
  local context state state_descr line
  typeset -A opt_args
  local -a commands=(
)" + descriptions +
         "  )\n  _arguments -C" + options + R"( \
    '1: :->command' '*:: :->rest'
  case $state in
    command) _describe command commands; return ;;
    rest) ;;
    *) return ;;
  esac
  case $words[1] in
)" + cases +
         R"(  esac
}

_nvimport "$@"
)";
}

std::string FishCompletion(const CLI::App& app) {
  std::string text = std::string(kHead) + "complete -c nvimport -f\n" +
                     FishLines("__fish_use_subcommand", PageOf(app));
  for (const CommandPage& command : CommandPages(app)) {
    text += "complete -c nvimport -n __fish_use_subcommand -a " + command.name + " -d " +
            FishText(command.description) + "\n";
    text += FishLines("'__fish_seen_subcommand_from " + command.name + "'", command);
  }
  return text;
}

}  // namespace nvimport
