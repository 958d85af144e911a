#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace nvimport {

// Little-endian values and records of workbooks.
template <typename T>
std::string Bytes(T value) {
  std::string bytes(sizeof value, '\0');
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}
inline std::string U8(unsigned value) { return Bytes(static_cast<std::uint8_t>(value)); }
inline std::string U16(unsigned value) { return Bytes(static_cast<std::uint16_t>(value)); }
inline std::string U32(std::uint32_t value) { return Bytes(value); }
inline std::string F64(double value) { return Bytes(value); }
inline std::string Wide(std::u16string_view text) {
  std::string bytes;
  for (const char16_t unit : text) bytes += U16(unit);
  return bytes;
}

inline std::string Record(unsigned id, std::string_view data = {}) {
  return U16(id) + U16(static_cast<unsigned>(data.size())) + std::string(data);
}
inline std::string Eof() { return Record(0x000A); }
inline std::string Bof(unsigned substream, unsigned id = 0x0809, unsigned version = 0x0600) {
  return Record(id, U16(version) + U16(substream) + U32(0));
}
inline std::string Row() { return Record(0x0208, std::string(16, '\0')); }

// What each cell's record begins with: row and column from 0, and an XF where there is one.
inline std::string At(unsigned row, unsigned column) { return U16(row) + U16(column); }
inline std::string Cell(unsigned row, unsigned column, unsigned xf = 0) {
  return At(row, column) + U16(xf);
}
inline std::string Number(unsigned row, unsigned column, double value, unsigned xf = 0) {
  return Record(0x0203, Cell(row, column, xf) + F64(value));
}

// A BIFF8 string of the form that the shared strings have.
inline std::string Text8(std::string_view text) {
  return U16(static_cast<unsigned>(text.size())) + U8(0) + std::string(text);
}
inline std::string Text16(std::u16string_view text) {
  return U16(static_cast<unsigned>(text.size())) + U8(1) + Wide(text);
}

struct SheetFixture {
  std::string cells = {};  // after the first ROW record
  std::uint32_t rows = 2;
  std::uint32_t columns = 2;
  std::string name = "Sheet";
  std::string before = {};  // records between BOF and DIMENSIONS
  bool has_dimensions = true;
  unsigned type = 0;
};

// A workbook of BIFF5 or BIFF8: its stream, which may stand as a file of its own.
struct WorkbookFixture {
  std::vector<SheetFixture> sheets = {};
  std::string globals = {};  // records before the BOUNDSHEETs
  bool is_biff8 = true;

  std::string Stream() const {
    const unsigned version = is_biff8 ? 0x0600 : 0x0500;
    const auto head = [&](const std::vector<std::uint32_t>& positions) {
      std::string bytes = Bof(0x0005, 0x0809, version) + globals;
      for (std::size_t i = 0; i < sheets.size(); ++i) {
        const std::string& name = sheets[i].name;
        bytes += Record(0x0085, U32(positions[i]) + U8(0) + U8(sheets[i].type) +
                                    U8(static_cast<unsigned>(name.size())) +
                                    (is_biff8 ? U8(0) : "") + name);
      }
      return bytes + Eof();
    };
    std::vector<std::uint32_t> positions(sheets.size());
    auto position = static_cast<std::uint32_t>(head(positions).size());
    std::string bodies;
    for (std::size_t i = 0; i < sheets.size(); ++i) {
      positions[i] = position + static_cast<std::uint32_t>(bodies.size());
      const SheetFixture& sheet = sheets[i];
      bodies += Bof(0x0010, 0x0809, version) + sheet.before;
      if (sheet.has_dimensions)
        bodies += Record(
            0x0200, is_biff8 ? U32(0) + U32(sheet.rows) + U16(0) + U32(sheet.columns)
                             : U16(0) + U16(sheet.rows) + U16(0) + U16(sheet.columns) + U16(0));
      bodies += Row() + sheet.cells + Eof();
    }
    return head(positions) + bodies;
  }
};

// A file of one worksheet: BIFF2, BIFF3 and BIFF4 by the BOF's id.
inline std::string SheetFile(unsigned bof, std::string_view records, unsigned rows = 9,
                             unsigned columns = 9) {
  return Record(bof, U16(0) + U16(0x0010) + U16(0)) +
         Record(bof == 0x0009 ? 0x0000 : 0x0200,
                U16(0) + U16(rows) + U16(0) + U16(columns) + U16(0)) +
         Record(bof == 0x0009 ? 0x0008 : 0x0208, std::string(16, '\0')) + std::string(records) +
         Eof();
}

}  // namespace nvimport
