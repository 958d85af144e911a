#include "nvimport/hosting/calls/Calls.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <utility>

#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/export/ColumnChoice.h"
#include "nvimport/hosting/export/Conversion.h"
#include "nvimport/hosting/export/Export.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/hosting/export/ShapedSheet.h"
#include "nvimport/hosting/import/Complete.h"
#include "nvimport/hosting/import/DatabaseSource.h"
#include "nvimport/hosting/import/Delimiters.h"
#include "nvimport/hosting/import/Detecting.h"
#include "nvimport/hosting/import/FileKinds.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/hosting/import/ItemList.h"
#include "nvimport/hosting/import/StoredImport.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

Refusal RefuseArgument(std::string text) {
  Refusal refusal;
  refusal.kind = Refusal::Kind::kArgument;
  refusal.text = std::move(text);
  return refusal;
}

// A database in place of a file, where one is named.
std::optional<Refusal> TakeDatabase(const Request& request, ImportRequest& import) {
  if (std::ranges::none_of(request.paths, DatabaseSource::IsOne)) {
    if (!request.query && request.parameters.empty()) return std::nullopt;
    return RefuseArgument("There is no database to ask.");
  }
  if (request.paths.size() > 1) return RefuseArgument("A database is read by itself.");
  const auto failure = DatabaseSource::Take(request.paths.front(), request.query.value_or(""),
                                            request.parameters, import);
  if (failure) return WhyNot(*failure, ImportResult());
  return std::nullopt;
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
                        CallSheet& sheet) {
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
    if (asked.begins) asked.begins(begun);
    shaped.Begin(begun.columns, begun.rows, begun.description);
  };
  return ImportFile(reading, shaped);
}

// The x values of the columns that were read, where these follow one another.
void TakeX(const Description& description, const SheetShape& shape, ReadResult& import) {
  const int columns = import.columns;
  if (shape.columns.are_all()) {
    import.first_x_column = description.first_x_column();
    import.x = description.x();
    return;
  }
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

// What is known of a sheet once its size is.
void TakeSize(const ImportResult& result, const SheetShape& shape, ReadResult& read) {
  read.format = FormatName(result.format);
  read.rows = shape.rows.CountOf(std::max(result.rows - shape.skipped_rows, 0));
  read.columns = shape.columns.CountOf(result.columns);
  read.first_x_column = 0;
  read.x.clear();
  TakeX(result.description, shape, read);
  read.has_x_row = HasOption(read.format, "xrow") && HasXRow(result.options);
}

}  // namespace

std::optional<Refusal> PrepareFormats(std::optional<bool> kept_rules) {
  bool by_environment = false;
  auto failure = TakeRulesOfEnvironment(by_environment);
  if (!failure) failure = UseComplete(kept_rules.value_or(by_environment));
  if (!failure) return std::nullopt;
  return WhyNot(*failure);
}

std::optional<Refusal> TakeRequest(const Request& request, const HostWords& words,
                                   ImportRequest& import) {
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
  import.words = words;
  if (auto refusal = TakeDatabase(request, import)) return refusal;
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

Refusal WhyNot(const Failure& failure) {
  Refusal refusal;
  refusal.text = failure.text;
  refusal.detail = failure.detail;
  refusal.advice = failure.advice;
  return refusal;
}

ReadResult ReadSheet(const Request& request, const CallHost& host, CallSheet* sheet) {
  ReadResult read;
  ImportRequest asked;
  if ((read.refusal = PrepareFormats(request.kept_rules))) return read;
  if ((read.refusal = TakeRequest(request, host.words, asked))) return read;
  if (const auto failure = CheckFiles(asked.files)) {
    read.refusal = WhyNot(*failure);
    return read;
  }

  if (host.goes_on) asked.progress = [&](const ImportProgress&) { return host.goes_on(); };
  asked.describing = Describing::kAll;
  asked.leaves_size_open = sheet != nullptr && host.leaves_size_open;
  ImportResult result;
  SheetShape shape;
  if (request.columns) result.failure = TakeColumns(request, asked, shape, result);
  const NumberRanges wanted = shape.columns;
  if (host.begins) {
    asked.begins = [&](const ImportResult& begun) {
      TakeSize(begun, shape, read);
      host.begins(read);
    };
  }
  if (!result.failure)
    result = sheet != nullptr ? ReadShaped(request, asked, shape, *sheet) : MeasureFile(asked);
  if (const int lacking = wanted.FirstBeyond(result.columns); !result.failure && lacking > 0)
    result.failure =
        Failure{.kind = Failure::kArgument,
                .text = "There is no column " + std::to_string(lacking) + ".",
                .advice = "the sheet has " + std::to_string(result.columns) + " columns"};
  if (result.failure) {
    read.refusal = WhyNot(*result.failure, result);
    return read;
  }
  TakeSize(result, shape, read);
  // The last rows and columns may have no cells.
  if (sheet != nullptr) {
    sheet->SetDataSize(read.columns, read.rows);
  } else {
    read.rows = result.rows;
    read.columns = result.columns;
  }
  read.kept_rules = result.kept_rules;
  read.options.assign(result.options.begin(), result.options.end());
  read.pairs = UnaskedOptionsOf(read.format);
  for (const AnsweredQuestion& question : result.questions)
    read.choices.push_back(
        {question.name, question.answer,
         question.source == AnsweredQuestion::Source::kGiven ? "given" : "guessed",
         question.entries, question.names});
  read.notes = result.notes;
  read.description = std::move(result.description);
  read.warnings = result.warnings;
  return read;
}

Detected DetectSheet(const std::string& path, std::optional<bool> kept_rules) {
  Detected detected;
  if ((detected.refusal = PrepareFormats(kept_rules))) return detected;
  bool kept = false;
  if (!kept_rules) TakeRulesOfEnvironment(kept);
  if (const auto failure = CheckFiles({path})) {
    detected.refusal = WhyNot(*failure);
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

std::optional<Refusal> WriteSheetTo(const std::string& path, MemorySheet& sheet,
                                    const std::string& format, bool overwrite,
                                    const std::string& pairs, const CallHost& host,
                                    std::vector<std::string>& notes) {
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
  std::error_code none;
  if (!overwrite && std::filesystem::exists(std::filesystem::symlink_status(path, none))) {
    Refusal refusal;
    refusal.text = kNotWritten;
    refusal.detail = "it exists already";
    refusal.advice = host.words.replace;
    return refusal;
  }
  ExportRequest request{path, *output};
  request.replaces = overwrite;
  request.words = host.words;
  request.pairs = pairs;
  if (host.goes_on) request.progress = [&](auto, auto) { return host.goes_on(); };
  request.note = [&](const std::string& note) { notes.push_back(note); };
  const auto failure = ExportSheet(sheet, request);
  if (!failure) return std::nullopt;
  Refusal refusal = WhyNot(*failure);
  if (failure->kind == Failure::kStopped) {
    refusal.kind = Refusal::Kind::kCancelled;
    refusal.code = kCancelled;
  }
  return refusal;
}

}  // namespace nvimport
