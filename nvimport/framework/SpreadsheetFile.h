#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "nvimport/framework/NvImport.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class Description;
class ReadSpreadSheetData;
class WriteSpreadSheetData;

// The status codes that all formats share. A format's own codes and their texts stand with its
// reader; StatusBlocks.h says which codes are whose.
enum CommonStatus : int {
  kGood = 0,
  kNotImplemented = 1,
  kNoSize = 2,
  kWrongMode = 3,
  kCancelled = 4,
  kInvalidOptions = 5,
  kOverBudget = 6  // what the file says would take more memory or work than an import may
};

// The text of kInvalidOptions, which every format that has options gives.
inline constexpr const char* kInvalidOptionsText =
    "The import options are not valid for this format.";

// A status code and what is said of it.
struct StatusText {
  int status;        // of the format's own codes
  const char* text;  // as a host shows it
};

// True when the codes rise, stay inside first..last and each has a text.
constexpr bool WellFormed(std::span<const StatusText> texts, int first, int last) {
  int previous = first - 1;
  for (const StatusText& entry : texts) {
    if (entry.status <= previous || entry.status > last || *entry.text == '\0') return false;
    previous = entry.status;
  }
  return true;
}

// One open file of one format. Used in this order: Open, GetNumRows and GetNumCols, Read or Write,
// Close. Every operation returns its status and keeps a failure, which later operations return at
// once; Close forgets it.
class NVIMPORT_API SpreadsheetFile {
 public:
  SpreadsheetFile() = default;
  virtual ~SpreadsheetFile();

  // Ends the work with the file and forgets its status; Open may follow.
  virtual void Close();

  // The size of the data, establishing it on the first call; -1 when that fails.
  virtual int GetNumCols();
  virtual int GetNumRows();

  // The status that stands; 0 while nothing has failed.
  virtual int GetStatus();

  // Copies the text of the current status into `buffer`, cut to `size` bytes with its NUL; writes
  // nothing when `size` is 0. A subclass passes on the codes that are not its own.
  virtual void GetErrorMessage(char* buffer, unsigned int size) = 0;

  // A warning about what was read, or null.
  virtual const char* GetWarningMessage();

  // Opens the file at `path`, for reading or for writing. `options` may be null; a reader that
  // asks the user fills an empty record (size 0, null data) with the choice, whose bytes it owns
  // until Close.
  virtual int Open(bool read, const char* path, NvImportOpenOptions* options) = 0;

  // What GetNumRows tells of a size that was left open.
  static constexpr int kOpenSize = 0x7FFFFFFF;

  // Asks to leave the size open where it takes a pass over the file; between Open and the first
  // question for it. False where the reader doesn't. Else GetNumCols tells the columns of the first
  // rows, and the sink is told of more as they come. When all was read, the size is known.
  virtual bool LeaveSizeOpen();

  // Delivers every cell to `sink`. After a failure the cells that were delivered before it stand.
  virtual int Read(ReadSpreadSheetData* sink) = 0;

  // Adds to `description` what the open file says of itself, as far as it wants that. It may pass
  // over the file once and delivers no cells.
  int Describe(Description& description);

  // Writes every cell of `source`; status 1 where the format has no writer.
  virtual int Write(WriteSpreadSheetData* source);

  // The status: true when the file is in error.
  virtual int operator!() const;

 protected:
  SpreadsheetFile(const SpreadsheetFile&) = default;
  SpreadsheetFile& operator=(const SpreadsheetFile&) = default;

  // Finds the number of columns and rows and reports them with SetSize. 0 on success.
  virtual int EstablishSize() = 0;

  // Adds what there is, which is nothing at first. Of the x values alone is asked only who has
  // some.
  virtual int DescribeAll(Description& description);
  virtual bool HasX() const { return false; }

  // Sets the status unless an earlier failure stands, and returns the one that stands.
  int Fail(int status);

  // Refuses option bytes that make no sense: status 5, and a line of the log from `source` that
  // says which.
  int RefuseOptions(std::string_view source, std::string_view key, std::string_view value);

  // Takes the size found; one that an int can't hold is status 2.
  int SetSize(std::uint64_t columns, std::uint64_t rows);

  // The same at the end of a read that began without the size of its rows: the sink is told too.
  int TakeFinalSize(ReadSpreadSheetData& sink, int columns, int rows);

  // Copies the current status's text if it is one of `texts`.
  bool CopyText(std::span<const StatusText> texts, char* buffer, unsigned int size) const;
  // The same with the name of the host application for each "%s".
  bool CopyNamingText(std::span<const StatusText> texts, char* buffer, unsigned int size) const;

  int num_cols_ = -1;              // -1 while it isn't known, as the rows
  int num_rows_ = -1;              // likewise
  bool size_established_ = false;  // EstablishSize was called
  int status_ = kGood;             // the first failure stands
};

}  // namespace nvimport
