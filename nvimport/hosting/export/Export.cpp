#include "nvimport/hosting/export/Export.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/ImportHelper.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/Thrown.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/hosting/export/TiledSheet.h"
#include "nvimport/hosting/import/Answers.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/OutputFile.h"
#include "nvimport/platform/Paths.h"
#include "nvimport/platform/Progress.h"

namespace nvimport {

namespace {

constexpr struct {
  SheetFormat format;
  const char* extension;
  const char* name;
} kOwnFormats[] = {
    {SheetFormat::kCsv, ".csv", "CSV"},
    {SheetFormat::kTsv, ".tsv", "Text, by TABs"},
    {SheetFormat::kJsonLines, ".jsonl", "JSON Lines"},
    {SheetFormat::kJson, ".json", "JSON"},
#ifdef NVIMPORT_HAS_PACKAGES
    {SheetFormat::kXlsx, ".xlsx", "Excel 2007"},
#endif
    {SheetFormat::kArrow, ".arrow", "Arrow"},
    {SheetFormat::kArrowStream, ".arrows", "Arrow stream"},
};

// Refuses a sheet whose few cells stand among delimiters without end.
template <typename Sheet>
std::optional<Failure> CheckDelimiters(Sheet& sheet, const ExportRequest& request,
                                       const OutputTarget& target) {
  const std::uint64_t rectangle = static_cast<std::uint64_t>(sheet.GetNumberOfColumns()) *
                                  static_cast<std::uint64_t>(sheet.GetNumberOfRows());
  const std::uint64_t each = request.format.own ? BytesPerCell(*request.format.own) : 1;
  const std::uint64_t delimiters = std::min(rectangle, UINT64_MAX / each) * each;
  if (request.is_sparse || !IsSparse(0, delimiters)) return std::nullopt;
  const std::uint64_t cells = sheet.CountCells();
  if (!IsSparse(cells, delimiters)) return std::nullopt;
  return target.Because(std::to_string(cells) + (cells == 1 ? " cell among " : " cells among ") +
                            std::to_string(delimiters / 1'000'000) + " MB of delimiters",
                        request.words.sparse);
}

// Tells the host how far the output is.
class Told : public Progress {
 public:
  explicit Told(const ExportRequest& request) : request_(request) {}
  bool Advance(std::uint64_t row, std::uint64_t rows) override {
    if (!stopped_ && request_.progress) stopped_ = !request_.progress(row, rows);
    return !stopped_;
  }

 private:
  const ExportRequest& request_;
  bool stopped_ = false;
};

constexpr std::string_view kMatlab = "Matlab File";

// The options that a registered format is to write by.
std::optional<OptionPairs> OptionsOf(const ExportRequest& request) {
  auto pairs = OptionPairs::Parse(request.pairs);
  if (!pairs || request.metadata.empty() || !HasMetadata(request.format)) return pairs;
  std::vector<std::string> texts;
  for (const auto& [label, value] : request.metadata) texts.insert(texts.end(), {label, value});
  pairs->Set("description", OptionPairs::JoinNames(texts));
  return pairs;
}

// Writes `sheet` to `path` by the format's own writer.
std::optional<Failure> WriteRegistered(const ExportRequest& request, const std::string& path,
                                       const OutputTarget& target, SpreadsheetData& sheet) {
  const auto pairs = OptionsOf(request);
  if (!pairs) return target.Because("\"" + request.pairs + "\" are no options like key=value");
  std::vector<unsigned char> bytes = pairs->Bytes();
  NvImportOpenOptions options{static_cast<int>(bytes.size()), bytes.data()};
  AnsweringDialogs dialogs;
  Dialogs* const before = Dialogs::InstallForThread(&dialogs);
  Log::Sink log = Log::InstallForThread([&](const LogEntry& entry) {
    if (entry.operation == "Note" && request.note) request.note(OneLine(entry.text));
  });
  ImportHelper driver;
  driver.SetKeptRules(request.kept_rules);
  bool done = false;
  const std::string thrown = Thrown([&] {
    done = driver.WriteSpreadsheetFile(path.c_str(), request.format.registered, &sheet, nullptr,
                                       pairs->empty() ? nullptr : &options);
  });
  Log::InstallForThread(std::move(log));
  Dialogs::InstallForThread(before);
  if (done) return std::nullopt;
  if (driver.GetStatus() == 0 && !dialogs.detail().empty()) return target.Because(dialogs.detail());
  Failure failure{Failure::kFailed, thrown.empty() ? dialogs.message() : OneLine(thrown),
                  "written as \"" + std::string(FormatAt(request.format.registered).name) + "\"; " +
                      request.words.other_output,
                  target.shown()};
  failure.detail = dialogs.detail();
  failure.status = driver.GetStatus();
  return failure;
}

OutputFormat Registered(int format) {
  const std::string extension = Extensions(FormatAt(format)).front();
  return {std::nullopt, format, extension == ".*" ? ".txt" : extension,
          ToUtf8(FormatAt(format).name)};
}

template <typename Sheet>
std::optional<Failure> Export(Sheet& sheet, const ExportRequest& request, OutputTarget& target) {
  if (auto failure = CheckDelimiters(sheet, request, target)) return failure;
  Told told(request);
  const auto cancelled = [&] {
    Failure failure = target.Because("it was cancelled");
    failure.kind = Failure::kStopped;
    return failure;
  };
  if (request.format.own) {
    if (!request.pairs.empty()) return target.Because("the format takes no options");
    OutputFile stream;
    if (auto failure = target.Begin(stream)) return failure;
    stream.Write(HeadOf(*request.format.own, request.head));
    std::size_t quoted = 0;
    const std::string thrown = Thrown([&] {
      quoted = WriteSheet(*request.format.own, sheet, request.conversion, stream, told,
                          request.metadata);
    });
    if (!thrown.empty()) {
      stream.Abandon();
      return target.Because(OneLine(thrown));
    }
    stream.Close();
    NoteChanges(quoted, request);
    const auto rows = static_cast<std::uint64_t>(sheet.GetNumberOfRows());
    if (!told.Advance(rows, rows)) return cancelled();
  } else {
    std::string path;
    if (auto failure = target.BeginAtPath(request.format.extension, path)) return failure;
    ConvertedSheet source(sheet, request.conversion);
    Progress* const before = Progress::InstallForThread(&told);
    auto failure = WriteRegistered(request, path, target, source);
    Progress::InstallForThread(before);
    if (failure) return told.Advance(0, 0) ? failure : cancelled();
    NoteChanges(0, request);
  }
  return target.Commit();
}

}  // namespace

std::optional<OutputFormat> FindOutputFormat(const std::string& name) {
  for (const OutputFormat& own : OwnOutputFormats())
    if (EqualIgnoringCase(own.extension, name) || EqualIgnoringCase(own.extension, "." + name))
      return own;
  const int format = FindFormat(name, /*for_writing=*/true);
  if (format == 0 || !HasWriter(format)) return std::nullopt;
  return Registered(format);
}

std::vector<OutputFormat> OwnOutputFormats() {
  std::vector<OutputFormat> formats;
  for (const auto& own : kOwnFormats) formats.push_back({own.format, 0, own.extension, own.name});
  return formats;
}

bool HasMetadata(const OutputFormat& format) {
  if (format.own)
    return *format.own == SheetFormat::kArrow || *format.own == SheetFormat::kArrowStream;
  return FormatAt(format.registered).name == kMatlab;
}

std::vector<OutputFormat> OutputFormats() {
  std::vector<OutputFormat> formats = OwnOutputFormats();
  for (int format = 1; format <= FormatCount(); ++format)
    if (HasWriter(format) && FormatAt(format).write_filter != nullptr)
      formats.push_back(Registered(format));
  return formats;
}

void NoteChanges(std::size_t cells, const ExportRequest& request) {
  if (request.conversion.encoder.TakeLoss() && request.note)
    request.note("characters that the encoding of the output lacks are written as ?");
  if (cells == 0 || !request.note) return;
  if (request.format.own == SheetFormat::kXlsx)
    request.note(std::to_string(cells) + (cells == 1 ? " text is" : " texts are") +
                 " cut to 32,767 characters, since a cell of a worksheet has no more");
  else
    request.note(std::to_string(cells) +
                 (cells == 1 ? " cell with a TAB or a line break stands"
                             : " cells with a TAB or a line break stand") +
                 " in quotes, which not every program reads as such");
}

std::optional<Failure> ExportSheet(MemorySheet& sheet, const ExportRequest& request) {
  OutputTarget target(request.path, request.replaces, request.words);
  if (auto failure = target.Check()) return failure;
  return ExportSheet(sheet, request, target);
}

std::optional<Failure> ExportSheet(MemorySheet& sheet, const ExportRequest& request,
                                   OutputTarget& target) {
  return Export(sheet, request, target);
}

std::optional<Failure> ExportSheet(TiledSheet& sheet, const ExportRequest& request,
                                   OutputTarget& target) {
  return Export(sheet, request, target);
}

}  // namespace nvimport
