#include "nvimport/formats/workbook/Excel2007File.h"

#include <utility>

#include "nvimport/formats/workbook/Excel2007Book.h"
#include "nvimport/formats/workbook/SheetSelection.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/Log.h"

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
  kTooLarge
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
};
static_assert(WellFormed(kTexts, kInvalidOptions, 3335));

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
    case Outcome::kBadWorkbook:
      return kBadWorkbook;
    case Outcome::kBadWorksheet:
      return kBadWorksheet;
    case Outcome::kNoSheets:
      return kNoSheets;
    case Outcome::kTooLarge:
      return kTooLarge;
  }
  return kBadWorkbook;
}

}  // namespace

Excel2007File::Excel2007File() : selection_(std::make_unique<SheetSelection>()) {}

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
  book_ = Excel2007Book::Open(path != nullptr ? path : "", outcome);
  if (!book_) return Fail(StatusOf(outcome));
  sizes_.resize(book_->sheets().size());
  selection_->sheets.assign(1, 1);
  if (ChooseSheets(options) != kGood) book_.reset();
  return status_;
}

void Excel2007File::Close() {
  book_.reset();
  sizes_.clear();
  *selection_ = {};
  options_.clear();
  SpreadsheetFile::Close();
}

int Excel2007File::ChooseSheets(NvImportOpenOptions* options) {
  if (sizes_.size() > 1) {
    const bool is_stored = options != nullptr && options->size != 0 && options->data != nullptr;
    std::optional<SheetSelection> selection;
    if (is_stored) {
      selection = SheetSelection::Parse(*options, sizes_.size(), "Excel2007File");
    } else {
      std::vector<OfferedSheet> offered;
      for (std::size_t i = 0; i < sizes_.size(); ++i) {
        Measure(i, /*is_one_of_many=*/true);
        offered.push_back({book_->sheets()[i].name, sizes_[i].columns, sizes_[i].rows});
      }
      selection = SheetSelection::Ask(offered);
    }
    if (!selection) return Fail(is_stored ? kInvalidOptions : kCancelled);
    *selection_ = *std::move(selection);
  }
  GiveChoices(selection_->Bytes(), options_, options);
  return kGood;
}

// A worksheet that breaks off has the size of what stands before; reading it says so.
void Excel2007File::Measure(std::size_t sheet, bool is_one_of_many) {
  Size& size = sizes_[sheet];
  if (size.is_known) return;
  const auto outcome =
      book_->Measure(book_->sheets()[sheet], is_one_of_many, size.columns, size.rows);
  size.is_known = outcome != Excel2007Book::Outcome::kTooLarge;
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
  if (!selection.IsWithin(sizes_.size())) return kInvalidOptions;
  *selection_ = std::move(selection);
  size_established_ = false;
  return kGood;
}

int Excel2007File::EstablishSize() {
  if (status_ != kGood) return status_;
  if (!book_) return Fail(kWrongMode);
  SheetLayout layout(selection_->above_and_below);
  for (const int number : selection_->sheets) {
    const auto sheet = static_cast<std::size_t>(number - 1);
    Measure(sheet, /*is_one_of_many=*/false);
    layout.Add(sizes_[sheet].columns, sizes_[sheet].rows);
  }
  return SetSize(layout.columns(), layout.rows());
}

int Excel2007File::Read(ReadSpreadSheetData* sink) {
  if (GetNumCols() < 0) return status_;
  sink->SetDataSize(num_cols_, num_rows_);
  const std::uint64_t errors_before = book_->errors();
  SheetLayout layout(selection_->above_and_below);
  Excel2007Book::Outcome worst = Excel2007Book::Outcome::kGood;
  for (const int number : selection_->sheets) {
    const auto sheet = static_cast<std::size_t>(number - 1);
    const auto outcome = book_->ReadSheet(book_->sheets()[sheet],
                                          {sink, layout.column_offset(), layout.row_offset()});
    if (worst == Excel2007Book::Outcome::kGood) worst = outcome;
    layout.Add(sizes_[sheet].columns, sizes_[sheet].rows);
  }
  Log::WriteCount("Excel2007File", book_->errors() - errors_before,
                  "error was delivered as an empty text", "errors were delivered as empty texts");
  return worst == Excel2007Book::Outcome::kGood ? kGood : Fail(StatusOf(worst));
}

void Excel2007File::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyNamingText(kTexts, buffer, size)) SpreadsheetFile::GetErrorMessage(buffer, size);
}

Excel2007FileFactory::Excel2007FileFactory()
    : SprFileFactory({.name = "Excel2007 File",
                      .read_filter = "Excel 2007 Files (*.xlsx; *.xlsb)",
                      .write_filter = "Excel 2007 Files (*.xlsx)",
                      .extensions = {".xlsx", ".xlsb"},
                      .options = {{"sheets", "SHEETS", /*is_asked=*/true, /*is_pair=*/false},
                                  {"merge", "side|below", true, false}}}) {}

int Excel2007FileFactory::IsCorrectFileType(const char*) { return kNoOpinion; }

SpreadsheetFile* Excel2007FileFactory::Create() {
  return std::make_unique<Excel2007File>().release();
}

}  // namespace nvimport
