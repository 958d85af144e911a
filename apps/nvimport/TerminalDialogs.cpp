#include "apps/nvimport/TerminalDialogs.h"

#include <charconv>
#include <iostream>
#include <utility>

#include "apps/nvimport/DelimiterGuess.h"
#include "apps/nvimport/Delimiters.h"
#include "apps/nvimport/TableView.h"
#include "apps/nvimport/Terminal.h"

namespace {

constexpr int kGuessedLines = 100;
constexpr int kPreviewRows = 8;
constexpr int kPreviewColumns = 12;

TextImportChoice Guess(const TextImportQuestion& question) {
  std::vector<std::string> lines;
  for (auto& row : question.preview({"", false}, kGuessedLines, 1))
    lines.push_back(row.empty() ? std::string() : std::move(row.front()));
  return GuessDelimiter(lines);
}

void ShowPreview(const TextImportQuestion& question, const TextImportChoice& choice) {
  std::vector<TableRow> rows;
  for (const auto& cells : question.preview(choice, kPreviewRows, kPreviewColumns)) {
    TableRow& row = rows.emplace_back();
    for (const std::string& cell : cells) row.push_back(ShownText(ToUtf8(cell)));
  }
  std::cerr << FormatTable(rows, {TerminalWidth(), WantsColour()});
}

}  // namespace

TerminalDialogs::TerminalDialogs(GivenAnswers given, bool may_ask, Say say)
    : given_(std::move(given)), may_ask_(may_ask), say_(std::move(say)) {}

void TerminalDialogs::BeginFile(std::string name) {
  name_ = std::move(name);
  answered_.clear();
  file_types_.clear();
}

std::optional<std::size_t> TerminalDialogs::SelectFileType(const FileTypeQuestion& question) {
  file_types_ = question.names;
  if (!may_ask_) return std::nullopt;
  std::cerr << EscapeControls(ToUtf8(question.prompt)) << "\n";
  for (std::size_t i = 0; i < question.names.size(); ++i)
    std::cerr << "  " << i + 1 << "  " << question.names[i] << "\n";
  while (true) {
    std::cerr << "Number (Enter cancels): " << std::flush;
    const auto line = ReadAnswer();
    if (!line || line->empty()) return std::nullopt;
    std::size_t number = 0;
    const char* end = line->data() + line->size();
    if (std::from_chars(line->data(), end, number).ptr == end && number >= 1 &&
        number <= question.names.size())
      return number - 1;
  }
}

std::optional<TextImportChoice> TerminalDialogs::ImportText(const TextImportQuestion& question) {
  std::optional<TextImportChoice> choice = given_.text_import;
  std::string source = "given";
  if (!choice) {
    choice = Guess(question);
    if (given_.ignore_consecutive) choice->ignore_consecutive = true;
    source = may_ask_ ? "chosen" : "guessed";
    if (may_ask_) {
      choice = AskDelimiter(question, *std::move(choice));
      if (!choice) return std::nullopt;
      say_("next time: " + DelimiterOptions(*choice));
    } else {
      say_(name_ + ": the delimiter is taken to be " + ShownDelimiter(*choice) +
           " (--delimiter decides otherwise)");
    }
  } else if (given_.ignore_consecutive) {
    choice->ignore_consecutive = true;
  }
  answered_.push_back({"delimiter", ShownDelimiter(*choice), source, DelimiterOptions(*choice)});
  return choice;
}

std::optional<TextImportChoice> TerminalDialogs::AskDelimiter(const TextImportQuestion& question,
                                                              TextImportChoice choice) const {
  while (true) {
    ShowPreview(question, choice);
    std::cerr << name_ << ": the delimiter is " << ShownDelimiter(choice)
              << ".\nEnter takes it, q cancels, or another one (tab, comma, semicolon, bar, blank, "
                 "any text): "
              << std::flush;
    const auto line = ReadAnswer();
    if (!line || *line == "q") return std::nullopt;
    if (line->empty()) return choice;
    choice = ParseDelimiter(*line);
    if (given_.ignore_consecutive) choice.ignore_consecutive = true;
  }
}
