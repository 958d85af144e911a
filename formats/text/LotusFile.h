#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "framework/SprFileFactory.h"
#include "framework/SpreadsheetFile.h"
#include "platform/BlockReader.h"
#include "platform/Export.h"
#include "platform/InputFile.h"

// Habits that repeat imports of old exactly. Each costs cells.
struct LotusRules {
  bool formula_values_left_out = true;  // a formula's value arrives only if it is no number
  bool range_start_ignored = true;      // a range not from the first cell loses what its width ends
};

// Worksheets of Lotus 1-2-3 release 1A and 2 and of Symphony (WKS, WK1, WRK, WR1).
class NVIMPORT_API LotusFile : public SpreadsheetFile {
 public:
  explicit LotusFile(LotusRules rules = {}) : rules_(rules) {}
  LotusFile(const LotusFile& other);
  LotusFile& operator=(const LotusFile& other);
  ~LotusFile() override;

  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  int Read(ReadSpreadSheetData* sink) override;
  void Close() override;
  // From the range that the worksheet states; -1 without one.
  int GetNumCols() override;
  int GetNumRows() override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

 protected:
  // The size comes from the range alone: this does nothing and returns 1.
  int EstablishSize() override;

 private:
  struct Record {
    int type = 0;
    int length = 0;
    const char* data = nullptr;
  };
  struct LeftOut {
    std::uint64_t formulas = 0;
    std::uint64_t outside = 0;
  };

  int IsLotusFile();
  // Takes the next record, whole; false at the end of the file or at one that can't be.
  bool ReadRecord(Record& record);
  bool FindLotusRecord(int type, Record& record);
  bool EstablishRange();
  void SetCell(const Record& record, ReadSpreadSheetData& sink, LeftOut& left_out);
  bool IsValidPos(int column, int row) const;

  LotusRules rules_;
  std::string path_;
  InputFile input_;
  BlockReader reader_;
  int first_column_ = 0;  // of the range, from 0
  int first_row_ = 0;
};

class NVIMPORT_API LotusFileFactory final : public SprFileFactory {
 public:
  LotusFileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};
