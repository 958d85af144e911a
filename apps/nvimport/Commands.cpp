#include "apps/nvimport/Commands.h"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "apps/nvimport/Descriptions.h"
#include "apps/nvimport/FileRun.h"
#include "apps/nvimport/TableView.h"
#include "apps/nvimport/Terminal.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/batch/BatchReport.h"
#include "nvimport/hosting/export/Export.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/hosting/import/Complete.h"
#include "nvimport/hosting/import/FileKinds.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/hosting/import/Sheets.h"
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
  return Counted(result.rows, "row") + " x " + Counted(result.columns, "column");
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
          {"rows", result.rows},
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
                          const std::optional<FileKind>& kind) {
  std::string text = input.shown + ": ";
  if (detection.format > 0)
    text += FormatName(detection.format);
  else if (candidates.empty())
    text += "no format";
  else
    text += "one of " + Join(candidates) + " (--format NAME decides)";
  text += "\n  why: " + DetectionReason(detection, input.files.front()) + "\n";
  if (kind)
    text += "  looks like: " + std::string(kind->name) + "; " + kind->Advice(CommandWords()) + "\n";
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
                          const std::optional<FileKind>& kind) {
  Json json = {{"file", input.shown},
               {"format", nullptr},
               {"reason", DetectionReason(detection, input.files.front())},
               {"looks_like", nullptr},
               {"candidates", candidates},
               {"answers", Json::array()}};
  if (detection.format > 0) json["format"] = FormatJson(detection.format);
  if (kind) json["looks_like"] = {{"kind", kind->name}, {"advice", kind->Advice(CommandWords())}};
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
  const Detection detection = DetectFormat(path, turn.plan().import.kept_rules.value_or(false));
  std::vector<std::string> candidates;
  for (const int format : detection.candidates) candidates.push_back(FormatName(format));
  auto kind = RecogniseKind(path);
  // Where a format is taken there is nothing to be said for the one that would read it too.
  const int despite_name = FormatDespiteName(detection, path);
  const bool is_other = despite_name > 0 && despite_name != detection.format;
  const bool has_reader = kind && *kind->format != '\0' && FindFormat(kind->format, false) > 0;
  if (has_reader && detection.format > 0 && !is_other) kind.reset();
  turn.Print((turn.plan().json ? DetectionJson : DetectionText)(turn.input(), detection, candidates,
                                                                kind));
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

void Info(FileTurn& turn, bool with_notes) {
  NoSheet nothing;
  const ImportResult result = with_notes ? turn.Read(nothing) : turn.Measure();
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
  if (rows < result.rows) part += "rows 1-" + std::to_string(rows);
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

// Where each file goes.
struct ConvertPlan {
  OutputFormat format;
  std::vector<bool> collides;  // with the output of an earlier file
  bool force = false;
  bool is_sparse = false;
  bool describes_in_output = false;
  bool has_exact_names = false;
};

std::optional<Failure> SettleOutput(const Settings& settings, RunPlan& run, ConvertPlan& plan) {
  const bool into_folder = !settings.out_dir.empty();
  if (into_folder && !settings.output.empty())
    return WrongUsage("-o and --outdir exclude each other.",
                      "-o names one output, --outdir a folder for many; leave one of them out");
  if (!into_folder && settings.output.empty())
    return WrongUsage("There is no output.", "give -o OUT (- for standard output), or --outdir");
  if (!into_folder && run.inputs.size() > 1)
    return WrongUsage("Several files can't go into one output.",
                      "--outdir gives each its own, --together makes one sheet of them");

  std::string name = settings.to;
  if (name.empty()) {
    const std::string extension = NvGetFileExtension(settings.output);
    name = into_folder || settings.output == "-" || extension.empty() ? "csv" : extension;
  }
  const auto format = FindOutputFormat(name);
  if (!format)
    return WrongUsage(
        "\"" + ShownName(name) + "\" is no format that can be written.",
        "--to takes csv, tsv, jsonl or a format that \"nvimport formats\" says can be "
        "written");
  plan.format = *format;
  plan.force = settings.force;
  plan.is_sparse = settings.sparse;
  std::error_code error;
  if (into_folder) std::filesystem::create_directories(settings.out_dir, error);
  if (error)
    return Failure::OfSystem("The output folder could not be made.", ShownName(settings.out_dir),
                             error.value());
  std::set<std::string> taken;
  for (const Input& input : run.inputs) {
    std::string output = settings.output;
    if (into_folder) {
      const auto stem = std::filesystem::path(input.files.front()).filename().replace_extension();
      output = std::filesystem::path(settings.out_dir) / (stem.string() + plan.format.extension);
    }
    run.outputs.push_back(output);
    plan.collides.push_back(!taken.insert(output).second);
    if (settings.description.empty()) continue;
    std::filesystem::path description = settings.description;
    if (into_folder)
      description /= std::filesystem::path(output).filename().replace_extension(".json");
    run.descriptions.push_back(description);
  }
  if (into_folder && !settings.description.empty())
    std::filesystem::create_directories(settings.description, error);
  if (error)
    return Failure::OfSystem("The output folder could not be made.",
                             ShownName(settings.description), error.value());
  plan.has_exact_names = settings.x_names == "exact";
  plan.describes_in_output = settings.with_description;
  if (plan.describes_in_output && plan.format.own != SheetFormat::kJsonLines)
    return WrongUsage("Only JSON lines have room for a description.",
                      "--to jsonl writes them; --describe writes a file of its own");
  if (!run.descriptions.empty() || plan.describes_in_output || !settings.report.empty())
    run.import.describing = Describing::kAll;
  else if (plan.has_exact_names)
    run.import.describing = Describing::kX;
  return std::nullopt;
}

// Names the columns of spectra by their x values.
void NameExactly(MemorySheet& sheet, const Description& description) {
  int column = description.first_x_column();
  for (const double x : description.x()) {
    if (!sheet.IsMissing(column, 1)) sheet.SetExact(column, 1, x);
    ++column;
  }
}

// Writes what the file says of itself beside its output.
std::optional<Failure> WriteDescription(const std::string& path, bool force,
                                        const std::string& json) {
  BatchReport file(path, force, CommandWords());
  if (auto failure = file.Begin(json)) return failure;
  return file.End("\n");
}

void Convert(FileTurn& turn, const ConvertPlan& plan) {
  const std::string& output = turn.plan().outputs[turn.index()];
  if (plan.collides[turn.index()])
    return turn.Fail(
        {Failure::kFailed, kNotWritten,
         "another file goes into " + ShownName(output) + " already; another --outdir takes it",
         turn.input().shown});
  OutputTarget target(output, plan.force, CommandWords());
  if (const auto failure = target.Check()) return turn.Fail(*failure);
  const auto& descriptions = turn.plan().descriptions;
  const std::string described = descriptions.empty() ? "" : descriptions[turn.index()];
  if (!described.empty())
    if (const auto failure = OutputTarget(described, plan.force, CommandWords()).Check())
      return turn.Fail(*failure);
  MemorySheet sheet;
  const ImportResult result = turn.Read(sheet);
  auto failure = result.failure;
  std::vector<std::string> written;  // what there is to say of the output
  std::string description;
  if (!failure && (plan.describes_in_output || !described.empty()))
    description = EscapeInJson(Dumped(
        DescriptionJson(result.description, turn.plan().conversion.decoder, /*with_x=*/true)));
  if (!failure && plan.has_exact_names) NameExactly(sheet, result.description);
  if (!failure) {
    turn.progress().Begin("writing " + ShownName(output), "rows");
    failure = ExportSheet(
        sheet,
        {.path = output,
         .format = plan.format,
         .conversion = turn.plan().conversion,
         .head = plan.describes_in_output ? R"({"description":)" + description + "}\n" : "",
         .kept_rules = result.kept_rules,
         .is_sparse = plan.is_sparse,
         .progress = [&](auto row, auto rows) { return turn.progress().Advance(row, rows); },
         .note = [&](const std::string& note) { written.push_back(note); },
         .words = CommandWords()},
        target);
  }
  if (!failure && !described.empty())
    failure = WriteDescription(described, plan.force, description);
  if (failure) turn.Fail(*failure);
  turn.SayNotes(result);
  turn.SayOutputNotes(written);
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
  const auto failure =
      PrintData(settings.json ? EscapeInJson(json.dump(1) + "\n") : AlignedLines(lines));
  return failure ? SayFailure(*failure) : kDone;
}

int RunDetect(const Settings& settings) {
  FileRun run(settings);
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
  return run.ForEach([&](FileTurn& turn) { Convert(turn, plan); });
}

}  // namespace nvimport
