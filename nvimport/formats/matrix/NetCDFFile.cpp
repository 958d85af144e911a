#include "nvimport/formats/matrix/NetCDFFile.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <unordered_map>
#include <utility>

#include "nvimport/formats/DescriptionKeys.h"
#include "nvimport/formats/matrix/AndiLayout.h"
#include "nvimport/formats/matrix/NetcdfTable.h"
#include "nvimport/formats/spectra/SpectraStatements.h"
#include "nvimport/formats/spectra/ValueSink.h"
#include "nvimport/formats/spectra/XUnion.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

constexpr StatusText kTexts[] = {
    {kNetcdfNoFile, "Unable to open file."},
    {kNetcdfNotThisFormat, "This file does not seem to be a valid netCDF file."},
    {kNetcdfHdf5,
     "This is a netCDF-4 file, which is HDF5. The package nvimport-hdf5 brings its reader; copied "
     "with nccopy -k cdf5 it can be read without."},
    {kNetcdfNasa, "This is a CDF file of NASA, a format of its own that cannot be read."},
    {kNetcdfHeaderCut, "The netCDF file is cut short within its header. It cannot be read."},
    {kNetcdfHeaderDamaged, "The header of the netCDF file is damaged. It cannot be read."},
    {kNetcdfNoVariable, "The netCDF file does not contain any values."},
    {kNetcdfCutShort, "The netCDF file is cut short. What was chosen cannot be read."},
    {kNetcdfCannotRead, "The netCDF file could not be read."},
    {kNetcdfKindsDiffer,
     "Chromatograms and mass spectra do not fit into one sheet. Please select files of one kind."},
    {kNetcdfSeveralTables,
     "Of netCDF files that hold neither chromatograms nor mass spectra only one can be read at a "
     "time."},
    {kNetcdfNoSignal, "The netCDF file does not contain a chromatogram."},
    {kNetcdfNoPeaks, "The netCDF file does not contain any peaks."},
    {kNetcdfNoScans, "The netCDF file does not contain any mass spectra."},
    {kNetcdfScansDamaged, "The netCDF file is damaged: its scans are not where it says."},
    {kNetcdfNotOpened, "Unable to read file. The file was not opened or Open File failed."},
};
static_assert(WellFormed(kTexts, 4416, 4431));

constexpr int kNameColumn = 2;
constexpr int kTimeColumn = 3;  // of mass spectra
constexpr int kFirstColumn = 3;
constexpr int kFirstMassColumn = 4;
constexpr std::array<std::string_view, 2> kViewsOfSignal = {"signal", "peaks"};
constexpr std::array<std::string_view, 2> kViewsOfScans = {"scans", "total"};
constexpr std::array<std::string_view, 2> kYesAndNo = {"1", "0"};
constexpr std::uint64_t kForPart = 512;  // and for what reads it
constexpr double kSecondsInMinute = 60;

bool SaysMinutes(std::string unit) {
  for (char& c : unit)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return unit.find("min") != std::string::npos;
}

// The part of a variable of one dimension that lies along a row of the sheet.
NetcdfPart Lying(NetcdfPart part, std::uint64_t column) {
  std::swap(part.slab.rows, part.slab.columns);
  std::swap(part.slab.row_stride, part.slab.column_stride);
  part.slab.row_stride = part.slab.window();
  part.column = column;
  return part;
}

// The time stamp of ANDI, 20231029185100+0100, as ISO 8601; empty for what is none.
std::string IsoStamp(std::string_view stamp) {
  constexpr std::size_t kSize = 14;
  constexpr std::size_t kZoneSize = 5;
  const std::string_view zone = stamp.substr(std::min(stamp.size(), kSize));
  const auto two = [&](std::size_t at) { return (stamp[at] - '0') * 10 + (stamp[at + 1] - '0'); };
  const auto are_digits = [](std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
  };
  if (stamp.size() < kSize || !are_digits(stamp.substr(0, kSize))) return {};
  const bool has_zone =
      zone.size() == kZoneSize && (zone[0] == '+' || zone[0] == '-') && are_digits(zone.substr(1));
  if (!zone.empty() && !has_zone) return {};
  const bool is_time = two(4) >= 1 && two(4) <= 12 && two(6) >= 1 && two(6) <= 31 && two(8) <= 23 &&
                       two(10) <= 59 && two(12) <= 60;
  if (!is_time) return {};
  std::string iso(stamp.substr(0, kSize));
  for (const std::size_t at : {12U, 10U}) iso.insert(at, ":");
  iso.insert(8, "T");
  for (const std::size_t at : {6U, 4U}) iso.insert(at, "-");
  if (has_zone) iso.append(zone.substr(0, 3)).append(":").append(zone.substr(3));
  return iso;
}

std::size_t PlaceOf(const NetcdfContents& contents, const NetcdfVariable& variable) {
  return static_cast<std::size_t>(&variable - contents.variables.data());
}

}  // namespace

// Has a row of the sheet set only if the sink wants it.
class NetCDFFile::RowWalk {
 public:
  explicit RowWalk(ReadSpreadSheetData& sink) : sink_(sink) {}

  // Rows are asked for in their order.
  bool Wants(int row) {
    while (next_ >= 0 && next_ < row) {
      const int after = sink_.GetNextIndex(next_);
      next_ = after < 0 ? after : std::max(after, next_ + 1);
    }
    return next_ == row;
  }
  bool ended() const { return next_ < 0; }

 private:
  ReadSpreadSheetData& sink_;
  int next_ = 0;
};

struct NetCDFFile::Input {
  std::string path;
  NetcdfContents contents{};
  AndiKind kind = AndiKind::kNone;
  std::string name{};
  int points = 0;
  int rows = 1;
  AndiTimes times{};
  double time_factor = 1;
  bool in_minutes = false;
  std::vector<AndiScan> scans{};
  std::vector<double> scan_times{};
  std::vector<double> sums{};       // of the scans
  std::vector<NetcdfPart> peaks{};  // a part for each column

  double X(int point) const {
    const double x = times.times.empty() ? times.delay + point * times.interval
                                         : times.times[static_cast<std::size_t>(point)];
    return x * time_factor;
  }
  bool HasXOf(const Input& other) const {
    return points == other.points && times.times == other.times.times &&
           times.delay == other.times.delay && times.interval == other.times.interval &&
           time_factor == other.time_factor;
  }
  double ScanTime(std::size_t scan) const {
    return scan < scan_times.size() ? scan_times[scan] : std::numeric_limits<double>::quiet_NaN();
  }
  static int StatusOf(const NetcdfRows& rows_read) {
    return rows_read.cannot_read() ? kNetcdfCannotRead : kNetcdfCutShort;
  }
};

// What is taken of a file that is neither.
struct NetCDFFile::Table {
  std::vector<NetcdfOffer> offers{};
  NetcdfPages pages{};
  std::vector<NetcdfPart> parts{};  // those of names of rows first
  bool has_names = true;
  bool has_row_names = false;
  std::size_t wide = 0;               // parts of several columns
  std::optional<NetcdfPart> heads{};  // that stand over the only wide part
  std::vector<double> x{};            // the same, if they are numbers
  std::uint64_t columns = 0;
  std::uint64_t rows = 0;
};

NetCDFFile::NetCDFFile() : SpectraFile("NetCDFFile", kTexts, kFirstColumn) {}

NetCDFFile::~NetCDFFile() = default;

Confidence NetCDFFile::IsNetCDFFile(const char* path) {
  InputFile file(path);
  if (!file.is_open()) return kNotThis;
  NetcdfContents contents;
  Budget budget(file.size());
  switch (ReadNetcdf(file, budget, contents)) {
    case kGood:
      return AndiKindOf(contents) != AndiKind::kNone ? kCertain : kPlausible;
    case kNetcdfHeaderCut:
    case kNetcdfHeaderDamaged:
    case kOverBudget:
      return kPlausible;
    default:
      return kNotThis;
  }
}

NvImportOpenOptions* NetCDFFile::GetImportOptions(View view, RangeChoice range) {
  constexpr std::string_view kWords[] = {"signal", "peaks", "scans", "total"};
  return OptionPairs{{"view", std::string(kWords[static_cast<std::size_t>(view)])},
                     {"range", OptionPairs::Join(range)}}
      .NewRecord();
}

NvImportOpenOptions* NetCDFFile::GetImportOptions(const std::vector<std::string>& variables,
                                                  const std::vector<std::string>& pages,
                                                  bool with_names) {
  OptionPairs pairs{{"variables", OptionPairs::JoinNames(variables)},
                    {"names", std::string(kYesAndNo[with_names ? 0 : 1])}};
  if (!pages.empty()) pairs.Set("page", OptionPairs::JoinNames(pages));
  return pairs.NewRecord();
}

void NetCDFFile::Close() {
  opened_ = is_united_ = false;
  peak_names_.clear();
  shape_ = Shape::kTable;
  inputs_.clear();
  table_.reset();
  axis_ = {};
  SpectraFile::Close();
}

int NetCDFFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (BeginOpen(read, path) != kGood) return status_;
  GivenOptions given(source_, options);
  if (OpenInputs() != kGood || ChooseShape(given) != kGood) return status_;
  if (shape_ == Shape::kTable) {
    if (ChooseVariables(given, options) != kGood) return status_;
    opened_ = true;
    return kGood;
  }
  for (Input& input : inputs_) {
    const int status = shape_ == Shape::kSignal  ? MeasureSignal(input)
                       : shape_ == Shape::kPeaks ? MeasurePeaks(input)
                       : shape_ == Shape::kScans ? MeasureScans(input)
                                                 : MeasureTotal(input);
    if (status != kGood) return Fail(status);
  }
  AlignUnits();
  NameRows();
  PlacePeaks();
  first_point_column_ = shape_ == Shape::kScans ? kFirstMassColumn : kFirstColumn;
  if (has_axis() && FindAxis() != kGood) return status_;
  if (TakeRange(given, options) != kGood) return status_;
  opened_ = true;
  return kGood;
}

int NetCDFFile::OpenInputs() {
  for (std::string& path : FileSelection::Split(path_)) inputs_.push_back({std::move(path)});
  for (Input& input : inputs_) {
    InputFile file(input.path.c_str());
    const int status =
        file.is_open() ? ReadNetcdf(file, budget_, input.contents) : int{kNetcdfNoFile};
    if (status == kGood) {
      input.kind = AndiKindOf(input.contents);
      continue;
    }
    if (inputs_.size() > 1)
      Log::WriteMessage(source_, "Open", "the file is " + input.path, Log::kNormal);
    return Fail(status);
  }
  return kGood;
}

int NetCDFFile::ChooseShape(GivenOptions& given) {
  const Input& first = inputs_.front();
  const bool is_one_kind =
      std::ranges::all_of(inputs_, [&](const Input& input) { return input.kind == first.kind; });
  const bool wants_variables = given.Find("variables").has_value();
  if (wants_variables || first.kind == AndiKind::kNone || !is_one_kind) {
    const bool has_tables = std::ranges::any_of(
        inputs_, [](const Input& input) { return input.kind == AndiKind::kNone; });
    if (inputs_.size() > 1)
      return Fail(wants_variables || has_tables ? kNetcdfSeveralTables : kNetcdfKindsDiffer);
    shape_ = Shape::kTable;
    return kGood;
  }
  const bool is_chromatogram = first.kind == AndiKind::kChromatogram;
  bool is_second = false;
  if (!given.TakeWord("view", is_chromatogram ? kViewsOfSignal : kViewsOfScans, is_second))
    return Fail(kInvalidOptions);
  shape_ = is_chromatogram ? (is_second ? Shape::kPeaks : Shape::kSignal)
                           : (is_second ? Shape::kTotal : Shape::kScans);
  return kGood;
}

int NetCDFFile::MeasureSignal(Input& input) {
  InputFile file(input.path.c_str());
  const NetcdfVariable* values = input.contents.Find("ordinate_values");
  if (values == nullptr || values->dimensions.size() != 1) return kNetcdfNoSignal;
  const std::uint64_t points = SlabOf(input.contents, *values).rows;
  if (points == 0) return kNetcdfNoSignal;
  if (!input.contents.Holds(*values)) return kNetcdfCutShort;
  if (points > INT_MAX) return kNoSize;
  input.points = static_cast<int>(points);
  input.in_minutes = SaysMinutes(AndiText(input.contents, "retention_unit"));
  return ReadAndiTimes(file, input.contents, budget_, points, input.times);
}

// All that lies along the peaks, in the order of the file, names first.
int NetCDFFile::MeasurePeaks(Input& input) {
  const NetcdfContents& contents = input.contents;
  const auto peak_number =
      std::ranges::find(contents.dimensions, "peak_number", &NetcdfDimension::name);
  if (peak_number == contents.dimensions.end()) return kNetcdfNoPeaks;
  const auto along = static_cast<std::uint32_t>(peak_number - contents.dimensions.begin());
  if (peak_number->length > INT_MAX) return kNoSize;
  for (std::size_t i = 0; i < contents.variables.size(); ++i) {
    const NetcdfVariable& variable = contents.variables[i];
    if (variable.dimensions.empty()) continue;
    const NetcdfPart part = PartOf(contents, i, {});
    if (part.rows_along != along || part.columns_along != kNoDimension) continue;
    if (!contents.Holds(variable)) return kNetcdfCutShort;
    if (!budget_.Take(kForPart)) return kOverBudget;
    input.peaks.push_back(part);
  }
  if (input.peaks.empty()) return kNetcdfNoPeaks;
  input.rows = static_cast<int>(peak_number->length);
  std::ranges::stable_sort(input.peaks, {}, [&](const NetcdfPart& part) {
    return contents.variables[part.variable].name != "peak_name";
  });
  input.in_minutes = SaysMinutes(AndiText(contents, "retention_unit"));
  return kGood;
}

int NetCDFFile::MeasureScans(Input& input) {
  InputFile file(input.path.c_str());
  const NetcdfContents& contents = input.contents;
  if (const int status = ReadAndiScans(file, contents, budget_, input.scans)) return status;
  if (input.scans.size() > INT_MAX) return kNoSize;
  input.rows = static_cast<int>(input.scans.size());
  if (const int status = ReadTimesOfScans(input)) return status;

  const NetcdfVariable& masses = *contents.Find("mass_values");
  const auto cells = NumbersOf(masses, {kAndiMissing});
  NetcdfRows rows(file, {SlabOf(contents, masses)});
  XUnion<double> all(budget_);
  for (AndiScan& scan : input.scans) {
    if (!budget_.Take(scan.count * sizeof(double))) return kOverBudget;
    std::vector<double> x(static_cast<std::size_t>(scan.count));
    for (std::uint64_t done = 0; done < scan.count;) {
      if (!rows.Load(scan.first + done)) return Input::StatusOf(rows);
      const std::uint64_t ready = std::min(rows.Ready(scan.first + done), scan.count - done);
      cells->Get(
          rows.At(0, scan.first + done), rows.Stride(0),
          std::span(x).subspan(static_cast<std::size_t>(done), static_cast<std::size_t>(ready)));
      done += ready;
    }
    const std::size_t points = x.size();
    std::erase_if(x, [](double mass) { return std::isnan(mass); });
    scan.is_sorted = std::ranges::is_sorted(x);
    if (!scan.is_sorted) std::ranges::sort(x);
    if (x.size() < points) x.shrink_to_fit();
    budget_.Return((points - x.capacity()) * sizeof(double));
    if (!all.Add(std::move(x))) return kOverBudget;
  }
  std::vector<double> united = all.Take();
  if (budget_.overdrawn()) return kOverBudget;
  if (united.empty()) return kNetcdfNoScans;
  if (united.size() > INT_MAX) return kNoSize;
  input.points = static_cast<int>(united.size());
  input.times.times = std::move(united);
  return kGood;
}

int NetCDFFile::ReadTimesOfScans(Input& input) {
  InputFile file(input.path.c_str());
  const NetcdfVariable* times = input.contents.Find("scan_acquisition_time");
  const NetcdfVariable* index = input.contents.Find("scan_index");
  if (times == nullptr || times->dimensions != index->dimensions) return kGood;
  return ReadDoubles(file, input.contents, *times, budget_, input.scan_times, {kAndiMissing});
}

int NetCDFFile::MeasureTotal(Input& input) {
  InputFile file(input.path.c_str());
  const NetcdfContents& contents = input.contents;
  if (const int status = ReadAndiScans(file, contents, budget_, input.scans)) return status;
  if (input.scans.size() > INT_MAX) return kNoSize;
  input.points = static_cast<int>(input.scans.size());
  if (const int status = ReadTimesOfScans(input)) return status;
  input.times.has_times =
      !input.scan_times.empty() &&
      std::ranges::none_of(input.scan_times, [](double x) { return std::isnan(x); });
  if (input.times.has_times)
    input.times.times = std::move(input.scan_times);
  else
    input.times.delay = 1;
  const NetcdfVariable* total = contents.Find("total_intensity");
  if (total != nullptr && total->dimensions == contents.Find("scan_index")->dimensions) {
    const int status = ReadDoubles(file, contents, *total, budget_, input.sums, {kAndiMissing});
    if (status != kGood) return status;
    if (!std::ranges::all_of(input.sums, [](double sum) { return std::isnan(sum); })) return kGood;
  }
  // Nobody summed them.
  if (!budget_.Take(input.scans.size() * sizeof(double))) return kOverBudget;
  input.sums.assign(input.scans.size(), 0);
  const NetcdfVariable& intensities = *contents.Find("intensity_values");
  const auto cells = NumbersOf(intensities, {kAndiMissing});
  NetcdfRows rows(file, {SlabOf(contents, intensities)});
  for (std::size_t i = 0; i < input.scans.size(); ++i)
    for (std::uint64_t done = 0; done < input.scans[i].count;) {
      const std::uint64_t row = input.scans[i].first + done;
      if (!rows.Load(row)) return Input::StatusOf(rows);
      std::array<double, 512> some;
      const std::uint64_t ready =
          std::min({rows.Ready(row), input.scans[i].count - done, std::uint64_t{some.size()}});
      const auto values = std::span(some).first(static_cast<std::size_t>(ready));
      cells->Get(rows.At(0, row), rows.Stride(0), values);
      for (const double value : values)
        if (!std::isnan(value)) input.sums[i] += value;
      done += ready;
    }
  return kGood;
}

// Files of one sheet share a unit.
void NetCDFFile::AlignUnits() {
  const bool in_minutes = inputs_.front().in_minutes;
  const auto differs = [&](const Input& input) { return input.in_minutes != in_minutes; };
  if (shape_ != Shape::kSignal || std::ranges::none_of(inputs_, differs)) return;
  for (Input& input : inputs_) {
    if (input.in_minutes) input.time_factor = kSecondsInMinute;
    input.in_minutes = false;
  }
  Note("some files state minutes and others seconds; all times are in seconds");
}

// A row is called as its sample, of several files of one sample also as its file.
void NetCDFFile::NameRows() {
  std::map<std::string, int> inputs_of;
  for (Input& input : inputs_) {
    input.name = AndiText(input.contents, "sample_name");
    ++inputs_of[input.name];
  }
  for (Input& input : inputs_) {
    if (input.name.empty())
      input.name = FileName(input.path);
    else if (inputs_of[input.name] > 1)
      input.name += ", " + FileName(input.path);
  }
}

int NetCDFFile::FindAxis() {
  axis_ = {};
  const Input& first = inputs_.front();
  is_united_ = shape_ == Shape::kScans || !std::ranges::all_of(inputs_, [&](const Input& input) {
                 return input.HasXOf(first);
               });
  axis_.points = first.points;
  if (is_united_) {
    if (!UniteXOf(inputs_, budget_, axis_.values)) return Fail(kOverBudget);
    if (axis_.values.size() > INT_MAX) return Fail(kNoSize);
    axis_.points = static_cast<int>(axis_.values.size());
  }
  axis_.first = ExactX(0);
  axis_.last = ExactX(axis_.points - 1);
  axis_.spacing = (axis_.last - axis_.first) / std::max(axis_.points - 1, 1);
  return kGood;
}

// Of programs that ask nobody the range is the whole.
int NetCDFFile::TakeRange(GivenOptions& given, NvImportOpenOptions* options) {
  constexpr std::string_view kViews[] = {"", "signal", "peaks", "scans", "total"};
  OptionPairs choices{{"view", std::string(kViews[static_cast<std::size_t>(shape_)])}};
  const char* const title = Dialogs::CanAsk() ? "NetCDF File Import Wizard" : nullptr;
  if (has_axis() && TakeInterval(given, title, choices) != kGood) return status_;
  GiveBack(choices, options);
  return kGood;
}

bool NetCDFFile::TakePages(GivenOptions& given) {
  std::vector<std::string> pages;
  if (!given.TakeNames("page", pages)) return false;
  const auto& dimensions = inputs_.front().contents.dimensions;
  for (const std::string& page : pages) {
    const std::size_t colon = std::min(page.rfind(':'), page.size());
    const auto found = std::ranges::find(dimensions, page.substr(0, colon), &NetcdfDimension::name);
    std::uint64_t place = 0;
    const char* const end = page.data() + page.size();
    const auto parsed = std::from_chars(std::min(page.data() + colon + 1, end), end, place);
    if (found == dimensions.end() || parsed.ec != std::errc{} || parsed.ptr != end || place == 0 ||
        place > found->length)
      return given.Refuse("page", page);
    table_->pages.push_back({static_cast<std::uint32_t>(found - dimensions.begin()), place - 1});
  }
  return true;
}

int NetCDFFile::ChooseVariables(GivenOptions& given, NvImportOpenOptions* options) {
  const NetcdfContents& contents = inputs_.front().contents;
  table_ = std::make_unique<Table>();
  constexpr std::uint64_t kForOffer = 512;  // and where it is asked for
  if (!budget_.Take(contents.variables.size() * kForOffer)) return Fail(kOverBudget);
  table_->offers = OffersOf(contents);
  if (table_->offers.empty()) return Fail(kNetcdfNoVariable);
  std::vector<std::string> names;
  bool without_names = false;
  if (!given.TakeNames("variables", names) || !given.TakeWord("names", kYesAndNo, without_names) ||
      !TakePages(given))
    return Fail(kInvalidOptions);
  std::vector<std::size_t> offers;
  for (const std::string& name : names) {
    const auto found = std::ranges::find(table_->offers, name, &NetcdfOffer::name);
    if (found == table_->offers.end()) {
      given.Refuse("variables", name);
      return Fail(kInvalidOptions);
    }
    offers.push_back(static_cast<std::size_t>(found - table_->offers.begin()));
  }
  if (names.empty() && table_->offers.size() == 1) offers = {0};
  if (offers.empty() && !AskForVariables(offers)) return Fail(kCancelled);
  names.clear();
  for (const std::size_t offer : offers) {
    const NetcdfOffer& chosen = table_->offers[offer];
    names.push_back(chosen.name);
    if (!contents.Holds(contents.variables[chosen.variable])) return Fail(kNetcdfCutShort);
    if (!budget_.Take(kForPart)) return Fail(kOverBudget);
    table_->parts.push_back(PartOf(contents, chosen.variable, table_->pages));
  }
  OptionPairs choices{{"variables", OptionPairs::JoinNames(names)}};
  if (const auto pages = given.Find("page")) choices.Set("page", std::string(*pages));
  if (without_names) choices.Set("names", "0");
  GiveBack(choices, options);
  return LayOutTable(!without_names);
}

bool NetCDFFile::AskForVariables(std::vector<std::size_t>& offers) const {
  ItemsQuestion question;
  question.kind = ItemsQuestion::Kind::kVariables;
  question.title = "Select Variables";
  question.prompt =
      "A netCDF file consists of multiple variables. Please select the variable or variables you "
      "want to import.";
  question.heading = "Variable";
  question.usual = UsualOffers(inputs_.front().contents, table_->offers, table_->pages);
  for (const NetcdfOffer& offer : table_->offers) {
    question.items.push_back(offer.name);
    question.details.push_back(offer.detail);
  }
  const auto answer = Dialogs::Current().SelectItems(question);
  if (!answer || answer->items.empty()) return false;
  offers = answer->items;
  return std::ranges::all_of(offers,
                             [&](std::size_t item) { return item < table_->offers.size(); });
}

// Side by side. What names the rows stands before them if they are the same of all.
int NetCDFFile::LayOutTable(bool has_names) {
  const NetcdfContents& contents = inputs_.front().contents;
  Table& table = *table_;
  table.has_names = has_names;
  std::uint32_t along = kNoDimension;
  bool is_one = true;
  for (const NetcdfPart& part : table.parts) {
    if (part.columns_along != kNoDimension) ++table.wide;
    if (part.rows_along == kNoDimension) continue;
    is_one = is_one && (along == kNoDimension || along == part.rows_along);
    along = part.rows_along;
  }
  if (has_names && is_one && along != kNoDimension) {
    const NetcdfVariable* names = NamesAlong(contents, along, table.parts);
    if (names != nullptr && contents.Holds(*names)) {
      table.has_row_names = true;
      table.parts.insert(table.parts.begin(), PartOf(contents, PlaceOf(contents, *names), {}));
    }
  }
  std::uint64_t column = 1;
  for (NetcdfPart& part : table.parts) {
    part.column = column;
    column += part.slab.columns;
    table.rows = std::max(table.rows, part.slab.rows);
  }
  table.columns = column - 1;
  if (has_names) ++table.rows;
  return has_names && table.wide == 1 ? FindColumnNames() : kGood;
}

int NetCDFFile::FindColumnNames() {
  const Input& input = inputs_.front();
  const NetcdfContents& contents = input.contents;
  const auto wide = std::ranges::find_if(
      table_->parts, [](const NetcdfPart& part) { return part.columns_along != kNoDimension; });
  const NetcdfVariable* names = NamesAlong(contents, wide->columns_along, table_->parts);
  if (names == nullptr || !contents.Holds(*names)) return kGood;
  table_->heads = Lying(PartOf(contents, PlaceOf(contents, *names), {}), wide->column);
  first_point_column_ = static_cast<int>(std::min<std::uint64_t>(wide->column, INT_MAX));
  if (names->type == NetcdfType::kChar) return kGood;
  InputFile file(input.path.c_str());
  return Fail(ReadDoubles(file, contents, *names, budget_, table_->x));
}

int NetCDFFile::SheetPoints() const {
  if (table_) return static_cast<int>(table_->x.size());
  return has_axis() ? interval_size() : 0;
}

double NetCDFFile::ExactX(int point) const {
  if (table_) return table_->x[static_cast<std::size_t>(point)];
  return is_united_ ? axis_.values[static_cast<std::size_t>(point)] : inputs_.front().X(point);
}

int NetCDFFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (!opened_) return Fail(kNetcdfNotOpened);
  if (table_) return SetSize(table_->columns, table_->rows);
  std::uint64_t rows = 1;
  std::uint64_t columns = static_cast<std::uint64_t>(first_point_column_) - 1;
  for (const Input& input : inputs_) rows += static_cast<std::uint64_t>(input.rows);
  columns +=
      shape_ == Shape::kPeaks ? peak_names_.size() : static_cast<std::uint64_t>(interval_size());
  return SetSize(columns, rows);
}

// Each variable of the peaks of all files has a column.
void NetCDFFile::PlacePeaks() {
  std::unordered_map<std::string_view, std::size_t> places;
  for (Input& input : inputs_)
    for (NetcdfPart& part : input.peaks) {
      const std::string& name = input.contents.variables[part.variable].name;
      const auto [found, is_new] = places.try_emplace(name, peak_names_.size());
      if (is_new) peak_names_.push_back(name);
      part.column = static_cast<std::uint64_t>(kFirstColumn) + found->second;
    }
}

int NetCDFFile::Read(ReadSpreadSheetData* sink) {
  if (status_ != kGood) return status_;
  if (!opened_) return Fail(kNetcdfNotOpened);
  if (GetNumRows() < 0) return status_;
  sink->SetDataSize(num_cols_, num_rows_);
  RowWalk walk(*sink);
  if (table_) return ReadTable(*sink, walk);
  if (walk.Wants(1)) SetHeads(*sink);
  int row = 1;
  for (const Input& input : inputs_) {
    if (walk.ended()) break;
    const int status = shape_ == Shape::kPeaks   ? ReadPeaks(input, *sink, walk, row)
                       : shape_ == Shape::kScans ? ReadScans(input, *sink, walk, row)
                       : walk.Wants(row + 1)     ? ReadRow(input, *sink, row + 1)
                                                 : kGood;
    if (status != kGood) return Fail(status);
    row += input.rows;
  }
  return kGood;
}

void NetCDFFile::SetHeads(ReadSpreadSheetData& sink) const {
  sink.Set(1, 1, "Primary ID");
  sink.Set(kNameColumn, 1, "Name");
  if (shape_ == Shape::kPeaks) {
    int column = kFirstColumn;
    for (const std::string& name : peak_names_) sink.Set(column++, 1, name.c_str());
    return;
  }
  if (shape_ == Shape::kScans) sink.Set(kTimeColumn, 1, "Time");
  ValueSink(sink).SetRun(first_point_column_, 1, interval_size(),
                         [&](int i) { return ExactX(first_index() + i); });
}

int NetCDFFile::ReadRow(const Input& input, ReadSpreadSheetData& sink, int row) {
  sink.Set(1, row, row - 1);
  sink.Set(kNameColumn, row, input.name.c_str());
  if (!input.times.has_times) NoteOf(input, "the file states no times, and points are numbered");
  const int beyond = first_index() + interval_size();
  XPlaces<double> places(axis_.values, budget_);
  bool is_sorted = true;
  for (int i = 1; is_united_ && i < input.points && is_sorted; ++i)
    is_sorted = !IsBefore(input.X(i), input.X(i - 1));
  if (is_united_ && !places.Begin(is_sorted)) return kOverBudget;
  // The column of a point, 0 where it has none.
  const auto column_of = [&](int point) {
    const int place = is_united_ ? static_cast<int>(places.Of(input.X(point))) : point;
    return place >= first_index() && place < beyond ? first_point_column_ + place - first_index()
                                                    : 0;
  };
  if (shape_ == Shape::kTotal) {
    const ValueSink values(sink);
    for (int point = 0; point < input.points; ++point) {
      const int column = column_of(point);
      const double sum = input.sums[static_cast<std::size_t>(point)];
      if (column > 0 && !std::isnan(sum)) values.Set(column, row, sum);
    }
    return kGood;
  }
  InputFile file(input.path.c_str());
  const NetcdfVariable& variable = *input.contents.Find("ordinate_values");
  const auto cells = NumbersOf(variable);
  NetcdfRows rows(file, {SlabOf(input.contents, variable)});
  for (int point = is_united_ ? 0 : first_index(); point < (is_united_ ? input.points : beyond);) {
    const auto at = static_cast<std::uint64_t>(point);
    if (!rows.Load(at)) return Input::StatusOf(rows);
    const int ready = static_cast<int>(rows.Ready(at));
    if (!is_united_) {
      cells->Set(rows.At(0, at), rows.Stride(0), std::min(ready, beyond - point), sink,
                 column_of(point), row);
    } else {
      const char* value = rows.At(0, at);
      for (int i = 0; i < ready; ++i, value += rows.Stride(0))
        if (const int column = column_of(point + i); column > 0)
          cells->Set(value, 0, 1, sink, column, row);
    }
    point += ready;
  }
  return kGood;
}

int NetCDFFile::ReadPeaks(const Input& input, ReadSpreadSheetData& sink, RowWalk& walk, int row) {
  InputFile file(input.path.c_str());
  NetcdfPartsReader reader(file, input.contents, input.peaks, sink, {kAndiMissing});
  for (int i = 0; i < input.rows && !walk.ended(); ++i) {
    if (!walk.Wants(++row)) continue;
    sink.Set(1, row, row - 1);
    sink.Set(kNameColumn, row, input.name.c_str());
    if (!reader.Set(static_cast<std::uint64_t>(i), row))
      return reader.cannot_read() ? kNetcdfCannotRead : kNetcdfCutShort;
  }
  return kGood;
}

int NetCDFFile::ReadScans(const Input& input, ReadSpreadSheetData& sink, RowWalk& walk, int row) {
  InputFile file(input.path.c_str());
  const NetcdfContents& contents = input.contents;
  const NetcdfVariable& masses = *contents.Find("mass_values");
  const NetcdfVariable& intensities = *contents.Find("intensity_values");
  const auto mass_cells = NumbersOf(masses, {kAndiMissing});
  const auto cells = NumbersOf(intensities, {kAndiMissing});
  NetcdfRows rows(file, {SlabOf(contents, masses), SlabOf(contents, intensities)});
  XPlaces<double> places(axis_.values, budget_);
  const ValueSink values(sink);
  const int beyond = first_index() + interval_size();
  std::array<double, 512> x;
  for (std::size_t i = 0; i < input.scans.size() && !walk.ended(); ++i) {
    if (!walk.Wants(++row)) continue;
    const AndiScan& scan = input.scans[i];
    sink.Set(1, row, row - 1);
    sink.Set(kNameColumn, row, (input.name + "_" + std::to_string(i + 1)).c_str());
    if (const double time = input.ScanTime(i); !std::isnan(time))
      values.Set(kTimeColumn, row, time);
    // Where a scan is in no order, all places are counted anew.
    if (!scan.is_sorted && !budget_.Work(axis_.values.size() * sizeof(std::uint32_t)))
      return kOverBudget;
    if (!places.Begin(scan.is_sorted)) return kOverBudget;
    for (std::uint64_t done = 0; done < scan.count;) {
      const std::uint64_t at = scan.first + done;
      if (!rows.Load(at)) return Input::StatusOf(rows);
      const std::uint64_t ready =
          std::min({rows.Ready(at), scan.count - done, std::uint64_t{x.size()}});
      mass_cells->Get(rows.At(0, at), rows.Stride(0),
                      std::span(x).first(static_cast<std::size_t>(ready)));
      const char* value = rows.At(1, at);
      for (std::size_t k = 0; k < ready; ++k, value += rows.Stride(1)) {
        if (std::isnan(x[k])) continue;
        const int place = static_cast<int>(places.Of(x[k]));
        if (place >= first_index() && place < beyond)
          cells->Set(value, 0, 1, sink, kFirstMassColumn + place - first_index(), row);
      }
      done += ready;
    }
  }
  return kGood;
}

int NetCDFFile::ReadTable(ReadSpreadSheetData& sink, RowWalk& walk) {
  const Input& input = inputs_.front();
  InputFile file(input.path.c_str());
  const auto status_of = [](const NetcdfPartsReader& reader) {
    return reader.cannot_read() ? kNetcdfCannotRead : kNetcdfCutShort;
  };
  int row = 1;
  if (table_->has_names) {
    if (walk.Wants(row)) {
      SetTableHeads(sink);
      if (table_->heads) {
        NetcdfPartsReader heads(file, input.contents, {*table_->heads}, sink);
        if (!heads.Set(0, row)) return Fail(status_of(heads));
      }
    }
    ++row;
  }
  NetcdfPartsReader reader(file, input.contents, table_->parts, sink);
  const std::uint64_t rows = table_->rows - (table_->has_names ? 1 : 0);
  for (std::uint64_t i = 0; i < rows && !walk.ended(); ++i, ++row)
    if (walk.Wants(row) && !reader.Set(i, row)) return Fail(status_of(reader));
  for (const NetcdfPart& part : table_->parts) {
    for (const NetcdfPage& page : part.first_pages) {
      const NetcdfDimension& dimension = input.contents.dimensions[page.dimension];
      if (dimension.length > 1)
        Note(input.contents.variables[part.variable].name + " has " +
             std::to_string(dimension.length) + " pages along " + dimension.name +
             ", of which the first was delivered (page=" + dimension.name + ":NUMBER)");
    }
  }
  return kGood;
}

// A column is called as its variable, of several columns with their number.
void NetCDFFile::SetTableHeads(ReadSpreadSheetData& sink) const {
  const NetcdfContents& contents = inputs_.front().contents;
  for (const NetcdfPart& part : table_->parts) {
    const std::string& name = contents.variables[part.variable].name;
    const int column = static_cast<int>(part.column);
    if (part.columns_along == kNoDimension)
      sink.Set(column, 1, name.c_str());
    else if (!table_->heads)
      for (int i = 0; i < static_cast<int>(part.slab.columns); ++i)
        sink.Set(column + i, 1, (name + "[" + std::to_string(i + 1) + "]").c_str());
  }
}

// Of several files each note says which it is about.
void NetCDFFile::NoteOf(const Input& input, std::string_view text) const {
  Note(inputs_.size() > 1 ? FileName(input.path) + ": " + std::string(text) : std::string(text));
}

int NetCDFFile::DescribeFiles(Description& description) {
  SpectraStatements statements(description, kNetcdfKeys, budget_);
  int row = 2;
  for (const Input& input : inputs_) {
    if (statements.full()) break;
    if (input.rows == 0 && inputs_.size() > 1) continue;  // it has no row to be about
    DescribeInput(input, inputs_.size() == 1 ? 0 : row, statements);
    row += input.rows;
  }
  return kGood;
}

// The variables that the cells come from.
std::vector<const NetcdfVariable*> NetCDFFile::VariablesOf(const Input& input) const {
  std::vector<const NetcdfVariable*> variables;
  const auto add = [&](const NetcdfVariable* variable) {
    if (variable != nullptr) variables.push_back(variable);
  };
  const auto add_parts = [&](const std::vector<NetcdfPart>& parts) {
    for (const NetcdfPart& part : parts) add(&input.contents.variables[part.variable]);
  };
  if (table_) {
    add_parts(table_->parts);
    if (table_->heads) add_parts({*table_->heads});
  } else if (shape_ == Shape::kPeaks) {
    add_parts(input.peaks);
  } else {
    constexpr std::string_view kOfSignal[] = {"ordinate_values", "raw_data_retention"};
    constexpr std::string_view kOfScans[] = {"scan_acquisition_time", "mass_values",
                                             "intensity_values"};
    constexpr std::string_view kOfTotal[] = {"scan_acquisition_time", "total_intensity"};
    const auto names = shape_ == Shape::kSignal  ? std::span<const std::string_view>(kOfSignal)
                       : shape_ == Shape::kScans ? std::span<const std::string_view>(kOfScans)
                                                 : std::span<const std::string_view>(kOfTotal);
    for (const std::string_view name : names) add(input.contents.Find(name));
  }
  return variables;
}

void NetCDFFile::DescribeInput(const Input& input, int row, SpectraStatements& statements) const {
  const NetcdfContents& contents = input.contents;
  statements.StateNumber("version", contents.version, row);
  for (const NetcdfAttribute& attribute : contents.attributes) {
    const std::string text = attribute.Text();
    if (!attribute.name.ends_with("_date_time_stamp")) {
      statements.State(attribute.name, text, row);
      continue;
    }
    statements.State(attribute.name, {}, text, row);
    if (const std::string iso = IsoStamp(text); !iso.empty())
      statements.State(attribute.name, iso, row);
  }
  if (is_andi()) DescribeInstrument(input, row, statements);
  DescribeAxes(input, statements);
  for (const NetcdfVariable* variable : VariablesOf(input))
    for (const NetcdfAttribute& attribute : variable->attributes)
      statements.State(variable->name + ":" + attribute.name, attribute.Text(), row);
}

// Mass spectra name their instrument in variables.
void NetCDFFile::DescribeInstrument(const Input& input, int row,
                                    SpectraStatements& statements) const {
  constexpr std::uint64_t kLongest = 4096;
  InputFile file(input.path.c_str());
  for (const NetcdfVariable& variable : input.contents.variables) {
    if (!variable.name.starts_with("instrument_") || variable.type != NetcdfType::kChar) continue;
    if (variable.bytes == 0 || variable.bytes > kLongest || variable.is_record ||
        !input.contents.Holds(variable))
      continue;
    std::string text(static_cast<std::size_t>(variable.bytes), '\0');
    if (file.Seek(variable.begin) && file.Read(text) == static_cast<std::ptrdiff_t>(text.size()))
      statements.StateIfAny(variable.name, NetcdfText(text), row);
  }
}

void NetCDFFile::DescribeAxes(const Input& input, SpectraStatements& statements) const {
  const NetcdfContents& contents = input.contents;
  const auto name = [&](Axis axis, const NetcdfVariable& variable) {
    const std::string text = TextOf(variable.attributes, "long_name");
    statements.Label(axis).Take(text.empty() ? variable.name : text);
    statements.Unit(axis).Take(TextOf(variable.attributes, "units"));
  };
  const auto unit_of = [&](const char* variable) {
    const NetcdfVariable* found = contents.Find(variable);
    return found != nullptr ? TextOf(found->attributes, "units") : std::string();
  };
  const char* const time_unit = input.in_minutes ? "min" : "s";
  if (table_) {
    if (table_->wide != 1) return;
    for (const NetcdfPart& part : table_->parts)
      if (part.columns_along != kNoDimension) name(Axis::kY, contents.variables[part.variable]);
    if (table_->heads) name(Axis::kX, contents.variables[table_->heads->variable]);
    if (table_->has_row_names) name(Axis::kZ, contents.variables[table_->parts[0].variable]);
  } else if (shape_ == Shape::kSignal) {
    statements.Label(Axis::kX).Take("time");
    if (input.times.has_times) statements.Unit(Axis::kX).Take(time_unit);
    statements.Unit(Axis::kY).Take(AndiText(contents, "detector_unit"));
  } else if (shape_ == Shape::kTotal) {
    statements.Label(Axis::kX).Take("time");
    if (input.times.has_times) statements.Unit(Axis::kX).Take("s");
    statements.Unit(Axis::kY).Take(unit_of("total_intensity"));
  } else if (shape_ == Shape::kScans) {
    statements.Label(Axis::kX).Take("m/z");
    statements.Label(Axis::kZ).Take("time");
    statements.Unit(Axis::kZ).Take("s");
    statements.Unit(Axis::kY).Take(unit_of("intensity_values"));
  }
}

NetCDFFileFactory::NetCDFFileFactory()
    : SprFileFactory({.name = "NetCDF Files",
                      .read_filter = "NetCDF Files (*.nc; *.cdf) (MVACDF, ANDI)",
                      .extensions = {".nc", ".cdf"},
                      .several_at_once = true,
                      .options = {{"view", "signal|peaks|scans|total"},
                                  {"range", "FIRST,LAST", /*is_asked=*/true},
                                  {"variables", "NAME,NAME...", /*is_asked=*/true},
                                  {"page", "DIMENSION:NUMBER..."},
                                  {"names", "1|0"}}}) {}

int NetCDFFileFactory::IsCorrectFileType(const char* path) {
  return NetCDFFile::IsNetCDFFile(path);
}

SpreadsheetFile* NetCDFFileFactory::Create() { return std::make_unique<NetCDFFile>().release(); }

}  // namespace nvimport
