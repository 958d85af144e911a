#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

#include "nvimport/formats/workbook/Excel2007Parts.h"
#include "nvimport/formats/workbook/XmlPart.h"
#include "nvimport/formats/workbook/XmlTexts.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/Utf16.h"

namespace nvimport {

namespace {

using Step = XmlPart::Step;

bool IsTrue(std::string_view text) { return text == "1" || text == "true"; }

// Resolves the escapes of characters that XML can't hold: "_x000D_" is a CR, "_x005F_" the line
// itself. A NUL, which a text can't hold either, is left out.
void Unescape(std::string& text) {
  constexpr std::size_t kEscape = 7;
  std::size_t at = text.find("_x");
  if (at == std::string::npos) return;
  std::string plain;
  std::size_t done = 0;
  Utf16Decoder decoder;
  const auto take = [&](char32_t c) {
    if (c != 0) AppendUtf8(plain, c);
  };
  for (; at != std::string::npos; at = text.find("_x", at)) {
    unsigned unit = 0;
    const char* const digits = text.data() + at + 2;
    const bool is_escape = at + kEscape <= text.size() && text[at + kEscape - 1] == '_' &&
                           std::from_chars(digits, digits + 4, unit, 16).ptr == digits + 4;
    if (!is_escape) {
      ++at;
      continue;
    }
    if (at > done) decoder.End(take);
    plain.append(text, done, at - done);
    decoder.Unit(static_cast<char16_t>(unit), take);
    at += kEscape;
    done = at;
  }
  decoder.End(take);
  plain.append(text, done);
  text = std::move(plain);
}

class RelationshipsXml final : public XmlPart {
 public:
  RelationshipsXml(Relationships& found, Budget& budget)
      : XmlPart(kSteps), found_(found), budget_(budget) {}

 private:
  enum : State { kAll = 1, kOne };
  static constexpr Step kSteps[] = {{kNowhere, "Relationships", kAll},
                                    {kAll, "Relationship", kOne}};

  void Start(State state, XmlAttributes attributes) override {
    if (state != kOne || attributes.Find("TargetMode") == "External") return;
    const std::string_view type = attributes.Find("Type").value_or("");
    if (!found_.Add({std::string(attributes.Find("Id").value_or("")),
                     std::string(type.substr(type.rfind('/') + 1)),
                     std::string(attributes.Find("Target").value_or(""))},
                    budget_))
      Refuse();
  }
  void End(State) override {}

  Relationships& found_;
  Budget& budget_;
};

class WorkbookXml final : public XmlPart {
 public:
  WorkbookXml(WorkbookPart& workbook, Budget& budget)
      : XmlPart(kSteps), workbook_(workbook), budget_(budget) {}

 private:
  enum : State { kWorkbook = 1, kProperties, kSheets, kSheet };
  static constexpr Step kSteps[] = {{kNowhere, "workbook", kWorkbook},
                                    {kWorkbook, "workbookPr", kProperties},
                                    {kWorkbook, "sheets", kSheets},
                                    {kSheets, "sheet", kSheet}};

  void Start(State state, XmlAttributes attributes) override {
    if (state == kProperties)
      workbook_.since_1904 = IsTrue(attributes.Find("date1904").value_or(""));
    if (state != kSheet) return;
    const std::string_view visibility = attributes.Find("state").value_or("visible");
    using SheetState = WorkbookPart::SheetState;
    const SheetState sheet_state = visibility == "visible"      ? SheetState::kVisible
                                   : visibility == "veryHidden" ? SheetState::kVeryHidden
                                                                : SheetState::kHidden;
    std::string name(attributes.Find("name").value_or(""));
    Unescape(name);
    if (!workbook_.TakeSheet(std::move(name), attributes.Find("*:id").value_or(""), sheet_state,
                             budget_))
      Refuse();
  }
  void End(State) override {}

  WorkbookPart& workbook_;
  Budget& budget_;
};

class StylesXml final : public XmlPart {
 public:
  StylesXml(StyleTable& styles, Budget& budget)
      : XmlPart(kSteps), styles_(styles), budget_(budget) {}

 private:
  enum : State { kStyles = 1, kFormats, kFormat, kCellStyles, kCellStyle };
  static constexpr Step kSteps[] = {{kNowhere, "styleSheet", kStyles},
                                    {kStyles, "numFmts", kFormats},
                                    {kFormats, "numFmt", kFormat},
                                    {kStyles, "cellXfs", kCellStyles},
                                    {kCellStyles, "xf", kCellStyle}};

  void Start(State state, XmlAttributes attributes) override {
    const std::uint32_t number = WholeIn(attributes.Find("numFmtId").value_or("")).value_or(0);
    if (state == kFormat &&
        !styles_.TakeFormat(number, attributes.Find("formatCode").value_or(""), budget_))
      Refuse();
    if (state == kCellStyle && !styles_.TakeStyle(number, budget_)) Refuse();
  }
  void End(State state) override {
    if (state == kCellStyles) Stop();
  }

  StyleTable& styles_;
  Budget& budget_;
};

class StringsXml final : public XmlPart {
 public:
  StringsXml(SpooledStrings& strings, Budget& budget)
      : XmlPart(kSteps), strings_(strings), text_(budget) {}

 private:
  enum : State { kStrings = 1, kString, kRun, kText };
  static constexpr Step kSteps[] = {{kNowhere, "sst", kStrings},
                                    {kStrings, "si", kString},
                                    {kString, "t", kText},
                                    {kString, "r", kRun},
                                    {kRun, "t", kText}};

  void Start(State state, XmlAttributes) override {
    if (state == kString) text_.text.clear();
  }
  void Text(State state, std::string_view text) override {
    if (state == kText && !text_.Add(text)) Refuse();
  }
  void End(State state) override {
    if (state == kText && !text_.text.empty()) Excuse();
    if (state != kString) return;
    Unescape(text_.text);
    if (!strings_.Add(text_.text)) Refuse();
  }

  SpooledStrings& strings_;
  GatheredText text_;
};

enum class CellType { kNumber, kShared, kText, kInline, kBoolean, kError, kDate, kUnknown };

CellType TypeOf(std::string_view name) {
  constexpr std::pair<std::string_view, CellType> kTypes[] = {
      {"s", CellType::kShared},  {"n", CellType::kNumber}, {"str", CellType::kText},
      {"b", CellType::kBoolean}, {"e", CellType::kError},  {"inlineStr", CellType::kInline},
      {"d", CellType::kDate}};
  for (const auto& [known, type] : kTypes)
    if (known == name) return type;
  return CellType::kUnknown;
}

class SheetXml final : public XmlPart {
 public:
  SheetXml(Excel2007Cells& cells, Budget& budget)
      : XmlPart(kSteps, /*takes_directly=*/true), cells_(cells), gathered_(budget) {}

 private:
  enum : State { kSheet = 1, kData, kRow, kCell, kValue, kInline, kRun, kText };
  static constexpr Step kSteps[] = {
      {kRow, "c", kCell},     {kCell, "v", kValue},         {kData, "row", kRow},
      {kCell, "is", kInline}, {kInline, "t", kText},        {kInline, "r", kRun},
      {kRun, "t", kText},     {kSheet, "sheetData", kData}, {kNowhere, "worksheet", kSheet}};

  void Start(State state, XmlAttributes attributes) override {
    switch (state) {
      case kRow:
        StartRow(attributes.Find("r"));
        break;
      case kCell:
        StartCell();
        attributes.ForEachLetter([&](char name, std::string_view value) { Take(name, value); });
        break;
      case kValue:
      case kInline:
        has_value_ = true;
        // Of two values the inline one counts, wherever it stands.
        is_inline_ = is_inline_ || state == kInline;
        if (state == kInline) text_.clear();
        break;
      default:
        break;
    }
  }

  void Text(State state, std::string_view text) override {
    const bool counts = state == kText || (state == kValue && !is_inline_);
    if (counts && !gathered_.Add(text)) Refuse();
  }

  void End(State state) override {
    if (state == kCell && has_value_) Excuse();
    if (state == kCell && !TakeCell()) Refuse();
    if (state == kData) Stop();
  }

  // Inside a row: plain cells, and steps from one row to the next.
  std::size_t TakeDirectly(State state, std::string_view ahead) override {
    if (state != kRow) return 0;
    std::size_t taken = 0;
    while (true) {
      PlainXml text(ahead.substr(taken));
      is_there_ = TakePlainCell(text);
      if (!is_there_ && !TakePlainRow(text = PlainXml(ahead.substr(taken)))) return taken;
      if (!TakeCell()) {
        Refuse();
        return taken;
      }
      taken = static_cast<std::size_t>(text.at() - ahead.data());
    }
  }

  // <c r="A1" s="2" t="s"><v>5</v></c>
  bool TakePlainCell(PlainXml& text) {
    if (!text.Take("<c")) return false;
    StartCell();
    unsigned seen = 0;
    std::string_view name;
    std::string_view value;
    while (!text.Take(">")) {
      if (text.Take("/>")) return true;
      if (!text.TakeAttribute(name, value) || name.size() != 1) return false;
      const unsigned bit = 1U << (static_cast<unsigned char>(name[0]) & 31U);
      if (!IsLetterOfCell(name[0]) || (seen & bit) != 0) return false;
      seen |= bit;
      Take(name[0], value);
    }
    if (text.Take("<v>")) {
      has_value_ = true;
      text_ = text.TakePlain();
      if (!text.Take("</v>")) return false;
    }
    return text.Take("</c>");
  }

  // </row><row r="2" spans="1:9">
  bool TakePlainRow(PlainXml& text) {
    if (!text.Take("</row>") || !text.Take("<row")) return false;
    std::optional<std::string_view> row;
    std::string_view name;
    std::string_view value;
    bool has_spans = false;
    while (!text.Take(">")) {
      if (!text.TakeAttribute(name, value)) return false;
      if (name == "r" && !row)
        row = value;
      else if (name == "spans" && !has_spans)
        has_spans = true;
      else
        return false;
    }
    StartRow(row);
    return true;
  }

  void StartRow(std::optional<std::string_view> number) {
    row_ = number ? WholeIn(*number).value_or(0) : row_ + 1;
    column_ = 0;
    has_value_ = false;
  }

  // A cell without a place stands behind the one before.
  void StartCell() {
    cell_column_ = column_ + 1;
    cell_row_ = row_;
    style_ = 0;
    type_ = CellType::kNumber;
    is_there_ = true;
    has_value_ = is_inline_ = false;
    text_.clear();
  }

  static bool IsLetterOfCell(char name) { return name == 'r' || name == 's' || name == 't'; }

  // An attribute of a cell.
  void Take(char name, std::string_view value) {
    if (name == 'r') TakePlace(value);
    if (name == 's') style_ = WholeIn(value).value_or(0);
    if (name == 't') type_ = TypeOf(value);
  }

  // "AB12"
  void TakePlace(std::string_view text) {
    std::uint32_t column = 0;
    std::size_t at = 0;
    for (; at < text.size() && column <= Excel2007Cells::kColumns; ++at) {
      const auto letter = static_cast<unsigned char>(text[at] & ~0x20);
      if (letter < 'A' || letter > 'Z') break;
      column = column * 26 + (letter - 'A' + 1U);
    }
    if (column > 0) cell_column_ = column;
    cell_row_ = WholeIn(text.substr(at)).value_or(row_);
  }

  // Hands over the cell that ended. False when there is no such place.
  bool TakeCell() {
    if (!std::exchange(is_there_, false)) return true;
    column_ = cell_column_;
    if (!cells_.GoTo(cell_column_ - 1, cell_row_ - 1)) return false;
    if (has_value_) TakeValue();
    return true;
  }

  void TakeValue() {
    const bool is_text = type_ == CellType::kText || type_ == CellType::kInline;
    // Without a value there is no cell, but a text may be empty.
    if (!is_text && IsBlank()) return;
    if (cells_.TakesExtentOnly()) return;
    switch (type_) {
      case CellType::kNumber:
        if (const auto whole = WholeBeyondDouble(Trimmed(text_)))
          return cells_.SetWhole(style_, *whole);
        if (const auto number = ParseNumber(text_)) return cells_.SetNumber(style_, *number);
        return cells_.SetText(text_.c_str());
      case CellType::kShared:
        return cells_.SetShared(WholeIn(Trimmed(text_)).value_or(~std::uint32_t{0}));
      case CellType::kText:
      case CellType::kInline:
        Unescape(text_);
        return cells_.SetText(text_.c_str());
      case CellType::kBoolean:
        return cells_.SetBoolean(IsTrue(Trimmed(text_)));
      case CellType::kError:
        return cells_.SetError();
      case CellType::kDate:
        return cells_.SetIsoDate(text_);
      case CellType::kUnknown:
        return cells_.SetText(text_.c_str());
    }
  }

  bool IsBlank() const { return Trimmed(text_).empty(); }

  Excel2007Cells& cells_;
  std::uint32_t row_ = 0;  // rows and columns count from 1 here
  std::uint32_t column_ = 0;
  std::uint32_t cell_row_ = 0;
  std::uint32_t cell_column_ = 0;
  std::uint32_t style_ = 0;
  CellType type_ = CellType::kNumber;
  GatheredText gathered_;
  std::string& text_ = gathered_.text;
  bool is_there_ = false;  // a cell that is not handed over yet
  bool has_value_ = false;
  bool is_inline_ = false;
};

}  // namespace

bool ReadRelationships(ZipPackage& package, Relationships& relationships) {
  return RelationshipsXml(relationships, package.budget()).Read(package);
}

bool XmlParts::ReadWorkbook(ZipPackage& package, WorkbookPart& workbook) {
  WorkbookXml part(workbook, package.budget());
  const bool is_good = part.Read(package);
  workbook.is_workbook = !part.has_other_root();
  return is_good;
}

bool XmlParts::ReadStyles(ZipPackage& package, StyleTable& styles) {
  return StylesXml(styles, package.budget()).Read(package);
}

bool XmlParts::ReadStrings(ZipPackage& package, SpooledStrings& strings) {
  return StringsXml(strings, package.budget()).Read(package);
}

bool XmlParts::ReadSheet(ZipPackage& package, Excel2007Cells& cells) {
  return SheetXml(cells, package.budget()).Read(package);
}

}  // namespace nvimport
