#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/hosting/export/TiledSheet.h"

namespace nvimport {

namespace {

bool AreEqual(const MemoryCell& a, const MemoryCell& b) {
  return a.kind == b.kind && a.text == b.text && a.number_kind == b.number_kind &&
         a.number == b.number && a.exact() == b.exact() && a.whole == b.whole;
}

// Sets each cell in order, then some anywhere, in both.
void Fill(TiledSheet& sheet, MemorySheet& expected, int columns, int rows, bool goes_down) {
  std::mt19937 random(1);
  const auto below = [&](int end) {
    return static_cast<int>(random() % static_cast<unsigned>(end));
  };
  const int cells = columns * rows;
  for (int i = 0; i < cells + 500; ++i) {
    const int at = i < cells ? i : below(cells);
    const int column = 1 + (goes_down ? at / rows : at % columns);
    const int row = 1 + (goes_down ? at % rows : at / columns);
    const auto set = [&](const auto& value) {
      for (SpreadsheetData* const to :
           {static_cast<SpreadsheetData*>(&sheet), static_cast<SpreadsheetData*>(&expected)})
        value(*to, column, row);
    };
    const int value = below(1'000'000);
    const int kind = below(12);
    if (kind == 0) continue;
    const std::string text(static_cast<std::size_t>(value % 1'000 == 0 ? value / 9 : value % 12),
                           static_cast<char>('a' + value % 26));
    set([&](SpreadsheetData& to, int x, int y) {
      if (kind == 1)
        to.SetExact(x, y, 4'000'000'000'000'000'001LL + value);
      else if (kind == 2)
        to.Set(x, y, static_cast<float>(value) / 3);
      else if (kind == 3)
        to.Set(x, y, text.c_str());
      else
        to.SetExact(x, y, value / 7.0);
    });
  }
}

// Over many more tiles than are in memory at once.
TEST(TiledSheet, KeepsWhatASheetInMemoryKeeps) {
  const struct {
    const char* why;
    int columns;
    int announced;
    int rows;
    bool goes_down;
  } kCases[] = {
      {"wide", 30'000, 30'000, 40, false},
      {"tall", 3, 3, 400'000, true},
      {"by rows, of several tiles across", 900, 900, 900, false},
      {"more columns than announced", 200, 2, 300, true},
      {"fewer of them", 9, 1'000'000, 90'000, false},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    MemorySheet expected;
    TiledSheet sheet(c.announced);
    Fill(sheet, expected, c.columns, c.rows, c.goes_down);
    EXPECT_EQ(sheet.GetNumberOfColumns(), expected.GetNumberOfColumns());
    EXPECT_EQ(sheet.GetNumberOfRows(), expected.GetNumberOfRows());
    EXPECT_EQ(sheet.CountCells(), expected.CountCells());
    std::vector<MemoryCell> cells(static_cast<std::size_t>(c.columns) + 1);
    int differences = 0;
    for (int row = 1; row <= c.rows + 1; ++row) {
      sheet.GetCells(1, row, cells);
      for (int column = 1; const MemoryCell& cell : cells)
        differences += AreEqual(cell, expected.GetCell(column++, row)) ? 0 : 1;
    }
    for (int column = c.columns; column >= 1; column -= 7) {
      for (int row = 1; row <= c.rows; ++row) {
        const auto is_like = [&](const auto& ask) { return ask(sheet) == ask(expected); };
        const bool same =
            is_like([&](SpreadsheetData& in) { return in.IsText(column, row); }) &&
            is_like([&](SpreadsheetData& in) { return in.GetExact(column, row); }) &&
            is_like([&](SpreadsheetData& in) { return std::string_view(in.GetText(column, row)); });
        differences += same ? 0 : 1;
      }
    }
    EXPECT_EQ(differences, 0);
  }
}

}  // namespace

}  // namespace nvimport
