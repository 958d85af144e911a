// NSAS, little-endian, in blocks of 128 bytes. A DA file holds spectra, each a block that begins
// with a header of 80 bytes, then the values as float32 in as many blocks as they need:
//   0 int16    instrument model   14 int16 values (n)          30 int16 constituents
//   2 int16    spectrum number    16 int16 first wavelength    64 int16 three fields of the date
//   4 char[10] sample name        18 int16 end wavelength      70 int16 hour, minute, second
// The values lie (end - first) / n apart, so that the last lies one step before the end.
// The CN file beside it holds a block for each spectrum, the constituents as float32; before these,
// in one of its two versions, three blocks with their names, char[10] each.

#include "nvimport/formats/spectra/NsasFile.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <string>

#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/framework/StoredValues.h"
#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

enum Status : int {
  kCannotOpen = 1280,
  kNotOpenForReading = 1281,
  kHeaderCut = 1282,
  kBadHeader = 1283,
  kHeadersDiffer = 1284,
  kHeaderFillerCut = 1285,
  kDataCut = 1286,
  kDataFillerCut = 1287,
  kCnNamesCut = 1288,
  kCnValuesCut = 1289,
  kCnFillerCut = 1290,
  kCnSize = 1291
};
constexpr StatusText kTexts[] = {
    {kInvalidOptions, kInvalidOptionsText},
    {kCannotOpen, "Failed to open stream for reading."},
    {kNotOpenForReading, "Wrong file mode. The executed operation is only supported in read mode."},
    {kHeaderCut,
     "DA-file corrupt! Could not read the whole header for spectra (possibly end of file)."},
    {kBadHeader,
     "Spectra header in DA-file is corrupt! Spectra header contains corrupt information about "
     "starting, ending wavelength, or number of data points."},
    {kHeadersDiffer,
     "Spectra header in DA-file is corrupt! Spectra header contains information that doesn't match "
     "earlier read spectra. Spectra wavelengths or number of constituents does not match."},
    {kHeaderFillerCut,
     "DA-file corrupt! Could not read through the unused filler (possibly end of file)."},
    {kDataCut, "DA-file corrupt! Could not read all the data for spectra (possibly end of file)."},
    {kDataFillerCut,
     "DA-file corrupt! Could not read through the spectra filler (possibly end of file)."},
    {kCnNamesCut,
     "CN-file corrupt! Could not read the whole name record for constituents (possibly end of "
     "file)."},
    {kCnValuesCut,
     "CN-file corrupt! Could not read the whole value record for constituents (possibly end of "
     "file)."},
    {kCnFillerCut,
     "CN-file corrupt! Could not read through the value record filler (possibly end of file)."},
    {kCnSize, "CN-file corrupt! File size do not match any known version of CN file formats."},
};
static_assert(WellFormed(std::span(kTexts).subspan(1), 1280, 1291));

constexpr const char* kSource = "NsasFile";

constexpr std::size_t kBlockSize = 128;
constexpr std::size_t kHeaderSize = 80;
constexpr std::size_t kCnHeaderBlocks = 3;
constexpr std::size_t kNameWidth = 10;
constexpr int kMostConstituents = kBlockSize / sizeof(float);

// A short file may have this many columns; more would only cost.
constexpr double kMostUnbacked = 1e6;

constexpr int kRowsBeforeSpectra = 2;
constexpr int kFirstPointColumn = 5;

std::uint64_t ValueBytes(int points) { return static_cast<std::uint64_t>(points) * sizeof(float); }

std::uint64_t WholeBlocks(std::uint64_t bytes) {
  return (bytes + kBlockSize - 1) / kBlockSize * kBlockSize;
}

}  // namespace

NsasFile::NsasFile(NsasRules rules)
    : rules_(rules),
      da_reader_(std::make_unique<BlockReader>()),
      cn_reader_(std::make_unique<BlockReader>()) {}

NsasFile::~NsasFile() = default;

NvImportOpenOptions* NsasFile::GetImportOptions(RangeChoice columns) {
  OptionPairs pairs;
  pairs.Set("columns", OptionPairs::Join({columns.first, columns.last}));
  return SpreadsheetOpenOptions::NewOpenOptions(pairs.Bytes());
}

void NsasFile::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyText(kTexts, buffer, size)) SpreadsheetFile::GetErrorMessage(buffer, size);
}

void NsasFile::Close() {
  da_.Close();
  cn_.Close();
  SpreadsheetFile::Close();
}

int NsasFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (status_ != kGood) return status_;
  if (!read) return Fail(kWrongMode);
  size_established_ = false;
  const auto given = OptionPairs::Parse(options);
  if (!given) return RefuseOptions(kSource, "bytes", "the whole of them");
  const auto columns = given->FindRange("columns");
  if (!columns) return RefuseOptions(kSource, "columns", *given->Find("columns"));
  columns_ = *columns;

  const std::filesystem::path da_path = path != nullptr ? path : "";
  da_ = InputFile(da_path.c_str());
  if (!da_.is_open()) return Fail(kCannotOpen);
  for (const char* extension : {"cn", "CN", "Cn", "cN"}) {
    cn_ = InputFile(std::filesystem::path(da_path).replace_extension(extension).c_str());
    if (cn_.is_open()) break;
  }
  return kGood;
}

int NsasFile::GetHeaderInt(std::span<const char> bytes, std::size_t at) {
  return LoadLittle<std::int16_t>(bytes.data() + at);
}

NsasFile::Name NsasFile::GetHeaderChar(std::span<const char> bytes, std::size_t at) {
  const auto field = bytes.subspan(at, kNameWidth);
  const auto is_visible = [](char c) { return static_cast<unsigned char>(c) > ' '; };
  const auto end = std::ranges::find(field, '\0');
  const auto first = std::find_if(field.begin(), end, is_visible);
  auto last = end;
  while (last != first && !is_visible(last[-1])) --last;
  Name name{};
  std::copy(first, last, name.begin());
  return name;
}

int NsasFile::ReadDaHeader(Header& header) {
  const auto bytes = da_reader_->Ahead(kBlockSize);
  if (bytes.size() < kHeaderSize) return kHeaderCut;
  header.model = GetHeaderInt(bytes, 0);
  header.number = GetHeaderInt(bytes, 2);
  header.name = GetHeaderChar(bytes, 4);
  header.points = GetHeaderInt(bytes, 14);
  header.first = GetHeaderInt(bytes, 16);
  const int end = GetHeaderInt(bytes, 18);
  header.step = header.points < 1 ? 0 : static_cast<double>(end - header.first) / header.points;
  header.constituents = GetHeaderInt(bytes, 30);
  header.time = {GetHeaderInt(bytes, 68), GetHeaderInt(bytes, 66), GetHeaderInt(bytes, 64),
                 GetHeaderInt(bytes, 70), GetHeaderInt(bytes, 72), GetHeaderInt(bytes, 74)};
  // The last wavelength is then not below the first.
  if (header.first <= 0 || header.step <= 0 || header.constituents < 0) return kBadHeader;
  if (!first_record_)
    first_record_ = header;
  else if (header.step != first_record_->step || header.constituents != first_record_->constituents)
    return kHeadersDiffer;
  if (bytes.size() < kBlockSize) return kHeaderFillerCut;
  da_reader_->Skip(kBlockSize);
  return kGood;
}

int NsasFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (!da_.is_open()) return Fail(kNotOpenForReading);
  da_size_ = da_.size();
  da_reader_->Begin(da_, 0);
  first_record_.reset();
  is_damaged_ = false;
  double last = 0;
  std::uint64_t records = 0;
  do {
    Header header;
    const int status = ReadDaHeader(header);
    const bool is_damaged = status != kGood && status != kHeadersDiffer;
    is_damaged_ |= is_damaged && records > 0 && !rules_.damage_refuses_files;
    if (is_damaged_) break;
    if (status != kGood) return Fail(status);
    const double last_here = header.first + (header.points - 1) * header.step;
    first_ = records == 0 ? header.first : std::min(first_, header.first);
    const bool ends_sheet = (last_here < last) == rules_.ends_with_shortest_spectrum;
    if (records == 0 || ends_sheet) last = last_here;
    da_reader_->Skip(WholeBlocks(ValueBytes(header.points)));
    if (da_reader_->position() > da_size_) {
      if (rules_.damage_refuses_files) return Fail(kDataCut);
      is_damaged_ = true;
    }
    ++records;
  } while (da_reader_->position() < da_size_);
  leaves_out_cn_ = !rules_.constituents_fit && cn_.is_open() && !CnFits(records);
  if (leaves_out_cn_) cn_.Close();
  const double points = std::round((last - first_) / first_record_->step) + 1;
  // Two short spectra can lie any number of steps apart.
  if (points > kMostUnbacked + static_cast<double>(da_size_)) return Fail(kNoSize);
  points_ = static_cast<int>(points);
  const int columns =
      kFirstPointColumn - 1 + points_ + (cn_.is_open() ? first_record_->constituents : 0);
  return SetSize(static_cast<std::uint64_t>(columns), records + kRowsBeforeSpectra);
}

// Whether the CN file's size is one for so many spectra.
bool NsasFile::CnFits(std::uint64_t records) {
  const std::uint64_t size = cn_.size();
  has_constituent_names_ = size == (records + kCnHeaderBlocks) * kBlockSize;
  return has_constituent_names_ || size == records * kBlockSize;
}

int NsasFile::OpenCn() {
  if (!cn_.is_open()) return kGood;
  if (!CnFits(static_cast<std::uint64_t>(num_rows_ - kRowsBeforeSpectra))) return Fail(kCnSize);
  // A block has no room for more.
  if (first_record_->constituents > kMostConstituents) return Fail(kCnValuesCut);
  cn_reader_->Begin(cn_, 0);
  return kGood;
}

int NsasFile::Read(ReadSpreadSheetData* sink) {
  if (status_ != kGood || GetNumRows() < 0 || OpenCn() != kGood) return status_;
  sink->SetDataSize(num_cols_, num_rows_);
  if (MakeNameRow(*sink) != kGood) return status_;
  MakeInfoRow(*sink);
  da_size_ = da_.size();
  da_reader_->Begin(da_, 0);
  left_out_ = 0;
  for (int row = kRowsBeforeSpectra + 1; row <= num_rows_; ++row)
    if (MakeValueRow(*sink, row) != kGood) return status_;
  NoteLeftOut();
  return kGood;
}

void NsasFile::NoteLeftOut() const {
  if (left_out_ > 0)
    Log::WriteNote(kSource, std::to_string(left_out_) +
                                " values at the ends of spectra, at wavelengths that not all "
                                "spectra have, were not delivered");
  if (is_damaged_)
    Log::WriteNote(kSource,
                   "the DA file is cut or damaged, and what follows the last spectrum was "
                   "not delivered");
  if (leaves_out_cn_)
    Log::WriteNote(kSource,
                   "the size of the CN file fits no version of it, and the constituents "
                   "were not delivered");
}

template <typename Value>
void NsasFile::SetCell(ReadSpreadSheetData& sink, int column, int row, Value value) const {
  if (columns_.Holds(column)) sink.Set(column, row, value);
}

int NsasFile::MakeNameRow(ReadSpreadSheetData& sink) {
  int column = 1;
  for (const char* name : {"SampleNo", "SpectrumNo", "SampleName", "Time"})
    SetCell(sink, column++, 1, name);
  FloatText name{'w'};
  for (int i = 0; i < points_; ++i) {
    FormatGeneral(first_ + i * first_record_->step, name, 1);
    SetCell(sink, column++, 1, name.data());
  }
  return cn_.is_open() ? ReadCnHeader(sink) : kGood;
}

int NsasFile::ReadCnHeader(ReadSpreadSheetData& sink) {
  constexpr std::size_t kSize = kCnHeaderBlocks * kBlockSize;
  std::span<const char> bytes;
  if (has_constituent_names_) {
    bytes = cn_reader_->Ahead(kSize);
    if (bytes.size() < kSize) return Fail(kCnNamesCut);
  }
  for (int i = 0; i < first_record_->constituents; ++i) {
    const Name name = has_constituent_names_
                          ? GetHeaderChar(bytes, static_cast<std::size_t>(i) * kNameWidth)
                          : Name{};
    SetCell(sink, kFirstPointColumn + points_ + i, 1, name.data());
  }
  if (has_constituent_names_) cn_reader_->Skip(kSize);
  return kGood;
}

void NsasFile::MakeInfoRow(ReadSpreadSheetData& sink) const {
  const std::string text = "/Instrument model " + std::to_string(first_record_->model);
  SetCell(sink, 1, kRowsBeforeSpectra, text.c_str());
}

int NsasFile::MakeValueRow(ReadSpreadSheetData& sink, int row) {
  Header header;
  if (const int status = ReadDaHeader(header)) return Fail(status);
  const std::uint64_t data = da_reader_->position();
  if (data + ValueBytes(header.points) > da_size_) {
    if (!is_damaged_) return Fail(kDataCut);
    header.points = static_cast<int>((da_size_ - std::min(data, da_size_)) / sizeof(float));
  }
  TimeStampText time;
  SetCell(sink, 1, row, row - kRowsBeforeSpectra);
  SetCell(sink, 2, row, header.number);
  SetCell(sink, 3, row, header.name.data());
  SetCell(sink, 4, row, FormatTimeStamp(header.time, 2, ' ', time));
  if (ReadSpectraValues(header, sink, row) != kGood) return status_;
  da_reader_->Skip(data + WholeBlocks(ValueBytes(header.points)) - da_reader_->position());
  if (da_reader_->position() > da_size_ && !is_damaged_) return Fail(kDataFillerCut);
  return cn_.is_open() ? ReadConstituensValues(sink, row) : kGood;
}

int NsasFile::ReadSpectraValues(const Header& header, ReadSpreadSheetData& sink, int row) {
  // Counted in steps. Where it is no whole number each value goes to the nearest column, kept: but
  // only to columns whose own wavelength lies within the spectrum.
  constexpr double kRoundingError = 1e-6;
  const double offset = (header.first - first_) / header.step;
  auto begin = static_cast<int>(std::lround(offset));
  int beyond = begin + header.points;
  if (rules_.columns_lie_within_spectra) {
    begin = static_cast<int>(std::ceil(offset - kRoundingError));
    beyond = static_cast<int>(std::floor(offset + kRoundingError)) + header.points;
  }
  const int end = std::min(beyond, points_);
  left_out_ += header.points - std::max(end - begin, 0);

  const int from = std::max(kFirstPointColumn + begin, columns_.first);
  const int to = columns_.LastOf(kFirstPointColumn + end - 1);
  if (from > to) return kGood;
  const int before = from - kFirstPointColumn - static_cast<int>(std::lround(offset));
  da_reader_->Skip(ValueBytes(before));
  if (!SetStoredFloats(*da_reader_, sink, from, row, to - from + 1)) return Fail(kDataCut);
  return kGood;
}

int NsasFile::ReadConstituensValues(ReadSpreadSheetData& sink, int row) {
  const int constituents = first_record_->constituents;
  const auto bytes = cn_reader_->Ahead(kBlockSize);
  if (bytes.size() < ValueBytes(constituents)) return Fail(kCnValuesCut);
  for (int i = 0; i < constituents; ++i)
    SetCell(sink, kFirstPointColumn + points_ + i, row,
            LoadLittle<float>(bytes.data() + ValueBytes(i)));
  if (bytes.size() < kBlockSize) return Fail(kCnFillerCut);
  cn_reader_->Skip(kBlockSize);
  return kGood;
}

NsasFileFactory::NsasFileFactory(NsasRules rules)
    : SprFileFactory({.name = "NSAS File",
                      .read_filter = "NSAS Files (*.da)",
                      .extensions = {".da"},
                      .options = {{"columns", "FIRST,LAST"}}}),
      rules_(rules) {}

// Nothing in these files says what they are.
int NsasFileFactory::IsCorrectFileType(const char*) { return kNoOpinion; }

SpreadsheetFile* NsasFileFactory::Create() { return std::make_unique<NsasFile>(rules_).release(); }

}  // namespace nvimport
