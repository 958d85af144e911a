#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "nvimport/hosting/Failure.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// Answers to questions that may be asked, given beforehand. Choices from lists are written as for
// ParseItems: "2", "1,3", "2-4", "all", or names.
struct GivenAnswers {
  std::optional<TextImportChoice> text_import{};  // how delimited texts are split
  bool ignore_consecutive = false;                // also of a delimiter that is guessed
  std::optional<std::string> sheets{};            // the worksheets of a workbook, or matrices
  std::optional<std::string> blocks{};            // the data blocks of a file
  std::optional<RangeChoice> range{};             // the points of a spectrum
  std::optional<std::size_t> merge{};             // position in the question's choices
  std::optional<std::string> password{};          // of an encrypted file
  bool allow_query = false;                       // of a database, which a file holds
};

// How sheets are merged, in the order in which a question offers it.
inline constexpr const char* kMergeWords[] = {"side", "below"};

// A question that a reader asked, and its answer.
struct AnsweredQuestion {
  // Where the answer came from.
  enum class Source {
    kGiven,    // beforehand
    kUsual,    // nobody was there to answer
    kChosen,   // by the user
    kSettled,  // by the reader, which asks nothing
    kRefused,  // there is none
    kRepeated  // by the user, when another file asked the same
  };

  std::string name;                    // "delimiter", "worksheets", "blocks", "range", ...
  Source source = Source::kGiven;      // who gave it
  std::string answer;                  // as a sentence has it
  std::string value;                   // as it is given beforehand
  bool ignore_consecutive = false;     // of a delimiter whose value does not say so
  std::optional<std::size_t> merge{};  // of several worksheets
  std::vector<std::string> entries{};  // what there was to choose from, numbered from 1; of a range
                                       // what is said of it
  std::vector<std::string> left{};     // those of a list whose cells were not taken
  std::vector<std::string> names{};    // the entries of a list, without what is said of them
};

// The entries of a list as they are shown, each with what is said of it.
NVIMPORT_API std::vector<std::string> EntriesOf(const ItemsQuestion& question);
// The points that a range is chosen from, "701 points, x from 400 to 1100, spacing 1".
NVIMPORT_API std::string DescribeRange(const RangeQuestion& question);

// How a delimiter was settled.
NVIMPORT_API AnsweredQuestion DelimiterAnswer(const TextImportChoice& choice,
                                              AnsweredQuestion::Source source);

// What the user answered, cancelling included. Given to several imports, an answer holds for all
// that ask the same: the same format the same question with the same choices.
struct RememberedAnswers {
  template <typename Answer>
  using By = std::map<std::string, std::optional<Answer>>;  // what was asked

  By<std::size_t> file_types{};           // of files that several formats could read
  By<TextImportChoice> delimiters{};      // of texts
  By<ItemsChoice> items{};                // worksheets, blocks and the like
  By<RangeChoice> ranges{};               // of points
  By<int> messages{};                     // with buttons
  std::optional<std::string> password{};  // is tried first
};

// Answers the questions of one import: as given, else as the host's own dialogs answer, else with
// the usual answer of the question. Keeps what was asked and said.
class NVIMPORT_API AnsweringDialogs : public Dialogs {
 public:
  // `asked` (null for nobody) is asked what is not given, and must outlive this.
  explicit AnsweringDialogs(GivenAnswers given = {}, Dialogs* asked = nullptr,
                            HostWords words = {});

  std::optional<std::size_t> SelectFileType(const FileTypeQuestion& question) override;
  std::optional<TextImportChoice> ImportText(const TextImportQuestion& question) override;
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override;
  std::optional<RangeChoice> SelectRange(const RangeQuestion& question) override;
  std::optional<std::vector<std::string>> OrderFiles(const FileOrderQuestion& question) override;
  std::optional<std::string> AskPassword(const PasswordQuestion& question) override;
  bool AllowQuery(const QueryQuestion& question) override;
  int ShowMessage(const MessageBoxQuestion& message) override;
  void ShowDetails(const DetailMessage& message) override;
  std::unique_ptr<Progress> OpenProgress(const ProgressWindow& window) override;
  void ShowWaitCursor(bool on) override;

  // Takes answers from `memory` and keeps them there; the format that asks is `format`.
  void Remember(RememberedAnswers* memory, std::string format) {
    memory_ = memory;
    format_ = std::move(format);
  }

  // What was asked, in order.
  const std::vector<AnsweredQuestion>& answered() const { return answered_; }
  // Takes down the answer to what a reader settles by itself.
  void Answered(AnsweredQuestion answered) { answered_.push_back(std::move(answered)); }
  // The formats that could not be told apart.
  const std::vector<std::string>& file_types() const { return file_types_; }
  // What the reader warned of.
  const std::vector<std::string>& warnings() const { return warnings_; }
  // What the library said last, when something failed, and what it said of it.
  const std::string& message() const { return message_; }
  const std::string& detail() const { return detail_; }
  // A password was asked for, and the one given was not right, or there was none.
  bool lacks_password() const { return lacks_password_; }
  // A query was not allowed since nobody was there to do so.
  bool lacks_permission() const { return lacks_permission_; }
  // Why a question found no answer.
  const std::optional<Failure>& refusal() const { return refusal_; }

 private:
  // The answer of the user, now or before.
  template <typename Answer, typename Ask>
  std::optional<Answer> AskUser(RememberedAnswers::By<Answer> RememberedAnswers::*kind,
                                const std::string& asked, AnsweredQuestion::Source& source,
                                Ask ask);

  GivenAnswers given_;
  Dialogs* asked_;
  RememberedAnswers* memory_ = nullptr;
  std::string format_;
  HostWords words_;
  std::vector<AnsweredQuestion> answered_;
  std::vector<std::string> file_types_;
  std::vector<std::string> warnings_;
  std::string message_;
  std::string detail_;
  std::optional<Failure> refusal_;
  bool lacks_password_ = false;
  bool lacks_permission_ = false;
};

}  // namespace nvimport
