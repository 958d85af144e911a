#include "python/Library.h"

#include <pybind11/pybind11.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/export/Combination.h"
#include "nvimport/hosting/export/Conversion.h"
#include "nvimport/hosting/export/Export.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/hosting/import/Complete.h"
#include "nvimport/hosting/import/Delimiters.h"
#include "nvimport/hosting/import/Detecting.h"
#include "nvimport/hosting/import/FileKinds.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/hosting/import/Import.h"
#include "nvimport/hosting/import/ItemList.h"
#include "nvimport/hosting/import/StoredImport.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace py = pybind11;

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kSignalInterval = std::chrono::milliseconds(50);

// Has Python look at its signals now and then, and stops the work when a handler raises.
class Signals {
 public:
  bool GoOn() {
    const auto now = Clock::now();
    if (now < next_) return !raised_;
    next_ = now + kSignalInterval;
    const py::gil_scoped_acquire interpreter;
    if (!raised_ && PyErr_CheckSignals() != 0) raised_.emplace();
    return !raised_;
  }

  // Whether the user stopped the work. What another handler raised goes on its way.
  bool IsCancelled() {
    if (!raised_) return false;
    const py::gil_scoped_acquire interpreter;
    if (!raised_->matches(PyExc_KeyboardInterrupt)) throw py::error_already_set(*raised_);
    raised_.reset();
    return true;
  }

 private:
  Clock::time_point next_ = Clock::now();
  std::optional<py::error_already_set> raised_;
};

Refusal RefuseArgument(std::string text) {
  Refusal refusal;
  refusal.kind = Refusal::Kind::kArgument;
  refusal.text = std::move(text);
  return refusal;
}

// The ways out of a failure as Python has them.
HostWords Words() {
  HostWords words;
  words.format_given = "as format= says; without it the format is detected";
  words.other_format = "format= reads it as another";
  words.any_format = "format= reads it as a given one all the same";
  words.all_cells = "kept_rules=False reads all cells";
  words.complete = "kept_rules=False may read it";
  words.by_kept_rules = "kept_rules=True reads it without NvImport Complete";
  words.choose_format = "format= chooses one";
  words.choose_among = "format= chooses among: ";
  words.password = "password= gives it";
  words.allow_query = "allow_query=True runs it";
  words.no_regular_file = "open it and pass the open file";
  words.replace = "overwrite=True replaces it";
  words.other_output = "format= writes it as another";
  words.reads = [](std::string_view format) {
    return "format=\"" + std::string(format) + "\" reads it";
  };
  return words;
}

// Of what is said of a file beside the library.
Refusal Outside(const Failure& failure) {
  Refusal refusal;
  refusal.text = failure.text;
  refusal.detail = failure.detail;
  refusal.advice = failure.advice;
  return refusal;
}

// The formats as the command has them.
std::optional<Refusal> PrepareFormats(std::optional<bool> kept_rules = std::nullopt) {
  bool by_environment = false;
  auto failure = TakeRulesOfEnvironment(by_environment);
  if (!failure) failure = UseComplete(kept_rules.value_or(by_environment));
  if (!failure) return std::nullopt;
  return Outside(*failure);
}

std::optional<Refusal> TakeRequest(const Request& request, ImportRequest& import) {
  import.files = request.paths;
  import.name = request.name;
  import.kept_rules = request.kept_rules;
  if (!request.format.empty()) {
    import.format = FindFormat(request.format, /*for_writing=*/false);
    if (import.format == 0)
      return RefuseArgument("There is no format \"" + ShownName(request.format) + "\".");
  }
  import.pairs = request.pairs;
  if (request.options) import.options.assign(request.options->begin(), request.options->end());
  GivenAnswers& answers = import.answers;
  if (request.delimiter) answers.text_import = ParseDelimiter(*request.delimiter);
  answers.ignore_consecutive = request.ignore_consecutive;
  answers.sheets = request.sheet;
  answers.blocks = request.blocks;
  answers.password = request.password;
  answers.allow_query = request.allow_query;
  import.words = Words();
  if (request.range) {
    answers.range = ParseRange(*request.range);
    if (!answers.range) return RefuseArgument("\"" + ShownName(*request.range) + "\" is no range.");
  }
  if (!request.merge.empty()) {
    const auto* const word = std::ranges::find(kMergeWords, request.merge);
    if (word == std::end(kMergeWords))
      return RefuseArgument("\"" + ShownName(request.merge) + "\" is no way to merge.");
    answers.merge = word - kMergeWords;
  }
  return std::nullopt;
}

// What a read may take in memory for the size that a file claims.
std::uint64_t MatrixBytes(const std::vector<std::string>& paths) {
  constexpr std::uint64_t kAnyFile = 16 << 20;
  constexpr std::uint64_t kPerByte = 4;
  std::uint64_t size = 0;
  for (const std::string& path : paths) {
    std::error_code none;
    const auto bytes = std::filesystem::file_size(path, none);
    if (!none) size += bytes;
  }
  return kAnyFile + kPerByte * size;
}

Refusal WhyNot(const Failure& failure, const ImportResult& result) {
  constexpr Refusal::Kind kKinds[] = {Refusal::Kind::kError,     Refusal::Kind::kArgument,
                                      Refusal::Kind::kChoice,    Refusal::Kind::kChoice,
                                      Refusal::Kind::kCancelled, Refusal::Kind::kError};
  Refusal refusal;
  refusal.kind = kKinds[failure.kind];
  if (failure.kind == Failure::kFormatUnknown && failure.candidates.empty())
    refusal.kind = Refusal::Kind::kError;
  refusal.code = failure.kind == Failure::kStopped ? kCancelled : failure.status;
  refusal.text = failure.text;
  refusal.format = FormatName(result.format);
  refusal.question = failure.question;
  refusal.candidates = failure.candidates;
  if (failure.status != 0) refusal.text += (failure.detail.empty() ? "" : " ") + failure.detail;
  refusal.detail = result.format == 0 && failure.status == 0 ? failure.detail : result.log_entry;
  refusal.advice = failure.advice;
  return refusal;
}

Refusal Cancelled() {
  Refusal refusal;
  refusal.kind = Refusal::Kind::kCancelled;
  refusal.code = kCancelled;
  refusal.text = "The import was cancelled.";
  return refusal;
}

// The numbers of the columns that are wanted by number or by name.
std::optional<Failure> TakeColumns(const Request& request, ImportRequest& asked, SheetShape& shape,
                                   ImportResult& result) {
  const auto columns = ColumnChoice::Parse(*request.columns);
  shape.skipped_rows = request.skipped_rows;
  if (columns) return FindColumns(*columns, TextDecoder(), shape, asked, result);
  return Failure{.kind = Failure::kArgument,
                 .text = "\"" + ShownName(*request.columns) + "\" are no columns."};
}

ImportResult ReadShaped(const Request& request, const ImportRequest& asked, SheetShape& shape,
                        DenseSheet& sheet) {
  shape.skipped_rows = request.skipped_rows;
  if (request.most_rows > 0) {
    shape.rows = *NumberRanges::Parse("1-" + std::to_string(request.most_rows));
    const std::int64_t last = std::int64_t{request.skipped_rows} + request.most_rows;
    sheet.EndBehind(static_cast<int>(std::min<std::int64_t>(last, INT_MAX)));
  }
  if (shape.IsWhole()) return ImportFile(asked, sheet);
  ShapedSheet shaped(shape, sheet);
  ImportRequest reading = asked;
  reading.begins = [&](const ImportResult& begun) {
    if (!shape.columns.are_rising()) shape.columns.FitTo(begun.columns);
    shaped.Begin(begun.columns, begun.rows, begun.description);
  };
  return ImportFile(reading, shaped);
}

// The x values of the columns that were read, where these follow one another.
void TakeX(const Description& description, const SheetShape& shape, Import& import) {
  const int columns = import.columns;
  std::vector<std::optional<double>> values(static_cast<std::size_t>(columns) + 1);
  for (std::size_t i = 0; i < description.x().size(); ++i) {
    const int place = shape.columns.PositionOf(description.first_x_column() + static_cast<int>(i));
    if (place > 0 && place <= columns) values[static_cast<std::size_t>(place)] = description.x()[i];
  }
  const auto first = std::ranges::find_if(values, [](auto& value) { return value.has_value(); });
  const auto last = std::find_if(first, values.end(), [](auto& value) { return !value; });
  if (std::any_of(last, values.end(), [](auto& value) { return value.has_value(); })) return;
  import.first_x_column = static_cast<int>(first - values.begin());
  for (auto value = first; value != last; ++value) import.x.push_back(**value);
}

bool HasXRow(const std::vector<unsigned char>& options) {
  auto stored = StoredImport::Parse(options)->options;
  const NvImportOpenOptions record{static_cast<int>(stored.size()), stored.data()};
  const auto pairs = OptionPairs::Parse(&record);
  return pairs && pairs->Find("xrow") == "1";
}

}  // namespace

Import ReadSheet(const Request& request, bool with_cells) {
  const py::gil_scoped_release others_go_on;
  Import import;
  ImportRequest asked;
  if ((import.refusal = PrepareFormats(request.kept_rules))) return import;
  if ((import.refusal = TakeRequest(request, asked))) return import;
  if (const auto failure = CheckFiles(request.paths)) {
    import.refusal = Outside(*failure);
    return import;
  }

  Signals signals;
  asked.progress = [&](const ImportProgress&) { return signals.GoOn(); };
  asked.describing = Describing::kAll;
  asked.leaves_size_open = with_cells;
  import.cells = std::make_shared<DenseSheet>(MatrixBytes(request.paths));
  ImportResult result;
  SheetShape shape;
  if (request.columns) result.failure = TakeColumns(request, asked, shape, result);
  if (!result.failure)
    result = with_cells ? ReadShaped(request, asked, shape, *import.cells) : MeasureFile(asked);
  if (signals.IsCancelled()) {
    import.refusal = Cancelled();
    return import;
  }
  if (with_cells && !result.failure && shape.columns.CountOf(result.columns) == 0)
    result.failure =
        Failure{.kind = Failure::kArgument,
                .text = "There is no column " + ShownName(*request.columns) + ".",
                .advice = "the sheet has " + std::to_string(result.columns) + " columns"};
  if (result.failure) {
    import.refusal = WhyNot(*result.failure, result);
    return import;
  }
  import.format = FormatName(result.format);
  // The last rows and columns may have no cells.
  if (with_cells)
    import.cells->Finish(shape.columns.CountOf(result.columns),
                         shape.rows.CountOf(std::max(result.rows - shape.skipped_rows, 0)));
  import.rows = with_cells ? import.cells->rows() : result.rows;
  import.columns = with_cells ? import.cells->columns() : result.columns;
  import.kept_rules = result.kept_rules;
  import.options.assign(result.options.begin(), result.options.end());
  import.pairs = UnaskedOptionsOf(import.format);
  for (const AnsweredQuestion& question : result.questions)
    import.choices.push_back(
        {question.name, question.answer,
         question.source == AnsweredQuestion::Source::kGiven ? "given" : "guessed",
         question.entries, question.names});
  import.notes = result.notes;
  TakeX(result.description, shape, import);
  import.description = std::move(result.description);
  import.warnings = result.warnings;
  import.has_x_row = HasOption(import.format, "xrow") && HasXRow(result.options);
  return import;
}

std::string TableColumns::Bytes() const {
  return std::string(1, has_sheets ? 's' : '-') + columns.Bytes();
}

std::optional<TableColumns> TableColumns::Parse(std::string_view bytes) {
  if (bytes.empty()) return std::nullopt;
  auto columns = CombinedColumns::Parse(bytes.substr(1));
  if (!columns) return std::nullopt;
  return TableColumns{std::move(*columns), bytes.front() == 's'};
}

std::optional<Refusal> SurveySheets(const Request& request, const ColumnRules& rules,
                                    TableColumns& columns, std::string& sheets) {
  const py::gil_scoped_release others_go_on;
  ImportRequest asked;
  if (auto refusal = PrepareFormats(request.kept_rules)) return refusal;
  if (auto refusal = TakeRequest(request, asked)) return refusal;
  if (const auto failure = CheckFiles(request.paths)) return Outside(*failure);
  Signals signals;
  asked.progress = [&](const ImportProgress&) { return signals.GoOn(); };
  Survey survey = SurveyFile(asked, rules);
  if (signals.IsCancelled()) return Cancelled();
  if (survey.import.failure) return WhyNot(*survey.import.failure, survey.import);
  for (SurveyedSheet& sheet : survey.sheets) {
    columns.columns.Add(sheet.columns);
    columns.has_sheets = columns.has_sheets || !sheet.name.empty();
    sheet.columns = {};
  }
  columns.columns.Settle();
  sheets = SurveyedSheet::Bytes(survey.sheets);
  return std::nullopt;
}

namespace {

// Gathers the rows of a table, as many as were counted.
class GatheringSheet final : public StreamingSheet {
 public:
  GatheringSheet(DenseSheet& cells, int rows) : cells_(cells), rows_(rows) {}

  void Begin(StreamedRows rows) override { cells_.SetDataSize(rows.columns, rows_); }
  bool Finish() override { return true; }
  std::size_t broken() const override { return 0; }
  bool is_empty() const override { return false; }
  int widened_at() const override { return 0; }

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override { cells_.Set(column, row, text); }
  void Set(int column, int row, float value) override { cells_.Set(column, row, value); }
  bool TakesExact() override { return true; }
  void SetExact(int column, int row, double value) override { cells_.SetExact(column, row, value); }
  void SetExact(int column, int row, long long value) override {
    cells_.SetExact(column, row, value);
  }

 private:
  DenseSheet& cells_;
  int rows_;
};

}  // namespace

GatheredRows GatherRows(const std::vector<std::pair<Request, std::string>>& surveyed,
                        const ColumnRules& rules, const TableColumns& columns) {
  const py::gil_scoped_release others_go_on;
  GatheredRows gathered;
  std::vector<std::vector<SurveyedSheet>> sheets;
  std::int64_t rows = 1;
  for (const auto& [request, bytes] : surveyed) {
    sheets.push_back(SurveyedSheet::Parse(bytes).value_or(std::vector<SurveyedSheet>()));
    for (const SurveyedSheet& sheet : sheets.back()) rows += sheet.rows;
  }
  constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};  // they were counted
  gathered.cells = std::make_shared<DenseSheet>(kNoLimit);
  GatheringSheet out(*gathered.cells, static_cast<int>(std::min<std::int64_t>(rows, INT_MAX)));
  const CombinationRules combination{
      .columns = rules, .has_sheets = columns.has_sheets, .may_be_copies = true};
  CombinedTable table(columns.columns, combination, out);
  std::optional<Refusal> refused = PrepareFormats();
  if (!refused)
    if (auto failure = table.Settle()) refused = Outside(*failure);
  if (!refused)
    if (auto failure = table.Begin(/*is_sparse=*/true)) refused = Outside(*failure);
  Signals signals;
  for (std::size_t i = 0; i < surveyed.size(); ++i) {
    const Request& request = surveyed[i].first;
    std::optional<Refusal> refusal = refused;
    ImportRequest asked;
    if (!refusal) refusal = PrepareFormats(request.kept_rules);
    if (!refusal) refusal = TakeRequest(request, asked);
    asked.progress = [&](const ImportProgress&) { return signals.GoOn(); };
    const int before = table.rows();
    for (const SurveyedSheet& sheet : sheets[i]) {
      if (refusal) break;
      if (auto added = table.Add(asked, ToUtf8(request.name), sheet); added.failure) {
        ImportResult result;
        result.format = sheet.format;
        refusal = WhyNot(*added.failure, result);
      }
      if (signals.IsCancelled()) refused = refusal = Cancelled();
    }
    gathered.refusals.push_back(std::move(refusal));
    gathered.rows_of.push_back(table.rows() - before);
  }
  gathered.rows = table.rows();
  return gathered;
}

Detected DetectSheet(const std::string& path, std::optional<bool> kept_rules) {
  const py::gil_scoped_release others_go_on;
  Detected detected;
  if ((detected.refusal = PrepareFormats(kept_rules))) return detected;
  bool kept = false;
  if (!kept_rules) TakeRulesOfEnvironment(kept);
  if (const auto failure = CheckFiles({path})) {
    detected.refusal = Outside(*failure);
    return detected;
  }
  const Detection detection = DetectFormat(path, kept_rules.value_or(kept));
  detected.format = FormatName(detection.format);
  detected.reason = DetectionReason(detection, path);
  const auto kind = RecogniseKind(path);
  if (kind && (detection.format < 1 || *kind->format == '\0')) detected.looks_like = kind->name;
  for (const int format : detection.candidates) detected.candidates.push_back(FormatName(format));
  constexpr const char* kAnswers[] = {"no", "possible", "certain"};
  for (std::size_t i = 0; i < detection.answers.size(); ++i)
    detected.answers.emplace_back(FormatName(static_cast<int>(i) + 1),
                                  kAnswers[std::clamp(detection.answers[i], 0, 2)]);
  return detected;
}

std::vector<ListedFormat> ListFormats() {
  const py::gil_scoped_release others_go_on;
  PrepareFormats();
  std::vector<ListedFormat> formats;
  for (int format = 1; format <= FormatCount(); ++format) {
    const NvImportFormatInfo& info = FormatAt(format);
    std::vector<std::string> extensions = Extensions(info);
    for (std::string& extension : extensions) extension = ToUtf8(extension);
    formats.push_back({format, ToUtf8(info.name), std::move(extensions), HasReader(format),
                       HasWriter(format), info.several_at_once,
                       ToUtf8(FormatList::Get().GetLibraryPath(format))});
  }
  return formats;
}

std::optional<Refusal> WriteCells(const DenseSheet& cells, const std::string& path,
                                  const std::string& format, bool overwrite,
                                  const std::string& pairs, std::vector<std::string>& notes) {
  const py::gil_scoped_release others_go_on;
  if (auto refusal = PrepareFormats()) return refusal;
  const std::string name = format.empty() ? NvGetFileExtension(path) : format;
  const auto output = FindOutputFormat(name);
  if (!output) {
    Refusal unknown = RefuseArgument(name.empty() ? "The path says no format."
                                                  : "\"" + ShownName(name) +
                                                        "\" is no format that can be written.");
    unknown.advice = "format= names one";
    return unknown;
  }
  Refusal refusal;
  std::error_code none;
  if (!overwrite && std::filesystem::exists(std::filesystem::symlink_status(path, none))) {
    refusal.text = kNotWritten;
    refusal.detail = "it exists already";
    refusal.advice = Words().replace;
    return refusal;
  }
  MemorySheet sheet;
  cells.CopyTo(sheet);
  Signals signals;
  ExportRequest request{path, *output};
  request.replaces = overwrite;
  request.words = Words();
  request.pairs = pairs;
  request.progress = [&](auto, auto) { return signals.GoOn(); };
  request.note = [&](const std::string& note) { notes.push_back(note); };
  const auto failure = ExportSheet(sheet, request);
  if (signals.IsCancelled()) {
    refusal.kind = Refusal::Kind::kCancelled;
    refusal.code = kCancelled;
    refusal.text = kNotWritten;
    return refusal;
  }
  if (!failure) return std::nullopt;
  return Outside(*failure);
}

}  // namespace nvimport
