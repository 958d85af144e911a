#include "nvimport/formats/spectra/JCAMPFile.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "nvimport/formats/spectra/JCAMPBlocks.h"
#include "nvimport/formats/spectra/JCAMPDate.h"
#include "nvimport/formats/spectra/JCAMPLines.h"
#include "nvimport/formats/spectra/JCAMPStatus.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NvApp.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

// %f: the file, among several; %l: the file and the line; %n: the line alone; %s: the application.
constexpr StatusText kTexts[] = {
    {kInvalidOptions, kInvalidOptionsText},
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
static_assert(WellFormed(std::span(kTexts).subspan(1), 1536, 1567));

constexpr const char* kNotJCAMPAmongSeveral =
    "One of the files does not appear to be a valid JCAMP-DX file.";
constexpr const char* kXDiffers =
    "FirstX and lastX is not the same in all data blocks. Data must be interpolated. Select data "
    "series to use for interpolation.";
constexpr const char* kPointsDiffer =
    "There is not the same number of data points in all data series. Data must be interpolated. "
    "Select data series to use for interpolation.";

constexpr const char* kSource = "JCAMPFile";

// A list of more blocks is made only when they have some bytes each: it would outgrow the file.
constexpr std::size_t kMostOffered = 65536;
constexpr double kLeastOffered = 64;

}  // namespace

JCAMPFile::JCAMPFile(JCAMPRules rules) : rules_(rules), blocks_(JCAMPBlocks(rules)) {}

JCAMPFile::JCAMPFile(const JCAMPFile& other) = default;

JCAMPFile& JCAMPFile::operator=(const JCAMPFile& other) = default;

JCAMPFile::~JCAMPFile() = default;

NvImportOpenOptions* JCAMPFile::GetImportOptions(const JCAMPImportOptions& options) {
  OptionPairs pairs;
  if (!options.blocks.empty()) pairs.Set("blocks", OptionPairs::Join(options.blocks));
  if (options.reference > 0) pairs.Set("reference", std::to_string(options.reference));
  pairs.Set("xrow", options.x_row ? "1" : "0");
  pairs.Set("columns", OptionPairs::Join(options.columns));
  return SpreadsheetOpenOptions::NewOpenOptions(pairs.Bytes());
}

int JCAMPFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (status_ != kGood) return status_;
  if (!read) return Fail(kWrongMode);
  Close();
  files_ = FileSelection::Split(path != nullptr ? path : "");
  several_files_ = files_.size() > 1;
  for (const std::string& file : files_) {
    JCAMPLines lines(file.c_str(), LongestLine());
    if (!lines.is_open()) return Fail(kNoFile);
    if (const int status = blocks_->CheckFile(lines))
      return FailAt(status, static_cast<int>(&file - files_.data()), lines.line());
  }
  for (std::size_t i = 0; i < blocks_->size(); ++i)
    if (blocks_->IsOffered(i)) offered_.push_back(i);
  // What only some rules find stands behind what all find, whose numbers are the same.
  for (std::size_t i = 0; i < blocks_->size(); ++i)
    if (blocks_->IsOfferedBesides(i)) offered_.push_back(i);
  if (!rules_.npoints_is_right && CountPoints() != kGood) return status_;
  CheckPages();
  return SetOptions(options);
}

void JCAMPFile::Close() {
  files_.clear();
  blocks_->Clear();
  offered_.clear();
  several_files_ = false;
  current_block_ = kNone;
  current_file_ = -1;
  reference_ = kNone;
  unites_x_ = false;
  union_x_.clear();
  warning_.clear();
  choices_.clear();
  SpreadsheetFile::Close();
}

int JCAMPFile::FailAt(int status, int file, std::uint64_t line) {
  current_file_ = file;
  line_ = line;
  return Fail(status);
}

int JCAMPFile::SetOptions(NvImportOpenOptions* options) {
  const auto given = OptionPairs::Parse(options);
  if (!given) return RefuseOptions(kSource, "bytes", "the whole of them");
  OptionPairs choices;
  if (SetLayout(*given) != kGood || ChooseBlocks(*given, choices) != kGood ||
      ChooseReference(*given, choices) != kGood)
    return status_;
  if (TakesChoices(options) && (choices.Find("blocks") || choices.Find("reference"))) {
    choices_ = choices.Bytes();
    *options = {static_cast<int>(choices_.size()), choices_.data()};
  }
  return kGood;
}

int JCAMPFile::SetLayout(const OptionPairs& given) {
  const auto x_row = given.Find("xrow").value_or("0");
  if (x_row != "0" && x_row != "1") return RefuseOptions(kSource, "xrow", x_row);
  x_row_ = x_row == "1";

  const auto columns = given.FindRange("columns");
  if (!columns) return RefuseOptions(kSource, "columns", *given.Find("columns"));
  columns_ = *columns;
  return kGood;
}

int JCAMPFile::ChooseBlocks(const OptionPairs& given, OptionPairs& choices) {
  const std::size_t count = offered_.size();
  std::vector<std::size_t> positions;
  if (const auto text = given.Find("blocks")) {
    for (const int number : OptionPairs::Numbers(*text).value_or(std::vector{0})) {
      if (number < 1 || static_cast<std::size_t>(number) > count)
        return RefuseOptions(kSource, "blocks", *text);
      positions.push_back(static_cast<std::size_t>(number) - 1);
    }
  } else if (count == 1) {
    positions = {0};
  } else if (count > kMostOffered &&
             blocks_->bytes() / static_cast<double>(count) < kLeastOffered) {
    Log::WriteNote(kSource, std::to_string(count) +
                                " blocks with next to nothing in them are too many to choose from; "
                                "the option blocks takes their numbers");
    return Fail(kCancelled);
  } else if (count > 1) {
    ItemsQuestion question = Question(offered_);
    question.kind = ItemsQuestion::Kind::kBlocks;
    question.prompt = "Please select the data blocks you want to import.";
    auto choice = Dialogs::Current().SelectItems(question);
    if (!choice) return Fail(kCancelled);
    positions = std::move(choice->items);
    std::erase_if(positions, [&](std::size_t position) { return position >= count; });
    std::ranges::sort(positions);
    if (positions.empty()) return Fail(kNoneSelected);
    std::vector<int> numbers;
    numbers.reserve(positions.size());
    for (const std::size_t position : positions) numbers.push_back(static_cast<int>(position) + 1);
    choices.Set("blocks", OptionPairs::Join(numbers));
  }
  Select(positions);
  return kGood;
}

void JCAMPFile::Select(const std::vector<std::size_t>& positions) {
  for (std::size_t i = 0; i < blocks_->size(); ++i) blocks_->Select(i, false);
  for (const std::size_t position : positions) blocks_->Select(offered_[position], true);
  const std::vector<std::size_t> selected = Selected();
  current_block_ = selected.empty() ? kNone : selected.front();
  union_x_.clear();
  size_established_ = false;
}

int JCAMPFile::SelectJCAMPBlock(int position) { return SelectJCAMPBlock(std::vector{position}); }

int JCAMPFile::SelectJCAMPBlock(const std::vector<int>& positions) {
  if (status_ != kGood) return status_;
  std::vector<std::size_t> known;
  for (const int position : positions)
    if (position >= 0 && position < GetNumJCAMPBlocks())
      known.push_back(static_cast<std::size_t>(position));
  if (known.empty()) return Fail(kNoneSelected);
  Select(known);
  OptionPairs choices;
  return ChooseReference({}, choices);
}

int JCAMPFile::CheckMultiSelection(const char*& prompt) {
  prompt = nullptr;
  unites_x_ = false;
  std::optional<JCAMPData> first;
  for (const Series series : SelectedSeries()) {
    const JCAMPData block = Get(series);
    if (several_files_ && rules_.only_xydata_of_several && block.data_class != JCAMPClass::kXYData)
      return kOnlyXYData;
    // Reading refuses the others.
    if (Problem(block) != kGood) continue;
    unites_x_ |= block.data_class == JCAMPClass::kPeakTable;
    if (!first) first = block;
    if (!SameX(*first, block))
      prompt = kXDiffers;
    else if (first->points != block.points && prompt == nullptr)
      prompt = kPointsDiffer;
  }
  if (unites_x_) prompt = nullptr;
  return kGood;
}

int JCAMPFile::ChooseReference(const OptionPairs& given, OptionPairs& choices) {
  reference_ = kNone;
  const char* prompt = nullptr;
  if (const int status = CheckMultiSelection(prompt)) return Fail(status);
  std::size_t chosen = kNone;  // in the array
  if (const auto text = given.Find("reference")) {
    const auto number = OptionPairs::Numbers(*text);
    if (!number || number->size() != 1 || number->front() < 1)
      return RefuseOptions(kSource, "reference", *text);
    if (prompt == nullptr) return kGood;
    const auto position = static_cast<std::size_t>(number->front()) - 1;
    if (position < offered_.size()) chosen = offered_[position];
  } else if (prompt != nullptr) {
    std::vector<std::size_t> selected;
    for (const Series series : SelectedSeries())
      if (selected.empty() || selected.back() != series.block) selected.push_back(series.block);
    ItemsQuestion question = Question(selected);
    question.kind = ItemsQuestion::Kind::kReference;
    question.prompt = prompt;
    question.only_one = true;
    const auto choice = Dialogs::Current().SelectItems(question);
    if (!choice) return Fail(kReferenceCancelled);
    if (choice->items.size() == 1 && choice->items.front() < selected.size())
      chosen = selected[choice->items.front()];
  } else {
    return kGood;
  }
  if (chosen == kNone || !blocks_->IsSelected(chosen) || Problem(FirstGood(chosen)) != kGood)
    return Fail(kIllegalSeries);
  reference_ = chosen;
  reference_data_ = FirstGood(chosen);
  const auto position = std::ranges::find(offered_, chosen) - offered_.begin();
  choices.Set("reference", std::to_string(position + 1));
  return kGood;
}

std::vector<std::size_t> JCAMPFile::Selected() const {
  std::vector<std::size_t> selected;
  for (const std::size_t i : offered_)
    if (blocks_->IsSelected(i)) selected.push_back(i);
  return selected;
}

std::vector<JCAMPFile::Series> JCAMPFile::SelectedSeries(LeftOut* left_out) const {
  std::vector<Series> selected;
  for (const std::size_t block : Selected())
    for (std::size_t page = 0; page < blocks_->Pages(block); ++page) {
      const Series series{static_cast<std::uint32_t>(block), static_cast<std::uint32_t>(page)};
      const int problem = LeavesOutBadBlocks() ? Problem(Get(series)) : kGood;
      if (problem == kGood)
        selected.push_back(series);
      else if (left_out != nullptr)
        ++(*left_out)[problem];
    }
  return selected;
}

int JCAMPFile::GetNumJCAMPBlocks() const { return static_cast<int>(offered_.size()); }

std::vector<std::string> JCAMPFile::GetJCAMPBlockList() const { return Question(offered_).items; }

ItemsQuestion JCAMPFile::Question(const std::vector<std::size_t>& blocks) const {
  ItemsQuestion question;
  question.title = "Select JCAMP Data Blocks";
  question.heading = several_files_ ? "File, datatype, size of dataset, title."
                                    : "Data type, size of dataset, title.";
  for (const std::size_t block : blocks) question.items.push_back(Entry(Block(block)));
  return question;
}

std::string JCAMPFile::FilePrefix(const JCAMPData& block) const {
  if (!several_files_) return {};
  return FileName(files_[static_cast<std::size_t>(block.file)]) + ", ";
}

std::string JCAMPFile::Entry(const JCAMPData& block) const {
  return FilePrefix(block) + blocks_->Text(block.data_type) + ", 1x" +
         std::to_string(block.points) + " obs, " + blocks_->Text(block.title);
}

void JCAMPFile::GetTitle(char* title) const {
  const std::string_view text =
      current_block_ != kNone ? blocks_->Text(Block(current_block_).title) : "";
  constexpr std::size_t kMost = 255;
  title[text.copy(title, kMost)] = '\0';
}

const char* JCAMPFile::GetDateCreated(COleDateTime& date) const {
  if (current_block_ == kNone) return "";
  const char* text = blocks_->Text(Block(current_block_).date);
  const auto parsed = ParseJCAMPDate(text);
  if (!parsed) return "";
  date = *parsed;
  return text;
}

std::string JCAMPFile::Compose(std::string_view text) const {
  const bool names_file = several_files_ && current_file_ >= 0;
  const std::string file =
      names_file
          ? "Error in file '" + FileName(files_[static_cast<std::size_t>(current_file_)]) + "'"
          : "";
  std::string composed;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      composed += text[i];
      continue;
    }
    switch (text[++i]) {
      case 'f':
        composed += file + (names_file ? ": " : "");
        break;
      case 'l':
        if (names_file) composed += file + ", line " + std::to_string(line_) + ": ";
        break;
      case 'n':
        composed += std::to_string(line_);
        break;
      default:
        composed += NvApp::GetName();
    }
  }
  return composed;
}

std::string JCAMPFile::MessageOf(int status) const {
  const auto* known = std::ranges::find(kTexts, status, &StatusText::status);
  if (known == std::end(kTexts)) return {};
  const bool among_several = several_files_ && status == kNotJCAMP;
  return Compose(among_several ? kNotJCAMPAmongSeveral : known->text);
}

void JCAMPFile::GetErrorMessage(char* buffer, unsigned int size) {
  const std::string text = MessageOf(status_);
  if (text.empty()) return SpreadsheetFile::GetErrorMessage(buffer, size);
  const StatusText composed[] = {{status_, text.c_str()}};
  CopyText(composed, buffer, size);
  if (status_ == kOnlyXYData || status_ == kReferenceCancelled) several_files_ = false;
}

const char* JCAMPFile::GetWarningMessage() {
  return status_ == kGood && JCAMPWarning() ? warning_.c_str() : nullptr;
}

void JCAMPFile::Warn(std::string_view text) {
  if (only_sizes_ || std::exchange(has_warned_, true)) return;
  std::string warning = Compose(text);
  // Only one can be shown.
  if (warning_.empty())
    warning_ = std::move(warning);
  else
    Log::WriteNote(kSource, warning);
}

JCAMPFileFactory::JCAMPFileFactory(JCAMPRules rules)
    : SprFileFactory("JCAMP-DX File", "JCAMP-DX Files (*.jcm; *.dx; *.jdx)", nullptr, 3,
                     ".jcm\0.dx\0.jdx", /*can_write=*/false, /*can_read=*/true,
                     /*several_at_once=*/true, true, false),
      rules_(rules) {}

int JCAMPFileFactory::IsCorrectFileType(const char*) { return kNoOpinion; }

SpreadsheetFile* JCAMPFileFactory::Create() {
  return std::make_unique<JCAMPFile>(rules_).release();
}

}  // namespace nvimport
