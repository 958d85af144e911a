#include "nvimport/formats/spectra/SpectraFile.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <system_error>

#include "nvimport/formats/spectra/PointNames.h"
#include "nvimport/framework/Description.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/StoredValues.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Log.h"

namespace nvimport {

SpectraFile::SpectraFile(const char* source, std::span<const StatusText> texts,
                         int first_point_column)
    : source_(source), texts_(texts), first_point_column_(first_point_column) {}

SpectraFile::~SpectraFile() = default;

void SpectraFile::Close() {
  choices_.clear();
  SpreadsheetFile::Close();
}

void SpectraFile::GetErrorMessage(char* buffer, unsigned int size) {
  constexpr StatusText kOfAll[] = {{kInvalidOptions, kInvalidOptionsText}};
  if (!CopyText(texts_, buffer, size) && !CopyText(kOfAll, buffer, size))
    SpreadsheetFile::GetErrorMessage(buffer, size);
}

int SpectraFile::DescribeAll(Description& description) {
  if (GetNumCols() < 0 || status_ != kGood) return status_;
  const int points = SheetPoints();
  // A file may claim more of them than it has bytes.
  const std::uint64_t room = sizeof(double) * static_cast<std::uint64_t>(points);
  const bool has_room = budget_.TakeIfSpare(room, 0);
  if (has_room) {
    std::vector<double> x;
    x.reserve(static_cast<std::size_t>(points));
    for (int i = 0; i < points; ++i) x.push_back(ExactX(FirstSheetPoint() + i));
    description.SetX(first_point_column_, std::move(x));
  } else {
    Note("the x values of " + std::to_string(points) +
         " points would take more memory than an import may and are not told");
  }
  const int status = description.of_x_alone() ? int{kGood} : DescribeFiles(description);
  if (has_room) budget_.Return(room);
  return status;
}

int SpectraFile::DescribeFiles(Description&) { return kGood; }

int SpectraFile::BeginOpen(bool read, const char* path) {
  if (status_ != kGood) return status_;
  if (!read) return Fail(kWrongMode);
  Close();
  path_ = path != nullptr ? path : "";
  RenewBudget();
  return kGood;
}

void SpectraFile::RenewBudget() {
  std::uint64_t size = 0;
  for (const std::string& file : FileSelection::Split(path_)) {
    std::error_code none;
    const std::uintmax_t one = std::filesystem::file_size(FilePath(file), none);
    if (!none) size += one;
  }
  budget_ = Budget(size);
}

int SpectraFile::TakeInterval(GivenOptions& given, const char* title, OptionPairs& choices) {
  RangeChoice range;
  if (!given.TakeRange("range", range)) return Fail(kInvalidOptions);
  if (title != nullptr && !given.Find("range") && !AskForInterval(title, path_, range))
    return Fail(kCancelled);
  const std::string text = OptionPairs::Join(range);
  if (!SetInterval(range)) {
    given.Refuse("range", text);
    return Fail(kInvalidOptions);
  }
  choices.Set("range", text);
  return kGood;
}

void SpectraFile::GiveBack(const OptionPairs& choices, NvImportOpenOptions* options) {
  if (!choices.empty()) GiveChoices(choices.Bytes(), choices_, options);
}

void SpectraFile::NamePoints(PointNames names, int first, int count) const {
  const ExactGrid exact(axis_);
  const bool is_even = !six_digit_names_ && axis_.is_even();
  for (int i = 0; i < count; ++i)
    names.Put(first_point_column_ + i, is_even ? exact.X(first + i) : axis_.X(first + i));
}

int SpectraFile::DigitsOfNames(int first, int count) const {
  constexpr std::uint64_t kPerName = 16;  // in bytes that are gone through
  if (six_digit_names_) return kGeneralDigits;
  Budget budget = budget_;
  if (budget.Work(kPerName * static_cast<std::uint64_t>(count)))
    return nvimport::DigitsOfNames(axis_, first, count);
  // Of more points than the file can hold; these are as many as may be needed.
  const double largest = std::max(std::fabs(axis_.first), std::fabs(axis_.last));
  const double digits = std::ceil(std::log10(largest / std::fabs(axis_.spacing))) + 1;
  return digits >= kGeneralDigits && digits < kMostNameDigits ? static_cast<int>(digits)
                                                              : kMostNameDigits;
}

bool SpectraFile::SetFloats(ReadSpreadSheetData& sink, int row, int first, int count,
                            BlockReader& reader) const {
  const int first_column = first_point_column_ + first;
  const int from = std::max(columns_.first, first_column);
  const int to = columns_.LastOf(first_column + count - 1);
  if (from > to) return true;
  reader.Skip(static_cast<std::uint64_t>(from - first_column) * sizeof(float));
  return TakeStoredValues<float, std::endian::little>(
      reader, to - from + 1,
      [&sink, from, row](int i, float value) { sink.Set(from + i, row, value); });
}

void SpectraFile::Note(std::string_view text) const { Log::WriteNote(source_, text); }

}  // namespace nvimport
