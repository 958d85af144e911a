#include "nvimport/hosting/export/XlsxRows.h"

#include <charconv>
#include <cmath>
#include <utility>

#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

// What a worksheet has room for.
constexpr int kMostRows = 1'048'576;
constexpr int kMostColumns = 16'384;
constexpr std::size_t kLongestText = 32'767;  // in UTF-16 units

constexpr std::size_t kXmlAtOnce = 64 * 1024;

constexpr std::string_view kXmlHead = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)"
                                      "\n";

// What leads to the worksheet.
constexpr std::pair<const char*, std::string_view> kParts[] = {
    {"[Content_Types].xml",
     R"(<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">)"
     R"(<Default Extension="rels" ContentType=")"
     R"(application/vnd.openxmlformats-package.relationships+xml"/>)"
     R"(<Override PartName="/xl/workbook.xml" ContentType=")"
     R"(application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml"/>)"
     R"(<Override PartName="/xl/worksheets/sheet1.xml" ContentType=")"
     R"(application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml"/></Types>)"},
    {"_rels/.rels",
     R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)"
     R"(<Relationship Id="rId1" Type=")"
     R"(http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument")"
     R"( Target="xl/workbook.xml"/></Relationships>)"},
    {"xl/workbook.xml",
     R"(<workbook xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main")"
     R"( xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships">)"
     R"(<sheets><sheet name="Sheet1" sheetId="1" r:id="rId1"/></sheets></workbook>)"},
    {"xl/_rels/workbook.xml.rels",
     R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)"
     R"(<Relationship Id="rId1" Type=")"
     R"(http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet")"
     R"( Target="worksheets/sheet1.xml"/></Relationships>)"}};

void AppendWhole(std::string& to, int number) {
  FloatText buffer;
  to += FormatWhole(number, buffer);
}

void AppendLetters(std::string& to, int column) {
  if (column > 26) AppendLetters(to, (column - 1) / 26);
  to += static_cast<char>('A' + (column - 1) % 26);
}

// The first UTF-16 units of a text, as many as a cell has room for.
std::string_view CutToCell(std::string_view text) {
  if (text.size() <= kLongestText) return text;
  std::string_view rest = text;
  for (std::size_t units = 0; !rest.empty();) {
    const std::string_view before = rest;
    units += TakeCharacter(rest) > 0xffff ? 2 : 1;
    if (units > kLongestText) return text.substr(0, text.size() - before.size());
  }
  return text;
}

// Whether readers would take what `text` begins with for a character, as they take "_x000D_".
bool BeginsLikeEscape(std::string_view text) {
  if (text.size() < 7 || !text.starts_with("_x") || text[6] != '_') return false;
  unsigned unit = 0;
  return std::from_chars(text.data() + 2, text.data() + 6, unit, 16).ptr == text.data() + 6;
}

void AppendXml(std::string& xml, std::string_view text) {
  for (; !text.empty(); text.remove_prefix(1)) {
    const char c = text[0];
    if (c == '&') {
      xml += "&amp;";
    } else if (c == '<') {
      xml += "&lt;";
    } else if (c == '>') {
      xml += "&gt;";
    } else if (static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\n') {
      // XML has no room for it, or would make a line break of it.
      xml += c < 0x10 ? "_x000" : "_x001";
      xml += "0123456789ABCDEF"[c % 0x10];
      xml += '_';
    } else if (text.starts_with("\xef\xbf\xbe") || text.starts_with("\xef\xbf\xbf")) {
      xml += text[2] == '\xbe' ? "_xFFFE_" : "_xFFFF_";
      text.remove_prefix(2);
    } else if (BeginsLikeEscape(text)) {
      xml += "_x005F_";
    } else {
      xml += c;
    }
  }
}

}  // namespace

void XlsxRows::SetColumns(int columns) {
  if (columns > kMostColumns)
    file_.Fail("a worksheet has no more than 16,384 columns; CSV and Arrow have no limit");
}

void XlsxRows::Begin() {
  zip_.emplace(file_);
  for (const auto& [name, xml] : kParts) {
    zip_->BeginPart(name);
    zip_->Write(kXmlHead);
    zip_->Write(xml);
    zip_->EndPart();
  }
  zip_->BeginPart("xl/worksheets/sheet1.xml");
  xml_ = kXmlHead;
  xml_ +=
      R"(<worksheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main"><sheetData>)";
}

void XlsxRows::BeginRow() {
  if (!zip_) Begin();
  if (++row_ > kMostRows)
    file_.Fail("a worksheet has no more than 1,048,576 rows; CSV and Arrow have no limit");
  next_ = 1;
  has_cells_ = false;
}

void XlsxRows::BeginCell(std::string_view kind) {
  if (xml_.size() >= kXmlAtOnce) Flush();
  if (!std::exchange(has_cells_, true)) {
    xml_ += "<row r=\"";
    AppendWhole(xml_, row_);
    xml_ += "\">";
  }
  xml_ += "<c r=\"";
  AppendLetters(xml_, next_);
  AppendWhole(xml_, row_);
  xml_ += kind;
}

void XlsxRows::Put(const MemoryCell& cell) {
  if (cell.kind == CellKind::kText) return PutText(cell.text);
  if (cell.kind == CellKind::kNumber) {
    FloatText buffer;
    const std::string_view number = FormatNumber(cell, buffer);
    // A worksheet has no numbers but finite ones.
    std::isfinite(cell.exact()) ? PutDigits(number) : PutWords(number);
  }
  ++next_;
}

void XlsxRows::PutText(std::string_view text) {
  // Spreadsheets show no more digits of a number, and what has more is mostly the name of
  // something.
  constexpr std::size_t kMostDigits = 15;
  const bool is_long =
      text.size() > kMostDigits && text.find_first_of(".eE") == std::string_view::npos;
  if (!is_long && NumberIn(text))
    PutDigits(text);
  else
    PutWords(conversion_.decoder.Decode(text, decoded_));
  ++next_;
}

void XlsxRows::PutDigits(std::string_view number) {
  BeginCell("\"><v>");
  xml_ += number;
  xml_ += "</v></c>";
}

void XlsxRows::PutWords(std::string_view text) {
  const std::string_view cut = CutToCell(text);
  if (cut.size() < text.size()) ++broken_;
  const auto is_blank = [](char c) { return static_cast<unsigned char>(c) <= ' '; };
  const bool has_blanks = !cut.empty() && (is_blank(cut.front()) || is_blank(cut.back()));
  BeginCell(has_blanks ? R"(" t="inlineStr"><is><t xml:space="preserve">)"
                       : R"(" t="inlineStr"><is><t>)");
  AppendXml(xml_, cut);
  xml_ += "</t></is></c>";
}

void XlsxRows::EndRow() {
  if (has_cells_) xml_ += "</row>";
}

void XlsxRows::Flush() {
  zip_->Write(xml_);
  xml_.clear();
}

void XlsxRows::End() {
  if (!zip_) Begin();
  xml_ += "</sheetData></worksheet>";
  Flush();
  zip_->EndPart();
  zip_->End();
}

}  // namespace nvimport
