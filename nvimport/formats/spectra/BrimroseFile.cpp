// Brimrose DAT, little-endian: a header of 512 bytes, then the observations. Of the header:
//   29 float32 first wavelength   37 float32 step         45 uint16 observations
//   33 float32 last wavelength    41 uint16 points (P)
// Each observation takes 120 + 4 * P bytes: an int32 time, in seconds since 1970 began, the text of
// the sample, NUL-terminated, and from byte 120 on P values as float32.

#include "nvimport/formats/spectra/BrimroseFile.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>
#include <span>

#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/framework/StoredValues.h"
#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/LocalTime.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

enum Status : int {
  kCannotOpen = 2816,
  kNotOpenForReading = 2817,
  kMainHeaderCut = 2818,
  kSubHeaderCut = 2819,
  kDataCut = 2820,
  kBadHeader = 2821,
  kNotThisFormat = 2822
};
constexpr StatusText kTexts[] = {
    {kInvalidOptions, kInvalidOptionsText},
    {kCannotOpen, "Failed to open stream for reading."},
    {kNotOpenForReading, "Wrong file mode. The executed operation is only supported in read mode."},
    {kMainHeaderCut, "File corrupt! Could not read the whole main header (possibly end of file)."},
    {kSubHeaderCut, "File corrupt! Could not read the whole sub header (possibly end of file)."},
    {kDataCut, "File corrupt! Could not read data (possibly end of file)."},
    {kBadHeader,
     "File is corrupt! Header contains corrupt information about starting, ending wavelength, or "
     "number of data points."},
    {kNotThisFormat, "The file does not seem to be a valid Brimrose file."},
};
static_assert(WellFormed(std::span(kTexts).subspan(1), 2816, 2822));

constexpr const char* kSource = "BrimroseFile";

constexpr std::size_t kHeaderSize = 512;
constexpr std::size_t kWavelengths = 29;
constexpr std::size_t kValues = 120;  // in an observation
// Kept: a cut among the first two values is one inside the sub header.
constexpr std::uint64_t kSubHeaderSize = 128;
constexpr int kFirstPointColumn = 3;

}  // namespace

bool BrimroseFile::Header::IsFinite() const {
  return std::isfinite(first) && std::isfinite(last) && std::isfinite(step);
}

std::uint64_t BrimroseFile::Header::ObservationSize() const {
  return kValues + static_cast<std::uint64_t>(points) * sizeof(float);
}

std::optional<BrimroseFile::Header> BrimroseFile::ReadMainHeader(InputFile& file) {
  char bytes[kHeaderSize];
  if (!file.Seek(0) || file.Read(bytes) != static_cast<std::ptrdiff_t>(kHeaderSize))
    return std::nullopt;
  ByteReader reader(bytes);
  reader.Seek(kWavelengths);
  Header header;
  header.first = reader.F32();
  header.last = reader.F32();
  header.step = reader.F32();
  header.points = reader.U16();
  reader.Skip(2);
  header.observations = reader.U16();
  return header;
}

bool BrimroseFile::IsBrimroseFile(const char* path) {
  InputFile file(path);
  if (!file.is_open()) return false;
  const auto header = ReadMainHeader(file);
  if (!header || !header->IsFinite()) return false;
  if (header->first < 100 || header->first >= header->last || header->last > 100'000 ||
      header->step <= 0 || header->points < 2)
    return false;
  const double steps = (header->last - header->first) / header->step;
  return steps >= header->points - 1.01 && steps <= header->points + 0.01 &&
         file.size() == kHeaderSize + static_cast<std::uint64_t>(header->observations) *
                                          header->ObservationSize();
}

BrimroseFile::BrimroseFile() : reader_(std::make_unique<BlockReader>()) {}

BrimroseFile::~BrimroseFile() = default;

NvImportOpenOptions* BrimroseFile::GetImportOptions(RangeChoice rows, RangeChoice columns) {
  OptionPairs pairs;
  pairs.Set("rows", OptionPairs::Join({rows.first, rows.last}));
  pairs.Set("columns", OptionPairs::Join({columns.first, columns.last}));
  return SpreadsheetOpenOptions::NewOpenOptions(pairs.Bytes());
}

void BrimroseFile::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyText(kTexts, buffer, size)) SpreadsheetFile::GetErrorMessage(buffer, size);
}

void BrimroseFile::Close() {
  file_.Close();
  SpreadsheetFile::Close();
}

int BrimroseFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (status_ != kGood) return status_;
  if (!read) return Fail(kWrongMode);
  size_established_ = false;
  const auto given = OptionPairs::Parse(options);
  if (!given) return RefuseOptions(kSource, "bytes", "the whole of them");
  for (const auto& [key, range] : {std::pair("rows", &rows_), std::pair("columns", &columns_)}) {
    const auto found = given->FindRange(key);
    if (!found) return RefuseOptions(kSource, key, *given->Find(key));
    *range = *found;
  }
  file_ = InputFile(path != nullptr ? path : "");
  return file_.is_open() ? kGood : Fail(kCannotOpen);
}

int BrimroseFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (!file_.is_open()) return Fail(kNotOpenForReading);
  const auto header = ReadMainHeader(file_);
  if (!header) return Fail(kMainHeaderCut);
  if (!header->IsFinite()) return Fail(kNotThisFormat);
  if (header->first <= 0 || header->step <= 0 || header->points == 0 ||
      header->last < header->first)
    return Fail(kBadHeader);
  header_ = *header;
  const auto points = static_cast<std::uint64_t>(header_.points);
  // Kept: without observations there is no row of names, and no room for the first columns.
  if (header_.observations == 0) return SetSize(points, 0);
  return SetSize(points + kFirstPointColumn - 1,
                 static_cast<std::uint64_t>(header_.observations) + 1);
}

int BrimroseFile::Read(ReadSpreadSheetData* sink) {
  if (status_ != kGood || GetNumRows() < 0) return status_;
  sink->SetDataSize(num_cols_, num_rows_);
  if (num_rows_ == 0) return kGood;
  MakeNameRow(*sink);
  const int first = std::max(rows_.first, 2);
  const int last = rows_.LastOf(num_rows_);
  file_size_ = file_.size();
  reader_->Begin(file_,
                 kHeaderSize + static_cast<std::uint64_t>(first - 2) * header_.ObservationSize());
  for (int row = first; row <= last; ++row)
    if (MakeDataRow(*sink, row) != kGood) return status_;
  return kGood;
}

void BrimroseFile::MakeNameRow(ReadSpreadSheetData& sink) const {
  if (columns_.Holds(1)) sink.Set(1, 1, "SampleNo");
  if (columns_.Holds(2)) sink.Set(2, 1, "DateTime");
  // The largest wavelength has 44 digits.
  std::array<char, 64> name{'w'};
  const int last = columns_.LastOf(num_cols_);
  for (int column = std::max(columns_.first, kFirstPointColumn); column <= last; ++column) {
    const double wavelength = header_.first + (column - kFirstPointColumn) * header_.step;
    *std::to_chars(name.data() + 1, name.data() + name.size() - 1, wavelength,
                   std::chars_format::fixed, 0)
         .ptr = '\0';
    sink.Set(column, 1, name.data());
  }
}

int BrimroseFile::MakeDataRow(ReadSpreadSheetData& sink, int row) {
  const std::uint64_t begin = reader_->position();
  const std::uint64_t end = begin + header_.ObservationSize();
  if (std::min(begin + kSubHeaderSize, end) > file_size_) return Fail(kSubHeaderCut);
  if (end > file_size_) return Fail(kDataCut);
  const auto bytes = reader_->Ahead(kValues);
  if (bytes.size() < kValues) return Fail(kSubHeaderCut);
  if (columns_.Holds(1)) sink.Set(1, row, row - 1);
  if (columns_.Holds(2)) {
    TimeStampText text;
    const auto time = LocalTime(LoadLittle<std::int32_t>(bytes.data()));
    sink.Set(2, row, time ? FormatTimeStamp(*time, 4, '/', text) : "");
  }

  const int from = std::max(columns_.first, kFirstPointColumn);
  const int to = columns_.LastOf(num_cols_);
  if (from <= to) {
    reader_->Skip(kValues + static_cast<std::uint64_t>(from - kFirstPointColumn) * sizeof(float));
    if (!SetStoredFloats(*reader_, sink, from, row, to - from + 1)) return Fail(kDataCut);
  }
  reader_->Skip(end - reader_->position());
  return kGood;
}

BrimroseFileFactory::BrimroseFileFactory()
    : SprFileFactory({.name = "Brimrose File",
                      .read_filter = "Brimrose Files (*.dat)",
                      .extensions = {".dat"},
                      .options = {{"rows", "FIRST,LAST"}, {"columns", "FIRST,LAST"}}}) {}

int BrimroseFileFactory::IsCorrectFileType(const char* path) {
  return BrimroseFile::IsBrimroseFile(path) ? kCertain : kNotThis;
}

SpreadsheetFile* BrimroseFileFactory::Create() {
  return std::make_unique<BrimroseFile>().release();
}

}  // namespace nvimport
