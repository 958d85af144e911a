#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "apps/nvimport/CommandWords.h"
#include "apps/nvimport/Commands.h"
#include "apps/nvimport/FormerRun.h"
#include "apps/nvimport/InputList.h"
#include "apps/nvimport/OutputPaths.h"
#include "apps/nvimport/ProgressBar.h"
#include "apps/nvimport/TerminalDialogs.h"
#include "nvimport/hosting/batch/Batch.h"
#include "nvimport/hosting/batch/BatchReport.h"
#include "nvimport/hosting/batch/FileWalk.h"
#include "nvimport/hosting/export/SheetWriters.h"
#include "nvimport/hosting/import/Import.h"
#include "nvimport/hosting/import/SpooledInput.h"

namespace nvimport {

// One command over its files: judges the settings, runs the command for each file, here or in
// workers, and reports in the order of the files.

// What the settings mean for every file.
struct RunPlan {
  ImportRequest import;  // but for the files
  TextConversion conversion;
  InputList inputs;
  OutputPaths outputs;        // of a conversion, where each input goes
  OutputPaths descriptions;   // where what each says of itself goes
  bool reports = false;       // an entry for each file is wanted
  bool takes_stream = false;  // text on standard input is read as it comes
  int stream = -1;            // which that is then; -1 for none
  bool takes_all = false;     // of a folder also what can't be read
  bool json = false;
  bool quiet = false;
  bool strict = false;
  bool asks = true;            // an informative command does not
  bool asks_user = true;       // in a terminal; else takes the usual answers
  RememberedAnswers answered;  // there
  // All files become one output, which is made of what each turn hands over, in their order.
  std::function<void(std::size_t index, const std::string& found)> take_found;
};

// One file's turn.
class FileTurn {
 public:
  FileTurn(RunPlan& plan, std::size_t index, bool in_worker);

  const RunPlan& plan() const { return plan_; }
  std::size_t index() const { return index_; }
  const Input& input() const { return input_; }
  // Where it goes, and what it says of itself; empty for nowhere.
  std::string output() const { return plan_.outputs[index_]; }
  std::string description() const {
    return plan_.descriptions.empty() ? "" : plan_.descriptions[index_];
  }
  ProgressBar& progress() { return progress_; }
  // Imports the file, and says what there is to say of the answers.
  ImportResult Read(SpreadsheetData& sheet) { return Told(ImportFile(Request(), sheet)); }
  ImportResult Measure() { return Told(MeasureFile(Request())); }

  // The same for who imports in its place.
  ImportRequest Request();
  ImportResult Told(ImportResult result);
  // What came of several imports, of which it was said before.
  const ImportResult& Took(ImportResult result) { return result_ = std::move(result); }
  // Several outputs in place of one.
  void WritesTo(std::vector<std::string> outputs) { outputs_ = std::move(outputs); }

  // A line for standard error.
  void Say(const std::string& line);
  // The file's part of standard output.
  void Print(std::string_view data) { report_.data += data; }
  // Ends with a failure, but leaves out a file that was found in a folder and no format reads.
  void Fail(const Failure& failure);
  // Ends with a failure, whatever the file.
  void FailAsNamed(const Failure& failure);
  // Makes the folder of the output, but none for a file that is left out; false ends the turn.
  bool MakeRoom();
  // Like a failure, without anything said.
  void EndWith(int exit_code) { report_.exit_code = exit_code; }
  // Notes and warnings of the import, which may count as failures.
  void SayNotes(const ImportResult& result);
  // The same of the output.
  void SayOutputNotes(const std::vector<std::string>& notes);
  // Takes them into account where they were said otherwise.
  void CountNotes(const ImportResult& result);

  // Hands over what the command found in the file.
  void HandOver(std::string found) { report_.found = std::move(found); }

  // Whether a former run did the file.
  bool IsDoneBy(const FormerRun& former);

  // What became of the file, which took as long as it has been at work here, or `seconds`.
  FileReport&& TakeReport(std::optional<double> seconds = std::nullopt);

 private:
  using Clock = std::chrono::steady_clock;

  bool LeaveOut();
  std::string Entry(double seconds) const;

  RunPlan& plan_;
  std::size_t index_;
  Input input_;
  bool in_worker_;
  Clock::time_point begun_ = Clock::now();
  FileReport report_;
  std::optional<Failure> failure_;
  ImportResult result_;               // of which the notes were said
  std::vector<std::string> outputs_;  // where there are several
  ProgressBar progress_;
  std::optional<TerminalDialogs> dialogs_;
};

class FileRun {
 public:
  explicit FileRun(const Settings& settings) : settings_(settings) {}

  RunPlan& plan() { return plan_; }

  // Judges the settings and gathers the files.
  std::optional<Failure> Prepare();

  // Runs `command` for each file, `then` what is to be done with all, and returns the exit code of
  // all.
  int ForEach(const std::function<void(FileTurn&)>& command,
              const std::function<void()>& then = nullptr);

  // For that which is done then: whether a failure ended the turns,
  bool has_stopped() const { return has_stopped_; }
  bool keeps_going() const { return settings_.keep_going; }
  ProgressLine& progress() { return *progress_; }
  // what failed of the file at `index`, or else of the output,
  void FailThen(const Failure& failure, std::optional<std::size_t> index = std::nullopt);
  // and what there is to note.
  void NoteThen(const std::string& note);

 private:
  std::optional<Failure> TakeOptions();
  std::optional<Failure> TakeFiles();
  std::optional<Failure> TakeName(const std::string& name);
  std::optional<Failure> TakeDatabase(const std::string& name);
  // Settles how the rest of standard input is read.
  std::optional<Failure> SettleInput(bool in_workers);
  void TakeFolder(const std::string& folder);
  // Makes the files one input.
  std::optional<Failure> JoinFiles();
  // Reports one file; false when it is the last to be done.
  bool Report(const FileReport& report);
  // Says what there is to say of the folders up to the file that is next; false as above.
  bool ReportFolders();
  bool FailFolder(const std::string& folder, const Failure& failure);
  void ReportFailure(const std::string& input, const std::string& output, int exit_code,
                     const Failure& failure);
  // Begins the report that was asked for.
  std::optional<Failure> BeginReport();
  std::optional<Failure> CheckNames() const;
  // The next piece of the answer; false when it could not be printed.
  bool PrintPiece(std::string_view data);
  bool Print(const std::string& data);
  std::string JsonLine(const std::string& data, const char* end);
  void Finish();

  // A folder that was named, and what became of its files.
  struct NamedFolder {
    FoundFiles::State state;
    std::vector<Failure> failures;
    std::size_t first;  // of the inputs
    std::size_t end;
    bool is_begun = false;
    std::size_t taken = 0;
  };

  const Settings& settings_;
  RunPlan plan_;
  std::optional<FileWalk> walk_;
  std::vector<NamedFolder> folders_;
  std::size_t folder_ = 0;  // the next one to say something of
  bool takes_input_ = false;
  std::optional<SpooledInput> spooled_;
  std::optional<FormerRun> former_;
  std::optional<BatchReport> report_;
  std::optional<ProgressLine> progress_;
  ProgressLine::Clock::time_point begun_ = ProgressLine::Clock::now();
  std::string waiting_;  // the last piece of JSON
  bool has_printed_ = false;
  bool can_print_ = true;
  bool has_stopped_ = false;
  int exit_code_ = kDone;
  std::size_t reported_ = 0;
  std::size_t done_ = 0;
  std::size_t failed_ = 0;  // folders included
  std::size_t left_out_ = 0;
  std::size_t skipped_ = 0;  // of those that are done
  std::set<int> noted_formats_;
};

// Says `failure` and returns its exit code.
int SayFailure(const Failure& failure);

// The JSON string of a text.
std::string JsonText(std::string_view text);

}  // namespace nvimport
