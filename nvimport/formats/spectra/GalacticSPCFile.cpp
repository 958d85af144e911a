// Galactic SPC, little-endian. New layout (version K), a header of 512 bytes:
//   0 uint8  flags   1 char  version   3 int8 exponent   4 int32 points   8 double first x
//   16 double last x   24 int32 sub-files
// then, with flag 0x80, a float32 x for each point, then the sub-files: a header of 32 bytes, whose
// byte 1 is its own exponent in a multifile (flag 0x04), and the y values. With flag 0x40 each
// sub-file has its own number of points, int32 at 16 in its header, and as many float32 x between
// header and values. Version L is the same, big-endian.
// Old layout (version M), a header of 256 bytes:
//   0 uint8  flags   1 char  version   2 int16 exponent   4 float32 points   8 float32 first x
//   12 float32 last x
// then the y values, 32-bit integers with their high half first; further sub-files follow as above.
// A y value is a float32 when the exponent is -128, else an integer of 16 (flag 0x01) or 32 bits,
// whose point stands before its first bit and is moved right by the exponent.

#include "nvimport/formats/spectra/GalacticSPCFile.h"

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <numeric>
#include <tuple>

#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/framework/StoredValues.h"
#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

enum Status : int {
  kNoFile = 2560,
  kNotOpened = 2561,
  kNotThisFormat = 2562,
  kOtherByteOrder = 2563,
  kCutShort = 2564,
  kUnevenX = 2565,
  kNoFilesSelected = 2566,
  kSpacingDiffers = 2567,
  kMassSpectra = 2568,
  kXArraysDiffer = 2569
};
constexpr StatusText kTexts[] = {
    {kInvalidOptions, kInvalidOptionsText},
    {kNoFile, "Unable to open file."},
    {kNotOpened, "Unable to read file. The file was not opened or Open File failed."},
    {kNotThisFormat, "This file does not seem to be a valid Galactic SPC file."},
    {kOtherByteOrder, "This version of Galactic SPC files are not supported."},
    {kUnevenX, "Unevenly spaced X-variables are not supported."},
    {kNoFilesSelected, "No files were selected, import aborted."},
    {kSpacingDiffers, "The data did not have the same X-spacing."},
    {kMassSpectra,
     "Looks like GC-MS spectra file(s) and that is not supported at the moment. Contact the "
     "Quellon support."},
    {kXArraysDiffer, "The X variable names in files differ from each other"},
};
static_assert(WellFormed(std::span(kTexts).subspan(1), 2560, 2569));

constexpr const char* kSource = "GalacticSPCFile";

enum Flag : unsigned { k16Bit = 0x01, kMultifile = 0x04, kOwnXArrays = 0x40, kXArray = 0x80 };
constexpr char kNewVersion = 'K';
constexpr char kOldVersion = 'M';
constexpr char kOtherOrderVersion = 'L';
constexpr std::size_t kNewHeaderSize = 512;
constexpr std::size_t kOldHeaderSize = 256;
constexpr std::size_t kSubHeaderSize = 32;
constexpr int kFloats = -128;
constexpr int kFirstPointColumn = 3;

// A short file may announce this much that it does not hold; more is a claim that would only cost.
constexpr int kMostUnbacked = 1'000'000;

std::size_t ValueSize(bool is_16_bit, int exponent) {
  return is_16_bit && exponent != kFloats ? 2 : 4;
}

// The divisor is unsigned: no points make it 4294967295, one point divides by zero.
double Spacing(double first, double last, int points) {
  return (last - first) / static_cast<double>(static_cast<std::uint32_t>(points) - 1U);
}

bool Differ(double a, double b) {
  constexpr double kTolerance = 0x1p-23;
  return std::isnan(a) != std::isnan(b) || std::fabs(a - b) > kTolerance;
}

bool SameX(std::span<const float> a, std::span<const float> b) {
  return std::ranges::equal(
      a, b, [](float x, float y) { return x == y || (std::isnan(x) && std::isnan(y)); });
}

// The order of x values, of which those that are no numbers come last.
bool IsBefore(float a, float b) { return a < b || (std::isnan(b) && !std::isnan(a)); }

std::string ShortNumber(double value) {
  FloatText buffer;
  return {buffer.data(), FormatGeneral(value, buffer)};
}

// The scale of fixed-point values of `bits` bits. An exponent beyond what a float could show is
// cut, so that zero stays zero.
double Scale(int exponent, int bits) {
  constexpr int kBeyondFloats = 400;
  return std::ldexp(1.0, std::clamp(exponent - bits, -kBeyondFloats, kBeyondFloats));
}

}  // namespace

GalacticSPCFile::GalacticSPCFile(GalacticSPCRules rules)
    : rules_(rules), reader_(std::make_unique<BlockReader>()) {}

GalacticSPCFile::~GalacticSPCFile() = default;

NvImportOpenOptions* GalacticSPCFile::GetImportOptions(RangeChoice range,
                                                       const std::vector<int>& files,
                                                       bool text_names, bool x_row) {
  OptionPairs pairs;
  pairs.Set("range", OptionPairs::Join({range.first, range.last}));
  if (!files.empty()) pairs.Set("files", OptionPairs::Join(files));
  pairs.Set("names", text_names ? "text" : "number");
  pairs.Set("xrow", x_row ? "1" : "0");
  return SpreadsheetOpenOptions::NewOpenOptions(pairs.Bytes());
}

void GalacticSPCFile::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyText(kTexts, buffer, size)) SpreadsheetFile::GetErrorMessage(buffer, size);
}

void GalacticSPCFile::Close() {
  opened_ = false;
  files_.clear();
  choices_.clear();
  size_established_ = false;
  SpreadsheetFile::Close();
}

int GalacticSPCFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (status_ != kGood) return status_;
  if (!read) return Fail(kWrongMode);
  opened_ = false;
  size_established_ = false;
  path_ = path != nullptr ? path : "";

  const auto given = OptionPairs::Parse(options);
  if (!given) return RefuseOptions(kSource, "bytes", "the whole of them");
  std::vector<int> positions;
  if (const auto files = given->Find("files")) {
    const auto numbers = OptionPairs::Numbers(*files);
    if (!numbers) return RefuseOptions(kSource, "files", *files);
    positions = *numbers;
  }
  if (GetFileList(path_, positions) != kGood || ReadHeaders() != kGood ||
      SetOptions(*given, options) != kGood)
    return status_;
  opened_ = true;
  return kGood;
}

int GalacticSPCFile::GetFileList(const std::string& path, const std::vector<int>& positions) {
  files_.clear();
  if (path.empty()) return kGood;
  for (std::string& name : FileSelection::Split(path)) {
    Header& header = files_.emplace_back();
    header.name = FileName(name);
    header.path = std::move(name);
    header.position = static_cast<int>(files_.size());
  }
  for (const int position : positions)
    if (position < 1 || position > static_cast<int>(files_.size()))
      return RefuseOptions(kSource, "files", OptionPairs::Join(positions));
  if (!positions.empty()) SelectFilesToImport(positions);
  return kGood;
}

void GalacticSPCFile::SelectFilesToImport(const std::vector<int>& positions) {
  std::vector<Header> chosen;
  for (const int position : positions)
    if (position >= 1 && position <= static_cast<int>(files_.size()))
      chosen.push_back(files_[static_cast<std::size_t>(position - 1)]);
  files_ = std::move(chosen);
}

int GalacticSPCFile::ReadHeaders() {
  x_arrays_differ_ = false;
  common_x_.clear();
  own_x_.clear();
  for (Header& header : files_)
    if (ReadHeaderInfo(header) != kGood) return status_;
  return own_x_.empty() ? kGood : UniteX();
}

bool GalacticSPCFile::IsValidGalacticCPCFile(char version) {
  return version == kNewVersion || version == kOldVersion || version == kOtherOrderVersion;
}

int GalacticSPCFile::ReadHeaderInfo(Header& header) {
  InputFile file(header.path.c_str());
  if (!file.is_open()) return Fail(kNoFile);
  std::array<char, kNewHeaderSize> buffer;
  const std::ptrdiff_t got = file.Read(buffer);
  const std::string_view bytes(buffer.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
  if (bytes.size() < 2 || !IsValidGalacticCPCFile(bytes[1])) return Fail(kNotThisFormat);
  const bool is_other_order = bytes[1] == kOtherOrderVersion;
  if (is_other_order) header.byte_order = std::endian::big;
  if (is_other_order && rules_.refuse_other_byte_order) return Fail(kOtherByteOrder);

  const auto flags = static_cast<unsigned char>(bytes[0]);
  header.is_16_bit = (flags & k16Bit) != 0;
  header.is_multifile = (flags & kMultifile) != 0;
  header.is_old = bytes[1] == kOldVersion;
  header.size = file.size();
  if (header.is_old) {
    if (bytes.size() < kOldHeaderSize) return Fail(kCutShort);
    if ((flags & kXArray) != 0) return Fail(kUnevenX);
    if (!TakeOldHeader(bytes, header)) return Fail(kCutShort);
  } else {
    header.has_own_x = (flags & kOwnXArrays) != 0;
    if (header.has_own_x && rules_.refuse_own_x_arrays) return Fail(kMassSpectra);
    if (bytes.size() < kNewHeaderSize || !TakeNewHeader(bytes, header)) return Fail(kCutShort);
    // With x arrays of their own it is the place of a list of the sub-files.
    if (header.has_own_x) header.points = 0;
    header.has_x_array = !header.has_own_x && (flags & kXArray) != 0;
    header.data = kNewHeaderSize;
    if (header.has_x_array)
      header.data += static_cast<std::uint64_t>(header.points) * sizeof(float);
  }
  header.spacing = Spacing(header.first_x, header.last_x, header.points);
  if (header.has_own_x != files_.front().has_own_x) x_arrays_differ_ = true;
  return header.has_own_x ? AddOwnX(header, file) : ReadXArray(header, file);
}

bool GalacticSPCFile::TakeNewHeader(std::string_view bytes, Header& header) {
  ByteReader reader(bytes, header.byte_order);
  reader.Seek(3);
  header.exponent = reader.I8();
  header.points = reader.I32();
  header.first_x = reader.F64();
  header.last_x = reader.F64();
  header.sub_files = reader.I32();
  return header.points >= 0 && header.sub_files >= 0;
}

bool GalacticSPCFile::TakeOldHeader(std::string_view bytes, Header& header) const {
  ByteReader reader(bytes);
  reader.Skip(2);
  header.exponent = reader.I16();
  const float points = reader.F32();
  header.first_x = reader.F32();
  header.last_x = reader.F32();
  if (!(points >= 0 && points < 0x1p31F)) return false;
  header.points = static_cast<int>(points);
  header.data = kOldHeaderSize;
  header.sub_files = 1;

  // Kept: what follows the first sub-file is left out.
  const std::uint64_t spectrum =
      static_cast<std::uint64_t>(header.points) * ValueSize(header.is_16_bit, header.exponent);
  if (!header.is_multifile || spectrum == 0 || header.size < kOldHeaderSize + spectrum) return true;
  const auto others = static_cast<int>(std::min<std::uint64_t>(
      (header.size - kOldHeaderSize - spectrum) / (kSubHeaderSize + spectrum), INT_MAX - 1));
  (rules_.one_spectrum_of_old_files ? header.left_out : header.sub_files) += others;
  return true;
}

int GalacticSPCFile::ReadXArray(const Header& header, InputFile& file) {
  std::vector<float> x;
  if (header.has_x_array) {
    const auto count = static_cast<std::size_t>(header.points);
    if (header.size < header.data) return Fail(kCutShort);
    reader_->Begin(file, kNewHeaderSize);
    x.reserve(count);
    while (x.size() < count) {
      const auto bytes = reader_->Ahead(sizeof(float));
      const std::size_t values = std::min(bytes.size() / sizeof(float), count - x.size());
      if (values == 0) return Fail(kCutShort);
      for (std::size_t i = 0; i < values; ++i)
        x.push_back(Load<float>(bytes.data() + i * sizeof(float), header.byte_order));
      reader_->Skip(values * sizeof(float));
    }
  }
  if (&header == files_.data()) {
    common_x_ = std::move(x);
  } else if (header.has_x_array != files_.front().has_x_array || !SameX(x, common_x_)) {
    x_arrays_differ_ = true;
  }
  return kGood;
}

// Adds the x values of the whole sub-files; reading fails at the others.
int GalacticSPCFile::AddOwnX(const Header& header, InputFile& file) {
  reader_->Begin(file, header.data);
  std::vector<float> x;
  for (int number = 0; number < header.sub_files; ++number) {
    const auto bytes = reader_->Ahead(kSubHeaderSize);
    if (bytes.size() < kSubHeaderSize) break;
    const auto [exponent, points] = ReadSubHeaderInfo(header, bytes);
    reader_->Skip(kSubHeaderSize);
    if (!ReadOwnX(header, points, x)) break;
    reader_->Skip(static_cast<std::uint64_t>(points) * ValueSize(header.is_16_bit, exponent));
    std::ranges::sort(x, IsBefore);
    int equal = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
      equal = i > 0 && !IsBefore(x[i - 1], x[i]) ? equal + 1 : 0;
      own_x_.emplace_back(x[i], equal);
    }
  }
  return kGood;
}

bool GalacticSPCFile::ReadOwnX(const Header& header, int points, std::vector<float>& x) {
  x.clear();
  if (points < 0) return false;
  const auto count = static_cast<std::size_t>(points);
  // The y values take two bytes at least.
  if (reader_->position() + std::uint64_t{count} * 6 > header.size) return false;
  x.reserve(count);
  while (x.size() < count) {
    const auto bytes = reader_->Ahead(sizeof(float));
    const std::size_t values = std::min(bytes.size() / sizeof(float), count - x.size());
    if (values == 0) return false;
    for (std::size_t i = 0; i < values; ++i)
      x.push_back(Load<float>(bytes.data() + i * sizeof(float), header.byte_order));
    reader_->Skip(values * sizeof(float));
  }
  return true;
}

// Makes every x that occurs a point of all files, as often as a sub-file has it.
int GalacticSPCFile::UniteX() {
  const auto is_before = [](const auto& a, const auto& b) {
    return IsBefore(a.first, b.first) || (!IsBefore(b.first, a.first) && a.second < b.second);
  };
  std::ranges::sort(own_x_, is_before);
  const auto is_same = [&](const auto& a, const auto& b) { return !is_before(a, b); };
  own_x_.erase(std::unique(own_x_.begin(), own_x_.end(), is_same), own_x_.end());
  if (own_x_.size() > INT_MAX) return Fail(kNoSize);
  common_x_.reserve(own_x_.size());
  for (const auto& [x, number] : own_x_) common_x_.push_back(x);
  own_x_ = {};
  for (Header& header : files_) {
    if (!header.has_own_x) continue;
    header.points = static_cast<int>(common_x_.size());
    header.first_x = static_cast<double>(common_x_.front());
    header.last_x = static_cast<double>(common_x_.back());
    header.spacing = Spacing(header.first_x, header.last_x, header.points);
  }
  return kGood;
}

// Finds the column of each point, the next one for those that repeat an x.
void GalacticSPCFile::FindColumns(std::span<const float> x) {
  std::vector<int> order(x.size());
  std::iota(order.begin(), order.end(), 0);
  const auto x_of = [&](int point) { return x[static_cast<std::size_t>(point)]; };
  std::ranges::stable_sort(order, IsBefore, x_of);
  own_columns_.resize(x.size());
  auto column = common_x_.begin();
  for (const int point : order) {
    column = std::lower_bound(column, common_x_.end(), x_of(point), IsBefore);
    own_columns_[static_cast<std::size_t>(point)] = static_cast<int>(column - common_x_.begin());
    if (column != common_x_.end()) ++column;
  }
}

int GalacticSPCFile::CheckFiles() {
  if (files_.empty()) return kNoFilesSelected;
  const Header& first = files_.front();
  first_x_ = first.first_x;
  last_x_ = first.last_x;
  spacing_ = first.spacing;
  points_ = 0;
  for (const Header& file : files_) {
    points_ = std::max(points_, file.points);
    if (!(file.last_x <= last_x_)) last_x_ = file.last_x;
  }
  if (x_arrays_differ_) return kXArraysDiffer;
  for (const Header& file : files_)
    if (Differ(file.first_x, first.first_x) || Differ(file.spacing, first.spacing))
      return kSpacingDiffers;
  return kGood;
}

int GalacticSPCFile::SetOptions(const OptionPairs& given, NvImportOpenOptions* options) {
  const auto names = given.Find("names").value_or("number");
  if (names != "number" && names != "text") return RefuseOptions(kSource, "names", names);
  text_names_ = names == "text";
  const auto x_row = given.Find("xrow").value_or("0");
  if (x_row != "0" && x_row != "1") return RefuseOptions(kSource, "xrow", x_row);
  include_x_row_ = x_row == "1";

  OptionPairs choices;
  for (int check = CheckFiles(); check != kGood; check = CheckFiles()) {
    const std::size_t count = files_.size();
    if (check != kSpacingDiffers && check != kXArraysDiffer) return Fail(check);
    if (AskForFiles(check) != kGood) return status_;
    // Whoever chooses all of them again will never choose fewer.
    if (files_.size() == count) return Fail(check);
    std::vector<int> positions;
    for (const Header& file : files_) positions.push_back(file.position);
    choices.Set("files", OptionPairs::Join(positions));
  }

  RangeChoice range;
  if (const auto text = given.Find("range")) {
    const auto found = given.FindRange("range");
    if (!found) return RefuseOptions(kSource, "range", *text);
    range = *found;
  } else if (!AskForInterval("Galactic SPC File Import Wizard", path_, range)) {
    return Fail(kCancelled);
  }
  const std::string text = OptionPairs::Join({range.first, range.last});
  if (!SetInterval(range)) return RefuseOptions(kSource, "range", text);
  choices.Set("range", text);
  if (TakesChoices(options)) {
    choices_ = choices.Bytes();
    *options = {static_cast<int>(choices_.size()), choices_.data()};
  }
  return kGood;
}

int GalacticSPCFile::AskForFiles(int status) {
  const char* const reason = std::ranges::find(kTexts, status, &StatusText::status)->text;
  Log::WriteMessage(kSource, "SetOptions", reason, Log::kNormal);
  ItemsQuestion question{ItemsQuestion::Kind::kFiles,
                         "Select Files",
                         "The files did not have the same properties. Please only select the files "
                         "with same properties from the ones you want to import. ",
                         "File",
                         {},
                         {},
                         false,
                         {},
                         0};
  for (const Header& file : files_) {
    std::string entry = file.name + " [Num ";
    if (file.sub_files > 1)
      entry += "sub-files: " + std::to_string(file.sub_files) +
               ", Num values: " + std::to_string(file.points);
    else
      entry +=
          "values: " + std::to_string(file.points) + ", First value: " + ShortNumber(file.first_x) +
          ", Last value: " + ShortNumber(file.last_x) + ", X-Spacing: " + ShortNumber(file.spacing);
    question.items.push_back(entry + "]");
  }
  const auto answer = Dialogs::Current().SelectItems(question);
  if (!answer) return Fail(kCancelled);
  std::vector<int> positions;
  for (const std::size_t item : answer->items) positions.push_back(static_cast<int>(item) + 1);
  SelectFilesToImport(positions);
  return ReadHeaders();
}

int GalacticSPCFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (!opened_) return Fail(kNotOpened);
  std::uint64_t rows = include_x_row_ ? 2 : 1;
  for (const Header& file : files_) rows += static_cast<std::uint64_t>(file.sub_files);
  return SetSize(static_cast<std::uint64_t>(interval_size()) + kFirstPointColumn - 1, rows);
}

double GalacticSPCFile::PointX(int index) const {
  if (!common_x_.empty()) return static_cast<double>(common_x_[static_cast<std::size_t>(index)]);
  // The spacing of one point is no number.
  return index == 0 ? first_x_ : first_x_ + index * spacing_;
}

void GalacticSPCFile::SetNames(ReadSpreadSheetData& sink, int row) const {
  sink.Set(1, row, "Primary ID");
  sink.Set(2, row, "Name");
  FloatText name{'t', ' '};
  for (int i = 0; i < interval_size(); ++i) {
    const double x = PointX(first_index() + i);
    if (text_names_) {
      FormatGeneral(x, name, 2);
      sink.Set(kFirstPointColumn + i, row, name.data());
    } else {
      sink.Set(kFirstPointColumn + i, row, static_cast<float>(x));
    }
  }
}

bool GalacticSPCFile::ClaimsTooMuch(const Header& header) {
  const auto is_backed = [&](std::uint64_t count, std::uint64_t size) {
    return count <= kMostUnbacked || header.data + count * size <= header.size;
  };
  return (!header.has_own_x && !is_backed(static_cast<std::uint64_t>(header.points), 2)) ||
         !is_backed(static_cast<std::uint64_t>(header.sub_files), kSubHeaderSize);
}

int GalacticSPCFile::Read(ReadSpreadSheetData* sink) {
  if (status_ != kGood) return status_;
  if (!opened_) return Fail(kNotOpened);
  if (std::ranges::any_of(files_, ClaimsTooMuch)) return Fail(kCutShort);
  int row = sink->GetNextIndex(0);
  const int rows = GetNumRows();
  const int columns = GetNumCols();
  if (rows < 0 || columns < 0) return status_;
  sink->SetDataSize(columns, rows);
  if (row >= 0) SetNames(*sink, row);
  // The row of x values serves one read.
  if (std::exchange(include_x_row_, false)) {
    size_established_ = false;
    if (row >= 0) row = sink->GetNextIndex(row);
    if (row >= 0) {
      sink->Set(2, row, "X-values");
      for (int i = 0; i < interval_size(); ++i)
        sink->Set(kFirstPointColumn + i, row, static_cast<float>(PointX(first_index() + i)));
    }
  }
  std::uint64_t left_out = 0;
  for (const Header& header : files_) {
    if (ReadSpectra(header, *sink, row) != kGood) return status_;
    left_out += static_cast<std::uint64_t>(header.left_out);
  }
  Log::WriteCount(kSource, left_out,
                  "further spectrum of a file of the old layout was not delivered",
                  "further spectra of files of the old layout were not delivered");
  return kGood;
}

int GalacticSPCFile::ReadSpectra(const Header& header, ReadSpreadSheetData& sink, int& row) {
  InputFile file(header.path.c_str());
  if (!file.is_open()) return Fail(kNoFile);
  reader_->Begin(file, header.data);
  // Only whole sub-files are delivered.
  const std::uint64_t size = file.size();
  std::uint64_t position = header.data;
  std::vector<float> own_x;
  for (int number = 1; number <= header.sub_files && row >= 0; ++number) {
    int exponent = header.exponent;
    int points = header.points;
    if (!header.is_old || number > 1) {
      position += kSubHeaderSize;
      const auto bytes = reader_->Ahead(kSubHeaderSize);
      if (position > size || bytes.size() < kSubHeaderSize) return Fail(kCutShort);
      std::tie(exponent, points) = ReadSubHeaderInfo(header, bytes);
      reader_->Skip(kSubHeaderSize);
    }
    if (header.has_own_x) {
      if (!ReadOwnX(header, points, own_x)) return Fail(kCutShort);
      FindColumns(own_x);
      position += static_cast<std::uint64_t>(points) * sizeof(float);
    }
    position += static_cast<std::uint64_t>(points) * ValueSize(header.is_16_bit, exponent);
    if (position > size) return Fail(kCutShort);
    row = sink.GetNextIndex(row);
    if (row < 0) break;
    const std::string name =
        header.sub_files == 1 ? header.name : header.name + "_" + std::to_string(number);
    sink.Set(1, row, row - 1);
    sink.Set(2, row, name.c_str());
    if (!ReadPoints(header, exponent, sink, row)) return Fail(kCutShort);
  }
  return kGood;
}

std::pair<int, int> GalacticSPCFile::ReadSubHeaderInfo(const Header& header,
                                                       std::span<const char> bytes) {
  const int exponent = header.is_multifile ? static_cast<signed char>(bytes[1]) : header.exponent;
  const int points =
      header.has_own_x ? Load<std::int32_t>(&bytes[16], header.byte_order) : header.points;
  return {exponent, points};
}

bool GalacticSPCFile::ReadPoints(const Header& header, int exponent, ReadSpreadSheetData& sink,
                                 int row) {
  if (exponent == kFloats)
    return DeliverValues<float>(header, sink, row, [](float value) { return value; });
  if (header.is_16_bit) {
    const double scale = Scale(exponent, 16);
    return DeliverValues<std::int16_t>(header, sink, row, [scale](std::int16_t value) {
      return static_cast<float>(value * scale);
    });
  }
  const double scale = Scale(exponent, 32);
  if (header.is_old)
    return DeliverValues<std::uint32_t>(header, sink, row, [scale](std::uint32_t value) {
      return static_cast<float>(static_cast<std::int32_t>(std::rotl(value, 16)) * scale);
    });
  return DeliverValues<std::int32_t>(
      header, sink, row, [scale](std::int32_t value) { return static_cast<float>(value * scale); });
}

template <typename Stored, typename Convert>
bool GalacticSPCFile::DeliverValues(const Header& header, ReadSpreadSheetData& sink, int row,
                                    Convert convert) {
  if (header.byte_order == std::endian::little)
    return DeliverPoints<Stored, std::endian::little>(header, sink, row, convert);
  return DeliverPoints<Stored, std::endian::big>(header, sink, row, convert);
}

template <typename Stored, std::endian kOrder, typename Convert>
bool GalacticSPCFile::DeliverPoints(const Header& header, ReadSpreadSheetData& sink, int row,
                                    Convert convert) {
  if (header.has_own_x) {
    for (const int column : own_columns_) {
      const int point = column - first_index();
      const int wanted = point >= 0 && point < interval_size() ? 1 : 0;
      if (!SetStoredValues<Stored, kOrder>(*reader_, sink, kFirstPointColumn + point, row, wanted,
                                           convert))
        return false;
      if (wanted == 0) reader_->Skip(sizeof(Stored));
    }
    return true;
  }
  const int before = std::min(first_index(), header.points);
  const int wanted = std::min(interval_size(), header.points - before);
  reader_->Skip(static_cast<std::uint64_t>(before) * sizeof(Stored));
  if (!SetStoredValues<Stored, kOrder>(*reader_, sink, kFirstPointColumn, row, wanted, convert))
    return false;
  reader_->Skip(static_cast<std::uint64_t>(header.points - before - wanted) * sizeof(Stored));
  return true;
}

GalacticSPCFileFactory::GalacticSPCFileFactory(GalacticSPCRules rules)
    : SprFileFactory({.name = "GalacticSPC File",
                      .read_filter = "Galactic SPC Files (*.spc)",
                      .extensions = {".spc"},
                      .several_at_once = true,
                      .flag5 = true,
                      .options = {{"range", "FIRST,LAST", /*is_asked=*/true},
                                  {"files", "N,N...", /*is_asked=*/true},
                                  {"names", "number|text"},
                                  {"xrow", "0|1"}}}),
      rules_(rules) {}

// Every file may be one: only Open looks inside.
int GalacticSPCFileFactory::IsCorrectFileType(const char*) { return kNoOpinion; }

SpreadsheetFile* GalacticSPCFileFactory::Create() {
  return std::make_unique<GalacticSPCFile>(rules_).release();
}

}  // namespace nvimport
