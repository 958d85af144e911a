#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/export/Export.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/TemporaryFile.h"

namespace nvimport {

// Texts one behind the other, of which few are in memory.
class StoredTexts {
 public:
  // Where the text is from now on. Throws when there is no room for it.
  std::uint64_t Add(std::string_view text);
  // The text that is there.
  void Get(std::uint64_t place, std::string& text);

 private:
  static constexpr std::size_t kWindow = 16 * 1024;
  static constexpr std::uint64_t kNoWindow = ~std::uint64_t{0};
  struct Window {
    std::uint64_t number = kNoWindow;
    std::array<char, kWindow> bytes;
  };

  void Copy(std::uint64_t place, std::span<char> into);

  TemporaryFile file_;
  std::string last_;          // that are not in the file yet
  std::uint64_t stored_ = 0;  // bytes of the file
  std::vector<Window> windows_{64};
};

// A sheet of any size in a few MiB of memory, the rest of it in a temporary file: for what comes by
// columns and is wanted by rows, and the other way round. It keeps what MemorySheet keeps. Cells
// lie in tiles, so that both ways pass over each tile seldom. Setting and getting throw when the
// temporary file can't be written or read.
class TiledSheet final : public SpreadsheetData {
 public:
  // What is thrown where its file can't be written.
  static constexpr const char* kNoRoom = "the folder for temporary files has no room for the sheet";

  // Of a sheet of about so many columns.
  explicit TiledSheet(int columns);
  TiledSheet(const TiledSheet&) = delete;
  TiledSheet& operator=(const TiledSheet&) = delete;
  ~TiledSheet() override;

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override;
  void Set(int column, int row, const char* text, std::size_t length) override;
  void Set(int column, int row, float value) override;
  bool TakesExact() override { return true; }
  void SetExact(int column, int row, double value) override;
  void SetExact(int column, int row, long long value) override;
  void SetDataSize(int columns, int rows) override;

  int GetNumberOfColumns() override { return columns_; }
  int GetNumberOfRows() override { return rows_; }
  float GetNumber(int column, int row) override;
  std::optional<double> GetExact(int column, int row) override;
  // Valid until the next call.
  const char* GetText(int column, int row) override;
  bool CellFlag(int, int) override { return false; }
  bool IsNumber(int column, int row) override;
  bool IsMissing(int column, int row) override;
  bool IsText(int column, int row) override;
  bool KeepsTextOf(int, int) override { return true; }

  // The cells of a row from a column on. Their texts are valid until the next call.
  void GetCells(int column, int row, std::span<MemoryCell> cells);
  // Those that are not missing.
  std::uint64_t CountCells() const { return cells_; }

 private:
  static constexpr unsigned kTileBits = 12;
  static constexpr std::size_t kTileCells = std::size_t{1} << kTileBits;
  static constexpr std::size_t kMostTiles = 120;  // in memory

  // How the eight bytes of a cell are to be taken.
  enum class Kind : char { kMissing, kFloat, kDouble, kWhole, kShortText, kStoredText };
  struct Stored {
    Kind kind = Kind::kMissing;
    std::uint64_t value = 0;
  };
  struct Tile {
    std::array<std::uint64_t, kTileCells> values;
    std::array<Kind, kTileCells> kinds;
  };
  struct Kept {
    Tile cells;
    std::uint64_t key = 0;
    bool is_changed = false;
  };
  struct Cached {
    std::uint64_t key = ~std::uint64_t{0};
    Kept* tile = nullptr;
  };

  std::uint64_t KeyOf(unsigned column, unsigned row) const {
    return std::uint64_t{row >> (kTileBits - width_bits_)} << 32 | column >> width_bits_;
  }
  std::size_t PlaceOf(unsigned column, unsigned row) const {
    const unsigned height_bits = kTileBits - width_bits_;
    return (row & ((1U << height_bits) - 1)) << width_bits_ | (column & ((1U << width_bits_) - 1));
  }
  // Makes a tile that was none; else null for one.
  Kept* Find(std::uint64_t key, bool makes_it);
  Kept& Load(std::uint64_t key, std::uint64_t in_file, bool is_new);
  void Put(int column, int row, Kind kind, std::uint64_t value);
  Stored StoredAt(int column, int row);
  MemoryCell CellOf(const Stored& stored, std::string& text);
  static CellKind KindOf(const Stored& stored);

  unsigned width_bits_;
  int columns_ = 0;
  int rows_ = 0;
  std::uint64_t cells_ = 0;
  std::vector<std::unique_ptr<Kept>> kept_;
  std::size_t next_out_ = 0;                                  // of those kept
  std::unordered_map<std::uint64_t, std::uint64_t> in_file_;  // the numbers of the tiles there
  std::array<Cached, 1024> cached_;
  TemporaryFile file_;
  StoredTexts stored_;
  std::vector<std::string> texts_;  // of the cells got together
  std::string text_;
  FloatText number_text_{};
};

// As those of a sheet in memory.
std::size_t WriteSheet(SheetFormat format, TiledSheet& sheet, const TextConversion& conversion,
                       OutputFile& out, Progress& progress, const SheetMetadata& metadata);
std::optional<Failure> ExportSheet(TiledSheet& sheet, const ExportRequest& request,
                                   OutputTarget& target);

}  // namespace nvimport
