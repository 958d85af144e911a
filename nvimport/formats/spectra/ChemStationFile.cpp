#include "nvimport/formats/spectra/ChemStationFile.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <filesystem>
#include <limits>
#include <map>
#include <span>
#include <system_error>
#include <utility>

#include "nvimport/formats/spectra/ChemStationLayout.h"
#include "nvimport/formats/spectra/JCAMPDate.h"
#include "nvimport/formats/spectra/SpectraStatements.h"
#include "nvimport/formats/spectra/ValueSink.h"
#include "nvimport/formats/spectra/XUnion.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

constexpr StatusText kTexts[] = {
    {kChemNoFile, "Unable to open file."},
    {kChemNotOpened, "Unable to read file. The file was not opened or Open File failed."},
    {kChemNotThisFormat, "This file does not seem to be a valid HPLC ChemStation file."},
    {kChemMassSpectra, "This file holds mass spectra, which cannot be read."},
    {kChemOtherVersion, "This version of HPLC ChemStation files is not supported."},
    {kChemCutShort, "The file is cut short. It cannot be read."},
    {kChemDamaged, "The file is damaged within its values. It cannot be read."},
    {kChemNoValues, "The file holds no values."},
    {kChemKindsDiffer,
     "Chromatograms and spectra over time do not fit into one sheet. Please select files of one "
     "kind, or a wavelength."},
    {kChemWavelengthsDiffer, "The spectra of the file do not have the same wavelengths."},
    {kChemNoWavelength, "The file has no values at the wavelength that was chosen."},
    {kChemCannotRead, "The file could not be read."},
    {kChemEmptyFolder, "The folder does not hold any HPLC ChemStation file (.ch, .uv)."},
};
static_assert(WellFormed(kTexts, 4400, 4415));

constexpr int kFirstTimeColumn = 3;
constexpr int kTimeColumn = 3;  // of spectra
constexpr int kFirstWavelengthColumn = 4;
constexpr double kMsPerMinute = 60'000;

std::string ShortText(double value) {
  FloatText buffer;
  return std::string(FormatDouble(value, buffer));
}

bool IsFolder(const std::string& path) {
  std::error_code none;
  return std::filesystem::is_directory(FilePath(path), none);
}

// The files in a folder of a run that may be of the format, in the order of their names.
std::vector<std::string> FilesOfRun(const std::string& folder) {
  std::vector<std::string> files;
  std::error_code error;
  for (std::filesystem::directory_iterator at(FilePath(folder), error), end; !error && at != end;
       at.increment(error)) {
    const std::string extension = NvGetFileExtension(PathText(at->path()));
    std::error_code none;
    if ((EqualIgnoringCase(extension, "ch") || EqualIgnoringCase(extension, "uv")) &&
        at->is_regular_file(none))
      files.push_back(PathText(at->path()));
  }
  std::ranges::sort(files);
  return files;
}

Confidence ConfidenceOf(const std::string& path) {
  InputFile file(path.c_str());
  ChemStationLayout layout;
  if (!file.is_open()) return kNotThis;
  const int status = ReadChemStationLayout(file, layout);
  if (status == kGood) return layout.is_sure ? kCertain : kPlausible;
  return status == kChemCutShort ? kPlausible : kNotThis;
}

// The date as ISO 8601, which is 13-Oct-15, 16:11:35 or 01 Nov 23  07:15 pm or 8/20/20 2:00:32 PM;
// empty where day and month could change places.
std::string IsoDate(std::string text) {
  std::erase(text, ',');
  int hours_more = -1;
  constexpr std::size_t kHalfSize = 3;
  const std::string_view half =
      std::string_view(text).substr(text.size() - std::min(text.size(), kHalfSize));
  if (EqualIgnoringCase(half, " am")) hours_more = 0;
  if (EqualIgnoringCase(half, " pm")) hours_more = 12;
  if (hours_more >= 0) text.resize(text.size() - kHalfSize);
  // Of a year the last two digits are there.
  const std::size_t slash = text.rfind('/');
  if (slash != std::string::npos && slash + 3 == std::min(text.find(' ', slash), text.size()))
    text.insert(slash + 1, "20");
  std::string iso = IsoJCAMPDate(text);
  constexpr std::size_t kHourPlace = 11;
  if (hours_more < 0 || iso.size() < kHourPlace + 2) return iso;
  const int hour = (iso[kHourPlace] - '0') * 10 + (iso[kHourPlace + 1] - '0');
  if (hour < 1 || hour > 12) return {};
  const int of_day = hour % 12 + hours_more;
  iso[kHourPlace] = static_cast<char>('0' + of_day / 10);
  iso[kHourPlace + 1] = static_cast<char>('0' + of_day % 10);
  return iso;
}

}  // namespace

struct ChemStationFile::Input {
  std::string path;
  bool is_in_folder = false;
  ChemStationLayout layout{};
  std::string name{};
  int points = 0;
  int rows = 1;
  bool has_times = true;
  bool has_end = true;
  bool is_even = true;       // where the header states the step, the values lie so
  std::uint64_t behind = 0;  // bytes behind the values
  ChemStationScan wavelengths{};
  int trace_point = 0;      // of the wavelength that is wanted
  std::vector<double> x{};  // unless they lie evenly

  // Makes the times of points that lie evenly, in minutes.
  auto Times() const {
    const double first = has_times ? layout.first_time : kMsPerMinute;
    const double last = has_times ? layout.last_time : kMsPerMinute * points;
    const double steps = std::max(points - 1, 1);
    return [=, parts = steps * kMsPerMinute](int point) {
      return (first * (steps - point) + last * point) / parts;
    };
  }
  double X(int point) const {
    return x.empty() ? Times()(point) : x[static_cast<std::size_t>(point)];
  }
  bool HasXOf(const Input& other) const {
    return points == other.points && x == other.x && X(0) == other.X(0) &&
           X(points - 1) == other.X(points - 1);
  }
};

// The largest and the smallest of many values, of which each lane waits for its own.
class Extremes {
 public:
  void Take(std::span<const double> values) {
    for (; values.size() >= kLanes; values = values.subspan(kLanes))
      for (std::size_t i = 0; i < kLanes; ++i) TakeOne(i, values[i]);
    for (const double value : values) TakeOne(0, value);
  }
  double largest() const { return *std::ranges::max_element(largest_); }
  double smallest() const { return *std::ranges::min_element(smallest_); }

 private:
  static constexpr std::size_t kLanes = 4;
  static constexpr double kInfinity = std::numeric_limits<double>::infinity();

  void TakeOne(std::size_t lane, double value) {
    largest_[lane] = largest_[lane] < value ? value : largest_[lane];
    smallest_[lane] = value < smallest_[lane] ? value : smallest_[lane];
  }

  std::array<double, kLanes> largest_{-kInfinity, -kInfinity, -kInfinity, -kInfinity};
  std::array<double, kLanes> smallest_{kInfinity, kInfinity, kInfinity, kInfinity};
};

// Puts the stored values of an input into rows.
class ChemStationFile::Places {
 public:
  Places(ChemStationFile& file, const Input& input, ReadSpreadSheetData& sink)
      : file_(file),
        input_(input),
        sink_(sink),
        places_(file.axis_.values, file.budget_),
        scale_(file.is_scaled_ ? input.layout.scale : 1),
        intercept_(file.is_scaled_ ? input.layout.intercept : 0),
        column_(file.first_point_column_ - file.first_index()) {}

  // Begins a row. False when the budget ends.
  [[nodiscard]] bool Begin(int row) {
    row_ = row;
    point_ = 0;
    bool is_sorted = true;
    for (int i = 1; file_.is_united_ && i < input_.points && is_sorted; ++i)
      is_sorted = !IsBefore(input_.X(i), input_.X(i - 1));
    return places_.Begin(is_sorted);
  }

  // Sets the next points.
  void Set(std::span<const double> stored) {
    const int first = file_.first_index();
    const int beyond = first + file_.interval_size();
    const int begin = std::exchange(point_, point_ + static_cast<int>(stored.size()));
    if (file_.is_united_) {
      for (int point = begin; point < point_; ++point)
        SetUnited(point, stored[static_cast<std::size_t>(point - begin)]);
      return;
    }
    const int from = std::max(begin, first);
    sink_.SetRun(
        column_ + from, row_, std::min(point_, beyond) - from,
        [values = stored.data(), skipped = from - begin, scale = scale_,
         intercept = intercept_](int i) { return values[skipped + i] * scale + intercept; });
  }

  // Sets the points of a spectrum, straight as they are decoded. False when they aren't there.
  bool Set(ChemStationScans& scans) {
    if (file_.is_united_)
      return scans.Each(0, input_.points, [&](double stored) { SetUnited(point_++, stored); });
    const int first = file_.first_index();
    return sink_.InRow(row_, [&](auto set) {
      return scans.Each(first, file_.interval_size(),
                        [=, column = column_ + first, scale = scale_, intercept = intercept_](
                            double stored) mutable { set(column++, stored * scale + intercept); });
    });
  }
  // The one that is next.
  int point() const { return point_; }

 private:
  void SetUnited(int point, double stored) {
    const auto place = static_cast<int>(places_.Of(input_.X(point))) - file_.first_index();
    if (place >= 0 && place < file_.interval_size())
      sink_.Set(column_ + file_.first_index() + place, row_, stored * scale_ + intercept_);
  }

  const ChemStationFile& file_;
  const Input& input_;
  ValueSink sink_;
  XPlaces<double> places_;
  double scale_;
  double intercept_;
  int column_;  // of point 0
  int row_ = 0;
  int point_ = 0;
};

ChemStationFile::ChemStationFile()
    : SpectraFile("ChemStationFile", kTexts, kFirstTimeColumn),
      reader_(std::make_unique<BlockReader>()) {}

ChemStationFile::~ChemStationFile() = default;

Confidence ChemStationFile::IsChemStationFile(const char* path) {
  if (!IsFolder(path)) return ConfidenceOf(path);
  const std::vector<std::string> files = FilesOfRun(path);
  const auto is_one = [](const std::string& file) { return ConfidenceOf(file) == kCertain; };
  return std::ranges::any_of(files, is_one) ? kCertain : kNotThis;
}

NvImportOpenOptions* ChemStationFile::GetImportOptions(RangeChoice range,
                                                       std::optional<double> wavelength,
                                                       bool scaled) {
  OptionPairs pairs{{"range", OptionPairs::Join(range)}};
  if (wavelength) pairs.Set("wavelength", ShortText(*wavelength));
  pairs.Set("scale", scaled ? "1" : "0");
  return pairs.NewRecord();
}

void ChemStationFile::Close() {
  opened_ = false;
  has_spectra_ = is_united_ = false;
  left_out_ = 0;
  inputs_.clear();
  SpectraFile::Close();
}

int ChemStationFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (BeginOpen(read, path) != kGood) return status_;
  GivenOptions given(source_, options);
  if (TakeOptions(given) != kGood || FindFiles() != kGood) return status_;
  for (Input& input : inputs_)
    if (ReadHeader(input) != kGood) {
      if (inputs_.size() > 1)
        Log::WriteMessage(source_, "Open", "the file is " + input.path, Log::kNormal);
      return status_;
    }
  if (ChooseKind() != kGood || FindAxis() != kGood) return status_;
  if (TakeRange(given, options) != kGood) return status_;
  NameRows();
  opened_ = true;
  return kGood;
}

int ChemStationFile::TakeOptions(GivenOptions& given) {
  bool is_stored = false;
  if (!given.TakeWord("scale", {"1", "0"}, is_stored)) return Fail(kInvalidOptions);
  is_scaled_ = !is_stored;
  wavelength_.reset();
  const auto text = given.Find("wavelength");
  if (!text) return kGood;
  wavelength_ = ParseNumber(*text);
  if (wavelength_ && *wavelength_ > 0) return kGood;
  given.Refuse("wavelength", *text);
  return Fail(kInvalidOptions);
}

// Of programs that ask nobody the range is the whole.
int ChemStationFile::TakeRange(GivenOptions& given, NvImportOpenOptions* options) {
  OptionPairs choices;
  const char* const title = Dialogs::CanAsk() ? "HPLC ChemStation File Import Wizard" : nullptr;
  if (TakeInterval(given, title, choices) != kGood) return status_;
  GiveBack(choices, options);
  return kGood;
}

// A folder stands for those of its files that are of the format.
int ChemStationFile::FindFiles() {
  std::uint64_t size = 0;
  const auto add = [&](std::string path, bool is_in_folder) {
    std::error_code none;
    const std::uintmax_t one = std::filesystem::file_size(FilePath(path), none);
    if (!none) size += one;
    inputs_.push_back({std::move(path), is_in_folder});
  };
  for (std::string& path : FileSelection::Split(path_)) {
    if (!IsFolder(path)) {
      add(std::move(path), false);
      continue;
    }
    const std::size_t before = inputs_.size();
    for (std::string& file : FilesOfRun(path))
      if (ConfidenceOf(file) != kNotThis) add(std::move(file), true);
    if (inputs_.size() == before) return Fail(kChemEmptyFolder);
  }
  budget_ = Budget(size);
  return kGood;
}

int ChemStationFile::ReadHeader(Input& input) {
  InputFile file(input.path.c_str());
  if (!file.is_open()) return Fail(kChemNoFile);
  if (const int status = ReadChemStationLayout(file, input.layout)) return Fail(status);
  return input.layout.has_scans() ? SizeScans(input) : SizeSignal(input);
}

int ChemStationFile::SizeSignal(Input& input) {
  const ChemStationLayout& layout = input.layout;
  InputFile file(input.path.c_str());
  if (!file.is_open()) return Fail(kChemNoFile);
  std::uint64_t count = 0;
  const ChemStationEnd end = ChemStationSignal(layout, file, *reader_).Count(count);
  if (reader_->failed()) return Fail(kChemCannotRead);
  if (end == ChemStationEnd::kCut) return Fail(kChemCutShort);
  if (end == ChemStationEnd::kDamaged) return Fail(kChemDamaged);
  if (count == 0) return Fail(kChemNoValues);
  if (count > INT_MAX) return Fail(kNoSize);
  input.points = static_cast<int>(count);
  input.has_end = end == ChemStationEnd::kMarked;
  constexpr std::uint64_t kEndMarkSize = 2;
  if (input.has_end && layout.coding == ChemStationCoding::kDeltas)
    input.behind = layout.size - std::min(layout.size, reader_->position() + kEndMarkSize);
  const double span = layout.last_time - layout.first_time;
  input.has_times = std::isfinite(span) && (span > 0 || count == 1);
  // The step is one of two whole numbers of 16 bits over the other.
  constexpr double kStepError = 2e-5;
  const double steps = static_cast<double>(count) - 1;
  if (layout.step > 0 && input.has_times)
    input.is_even = std::fabs(span / layout.step - steps) <= 1.5 + kStepError * steps;
  return kGood;
}

int ChemStationFile::SizeScans(Input& input) {
  const ChemStationLayout& layout = input.layout;
  InputFile file(input.path.c_str());
  if (!file.is_open()) return Fail(kChemNoFile);
  ChemStationScans scans(layout, input.path.c_str(), file, *reader_);
  if (!scans.Next()) return Fail(scans.status() != kGood ? scans.status() : kChemNoValues);
  input.wavelengths = scans.scan();
  const int points = input.wavelengths.points();
  // Unless the run was aborted the header states how many there are.
  std::uint64_t count = layout.scans;
  if (wavelength_ || count == 0) {
    const double step = input.wavelengths.step / 20.0;
    const double place = (wavelength_.value_or(0) - input.wavelengths.Wavelength(0)) / step;
    if (wavelength_ && !(place >= -0.5 && place <= points - 0.5)) return Fail(kChemNoWavelength);
    if (wavelength_)
      input.trace_point = std::clamp(static_cast<int>(std::lround(place)), 0, points - 1);
    do {
      if (!wavelength_) continue;
      if (input.x.size() == input.x.capacity() && !DrawX(std::max<std::size_t>(input.x.size(), 64)))
        return Fail(kOverBudget);
      input.x.push_back(scans.scan().time / kMsPerMinute);
    } while (scans.Next());
    if (scans.status() != kGood) return Fail(scans.status());
    count = scans.number();
  }
  if (count > (layout.size - layout.data) / ChemStationScans::kLeastSize)
    return Fail(kChemCutShort);
  if (count > INT_MAX) return Fail(kNoSize);
  if (wavelength_) {
    input.points = static_cast<int>(count);
    return kGood;
  }
  input.rows = static_cast<int>(count);
  input.points = points;
  if (!DrawX(static_cast<std::uint64_t>(points))) return Fail(kOverBudget);
  for (int i = 0; i < points; ++i) input.x.push_back(input.wavelengths.Wavelength(i));
  return kGood;
}

// Draws the room that a list of x values takes when it has to grow.
bool ChemStationFile::DrawX(std::uint64_t count) { return budget_.Take(count * sizeof(double)); }

// A run has both kinds. Its chromatograms are what is wanted of it, unless there are none.
int ChemStationFile::ChooseKind() {
  const auto has_spectra = [&](const Input& input) {
    return input.layout.has_scans() && !wavelength_;
  };
  const auto all = static_cast<std::ptrdiff_t>(inputs_.size());
  const auto spectra = std::ranges::count_if(inputs_, has_spectra);
  if (spectra > 0 && spectra < all)
    left_out_ = std::erase_if(
        inputs_, [&](const Input& input) { return input.is_in_folder && has_spectra(input); });
  const auto left = static_cast<std::size_t>(std::ranges::count_if(inputs_, has_spectra));
  if (left > 0 && left < inputs_.size()) return Fail(kChemKindsDiffer);
  has_spectra_ = left > 0;
  first_point_column_ = has_spectra_ ? kFirstWavelengthColumn : kFirstTimeColumn;
  return kGood;
}

// A row is called as its sample. Of several signals of one sample each says which it is.
void ChemStationFile::NameRows() {
  std::map<std::string_view, int> inputs_of;
  for (const Input& input : inputs_) ++inputs_of[input.layout.texts[kChemSample]];
  for (Input& input : inputs_) {
    const auto& texts = input.layout.texts;
    input.name = texts[kChemSample].empty() ? FileName(input.path) : texts[kChemSample];
    if (wavelength_ && input.layout.has_scans())
      input.name += ", " + ShortText(input.wavelengths.Wavelength(input.trace_point)) + " nm";
    else if (!texts[kChemSample].empty() && inputs_of[texts[kChemSample]] > 1)
      input.name += ", " + (texts[kChemSignal].empty() ? FileName(input.path) : texts[kChemSignal]);
  }
}

int ChemStationFile::FindAxis() {
  axis_ = {};
  const Input& first = inputs_.front();
  if (!std::ranges::all_of(inputs_, [&](const Input& input) { return input.HasXOf(first); }))
    return UniteX();
  axis_.points = first.points;
  axis_.first = first.X(0);
  axis_.last = first.X(first.points - 1);
  axis_.spacing = (axis_.last - axis_.first) / std::max(first.points - 1, 1);
  return kGood;
}

// Makes every x that occurs a point.
int ChemStationFile::UniteX() {
  if (!UniteXOf(inputs_, budget_, axis_.values)) return Fail(kOverBudget);
  if (axis_.values.size() > INT_MAX) return Fail(kNoSize);
  axis_.points = static_cast<int>(axis_.values.size());
  axis_.first = axis_.values.front();
  axis_.last = axis_.values.back();
  axis_.spacing = (axis_.last - axis_.first) / std::max(axis_.points - 1, 1);
  is_united_ = true;
  return kGood;
}

double ChemStationFile::ExactX(int point) const {
  return is_united_ ? axis_.values[static_cast<std::size_t>(point)] : inputs_.front().X(point);
}

int ChemStationFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (!opened_) return Fail(kChemNotOpened);
  std::uint64_t rows = 1;
  for (const Input& input : inputs_) rows += static_cast<std::uint64_t>(input.rows);
  return SetSize(static_cast<std::uint64_t>(interval_size() + first_point_column_) - 1, rows);
}

int ChemStationFile::Read(ReadSpreadSheetData* sink) {
  if (status_ != kGood) return status_;
  if (!opened_) return Fail(kChemNotOpened);
  if (GetNumRows() < 0) return status_;
  sink->SetDataSize(num_cols_, num_rows_);
  int row = sink->GetNextIndex(0);
  SetHeads(*sink, row);
  for (const Input& input : inputs_) {
    if (has_spectra_) {
      if (ReadScans(input, *sink, row) != kGood) return status_;
      continue;
    }
    if (row >= 0) row = sink->GetNextIndex(row);
    if (row < 0) break;
    sink->Set(1, row, row - 1);
    sink->Set(2, row, input.name.c_str());
    if ((input.layout.has_scans() ? ReadTrace(input, *sink, row) : ReadSignal(input, *sink, row)) !=
        kGood)
      return status_;
  }
  Log::WriteCount(source_, left_out_,
                  "file of spectra over time lies beside the chromatograms and was not delivered",
                  "files of spectra over time lie beside the chromatograms and were not delivered");
  return kGood;
}

void ChemStationFile::SetHeads(ReadSpreadSheetData& sink, int row) const {
  if (row < 0) return;
  sink.Set(1, row, "Primary ID");
  sink.Set(2, row, "Name");
  if (has_spectra_) sink.Set(kTimeColumn, row, "Time");
  const ValueSink values(sink);
  const int first = first_index();
  if (is_united_ || !inputs_.front().x.empty())
    values.SetRun(first_point_column_, row, interval_size(),
                  [&](int i) { return ExactX(first + i); });
  else
    values.SetRun(first_point_column_, row, interval_size(),
                  [first, time_at = inputs_.front().Times()](int i) { return time_at(first + i); });
}

int ChemStationFile::ReadSignal(const Input& input, ReadSpreadSheetData& sink, int row) {
  const ChemStationLayout& layout = input.layout;
  InputFile file(input.path.c_str());
  if (!file.is_open()) return Fail(kChemNoFile);
  Places places(*this, input, sink);
  if (!places.Begin(row)) return Fail(kOverBudget);
  const bool has_extremes = layout.largest || layout.smallest;
  Extremes extremes;
  const ChemStationEnd end =
      ChemStationSignal(layout, file, *reader_).TakeRuns([&](std::span<const double> run) {
        if (has_extremes) extremes.Take(run);
        // The file may have grown.
        const auto left = static_cast<std::size_t>(input.points - places.point());
        places.Set(run.first(std::min(run.size(), left)));
      });
  if (reader_->failed()) return Fail(kChemCannotRead);
  if (end == ChemStationEnd::kDamaged) return Fail(kChemDamaged);
  if (end == ChemStationEnd::kCut || places.point() < input.points) return Fail(kChemCutShort);

  // Doubles are stated as the floats next to them.
  const auto differs = [](std::optional<double> stated, double found) {
    return stated && *stated != found && static_cast<float>(*stated) != static_cast<float>(found);
  };
  if (differs(layout.largest, extremes.largest()) || differs(layout.smallest, extremes.smallest()))
    NoteOf(input,
           "the largest or the smallest value is not the one that the header states, so the "
           "file may be damaged");
  if (!input.is_even)
    NoteOf(input,
           "the number of values is not that of the times and their step that the header "
           "states, so the file may be damaged");
  if (!input.has_times)
    NoteOf(input, "the header states no times that make sense, and points are numbered instead");
  if (!layout.has_scale)
    NoteOf(input, "the header states no scale that makes sense, and values are as they are stored");
  if (!input.has_end) NoteOf(input, "nothing marks the end of the values, so some may be missing");
  if (input.behind > 0)
    NoteOf(input,
           std::to_string(input.behind) + " bytes stand behind the values and were not delivered");
  return kGood;
}

int ChemStationFile::ReadTrace(const Input& input, ReadSpreadSheetData& sink, int row) {
  InputFile file(input.path.c_str());
  if (!file.is_open()) return Fail(kChemNoFile);
  ChemStationScans scans(input.layout, input.path.c_str(), file, *reader_);
  Places places(*this, input, sink);
  if (!places.Begin(row)) return Fail(kOverBudget);
  while (scans.Next() && places.point() < input.points) {
    if (!scans.scan().HasWavelengthsOf(input.wavelengths)) return Fail(kChemWavelengthsDiffer);
    const auto set = [&](double stored) { places.Set(std::span(&stored, 1)); };
    if (!scans.Each(input.trace_point, 1, set)) return Fail(kChemDamaged);
  }
  if (scans.status() != kGood) return Fail(scans.status());
  if (places.point() < input.points) return Fail(kChemCutShort);
  NoteOfScans(input, scans);
  return kGood;
}

int ChemStationFile::ReadScans(const Input& input, ReadSpreadSheetData& sink, int& row) {
  InputFile file(input.path.c_str());
  if (!file.is_open()) return Fail(kChemNoFile);
  ChemStationScans scans(input.layout, input.path.c_str(), file, *reader_);
  Places places(*this, input, sink);
  const ValueSink values(sink);
  std::string name = input.name + "_";
  const std::size_t stem = name.size();
  for (int scan = 0; scan < input.rows && row >= 0; ++scan) {
    if ((row = sink.GetNextIndex(row)) < 0) return kGood;
    if (!scans.Next()) return Fail(scans.status() != kGood ? scans.status() : kChemCutShort);
    if (!scans.scan().HasWavelengthsOf(input.wavelengths)) return Fail(kChemWavelengthsDiffer);
    if (!places.Begin(row)) return Fail(kOverBudget);
    name.resize(stem);
    name += std::to_string(scan + 1);
    sink.Set(1, row, row - 1);
    sink.Set(2, row, name.c_str());
    values.Set(kTimeColumn, row, scans.scan().time / kMsPerMinute);
    if (!places.Set(scans)) return Fail(kChemDamaged);
  }
  scans.Next();
  NoteOfScans(input, scans);
  return kGood;
}

void ChemStationFile::NoteOfScans(const Input& input, const ChemStationScans& scans) const {
  const std::uint64_t misfits = scans.misfits();
  if (misfits > 0)
    NoteOf(input, "the index says otherwise of " + std::to_string(misfits) +
                      " spectra than these themselves, so the file may be damaged");
  if (scans.lost_index())
    NoteOf(input, "the index of spectra does not fit them, so the file may be damaged");
  if (scans.has_rest()) NoteOf(input, "bytes that belong to no spectrum were not delivered");
  if (scans.is_last_cut()) NoteOf(input, "the last spectrum is cut short and was not delivered");
  if (!input.layout.has_scale)
    NoteOf(input, "the header states no scale that makes sense, and values are as they are stored");
  if (input.layout.scans == 0)
    NoteOf(input, "the header states no number of spectra, so the run may have been aborted");
}

// Of several files each note says which it is about.
void ChemStationFile::NoteOf(const Input& input, std::string_view text) const {
  Note(inputs_.size() > 1 ? FileName(input.path) + ": " + std::string(text) : std::string(text));
}

int ChemStationFile::DescribeFiles(Description& description) {
  SpectraStatements statements(description, kChemStationKeys, budget_);
  statements.Label(Axis::kX).Take(has_spectra_ ? "wavelength" : "time");
  statements.Unit(Axis::kX).Take(has_spectra_ ? "nm" : "min");
  if (has_spectra_) {
    statements.Label(Axis::kZ).Take("time");
    statements.Unit(Axis::kZ).Take("min");
  }
  int row = 2;
  for (const Input& input : inputs_) {
    if (statements.full()) break;
    DescribeInput(input, inputs_.size() == 1 ? 0 : row, statements);
    if (has_spectra_) DescribeTimes(input, row, statements);
    row += input.rows;
  }
  return kGood;
}

void ChemStationFile::DescribeInput(const Input& input, int row,
                                    SpectraStatements& statements) const {
  const ChemStationLayout& layout = input.layout;
  constexpr std::string_view kLabels[kChemStationTexts] = {
      "file type",  "sample", "description", "operator", "date",  "detector",
      "instrument", "method", "software",    "units",    "signal"};
  if (is_scaled_) statements.Unit(Axis::kY).Take(layout.texts[kChemUnits]);
  statements.StateNumber("version", layout.version, row);
  for (std::size_t i = 0; i < kChemStationTexts; ++i) {
    if (i != kChemDate) {
      statements.StateIfAny(kLabels[i], layout.texts[i], row);
    } else if (!layout.texts[i].empty()) {
      statements.State(kLabels[i], {}, layout.texts[i], row);
      if (const std::string iso = IsoDate(layout.texts[i]); !iso.empty())
        statements.State(kLabels[i], iso, row);
    }
  }
  statements.StateNumber("sequence line", layout.sequence_line, row);
  statements.StateNumber("vial", layout.vial, row);
  statements.StateNumber("injection", layout.injection, row);
  if (layout.has_scale) statements.StateNumber("scale", layout.scale, row);
  if (!layout.has_scans()) statements.StateNumber("intercept", layout.intercept, row);
  if (wavelength_ && layout.has_scans())
    statements.StateNumber("wavelength", input.wavelengths.Wavelength(input.trace_point), row);
}

void ChemStationFile::DescribeTimes(const Input& input, int row, SpectraStatements& statements) {
  InputFile file(input.path.c_str());
  if (!file.is_open()) return;
  ChemStationScans scans(input.layout, input.path.c_str(), file, *reader_);
  for (const int end = row + input.rows; row < end && !statements.full() && scans.Next(); ++row)
    statements.StateNumber("time", scans.scan().time / kMsPerMinute, row);
}

ChemStationFileFactory::ChemStationFileFactory()
    : SprFileFactory({.name = "HPLC ChemStation File",
                      .read_filter = "HPLC ChemStation Files (*.ch, *.uv)",
                      .write_filter = "HPLC ChemStation File (*.ch)",
                      .extensions = {".ch", ".uv"},
                      .several_at_once = true,
                      .options = {{"range", "FIRST,LAST", /*is_asked=*/true},
                                  {"wavelength", "NM"},
                                  {"scale", "1|0"}}}) {}

int ChemStationFileFactory::IsCorrectFileType(const char* path) {
  return ChemStationFile::IsChemStationFile(path);
}

SpreadsheetFile* ChemStationFileFactory::Create() {
  return std::make_unique<ChemStationFile>().release();
}

}  // namespace nvimport
