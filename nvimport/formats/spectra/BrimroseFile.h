#pragma once

#include <cstdint>

#include "nvimport/formats/spectra/SpectraFile.h"
#include "nvimport/framework/RuledFactory.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

// Habits that repeat imports of old exactly. Each costs what its line says.
struct BrimroseRules {
  bool names_of_whole_numbers = true;     // the difference between the names of close points
  bool cut_files_end_with_errors = true;  // the success of reading what is whole

  // None of them.
  static constexpr BrimroseRules Off() { return NoRules<BrimroseRules>(); }
};

// Brimrose near-infrared spectra: names in row 1, then an observation a row, with its sequence
// number, its local time and its values from column 3 on.
class NVIMPORT_API BrimroseFile : public SpectraFile {
 public:
  // A reader with some of the kept rules of reading, at first with all.
  explicit BrimroseFile(BrimroseRules rules = {});

  // True when the file's header makes sense in every field and its length is what the header says.
  // A true answer silences every other format, so nothing less will do.
  static bool IsBrimroseFile(const char* path);

  // Options that import these rows and columns of the sheet, and its row of names. The caller frees
  // them with SpreadsheetOpenOptions::FreeOpenOptions and deletes the record.
  static NvImportOpenOptions* GetImportOptions(RangeChoice rows, RangeChoice columns);

  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  int Read(ReadSpreadSheetData* sink) override;
  void Close() override;

 protected:
  int EstablishSize() override;
  int DescribeFiles(Description& description) override;

 private:
  void TellRest() const;
  void MakeNameRow(ReadSpreadSheetData& sink) const;
  int MakeDataRow(ReadSpreadSheetData& sink, int row, BlockReader& reader, std::uint64_t file_size);

  BrimroseRules rules_;
  RangeChoice rows_;
  int cut_ = 0;                // observations
  std::uint64_t further_ = 0;  // bytes behind them
  InputFile file_;
};

class NVIMPORT_API BrimroseFileFactory final : public RuledFactory<BrimroseFile, BrimroseRules> {
 public:
  explicit BrimroseFileFactory(const BrimroseRules& rules = {});
  int IsCorrectFileType(const char* path) override;
};

}  // namespace nvimport
