#include "apps/nvimport/TerminalDialogs.h"

#include <algorithm>
#include <charconv>
#include <iostream>
#include <iterator>
#include <utility>

#include "apps/nvimport/DelimiterGuess.h"
#include "apps/nvimport/Delimiters.h"
#include "apps/nvimport/ItemList.h"
#include "apps/nvimport/ProgressBar.h"
#include "apps/nvimport/TableView.h"
#include "apps/nvimport/Terminal.h"

namespace nvimport {

namespace {

constexpr int kPreviewRows = 8;
constexpr int kPreviewColumns = 12;

void ShowPreview(const TextImportQuestion& question, const TextImportChoice& choice) {
  std::vector<TableRow> rows;
  for (const auto& cells : question.preview(choice, kPreviewRows, kPreviewColumns)) {
    TableRow& row = rows.emplace_back();
    for (const std::string& cell : cells) row.push_back(ShownText(ToUtf8(cell)));
  }
  std::cerr << FormatTable(rows, {TerminalWidth(), WantsColour()}).text;
}

// What stands for a kind of list in sentences and on the command line.
struct ListWords {
  const char* name;
  const char* option;
  const char* asked;
};

const ListWords& WordsOf(ItemsQuestion::Kind kind) {
  static constexpr ListWords kWords[] = {
      {"worksheets", "--sheet ", "which worksheets: --sheet SHEETS, --merge side|below"},
      {"blocks", "--blocks ", "which blocks: --blocks BLOCKS"},
      {"files", "--files ", "which files: --files FILES"},
      {"reference series",
       "--option reference=", "whose x values the others get: --option reference=N"}};
  return kWords[static_cast<std::size_t>(kind)];
}

std::string Shown(const std::string& text) { return EscapeControls(ToUtf8(text)); }

// The entries of a list, with what is said of each.
std::vector<std::string> Entries(const ItemsQuestion& question) {
  std::vector<std::string> entries;
  for (std::size_t i = 0; i < question.items.size(); ++i) {
    entries.push_back(Shown(question.items[i]));
    if (i < question.details.size()) entries.back() += " (" + Shown(question.details[i]) + ")";
  }
  return entries;
}

void ShowNumbered(const std::vector<std::string>& entries) {
  const std::size_t width = std::to_string(entries.size()).size();
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::string number = std::to_string(i + 1);
    std::cerr << "  " << std::string(width - number.size(), ' ') << number << "  " << entries[i]
              << "\n";
  }
}

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

std::string RangeText(const RangeChoice& range) {
  return std::to_string(range.first) + "," + std::to_string(range.last);
}

// The window of a read is the bar in the terminal.
class BarWindow : public Progress {
 public:
  BarWindow(ProgressBar& bar, const std::string& label) : bar_(bar) { bar_.Begin(label); }
  bool Advance(std::uint64_t position, std::uint64_t size) override {
    return bar_.Advance(position, size);
  }

 private:
  ProgressBar& bar_;
};

}  // namespace

TerminalDialogs::TerminalDialogs(GivenAnswers given, bool may_ask, ProgressBar& progress, Say say)
    : given_(std::move(given)), may_ask_(may_ask), progress_(progress), say_(std::move(say)) {}

void TerminalDialogs::BeginFile(std::string name) {
  name_ = std::move(name);
  answered_.clear();
  file_types_.clear();
  warnings_.clear();
  message_.clear();
  refusal_.reset();
  refused_.reset();
}

template <typename Take>
auto TerminalDialogs::Ask(const std::string& prompt, const std::string& usual, Take take)
    -> decltype(take(std::string())) {
  while (true) {
    progress_.Clear();
    std::cerr << prompt << std::flush;
    const auto line = ReadAnswer();
    if (!line || *line == "q") return std::nullopt;
    if (auto answer = take(line->empty() ? usual : *line)) return answer;
  }
}

void TerminalDialogs::Answered(AnsweredQuestion answered) {
  if (answered.source == "chosen") say_("next time: " + answered.option);
  answered_.push_back(std::move(answered));
}

std::optional<std::size_t> TerminalDialogs::SelectFileType(const FileTypeQuestion& question) {
  file_types_ = question.names;
  if (!may_ask_) return std::nullopt;
  progress_.Clear();
  std::cerr << Shown(question.prompt) << "\n";
  ShowNumbered(question.names);
  const auto choice = Ask(
      "Number (Enter cancels): ", "q", [&](const std::string& line) -> std::optional<std::size_t> {
        if (line == "q") return question.names.size();
        const auto items = ParseItems(line, question.names);
        return items && items->size() == 1 ? std::optional(items->front()) : std::nullopt;
      });
  if (!choice || *choice == question.names.size()) return std::nullopt;
  say_("next time: --format \"" + question.names[*choice] + "\"");
  return choice;
}

std::optional<TextImportChoice> TerminalDialogs::ImportText(const TextImportQuestion& question) {
  std::optional<TextImportChoice> choice = given_.text_import;
  std::string source = "given";
  if (!choice) {
    choice = GuessDelimiter(question);
    source = may_ask_ ? "chosen" : "guessed";
  }
  if (given_.ignore_consecutive) choice->ignore_consecutive = true;
  if (source == "chosen") {
    choice = AskDelimiter(question, *std::move(choice));
    if (!choice) return std::nullopt;
  } else if (source == "guessed") {
    say_(name_ + ": the delimiter is taken to be " + ShownDelimiter(*choice) +
         " (--delimiter decides otherwise)");
  }
  Answered({"delimiter",
            ShownDelimiter(*choice),
            source,
            DelimiterOptions(*choice),
            {},
            "what separates fields: --delimiter TEXT, --ignore-consecutive"});
  return choice;
}

std::optional<TextImportChoice> TerminalDialogs::AskDelimiter(const TextImportQuestion& question,
                                                              TextImportChoice choice) {
  while (true) {
    progress_.Clear();
    ShowPreview(question, choice);
    const auto line =
        Ask(name_ + ": the delimiter is " + ShownDelimiter(choice) +
                ".\nEnter takes it, q cancels, or another one (tab, comma, semicolon, bar, blank, "
                "any text): ",
            "", [](const std::string& answer) { return std::optional(answer); });
    if (!line) return std::nullopt;
    if (line->empty()) return choice;
    choice = ParseDelimiter(*line);
    if (given_.ignore_consecutive) choice.ignore_consecutive = true;
  }
}

std::optional<ItemsChoice> TerminalDialogs::SelectItems(const ItemsQuestion& question) {
  using Kind = ItemsQuestion::Kind;
  const ListWords& words = WordsOf(question.kind);
  std::vector<std::string> entries = Entries(question);
  const std::string usual =
      question.kind == Kind::kBlocks ? "all" : (question.kind == Kind::kFiles ? "" : "1");
  std::optional<std::string> given;
  if (question.kind == Kind::kWorksheets) given = given_.sheets;
  if (question.kind == Kind::kBlocks) given = given_.blocks;

  std::optional<ItemsChoice> choice;
  std::string source = "given";
  if (given || !may_ask_) {
    const auto items = ParseItems(given.value_or(usual), question.items);
    if (!items || (question.only_one && items->size() != 1)) {
      refusal_ = {kFailed,
                  given ? "\"" + Shown(*given) + "\" is not among the " + words.name + "."
                        : OneLine(question.prompt),
                  name_ + ": " + words.option + "N,N... chooses among: " + NumberedLine(entries)};
      refused_ = {words.name, given.value_or(""), "refused", words.option, entries, words.asked};
      return std::nullopt;
    }
    choice = ItemsChoice{*items, given_.merge.value_or(question.merge)};
    if (!given) source = "guessed";
  } else {
    source = "chosen";
    choice = AskItems(question, usual);
    if (!choice) return std::nullopt;
  }

  AnsweredQuestion answered{words.name, ItemNumbers(choice->items), source, {}, entries,
                            words.asked};
  answered.option = words.option + answered.answer;
  if (choice->items.size() == 1) answered.answer = entries[choice->items.front()];
  if (choice->items.size() > 1 && choice->merge < question.merge_choices.size() &&
      choice->merge < std::size(kMergeWords)) {
    answered.answer += ", " + Shown(question.merge_choices[choice->merge]);
    answered.option += std::string(" --merge ") + kMergeWords[choice->merge];
  }
  if (source == "guessed")
    say_(name_ + ": of " + std::to_string(entries.size()) + " " + words.name +
         " taken: " + answered.answer + " (" + words.option + "... decides otherwise)");
  Answered(std::move(answered));
  return choice;
}

std::optional<ItemsChoice> TerminalDialogs::AskItems(const ItemsQuestion& question,
                                                     const std::string& usual) {
  progress_.Clear();
  std::cerr << Shown(question.title) << "\n"
            << OneLine(question.prompt) << "\n     " << Shown(question.heading) << "\n";
  ShowNumbered(Entries(question));
  const auto ask = [&](const std::string& what, const std::string& enter,
                       const std::vector<std::string>& items, bool only_one) {
    return Ask(what + " (" + (enter.empty() ? "" : "Enter takes " + enter + ", ") + "q cancels): ",
               enter, [&](const std::string& line) {
                 auto positions = ParseItems(line, items);
                 if (positions && only_one && positions->size() != 1) positions.reset();
                 return positions;
               });
  };
  const auto items = ask(question.only_one ? "Number" : "Numbers such as 1,3 or 2-4", usual,
                         question.items, question.only_one);
  if (!items) return std::nullopt;
  ItemsChoice choice{*items, given_.merge.value_or(question.merge)};
  if (items->size() > 1 && !question.merge_choices.empty() && !given_.merge) {
    ShowNumbered(question.merge_choices);
    const auto merge =
        ask("Number", std::to_string(question.merge + 1), question.merge_choices, true);
    if (!merge) return std::nullopt;
    choice.merge = merge->front();
  }
  return choice;
}

std::optional<RangeChoice> TerminalDialogs::SelectRange(const RangeQuestion& question) {
  std::optional<RangeChoice> range = given_.range;
  std::string source = "given";
  const std::string points = std::to_string(question.points) + " points, x from " +
                             ShortNumber(question.first_x) + " to " + ShortNumber(question.last_x) +
                             ", spacing " + ShortNumber(question.spacing);
  const auto is_within = [&](const RangeChoice& answer) {
    return answer.first <= question.points && answer.last <= question.points;
  };
  if (!range && may_ask_) {
    source = "chosen";
    progress_.Clear();
    std::cerr << Shown(question.title) << "\n" << name_ << ": " << points << "\n";
    range = Ask("First and last point, such as 10,200 (Enter takes all, q cancels): ", "1,0",
                [&](const std::string& line) {
                  auto answer = ParseRange(line);
                  if (answer && !is_within(*answer)) answer.reset();
                  return answer;
                });
    if (!range) return std::nullopt;
  } else if (!range) {
    source = "guessed";
    range = RangeChoice{};
    say_(name_ + ": all of the " + points + " (--range FIRST,LAST decides otherwise)");
  }
  if (!is_within(*range)) {
    refusal_ = {
        kFailed, "The range " + RangeText(*range) + " is not within the points.",
        name_ + ": " + points + "; --range takes numbers from 1, a last one of 0 for the end"};
    refused_ = {"range", RangeText(*range), "refused", "--range ", {points}, ""};
    return std::nullopt;
  }
  Answered({"range",
            RangeText(*range),
            source,
            "--range " + RangeText(*range),
            {points},
            "which points: --range FIRST,LAST"});
  return range;
}

std::optional<std::vector<std::string>> TerminalDialogs::SortFiles(
    const std::vector<std::string>& files) {
  if (!may_ask_) return files;
  std::vector<std::string> names;
  names.reserve(files.size());
  for (const std::string& file : files) names.push_back(ShownName(file));
  progress_.Clear();
  std::cerr << "The order of the files:\n";
  ShowNumbered(names);
  const auto order =
      Ask("Numbers in another order, such as 2,1,3 (Enter keeps it, q cancels): ", "all",
          [&](const std::string& line) {
            auto positions = ParseItems(line, names);
            if (positions && positions->size() != files.size()) positions.reset();
            return positions;
          });
  if (!order) return std::nullopt;
  std::vector<std::string> sorted;
  sorted.reserve(order->size());
  for (const std::size_t position : *order) sorted.push_back(files[position]);
  return sorted;
}

int TerminalDialogs::ShowMessage(const MessageBoxQuestion& message) {
  constexpr unsigned kButtons = 0xF;
  if ((message.type & kButtons) != MessageBoxQuestion::kOkCancel) {
    message_ = OneLine(message.text);
    return MessageBoxQuestion::kOkAnswer;
  }
  warnings_.push_back(OneLine(message.text));
  if (!may_ask_) return MessageBoxQuestion::kOkAnswer;
  progress_.Clear();
  std::cerr << Shown(message.title) << ": " << warnings_.back() << "\n";
  const auto kept = Ask("Enter goes on, q cancels: ", "",
                        [](const std::string& line) { return std::optional(line); });
  return kept ? MessageBoxQuestion::kOkAnswer : MessageBoxQuestion::kCancelAnswer;
}

void TerminalDialogs::ShowDetails(const DetailMessage& message) {
  message_ = OneLine(message.text + " " + message.detail);
}

std::unique_ptr<Progress> TerminalDialogs::ShowProgress(const std::string&) {
  return std::make_unique<BarWindow>(progress_, "reading " + name_);
}

void TerminalDialogs::TellDelimiter(const std::string& delimiter, bool given) {
  const TextImportChoice choice{delimiter, false};
  Answered({"delimiter",
            ShownDelimiter(choice),
            given ? "given" : "guessed",
            DelimiterOptions(choice),
            {},
            "what separates fields: --delimiter TEXT"});
}

void TerminalDialogs::SayWhatWasNotAsked() {
  const auto say = [&](bool given, const char* name, const char* option) {
    const auto is_asked = [&](const AnsweredQuestion& question) { return question.name == name; };
    if (given && std::ranges::none_of(answered_, is_asked))
      say_(name_ + ": " + option + " was not needed, there was no such choice");
  };
  say(given_.sheets.has_value(), "worksheets", "--sheet");
  say(given_.blocks.has_value(), "blocks", "--blocks");
  say(given_.range.has_value(), "range", "--range");
}

}  // namespace nvimport
