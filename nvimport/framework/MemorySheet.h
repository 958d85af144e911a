#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

// As what a number came.
enum class NumberKind : char { kFloat, kDouble, kWhole };

// A cell as MemorySheet shows it.
struct MemoryCell {
  CellKind kind = CellKind::kMissing;           // which of those below count, if any
  float number = 0;                             // of a number cell, the nearest one
  std::string_view text{};                      // NUL-terminated; valid until the sheet changes
  NumberKind number_kind = NumberKind::kFloat;  // of a number cell
  double wide = 0;                              // of a double or a whole number, the nearest one
  long long whole = 0;                          // of a whole number

  // The number of a number cell as far as a double holds it.
  double exact() const {
    return number_kind == NumberKind::kFloat ? static_cast<double>(number) : wide;
  }
};

// A number cell of a float.
inline MemoryCell NumberCell(float value) { return {.kind = CellKind::kNumber, .number = value}; }
// The same of a double.
inline MemoryCell NumberCell(double value) {
  return {.kind = CellKind::kNumber, .number_kind = NumberKind::kDouble, .wide = value};
}
// The same of a whole number.
inline MemoryCell NumberCell(long long value) {
  return {.kind = CellKind::kNumber,
          .number_kind = NumberKind::kWhole,
          .wide = static_cast<double>(value),
          .whole = value};
}

// Calls `use` with the number of a number cell as it came.
auto WithNumber(const MemoryCell& cell, const auto& use) {
  if (cell.number_kind == NumberKind::kFloat) return use(cell.number);
  return cell.number_kind == NumberKind::kDouble ? use(cell.wide) : use(cell.whole);
}

// The shortest text that reads back to the same number, NUL-terminated in `buffer`.
NVIMPORT_API std::string_view FormatNumber(const MemoryCell& cell, FloatText& buffer);

// A sheet in memory, for hosts that have none of their own. It grows to whatever is set, in any
// order, and its memory follows the cells that are set, never the highest index or an announced
// size. A cell at an index below 1 is dropped.
class NVIMPORT_API MemorySheet : public SpreadsheetData {
 public:
  MemorySheet() = default;
  MemorySheet(const MemorySheet&) = delete;
  MemorySheet& operator=(const MemorySheet&) = delete;
  ~MemorySheet() override;

  using ReadSpreadSheetData::Set;

  // Stores a cell in the place of what was there. A text is copied; a null one is dropped.
  void Set(int column, int row, const char* text) override;
  void Set(int column, int row, float value) override;
  // The same of a text whose length is known.
  void SetText(int column, int row, std::string_view text);
  // Numbers are kept as they come. A class of its own derived from this one may count on being told
  // of them by Set; it says itself whether it takes them otherwise.
  bool TakesExact() override;
  void SetExact(int column, int row, double value) override;
  void SetExact(int column, int row, long long value) override;
  // The extent becomes at least this.
  void SetDataSize(int columns, int rows) override;

  // The highest column and row that were set or announced.
  int GetNumberOfColumns() override { return columns_; }
  int GetNumberOfRows() override { return rows_; }

  // The number of a number cell, else NaN.
  float GetNumber(int column, int row) override;
  std::optional<double> GetExact(int column, int row) override;
  // The text of a text cell, a number's shortest text (valid until the next call), else "".
  const char* GetText(int column, int row) override;
  bool CellFlag(int column, int row) override;
  bool IsNumber(int column, int row) override;
  bool IsMissing(int column, int row) override;
  bool IsText(int column, int row) override;
  bool KeepsTextOf(int, int) override { return true; }

  // The cell, missing where nothing was set or nothing can be.
  MemoryCell GetCell(int column, int row) const;

  // The cells of a row from a column on, as many as there is room for.
  void GetCells(int column, int row, std::span<MemoryCell> cells) const;

  // The number that a cell holds or that its text reads as; see ParseNumber.
  std::optional<double> AsNumber(int column, int row, char decimal_mark = '.') const;

  // The cells that are not missing, counted anew.
  std::uint64_t CountCells() const;

  // Back to an empty sheet.
  void Clear();

 private:
  // Nine bytes a cell: eight, and what they are. A narrow cell has a tag in the eighth. Tag 0 is a
  // text of up to seven bytes, which the tag itself ends; all zero is a missing cell, so that fresh
  // memory holds nothing. A text in the arena: 32 bits of its chunk, 16 of its place there, and its
  // length if a byte can hold it, else kLongest. Those of kShared bytes and more are there once,
  // behind the number of cells that show them.
  struct Slot {
    char bytes[8];
  };
  enum class Width : char { kNarrow, kDouble, kWhole };
  enum Tag : char { kInline = 0, kFloat = 1, kInArena = 2, kEmptyText = 3 };
  static constexpr std::size_t kLongest = 255;
  static constexpr std::size_t kShared = 16;

  // Slots are made eight columns of one row at a time, and found through blocks of eight rows and
  // four times eight columns, so that neither long columns nor long rows take many blocks.
  static constexpr unsigned kLineBits = 3;
  static constexpr unsigned kRowBits = 3;
  static constexpr unsigned kGroupBits = 2;
  struct Line {
    Slot cells[1U << kLineBits];
    Width widths[1U << kLineBits];
  };
  struct Block {
    std::array<std::uint32_t, 1U << (kRowBits + kGroupBits)>
        lines{};  // index into the lines, from 1
  };
  static std::uint64_t BlockKey(unsigned column, unsigned row) {
    return std::uint64_t{row >> kRowBits} << 32 | column >> (kLineBits + kGroupBits);
  }
  static std::size_t LineInBlock(unsigned column, unsigned row) {
    const unsigned group = (column >> kLineBits) % (1U << kGroupBits);
    return (row % (1U << kRowBits)) << kGroupBits | group;
  }
  struct CachedBlock {
    std::uint64_t key = ~std::uint64_t{0};
    Block* block = nullptr;
  };

  struct Place {
    Slot& slot;
    Width& width;
  };
  Place PlaceFor(int column, int row);
  // The place of a cell that is to be narrow.
  Slot& SlotFor(int column, int row);
  template <typename Number>
  void SetWide(int column, int row, Number value, Width width);
  Line& LineFor(unsigned column, unsigned row);
  const Block* FindBlock(std::uint64_t key) const;
  const Line* FindLine(const Block* block, unsigned column, unsigned row) const;
  Line& LineAt(std::uint32_t index) const;
  Block& BlockFor(std::uint64_t key);
  MemoryCell CellIn(const Line& line, unsigned place) const;
  // Takes a text of at least eight bytes, in the place of the slot's old one if it fits there.
  void SetLongText(std::string_view text, Slot& slot);
  // Releases what only the slot's old text needed.
  void Replace(Slot& slot, const Slot& fresh);
  static std::uint32_t ArenaChunk(const Slot& slot);
  char* ArenaText(const Slot& slot) const;
  std::size_t ArenaLength(const Slot& slot) const;
  void PutInArena(std::string_view text, Slot& slot);
  // The number of cells that show a shared text.
  std::uint32_t Uses(const Slot& slot) const;
  void SetUses(const Slot& slot, std::uint32_t uses);
  // Among the shared texts the entry of which `is_it` says so, or the free one that ends the
  // search; null after a long search.
  template <typename IsIt>
  Slot* FindShared(std::string_view text, IsIt is_it);
  void Share(std::string_view text, const Slot& slot);
  void Unshare(const Slot& slot);

  int columns_ = 0;
  int rows_ = 0;
  std::unordered_map<std::uint64_t, Block> blocks_;
  std::array<CachedBlock, 64> cache_;
  // The line of the last cell set: the next one is mostly its neighbour.
  Line* last_line_ = nullptr;
  unsigned last_row_ = 0;
  unsigned last_group_ = 0;
  std::vector<std::unique_ptr<Line[]>> line_chunks_;
  std::uint32_t lines_used_ = 0;
  std::vector<std::unique_ptr<char[]>> arena_;
  std::uint32_t arena_chunk_ = 0;      // the one being filled
  std::size_t arena_used_ = SIZE_MAX;  // of that chunk; none yet
  std::vector<Slot> shared_;           // by the texts' hashes
  std::size_t shared_entries_ = 0;     // that are or were in use
  FloatText number_text_{};
};

// The sheet of a preview.
using SpreadsheetListView = MemorySheet;

}  // namespace nvimport
