#pragma once

#include <memory>
#include <string>

#include "nvimport/formats/text/TextFile.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class TemporaryFile;

// Reads TIVON worksheets: a TAB-separated text, as a file of its own or as the first ".dat" stream
// of a compound file. Such a stream is copied into a temporary file, which goes with Close.
class NVIMPORT_API TivonFile : public TextFile {
 public:
  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  void Close() override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

 protected:
  // There is nothing to choose.
  bool SetOptions(NvImportOpenOptions* options) override;
  // What its text tells, and of a compound file what that says.
  int DescribeAll(Description& description) override;

 private:
  int OpenWorksheet(const char* path, NvImportOpenOptions* options);

  std::string container_;                // the compound file
  std::shared_ptr<TemporaryFile> copy_;  // of the worksheet; a copied reader reads the same one
};

class NVIMPORT_API TivonFileFactory final : public SprFileFactory {
 public:
  TivonFileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};

}  // namespace nvimport
