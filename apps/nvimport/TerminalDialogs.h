#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/nvimport/Failure.h"
#include "nvimport/platform/Dialogs.h"

namespace nvimport {

class ProgressBar;

// The answers that come with the command line.
struct GivenAnswers {
  std::optional<TextImportChoice> text_import;
  bool ignore_consecutive = false;  // also of a delimiter that is guessed
  std::optional<std::string> sheets;
  std::optional<std::string> blocks;
  std::optional<RangeChoice> range;
  std::optional<std::size_t> merge;  // position in the question's choices
};

// How sheets are merged, in the order in which a question offers it.
constexpr const char* kMergeWords[] = {"side", "below"};

// A question that a reader asked, and its answer.
struct AnsweredQuestion {
  std::string name;                  // "delimiter"
  std::string answer;                // as a sentence has it
  std::string source;                // "given", "guessed" or "chosen"
  std::string option;                // what gives this answer on the command line
  std::vector<std::string> entries;  // what there was to choose from, numbered from 1
  std::string asked;                 // what was asked, and the options that answer
};

// Answers the library's questions: from the options, else by asking in the terminal, else with what
// a user would most likely answer, saying so. Keeps its messages.
class TerminalDialogs : public Dialogs {
 public:
  using Say = std::function<void(const std::string& line)>;

  // Without `may_ask` nobody is asked; `say` takes what is to be said of answers taken unasked.
  TerminalDialogs(GivenAnswers given, bool may_ask, ProgressBar& progress, Say say);

  // Begins a file, called `name` in what is said.
  void BeginFile(std::string name);

  std::optional<std::size_t> SelectFileType(const FileTypeQuestion& question) override;
  std::optional<TextImportChoice> ImportText(const TextImportQuestion& question) override;
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override;
  std::optional<RangeChoice> SelectRange(const RangeQuestion& question) override;
  std::optional<std::vector<std::string>> SortFiles(const std::vector<std::string>& files) override;
  int ShowMessage(const MessageBoxQuestion& message) override;
  void ShowDetails(const DetailMessage& message) override;
  std::unique_ptr<Progress> ShowProgress(const std::string& title) override;

  // Takes down the delimiter of a reader that asks nothing.
  void TellDelimiter(const std::string& delimiter, bool given);

  // Says which of the given answers no question asked for.
  void SayWhatWasNotAsked();

  // What was asked since BeginFile.
  const std::vector<AnsweredQuestion>& answered() const { return answered_; }
  // The formats that could not be told apart, when the question was asked.
  const std::vector<std::string>& file_types() const { return file_types_; }
  // What the reader warned of.
  const std::vector<std::string>& warnings() const { return warnings_; }
  // The failure that the library told last, in one line.
  const std::string& message() const { return message_; }
  // Why a question could not be answered.
  const std::optional<Failure>& refusal() const { return refusal_; }
  // That question, where it was one with entries to choose from.
  const std::optional<AnsweredQuestion>& refused() const { return refused_; }
  bool may_ask() const { return may_ask_; }

 private:
  // Asks until `take` makes something of the line; an empty line answers `usual`.
  template <typename Take>
  auto Ask(const std::string& prompt, const std::string& usual, Take take)
      -> decltype(take(std::string()));
  void Answered(AnsweredQuestion answered);
  std::optional<TextImportChoice> AskDelimiter(const TextImportQuestion& question,
                                               TextImportChoice choice);
  std::optional<ItemsChoice> AskItems(const ItemsQuestion& question, const std::string& usual);

  GivenAnswers given_;
  bool may_ask_;
  ProgressBar& progress_;
  Say say_;
  std::string name_;
  std::vector<AnsweredQuestion> answered_;
  std::vector<std::string> file_types_;
  std::vector<std::string> warnings_;
  std::string message_;
  std::optional<Failure> refusal_;
  std::optional<AnsweredQuestion> refused_;
};

}  // namespace nvimport
