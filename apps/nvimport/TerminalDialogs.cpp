#include "apps/nvimport/TerminalDialogs.h"

#include <algorithm>
#include <charconv>
#include <iostream>
#include <iterator>
#include <utility>

#include "apps/nvimport/ProgressBar.h"
#include "apps/nvimport/TableView.h"
#include "apps/nvimport/Terminal.h"
#include "nvimport/hosting/import/Answers.h"
#include "nvimport/hosting/import/Delimiters.h"
#include "nvimport/hosting/import/ItemList.h"

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

std::string Shown(const std::string& text) { return EscapeControls(ToUtf8(text)); }

void ShowNumbered(const std::vector<std::string>& entries) {
  const std::size_t width = std::to_string(entries.size()).size();
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::string number = std::to_string(i + 1);
    std::cerr << "  " << std::string(width - number.size(), ' ') << number << "  " << entries[i]
              << "\n";
  }
}

}  // namespace

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

std::optional<std::size_t> TerminalDialogs::SelectFileType(const FileTypeQuestion& question) {
  progress_.Clear();
  std::cerr << Shown(question.prompt) << "\n";
  ShowNumbered(question.names);
  const auto choice = Ask(
      "Number (Enter cancels): ", "q", [&](const std::string& line) -> std::optional<std::size_t> {
        if (line == "q") return question.names.size();
        const auto items = ParseItems(line, question.names);
        return items && items->size() == 1 ? std::optional(items->front()) : std::nullopt;
      });
  return choice && *choice < question.names.size() ? choice : std::nullopt;
}

std::optional<TextImportChoice> TerminalDialogs::ImportText(const TextImportQuestion& question) {
  TextImportChoice choice = question.usual.value_or(question.current);
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
  }
}

std::optional<ItemsChoice> TerminalDialogs::SelectItems(const ItemsQuestion& question) {
  const std::string usual =
      question.items.size() > 1 && question.usual.size() == question.items.size()
          ? "all"
          : ItemNumbers(question.usual);
  progress_.Clear();
  std::cerr << Shown(question.title) << "\n"
            << OneLine(question.prompt) << "\n     " << Shown(question.heading) << "\n";
  ShowNumbered(EntriesOf(question));
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
  ItemsChoice choice{*items, question.merge};
  if (items->size() > 1 && !question.merge_choices.empty()) {
    ShowNumbered(question.merge_choices);
    const auto merge =
        ask("Number", std::to_string(question.merge + 1), question.merge_choices, true);
    if (!merge) return std::nullopt;
    choice.merge = merge->front();
  }
  return choice;
}

std::optional<RangeChoice> TerminalDialogs::SelectRange(const RangeQuestion& question) {
  progress_.Clear();
  std::cerr << Shown(question.title) << "\n" << name_ << ": " << DescribeRange(question) << "\n";
  return Ask("First and last point, such as 10,200 (Enter takes all, q cancels): ",
             RangeText(question.usual), [&](const std::string& line) {
               auto answer = ParseRange(line);
               if (answer && std::max(answer->first, answer->last) > question.points)
                 answer.reset();
               return answer;
             });
}

std::optional<std::vector<std::string>> TerminalDialogs::OrderFiles(
    const FileOrderQuestion& question) {
  const std::vector<std::string>& files = question.files;
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

std::optional<std::string> TerminalDialogs::AskPassword(const PasswordQuestion& question) {
  progress_.Clear();
  if (question.is_again) std::cerr << "The password is not right.\n";
  std::cerr << name_ << ": password (Enter cancels): " << std::flush;
  std::optional<std::string> password = ReadSecret();
  std::cerr << "\n";
  if (password && password->empty()) password.reset();
  return password;
}

bool TerminalDialogs::AllowQuery(const QueryQuestion& question) {
  progress_.Clear();
  std::cerr << name_ << " asks the database " << Shown(question.source)
            << (question.statement.empty() ? " for a table" : ":\n  " + Shown(question.statement))
            << "\n";
  const auto answer = Ask("Run it? (y runs it, Enter does not): ", "n",
                          [](const std::string& line) { return std::optional(line == "y"); });
  return answer.value_or(false);
}

int TerminalDialogs::ShowMessage(const MessageBoxQuestion& message) {
  progress_.Clear();
  std::cerr << Shown(message.title) << ": " << OneLine(message.text) << "\n";
  const auto kept = Ask("Enter goes on, q cancels: ", "",
                        [](const std::string& line) { return std::optional(line); });
  return kept ? MessageBoxQuestion::kOkAnswer : MessageBoxQuestion::kCancelAnswer;
}

}  // namespace nvimport
