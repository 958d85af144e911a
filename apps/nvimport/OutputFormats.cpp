#include "apps/nvimport/OutputFormats.h"

#include <cstdint>
#include <string_view>
#include <utility>

#include "apps/nvimport/ImportSession.h"
#include "nvimport/platform/OutputFile.h"
#include "nvimport/platform/Paths.h"
#include "nvimport/platform/Progress.h"

namespace nvimport {

namespace {

constexpr std::pair<std::string_view, SheetFormat> kOwnFormats[] = {
    {"csv", SheetFormat::kCsv}, {"tsv", SheetFormat::kTsv}, {"jsonl", SheetFormat::kJsonLines}};

}  // namespace

std::optional<OutputFormat> FindOutputFormat(const std::string& name) {
  for (const auto& [own, format] : kOwnFormats)
    if (EqualIgnoringCase(own, name) || EqualIgnoringCase("." + std::string(own), name))
      return OutputFormat{format, 0, "." + std::string(own)};
  const int format = FindFormat(name, /*for_writing=*/true);
  if (format == 0 || !FormatAt(format).can_write) return std::nullopt;
  return OutputFormat{std::nullopt, format, Extensions(FormatAt(format)).front()};
}

std::optional<Failure> WriteWhole(const OutputFormat& format, const std::string& shown,
                                  MemorySheet& sheet, const TextConversion& conversion,
                                  OutputTarget& target, Progress& progress,
                                  const RegisteredWriter& write) {
  if (format.own) {
    OutputFile stream;
    if (auto failure = target.Begin(stream)) return failure;
    WriteSheet(*format.own, sheet, conversion, stream, progress);
    stream.Close();
    const auto rows = static_cast<std::uint64_t>(sheet.GetNumberOfRows());
    if (!progress.Advance(rows, rows))
      return Failure{kFailed, kNotWritten, shown + ": it was cancelled"};
  } else {
    std::string path;
    if (auto failure = target.BeginAtPath(format.extension, path)) return failure;
    ConvertedSheet source(sheet, conversion);
    if (auto failure = write(path, source)) return failure;
  }
  return target.Commit();
}

}  // namespace nvimport
