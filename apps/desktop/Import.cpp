#include "apps/desktop/Import.h"

#include <QFileInfo>
#include <QObject>
#include <algorithm>
#include <span>

#include "apps/desktop/LibraryThread.h"
#include "apps/desktop/SheetText.h"
#include "apps/desktop/SheetView.h"
#include "apps/desktop/WindowDialogs.h"
#include "nvimport/framework/ImportHelper.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/Thrown.h"
#include "nvimport/hosting/import/DecimalGuess.h"
#include "nvimport/hosting/import/Delimiters.h"
#include "nvimport/hosting/import/FileKinds.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/hosting/import/Import.h"

namespace nvimport {

namespace {

QString Files(const std::vector<std::string>& files) {
  QStringList names;
  constexpr std::size_t kMost = 5;
  for (const std::string& file : std::span(files).first(std::min(files.size(), kMost)))
    names.push_back(FromBytes(file));
  if (files.size() > kMost) names.push_back(QObject::tr("and %1 more").arg(files.size() - kMost));
  return names.join('\n');
}

// What the user can do about a file that was not read as `format`, empty where that is not settled.
QString Advice(const OpenRequest& request, const Failure& failure, const std::string& format,
               const QString& logged) {
  // No file type helps where there is no file.
  if (failure.kind == Failure::kMissing) return FromBytes(failure.advice);
  QStringList advice;
  const auto kind = RecogniseKind(request.files.front());
  if (kind && (format.empty() || kind->format != format))
    advice.push_back(*kind->format == '\0'
                         ? QObject::tr("It looks like %1.").arg(FromBytes(kind->name))
                         : QObject::tr("It looks like %1; the file type \"%2\" reads it.")
                               .arg(FromBytes(kind->name), FromBytes(kind->format)));
  if (!logged.isEmpty()) advice.push_back(logged);
  if (request.files.size() > 1)
    advice.push_back(QObject::tr("\"Open each\" opens every file in a tab of its own."));
  else if (request.filter != 1 || format.empty())
    advice.push_back(
        request.filter != 1
            ? QObject::tr("Choose \"Supported Files\" in the open dialog to have the file type "
                          "detected.")
            : QObject::tr("Choose a file type in the open dialog to have the file read as such."));
  else
    advice.push_back(
        QObject::tr("If the file is of another type, choose that type in the open dialog."));
  return advice.join('\n');
}

// "Text File (*.txt)" and "*.txt;*.dat" as one filter.
QString Filter(const QString& text, const QString& patterns) {
  const QString name = text.left(text.indexOf('(')).simplified();
  return name + " (" + patterns.split(';', Qt::SkipEmptyParts).join(' ') + ")";
}

// The pairs of texts that end with an empty one.
std::vector<std::pair<QString, QString>> FilterPairs(const char* texts) {
  std::vector<std::pair<QString, QString>> pairs;
  for (const char* at = texts; *at != '\0';) {
    const std::string_view text = at;
    const std::string_view patterns = at + text.size() + 1;
    pairs.emplace_back(FromBytes(text), FromBytes(patterns));
    at = patterns.data() + patterns.size() + 1;
  }
  return pairs;
}

// As a format that reads delimited texts.
bool IsTextFormat(int format) {
  return format != 0 && format == FindFormat("Text File", /*for_writing=*/false);
}
int CsvFormat() { return FindFormat("CSV File", /*for_writing=*/false); }

// How a text was read without a question.
TextReading ReadingOf(const ImportResult& read, MemorySheet& sheet) {
  TextReading reading;
  if (read.format == CsvFormat()) reading.quote = '"';
  for (const AnsweredQuestion& question : read.questions)
    if (question.name == "delimiter") {
      reading.split = ParseDelimiter(question.value);
      reading.split.ignore_consecutive = question.ignore_consecutive;
    }
  reading.marks.decimal = GuessDecimalMark(sheet);
  return reading;
}

void ReadAs(const TextReading& reading, ImportRequest& request) {
  const bool is_csv = reading.quote != '\0';
  request.format = is_csv ? CsvFormat() : FindFormat("Text File", /*for_writing=*/false);
  if (is_csv)
    request.pairs = reading.CsvPairs();
  else
    request.answers.text_import = reading.split;
}

// The sheet without the rows that are skipped, its texts in UTF-8. Null when the user cancelled.
std::shared_ptr<MemorySheet> Taken(std::shared_ptr<MemorySheet> sheet, const TextReading& reading,
                                   JobProgress& progress) {
  const int rows = sheet->GetNumberOfRows();
  const int columns = sheet->GetNumberOfColumns();
  if (rows > 0 && columns > 0 && reading.skipped_rows > 0)
    sheet = PartOf(*sheet, {{std::min(reading.skipped_rows, rows) + 1, rows, 1, columns}},
                   [&](auto done, auto all) { return progress.Advance(done, all); });
  if (sheet == nullptr || reading.encoding.empty()) return sheet;
  const TextDecoder decoder(reading.encoding);
  std::string scratch;
  for (int row = 1; row <= sheet->GetNumberOfRows(); ++row) {
    for (int column = 1; column <= columns; ++column)
      if (const MemoryCell cell = sheet->GetCell(column, row); cell.kind == CellKind::kText)
        if (const auto text = decoder.Decode(cell.text, scratch); text.data() != cell.text.data())
          sheet->SetText(column, row, text);
    if (!progress.Advance(static_cast<std::uint64_t>(row), static_cast<std::uint64_t>(rows)))
      return nullptr;
  }
  return sheet;
}

QStringList Lines(const std::vector<std::string>& texts) {
  QStringList lines;
  for (const std::string& text : texts) lines.push_back(FromBytes(text));
  return lines;
}

}  // namespace

OpenResult Open(const OpenRequest& request, WindowDialogs& dialogs, JobProgress& progress) {
  OpenResult result;
  OpenRequest& again = result.again = request;
  dialogs.Begin(request.files.front(), /*repeated=*/!request.options.empty());
  ImportRequest reading;
  reading.files = request.files;
  reading.format = request.format != 0 ? request.format : FormatOfFilter(request.filter);
  reading.options = request.options;
  reading.kept_rules = request.kept_rules;
  reading.dialogs = &dialogs;
  reading.describing = Describing::kAll;
  reading.progress = [&](const ImportProgress& now) {
    if (now.begins) dialogs.SettleFormat(now.format);
    return progress.Advance(now.position, now.size);
  };
  if (request.database) {
    // A password is asked for again.
    again.database->password.reset();
    if (const auto failure = TakeDatabase(*request.database, reading)) {
      result.trouble = DatabaseTrouble(*failure);
      return result;
    }
  }
  if (request.chooses) {
    const auto text =
        dialogs.AskReading(request.files.front(), request.text.value_or(TextReading()));
    if (!text) return result;
    ReadAs(*text, reading);
  }
  auto sheet = std::make_shared<MemorySheet>();
  ImportResult read = ImportFile(reading, *sheet);
  // The reader that asked knows no quotes.
  if (const auto& text = dialogs.text_reading();
      !read && text && IsTextFormat(read.format) && text->quote != '\0') {
    ReadAs(*text, reading);
    sheet = std::make_shared<MemorySheet>();
    read = ImportFile(reading, *sheet);
  }
  if (read.format > 0) again.format = read.format;
  if (!read.files.empty() && !again.database) again.files = read.files;
  result.format = FromBytes(FormatName(read.format));
  result.kept_rules = read.kept_rules;
  result.warnings = Lines(read.warnings);
  result.notes = Lines(read.notes);
  for (const AnsweredQuestion& question : read.questions)
    for (const std::string& entry : question.left)
      result.left.push_back(
          QObject::tr("Not chosen of the %1: %2").arg(FromBytes(question.name), FromBytes(entry)));
  if (read) {
    again.options = read.options;
    again.chooses = false;
    result.reads_unasked = read.format == CsvFormat();
    if (dialogs.text_reading()) again.text = dialogs.text_reading();
    if (!again.text) again.text = ReadingOf(read, *sheet);
    sheet = Taken(std::move(sheet), *again.text, progress);
    if (sheet == nullptr) return result;
    if (again.text->skipped_rows > 0)
      result.left.push_back(
          QObject::tr("Skipped of the text: %n row(s)", nullptr, again.text->skipped_rows));
    result.marks = again.text->marks;
    result.sheet = std::move(sheet);
    result.description = std::make_shared<const Description>(read.description);
    return result;
  }
  // A question that the user cancelled is no trouble, nor is a format that was not chosen.
  const Failure& failure = *read.failure;
  if (progress.stopped() || failure.kind == Failure::kStopped || !failure.candidates.empty() ||
      dialogs.refused())
    return result;
  if (request.database) {
    result.trouble = DatabaseTrouble(failure);
    result.trouble->file = Files(request.files);
    return result;
  }
  result.trouble = {FromBytes(failure.text), FromBytes(failure.detail), Files(request.files),
                    Advice(request, failure, FormatName(read.format), FromBytes(read.log_entry))};
  return result;
}  // namespace nvimport

std::vector<ExportKind> ExportKinds() {
  std::vector<ExportKind> kinds;
  for (const OutputFormat& format : OutputFormats()) {
    if (format.own) {
      kinds.push_back({Filter(FromBytes(format.name), "*" + FromBytes(format.extension)), format});
      continue;
    }
    const NvImportFormatInfo& info = FormatAt(format.registered);
    QStringList patterns;
    for (const std::string& extension : Extensions(info))
      patterns.push_back(extension == ".*" ? "*.*" : "*" + FromBytes(extension));
    kinds.push_back({Filter(FromBytes(info.write_filter), patterns.join(';')), format});
  }
  return kinds;
}

std::optional<std::size_t> KindFor(const QString& path, std::size_t chosen) {
  const std::vector<ExportKind> kinds = ExportKinds();
  const QString suffix = "." + QFileInfo(path).suffix().toLower();
  const auto fits = [&](const ExportKind& kind) {
    if (kind.format.own) return suffix == FromBytes(kind.format.extension);
    const auto extensions = Extensions(FormatAt(kind.format.registered));
    return std::ranges::any_of(extensions,
                               [&](const std::string& each) { return suffix == FromBytes(each); });
  };
  if (chosen < kinds.size() && fits(kinds[chosen])) return chosen;
  const auto found = std::ranges::find_if(kinds, fits);
  if (found == kinds.end()) return std::nullopt;
  return static_cast<std::size_t>(found - kinds.begin());
}

ExportResult Export(MemorySheet& sheet, const std::string& path, const ExportKind& kind,
                    JobProgress& progress) {
  ExportRequest request{path, kind.format};
  request.replaces = true;
  request.progress = [&](auto row, auto rows) { return progress.Advance(row, rows); };
  QStringList notes;
  request.note = [&](const std::string& note) { notes.push_back(FromBytes(note)); };
  std::optional<Failure> failure;
  const std::string thrown = Thrown([&] { failure = ExportSheet(sheet, request); });
  if (!failure && thrown.empty()) return {true, notes, std::nullopt};
  if (progress.stopped()) return {};
  Trouble trouble{
      FromBytes(thrown), {}, FromBytes(path), QObject::tr("Choose another place or another type.")};
  if (failure) {
    trouble.text = FromBytes(failure->text);
    trouble.detail = FromBytes(failure->Explanation());
  }
  return {false, {}, std::move(trouble)};
}

QStringList OpenFilters(int& first) {
  OPENFILENAME dialog;
  ImportHelper::GetFileData(dialog, /*all_files=*/true);
  first = static_cast<int>(dialog.nFilterIndex) - 1;
  QStringList filters;
  for (const auto& [text, patterns] : FilterPairs(dialog.lpstrFilter))
    filters.push_back(Filter(text, patterns == "*.*" ? QStringLiteral("*") : patterns));
  return filters;
}

void RememberFormat(int format) { ImportHelper::UpdateDefaultFileType(format); }

}  // namespace nvimport
