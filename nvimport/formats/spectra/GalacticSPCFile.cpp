#include "nvimport/formats/spectra/GalacticSPCFile.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <utility>

#include "nvimport/formats/spectra/PointNames.h"
#include "nvimport/formats/spectra/SpcDescription.h"
#include "nvimport/formats/spectra/SpcLayout.h"
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
    {kSpcNoFile, "Unable to open file."},
    {kSpcNotOpened, "Unable to read file. The file was not opened or Open File failed."},
    {kSpcNotThisFormat, "This file does not seem to be a valid Galactic SPC file."},
    {kSpcOtherByteOrder, "This version of Galactic SPC files are not supported."},
    {kSpcUnevenX, "Unevenly spaced X-variables are not supported."},
    {kSpcNoFilesSelected, "No files were selected, import aborted."},
    {kSpcSpacingDiffers, "The data did not have the same X-spacing."},
    {kSpcMassSpectra,
     "Looks like GC-MS spectra file(s) and that is not supported at the moment. Contact the "
     "Quellon support."},
    {kSpcXArraysDiffer, "The X variable names in files differ from each other"},
};
static_assert(WellFormed(kTexts, 2560, 2569));

constexpr int kFirstPointColumn = 3;

bool Differ(double a, double b) {
  constexpr double kTolerance = 0x1p-23;
  return std::isnan(a) != std::isnan(b) || std::fabs(a - b) > kTolerance;
}

bool SamePoints(const SpectrumGrid& a, const SpectrumGrid& b) {
  const auto same = [](double one, double other) {
    return one == other || (std::isnan(one) && std::isnan(other));
  };
  return a.points == b.points && same(a.first, b.first) && same(a.last, b.last);
}

std::string ShortNumber(double value) {
  FloatText buffer;
  return {buffer.data(), FormatGeneral(value, buffer)};
}

}  // namespace

struct GalacticSPCFile::File {
  std::string path;
  int position = 0;  // in the selection, from 1
  SpcFile layout{};
  int left_out = 0;  // sub-files of the old layout
  int cut = 0;       // those that are not whole

  // True when its points have the same x values as those of another, as far as both have them.
  bool HasXOf(const SpcFile& other) const {
    const auto is_same = [](double a, double b) { return !IsBefore(a, b) && !IsBefore(b, a); };
    return layout.has_own_x == other.has_own_x && layout.has_x_array == other.has_x_array &&
           (layout.has_own_x || std::ranges::equal(layout.x, other.x, is_same));
  }
  std::string Entry() const {
    const SpectrumGrid& axis = layout.axis;
    std::string entry = FileName(path) + " [Num ";
    if (layout.sub_files > 1)
      entry += "sub-files: " + std::to_string(layout.sub_files) +
               ", Num values: " + std::to_string(axis.points);
    else
      entry +=
          "values: " + std::to_string(axis.points) + ", First value: " + ShortNumber(axis.first) +
          ", Last value: " + ShortNumber(axis.last) + ", X-Spacing: " + ShortNumber(axis.spacing);
    return entry + "]";
  }
};

// Of x values in the axis of the sheet.
struct GalacticSPCFile::Places {
  XPlaces<float> of_arrays;  // where sub-files have their own
  XPlaces<double> of_files;  // where files have others
};

GalacticSPCFile::GalacticSPCFile(GalacticSPCRules rules)
    : SpectraFile("GalacticSPCFile", kTexts, kFirstPointColumn),
      rules_(rules),
      reader_(std::make_unique<BlockReader>()) {
  six_digit_names_ = rules.names_of_six_digits;
}

GalacticSPCFile::~GalacticSPCFile() = default;

NvImportOpenOptions* GalacticSPCFile::GetImportOptions(RangeChoice range,
                                                       const std::vector<int>& files,
                                                       bool text_names, bool x_row) {
  OptionPairs pairs{{"range", OptionPairs::Join(range)}};
  if (!files.empty()) pairs.Set("files", OptionPairs::Join(files));
  pairs.Set("names", text_names ? "text" : "number");
  pairs.Set("xrow", x_row ? "1" : "0");
  return pairs.NewRecord();
}

void GalacticSPCFile::Close() {
  opened_ = false;
  heads_ = 0;
  files_.clear();
  SpectraFile::Close();
}

int GalacticSPCFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (BeginOpen(read, path) != kGood) return status_;
  if (!path_.empty())
    for (std::string& name : FileSelection::Split(path_))
      files_.push_back({std::move(name), static_cast<int>(files_.size()) + 1});
  GivenOptions given(source_, options);
  std::vector<int> positions;
  if (!given.TakeNumbers("files", positions, static_cast<int>(files_.size())))
    return Fail(kInvalidOptions);
  if (!positions.empty()) SelectFilesToImport(positions);
  OptionPairs choices;
  if (ReadHeaders() != kGood || SetOptions(given, choices) != kGood) return status_;
  GiveBack(choices, options);
  opened_ = true;
  return kGood;
}

void GalacticSPCFile::SelectFilesToImport(const std::vector<int>& positions) {
  std::vector<File> chosen;
  for (const int position : positions)
    if (position >= 1 && position <= static_cast<int>(files_.size()))
      chosen.push_back(files_[static_cast<std::size_t>(position - 1)]);
  files_ = std::move(chosen);
}

int GalacticSPCFile::ReadHeaders() {
  axis_.floats = {};
  RenewBudget();
  for (File& file : files_)
    if (ReadHeaderInfo(file) != kGood) return status_;
  return UniteX();
}

int GalacticSPCFile::ReadHeaderInfo(File& file) {
  InputFile input(file.path.c_str());
  if (!input.is_open()) return Fail(kSpcNoFile);
  SpcFile& layout = file.layout = {};
  const int status = ReadSpcLayout(input, *reader_, layout, budget_);
  if (layout.byte_order == std::endian::big && rules_.refuse_other_byte_order)
    return Fail(kSpcOtherByteOrder);
  if (layout.flags_own_x && rules_.refuse_own_x_arrays) return Fail(kSpcMassSpectra);
  if (status != kGood) return Fail(status);
  // Kept: what follows the first sub-file is left out, and its own exponent isn't looked at.
  if (layout.is_old && rules_.one_spectrum_of_old_files) {
    file.left_out = std::exchange(layout.sub_files, 1) - 1;
    layout.is_multifile = false;
  }
  const bool may_be_cut = (layout.is_old && layout.is_multifile) || !layout.HoldsAll();
  return !rules_.refuse_cut_files && may_be_cut ? LeaveOutCut(file, input) : kGood;
}

// Counts the sub-files that are whole. No others are then the file's.
int GalacticSPCFile::LeaveOutCut(File& file, InputFile& input) {
  SpcFile& layout = file.layout;
  // The old header doesn't say how many there are.
  const bool is_counted = !layout.is_old || layout.axis.points == 0;
  if (!is_counted && layout.is_multifile) layout.sub_files = INT_MAX;
  int whole = 0;
  int begun = 0;
  {
    SpcSubFiles sub_files(layout, input, *reader_, budget_);
    while (whole < layout.sub_files && sub_files.Next() && sub_files.is_whole()) ++whole;
    begun = sub_files.number();
  }
  if (budget_.overdrawn()) return Fail(kOverBudget);
  file.cut = (is_counted ? layout.sub_files : begun) - whole;
  layout.sub_files = whole;
  return whole == 0 && file.cut > 0 ? Fail(kSpcCutShort) : kGood;
}

// Makes every x that occurs in files with own x arrays a point of all of them.
int GalacticSPCFile::UniteX() {
  XUnion<float> all(budget_);
  for (const File& file : files_) {
    if (!file.layout.has_own_x) continue;
    InputFile input(file.path.c_str());
    if (!input.is_open()) return Fail(kSpcNoFile);
    SpcSubFiles sub_files(file.layout, input, *reader_, budget_);
    // Reading fails at one that is cut.
    while (sub_files.number() < file.layout.sub_files && sub_files.Next()) {
      if (!budget_.Take(sub_files.own_x().size() * sizeof(float))) break;
      std::vector<float> x = sub_files.own_x();
      if (!std::ranges::is_sorted(x, IsBefore)) std::ranges::sort(x, IsBefore);
      if (!all.Add(std::move(x))) break;
    }
  }
  std::vector<float> values = all.Take();
  if (budget_.overdrawn()) return Fail(kOverBudget);
  if (values.size() > INT_MAX) return Fail(kNoSize);
  if (values.empty()) return kGood;
  for (File& file : files_) {
    if (!file.layout.has_own_x) continue;
    SpectrumGrid& axis = file.layout.axis;
    axis = {values.front(), values.back(), 0, static_cast<int>(values.size())};
    axis.spacing = SpcSpacing(axis);
  }
  axis_.floats = std::move(values);
  return kGood;
}

// The same of files of which some have other x values than others.
int GalacticSPCFile::UniteFiles() {
  XUnion<double> all(budget_);
  const auto add = [&](const auto& x_at, int points) {
    if (points < 0 || !budget_.Take(static_cast<std::uint64_t>(points) * sizeof(double)))
      return false;
    std::vector<double> x;
    x.reserve(static_cast<std::size_t>(points));
    for (int i = 0; i < points; ++i) x.push_back(x_at(i));
    if (!std::ranges::is_sorted(x, IsBefore)) std::ranges::sort(x, IsBefore);
    return all.Add(std::move(x));
  };
  for (const File& file : files_) {
    const SpcFile& layout = file.layout;
    if (layout.ClaimsTooMuch()) return Fail(kSpcCutShort);
    if (!layout.has_own_x) {
      if (!add([&](int i) { return layout.X(i); }, layout.axis.points)) break;
      continue;
    }
    InputFile input(file.path.c_str());
    if (!input.is_open()) return Fail(kSpcNoFile);
    SpcSubFiles sub_files(layout, input, *reader_, budget_);
    while (sub_files.number() < layout.sub_files && sub_files.Next()) {
      const std::vector<float>& x = sub_files.own_x();
      const auto x_at = [&](int i) { return double{x[static_cast<std::size_t>(i)]}; };
      if (!add(x_at, static_cast<int>(x.size()))) break;
    }
  }
  axis_ = {};
  axis_.values = all.Take();
  if (budget_.overdrawn()) return Fail(kOverBudget);
  if (axis_.values.size() > INT_MAX) return Fail(kNoSize);
  axis_.points = static_cast<int>(axis_.values.size());
  if (axis_.points > 0) {
    axis_.first = axis_.values.front();
    axis_.last = axis_.values.back();
  }
  axis_.spacing = SpcSpacing(axis_);
  unites_files_ = true;
  return kGood;
}

int GalacticSPCFile::CheckFiles() {
  unites_files_ = false;
  if (files_.empty()) return kSpcNoFilesSelected;
  const SpcFile& first = files_.front().layout;
  axis_.values = {};
  static_cast<SpectrumGrid&>(axis_) = first.axis;
  // Those of own x arrays are united.
  if (!first.has_own_x) axis_.floats = first.x;
  for (const File& file : files_) {
    axis_.points = std::max(axis_.points, file.layout.axis.points);
    if (!(file.layout.axis.last <= axis_.last)) axis_.last = file.layout.axis.last;
  }
  if (!std::ranges::all_of(files_, [&](const File& file) { return file.HasXOf(first); }))
    return kSpcXArraysDiffer;
  if (!rules_.one_grid)
    return std::ranges::all_of(
               files_, [&](const File& file) { return SamePoints(file.layout.axis, first.axis); })
               ? int{kGood}
               : int{kSpcSpacingDiffers};
  for (const File& file : files_)
    if (Differ(file.layout.axis.first, first.axis.first) ||
        Differ(file.layout.axis.spacing, first.axis.spacing))
      return kSpcSpacingDiffers;
  return kGood;
}

int GalacticSPCFile::SetOptions(GivenOptions& given, OptionPairs& choices) {
  if (!given.TakeWord("names", {"number", "text"}, text_names_) ||
      !given.TakeWord("xrow", {"0", "1"}, x_row_))
    return Fail(kInvalidOptions);
  for (int check = CheckFiles(); check != kGood; check = CheckFiles()) {
    const std::size_t count = files_.size();
    if (check != kSpcSpacingDiffers && check != kSpcXArraysDiffer) return Fail(check);
    if (!rules_.one_grid) {
      if (UniteFiles() != kGood) return status_;
      break;
    }
    if (AskForFiles(check) != kGood) return status_;
    // Whoever chooses all of them again will never choose fewer.
    if (files_.size() == count) return Fail(check);
    std::vector<int> positions;
    for (const File& file : files_) positions.push_back(file.position);
    choices.Set("files", OptionPairs::Join(positions));
  }

  return TakeInterval(given, "Galactic SPC File Import Wizard", choices);
}

int GalacticSPCFile::AskForFiles(int status) {
  const char* const reason = std::ranges::find(kTexts, status, &StatusText::status)->text;
  Log::WriteMessage(source_, "SetOptions", reason, Log::kNormal);
  ItemsQuestion question;
  question.kind = ItemsQuestion::Kind::kFiles;
  question.title = "Select Files";
  question.prompt =
      "The files did not have the same properties. Please only select the files with same "
      "properties from the ones you want to import. ";
  question.heading = "File";
  for (const File& file : files_) question.items.push_back(file.Entry());
  const auto answer = Dialogs::Current().SelectItems(question);
  if (!answer) return Fail(kCancelled);
  std::vector<int> positions;
  for (const std::size_t item : answer->items) positions.push_back(static_cast<int>(item) + 1);
  SelectFilesToImport(positions);
  return ReadHeaders();
}

int GalacticSPCFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (!opened_) return Fail(kSpcNotOpened);
  std::uint64_t rows = x_row_ ? 2 : 1;
  for (const File& file : files_) rows += static_cast<std::uint64_t>(file.layout.sub_files);
  return SetSize(static_cast<std::uint64_t>(interval_size()) + kFirstPointColumn - 1, rows);
}

int GalacticSPCFile::Read(ReadSpreadSheetData* sink) {
  if (status_ != kGood) return status_;
  if (!opened_) return Fail(kSpcNotOpened);
  for (const File& file : files_)
    if (file.layout.ClaimsTooMuch()) return Fail(kSpcCutShort);
  int row = sink->GetNextIndex(0);
  if (GetNumRows() < 0) return status_;
  sink->SetDataSize(num_cols_, num_rows_);
  row = SetHeads(*sink, row);
  std::uint64_t left_out = 0;
  std::uint64_t cut = 0;
  for (const File& file : files_) {
    if (ReadSpectra(file, *sink, row) != kGood) return status_;
    left_out += static_cast<std::uint64_t>(file.left_out);
    cut += static_cast<std::uint64_t>(file.cut);
  }
  Log::WriteCount(source_, cut, "spectrum is cut short and was not delivered",
                  "spectra are cut short and were not delivered");
  Log::WriteCount(source_, left_out,
                  "further spectrum of a file of the old layout was not delivered",
                  "further spectra of files of the old layout were not delivered");
  return kGood;
}

// Sets the rows above the spectra, from `row` on, and returns the last of them.
int GalacticSPCFile::SetHeads(ReadSpreadSheetData& sink, int row) {
  const int x_row = x_row_ && row >= 0 ? sink.GetNextIndex(row) : -1;
  if (row >= 0) {
    sink.Set(1, row, "Primary ID");
    sink.Set(2, row, "Name");
  }
  if (x_row >= 0) sink.Set(2, x_row, "X-values");
  // Names that are numbers are a row of x values too.
  const int text_row = text_names_ ? row : -1;
  const int number_row = text_names_ ? -1 : row;
  const int digits = DigitsOfNames(first_index(), interval_size());
  NamePoints({sink, "t ", {}, text_row, number_row, digits}, first_index(), interval_size());
  NamePoints({sink, "", {}, -1, x_row}, first_index(), interval_size());
  heads_ = x_row_ ? 2 : 1;
  if (!x_row_) return row;
  // Kept: the row of x values serves one read.
  x_row_ = size_established_ = false;
  return x_row;
}

int GalacticSPCFile::ReadSpectra(const File& file, ReadSpreadSheetData& sink, int& row) {
  InputFile input(file.path.c_str());
  if (!input.is_open()) return Fail(kSpcNoFile);
  SpcSubFiles sub_files(file.layout, input, *reader_, budget_);
  Places places{{axis_.floats, budget_}, {axis_.values, budget_}};
  while (sub_files.number() < file.layout.sub_files && row >= 0) {
    // Only whole sub-files are delivered.
    const bool is_whole = sub_files.Next() && sub_files.is_whole();
    if (budget_.overdrawn()) return Fail(kOverBudget);
    if (!is_whole) return Fail(kSpcCutShort);
    row = sink.GetNextIndex(row);
    if (row < 0) break;
    std::string name = FileName(file.path);
    if (file.layout.sub_files + file.cut > 1) name += "_" + std::to_string(sub_files.number());
    sink.Set(1, row, row - 1);
    sink.Set(2, row, name.c_str());
    if (!SetPoints(file.layout, sub_files, places, sink, row))
      return Fail(budget_.overdrawn() ? int{kOverBudget} : int{kSpcCutShort});
  }
  return kGood;
}

bool GalacticSPCFile::SetPoints(const SpcFile& layout, SpcSubFiles& sub_files, Places& places,
                                ReadSpreadSheetData& sink, int row) {
  const int points = sub_files.points();
  const auto own_x = [&](int i) { return sub_files.own_x()[static_cast<std::size_t>(i)]; };
  if (unites_files_) {
    const auto x_at = [&](int i) { return layout.has_own_x ? double{own_x(i)} : layout.X(i); };
    return SetPlaced(places.of_files, x_at, sub_files, sink, row);
  }
  if (layout.has_own_x) return SetPlaced(places.of_arrays, own_x, sub_files, sink, row);
  const int before = std::min(first_index(), points);
  return sub_files.TakeValues(before, std::min(interval_size(), points - before),
                              [values = ValueSink(sink), row](int i, auto value) {
                                values.Set(kFirstPointColumn + i, row, value);
                              });
}

// The points of a sub-file whose x are `x_at` have `places` in the axis of the sheet.
template <typename X, typename XAt>
bool GalacticSPCFile::SetPlaced(XPlaces<X>& places, XAt x_at, SpcSubFiles& sub_files,
                                ReadSpreadSheetData& sink, int row) {
  const int points = sub_files.points();
  bool is_sorted = true;
  for (int i = 1; i < points && is_sorted; ++i) is_sorted = !IsBefore(x_at(i), x_at(i - 1));
  return places.Begin(is_sorted) &&
         sub_files.TakeValues(0, points, [&, values = ValueSink(sink)](int i, auto value) {
           const int point = static_cast<int>(places.Of(x_at(i))) - first_index();
           if (point >= 0 && point < interval_size())
             values.Set(kFirstPointColumn + point, row, value);
         });
}

int GalacticSPCFile::DescribeFiles(Description& description) {
  SpectraStatements statements(description, kSpcKeys, budget_);
  const int heads_ahead = x_row_ ? 2 : 1;
  int above = heads_ > 0 ? heads_ : heads_ahead;
  for (const File& file : files_) {
    if (statements.full()) break;
    DescribeSpc(file.path, file.layout, above, files_.size() == 1, statements);
    above += file.layout.sub_files;
  }
  return kGood;
}

GalacticSPCFileFactory::GalacticSPCFileFactory(GalacticSPCRules rules)
    : RuledFactory({.name = "GalacticSPC File",
                    .read_filter = "Galactic SPC Files (*.spc)",
                    .extensions = {".spc"},
                    .several_at_once = true,
                    .flag5 = true,
                    .options = {{"range", "FIRST,LAST", /*is_asked=*/true},
                                {"files", "N,N...", /*is_asked=*/true},
                                {"names", "number|text"},
                                {"xrow", "0|1"}}},
                   rules) {}

}  // namespace nvimport
