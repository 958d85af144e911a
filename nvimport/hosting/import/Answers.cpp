#include "nvimport/hosting/import/Answers.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/import/DelimiterGuess.h"
#include "nvimport/hosting/import/Delimiters.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/hosting/import/ItemList.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/Progress.h"

namespace nvimport {

namespace {

using Source = AnsweredQuestion::Source;

const char* NameOf(ItemsQuestion::Kind kind) {
  static constexpr const char* kNames[] = {"worksheets", "blocks",    "files", "reference series",
                                           "matrices",   "variables", "tables"};
  return kNames[static_cast<std::size_t>(kind)];
}

std::string Shown(const std::string& text) { return EscapeControls(ToUtf8(text)); }

// "1 Alpha; 2 Beta".
std::string NumberedLine(const std::vector<std::string>& entries) {
  std::string line;
  for (std::size_t i = 0; i < entries.size(); ++i)
    line += (line.empty() ? "" : "; ") + std::to_string(i + 1) + " " + entries[i];
  return line;
}

std::string ShortNumber(double value) {
  FloatText buffer;
  return std::string(FormatFloat(static_cast<float>(value), buffer));
}

}  // namespace

std::vector<std::string> EntriesOf(const ItemsQuestion& question) {
  std::vector<std::string> entries;
  for (std::size_t i = 0; i < question.items.size(); ++i) {
    entries.push_back(Shown(question.items[i]));
    if (i < question.details.size()) entries.back() += " (" + Shown(question.details[i]) + ")";
  }
  return entries;
}

std::string DescribeRange(const RangeQuestion& question) {
  return std::to_string(question.points) + " points, x from " + ShortNumber(question.first_x) +
         " to " + ShortNumber(question.last_x) + ", spacing " + ShortNumber(question.spacing);
}

AnsweredQuestion DelimiterAnswer(const TextImportChoice& choice, Source source) {
  AnsweredQuestion answered{"delimiter", source, ShownDelimiter(choice), WrittenDelimiter(choice)};
  answered.ignore_consecutive =
      choice.ignore_consecutive && !ParseDelimiter(answered.value).ignore_consecutive;
  return answered;
}

AnsweringDialogs::AnsweringDialogs(GivenAnswers given, Dialogs* asked, HostWords words)
    : given_(std::move(given)), asked_(asked), words_(std::move(words)) {}

template <typename Answer, typename Ask>
std::optional<Answer> AnsweringDialogs::AskUser(
    RememberedAnswers::By<Answer> RememberedAnswers::*kind, const std::string& asked,
    Source& source, Ask ask) {
  source = Source::kChosen;
  if (memory_ == nullptr) return ask();
  const auto [known, is_new] = (memory_->*kind).try_emplace(format_ + "\n" + asked);
  if (is_new)
    known->second = ask();
  else
    source = Source::kRepeated;
  return known->second;
}

std::optional<std::size_t> AnsweringDialogs::SelectFileType(const FileTypeQuestion& question) {
  FileTypeQuestion open = question;
  open.names.clear();
  std::vector<std::size_t> positions;
  for (std::size_t i = 0; i < question.names.size(); ++i) {
    const int format = FindFormat(question.names[i], /*for_writing=*/false);
    if (format != 0 && !HasReader(format)) continue;
    open.names.push_back(question.names[i]);
    positions.push_back(i);
  }
  file_types_.clear();
  for (const std::string& name : open.names) file_types_.push_back(Shown(name));
  if (asked_ == nullptr) return std::nullopt;
  Source source{};
  const auto chosen = AskUser(&RememberedAnswers::file_types, NumberedLine(file_types_), source,
                              [&] { return asked_->SelectFileType(open); });
  if (!chosen || *chosen >= positions.size()) return std::nullopt;
  const std::string& name = file_types_[*chosen];
  Answered({"format", source, name, name, false, std::nullopt, file_types_});
  return positions[*chosen];
}

std::optional<TextImportChoice> AnsweringDialogs::ImportText(const TextImportQuestion& question) {
  std::optional<TextImportChoice> choice = given_.text_import;
  Source source = Source::kGiven;
  if (!choice) {
    choice = question.usual ? question.usual : GuessDelimiter(question);
    source = Source::kUsual;
  }
  if (given_.ignore_consecutive) choice->ignore_consecutive = true;
  if (source == Source::kUsual && asked_ != nullptr) {
    TextImportQuestion begun = question;
    begun.usual = choice;
    choice = AskUser(&RememberedAnswers::delimiters, WrittenDelimiter(*choice), source,
                     [&] { return asked_->ImportText(begun); });
    if (!choice) return std::nullopt;
    if (given_.ignore_consecutive) choice->ignore_consecutive = true;
  }
  Answered(DelimiterAnswer(*choice, source));
  return choice;
}

std::optional<ItemsChoice> AnsweringDialogs::SelectItems(const ItemsQuestion& question) {
  using Kind = ItemsQuestion::Kind;
  AnsweredQuestion answered;
  answered.name = NameOf(question.kind);
  answered.entries = EntriesOf(question);
  for (const std::string& item : question.items) answered.names.push_back(Shown(item));
  std::optional<std::string> given;
  if (question.kind == Kind::kWorksheets || question.kind == Kind::kMatrices ||
      question.kind == Kind::kVariables || question.kind == Kind::kTables)
    given = given_.sheets;
  if (question.kind == Kind::kBlocks) given = given_.blocks;

  std::optional<ItemsChoice> choice;
  if (!given && asked_ != nullptr) {
    ItemsQuestion open = question;
    if (given_.merge) open.merge_choices.clear();
    choice =
        AskUser(&RememberedAnswers::items, answered.name + "\n" + NumberedLine(answered.entries),
                answered.source, [&] { return asked_->SelectItems(open); });
    if (!choice) return std::nullopt;
    if (given_.merge) choice->merge = *given_.merge;
  } else {
    const auto items = given                    ? ParseItems(*given, question.items)
                       : question.usual.empty() ? std::nullopt
                                                : std::optional(question.usual);
    if (!items || (question.only_one && items->size() != 1)) {
      answered.source = Source::kRefused;
      answered.value = given.value_or("");
      refusal_ = {Failure::kChoice,
                  given ? "\"" + Shown(*given) + "\" is not among the " + answered.name + "."
                        : OneLine(question.prompt),
                  words_.chooses(answered.name) + " among: " + NumberedLine(answered.entries)};
      refusal_->question = answered.name;
      refusal_->candidates = answered.entries;
      Answered(std::move(answered));
      return std::nullopt;
    }
    choice = ItemsChoice{*items, given_.merge.value_or(question.merge)};
    answered.source = given ? Source::kGiven : Source::kUsual;
  }

  answered.answer = answered.value = ItemNumbers(choice->items);
  for (std::size_t i = 0; question.kind != Kind::kReference && i < answered.entries.size(); ++i)
    if (std::ranges::find(choice->items, i) == choice->items.end())
      answered.left.push_back(answered.entries[i]);
  if (choice->items.size() == 1) answered.answer = answered.entries[choice->items.front()];
  if (choice->items.size() > 1 && choice->merge < question.merge_choices.size() &&
      choice->merge < std::size(kMergeWords)) {
    answered.answer += ", " + Shown(question.merge_choices[choice->merge]);
    answered.merge = choice->merge;
  }
  Answered(std::move(answered));
  return choice;
}

std::optional<RangeChoice> AnsweringDialogs::SelectRange(const RangeQuestion& question) {
  std::optional<RangeChoice> range = given_.range;
  AnsweredQuestion answered{"range", Source::kGiven, {}, {}};
  answered.entries = {DescribeRange(question)};
  if (!range && asked_ != nullptr) {
    range = AskUser(&RememberedAnswers::ranges, answered.entries.front(), answered.source,
                    [&] { return asked_->SelectRange(question); });
    if (!range) return std::nullopt;
  } else if (!range) {
    range = question.usual;
    answered.source = Source::kUsual;
  }
  answered.answer = answered.value = RangeText(*range);
  if (range->first > question.points || range->last > question.points) {
    refusal_ = {Failure::kChoice, "The range " + answered.value + " is not within the points.",
                answered.entries.front() + "; " + words_.range_numbers};
    refusal_->question = "range";
    refusal_->candidates = answered.entries;
    answered.source = Source::kRefused;
    range.reset();
  }
  Answered(std::move(answered));
  return range;
}

std::optional<std::vector<std::string>> AnsweringDialogs::OrderFiles(
    const FileOrderQuestion& question) {
  return asked_ != nullptr ? asked_->OrderFiles(question) : question.files;
}

// Never among what was answered. One that the user gave opens the file as often as the import does.
std::optional<std::string> AnsweringDialogs::AskPassword(const PasswordQuestion& question) {
  if (given_.password && !question.is_again) return given_.password;
  if (memory_ != nullptr && memory_->password && !question.is_again)
    return given_.password = memory_->password;
  lacks_password_ = asked_ == nullptr;
  if (lacks_password_) return "";
  std::optional<std::string> password = asked_->AskPassword(question);
  if (password && !password->empty()) given_.password = password;
  if (memory_ != nullptr && given_.password) memory_->password = given_.password;
  return password;
}

// Never remembered: another file may hold another query.
bool AnsweringDialogs::AllowQuery(const QueryQuestion& question) {
  lacks_permission_ = !given_.allow_query && asked_ == nullptr;
  return given_.allow_query || (asked_ != nullptr && asked_->AllowQuery(question));
}

int AnsweringDialogs::ShowMessage(const MessageBoxQuestion& message) {
  constexpr unsigned kButtons = 0xF;
  if ((message.type & kButtons) != MessageBoxQuestion::kOkCancel) {
    message_ = OneLine(message.text);
    detail_.clear();
    return MessageBoxQuestion::kOkAnswer;
  }
  warnings_.push_back(OneLine(message.text));
  if (asked_ == nullptr) return MessageBoxQuestion::kOkAnswer;
  Source source{};
  return *AskUser(&RememberedAnswers::messages, message.text, source,
                  [&] { return std::optional(asked_->ShowMessage(message)); });
}

void AnsweringDialogs::ShowDetails(const DetailMessage& message) {
  message_ = OneLine(message.text);
  detail_ = OneLine(message.detail);
}

std::unique_ptr<Progress> AnsweringDialogs::OpenProgress(const ProgressWindow& window) {
  return asked_ != nullptr ? asked_->OpenProgress(window) : nullptr;
}

void AnsweringDialogs::ShowWaitCursor(bool on) {
  if (asked_ != nullptr) asked_->ShowWaitCursor(on);
}

}  // namespace nvimport
