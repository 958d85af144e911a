#pragma once

#include <zlib.h>

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/BiffFixture.h"

namespace nvimport {

// A part of a zip archive, and how it is written.
struct ZipPart {
  std::string name;
  std::string bytes;
  bool is_packed = true;
  bool has_descriptor = false;                    // sizes and check sum stand behind the bytes
  bool is_zip64 = false;                          // sizes stand in an extra field
  std::optional<std::uint64_t> stated_size = {};  // in place of the true one
  unsigned flags = 0;
  unsigned method = Z_DEFLATED;  // of a packed one
};

inline std::string Deflated(std::string_view bytes) {
  z_stream stream{};
  deflateInit2(&stream, 6, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
  std::string packed(deflateBound(&stream, bytes.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

inline void Append(std::string& text, std::initializer_list<std::string_view> pieces) {
  for (const std::string_view piece : pieces) text += piece;
}

inline std::string U64(std::uint64_t value) { return Bytes(value); }

// A zip archive of the parts (see APPNOTE.TXT of the format).
inline std::string ZipArchive(const std::vector<ZipPart>& parts, bool is_zip64 = false) {
  constexpr std::uint32_t kElsewhere = 0xFFFFFFFF;
  std::string archive;
  std::string directory;
  for (const ZipPart& part : parts) {
    const std::string data = part.is_packed ? Deflated(part.bytes) : part.bytes;
    const std::uint64_t size = part.stated_size.value_or(part.bytes.size());
    const auto bytes = reinterpret_cast<const Bytef*>(part.bytes.data());
    const auto sum =
        static_cast<std::uint32_t>(crc32(0, bytes, static_cast<uInt>(part.bytes.size())));
    const auto sizes = [&](bool is_there) {
      if (!is_there) return U32(0) + U32(0) + U32(0);
      if (part.is_zip64) return U32(sum) + U32(kElsewhere) + U32(kElsewhere);
      return U32(sum) + U32(static_cast<std::uint32_t>(data.size())) +
             U32(static_cast<std::uint32_t>(size));
    };
    const std::string extra =
        part.is_zip64 ? U16(1) + U16(16) + U64(size) + U64(data.size()) : std::string();
    const std::string head = U16(20) + U16(part.flags | (part.has_descriptor ? 8U : 0U)) +
                             U16(part.is_packed ? part.method : 0) + U16(0) + U16(0x21);
    const std::string lengths =
        U16(static_cast<unsigned>(part.name.size())) + U16(static_cast<unsigned>(extra.size()));
    Append(directory, {"PK\1\2", U16(20), head, sizes(true), lengths, std::string(10, '\0'),
                       U32(static_cast<std::uint32_t>(archive.size())), part.name, extra});
    Append(archive, {"PK\3\4", head, sizes(!part.has_descriptor), lengths, part.name, extra, data});
    if (part.has_descriptor)
      Append(archive, {"PK\7\10", U32(sum), U32(static_cast<std::uint32_t>(data.size())),
                       U32(static_cast<std::uint32_t>(size))});
  }
  const std::uint64_t begin = archive.size();
  const auto count = static_cast<unsigned>(parts.size());
  archive += directory;
  if (is_zip64) {
    const std::uint64_t end = archive.size();
    archive += "PK\6\6" + U64(44) + U16(45) + U16(45) + U32(0) + U32(0) + U64(count) + U64(count) +
               U64(directory.size()) + U64(begin);
    archive += "PK\6\7" + U32(0) + U64(end) + U32(1);
  }
  return archive + "PK\5\6" + U16(0) + U16(0) + U16(is_zip64 ? 0xFFFF : count) +
         U16(is_zip64 ? 0xFFFF : count) + U32(static_cast<std::uint32_t>(directory.size())) +
         U32(is_zip64 ? kElsewhere : static_cast<std::uint32_t>(begin)) + U16(0);
}

// A record of a binary part.
inline std::string BinaryRecord(std::uint32_t type, std::string_view body = {}) {
  std::string record = type < 0x80 ? U8(type) : U8((type & 0x7F) | 0x80) + U8(type >> 7);
  auto length = static_cast<std::uint32_t>(body.size());
  for (; length >= 0x80; length >>= 7) record += U8((length & 0x7F) | 0x80);
  return record + U8(length) + std::string(body);
}
inline std::string BinaryText(std::u16string_view text) {
  return U32(static_cast<std::uint32_t>(text.size())) + Wide(text);
}
// A cell of a binary worksheet; those of types 12 to 18 have no column.
inline std::string BinaryCell(std::uint32_t type, std::uint32_t column, std::string_view value,
                              std::uint32_t style = 0) {
  const bool is_short = type >= 12 && type <= 18;
  return BinaryRecord(type, (is_short ? "" : U32(column)) + U32(style) + std::string(value));
}
inline std::string BinaryRow(std::uint32_t row) { return BinaryRecord(0, U32(row)); }

// A workbook in a package: XML or binary parts, from what is inside of each.
struct PackageFixture {
  struct Sheet {
    std::string data;  // rows
    std::string name = "Sheet";
    std::string state = "visible";
    std::string type = "worksheet";
  };

  std::vector<Sheet> sheets;
  std::string strings = {};     // <si> elements
  std::string formats = {};     // <numFmt> elements
  std::string styles = {};      // <xf> elements of the cells
  std::string properties = {};  // attributes of workbookPr
  bool is_binary = false;
  bool is_strict = false;

  static constexpr const char* kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

  std::string Namespace() const {
    return is_strict ? "http://purl.oclc.org/ooxml/spreadsheetml/main"
                     : "http://schemas.openxmlformats.org/spreadsheetml/2006/main";
  }
  std::string Extension() const { return is_binary ? ".bin" : ".xml"; }

  std::string Relationship(const std::string& id, const std::string& type,
                           const std::string& target) const {
    const std::string base =
        is_strict ? "http://purl.oclc.org/ooxml/officeDocument/relationships/"
                  : "http://schemas.openxmlformats.org/officeDocument/2006/relationships/";
    return R"(<Relationship Id=")" + id + R"(" Type=")" + base + type + R"(" Target=")" + target +
           R"("/>)";
  }
  static std::string Relationships(const std::string& inside) {
    return std::string(kHead) +
           "<Relationships "
           "xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">" +
           inside + "</Relationships>";
  }
  std::string Root(const std::string& name, const std::string& inside) const {
    return std::string(kHead) + "<" + name + R"( xmlns=")" + Namespace() +
           R"(" xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships">)" +
           inside + "</" + name + ">";
  }

  std::string Workbook() const {
    std::string list;
    for (std::size_t i = 0; i < sheets.size(); ++i) {
      const std::string id = "rId" + std::to_string(i + 1);
      const std::u16string wide(sheets[i].name.begin(), sheets[i].name.end());
      if (is_binary)
        list += BinaryRecord(156, U32(sheets[i].state == "visible" ? 0 : 1) + U32(1) +
                                      BinaryText(std::u16string(id.begin(), id.end())) +
                                      BinaryText(wide));
      else
        list += "<sheet name=\"" + sheets[i].name + "\" sheetId=\"" + std::to_string(i + 1) +
                "\" state=\"" + sheets[i].state + "\" r:id=\"" + id + "\"/>";
    }
    if (is_binary)
      return BinaryRecord(131) + BinaryRecord(153, U32(properties.empty() ? 0 : 1)) +
             BinaryRecord(143) + list + BinaryRecord(144) + BinaryRecord(132);
    return Root("workbook", "<workbookPr " + properties + "/><sheets>" + list + "</sheets>");
  }

  std::string SheetPart(const Sheet& sheet) const {
    if (is_binary)
      return BinaryRecord(129) + BinaryRecord(145) + sheet.data + BinaryRecord(146) +
             BinaryRecord(130);
    return Root(sheet.type, "<sheetData>" + sheet.data + "</sheetData>");
  }

  std::string Strings() const {
    if (is_binary) return BinaryRecord(159, U32(0xFFFFFFFF) + U32(0xFFFFFFFF)) + strings;
    return Root("sst", strings);
  }
  std::string Styles() const {
    if (is_binary)
      return BinaryRecord(278) + formats + BinaryRecord(617) + styles + BinaryRecord(618);
    return Root("styleSheet",
                "<numFmts>" + formats + "</numFmts><cellXfs>" + styles + "</cellXfs>");
  }

  // Other readers want it.
  std::string ContentTypes() const {
    const std::string what = "application/vnd.";
    const std::string main =
        is_binary ? what + "ms-excel.sheet.binary.macroEnabled.main"
                  : what + "openxmlformats-officedocument.spreadsheetml.sheet.main+xml";
    const auto part = [&](const std::string& name, const std::string& kind) {
      const std::string type =
          is_binary ? what + "ms-excel." + kind
                    : what + "openxmlformats-officedocument.spreadsheetml." + kind + "+xml";
      return "<Override PartName=\"/xl/" + name + Extension() + "\" ContentType=\"" +
             (name == "workbook" ? main : type) + "\"/>";
    };
    std::string inside =
        "<Default Extension=\"rels\" "
        "ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>" +
        part("workbook", "") + part("sharedStrings", "sharedStrings") + part("styles", "styles");
    for (std::size_t i = 0; i < sheets.size(); ++i)
      inside += part("worksheets/sheet" + std::to_string(i + 1), "worksheet");
    return std::string(kHead) +
           "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">" +
           inside + "</Types>";
  }

  std::vector<ZipPart> Parts() const {
    const std::string extension = Extension();
    std::string references = Relationship("rIdT", "sharedStrings", "sharedStrings" + extension) +
                             Relationship("rIdF", "styles", "styles" + extension);
    std::vector<ZipPart> parts = {
        {"[Content_Types].xml", ContentTypes()},
        {"_rels/.rels",
         Relationships(Relationship("rId1", "officeDocument", "xl/workbook" + extension))},
        {"xl/workbook" + extension, Workbook()},
        {"xl/sharedStrings" + extension, Strings()},
        {"xl/styles" + extension, Styles()}};
    for (std::size_t i = 0; i < sheets.size(); ++i) {
      const std::string target = "worksheets/sheet" + std::to_string(i + 1) + extension;
      references += Relationship("rId" + std::to_string(i + 1), sheets[i].type, target);
      parts.push_back({"xl/" + target, SheetPart(sheets[i])});
    }
    parts.push_back({"xl/_rels/workbook" + extension + ".rels", Relationships(references)});
    return parts;
  }

  std::string File() const { return ZipArchive(Parts()); }
};

}  // namespace nvimport
