#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "apps/nvimport/CommandWords.h"
#include "apps/nvimport/Commands.h"
#include "apps/nvimport/ProgressBar.h"
#include "apps/nvimport/TerminalDialogs.h"
#include "nvimport/hosting/batch/Batch.h"
#include "nvimport/hosting/batch/BatchReport.h"
#include "nvimport/hosting/export/SheetWriters.h"
#include "nvimport/hosting/import/Import.h"
#include "nvimport/hosting/import/SpooledInput.h"

namespace nvimport {

// One command over its files: judges the settings, runs the command for each file, here or in
// workers, and reports in the order of the files.

// A file to read, or several that become one sheet.
struct Input {
  std::vector<std::string> files;
  std::string name;   // in place of the first file's
  std::string shown;  // in messages
};

// What the settings mean for every file.
struct RunPlan {
  ImportRequest import;  // but for the files
  TextConversion conversion;
  std::vector<Input> inputs;
  std::vector<std::string> outputs;       // of a conversion, where each input goes
  std::vector<std::string> descriptions;  // where what each says of itself goes; none for nowhere
  bool reports = false;                   // an entry for each file is wanted
  bool json = false;
  bool quiet = false;
  bool strict = false;
  bool asks = true;  // in a terminal; an informative command does not
};

// One file's turn.
class FileTurn {
 public:
  FileTurn(const RunPlan& plan, std::size_t index, bool in_worker);

  const RunPlan& plan() const { return plan_; }
  std::size_t index() const { return index_; }
  const Input& input() const { return plan_.inputs[index_]; }
  ProgressBar& progress() { return progress_; }
  // Imports the file, and says what there is to say of the answers.
  ImportResult Read(SpreadsheetData& sheet) { return Told(ImportFile(Request(), sheet)); }
  ImportResult Measure() { return Told(MeasureFile(Request())); }

  // A line for standard error.
  void Say(const std::string& line);
  // The file's part of standard output.
  void Print(std::string_view data) { report_.data += data; }
  void Fail(const Failure& failure);
  // Like a failure, without anything said.
  void EndWith(int exit_code) { report_.exit_code = exit_code; }
  // Notes and warnings of the import, which may count as failures.
  void SayNotes(const ImportResult& result);
  // The same of the output.
  void SayOutputNotes(const std::vector<std::string>& notes);
  // Takes them into account where they were said otherwise.
  void CountNotes(const ImportResult& result);

  // What became of the file, which took as long as it has been at work here, or `seconds`.
  FileReport&& TakeReport(std::optional<double> seconds = std::nullopt);

 private:
  using Clock = std::chrono::steady_clock;

  ImportRequest Request();
  ImportResult Told(ImportResult result);
  std::string Entry(double seconds) const;

  const RunPlan& plan_;
  std::size_t index_;
  bool in_worker_;
  Clock::time_point begun_ = Clock::now();
  FileReport report_;
  std::optional<Failure> failure_;
  ImportResult result_;  // of which the notes were said
  ProgressBar progress_;
  std::optional<TerminalDialogs> dialogs_;
};

class FileRun {
 public:
  explicit FileRun(const Settings& settings) : settings_(settings) {}

  RunPlan& plan() { return plan_; }

  // Judges the settings and gathers the files.
  std::optional<Failure> Prepare();

  // Runs `command` for each file and returns the exit code of all.
  int ForEach(const std::function<void(FileTurn&)>& command);

 private:
  std::optional<Failure> TakeOptions();
  std::optional<Failure> TakeFiles();
  // Makes the files one input.
  std::optional<Failure> JoinFiles();
  // Reports one file; false when it is the last to be done.
  bool Report(const FileReport& report);
  // Begins the report that was asked for.
  std::optional<Failure> BeginReport();
  void Finish();

  const Settings& settings_;
  RunPlan plan_;
  std::optional<SpooledInput> spooled_;
  std::optional<BatchReport> report_;
  std::optional<ProgressLine> progress_;
  ProgressLine::Clock::time_point begun_ = ProgressLine::Clock::now();
  std::string json_;
  int exit_code_ = kDone;
  std::size_t done_ = 0;
  std::size_t failed_ = 0;
  std::set<int> noted_formats_;
};

// Says `failure` and returns its exit code.
int SayFailure(const Failure& failure);

// The JSON string of a text.
std::string JsonText(std::string_view text);

}  // namespace nvimport
