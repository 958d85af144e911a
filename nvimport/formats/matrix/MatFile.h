#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class ByteSource;

// Reads and writes MATLAB files (.mat): levels 4 and 5, the latter also compressed. Level 7.3 is
// HDF5, which another package reads.
//
// Read, numeric, logical and character matrices, cells of values and texts, fields of structs and
// objects and the pages of arrays can be chosen; several become one sheet. Values are doubles, or
// what their class is; NaN is missing, complex numbers take two columns. Lists of texts that fit a
// matrix name its rows and columns.
class NVIMPORT_API MatFile : public SpreadsheetFile {
 public:
  MatFile();
  ~MatFile() override;

  // New options that make Open take these matrices by their names, without asking; side by side or
  // below each other, and with or without the names of their rows and columns. The caller owns the
  // record and its bytes (SpreadsheetOpenOptions::FreeOpenOptions frees those).
  static NvImportOpenOptions* GetImportOptions(const std::vector<std::string>& variables,
                                               bool below = false, bool with_names = true);

  // Those that Open takes to read.
  static std::vector<FormatOption> Options();

  // New options that make Open write the file packed or not, with these labels and values as its
  // description.
  static NvImportOpenOptions* GetExportOptions(
      bool packed, const std::vector<std::pair<std::string, std::string>>& description = {});

  // Without options the user is asked where there are several matrices.
  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  void Close() override;
  int Read(ReadSpreadSheetData* sink) override;
  // Writes numbers as one matrix, and texts as cells: the names of its columns, if the first row
  // has such, those of its rows and other columns. A sheet beyond 2 GiB is refused before.
  int Write(WriteSpreadSheetData* source) override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

 protected:
  // What shows a file as one of level 5, of formats that are read so. Null of a file as it stands,
  // or with the status of what failed.
  virtual std::unique_ptr<ByteSource> OpenSource(const char* path, int& status) const;

 private:
  struct State;
  struct Output;

  int EstablishSize() override;
  int DescribeAll(Description& description) override;
  int OpenToRead(NvImportOpenOptions* options);
  int OpenToWrite(const char* path, const NvImportOpenOptions* options);
  int StatusOfContents() const;
  int StatusOfNone() const;
  int Choose(NvImportOpenOptions* options);
  bool Ask();
  std::vector<std::string> LeftOut() const;

  std::unique_ptr<State> state_;        // of the file that is read
  std::unique_ptr<Output> output_;      // of the one that is written
  std::string left_out_;                // of a file that there is nothing to read of
  std::vector<unsigned char> choices_;  // handed out through the record given to Open
};

// Registers the format.
class NVIMPORT_API MatFileFactory final : public SprFileFactory {
 public:
  MatFileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};

}  // namespace nvimport
