#pragma once

#include <memory>
#include <vector>

#include "nvimport/framework/NvImport.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class StreamReader;
class StreamWriter;

// Owns a copy of the settings of one import, or none.
class NVIMPORT_API SpreadsheetOpenOptions {
 public:
  // None, a copy of a record (which may be null), or what Write stored, see Read.
  SpreadsheetOpenOptions();
  SpreadsheetOpenOptions(const NvImportOpenOptions* options);  // NOLINT: a view of the same thing
  explicit SpreadsheetOpenOptions(StreamReader& reader);
  SpreadsheetOpenOptions(const SpreadsheetOpenOptions& other);
  SpreadsheetOpenOptions& operator=(const SpreadsheetOpenOptions& other);
  SpreadsheetOpenOptions& operator=(const NvImportOpenOptions* options);
  virtual ~SpreadsheetOpenOptions();

  // The record held, or null.
  operator const NvImportOpenOptions*() const;  // NOLINT: the wrapper stands for its record

  // Stores the options: a bool (are there any), their size as 32 bits, their bytes.
  void Write(StreamWriter& writer) const;

  // Replaces what is held by what Write stored. Throws an Exception, and then holds nothing, when
  // the stream ends early or gives a size that can't be.
  void Read(StreamReader& reader);

  // Gives `target` a fresh copy of the bytes (null for size 0). What it held is not released.
  static void CopyOpenOptions(NvImportOpenOptions* target, const NvImportOpenOptions* source);

  // A new record with a copy of `bytes`, for the static GetImportOptions of readers. The caller
  // frees the bytes with FreeOpenOptions and deletes the record.
  static NvImportOpenOptions* NewOpenOptions(std::vector<unsigned char> bytes);

  // Releases the bytes that CopyOpenOptions made; the record itself stays.
  static void FreeOpenOptions(NvImportOpenOptions* options);

 protected:
  // Holds a copy of the record, none of a null one.
  void Reset(const NvImportOpenOptions* options);

 private:
  struct Held;
  std::unique_ptr<Held> held_;
};

}  // namespace nvimport
