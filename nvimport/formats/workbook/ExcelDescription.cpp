// What a workbook of BIFF records says of itself (see [MS-XLS] and the OpenOffice.org documentation
// of the Excel file format), beside its summary streams:
//   BOF         0 uint16 version
//   CODEPAGE    0 uint16 number
//   DATEMODE    0 uint16 1 for days since 1904
//   BOUNDSHEET  0 uint32 position  4 uint8 state: 1 hidden, 2 very hidden  5 uint8 type
//               6 uint8 length of the name, 7 name; BIFF8: 7 option byte, 8 name
//   DIMENSIONS  0 uint16 first row, 2 row behind the last, 4 first column, 6 behind the last;
//               BIFF8: 0 and 4 uint32 rows, 8 and 10 uint16 columns

#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include "nvimport/formats/CellRangeText.h"
#include "nvimport/formats/workbook/ExcelCells.h"
#include "nvimport/formats/workbook/ExcelFile.h"
#include "nvimport/formats/workbook/ExcelWorkbook.h"
#include "nvimport/formats/workbook/SheetExtent.h"
#include "nvimport/formats/workbook/SheetSelection.h"
#include "nvimport/formats/workbook/SummaryInformation.h"
#include "nvimport/platform/CodePages.h"
#include "nvimport/platform/Utf16.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

bool IsDimensions(const BiffRecord& record) { return record.id == 0x0000 || record.id == 0x0200; }

const char* VersionName(const ExcelWorkbook& book) {
  if (book.version == 8) return book.is_biff8 ? "BIFF8" : "BIFF5";
  return book.version == 4 ? "BIFF4" : book.version == 2 ? "BIFF3" : "BIFF2";
}

// Whatever the rules: nothing of a name is left out.
std::string SheetName(const BiffRecord& record, bool is_biff8, int code_page) {
  constexpr std::size_t kName = 7;
  const std::size_t length = record.U8(6);
  std::string name;
  if (!is_biff8)
    AppendFromCodePage(name, record.Text(kName, length), code_page);
  else if ((record.U8(kName) & 0x01) != 0)
    AppendUtf16(name, record.Text(kName + 1, length * 2));
  else
    AppendLatin1(name, record.Text(kName + 1, length));
  name.resize(std::min(name.find('\0'), name.size()));
  return name;
}

// Empty where it says nothing.
std::string RangeOf(const BiffRecord& record, bool is_biff8) {
  const std::uint32_t first_row = is_biff8 ? record.U32(0) : record.U16(0);
  const std::uint32_t end_row = is_biff8 ? record.U32(4) : record.U16(2);
  const std::uint32_t first_column = record.U16(is_biff8 ? 8 : 4);
  const std::uint32_t end_column = record.U16(is_biff8 ? 10 : 6);
  if (end_row <= first_row || end_column <= first_column) return {};
  return CellRangeText(first_column, first_row, end_column - 1, end_row - 1);
}

}  // namespace

int ExcelFile::DescribeAll(Description& description) {
  if (status_ != kGood) return status_;
  if (!book_->stream) return Fail(kWrongMode);
  Stating stating(description, kWorkbookKeys);
  Budget budget = budget_;  // reading keeps its own
  if (CompoundFile* const file = book_->stream->compound_file())
    DescribeSummary(*file, budget, stating);
  DescribeBook(stating, budget);
  return kGood;
}

// The records of a workbook's globals, or of a worksheet that stands alone.
void ExcelFile::DescribeBook(Stating& stating, Budget& budget) const {
  stating.State("BOF", VersionName(*book_));
  std::set<std::uint64_t> chosen;
  for (const int number : selection_->sheets)
    chosen.insert(sheets_[static_cast<std::size_t>(number)].position);
  int code_page = kAnsiPage;
  bool has_code_page = false;
  bool has_date_mode = false;
  BIFFRecord record;
  book_->stream->Seek(0);
  while (ReadWithin(budget, record) && record.id != BiffRecord::kEof &&
         record.id != BiffRecord::kBundleHeader) {
    if (record.id == BiffRecord::kCodePage && !std::exchange(has_code_page, true)) {
      code_page = record.U16(0);
      stating.State("CODEPAGE", std::to_string(code_page));
    }
    if (record.id == BiffRecord::kDateMode && !std::exchange(has_date_mode, true))
      stating.State("DATEMODE", record.U16(0) == 1 ? "1904" : "1900");
    constexpr const char* kStates[] = {"BOUNDSHEET", "BOUNDSHEET hidden", "BOUNDSHEET very hidden"};
    const std::size_t state = record.U8(4) & 3U;
    if (record.id != BiffRecord::kBoundSheet || (record.U8(5) & 0x0F) != 0 ||
        state >= std::size(kStates))
      continue;
    const std::uint64_t position = record.U32(0);
    const std::string name = SheetName(record, book_->is_biff8, code_page);
    if (!stating.StateWithin(budget, kStates[state], name)) return;
    if (chosen.erase(position) == 0) continue;
    const std::uint64_t next = book_->stream->Tell();
    DescribeSheet(position, stating, budget);
    book_->stream->Seek(next);
  }
  if (book_->is_sheet_alone) DescribeSheet(0, stating, budget);
  // The sheets of a workspace.
  for (std::size_t i = 1; record.id == BiffRecord::kBundleHeader && i < sheets_.size(); ++i) {
    std::string name;
    if (book_->rules.texts_as_stored)
      AppendFromCodePage(name, sheets_[i].name, book_->code_page);
    else
      name = sheets_[i].name;
    if (!stating.StateWithin(budget, "BUNDLEHEADER", name)) return;
    if (chosen.erase(sheets_[i].position) > 0) DescribeSheet(sheets_[i].position, stating, budget);
  }
}

// The size that a worksheet states, and that of its cells.
void ExcelFile::DescribeSheet(std::uint64_t position, Stating& stating, Budget& budget) const {
  BIFFRecord record;
  book_->stream->Seek(position);
  while (ReadWithin(budget, record) && record.id != BiffRecord::kEof) {
    if (!IsDimensions(record)) continue;
    stating.StateIfAny("DIMENSIONS", RangeOf(record, book_->is_biff8));
    break;
  }
  if (budget.overdrawn()) return;
  SheetExtent extent;
  ExcelCells(*book_).ReadSheet(position, &extent, 0, 0);
  if (!budget.Work(book_->stream->Tell() - position)) return;
  stating.State("found columns", std::to_string(extent.GetNumberOfColumns()));
  stating.State("found rows", std::to_string(extent.GetNumberOfRows()));
}

}  // namespace nvimport
