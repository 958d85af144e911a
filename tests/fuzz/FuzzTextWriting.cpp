// A sheet written as text and read back. Input: a byte that chooses the delimiter, then the cells,
// row by row, a byte for each:
//   0      missing
//   1      a number, four bytes more
//   2      the row ends, as it does after twenty cells
//   above  a text of that many bytes less 3
// What must come back is put together here, cell by cell.

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "nvimport/formats/text/TextFile.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

namespace {

struct Cell {
  std::string text;  // empty of a number, and of a missing cell
  std::optional<float> number;

  bool IsEmpty() const { return text.empty() && !number; }
};

using Rows = std::vector<std::vector<Cell>>;

Rows Fill(MemorySheet& sheet, ByteReader input) {
  Rows rows(1);
  while (input.ok() && input.remaining() > 0 && rows.size() < 100) {
    const unsigned kind = input.U8();
    if (kind == 2 || rows.back().size() == 20) rows.emplace_back();
    if (kind == 2) continue;
    const int row = static_cast<int>(rows.size());
    Cell& cell = rows.back().emplace_back();
    const int column = static_cast<int>(rows.back().size());
    if (kind == 1) {
      cell.number = input.F32();
      sheet.Set(column, row, *cell.number);
    } else if (kind > 2) {
      cell.text = input.Text(std::min<std::size_t>(kind - 3, input.remaining()));
      cell.text = cell.text.c_str();  // a text ends at its NUL
      sheet.Set(column, row, cell.text.c_str());
    }
  }
  return rows;
}

bool IsSame(const Cell& cell, const std::string& came) {
  if (!cell.number) return came == cell.text;
  const float number = std::strtof(came.c_str(), nullptr);
  return !came.empty() &&
         (number == *cell.number || (std::isnan(number) && std::isnan(*cell.number)));
}

}  // namespace

void Fuzz(std::string_view input) {
  if (input.empty()) return;
  const std::string delimiter(1, "\t;,| "[Setting(input, 0) % 5]);
  MemorySheet sheet;
  Rows cells = Fill(sheet, InputReader(input.substr(1)));
  // A sheet ends with its last cell that is there.
  const auto rows = static_cast<std::size_t>(sheet.GetNumberOfRows());
  const auto columns = static_cast<std::size_t>(sheet.GetNumberOfColumns());
  Check(rows <= cells.size(), "no row appears");
  cells.resize(rows);
  for (auto& row : cells) row.resize(columns);

  const MemoryFile file;
  TextFile writer;
  writer.SetDelimiter(delimiter.c_str());
  Check(writer.Open(false, file.path(), nullptr) == 0, "a file is begun");
  Check(writer.Write(&sheet) == 0, "a sheet is written");
  writer.Close();

  bool comes_back = rows > 0;
  // A delimiter at a line's end begins no field, so a last column without a text is not seen.
  bool ends_empty = true;
  for (const auto& row : cells) {
    ends_empty = ends_empty && row.back().IsEmpty();
    for (const Cell& cell : row)
      comes_back = comes_back && cell.text.find_first_of(delimiter + "\r\n") == std::string::npos;
  }
  if (!comes_back) return;
  TextFile reader;
  OpenOptions options = OpenOptions::Made(TextFile::GetImportOptions(delimiter, false));
  Check(reader.Open(true, file.path(), options.get()) == 0, "what was written opens");
  Check(reader.GetNumRows() == static_cast<int>(rows), "the rows come back");
  Check(reader.GetNumCols() == static_cast<int>(columns - (ends_empty ? 1 : 0)),
        "the columns come back");
  MemorySheet back;
  Check(reader.Read(&back) == 0, "what was written is read");
  for (std::size_t row = 0; row < rows; ++row)
    for (std::size_t column = 0; column < columns; ++column)
      Check(IsSame(cells[row][column],
                   back.GetText(static_cast<int>(column + 1), static_cast<int>(row + 1))),
            "the cell comes back");
}

}  // namespace nvimport
