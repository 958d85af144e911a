#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "apps/nvimport/Failure.h"
#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/ImportHelper.h"
#include "nvimport/platform/Log.h"

namespace nvimport {

class ProgressBar;
class TerminalDialogs;

// A file to read, or several that become one sheet: where it is, and its name in messages.
struct Input {
  std::string path;  // of several files as FileSelection joins them
  std::string shown;
  std::vector<Input> parts;  // the several files
};

struct ImportSettings {
  int format = 0;       // 0: by detection
  std::string options;  // "key=value;key=value" for formats that take such, else empty
  std::optional<std::string> delimiter;  // for those whose delimiter is one of them
  // The options as they are stored, in place of those two.
  std::optional<std::vector<unsigned char>> stored_options;
};

// The formats that the command knows.
const std::vector<KnownFormat>& Formats();
const NvImportFormatInfo& FormatAt(int format);

// The format of that name or index; of that extension (with or without its point) the first that
// can be read or written. 0 for none.
int FindFormat(const std::string& name, bool for_writing);

// The bytes of all files.
std::uintmax_t TotalSize(const Input& input);

inline constexpr const char* kBecameShorter = "The file became shorter while it was read.";

// Why the file can't be read at all, whatever its format.
std::optional<Failure> CheckInput(const Input& input);

// One import through the driver: settles the format, asks what there is to ask, and turns whatever
// goes wrong into a Failure.
class ImportSession {
 public:
  ImportSession(Input input, ImportSettings settings, TerminalDialogs& dialogs,
                ProgressBar& progress);
  ImportSession(const ImportSession&) = delete;
  ImportSession& operator=(const ImportSession&) = delete;
  ~ImportSession();

  // Each begins with the file anew.
  std::optional<Failure> Measure();
  std::optional<Failure> Read(SpreadsheetData& sheet);

  int format() const { return format_; }
  const char* format_name() const { return FormatAt(format_).name; }
  int rows() const { return driver_.GetNumRows(); }
  int columns() const { return driver_.GetNumCols(); }
  // The options that repeat the import without a question: those given, else the choices made.
  const std::vector<unsigned char>& stored_options() const { return stored_options_; }
  // The status of the reader that refused, 0 where it was none.
  int status() const { return driver_.GetStatus(); }
  // What a reader logged last, empty for nothing.
  const std::string& last_entry() const { return last_entry_; }
  // What was left out.
  const std::vector<std::string>& notes() const { return notes_; }

 private:
  // Does one operation of the driver, which takes the path and the options.
  std::optional<Failure> Run(
      const std::function<bool(const char* path, NvImportOpenOptions* options)>& operation);
  std::vector<unsigned char> GivenOptions(bool takes_delimiter) const;
  // The format, and the files in their order.
  std::optional<Failure> SettleFormat();
  Failure FormatFailure() const;
  // Why the driver or a reader refused.
  Failure Refusal() const;
  Failure Because(const std::string& text) const;

  Input input_;
  ImportSettings settings_;
  TerminalDialogs& dialogs_;
  ProgressBar& progress_;
  Log::Sink log_before_;
  ImportHelper driver_;
  int format_ = 0;
  std::vector<unsigned char> stored_options_;
  std::vector<std::string> notes_;
  std::string last_entry_;  // of the readers in the log, notes apart
};

// Writes `sheet` to `path` in a registered format; `shown` names the output in messages.
std::optional<Failure> WriteFormat(int format, const std::string& path, const std::string& shown,
                                   SpreadsheetData& sheet, TerminalDialogs& dialogs);

}  // namespace nvimport
