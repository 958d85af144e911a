#include "nvimport/formats/matrix/NetCDFFile.h"

#include <algorithm>
#include <array>
#include <climits>
#include <span>
#include <utility>

#include "nvimport/formats/matrix/NetcdfInput.h"
#include "nvimport/formats/matrix/NetcdfSource.h"
#include "nvimport/formats/spectra/XUnion.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/platform/Log.h"
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
     "The netCDF files do not have the same variables under the same names of columns. Please "
     "select files of one kind."},
    {kNetcdfNoSignal, "The netCDF file does not contain a chromatogram."},
    {kNetcdfNoPeaks, "The netCDF file does not contain any peaks."},
    {kNetcdfNoScans, "The netCDF file does not contain any mass spectra."},
    {kNetcdfScansDamaged, "The netCDF file is damaged: its scans are not where it says."},
    {kNetcdfNotOpened, "Unable to read file. The file was not opened or Open File failed."},
};
static_assert(WellFormed(kTexts, 4416, 4431));

constexpr std::array<std::string_view, 2> kViewsOfSignal = {"signal", "peaks"};
constexpr std::array<std::string_view, 2> kViewsOfScans = {"scans", "total"};

// Of a file that is gone.
class NoSource final : public NetcdfSource {
 public:
  std::uint64_t size() const override { return 0; }
  std::ptrdiff_t ReadAt(std::uint64_t, std::span<char>) override { return -1; }
};

}  // namespace

NetCDFFile::NetCDFFile() : NetCDFFile("NetCDFFile") {}

NetCDFFile::NetCDFFile(const char* source) : SpectraFile(source, kTexts, kNetcdfFirstColumn) {}

NetCDFFile::~NetCDFFile() = default;

Confidence NetCDFFile::IsNetCDFFile(const char* path) {
  NetcdfFileSource source(path);
  if (!source.is_open()) return kNotThis;
  NetcdfContents contents;
  Budget budget(source.size());
  switch (ReadNetcdf(source, budget, contents)) {
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
                    {"names", std::string(kNetcdfYesAndNo[with_names ? 0 : 1])}};
  if (!pages.empty()) pairs.Set("page", OptionPairs::JoinNames(pages));
  return pairs.NewRecord();
}

std::vector<FormatOption> NetCDFFile::Options() {
  return {{"view", "signal|peaks|scans|total"},
          {"range", "FIRST,LAST", /*is_asked=*/true},
          {"variables", "NAME,NAME...", /*is_asked=*/true},
          {"page", "DIMENSION:NUMBER..."},
          {"names", "1|0"}};
}

void NetCDFFile::Close() {
  opened_ = is_united_ = false;
  peak_names_.clear();
  shape_ = Shape::kTable;
  inputs_.clear();
  table_.reset();
  open_.reset();
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
  first_point_column_ = shape_ == Shape::kScans ? kNetcdfFirstMassColumn : kNetcdfFirstColumn;
  if (has_axis() && FindAxis() != kGood) return status_;
  if (TakeRange(given, options) != kGood) return status_;
  opened_ = true;
  return kGood;
}

std::unique_ptr<NetcdfSource> NetCDFFile::OpenSource(const char* path, int& status) const {
  auto source = std::make_unique<NetcdfFileSource>(path);
  status = source->is_open() ? int{kGood} : int{kNetcdfNoFile};
  if (status != kGood) return nullptr;
  return source;
}

NetcdfSource& NetCDFFile::SourceOf(const Input& input) const {
  if (open_ && open_path_ == input.path) return *open_;
  int status = kGood;
  open_ = OpenSource(input.path.c_str(), status);
  open_path_ = input.path;
  if (!open_) open_ = std::make_unique<NoSource>();
  return *open_;
}

int NetCDFFile::OpenInputs() {
  for (std::string& path : FileSelection::Split(path_)) inputs_.push_back({std::move(path)});
  for (Input& input : inputs_) {
    int status = kGood;
    open_ = OpenSource(input.path.c_str(), status);
    open_path_ = input.path;
    if (open_) status = ReadNetcdf(*open_, budget_, input.contents);
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
    if (!wants_variables && !has_tables) return Fail(kNetcdfKindsDiffer);
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
  if (table_) {
    std::uint64_t table_rows = table_->has_names ? 1 : 0;
    for (Input& input : inputs_) {
      table_rows += input.table_rows;
      input.rows = static_cast<int>(std::min<std::uint64_t>(input.table_rows, INT_MAX));
    }
    return SetSize(table_->columns, table_rows);
  }
  std::uint64_t rows = 1;
  std::uint64_t columns = static_cast<std::uint64_t>(first_point_column_) - 1;
  for (const Input& input : inputs_) rows += static_cast<std::uint64_t>(input.rows);
  columns +=
      shape_ == Shape::kPeaks ? peak_names_.size() : static_cast<std::uint64_t>(interval_size());
  return SetSize(columns, rows);
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

// Of several files each note says which it is about.
void NetCDFFile::NoteOf(const Input& input, std::string_view text) const {
  Note(inputs_.size() > 1 ? FileName(input.path) + ": " + std::string(text) : std::string(text));
}

NetCDFFileFactory::NetCDFFileFactory()
    : SprFileFactory({.name = "NetCDF Files",
                      .read_filter = "NetCDF Files (*.nc; *.cdf) (MVACDF, ANDI)",
                      .extensions = {".nc", ".cdf"},
                      .several_at_once = true,
                      .options = NetCDFFile::Options()}) {}

int NetCDFFileFactory::IsCorrectFileType(const char* path) {
  return NetCDFFile::IsNetCDFFile(path);
}

SpreadsheetFile* NetCDFFileFactory::Create() { return std::make_unique<NetCDFFile>().release(); }

}  // namespace nvimport
