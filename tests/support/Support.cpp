#include "tests/support/Support.h"

#include <cstdlib>
#include <fstream>

#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Files.h"

#ifdef NVIMPORT_HAS_HDF5
#include "plugins/hdf5/Hdf5Process.h"
#endif

namespace nvimport {

#ifdef NVIMPORT_HAS_HDF5
namespace {
// Tests are no installed library.
[[maybe_unused]] const bool reader_is_set = [] {
  Hdf5Process::SetProgram(NVIMPORT_TEST_HDF5_READER);
  return true;
}();
}  // namespace
#endif

TempFolder::TempFolder() {
  // Never a folder that another run left behind under the same process number.
  path_ = TemporaryFolder() + "/nvimport-XXXXXX";
  if (!MakeTemporaryFolder(path_)) throw std::runtime_error("no folder: " + path_);
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(FilePath(path_), ignored);
}

std::string TempFolder::Put(const std::string& name, std::string_view bytes) const {
  std::string file = path_ + "/" + name;
  std::ofstream(FilePath(file), std::ios::binary) << bytes;
  return file;
}

std::string Contents(const std::string& path) {
  std::ifstream file(FilePath(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string Repeated(std::string_view text, std::size_t times) {
  std::string repeated;
  while (times-- > 0) repeated += text;
  return repeated;
}

std::string LogRecorder::Notes() const {
  std::string notes;
  for (const LogEntry& entry : entries_)
    if (entry.operation == "Note") notes += entry.text + "\n";
  return notes;
}

OpenOptions::OpenOptions(std::string bytes)
    : bytes_(std::move(bytes)),
      record_{static_cast<int>(bytes_.size()), reinterpret_cast<unsigned char*>(bytes_.data())} {}

OpenOptions OpenOptions::Pairs(const std::string& pairs) {
  if (pairs.empty()) return OpenOptions("");
  std::string bytes(4, '\0');
  const auto size = static_cast<std::int32_t>(pairs.size());
  std::memcpy(bytes.data(), &size, sizeof size);
  return OpenOptions(bytes + pairs);
}

OpenOptions OpenOptions::Made(NvImportOpenOptions* made) {
  const std::unique_ptr<NvImportOpenOptions> options(made);
  std::string bytes = BytesOf(*made);
  SpreadsheetOpenOptions::FreeOpenOptions(made);
  return OpenOptions(std::move(bytes));
}

std::string BytesOf(const NvImportOpenOptions& options) {
  return {options.data, options.data + options.size};
}

std::string PairsOf(const NvImportOpenOptions& options) { return BytesOf(options).substr(4); }

SheetRecord::SheetRecord() : NvImportReadData{} {
  set_number = [](NvImportReadData* data, int row, int column, float value) {
    static_cast<SheetRecord*>(data)->sheet.Set(column, row, value);
  };
  set_text = [](NvImportReadData* data, int row, int column, const char* text) {
    static_cast<SheetRecord*>(data)->sheet.Set(column, row, text);
  };
  set_size = [](NvImportReadData* data, int new_rows, int new_columns) {
    static_cast<SheetRecord*>(data)->sheet.SetDataSize(new_columns, new_rows);
  };
  next_index = [](NvImportReadData* data, int previous) {
    return static_cast<SheetRecord*>(data)->refused_after-- > 0 ? previous + 1 : -1;
  };
}

WholeRecord::WholeRecord() : NvImportWholeData{} {
  size = sizeof(NvImportWholeData);
  set_float = [](NvImportWholeData* data, int row, int column, float value) {
    static_cast<WholeRecord*>(data)->sheet.Set(column, row, value);
  };
  set_double = [](NvImportWholeData* data, int row, int column, double value) {
    static_cast<WholeRecord*>(data)->sheet.SetExact(column, row, value);
  };
  set_whole = [](NvImportWholeData* data, int row, int column, long long value) {
    static_cast<WholeRecord*>(data)->sheet.SetExact(column, row, value);
  };
  set_text = [](NvImportWholeData* data, int row, int column, const char* text, std::size_t) {
    static_cast<WholeRecord*>(data)->sheet.Set(column, row, text);
  };
  set_size = [](NvImportWholeData* data, int new_rows, int new_columns) {
    static_cast<WholeRecord*>(data)->sheet.SetDataSize(new_columns, new_rows);
  };
}

std::string ErrorText(SpreadsheetFile& file) {
  char text[1024] = "nothing was written";
  file.GetErrorMessage(text, sizeof text);
  return text;
}

std::string SheetText(MemorySheet& sheet) {
  std::string text;
  for (int r = 1; r <= sheet.GetNumberOfRows(); ++r)
    for (int c = 1; c <= sheet.GetNumberOfColumns(); ++c) {
      if (c > 1) text += " | ";
      const char* const quote = sheet.IsText(c, r) ? "'" : "";
      text += sheet.IsMissing(c, r) ? "." : quote + std::string(sheet.GetText(c, r)) + quote;
      if (c == sheet.GetNumberOfColumns()) text += '\n';
    }
  return text;
}

Outcome ImportFile(SpreadsheetFile& file, const std::string& path, NvImportOpenOptions* options) {
  MemorySheet sheet;
  return ImportInto(sheet, file, path, options);
}

Outcome ImportInto(MemorySheet& sheet, SpreadsheetFile& file, const std::string& path,
                   NvImportOpenOptions* options) {
  const LogRecorder log;
  Outcome outcome;
  outcome.status = file.Open(true, path.c_str(), options);
  if (outcome.status == 0) outcome.status = file.Read(&sheet);
  outcome.text = ErrorText(file);
  outcome.sheet = SheetText(sheet);
  outcome.notes = log.Notes();
  return outcome;
}

}  // namespace nvimport
