#include "nvimport/formats/workbook/TivonFile.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>
#include <utility>

#include "nvimport/formats/workbook/SummaryInformation.h"
#include "nvimport/platform/CompoundFile.h"
#include "nvimport/platform/Paths.h"
#include "nvimport/platform/TemporaryFile.h"

namespace nvimport {

namespace {

enum Status : int { kNotWritten = 512, kNoWorksheet = 515, kNotTivon = 516 };
constexpr StatusText kTexts[] = {
    {kNoWorksheet, "Could not find the worksheet in the file."},
    {kNotTivon, "The file does not appear to be a valid TIVON file."},
};
static_assert(WellFormed(kTexts, 512, 516));

bool EndsIn(std::string_view name, std::string_view extension) {
  return name.size() >= extension.size() &&
         EqualIgnoringCase(name.substr(name.size() - extension.size()), extension);
}

// The first entry of the directory, wherever it lies in the file, that is called a worksheet; the
// number of entries for none.
std::size_t FindWorksheet(const CompoundFile& file) {
  const auto& entries = file.entries();
  const auto found = std::ranges::find_if(entries, [](const CompoundFile::Entry& entry) {
    return entry.kind != CompoundFile::Kind::kUnused && EndsIn(entry.name, ".dat");
  });
  return static_cast<std::size_t>(found - entries.begin());
}

}  // namespace

int TivonFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (status_ != kGood) return status_;
  if (!read) return Fail(kWrongMode);
  if (path == nullptr) path = "";
  if (!EndsIn(path, ".mip") && IsTextFile(path)) {
    TextFile::Open(read, path, options);
    return kGood;  // Kept: the text reader's own status shows in the next operation.
  }
  return OpenWorksheet(path, options);
}

int TivonFile::OpenWorksheet(const char* path, NvImportOpenOptions* options) {
  CompoundFile file;
  if (!file.Open(path)) return Fail(kNotTivon);
  const CompoundFile::Stream* const worksheet = file.OpenStream(FindWorksheet(file));
  if (worksheet == nullptr) return Fail(kNoWorksheet);

  auto copy = std::make_shared<TemporaryFile>();
  if (copy->path().empty()) return Fail(kNotWritten);
  std::array<char, 16 * 1024> block;
  for (std::uint64_t at = 0; at < worksheet->size();) {
    const std::ptrdiff_t got = file.Read(*worksheet, at, block);
    if (got <= 0) return Fail(kNoWorksheet);
    const std::span<const char> bytes(block.data(), static_cast<std::size_t>(got));
    if (!copy->Write(bytes)) return Fail(kNotWritten);
    at += bytes.size();
  }
  copy_ = std::move(copy);
  container_ = path;
  TextFile::Open(/*read=*/true, copy_->path().c_str(), options);
  return kGood;
}

void TivonFile::Close() {
  TextFile::Close();
  copy_.reset();
  container_.clear();
}

bool TivonFile::SetOptions(NvImportOpenOptions*) { return true; }

int TivonFile::DescribeAll(Description& description) {
  if (const int status = TextFile::DescribeAll(description); status != kGood) return status;
  CompoundFile file;
  if (container_.empty() || !file.Open(container_.c_str())) return kGood;
  Stating summary(description, kWorkbookKeys);
  Budget budget(InputFile(container_.c_str()).size());
  DescribeSummary(file, budget, summary);
  const std::size_t worksheet = FindWorksheet(file);
  if (worksheet < file.entries().size())
    Stating(description, kTivonKeys).State("stream", file.entries()[worksheet].name);
  return kGood;
}

void TivonFile::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyText(kTexts, buffer, size)) TextFile::GetErrorMessage(buffer, size);
}

TivonFileFactory::TivonFileFactory()
    : SprFileFactory({.name = "TIVON File",
                      .read_filter = "TIVON Files (*.mip; *.dat)",
                      .extensions = {".mip", ".dat"}}) {}

int TivonFileFactory::IsCorrectFileType(const char* path) {
  return EqualIgnoringCase(NvGetFileExtension(path), "mip") || TextFile::IsTextFile(path)
             ? kPlausible
             : kNotThis;
}

SpreadsheetFile* TivonFileFactory::Create() { return std::make_unique<TivonFile>().release(); }

}  // namespace nvimport
