#include "nvimport/formats/workbook/Excel2007File.h"

#include <utility>

#include "nvimport/formats/workbook/Excel2007Book.h"
#include "nvimport/formats/workbook/SheetSelection.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/SpreadsheetData.h"

namespace nvimport {

namespace {

enum Status : int {
  kCannotOpen = 3328,
  kBadWorkbook,
  kBadWorksheet,
  kNotExcel,
  kBrokenPackage,
  kProtected,
  kNoSheets,
  kTooLarge,
  kNoPassword,
  kWrongPassword,
  kNoCrypto
};
// "%s" is the name of the host application.
constexpr StatusText kTexts[] = {
    {kInvalidOptions, kInvalidOptionsText},
    {kCannotOpen, "Unable to open Excel file."},
    {kBadWorkbook,
     "An error occurred when reading the Workbook section in the Excel file. An invalid part was "
     "found."},
    {kBadWorksheet,
     "An error occurred when reading a Worksheet in the Excel file. An invalid part was found."},
    {kNotExcel, "This file does not appear to be a valid Excel 2007 file."},
    {kBrokenPackage,
     "The Excel file is damaged or incomplete. The directory of its parts cannot be read."},
    {kProtected,
     "%s cannot read (password-) protected Excel workbooks. You will need to remove the password "
     "protection to be able to read the file into %s."},
    {kNoSheets, "The excel file does not contain any sheets."},
    {kTooLarge,
     "The Excel file states that it unpacks to far more than a workbook of its size can hold."},
    {kNoPassword, "The workbook is encrypted with a password, which was not given."},
    {kWrongPassword, "The password does not open the workbook."},
    {kNoCrypto,
     "The workbook is encrypted, and this library was built without nettle, which decrypts it."},
};
static_assert(WellFormed(kTexts, kInvalidOptions, 3338));

int StatusOf(Excel2007Book::Outcome outcome) {
  using Outcome = Excel2007Book::Outcome;
  switch (outcome) {
    case Outcome::kGood:
      return kGood;
    case Outcome::kNotBuilt:
      return kNotImplemented;
    case Outcome::kCannotOpen:
      return kCannotOpen;
    case Outcome::kNotPackage:
      return kNotExcel;
    case Outcome::kBrokenPackage:
      return kBrokenPackage;
    case Outcome::kProtected:
      return kProtected;
    case Outcome::kNoPassword:
      return kNoPassword;
    case Outcome::kWrongPassword:
      return kWrongPassword;
    case Outcome::kNoCrypto:
      return kNoCrypto;
    case Outcome::kCancelled:
      return nvimport::kCancelled;
    case Outcome::kBadWorkbook:
      return kBadWorkbook;
    case Outcome::kBadWorksheet:
      return kBadWorksheet;
    case Outcome::kNoSheets:
      return kNoSheets;
    case Outcome::kTooLarge:
      return kTooLarge;
    case Outcome::kOverBudget:
      return kOverBudget;
  }
  return kBadWorkbook;
}

}  // namespace

Excel2007File::Excel2007File(const Excel2007Rules& rules)
    : rules_(rules), selection_(std::make_unique<SheetSelection>()) {}

Excel2007File::~Excel2007File() = default;

NvImportOpenOptions* Excel2007File::GetImportOptions(const std::vector<int>& sheets,
                                                     bool above_and_below) {
  return SheetSelection{sheets, above_and_below}.NewOptions();
}

int Excel2007File::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (status_ != kGood) return status_;
  if (!read) return Fail(kWrongMode);
  Close();
  Excel2007Book::Outcome outcome{};
  book_ = Excel2007Book::Open(path != nullptr ? path : "", !rules_.passwords_refused, outcome);
  if (!book_) return Fail(StatusOf(outcome));
  selection_->sheets.assign(1, 1);
  if (ChooseSheets(options) != kGood) book_.reset();
  return status_;
}

void Excel2007File::Close() {
  book_.reset();
  *selection_ = {};
  options_.clear();
  SpreadsheetFile::Close();
}

int Excel2007File::ChooseSheets(NvImportOpenOptions* options) {
  const auto& sheets = book_->sheets();
  if (sheets.size() > 1) {
    const bool is_stored = options != nullptr && options->size != 0 && options->data != nullptr;
    std::optional<SheetSelection> selection;
    if (is_stored) {
      selection = SheetSelection::Parse(*options, sheets.size(), "Excel2007File");
    } else {
      std::vector<OfferedSheet> offered;
      offered.reserve(sheets.size());
      for (const Excel2007Book::Sheet& sheet : sheets) {
        Excel2007Book::Extent extent;
        book_->Measure(sheet, extent);
        offered.push_back({sheet.name, extent.columns, extent.rows});
      }
      selection = SheetSelection::Ask(offered);
    }
    if (!selection) return Fail(is_stored ? kInvalidOptions : kCancelled);
    *selection_ = *std::move(selection);
  }
  GiveChoices(selection_->Bytes(), options_, options);
  return kGood;
}

int Excel2007File::GetWorksheets(std::vector<std::string>& names) const {
  names.clear();
  if (book_)
    for (const Excel2007Book::Sheet& sheet : book_->sheets()) names.push_back(sheet.name);
  return status_;
}

int Excel2007File::SetCurWorksheet(int sheet) { return SetCurWorksheet(std::vector<int>{sheet}); }

int Excel2007File::SetCurWorksheet(const std::vector<int>& sheets) {
  SheetSelection selection{sheets, selection_->above_and_below};
  if (!selection.IsWithin(book_ ? book_->sheets().size() : 0)) return kInvalidOptions;
  *selection_ = std::move(selection);
  size_established_ = false;
  return kGood;
}

// A worksheet that breaks off has the size of what stands before, and reading it says so; unless
// nothing does.
int Excel2007File::EstablishSize() {
  using Outcome = Excel2007Book::Outcome;
  if (status_ != kGood) return status_;
  if (!book_) return Fail(kWrongMode);
  SheetLayout layout(selection_->above_and_below);
  Outcome worst = Outcome::kGood;
  for (const int number : selection_->sheets) {
    Excel2007Book::Extent extent;
    const Outcome outcome =
        book_->Measure(book_->sheets()[static_cast<std::size_t>(number - 1)], extent);
    if (worst == Outcome::kGood) worst = outcome;
    layout.Add(extent.columns, extent.rows);
  }
  if (worst != Outcome::kGood && layout.rows() == 0) return Fail(StatusOf(worst));
  return SetSize(layout.columns(), layout.rows());
}

int Excel2007File::Read(ReadSpreadSheetData* sink) {
  using Outcome = Excel2007Book::Outcome;
  if (GetNumCols() < 0) return status_;
  sink->SetDataSize(num_cols_, num_rows_);
  book_->BeginRead();
  SheetLayout layout(selection_->above_and_below);
  Outcome worst = Outcome::kGood;
  for (const int number : selection_->sheets) {
    const Excel2007Book::Sheet& sheet = book_->sheets()[static_cast<std::size_t>(number - 1)];
    const Outcome outcome =
        book_->ReadSheet(sheet, {sink, layout.column_offset(), layout.row_offset()});
    if (worst == Outcome::kGood) worst = outcome;
    Excel2007Book::Extent extent;
    book_->Measure(sheet, extent);
    layout.Add(extent.columns, extent.rows);
  }
  book_->WriteNotes();
  return worst == Outcome::kGood ? kGood : Fail(StatusOf(worst));
}

int Excel2007File::DescribeAll(Description& description) {
  if (status_ != kGood) return status_;
  if (!book_) return Fail(kWrongMode);
  book_->Describe(description, selection_->sheets);
  return kGood;
}

void Excel2007File::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyNamingText(kTexts, buffer, size)) SpreadsheetFile::GetErrorMessage(buffer, size);
}

Excel2007FileFactory::Excel2007FileFactory(const Excel2007Rules& rules)
    : RuledFactory({.name = "Excel2007 File",
                    .read_filter = "Excel 2007 Files (*.xlsx; *.xlsb)",
                    .write_filter = "Excel 2007 Files (*.xlsx)",
                    .extensions = {".xlsx", ".xlsb"},
                    .options = {{"sheets", "SHEETS", /*is_asked=*/true, /*is_pair=*/false},
                                {"merge", "side|below", true, false}}},
                   rules) {}

}  // namespace nvimport
