#include "apps/nvimport/Commands.h"

#include <algorithm>
#include <deque>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <utility>

#include "apps/nvimport/Combining.h"
#include "apps/nvimport/ConvertPlan.h"
#include "apps/nvimport/Descriptions.h"
#include "apps/nvimport/FileRun.h"
#include "apps/nvimport/SheetPaths.h"
#include "apps/nvimport/TableView.h"
#include "apps/nvimport/Terminal.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/export/Conversion.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/hosting/import/Complete.h"
#include "nvimport/hosting/import/Detecting.h"
#include "nvimport/hosting/import/EachSheet.h"
#include "nvimport/hosting/import/FileKinds.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/hosting/import/Sheets.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

using Json = nlohmann::ordered_json;

std::string Join(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

// Columns of texts, each as wide as its widest.
std::string AlignedLines(const std::vector<std::vector<std::string>>& lines) {
  std::vector<std::size_t> widths(lines.front().size());
  for (const auto& line : lines)
    for (std::size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
  std::string text;
  for (const auto& line : lines) {
    for (std::size_t i = 0; i + 1 < line.size(); ++i)
      text += line[i] + std::string(widths[i] + 2 - line[i].size(), ' ');
    text += line.back() + "\n";
  }
  return text;
}

std::string Counted(int count, const char* noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string Shape(const ImportResult& result) {
  const std::string rows =
      result.rows < 0 ? "an unknown number of rows" : Counted(result.rows, "row");
  return rows + " x " + Counted(result.columns, "column");
}

// A text that --encoding was told wrong stays readable.
std::string Dumped(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json FormatJson(int format) { return {{"index", format}, {"name", FormatName(format)}}; }

Json ImportJson(const Input& input, const ImportResult& result) {
  return {{"file", input.shown},
          {"format", FormatJson(result.format)},
          {"rules", RulesWord(result.kept_rules)},
          {"rows", result.rows >= 0 ? Json(result.rows) : Json()},
          {"columns", result.columns}};
}

void AddNotes(const ImportResult& result, Json& json) {
  json["notes"] = result.notes;
  json["warnings"] = result.warnings;
}

int RunOver(FileRun& run, const std::function<void(FileTurn&)>& command) {
  if (const auto failure = run.Prepare()) return SayFailure(*failure);
  return run.ForEach(command);
}

// ---- detect

constexpr const char* kAnswers[] = {"no", "possible", "certain"};

std::string DetectionText(const Input& input, const Detection& detection,
                          const std::vector<std::string>& candidates,
                          const std::optional<FileKind>& kind, bool kept_rules) {
  std::string text = input.shown + ": ";
  if (detection.format > 0)
    text += FormatName(detection.format);
  else if (candidates.empty())
    text += "no format";
  else
    text += "one of " + Join(candidates) + " (--format NAME decides)";
  text += "\n  why: " + DetectionReason(detection, input.files.front()) + "\n";
  if (kind)
    text += "  looks like: " + std::string(kind->name) + "; " +
            kind->Advice(CommandWords(), kept_rules) + "\n";
  for (int answer = 2; answer >= 0; --answer) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < detection.answers.size(); ++i)
      if (detection.answers[i] == answer) names.push_back(FormatName(static_cast<int>(i) + 1));
    if (!names.empty()) text += "  " + std::string(kAnswers[answer]) + ": " + Join(names) + "\n";
  }
  return text;
}

std::string DetectionJson(const Input& input, const Detection& detection,
                          const std::vector<std::string>& candidates,
                          const std::optional<FileKind>& kind, bool kept_rules) {
  Json json = {{"file", input.shown},
               {"format", nullptr},
               {"reason", DetectionReason(detection, input.files.front())},
               {"looks_like", nullptr},
               {"candidates", candidates},
               {"answers", Json::array()}};
  if (detection.format > 0) json["format"] = FormatJson(detection.format);
  if (kind)
    json["looks_like"] = {{"kind", kind->name},
                          {"advice", kind->Advice(CommandWords(), kept_rules)}};
  for (std::size_t i = 0; i < detection.answers.size(); ++i) {
    Json answer = FormatJson(static_cast<int>(i) + 1);
    answer["answer"] = kAnswers[std::clamp(detection.answers[i], 0, 2)];
    json["answers"].push_back(std::move(answer));
  }
  return json.dump();
}

void Detect(FileTurn& turn) {
  if (const auto failure = CheckFiles(turn.input().files, CommandWords()))
    return turn.Fail(*failure);
  const std::string& path = turn.input().files.front();
  const bool kept_rules = turn.plan().import.kept_rules.value_or(false);
  const Detection detection = DetectFormat(path, kept_rules);
  std::vector<std::string> candidates;
  for (const int format : detection.candidates) candidates.push_back(FormatName(format));
  auto kind = RecogniseKind(path);
  // Of the one that is taken there is no more to be said, nor, where a name decided among them, of
  // text as what it is.
  const int format = kind && *kind->format != '\0' ? FindFormat(kind->format, false) : 0;
  const bool is_read =
      format > 0 && (!kept_rules || (kind->by_kept_rules && HasKeptReader(format)));
  const bool is_settled = format == detection.format || !kept_rules || !kind->is_sure;
  if (detection.format > 0 && is_read && is_settled) kind.reset();
  turn.Print((turn.plan().json ? DetectionJson : DetectionText)(turn.input(), detection, candidates,
                                                                kind, kept_rules));
  if (detection.format < 1) turn.EndWith(kFormatUnknown);
}

// ---- info

std::string InfoText(FileTurn& turn, const ImportResult& result) {
  std::vector<std::pair<std::string, std::string>> lines = {
      {"format", FormatName(result.format) + " (" + std::to_string(result.format) + ")"},
      {"rows", std::to_string(result.rows)},
      {"columns", std::to_string(result.columns)}};
  if (result.kept_rules) lines.emplace_back("rules", RulesWord(true));
  for (const AnsweredQuestion& question : result.questions) {
    lines.emplace_back(question.name, question.answer + " (" + SourceWord(question.source) + "; " +
                                          OptionFor(question) + ")");
    for (std::size_t i = 0; i < question.entries.size(); ++i)
      lines.emplace_back("", std::to_string(i + 1) + "  " + question.entries[i]);
    lines.emplace_back("", "asks " + OptionsAsked(question));
  }
  if (const auto options = UnaskedOptionsOf(FormatName(result.format)); !options.empty())
    lines.emplace_back("options", Join(options) + " (--option KEY=VALUE)");
  for (auto& line : DescriptionLines(result.description, turn.plan().conversion.decoder))
    lines.push_back(std::move(line));
  for (const std::string& note : result.notes) lines.emplace_back("note", note);
  for (const std::string& warning : result.warnings) lines.emplace_back("warning", warning);
  std::string text = turn.input().shown + "\n";
  constexpr std::size_t kWidest = 24;
  std::size_t width = 10;
  for (const auto& [name, value] : lines) width = std::max(width, std::min(name.size(), kWidest));
  for (auto& [name, value] : lines) {
    name.resize(std::max(name.size(), width) + 1, ' ');
    text.append("  ").append(name).append(value).append("\n");
  }
  return text;
}

std::string InfoJson(FileTurn& turn, const ImportResult& result, bool with_notes) {
  Json json = ImportJson(turn.input(), result);
  json["choices"] = Json::array();
  for (const AnsweredQuestion& question : result.questions)
    json["choices"].push_back({{"name", question.name},
                               {"answer", question.answer},
                               {"source", SourceWord(question.source)},
                               {"option", OptionFor(question)},
                               {"asks", OptionsAsked(question)},
                               {"entries", question.entries}});
  json["options"] = UnaskedOptionsOf(FormatName(result.format));
  json["description"] =
      DescriptionJson(result.description, turn.plan().conversion.decoder, /*with_x=*/true);
  if (with_notes) AddNotes(result, json);
  return Dumped(json);
}

// What a file has to choose from, where no answer is usual.
bool PrintChoice(FileTurn& turn, const ImportResult& result) {
  const Failure& failure = *result.failure;
  if (failure.kind != Failure::kChoice || turn.plan().import.answers.sheets || turn.plan().json)
    return false;
  std::string text = turn.input().shown + "\n  format     " + FormatName(result.format) + "\n";
  std::size_t number = 0;
  for (const std::string& candidate : failure.candidates) {
    std::string name = ++number == 1 ? failure.question : "";
    name.resize(std::max<std::size_t>(name.size(), 10), ' ');
    text.append("  ").append(name).append(" ").append(std::to_string(number));
    text.append("  ").append(candidate).append("\n");
  }
  turn.Print(text);
  return true;
}

void Info(FileTurn& turn, bool with_notes) {
  NoSheet nothing;
  const ImportResult result = with_notes ? turn.Read(nothing) : turn.Measure();
  if (result.failure && PrintChoice(turn, result)) return;
  if (result.failure) return turn.Fail(*result.failure);
  turn.Print(turn.plan().json ? InfoJson(turn, result, with_notes) : InfoText(turn, result));
  turn.CountNotes(result);
}

// ---- show

std::string HeadJson(const Input& input, const ImportResult& result, const MemorySheet& sheet,
                     int columns, int rows, const TextDecoder& decoder) {
  std::string json = ImportJson(input, result).dump();
  json.back() = ',';
  json += " \"head\": [";
  for (int row = 1; row <= rows; ++row) {
    json += row > 1 ? ", [" : "[";
    for (int column = 1; column <= columns; ++column) {
      if (column > 1) json += ", ";
      json += JsonCell(sheet.GetCell(column, row), decoder);
    }
    json += "]";
  }
  return json + "]}";
}

// Which part of the sheet stands above, where that is not all.
std::string ShownPart(const ImportResult& result, int rows, int columns) {
  std::string part;
  if (rows < result.rows || result.rows < 0) part += "rows 1-" + std::to_string(rows);
  if (columns < result.columns)
    part += (part.empty() ? "" : ", ") + ("columns 1-" + std::to_string(columns));
  return part.empty() ? part : " (" + part + " shown)";
}

void Show(FileTurn& turn, const Settings& settings) {
  // A column takes three characters at least, so no more of them can fit.
  constexpr std::size_t kNarrowest = 3;
  const std::size_t width = settings.columns > 0 ? 0 : TerminalWidth();
  const int most = settings.columns > 0 ? settings.columns : static_cast<int>(width / kNarrowest);
  HeadSheet head(most, settings.rows);
  const ImportResult result = turn.Read(head);
  if (result.failure) return turn.Fail(*result.failure);

  const TextConversion& conversion = turn.plan().conversion;
  const int columns = head.head_columns();
  const int rows = head.head_rows();
  if (turn.plan().json) {
    turn.Print(HeadJson(turn.input(), result, head.head(), columns, rows, conversion.decoder));
  } else {
    std::vector<TableRow> table;
    for (int row = 1; row <= rows; ++row) {
      TableRow& cells = table.emplace_back();
      for (int column = 1; column <= columns; ++column)
        cells.push_back(ShownCell(head.head().GetCell(column, row), conversion.decoder));
    }
    auto [text, shown] = FormatTable(table, {width, DataGoesToScreen() && WantsColour()});
    text += Shape(result) + ", " + FormatName(result.format) +
            ShownPart(result, rows, static_cast<int>(shown)) + "\n";
    std::string encoded;
    turn.Print(std::string(conversion.encoder.Encode(text, encoded)));
  }
  turn.SayNotes(result);
}

// ---- validate

void Validate(FileTurn& turn) {
  NoSheet nothing;
  const ImportResult result = turn.Read(nothing);
  if (result.failure) {
    turn.Fail(*result.failure);
  } else if (turn.plan().json) {
    Json json = ImportJson(turn.input(), result);
    json["ok"] = true;
    AddNotes(result, json);
    turn.Print(json.dump());
  } else {
    turn.Print("ok " + turn.input().shown + ": " + FormatName(result.format) + ", " +
               Shape(result) + "\n");
  }
  turn.SayNotes(result);
}

// ---- convert

std::string ToTakes() {
  std::string names;
  for (const OutputFormat& own : OwnOutputFormats())
    names += (names.empty() ? "" : ", ") + own.extension.substr(1);
  return "--to takes " + names + " or a format that \"nvimport formats\" says can be written";
}

std::optional<Failure> SettleShape(const Settings& settings, ConvertPlan& plan) {
  SheetShape& shape = plan.shape;
  shape.has_exact_names = settings.x_names == "exact";
  shape.skipped_rows = settings.skipped_rows;
  shape.is_transposed = settings.transposed;
  shape.is_long = settings.is_long;
  if (shape.is_long && shape.is_transposed)
    return WrongUsage("--long and --transpose exclude each other.", "leave one of them out");
  const auto no_list = [](const std::string& given, const char* advice) {
    return WrongUsage("\"" + ShownName(given) + "\" is no list of numbers.", advice);
  };
  if (const auto& given = settings.written_rows) {
    const auto parsed = NumberRanges::Parse(*given);
    if (!parsed) return no_list(*given, "--rows takes 2, 1,3-5 or 7- (to the end)");
    shape.rows = *parsed;
  }
  if (const auto& given = settings.written_columns) {
    plan.columns = ColumnChoice::Parse(*given);
    if (plan.columns && !plan.columns->has_names()) plan.columns->Resolve({}, shape.columns);
    if (!plan.columns)
      return no_list(*given,
                     "--columns takes 2, 1,3-5 or 7- (to the end), and names, in quotes "
                     "(\"1,5\") where they look like numbers or hold a comma");
  }
  return std::nullopt;
}

// Two files never go into one output.
std::optional<Failure> TellApart(RunPlan& run) {
  const bool kept_rules = run.import.kept_rules.value_or(false);
  const auto is_read = [&](std::size_t i) {
    return run.inputs.FolderOf(i) == InputList::kNone ||
           IsReadable(run.inputs.PathOf(i), kept_rules, run.import.format);
  };
  const auto same = run.outputs.TellApart(is_read);
  if (!same) return std::nullopt;
  Failure failure = WrongUsage("Two files would go into one output.",
                               "both would be " + ShownName(run.outputs[same->first]) +
                                   "; leave one of them out, or name another --outdir for it");
  failure.where = run.inputs[same->first].shown + " and " + run.inputs[same->second].shown;
  return failure;
}

std::optional<Failure> SettleOutput(const Settings& settings, RunPlan& run, ConvertPlan& plan) {
  const bool into_folder = !settings.out_dir.empty();
  if (into_folder && !settings.output.empty())
    return WrongUsage("-o and --outdir exclude each other.",
                      "-o names one output, --outdir a folder for many; leave one of them out");
  if (!into_folder && settings.output.empty())
    return WrongUsage("There is no output.", "give -o OUT (- for standard output), or --outdir");
  if (!into_folder && run.inputs.size() > 1 && !settings.combines)
    return WrongUsage("Several files can't go into one output.",
                      "--outdir gives each its own, --combine makes one table of them, --together "
                      "one sheet, in formats that take several");

  std::string name = settings.to;
  if (name.empty()) {
    const std::string extension = NvGetFileExtension(settings.output);
    std::error_code none;
    const bool is_no_file = into_folder || settings.output == "-" ||
                            settings.output.starts_with("/dev/") ||
                            settings.output.starts_with("/proc/") ||
                            std::filesystem::is_other(FilePath(settings.output), none);
    if (extension.empty() && !is_no_file)
      return WrongUsage("\"" + ShownName(settings.output) +
                            "\" has no extension that says what is to "
                            "be written.",
                        ToTakes());
    name = extension.empty() ? "csv" : extension;
  }
  const auto format = FindOutputFormat(name);
  if (!format)
    return WrongUsage("\"" + ShownName(name) + "\" is no format that can be written.", ToTakes());
  plan.format = *format;
  plan.force = settings.force;
  plan.is_sparse = settings.sparse;
  for (const std::string& option : settings.write_options) {
    if (plan.format.own)
      return WrongUsage("\"" + ShownName(name) + "\" takes no options.",
                        "--write-option is for formats like MATLAB's: compress=0");
    if (option.find('=') == std::string::npos || option.find(';') != std::string::npos)
      return WrongUsage("\"" + ShownName(option) + "\" is no option.",
                        "--write-option takes KEY=VALUE, like compress=0");
    plan.write_options += (plan.write_options.empty() ? "" : ";") + option;
  }
  run.outputs = OutputPaths(settings.output);
  if (into_folder) {
    run.outputs = OutputPaths(run.inputs, settings.out_dir, plan.format.extension);
    if (auto failure = TellApart(run)) return failure;
  }
  const std::string& description = settings.description;
  if (!description.empty())
    run.descriptions =
        into_folder ? run.outputs.In(description, ".json") : OutputPaths(description);
  for (const std::string& folder : {settings.out_dir, description}) {
    std::error_code error;
    if (into_folder && !folder.empty())
      std::filesystem::create_directories(FilePath(folder), error);
    if (error)
      return Failure::OfSystem("The output folder could not be made.", ShownName(folder),
                               error.value());
  }
  if (auto failure = SettleShape(settings, plan)) return failure;
  plan.describes_in_output = settings.with_description;
  if (plan.describes_in_output && plan.format.own != SheetFormat::kJsonLines)
    return WrongUsage("Only JSON lines have room for a description.",
                      "--to jsonl writes them, --to json and --to arrow have one anyway; "
                      "--describe writes a file "
                      "of its own");
  if (!run.descriptions.empty() || plan.describes_in_output ||
      plan.format.own == SheetFormat::kJson || HasMetadata(plan.format) || !settings.report.empty())
    run.import.describing = Describing::kAll;
  else if (plan.shape.has_exact_names || plan.shape.is_long)
    run.import.describing = Describing::kX;
  return std::nullopt;
}

// Where one sheet goes, and what it says of itself, checked before anything is read.
struct SheetOutput {
  SheetOutput(const ConvertPlan& plan, const std::string& to, std::string description)
      : path(to), described(std::move(description)), target(to, plan.force, CommandWords()) {}
  std::optional<Failure> Check(const ConvertPlan& plan) {
    auto failure = target.Check();
    return failure ? failure : CheckDescription(described, plan);
  }

  std::string path;
  std::string described;  // the path, empty for none
  OutputTarget target;
};

ConversionResult ConvertSheet(FileTurn& turn, const ConvertPlan& plan, ImportRequest import,
                              SheetOutput& output, std::vector<std::string>& notes) {
  const TextDecoder& decoder = turn.plan().conversion.decoder;
  ConversionRequest request{
      .import = std::move(import),
      .output = OutputOf(turn, plan, output.path, notes),
      .shape = plan.shape,
      .head =
          [&](const ImportResult& begun) {
            return DescriptionHead(plan, begun.description, decoder);
          },
      .begins_writing =
          [&] { turn.progress().Begin("writing " + ShownName(output.path), "rows"); }};
  if (HasMetadata(plan.format))
    request.metadata = [&](const ImportResult& begun) {
      return MetadataOf(plan, begun.description, decoder, turn.input().shown);
    };
  if (plan.columns && plan.columns->has_names()) request.columns = plan.columns;
  ConversionResult converted = ConvertFile(request, output.target);
  if (!converted.failure)
    converted.failure =
        WriteDescription(output.described, plan, converted.import.description, decoder);
  return converted;
}

void Convert(FileTurn& turn, const ConvertPlan& plan) {
  SheetOutput output(plan, turn.output(), turn.description());
  if (const auto failure = output.Check(plan)) return turn.Fail(*failure);
  std::vector<std::string> notes;  // on the output
  ConversionResult converted = ConvertSheet(turn, plan, turn.Request(), output, notes);
  const ImportResult result = turn.Told(std::move(converted.import));
  if (converted.failure) turn.Fail(*converted.failure);
  turn.SayNotes(result);
  turn.SayOutputNotes(notes);
}

void ConvertEachSheet(FileTurn& turn, const ConvertPlan& plan) {
  SheetsOfFile found = FindSheets(turn.Request(), SheetsWanted::kEach);
  ImportResult all = turn.Told(std::move(found.import));
  if (all.failure) return turn.Fail(*all.failure);
  std::vector<std::string> names;
  for (const SheetOfFile& sheet : found.sheets)
    if (!sheet.name.empty()) names.push_back(sheet.name);
  const auto paths_for = [&](const std::string& path) {
    return path.empty() || names.empty() ? std::vector(found.sheets.size(), path)
                                         : SheetPaths(path, names, plan.outputs);
  };
  const auto paths = paths_for(turn.output());
  const auto described = paths_for(turn.description());
  std::deque<SheetOutput> outputs;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    outputs.emplace_back(plan, paths[i], described[i]);
    if (const auto failure = outputs.back().Check(plan)) return turn.Fail(*failure);
  }
  turn.WritesTo(paths);
  std::vector<std::string> notes;
  all.rows = all.columns = 0;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    std::vector<std::string> own;
    auto [import, failure] = ConvertSheet(turn, plan, found.sheets[i].import, outputs[i], own);
    if (failure) return turn.Fail(*failure);
    const std::string whose = paths.size() > 1 ? found.sheets[i].name + ": " : "";
    for (const std::string& note : import.notes) all.notes.push_back(whose + note);
    for (const std::string& warning : import.warnings) all.warnings.push_back(whose + warning);
    for (const std::string& note : own) notes.push_back(whose + note);
    all.rows += import.rows;
    all.columns = std::max(all.columns, import.columns);
  }
  turn.SayNotes(turn.Took(std::move(all)));
  turn.SayOutputNotes(notes);
}

}  // namespace

int RunFormats(const Settings& settings) {
  Json json = {{"version", 1}, {"formats", Json::array()}};
  std::vector<std::vector<std::string>> lines = {
      {"index", "name", "extensions", "reads", "writes", "origin"}};
  for (int format = 1; format <= FormatCount(); ++format) {
    const NvImportFormatInfo& info = FormatAt(format);
    const std::string name = FormatName(format);
    std::vector<std::string> extensions = Extensions(info);
    for (std::string& extension : extensions) extension = ToUtf8(extension);
    const auto yes_or_no = [](bool yes) { return yes ? "yes" : "no"; };
    if (settings.kept_rules && !HasKeptReader(format)) continue;
    const std::string& library = FormatList::Get().GetLibraryPath(format);
    const bool is_built_in = library.empty() || (settings.kept_rules && ReadsMoreThanKept(format));
    const std::string origin = is_built_in ? "built in" : ShownName(library);
    lines.push_back({std::to_string(format), EscapeControls(name), EscapeControls(Join(extensions)),
                     yes_or_no(HasReader(format)), yes_or_no(HasWriter(format)), origin});
    json["formats"].push_back({{"index", format},
                               {"name", name},
                               {"extensions", extensions},
                               {"reads", HasReader(format)},
                               {"writes", HasWriter(format)},
                               {"origin", origin}});
  }
  json["outputs"] = Json::array();
  for (const OutputFormat& own : OwnOutputFormats())
    json["outputs"].push_back({{"name", own.name}, {"extension", own.extension}});
  const auto failure =
      PrintData(settings.json ? EscapeInJson(json.dump(1) + "\n") : AlignedLines(lines));
  return failure ? SayFailure(*failure) : kDone;
}

int RunDetect(const Settings& settings) {
  FileRun run(settings);
  run.plan().takes_all = true;
  return RunOver(run, Detect);
}

int RunInfo(const Settings& settings) {
  FileRun run(settings);
  run.plan().asks = false;
  run.plan().import.describing = Describing::kAll;
  return RunOver(run, [&](FileTurn& turn) { Info(turn, settings.notes); });
}

int RunShow(const Settings& settings) {
  FileRun run(settings);
  run.plan().takes_stream = run.plan().import.leaves_size_open = true;
  return RunOver(run, [&](FileTurn& turn) { Show(turn, settings); });
}

int RunValidate(const Settings& settings) {
  FileRun run(settings);
  return RunOver(run, Validate);
}

int RunConvert(const Settings& settings) {
  FileRun run(settings);
  if (const auto failure = run.Prepare()) return SayFailure(*failure);
  ConvertPlan plan;
  if (const auto failure = SettleOutput(settings, run.plan(), plan)) return SayFailure(*failure);
  if (const auto failure = SettleCombining(settings, run.plan(), plan)) return SayFailure(*failure);
  if (settings.combines) return RunCombine(run, plan);
  if (settings.with_source) return run.ForEach([&](FileTurn& turn) { CombineSheets(turn, plan); });
  if (settings.each_sheet)
    return run.ForEach([&](FileTurn& turn) { ConvertEachSheet(turn, plan); });
  // What is read twice comes from no stream.
  run.plan().takes_stream = plan.format.own && plan.shape.KeepsOrder() &&
                            run.plan().import.describing != Describing::kAll &&
                            !(plan.columns && plan.columns->has_names());
  return run.ForEach([&](FileTurn& turn) { Convert(turn, plan); });
}

}  // namespace nvimport
