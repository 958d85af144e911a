#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "nvimport/framework/NvImport.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/FileDialog.h"

namespace nvimport {

class SpreadsheetData;
class Description;
class SpreadsheetFile;

// Why CheckFilesBeforeRead refused.
enum class ReadErrors : int {
  kNone = 0,
  kNotExaminable = 1,
  kDirectory = 2,
  kOneAtATime = 3,
  kNoFormatChosen = 4,
  kNoUsableFormat = 5
};

// What a host calls to read a file into its sheet or to write its sheet to a file. It works over
// the combined list of formats, and turns every failure into a message, a log line or an exception,
// as the host asks for.
class NVIMPORT_API ImportHelper {
 public:
  // What is said of a folder among the files.
  static constexpr const char* kDirectoryText = "Directories can not be imported.";

  // Whether messages are shown (at first they are) and logged (at first they are not).
  void SetVerboseMode(bool show_messages, bool log_messages);

  // Whether a failure is thrown instead of shown: an Exception with the message and its detail, a
  // CancelException when the user cancelled. Not at first.
  void SetThrowExceptionOnError(bool throw_on_error);

  // Reads `path`, which may hold several files (FileSelection). `format` is a position in the
  // combined list when `format_known`, else the position of the open dialog's filter, as for
  // CheckFilesBeforeRead. An empty record of options (size 0, null data) is filled with the choices
  // made; the caller frees it with SpreadsheetOpenOptions::FreeOpenOptions. True when the sheet was
  // filled.
  bool ReadSpreadsheetFile(const char* path, int format, SpreadsheetData* sheet, CWnd* parent,
                           NvImportOpenOptions* options, bool format_known);

  // The same as far as it goes without reading cells: opens the file, asks what it has to ask, and
  // finds the size of the sheet.
  bool SizeSpreadsheetFile(const char* path, int format, CWnd* parent, NvImportOpenOptions* options,
                           bool format_known);

  // Whether files are read and written by the kept rules where NvImport Complete has them read
  // whole; not at first.
  void SetKeptRules(bool kept_rules) { kept_rules_ = kept_rules; }

  // Where goes what the files read or sized from now on say of themselves; null for nowhere. A file
  // of which not all can be told is no failure, but the log has a note.
  void DescribeTo(Description* description) { description_ = description; }

  // Whether files are read without a pass for their size, where their readers can; not at first.
  // The sheet then is told the columns of the first rows, and more of them as they come.
  void LeaveSizeOpen(bool leaves_size_open) { leaves_size_open_ = leaves_size_open; }

  // Is called when a file is open, its size known and it is described, before it is read: with the
  // record that repeats its choices, null or empty for none. Without it a file is described last.
  void CallBeforeReading(std::function<void(const NvImportOpenOptions* options)> call) {
    before_reading_ = std::move(call);
  }

  // The size that the last file said it has, -1 while none has. While the size is open there are
  // no rows, and the columns of the first ones.
  int GetNumRows() const { return rows_; }
  int GetNumCols() const { return columns_; }

  // Whether the last file that was read whole had no cell to deliver but empty texts.
  bool DeliveredNothing() const { return delivered_nothing_; }

  // The status that the reader or writer of the last file ended in; 0 also where none was asked.
  int GetStatus() const { return status_; }

  // Writes the sheet to `path` in `format`, a position in the combined list; below 1 the extension
  // decides among the formats that can write. True when it was written.
  bool WriteSpreadsheetFile(const char* path, int format, SpreadsheetData* sheet, CWnd* parent,
                            NvImportOpenOptions* options);

  // Checks a selection and settles its format. On entry `format` is the position of the filter in
  // the open dialog: 1 means detect, k the (k - 1)-th format that can read. On success it is a
  // position in the combined list. `show_one_at_a_time` tells whether a refusal of several files is
  // shown.
  bool CheckFilesBeforeRead(const char* path, int& format, CWnd* parent, ReadErrors& error,
                            bool show_one_at_a_time);

  // The refusal of several files by the format called `name`, as it is shown.
  static std::string OneAtATimeText(const char* name);

  // The files of the last checked selection in the user's order.
  const std::vector<std::string>& GetSelection() const { return selection_; }

  // Shows, logs or throws a message; returns the MessageBoxQuestion::Answer, OK when it was not
  // shown.
  int PutMsgMB(CWnd* parent, const char* text, const char* title, unsigned int type, int help = 0);
  void PutMsgDD(CWnd* parent, const char* text, const char* detail, const char* title);

  // Fill the filters of the open and the save dialog; the open dialog begins at the format last
  // stored. `all_files` tells whether "All Files (*.*)" is offered.
  static void GetFileData(OPENFILENAME& dialog, bool all_files);
  static void GetWriteFileData(OPENFILENAME& dialog);

  // Stores the format that the open dialog is to begin with.
  static void UpdateDefaultFileType(int format);

 private:
  bool Fail(CWnd* parent, const char* text, SpreadsheetFile& file);
  // Opens a file and finds its size, then lets `read` have it, and closes it whatever comes.
  bool Import(const char* path, int format, CWnd* parent, NvImportOpenOptions* options,
              bool format_known, const std::function<bool(SpreadsheetFile&)>& read);
  bool EstablishSize(SpreadsheetFile& file, bool shows_wait_cursor, CWnd* parent);
  // False, and said to the user, of a file without a cell.
  bool TakeSize(SpreadsheetFile& file, CWnd* parent);
  bool FillSheet(SpreadsheetFile& file, SpreadsheetData* sheet, CWnd* parent);

  bool show_messages_ = true;
  bool log_messages_ = false;
  bool kept_rules_ = false;
  bool leaves_size_open_ = false;
  bool throw_on_error_ = false;
  std::vector<std::string> selection_;
  int rows_ = -1;
  int columns_ = -1;
  int status_ = 0;
  bool delivered_nothing_ = false;
  Description* description_ = nullptr;
  std::function<void(const NvImportOpenOptions*)> before_reading_;
};

}  // namespace nvimport
