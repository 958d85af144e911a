#include "nvimport/formats/spectra/BrukerOPUSFile.h"

#include <algorithm>
#include <climits>
#include <utility>

#include "nvimport/formats/spectra/Interpolator.h"
#include "nvimport/formats/spectra/OpusDescription.h"
#include "nvimport/formats/spectra/OpusLayout.h"
#include "nvimport/formats/spectra/PointNames.h"
#include "nvimport/formats/spectra/ValueSink.h"
#include "nvimport/formats/spectra/XUnion.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/StoredValues.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

constexpr StatusText kTexts[] = {
    {kOpusNoFile, "Unable to open file."},
    {kOpusNotOpened, "Unable to read file. The file was not opened or Open File failed."},
    {kOpusNotThisFormat, "This file does not seem to be a valid Bruker OPUS file."},
    {kOpusBadDirectory, "The file is corrupt! Its directory of blocks is damaged or cut short."},
    {kOpusNoData, "The file does not contain any data block with spectra."},
    {kOpusNoneSelected, "No data blocks were selected."},
    {kOpusBadBlock, "The file is corrupt! A data block that was selected is damaged or cut short."},
    {kOpusOtherForm,
     "A data block that was selected is stored in a compact form, which is not supported."},
    {kOpusReadFailed, "An error occurred while reading the file."},
};
static_assert(WellFormed(kTexts, 4384, 4399));

constexpr int kFirstPointColumn = 3;

std::string ShortNumber(double value) {
  FloatText buffer;
  return {buffer.data(), FormatGeneral(value, buffer)};
}

// "2567 points, x from 3998.34 to 699.389 cm-1".
std::string SizeOf(const OpusData& data) {
  if (data.problem != kGood) return data.problem == kOpusBadBlock ? "damaged" : "compact";
  std::string text = data.spectra > 1 ? std::to_string(data.spectra) + " x " : "";
  text += std::to_string(data.axis.points) + " points, x from " + ShortNumber(data.axis.first) +
          " to " + ShortNumber(data.axis.last);
  if (const std::string_view unit = FindOpusUnit(data.unit).unit; !unit.empty())
    text.append(" ").append(unit);
  return text;
}

// Gives `take` so many values behind the first `before` of a spectrum, which lies ahead.
template <typename Take>
bool TakeValues(const OpusData& data, BlockReader& reader, int before, int count, Take take) {
  constexpr auto kLittle = std::endian::little;
  reader.Skip(static_cast<std::uint64_t>(before) * sizeof(float));
  const auto scaled = [&](int i, auto value) { take(i, static_cast<double>(value) * data.factor); };
  if (data.has_wholes) return TakeStoredValues<std::int32_t, kLittle>(reader, count, scaled);
  if (data.factor != 1) return TakeStoredValues<float, kLittle>(reader, count, scaled);
  return TakeStoredValues<float, kLittle>(reader, count, take);
}

}  // namespace

struct BrukerOPUSFile::File {
  std::string path;
  OpusFile layout{};

  std::string Name() const {
    const std::string& sample = layout.sample;
    const bool is_blank = sample.find_first_not_of(' ') == std::string::npos;
    return is_blank ? FileName(path) : OpusText(sample, layout.code_page);
  }
};

BrukerOPUSFile::BrukerOPUSFile()
    : SpectraFile("BrukerOPUSFile", kTexts, kFirstPointColumn),
      reader_(std::make_unique<BlockReader>()) {
  six_digit_names_ = false;
}

BrukerOPUSFile::~BrukerOPUSFile() = default;

NvImportOpenOptions* BrukerOPUSFile::GetImportOptions(const std::vector<int>& blocks,
                                                      RangeChoice range, int reference) {
  OptionPairs pairs{{"range", OptionPairs::Join(range)}};
  if (!blocks.empty()) pairs.Set("blocks", OptionPairs::Join(blocks));
  if (reference > 0) pairs.Set("reference", std::to_string(reference));
  return pairs.NewRecord();
}

void BrukerOPUSFile::Close() {
  opened_ = unites_x_ = has_reference_ = false;
  files_.clear();
  offered_.clear();
  chosen_.clear();
  grids_.clear();
  points_ = {};
  points_grid_.reset();
  failed_file_.clear();
  SpectraFile::Close();
}

// What is wrong with one file of several is told with its name.
void BrukerOPUSFile::GetErrorMessage(char* buffer, unsigned int size) {
  const auto* const known = std::ranges::find(kTexts, status_, &StatusText::status);
  if (failed_file_.empty() || known == std::end(kTexts))
    return SpectraFile::GetErrorMessage(buffer, size);
  const std::string text = "Error in file '" + failed_file_ + "': " + known->text;
  const StatusText composed[] = {{status_, text.c_str()}};
  CopyText(composed, buffer, size);
}

int BrukerOPUSFile::FailIn(std::size_t file, int status) {
  if (status_ == kGood && files_.size() > 1) failed_file_ = FileName(files_[file].path);
  return Fail(status);
}

int BrukerOPUSFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (BeginOpen(read, path) != kGood) return status_;
  for (std::string& name : FileSelection::Split(path_)) files_.push_back({std::move(name)});
  GivenOptions given(source_, options);
  OptionPairs choices;
  if (ReadLayouts() != kGood || ChooseBlocks(given, choices) != kGood || MakeAxis(given) != kGood)
    return status_;
  if (TakeInterval(given, nullptr, choices) != kGood) return status_;
  GiveBack(choices, options);
  opened_ = true;
  return kGood;
}

int BrukerOPUSFile::ReadLayouts() {
  if (files_.empty()) return Fail(kOpusNoFile);
  for (std::size_t i = 0; i < files_.size(); ++i) {
    InputFile input(files_[i].path.c_str());
    if (!input.is_open()) return FailIn(i, kOpusNoFile);
    OpusFile& layout = files_[i].layout;
    const int status = ReadOpusLayout(input, *reader_, layout, budget_);
    if (status != kGood) return FailIn(i, status);
    if (layout.data.empty()) return FailIn(i, kOpusNoData);
    for (std::size_t k = 0; k < layout.data.size(); ++k) offered_.push_back({i, k});
  }
  return kGood;
}

const OpusData& BrukerOPUSFile::DataAt(Place place) const {
  return files_[place.file].layout.data[place.data];
}

int BrukerOPUSFile::ChooseBlocks(GivenOptions& given, OptionPairs& choices) {
  std::vector<int> positions;
  if (!given.TakeNumbers("blocks", positions, static_cast<int>(offered_.size())))
    return Fail(kInvalidOptions);
  const bool asks = positions.empty() && offered_.size() > 1;
  if (asks && !Ask(positions)) return Fail(kCancelled);
  if (asks && positions.empty()) return Fail(kOpusNoneSelected);
  if (positions.empty()) positions = {1};
  std::ranges::sort(positions);
  positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
  if (asks) choices.Set("blocks", OptionPairs::Join(positions));
  for (const int position : positions) {
    const Place place = offered_[static_cast<std::size_t>(position) - 1];
    if (const int problem = DataAt(place).problem) return FailIn(place.file, problem);
    chosen_.push_back(place);
  }
  return kGood;
}

bool BrukerOPUSFile::Ask(std::vector<int>& positions) const {
  ItemsQuestion question;
  question.kind = ItemsQuestion::Kind::kBlocks;
  question.title = "Select Data Blocks";
  question.prompt = "Please select the data blocks you want to import.";
  question.heading = files_.size() > 1 ? "File, data block" : "Data block";
  for (const Place place : offered_) {
    const OpusData& data = DataAt(place);
    const std::string file = files_.size() > 1 ? FileName(files_[place.file].path) + ", " : "";
    question.items.push_back(file + files_[place.file].layout.NameOf(data.block));
    question.details.push_back(SizeOf(data));
  }
  question.usual = UsualBlocks();
  const auto answer = Dialogs::Current().SelectItems(question);
  if (!answer) return false;
  for (const std::size_t item : answer->items)
    if (item < offered_.size()) positions.push_back(static_cast<int>(item) + 1);
  return true;
}

// Of each file what it is about; of those that hold only interferograms none where others hold
// spectra.
std::vector<std::size_t> BrukerOPUSFile::UsualBlocks() const {
  std::vector<int> best(files_.size(), INT_MAX);
  bool has_spectra = false;
  for (const Place place : offered_) {
    const OpusBlock& block = DataAt(place).block;
    best[place.file] = std::min(best[place.file], block.Rank());
    has_spectra = has_spectra || !block.IsInterferogram();
  }
  std::vector<std::size_t> usual;
  for (std::size_t i = 0; i < offered_.size(); ++i) {
    const OpusBlock& block = DataAt(offered_[i]).block;
    if (block.Rank() == best[offered_[i].file] && !(has_spectra && block.IsInterferogram()))
      usual.push_back(i);
  }
  return usual;
}

int BrukerOPUSFile::MakeAxis(GivenOptions& given) {
  std::vector<int> numbers;
  if (!given.TakeNumbers("reference", numbers, static_cast<int>(offered_.size())))
    return Fail(kInvalidOptions);
  Place reference = chosen_.front();
  has_reference_ = !numbers.empty();
  if (has_reference_) {
    reference = offered_[static_cast<std::size_t>(numbers.front()) - 1];
    const auto is_it = [&](Place place) {
      return place.file == reference.file && place.data == reference.data;
    };
    if (numbers.size() > 1 || std::ranges::none_of(chosen_, is_it)) {
      given.Refuse("reference", *given.Find("reference"));
      return Fail(kInvalidOptions);
    }
  }
  axis_ = {DataAt(reference).axis};
  const auto has_axis = [&](Place place) { return IsSameGrid(DataAt(place).axis, axis_); };
  return has_reference_ || std::ranges::all_of(chosen_, has_axis) ? int{kGood} : UniteX();
}

// Makes every x that occurs a point of the sheet.
int BrukerOPUSFile::UniteX() {
  unites_x_ = true;
  for (const Place place : chosen_) AddGrid(grids_, DataAt(place).axis);
  XUnion<double> all(budget_);
  const SpectrumGrid* before = nullptr;
  for (const Place place : chosen_) {
    const SpectrumGrid& grid = DataAt(place).axis;
    if (before != nullptr && IsSameGrid(*before, grid)) continue;
    before = &grid;
    if (!budget_.Take(static_cast<std::uint64_t>(grid.points) * sizeof(double))) break;
    std::vector<double> x;
    x.reserve(static_cast<std::size_t>(grid.points));
    for (int i = 0; i < grid.points; ++i) x.push_back(OnGrids(grids_, grid.ExactX(i)));
    std::ranges::sort(x);
    if (!all.Add(std::move(x))) break;
  }
  axis_ = {};
  axis_.values = all.Take();
  if (budget_.overdrawn()) return Fail(kOverBudget);
  if (axis_.values.size() > INT_MAX) return Fail(kNoSize);
  axis_.points = static_cast<int>(axis_.values.size());
  axis_.first = axis_.values.front();
  axis_.last = axis_.values.back();
  if (axis_.points > 1) axis_.spacing = (axis_.last - axis_.first) / (axis_.points - 1);
  return kGood;
}

int BrukerOPUSFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (!opened_) return Fail(kOpusNotOpened);
  std::uint64_t rows = 1;
  for (const Place place : chosen_) rows += static_cast<std::uint64_t>(DataAt(place).spectra);
  return SetSize(static_cast<std::uint64_t>(interval_size()) + kFirstPointColumn - 1, rows);
}

int BrukerOPUSFile::Read(ReadSpreadSheetData* sink) {
  if (status_ != kGood) return status_;
  if (!opened_) return Fail(kOpusNotOpened);
  int row = sink->GetNextIndex(0);
  if (GetNumRows() < 0) return status_;
  sink->SetDataSize(num_cols_, num_rows_);
  if (row >= 0) {
    sink->Set(1, row, "Primary ID");
    sink->Set(2, row, "Name");
    // Numbers, as the x values are.
    NamePoints({*sink, "", {}, -1, row}, first_index(), interval_size());
  }
  budget_.RenewWork();
  std::uint64_t cut = 0;
  std::uint64_t beyond = 0;
  for (auto next = chosen_.begin(); next != chosen_.end();) {
    const auto is_of_another = [&](Place place) { return place.file != next->file; };
    const auto end = std::find_if(next, chosen_.end(), is_of_another);
    if (ReadFile({next, end}, *sink, row) != kGood) return status_;
    beyond += files_[next->file].layout.beyond;
    for (; next != end; ++next) cut += static_cast<std::uint64_t>(DataAt(*next).cut);
  }
  Log::WriteCount(source_, beyond, "block lies beyond the end of a file, which may be damaged",
                  "blocks lie beyond the end of a file, which may be damaged");
  std::string_view unit;  // of the first that states one
  const auto is_other = [&](Place place) {
    const std::string& own = DataAt(place).unit;
    if (unit.empty()) unit = own;
    return !own.empty() && own != unit;
  };
  if (std::ranges::any_of(chosen_, is_other))
    Note("data blocks of different x-units stand on one axis");
  Log::WriteCount(source_, cut, "spectrum of a series is cut off and was not delivered",
                  "spectra of series are cut off and were not delivered");
  return kGood;
}

int BrukerOPUSFile::ReadFile(std::span<const Place> blocks, ReadSpreadSheetData& sink, int& row) {
  const std::size_t number = blocks.front().file;
  InputFile input(files_[number].path.c_str());
  if (!input.is_open()) return FailIn(number, kOpusNoFile);
  const std::string name = files_[number].Name();
  const bool has_several = blocks.size() > 1 || DataAt(blocks.front()).spectra > 1;
  int spectrum = 0;  // of the file
  for (const Place place : blocks) {
    const OpusData& data = DataAt(place);
    if (unites_x_ && !FindPoints(data.axis)) return FailIn(number, kOverBudget);
    reader_->Begin(input, data.first);
    for (int i = 0; i < data.spectra && row >= 0; ++i) {
      row = sink.GetNextIndex(row);
      if (row < 0) return kGood;
      const std::uint64_t end = reader_->position() + data.stride;
      // Many blocks may be the same bytes.
      if (!budget_.Work(static_cast<std::uint64_t>(data.axis.points) * sizeof(float)))
        return FailIn(number, kOverBudget);
      const std::string of_several = "_" + std::to_string(++spectrum);
      const std::string full_name = has_several ? name + of_several : name;
      sink.Set(1, row, row - 1);
      sink.Set(2, row, full_name.c_str(), full_name.size());
      if (!SetPoints(data, sink, row))
        return FailIn(number, reader_->failed() ? kOpusReadFailed : kOpusBadBlock);
      if (i + 1 < data.spectra) reader_->Skip(end - reader_->position());
    }
  }
  return kGood;
}

// Where the points of a grid are among those of the sheet. False when the budget ends.
bool BrukerOPUSFile::FindPoints(const SpectrumGrid& grid) {
  if (points_grid_ && IsSameGrid(*points_grid_, grid)) return true;
  const auto count = static_cast<std::size_t>(grid.points);
  if (count > points_.capacity() && !budget_.Take((count - points_.capacity()) * sizeof(int)))
    return false;
  XPlaces<double> places(axis_.values, budget_);
  if (!places.Begin(/*in_order=*/false)) return false;
  points_.clear();
  points_.reserve(count);
  for (int i = 0; i < grid.points; ++i)
    points_.push_back(static_cast<int>(places.Of(OnGrids(grids_, grid.ExactX(i)))));
  points_grid_ = grid;
  return true;
}

bool BrukerOPUSFile::SetPoints(const OpusData& data, ReadSpreadSheetData& sink, int row) {
  const SpectrumGrid& grid = data.axis;
  const ValueSink values(sink);
  const int first = first_index();
  const auto set = [&](int point, auto value) {
    if (point >= first && point - first < interval_size())
      values.Set(kFirstPointColumn + point - first, row, value);
  };
  if (unites_x_)
    return TakeValues(data, *reader_, 0, grid.points,
                      [&](int i, auto value) { set(points_[static_cast<std::size_t>(i)], value); });
  if (has_reference_ && !IsSameGrid(grid, axis_)) {
    const auto put = [&](int n, double value, bool) { set(n - 1, value); };
    Interpolator<decltype(put)> interpolate{put, grid, axis_};
    return TakeValues(data, *reader_, 0, grid.points, [&](int i, auto value) {
      interpolate(i + 1, static_cast<double>(value), /*missing=*/false);
    });
  }
  return TakeValues(data, *reader_, first, interval_size(), [values, row](int i, auto value) {
    values.Set(kFirstPointColumn + i, row, value);
  });
}

int BrukerOPUSFile::DescribeFiles(Description& description) {
  SpectraStatements statements(description, kOpusKeys, budget_);
  int row = 2;
  auto next = chosen_.begin();
  for (std::size_t i = 0; i < files_.size() && !statements.full(); ++i) {
    std::vector<OpusRows> rows;
    for (; next != chosen_.end() && next->file == i; ++next) {
      const OpusData& data = DataAt(*next);
      rows.push_back({&data, row});
      row += data.spectra;
    }
    if (!rows.empty() || files_.size() == 1)
      DescribeOpus(files_[i].path, files_[i].layout, rows, files_.size() == 1, statements);
  }
  return kGood;
}

BrukerOPUSFileFactory::BrukerOPUSFileFactory()
    : SprFileFactory({.name = "Bruker OPUS File",
                      .read_filter = "Bruker OPUS File (*.*)",
                      .extensions = {".*"},
                      .several_at_once = true,
                      .options = {{"blocks", "N,N...", /*is_asked=*/true},
                                  {"range", "FIRST,LAST"},
                                  {"reference", "N"}}}) {}

int BrukerOPUSFileFactory::IsCorrectFileType(const char* path) {
  InputFile input(path);
  if (!input.is_open()) return kNotThis;
  BlockReader reader;
  OpusFile file;
  Budget budget(input.size());
  const int status = ReadOpusDirectory(input, reader, file, budget);
  if (status == kOpusNotThisFormat || status == kOpusReadFailed) return kNotThis;
  return status == kGood && file.beyond == 0 ? kCertain : kPlausible;
}

SpreadsheetFile* BrukerOPUSFileFactory::Create() {
  return std::make_unique<BrukerOPUSFile>().release();
}

}  // namespace nvimport
