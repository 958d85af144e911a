#include "nvimport/formats/spectra/NsasFile.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <string>

#include "nvimport/formats/spectra/NsasLayout.h"
#include "nvimport/formats/spectra/PointNames.h"
#include "nvimport/formats/spectra/SpectraStatements.h"
#include "nvimport/formats/spectra/XUnion.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/StoredValues.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

constexpr StatusText kTexts[] = {
    {kDaCannotOpen, "Failed to open stream for reading."},
    {kDaNotOpen, "Wrong file mode. The executed operation is only supported in read mode."},
    {kDaHeaderCut,
     "DA-file corrupt! Could not read the whole header for spectra (possibly end of file)."},
    {kDaBadHeader,
     "Spectra header in DA-file is corrupt! Spectra header contains corrupt information about "
     "starting, ending wavelength, or number of data points."},
    {kDaHeadersDiffer,
     "Spectra header in DA-file is corrupt! Spectra header contains information that doesn't match "
     "earlier read spectra. Spectra wavelengths or number of constituents does not match."},
    {kDaHeaderFillerCut,
     "DA-file corrupt! Could not read through the unused filler (possibly end of file)."},
    {kDaDataCut,
     "DA-file corrupt! Could not read all the data for spectra (possibly end of file)."},
    {kDaDataFillerCut,
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
static_assert(WellFormed(kTexts, 1280, 1291));

constexpr int kRowsBeforeSpectra = 2;
constexpr int kFirstPointColumn = 5;

// The time stamp as ISO 8601; empty where the year is not plain. Instruments write day, month and
// year, which of these others write in which order nothing says.
std::string IsoTime(const std::array<int, 6>& time) {
  using namespace std::chrono;
  const bool is_full = time[0] >= 1900;
  if (!is_full && (time[0] <= 31 || time[0] > 99)) return {};
  std::array<int, 6> full = time;
  if (!is_full) full[0] += 1900;
  const auto date = year(full[0]) / static_cast<int>(time[1]) / static_cast<int>(time[2]);
  const bool is_time = time[1] > 0 && time[2] > 0 && date.ok() && time[3] >= 0 && time[3] < 24 &&
                       time[4] >= 0 && time[4] < 60 && time[5] >= 0 && time[5] < 60;
  TimeStampText text;
  return is_time ? FormatTimeStamp(full, 4, 'T', text) : std::string();
}

}  // namespace

struct NsasFile::Spectra {
  NsasDaFile da;
  NsasCnFile cn;
  NsasRecord first;
};

NsasFile::NsasFile(NsasRules rules)
    : SpectraFile("NsasFile", kTexts, kFirstPointColumn),
      rules_(rules),
      spectra_(std::make_unique<Spectra>()) {
  six_digit_names_ = rules.names_of_six_digits;
}

NsasFile::~NsasFile() = default;

NvImportOpenOptions* NsasFile::GetImportOptions(RangeChoice columns) {
  return OptionPairs{{"columns", OptionPairs::Join(columns)}}.NewRecord();
}

void NsasFile::Close() {
  da_.Close();
  cn_.Close();
  SpectraFile::Close();
}

int NsasFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (BeginOpen(read, path) != kGood) return status_;
  GivenOptions given(source_, options);
  if (!given.TakeRange("columns", columns_)) return Fail(kInvalidOptions);
  da_ = InputFile(path_.c_str());
  if (!da_.is_open()) return Fail(kDaCannotOpen);
  for (const char* extension : {"cn", "CN", "Cn", "cN"}) {
    cn_ = InputFile(PathText(FilePath(path_).replace_extension(extension)).c_str());
    if (cn_.is_open()) break;
  }
  return kGood;
}

// What the spectra have to be like.
const NsasRecord* NsasFile::like() const {
  return rules_.spectra_are_alike ? &spectra_->first : nullptr;
}

int NsasFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (!da_.is_open()) return Fail(kDaNotOpen);
  NsasDaFile& da = spectra_->da;
  NsasRecord& first = spectra_->first;
  da.Begin(da_);
  is_damaged_ = unites_x_ = false;
  constituents_ = 0;
  std::uint64_t spectra = 0;
  do {
    NsasRecord record;
    const int status = da.ReadDaHeader(spectra > 0 ? like() : nullptr, record);
    is_damaged_ = status != kGood && status != kDaHeadersDiffer && spectra > 0 &&
                  !rules_.damage_refuses_files;
    if (is_damaged_) break;
    if (status != kGood) return Fail(status);
    if (spectra++ == 0) {
      first = record;
      axis_ = {record.axis, {}};
    }
    constituents_ = std::max(constituents_, record.constituents);
    unites_x_ |= record.axis.spacing != axis_.spacing;
    if (record.axis.first < axis_.first) {
      axis_.first = record.axis.first;
      axis_.State(record.axis.stated_last, record.axis.stated_steps);
    }
    if ((record.axis.last < axis_.last) == rules_.ends_with_shortest_spectrum)
      axis_.last = record.axis.last;
    is_damaged_ = !da.SkipDa(record);
    if (is_damaged_ && rules_.damage_refuses_files) return Fail(kDaDataCut);
  } while (!da.at_end());
  leaves_out_cn_ = !rules_.constituents_fit && cn_.is_open() && !spectra_->cn.Begin(cn_, spectra);
  if (leaves_out_cn_) cn_.Close();
  if (unites_x_ && UniteX(spectra) != kGood) return status_;
  const double points = unites_x_ ? static_cast<double>(axis_.values.size())
                                  : std::round((axis_.last - axis_.first) / axis_.spacing) + 1;
  // Two short spectra can lie any number of steps apart.
  if (points > static_cast<double>(kMostUnbacked + da.size())) return Fail(kNoSize);
  axis_.points = static_cast<int>(points);
  const int columns = kFirstPointColumn - 1 + axis_.points + (cn_.is_open() ? constituents_ : 0);
  return SetSize(static_cast<std::uint64_t>(columns), spectra + kRowsBeforeSpectra);
}

// Makes every wavelength that occurs a point.
int NsasFile::UniteX(std::uint64_t spectra) {
  NsasDaFile& da = spectra_->da;
  XUnion<double> all(budget_);
  SpectrumGrid last;
  da.Begin(da_);
  for (; spectra > 0; --spectra) {
    NsasRecord record;
    if (const int status = da.ReadDaHeader(nullptr, record)) return Fail(status);
    const SpectrumGrid& axis = record.axis;
    if (axis.first != last.first || axis.spacing != last.spacing || axis.points != last.points) {
      const auto count = static_cast<std::size_t>(axis.points);
      if (!budget_.Take(count * sizeof(double))) return Fail(kOverBudget);
      std::vector<double> x(count);
      for (int i = 0; i < axis.points; ++i) x[static_cast<std::size_t>(i)] = axis.ExactX(i);
      if (!all.Add(std::move(x))) return Fail(kOverBudget);
      last = axis;
    }
    da.SkipDa(record);
  }
  axis_.values = all.Take();
  if (budget_.overdrawn()) return Fail(kOverBudget);
  axis_.first = axis_.values.front();
  axis_.last = axis_.values.back();
  return kGood;
}

int NsasFile::Read(ReadSpreadSheetData* sink) {
  if (status_ != kGood || GetNumRows() < 0) return status_;
  if (cn_.is_open()) {
    const auto spectra = static_cast<std::uint64_t>(num_rows_ - kRowsBeforeSpectra);
    if (!spectra_->cn.Begin(cn_, spectra)) return Fail(kCnSize);
    if (constituents_ > NsasCnFile::kMostConstituents) return Fail(kCnValuesCut);
  }
  sink->SetDataSize(num_cols_, num_rows_);
  if (MakeNameRow(*sink) != kGood) return status_;
  MakeInfoRow(*sink);
  spectra_->da.Begin(da_);
  left_out_ = 0;
  XPlaces<double> places(axis_.values, budget_);
  for (int row = kRowsBeforeSpectra + 1; row <= num_rows_; ++row) {
    if (sink->GetNextIndex(row - 1) < 0) return kGood;
    if (MakeValueRow(*sink, row, places) != kGood) return status_;
  }
  if (left_out_ > 0)
    Note(std::to_string(left_out_) +
         " values at the ends of spectra, at wavelengths that not all spectra have, were not "
         "delivered");
  if (is_damaged_)
    Note("the DA file is cut or damaged, and what follows the last spectrum was not delivered");
  if (leaves_out_cn_)
    Note("the size of the CN file fits no version of it, and the constituents were not delivered");
  return kGood;
}

int NsasFile::MakeNameRow(ReadSpreadSheetData& sink) {
  int column = 1;
  for (const char* name : {"SampleNo", "SpectrumNo", "SampleName", "Time"})
    SetCell(sink, column++, 1, name);
  NamePoints({sink, "w", columns_, 1, 0, DigitsOfNames(0, axis_.points)}, 0, axis_.points);
  if (!cn_.is_open()) return kGood;
  std::array<NsasName, NsasCnFile::kMostConstituents> names;
  if (const int status = spectra_->cn.ReadCnHeader(names)) return Fail(status);
  for (int i = 0; i < constituents_; ++i)
    SetCell(sink, first_constituent_column() + i, 1, names[static_cast<std::size_t>(i)].data());
  return kGood;
}

void NsasFile::MakeInfoRow(ReadSpreadSheetData& sink) const {
  const std::string text = "/Instrument model " + std::to_string(spectra_->first.model);
  SetCell(sink, 1, kRowsBeforeSpectra, text.c_str());
}

int NsasFile::MakeValueRow(ReadSpreadSheetData& sink, int row, XPlaces<double>& places) {
  NsasDaFile& da = spectra_->da;
  NsasRecord record;
  if (const int status = da.ReadDaHeader(like(), record)) return Fail(status);
  if (record.data_end() > da.size()) {
    if (!is_damaged_) return Fail(kDaDataCut);
    record.axis.points =
        static_cast<int>((da.size() - std::min(record.data, da.size())) / sizeof(float));
  }
  TimeStampText time;
  SetCell(sink, 1, row, row - kRowsBeforeSpectra);
  SetCell(sink, 2, row, record.number);
  SetCell(sink, 3, row, record.name.data());
  SetCell(sink, 4, row, FormatTimeStamp(record.time, 2, ' ', time));
  if (unites_x_ ? !PlaceSpectraValues(record.axis, sink, row, places)
                : !ReadSpectraValues(record.axis, sink, row))
    return Fail(kDaDataCut);
  if (!da.SkipDa(record) && !is_damaged_) return Fail(kDaDataFillerCut);
  if (!cn_.is_open()) return kGood;
  std::array<float, NsasCnFile::kMostConstituents> values;
  const auto count = static_cast<std::size_t>(std::min(record.constituents, constituents_));
  const int status = spectra_->cn.ReadConstituensValues(std::span(values).first(count));
  if (status == kCnValuesCut) return Fail(status);
  for (std::size_t i = 0; i < count; ++i)
    SetCell(sink, first_constituent_column() + static_cast<int>(i), row, values[i]);
  return status == kGood ? kGood : Fail(status);
}

bool NsasFile::ReadSpectraValues(const SpectrumGrid& axis, ReadSpreadSheetData& sink, int row) {
  // Counted in steps. Where it is no whole number each value goes to the nearest column, kept: but
  // only to columns whose own wavelength lies within the spectrum.
  constexpr double kRoundingError = 1e-6;
  const double offset = (axis.first - axis_.first) / axis.spacing;
  const auto nearest = static_cast<int>(std::lround(offset));
  int begin = nearest;
  int beyond = begin + axis.points;
  if (rules_.columns_lie_within_spectra) {
    begin = static_cast<int>(std::ceil(offset - kRoundingError));
    beyond = static_cast<int>(std::floor(offset + kRoundingError)) + axis.points;
  }
  const int count = std::max(std::min(beyond, axis_.points) - begin, 0);
  left_out_ += axis.points - count;
  BlockReader& values = spectra_->da.values();
  if (count > 0) values.Skip(static_cast<std::uint64_t>(begin - nearest) * sizeof(float));
  return SetFloats(sink, row, begin, count, values);
}

bool NsasFile::PlaceSpectraValues(const SpectrumGrid& axis, ReadSpreadSheetData& sink, int row,
                                  XPlaces<double>& places) {
  if (!places.Begin(/*in_order=*/true)) return false;
  return TakeStoredValues<float, std::endian::little>(
      spectra_->da.values(), axis.points, [&](int i, float value) {
        const auto place = static_cast<int>(places.Of(axis.ExactX(i)));
        if (place < axis_.points) SetCell(sink, first_point_column_ + place, row, value);
      });
}

int NsasFile::DescribeFiles(Description& description) {
  SpectraStatements statements(description, kNsasKeys, budget_);
  statements.Label(Axis::kX).Take("wavelength");
  const NsasRecord& first = spectra_->first;
  statements.StateIfNotZero("instrument model", first.model, 0);
  std::array<NsasName, NsasCnFile::kMostConstituents> names;
  NsasCnFile cn;
  const auto spectra = static_cast<std::uint64_t>(num_rows_ - kRowsBeforeSpectra);
  if (cn_.is_open() && cn.Begin(cn_, spectra) && cn.ReadCnHeader(names) == kGood)
    for (int i = 0; i < std::min(constituents_, NsasCnFile::kMostConstituents); ++i)
      statements.StateIfAny("constituent", names[static_cast<std::size_t>(i)].data(), 0);
  NsasDaFile da;
  da.Begin(da_);
  for (int row = kRowsBeforeSpectra + 1; row <= num_rows_ && !statements.full(); ++row) {
    NsasRecord record;
    if (da.ReadDaHeader(like(), record) != kGood) break;
    if (record.model != first.model)
      statements.StateIfNotZero("instrument model", record.model, row);
    statements.StateNumber("spectrum number", record.number, row);
    statements.StateIfAny("sample name", record.name.data(), row);
    if (record.time != decltype(record.time){}) {
      TimeStampText text;
      statements.State("date", {}, FormatTimeStamp(record.time, 2, ' ', text), row);
      if (const std::string iso = IsoTime(record.time); !iso.empty())
        statements.State("date", iso, row);
    }
    if (!da.SkipDa(record)) break;
  }
  return kGood;
}

NsasFileFactory::NsasFileFactory(NsasRules rules)
    : RuledFactory({.name = "NSAS File",
                    .read_filter = "NSAS Files (*.da)",
                    .extensions = {".da"},
                    .options = {{"columns", "FIRST,LAST"}}},
                   rules) {}

}  // namespace nvimport
