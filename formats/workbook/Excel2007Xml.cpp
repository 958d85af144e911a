#include <array>
#include <charconv>
#include <optional>

#include "formats/workbook/Excel2007Parts.h"
#include "formats/workbook/XmlPart.h"
#include "platform/NumberText.h"
#include "platform/Utf16.h"

namespace {

using Step = XmlPart::Step;
constexpr XmlPart::State kNowhere = XmlPart::kNowhere;

// The number that a text begins with; none where it begins with none or with one too large.
std::optional<std::uint32_t> Whole(std::string_view text) {
  std::uint32_t number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() ? std::optional(number) : std::nullopt;
}

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
  explicit RelationshipsXml(std::vector<Relationship>& found) : XmlPart(kSteps), found_(found) {}

 private:
  enum : State { kAll = 1, kOne };
  static constexpr Step kSteps[] = {{kNowhere, "Relationships", kAll},
                                    {kAll, "Relationship", kOne}};

  void Start(State state, XmlAttributes attributes) override {
    if (state != kOne || attributes.Find("TargetMode") == "External") return;
    const std::string_view type = attributes.Find("Type").value_or("");
    found_.push_back({std::string(attributes.Find("Id").value_or("")),
                      std::string(type.substr(type.rfind('/') + 1)),
                      std::string(attributes.Find("Target").value_or(""))});
  }
  void End(State) override {}

  std::vector<Relationship>& found_;
};

class WorkbookXml final : public XmlPart {
 public:
  explicit WorkbookXml(WorkbookPart& workbook) : XmlPart(kSteps), workbook_(workbook) {
    workbook_.is_workbook = false;
  }

 private:
  enum : State { kWorkbook = 1, kProperties, kSheets, kSheet };
  static constexpr Step kSteps[] = {{kNowhere, "workbook", kWorkbook},
                                    {kWorkbook, "workbookPr", kProperties},
                                    {kWorkbook, "sheets", kSheets},
                                    {kSheets, "sheet", kSheet}};

  void Start(State state, XmlAttributes attributes) override {
    workbook_.is_workbook = true;
    if (state == kProperties)
      workbook_.since_1904 = IsTrue(attributes.Find("date1904").value_or(""));
    if (state != kSheet) return;
    const std::string_view visibility = attributes.Find("state").value_or("visible");
    std::string name(attributes.Find("name").value_or(""));
    Unescape(name);
    workbook_.sheets.push_back({std::move(name), std::string(attributes.Find("*:id").value_or("")),
                                visibility != "visible"});
  }
  void End(State) override {}

  WorkbookPart& workbook_;
};

class StylesXml final : public XmlPart {
 public:
  explicit StylesXml(StyleTable& styles) : XmlPart(kSteps), styles_(styles) {}

 private:
  enum : State { kStyles = 1, kFormats, kFormat, kCellStyles, kCellStyle };
  static constexpr Step kSteps[] = {{kNowhere, "styleSheet", kStyles},
                                    {kStyles, "numFmts", kFormats},
                                    {kFormats, "numFmt", kFormat},
                                    {kStyles, "cellXfs", kCellStyles},
                                    {kCellStyles, "xf", kCellStyle}};

  void Start(State state, XmlAttributes attributes) override {
    const std::uint32_t number = Whole(attributes.Find("numFmtId").value_or("")).value_or(0);
    if (state == kFormat) styles_.TakeFormat(number, attributes.Find("formatCode").value_or(""));
    if (state == kCellStyle) styles_.TakeStyle(number);
  }
  void End(State state) override {
    if (state == kCellStyles) Stop();
  }

  StyleTable& styles_;
};

class StringsXml final : public XmlPart {
 public:
  explicit StringsXml(SharedStrings& strings) : XmlPart(kSteps), strings_(strings) {}

 private:
  enum : State { kStrings = 1, kString, kRun, kText };
  static constexpr Step kSteps[] = {{kNowhere, "sst", kStrings},
                                    {kStrings, "si", kString},
                                    {kString, "t", kText},
                                    {kString, "r", kRun},
                                    {kRun, "t", kText}};

  void Start(State state, XmlAttributes) override {
    if (state == kString) text_.clear();
  }
  void Text(State state, std::string_view text) override {
    if (state == kText) text_ += text;
  }
  void End(State state) override {
    if (state != kString) return;
    Unescape(text_);
    strings_.Add(text_);
  }

  SharedStrings& strings_;
  std::string text_;
};

class SheetXml final : public XmlPart {
 public:
  explicit SheetXml(Excel2007Cells& cells) : XmlPart(kSteps), cells_(cells) {}

 private:
  enum : State { kSheet = 1, kData, kRow, kCell, kValue, kInline, kRun, kText };
  static constexpr Step kSteps[] = {
      {kRow, "c", kCell},     {kCell, "v", kValue},         {kData, "row", kRow},
      {kCell, "is", kInline}, {kInline, "t", kText},        {kInline, "r", kRun},
      {kRun, "t", kText},     {kSheet, "sheetData", kData}, {kNowhere, "worksheet", kSheet}};

  void Start(State state, XmlAttributes attributes) override {
    switch (state) {
      case kRow: {
        const auto row = attributes.Find("r");
        row_ = row ? Whole(*row).value_or(0) : row_ + 1;
        column_ = 0;
        break;
      }
      case kCell:
        StartCell(attributes);
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
    if (state == kText || (state == kValue && !is_inline_)) text_ += text;
  }

  void End(State state) override {
    if (state == kCell && has_value_) TakeCell();
    if (state == kData) Stop();
  }

  // A cell without a place stands behind the one before.
  void StartCell(XmlAttributes attributes) {
    ++column_;
    cell_row_ = row_;
    style_ = 0;
    type_ = "n";
    attributes.ForEach([&](std::string_view name, std::string_view value) {
      if (name == "r")
        TakePlace(value);
      else if (name == "s")
        style_ = Whole(value).value_or(0);
      else if (name == "t")
        type_ = value;
    });
    has_value_ = is_inline_ = false;
    text_.clear();
    if (!cells_.GoTo(column_ - 1, cell_row_ - 1)) Refuse();
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
    column_ = column;
    cell_row_ = Whole(text.substr(at)).value_or(0);
  }

  void TakeCell() {
    if (type_ == "n") return TakeNumber();
    const bool is_text = type_ == "str" || type_ == "inlineStr";
    // Without a value there is no cell, but a text may be empty.
    if (text_.empty() && !is_text) return;
    if (cells_.TakesExtentOnly()) return;
    if (is_text) {
      Unescape(text_);
      cells_.SetText(text_.c_str());
    } else if (type_ == "s") {
      cells_.SetShared(Whole(text_).value_or(~std::uint32_t{0}));
    } else if (type_ == "b") {
      cells_.SetBoolean(IsTrue(text_));
    } else if (type_ == "e") {
      cells_.SetError();
    } else if (type_ == "d") {
      cells_.SetIsoDate(text_);
    } else {
      cells_.SetText(text_.c_str());
    }
  }

  void TakeNumber() {
    if (text_.find_first_not_of(" \t\r\n") == std::string::npos) return;
    if (cells_.TakesExtentOnly()) return;
    if (const auto number = ParseNumber(text_))
      cells_.SetNumber(style_, *number);
    else
      cells_.SetText(text_.c_str());
  }

  Excel2007Cells& cells_;
  std::uint32_t row_ = 0;  // rows and columns count from 1 here
  std::uint32_t column_ = 0;
  std::uint32_t cell_row_ = 0;
  std::uint32_t style_ = 0;
  std::string type_;
  std::string text_;
  bool has_value_ = false;
  bool is_inline_ = false;
};

}  // namespace

bool ReadRelationships(ZipPackage& package, std::vector<Relationship>& relationships) {
  return RelationshipsXml(relationships).Read(package);
}

bool XmlParts::ReadWorkbook(ZipPackage& package, WorkbookPart& workbook) {
  return WorkbookXml(workbook).Read(package);
}

bool XmlParts::ReadStyles(ZipPackage& package, StyleTable& styles) {
  return StylesXml(styles).Read(package);
}

bool XmlParts::ReadStrings(ZipPackage& package, SharedStrings& strings) {
  return StringsXml(strings).Read(package);
}

bool XmlParts::ReadSheet(ZipPackage& package, Excel2007Cells& cells) {
  return SheetXml(cells).Read(package);
}
