#include "nvimport/formats/spectra/BrimroseFile.h"

#include <algorithm>
#include <charconv>
#include <chrono>

#include "nvimport/formats/spectra/BrimroseLayout.h"
#include "nvimport/formats/spectra/PointNames.h"
#include "nvimport/formats/spectra/SpectraStatements.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/LocalTime.h"
#include "nvimport/platform/Log.h"
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
static_assert(WellFormed(kTexts, 2816, 2822));

// Kept: a cut among the first two values is one inside the sub header.
constexpr std::uint64_t kSubHeaderSize = 128;
constexpr int kFirstPointColumn = 3;

// So many seconds after 1970 began in UTC, as ISO 8601.
std::string IsoTime(std::int32_t time) {
  using namespace std::chrono;
  const sys_seconds at{seconds(time)};
  const auto day = floor<days>(at);
  const year_month_day date(day);
  const hh_mm_ss clock(at - day);
  TimeStampText text;
  const auto number = [](auto part) { return static_cast<int>(part.count()); };
  return FormatTimeStamp(
             {static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
              static_cast<int>(static_cast<unsigned>(date.day())), number(clock.hours()),
              number(clock.minutes()), number(clock.seconds())},
             4, 'T', text) +
         std::string("Z");
}

}  // namespace

bool BrimroseFile::IsBrimroseFile(const char* path) {
  InputFile file(path);
  const auto layout = file.is_open() ? ReadBrimroseLayout(file) : std::nullopt;
  return layout && layout->IsWhole(file.size());
}

BrimroseFile::BrimroseFile(BrimroseRules rules)
    : SpectraFile("BrimroseFile", kTexts, kFirstPointColumn), rules_(rules) {
  six_digit_names_ = rules.names_of_whole_numbers;
}

NvImportOpenOptions* BrimroseFile::GetImportOptions(RangeChoice rows, RangeChoice columns) {
  return OptionPairs{{"rows", OptionPairs::Join(rows)}, {"columns", OptionPairs::Join(columns)}}
      .NewRecord();
}

void BrimroseFile::Close() {
  file_.Close();
  SpectraFile::Close();
}

int BrimroseFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (BeginOpen(read, path) != kGood) return status_;
  GivenOptions given(source_, options);
  if (!given.TakeRange("rows", rows_) || !given.TakeRange("columns", columns_))
    return Fail(kInvalidOptions);
  file_ = InputFile(path_.c_str());
  return file_.is_open() ? kGood : Fail(kCannotOpen);
}

int BrimroseFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (!file_.is_open()) return Fail(kNotOpenForReading);
  auto layout = ReadBrimroseLayout(file_);
  if (!layout) return Fail(kMainHeaderCut);
  if (!layout->IsFinite()) return Fail(kNotThisFormat);
  const SpectrumGrid& axis = layout->axis;
  if (axis.first <= 0 || axis.spacing <= 0 || axis.points == 0 || axis.last < axis.first)
    return Fail(kBadHeader);
  axis_ = {axis, {}};
  cut_ = 0;
  if (!rules_.cut_files_end_with_errors) {
    const std::uint64_t room = file_.size() - layout->Observation(0);
    const std::uint64_t whole = room / layout->ObservationSize();
    if (whole > 0 && whole < static_cast<std::uint64_t>(layout->observations))
      cut_ = layout->observations - static_cast<int>(whole);
    layout->observations -= cut_;
    further_ = file_.size() - std::min(file_.size(), layout->Observation(layout->observations));
  }
  const auto points = static_cast<std::uint64_t>(axis.points);
  // Kept: without observations there is no row of names, and no room for the first columns.
  if (layout->observations == 0) return SetSize(points, 0);
  return SetSize(points + kFirstPointColumn - 1,
                 static_cast<std::uint64_t>(layout->observations) + 1);
}

int BrimroseFile::Read(ReadSpreadSheetData* sink) {
  if (status_ != kGood || GetNumRows() < 0) return status_;
  sink->SetDataSize(num_cols_, num_rows_);
  if (!rules_.cut_files_end_with_errors) TellRest();
  if (num_rows_ == 0) return kGood;
  MakeNameRow(*sink);
  const int last = rows_.LastOf(num_rows_);
  int row = std::max(rows_.first, 2);
  const std::uint64_t file_size = file_.size();
  BlockReader reader;
  reader.Begin(file_, BrimroseLayout{axis_}.Observation(row - 2));
  for (; row <= last && sink->GetNextIndex(row - 1) >= 0; ++row)
    if (MakeDataRow(*sink, row, reader, file_size) != kGood) return status_;
  return kGood;
}

void BrimroseFile::TellRest() const {
  Log::WriteCount(source_, static_cast<std::uint64_t>(cut_),
                  "observation is cut off and was not delivered",
                  "observations are cut off and were not delivered");
  if (cut_ == 0)
    Log::WriteCount(source_, further_,
                    "byte stands behind the last observation and was not delivered",
                    "bytes stand behind the last observation and were not delivered");
}

void BrimroseFile::MakeNameRow(ReadSpreadSheetData& sink) const {
  SetCell(sink, 1, 1, "SampleNo");
  SetCell(sink, 2, 1, "DateTime");
  if (!six_digit_names_)
    return NamePoints({sink, "w", columns_, 1, 0, DigitsOfNames(0, axis_.points)}, 0, axis_.points);
  // Kept: whole numbers. The largest wavelength has 44 digits.
  std::array<char, 64> name{'w'};
  const int last = columns_.LastOf(num_cols_);
  for (int column = std::max(columns_.first, kFirstPointColumn); column <= last; ++column) {
    *std::to_chars(name.data() + 1, name.data() + name.size() - 1,
                   axis_.X(column - kFirstPointColumn), std::chars_format::fixed, 0)
         .ptr = '\0';
    sink.Set(column, 1, name.data());
  }
}

int BrimroseFile::MakeDataRow(ReadSpreadSheetData& sink, int row, BlockReader& reader,
                              std::uint64_t file_size) {
  const std::uint64_t begin = reader.position();
  const std::uint64_t end = begin + BrimroseLayout{axis_}.ObservationSize();
  if (std::min(begin + kSubHeaderSize, end) > file_size) return Fail(kSubHeaderCut);
  if (end > file_size) return Fail(kDataCut);
  const auto head = ReadBrimroseHead(reader);
  if (!head) return Fail(kSubHeaderCut);
  SetCell(sink, 1, row, row - 1);
  if (columns_.Holds(2)) {
    TimeStampText text;
    const auto time = LocalTime(head->time);
    sink.Set(2, row, time ? FormatTimeStamp(*time, 4, '/', text) : "");
  }
  if (!SetFloats(sink, row, 0, axis_.points, reader)) return Fail(kDataCut);
  reader.Skip(end - reader.position());
  return kGood;
}

int BrimroseFile::DescribeFiles(Description& description) {
  SpectraStatements statements(description, kBrimroseKeys, budget_);
  statements.Label(Axis::kX).Take("wavelength");
  const BrimroseLayout layout{axis_};
  BlockReader reader;
  int row = std::max(rows_.first, 2);
  reader.Begin(file_, layout.Observation(row - 2));
  for (; row <= rows_.LastOf(num_rows_) && !statements.full(); ++row) {
    const std::uint64_t end = reader.position() + layout.ObservationSize();
    const auto head = ReadBrimroseHead(reader);
    if (!head) break;
    statements.StateIfAny("sample text", head->sample, row);
    if (head->time != 0) {
      FloatText text;
      statements.State("acquisition time", {}, FormatWhole(head->time, text), row);
      statements.State("acquisition time", IsoTime(head->time), row);
    }
    reader.Skip(end - reader.position());
  }
  return kGood;
}

BrimroseFileFactory::BrimroseFileFactory(const BrimroseRules& rules)
    : RuledFactory({.name = "Brimrose File",
                    .read_filter = "Brimrose Files (*.dat)",
                    .extensions = {".dat"},
                    .options = {{"rows", "FIRST,LAST"}, {"columns", "FIRST,LAST"}}},
                   rules) {}

int BrimroseFileFactory::IsCorrectFileType(const char* path) {
  return BrimroseFile::IsBrimroseFile(path) ? kCertain : kNotThis;
}

}  // namespace nvimport
