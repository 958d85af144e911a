#pragma once

#include <bit>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/workbook/ExcelStream.h"
#include "nvimport/framework/RuledFactory.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Budget.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class ExcelFormats;
class Stating;
struct ExcelWorkbook;
struct SheetSelection;

// Habits that repeat imports of old exactly. Each costs what its line says.
struct ExcelRules {
  bool skip_cells_before_first_row = true;  // all cells of a sheet without ROW records
  bool ignore_biff2_cells = true;           // INTEGER, NUMBER, LABEL and BOOLERR cells of BIFF2
  bool ignore_biff3_cells = true;           // BIFF3: NUMBER, LABEL, BOOLERR and FORMULA cells
  bool labels_without_option_byte = true;   // BIFF8: the texts of LABEL and RSTRING cells
  bool booleans_as_empty_text = true;       // the values of booleans
  bool ignore_formula_errors = true;        // the cells of formulas that result in an error
  bool ignore_empty_formula_texts = true;   // the cells of formulas that result in no text
  bool formula_id_by_version = true;        // formulas with another version's record
  bool string_only_after_shrfmla = true;    // texts that array formulas result in
  bool columns_by_low_byte = true;          // the place of cells beyond column 256
  bool next_bof_ends_sheet = true;          // cells behind an embedded chart
  // Shared strings behind a continued wide one, the ends of long texts that formulas result in.
  bool continued_strings_keep_option_byte = true;
  bool texts_as_stored = true;              // the code page that 8-bit texts are in
  bool dates_by_lower_case_letters = true;  // dates as numbers, and numbers as dates
  bool dates_from_biff5_on = true;          // BIFF2 to BIFF4: dates as numbers
  bool narrow_sheet_names = true;           // BIFF8: wide sheet names but for their first letter
  bool exact_stream_names = true;           // workbooks in "WORKBOOK"; in two forms, the newer one
  bool sheets_need_dimensions = true;   // sheets without a DIMENSIONS record, or with an empty one
  bool bad_sheet_ends_workbook = true;  // the other sheets of a workbook with one beyond its end
  bool sizes_as_stated = true;          // the size of the cells; those beyond it, of several sheets
  bool size_with_extra_one = true;      // the right size of several sheets together
  bool passwords_refused = true;  // encrypted workbooks, those without a password of their own

  // None of them: every cell of the file.
  static constexpr ExcelRules Off() { return NoRules<ExcelRules>(); }
};

// Reads Excel workbooks and worksheets of BIFF2 to BIFF8. Several worksheets of a workbook become
// one sheet, side by side or above and below.
class NVIMPORT_API ExcelFile : public SpreadsheetFile {
 public:
  // What a workbook's stream consists of.
  using BIFFRecord = BiffRecord;

  // A reader with some of the kept rules of reading, at first with all.
  explicit ExcelFile(const ExcelRules& rules = {});
  ~ExcelFile() override;

  // Little-endian values of the type that the name says; `swap` takes them big-endian.
  static signed char I1Shuffle(const unsigned char* bytes, bool swap);
  static std::int16_t I2Shuffle(const unsigned char* bytes, bool swap);
  static std::uint16_t uI2Shuffle(const unsigned char* bytes, bool swap);
  static std::int32_t I4Shuffle(const unsigned char* bytes, bool swap);
  static double DShuffle(const unsigned char* bytes, bool swap);

  // The number that an RK value stands for: an integer where bit 1 is set, else the upper bits of a
  // double; a hundredth of that where bit 0 is set.
  static double NumFromRk(int rk) {
    const auto bits = static_cast<std::uint32_t>(rk);
    const double value = (bits & 2) != 0 ? static_cast<double>(rk >> 2)
                                         : std::bit_cast<double>(std::uint64_t{bits & ~3U} << 32);
    return (bits & 1) != 0 ? value / 100 : value;
  }

  // A selection of worksheets as text: '1' when they stand above and below, else '0', then a comma
  // and the number of each.
  static void ConvertSheetVectorToString(const std::vector<int>& sheets, bool above_and_below,
                                         std::string& text);

  // The other way round.
  static void ConvertSheetStringToVector(const std::string& text, std::vector<int>& sheets,
                                         bool& above_and_below);

  // New options that make Open take these worksheets, numbered from 1, without asking. The caller
  // owns the record and its bytes (SpreadsheetOpenOptions::FreeOpenOptions frees those).
  static NvImportOpenOptions* GetImportOptions(const std::vector<int>& sheets,
                                               bool above_and_below);

  // Options are the selection as a binary string and the position, from 0, of a single worksheet
  // (32 bits; -1: the string's). Without them the user is asked where there are several.
  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  void Close() override;
  int GetNumCols() override;
  int GetNumRows() override;
  int Read(ReadSpreadSheetData* sink) override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

  // The names of the workbook's worksheets, in the order of their numbers. 0 on success.
  int GetWorksheets(std::vector<std::string>& names) const;

  // Takes one worksheet, or several in this order, instead of those chosen when the file was
  // opened. Numbers from 1; with one that there is none of nothing changes, and the answer is 5.
  int SetCurWorksheet(int sheet);
  int SetCurWorksheet(const std::vector<int>& sheets);

  // Reads the next record of the workbook; false when there is none.
  bool ReadBiffRecord(BIFFRecord& record);

 private:
  struct Sheet {
    std::string name;
    std::uint64_t position = 0;  // of its BOF record
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    bool is_extra = false;     // offered though it states no size
    bool is_measured = false;  // and so of its true size
  };

  int EstablishSize() override;
  int OpenStream(const char* path);
  int OpenSingleSheet(NvImportOpenOptions* options);
  int ReadGlobals();
  int TakeGlobal(const BIFFRecord& record, std::uint64_t position, ExcelFormats& formats);
  int Unlock(const BIFFRecord& file_pass);
  int TakeBundleHeader(const BIFFRecord& header);
  int TakeBoundSheet(const BIFFRecord& record);
  int AddSheet(std::string_view name, std::uint64_t position);
  bool ReadWithinBudget(BIFFRecord& record) { return ReadWithin(budget_, record); }
  int OrOverBudget(int status) const { return budget_.overdrawn() ? kOverBudget : status; }
  int IsWorksheet(std::uint64_t position, Sheet& sheet);
  void MeasureSheet(Sheet& sheet);
  int GetSheet(NvImportOpenOptions* options);
  // With the worksheets that there are, hidden or not.
  int DescribeAll(Description& description) override;
  void DescribeBook(Stating& stating, Budget& budget) const;
  void DescribeSheet(std::uint64_t position, Stating& stating, Budget& budget) const;
  bool ReadWithin(Budget& budget, BIFFRecord& record) const;
  std::optional<SheetSelection> Ask() const;

  std::string path_;
  std::unique_ptr<ExcelWorkbook> book_;
  std::vector<Sheet> sheets_ = std::vector<Sheet>(1);  // entry 0 is the stream itself
  // Those that only some rules offer. They come last, so that a number means the same under all.
  std::vector<Sheet> extra_sheets_;
  std::unique_ptr<SheetSelection> selection_;
  // Globals may lead back into themselves, and sheets into the same long run of records.
  Budget budget_;
  std::uint64_t sheets_without_dimensions_ = 0;
  std::uint64_t sheets_unread_ = 0;
  std::vector<unsigned char> options_;  // handed out through the record given to Open
};

class NVIMPORT_API ExcelFileFactory final : public RuledFactory<ExcelFile, ExcelRules> {
 public:
  explicit ExcelFileFactory(const ExcelRules& rules = {});
};

}  // namespace nvimport
