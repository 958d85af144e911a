#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/Dialogs.h"

// The answers that come with the command line.
struct GivenAnswers {
  std::optional<TextImportChoice> text_import;
  bool ignore_consecutive = false;  // also of a delimiter that is guessed
};

// A question that a reader asked, and its answer.
struct AnsweredQuestion {
  std::string name;    // "delimiter"
  std::string answer;  // as a sentence has it
  std::string source;  // "given", "guessed" or "chosen"
  std::string option;  // what gives this answer on the command line
};

// Answers the library's questions: from the options, else by asking in the terminal, else with what
// a user would most likely answer, saying so.
class TerminalDialogs : public Dialogs {
 public:
  using Say = std::function<void(const std::string& line)>;

  // Without `may_ask` nobody is asked; `say` takes what is to be said of answers taken unasked.
  TerminalDialogs(GivenAnswers given, bool may_ask, Say say);

  // Begins a file, called `name` in what is said.
  void BeginFile(std::string name);

  std::optional<std::size_t> SelectFileType(const FileTypeQuestion& question) override;
  std::optional<TextImportChoice> ImportText(const TextImportQuestion& question) override;

  // What was asked since BeginFile.
  const std::vector<AnsweredQuestion>& answered() const { return answered_; }
  // The formats that could not be told apart, when the question was asked.
  const std::vector<std::string>& file_types() const { return file_types_; }
  bool may_ask() const { return may_ask_; }

 private:
  std::optional<TextImportChoice> AskDelimiter(const TextImportQuestion& question,
                                               TextImportChoice choice) const;

  GivenAnswers given_;
  bool may_ask_;
  Say say_;
  std::string name_;
  std::vector<AnsweredQuestion> answered_;
  std::vector<std::string> file_types_;
};
