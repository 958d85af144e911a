// An OpenDocument spreadsheet (see OASIS Open Document Format 1.3, part 3). A package holds:
//   mimetype              the kind of document, stored
//   META-INF/manifest.xml parts; one that is encrypted has an element <encryption-data>
//   content.xml           <document-content> <automatic-styles>, <body><spreadsheet><table>...
//   meta.xml              <document-meta> <meta>
// A flat file is one <document> with all of it. Within a table:
//   <table-row number-rows-repeated>, perhaps in groups, headers and the like
//   <table-cell number-columns-repeated value-type value|date-value|...>, <covered-table-cell>
//   <p> a paragraph of what is shown, which is the value of a text

#include "nvimport/formats/workbook/OpenDocumentBook.h"

#include <algorithm>
#include <array>
#include <set>
#include <utility>
#include <vector>

#include "nvimport/formats/workbook/BookTables.h"
#include "nvimport/formats/workbook/Excel2007Parts.h"
#include "nvimport/formats/workbook/TablesBook.h"
#include "nvimport/formats/workbook/XmlPart.h"
#include "nvimport/formats/workbook/XmlTexts.h"
#include "nvimport/formats/workbook/ZipPackage.h"
#include "nvimport/platform/CompoundFile.h"

namespace nvimport {

namespace {

using Outcome = SheetBook::Outcome;
using Step = XmlPart::Step;

constexpr std::string_view kMimeType = "application/vnd.oasis.opendocument.spreadsheet";
constexpr const char* kContent = "content.xml";

// The text of a cell as it is put together: white space in the file is a blank, what writers mean
// otherwise has elements.
class ParagraphText {
 public:
  explicit ParagraphText(Budget& budget) : gathered_(budget) {}

  void Clear() {
    gathered_.text.clear();
    paragraphs_ = 0;
  }
  bool BeginParagraph() {
    blank_ = '\0';
    is_at_start_ = true;
    return paragraphs_++ == 0 || gathered_.Add("\n");
  }
  bool Add(std::string_view piece) {
    while (!piece.empty()) {
      const std::size_t text = std::min(piece.find_first_of(kBlanks), piece.size());
      if (text > 0 && !AddLiteral(piece.substr(0, text))) return false;
      piece.remove_prefix(text);
      for (; !piece.empty() && kBlanks.find(piece[0]) != std::string_view::npos;
           piece.remove_prefix(1))
        if (!is_at_start_) blank_ = blank_ == '\0' ? piece[0] : '\n';
    }
    return true;
  }
  // What stands for itself.
  bool AddLiteral(std::string_view piece) {
    is_at_start_ = false;
    return (std::exchange(blank_, '\0') == '\0' || gathered_.Add(" ")) && gathered_.Add(piece);
  }
  // Writers leave a last blank as it is, and set the element's end off by more.
  bool EndParagraph() { return std::exchange(blank_, '\0') != ' ' || gathered_.Add(" "); }

  int paragraphs() const { return paragraphs_; }
  std::string& text() { return gathered_.text; }

 private:
  static constexpr std::string_view kBlanks = " \t\r\n";

  GatheredText gathered_;
  int paragraphs_ = 0;
  char blank_ = '\0';  // that comes if something follows: a blank alone, or more
  bool is_at_start_ = true;
};

enum class ValueType { kNone, kText, kNumber, kBoolean, kDate, kTime };

ValueType TypeOf(std::string_view name) {
  constexpr std::pair<std::string_view, ValueType> kTypes[] = {
      {"float", ValueType::kNumber},    {"string", ValueType::kText},
      {"date", ValueType::kDate},       {"percentage", ValueType::kNumber},
      {"currency", ValueType::kNumber}, {"time", ValueType::kTime},
      {"boolean", ValueType::kBoolean}};
  for (const auto& [known, type] : kTypes)
    if (known == name) return type;
  return ValueType::kNone;
}

// What programs show for a formula without a result.
bool IsErrorText(std::string_view text) {
  constexpr std::string_view kErrors[] = {"#DIV/0!", "#N/A",  "#NAME?", "#NULL!",
                                          "#NUM!",   "#REF!", "#VALUE!"};
  const bool is_number =
      text.starts_with("Err:") && text.find_first_not_of("0123456789", 4) == std::string_view::npos;
  return is_number || std::ranges::find(kErrors, text) != std::end(kErrors);
}

// The tables of a document, one after the other.
class ContentXml final : public XmlPart {
 public:
  ContentXml(Budget& budget, BookTables& tables)
      : XmlPart(kSteps, /*takes_directly=*/true, Prefixes::kAny),
        budget_(budget),
        tables_(tables),
        shown_(budget) {}

  bool has_spreadsheet() const { return has_spreadsheet_; }

 private:
  enum : State {
    kDocument = 1,
    kStyles,
    kStyle,
    kTableProperties,
    kBody,
    kSpreadsheet,
    kTable,
    kRows,
    kRow,
    kCell,
    kParagraph,
    kSpan,
    kBlanks,
    kTab,
    kBreak
  };
  static constexpr Step kSteps[] = {
      {kRow, "table-cell", kCell},
      {kCell, "p", kParagraph},
      {kTable, "table-row", kRow},
      {kRows, "table-row", kRow},
      {kRow, "covered-table-cell", kCell},
      {kParagraph, "annotation", kNowhere},
      {kParagraph, "note", kNowhere},
      {kParagraph, "ruby-text", kNowhere},
      {kParagraph, "frame", kNowhere},
      {kParagraph, "s", kBlanks},
      {kParagraph, "tab", kTab},
      {kParagraph, "line-break", kBreak},
      {kParagraph, "*", kSpan},
      {kSpan, "annotation", kNowhere},
      {kSpan, "note", kNowhere},
      {kSpan, "ruby-text", kNowhere},
      {kSpan, "frame", kNowhere},
      {kSpan, "s", kBlanks},
      {kSpan, "tab", kTab},
      {kSpan, "line-break", kBreak},
      {kSpan, "*", kSpan},
      {kCell, "h", kParagraph},
      {kTable, "table-row-group", kRows},
      {kTable, "table-header-rows", kRows},
      {kTable, "table-rows", kRows},
      {kRows, "table-row-group", kRows},
      {kRows, "table-header-rows", kRows},
      {kRows, "table-rows", kRows},
      {kSpreadsheet, "table", kTable},
      {kBody, "spreadsheet", kSpreadsheet},
      {kDocument, "body", kBody},
      {kDocument, "automatic-styles", kStyles},
      {kStyles, "style", kStyle},
      {kStyle, "table-properties", kTableProperties},
      {kNowhere, "document-content", kDocument},
      {kNowhere, "document", kDocument},
  };

  // Of cells and rows, by the prefixes that the document has for them.
  enum Attribute : std::size_t {
    kType,
    kNumber,
    kStyleName,
    kOtherType,
    kColumns,
    kDate,
    kTime,
    kBoolean,
    kString,
    kFormula,
    kRowCount
  };
  static constexpr std::array<std::string_view, kRowCount + 1> kNames = {
      "office:value-type",
      "office:value",
      "table:style-name",
      "calcext:value-type",
      "table:number-columns-repeated",
      "office:date-value",
      "office:time-value",
      "office:boolean-value",
      "office:string-value",
      "table:formula",
      "table:number-rows-repeated"};

  void Start(State state, XmlAttributes attributes) override {
    switch (state) {
      case kDocument:
        return TakePrefixes(attributes);
      case kStyle:
        style_ = attributes.Find("*:name").value_or("");
        return;
      case kTableProperties:
        if (attributes.Find("*:display") == "false") HideStyle();
        return;
      case kSpreadsheet:
        has_spreadsheet_ = true;
        return;
      case kTable:
        return StartTable(attributes);
      case kRow:
        return StartRow(attributes.Find(names_[kRowCount]));
      case kCell:
        return StartCell(attributes);
      case kParagraph:
        return Demand(!wants_text_ || shown_.BeginParagraph());
      case kBlanks:
        return AddBlanks(WholeIn(attributes.Find("*:c").value_or("1")).value_or(1));
      case kTab:
        return Demand(!wants_text_ || shown_.AddLiteral("\t"));
      case kBreak:
        return Demand(!wants_text_ || shown_.AddLiteral("\n"));
      default:
        return;
    }
  }

  void Text(State state, std::string_view text) override {
    if (wants_text_ && (state == kParagraph || state == kSpan)) Demand(shown_.Add(text));
  }

  void End(State state) override {
    switch (state) {
      case kParagraph:
        return Demand(!wants_text_ || shown_.EndParagraph());
      case kCell:
        if (TakeCell()) Excuse();
        return;
      case kRow:
        return EndRow();
      case kTable:
        tables_.End();
        if (tables_.is_done()) Stop();
        return;
      default:
        return;
    }
  }

  // Inside a row: plain cells, and steps from one row to the next.
  std::size_t TakeDirectly(State state, std::string_view ahead) override {
    if (state != kRow) return 0;
    std::size_t taken = 0;
    while (true) {
      PlainXml text(ahead.substr(taken));
      text.TakeBlanks();
      const PlainXml behind_blanks = text;
      if (TakePlainCell(text))
        TakeCell();
      else if (!TakePlainRow(text = behind_blanks))
        return taken;
      if (is_refused()) return taken;
      taken = static_cast<std::size_t>(text.at() - ahead.data());
    }
  }

  // <table:table-cell office:value-type="float" office:value="1.5"><text:p>1.5</text:p>
  // </table:table-cell>
  bool TakePlainCell(PlainXml& text) {
    if (!text.Take("<table:table-cell")) return false;
    BeginCell();
    unsigned seen = 0;
    std::string_view name;
    std::string_view value;
    bool is_empty = false;
    while (!text.Take(">")) {
      is_empty = text.Take("/>");
      if (is_empty) break;
      if (!text.TakePrefixedAttribute(name, value)) return false;
      const auto attribute = AttributeOf(name);
      if (!attribute || (seen & 1U << *attribute) != 0) return false;
      seen |= 1U << *attribute;
      TakeAttribute(*attribute, value);
    }
    BeginContent();
    if (is_empty) return true;
    while (text.TakeBlanks(), text.Take("<text:p>")) {
      const std::string_view shown = text.TakePlain();
      if (!text.Take("</text:p>")) return false;
      if (!wants_text_) continue;
      if (!shown_.BeginParagraph() || !shown_.Add(shown) || !shown_.EndParagraph()) return false;
    }
    return text.Take("</table:table-cell>");
  }

  // </table:table-row><table:table-row table:style-name="ro1">
  bool TakePlainRow(PlainXml& text) {
    if (!text.Take("</table:table-row>")) return false;
    text.TakeBlanks();
    if (!text.Take("<table:table-row")) return false;
    std::optional<std::string_view> repeat;
    std::string_view name;
    std::string_view value;
    bool has_style = false;
    while (!text.Take(">")) {
      if (!text.TakePrefixedAttribute(name, value)) return false;
      if (name == names_[kRowCount] && !repeat)
        repeat = value;
      else if (name == names_[kStyleName] && !has_style)
        has_style = true;
      else
        return false;
    }
    EndRow();
    StartRow(repeat);
    return true;
  }

  void Demand(bool is_done) {
    if (!is_done) Refuse();
  }

  void TakePrefixes(XmlAttributes attributes) {
    constexpr std::string_view kSpace = "urn:oasis:names:tc:opendocument:xmlns:";
    attributes.ForEach([&](std::string_view name, std::string_view value) {
      constexpr std::string_view kDeclares = "xmlns:";
      if (!name.starts_with(kDeclares) || !value.starts_with(kSpace)) return;
      const std::string_view prefix = name.substr(kDeclares.size());
      const std::string_view space = value.substr(kSpace.size());
      const auto usual = space == "office:1.0" ? "office:" : space == "table:1.0" ? "table:" : "";
      for (std::size_t i = 0; i < kNames.size() && *usual != '\0'; ++i)
        if (kNames[i].starts_with(usual)) names_[i].replace(0, names_[i].find(':'), prefix);
    });
  }

  void HideStyle() {
    constexpr std::size_t kKept = 128;
    Demand(budget_.Take(kKept + style_.size()));
    hidden_styles_.insert(style_);
  }

  void StartTable(XmlAttributes attributes) {
    const std::string style(attributes.Find("*:style-name").value_or(""));
    row_ = 0;
    Demand(tables_.Begin(std::string(attributes.Find("*:name").value_or("")),
                         hidden_styles_.contains(style)));
  }

  void StartRow(std::optional<std::string_view> repeat) {
    row_repeat_ = Repeats(repeat);
    column_ = 0;
  }

  void EndRow() { row_ = std::min(row_ + row_repeat_, kEndOfRows); }

  static std::uint32_t Repeats(std::optional<std::string_view> repeat) {
    return repeat ? std::max(WholeIn(*repeat).value_or(1), 1U) : 1;
  }

  void BeginCell() {
    type_ = ValueType::kNone;
    repeat_ = 1;
    value_.clear();
    has_value_ = has_formula_ = is_error_ = false;
    shown_.Clear();
  }

  void StartCell(XmlAttributes attributes) {
    BeginCell();
    attributes.ForEach([&](std::string_view name, std::string_view value) {
      if (const auto attribute = AttributeOf(name)) TakeAttribute(*attribute, value);
    });
    BeginContent();
  }

  // What an attribute of a cell is; nothing for one that means nothing here.
  std::optional<Attribute> AttributeOf(std::string_view name) const {
    for (std::size_t i = 0; i < names_.size(); ++i)
      if (names_[i] == name) return static_cast<Attribute>(i);
    return std::nullopt;
  }

  void TakeAttribute(Attribute attribute, std::string_view value) {
    switch (attribute) {
      case kType:
        type_ = TypeOf(value);
        return;
      case kNumber:
      case kDate:
      case kTime:
      case kBoolean:
      case kString:
        value_ = value;
        has_value_ = true;
        return;
      case kColumns:
        repeat_ = Repeats(value);
        return;
      case kFormula:
        has_formula_ = true;
        return;
      case kOtherType:
        is_error_ = value == "error";
        return;
      default:
        return;
    }
  }

  // After its attributes: what it shows matters if nothing else is its value, or if that may be an
  // error.
  void BeginContent() {
    is_number_ = type_ == ValueType::kNumber && has_value_;
    if (is_number_ && tables_.cells().is_wanted()) {
      const auto number = ParseNumber(value_);
      is_number_ = number.has_value();
      number_ = number.value_or(0);
    }
    const bool is_text = type_ == ValueType::kText || type_ == ValueType::kNone;
    wants_text_ = has_formula_ || !has_value_ || (!is_text && !is_number_);
  }

  // Hands over the cell that ended. False when it is blank.
  bool TakeCell() {
    const std::uint32_t column = column_;
    column_ = std::min(column_ + repeat_, kEndOfColumns);
    wants_text_ = false;
    const bool has_text = shown_.paragraphs() > 0;
    if (!has_value_ && !has_text && type_ != ValueType::kText) return false;
    const bool is_shown = has_text && (type_ == ValueType::kNumber ? !is_number_ : !has_value_);
    const std::string& text = is_shown ? shown_.text() : value_;
    if (!tables_.cells().Take({column, row_, repeat_, row_repeat_}, text.size())) {
      Refuse();
      return true;
    }
    if (!tables_.cells().is_wanted()) return true;
    if (is_error_ || (has_formula_ && IsErrorText(shown_.text()))) {
      tables_.cells().SetError();
    } else if (is_number_) {
      tables_.cells().SetNumber(number_, value_);
    } else if (is_shown || type_ == ValueType::kText || type_ == ValueType::kNone ||
               type_ == ValueType::kNumber) {
      tables_.cells().SetText(text.c_str());
    } else if (type_ == ValueType::kBoolean) {
      tables_.cells().SetBoolean(value_ == "true" || value_ == "1");
    } else if (type_ == ValueType::kDate) {
      tables_.cells().SetDate(value_);
    } else {
      tables_.cells().SetDuration(value_.c_str());
    }
    return true;
  }

  void AddBlanks(std::uint32_t count) {
    constexpr std::uint32_t kMost = 65'536;
    count = std::min(count, kMost);
    if (wants_text_) Demand(budget_.Work(count) && shown_.AddLiteral(std::string(count, ' ')));
  }

  static constexpr std::uint32_t kEndOfRows = BookCells::kRows;
  static constexpr std::uint32_t kEndOfColumns = BookCells::kColumns;

  Budget& budget_;
  BookTables& tables_;
  std::vector<std::string> names_{kNames.begin(), kNames.end()};
  std::string style_;
  std::set<std::string> hidden_styles_;
  bool has_spreadsheet_ = false;
  std::uint32_t row_ = 0;
  std::uint32_t row_repeat_ = 1;
  std::uint32_t column_ = 0;
  // Of the cell.
  ValueType type_ = ValueType::kNone;
  std::uint32_t repeat_ = 1;
  std::string value_;  // that its type has an attribute for
  double number_ = 0;  // the same, while it is wanted
  bool has_value_ = false;
  bool has_formula_ = false;
  bool is_error_ = false;
  bool is_number_ = false;
  bool wants_text_ = false;
  ParagraphText shown_;
};

// Whether a part of the package is encrypted.
class ManifestXml final : public XmlPart {
 public:
  ManifestXml() : XmlPart(kSteps, /*takes_directly=*/false, Prefixes::kAny) {}

  bool is_encrypted() const { return is_encrypted_; }

 private:
  enum : State { kManifest = 1, kEntry, kEncryption };
  static constexpr Step kSteps[] = {{kNowhere, "manifest", kManifest},
                                    {kManifest, "file-entry", kEntry},
                                    {kEntry, "encryption-data", kEncryption}};

  void Start(State state, XmlAttributes) override {
    if (state != kEncryption) return;
    is_encrypted_ = true;
    Stop();
  }

  bool is_encrypted_ = false;
};

bool IsZip(const char* path) {
  std::array<char, 2> head{};
  return InputFile(path).Read(head) == 2 && head[0] == 'P' && head[1] == 'K';
}

class Document final : public TablesBook {
 public:
  Document() : TablesBook("OpenDocumentFile", kOpenDocumentKeys) {}

  Outcome OpenFile(const char* path) {
    if (!InputFile(path).is_open()) return Outcome::kCannotOpen;
    if (CompoundFile::IsCompoundFile(path)) return Outcome::kOtherFormat;
    is_package_ = IsZip(path);
    if (is_package_) {
      if (const Outcome outcome = OpenPackage(path); outcome != Outcome::kGood) return outcome;
    } else if (!package_.OpenAsPart(path)) {
      return Outcome::kCannotOpen;
    }
    return FindTables();
  }

 private:
  Outcome OpenPackage(const char* path) {
    if (!package_.Open(path))
      return package_.budget().overdrawn() ? Outcome::kOverBudget : Outcome::kBrokenPackage;
    if (package_.Has("mimetype") && package_.OpenPart("mimetype")) {
      const auto type = package_.Ahead(kMimeType.size());
      if (!std::string_view(type.data(), type.size()).starts_with(kMimeType))
        return Outcome::kOtherFormat;
    }
    ManifestXml manifest;
    if (package_.OpenPart("META-INF/manifest.xml")) manifest.Read(package_);
    if (manifest.is_encrypted()) return Outcome::kProtected;
    return package_.Has(kContent) ? Outcome::kGood : Outcome::kOtherFormat;
  }

  Outcome ReadTables(BookTables& tables) override {
    ContentXml content(package_.budget(), tables);
    const bool is_good = package_.OpenPart(is_package_ ? kContent : "") && content.Read(package_);
    const bool is_other = content.has_other_root() || (!content.has_root() && !is_package_);
    if (is_other || (is_good && !content.has_spreadsheet())) return Outcome::kOtherFormat;
    if (is_good) return Outcome::kGood;
    if (package_.budget().overdrawn()) return Outcome::kOverBudget;
    return package_.is_too_large() ? Outcome::kTooLarge : Outcome::kBadWorksheet;
  }

  void DescribeDocument(Stating& stating) override {
    DescribeOpenDocument(package_, is_package_ ? "meta.xml" : "", stating);
  }

  Budget& budget() override { return package_.budget(); }

  ZipPackage package_;
  bool is_package_ = true;  // else one document
};

}  // namespace

std::unique_ptr<SheetBook> OpenOpenDocument(const char* path, Outcome& outcome) {
  auto document = std::make_unique<Document>();
  outcome = document->OpenFile(path);
  if (outcome != Outcome::kGood) return nullptr;
  return document;
}

bool IsOpenDocument(const char* path) {
  std::array<char, 16384> bytes;
  InputFile file(path);
  const std::ptrdiff_t got = file.is_open() ? file.Read(bytes) : 0;
  const std::string_view head(bytes.data(),
                              static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0)));
  const bool is_named = head.find(kMimeType) != std::string_view::npos;
  if (head.starts_with("PK")) {
    constexpr std::string_view kPlace = "mimetype";  // the first part, as it stands
    constexpr std::size_t kHeader = 30;
    if (head.substr(std::min(kHeader, head.size())).starts_with(kPlace)) return is_named;
    ZipPackage package;
    if (!package.Open(path) || !package.Has(kContent) || !package.OpenPart("mimetype"))
      return false;
    const auto type = package.Ahead(kMimeType.size());
    return std::string_view(type.data(), type.size()).starts_with(kMimeType);
  }
  return is_named && head.find("office:document") != std::string_view::npos &&
         head.find("<?xml") != std::string_view::npos;
}

}  // namespace nvimport
