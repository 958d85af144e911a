#include "apps/nvimport/CommandLine.h"

#include <algorithm>
#include <climits>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "apps/nvimport/Configuration.h"
#include "apps/nvimport/FileRun.h"
#include "apps/nvimport/PluginCheck.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/Version.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/TemporaryPaths.h"
#include "nvimport/hosting/import/Complete.h"
#include "nvimport/platform/NvFile.h"

namespace nvimport {

namespace {

std::string AlignedTerms(std::span<const Term> terms) {
  constexpr std::size_t kNameWidth = 22;
  std::string lines;
  for (const Term& term : terms) {
    std::string name = term.name;
    name.resize(std::max(name.size() + 1, kNameWidth), ' ');
    lines.append("  ").append(name).append(term.meaning).append("\n");
  }
  return lines;
}

void AddRules(CLI::App& command, Settings& settings) {
  command.add_flag(
      "--kept-rules", settings.kept_rules,
      "Reads as years ago: without the cells that were left out then, and with numbers of "
      "32 bits");
  // What it asked for is so.
  command.add_flag_function(
      "--complete", [](std::int64_t) {},
      "Does nothing: files are read completely unless --kept-rules says "
      "otherwise");
}

void AddFormatOptions(CLI::App& command, Settings& settings) {
  command
      .add_option("--format", settings.format,
                  "Format of the file, by name or index; skips detection")
      ->type_name("NAME|INDEX");
  command
      .add_option("--delimiter", settings.delimiter,
                  "Field delimiter of a text or CSV file: tab, comma, semicolon, bar, blank (runs "
                  "of them) or "
                  "any characters, with \\t, \\\\ and \\xNN")
      ->type_name("TEXT");
  command.add_flag("--ignore-consecutive", settings.ignore_consecutive,
                   "Delimiters in a row count as one");
  command
      .add_option("--sheet", settings.sheets,
                  "Worksheets of a workbook, by name or number: 2, 1,3, 2-4 or all")
      ->type_name("SHEETS");
  command.add_option("--merge", settings.merge, "How several worksheets become one sheet")
      ->type_name("side|below")
      ->check(CLI::IsMember({"side", "below"}).description(""));
  command.add_option("--blocks", settings.blocks, "Data blocks of a file of several: 1,3 or all")
      ->type_name("BLOCKS");
  command.add_option("--range", settings.range, "Points of a spectrum, from 1; LAST 0 for the end")
      ->type_name("FIRST,LAST");
  auto* const password =
      command.add_option("--password", settings.password, "Password of an encrypted workbook")
          ->type_name("TEXT");
  command
      .add_option("--password-file", settings.password_file,
                  "The same from the first line of FILE, which no list of processes shows")
      ->type_name("FILE")
      ->excludes(password);
  command.add_flag("--allow-query", settings.allow_query,
                   "Runs the query of a database that a file holds");
  auto* const query = command
                          .add_option("--query", settings.query,
                                      "What the database named as odbc:DSN=NAME is asked")
                          ->type_name("SQL");
  command.add_option("--table", settings.table, "The table of it that is taken")
      ->type_name("NAME")
      ->excludes(query);
  command.add_flag("--together", settings.together,
                   "Makes one sheet of all files, in formats that take several");
  command.add_option("--files", settings.chosen_files, "Which of the files --together takes: 1,3")
      ->type_name("FILES");
  command.add_option("--option", settings.options, "Answers a question of the format")
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false);
  command.add_flag("--strict", settings.strict, "Warnings and notes are failures");
  command.add_flag("--no-input", settings.no_input,
                   "Asks nothing, even in a terminal: takes the usual answers");
  command.add_flag("--yes", settings.yes,
                   "The same, and replaces an output that exists, as --force does");
  AddRules(command, settings);
}

void AddFileOptions(CLI::App& command, Settings& settings) {
  command
      .add_option("FILE", settings.files,
                  "Files to read, - for standard input; a folder for the files in it that can be "
                  "read")
      ->type_name("");
  command.add_option("--stdin-name", settings.stdin_name, "File name that standard input goes by")
      ->type_name("NAME");
  command.add_flag("--quiet", settings.quiet, "Only errors, warnings and notes on standard error");
}

void AddManyFilesOptions(CLI::App& command, Settings& settings) {
  command.add_flag("--recursive", settings.recursive, "Also reads what is in folders of a folder");
  command
      .add_option("--include", settings.include,
                  "Of a folder only files whose names fit, such as '*.spc'; with a / in PATTERN "
                  "those whose paths below the folder do")
      ->type_name("PATTERN")
      ->allow_extra_args(false);
  command.add_option("--exclude", settings.exclude, "Leaves out those whose names, or paths, fit")
      ->type_name("PATTERN")
      ->allow_extra_args(false);
  command
      .add_option("--files-from", settings.files_from,
                  "Also reads the files that FILE names, one a line; - for standard input")
      ->type_name("FILE");
  command
      .add_option("--files-from0", settings.files_from0,
                  "The same with a NUL byte behind each name, as \"find -print0\" writes them")
      ->type_name("FILE");
  command.add_flag("--keep-going", settings.keep_going, "Goes on after a file that fails");
  command.add_option("--jobs", settings.jobs, "Files dealt with at a time")
      ->type_name("N")
      ->check(CLI::Range(1, 256));
  command
      .add_option("--timeout", settings.timeout,
                  "Seconds that a file may take; then it counts as failed")
      ->type_name("N")
      ->check(CLI::Range(1, 86400));
}

void AddEncodingOptions(CLI::App& command, Settings& settings) {
  command
      .add_option("--encoding", settings.encoding,
                  "Encoding of the texts read; else UTF-8 where valid, Windows-1252 where not")
      ->type_name("NAME");
  command
      .add_option("--output-encoding", settings.output_encoding,
                  "Encoding of the texts written, UTF-8 without it and in .xlsx and .arrow")
      ->type_name("NAME");
}

void AddConfiguration(CLI::App& command, Settings& settings) {
  auto* const none = command.add_flag("--no-config", settings.no_configuration,
                                      "Takes only the options that are given here");
  command
      .add_option("--config", settings.configuration,
                  "Takes options that are not given here from FILE; else from "
                  "~/.config/nvimport/config.toml, if it is there")
      ->type_name("FILE")
      ->excludes(none);
}

void AddJson(CLI::App& command, Settings& settings) {
  command.add_flag("--json", settings.json, "Answers in JSON");
}

// The arguments, last first as the parser wants them. It would take a name in brackets for a list.
// "help COMMAND" is "COMMAND --help".
std::vector<std::string> Arguments(const std::vector<std::string>& arguments) {
  std::vector<std::string> words;
  if (arguments.size() > 1 && arguments[1] == "help") {
    if (arguments.size() == 2) return {"--help"};
    if (!arguments[2].starts_with('-')) return {"--help", arguments[2]};
  }
  for (std::size_t i = arguments.size(); i-- > 1;) {
    std::string& word = words.emplace_back(arguments[i]);
    if (word.starts_with('[') && word.ends_with(']') && NvFile::Exists(word.c_str()))
      word.insert(0, "./");
  }
  return words;
}

}  // namespace

void DefineCommandLine(CLI::App& app, Settings& settings, Command& chosen) {
  app.name("nvimport");
  app.description("Reads files of many formats into one kind of sheet.");
  app.set_version_flag("-V,--version", "nvimport " NVIMPORT_VERSION);
  app.require_subcommand(1);
  // A name that begins with / is a path everywhere.
  app.allow_windows_style_options(false);
  const auto add = [&](const char* name, const char* does, Command run) {
    CLI::App* command = app.add_subcommand(name, does);
    command->callback([&chosen, run] { chosen = run; });
    return command;
  };

  CLI::App& formats = *add("formats", "Lists the formats", RunFormats);
  AddRules(formats, settings);
  AddJson(formats, settings);

  CLI::App& detect = *add("detect", "Says which format a file has", RunDetect);
  AddFileOptions(detect, settings);
  AddManyFilesOptions(detect, settings);
  AddRules(detect, settings);
  AddJson(detect, settings);

  CLI::App& info = *add("info", "Says a file's format, its size and what can be chosen", RunInfo);
  AddFileOptions(info, settings);
  AddFormatOptions(info, settings);
  AddManyFilesOptions(info, settings);
  AddJson(info, settings);
  info.add_flag("--notes", settings.notes, "Reads the cells too, for the notes on them");

  CLI::App& show = *add("show", "Shows the head of a sheet", RunShow);
  AddFileOptions(show, settings);
  AddFormatOptions(show, settings);
  AddEncodingOptions(show, settings);
  AddJson(show, settings);
  show.add_option("--rows", settings.rows, "Rows shown")
      ->type_name("N")
      ->check(CLI::Range(1, 1000000));
  show.add_option("--columns", settings.columns, "Columns shown; else as many as fit")
      ->type_name("N")
      ->check(CLI::Range(1, 1000000));

  CLI::App& convert = *add("convert", "Writes a file in another format", RunConvert);
  AddFileOptions(convert, settings);
  AddFormatOptions(convert, settings);
  AddEncodingOptions(convert, settings);
  AddManyFilesOptions(convert, settings);
  convert.add_option("-o,--output", settings.output, "File to write, - for standard output")
      ->type_name("OUT");
  convert.add_option("--outdir", settings.out_dir, "Folder for one output a file")
      ->type_name("FOLDER");
  convert
      .add_option(
          "--to", settings.to,
          "Format written: csv, tsv, jsonl, json, xlsx, arrow, arrows or one of those listed by "
          "\"formats\"; else by the extension of OUT")
      ->type_name("FORMAT");
  convert.add_flag("--safe-formulas", settings.safe_formulas,
                   "An apostrophe before texts that a spreadsheet would run, in CSV and TSV");
  convert
      .add_option("--report", settings.report,
                  "Writes to REPORT, in JSON, what became of each file; - for standard output")
      ->type_name("REPORT");
  convert.add_flag("--continue", settings.goes_on,
                   "Goes on with the run that REPORT is of, also if it was interrupted: leaves out "
                   "what is done");
  convert
      .add_option("--describe", settings.description,
                  "Writes to FILE, in JSON, what the input says of itself; with --outdir a folder")
      ->type_name("FILE");
  convert.add_flag("--with-description", settings.with_description,
                   "The same as the first line of JSON lines");
  convert
      .add_option("--x-names", settings.x_names,
                  "Names of the columns of spectra: short, or exact for their x values")
      ->type_name("KIND")
      ->check(CLI::IsMember({"short", "exact"}).description(""));
  convert
      .add_option("--columns", settings.written_columns,
                  "Columns written, in this order: by number from 1 (2, 1,3-5 or 7- to the end) or "
                  "name; a name that looks like a number, or with a comma, in quotes")
      ->type_name("COLUMNS");
  convert.add_option("--rows", settings.written_rows, "Rows written, likewise")->type_name("ROWS");
  convert
      .add_option("--skip-rows", settings.skipped_rows, "First rows left out, before --rows counts")
      ->type_name("N")
      ->check(CLI::Range(0, INT_MAX - 1));
  convert.add_flag("--transpose", settings.transposed, "Columns become rows");
  convert.add_flag(
      "--long", settings.is_long,
      "A row of name, x and y for each value: of the spectra, or the columns of a table");
  convert
      .add_option("--decimal", settings.decimal_mark,
                  "Decimal mark of the numbers in CSV and TSV; else the point")
      ->type_name("MARK")
      ->check(CLI::IsMember({".", ","}).description(""));
  convert.add_flag("--combine", settings.combines,
                   "Writes all files into one table, columns matched by name or by x value");
  convert
      .add_option("--grid", settings.grid,
                  "x values that a table of spectra has: union for all, first for those of the "
                  "first file")
      ->type_name("KIND")
      ->check(CLI::IsMember({"union", "first"}).description(""));
  convert
      .add_option("--header", settings.header,
                  "Whether the first row of a table names its columns, for --combine; else told by "
                  "what it holds")
      ->type_name("yes|no")
      ->check(CLI::IsMember({"yes", "no"}).description(""));
  convert.add_flag(
      "--each-sheet", settings.each_sheet,
      "Writes each worksheet, block or variable into a file of its own, OUT.Sheet.csv");
  convert.add_flag("--with-source", settings.with_source,
                   "Writes the worksheets of a file as --combine does: each row with its file and "
                   "sheet");
  convert.add_option("--write-option", settings.write_options, "Sets how the output format writes")
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false);
  convert.add_flag("--force", settings.force, "Replaces an output that exists");
  convert.add_flag("--sparse", settings.sparse,
                   "Writes over 100 MB of delimiters too that are a thousand times the cells");

  CLI::App& plot = *add("plot", "Draws the spectra of a file, or the columns of a table", RunPlot);
  AddFileOptions(plot, settings);
  AddFormatOptions(plot, settings);
  plot.add_option("-o,--output", settings.output, "Picture to write, - for standard output")
      ->type_name("OUT");
  plot.add_option("--to", settings.to,
                  "Kind of the picture: svg, png or pdf; else by the extension of OUT")
      ->type_name("KIND")
      ->check(CLI::IsMember({"svg", "png", "pdf"}).description(""));
  plot.add_option("--size", settings.size, "Width and height in pixels")->type_name("WIDTHxHEIGHT");
  plot.add_flag("--reverse-x", settings.reverse_x,
                "x falls from left to right, as wavenumbers are shown; else as in the file");
  plot.add_flag("--force", settings.force, "Replaces a picture that exists");

  CLI::App& validate = *add("validate", "Reads everything and says whether it could", RunValidate);
  AddFileOptions(validate, settings);
  AddFormatOptions(validate, settings);
  AddManyFilesOptions(validate, settings);
  AddJson(validate, settings);

  CLI::App& check =
      *add("check-plugin", "Says whether a library keeps the contract of plug-ins", RunCheckPlugin);
  check.footer(PluginCheckList());
  check.add_option("LIBRARY", settings.library, "Library to check")->type_name("")->required();
  check
      .add_option("--file", settings.files, "Also opens and reads FILE with the library's formats")
      ->type_name("FILE")
      ->allow_extra_args(false)
      ->check(CLI::ExistingPath.description(""));
  AddJson(check, settings);
  check.add_flag("--strict", settings.strict, "Warnings are failures");
  check.add_option("--time-limit", settings.time_limit, "Seconds that a check may take")
      ->type_name("N")
      ->check(CLI::Range(1, 86400));
  check.add_option("--memory-limit", settings.memory_limit, "MiB that a check may take")
      ->type_name("N")
      ->check(CLI::Range(64, 1 << 20));

  for (CLI::App* command : app.get_subcommands({})) AddConfiguration(*command, settings);

  // For the lists of commands: Arguments takes it for --help.
  add("help", "Says how a command is used", nullptr)
      ->add_option("COMMAND", settings.words, "The command; else all are listed")
      ->type_name("")
      ->expected(1);

  // Last, since the commands defined before would take it over.
  app.footer("Exit codes:\n" + AlignedTerms(kExitCodes) + "Environment:\n" +
             AlignedTerms(kEnvironment));
}

int RunCommandLine(const std::vector<std::string>& arguments) try {
  Settings settings;
  Command chosen = nullptr;
  CLI::App app;
  DefineCommandLine(app, settings, chosen);

  std::vector<std::string> words = Arguments(arguments);
  const std::string first = words.empty() ? "" : words.back();
  if (arguments.size() > 2) settings.words.assign(words.rbegin() + 1, words.rend());
  try {
    const auto is_first = [&](CLI::App* command) { return command->get_name() == first; };
    if (!first.empty() && first[0] != '-' && app.get_subcommands(is_first).empty())
      return SayFailure(WrongUsage("There is no command \"" + ShownName(first) + "\".",
                                   "nvimport --help lists them"));
    app.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    return SayFailure(
        WrongUsage(ShownName(error.what()), "nvimport COMMAND --help tells how it is used"));
  }
  if (!settings.no_configuration) {
    const bool is_named = !settings.configuration.empty();
    if (const auto failure =
            TakeConfiguration(app, *app.get_subcommands().front(),
                              is_named ? settings.configuration : UsualConfiguration(), is_named))
      return SayFailure(*failure);
  }
  settings.force = settings.force || settings.yes;
  settings.no_input = settings.no_input || settings.yes;
  RemoveTemporariesOnSignals();
  const FormatList::ReleaseAtEnd list;
  if (const auto failure = TakeRulesOfEnvironment(settings.kept_rules)) return SayFailure(*failure);
  if (const auto failure = UseComplete(settings.kept_rules, CommandWords()))
    return SayFailure(*failure);
  return chosen(settings);
} catch (const std::exception& exception) {
  return SayFailure({Failure::kFailed, "The command could not be carried out.",
                     ShownName(exception.what()) + "; tell the makers, with the command"});
}

}  // namespace nvimport
