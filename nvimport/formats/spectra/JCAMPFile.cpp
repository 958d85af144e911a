#include "nvimport/formats/spectra/JCAMPFile.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <map>
#include <optional>
#include <utility>

#include "nvimport/formats/spectra/Interpolator.h"
#include "nvimport/formats/spectra/JCAMPDate.h"
#include "nvimport/formats/spectra/JCAMPDescription.h"
#include "nvimport/formats/spectra/JCAMPLayout.h"
#include "nvimport/formats/spectra/JCAMPPages.h"
#include "nvimport/formats/spectra/JCAMPText.h"
#include "nvimport/formats/spectra/PointNames.h"
#include "nvimport/formats/spectra/ValueSink.h"
#include "nvimport/formats/spectra/XUnion.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NvApp.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

// %f: the file, among several; %l: the file and the line; %n: the line alone; %s: the application.
constexpr StatusText kTexts[] = {
    {kNoFile, "Unable to open file."},
    {kNotJCAMP, "The file does not appear to be a valid JCAMP-DX file."},
    {kBinaryForm, "%fThe data is stored in an unsupported (binary) form."},
    {kNoEqualsSign, "%lFound a label with the data label terminator ('=') missing."},
    {kNoValue, "%lA label with a missing value was found in the file."},
    {kUnevenTitles, "%fMismatching '##TITLE=' and '##END=' labels were found in the file."},
    {kFreeText, "Found an illegal label ##BLOCKS within a LINK-block"},
    {kIllegalValue, "%fThe label on line %n has an illegal value."},
    {kIllegalPoints,
     "%lInvalid value of '##NPOINTS=' label in the file. The value of '##NPOINTS=' must be a "
     "positive integer."},
    {kNoneSelected, "No data blocks were selected."},
    {kReadFailed, "%lError occurred while reading the file."},
    {kNoPoints,
     "%fThe size of the data block could not be established. The '##NPOINTS'-label could not be "
     "found or had an illegal value."},
    {kNoData, "%fCouldn't find valid data to import."},
    {kUnknownClass,
     "%lDoes not recognize the value of the '##DATACLASS=' label as a valid JCAMP-DX 5.0 "
     "dataclass"},
    {kAssignmentsMet, "%f%s can currently not read assignments."},
    {kRADataMet, "%f%s can currently not read RA-data."},
    {kNTuplesMet, "%f%s can currently not read n-tuples."},
    {kXYPointsMet, "%f%s can currently not read XY points."},
    {kXYPairsMet, "%f%s can currently not read XY pairs."},
    {kIllegalSeries, "%fThe selected series is invalid"},
    {kNoSpacing,
     "%fCouldn't establish dx, either the '##FIRSTX=' and/or '##LASTX=' labels are missing in the "
     "file, or the '##DELTAX=' label."},
    {kAbscissaRepeats, "%lDuplicate suppression count (DUP) should be 1 for abscissa."},
    // Kept: it speaks of DUP, but it is a DIF form that is not allowed there.
    {kDifferenceFirst, "%lA DUP-value is not allowed as first ordinate."},
    {kUnexpectedEnd, "%fFound unexpected End-of-file while reading data from file."},
    {kIllegalCharacter,
     "%fFound an illegal character on line %n while reading data from the file."},
    {kNotPlain, "%lFound an invalid character while reading data from the dataset"},
    {kTwoDups, "%lTwo consecutive DUP-values is not allowed."},
    {kOnlyXYData, "Only files with dataclass = 'XYDATA' are supported by multiselection."},
    {kReferenceCancelled, "File read interrupted by the user."},
};
static_assert(WellFormed(kTexts, 1536, 1567));

constexpr const char* kNotJCAMPAmongSeveral =
    "One of the files does not appear to be a valid JCAMP-DX file.";
constexpr const char* kXDiffers =
    "FirstX and lastX is not the same in all data blocks. Data must be interpolated. Select data "
    "series to use for interpolation.";
constexpr const char* kPointsDiffer =
    "There is not the same number of data points in all data series. Data must be interpolated. "
    "Select data series to use for interpolation.";

// What a host says of a JCAMPWarning, with %r for the values read and %e for those expected.
constexpr const char* kWarnings[] = {
    "",
    "%lData seem to be missing in the file. Could only read %r y-values, but expected to read %e. "
    "Continue with the import will cause incorrectly computed x-values, since the nominal spacing "
    "between the x-values is calculated from the number of y-values.",
    "%fThere seem to be more y-values in the file than specified by the '##NPOINTS'-label. "
    "Continue with the import will cause incorrectly computed x-values, since the nominal spacing "
    "between the x-values is calculated from the number of y-values.",
    "%fY-value check failed on line %n. The remaining part of the dataset will be ignored.",
};

constexpr int kLabelColumn = 2;
constexpr int kFirstPointColumn = 3;

// A list of more blocks is made only when they have some bytes each: it would outgrow the file.
constexpr std::size_t kMostOffered = 65536;
constexpr double kLeastOffered = 64;

}  // namespace

// What is being delivered.
struct JCAMPFile::Sheet {
  ReadSpreadSheetData& sink;
  PointNames names;
  XPlaces<double> places;
  int row = 0;    // the last one set
  int named = 0;  // points, from the first one on
  // Of a page whose x don't rise, by their place:
  std::vector<double> values{};
  std::vector<bool> is_set{};
};

struct JCAMPFile::Contents {
  // What makes a row: a data page of a block, from 0, and what of it: the y values, or from 1 on
  // one of the further values.
  struct Series {
    std::uint32_t block;
    std::uint32_t page;
    std::uint8_t further = 0;
  };

  std::vector<std::string> files;
  bool several_files = false;
  JCAMPLayout layout;
  std::vector<std::size_t> offered;   // the blocks that can be chosen
  std::vector<std::size_t> selected;  // those of them that were
  std::vector<Series> series;         // of these
  // Those that are left out instead, by file and problem.
  std::map<std::pair<int, int>, std::uint64_t> left_out;
  JCAMPBlock current;                  // of which nothing is said while there is none
  std::optional<JCAMPData> reference;  // the series onto whose x values the others are brought
  bool unites_x = false;               // each x that occurs has its column
  std::vector<SpectrumGrid> grids;     // then: of series of ordinates
  std::vector<bool> in_order;          // and whether the x of a series rise
  std::size_t readable = 0;            // series before the first one that can't be read
  JCAMPDoubts doubts;                  // of those that were read
  // The file that is checked or read, -1 for none, and the line reached in it.
  int current_file = -1;
  std::uint64_t line = 0;

  double OnGrid(double x) const;
  JCAMPData Get(Series one) const { return layout.Get(one.block, one.page); }

  std::string FilePrefix(int file) const {
    return several_files ? FileName(files[static_cast<std::size_t>(file)]) + ", " : "";
  }

  std::string RowLabel(const JCAMPData& page, int further) const {
    std::string label = FilePrefix(page.file) + layout.Text(page.title);
    const auto add = [&](const char* name) {
      if (*name != '\0') (label += label.empty() ? "" : ", ") += name;
    };
    add(layout.Text(page.name));
    if (further > 0) add(layout.Text(Further(page, further).name));
    return label.empty() ? "Y" : label;
  }

  const JCAMPFurther& Further(const JCAMPData& page, int number) const {
    return layout.further[page.first_further + static_cast<std::size_t>(number) - 1];
  }

  // Finds the points and the x values where the labels don't tell them, but the lines.
  int AskLines(const JCAMPRules& rules) {
    JCAMPInput input(files, rules);
    for (const std::size_t block : offered)
      for (std::size_t page = 0; page < layout.Pages(block); ++page)
        if (const int status = AskLines(rules, input, block, page)) return status;
    return kGood;
  }

  int AskLines(const JCAMPRules& rules, JCAMPInput& input, std::size_t block, std::size_t page) {
    JCAMPData data = layout.Get(block, page);
    const bool has_points = data.points > 0 || rules.npoints_is_right;
    if (!has_points)
      data.points = static_cast<int>(std::clamp<double>(layout.points_left(), 0, INT_MAX));
    const bool has_x = data.Problem() != kNoSpacing || rules.labels_say_x;
    if (has_points && has_x && data.further == 0 &&
        (rules.npoints_is_right || data.data_class != JCAMPClass::kXYData))
      return kGood;
    JCAMPData read = data;
    if (!has_x) static_cast<JCAMPNumbers&>(read) = {.first_x = 0, .delta_x = 1};
    if (read.Problem() != kGood) return kGood;
    JCAMPLines* lines = input.Open(data.file);
    if (lines == nullptr) return kNoFile;
    if (has_points && has_x && data.further == 0) {
      if (EndsAsStated(data, rules, *lines)) return kGood;
      read.points =
          static_cast<int>(std::clamp<double>(layout.points_left(), read.points, INT_MAX));
      read.unstated = read.points - data.points;
    }
    JCAMPPageReader reader(read, rules, *lines);
    int points = 0;
    double first = data.first_x;
    double spacing = 0;
    // What ends it early is met again when the cells are read.
    if (data.data_class == JCAMPClass::kXYData)
      reader.ReadXYData([&](int n, double, bool) { points = n; },
                        [&](double x, int before) {
                          x *= data.x_factor;
                          if (std::isnan(first)) first = x;
                          if (before > 0) spacing = (x - first) / before;
                        });
    else
      reader.ReadPeakTable([&](double, double, bool) {
        ++points;
        for (std::size_t i = 0; i < data.further; ++i)
          layout.further[data.first_further + i].is_there |= !reader.further()[i].empty();
      });
    JCAMPPage& found = layout.Page(block, page);
    if (!has_points) {
      layout.points += found.points = points;
    } else if (!rules.npoints_is_right && points > 0) {
      found.unstated = points - data.points;
      layout.points += std::max(found.unstated, 0);
    }
    if (has_x) return kGood;
    JCAMPNumbers numbers = data;
    numbers.first_x = first;
    if (numbers.delta_x == 0) numbers.delta_x = spacing;
    found.numbers = static_cast<std::uint32_t>(layout.numbers.size());
    layout.numbers.push_back(numbers);
    return kGood;
  }

  // Whether the last line of ordinates ends with the last of the points that are stated, and there
  // are not more lines than that, or a little fewer where each seems to have one. Of short pages
  // nothing is said: they are soon counted.
  static bool EndsAsStated(const JCAMPData& data, const JCAMPRules& rules, JCAMPLines& lines) {
    constexpr std::uint64_t kTail = 512;
    constexpr double kTolerance = 0.5;
    if (data.end <= data.position + kTail) return false;
    lines.Seek(data.end - kTail, 0);
    std::string_view line;
    if (!lines.Next(line)) return false;
    std::string last;
    while (lines.Position() < data.end && lines.Next(line))
      if (!Deblank(line).empty()) last.assign(line) += '\n';
    const JCAMPValueForm form{.loose_exponents = !rules.exponents_have_signs};
    const char* text = last.c_str();
    JCAMPValue x;
    if (last.empty() || ReadNextValue(text, form, x) != 0 || x.count != 1) return false;
    int before = data.points;
    for (JCAMPValue value; before >= 0; before -= std::abs(value.count)) {
      if (ReadNextValue(text, form, value) != 0) return false;
      if (value.count == 0) break;
    }
    const bool is_plain = last.find_first_not_of(" \t0123456789+-.\n") == std::string::npos;
    const std::int64_t lines_before = std::int64_t{data.lines} - 1;
    if (is_plain && before != lines_before && before < 2 * lines_before) return false;
    const double place = (x.value * data.x_factor - data.first_x) / data.Axis().spacing;
    return std::fabs(place - before) < kTolerance;
  }

  void Select(std::vector<int> numbers, const JCAMPRules& rules) {
    std::ranges::sort(numbers);
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    selected.clear();
    series.clear();
    left_out.clear();
    for (const int number : numbers) {
      const std::size_t block = offered[static_cast<std::size_t>(number) - 1];
      selected.push_back(block);
      for (std::size_t page = 0; page < layout.Pages(block); ++page) {
        const Series one{static_cast<std::uint32_t>(block), static_cast<std::uint32_t>(page)};
        const JCAMPData data = Get(one);
        const int problem = rules.bad_blocks_refuse_files ? kGood : data.Problem();
        if (problem == kGood)
          series.push_back(one);
        else
          ++left_out[{data.file, problem}];
        for (std::uint8_t i = 1; problem == kGood && i <= data.further; ++i)
          if (Further(data, i).is_there) series.push_back({one.block, one.page, i});
      }
    }
    current = selected.empty() ? JCAMPBlock() : layout.blocks[selected.front()];
  }

  // Finds what the selected series have in common.
  int CheckMultiSelection(const JCAMPRules& rules, bool one_grid, SpectrumAxis& axis,
                          const char*& prompt) {
    prompt = nullptr;
    unites_x = false;
    readable = 0;
    axis = {};
    std::optional<JCAMPData> first;
    std::optional<JCAMPData> first_page;
    for (const Series& one : series) {
      const JCAMPData block = Get(one);
      if (several_files && rules.only_xydata_of_several && block.data_class != JCAMPClass::kXYData)
        return kOnlyXYData;
      // Reading refuses the others.
      if (block.Problem() != kGood) continue;
      // What precedes a block that can't be read is delivered before that fails.
      if (&one == &series[readable]) {
        if (readable++ == 0) axis = {block.Axis(), {}};
        axis.points = std::max(axis.points, block.points);
      }
      unites_x |= block.data_class == JCAMPClass::kPeakTable;
      // The pages of a block are not brought onto one another: each x has its column.
      if (one.page > 0 && first_page) {
        unites_x |= one_grid ? !first_page->SameGrid(block) : !first_page->SamePoints(block);
        continue;
      }
      first_page = block;
      if (!first) first = block;
      unites_x |= !one_grid && !first->SamePoints(block);
      if (!first->SameX(block))
        prompt = kXDiffers;
      else if (first->points != block.points && prompt == nullptr)
        prompt = kPointsDiffer;
    }
    if (unites_x) prompt = nullptr;
    return kGood;
  }

  ItemsQuestion Question(const std::vector<std::size_t>& blocks, ItemsQuestion::Kind kind = {},
                         const char* prompt = "") const {
    ItemsQuestion question;
    question.kind = kind;
    question.title = "Select JCAMP Data Blocks";
    question.prompt = prompt;
    question.heading = several_files ? "File, datatype, size of dataset, title."
                                     : "Data type, size of dataset, title.";
    for (const std::size_t number : blocks) {
      const JCAMPData block = layout.Get(number);
      question.items.push_back(FilePrefix(block.file) + layout.Text(block.data_type) + ", 1x" +
                               std::to_string(block.points) + " obs, " + layout.Text(block.title));
    }
    return question;
  }

  std::string Compose(std::string_view text, int read = 0, int expected = 0) const {
    const std::string at_line = std::to_string(line);
    std::string in_file;
    std::string in_line;
    if (several_files && current_file >= 0) {
      const std::string file =
          "Error in file '" + FileName(files[static_cast<std::size_t>(current_file)]) + "'";
      in_file = file + ": ";
      in_line = file + ", line " + at_line + ": ";
    }
    const std::map<char, std::string> parts{{'f', in_file},
                                            {'l', in_line},
                                            {'n', at_line},
                                            {'r', std::to_string(read)},
                                            {'e', std::to_string(expected)},
                                            {'s', NvApp::GetName()}};
    std::string composed;
    for (std::size_t i = 0; i < text.size(); ++i)
      if (text[i] == '%')
        composed += parts.at(text[++i]);
      else
        composed += text[i];
    return composed;
  }

  std::string MessageOf(int status) const {
    const auto* known = std::ranges::find(kTexts, status, &StatusText::status);
    if (known == std::end(kTexts)) return {};
    return Compose(several_files && status == kNotJCAMP ? kNotJCAMPAmongSeveral : known->text);
  }
};

JCAMPFile::JCAMPFile(const JCAMPRules& rules)
    : SpectraFile("JCAMPFile", kTexts, kFirstPointColumn), rules_(rules), contents_(Contents{}) {
  six_digit_names_ = rules.names_of_six_digits;
}

NvImportOpenOptions* JCAMPFile::GetImportOptions(const JCAMPImportOptions& options) {
  OptionPairs pairs;
  if (!options.blocks.empty()) pairs.Set("blocks", OptionPairs::Join(options.blocks));
  if (options.reference > 0) pairs.Set("reference", std::to_string(options.reference));
  pairs.Set("xrow", options.x_row ? "1" : "0");
  pairs.Set("columns", OptionPairs::Join(options.columns));
  return pairs.NewRecord();
}

int JCAMPFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (BeginOpen(read, path) != kGood) return status_;
  const std::vector<std::string>& files = contents_->files = FileSelection::Split(path_);
  contents_->several_files = files.size() > 1;
  JCAMPLayout& layout = contents_->layout;
  for (const std::string& file : files) {
    JCAMPLines lines(file.c_str(), rules_.lines_of_255_characters, !rules_.files_begin_with_titles);
    if (!lines.is_open()) return Fail(kNoFile);
    if (const int status = ReadJCAMPLayout(lines, rules_, layout, budget_))
      return FailAt(status, static_cast<int>(&file - files.data()), lines.line());
  }
  contents_->offered = layout.Offered();
  if (!rules_.npoints_is_right || !rules_.labels_say_x || !rules_.no_other_pairs)
    if (const int status = contents_->AskLines(rules_)) return Fail(status);
  GivenOptions given(source_, options);
  if (!given.TakeWord("xrow", {"0", "1"}, x_row_) || !given.TakeRange("columns", columns_))
    return Fail(kInvalidOptions);
  // Kept: the columns limit nothing but names, and those only of several files.
  if (!contents_->several_files) columns_ = {};
  OptionPairs choices;
  if (ChooseBlocks(given, choices) == kGood && ChooseReference(given, choices) == kGood)
    GiveBack(choices, options);
  return status_;
}

void JCAMPFile::Close() {
  *contents_ = {};
  warning_.clear();
  SpectraFile::Close();
}

int JCAMPFile::FailAt(int status, int file, std::uint64_t line) {
  contents_->current_file = file;
  contents_->line = line;
  return Fail(status);
}

int JCAMPFile::ChooseBlocks(GivenOptions& given, OptionPairs& choices) {
  const std::vector<std::size_t>& offered = contents_->offered;
  const std::size_t count = offered.size();
  std::vector<int> numbers;  // from 1
  if (!given.TakeNumbers("blocks", numbers, static_cast<int>(count))) return Fail(kInvalidOptions);
  const bool asks = numbers.empty() && count > 1;
  if (numbers.empty() && count == 1) numbers = {1};
  if (asks && count > kMostOffered &&
      contents_->layout.bytes / static_cast<double>(count) < kLeastOffered) {
    Note(
        std::to_string(count) +
        " blocks with next to nothing in them are too many to choose from; the option blocks takes "
        "their numbers");
    return Fail(kCancelled);
  }
  if (asks) {
    ItemsQuestion question = contents_->Question(
        offered, ItemsQuestion::Kind::kBlocks, "Please select the data blocks you want to import.");
    for (std::size_t i = 0; i < count; ++i) question.usual.push_back(i);
    auto choice = Dialogs::Current().SelectItems(question);
    if (!choice) return Fail(kCancelled);
    std::ranges::sort(choice->items);
    for (const std::size_t item : choice->items)
      if (item < count) numbers.push_back(static_cast<int>(item) + 1);
    if (numbers.empty()) return Fail(kNoneSelected);
    choices.Set("blocks", OptionPairs::Join(numbers));
  }
  contents_->Select(std::move(numbers), rules_);
  return kGood;
}

int JCAMPFile::SelectJCAMPBlock(int position) { return SelectJCAMPBlock(std::vector{position}); }

int JCAMPFile::SelectJCAMPBlock(const std::vector<int>& positions) {
  if (status_ != kGood) return status_;
  std::vector<int> known;
  for (const int position : positions)
    if (position >= 0 && position < GetNumJCAMPBlocks()) known.push_back(position + 1);
  if (known.empty()) return Fail(kNoneSelected);
  contents_->Select(std::move(known), rules_);
  GivenOptions none(source_, nullptr);
  OptionPairs choices;
  return ChooseReference(none, choices);
}

int JCAMPFile::ChooseReference(GivenOptions& given, OptionPairs& choices) {
  const std::vector<std::size_t>& offered = contents_->offered;
  const std::vector<std::size_t>& selected = contents_->selected;
  contents_->reference.reset();
  size_established_ = false;
  const char* prompt = nullptr;
  std::optional<std::size_t> chosen;  // block
  std::vector<int> numbers;
  const bool is_right = given.TakeNumbers("reference", numbers);
  const bool one_grid = rules_.one_grid || !numbers.empty();
  if (const int status = contents_->CheckMultiSelection(rules_, one_grid, axis_, prompt))
    return Fail(status);
  if (!is_right || (numbers.size() > 1 && !given.Refuse("reference", *given.Find("reference"))))
    return Fail(kInvalidOptions);
  if (prompt == nullptr) return kGood;
  if (!numbers.empty()) {
    const auto position = static_cast<std::size_t>(numbers.front()) - 1;
    if (position < offered.size() && std::ranges::count(selected, offered[position]) > 0)
      chosen = offered[position];
  } else {
    std::vector<std::size_t> blocks;
    for (const auto series : contents_->series)
      if (blocks.empty() || blocks.back() != series.block) blocks.push_back(series.block);
    ItemsQuestion question = contents_->Question(blocks, ItemsQuestion::Kind::kReference, prompt);
    question.only_one = true;
    question.usual = {0};
    const auto choice = Dialogs::Current().SelectItems(question);
    if (!choice) return Fail(kReferenceCancelled);
    if (choice->items.size() == 1 && choice->items.front() < blocks.size())
      chosen = blocks[choice->items.front()];
  }
  if (!chosen) return Fail(kIllegalSeries);
  contents_->reference = contents_->layout.FirstGood(*chosen);
  if (contents_->reference->Problem() != kGood) return Fail(kIllegalSeries);
  const auto position = std::ranges::find(offered, *chosen) - offered.begin();
  choices.Set("reference", std::to_string(position + 1));
  return kGood;
}

int JCAMPFile::GetNumJCAMPBlocks() const { return static_cast<int>(contents_->offered.size()); }

std::vector<std::string> JCAMPFile::GetJCAMPBlockList() const {
  return contents_->Question(contents_->offered).items;
}

bool JCAMPFile::MultiSelection() const { return contents_->several_files; }

void JCAMPFile::GetTitle(char* title) const {
  constexpr std::size_t kMost = 255;
  const std::string_view text = contents_->layout.Text(contents_->current.title);
  title[text.copy(title, kMost)] = '\0';
}

const char* JCAMPFile::GetDateCreated(COleDateTime& date) const {
  const char* const text = contents_->layout.Text(contents_->current.date);
  const auto parsed = ParseJCAMPDate(text);
  if (!parsed) return "";
  date = *parsed;
  return text;
}

void JCAMPFile::GetErrorMessage(char* buffer, unsigned int size) {
  const std::string text = contents_->MessageOf(status_);
  if (text.empty()) return SpectraFile::GetErrorMessage(buffer, size);
  const StatusText composed[] = {{status_, text.c_str()}};
  CopyText(composed, buffer, size);
  if (status_ == kOnlyXYData || status_ == kReferenceCancelled) contents_->several_files = false;
}

const char* JCAMPFile::GetWarningMessage() {
  return status_ == kGood && JCAMPWarning() ? warning_.c_str() : nullptr;
}

// The x values of ordinates are computed, those of pairs written down: what only rounding takes
// apart is one x.
double JCAMPFile::Contents::OnGrid(double x) const { return OnGrids(grids, x); }

// Makes every x that occurs in the series before the first one that can't be read a point.
int JCAMPFile::UniteX() {
  constexpr double kLeastPerPair = 3;  // bytes
  const auto series = std::span(contents_->series).first(contents_->readable);
  XUnion<double> all(budget_);
  JCAMPInput input(contents_->files, rules_);
  contents_->in_order.assign(contents_->series.size(), true);
  contents_->grids.clear();
  for (const Contents::Series one : series) {
    const JCAMPData page = contents_->Get(one);
    if (!rules_.names_of_six_digits && page.data_class == JCAMPClass::kXYData)
      AddGrid(contents_->grids, page.Axis());
  }
  for (std::size_t i = 0; i < series.size(); ++i) {
    if (series[i].further > 0) {
      contents_->in_order[i] = contents_->in_order[i - 1];
      continue;
    }
    const JCAMPData page = contents_->Get(series[i]);
    std::vector<double> x;
    // As many as are announced, if the file has the bytes for them.
    const double most = contents_->layout.bytes / kLeastPerPair;
    if (!GrowX(x, static_cast<std::size_t>(std::min<double>(page.points, most)))) break;
    const auto collect = [&](JCAMPPageReader& reader) {
      return reader.ReadPoints([&](double one, double, bool) {
        if (x.size() == x.capacity() && !GrowX(x, x.size() / 2)) return;
        x.push_back(contents_->OnGrid(one));
      });
    };
    if (ReadPage(page, input, /*tells=*/false, collect) != kGood) return status_;
    if (x.capacity() > 2 * x.size()) {
      budget_.Return((x.capacity() - x.size()) * sizeof(double));
      x.shrink_to_fit();
    }
    if (!std::ranges::is_sorted(x)) {
      contents_->in_order[i] = false;
      std::ranges::sort(x);
    }
    if (budget_.overdrawn() || !all.Add(std::move(x))) return Fail(kOverBudget);
  }
  axis_.values = all.Take();
  if (budget_.overdrawn()) return Fail(kOverBudget);
  axis_.points = static_cast<int>(axis_.values.size());
  return ShareX() ? kGood : Fail(kOverBudget);
}

// Keeps each x once, where that takes less room. False when the budget ends.
bool JCAMPFile::ShareX() {
  std::vector<double>& values = axis_.values;
  const auto is_new = [&](std::size_t i) { return i == 0 || values[i] != values[i - 1]; };
  std::size_t distinct = 0;
  for (std::size_t i = 0; i < values.size(); ++i) distinct += is_new(i) ? 1 : 0;
  if (distinct > values.size() / 3) return true;
  if (!budget_.Take(distinct * (sizeof(double) + sizeof(std::uint32_t)))) return false;
  std::vector<double> once;
  once.reserve(distinct);
  axis_.starts.reserve(distinct);
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!is_new(i)) continue;
    once.push_back(values[i]);
    axis_.starts.push_back(static_cast<std::uint32_t>(i));
  }
  budget_.Return(values.capacity() * sizeof(double));
  values = std::move(once);
  return true;
}

// Makes room for so many more x values. False when the budget ends.
bool JCAMPFile::GrowX(std::vector<double>& x, std::size_t more) {
  constexpr std::size_t kLeast = 1024;
  const std::size_t room = x.size() + std::max(kLeast, more);
  if (!budget_.Take(room * sizeof(double))) return false;
  const std::size_t before = x.capacity();
  x.reserve(room);
  budget_.Return(before * sizeof(double));
  return true;
}

int JCAMPFile::EstablishSize() {
  if (status_ != kGood) return status_;
  const JCAMPLayout& layout = contents_->layout;
  const auto& series = contents_->series;
  if (layout.blocks.empty()) return Fail(kReadFailed);
  if (contents_->selected.empty())
    return Fail(contents_->offered.empty() ? kNoData : kNoneSelected);
  if (contents_->readable == 0) {
    const JCAMPData page =
        series.empty() ? layout.Get(contents_->selected.front()) : contents_->Get(series.front());
    return FailAt(page.Problem(), page.file, page.line);
  }
  if (contents_->reference) {
    axis_ = {contents_->reference->Axis(), {}};
    if (static_cast<double>(axis_.points) * static_cast<double>(series.size()) >
        layout.most_points())
      return Fail(kOverBudget);
  }
  if (contents_->unites_x && UniteX() != kGood) return status_;
  return SetSize(kFirstPointColumn - 1 + static_cast<std::uint64_t>(axis_.points),
                 series.size() + (x_row_ ? 2 : 1));
}

// Reads a page with `take`, which returns a status, and tells of what there is to tell.
template <typename Take>
int JCAMPFile::ReadPage(const JCAMPData& page, JCAMPInput& input, bool tells, Take take) {
  if (tells) contents_->current_file = page.file;
  JCAMPLines* lines = input.Open(page.file);
  if (lines == nullptr) return Fail(kNoFile);
  JCAMPPageReader reader(page, rules_, *lines);
  const int status = take(reader);
  if (status == kReadFailed || status == kOverBudget ||
      (status != kGood && rules_.bad_blocks_refuse_files))
    return FailAt(status, page.file, lines->line());
  contents_->line = lines->line();
  if (!tells) return kGood;
  contents_->doubts.Add(reader.doubts());
  if (status != kGood)
    Note("block \"" + std::string(contents_->layout.Text(page.title)) +
         "\" was not delivered from line " + std::to_string(lines->line()) +
         " on: " + contents_->MessageOf(status));
  if (reader.warning() != JCAMPWarning::kNone && !std::exchange(has_warned_, true)) {
    std::string warning = contents_->Compose(kWarnings[static_cast<std::size_t>(reader.warning())],
                                             reader.read(), page.points);
    // Only one can be shown.
    if (warning_.empty())
      warning_ = std::move(warning);
    else
      Note(warning);
  }
  return kGood;
}

int JCAMPFile::Read(ReadSpreadSheetData* sink) {
  if (GetNumCols() < 0 || status_ != kGood) return status_;
  warning_.clear();
  sink->SetDataSize(num_cols_, num_rows_);
  for (const auto& [place, count] : contents_->left_out) {
    const auto [file, problem] = place;
    const std::string whose =
        contents_->several_files
            ? " of " + FileName(contents_->files[static_cast<std::size_t>(file)])
            : "";
    const std::string reason =
        problem == kIllegalValue ? "A label has an illegal value." : contents_->MessageOf(problem);
    const auto said = [&](const char* what, const char* was) {
      std::string text = what;
      return text.append(whose).append(was).append(reason);
    };
    Log::WriteCount(source_, count, said("data block", " was not delivered: "),
                    said("data blocks", " were not delivered: "));
  }
  const bool names_before = contents_->unites_x || contents_->reference;
  if (names_before && InitXValues(sink) != kGood) return status_;
  Sheet sheet{*sink,
              BeginNames(*sink),
              {axis_.values, budget_, axis_.starts, static_cast<std::size_t>(axis_.points)}};
  sheet.row = x_row_ ? 2 : 1;
  sheet.named = names_before ? INT_MAX : 0;
  if (x_row_ && !names_before) sink->Set(kLabelColumn, 2, "X");
  JCAMPInput input(contents_->files, rules_);
  std::uint64_t further_pages = 0;
  contents_->doubts = {};
  for (std::size_t i = 0; i < contents_->series.size(); ++i) {
    // Rows that nobody wants may still name columns.
    if (sheet.named >= axis_.points && sink->GetNextIndex(sheet.row) < 0) break;
    const Contents::Series series = contents_->series[i];
    const JCAMPData page = contents_->Get(series);
    const bool in_order = !contents_->unites_x || contents_->in_order[i];
    contents_->current = page;
    if (series.page == 0 && series.further == 0) has_warned_ = false;
    if (const int problem = page.Problem()) return FailAt(problem, page.file, page.line);
    ++sheet.row;
    const auto read = [&](JCAMPPageReader& reader) {
      sink->Set(1, sheet.row, sheet.row - 1);
      sink->Set(kLabelColumn, sheet.row, contents_->RowLabel(page, series.further).c_str());
      if (series.further > 0) return ReadFurther(page, series.further, in_order, reader, sheet);
      return ReadBlock(page, in_order, reader, sheet);
    };
    if (ReadPage(page, input, /*tells=*/series.further == 0, read) != kGood) return status_;
    if (rules_.first_page_only) further_pages += static_cast<std::uint64_t>(page.pages) - 1;
  }
  budget_.Return(sheet.values.size() * sizeof(double) + sheet.values.size() / CHAR_BIT);
  Log::WriteCount(source_, input.long_lines(),
                  "line is longer than 255 characters, and the rest was not delivered",
                  "lines are longer than 255 characters, and the rest was not delivered");
  Log::WriteCount(source_, further_pages, "further data page was not delivered",
                  "further data pages were not delivered");
  TellDoubts();
  return kGood;
}

void JCAMPFile::TellDoubts() const {
  const auto tell = [&](const JCAMPDoubts::Some& some, const char* one, const char* several) {
    const std::string line =
        " (line " + std::to_string(some.line) + (some.count > 1 ? " on)" : ")");
    Log::WriteCount(source_, some.count, one + line, several + line);
  };
  const JCAMPDoubts& doubts = contents_->doubts;
  tell(doubts.failed_checks,
       "line does not begin with the ordinate that the line before ends with, and goes on from its "
       "own",
       "lines do not begin with the ordinate that the line before ends with, and go on from their "
       "own");
  tell(doubts.more, "point more than '##NPOINTS' says was delivered",
       "points more than '##NPOINTS' says were delivered");
  tell(doubts.fewer, "point that '##NPOINTS' announces is not there",
       "points that '##NPOINTS' announces are not there");
  tell(doubts.beyond,
       "point more than '##NPOINTS' and the x of the last line say was not delivered",
       "points more than '##NPOINTS' and the x of the last line say were not delivered");
}

PointNames JCAMPFile::BeginNames(ReadSpreadSheetData& sink) const {
  return {sink, "t ", columns_, 1, x_row_ ? 2 : 0, DigitsOfNames(0, axis_.points)};
}

int JCAMPFile::InitXValues(ReadSpreadSheetData* sink) {
  if (GetNumCols() < 0) return status_;
  PointNames names = BeginNames(*sink);
  if (x_row_) sink->Set(kLabelColumn, 2, "X");
  if (contents_->unites_x) NamePoints(names, 0, axis_.points);
  if (!contents_->reference) return kGood;
  JCAMPInput input(contents_->files, rules_);
  int named = 0;
  const ExactGrid exact(axis_);
  const auto name = [&](int n, double, bool missing) {
    names.Put(kFirstPointColumn - 1 + n, NamedX(axis_, exact, n, missing));
    named = n;
  };
  const auto read = [&](JCAMPPageReader& reader) { return reader.ReadXYData(name); };
  if (ReadPage(*contents_->reference, input, /*tells=*/false, read) != kGood) return status_;
  // Others have values where the reference stops early.
  for (int n = named + 1; n <= axis_.points; ++n) name(n, 0, false);
  return kGood;
}

// Sets the points of a page by ascending x.
int JCAMPFile::ReadInOrder(JCAMPPageReader& reader, Sheet& sheet) {
  const auto count = static_cast<std::size_t>(axis_.points);
  if (sheet.values.empty() && !budget_.Take(count * sizeof(double) + count / CHAR_BIT))
    return kOverBudget;
  sheet.values.resize(count);
  sheet.is_set.assign(count, false);
  const float missing_value = JCAMPPageReader::MissingValue(rules_);
  const int status = reader.ReadPoints([&](double x, double y, bool missing) {
    const std::size_t place = sheet.places.Of(contents_->OnGrid(x));
    if (place >= count) return;
    sheet.values[place] = missing ? static_cast<double>(missing_value) : y;
    sheet.is_set[place] = !missing || !std::isnan(missing_value);
  });
  const ValueSink values(sheet.sink);
  for (std::size_t i = 0; i < count; ++i)
    if (sheet.is_set[i])
      values.Set(kFirstPointColumn + static_cast<int>(i), sheet.row, sheet.values[i]);
  return status;
}

int JCAMPFile::ReadFurther(const JCAMPData& page, int number, bool in_order,
                           JCAMPPageReader& reader, Sheet& sheet) {
  if (!sheet.places.Begin(in_order)) return kOverBudget;
  const JCAMPFurther& further = contents_->Further(page, number);
  const ValueSink values(sheet.sink);
  const auto set = [&](std::size_t place, const std::string& text) {
    const int column = kFirstPointColumn + static_cast<int>(place);
    const auto value = further.is_text ? std::nullopt : reader.Number(text);
    if (!value)
      sheet.sink.Set(column, sheet.row, text.c_str());
    else if (!std::isnan(*value))
      values.Set(column, sheet.row, *value * further.factor);
  };
  // Of a page whose x don't rise they wait for their turn.
  std::vector<std::pair<std::size_t, std::string>> waiting;
  std::uint64_t room = 0;
  const int status = reader.ReadPeakTable([&](double x, double, bool) {
    const std::string_view text = reader.further()[static_cast<std::size_t>(number) - 1];
    const std::size_t place = sheet.places.Of(contents_->OnGrid(x));
    if (text.empty() || place >= static_cast<std::size_t>(axis_.points)) return;
    if (in_order) return set(place, std::string(text));
    const std::uint64_t more = 2 * sizeof waiting[0] + text.size();
    if (!budget_.Take(more)) return;
    room += more;
    waiting.emplace_back(place, text);
  });
  std::ranges::sort(waiting);
  for (const auto& [place, text] : waiting) set(place, text);
  budget_.Return(room);
  return budget_.overdrawn() ? int{kOverBudget} : status;
}

// Value: what the sink takes.
template <typename Value>
int JCAMPFile::ReadBlockAs(const JCAMPData& page, bool in_order, JCAMPPageReader& reader,
                           Sheet& sheet) {
  const Value missing_value = JCAMPPageReader::MissingValue(rules_);
  const auto cells = [&sink = sheet.sink, row = sheet.row, missing_value](int n, double y,
                                                                          bool missing) {
    if (missing && std::isnan(missing_value)) return;
    const Value value = missing ? missing_value : static_cast<Value>(y);
    if constexpr (std::is_same_v<Value, double>)
      sink.SetExact(kFirstPointColumn - 1 + n, row, value);
    else
      sink.Set(kFirstPointColumn - 1 + n, row, value);
  };
  if (contents_->unites_x) {
    if (!sheet.places.Begin(in_order)) return kOverBudget;
    if (!in_order) return ReadInOrder(reader, sheet);
    return reader.ReadPoints([&](double x, double y, bool missing) {
      const std::size_t place = sheet.places.Of(contents_->OnGrid(x));
      if (place < static_cast<std::size_t>(axis_.points))
        cells(static_cast<int>(place) + 1, y, missing);
    });
  }
  const SpectrumGrid axis = page.Axis();
  if (page.points > sheet.named) {
    PointNames names = sheet.names;
    int named = sheet.named;
    const ExactGrid exact(axis);
    const int status = reader.ReadXYData([&](int n, double y, bool missing) {
      cells(n, y, missing);
      if (n <= named) return;
      named = n;
      names.Put(kFirstPointColumn - 1 + n, NamedX(axis, exact, n, missing));
    });
    sheet.named = named;
    return status;
  }
  const auto& reference = contents_->reference;
  if (!reference || (page.SameX(*reference) && page.points == reference->points))
    return reader.ReadXYData(cells);
  Interpolator<decltype(cells)> interpolate{cells, axis, reference->Axis()};
  return reader.ReadXYData([&](int n, double y, bool missing) { interpolate(n, y, missing); });
}

int JCAMPFile::ReadBlock(const JCAMPData& page, bool in_order, JCAMPPageReader& reader,
                         Sheet& sheet) {
  return sheet.sink.TakesExact() ? ReadBlockAs<double>(page, in_order, reader, sheet)
                                 : ReadBlockAs<float>(page, in_order, reader, sheet);
}

int JCAMPFile::DescribeFiles(Description& description) {
  SpectraStatements statements(description, kJcampKeys, budget_);
  const auto& series = contents_->series;
  std::vector<JCAMPRow> rows;
  if (!statements.budget().TakeIfSpare(series.size() * sizeof(JCAMPRow), 0)) {
    statements.Drop();
    return kGood;
  }
  rows.reserve(series.size());
  int row = x_row_ ? 2 : 1;
  for (const Contents::Series& one : series) {
    ++row;
    if (one.further == 0) rows.push_back({one.block, one.page, row});
  }
  DescribeJCAMP(contents_->files, rules_, contents_->layout, std::move(rows), statements);
  return kGood;
}

JCAMPFileFactory::JCAMPFileFactory(const JCAMPRules& rules)
    : RuledFactory({.name = "JCAMP-DX File",
                    .read_filter = "JCAMP-DX Files (*.jcm; *.dx; *.jdx)",
                    .extensions = {".jcm", ".dx", ".jdx"},
                    .several_at_once = true,
                    .options = {{"blocks", "N,N...", /*is_asked=*/true},
                                {"reference", "N"},
                                {"xrow", "0|1"},
                                {"columns", "FIRST,LAST"}}},
                   rules) {}

}  // namespace nvimport
