#include "python/Library.h"

#include <pybind11/pybind11.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <filesystem>

#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/export/Combination.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/hosting/import/DatabaseSource.h"
#include "nvimport/hosting/import/Import.h"

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

Refusal Cancelled() {
  Refusal refusal;
  refusal.kind = Refusal::Kind::kCancelled;
  refusal.code = kCancelled;
  refusal.text = "The import was cancelled.";
  return refusal;
}

}  // namespace

Import ReadSheet(const Request& request, bool with_cells) {
  const py::gil_scoped_release others_go_on;
  Import import;
  Signals signals;
  CallHost host;
  host.words = Words();
  host.goes_on = [&] { return signals.GoOn(); };
  // A database claims nothing: its rows come as they are.
  const bool is_file = std::ranges::none_of(request.paths, DatabaseSource::IsOne);
  import.cells = std::make_shared<DenseSheet>(is_file ? MatrixBytes(request.paths) : UINT64_MAX);
  static_cast<ReadResult&>(import) =
      ReadSheet(request, host, with_cells ? import.cells.get() : nullptr);
  if (signals.IsCancelled()) import.refusal = Cancelled();
  if (with_cells && !import.refusal) {
    import.cells->Finish();
    import.rows = import.cells->rows();
    import.columns = import.cells->columns();
  }
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
  if (auto refusal = TakeRequest(request, Words(), asked)) return refusal;
  if (const auto failure = CheckFiles(asked.files)) return WhyNot(*failure);
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
    if (auto failure = table.Settle()) refused = WhyNot(*failure);
  if (!refused)
    if (auto failure = table.Begin(/*is_sparse=*/true)) refused = WhyNot(*failure);
  Signals signals;
  for (std::size_t i = 0; i < surveyed.size(); ++i) {
    const Request& request = surveyed[i].first;
    std::optional<Refusal> refusal = refused;
    ImportRequest asked;
    if (!refusal) refusal = PrepareFormats(request.kept_rules);
    if (!refusal) refusal = TakeRequest(request, Words(), asked);
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

std::optional<Refusal> WriteCells(const DenseSheet& cells, const std::string& path,
                                  const std::string& format, bool overwrite,
                                  const std::string& pairs, std::vector<std::string>& notes) {
  const py::gil_scoped_release others_go_on;
  MemorySheet sheet;
  cells.CopyTo(sheet);
  Signals signals;
  CallHost host;
  host.words = Words();
  host.goes_on = [&] { return signals.GoOn(); };
  auto refusal = WriteSheetTo(path, sheet, format, overwrite, pairs, host, notes);
  if (signals.IsCancelled()) {
    refusal = Cancelled();
    refusal->text = kNotWritten;
  }
  return refusal;
}

}  // namespace nvimport
