#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/nvimport/Failure.h"
#include "framework/FormatDetection.h"
#include "framework/SpreadsheetFile.h"
#include "platform/Log.h"

class ProgressBar;
class TerminalDialogs;

// A file to read: where it is, and its name in messages.
struct Input {
  std::string path;
  std::string shown;
};

struct ImportSettings {
  int format = 0;       // 0: by detection
  std::string options;  // "key=value;key=value" for formats that take such, else empty
};

// The formats that the command knows.
const std::vector<KnownFormat>& Formats();
const NvImportFormatInfo& FormatAt(int format);

// The format of that name or index; of that extension (with or without its point) the first that
// can be read or written. 0 for none.
int FindFormat(const std::string& name, bool for_writing);

// Why the file can't be read at all, whatever its format.
std::optional<Failure> CheckInput(const Input& input);

// One import: settles the format, opens, sizes and reads a file, and turns whatever goes wrong into
// a Failure.
class ImportSession {
 public:
  ImportSession(Input input, ImportSettings settings, TerminalDialogs& dialogs,
                ProgressBar& progress);
  ImportSession(const ImportSession&) = delete;
  ImportSession& operator=(const ImportSession&) = delete;
  ~ImportSession();

  std::optional<Failure> Open();
  std::optional<Failure> EstablishSize();
  std::optional<Failure> Read(ReadSpreadSheetData& sink);

  int format() const { return format_; }
  const char* format_name() const { return FormatAt(format_).name; }
  int rows() const { return rows_; }
  int columns() const { return columns_; }
  // What was left out, and what else the reader warns of.
  const std::vector<std::string>& notes() const { return notes_; }
  const std::vector<std::string>& warnings() const { return warnings_; }

 private:
  std::optional<Failure> SettleFormat();
  Failure FormatFailure() const;
  Failure FileFailure(const std::string& doing) const;
  // Runs an operation that returns a status or throws.
  template <typename Operation>
  std::optional<Failure> Attempt(const std::string& doing, Operation operation);

  Input input_;
  ImportSettings settings_;
  TerminalDialogs& dialogs_;
  ProgressBar& progress_;
  Log::Sink log_before_;
  int format_ = 0;
  std::unique_ptr<SpreadsheetFile> file_;
  int rows_ = -1;
  int columns_ = -1;
  std::vector<std::string> notes_;
  std::vector<std::string> warnings_;
  std::uintmax_t opened_size_ = 0;
  std::string last_entry_;  // of the log, notes apart
};

// Writes `source` to `path` in a registered format; `shown` names the output in messages.
std::optional<Failure> WriteFormat(int format, const std::string& path, const std::string& shown,
                                   WriteSpreadSheetData& source);
