#include "nvimport/hosting/export/Combination.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <exception>
#include <utility>

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/Thrown.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/hosting/import/EachSheet.h"
#include "nvimport/hosting/import/Sheets.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/ByteWriter.h"
#include "nvimport/platform/Files.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

// Rows that may come in any order among each other, from that of the names on: spectra name their
// columns while they go through the first of them, and there may be a row between the two.
constexpr int kHeldRows = 3;

constexpr const char* kFile = "file";
constexpr const char* kSheet = "sheet";

std::vector<SurveyedSheet::Stamp> StampsOf(const std::vector<std::string>& files) {
  std::vector<SurveyedSheet::Stamp> stamps;
  for (const std::string& file : files) {
    const PathStatus status = StatusOf(file.c_str());
    stamps.push_back({static_cast<std::int64_t>(status.identity.device),
                      static_cast<std::int64_t>(status.identity.number),
                      static_cast<std::int64_t>(status.size), status.modified});
  }
  return stamps;
}

// The row of names: of a table behind those that are skipped.
int NameRow(const Description& description, const ColumnRules& rules) {
  return description.x().empty() ? rules.skipped_rows + 1 : 1;
}

// Keeps the row of names and which columns hold anything.
class SurveySheet final : public ReadOnlySheet {
 public:
  explicit SurveySheet(const ColumnRules& rules) : rules_(rules) {}

  void Begin(const ImportResult& begun) {
    description_ = begun.description;
    name_row_ = NameRow(description_, rules_);
  }

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override {
    if (text == nullptr) return;
    if (Visits(column, row, KindOf(text))) head_.Set(column, 1, text);
  }
  void Set(int column, int row, const char* text, std::size_t) override { Set(column, row, text); }
  void Set(int column, int row, float value) override {
    if (Visits(column, row, ColumnKind::kNumbers)) head_.Set(column, 1, value);
  }
  bool TakesExact() override { return true; }
  void SetExact(int column, int row, double value) override {
    if (Visits(column, row, ColumnKind::kNumbers)) head_.SetExact(column, 1, value);
  }
  void SetExact(int column, int row, long long value) override {
    if (Visits(column, row, ColumnKind::kNumbers)) head_.SetExact(column, 1, value);
  }

  bool is_in_order() const { return is_in_order_; }
  // How many rows there are at most under the names.
  int rows() const { return std::max(row_ - name_row_ + 1, 0); }
  SheetColumns Columns() const {
    SheetColumns columns =
        FindColumns(head_, 1, static_cast<int>(below_.size()), below_, description_, rules_);
    if (columns.name_row > 0) columns.name_row = name_row_;
    return columns;
  }

 private:
  ColumnKind KindOf(const char* text) const {
    if (*text == '\0') return ColumnKind::kEmpty;
    return rules_.tells_kinds && ParseNumber(text, rules_.decimal_mark) ? ColumnKind::kNumberTexts
                                                                        : ColumnKind::kTexts;
  }

  // Whether the cell is one of the names.
  bool Visits(int column, int row, ColumnKind kind) {
    if (column < 1 || row < name_row_) return false;
    if (row != row_) [[unlikely]] {
      is_in_order_ = is_in_order_ && (row > row_ || row_ < name_row_ + kHeldRows);
      row_ = std::max(row, row_);
    }
    const auto at = static_cast<std::size_t>(column - 1);
    if (at >= below_.size()) below_.resize(at + 1);
    if (row == name_row_) return true;
    below_[at] = std::max(below_[at], kind);
    return false;
  }

  const ColumnRules& rules_;
  Description description_;
  MemorySheet head_;
  std::vector<ColumnKind> below_;
  int name_row_ = 1;
  int row_ = 0;
  bool is_in_order_ = true;
};

// Surveys one sheet; what came of that in `import`.
SurveyedSheet SurveyOne(ImportRequest request, const ColumnRules& rules, ImportResult& import) {
  SurveySheet sheet(rules);
  SurveyedSheet surveyed;
  surveyed.stamps = StampsOf(request.files);
  request.describing = Describing::kAll;
  request.leaves_size_open = true;
  request.begins = [&](const ImportResult& begun) { sheet.Begin(begun); };
  import = ImportFile(request, sheet);
  if (import.failure) return surveyed;
  surveyed.format = import.format;
  surveyed.options = import.options;
  surveyed.is_in_order = sheet.is_in_order();
  surveyed.rows = sheet.rows();
  surveyed.columns = sheet.Columns();
  const auto taken = SheetsTaken(import, SheetsWanted::kChosenWorksheets);
  if (taken.size() == 1) surveyed.name = taken.front();
  return surveyed;
}

void PutNumber(std::string& bytes, std::int64_t value) { AppendLittle(bytes, value); }

void PutText(std::string& bytes, std::string_view text) {
  PutNumber(bytes, static_cast<std::int64_t>(text.size()));
  bytes += text;
}

Failure NotMade(const std::string& why) { return Failure::OfSystem(kNotWritten, "", why); }

std::int64_t TakeNumber(ByteReader& reader) { return std::bit_cast<std::int64_t>(reader.F64()); }

std::string_view TakeText(ByteReader& reader) {
  return reader.Text(static_cast<std::size_t>(TakeNumber(reader)));
}

}  // namespace

std::string SurveyedSheet::Bytes(const std::vector<SurveyedSheet>& sheets) {
  std::string bytes;
  for (const SurveyedSheet& sheet : sheets) {
    PutText(bytes, sheet.name);
    PutNumber(bytes, sheet.format);
    PutText(bytes, {reinterpret_cast<const char*>(sheet.options.data()), sheet.options.size()});
    PutText(bytes, {reinterpret_cast<const char*>(sheet.stamps.data()),
                    sheet.stamps.size() * sizeof(Stamp)});
    PutNumber(bytes, sheet.is_in_order ? 1 : 0);
    PutNumber(bytes, sheet.rows);
    PutText(bytes, sheet.columns.Bytes());
  }
  return bytes;
}

std::optional<std::vector<SurveyedSheet>> SurveyedSheet::Parse(std::string_view bytes) {
  ByteReader reader(std::span(bytes.data(), bytes.size()));
  std::vector<SurveyedSheet> sheets;
  while (reader.remaining() > 0) {
    SurveyedSheet& sheet = sheets.emplace_back();
    sheet.name = TakeText(reader);
    sheet.format = static_cast<int>(TakeNumber(reader));
    const std::string_view options = TakeText(reader);
    sheet.options.assign(options.begin(), options.end());
    const std::string_view stamps = TakeText(reader);
    sheet.stamps.resize(stamps.size() / sizeof(Stamp));
    if (!stamps.empty()) stamps.copy(reinterpret_cast<char*>(sheet.stamps.data()), stamps.size());
    sheet.is_in_order = TakeNumber(reader) != 0;
    sheet.rows = static_cast<int>(TakeNumber(reader));
    auto columns = SheetColumns::Parse(TakeText(reader));
    if (!reader.ok() || !columns || stamps.size() % sizeof(Stamp) != 0) return std::nullopt;
    sheet.columns = std::move(*columns);
  }
  return sheets;
}

Survey SurveyFile(const ImportRequest& request, const ColumnRules& rules) {
  Survey survey;
  // Only then there may be several.
  if (!request.answers.sheets && request.dialogs == nullptr) {
    survey.sheets.push_back(SurveyOne(request, rules, survey.import));
  } else {
    SheetsOfFile found = FindSheets(request, SheetsWanted::kChosenWorksheets);
    survey.import = std::move(found.import);
    survey.import.rows = 0;
    survey.import.columns = 0;
    for (SheetOfFile& one : found.sheets) {
      ImportResult import;
      survey.sheets.push_back(SurveyOne(std::move(one.import), rules, import));
      survey.sheets.back().name = one.name;
      const auto take = [&](std::vector<std::string>& all, const std::vector<std::string>& own) {
        for (const std::string& text : own)
          all.push_back(found.sheets.size() > 1 ? one.name + ": " + text : text);
      };
      take(survey.import.notes, import.notes);
      take(survey.import.warnings, import.warnings);
      survey.import.rows += import.rows;
      survey.import.columns = std::max(survey.import.columns, import.columns);
      survey.import.failure = std::move(import.failure);
      if (survey.import.failure) break;
    }
  }
  if (survey.import.failure) survey.sheets.clear();
  return survey;
}

// Takes the cells of one sheet, and gives those of each row to the output when they are all there,
// under the columns of the table.
class CombinedTable::Rows final : public ReadOnlySheet {
 public:
  Rows(CombinedTable& table, const std::string& file, const SurveyedSheet& surveyed)
      : table_(table),
        file_(file),
        surveyed_(surveyed),
        cells_(static_cast<std::size_t>(table.column_count_) + 1) {}

  void Begin(const ImportResult& begun) {
    description_ = begun.description;
    first_row_ = NameRow(description_, table_.rules_.columns);
  }

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override {
    if (text != nullptr) Set(column, row, text, std::strlen(text));
  }
  void Set(int column, int row, const char* text, std::size_t length) override {
    if (text == nullptr) return;
    if (Holds(row)) return held_.Set(column, row, text);
    Put(column, row, {.kind = CellKind::kText, .text = {text, length}});
  }
  void Set(int column, int row, float value) override {
    if (Holds(row)) return held_.Set(column, row, value);
    Put(column, row, NumberCell(value));
  }
  bool TakesExact() override { return true; }
  void SetExact(int column, int row, double value) override {
    if (Holds(row)) return held_.SetExact(column, row, value);
    Put(column, row, NumberCell(value));
  }
  void SetExact(int column, int row, long long value) override {
    if (Holds(row)) return held_.SetExact(column, row, value);
    Put(column, row, NumberCell(value));
  }

  // Behind the last cell.
  void Finish() {
    if (!is_settled_) Settle();
    EndRow();
  }

  bool has_changed() const { return has_changed_; }
  bool has_written() const { return has_written_; }

 private:
  static constexpr int kUnknown = -1;

  struct Cell {
    CellKind kind = CellKind::kMissing;
    NumberKind number_kind = NumberKind::kFloat;
    float number = 0;
    double wide = 0;
    long long whole = 0;
    std::size_t text = 0;  // its place among the texts
    std::size_t length = 0;
  };

  bool Holds(int row) {
    if (is_settled_ || row < first_row_) return false;
    if (surveyed_.is_in_order && row >= first_row_ + kHeldRows) Settle();
    return !is_settled_;
  }

  // Finds the columns, by which the rows that were held back can go on their way.
  void Settle() {
    is_settled_ = true;
    const int width = held_.GetNumberOfColumns();
    SheetColumns columns =
        FindColumns(held_, first_row_, width, {}, description_, table_.rules_.columns);
    const auto& positions = table_.PositionsOf(columns);
    places_.assign(positions.size(), kUnknown);
    const auto place = [&](std::size_t column) {
      const bool is_left_out = positions[column] == CombinedColumns::kNone;
      places_[column] = is_left_out ? 0 : table_.PlaceOf(positions[column]);
      return !is_left_out;
    };
    for (const SheetColumns::Named& one : columns.named)
      if (!place(static_cast<std::size_t>(one.column))) HasChanged();
    for (std::size_t i = 0; i < columns.x.size(); ++i)
      if (!place(static_cast<std::size_t>(columns.first_x_column) + i) &&
          table_.columns_.has_all_x())
        HasChanged();
    has_names_ = columns.name_row > 0;
    lone_column_ = columns.has_spectra && columns.first_x_column > 1 ? 1 : 0;
    std::vector<MemoryCell> cells(static_cast<std::size_t>(width));
    for (int row = first_row_ + (has_names_ ? 1 : 0); row <= held_.GetNumberOfRows(); ++row) {
      held_.GetCells(1, row, cells);
      for (int column = 1; column <= width; ++column)
        if (const MemoryCell& cell = cells[static_cast<std::size_t>(column - 1)];
            cell.kind != CellKind::kMissing)
          Put(column, row, cell);
    }
    held_.Clear();
  }

  // The column of the output, 0 for none.
  int PlaceFor(int column) {
    const auto at = static_cast<std::size_t>(column);
    if (at >= places_.size()) places_.resize(at + 1, kUnknown);
    int& place = places_[at];
    if (place != kUnknown) [[likely]]
      return place;
    const std::size_t position = table_.columns_.PositionOfUnnamed(column);
    return place = position == CombinedColumns::kNone ? kUnknown : table_.PlaceOf(position);
  }

  void Put(int column, int row, const MemoryCell& cell) {
    if (column < 1 || row < first_row_ || (has_names_ && row == first_row_)) return;
    if (row != row_) {
      EndRow();
      if (row < row_) HasChanged();
      row_ = row;
      PutSource(0, file_);
      if (table_.rules_.has_sheets) PutSource(1, surveyed_.name);
    }
    const int place = PlaceFor(column);
    const bool is_empty = cell.kind == CellKind::kText && cell.text.empty();
    if (place == kUnknown && !is_empty) HasChanged();
    has_cells_ = has_cells_ || (column != lone_column_ && !is_empty);
    if (place < 1) return;
    Cell& kept = cells_[static_cast<std::size_t>(place)];
    if (kept.kind == CellKind::kMissing) set_.push_back(place);
    kept = {cell.kind, cell.number_kind, cell.number, cell.wide, cell.whole};
    if (cell.kind == CellKind::kText) KeepText(cell.text, kept);
  }

  void KeepText(std::string_view text, Cell& cell) {
    const std::string_view utf8 = table_.rules_.columns.decoder.Decode(text, decoded_);
    cell.text = texts_.size();
    cell.length = utf8.size();
    texts_.append(utf8).push_back('\0');
  }

  void EndRow() {
    if (has_cells_) WriteRow();
    for (const int place : set_) cells_[static_cast<std::size_t>(place)].kind = CellKind::kMissing;
    set_.clear();
    texts_.clear();
    has_cells_ = false;
  }

  void WriteRow() {
    StreamingSheet& out = table_.sheet_;
    if (table_.rows_ >= INT_MAX - 1) throw std::exception();
    const int row = ++table_.rows_ + 1;
    has_written_ = true;
    table_.cells_ += set_.size();
    if (!std::ranges::is_sorted(set_)) std::ranges::sort(set_);
    for (const int column : set_) {
      const Cell& cell = cells_[static_cast<std::size_t>(column)];
      if (cell.kind == CellKind::kText)
        out.Set(column, row, texts_.c_str() + cell.text, cell.length);
      else if (cell.number_kind == NumberKind::kFloat)
        out.Set(column, row, cell.number);
      else if (cell.number_kind == NumberKind::kDouble)
        out.SetExact(column, row, cell.wide);
      else
        out.SetExact(column, row, cell.whole);
    }
  }

  void PutSource(std::size_t position, const std::string& text) {
    const int place = table_.places_[position];
    if (place == 0 || text.empty()) return;
    Cell& cell = cells_[static_cast<std::size_t>(place)];
    cell = {CellKind::kText};
    cell.text = texts_.size();
    cell.length = text.size();
    texts_.append(text).push_back('\0');
    set_.push_back(place);
  }

  [[noreturn]] void HasChanged() {
    has_changed_ = true;
    throw std::exception();
  }

  CombinedTable& table_;
  const std::string& file_;
  const SurveyedSheet& surveyed_;
  Description description_;
  int first_row_ = 1;  // that of the names, if there are any
  bool has_names_ = false;
  int lone_column_ = 0;  // what stands there alone is no spectrum
  MemorySheet held_;
  bool is_settled_ = false;
  std::vector<int> places_;  // by column
  int row_ = 0;
  std::vector<Cell> cells_;  // of the row, by column of the output
  std::vector<int> set_;     // those that are there
  bool has_cells_ = false;
  std::string texts_;
  std::string decoded_;
  bool has_changed_ = false;
  bool has_written_ = false;
};

CombinedTable::CombinedTable(const CombinedColumns& columns, const CombinationRules& rules,
                             StreamingSheet& sheet)
    : columns_(columns), rules_(rules), sheet_(sheet) {}

std::optional<Failure> CombinedTable::Settle() {
  std::vector<std::string> sources = {kFile};
  if (rules_.has_sheets) sources.emplace_back(kSheet);
  names_ = columns_.Names(sources);
  if (names_.size() >= INT_MAX) return NotMade("a table has no room for so many columns");
  const int all = static_cast<int>(names_.size());
  const std::size_t first_x = names_.size() - columns_.x_count();
  std::vector<double> x;
  for (std::size_t i = first_x; i < names_.size(); ++i)
    x.push_back(*columns_.XAt(i - sources.size()));
  NumberRanges wanted;
  if (rules_.wanted)
    if (auto failure = rules_.wanted->Resolve({names_, static_cast<int>(first_x) + 1, x}, wanted))
      return failure;
  wanted.FitTo(all);
  column_count_ = wanted.CountOf(all);
  if (column_count_ == 0) {
    Failure failure = NotMade("no column of the table is among those asked for");
    failure.advice = "it has " + std::to_string(all) + " columns";
    return failure;
  }
  for (int number = 1; number <= all; ++number) places_.push_back(wanted.PositionOf(number));
  Describe();
  return std::nullopt;
}

// x values that don't stand in neighbouring columns are not told.
void CombinedTable::Describe() {
  const auto tell = [this](Axis axis, const AxisName& name) {
    if (!name.label.empty() || !name.unit.empty())
      description_.NameAxis(axis, name.label, name.unit);
  };
  tell(Axis::kX, columns_.x_name());
  tell(Axis::kY, columns_.y_name());
  const std::size_t first_x = names_.size() - columns_.x_count();
  std::vector<double> x;
  int first_column = 0;
  for (std::size_t i = first_x; i < names_.size(); ++i) {
    if (places_[i] == 0) continue;
    if (x.empty()) first_column = places_[i];
    if (places_[i] != first_column + static_cast<int>(x.size())) return;
    x.push_back(*columns_.XAt(i - (rules_.has_sheets ? 2 : 1)));
  }
  if (!x.empty()) description_.SetX(first_column, std::move(x));
}

const std::vector<std::size_t>& CombinedTable::PositionsOf(SheetColumns sheet) {
  const bool is_same = sheet.x == last_sheet_.x && sheet.named == last_sheet_.named &&
                       sheet.first_x_column == last_sheet_.first_x_column;
  if (!is_same) {
    last_positions_ = columns_.PositionsOf(sheet);
    last_sheet_ = std::move(sheet);
  }
  return last_positions_;
}

int CombinedTable::PlaceOf(std::size_t position) const {
  return places_[position + (rules_.has_sheets ? 2 : 1)];
}

std::optional<Failure> CombinedTable::Begin(bool is_sparse, SheetMetadata metadata) {
  sheet_.Begin({.columns = column_count_, .is_sparse = is_sparse, .metadata = std::move(metadata)});
  std::vector<std::size_t> order(static_cast<std::size_t>(column_count_), CombinedColumns::kNone);
  for (std::size_t i = 0; i < places_.size(); ++i)
    if (places_[i] > 0) order[static_cast<std::size_t>(places_[i]) - 1] = i;
  const std::string thrown = Thrown([&] {
    for (std::size_t i = 0; i < order.size(); ++i) {
      const int column = static_cast<int>(i) + 1;
      const std::size_t at = order[i];
      const std::size_t sources = rules_.has_sheets ? 2 : 1;
      const auto x =
          rules_.has_exact_names && at >= sources ? columns_.XAt(at - sources) : std::nullopt;
      if (x)
        sheet_.SetExact(column, 1, *x);
      else
        sheet_.Set(column, 1, names_[at].c_str(), names_[at].size());
    }
  });
  if (!thrown.empty()) return NotMade(thrown);
  return std::nullopt;
}

CombinedTable::Added CombinedTable::Add(ImportRequest request, const std::string& source,
                                        const SurveyedSheet& sheet) {
  const auto changed = [&](bool is_fatal) {
    return Added{Failure{Failure::kFailed, "The file changed while the table was made.",
                         "try again when nothing writes to it", NameOf(request)},
                 is_fatal};
  };
  const auto is_same = [&] {
    constexpr std::size_t kSize = 2;
    return std::ranges::equal(
        StampsOf(request.files), sheet.stamps, [&](const auto& own, const auto& surveyed) {
          return rules_.may_be_copies ? own[kSize] == surveyed[kSize] : own == surveyed;
        });
  };
  if (!is_same()) return changed(false);
  request.format = sheet.format;
  request.options = sheet.options;
  request.dialogs = nullptr;
  request.describing = Describing::kX;
  request.leaves_size_open = true;
  Rows rows(*this, source, sheet);
  request.begins = [&](const ImportResult& begun) { rows.Begin(begun); };
  const ImportResult result = ImportFile(request, rows);
  const std::string thrown = result.failure ? std::string() : Thrown([&] { rows.Finish(); });
  if (rows.has_changed() || !is_same()) return changed(rows.has_written());
  if (result.failure) return {result.failure, rows.has_written()};
  if (!thrown.empty()) return {NotMade(thrown), true};
  return {};
}

CombinedFile::CombinedFile(const CombinedColumns& columns, const CombinationRules& rules,
                           const ExportRequest& output, OutputTarget& target)
    : output_(output),
      target_(target),
      conversion_(output.conversion),
      sheet_(NewStreamingSheet(*output.format.own, conversion_, stream_)),
      table_(columns, rules, *sheet_) {
  conversion_.decoder = TextDecoder();
}

CombinedFile::~CombinedFile() { stream_.Abandon(); }

std::optional<Failure> CombinedFile::Settle() {
  auto failure = table_.Settle();
  if (failure && failure->text == kNotWritten) failure->where = target_.shown();
  return failure;
}

std::optional<Failure> CombinedFile::Begin(std::string_view head, SheetMetadata metadata) {
  if (auto failure = target_.Begin(stream_)) return failure;
  stream_.Write(HeadOf(*output_.format.own, head));
  if (table_.Begin(output_.is_sparse, std::move(metadata))) return WhyGivenUp();
  return std::nullopt;
}

CombinedTable::Added CombinedFile::Add(ImportRequest request, const std::string& source,
                                       const SurveyedSheet& sheet) {
  auto added = table_.Add(std::move(request), source, sheet);
  if (sheet_->gave_up() || stream_.failed()) return {WhyGivenUp(), true};
  return added;
}

std::optional<Failure> CombinedFile::Finish() {
  bool is_finished = false;
  const std::string thrown = Thrown([&] { is_finished = sheet_->Finish(); });
  if (!thrown.empty() || !is_finished) return WhyGivenUp();
  stream_.Close();
  NoteChanges(sheet_->broken(), output_);
  return target_.Commit();
}

Failure CombinedFile::WhyGivenUp() {
  if (stream_.failed()) {
    stream_.Close();
    if (auto failure = target_.Commit()) return *failure;
  }
  stream_.Abandon();
  const std::uint64_t cells = static_cast<std::uint64_t>(table_.rows() + 1) *
                              static_cast<std::uint64_t>(table_.column_count());
  if (!IsSparse(table_.cells(), cells * BytesPerCell(*output_.format.own)))
    return target_.Because("that format has no room for it, or can't take it row by row",
                           output_.words.other_output);
  return target_.Because("its few cells stand among more than 100 MB of delimiters",
                         output_.words.sparse);
}

}  // namespace nvimport
