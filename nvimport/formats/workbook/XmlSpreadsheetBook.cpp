// An XML spreadsheet of 2003, one document (its schema is published as that of Office 2003):
//   <Workbook>
//     <DocumentProperties>       an element each
//     <ExcelWorkbook><Date1904/>
//     <Styles><Style ID><NumberFormat Format>
//     <Worksheet Name>
//       <Table><Row Index Span><Cell Index MergeAcross StyleID><Data Type>value
//       <WorksheetOptions><Visible>SheetHidden
// Rows and cells without an index stand behind those before. A date has the day on which the
// spreadsheet's own days begin if it is a time alone.

#include "nvimport/formats/workbook/XmlSpreadsheetBook.h"

#include <algorithm>
#include <set>
#include <string>

#include "nvimport/formats/workbook/Excel2007Parts.h"
#include "nvimport/formats/workbook/TablesBook.h"
#include "nvimport/formats/workbook/XmlPart.h"
#include "nvimport/formats/workbook/XmlTexts.h"
#include "nvimport/formats/workbook/ZipPackage.h"
#include "nvimport/platform/CompoundFile.h"
#include "nvimport/platform/SerialDate.h"

namespace nvimport {

namespace {

using Outcome = SheetBook::Outcome;
using Step = XmlPart::Step;

constexpr std::string_view kSpace = "urn:schemas-microsoft-com:office:spreadsheet";

// With whatever prefix.
std::optional<std::string_view> Find(XmlAttributes attributes, const char* name) {
  const auto found = attributes.Find(std::string("*:") + name);
  return found ? found : attributes.Find(name);
}

class WorkbookXml final : public XmlPart {
 public:
  WorkbookXml(Budget& budget, BookTables& tables)
      : XmlPart(kSteps, /*takes_directly=*/false, Prefixes::kAny),
        budget_(budget),
        tables_(tables),
        text_(budget) {}

  bool is_spreadsheet() const { return is_spreadsheet_; }

 private:
  enum : State {
    kWorkbook = 1,
    kOfExcel,
    kSince1904,
    kStyles,
    kStyle,
    kNumberFormat,
    kWorksheet,
    kTable,
    kRow,
    kCell,
    kData,
    kRun,
    kOptions,
    kVisible
  };
  static constexpr Step kSteps[] = {{kRow, "Cell", kCell},
                                    {kCell, "Data", kData},
                                    {kTable, "Row", kRow},
                                    {kData, "*", kRun},
                                    {kRun, "*", kRun},
                                    {kWorksheet, "Table", kTable},
                                    {kWorksheet, "WorksheetOptions", kOptions},
                                    {kOptions, "Visible", kVisible},
                                    {kWorkbook, "Worksheet", kWorksheet},
                                    {kWorkbook, "ExcelWorkbook", kOfExcel},
                                    {kOfExcel, "Date1904", kSince1904},
                                    {kWorkbook, "Styles", kStyles},
                                    {kStyles, "Style", kStyle},
                                    {kStyle, "NumberFormat", kNumberFormat},
                                    {kNowhere, "Workbook", kWorkbook}};

  void Start(State state, XmlAttributes attributes) override {
    switch (state) {
      case kWorkbook:
        attributes.ForEach([&](std::string_view name, std::string_view value) {
          is_spreadsheet_ = is_spreadsheet_ || (name.starts_with("xmlns") && value == kSpace);
        });
        return Demand(is_spreadsheet_);
      case kSince1904:
        first_day_ = "1904-01-01T";
        return;
      case kStyle:
        style_ = Find(attributes, "ID").value_or("");
        return;
      case kNumberFormat:
        return TakeFormat(Find(attributes, "Format").value_or(""));
      case kWorksheet:
        row_ = 0;
        return Demand(tables_.Begin(std::string(Find(attributes, "Name").value_or(""))));
      case kRow:
        row_ = Place(Find(attributes, "Index"), row_);
        next_row_ = Behind(row_, Find(attributes, "Span"));
        column_ = 0;
        return;
      case kCell:
        column_ = Place(Find(attributes, "Index"), column_);
        next_column_ = Behind(column_, Find(attributes, "MergeAcross"));
        style_ = Find(attributes, "StyleID").value_or("");
        type_.clear();
        has_data_ = false;
        return text_.text.clear();
      case kData:
        type_ = Find(attributes, "Type").value_or("String");
        has_data_ = true;
        return text_.text.clear();
      case kVisible:
        return text_.text.clear();
      default:
        return;
    }
  }

  void Text(State state, std::string_view text) override {
    if (state == kData || state == kRun || state == kVisible) Demand(text_.Add(text));
  }

  void End(State state) override {
    switch (state) {
      case kCell:
        if (has_data_) TakeCell();
        column_ = next_column_;
        return;
      case kRow:
        row_ = next_row_;
        return;
      case kVisible:
        if (Trimmed(text_.text) != "SheetVisible") tables_.Hide();
        return;
      case kWorksheet:
        tables_.End();
        if (tables_.is_done()) Stop();
        return;
      default:
        return;
    }
  }

  void Demand(bool is_done) {
    if (!is_done) Refuse();
  }

  // Where an index, from 1, says; else next.
  static std::uint32_t Place(std::optional<std::string_view> index, std::uint32_t next) {
    const std::uint32_t number = index ? WholeIn(*index).value_or(0) : 0;
    return number > 0 ? number - 1 : next;
  }
  // What is next behind so many more.
  static std::uint32_t Behind(std::uint32_t place, std::optional<std::string_view> more) {
    constexpr std::uint32_t kMost = BookCells::kRows;
    return std::min(place, kMost) + 1 + std::min(more ? WholeIn(*more).value_or(0) : 0, kMost);
  }

  void TakeFormat(std::string_view format) {
    constexpr std::size_t kKept = 128;
    if (DateFormOf(format) != DateForm::kElapsed) return;
    Demand(budget_.Take(kKept + style_.size()));
    elapsed_.insert(style_);
  }

  void TakeCell() {
    const bool is_text = type_ == "String";
    const std::string& text = text_.text;
    // Without a value there is no cell, but a text may be empty.
    if (!is_text && Trimmed(text).empty()) return;
    Excuse();
    if (!tables_.cells().Take({column_, row_})) return Refuse();
    if (!tables_.cells().is_wanted()) return;
    if (type_ == "Number") {
      const auto number = ParseNumber(text);
      number ? tables_.cells().SetNumber(*number, Trimmed(text))
             : tables_.cells().SetText(text.c_str());
    } else if (type_ == "DateTime") {
      TakeDate(Trimmed(text));
    } else if (type_ == "Boolean") {
      const std::string_view value = Trimmed(text);
      tables_.cells().SetBoolean(value == "1" || value == "true");
    } else if (type_ == "Error") {
      tables_.cells().SetError();
    } else {
      tables_.cells().SetText(text.c_str());
    }
  }

  void TakeDate(std::string_view text) {
    const bool is_time = text.starts_with(first_day_);
    if (is_time) text.remove_prefix(first_day_.size() - 1);
    if (!elapsed_.contains(style_)) return tables_.cells().SetDate(text);
    const double days = SerialOfIsoDate(text);
    if (!(days >= 0)) return tables_.cells().SetDate(text);
    DateText time;
    IEEEDate_2_string(days, /*since_1904=*/false, time, DateForm::kElapsed);
    tables_.cells().SetText(time.data());
  }

  Budget& budget_;
  BookTables& tables_;
  bool is_spreadsheet_ = false;
  std::string_view first_day_ = "1899-12-31T";
  std::string style_;              // that is defined, later that of the cell
  std::set<std::string> elapsed_;  // styles of elapsed time
  std::uint32_t row_ = 0;
  std::uint32_t next_row_ = 0;
  std::uint32_t column_ = 0;
  std::uint32_t next_column_ = 0;
  std::string type_;
  bool has_data_ = false;
  GatheredText text_;
};

class Document final : public TablesBook {
 public:
  Document() : TablesBook("XmlSpreadsheetFile", kXmlSpreadsheetKeys) {}

  Outcome OpenFile(const char* path) {
    if (!package_.OpenAsPart(path)) return Outcome::kCannotOpen;
    if (CompoundFile::IsCompoundFile(path)) return Outcome::kOtherFormat;
    return FindTables();
  }

 private:
  Outcome ReadTables(BookTables& tables) override {
    WorkbookXml workbook(package_.budget(), tables);
    const bool is_good = package_.OpenPart("") && workbook.Read(package_);
    if (!workbook.is_spreadsheet()) return Outcome::kOtherFormat;
    if (is_good) return Outcome::kGood;
    return package_.budget().overdrawn() ? Outcome::kOverBudget : Outcome::kBadWorksheet;
  }

  void DescribeDocument(Stating& stating) override {
    DescribeXmlSpreadsheet(package_, "", stating);
  }

  Budget& budget() override { return package_.budget(); }

  ZipPackage package_;
};

}  // namespace

std::unique_ptr<SheetBook> OpenXmlSpreadsheet(const char* path, Outcome& outcome) {
  auto document = std::make_unique<Document>();
  outcome = document->OpenFile(path);
  if (outcome != Outcome::kGood) return nullptr;
  return document;
}

}  // namespace nvimport
