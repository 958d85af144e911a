// The views of chromatograms and mass spectra.

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <map>
#include <span>
#include <unordered_map>
#include <utility>

#include "nvimport/formats/matrix/NetcdfInput.h"
#include "nvimport/formats/spectra/ValueSink.h"
#include "nvimport/formats/spectra/XUnion.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

constexpr int kTimeColumn = 3;  // of mass spectra
constexpr double kSecondsInMinute = 60;

// Takes the text that a reader has for a row.
class OneText final : public ReadSpreadSheetData {
 public:
  using ReadSpreadSheetData::Set;
  void Set(int, int, const char* given) override { text = given; }
  void Set(int, int, float) override {}
  void SetDataSize(int, int) override {}
  int GetNumberOfColumns() override { return 1; }
  int GetNumberOfRows() override { return 1; }

  std::string text;
};

// The names of the spectra of a library; none where no texts lie along the scans alone.
std::vector<NetcdfPart> EntryNames(const NetcdfContents& contents) {
  const NetcdfVariable* names = contents.Find("entry_name");
  if (names == nullptr || !IsText(names->type) || !contents.Holds(*names)) return {};
  const auto at = static_cast<std::size_t>(names - contents.variables.data());
  const NetcdfPart part = PartOf(contents, at, {});
  const bool is_along = part.rows_along == contents.Find("scan_index")->dimensions.front() &&
                        part.columns_along == kNoDimension;
  return is_along ? std::vector{part} : std::vector<NetcdfPart>{};
}

bool SaysMinutes(std::string unit) {
  for (char& c : unit)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return unit.find("min") != std::string::npos;
}

}  // namespace

int NetCDFFile::MeasureSignal(Input& input) {
  NetcdfSource& source = SourceOf(input);
  const NetcdfVariable* values = input.contents.Find("ordinate_values");
  if (values == nullptr || values->dimensions.size() != 1) return kNetcdfNoSignal;
  const std::uint64_t points = SlabOf(input.contents, *values).rows;
  if (points == 0) return kNetcdfNoSignal;
  if (!input.contents.Holds(*values)) return kNetcdfCutShort;
  if (points > INT_MAX) return kNoSize;
  input.points = static_cast<int>(points);
  input.in_minutes = SaysMinutes(AndiText(input.contents, "retention_unit"));
  return ReadAndiTimes(source, input.contents, budget_, points, input.times);
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
    if (!budget_.Take(kForNetcdfPart)) return kOverBudget;
    input.parts.push_back(part);
  }
  if (input.parts.empty()) return kNetcdfNoPeaks;
  input.rows = static_cast<int>(peak_number->length);
  std::ranges::stable_sort(input.parts, {}, [&](const NetcdfPart& part) {
    return contents.variables[part.variable].name != "peak_name";
  });
  input.in_minutes = SaysMinutes(AndiText(contents, "retention_unit"));
  return kGood;
}

int NetCDFFile::MeasureScans(Input& input) {
  NetcdfSource& source = SourceOf(input);
  const NetcdfContents& contents = input.contents;
  if (const int status = ReadAndiScans(source, contents, budget_, input.scans)) return status;
  if (input.scans.size() > INT_MAX) return kNoSize;
  input.rows = static_cast<int>(input.scans.size());
  if (const int status = ReadTimesOfScans(input)) return status;

  const NetcdfVariable& masses = *contents.Find("mass_values");
  const auto cells = NumbersOf(masses, {kAndiMissing});
  NetcdfRows rows(source, {SlabOf(contents, masses)});
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
  NetcdfSource& source = SourceOf(input);
  const NetcdfVariable* times = input.contents.Find("scan_acquisition_time");
  const NetcdfVariable* index = input.contents.Find("scan_index");
  if (times == nullptr || times->dimensions != index->dimensions) return kGood;
  return ReadDoubles(source, input.contents, *times, budget_, input.scan_times, {kAndiMissing});
}

int NetCDFFile::MeasureTotal(Input& input) {
  NetcdfSource& source = SourceOf(input);
  const NetcdfContents& contents = input.contents;
  if (const int status = ReadAndiScans(source, contents, budget_, input.scans)) return status;
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
    const int status = ReadDoubles(source, contents, *total, budget_, input.sums, {kAndiMissing});
    if (status != kGood) return status;
    if (!std::ranges::all_of(input.sums, [](double sum) { return std::isnan(sum); })) return kGood;
  }
  // Nobody summed them.
  if (!budget_.Take(input.scans.size() * sizeof(double))) return kOverBudget;
  input.sums.assign(input.scans.size(), 0);
  const NetcdfVariable& intensities = *contents.Find("intensity_values");
  const auto cells = NumbersOf(intensities, {kAndiMissing});
  NetcdfRows rows(source, {SlabOf(contents, intensities)});
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

// Each variable of the peaks of all files has a column.
void NetCDFFile::PlacePeaks() {
  std::unordered_map<std::string_view, std::size_t> places;
  for (Input& input : inputs_)
    for (NetcdfPart& part : input.parts) {
      const std::string& name = input.contents.variables[part.variable].name;
      const auto [found, is_new] = places.try_emplace(name, peak_names_.size());
      if (is_new) peak_names_.push_back(name);
      part.column = static_cast<std::uint64_t>(kNetcdfFirstColumn) + found->second;
    }
}

void NetCDFFile::SetHeads(ReadSpreadSheetData& sink) const {
  sink.Set(1, 1, "Primary ID");
  sink.Set(kNetcdfNameColumn, 1, "Name");
  if (shape_ == Shape::kPeaks) {
    int column = kNetcdfFirstColumn;
    for (const std::string& name : peak_names_) sink.Set(column++, 1, name.c_str());
    return;
  }
  if (shape_ == Shape::kScans) sink.Set(kTimeColumn, 1, "Time");
  ValueSink(sink).SetRun(first_point_column_, 1, interval_size(),
                         [&](int i) { return ExactX(first_index() + i); });
}

int NetCDFFile::ReadRow(const Input& input, ReadSpreadSheetData& sink, int row) {
  sink.Set(1, row, row - 1);
  sink.Set(kNetcdfNameColumn, row, input.name.c_str());
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
  NetcdfSource& source = SourceOf(input);
  const NetcdfVariable& variable = *input.contents.Find("ordinate_values");
  const auto cells = NumbersOf(variable);
  NetcdfRows rows(source, {SlabOf(input.contents, variable)});
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
  NetcdfSource& source = SourceOf(input);
  NetcdfPartsReader reader(source, input.contents, input.parts, sink, {kAndiMissing});
  for (int i = 0; i < input.rows && !walk.ended(); ++i) {
    if (!walk.Wants(++row)) continue;
    sink.Set(1, row, row - 1);
    sink.Set(kNetcdfNameColumn, row, input.name.c_str());
    if (!reader.Set(static_cast<std::uint64_t>(i), row))
      return reader.cannot_read() ? kNetcdfCannotRead : kNetcdfCutShort;
  }
  return kGood;
}

int NetCDFFile::ReadScans(const Input& input, ReadSpreadSheetData& sink, RowWalk& walk, int row) {
  NetcdfSource& source = SourceOf(input);
  const NetcdfContents& contents = input.contents;
  const NetcdfVariable& masses = *contents.Find("mass_values");
  const NetcdfVariable& intensities = *contents.Find("intensity_values");
  const auto mass_cells = NumbersOf(masses, {kAndiMissing});
  const auto cells = NumbersOf(intensities, {kAndiMissing});
  NetcdfRows rows(source, {SlabOf(contents, masses), SlabOf(contents, intensities)});
  XPlaces<double> places(axis_.values, budget_);
  const ValueSink values(sink);
  const int beyond = first_index() + interval_size();
  std::array<double, 512> x;
  OneText entry;
  const std::vector<NetcdfPart> entry_names = EntryNames(contents);
  NetcdfPartsReader names(source, contents, entry_names, entry);
  for (std::size_t i = 0; i < input.scans.size() && !walk.ended(); ++i) {
    if (!walk.Wants(++row)) continue;
    const AndiScan& scan = input.scans[i];
    sink.Set(1, row, row - 1);
    entry.text.clear();
    if (!entry_names.empty() && !names.Set(i, 1))
      return names.cannot_read() ? kNetcdfCannotRead : kNetcdfCutShort;
    if (entry.text.empty()) entry.text = input.name + "_" + std::to_string(i + 1);
    sink.Set(kNetcdfNameColumn, row, entry.text.c_str());
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
          cells->Set(value, 0, 1, sink, kNetcdfFirstMassColumn + place - first_index(), row);
      }
      done += ready;
    }
  }
  return kGood;
}

}  // namespace nvimport
