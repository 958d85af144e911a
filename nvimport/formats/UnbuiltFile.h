#pragma once

#include "nvimport/framework/SpreadsheetFile.h"

namespace nvimport {

// The reader of a format that is registered before its reader is built: it opens nothing.
class UnbuiltFile : public SpreadsheetFile {
 public:
  int Open(bool, const char*, NvImportOpenOptions*) override { return Fail(kNotImplemented); }
  int Read(ReadSpreadSheetData*) override { return Fail(kNotImplemented); }
  void GetErrorMessage(char* buffer, unsigned int size) override {
    SpreadsheetFile::GetErrorMessage(buffer, size);
  }

 private:
  int EstablishSize() override { return Fail(kNotImplemented); }
};

}  // namespace nvimport
