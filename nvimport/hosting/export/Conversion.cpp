#include "nvimport/hosting/export/Conversion.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "nvimport/hosting/Thrown.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/hosting/export/SheetWriters.h"
#include "nvimport/hosting/export/TiledSheet.h"
#include "nvimport/platform/FilePath.h"

namespace nvimport {

namespace {

// Those whose cells come in order in every file: they need no second place for what is to go into a
// pipe, from which nothing can be taken back.
constexpr std::string_view kInOrder[] = {"Text File", "CSV File"};

// Imports into a sheet what is wanted of the file. `begins` is told how wide that will be.
ImportResult ImportShaped(const ConversionRequest& request, SpreadsheetData& sheet,
                          const std::function<void(const ImportResult&, int columns)>& begins) {
  ShapedSheet shaped(request.shape, sheet);
  const bool is_whole = request.shape.IsWhole();
  ImportRequest reading = request.import;
  reading.begins = [&](const ImportResult& begun) {
    if (request.import.begins) request.import.begins(begun);
    begins(begun,
           is_whole ? begun.columns : shaped.Begin(begun.columns, begun.rows, begun.description));
  };
  return is_whole ? ImportFile(reading, sheet) : ImportFile(reading, shaped);
}

// Of a shape that leaves nothing of a sheet, which is never empty itself.
Failure NothingWanted(const OutputTarget& target, const ImportResult& import) {
  Failure failure = target.Because("no cell stands in the columns and rows asked for");
  failure.advice = "the sheet has " + std::to_string(import.rows) + " rows and " +
                   std::to_string(import.columns) + " columns";
  return failure;
}

// Whether so many cells are better kept in a temporary file, and are likely to be there.
bool IsLarge(const ImportRequest& import, const ImportResult& begun) {
  constexpr std::uint64_t kFew = 1'000'000;   // that memory takes anyway
  constexpr std::uint64_t kMostPerByte = 64;  // of a file with a cell in every place
  std::uint64_t bytes = 0;
  for (const std::string& file : import.files) {
    std::error_code none;
    const std::uintmax_t size = std::filesystem::file_size(FilePath(file), none);
    if (!none) bytes += size;
  }
  const std::uint64_t cells = static_cast<std::uint64_t>(std::max(begun.columns, 0)) *
                              static_cast<std::uint64_t>(std::max(begun.rows, 0));
  return cells > kFew && cells / kMostPerByte < bytes;
}

void NoteLacking(const ConversionRequest& request, const ImportResult& import) {
  const int lacking = request.shape.columns.FirstBeyond(import.columns);
  if (lacking > 0 && request.output.note)
    request.output.note("there is no column " + std::to_string(lacking) + ", the sheet has " +
                        std::to_string(import.columns) + " columns");
}

// Reads all before it is written.
std::optional<Failure> WriteHeld(const ConversionRequest& request, OutputTarget& target,
                                 ConversionResult& result) {
  MemorySheet sheet;
  std::optional<TiledSheet> tiled;
  ShapedSheet shaped(request.shape, sheet);
  ImportRequest reading = request.import;
  reading.begins = [&](const ImportResult& begun) {
    if (request.import.begins) request.import.begins(begun);
    if (IsLarge(request.import, begun)) {
      const bool stands = request.shape.is_transposed;
      tiled.emplace(request.shape.is_long ? 3 : stands ? begun.rows : begun.columns);
      shaped.SetTarget(*tiled);
    }
    shaped.Begin(begun.columns, begun.rows, begun.description);
  };
  result.import = ImportFile(reading, shaped);
  if (tiled && result.import.failure && result.import.failure->text == TiledSheet::kNoRoom)
    return target.Because(TiledSheet::kNoRoom, "TMPDIR may name a folder with more room");
  if (result.import.failure) return result.import.failure;
  SpreadsheetData* held = &sheet;
  if (tiled) held = &*tiled;
  if (held->GetNumberOfColumns() == 0 || held->GetNumberOfRows() == 0)
    return NothingWanted(target, result.import);
  NoteLacking(request, result.import);
  ExportRequest output = request.output;
  output.kept_rules = result.import.kept_rules;
  if (request.head) output.head = request.head(result.import);
  if (request.metadata) output.metadata = request.metadata(result.import);
  if (request.begins_writing) request.begins_writing();
  return tiled ? ExportSheet(*tiled, output, target) : ExportSheet(sheet, output, target);
}

// A conversion whose rows are written as they come.
class Streaming {
 public:
  // With an open size the rows are written as wide as the first ones of them.
  Streaming(const ConversionRequest& request, OutputTarget& target, bool has_open_size)
      : request_(request),
        target_(target),
        sheet_(NewStreamingSheet(*request.output.format.own, request.output.conversion, stream_)) {
    request_.import.leaves_size_open = has_open_size;
  }

  // False when the rows don't come so; the result's import then can be repeated.
  bool Run(ConversionResult& result) {
    result.import = ImportShaped(
        request_, *sheet_, [&](const ImportResult& begun, int columns) { Begin(begun, columns); });
    result.failure = failure_ ? failure_ : result.import.failure;
    if (!result.failure && IsFinished()) {
      if (sheet_->is_empty()) {
        stream_.Abandon();
        result.failure = NothingWanted(target_, result.import);
        return true;
      }
      stream_.Close();
      NoteChanges(sheet_->broken(), request_.output);
      NoteLacking(request_, result.import);
      NoteWidened();
      result.failure = target_.Commit();
      return true;
    }
    if (sheet_->gave_up() || !result.failure) return EndEarly(result);
    stream_.Abandon();
    return true;
  }

  // Whether the size was open that it was asked to leave so.
  bool had_open_size() const { return had_open_size_; }

 private:
  void Begin(const ImportResult& begun, int columns) {
    const bool is_in_order =
        request_.shape.KeepsOrder() &&
        std::ranges::find(kInOrder, FormatName(begun.format)) != std::end(kInOrder);
    had_open_size_ = begun.rows < 0;
    failure_ = target_.Begin(stream_, !is_in_order);
    if (failure_) throw std::exception();
    stream_.Write(HeadOf(*request_.output.format.own, request_.head ? request_.head(begun) : ""));
    sheet_->Begin({columns, IsFromPipe(), request_.output.is_sparse,
                   request_.metadata ? request_.metadata(begun) : SheetMetadata()});
  }

  // From which nothing can be read twice.
  bool IsFromPipe() const { return request_.import.continues >= 0; }

  void NoteWidened() const {
    if (sheet_->widened_at() > 0 && request_.output.note)
      request_.output.note("row " + std::to_string(sheet_->widened_at()) +
                           " has more columns than the rows before it, which were written already");
  }

  bool IsFinished() {
    bool finished = false;
    return Thrown([&] { finished = sheet_->Finish(); }).empty() && finished;
  }

  // Of what came otherwise than it was to come, or could not be written.
  bool EndEarly(ConversionResult& result) {
    if (stream_.failed()) {
      stream_.Close();
      result.failure = target_.Commit();
      return true;
    }
    const bool may_write_again = stream_.Abandon() || target_.can_begin_again();
    if (may_write_again && !IsFromPipe()) return false;
    result.failure = target_.Because("its cells come in no order that a pipe can take",
                                     request_.output.words.other_output);
    return true;
  }

  ConversionRequest request_;
  OutputTarget& target_;
  bool had_open_size_ = false;
  OutputFile stream_;
  std::unique_ptr<StreamingSheet> sheet_;
  std::optional<Failure> failure_;  // of the target
};

}  // namespace

namespace {

// The same import again, of which what was asked is not asked again.
ImportRequest Again(const ImportRequest& request, const ImportResult& result) {
  ImportRequest again = request;
  again.files = result.files;
  if (again.dialogs != nullptr) again.format = result.format;
  again.options = result.options;
  return again;
}

}  // namespace

std::optional<Failure> FindColumns(const ColumnChoice& columns, const TextDecoder& decoder,
                                   SheetShape& shape, ImportRequest& import, ImportResult& found) {
  const int row = shape.skipped_rows + 1;
  HeadSheet head(INT_MAX, row);
  ImportRequest reading = import;
  reading.begins = nullptr;
  reading.describing = Describing::kX;
  reading.leaves_size_open = true;
  found = ImportFile(reading, head);
  if (found.failure) return found.failure;
  NamedColumns named{{}, found.description.first_x_column(), found.description.x()};
  FloatText number;
  std::string decoded;
  for (int column = 1; column <= head.head_columns(); ++column) {
    const MemoryCell cell = head.head().GetCell(column, row);
    named.names.emplace_back(cell.kind == CellKind::kNumber ? FormatNumber(cell, number)
                                                            : decoder.Decode(cell.text, decoded));
  }
  import = Again(import, found);
  auto failure = columns.Resolve(named, shape.columns);
  if (failure) failure->where = NameOf(import);
  return failure;
}

ConversionResult ConvertFile(const ConversionRequest& request, OutputTarget& target) {
  ConversionResult result;
  ConversionRequest now = request;
  std::optional<std::vector<AnsweredQuestion>> asked;
  const auto repeat = [&] {
    now.import = Again(now.import, result.import);
    if (!asked) asked = std::move(result.import.questions);
  };
  if (request.columns) {
    const TextDecoder& decoder = now.output.conversion.decoder;
    result.failure = FindColumns(*now.columns, decoder, now.shape, now.import, result.import);
    if (result.failure) return result;
    asked = std::move(result.import.questions);
  }
  bool is_done = false;
  if (request.output.format.own && !request.shape.is_transposed) {
    // Rows that become wider further on are so rare that looking for them first does not pay, but
    // from a stream nothing could be taken back then.
    bool has_open_size =
        now.shape.KeepsOrder() && (now.import.continues >= 0 || !target.IsStream());
    do {
      Streaming streaming(now, target, has_open_size);
      is_done = streaming.Run(result);
      has_open_size = !is_done && streaming.had_open_size();
      if (!is_done) repeat();
    } while (std::exchange(has_open_size, false));
  }
  if (!is_done) result.failure = WriteHeld(now, target, result);
  if (asked) result.import.questions = std::move(*asked);
  return result;
}

}  // namespace nvimport
