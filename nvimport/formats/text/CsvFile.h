#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/framework/RuledFactory.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class TextInput;
enum class CsvOutcome;

// What repeats imports of old exactly. It costs what its line says.
struct CsvRules {
  bool utf16_needs_mark = true;  // texts in UTF-16 without a byte-order mark

  // None of them.
  static constexpr CsvRules Off() { return NoRules<CsvRules>(); }
};

// Reads comma-separated values (RFC 4180, and what is met besides): lines are rows, a delimiter
// separates fields, quotes hold fields together. Every field is handed on as text, empty ones are
// missing. Ragged rows are allowed. Nothing is asked: what the options leave open is guessed.
class NVIMPORT_API CsvFile final : public SpreadsheetFile {
 public:
  // A reader with some of the kept rules of reading, at first with all.
  explicit CsvFile(const CsvRules& rules = {});
  ~CsvFile() override;

  // New options. `delimiter` is "comma", "semicolon", "tab", "bar", "blank" or a byte, guessed when
  // empty; `quote` is "double", "single", "none" or a byte; `header` whether the first row is
  // delivered. The caller owns the record and its bytes.
  static NvImportOpenOptions* GetImportOptions(const std::string& delimiter,
                                               const std::string& quote = "double",
                                               bool header = true);

  // Options are pairs "delimiter=semicolon;quote=none;header=0".
  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  void Close() override;
  bool LeaveSizeOpen() override;
  int Read(ReadSpreadSheetData* sink) override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

 private:
  int EstablishSize() override;
  // Its encoding where the bytes show it, its line ends, and the delimiter that a "sep=" line names
  // or that separates something.
  int DescribeAll(Description& description) override;
  int TakeOptions(const NvImportOpenOptions* options);
  // Looks at the start of the file for what the options left open.
  int TakeHead();
  void WriteBack(NvImportOpenOptions& options);
  // Goes to the first row; with `of_head` the text ends there after a while.
  bool SeekRows(bool of_head = false);
  // Fails where a walk through the rows did. The text names the line of the field at `field` there.
  int FailAs(CsvOutcome outcome, int read_failed, std::uint64_t field);
  // The line of the file, from 1, on which the byte of its text stands.
  std::uint64_t LineOf(std::uint64_t offset);

  CsvRules rules_;
  std::unique_ptr<TextInput> input_;
  char delimiter_ = '\0';        // NUL while it isn't known
  char named_delimiter_ = '\0';  // in a line of its own; NUL where none does
  char quote_ = '"';
  bool header_ = true;
  bool leaves_size_open_ = false;
  std::uint64_t rows_begin_ = 0;  // in the text, behind a line that only names the delimiter
  std::uint64_t failed_line_ = 0;
  std::vector<unsigned char> options_;  // handed out through the record given to Open
};

// Registers the format.
class NVIMPORT_API CsvFileFactory final : public RuledFactory<CsvFile, CsvRules> {
 public:
  // Of readers with these rules.
  explicit CsvFileFactory(const CsvRules& rules = {});
};

}  // namespace nvimport
