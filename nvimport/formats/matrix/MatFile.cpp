#include "nvimport/formats/matrix/MatFile.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "nvimport/formats/DescriptionKeys.h"
#include "nvimport/formats/matrix/MatReader.h"
#include "nvimport/formats/matrix/MatSheet.h"
#include "nvimport/formats/matrix/MatWriter.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/OutputFile.h"

namespace nvimport {

namespace {

using Outcome = MatContents::Outcome;

enum Status : int {
  kCannotOpen = 4352,
  kNotMat,
  kLevel73,
  kForeignNumbers,
  kNoMatrix,
  kDamaged,
  kDamagedMatrix,
  kDamagedLines,
  kNoInflater,
  kPointer,
  kResourceFork,
  kText,
  kCannotRead,
  kTooLarge,
  kCannotPack
};
constexpr StatusText kTexts[] = {
    {kInvalidOptions, kInvalidOptionsText},
    {kCannotOpen, "Unable to open MATLAB file."},
    {kNotMat, "This file does not appear to be a valid MATLAB file."},
    {kLevel73,
     "This is a MATLAB 7.3 file, which is HDF5. The package nvimport-hdf5 brings its reader; saved "
     "with -v7 in MATLAB it can be read without."},
    {kForeignNumbers,
     "This MATLAB 4 file was saved on a VAX or a Cray, whose numbers cannot be read."},
    {kNoMatrix, "The MATLAB file does not contain any matrix, text or cells that can be read."},
    {kDamaged, "The MATLAB file is damaged. It cannot be read."},
    {kDamagedMatrix, "The MATLAB file is damaged within the values of a matrix."},
    {kDamagedLines,
     "The MATLAB file is damaged, perhaps by a transfer as text, which changes line ends."},
    {kNoInflater, "This library was built without zlib and cannot read compressed MATLAB files."},
    {kPointer,
     "This file only stands for a MATLAB file that is kept elsewhere (Git LFS); fetch that."},
    {kResourceFork,
     "This file holds what a Macintosh keeps beside a MATLAB file, not the file itself."},
    {kText, "This is a text file under the name of a MATLAB file; read it as text."},
    {kCannotRead, "The MATLAB file could not be read."},
    {kTooLarge,
     "The sheet is too large for a MATLAB file of level 5, which holds 2 GiB of a variable."},
    {kCannotPack, "There is no room for the temporary file that packing the matrix takes."},
};
static_assert(WellFormed(kTexts, kInvalidOptions, 4367));

constexpr const char* kSource = "MatFile";
constexpr std::array<std::string_view, 2> kMergeWords = {"side", "below"};
constexpr std::array<std::string_view, 2> kYesAndNo = {"1", "0"};

// What the header says behind a label, up to a comma.
std::string_view Stated(std::string_view text, std::string_view label) {
  const auto is_same = [](char a, char b) { return (a | ' ') == (b | ' '); };
  const auto* const found =
      std::search(text.begin(), text.end(), label.begin(), label.end(), is_same);
  if (found == text.end()) return {};
  text.remove_prefix(static_cast<std::size_t>(found - text.begin()) + label.size());
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return text.substr(0, text.find(','));
}

// "a, b and 3 more".
std::string Listed(const std::vector<std::string>& names) {
  constexpr std::size_t kMost = 10;
  std::string text;
  for (std::size_t i = 0; i < std::min(names.size(), kMost); ++i)
    text += (i > 0 ? ", " : "") + names[i];
  if (names.size() > kMost) text += " and " + std::to_string(names.size() - kMost) + " more";
  return text;
}

}  // namespace

struct MatFile::State {
  explicit State(const char* path) : bytes(path), budget(bytes.file_size()) {}
  // By the size of the file, whatever its source shows.
  State(const char* path, std::unique_ptr<ByteSource> source)
      : bytes(std::move(source)), budget(InputFile(path).size()) {}

  MatBytes bytes;
  Budget budget;
  MatContents contents;
  std::vector<MatOffer> offers;
  MatChoice choice;
  MatSheet sheet;
};

struct MatFile::Output {
  OutputFile file;
  bool packs = true;
  MatWriter::Statements description;
};

MatFile::MatFile() = default;

MatFile::~MatFile() = default;

NvImportOpenOptions* MatFile::GetImportOptions(const std::vector<std::string>& variables,
                                               bool below, bool with_names) {
  return OptionPairs{{"variables", OptionPairs::JoinNames(variables)},
                     {"merge", std::string(kMergeWords[below ? 1 : 0])},
                     {"names", std::string(kYesAndNo[with_names ? 0 : 1])}}
      .NewRecord();
}

NvImportOpenOptions* MatFile::GetExportOptions(
    bool packed, const std::vector<std::pair<std::string, std::string>>& description) {
  OptionPairs pairs{{"compress", std::string(kYesAndNo[packed ? 0 : 1])}};
  std::vector<std::string> texts;
  for (const auto& [label, value] : description) {
    texts.push_back(label);
    texts.push_back(value);
  }
  if (!texts.empty()) pairs.Set("description", OptionPairs::JoinNames(texts));
  return pairs.NewRecord();
}

std::vector<FormatOption> MatFile::Options() {
  return {{"variables", "NAME,NAME...", /*is_asked=*/true},
          {"merge", "side|below", /*is_asked=*/true},
          {"names", "1|0"}};
}

int MatFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (status_ != kGood) return status_;
  Close();
  if (path == nullptr) path = "";
  if (!read) return OpenToWrite(path, options);
  int status = kGood;
  auto source = OpenSource(path, status);
  if (status != kGood) return Fail(status);
  state_ =
      source ? std::make_unique<State>(path, std::move(source)) : std::make_unique<State>(path);
  if (OpenToRead(options) != kGood) state_.reset();
  return status_;
}

std::unique_ptr<ByteSource> MatFile::OpenSource(const char*, int&) const { return nullptr; }

void MatFile::Close() {
  state_.reset();
  output_.reset();
  left_out_.clear();
  choices_.clear();
  SpreadsheetFile::Close();
}

int MatFile::OpenToRead(NvImportOpenOptions* options) {
  State& state = *state_;
  if (!state.bytes.is_open()) return Fail(kCannotOpen);
  state.contents = ListMat(state.bytes, state.budget);
  if (const int status = StatusOfContents(); status != kGood) return Fail(status);
  state.offers = OffersOf(state.contents);
  if (state.offers.empty()) {
    for (const std::string& line : LeftOut()) left_out_ += (left_out_.empty() ? "" : "; ") + line;
    return Fail(StatusOfNone());
  }
  return Choose(options);
}

int MatFile::OpenToWrite(const char* path, const NvImportOpenOptions* options) {
  GivenOptions given(kSource, options);
  bool is_plain = false;
  std::vector<std::string> texts;
  if (!given.TakeWord("compress", kYesAndNo, is_plain) || !given.TakeNames("description", texts))
    return Fail(kInvalidOptions);
  if (texts.size() % 2 != 0) {
    given.Refuse("description", "a label without its value");
    return Fail(kInvalidOptions);
  }
  output_ = std::make_unique<Output>();
  output_->packs = !is_plain;
  for (std::size_t i = 0; i < texts.size(); i += 2)
    output_->description.emplace_back(std::move(texts[i]), std::move(texts[i + 1]));
  output_->file = OutputFile(path);
  return output_->file.is_open() ? kGood : Fail(kCannotOpen);
}

int MatFile::Write(WriteSpreadSheetData* source) {
  if (status_ != kGood) return status_;
  if (!output_) return Fail(kWrongMode);
  MatWriter writer(output_->file, output_->packs);
  switch (writer.Write(*source, output_->description)) {
    case MatWriter::Outcome::kGood:
      return kGood;
    case MatWriter::Outcome::kTooLarge:
      return Fail(kTooLarge);
    case MatWriter::Outcome::kCannotPack:
      break;
  }
  return Fail(kCannotPack);
}

int MatFile::StatusOfContents() const {
  switch (state_->contents.outcome) {
    case Outcome::kGood:
      return kGood;
    case Outcome::kLevel73:
      return kLevel73;
    case Outcome::kForeignNumbers:
      return kForeignNumbers;
    case Outcome::kNoInflater:
      return kNoInflater;
    case Outcome::kCannotRead:
      return kCannotRead;
    case Outcome::kOverBudget:
      return kOverBudget;
    case Outcome::kNotMat:
      break;
  }
  MatBytes& bytes = state_->bytes;
  bytes.Begin(0);
  const auto ahead = bytes.Ahead(std::min<std::uint64_t>(bytes.file_size(), 4096));
  const std::string_view head(ahead.data(), ahead.size());
  if (head.starts_with("version https://git-lfs")) return kPointer;
  if (head.starts_with(std::string_view("\0\5\26\7", 4))) return kResourceFork;
  const bool is_text = !head.empty() && std::ranges::all_of(head, [](unsigned char c) {
    return c >= ' ' || (c >= '\t' && c <= '\r');
  });
  return is_text ? kText : kNotMat;
}

// A transfer as text puts a CR before each LF, or takes them off: then no length fits.
int MatFile::StatusOfNone() const {
  const auto is_damaged = [](const MatLeft& left) { return left.why == MatLeft::Why::kDamaged; };
  if (std::ranges::none_of(state_->contents.left, is_damaged)) return kNoMatrix;
  MatBytes& bytes = state_->bytes;
  bytes.Begin(0);
  const auto ahead = bytes.Ahead(std::min<std::uint64_t>(bytes.file_size(), MatBytes::kMostAhead));
  const std::string_view all(ahead.data(), ahead.size());
  std::size_t lines = 0;
  for (std::size_t at = 0; (at = all.find('\n', at)) != std::string_view::npos; ++at, ++lines)
    if (at == 0 || all[at - 1] != '\r') return kDamaged;
  return lines > 0 ? kDamagedLines : kDamaged;
}

int MatFile::Choose(NvImportOpenOptions* options) {
  State& state = *state_;
  GivenOptions given(kSource, options);
  bool without_names = false;
  std::vector<std::string> names;
  if (!given.TakeWord("merge", kMergeWords, state.choice.are_below) ||
      !given.TakeWord("names", kYesAndNo, without_names) || !given.TakeNames("variables", names))
    return Fail(kInvalidOptions);
  state.choice.has_names = !without_names;
  for (const std::string& name : names) {
    const auto found = std::ranges::find(state.offers, name, &MatOffer::name);
    if (found == state.offers.end()) {
      given.Refuse("variables", name);
      return Fail(kInvalidOptions);
    }
    state.choice.offers.push_back(static_cast<std::size_t>(found - state.offers.begin()));
  }
  if (names.empty() && state.offers.size() == 1) state.choice.offers = {0};
  if (state.choice.offers.empty() && !Ask()) return Fail(kCancelled);
  OptionPairs choices;
  names.clear();
  for (const std::size_t offer : state.choice.offers) names.push_back(state.offers[offer].name);
  choices.Set("variables", OptionPairs::JoinNames(names));
  if (names.size() > 1)
    choices.Set("merge", std::string(kMergeWords[state.choice.are_below ? 1 : 0]));
  GiveChoices(choices.Bytes(), choices_, options);
  state.sheet = MatSheet(state.contents, state.offers, state.choice);
  return kGood;
}

bool MatFile::Ask() {
  State& state = *state_;
  ItemsQuestion question;
  question.kind = ItemsQuestion::Kind::kMatrices;
  question.title = "Select Matrix";
  question.prompt =
      "A MATLAB file consists of multiple matrices. Please select the matrix or matrices you want "
      "to import.";
  question.heading = "Matrix";
  question.merge_choices = {"Merge side by side", "Merge above and below"};
  question.merge = state.choice.are_below ? 1 : 0;
  question.usual = {UsualOffer(state.offers, state.contents)};
  for (const MatOffer& offer : state.offers) {
    question.items.push_back(offer.name);
    question.details.push_back(offer.detail);
  }
  const auto answer = Dialogs::Current().SelectItems(question);
  if (!answer || answer->items.empty()) return false;
  for (const std::size_t item : answer->items)
    if (item >= state.offers.size()) return false;
  state.choice.offers = answer->items;
  state.choice.are_below = answer->merge == 1;
  return true;
}

int MatFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (!state_) return Fail(kWrongMode);
  return SetSize(state_->sheet.columns(), state_->sheet.rows());
}

int MatFile::Read(ReadSpreadSheetData* sink) {
  if (GetNumCols() < 0) return status_;
  State& state = *state_;
  sink->SetDataSize(num_cols_, num_rows_);
  // Values come column by column: how many rows are wanted is to be known before.
  int last_row = 0;
  for (int next = 0; last_row < num_rows_; last_row = std::max(next, last_row + 1))
    if ((next = sink->GetNextIndex(last_row)) < 0) break;
  if (last_row > 0)
    for (const MatSheet::Label& label : state.sheet.labels())
      sink->Set(static_cast<int>(label.column), 1, label.text.c_str());
  Budget budget = state.budget;
  MatReader reader(state.bytes, state.contents, budget, *sink, last_row);
  const MatReader::Outcome outcome = reader.Read(state.sheet.Parts());
  for (const std::string& line : LeftOut()) Log::WriteNote(kSource, line);
  Log::WriteCount(kSource, reader.inexact(),
                  "whole number is beyond 64 bits with a sign and lost digits",
                  "whole numbers are beyond 64 bits with a sign and lost digits");
  Log::WriteCount(kSource, reader.cut(), "text holds a NUL byte and ends there",
                  "texts hold NUL bytes and end there");
  switch (outcome) {
    case MatReader::Outcome::kGood:
      return kGood;
    case MatReader::Outcome::kCannotRead:
      return Fail(kCannotRead);
    case MatReader::Outcome::kOverBudget:
      return Fail(kOverBudget);
    case MatReader::Outcome::kDamaged:
      break;
  }
  return Fail(kDamagedMatrix);
}

// What can't be offered, a line a kind.
std::vector<std::string> MatFile::LeftOut() const {
  constexpr std::pair<MatLeft::Why, const char*> kKinds[] = {
      {MatLeft::Why::kUnsupported, "of a class that cannot be read: "},
      {MatLeft::Why::kDamaged, "damaged and left out: "},
      {MatLeft::Why::kTooLarge, "too large for a file of its size and left out: "}};
  std::vector<std::string> lines;
  for (const auto& [why, words] : kKinds) {
    std::vector<std::string> names;
    for (const MatLeft& left : state_->contents.left)
      if (left.why == why)
        names.push_back(left.name + (left.words.empty() ? "" : " (" + left.words + ")"));
    if (!names.empty()) lines.push_back(words + Listed(names));
  }
  return lines;
}

int MatFile::DescribeAll(Description& description) {
  if (status_ != kGood) return status_;
  if (!state_) return Fail(kWrongMode);
  const MatContents& contents = state_->contents;
  Stating stating(description, kMatlabKeys);
  Budget budget = state_->budget;
  stating.State("level",
                contents.text.starts_with("MATLAB 7.3") ? "7.3" : std::to_string(contents.level));
  stating.StateIfAny("header", contents.text);
  stating.StateIfAny("Platform", Stated(contents.text, "platform:"));
  stating.StateIfAny("Created on", Stated(contents.text, "created on:"));
  for (const std::string& variable : contents.told)
    if (!stating.StateWithin(budget, "variable", variable)) break;
  for (const MatLeft& left : contents.left) {
    const std::string text = left.name + (left.words.empty() ? "" : " " + left.words);
    if (!stating.StateWithin(budget, "left out", text)) break;
  }
  return kGood;
}

void MatFile::GetErrorMessage(char* buffer, unsigned int size) {
  const auto* const entry = std::ranges::find(kTexts, status_, &StatusText::status);
  if (entry == std::end(kTexts)) return SpreadsheetFile::GetErrorMessage(buffer, size);
  const std::string text = entry->text + (left_out_.empty() ? "" : " (" + left_out_ + ")");
  const StatusText filled{status_, text.c_str()};
  CopyText({&filled, 1}, buffer, size);
}

MatFileFactory::MatFileFactory()
    : SprFileFactory({.name = "Matlab File",
                      .read_filter = "Matlab Files (*.mat)",
                      .write_filter = "Matlab Files (*.mat)",
                      .extensions = {".mat"},
                      .can_write = true,
                      .flag4 = false,
                      .options = MatFile::Options()}) {}

int MatFileFactory::IsCorrectFileType(const char*) { return kNoOpinion; }

SpreadsheetFile* MatFileFactory::Create() { return std::make_unique<MatFile>().release(); }

}  // namespace nvimport
