#include "apps/desktop/Import.h"

#include <QFileInfo>
#include <QObject>
#include <QTemporaryDir>
#include <algorithm>
#include <span>

#include "apps/desktop/DecimalGuess.h"
#include "apps/desktop/LibraryThread.h"
#include "apps/desktop/SheetText.h"
#include "apps/desktop/WindowDialogs.h"
#include "apps/nvimport/FileKinds.h"
#include "apps/nvimport/ImportSession.h"
#include "apps/nvimport/Thrown.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/ImportHelper.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Log.h"

namespace nvimport {

namespace {

// What the library logs goes to `notes`, and what readers say beside them to `last`, while this
// lives.
class GatheredLog {
 public:
  GatheredLog(QStringList& notes, QString& last)
      : before_(Log::Install([&notes, &last](const LogEntry& entry) {
          if (entry.operation == "Note")
            notes.push_back(FromBytes(entry.text));
          else if (entry.source != "ImportHelper")
            last = FromBytes(entry.text);
        })) {}
  GatheredLog(const GatheredLog&) = delete;
  GatheredLog& operator=(const GatheredLog&) = delete;
  ~GatheredLog() { Log::Install(std::move(before_)); }

 private:
  Log::Sink before_;
};

QString Files(const std::vector<std::string>& files) {
  QStringList names;
  constexpr std::size_t kMost = 5;
  for (const std::string& file : std::span(files).first(std::min(files.size(), kMost)))
    names.push_back(FromBytes(file));
  if (files.size() > kMost) names.push_back(QObject::tr("and %1 more").arg(files.size() - kMost));
  return names.join('\n');
}

// What the user can do about a file that was not read.
QString Advice(const ImportRequest& request, bool format_settled, const QString& logged) {
  QStringList advice;
  if (const auto kind = RecogniseKind(request.files.front()))
    advice.push_back(*kind->format == '\0'
                         ? QObject::tr("It looks like %1.").arg(FromBytes(kind->name))
                         : QObject::tr("It looks like %1; the file type \"%2\" reads it.")
                               .arg(FromBytes(kind->name), FromBytes(kind->format)));
  if (!logged.isEmpty()) advice.push_back(logged);
  if (request.files.size() > 1)
    advice.push_back(QObject::tr("Open the files one after the other."));
  else if (request.filter != 1 || !format_settled)
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

}  // namespace

ImportResult Import(const ImportRequest& request, WindowDialogs& dialogs, JobProgress& progress) {
  ImportResult result;
  result.again = request;
  ImportRequest& again = result.again;
  QString logged;
  const GatheredLog log(result.notes, logged);
  const bool repeated = request.options != nullptr;
  dialogs.Begin(request.files.front(), repeated);
  Input input;
  for (const std::string& file : request.files) input.parts.push_back({file, file, {}});
  const std::uintmax_t size = TotalSize(input);
  ImportHelper driver;
  auto sheet = std::make_shared<MemorySheet>();
  NvImportOpenOptions options{0, nullptr};
  bool done = false;
  ReadErrors error = ReadErrors::kNone;
  const std::string thrown = Thrown([&] {
    const std::string path = FileSelection::Join(request.files);
    if (again.format == 0) {
      int format = request.filter;
      const bool settled = driver.CheckFilesBeforeRead(path.c_str(), format, nullptr, error, true);
      if (settled) {
        again.format = format;
        again.files = driver.GetSelection();
      }
      if (!settled || progress.stopped()) return;
    }
    dialogs.SettleFormat(again.format);
    if (repeated) SpreadsheetOpenOptions::CopyOpenOptions(&options, request.options);
    done = driver.ReadSpreadsheetFile(FileSelection::Join(again.files).c_str(), again.format,
                                      sheet.get(), nullptr, &options, true);
  });
  const bool is_whole = TotalSize(input) >= size;
  done = done && is_whole;
  result.warnings = dialogs.warnings();
  if (again.format > 0) result.format = FromBytes(FormatAt(again.format).name);
  if (done) {
    again.options = SpreadsheetOpenOptions(&options);
    SpreadsheetOpenOptions::FreeOpenOptions(&options);
    if (dialogs.decimal_mark()) again.decimal_mark = dialogs.decimal_mark();
    result.decimal_mark = again.decimal_mark.value_or(GuessDecimalMark(*sheet));
    if (!dialogs.trouble().text.isEmpty()) result.warnings.push_back(dialogs.trouble().text);
    result.sheet = std::move(sheet);
    return result;
  }
  SpreadsheetOpenOptions::FreeOpenOptions(&options);
  if (progress.stopped()) return result;
  Trouble trouble = dialogs.trouble();
  if (!thrown.empty()) trouble.text = FromBytes(thrown);
  if (error == ReadErrors::kNotExaminable)
    trouble.text = QObject::tr("The file could not be opened.");
  if (!is_whole) trouble.text = FromBytes(kBecameShorter);
  // A question that the user cancelled is no trouble.
  if (trouble.text.isEmpty()) return result;
  if (const auto failure = CheckInput(input)) trouble.detail = FromBytes(failure->advice);
  trouble.file = Files(request.files);
  trouble.advice = Advice(request, again.format > 0, logged);
  result.trouble = std::move(trouble);
  return result;
}

namespace {

// Whether a format writes at all: some say so and have no writer.
bool Writes(int format) {
  bool opens = false;
  Thrown([&] {
    const QTemporaryDir folder;
    const QByteArray path = QFile::encodeName(folder.filePath("file"));
    opens = FormatList::Get().CreateFile(format)->Open(false, path.constData(), nullptr) == kGood;
  });
  return opens;
}

}  // namespace

std::vector<ExportKind> ExportKinds() {
  std::vector<ExportKind> kinds;
  const struct {
    const char* filter;
    OutputFormat format;
  } kOwn[] = {{"CSV (*.csv)", {SheetFormat::kCsv, 0, ".csv"}},
              {"Text, by TABs (*.tsv)", {SheetFormat::kTsv, 0, ".tsv"}},
              {"JSON Lines (*.jsonl)", {SheetFormat::kJsonLines, 0, ".jsonl"}}};
  for (const auto& own : kOwn) kinds.push_back({own.filter, own.format});
  for (int format = 1; format <= static_cast<int>(Formats().size()); ++format) {
    const NvImportFormatInfo& info = FormatAt(format);
    const auto extensions = Extensions(info);
    if (!info.can_write || info.write_filter == nullptr || extensions.empty() || !Writes(format))
      continue;
    QStringList patterns;
    for (const std::string& extension : extensions) patterns.push_back("*" + FromBytes(extension));
    const bool any = extensions.front() == ".*";
    kinds.push_back({Filter(FromBytes(info.write_filter), any ? "*.*" : patterns.join(';')),
                     {std::nullopt, format, any ? ".txt" : extensions.front()}});
  }
  return kinds;
}

ExportResult Export(MemorySheet& sheet, const std::string& path, const ExportKind& kind,
                    WindowDialogs& dialogs, JobProgress& progress) {
  dialogs.Begin(path, /*repeated=*/false);
  std::optional<Failure> failure;
  const std::string thrown = Thrown([&] {
    OutputTarget target(path, /*force=*/true);
    failure = target.Check();
    if (failure) return;
    failure = WriteWhole(
        kind.format, path, sheet, TextConversion(), target, progress,
        [&](const std::string& temporary, SpreadsheetData& whole) -> std::optional<Failure> {
          if (ImportHelper().WriteSpreadsheetFile(temporary.c_str(), kind.format.registered, &whole,
                                                  nullptr, nullptr))
            return std::nullopt;
          return Failure{kFailed, dialogs.trouble().text.toStdString(),
                         dialogs.trouble().detail.toStdString()};
        });
  });
  if (!failure && thrown.empty()) return {true, std::nullopt};
  if (progress.stopped()) return {};
  Trouble trouble{
      FromBytes(thrown), {}, FromBytes(path), QObject::tr("Choose another place or another type.")};
  if (failure) {
    trouble.text = FromBytes(failure->text);
    trouble.detail = FromBytes(failure->advice);
  }
  return {false, std::move(trouble)};
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
