#include "nvimport/hosting/export/Export.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/ImportHelper.h"
#include "nvimport/hosting/Thrown.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/hosting/import/Answers.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/OutputFile.h"
#include "nvimport/platform/Paths.h"
#include "nvimport/platform/Progress.h"

namespace nvimport {

namespace {

constexpr std::pair<const char*, SheetFormat> kOwnFormats[] = {
    {".csv", SheetFormat::kCsv}, {".tsv", SheetFormat::kTsv}, {".jsonl", SheetFormat::kJsonLines}};

// Refuses a sheet whose few cells stand among delimiters without end.
std::optional<Failure> CheckDelimiters(MemorySheet& sheet, const ExportRequest& request,
                                       const OutputTarget& target) {
  constexpr std::uint64_t kMost = 100'000'000;  // bytes
  constexpr std::uint64_t kMostPerCell = 1000;
  const std::uint64_t rectangle = static_cast<std::uint64_t>(sheet.GetNumberOfColumns()) *
                                  static_cast<std::uint64_t>(sheet.GetNumberOfRows());
  const std::uint64_t each = request.format.own ? BytesPerCell(*request.format.own) : 1;
  const std::uint64_t delimiters = std::min(rectangle, UINT64_MAX / each) * each;
  if (request.is_sparse || delimiters <= kMost) return std::nullopt;
  const std::uint64_t cells = sheet.CountCells();
  if (delimiters / kMostPerCell <= cells) return std::nullopt;
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

// Writes `sheet` to `path` by the format's own writer.
std::optional<Failure> WriteRegistered(const ExportRequest& request, const std::string& path,
                                       const OutputTarget& target, SpreadsheetData& sheet) {
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
                                       nullptr);
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
  return {std::nullopt, format, extension == ".*" ? ".txt" : extension};
}

}  // namespace

std::optional<OutputFormat> FindOutputFormat(const std::string& name) {
  for (const auto& [extension, format] : kOwnFormats)
    if (EqualIgnoringCase(extension, name) || EqualIgnoringCase(extension, "." + name))
      return OutputFormat{format, 0, extension};
  const int format = FindFormat(name, /*for_writing=*/true);
  if (format == 0 || !HasWriter(format)) return std::nullopt;
  return Registered(format);
}

std::vector<OutputFormat> OutputFormats() {
  std::vector<OutputFormat> formats;
  for (const auto& [extension, format] : kOwnFormats) formats.push_back({format, 0, extension});
  for (int format = 1; format <= FormatCount(); ++format)
    if (HasWriter(format) && FormatAt(format).write_filter != nullptr)
      formats.push_back(Registered(format));
  return formats;
}

std::optional<Failure> ExportSheet(MemorySheet& sheet, const ExportRequest& request) {
  OutputTarget target(request.path, request.replaces, request.words);
  if (auto failure = target.Check()) return failure;
  return ExportSheet(sheet, request, target);
}

std::optional<Failure> ExportSheet(MemorySheet& sheet, const ExportRequest& request,
                                   OutputTarget& target) {
  if (auto failure = CheckDelimiters(sheet, request, target)) return failure;
  Told told(request);
  const auto cancelled = [&] {
    Failure failure = target.Because("it was cancelled");
    failure.kind = Failure::kStopped;
    return failure;
  };
  if (request.format.own) {
    OutputFile stream;
    if (auto failure = target.Begin(stream)) return failure;
    stream.Write(request.head);
    const std::size_t quoted =
        WriteSheet(*request.format.own, sheet, request.conversion, stream, told);
    stream.Close();
    if (quoted > 0 && request.note)
      request.note(std::to_string(quoted) +
                   (quoted == 1 ? " cell with a TAB or a line break stands"
                                : " cells with a TAB or a line break stand") +
                   " in quotes, which not every program reads as such");
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
  }
  return target.Commit();
}

}  // namespace nvimport
