#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

class BlockReader;

// Brimrose near-infrared spectra: names in row 1, then an observation a row, with its sequence
// number, its local time and its values from column 3 on.
class NVIMPORT_API BrimroseFile : public SpreadsheetFile {
 public:
  BrimroseFile();
  ~BrimroseFile() override;

  // True when the file's header makes sense in every field and its length is what the header says.
  // A true answer silences every other format, so nothing less will do.
  static bool IsBrimroseFile(const char* path);

  // Options that import these rows and columns of the sheet, and its row of names. The caller frees
  // them with SpreadsheetOpenOptions::FreeOpenOptions and deletes the record.
  static NvImportOpenOptions* GetImportOptions(RangeChoice rows, RangeChoice columns);

  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  int Read(ReadSpreadSheetData* sink) override;
  void Close() override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

 protected:
  int EstablishSize() override;

 private:
  struct Header {
    double first = 0;  // wavelength
    double last = 0;
    double step = 0;
    int points = 0;
    int observations = 0;

    bool IsFinite() const;
    std::uint64_t ObservationSize() const;
  };

  // The header at the start of the file; none of a file that is too short for one.
  static std::optional<Header> ReadMainHeader(InputFile& file);

  void MakeNameRow(ReadSpreadSheetData& sink) const;
  int MakeDataRow(ReadSpreadSheetData& sink, int row);

  RangeChoice rows_;
  RangeChoice columns_;
  InputFile file_;
  std::unique_ptr<BlockReader> reader_;
  std::uint64_t file_size_ = 0;
  Header header_;
};

class NVIMPORT_API BrimroseFileFactory final : public SprFileFactory {
 public:
  BrimroseFileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};

}  // namespace nvimport
