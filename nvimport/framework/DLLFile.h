#pragma once

#include <string>

#include "nvimport/framework/NvImport.h"
#include "nvimport/framework/NvImportMore.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class PluginTurns;

// One open file of a format that some library serves through the twelve functions.
class NVIMPORT_API DLLFile : public SpreadsheetFile {
 public:
  // The functions may be null each; `index` is the format's number within its library, which must
  // stay loaded as long as this object. Threads take their turns with it unless those are null.
  DLLFile(decltype(&NvImportOpen) open, decltype(&NvImportClose) close,
          decltype(&NvImportGetLastError) get_last_error,
          decltype(&NvImportEstablishSize) establish_size, decltype(&NvImportRead) read,
          decltype(&NvImportWrite) write, decltype(&NvImportGetWarning) get_warning, bool can_read,
          bool can_write, int index, PluginTurns* turns = nullptr);
  // The functions beside the twelve that the library has, null each where it hasn't.
  void UseMore(decltype(&NvImportReadWhole) read_whole, decltype(&NvImportDescribe) describe,
               decltype(&NvImportGetNote) get_note, decltype(&NvImportGetStatus) get_status,
               decltype(&NvImportLeaveSizeOpen) leave_size_open);
  DLLFile(const DLLFile&) = delete;
  DLLFile& operator=(const DLLFile&) = delete;
  ~DLLFile() override;

  void Close() override;
  void GetErrorMessage(char* buffer, unsigned int size) override;
  const char* GetWarningMessage() override;
  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  // An exception of the sink or the source leaves here, after the library's function has ended.
  int Read(ReadSpreadSheetData* sink) override;
  int Write(WriteSpreadSheetData* source) override;
  bool LeaveSizeOpen() override;

  // Whether the last read of all rows went well and had no cell but empty texts for any of them.
  bool delivered_nothing() const { return delivered_nothing_; }

  // The status of the library's reader where it tells one, else that of this object.
  int GetServedStatus();

 private:
  int EstablishSize() override;
  int DescribeAll(Description& description) override;
  bool HasX() const override { return true; }
  template <typename Function, typename Record>
  int ReadBy(Function read, Record record);
  void CloseHandle();
  // Calls a function of the library; `otherwise` when it throws.
  template <typename Result, typename Function>
  Result Call(Result otherwise, Function function);

  decltype(&NvImportOpen) open_;
  decltype(&NvImportClose) close_;
  decltype(&NvImportGetLastError) get_last_error_;
  decltype(&NvImportEstablishSize) establish_size_;
  decltype(&NvImportRead) read_;
  decltype(&NvImportWrite) write_;
  decltype(&NvImportGetWarning) get_warning_;
  decltype(&NvImportReadWhole) read_whole_ = nullptr;
  decltype(&NvImportDescribe) describe_ = nullptr;
  decltype(&NvImportGetNote) get_note_ = nullptr;
  decltype(&NvImportGetStatus) get_status_ = nullptr;
  decltype(&NvImportLeaveSizeOpen) leave_size_open_ = nullptr;
  bool can_read_;
  bool can_write_;
  int index_;
  PluginTurns* turns_;
  std::string thrown_;  // what the library threw, where nothing may be thrown
  long handle_ = 0;     // also that of a failed open, which its error text and Close need
  bool opened_ = false;
  bool delivered_nothing_ = false;
};

}  // namespace nvimport
