#include "nvimport/formats/workbook/SheetBookFile.h"

#include <utility>

#include "nvimport/formats/workbook/SheetBook.h"
#include "nvimport/formats/workbook/SheetBookFormat.h"
#include "nvimport/formats/workbook/SheetSelection.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/SpreadsheetData.h"

namespace nvimport {

namespace {

using Outcome = SheetBook::Outcome;

int StatusOf(const SheetBookFormat& format, Outcome outcome) {
  const auto own = [&](SheetBookStatus status) { return format.first_status + status; };
  switch (outcome) {
    case Outcome::kGood:
    case Outcome::kStopped:
      return kGood;
    case Outcome::kNotBuilt:
      return kNotImplemented;
    case Outcome::kCannotOpen:
      return own(kSheetBookNotOpen);
    case Outcome::kOtherFormat:
      return own(kSheetBookOtherFormat);
    case Outcome::kBrokenPackage:
      return own(kSheetBookBroken);
    case Outcome::kProtected:
      return own(kSheetBookProtected);
    case Outcome::kNoPassword:
      return own(kSheetBookNoPassword);
    case Outcome::kWrongPassword:
      return own(kSheetBookWrongPassword);
    case Outcome::kNoCrypto:
      return own(kSheetBookNoCrypto);
    case Outcome::kCancelled:
      return kCancelled;
    case Outcome::kBadWorkbook:
      return own(kSheetBookBadWorkbook);
    case Outcome::kBadWorksheet:
      return own(kSheetBookBadWorksheet);
    case Outcome::kNoSheets:
      return own(kSheetBookNoSheets);
    case Outcome::kTooLarge:
      return own(kSheetBookTooLarge);
    case Outcome::kOverBudget:
      return kOverBudget;
  }
  return own(kSheetBookBadWorkbook);
}

}  // namespace

SheetBookFile::SheetBookFile(const SheetBookFormat& format)
    : format_(format), selection_(std::make_unique<SheetSelection>()) {}

SheetBookFile::~SheetBookFile() = default;

NvImportOpenOptions* SheetBookFile::GetImportOptions(const std::vector<int>& sheets,
                                                     bool above_and_below) {
  return SheetSelection{sheets, above_and_below}.NewOptions();
}

int SheetBookFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (status_ != kGood) return status_;
  if (!read) return Fail(kWrongMode);
  Close();
  Outcome outcome{};
  book_ = format_.open(path != nullptr ? path : "", outcome);
  if (!book_) return Fail(StatusOf(format_, outcome));
  selection_->sheets.assign(1, 1);
  if (ChooseSheets(options) != kGood) book_.reset();
  return status_;
}

void SheetBookFile::Close() {
  book_.reset();
  *selection_ = {};
  leaves_size_open_ = false;
  options_.clear();
  SpreadsheetFile::Close();
}

int SheetBookFile::ChooseSheets(NvImportOpenOptions* options) {
  const auto& sheets = book_->sheets();
  if (sheets.size() > 1) {
    const bool is_stored = options != nullptr && options->size != 0 && options->data != nullptr;
    std::optional<SheetSelection> selection;
    if (is_stored) {
      selection = SheetSelection::Parse(*options, sheets.size(), format_.source);
    } else {
      std::vector<OfferedSheet> offered;
      offered.reserve(sheets.size());
      for (const SheetBook::Sheet& sheet : sheets) {
        SheetBook::Extent extent;
        book_->Measure(sheet, extent);
        offered.push_back({sheet.name, extent.columns, extent.rows});
      }
      selection = SheetSelection::Ask(offered, format_.words);
    }
    if (!selection) return Fail(is_stored ? kInvalidOptions : kCancelled);
    *selection_ = *std::move(selection);
  }
  GiveChoices(selection_->Bytes(), options_, options);
  return kGood;
}

int SheetBookFile::GetWorksheets(std::vector<std::string>& names) const {
  names.clear();
  if (book_)
    for (const SheetBook::Sheet& sheet : book_->sheets()) names.push_back(sheet.name);
  return status_;
}

int SheetBookFile::SetCurWorksheet(int sheet) { return SetCurWorksheet(std::vector<int>{sheet}); }

int SheetBookFile::SetCurWorksheet(const std::vector<int>& sheets) {
  SheetSelection selection{sheets, selection_->above_and_below};
  if (!selection.IsWithin(book_ ? book_->sheets().size() : 0)) return kInvalidOptions;
  *selection_ = std::move(selection);
  size_established_ = false;
  return kGood;
}

// Of several the places of one depend on the size of another.
bool SheetBookFile::LeaveSizeOpen() {
  return leaves_size_open_ = book_ && selection_->sheets.size() == 1;
}

// A worksheet that breaks off has the size of what stands before, and reading it says so; unless
// nothing does.
int SheetBookFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (!book_) return Fail(kWrongMode);
  if (leaves_size_open_ && selection_->sheets.size() == 1) {
    const auto first = static_cast<std::size_t>(selection_->sheets.front() - 1);
    if (const auto columns = book_->FirstColumns(book_->sheets()[first]))
      return SetSize(*columns, kOpenSize);
  }
  SheetLayout layout(selection_->above_and_below);
  Outcome worst = Outcome::kGood;
  for (const int number : selection_->sheets) {
    SheetBook::Extent extent;
    const Outcome outcome =
        book_->Measure(book_->sheets()[static_cast<std::size_t>(number - 1)], extent);
    if (worst == Outcome::kGood) worst = outcome;
    layout.Add(extent.columns, extent.rows);
  }
  if (worst != Outcome::kGood && layout.rows() == 0) return Fail(StatusOf(format_, worst));
  return SetSize(layout.columns(), layout.rows());
}

int SheetBookFile::Read(ReadSpreadSheetData* sink) {
  if (GetNumCols() < 0) return status_;
  const bool is_open = num_rows_ == kOpenSize;
  if (!is_open) sink->SetDataSize(num_cols_, num_rows_);
  SheetLayout layout(selection_->above_and_below);
  std::vector<SheetBook::Placed> placed;
  placed.reserve(selection_->sheets.size());
  for (const int number : selection_->sheets) {
    const SheetBook::Sheet& sheet = book_->sheets()[static_cast<std::size_t>(number - 1)];
    placed.push_back({&sheet, {sink, layout.column_offset(), layout.row_offset(), is_open}});
    if (is_open) break;
    SheetBook::Extent extent;
    book_->Measure(sheet, extent);
    layout.Add(extent.columns, extent.rows);
  }
  const Outcome outcome = book_->ReadSheets(placed);
  book_->WriteNotes();
  if (const int status = StatusOf(format_, outcome); status != kGood) return Fail(status);
  if (!is_open || outcome == Outcome::kStopped) return kGood;
  SheetBook::Extent extent;
  book_->Measure(*placed.front().sheet, extent);
  return TakeFinalSize(*sink, static_cast<int>(extent.columns), static_cast<int>(extent.rows));
}

int SheetBookFile::DescribeAll(Description& description) {
  if (status_ != kGood) return status_;
  if (!book_) return Fail(kWrongMode);
  book_->Describe(description, selection_->sheets);
  return kGood;
}

void SheetBookFile::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyNamingText(format_.texts, buffer, size)) SpreadsheetFile::GetErrorMessage(buffer, size);
}

}  // namespace nvimport
